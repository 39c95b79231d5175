#pragma once

// The one place where marker analysis turns a 32-bit float into an int. Header only; any thread.

#include <cmath>
#include <limits>

/// The value truncated toward zero. Values beyond int become the nearest int and "not a number"
/// becomes 0: the plain conversion is undefined there, and corners that a detector or a settings
/// document makes up must not be able to stop the tick.
[[nodiscard]] inline int truncateToInt(float value) {
    constexpr float kBeyondInt = 2147483648.0F; // 2^31, which a float holds exactly
    if (value >= kBeyondInt) {
        return std::numeric_limits<int>::max();
    }
    if (value < -kBeyondInt) {
        return std::numeric_limits<int>::min();
    }
    return std::isnan(value) ? 0 : static_cast<int>(value);
}
