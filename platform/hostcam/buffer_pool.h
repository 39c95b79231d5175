#pragma once

// The memory of a stream's frames: a bounded number of buffers that go out to the application and
// come back. An application that keeps them runs the stream dry, as on a camera; buffersInFlight()
// tells who has them.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/hostcam/picture.h"

namespace hostcam {

/// A buffer that an application holds.
struct BufferInFlight {
    unsigned stream = 0;              ///< the stream's id
    unsigned buffer = 0;              ///< the buffer's id within the stream, from 0
    std::uint64_t frame = 0;          ///< the camera's frame that it holds
    std::chrono::milliseconds held{}; ///< since it was handed out
};

/// Any thread.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
  public:
    static constexpr unsigned kUnlimited = 0;

    /// One buffer, taken out of the pool. It keeps the pool alive, and goes back when it is
    /// destroyed.
    class Lease {
      public:
        ~Lease();
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        [[nodiscard]] unsigned id() const { return m_id; }
        [[nodiscard]] std::uint8_t* data() const { return m_data; } ///< 64-byte aligned
        [[nodiscard]] std::size_t capacity() const;

        /// Says which frame was put into the buffer, for buffersInFlight().
        void setFrame(std::uint64_t frame);

        /// Says by what the application knows the buffer, for isHolder(). Only compared.
        void setHolder(const void* holder);

      private:
        friend class BufferPool;
        Lease(std::shared_ptr<BufferPool> pool, unsigned id, std::uint8_t* data)
            : m_pool(std::move(pool)), m_id(id), m_data(data) {}
        const std::shared_ptr<BufferPool> m_pool;
        const unsigned m_id;
        std::uint8_t* const m_data;
    };

    /// A pool without buffers; they are made when they are first needed.
    /// @param stream the stream's id, for buffersInFlight()
    /// @param bytes of each buffer; rounded up to a multiple of 64
    /// @param limit the number of buffers, or kUnlimited
    [[nodiscard]] static std::shared_ptr<BufferPool> create(unsigned stream, std::size_t bytes,
                                                            unsigned limit);

    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;
    ~BufferPool() = default;

    /// Takes a buffer, waiting until one comes back when all are out.
    /// @return null when none came back in time
    /// @throws std::bad_alloc
    [[nodiscard]] std::unique_ptr<Lease> take(std::chrono::milliseconds patience);

    [[nodiscard]] unsigned limit() const { return m_limit; }

    /// Whether a buffer that is out is known by this pointer. The pointer is only compared.
    [[nodiscard]] bool isHolder(const void* holder) const;

    /// The buffers of this pool that are out.
    [[nodiscard]] std::vector<BufferInFlight> inFlight() const;

  private:
    struct Buffer {
        AlignedBytes memory;
        bool out = false;
        std::uint64_t frame = 0;
        std::uintptr_t holder = 0; ///< disguised, so that a lost buffer counts as leaked
        std::chrono::steady_clock::time_point since;
    };
    BufferPool(unsigned stream, std::size_t bytes, unsigned limit);
    [[nodiscard]] bool availableLocked() const;
    void giveBack(unsigned id);

    const unsigned m_stream;
    const std::size_t m_bytes;
    const unsigned m_limit;
    mutable std::mutex m_mutex;
    std::condition_variable m_returned;
    std::vector<std::unique_ptr<Buffer>> m_buffers; // guarded by m_mutex; never shrinks
    unsigned m_out = 0;                             // guarded by m_mutex
};

/// Every buffer of the process that an application holds, by stream and buffer. For tests that look
/// for buffers that are not handed back, and for diagnosis.
[[nodiscard]] std::vector<BufferInFlight> buffersInFlight();

} // namespace hostcam
