#pragma once

// A host camera whose events go to a broker.

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/hostcam/event_publisher.h"
#include "platform/hostcam/mqtt_publisher.h"
#include "tests/unit/platform/axevent/event_fixture.h"

namespace testing_support {

class MqttTest : public EventTest {
  protected:
    MqttTest() {
        // However slow this machine is, the thread is waited for.
        hostcam::MqttTiming timing;
        timing.ending = std::chrono::hours(1);
        hostcam::setMqttTiming(timing);
    }
    ~MqttTest() override {
        hostcam::resetEvents();
        hostcam::setMqttTiming({});
    }

    /// @param more further lines of the group
    void useBroker(const std::string& address, const std::string& more = "") {
        hostcam::resetEvents();
        camera.configure("[mqtt]\nbroker=" + address + "\n" + more + "\n");
    }

    /// The configuration that useBroker() made, for a publisher of the test's own.
    [[nodiscard]] static hostcam::Config config() { return *hostcam::currentConfig(); }

    /// An event as the event system hands it to a publisher.
    [[nodiscard]] static hostcam::EventRecord pulse(const std::string& payload) {
        hostcam::EventRecord record;
        record.topic = {{"tnsaxis", "Data"}};
        record.data = {{"payload", payload}};
        return record;
    }

    static void publish(hostcam::MqttPublisher& publisher, int first, int last) {
        for (int number = first; number <= last; ++number) {
            publisher.onEvent(pulse(std::to_string(number)));
        }
    }

    /// What a message's event carried.
    [[nodiscard]] static std::string payloadOf(const std::string& message) {
        const std::string before = R"("payload":")";
        const std::size_t at = message.find(before) + before.size();
        return message.substr(at, message.find('"', at) - at);
    }

    /// Waits until a warning with this text has been given. @return all until then
    std::vector<std::string> awaitWarning(const std::string& text) {
        std::vector<std::string> all;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (std::chrono::steady_clock::now() < deadline) {
            for (std::string& warning : camera.takeWarnings()) {
                all.push_back(std::move(warning));
            }
            for (const std::string& warning : all) {
                if (warning.find(text) != std::string::npos) {
                    return all;
                }
            }
            std::this_thread::yield();
        }
        ADD_FAILURE() << "no warning for a minute: " << text;
        return all;
    }
};

/// How many threads this process has. @param name only those of that name; empty: all
inline int countThreads(const std::string& name = "") {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::vector<std::string> lines = readLines(task.path() / "comm");
        count += name.empty() || (!lines.empty() && lines.front() == name) ? 1 : 0;
    }
    return count;
}

} // namespace testing_support
