// main from its beginning to its end, each run in a process of its own, and SIGTERM at every moment
// of it. The process that runs the tests has one thread only, so that it may fork.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/common_structs.h"
#include "analysis/tracker.h"
#include "core/shared_state.h"
#include "outputs/overlay_manager.h"
#include "tests/unit/core/app_main_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing_support::onSyslogLine;
using testing_support::WebLibrary;

namespace {

constexpr std::chrono::seconds kDeadline{20};

/// How a run of main ended.
struct End {
    std::optional<int> status; ///< of exit; none: a signal or the deadline ended the process
    std::vector<std::string> log;
};

class MainTest : public testing_support::AppMainTest {
  protected:
    /// Runs main in a new process.
    /// @param prepare called there first
    static End run(const std::function<void()>& prepare) {
        const pid_t child = fork();
        if (child == 0) {
            prepare();
            exit(zerith_main()); // NOLINT(concurrency-mt-unsafe): as the C library does it
        }
        End end;
        end.status = statusOf(child);
        for (const std::string& line : testing_support::readLines("localdata/MarkersLog.txt")) {
            const std::size_t application = line.find('|') + 1;
            end.log.push_back(line.substr(line.find('|', application) + 1));
        }
        return end;
    }

    /// Runs main and sends SIGTERM to its process while a certain line is being logged.
    static End stopAtLine(const std::string& text) {
        return run([text] {
            onSyslogLine([text](const std::string& line) {
                if (line.find(text) != std::string::npos) {
                    kill(getpid(), SIGTERM);
                }
            });
        });
    }

    /// Sends SIGTERM to this process from the main loop once a condition holds.
    static void stopOnce(bool (*condition)()) {
        g_timeout_add(
            5,
            [](gpointer function) -> gboolean {
                if (!reinterpret_cast<bool (*)()>(function)()) {
                    return TRUE;
                }
                kill(getpid(), SIGTERM);
                return FALSE;
            },
            reinterpret_cast<gpointer>(condition));
    }

    /// The same, once the program is all there.
    static void stopFromTheLoop() { stopOnce(testing_support::webServiceWaits); }

    static bool hasStatus(int code) { return loadShared(g_StatusCode) == code; }

  private:
    static std::optional<int> statusOf(pid_t child) {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        int status = 0;
        pid_t ended = 0;
        while ((ended = waitpid(child, &status, WNOHANG)) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
                return std::nullopt;
            }
            std::this_thread::yield();
        }
        return ended == child && WIFEXITED(status) ? std::optional(WEXITSTATUS(status))
                                                   : std::nullopt;
    }
};

TEST_F(MainTest, OrderlyStopReturnsZeroAndEndsTheLog) {
    const End end = run(stopFromTheLoop);
    EXPECT_EQ(end.status, 0);
    ASSERT_GE(end.log.size(), 4U);
    EXPECT_THAT(end.log[end.log.size() - 3],
                StartsWith("info|logMemoryUsage: Ending Zerith Markers - Total memory: "));
    EXPECT_EQ(end.log[end.log.size() - 2], "warning|STOPPING zerith_markers");
    EXPECT_EQ(end.log[end.log.size() - 1], "warning|");
}

TEST_F(MainTest, StartUpDoesItsStepsInOrder) {
    const End end = run(stopFromTheLoop);
    EXPECT_EQ(end.status, 0);
    std::size_t at = 0;
    for (const char* const step :
         {"info|logMemoryUsage: Starting Zerith Markers version 1.2.3 - Total memory: ",
          "info|find_rotation_parameter: Camera rotation : 0",
          "info|chooseMaxResolution: Found a stream with the largest area WxH=320x180",
          "info|VideoStreamSource: Starting stream: VDO_FORMAT_YUV, 320x180, rotation 0",
          "info|VideoStreamSource: Successfully created VideoStreamSource instance",
          "info|init_sensor_aspect_ratio: Image sensor aspect ratio: 16:9 (16x9 = 1)",
          "info|OverlayManager: OverlayManager constructor invoked.",
          "info|init_overlay_manager: Setting Overlay Manager application stream resolution to "
          "(WxH) 1280x720",
          "info|EventManager: EventManager constructor",
          "info|addEvent: Successfully declared event Zerith Markers Alert.",
          "info|addDataEvent: Successfully declared event Zerith Markers Data.",
          "info|logMemoryUsage: Ending Zerith Markers"}) {
        while (at < end.log.size() && !end.log[at].starts_with(step)) {
            ++at;
        }
        EXPECT_LT(at, end.log.size()) << "missing or too early: " << step;
    }
    EXPECT_THAT(end.log, Contains("info|webservices_thread_fcn: 1"));
}

