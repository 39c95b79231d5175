// Publishing when the broker is there, silent, slow, rude or gone.

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/platform/mqtt/mqtt_fixture.h"
#include "tests/unit/platform/mqtt/mqtt_script_broker.h"

namespace {

using hostcam::MqttPublisher;
using hostcam::MqttTiming;
using std::chrono::hours;
using std::chrono::milliseconds;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing_support::countThreads;
using testing_support::MqttConnection;
using testing_support::MqttPacket;
using testing_support::MqttScriptBroker;

/// Tries again at once, and never loses patience by itself.
MqttTiming eager() {
    MqttTiming timing;
    timing.answer = hours(1);
    timing.shortestPause = timing.longestPause = milliseconds(1);
    timing.keepAlive = hours(1);
    timing.flush = timing.ending = hours(1);
    return timing;
}

class MqttPublisherTest : public testing_support::MqttTest {
  protected:
    explicit MqttPublisherTest(const std::string& more = "") { useBroker(broker.address(), more); }

    MqttScriptBroker broker;
};

TEST_F(MqttPublisherTest, EventsOfTheEventSystemArePublishedInOrderAndDeclarationsAreNot) {
    const guint alert = declareState();
    const guint data = declarePulse();
    ASSERT_TRUE(sendState(alert, true));
    ASSERT_TRUE(sendPulse(data, "3,7"));
    const MqttConnection connection = broker.nextAccepted();
    const MqttPacket first = connection.readPublish();
    EXPECT_EQ(first.topic(), "axis/000000000000/event/tns:axis/Platform/Alert");
    EXPECT_THAT(first.payload(), EndsWith(R"("data":{"active":"1"}}})"));
    EXPECT_EQ(first.qos(), 1);
    EXPECT_FALSE(first.isRetained());
    connection.confirm(first);
    const MqttPacket second = connection.readPublish();
    EXPECT_THAT(second.payload(), EndsWith(R"("data":{"payload":"3,7"}}})"));
    connection.confirm(second);
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(MqttPublisherTest, TheTimeIsTheEvents) {
    const guint alert = declareState();
    GDateTime* const time = g_date_time_new_utc(2026, 1, 1, 12, 0, 0.25);
    ASSERT_TRUE(sendState(alert, true, time));
    g_date_time_unref(time);
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_THAT(connection.readPublish().payload(), HasSubstr(R"("timestamp":1767268800250,)"));
}

TEST_F(MqttPublisherTest, TheClientIdIsTheConfiguredOne) {
    useBroker(broker.address(), "client-id=camera at the gate");
    const MqttPublisher publisher(config(), eager());
    const MqttPacket connect = broker.next().read();
    EXPECT_EQ(connect.type, MqttPacket::Connect);
    EXPECT_THAT(connect.body, EndsWith("camera at the gate"));
}

TEST_F(MqttPublisherTest, ABrokerThatSaysNothingHoldsNobodyUp) {
    const guint data = declarePulse();
    // Nothing is answered while these are sent: if one waited for the broker, it would for ever.
    for (int number = 0; number < 100; ++number) {
        ASSERT_TRUE(sendPulse(data, std::to_string(number)));
    }
    const MqttConnection connection = broker.next();
    EXPECT_EQ(connection.read().type, MqttPacket::Connect);
    for (int number = 0; number < 100; ++number) {
        ASSERT_TRUE(sendPulse(data, std::to_string(number)));
    }
    EXPECT_THAT(testing_support::readLines(camera.journal()), SizeIs(201));
}

TEST_F(MqttPublisherTest, ABrokerThatStopsAnsweringHoldsNobodyUp) {
    const guint data = declarePulse();
    ASSERT_TRUE(sendPulse(data, "first"));
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), "first");
    // Its confirmation never comes.
    const std::string large(100'000, 'x');
    for (int number = 0; number < 100; ++number) {
        ASSERT_TRUE(sendPulse(data, large));
    }
}

TEST_F(MqttPublisherTest, ABrokerThatDoesNotAnswerIsTriedAgain) {
    MqttTiming timing = eager();
    timing.answer = milliseconds(1);
    MqttPublisher publisher(config(), timing);
    publish(publisher, 1, 1);
    awaitWarning("it does not answer");
    const MqttConnection first = broker.next();
    const MqttConnection second = broker.next();
    EXPECT_EQ(second.read().type, MqttPacket::Connect);
}

TEST(MqttBackoffTest, PausesDoubleUpToTheLongestAndBeginAnew) {
    hostcam::Backoff backoff(milliseconds(250), milliseconds(1500));
    for (const int pause : {250, 500, 1000, 1500, 1500}) {
        EXPECT_EQ(backoff.next(), milliseconds(pause));
    }
    backoff.reset();
    EXPECT_EQ(backoff.next(), milliseconds(250));
}

TEST_F(MqttPublisherTest, AFullQueueLosesTheOldestAndSaysHowMany) {
    MqttPublisher publisher(config(), eager());
    publish(publisher, 1, 1500);
    const MqttConnection connection = broker.nextAccepted();
    for (int number = 501; number <= 1500; ++number) {
        const MqttPacket message = connection.readPublish();
        ASSERT_EQ(payloadOf(message.payload()), std::to_string(number));
        connection.confirm(message);
    }
    EXPECT_THAT(awaitWarning("500 events were dropped"),
                ElementsAre("MQTT broker " + broker.address() +
                                ": 1000 events wait; the oldest are dropped",
                            "MQTT broker " + broker.address() + ": 500 events were dropped"));
}

TEST_F(MqttPublisherTest, EachOverflowIsReportedOnce) {
    MqttPublisher publisher(config(), eager());
    publish(publisher, 1, 1001);
    const MqttConnection connection = broker.nextAccepted();
    int last = 0;
    const auto takeUntil = [&](int number) {
        while (last < number) {
            const MqttPacket message = connection.readPublish();
            last = std::stoi(payloadOf(message.payload()));
            connection.confirm(message);
        }
    };
    takeUntil(1001);
    EXPECT_THAT(awaitWarning("1 event was dropped"), SizeIs(2));
    publish(publisher, 1002, 1002);
    const MqttPacket onItsWay = connection.readPublish();
    publish(publisher, 1003, 2004);
    connection.confirm(onItsWay);
    takeUntil(2004);
    EXPECT_THAT(awaitWarning("2 events were dropped"), SizeIs(2));
}

TEST_F(MqttPublisherTest, TheOutageIsReportedOnceAndSoIsItsEnd) {
    MqttPublisher publisher(config(), eager());
    {
        const MqttConnection connection = broker.nextAccepted();
        publish(publisher, 1, 1);
        EXPECT_EQ(payloadOf(connection.readPublish().payload()), "1");
    }
    for (int tries = 0; tries < 3; ++tries) {
        broker.next().close();
    }
    const MqttConnection connection = broker.nextAccepted();
    connection.confirm(connection.readPublish());
    EXPECT_THAT(awaitWarning(": connected"),
                ElementsAre(HasSubstr("it has ended the connection: trying again; events wait"),
                            HasSubstr(": connected")));
}

TEST_F(MqttPublisherTest, ABrokerThatRefusesIsTriedAgainAndItsReasonIsTold) {
    MqttPublisher publisher(config(), eager());
    publish(publisher, 1, 1);
    {
        const MqttConnection connection = broker.next();
        EXPECT_EQ(connection.read().type, MqttPacket::Connect);
        connection.accept(5);
        EXPECT_THAT(awaitWarning("not authorised").back(), HasSubstr("trying again"));
    }
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), "1");
}

