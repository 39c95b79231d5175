#pragma once

// The answer of param.cgi: the camera's parameters and the application's as text, one
// "root.Group.Name=value" a line.

#include <string>

#include "platform/hostcam/http_query.h"

namespace hostcam {

/// Lists parameters. Without a group it lists all; each name of the comma-separated group argument
/// stands for itself and all that is below it, and * for any one part of a name. One that fits
/// nothing gives a line that begins with "# Error:".
/// @throws BadRequest; FileError when the parameter file cannot be read; ConfigError
[[nodiscard]] std::string listedParameters(const QueryArguments& arguments);

} // namespace hostcam
