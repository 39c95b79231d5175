// The host camera's axparameter library: the C interface over the parameter store.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <axsdk/axparameter.h>

#include "platform/axparameter/parameter_calls.h"
#include "platform/hostcam/declared_parameters.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/live_objects.h"
#include "platform/hostcam/main_context.h"
#include "platform/hostcam/misuse.h"
#include "platform/hostcam/parameter_store.h"

namespace {

using hostcam::CallbackGate;
using hostcam::FileError;
using hostcam::ParameterCall;
using hostcam::ParameterError;
using hostcam::ParameterStore;

/// A change callback of the application.
struct Registration {
    AXParameterCallback* callback;
    gpointer userdata;
    std::shared_ptr<CallbackGate> gate;
};

/// The registrations of one handle, by full name. The store tells changes from any thread.
struct Registrations {
    std::mutex mutex;
    std::map<std::string, Registration> byName; // guarded by mutex

    void post(const std::string& name, const std::string& value) {
        const std::lock_guard lock(mutex);
        const auto found = byName.find(name);
        if (found == byName.end()) {
            return;
        }
        hostcam::postToMainContext(found->second.gate, [registration = found->second, name, value] {
            const hostcam::InParameterCallback inside;
            registration.callback(name.c_str(), value.c_str(), registration.userdata);
        });
    }

    /// Ends one registration, once its callback is not running.
    void end(const std::string& name) {
        std::shared_ptr<CallbackGate> gate;
        {
            const std::lock_guard lock(mutex);
            const auto found = byName.find(name);
            if (found == byName.end()) {
                return;
            }
            gate = found->second.gate;
            byName.erase(found);
        }
        gate->close();
    }

    void endAll() {
        std::map<std::string, Registration> all;
        {
            const std::lock_guard lock(mutex);
            all.swap(byName);
        }
        for (const auto& [name, registration] : all) {
            registration.gate->close();
        }
    }
};

} // namespace

struct _AXParameter {
    std::string group; ///< "root.Application."
    std::shared_ptr<ParameterStore> store;
    std::shared_ptr<Registrations> registrations = std::make_shared<Registrations>();
    std::uint64_t observer = 0;
};

