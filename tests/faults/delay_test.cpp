// A call to the camera that takes five seconds: a request that does not need that very call is
// answered as if nothing were the matter, and a request that does holds up no tick.

#include <algorithm>
#include <functional>
#include <future>
#include <iostream>
#include <thread>

#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"

using namespace std::chrono_literals;
using namespace testing_support;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

namespace {

constexpr auto kDelay = 5s;
constexpr const char* kDelayed = " delay=5000 pass";
/// Far below the delay, far above what a busy machine takes.
constexpr Milliseconds kWorst = 1500ms;
constexpr Milliseconds kMost = 50ms; ///< for 95 of 100

class SlowCamera : public testing::Test {
  protected:
    void begin() {
        ASSERT_TRUE(m_run.start()) << m_run.program().log() << m_run.program().output();
        ASSERT_TRUE(m_run.program().waitUntil(
            [&] { return m_run.get("get_status_code").has_value(); }, 20s));
    }

    /// Lets ticks pass in the background until one does not come to its end.
    void letTheMainLoopHang(unsigned ticks) {
        m_begin = Clock::now();
        m_run.control().stride = std::chrono::nanoseconds(1s).count();
        m_run.control().isIdle = false;
        m_run.control().allowed += ticks;
        ASSERT_TRUE(m_run.program().waitUntil([&] { return m_run.control().isAsleep.load(); }, 60s))
            << "no tick hangs";
    }

    void ask(const std::string& action, const std::string& body = "") {
        const auto begin = Clock::now();
        const auto answer = body.empty() ? m_run.get(action) : m_run.post(action, body);
        m_times.push_back(Clock::now() - begin);
        EXPECT_TRUE(answer && answer->starts_with("Status: 200 OK\r\n"))
            << action << ": " << answer.value_or("no answer");
    }

    /// Every request of the service.
    void askEverythingOnce(int seconds) {
        for (const char* action :
             {"get_status_code", "get_status_string", "get_is_portrait", "get_all_parameters",
              "get_aspect_ratio", "get_application_resolution", "manual_markers_alert_on",
              "manual_markers_alert_off", "get_logfile_as_serialized_text",
              "get_logfile_as_plain_text"}) {
            ask(action);
        }
        ask("set_post_parameters", DrivenRun::settings(seconds));
        ask("post_submit_log",
            "<root><log_severity>error</log_severity><log_entry>x</log_entry></root>");
        ask("clear_logfile");
    }

    void askEverythingForThreeSeconds() {
        const auto end = Clock::now() + 3s;
        for (int round = 0; Clock::now() < end; ++round) {
            askEverythingOnce(1 + round % 5);
        }
    }

    void expectPromptAnswers(const std::string& what) {
        ASSERT_FALSE(m_times.empty());
        std::sort(m_times.begin(), m_times.end());
        const auto share = [this](std::size_t percent) {
            return m_times[m_times.size() * percent / 100];
        };
        std::cout << what << ": " << m_times.size() << " answers, median " << share(50).count()
                  << " ms, 95 % " << share(95).count() << " ms, worst " << m_times.back().count()
                  << " ms\n";
        EXPECT_LT(share(95), kMost);
        EXPECT_LT(m_times.back(), kWorst);
    }

    void expectPromptAnswersWhileTheTickHangsIn(const std::string& call, unsigned ticks) {
        begin();
        m_run.changeFaults(call + kDelayed);
        letTheMainLoopHang(ticks);
        askEverythingForThreeSeconds();
        EXPECT_TRUE(m_run.control().isAsleep) << "the tick has come to its end too early";
        expectPromptAnswers(call);
        EXPECT_TRUE(m_run.settle());
        EXPECT_GE(Clock::now() - m_begin, kDelay);
        end();
    }

    /// A request that needs a call which takes its time, and what the ticks do meanwhile.
    void expectTicksDuring(const std::string& call, const std::function<void()>& request) {
        begin();
        m_run.changeFaults(call + kDelayed);
        const auto begin = Clock::now();
        auto asked = std::async(std::launch::async, request);
        unsigned ticks = 0;
        while (asked.wait_for(0s) == std::future_status::timeout) {
            ASSERT_TRUE(m_run.tick(1, 100ms));
            ++ticks;
        }
        constexpr unsigned kFewest = 5; // of the hundreds that five seconds have room for
        EXPECT_GE(ticks, kFewest);
        std::cout << call << ": " << ticks << " ticks in the meantime\n";
        asked.get();
        EXPECT_GE(Clock::now() - begin, kDelay);
        end();
    }

    void end() {
        const auto end = m_run.stop();
        ASSERT_TRUE(end.has_value());
        EXPECT_TRUE(end->exited && end->status == 0) << m_run.program().output();
    }

    DrivenRun m_run;
    std::vector<Milliseconds> m_times;
    Clock::time_point m_begin;
};

TEST_F(SlowCamera, RequestsAreAnsweredWhileAFrameIsWaitedFor) {
    expectPromptAnswersWhileTheTickHangsIn("vdo_stream_get_buffer", 1);
}

TEST_F(SlowCamera, RequestsAreAnsweredWhileAFrameIsHandedBack) {
    expectPromptAnswersWhileTheTickHangsIn("vdo_stream_buffer_unref", 1);
}

TEST_F(SlowCamera, RequestsAreAnsweredWhileOverlaysAreDrawn) {
    expectPromptAnswersWhileTheTickHangsIn("axoverlay_redraw", 1);
}

TEST_F(SlowCamera, RequestsAreAnsweredWhileAnEventIsSent) {
    // In the scene's first ten seconds a marker comes in.
    expectPromptAnswersWhileTheTickHangsIn("ax_event_handler_send_event", 10);
}

TEST_F(SlowCamera, RequestsAreAnsweredWhileALargePictureIsSearched) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const std::string size = "640x360";
#else
    const std::string size = "3840x2160";
#endif
    m_run.program().configure("camera", "resolutions", size);
    begin();
    constexpr unsigned kTicks = 2;
    constexpr auto kPatience = 120s; // for a busy machine
    const auto begin = Clock::now();
    m_run.control().isIdle = false;
    m_run.control().allowed += kTicks;
    while (!m_run.control().isIdle && Clock::now() - begin < kPatience) {
        askEverythingOnce(1);
    }
    std::cout << kTicks << " ticks in " << Milliseconds(Clock::now() - begin).count() << " ms\n";
    EXPECT_TRUE(m_run.settle());
    expectPromptAnswers("pictures of " + size);
    end();
}

TEST_F(SlowCamera, TicksGoOnWhileASettingIsStored) {
    expectTicksDuring("ax_parameter_set",
                      [&] { ask("set_post_parameters", DrivenRun::settings(2)); });
}

TEST_F(SlowCamera, TicksGoOnWhileTheCamerasSizesAreRead) {
    expectTicksDuring("vdo_channel_get_all", [&] { ask("get_all_parameters"); });
}

TEST_F(SlowCamera, TicksGoOnWhileTheSensorsAspectRatioIsRead) {
    expectTicksDuring("ax_parameter_get", [&] { ask("get_aspect_ratio"); });
}

TEST_F(SlowCamera, TicksGoOnWhileTheAlertIsSentByHand) {
    expectTicksDuring("ax_event_handler_send_event", [&] { ask("manual_markers_alert_on"); });
}

} // namespace
