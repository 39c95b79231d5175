#pragma once

// What the program asks of the camera's parameter service. A program that links
// recorded_parameter_calls.cpp has the service's functions twice: those it calls write down the
// call and hand it on to the host camera's.

#include <functional>
#include <string>
#include <vector>

namespace testing_support {

/// Every call since the last forgetParameterCalls(), in order: "new APP", "free", "add NAME=INITIAL
/// TYPE", "set NAME=VALUE SYNC", "get NAME", "list". A type that is null is "untyped"; SYNC is 1 or
/// 0.
[[nodiscard]] std::vector<std::string> parameterCalls();

/// Those calls that begin with a word, for example "set".
[[nodiscard]] std::vector<std::string> parameterCalls(const std::string& word);

void forgetParameterCalls();

/// Has a function called at the beginning of every ax_parameter_free(); an empty one: no longer.
void onParameterFree(std::function<void()> function);

/// Has every ax_parameter_set() succeed without storing anything or being written down, for tests
/// that save very often; or no longer.
void skipWrites(bool skip);

/// Has the next ax_parameter_get() succeed without giving a value, as no service should.
void giveNoValueOnce();

} // namespace testing_support
