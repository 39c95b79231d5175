// Change callbacks, the rules about who may call when, and injected faults.

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <axsdk/axparameter.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/hostcam/parameter_store.h"
#include "tests/unit/platform/axparameter/parameter_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing_support::runMainContext;

class ParameterCallback : public testing_support::ParameterTest {
  protected:
    using Changes = std::vector<std::pair<std::string, std::string>>;

    static void note(const gchar* name, const gchar* value, gpointer data) {
        static_cast<Changes*>(data)->emplace_back(name, value);
    }
    void watch(const char* name) {
        ASSERT_TRUE(ax_parameter_register_callback(handle, name, note, &changes, error.out()))
            << error.text();
    }

    Changes changes;
};

TEST_F(ParameterCallback, AChangeIsToldByTheMainLoopWithTheFullName) {
    open();
    watch("MarkersSeconds");
    set("MarkersSeconds", "5");
    set("IsRequirePresent", "true");
    EXPECT_THAT(changes, IsEmpty());
    runMainContext();
    EXPECT_THAT(changes, ElementsAre(Pair("root.Zerith_markers.MarkersSeconds", "5")));
}

TEST_F(ParameterCallback, EachChangeIsToldInOrderAndAnUnchangedValueIsNot) {
    open();
    watch("root.zerith_markers.MarkersSeconds");
    for (const char* value : {"1", "2", "2", "1"}) {
        set("MarkersSeconds", value);
    }
    runMainContext();
    EXPECT_THAT(changes,
                ElementsAre(Pair(testing::_, "1"), Pair(testing::_, "2"), Pair(testing::_, "1")));
}

TEST_F(ParameterCallback, AChangeWithoutSyncIsToldWithALaterOneWithSync) {
    open();
    watch("MarkersSeconds");
    ASSERT_TRUE(ax_parameter_set(handle, "MarkersSeconds", "3", FALSE, error.out()));
    runMainContext();
    EXPECT_THAT(changes, IsEmpty());
    set("IsRequirePresent", "true");
    runMainContext();
    EXPECT_THAT(changes, ElementsAre(Pair("root.Zerith_markers.MarkersSeconds", "3")));
}

TEST_F(ParameterCallback, AChangeFromTheDeclaredValueIsToldThoughTheFileLacksTheParameter) {
    std::filesystem::create_directories(camera.state() / "parameters.conf.new");
    testing_support::writeFile(camera.parameters(), "root.Zerith_markers.MarkersSeconds=4\n");
    open(); // what was declared cannot be written
    watch("IsRequirePresent");
    watch("EulaAccepted");
    std::filesystem::remove(camera.state() / "parameters.conf.new");
    set("IsRequirePresent", "true");
    runMainContext();
    EXPECT_THAT(changes, ElementsAre(Pair("root.Zerith_markers.IsRequirePresent", "true")));
}

TEST_F(ParameterCallback, AChangeBackToTheDeclaredValueByAFileThatLacksTheParameterIsTold) {
    open();
    set("MarkersSeconds", "5");
    watch("MarkersSeconds");
    const std::filesystem::path other = camera.state() / "other";
    testing_support::writeFile(other, "root.Zerith_markers.IsRequirePresent=1\n");
    std::filesystem::rename(other, camera.parameters());
    EXPECT_EQ(get("MarkersSeconds"), "0");
    runMainContext();
    EXPECT_THAT(changes, ElementsAre(Pair("root.Zerith_markers.MarkersSeconds", "0")));
}

TEST_F(ParameterCallback, ARemovalIsNotToldAsAChange) {
    open();
    set("MarkersSeconds", "5");
    watch("MarkersSeconds");
    ASSERT_TRUE(ax_parameter_remove(handle, "MarkersSeconds", error.out()));
    runMainContext();
    EXPECT_THAT(changes, IsEmpty());
}

