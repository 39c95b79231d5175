#pragma once

// Publishes events over MQTT, when the configuration names a broker, as a camera's event bridge
// does. The thread that sends an event only puts it into a queue; a thread of the publisher's own
// takes it from there to the broker, one after the other. However dead, silent or slow the broker
// is, nobody but that thread waits for it.
//
// The queue is bounded: when it is full, the oldest event gives way, since the newest tells the
// state that things are in now. A warning says so when it begins and how many were lost when it is
// over.

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

#include "platform/hostcam/config.h"
#include "platform/hostcam/ending_thread.h"
#include "platform/hostcam/event_publisher.h"
#include "platform/hostcam/mqtt_link.h"

namespace hostcam {

class MqttPublisher : public EventObserver {
  public:
    /// How many events wait at most, besides the one that is on its way.
    static constexpr std::size_t kQueueSize = 1000;

    /// What the system calls the thread.
    static constexpr const char* kThreadName = "hostcam-mqtt";

    /// Starts the thread, which connects at once.
    /// @param config with a broker
    /// @throws std::system_error when the thread or its descriptor cannot be had
    explicit MqttPublisher(const Config& config, const MqttTiming& timing = {});

    /// As finish().
    ~MqttPublisher() override;

    /// Queues an event that was sent; declarations are not published. *Any thread.*
    void onEvent(const EventRecord& record) noexcept override;

    /// Ends the publishing: what waits is sent on if the broker is connected, for MqttTiming::flush
    /// at most; what is left then is lost with a warning. Returns after MqttTiming::ending at the
    /// latest, even if the thread is still busy with the lookup of the broker's name; it ends by
    /// itself then. Events that come later are dropped. *Any thread.*
    void finish() noexcept;

  private:
    struct Shared;

    std::shared_ptr<Shared> m_shared; ///< the thread's too, which may outlive this object
    std::mutex m_ending;
    EndingThread m_thread; ///< guarded by m_ending, once it has started
};

} // namespace hostcam