TEST_F(MqttPublisherTest, WhatWasNotConfirmedIsSentAgainAndNothingElse) {
    MqttPublisher publisher(config(), eager());
    publish(publisher, 1, 3);
    {
        const MqttConnection connection = broker.nextAccepted();
        const MqttPacket first = connection.readPublish();
        EXPECT_FALSE(first.isResent());
        connection.confirm(first);
        EXPECT_EQ(payloadOf(connection.readPublish().payload()), "2");
    }
    const MqttConnection connection = broker.nextAccepted();
    const MqttPacket again = connection.readPublish();
    EXPECT_EQ(payloadOf(again.payload()), "2");
    EXPECT_TRUE(again.isResent());
    connection.confirm(again);
    const MqttPacket third = connection.readPublish();
    EXPECT_EQ(payloadOf(third.payload()), "3");
    EXPECT_FALSE(third.isResent());
    connection.confirm(third);
}

TEST_F(MqttPublisherTest, WithQualityOfService2WhatTheBrokerHasIsNotSentAgain) {
    useBroker(broker.address(), "qos=2");
    MqttPublisher publisher(config(), eager());
    publish(publisher, 1, 2);
    int id = 0;
    {
        const MqttConnection connection = broker.nextAccepted();
        const MqttPacket first = connection.readPublish();
        EXPECT_EQ(first.qos(), 2);
        id = first.id();
        connection.pubRec(id);
        EXPECT_EQ(connection.read().type, MqttPacket::PubRel);
    }
    const MqttConnection connection = broker.nextAccepted();
    const MqttPacket release = connection.read();
    EXPECT_EQ(release.type, MqttPacket::PubRel);
    EXPECT_EQ(release.id(), id);
    connection.pubComp(id);
    const MqttPacket second = connection.readPublish();
    EXPECT_EQ(payloadOf(second.payload()), "2");
    connection.confirm(second);
}

