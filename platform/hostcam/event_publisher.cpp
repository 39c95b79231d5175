#include "platform/hostcam/event_publisher.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/event_journal.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/mqtt_publisher.h"

namespace hostcam {
namespace {

/// Never destroyed: events may come from threads that outlive the end of main.
struct Publisher {
    std::mutex mutex;
    std::shared_ptr<const Config> config;  // guarded by mutex: the one that the journal belongs to
    std::unique_ptr<EventJournal> journal; // guarded by mutex
    std::vector<EventObserver*> observers; // guarded by mutex
};

Publisher& publisher() {
    static auto* const instance = new Publisher;
    return *instance;
}

/// Who publishes over MQTT now. It has a lock of its own, so that the end of the process waits for
/// no event that is being journalled.
struct Mqtt {
    std::mutex mutex;
    std::shared_ptr<MqttPublisher> publisher; // guarded by mutex; null: off
    MqttTiming timing;                        // guarded by mutex

    std::shared_ptr<MqttPublisher> current() {
        const std::lock_guard lock(mutex);
        return publisher;
    }
    std::shared_ptr<MqttPublisher> exchange(std::shared_ptr<MqttPublisher> next) {
        const std::lock_guard lock(mutex);
        return std::exchange(publisher, std::move(next));
    }
    MqttTiming currentTiming() {
        const std::lock_guard lock(mutex);
        return timing;
    }
};

Mqtt& mqtt() {
    static auto* const instance = new Mqtt;
    return *instance;
}

void finishMqtt() {
    if (const std::shared_ptr<MqttPublisher> current = mqtt().current()) {
        current->finish();
    }
}

/// Ends the publishing to the broker of an earlier configuration and begins with that of this one.
/// Events are sent whether or not they can be published.
void useBrokerOf(const Config& config) {
    mqtt().exchange(nullptr).reset();
    if (config.mqttBroker.empty()) {
        return;
    }
    static std::once_flag atEnd;
    std::call_once(atEnd, [] { (void)std::atexit(finishMqtt); });
    try {
        mqtt().exchange(std::make_shared<MqttPublisher>(config, mqtt().currentTiming()));
    } catch (const std::exception& problem) {
        warn("events are not published over MQTT: " + std::string(problem.what()));
    }
}

} // namespace

void publishEvent(const EventRecord& record) {
    const std::shared_ptr<const Config> config = currentConfig();
    const std::string line = toJson(record);
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    if (!all.journal || all.config != config) {
        all.journal.reset();
        all.journal = std::make_unique<EventJournal>(config->stateDirectory);
        all.config = config;
        useBrokerOf(*config);
    }
    all.journal->append(line);
    if (const std::shared_ptr<MqttPublisher> current = mqtt().current()) {
        current->onEvent(record);
    }
    for (EventObserver* const observer : all.observers) {
        observer->onEvent(record);
    }
}

void addEventObserver(EventObserver& observer) {
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    all.observers.push_back(&observer);
}

void removeEventObserver(EventObserver& observer) {
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    std::erase(all.observers, &observer);
}

void resetEvents() {
    Publisher& all = publisher();
    const std::lock_guard lock(all.mutex);
    all.journal.reset();
    all.config.reset();
    mqtt().exchange(nullptr).reset();
}

void setMqttTiming(const MqttTiming& timing) {
    Mqtt& all = mqtt();
    const std::lock_guard lock(all.mutex);
    all.timing = timing;
}

} // namespace hostcam
