// The disk is full or read-only under the log, and under the parameters and the event journal: the
// application goes on, says what it could not keep where it still can, loses nothing that was
// stored, and keeps again what comes once it can.

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faults/driven_run.h"
#include "tests/faults/small_disk.h"
#include "tests/support/private_package_folder.h"

using namespace std::chrono_literals;
using namespace testing_support;

namespace {

constexpr std::size_t kKilobytes = 128;
constexpr unsigned kStory = 30; ///< seconds

enum class Trouble { Full, ReadOnly };

class DiskTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { s_reason = PrivatePackageFolder::make(); }

    void SetUp() override {
        if (!s_reason.empty()) {
            GTEST_SKIP() << s_reason;
        }
        m_run.emplace();
    }

    void TearDown() override {
        m_disk.reset();
        m_run.reset();
    }

    void begin() {
        ASSERT_TRUE(m_run->start()) << m_run->program().log() << m_run->program().output();
        ASSERT_TRUE(m_run->program().waitUntil(
            [&] { return m_run->get("get_status_code").has_value(); }, 20s));
    }

    /// Ticks up to a second of the scene's story, the next one if that has passed.
    void tickTo(unsigned second) {
        auto until = std::chrono::nanoseconds(std::chrono::seconds(second));
        while (until < m_run->age()) {
            until += std::chrono::seconds(kStory);
        }
        ASSERT_TRUE(m_run->tick(1 + static_cast<unsigned>((until - m_run->age()) / 1s), 1s));
    }

    void expectDone(const std::optional<std::string>& answer) {
        EXPECT_TRUE(answer && answer->starts_with("Status: 200 OK\r\n"))
            << answer.value_or("no answer");
    }

    void expectStored(int seconds) {
        for (const auto& [name, value] : DrivenRun::storedSettings(seconds)) {
            EXPECT_EQ(m_run->program().stored(name), value) << name;
        }
    }

    void end() {
        const auto end = m_run->stop();
        ASSERT_TRUE(end.has_value());
        EXPECT_TRUE(end->exited && end->status == 0) << m_run->program().output();
    }

    inline static std::string s_reason;
    std::optional<DrivenRun> m_run;
    std::optional<SmallDisk> m_disk;
};

class UnwritableLog : public DiskTest, public testing::WithParamInterface<Trouble> {
  protected:
    void breakDisk() {
        if (GetParam() == Trouble::Full) {
            m_disk->fill();
        } else {
            ASSERT_TRUE(m_disk->setReadOnly(true));
        }
    }

    void mendDisk() {
        if (GetParam() == Trouble::Full) {
            m_disk->empty();
        } else {
            ASSERT_TRUE(m_disk->setReadOnly(false));
        }
    }
};

class FullOrReadOnlyState : public DiskTest {
  protected:
    void SetUp() override {
        DiskTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        m_disk.emplace(m_run->program().stateDir(), kKilobytes);
        for (const auto& [name, value] : DrivenRun::storedSettings(3)) {
            m_run->program().store(name, value);
        }
    }

    static constexpr const char* kNotSaved =
        "|error|set_guint_parameter: Failed to save MarkersSeconds\n";
    static constexpr const char* kNotSent =
        "|error|sendEvent: Failed to send event Zerith Markers Alert activeValue=1\n";
};

TEST_P(UnwritableLog, TheApplicationGoesOnWithoutItsLogAndLogsAgainLater) {
    m_disk.emplace(m_run->program().packageDir() / "localdata", kKilobytes);
    begin();
    breakDisk();
    const std::string before = m_run->program().log();
    tickTo(17); // an alert has come and gone
    expectDone(m_run->get("get_logfile_as_serialized_text"));
    expectDone(m_run->post("set_post_parameters", DrivenRun::settings(1)));
    expectDone(m_run->post(
        "post_submit_log",
        "<root><log_severity>error</log_severity><log_entry>is lost</log_entry></root>"));
    EXPECT_THAT(m_run->program().log(), testing::StartsWith(before));
    EXPECT_THAT(m_run->alerts(), testing::ElementsAre(true, false));
    expectStored(1);

    mendDisk();
    expectDone(m_run->post(
        "post_submit_log",
        "<root><log_severity>error</log_severity><log_entry>is kept</log_entry></root>"));
    EXPECT_THAT(m_run->program().log(), testing::StartsWith(before));
    EXPECT_THAT(m_run->program().log(), testing::EndsWith("|zerith_markers|error|is kept\n"));
    end();
    EXPECT_THAT(m_run->program().log(), testing::EndsWith("|zerith_markers|warning|\n"));
}

TEST_F(FullOrReadOnlyState, SettingsThatCannotBeStoredAreToldAndLeaveTheOldOnesWhole) {
    begin();
    m_disk->fill();
    expectDone(m_run->post("set_post_parameters", DrivenRun::settings(1)));
    EXPECT_TRUE(m_run->program().logHolds(kNotSaved));
    expectStored(3);
    // Meanwhile what was written counts.
    const auto answer = m_run->get("get_all_parameters");
    ASSERT_TRUE(answer.has_value());
    EXPECT_THAT(*answer, testing::HasSubstr("<Markers_Secs>1</Markers_Secs>"));

    m_disk->empty();
    expectDone(m_run->post("set_post_parameters", DrivenRun::settings(2)));
    expectStored(2);
    end();
}

TEST_F(FullOrReadOnlyState, EventsThatCannotBeWrittenAreToldAndTheAlertComesAndGoesAgainLater) {
    begin();
    m_disk->fill();
    // The file's last page has room for some more.
    for (unsigned story = 0; story < 20 && !m_run->program().logHolds(kNotSent); ++story) {
        tickTo(17);
        tickTo(28);
    }
    EXPECT_TRUE(m_run->program().logHolds(kNotSent));

    m_disk->empty();
    const std::size_t before = m_run->program().journal().size();
    tickTo(29);
    tickTo(17);
    tickTo(29);
    const std::vector<bool> alerts = m_run->alerts(before);
    EXPECT_THAT(alerts, testing::Contains(true));
    ASSERT_FALSE(alerts.empty());
    EXPECT_FALSE(alerts.back()) << "the alert is stuck";
    end();
}

// It can be made read-only only while no file on it is open.
TEST_F(FullOrReadOnlyState, AStateThatIsReadOnlyFromTheStartIsToldAndStopsNeitherTicksNorRequests) {
    ASSERT_TRUE(m_disk->setReadOnly(true));
    begin();
    tickTo(12);
    expectDone(m_run->get("get_status_code"));
    expectDone(m_run->post("set_post_parameters", DrivenRun::settings(1)));
    EXPECT_TRUE(m_run->program().logHolds(kNotSaved));
    EXPECT_TRUE(m_run->program().logHolds(
        "|error|addEvent: Failed to declare event Zerith Markers Alert\n"))
        << m_run->program().log();
    expectStored(3);
    end();
}

INSTANTIATE_TEST_SUITE_P(Disk, UnwritableLog, testing::Values(Trouble::Full, Trouble::ReadOnly),
                         [](const auto& trouble) {
                             return trouble.param == Trouble::Full ? "Full" : "ReadOnly";
                         });

} // namespace
