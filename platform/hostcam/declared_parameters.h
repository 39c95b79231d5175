#pragma once

// The application's parameters as its package declares them: package/parameters.txt is the one
// list, from which the build makes this.

#include <string>
#include <vector>

namespace hostcam {

/// The application's name in its package.
[[nodiscard]] std::string packageName();

/// The short names of its parameters, in the list's order.
[[nodiscard]] std::vector<std::string> declaredParameters();

} // namespace hostcam
