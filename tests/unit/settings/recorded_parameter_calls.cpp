#include "tests/unit/settings/recorded_parameter_calls.h"

#include <atomic>
#include <mutex>
#include <utility>

#include <axsdk/axparameter.h>
#include <dlfcn.h>

namespace {

std::mutex g_mutex;
std::vector<std::string> g_calls; // guarded by g_mutex
std::function<void()> g_onFree;   // changed while no other thread calls
std::atomic<bool> g_givesNoValue{false};
std::atomic<bool> g_skipsWrites{false};

void record(const std::string& call) {
    const std::lock_guard lock(g_mutex);
    g_calls.push_back(call);
}

/// A function of the library that is not recorded: without it the linker would leave the library
/// out.
[[maybe_unused]] const GQuark g_domain = ax_parameter_error_quark();

/// The host camera's function of the same name.
template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

AXParameter* ax_parameter_new(const gchar* app_name, GError** error) {
    record(std::string("new ") + app_name);
    return real<decltype(ax_parameter_new)>(__func__)(app_name, error);
}

void ax_parameter_free(AXParameter* parameter) {
    if (g_onFree) {
        g_onFree();
    }
    record("free");
    real<decltype(ax_parameter_free)>(__func__)(parameter);
}

gboolean ax_parameter_add(AXParameter* parameter, const gchar* name, const gchar* initial_value,
                          const gchar* type, GError** error) {
    record(std::string("add ") + name + "=" + initial_value + " " +
           (type == nullptr ? "untyped" : type));
    return real<decltype(ax_parameter_add)>(__func__)(parameter, name, initial_value, type, error);
}

gboolean ax_parameter_set(AXParameter* parameter, const gchar* name, const gchar* value,
                          gboolean do_sync, GError** error) {
    if (g_skipsWrites) {
        return TRUE;
    }
    record(std::string("set ") + name + "=" + value + " " + std::to_string(do_sync));
    return real<decltype(ax_parameter_set)>(__func__)(parameter, name, value, do_sync, error);
}

gboolean ax_parameter_get(AXParameter* parameter, const gchar* name, gchar** value,
                          GError** error) {
    record(std::string("get ") + name);
    if (g_givesNoValue.exchange(false)) {
        *value = nullptr;
        return TRUE;
    }
    return real<decltype(ax_parameter_get)>(__func__)(parameter, name, value, error);
}

GList* ax_parameter_list(AXParameter* parameter, GError** error) {
    record("list");
    return real<decltype(ax_parameter_list)>(__func__)(parameter, error);
}

namespace testing_support {

std::vector<std::string> parameterCalls() {
    const std::lock_guard lock(g_mutex);
    return g_calls;
}

std::vector<std::string> parameterCalls(const std::string& word) {
    std::vector<std::string> calls = parameterCalls();
    std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(word); });
    return calls;
}

void forgetParameterCalls() {
    const std::lock_guard lock(g_mutex);
    g_calls.clear();
}

void onParameterFree(std::function<void()> function) {
    g_onFree = std::move(function);
}

void skipWrites(bool skip) {
    g_skipsWrites = skip;
}

void giveNoValueOnce() {
    g_givesNoValue = true;
}

} // namespace testing_support
