#pragma once

// Fault injection: a test makes a platform call fail, wait, or hand out odd data, and so sees what
// the application does on a misbehaving camera. It is the one stand-in for such a camera.
//
// Every function of the four libraries asks for its faults by its own C name before it does
// anything else. Faults come from addFault() or, for a whole program, from the environment variable
// HOSTCAM_FAULTS, read at the first call of any platform function (one that is not understood is
// ignored with a warning):
//
//     HOSTCAM_FAULTS='vdo_stream_get_buffer first=3 code=13; ax_parameter_set delay=5000 pass'
//
// All functions may be called from any thread.

#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <glib.h>

namespace hostcam {

/// One planned fault of one platform call.
struct Fault {
    static constexpr unsigned kForever = std::numeric_limits<unsigned>::max();

    std::string call;   ///< the C function's name, for example "vdo_stream_get_buffer"
    unsigned first = 1; ///< the first call that is hit, counted from addFault(); 1 is the next one
    unsigned count = 1; ///< how many calls in a row are hit; kForever: all that follow
    bool fail = true; ///< false ("pass"): the call goes on after the delay, with odd data if given
    int code = 0;     ///< error code in the call's own error domain
    bool withError = true; ///< false ("noerror"): the call fails without an error object
    std::string message = "injected fault"; ///< the error's text
    std::chrono::milliseconds delay{0};     ///< how long the call waits before anything else
    std::optional<std::string>
        odd; ///< handed out instead of the real data, by calls that document it
};

/// Plans a fault. Several may be planned for one call; the first that matches a call is taken.
void addFault(Fault fault);

/// Plans what a text in the form of HOSTCAM_FAULTS says.
/// @throws std::invalid_argument naming the word that is not understood; nothing is planned then
void addFaults(std::string_view text);

/// Drops every planned fault and sets every call count to zero.
void clearFaults();

/// How often a platform function was called since the last clearFaults().
[[nodiscard]] unsigned callCount(const std::string& call);

/// Asked by a platform function before it does anything: counts the call, waits out a delay, and
/// hands over the fault that hits this call, if any.
[[nodiscard]] std::optional<Fault> takeFault(const char* call);

/// takeFault() for functions that can only fail: true when the call must fail, with *error set from
/// the fault (unless it carries none).
/// @param domain the error domain of the call; 0 for a call without an error argument
/// @param error may be null
[[nodiscard]] bool mustFail(const char* call, GQuark domain = 0, GError** error = nullptr);

} // namespace hostcam
