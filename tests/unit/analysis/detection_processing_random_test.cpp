// Random ticks against a reference that keeps the whole history and derives every age, the lost
// clock and the alert from it anew, instead of carrying a state from tick to tick.

#include <algorithm>
#include <iostream>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "analysis/detection_processing.h"
#include "analysis/tracker.h"
#include "settings/config_params.h"
#include "tests/support/moved_clock.h"
#include "tests/unit/analysis/markers.h"
#include "tests/unit/analysis/processing_doubles.h"

using namespace testing_support;

namespace {

/// All ticks since the start: when they were, and which ids were inside.
class History {
  public:
    void add(long milliseconds, std::set<int> inside) {
        m_ticks.push_back({milliseconds, std::move(inside), false});
        const std::set<int>& ids = m_ticks.back().inside;
        m_ticks.back().lost =
            std::none_of(ids.begin(), ids.end(), [this](int id) { return runOf(id) > 1; });
    }

    [[nodiscard]] bool isInside(int id) const { return m_ticks.back().inside.contains(id); }

    /// Whole seconds of the clock since the id's present stay began.
    [[nodiscard]] int secondsInside(int id) const {
        const std::size_t run = runOf(id);
        return run < 2 ? 0
                       : static_cast<int>(wholeSeconds(m_ticks.back()) -
                                          wholeSeconds(m_ticks[m_ticks.size() - run]));
    }

    [[nodiscard]] footings footing(int id, int seconds) const {
        if (!isInside(id)) {
            return not_in_AOI;
        }
        return runOf(id) > 1 && secondsInside(id) > seconds ? in_AOI1_lengthily : in_AOI1_briefly;
    }

    [[nodiscard]] bool isLost() const { return m_ticks.back().lost; }

    [[nodiscard]] int secondsLost() const {
        std::size_t first = m_ticks.size() - 1;
        while (first > 0 && m_ticks[first - 1].lost) {
            --first;
        }
        return static_cast<int>((m_ticks.back().milliseconds - m_ticks[first].milliseconds) / 1000);
    }

    [[nodiscard]] bool alert(bool requirePresent, int seconds) const {
        if (!requirePresent) {
            return isLost() && secondsLost() > seconds;
        }
        const std::set<int>& ids = m_ticks.back().inside;
        return std::any_of(ids.begin(), ids.end(),
                           [&](int id) { return footing(id, seconds) == in_AOI1_lengthily; });
    }

  private:
    struct Tick {
        long milliseconds;
        std::set<int> inside;
        bool lost;
    };

    static long wholeSeconds(const Tick& tick) { return tick.milliseconds / 1000; }

    /// In how many ticks in a row, up to the last, the id was inside.
    [[nodiscard]] std::size_t runOf(int id) const {
        const auto end = std::find_if_not(m_ticks.rbegin(), m_ticks.rend(), [id](const Tick& tick) {
            return tick.inside.contains(id);
        });
        return static_cast<std::size_t>(end - m_ticks.rbegin());
    }

    std::vector<Tick> m_ticks;
};

class Dice {
  public:
    explicit Dice(unsigned seed) : m_random(seed) { std::cout << "seed " << seed << '\n'; }

    int upTo(int most) { return std::uniform_int_distribution(0, most)(m_random); }
    bool oneIn(int chances) { return upTo(chances - 1) == 0; }

    /// How far the clock moves to the next tick: mostly a little, at times far, seldom back.
    long step() {
        if (oneIn(40)) {
            return -upTo(4000);
        }
        return oneIn(4) ? upTo(9000) : 100;
    }

  private:
    std::mt19937 m_random;
};

/// A clock that runs in whole milliseconds.
class Clock {
  public:
    void move(long milliseconds) {
        m_now += milliseconds;
        MovedClock::set(m_now / 1000, m_now % 1000 * 1000);
    }
    [[nodiscard]] long now() const { return m_now; }

  private:
    long m_now = 1000000000;
};

void changeSettings(Dice& dice) {
    if (dice.oneIn(30)) {
        g_ConfigParams.i_MarkersSeconds = dice.upTo(12) - 1;
    }
    if (dice.oneIn(50)) {
        g_ConfigParams.b_IsRequirePresent = !g_ConfigParams.b_IsRequirePresent;
    }
}

/// Compares findings, lost clock and alert with the history; the stages have run.
void expectAgreement(const History& history, const std::vector<std::string>& told, int tick) {
    const int seconds = g_ConfigParams.i_MarkersSeconds;
    for (const one_find& found : g_findings) {
        ASSERT_EQ(found.footing, history.footing(found.id, seconds)) << "tick " << tick;
        ASSERT_EQ(found.seconds, history.isInside(found.id) ? history.secondsInside(found.id) : 0)
            << "tick " << tick;
    }
    ASSERT_EQ(DetectionProcessing::isMarkerLost(), history.isLost()) << "tick " << tick;
    if (history.isLost()) {
        ASSERT_EQ(DetectionProcessing::getSecsSinceMarkerLost(), history.secondsLost())
            << "tick " << tick;
    }
    const bool alert = history.alert(g_ConfigParams.b_IsRequirePresent, seconds);
    ASSERT_EQ(told.back(), alert ? "start Zerith Markers Alert" : "stop Zerith Markers Alert")
        << "tick " << tick;
}

} // namespace

