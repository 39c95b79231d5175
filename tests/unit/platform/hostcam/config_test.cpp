#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/config.h"
#include "tests/support/temp_dir.h"

namespace {

using hostcam::Config;
using hostcam::ConfigError;
using hostcam::parseConfig;
using testing::ElementsAre;
using testing::HasSubstr;

/// The error that a text gives; empty when it is taken.
std::string errorOf(const std::string& text) {
    try {
        static_cast<void>(parseConfig(text, "camera.conf"));
        return "";
    } catch (const ConfigError& problem) {
        return problem.what();
    }
}

std::string camera(const std::string& line) {
    return "[camera]\n" + line + "\n";
}

TEST(ConfigTest, AnEmptyTextGivesTheDefaults) {
    const Config config = parseConfig("", "camera.conf");
    EXPECT_EQ(config.source, "scene");
    EXPECT_TRUE(config.loop);
    EXPECT_EQ(config.framerate, 25.0);
    EXPECT_EQ(config.rotation, 0);
    EXPECT_EQ(config.aspectRatio, "16:9");
    EXPECT_EQ(config.product, "HostCam");
    EXPECT_EQ(config.serial, "000000000000");
    EXPECT_THAT(config.resolutions, ElementsAre(hostcam::Size{1920, 1080}, hostcam::Size{1280, 720},
                                                hostcam::Size{640, 360}));
    EXPECT_EQ(config.buffers, 4U);
    EXPECT_EQ(config.pitchAlign, 1U);
    EXPECT_EQ(config.sceneSeed, 1U);
    EXPECT_EQ(config.sceneDictionary, "5x5");
    EXPECT_THAT(config.sceneIds, ElementsAre(7, 23, 42));
    EXPECT_EQ(config.stateDirectory, "./state");
    EXPECT_THAT(config.viewers, ElementsAre(hostcam::ViewerStream{{1280, 720}, false}));
    EXPECT_EQ(config.httpAddress, "127.0.0.1");
    EXPECT_EQ(config.httpPort, 8081U);
    EXPECT_EQ(config.mqttBroker, "");
    EXPECT_EQ(config.mqttTopicPrefix, "axis");
    EXPECT_EQ(config.mqttClientId, "hostcam");
    EXPECT_EQ(config.mqttQos, 1);
    EXPECT_EQ(config.mqttRetain, hostcam::MqttRetain::None);
}

TEST(ConfigTest, EveryKeyIsRead) {
    const Config config = parseConfig("# a comment\n"
                                      "[camera]\nsource=/some/video.mp4\nloop=false\n"
                                      "framerate=29.97\nrotation=270\naspect-ratio=4:3\n"
                                      "product=A camera\nserial=ACCC8E012345\n"
                                      "resolutions=800x600, 640x480\nbuffers=2\npitch-align=64\n"
                                      "[scene]\nseed=4294967295\ndictionary=4x4\nids=0, 49\n"
                                      "[state]\ndirectory=/some/state\n"
                                      "[viewers]\nstreams=640x360,1280x720:mirrored\n"
                                      "[http]\naddress=0.0.0.0\nport=0\n"
                                      "[mqtt]\nbroker=localhost:1883\ntopic-prefix=t\nclient-id=c\n"
                                      "qos=2\nretain=property\n",
                                      "camera.conf");
    EXPECT_EQ(config.source, "/some/video.mp4");
    EXPECT_FALSE(config.loop);
    EXPECT_EQ(config.framerate, 29.97);
    EXPECT_EQ(config.rotation, 270);
    EXPECT_EQ(config.aspectRatio, "4:3");
    EXPECT_EQ(config.product, "A camera");
    EXPECT_EQ(config.serial, "ACCC8E012345");
    EXPECT_THAT(config.resolutions, ElementsAre(hostcam::Size{800, 600}, hostcam::Size{640, 480}));
    EXPECT_EQ(config.buffers, 2U);
    EXPECT_EQ(config.pitchAlign, 64U);
    EXPECT_EQ(config.sceneSeed, 4294967295U);
    EXPECT_EQ(config.sceneDictionary, "4x4");
    EXPECT_THAT(config.sceneIds, ElementsAre(0, 49));
    EXPECT_EQ(config.stateDirectory, "/some/state");
    EXPECT_THAT(config.viewers, ElementsAre(hostcam::ViewerStream{{640, 360}, false},
                                            hostcam::ViewerStream{{1280, 720}, true}));
    EXPECT_EQ(config.httpAddress, "0.0.0.0");
    EXPECT_EQ(config.httpPort, 0U);
    EXPECT_EQ(config.mqttBroker, "localhost:1883");
    EXPECT_EQ(config.mqttTopicPrefix, "t");
    EXPECT_EQ(config.mqttClientId, "c");
    EXPECT_EQ(config.mqttQos, 2);
    EXPECT_EQ(config.mqttRetain, hostcam::MqttRetain::Property);
}

TEST(ConfigTest, ListsMayBeEmptyWhereNothingIsASensibleAnswer) {
    EXPECT_TRUE(parseConfig("[viewers]\nstreams=\n", "camera.conf").viewers.empty());
    EXPECT_EQ(parseConfig("[mqtt]\nbroker=\n", "camera.conf").mqttBroker, "");
}

struct WrongValue {
    std::string group;
    std::string key;
    std::string value;
};

class WrongValueTest : public testing::TestWithParam<WrongValue> {};

TEST_P(WrongValueTest, IsRefusedWithFileKeyValueAndWhatIsAllowed) {
    const WrongValue& wrong = GetParam();
    const std::string error =
        errorOf("[" + wrong.group + "]\n" + wrong.key + "=" + wrong.value + "\n");
    EXPECT_THAT(error, HasSubstr("camera.conf: [" + wrong.group + "] " + wrong.key));
    EXPECT_THAT(error, HasSubstr(wrong.value));
    EXPECT_THAT(error, HasSubstr("allowed "));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigTest, WrongValueTest,
    testing::Values(
        WrongValue{"camera", "source", ""}, WrongValue{"camera", "source", "a\rb"},
        WrongValue{"camera", "product", "\x1b[2J"}, WrongValue{"camera", "loop", "yes"},
        WrongValue{"camera", "framerate", "0"}, WrongValue{"camera", "framerate", "-5"},
        WrongValue{"camera", "framerate", "1000.5"}, WrongValue{"camera", "framerate", "inf"},
        WrongValue{"camera", "framerate", "nan"}, WrongValue{"camera", "framerate", "25 fps"},
        WrongValue{"camera", "rotation", "45"}, WrongValue{"camera", "rotation", "360"},
        WrongValue{"camera", "aspect-ratio", "16x9"}, WrongValue{"camera", "aspect-ratio", "16:0"},
        WrongValue{"camera", "product", ""}, WrongValue{"camera", "serial", "12"},
        WrongValue{"camera", "serial", "accc8e012345"}, WrongValue{"camera", "resolutions", ""},
        WrongValue{"camera", "resolutions", "1280"},
        WrongValue{"camera", "resolutions", "1280x721"}, WrongValue{"camera", "resolutions", "0x0"},
        WrongValue{"camera", "resolutions", "16386x2"},
        WrongValue{"camera", "resolutions", "640x360,"},
        WrongValue{"camera", "resolutions", "640x360,,320x180"},
        WrongValue{"camera", "resolutions", "-640x360"},
        WrongValue{"camera", "resolutions", "99999999999x2"}, WrongValue{"camera", "buffers", "0"},
        WrongValue{"camera", "buffers", "65"}, WrongValue{"camera", "buffers", "4.0"},
        WrongValue{"camera", "pitch-align", "0"}, WrongValue{"camera", "pitch-align", "4097"},
        WrongValue{"scene", "seed", "4294967296"}, WrongValue{"scene", "seed", "-1"},
        WrongValue{"scene", "dictionary", "8x8"}, WrongValue{"scene", "ids", ""},
        WrongValue{"scene", "ids", "1000"}, WrongValue{"scene", "ids", "1,-2"},
        WrongValue{"scene", "ids", "100"}, WrongValue{"state", "directory", ""},
        WrongValue{"viewers", "streams", "640x360:turned"}, WrongValue{"viewers", "streams", "640"},
        WrongValue{"http", "port", "65536"}, WrongValue{"http", "address", ""},
        WrongValue{"http", "address", "localhost"}, WrongValue{"mqtt", "broker", "localhost"},
        WrongValue{"mqtt", "broker", ":1883"}, WrongValue{"mqtt", "broker", "localhost:0"},
        WrongValue{"mqtt", "broker", "localhost:"}, WrongValue{"mqtt", "broker", "localhost:65536"},
        WrongValue{"mqtt", "broker", "localhost:1883x"}, WrongValue{"mqtt", "broker", "[]:1883"},
        WrongValue{"mqtt", "broker", "mqtt://localhost:1883"},
        WrongValue{"mqtt", "broker", "user@localhost:1883"},
        WrongValue{"mqtt", "broker", "local host:1883"}, WrongValue{"mqtt", "broker", "::1:1883"},
        WrongValue{"mqtt", "topic-prefix", ""}, WrongValue{"mqtt", "topic-prefix", "a/#"},
        WrongValue{"mqtt", "topic-prefix", "+"}, WrongValue{"mqtt", "topic-prefix", "\xff"},
        WrongValue{"mqtt", "client-id", ""}, WrongValue{"mqtt", "client-id", "\xc3("},
        WrongValue{"mqtt", "qos", "3"}, WrongValue{"mqtt", "qos", "-1"},
        WrongValue{"mqtt", "qos", ""}, WrongValue{"mqtt", "retain", "yes"}));

TEST(ConfigTest, ABrokerIsANameOrAnAddressAndAPort) {
    using hostcam::BrokerAddress;
    EXPECT_EQ(hostcam::parseBroker("localhost:1883"), (BrokerAddress{"localhost", 1883}));
    EXPECT_EQ(hostcam::parseBroker("192.0.2.1:1"), (BrokerAddress{"192.0.2.1", 1}));
    EXPECT_EQ(hostcam::parseBroker("[::1]:65535"), (BrokerAddress{"::1", 65535}));
    EXPECT_EQ(hostcam::parseBroker(""), std::nullopt);
}

TEST(ConfigTest, AnIdThatTheDictionaryHasNotIsRefusedInWhateverOrderTheyStand) {
    EXPECT_THAT(errorOf("[scene]\nids=50\ndictionary=4x4\n"), HasSubstr("0 to 49"));
    EXPECT_EQ(errorOf("[scene]\nids=999\ndictionary=7x7\n"), "");
}

TEST(ConfigTest, AnUnknownKeyOrGroupIsRefusedWithThoseThatAreKnown) {
    EXPECT_THAT(errorOf(camera("speed=1")), HasSubstr("[camera] speed is not known"));
    EXPECT_THAT(errorOf(camera("speed=1")), HasSubstr("framerate"));
    EXPECT_THAT(errorOf("[lens]\nzoom=1\n"), HasSubstr("[lens] is not known"));
    EXPECT_THAT(errorOf("[lens]\nzoom=1\n"), HasSubstr("camera, scene, state"));
}

TEST(ConfigTest, ATextThatIsNoKeyFileIsRefused) {
    EXPECT_THAT(errorOf("source=scene\n"), HasSubstr("camera.conf: not a key file"));
    EXPECT_THAT(errorOf("[camera]\nsource\n"), HasSubstr("not a key file"));
    EXPECT_THAT(errorOf(std::string("\0\1\2", 3)), HasSubstr("not a key file"));
}

TEST(ConfigTest, BlanksAroundValuesDoNotCount) {
    EXPECT_EQ(parseConfig(camera("rotation = 90 \t"), "camera.conf").rotation, 90);
}

class CurrentConfigTest : public testing::Test {
  protected:
    CurrentConfigTest() { useFile(m_dir / "camera.conf"); }
    ~CurrentConfigTest() override {
        unsetenv("HOSTCAM_CONFIG"); // NOLINT(concurrency-mt-unsafe)
        hostcam::resetConfig();
    }

