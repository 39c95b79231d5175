// The form in which an event is published.

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/mqtt_message.h"
#include "tests/unit/platform/axevent/json_text.h"

namespace {

using hostcam::Config;
using hostcam::EventFields;
using hostcam::EventRecord;
using hostcam::EventValue;
using hostcam::makeMqttMessage;
using hostcam::MqttRetain;
using hostcam::TopicPart;

EventRecord record(std::vector<TopicPart> topic, EventFields data) {
    EventRecord result;
    result.topic = std::move(topic);
    result.milliseconds = 1692892990562;
    result.data = std::move(data);
    return result;
}

EventRecord alert(bool active) {
    EventRecord result = record({{"tnsaxis", "CameraApplicationPlatform"},
                                 {"tnsaxis", "ZerithMarkersApplication"},
                                 {"tnsaxis", "ZerithMarkersAlert"}},
                                {{"active", active}});
    result.stateful = true;
    return result;
}

/// The payload's message with one value.
std::string dataWith(const EventValue& value) {
    const std::string payload =
        makeMqttMessage(record({{"tns1", "A"}}, {{"k", value}}), Config{}).payload;
    EXPECT_TRUE(testing_support::JsonText(payload).isObject()) << payload;
    return payload.substr(payload.find("\"data\":"));
}

TEST(MqttMessageTest, AnEventLooksAsTheCamerasOwnBridgePublishesIt) {
    Config config;
    config.serial = "B8A44F000000";
    const auto message = makeMqttMessage(alert(true), config);
    EXPECT_EQ(message.topic, "axis/B8A44F000000/event/tns:axis/CameraApplicationPlatform/"
                             "ZerithMarkersApplication/ZerithMarkersAlert");
    EXPECT_EQ(message.payload,
              R"({"topic":"axis:CameraApplicationPlatform/ZerithMarkersApplication/)"
              R"(ZerithMarkersAlert","timestamp":1692892990562,"serial":"B8A44F000000",)"
              R"("message":{"source":{},"key":{},"data":{"active":"1"}}})");
}

TEST(MqttMessageTest, TheTopicBeginsWithTheConfiguredPrefix) {
    Config config;
    config.mqttTopicPrefix = "site 7/door";
    EXPECT_EQ(makeMqttMessage(record({{"", "A"}}, {}), config).topic,
              "site 7/door/000000000000/event/A");
}

TEST(MqttMessageTest, ANamespaceStandsWhereItChanges) {
    const auto message = makeMqttMessage(
        record({{"tns1", "A"}, {"tns1", "B"}, {"tnsaxis", "C"}, {"", "D"}, {"own", "E"}}, {}),
        Config{});
    EXPECT_EQ(message.topic, "axis/000000000000/event/tns:onvif/A/B/tns:axis/C/D/tns:own/E");
    EXPECT_THAT(message.payload,
                testing::StartsWith(R"({"topic":"onvif:A/B/axis:C/D/own:E","timestamp":)"));
}

TEST(MqttMessageTest, WhatABrokerTakesForAWildcardIsReplacedInTheTopicOnly) {
    const auto message = makeMqttMessage(record({{"tns1", "A+B#"}}, {}), Config{});
    EXPECT_EQ(message.topic, "axis/000000000000/event/tns:onvif/A_B_");
    EXPECT_THAT(message.payload, testing::StartsWith(R"({"topic":"onvif:A+B#",)"));
}

TEST(MqttMessageTest, EveryValueIsAText) {
    EXPECT_EQ(dataWith(true), R"("data":{"k":"1"}}})");
    EXPECT_EQ(dataWith(false), R"("data":{"k":"0"}}})");
    EXPECT_EQ(dataWith(-7), R"("data":{"k":"-7"}}})");
    EXPECT_EQ(dataWith(0.25), R"("data":{"k":"0.25"}}})");
    EXPECT_EQ(dataWith(std::numeric_limits<double>::infinity()), R"("data":{"k":"inf"}}})");
    EXPECT_EQ(dataWith(std::string("3,7")), R"("data":{"k":"3,7"}}})");
    EXPECT_EQ(dataWith(std::monostate{}), R"("data":{"k":""}}})");
}

TEST(MqttMessageTest, TextIsEscapedAndMadeValid) {
    EXPECT_EQ(dataWith(std::string("\"\\\n\x01\xC3\xA9")),
              "\"data\":{\"k\":\"\\\"\\\\\\n\\u0001\xC3\xA9\"}}}");
    EXPECT_EQ(dataWith(std::string("\xFF")), "\"data\":{\"k\":\"\xEF\xBF\xBD\"}}}");
}

TEST(MqttMessageTest, SeveralValuesAndTheSourceStandInTheirOrder) {
    EventRecord event = record({{"tns1", "A"}}, {{"b", 1}, {"a", 2}});
    event.source = {{"port", 3}};
    EXPECT_THAT(makeMqttMessage(event, Config{}).payload,
                testing::EndsWith(
                    R"("message":{"source":{"port":"3"},"key":{},"data":{"b":"1","a":"2"}}})"));
}

TEST(MqttMessageTest, WhichEventsAreRetainedIsConfigured) {
    const EventRecord pulse = record({{"tns1", "A"}}, {});
    const auto retained = [](const EventRecord& event, MqttRetain which) {
        Config config;
        config.mqttRetain = which;
        return makeMqttMessage(event, config).retain;
    };
    EXPECT_FALSE(retained(alert(true), MqttRetain::None));
    EXPECT_FALSE(retained(pulse, MqttRetain::None));
    EXPECT_TRUE(retained(alert(false), MqttRetain::Property));
    EXPECT_FALSE(retained(pulse, MqttRetain::Property));
    EXPECT_TRUE(retained(alert(true), MqttRetain::All));
    EXPECT_TRUE(retained(pulse, MqttRetain::All));
}

} // namespace
