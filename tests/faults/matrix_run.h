#pragma once

// One run of the matrix: start, twenty ticks with five requests while calls fail, then the same
// camera without a fault for two rounds of the scene's story, and a stop. What must hold in each is
// checked here.

#include <string>
#include <vector>

#include "tests/faults/matrix_rows.h"

namespace testing_support {

struct PlannedFault {
    const MatrixRow* row;
    unsigned position;
};

struct MatrixResult {
    std::vector<std::string> complaints; ///< what did not hold
    std::vector<bool> wasHit;            ///< of each planned fault
    bool hasStarted = false;
    std::string evidence; ///< the program's log and output
};

/// @param faults one or two
[[nodiscard]] MatrixResult runMatrix(const std::vector<PlannedFault>& faults);

} // namespace testing_support