TEST_F(MqttPublisherTest, WithQualityOfService0WhatDidNotGetOutWholeIsSentOnce) {
    useBroker(broker.address(), "qos=0");
    MqttPublisher publisher(config(), eager());
    const std::string large(20'000'000, 'x'); // more than the system keeps for a connection
    {
        const MqttConnection connection = broker.nextAccepted();
        publisher.onEvent(pulse("first"));
        EXPECT_EQ(payloadOf(connection.readPublish().payload()), "first");
        publisher.onEvent(pulse(large));
        publisher.onEvent(pulse("last"));
    }
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), large);
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), "last");
}

TEST_F(MqttPublisherTest, WhatMqttCannotCarryIsLeftOutWithAWarning) {
    MqttPublisher publisher(config(), eager());
    hostcam::EventRecord record = pulse("lost");
    record.topic = {{"tnsaxis", std::string(70'000, 'x')}};
    publisher.onEvent(record);
    publish(publisher, 1, 1);
    const MqttConnection connection = broker.nextAccepted();
    const MqttPacket next = connection.readPublish();
    EXPECT_EQ(payloadOf(next.payload()), "1");
    connection.confirm(next);
    EXPECT_THAT(camera.takeWarnings(), ElementsAre(HasSubstr("an event cannot be published")));
}

TEST_F(MqttPublisherTest, AtTheEndWhatWaitsIsStillSent) {
    MqttPublisher publisher(config(), eager());
    const MqttConnection connection = broker.nextAccepted();
    publish(publisher, 1, 1);
    const MqttPacket first = connection.readPublish();
    publish(publisher, 2, 3);
    std::thread end([&] { publisher.finish(); });
    connection.confirm(first);
    for (const char* number : {"2", "3"}) {
        const MqttPacket message = connection.readPublish();
        EXPECT_EQ(payloadOf(message.payload()), number);
        connection.confirm(message);
    }
    EXPECT_EQ(connection.read().type, MqttPacket::Disconnect);
    end.join();
    publish(publisher, 4, 4); // too late
    EXPECT_THAT(camera.takeWarnings(), IsEmpty());
}

TEST_F(MqttPublisherTest, AtTheEndABrokerThatIsNotConnectedIsNotWaitedFor) {
    MqttPublisher publisher(config(), eager()); // would wait for hours
    publish(publisher, 1, 2);
    const MqttConnection connection = broker.next();
    EXPECT_EQ(connection.read().type, MqttPacket::Connect);
    publisher.finish();
    EXPECT_THAT(camera.takeWarnings(), ElementsAre(EndsWith("2 events were not published")));
}

TEST_F(MqttPublisherTest, AtTheEndABrokerThatDoesNotConfirmIsNotWaitedForLong) {
    MqttTiming timing = eager();
    timing.flush = milliseconds(1);
    MqttPublisher publisher(config(), timing);
    const MqttConnection connection = broker.nextAccepted();
    publish(publisher, 1, 2);
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), "1");
    publisher.finish();
    EXPECT_THAT(camera.takeWarnings(), ElementsAre(EndsWith("2 events were not published")));
}

TEST_F(MqttPublisherTest, WithoutABrokerThereIsNoThread) {
    useBroker("");
    const int before = countThreads();
    ASSERT_TRUE(sendState(declareState(), true));
    EXPECT_EQ(countThreads(), before);
    EXPECT_EQ(countThreads(MqttPublisher::kThreadName), 0);
}

TEST_F(MqttPublisherTest, TheThreadComesWithTheFirstEventAndGoesWithTheBroker) {
    const int before = countThreads();
    EXPECT_NE(declareState(), 0U);
    EXPECT_EQ(countThreads(), before + 1);
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_EQ(countThreads(MqttPublisher::kThreadName), 1);
    camera.configure("");
    EXPECT_NE(declareState(), 0U);
    EXPECT_EQ(countThreads(), before);
    EXPECT_EQ(connection.read().type, MqttPacket::Disconnect);
}

TEST_F(MqttPublisherTest, AWrongBrokerIsAnErrorThatNamesKeyAndValue) {
    useBroker("tcp://127.0.0.1:1883");
    EXPECT_EQ(declareState(), 0U);
    EXPECT_THAT(error.text(), HasSubstr(camera.configuration().string() +
                                        ": [mqtt] broker=tcp://127.0.0.1:1883: allowed is "));
}

TEST_F(MqttPublisherTest, AnEventThatTheJournalRefusesIsNotPublished) {
    const guint data = declarePulse();
    const MqttConnection connection = broker.nextAccepted();
    hostcam::resetEvents(); // lets go of the journal, and of this connection
    std::filesystem::remove(camera.journal());
    std::filesystem::create_directories(camera.journal());
    EXPECT_FALSE(sendPulse(data, "refused"));
    std::filesystem::remove(camera.journal());
    EXPECT_TRUE(sendPulse(data, "sent"));
    EXPECT_EQ(payloadOf(broker.nextAccepted().readPublish().payload()), "sent");
}

TEST_F(MqttPublisherTest, EventsFromManyThreadsArePublishedInTheOrderOfTheJournal) {
    const guint data = declarePulse();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, data, thread] {
            for (int round = 0; round < 15; ++round) {
                const std::string payload = std::to_string(thread) + "." + std::to_string(round);
                const testing_support::Event event =
                    makeEvent("payload", payload.c_str(), AX_VALUE_TYPE_STRING);
                EXPECT_TRUE(ax_event_handler_send_event(handler.get(), data, event.get(), nullptr));
            }
        });
    }
    std::vector<std::string> published;
    const MqttConnection connection = broker.nextAccepted();
    while (published.size() < 60) {
        const MqttPacket message = connection.readPublish();
        published.push_back(payloadOf(message.payload()));
        connection.confirm(message);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<std::string> journalled;
    for (const std::string& line : testing_support::readLines(camera.journal())) {
        journalled.push_back(payloadOf(line));
    }
    journalled.erase(journalled.begin()); // the declaration
    EXPECT_EQ(published, journalled);
}

} // namespace
