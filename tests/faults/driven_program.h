#pragma once

#include "tests/faults/run_control.h"

/// What the test wants of this program; null when nobody drives it.
[[nodiscard]] testing_support::RunControl* runControl();
