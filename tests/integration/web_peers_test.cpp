// The web API of the running program and those who ask it: peers that say nothing, stop in the
// middle or go away, very many of them, and the end of the program while one is served.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "tests/integration/running_service.h"

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing_support::FcgiClient;
using testing_support::kDone;
using testing_support::plainText;
using testing_support::ServiceTest;

namespace {

class WebPeersTest : public ServiceTest {
  protected:
    /// The last connection is closed a little later than its answer is read.
    void expectNoMoreDescriptorsThan(int before) {
        EXPECT_TRUE(m_program.waitUntil([&] { return lastingDescriptors() <= before; }, kPatience))
            << lastingDescriptors() << " instead of " << before;
    }

    /// Begins with ticks that detect markers and draw.
    void beginTicking() {
        m_program.storeDemonstrationSettings(320, 180);
        begin();
    }

    void expectService() { EXPECT_EQ(get("get_aspect_ratio"), plainText("16:9")); }

    /// How many descriptors the program has open.
    [[nodiscard]] int descriptors() const {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(
                 "/proc/" + std::to_string(m_program.pid()) + "/fd")) {
            static_cast<void>(entry);
            ++count;
        }
        return count;
    }

    /// The same, where a file that is open for a moment does not count: the fewest of many looks.
    [[nodiscard]] int lastingDescriptors() {
        constexpr int kLooks = 100;
        int fewest = descriptors();
        for (int i = 1; i < kLooks; ++i) {
            fewest = std::min(fewest, descriptors());
        }
        return fewest;
    }
};

TEST_F(WebPeersTest, APeerThatSaysNothingDoesNotHoldUpTheNextRequest) {
    beginTicking();
    const FcgiClient first(m_program.socket());
    const FcgiClient second(m_program.socket());
    expectService();
    EXPECT_TRUE(m_program.running());
}

TEST_F(WebPeersTest, APeerThatVanishesAtAnyByteOfItsRequestDoesNotHoldUpTheNext) {
    beginTicking();
    const std::string body = "<root><log_severity>error</log_severity>"
                             "<log_entry>whole</log_entry></root>";
    const std::string bytes =
        FcgiClient::bytesOf(postRequest("post_submit_log", std::to_string(body.size())), body);
    const int before = lastingDescriptors();
    for (std::size_t length = 0; length <= bytes.size(); length += 3) {
        const FcgiClient client(m_program.socket());
        EXPECT_TRUE(client.raw(bytes.substr(0, length)));
    }
    expectService();
    expectNoMoreDescriptorsThan(before);
}

TEST_F(WebPeersTest, BytesThatAreNoRequestDoNotHoldUpTheNext) {
    beginTicking();
    constexpr unsigned kSeed = 20260;
    std::mt19937 random(kSeed);
    const std::string good = FcgiClient::bytesOf(request("GET", "?action=get_status_code"), "");
    for (int i = 0; i < 300; ++i) {
        std::string bytes = good;
        for (unsigned hits = 1 + random() % 8; hits > 0; --hits) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        const FcgiClient client(m_program.socket());
        // The service may hang up before it has all.
        static_cast<void>(client.raw(bytes));
    }
    expectService();
    EXPECT_TRUE(m_program.running()) << "seed " << kSeed;
}

TEST_F(WebPeersTest, APeerThatStopsInItsParametersAndStaysIsGivenUp) {
    beginTicking();
    const FcgiClient stalled(m_program.socket());
    ASSERT_TRUE(stalled.raw(
        FcgiClient::bytesOf(request("GET", "?action=get_status_code"), "").substr(0, 40)));
    const FcgiClient next(m_program.socket());
    ASSERT_TRUE(next.raw(FcgiClient::bytesOf(request("GET", "?action=get_aspect_ratio"), "")));
    // The one before has its ten seconds.
    std::optional<std::string> answer = next.answer();
    EXPECT_EQ(answer ? answer : next.answer(), plainText("16:9"));
}

