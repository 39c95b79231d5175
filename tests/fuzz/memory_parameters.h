#pragma once

// A parameter service whose parameters are a map in memory, so that settings can be read and stored
// a million times. A program that links memory_parameters.cpp has it in place of the camera's.

#include <map>
#include <string>

namespace fuzzing {

/// The application's parameters, by their short names, and the camera's, by their full names.
using Parameters = std::map<std::string, std::string>;

[[nodiscard]] Parameters& parameters();

/// As on a camera's first start: every parameter of the package is "0".
[[nodiscard]] Parameters factoryParameters();

} // namespace fuzzing
