#pragma once

// The fixture and the scenes of the tests of the per-tick decision.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/detection_processing.h"
#include "tests/support/moved_clock.h"
#include "tests/unit/analysis/logged.h"
#include "tests/unit/analysis/markers.h"
#include "tests/unit/analysis/processing_doubles.h"

namespace testing_support {

inline const detection kInside = markerAt(300, 300, 7);
inline const detection kOutside = markerAt(700, 300, 7);

constexpr bool kPresence = true;
constexpr bool kAbsence = false;

/// A finding as monitor_AOI() leaves it.
inline one_find finding(int id, footings footing) {
    one_find made;
    made.id = id;
    made.footing = footing;
    return made;
}

/// The footings of g_findings, in order.
inline std::vector<int> footingsFound() {
    std::vector<int> all;
    for (const one_find& found : g_findings) {
        all.push_back(found.footing);
    }
    return all;
}

/// Begins in presence mode with 5 seconds. Whatever a test does logs no error and never tells the
/// event manager anything with the settings' lock held.
class Processing : public testing::Test {
  protected:
    Processing() { resetProcessing(kPresence, 5); }
    ~Processing() override {
        MovedClock::release();
        EXPECT_TRUE(g_settingsWereFreeWhenTold);
        EXPECT_THAT(logged("error"), testing::IsEmpty());
    }
};

} // namespace testing_support
