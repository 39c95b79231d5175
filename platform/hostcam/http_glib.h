#pragma once

// Small helpers for the web endpoint's use of GLib: owners of its objects, and calls that another
// thread has a main context make.

#include <functional>
#include <memory>
#include <utility>

#include <gio/gio.h>

namespace hostcam {

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
/// A reference to a GObject.
template <typename T>
using ObjectRef = std::unique_ptr<T, ObjectUnref>;

struct ContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};

struct ErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorRef = std::unique_ptr<GError, ErrorFree>;

/// Has the thread that runs a context make a call. Calls are made in the order in which they were
/// posted; one that the thread no longer comes to is dropped with the context. *Any thread.*
/// @param call must not throw
inline void post(GMainContext* context, std::function<void()> call) {
    auto posted = std::make_unique<std::function<void()>>(std::move(call));
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        posted.release(), [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
    g_source_attach(source, context);
    g_source_unref(source);
}

} // namespace hostcam
