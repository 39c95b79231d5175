#include "platform/hostcam/buffer_pool.h"

#include <algorithm>

namespace hostcam {
namespace {

using Clock = std::chrono::steady_clock;

struct Registry {
    std::mutex mutex;
    std::vector<std::weak_ptr<BufferPool>> pools; // guarded by mutex
};

/// Never destroyed: platform calls may come from threads that outlive the end of main.
Registry& registry() {
    static auto* const instance = new Registry;
    return *instance;
}

/// A pointer in a form in which a leak checker does not recognise it.
std::uintptr_t disguised(const void* pointer) {
    return ~reinterpret_cast<std::uintptr_t>(pointer);
}

} // namespace

BufferPool::Lease::~Lease() {
    m_pool->giveBack(m_id);
}

std::size_t BufferPool::Lease::capacity() const {
    return m_pool->m_bytes;
}

void BufferPool::Lease::setFrame(std::uint64_t frame) {
    const std::lock_guard lock(m_pool->m_mutex);
    m_pool->m_buffers[m_id]->frame = frame;
}

void BufferPool::Lease::setHolder(const void* holder) {
    const std::lock_guard lock(m_pool->m_mutex);
    m_pool->m_buffers[m_id]->holder = disguised(holder);
}

BufferPool::BufferPool(unsigned stream, std::size_t bytes, unsigned limit)
    : m_stream(stream), m_bytes((bytes + 63) & ~std::size_t{63}), m_limit(limit) {}

std::shared_ptr<BufferPool> BufferPool::create(unsigned stream, std::size_t bytes, unsigned limit) {
    std::shared_ptr<BufferPool> pool(new BufferPool(stream, bytes, limit));
    Registry& all = registry();
    const std::lock_guard lock(all.mutex);
    std::erase_if(all.pools, [](const auto& known) { return known.expired(); });
    all.pools.push_back(pool);
    return pool;
}

bool BufferPool::availableLocked() const {
    return m_limit == kUnlimited || m_out < m_limit;
}

std::unique_ptr<BufferPool::Lease> BufferPool::take(std::chrono::milliseconds patience) {
    std::unique_lock lock(m_mutex);
    if (!m_returned.wait_until(lock, Clock::now() + patience,
                               [this] { return availableLocked(); })) {
        return nullptr;
    }
    auto free = std::find_if(m_buffers.begin(), m_buffers.end(),
                             [](const auto& buffer) { return !buffer->out; });
    if (free == m_buffers.end()) {
        auto buffer = std::make_unique<Buffer>();
        buffer->memory = AlignedBytes(m_bytes);
        free = m_buffers.insert(m_buffers.end(), std::move(buffer));
    }
    Buffer& buffer = **free;
    std::unique_ptr<Lease> lease(new Lease(
        shared_from_this(), static_cast<unsigned>(free - m_buffers.begin()), buffer.memory.data()));
    buffer.out = true;
    buffer.frame = 0;
    buffer.holder = disguised(nullptr);
    buffer.since = Clock::now();
    ++m_out;
    return lease;
}

void BufferPool::giveBack(unsigned id) {
    {
        const std::lock_guard lock(m_mutex);
        m_buffers[id]->out = false;
        --m_out;
    }
    m_returned.notify_one();
}

bool BufferPool::isHolder(const void* holder) const {
    const std::lock_guard lock(m_mutex);
    return std::any_of(m_buffers.begin(), m_buffers.end(), [holder](const auto& buffer) {
        return buffer->out && buffer->holder == disguised(holder);
    });
}

std::vector<BufferInFlight> BufferPool::inFlight() const {
    const std::lock_guard lock(m_mutex);
    std::vector<BufferInFlight> held;
    for (unsigned id = 0; id < m_buffers.size(); ++id) {
        const Buffer& buffer = *m_buffers[id];
        if (buffer.out) {
            held.push_back({m_stream, id, buffer.frame,
                            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() -
                                                                                  buffer.since)});
        }
    }
    return held;
}

std::vector<BufferInFlight> buffersInFlight() {
    std::vector<std::shared_ptr<BufferPool>> pools;
    {
        Registry& all = registry();
        const std::lock_guard lock(all.mutex);
        for (const auto& known : all.pools) {
            if (auto pool = known.lock()) {
                pools.push_back(std::move(pool));
            }
        }
    }
    std::vector<BufferInFlight> held;
    for (const auto& pool : pools) {
        const std::vector<BufferInFlight> some = pool->inFlight();
        held.insert(held.end(), some.begin(), some.end());
    }
    return held;
}

} // namespace hostcam