TEST(RandomProcessing, AgesAndDecidesAsTheWholeHistoryDoesInAHundredThousandTicks) {
    Dice dice(31337);
    int alerts = 0;
    int losses = 0;
    int tick = 0;
    while (tick < 120000) {
        resetProcessing(dice.oneIn(2), dice.upTo(12) - 1);
        Clock clock;
        History history;
        std::set<int> ids = {1, 4, 5};
        for (int i = 0; i < 100; ++i, ++tick) {
            clock.move(dice.step());
            changeSettings(dice);
            t_findings_list findings;
            std::set<int> inside;
            for (const int id : ids) {
                // Long stays, with short breaks outside and ticks in which the id is not returned.
                const bool stays = !dice.oneIn(12);
                if (dice.oneIn(15)) {
                    continue;
                }
                one_find found;
                found.id = id;
                found.footing = stays ? in_AOI1_briefly : not_in_AOI;
                findings.push_back(found);
                if (stays) {
                    inside.insert(id);
                }
            }
            if (dice.oneIn(25)) {
                ids = {dice.upTo(3), 4 + dice.upTo(3)};
            }
            if (dice.oneIn(40)) {
                ids.clear();
            }
            if (ids.empty() && dice.oneIn(8)) {
                ids = {dice.upTo(9)};
            }
            g_findings = findings;
            history.add(clock.now(), inside);
            DetectionProcessing::examine_and_update_findings();
            DetectionProcessing::manage_events();
            const std::vector<std::string> told = takeTold();
            ASSERT_EQ(told.size(), 1U);
            ASSERT_NO_FATAL_FAILURE(expectAgreement(history, told, tick));
            ASSERT_LE(g_Id2Time.size(), g_findings.size());
            alerts += told.back().starts_with("start") ? 1 : 0;
            losses += history.isLost() ? 1 : 0;
        }
    }
    MovedClock::release();
    EXPECT_GT(alerts, 10000) << "of " << tick;
    EXPECT_LT(alerts, 100000) << "of " << tick;
    EXPECT_GT(losses, 10000) << "of " << tick;
    EXPECT_LT(losses, 100000) << "of " << tick;
}

TEST(RandomProcessing, RunsAllStagesAsTheWholeHistoryDoesInAHundredThousandTicks) {
    Dice dice(8086);
    int published = 0;
    int tick = 0;
    while (tick < 120000) {
        resetProcessing(dice.oneIn(2), dice.upTo(12) - 1);
        tracker twin;
        twin.init(1);
        Clock clock;
        History history;
        std::string lastText;
        int markers = dice.upTo(4);
        for (int i = 0; i < 100; ++i, ++tick) {
            clock.move(dice.step());
            changeSettings(dice);
            if (dice.oneIn(10)) {
                markers = dice.upTo(4);
            }
            t_detection_list detections;
            for (int m = 0; m < markers; ++m) {
                if (!dice.oneIn(10)) {
                    const float x = dice.oneIn(12) ? 700 : static_cast<float>(150 + 80 * m);
                    detections.push_back(markerAt(x, static_cast<float>(290 + dice.upTo(20)), m));
                }
            }
            std::set<int> inside;
            std::string text;
            std::vector<int> tracked;
            for (const auto& [id, marker] : twin.track_detections(detections)) {
                tracked.push_back(id);
                if (marker.get_centroid().x < 600) {
                    inside.insert(id);
                    text += (text.empty() ? "" : ",") + std::to_string(id);
                }
            }
            history.add(clock.now(), inside);
            runTick(detections);
            const std::vector<std::string> told = takeTold();
            ASSERT_EQ(told.size(), text == lastText ? 1U : 2U) << "tick " << tick;
            if (text != lastText) {
                ASSERT_EQ(told.front(), "data " + text) << "tick " << tick;
                ++published;
            }
            lastText = text;
            ASSERT_EQ(g_findings.size(), tracked.size()) << "tick " << tick;
            for (std::size_t f = 0; f < tracked.size(); ++f) {
                ASSERT_EQ(g_findings[f].id, tracked[f]) << "tick " << tick;
            }
            ASSERT_NO_FATAL_FAILURE(expectAgreement(history, told, tick));
            ASSERT_LE(g_Id2Time.size(), g_findings.size());
        }
    }
    MovedClock::release();
    EXPECT_GT(published, 10000) << "of " << tick;
}
