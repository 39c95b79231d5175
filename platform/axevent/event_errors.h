#pragma once

// How the functions of the event interface fail.

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <axsdk/axevent.h>

namespace hostcam {

/// Thrown within the library; becomes the error of the call.
class EventFailure : public std::exception {
  public:
    EventFailure(AXEventErrorCode code, std::string text) : m_code(code), m_text(std::move(text)) {}

    [[nodiscard]] AXEventErrorCode code() const { return m_code; }
    [[nodiscard]] const char* what() const noexcept override { return m_text.c_str(); }

  private:
    AXEventErrorCode m_code;
    std::string m_text;
};

/// Runs a call's body. What it throws becomes the error: an EventFailure with its own code,
/// anything else with the one that is given. @return TRUE when it came to its end
gboolean runEventCall(GError** error, AXEventErrorCode otherwise,
                      const std::function<void()>& body);

/// @throws EventFailure (invalid argument) for a null pointer
/// @param what the argument in words
template <typename Pointer>
Pointer requireArgument(Pointer pointer, const char* what) {
    if (pointer == nullptr) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, std::string(what) + " is missing");
    }
    return pointer;
}

/// A text that may be null.
inline std::optional<std::string> optionalText(const gchar* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

} // namespace hostcam
