#include "platform/hostcam/mqtt_publisher.h"

#include <cerrno>
#include <deque>
#include <optional>
#include <system_error>
#include <utility>

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/hostcam/descriptor.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/mqtt_message.h"

namespace hostcam {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

/// Longer than anything that is waited for.
constexpr milliseconds kNoLimit{60'000};

std::string eventsWere(std::uint64_t count) {
    return count == 1 ? "1 event was" : std::to_string(count) + " events were";
}

/// Says once that events are being dropped, and how many they were once it is over.
class LossReport {
  public:
    explicit LossReport(const Config& config) : m_name("MQTT broker " + config.mqttBroker) {}

    /// @param dropped events since the queue was last empty
    void dropping(std::uint64_t dropped) {
        if (dropped > 0 && !m_said) {
            warn(m_name + ": " + std::to_string(MqttPublisher::kQueueSize) +
                 " events wait; the oldest are dropped");
            m_said = true;
        }
    }
    void over(std::uint64_t dropped) {
        if (dropped > 0) {
            warn(m_name + ": " + eventsWere(dropped) + " dropped");
        }
        m_said = false;
    }
    void left(std::uint64_t events) const {
        if (events > 0) {
            warn(m_name + ": " + eventsWere(events) + " not published");
        }
    }

  private:
    std::string m_name;
    bool m_said = false;
};

} // namespace

/// What the sending threads and the publisher's thread have in common, and what that thread does.
struct MqttPublisher::Shared {
    Shared(const Config& configuration, const MqttTiming& times)
        : config(configuration), timing(times), wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
          losses(config) {
        if (!wake) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    // Any thread.
    void push(MqttMessage message);
    void end();

    // The publisher's thread.
    void run();
    void publishUntilTheEnd();
    void turn(MqttLink& link, milliseconds longest);
    std::optional<MqttMessage> take();
    [[nodiscard]] bool isEnding();
    [[nodiscard]] std::size_t left(const MqttLink& link);

    const Config config;
    const MqttTiming timing;
    const Descriptor wake; ///< readable when something below has changed
    LossReport losses;     ///< the publisher's thread's
    std::mutex mutex;
    std::deque<MqttMessage> waiting; // guarded by mutex
    std::uint64_t dropped = 0;       // guarded by mutex; since the queue was last empty
    bool ending = false;             // guarded by mutex
};

void MqttPublisher::Shared::push(MqttMessage message) {
    {
        const std::lock_guard lock(mutex);
        if (ending) {
            return;
        }
        if (waiting.size() == kQueueSize) {
            waiting.pop_front();
            ++dropped;
        }
        waiting.push_back(std::move(message));
    }
    (void)!eventfd_write(wake.get(), 1);
}

void MqttPublisher::Shared::end() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    (void)!eventfd_write(wake.get(), 1);
}

void MqttPublisher::Shared::run() {
    pthread_setname_np(pthread_self(), kThreadName);
    try {
        publishUntilTheEnd();
    } catch (const std::exception& problem) {
        warn("MQTT broker " + config.mqttBroker + ": nothing more is published: " + problem.what());
    }
}

void MqttPublisher::Shared::publishUntilTheEnd() {
    MqttLink link(config, timing);
    while (!isEnding()) {
        turn(link, kNoLimit);
    }
    const Clock::time_point deadline = Clock::now() + timing.flush;
    while (link.connected() && left(link) > 0 && Clock::now() < deadline) {
        turn(link, std::chrono::ceil<milliseconds>(deadline - Clock::now()));
    }
    losses.left(left(link));
    link.close();
}

/// Waits for something to do, and hands over what can be sent then. The connection is looked at
/// first, so that nothing is sent over one that has already ended.
void MqttPublisher::Shared::turn(MqttLink& link, milliseconds longest) {
    link.attend(wake.get(), longest);
    eventfd_t count = 0;
    (void)!eventfd_read(wake.get(), &count);
    while (link.connected() && link.idle()) {
        std::optional<MqttMessage> message = take();
        if (!message) {
            break;
        }
        link.send(std::move(*message));
    }
}

/// The oldest event that waits.
std::optional<MqttMessage> MqttPublisher::Shared::take() {
    std::optional<MqttMessage> message;
    std::uint64_t lost = 0;
    {
        const std::lock_guard lock(mutex);
        if (waiting.empty()) {
            lost = std::exchange(dropped, 0);
        } else {
            message = std::move(waiting.front());
            waiting.pop_front();
        }
    }
    if (!message) {
        losses.over(lost);
    }
    return message;
}

bool MqttPublisher::Shared::isEnding() {
    std::uint64_t lost = 0;
    bool result = false;
    {
        const std::lock_guard lock(mutex);
        lost = dropped;
        result = ending;
    }
    losses.dropping(lost);
    return result;
}

/// How many events have not arrived at the broker.
std::size_t MqttPublisher::Shared::left(const MqttLink& link) {
    const std::lock_guard lock(mutex);
    return waiting.size() + (link.idle() ? 0 : 1);
}

MqttPublisher::MqttPublisher(const Config& config, const MqttTiming& timing)
    : m_shared(std::make_shared<Shared>(config, timing)) {
    m_thread.start([shared = m_shared] { shared->run(); });
}

MqttPublisher::~MqttPublisher() {
    finish();
}

void MqttPublisher::onEvent(const EventRecord& record) noexcept {
    if (record.what != EventRecord::What::Sent) {
        return;
    }
    try {
        m_shared->push(makeMqttMessage(record, m_shared->config));
    } catch (const std::exception& problem) {
        warn(std::string("an event cannot be published over MQTT: ") + problem.what());
    }
}

void MqttPublisher::finish() noexcept {
    const std::lock_guard lock(m_ending);
    m_shared->end();
    m_thread.leave(m_shared->timing.ending);
}

} // namespace hostcam