namespace {

/// The open handles. Deliberate: an application may never close its handle, as on a camera, where
/// it belongs to a service; so it is owned here and is no leak. A second handle for one application
/// is accepted too, since the application may open one again after a failure.
struct Handles {
    std::mutex mutex;
    std::map<const AXParameter*, std::unique_ptr<AXParameter>> open; // guarded by mutex
};

Handles& handles() {
    static auto* const instance = new Handles;
    return *instance;
}

/// What a failed call tells.
struct Failure {
    AXParameterErrorCode code;
    std::string text;
};

AXParameterErrorCode codeOf(FileError::Step step) {
    switch (step) {
    case FileError::Step::Folder:
        return AX_PARAMETER_FILE_PATH_ERROR;
    case FileError::Step::Open:
        return AX_PARAMETER_FILE_OPEN_ERROR;
    case FileError::Step::Lock:
        return AX_PARAMETER_FILE_LOCK_ERROR;
    case FileError::Step::Create:
        return AX_PARAMETER_FILE_CREATE_ERROR;
    case FileError::Step::Write:
        return AX_PARAMETER_FILE_WRITE_ERROR;
    case FileError::Step::Sync:
        return AX_PARAMETER_FILE_SYNC_ERROR;
    case FileError::Step::Rename:
        return AX_PARAMETER_FILE_RENAME_ERROR;
    }
    return AX_PARAMETER_FILE_OPEN_ERROR;
}

AXParameterErrorCode codeOf(ParameterError::Reason reason) {
    switch (reason) {
    case ParameterError::Reason::BadName:
        return AX_PARAMETER_PARAM_PATH_ERROR;
    case ParameterError::Reason::Missing:
        return AX_PARAMETER_PARAM_EXIST_ERROR;
    case ParameterError::Reason::Exists:
        return AX_PARAMETER_PARAM_ADDED_ERROR;
    case ParameterError::Reason::ReadOnly:
        return AX_PARAMETER_PARAM_SET_ERROR;
    }
    return AX_PARAMETER_PARAM_PATH_ERROR;
}

void setError(GError** error, const Failure& failure) {
    g_set_error_literal(error, AX_PARAMETER_ERROR, failure.code, failure.text.c_str());
}

/// Runs a call's body; what it throws becomes the error. @return whether it came to its end
bool run(GError** error, const std::function<void()>& body) {
    try {
        body();
        return true;
    } catch (const Failure& failure) {
        setError(error, failure);
    } catch (const ParameterError& problem) {
        setError(error, {codeOf(problem.reason()), problem.what()});
    } catch (const FileError& problem) {
        hostcam::warnUnlessRepeated(problem.what());
        setError(error, {codeOf(problem.step()), problem.what()});
    } catch (const hostcam::ConfigError& problem) {
        hostcam::warnUnlessRepeated(problem.what());
        setError(error, {AX_PARAMETER_FILE_FORMAT_ERROR, problem.what()});
    } catch (const std::exception& problem) {
        setError(error, {AX_PARAMETER_PARAM_GET_ERROR, problem.what()});
    }
    return false;
}

void refuseFromCallback(const ParameterCall& call) {
    if (call.isInCallback()) {
        throw Failure{AX_PARAMETER_PARAM_SYNC_ERROR,
                      "parameters must not be used from a change callback"};
    }
}

AXParameter& opened(AXParameter* parameter) {
    if (!hostcam::isLive(hostcam::Kind::Parameter, parameter)) {
        throw Failure{AX_PARAMETER_INVALID_ARG_ERROR, "the parameter handle is not open"};
    }
    return *parameter;
}

/// The full name for the one that an application gives: a bare name is one of its own.
std::string fullName(const AXParameter& parameter, const gchar* name) {
    if (name == nullptr || *name == '\0') {
        throw Failure{AX_PARAMETER_INVALID_ARG_ERROR, "the parameter's name is missing"};
    }
    const std::string given = name;
    return given.starts_with("root.") ? given : parameter.group + given;
}

/// The same, for what can be done with the application's own parameters only.
std::string ownName(const AXParameter& parameter, const gchar* name) {
    const std::string full = fullName(parameter, name);
    const auto known = hostcam::canonicalName(full);
    if (known && !known->starts_with(parameter.group)) {
        throw Failure{AX_PARAMETER_PARAM_PATH_ERROR,
                      "the parameter " + full + " is not one of the application's own"};
    }
    return full;
}

/// "root.Zerith_markers." for "zerith_markers".
std::string groupOf(const std::string& application) {
    const auto name = hostcam::canonicalName("root." + application + ".X");
    if (!name || application.find('.') != std::string::npos) {
        throw Failure{AX_PARAMETER_INVALID_ARG_ERROR,
                      "\"" + application + "\" is no application name"};
    }
    return name->substr(0, name->size() - 1);
}

std::unique_ptr<AXParameter> openHandle(const gchar* app_name) {
    if (app_name == nullptr || *app_name == '\0') {
        throw Failure{AX_PARAMETER_INVALID_ARG_ERROR, "the application's name is missing"};
    }
    auto handle = std::make_unique<AXParameter>();
    handle->group = groupOf(app_name);
    handle->store = hostcam::currentParameterStore();
    if (handle->group == groupOf(hostcam::packageName())) {
        std::vector<std::string> names = hostcam::declaredParameters();
        for (std::string& name : names) {
            name.insert(0, handle->group);
        }
        handle->store->declare(names);
    }
    handle->observer = handle->store->addObserver(
        [registrations = handle->registrations](const std::string& name, const std::string& value) {
            registrations->post(name, value);
        });
    return handle;
}

GList* toList(const std::vector<std::string>& texts) {
    GList* list = nullptr;
    // clang 14 does not understand the library's reversed views.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
        list = g_list_prepend(list, g_strdup(text->c_str()));
    }
    return list;
}

} // namespace