/// One row of the table of application stream sizes.
struct SizeCase {
    const char* ratio;
    const char* resolution;
    const char* landscape;
    const char* portrait;
    bool isKnown;
};

TEST_F(MainTest, ApplicationStreamHasTheSizeOfItsAspectRatio) {
    const SizeCase cases[] = {{"1:1", "180x180", "800x800", "800x800", true},
                              {"16:9", "320x180", "1280x720", "720x1280", true},
                              {"4:3", "160x120", "1024x768", "768x1024", true},
                              {"16:10", "320x200", "1280x720", "720x1280", false}};
    for (const SizeCase& one : cases) {
        const bool isSquare = one.landscape == std::string("800x800");
        for (const int rotation : isSquare ? std::vector{0, 90, 180, 270} : std::vector{0, 90}) {
            const std::string name = std::string(one.ratio) + " " + std::to_string(rotation);
            camera.configure(std::string("[camera]\naspect-ratio=") + one.ratio +
                             "\nresolutions=" + one.resolution +
                             "\nrotation=" + std::to_string(rotation) + "\n[http]\nport=0\n");
            testing_support::forgetLog();
            const End end = run(stopFromTheLoop);
            EXPECT_EQ(end.status, 0) << name;
            EXPECT_THAT(end.log, Contains(std::string("info|init_overlay_manager: Setting Overlay "
                                                      "Manager application stream resolution to "
                                                      "(WxH) ") +
                                          (rotation % 180 == 0 ? one.landscape : one.portrait)))
                << name;
            const auto unknown = Contains("error|main: Unknown aspect ratio");
            if (one.isKnown) {
                EXPECT_THAT(end.log, Not(unknown)) << name;
            } else {
                EXPECT_THAT(end.log, unknown) << name;
            }
        }
    }
}

TEST_F(MainTest, FrameSourceIsOpenedWithTheSensorsOwnSizeAndTheAnalysisHasTheTurnedOne) {
    camera.configure("[camera]\nresolutions=320x180\nrotation=90\n[http]\nport=0\n");
    const End end = run([] {
        g_idle_add(
            [](gpointer) -> gboolean {
                g_Logger.info("analysis " + std::to_string(g_AnalysisStreamWidth) + "x" +
                              std::to_string(g_AnalysisStreamHeight));
                kill(getpid(), SIGTERM);
                return FALSE;
            },
            nullptr);
    });
    EXPECT_THAT(end.log, Contains("info|analysis 180x320"));
    EXPECT_THAT(end.log,
                Contains(StartsWith("info|VideoStreamSource: Starting stream: VDO_FORMAT_YUV, ")));
    EXPECT_THAT(end.log, Contains(HasSubstr(", rotation 90, ")));
}

TEST_F(MainTest, TimerRunsTheAnalysisInTheLoop) {
    store("EulaAccepted", "true");
    store("SelectedDictionary", "5x5");
    store("DisplayNonAOI", "true");
    const End end = run([] { stopOnce([] { return hasStatus(200); }); });
    EXPECT_EQ(end.status, 0);
}

