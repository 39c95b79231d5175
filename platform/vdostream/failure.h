#pragma once

// How the library fails: inside with exceptions, outside with an error in VDO_ERROR's domain.
// Nothing that is thrown inside leaves a C function.

#include <new>
#include <stdexcept>
#include <string>

#include <glib.h>

#include "platform/hostcam/video_source.h"

#include "vdo-error.h"

namespace vdo {

class Failure : public std::runtime_error {
  public:
    Failure(VdoError code, const std::string& text) : std::runtime_error(text), m_code(code) {}

    [[nodiscard]] VdoError code() const { return m_code; }

  private:
    VdoError m_code;
};

/// The error code that a video source's trouble is told as.
[[nodiscard]] VdoError codeOf(hostcam::SourceError::Kind kind);

/// Turns the exception that is being handled into an error. @param error may be null
void reportException(GError** error);

/// Runs a C function's body.
/// @param error may be null
/// @param failed what the function returns when the body throws
template <typename Result, typename Body>
Result guarded(GError** error, Result failed, const Body& body) {
    try {
        return body();
    } catch (...) {
        reportException(error);
        return failed;
    }
}

} // namespace vdo