GQuark ax_parameter_error_quark(void) {
    return g_quark_from_static_string("ax-parameter-error-quark");
}

AXParameter* ax_parameter_new(const gchar* app_name, GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return nullptr;
    }
    AXParameter* result = nullptr;
    run(error, [&] {
        refuseFromCallback(call);
        std::unique_ptr<AXParameter> handle = openHandle(app_name);
        AXParameter* const address = handle.get();
        Handles& all = handles();
        const std::lock_guard lock(all.mutex);
        all.open.emplace(address, std::move(handle));
        hostcam::addLive(hostcam::Kind::Parameter, address);
        result = address;
    });
    return result;
}

void ax_parameter_free(AXParameter* parameter) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__) || parameter == nullptr || call.isInCallback()) {
        return;
    }
    if (!hostcam::removeLive(hostcam::Kind::Parameter, parameter)) {
        hostcam::reportMisuse("ax_parameter_free was called with a handle that is not open");
        return;
    }
    parameter->store->removeObserver(parameter->observer);
    parameter->registrations->endAll();
    Handles& all = handles();
    const std::lock_guard lock(all.mutex);
    all.open.erase(parameter);
}

gboolean ax_parameter_add(AXParameter* parameter, const gchar* name, const gchar* initial_value,
                          const gchar* /*type*/, GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        handle.store->add(ownName(handle, name), initial_value == nullptr ? "" : initial_value);
    });
}

gboolean ax_parameter_remove(AXParameter* parameter, const gchar* name, GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        handle.store->remove(ownName(handle, name));
    });
}

gboolean ax_parameter_set(AXParameter* parameter, const gchar* name, const gchar* value,
                          gboolean do_sync, GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        handle.store->set(fullName(handle, name), value == nullptr ? "" : value, do_sync != FALSE);
    });
}

gboolean ax_parameter_get(AXParameter* parameter, const gchar* name, gchar** value,
                          GError** error) {
    const ParameterCall call(__func__);
    const auto fault = hostcam::takeFault(__func__);
    if (fault && fault->fail) {
        if (fault->withError) {
            g_set_error_literal(error, AX_PARAMETER_ERROR, fault->code, fault->message.c_str());
        }
        return FALSE;
    }
    return run(error, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        if (value == nullptr) {
            throw Failure{AX_PARAMETER_INVALID_ARG_ERROR, "there is no place for the value"};
        }
        const std::string text = handle.store->get(fullName(handle, name));
        *value = g_strdup((fault && fault->odd ? *fault->odd : text).c_str());
    });
}

GList* ax_parameter_list(AXParameter* parameter, GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return nullptr;
    }
    std::vector<std::string> names;
    run(error, [&] {
        refuseFromCallback(call);
        const AXParameter& handle = opened(parameter);
        for (const auto& [name, value] : handle.store->list(handle.group)) {
            names.push_back(name.substr(handle.group.size()));
        }
    });
    return toList(names);
}

gboolean ax_parameter_register_callback(AXParameter* parameter, const gchar* name,
                                        AXParameterCallback* callback, gpointer userdata,
                                        GError** error) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__, AX_PARAMETER_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        if (callback == nullptr) {
            throw Failure{AX_PARAMETER_INVALID_ARG_ERROR, "the callback is missing"};
        }
        const std::string full = fullName(handle, name);
        (void)handle.store->get(full); // fails for a parameter that does not exist
        const std::string known = hostcam::canonicalName(full).value_or(full);
        handle.registrations->end(known);
        const std::lock_guard lock(handle.registrations->mutex);
        handle.registrations->byName[known] = {callback, userdata,
                                               std::make_shared<CallbackGate>()};
    });
}

void ax_parameter_unregister_callback(AXParameter* parameter, const gchar* name) {
    const ParameterCall call(__func__);
    if (hostcam::mustFail(__func__)) {
        return;
    }
    run(nullptr, [&] {
        refuseFromCallback(call);
        AXParameter& handle = opened(parameter);
        const std::string full = fullName(handle, name);
        handle.registrations->end(hostcam::canonicalName(full).value_or(full));
    });
}
