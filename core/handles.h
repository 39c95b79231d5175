#pragma once

// Owners for what the C libraries hand out: GLib errors, objects and texts. One set for the whole
// application, so that no early return forgets a release. Header only; a handle costs its pointer.

#include <memory>
#include <string>

#include <glib-object.h>
#include <glib.h>

/// Releases a C handle with the library's own function, as std::unique_ptr's deleter.
template <auto Release>
struct ReleaseWith {
    template <typename T>
    void operator()(T* handle) const {
        Release(handle);
    }
};

/// A text that the caller must free with g_free().
using TextHandle = std::unique_ptr<gchar, ReleaseWith<g_free>>;

/// A reference to a GObject (a VdoMap, VdoStream, VdoChannel, ...).
template <typename T>
using ObjectHandle = std::unique_ptr<T, ReleaseWith<g_object_unref>>;

/// The error argument of a GLib-style call: passed as `slot.out()`, released when it goes away.
class ErrorSlot {
  public:
    ErrorSlot() = default;
    ~ErrorSlot() { g_clear_error(&m_error); }
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;

    /// The argument for the next call; what an earlier call left is released.
    [[nodiscard]] GError** out() {
        g_clear_error(&m_error);
        return &m_error;
    }

    /// Whether the last call set an error: the only sign of failure of calls that return nothing.
    [[nodiscard]] bool isSet() const { return m_error != nullptr; }

    /// The error's code; 0 when there is none.
    [[nodiscard]] int code() const { return m_error == nullptr ? 0 : m_error->code; }

    /// The error's text, or "N/A" when the call failed without an error object.
    [[nodiscard]] std::string message() const {
        return m_error == nullptr || m_error->message == nullptr ? "N/A" : m_error->message;
    }

  private:
    GError* m_error = nullptr;
};
