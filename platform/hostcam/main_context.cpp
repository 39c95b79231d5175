#include "platform/hostcam/main_context.h"

#include <utility>

#include <glib.h>

namespace hostcam {
namespace {

struct Posted {
    std::shared_ptr<CallbackGate> gate;
    std::function<void()> call;
};

gboolean run(gpointer data) {
    const auto* const posted = static_cast<const Posted*>(data);
    posted->gate->pass(posted->call);
    return G_SOURCE_REMOVE;
}

void drop(gpointer data) {
    delete static_cast<Posted*>(data);
}

} // namespace

void postToMainContext(std::shared_ptr<CallbackGate> gate, std::function<void()> call) {
    auto posted = std::make_unique<Posted>(Posted{std::move(gate), std::move(call)});
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, run, posted.release(), drop);
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

} // namespace hostcam
