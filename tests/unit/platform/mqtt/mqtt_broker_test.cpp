// The application's events at a real broker, which comes late, goes away and comes back.

#include <algorithm>
#include <memory>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Logger.h"
#include "outputs/event_manager.h"
#include "tests/unit/platform/mqtt/mqtt_broker.h"
#include "tests/unit/platform/mqtt/mqtt_fixture.h"

Logger g_Logger("test", "./mqtt_broker_test.log");

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::MqttReceived;
using testing_support::MqttWatcher;

class MqttBrokerTest : public testing_support::MqttTest {
  protected:
    void SetUp() override {
        if (testing_support::MqttBroker::program().empty()) {
            GTEST_SKIP() << "the program mosquitto is not installed";
        }
    }

    /// Sends pulses with the numbers of a range.
    void sendNumbers(guint data, int first, int last) {
        for (int number = first; number <= last; ++number) {
            ASSERT_TRUE(sendPulse(data, std::to_string(number)));
        }
    }

    static std::vector<int> numbers(const std::vector<MqttReceived>& messages) {
        std::vector<int> result;
        for (const MqttReceived& message : messages) {
            result.push_back(std::stoi(payloadOf(message.payload)));
        }
        return result;
    }

    static std::vector<int> range(int first, int last) {
        std::vector<int> result;
        for (int number = first; number <= last; ++number) {
            result.push_back(number);
        }
        return result;
    }

    /// Has the broker keep messages for a watcher from its start on, and stops it.
    void prepareForWatcher() {
        broker.start();
        (void)MqttWatcher(broker, "watcher");
        broker.stop();
    }

    /// Sends 600 events, around two absences of the broker, to a watcher.
    std::vector<int> numbersAroundAbsences(const std::string& qos) {
        broker.start();
        useBroker(broker.address(), "qos=" + qos);
        MqttWatcher watcher(broker, "watcher");
        const guint data = declarePulse();
        for (int absence = 0; absence < 2; ++absence) {
            const int first = 300 * absence;
            sendNumbers(data, first + 1, first + 100);
            (void)watcher.awaitText('"' + std::to_string(first + 30) + '"');
            broker.stop(); // in the midst of the hundred, or after it
            sendNumbers(data, first + 101, first + 200);
            broker.start();
            sendNumbers(data, first + 201, first + 300);
        }
        return numbers(watcher.awaitText("\"600\""));
    }

    testing_support::MqttBroker broker;
};

