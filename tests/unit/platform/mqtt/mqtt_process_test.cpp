// How a process ends whose events go to a broker.

#include <array>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/program_start.h"
#include "tests/unit/platform/mqtt/mqtt_fixture.h"
#include "tests/unit/platform/mqtt/mqtt_script_broker.h"

namespace {

using testing_support::MqttConnection;
using testing_support::MqttPacket;

/// A process that sends one event, and four more right before its end.
class Sender {
  public:
    /// @param arguments of event_sender
    explicit Sender(const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> command{EVENT_SENDER};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const testing_support::ProgramStart sender(command);
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        m_input = hostcam::Descriptor(ends[1]);
        const hostcam::Descriptor output(ends[0]);
        m_process = fork();
        if (m_process == 0) {
            dup2(ends[0], STDIN_FILENO);
            sender.become();
            _exit(127);
        }
    }
    ~Sender() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    void goOn() { m_input = hostcam::Descriptor(); }

    /// @return its exit status; -1 when it was killed
    int awaitEnd() {
        int status = 0;
        waitpid(m_process, &status, 0);
        m_process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    hostcam::Descriptor m_input;
    pid_t m_process = -1;
};

class MqttProcessTest : public testing_support::MqttTest {
  protected:
    MqttProcessTest() { useBroker(broker.address()); }

    /// Receives and confirms an event, which must be this one.
    static void take(const MqttConnection& connection, const std::string& number) {
        const MqttPacket message = connection.readPublish();
        EXPECT_EQ(payloadOf(message.payload()), number);
        connection.confirm(message);
    }

    testing_support::MqttScriptBroker broker;
};

TEST_F(MqttProcessTest, WhatWasSentLastStillGoesOutAtTheEnd) {
    Sender sender({"patient"});
    const MqttConnection connection = broker.nextAccepted();
    take(connection, "1");
    sender.goOn();
    for (const char* number : {"2", "3", "4", "5"}) {
        take(connection, number);
    }
    EXPECT_EQ(connection.read().type, MqttPacket::Disconnect);
    EXPECT_EQ(sender.awaitEnd(), 0);
}

TEST_F(MqttProcessTest, ABrokerThatSaysNothingDoesNotKeepTheProcess) {
    Sender sender({"patient"}); // and yet not with a broker that is not connected
    const MqttConnection connection = broker.next();
    EXPECT_EQ(connection.read().type, MqttPacket::Connect);
    sender.goOn();
    EXPECT_EQ(sender.awaitEnd(), 0); // nothing was answered until here
}

TEST_F(MqttProcessTest, ABrokerThatStopsConfirmingDoesNotKeepTheProcess) {
    Sender sender;
    const MqttConnection connection = broker.nextAccepted();
    EXPECT_EQ(payloadOf(connection.readPublish().payload()), "1");
    sender.goOn();
    EXPECT_EQ(sender.awaitEnd(), 0);
}

TEST_F(MqttProcessTest, ABrokerThatIsNotThereDoesNotKeepTheProcess) {
    useBroker("127.0.0.1:1"); // a port that only the system itself could use
    Sender sender;
    sender.goOn();
    EXPECT_EQ(sender.awaitEnd(), 0);
    EXPECT_EQ(testing_support::readLines(camera.journal()).size(), 6U);
}

} // namespace