TEST_F(ParameterCallback, AChangeFromElsewhereInTheProcessIsTold) {
    open();
    watch("MarkersSeconds");
    hostcam::currentParameterStore()->set("root.Zerith_markers.MarkersSeconds", "11", true);
    runMainContext();
    EXPECT_THAT(changes, ElementsAre(Pair("root.Zerith_markers.MarkersSeconds", "11")));
}

TEST_F(ParameterCallback, ThereIsOneForEachNameAndItEndsWithUnregisterOrFree) {
    open();
    Changes first;
    ASSERT_TRUE(
        ax_parameter_register_callback(handle, "MarkersSeconds", note, &first, error.out()));
    watch("MarkersSeconds");
    set("MarkersSeconds", "5");
    runMainContext();
    EXPECT_THAT(first, IsEmpty());
    EXPECT_EQ(changes.size(), 1U);
    set("MarkersSeconds", "6");
    ax_parameter_unregister_callback(handle,
                                     "MarkersSeconds"); // the change still waits for the loop
    runMainContext();
    EXPECT_EQ(changes.size(), 1U);
    watch("MarkersSeconds");
    set("MarkersSeconds", "7");
    close();
    runMainContext();
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(ParameterCallback, ACallFromWithinACallbackFailsAndIsRemembered) {
    open();
    struct Inside {
        AXParameter* handle;
        int code = -1;
    } inside{handle};
    const auto callBack = [](const gchar*, const gchar*, gpointer data) {
        auto& its = *static_cast<Inside*>(data);
        GError* raw = nullptr;
        gchar* value = nullptr;
        EXPECT_FALSE(ax_parameter_get(its.handle, "MarkersSeconds", &value, &raw));
        its.code = raw->code;
        g_error_free(raw);
    };
    ASSERT_TRUE(
        ax_parameter_register_callback(handle, "MarkersSeconds", callBack, &inside, error.out()));
    set("MarkersSeconds", "5");
    runMainContext();
    EXPECT_EQ(inside.code, AX_PARAMETER_PARAM_SYNC_ERROR);
    EXPECT_THAT(hostcam::misuses(),
                ElementsAre(HasSubstr("ax_parameter_get was called from a parameter's change")));
    EXPECT_EQ(get("MarkersSeconds"), "5");
}

TEST_F(ParameterCallback, CallsAtTheSameTimeWaitForEachOtherAndAreRemembered) {
    open();
    hostcam::Fault slow;
    slow.call = "ax_parameter_get";
    slow.fail = false;
    slow.delay = std::chrono::milliseconds(20);
    slow.count = hostcam::Fault::kForever;
    hostcam::addFault(slow);
    // The first call is certainly still running when the second begins: it is counted before it
    // waits.
    std::thread other([this] {
        gchar* value = nullptr;
        EXPECT_TRUE(ax_parameter_get(handle, "MarkersSeconds", &value, nullptr));
        g_free(value);
    });
    while (hostcam::callCount("ax_parameter_get") == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(ax_parameter_set(handle, "MarkersSeconds", "5", TRUE, error.out()));
    other.join();
    EXPECT_THAT(hostcam::misuses(),
                ElementsAre(HasSubstr("while another parameter call was running")));
    EXPECT_EQ(get("MarkersSeconds"), "5");
}

TEST_F(ParameterCallback, ThreadsThatTakeTurnsAreNoMisuseAndRaceFree) {
    open();
    std::mutex turn;
    const auto work = [&](const char* name) {
        for (int round = 0; round < 20; ++round) {
            const std::lock_guard lock(turn);
            EXPECT_TRUE(
                ax_parameter_set(handle, name, std::to_string(round).c_str(), TRUE, nullptr));
        }
    };
    watch("MarkersSeconds");
    std::thread other(work, "MarkersSeconds");
    work("IsRequirePresent");
    other.join();
    runMainContext();
    EXPECT_EQ(changes.size(), 19U); // the first value is the one that was there
    EXPECT_THAT(hostcam::misuses(), IsEmpty());
}

TEST_F(ParameterCallback, UnorderedCallsFromManyThreadsCorruptNothing) {
    open();
    std::vector<std::thread> threads;
    for (const char* name : {"Markers0x", "Markers0y", "Markers1x", "Markers1y"}) {
        threads.emplace_back([this, name] {
            for (int round = 1; round <= 10; ++round) {
                EXPECT_TRUE(
                    ax_parameter_set(handle, name, std::to_string(round).c_str(), TRUE, nullptr));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    reopen();
    for (const char* name : {"Markers0x", "Markers0y", "Markers1x", "Markers1y"}) {
        EXPECT_EQ(get(name), "10");
    }
}

class ParameterFaults : public ParameterCallback {};

TEST_F(ParameterFaults, EachCallFailsWithThePlannedErrorAndDoesNothing) {
    open();
    hostcam::addFaults(
        "ax_parameter_new code=16; ax_parameter_add code=6; ax_parameter_remove code=17;"
        "ax_parameter_set code=15; ax_parameter_get code=9; ax_parameter_list code=8;"
        "ax_parameter_register_callback code=16");
    EXPECT_EQ(ax_parameter_new("zerith_markers", error.out()), nullptr);
    EXPECT_EQ(error.code(), 16);
    EXPECT_EQ(error.domain(), AX_PARAMETER_ERROR);
    EXPECT_EQ(error.text(), "injected fault");
    EXPECT_FALSE(ax_parameter_add(handle, "New", "1", nullptr, error.out()));
    EXPECT_EQ(error.code(), 6);
    EXPECT_FALSE(ax_parameter_remove(handle, "MarkersSeconds", error.out()));
    EXPECT_EQ(error.code(), 17);
    EXPECT_FALSE(ax_parameter_set(handle, "MarkersSeconds", "9", TRUE, error.out()));
    EXPECT_EQ(error.code(), 15);
    gchar* value = nullptr;
    EXPECT_FALSE(ax_parameter_get(handle, "MarkersSeconds", &value, error.out()));
    EXPECT_EQ(error.code(), 9);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(ax_parameter_list(handle, error.out()), nullptr);
    EXPECT_EQ(error.code(), 8);
    EXPECT_FALSE(
        ax_parameter_register_callback(handle, "MarkersSeconds", note, &changes, error.out()));
    EXPECT_EQ(error.code(), 16);
    EXPECT_EQ(get("MarkersSeconds"), "0");
    EXPECT_EQ(codeOfGet("New"), AX_PARAMETER_PARAM_EXIST_ERROR);
}

TEST_F(ParameterFaults, ACallMayFailWithoutAnErrorObject) {
    open();
    hostcam::addFaults("ax_parameter_get noerror; ax_parameter_set noerror");
    gchar* value = nullptr;
    EXPECT_FALSE(ax_parameter_get(handle, "MarkersSeconds", &value, error.out()));
    EXPECT_FALSE(error.isSet());
    EXPECT_FALSE(ax_parameter_set(handle, "MarkersSeconds", "9", TRUE, error.out()));
    EXPECT_FALSE(error.isSet());
}

TEST_F(ParameterFaults, AReadCanHandOutOddText) {
    open();
    hostcam::addFaults("ax_parameter_get first=2 odd=banana pass");
    EXPECT_EQ(get("MarkersSeconds"), "0");
    EXPECT_EQ(get("MarkersSeconds"), "banana");
    EXPECT_EQ(get("MarkersSeconds"), "0");
    EXPECT_EQ(hostcam::callCount("ax_parameter_get"), 3U);
}

TEST_F(ParameterFaults, CallsWithoutAnErrorArgumentAreCounted) {
    open();
    hostcam::clearFaults();
    ax_parameter_unregister_callback(handle, "MarkersSeconds");
    close();
    EXPECT_EQ(hostcam::callCount("ax_parameter_unregister_callback"), 1U);
    EXPECT_EQ(hostcam::callCount("ax_parameter_free"), 1U);
}

} // namespace
