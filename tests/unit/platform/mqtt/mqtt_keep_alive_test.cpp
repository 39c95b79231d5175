// A broker that falls silent, found out without waiting: this program tells the time itself.

#include <atomic>

#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include "tests/unit/platform/mqtt/mqtt_fixture.h"
#include "tests/unit/platform/mqtt/mqtt_script_broker.h"

namespace {

std::atomic<int> g_secondsAhead{0};

} // namespace

// The C library's function, for the whole program.
extern "C" int clock_gettime(clockid_t clock, timespec* result) noexcept {
    const auto code = static_cast<int>(syscall(SYS_clock_gettime, clock, result));
    result->tv_sec += g_secondsAhead;
    return code;
}

namespace {

using testing_support::MqttConnection;
using testing_support::MqttPacket;

class MqttKeepAliveTest : public testing_support::MqttTest {
  protected:
    MqttKeepAliveTest() {
        useBroker(broker.address());
        timing.answer = std::chrono::hours(1);
        timing.shortestPause = timing.longestPause = std::chrono::milliseconds(1);
    }
    ~MqttKeepAliveTest() override { g_secondsAhead = 0; }

    testing_support::MqttScriptBroker broker;
    hostcam::MqttTiming timing;
};

TEST_F(MqttKeepAliveTest, ABrokerThatFallsSilentIsLostAndFoundAgain) {
    hostcam::MqttPublisher publisher(config(), timing);
    const MqttConnection silent = broker.nextAccepted();
    publish(publisher, 1, 1);
    EXPECT_EQ(payloadOf(silent.readPublish().payload()), "1");
    g_secondsAhead = 15;
    EXPECT_EQ(silent.read().type, MqttPacket::PingReq);
    g_secondsAhead = 30;
    const MqttConnection connection = broker.nextAccepted();
    const MqttPacket again = connection.readPublish();
    EXPECT_EQ(payloadOf(again.payload()), "1");
    connection.confirm(again);
    EXPECT_THAT(awaitWarning(": connected"),
                testing::ElementsAre(testing::HasSubstr("it says nothing any more: trying again"),
                                     testing::HasSubstr(": connected")));
}

} // namespace