TEST_F(MqttBrokerTest, BothEventsOfTheApplicationArriveInTheFormOfTheCamera) {
    broker.start();
    MqttWatcher watcher(broker, "watcher");
    useBroker(broker.address());
    auto manager = std::make_unique<EventManager>();
    std::string alert = "Zerith Markers Alert";
    std::string ids = "3,7";
    manager->addEvent(alert);
    manager->addDataEvent();
    manager->sendDataEvent(ids);
    manager->sendEventStarted(alert);
    manager->sendEventStopped(alert);

    const std::vector<MqttReceived> messages = watcher.await(3);
    ASSERT_THAT(messages, SizeIs(3));
    const std::string topic = "axis/000000000000/event/tns:axis/CameraApplicationPlatform/"
                              "ZerithMarkersApplication/ZerithMarkers";
    const std::string before = R"({"topic":"axis:CameraApplicationPlatform/)"
                               R"(ZerithMarkersApplication/ZerithMarkers)";
    const auto text = [](const MqttReceived& message) {
        return std::regex_replace(message.payload, std::regex("\"timestamp\":[0-9]{13},"),
                                  "\"timestamp\":T,");
    };
    const std::string middle =
        R"(","timestamp":T,"serial":"000000000000","message":{"source":{},"key":{},"data":)";
    EXPECT_EQ(messages[0].topic, topic + "Data");
    EXPECT_EQ(text(messages[0]), before + "Data" + middle + R"({"payload":"3,7"}}})");
    EXPECT_EQ(messages[1].topic, topic + "Alert");
    EXPECT_EQ(text(messages[1]), before + "Alert" + middle + R"({"active":"1"}}})");
    EXPECT_EQ(text(messages[2]), before + "Alert" + middle + R"({"active":"0"}}})");
    for (const MqttReceived& message : messages) {
        EXPECT_EQ(message.qos, 1);
        EXPECT_FALSE(message.isRetained);
    }
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(MqttBrokerTest, AThousandEventsArriveInOrder) {
    broker.start();
    MqttWatcher watcher(broker, "watcher");
    useBroker(broker.address());
    sendNumbers(declarePulse(), 1, 1000);
    EXPECT_EQ(numbers(watcher.awaitText("\"1000\"")), range(1, 1000));
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(MqttBrokerTest, AThousandEventsAtOnceArriveInOrderWithEveryQualityOfService) {
    broker.start();
    for (const int qos : {0, 1, 2}) {
        MqttWatcher watcher(broker, "watcher" + std::to_string(qos));
        useBroker(broker.address(), "qos=" + std::to_string(qos));
        hostcam::MqttPublisher publisher(config());
        publish(publisher, 1, 1000);
        const std::vector<MqttReceived> messages = watcher.awaitText("\"1000\"");
        EXPECT_EQ(numbers(messages), range(1, 1000)) << qos;
        EXPECT_EQ(messages.front().qos, qos);
    }
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(MqttBrokerTest, ABrokerThatComesLateGetsEverythingInOrder) {
    prepareForWatcher();
    useBroker(broker.address());
    const guint data = declarePulse();
    sendNumbers(data, 1, 100);
    EXPECT_THAT(awaitWarning("trying again"),
                ElementsAre("MQTT broker " + broker.address() +
                            ": Connection refused: trying again; events wait"));
    broker.start();
    sendNumbers(data, 101, 200);
    MqttWatcher watcher(broker, "watcher");
    EXPECT_EQ(numbers(watcher.awaitText("\"200\"")), range(1, 200));
    EXPECT_THAT(awaitWarning("connected"),
                ElementsAre("MQTT broker " + broker.address() + ": connected"));
}

TEST_F(MqttBrokerTest, ABrokerThatGoesAwayAndComesBackMissesNothingAndTheOrderIsKept) {
    std::vector<int> received = numbersAroundAbsences("1");
    EXPECT_TRUE(std::is_sorted(received.begin(), received.end()));
    // With this quality of service one that was not confirmed may come twice.
    received.erase(std::unique(received.begin(), received.end()), received.end());
    EXPECT_EQ(received, range(1, 600));
}

TEST_F(MqttBrokerTest, WithQualityOfService2NothingComesTwiceEither) {
    EXPECT_EQ(numbersAroundAbsences("2"), range(1, 600));
}

TEST_F(MqttBrokerTest, WithQualityOfService0NothingComesTwiceAndTheOrderIsKept) {
    const std::vector<int> received = numbersAroundAbsences("0");
    std::vector<int> absent = range(101, 200);
    for (const int number : range(401, 500)) {
        absent.push_back(number);
    }
    EXPECT_TRUE(std::is_sorted(received.begin(), received.end()));
    EXPECT_EQ(std::adjacent_find(received.begin(), received.end()), received.end());
    // What was on its way is lost; the two hundred of the absences waited.
    EXPECT_TRUE(std::includes(received.begin(), received.end(), absent.begin(), absent.end()));
}

TEST_F(MqttBrokerTest, ARetainedStateIsThereForWhoeverComesLater) {
    broker.start();
    useBroker(broker.address(), "retain=property");
    {
        MqttWatcher watcher(broker, "first");
        const guint alert = declareState();
        const guint data = declarePulse();
        ASSERT_TRUE(sendState(alert, true));
        ASSERT_TRUE(sendPulse(data, "gone"));
        EXPECT_THAT(watcher.await(2), SizeIs(2));
    }
    MqttWatcher watcher(broker, "second");
    const std::vector<MqttReceived> messages = watcher.await(1);
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_TRUE(messages[0].isRetained);
    EXPECT_THAT(messages[0].payload, HasSubstr(R"("data":{"active":"1"})"));
}

} // namespace