    static void useFile(const std::filesystem::path& path) {
        setenv("HOSTCAM_CONFIG", path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        hostcam::resetConfig();
    }

    static std::string error() {
        try {
            static_cast<void>(hostcam::currentConfig());
            return "";
        } catch (const ConfigError& problem) {
            return problem.what();
        }
    }

    testing_support::TempDir m_dir;
};

TEST_F(CurrentConfigTest, WithoutTheVariableTheDefaultsHold) {
    unsetenv("HOSTCAM_CONFIG"); // NOLINT(concurrency-mt-unsafe)
    hostcam::resetConfig();
    EXPECT_EQ(hostcam::currentConfig()->source, "scene");
}

TEST_F(CurrentConfigTest, IsReadOnceUntilItIsReset) {
    testing_support::writeFile(m_dir / "camera.conf", camera("rotation=90"));
    const auto before = hostcam::currentConfig();
    testing_support::writeFile(m_dir / "camera.conf", camera("rotation=180"));
    EXPECT_EQ(hostcam::currentConfig(), before);
    hostcam::resetConfig();
    EXPECT_EQ(hostcam::currentConfig()->rotation, 180);
    EXPECT_EQ(before->rotation, 90) << "whoever holds it keeps it";
}

TEST_F(CurrentConfigTest, AFileThatCannotBeReadIsNamed) {
    EXPECT_THAT(error(), HasSubstr((m_dir / "camera.conf").string()));
    useFile(m_dir.path());
    EXPECT_THAT(error(), HasSubstr(m_dir.path().string() + ": "));
}

TEST_F(CurrentConfigTest, AnEmptyFileGivesTheDefaults) {
    testing_support::writeFile(m_dir / "camera.conf", "");
    EXPECT_EQ(hostcam::currentConfig()->framerate, 25.0);
}

TEST_F(CurrentConfigTest, AWrongFileIsNamedAndReadAgainOnceItIsMended) {
    testing_support::writeFile(m_dir / "camera.conf", camera("rotation=1"));
    EXPECT_THAT(error(), HasSubstr((m_dir / "camera.conf").string() + ": [camera] rotation=1"));
    testing_support::writeFile(m_dir / "camera.conf", camera("rotation=180"));
    EXPECT_EQ(hostcam::currentConfig()->rotation, 180);
}

} // namespace
