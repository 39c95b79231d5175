#pragma once

// Every call of the application to its camera, and some to the system: what the application says
// when it fails, and what it can no longer do then.

#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace testing_support {

/// Which of its calls fail, counted from the program's start.
constexpr unsigned kEvery = 0;
constexpr unsigned kPositions[] = {1, 2, 10, kEvery};

struct MatrixRow {
    std::string call;
    /// At least one of these is in the log after a failure. None: the failure is to be borne
    /// without a word.
    std::vector<std::string> lines;
    /// The failures of which the log need not tell although it tells of the others.
    std::set<unsigned> silentAt = {};
    /// The failures with which the program does not start: it ends with 255.
    std::set<unsigned> fatalAt = {};
    /// The failures after which no alert can be sent until the next start.
    std::set<unsigned> alertLostAt = {};
    /// The failures with which the settings cannot be loaded, so that nothing is analysed until the
    /// page writes them again.
    std::set<unsigned> settingsLostAt = {};
    /// The failures after which no request is served until the next start.
    std::set<unsigned> serviceLostAt = {};
    /// What fails is the release of something, which is lost then.
    bool isRelease = false;
    /// Not called between a start and a stop, or only after another call has failed.
    bool isUnreached = false;
    /// Called when the program stops, and planned again for that.
    bool isAtStop = false;
};

/// For the test's own output.
inline void PrintTo(const MatrixRow& row, std::ostream* out) {
    *out << row.call;
}

[[nodiscard]] const std::vector<MatrixRow>& matrixRows();

/// A fault in the words of HOSTCAM_FAULTS.
[[nodiscard]] std::string faultOf(const MatrixRow& row, unsigned position);

} // namespace testing_support