TEST_F(MainTest, TimerHasThePeriodOfTheAnalysisAndItsCallbackWithoutData) {
    const End end = run([] {
        stopFromTheLoop();
        testing_support::onTimerInstalled([] {
            testing_support::onTimerInstalled({});
            const testing_support::TimerCall timer = testing_support::lastTimer();
            g_Logger.info(
                "timer of " + std::to_string(timer.interval) + " ms " +
                (timer.function == thread_function && timer.data == nullptr ? "alone" : "else"));
        });
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains("info|timer of 100 ms alone"));
}

TEST_F(MainTest, AnalysisStateIsResetBeforeTheLoopRunsAndMarkersOutliveOneMissedTick) {
    const End end = run([] {
        g_AOI1State.set_state("1,2");
        g_Id2Time[3] = timeval{};
        g_idle_add(
            [](gpointer) -> gboolean {
                g_Logger.info("state '" + g_AOI1State.get_state() + "' with " +
                              std::to_string(g_Id2Time.size()) + " times");
                (void)g_Tracker.track_detections({detection()});
                const std::size_t missedOnce = g_Tracker.track_detections({}).size();
                const std::size_t missedTwice = g_Tracker.track_detections({}).size();
                g_Logger.info("tracked " + std::to_string(missedOnce) + ", then " +
                              std::to_string(missedTwice));
                kill(getpid(), SIGTERM);
                return FALSE;
            },
            nullptr);
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains("info|state '' with 0 times"));
    EXPECT_THAT(end.log, Contains("info|tracked 1, then 0"));
}

TEST_F(MainTest, SystemLogIsClosedAfterTheEndingLineAndBeforeTheLogEnds) {
    const End end = run([] {
        stopFromTheLoop();
        onSyslogLine([](const std::string& line) {
            std::ofstream("syslog", std::ios::app) << line << '\n';
        });
    });
    EXPECT_EQ(end.status, 0);
    std::vector<std::string> lines = testing_support::readLines("syslog");
    // Before it the web service, on a thread of its own, may still have something to say.
    const auto closed = std::ranges::find(lines, "close");
    ASSERT_NE(closed, lines.end());
    const auto ending = std::ranges::find_if(lines, [](const std::string& line) {
        return line.starts_with("6|logMemoryUsage: Ending Zerith Markers - Total memory: ");
    });
    EXPECT_LT(ending, closed);
    EXPECT_GT(std::ranges::find(lines, "4|STOPPING zerith_markers"), closed);
    // The objects go in the reverse order of their construction.
    EXPECT_EQ(lines.back(), "6|~PackageConfig: PackageConfig destructor");
}

TEST_F(MainTest, FactorySettingsRunWithStatus408) {
    const End end = run([] { stopOnce([] { return hasStatus(408); }); });
    EXPECT_EQ(end.status, 0);
}

// ---- Stops

TEST_F(MainTest, StopAtAnyStepOfStartUpEndsTheProcessWithOne) {
    for (const char* const line :
         {"logMemoryUsage: Starting", "Camera rotation", "Found a stream",
          "VideoStreamSource constructor called", "Successfully created VideoStreamSource",
          "Image sensor aspect ratio", "OverlayManager constructor invoked",
          "Setting Overlay Manager application stream", "EventManager constructor",
          "registering event Zerith Markers Data"}) {
        testing_support::forgetLog();
        const End end = stopAtLine(line);
        EXPECT_EQ(end.status, 1) << line;
        EXPECT_THAT(end.log, Not(Contains(HasSubstr("Ending Zerith Markers")))) << line;
        ASSERT_GE(end.log.size(), 2U) << line;
        EXPECT_EQ(end.log[end.log.size() - 2], "warning|STOPPING zerith_markers") << line;
        EXPECT_EQ(end.log[end.log.size() - 1], "warning|") << line;
    }
}

TEST_F(MainTest, StopThatIsPendingWhenTheProgramBeginsEndsItWithOne) {
    const End end = run([] {
        sigset_t termination;
        sigemptyset(&termination);
        sigaddset(&termination, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &termination, nullptr);
        kill(getpid(), SIGTERM);
    });
    EXPECT_EQ(end.status, 1);
}

TEST_F(MainTest, StopFromTheWebServiceThreadIsTakenByTheMainThread) {
    const End end = stopAtLine("webservices_thread_fcn: 1");
    ASSERT_TRUE(end.status);
    EXPECT_TRUE(*end.status == 0 || *end.status == 1); // it races with the loop's beginning
    EXPECT_THAT(end.log, Contains("warning|STOPPING zerith_markers"));
}

TEST_F(MainTest, StopBetweenTheTimersInstallationAndTheLoopIsNotLost) {
    const End end = run([] {
        testing_support::onTimerInstalled([] {
            testing_support::onTimerInstalled({});
            kill(getpid(), SIGTERM);
        });
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains(StartsWith("info|logMemoryUsage: Ending Zerith Markers")));
}

// As it would be with a thread that has SIGTERM open: the handler runs at once, the loop does not.
TEST_F(MainTest, StopThatIsHandledBeforeTheLoopRunsIsNotLost) {
    const End end = run([] {
        testing_support::onTimerInstalled([] {
            testing_support::onTimerInstalled({});
            handle_sigterm(SIGTERM);
        });
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains(StartsWith("info|logMemoryUsage: Ending Zerith Markers")));
}

TEST_F(MainTest, StopIsHandledByAnotherThreadThatHasItOpen) {
    const End end = run([] {
        std::thread([] {
            while (loadShared(g_ThreadID) == 0) {
                std::this_thread::yield();
            }
            handle_sigterm(SIGTERM);
        }).detach();
    });
    EXPECT_EQ(end.status, 0);
}

TEST_F(MainTest, StopIsHandledAlthoughAnEventIsAlwaysReady) {
    const End end = run([] {
        g_idle_add(
            [](gpointer) -> gboolean {
                kill(getpid(), SIGTERM);
                return TRUE;
            },
            nullptr);
    });
    EXPECT_EQ(end.status, 0);
}

TEST_F(MainTest, StopAtTheLoopsFirstTurnIsInOrderHoweverFarTheWebServiceIs) {
    const End end = run([] { stopOnce([] { return true; }); });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Not(Contains(HasSubstr("Failed to init fastcgi service"))));
}

TEST_F(MainTest, SecondStopDuringTheEndChangesNothing) {
    const End end = run([] {
        stopFromTheLoop();
        onSyslogLine([](const std::string& line) {
            if (line.find("Ending Zerith Markers") != std::string::npos ||
                line.find("STOPPING") != std::string::npos) {
                kill(getpid(), SIGTERM);
            }
        });
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.log.back(), "warning|");
}

TEST_F(MainTest, HandlerRemovesTheTimerAndQuitsTheLoop) {
    const End end = run([] {
        g_idle_add(
            [](gpointer) -> gboolean {
                const guint timer = loadShared(g_ThreadID);
                g_Logger.info(std::string("timer ") + (timer != 0 ? "installed" : "missing"));
                handle_sigterm(SIGTERM);
                const bool isRemoved = g_main_context_find_source_by_id(nullptr, timer) == nullptr;
                g_Logger.info(std::string("timer ") + (isRemoved ? "removed" : "left") + ", id " +
                              std::to_string(loadShared(g_ThreadID)));
                return FALSE;
            },
            nullptr);
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains("info|timer installed"));
    EXPECT_THAT(end.log, Contains("info|timer removed, id 0"));
}

TEST_F(MainTest, HandlerWithoutALoopExitsWithOneAndTheLogIsEnded) {
    const End end = run([] {
        init_signals();
        raise(SIGTERM);
    });
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.log.back(), "warning|");
}

TEST_F(MainTest, BrokenPipeIsIgnored) {
    const End end = run([] {
        g_idle_add(
            [](gpointer) -> gboolean {
                raise(SIGPIPE);
                kill(getpid(), SIGTERM);
                return FALSE;
            },
            nullptr);
    });
    EXPECT_EQ(end.status, 0);
}

// ---- The web service at the end

TEST_F(MainTest, WebServiceThatHangsDoesNotHoldUpTheEndAndTheLogIsEnded) {
    const auto start = std::chrono::steady_clock::now();
    const End end = run([] {
        testing_support::setWebLibrary(WebLibrary::Hangs);
        stopFromTheLoop();
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, kDeadline);
    ASSERT_GE(end.log.size(), 3U);
    EXPECT_THAT(end.log[end.log.size() - 3],
                StartsWith("info|logMemoryUsage: Ending Zerith Markers"));
    EXPECT_EQ(end.log[end.log.size() - 2], "warning|STOPPING zerith_markers");
    EXPECT_EQ(end.log[end.log.size() - 1], "warning|");
}

TEST_F(MainTest, WebServiceThatCannotBeginLeavesTheAnalysisRunning) {
    const End end = run([] {
        testing_support::setWebLibrary(WebLibrary::CannotBegin);
        stopOnce([] { return hasStatus(408); });
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.log, Contains("error|webservices_thread_fcn: Failed to init fastcgi service"));
}

TEST_F(MainTest, FailedStartUpExitsWith255) {
    fail("vdo_stream_new");
    const End end = run([] {});
    EXPECT_EQ(end.status, 255);
    EXPECT_EQ(end.log.back(), "warning|");
}

} // namespace