TEST_F(WebPeersTest, TenThousandConnectionsInARowAreAnsweredAndLeaveNothingOpen) {
    beginTicking();
    expectService();
    const int before = lastingDescriptors();
    int wrong = 0;
    for (int i = 0; i < 10000; ++i) {
        wrong += get("get_aspect_ratio") == plainText("16:9") ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
    expectNoMoreDescriptorsThan(before);
    expectService();
}

/// What the API answers while the program watches.
class Answers {
  public:
    explicit Answers(std::string settings) : m_settings(std::move(settings)) {}

    /// Whether an answer to the request of a number is right.
    [[nodiscard]] bool isRight(int number, const std::string& answer) const {
        switch (number % kActions) {
        case 0:
            return answer == plainText("200") || answer == plainText("502") ||
                   answer == plainText("600");
        case 1:
            return answer == plainText("Markers ") || answer == plainText("Marker event sent") ||
                   answer == plainText("Slow");
        case 2:
            return answer == m_settings;
        case 3:
            return answer == plainText("1280x720");
        default:
            return answer == plainText("0");
        }
    }

    [[nodiscard]] static std::string action(int number) {
        static const char* const kNames[kActions] = {
            "get_status_code", "get_status_string", "get_all_parameters",
            "get_application_resolution", "get_is_portrait"};
        return kNames[number % kActions];
    }

  private:
    static constexpr int kActions = 5;
    std::string m_settings;
};

TEST_F(WebPeersTest, TwoHundredRequestsASecondAreAnsweredRightWhileTicksRun) {
    beginTicking();
    ASSERT_TRUE(
        m_program.waitUntil([&] { return get("get_status_code") != plainText("408"); }, kPatience));
    const Answers answers(get("get_all_parameters"));
    auto due = std::chrono::steady_clock::now();
    int wrong = 0;
    std::string example;
    for (int i = 0; i < 2000; ++i) {
        std::this_thread::sleep_until(due);
        due += 5ms;
        const std::string answer = get(Answers::action(i));
        if (!answers.isRight(i, answer)) {
            ++wrong;
            example = Answers::action(i) + ": " + answer;
        }
    }
    EXPECT_EQ(wrong, 0) << example;
    EXPECT_TRUE(m_program.running());
}

TEST_F(WebPeersTest, SettingsSubmittedAgainAndAgainWhileTicksRunLeaveAWholeDocument) {
    beginTicking();
    const std::string one =
        "<root><Markers_Secs>1</Markers_Secs><Markers_Present>1</Markers_Present><Eula>1</Eula>"
        "<SelectedDictionary>5x5</SelectedDictionary><DisplayNonAOI>1</DisplayNonAOI>";
    for (int i = 0; i < 100; ++i) {
        std::string document = one;
        for (int k = 0; k < 8; ++k) {
            const std::string name = "Detection1_" + std::to_string(k);
            document += "<" + name + ">" + std::to_string((i * 8 + k) % 100) + "</" + name + ">";
        }
        ASSERT_EQ(post("set_post_parameters", document + "</root>"), kDone);
    }
    const std::string settings = get("get_all_parameters");
    EXPECT_THAT(settings, HasSubstr("<Markers_Secs>1</Markers_Secs>"));
    expectService();
}

TEST_F(WebPeersTest, ATerminationWhileARequestIsReadEndsTheProgramInTime) {
    beginTicking();
    const FcgiClient stalled(m_program.socket());
    ASSERT_TRUE(stalled.begin() && stalled.parameters(postRequest("set_post_parameters", "100")) &&
                stalled.endOfParameters() && stalled.input("half"));
    end();
    EXPECT_THAT(m_program.log(), HasSubstr("|warning|STOPPING zerith_markers\n"));
}

TEST_F(WebPeersTest, ATerminationWhileAPeerStopsInItsParametersEndsTheProgramInTime) {
    beginTicking();
    const FcgiClient stalled(m_program.socket());
    ASSERT_TRUE(stalled.begin());
    end();
    EXPECT_THAT(m_program.log(), HasSubstr("|warning|STOPPING zerith_markers\n"));
}

TEST_F(WebPeersTest, ATerminationWhileAPeerDoesNotReadItsAnswerEndsTheProgramInTime) {
    beginTicking();
    // The answer is longer than what a socket keeps.
    std::string document = "<root><Markers_Secs>1</Markers_Secs><SelectedDictionary>" +
                           std::string(900000, 'x') + "</SelectedDictionary>";
    for (int i = 0; i < 8; ++i) {
        const std::string name = "Detection1_" + std::to_string(i);
        document += "<" + name + ">0</" + name + ">";
    }
    ASSERT_EQ(post("set_post_parameters", document + "</root>"), kDone);
    const FcgiClient stalled(m_program.socket());
    ASSERT_TRUE(stalled.raw(FcgiClient::bytesOf(request("GET", "?action=get_all_parameters"), "")));
    end();
}

TEST_F(WebPeersTest, ATerminationUnderLoadEndsTheProgramInTimeEachTime) {
    for (int i = 0; i < 5; ++i) {
        beginTicking();
        std::atomic<bool> stop{false};
        std::thread load([&] {
            while (!stop) {
                try {
                    static_cast<void>(get("get_all_parameters"));
                } catch (const std::runtime_error&) {
                    return; // nobody listens any more
                }
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(37 * i));
        end();
        stop = true;
        load.join();
    }
}

} // namespace
