// hostcam_settings: what ./run asks and tells the host camera before the application starts. It
// uses the camera's own code, so that file formats are known in one place.
//
//   hostcam_settings configuration      the configuration in force, as far as ./run needs it
//   hostcam_settings parameters         the application's parameters; "0" for those never set
//   hostcam_settings set NAME=VALUE...  sets parameters, all or none
//
// Prints NAME=VALUE lines; values stand as the parameter file has them, so each is one line.
// HOSTCAM_CONFIG names the configuration. Exit status: 0; 1 when a file cannot be used, 2 for a
// wrong configuration or command line. Errors are one line on standard error.

#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/hostcam/config.h"
#include "platform/hostcam/declared_parameters.h"
#include "platform/hostcam/parameter_file.h"
#include "platform/hostcam/parameter_store.h"

namespace {

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The name that the parameter file has; empty for what is no name.
std::string fullName(const std::string& name) {
    return hostcam::canonicalName("root." + hostcam::packageName() + "." + name).value_or("");
}

void printConfiguration() {
    const auto config = hostcam::currentConfig();
    std::string resolutions;
    for (const hostcam::Size size : config->resolutions) {
        resolutions += (resolutions.empty() ? "" : ",") + hostcam::toText(size);
    }
    const bool watched = !config->viewers.empty();
    std::cout << "source=" << hostcam::escapeValue(config->source) << '\n'
              << "resolutions=" << resolutions << '\n'
              << "aspect-ratio=" << config->aspectRatio << '\n'
              << "rotation=" << config->rotation << '\n'
              << "state=" << hostcam::escapeValue(config->stateDirectory) << '\n'
              << "http-address=" << hostcam::escapeValue(config->httpAddress) << '\n'
              << "http-port=" << config->httpPort << '\n'
              << "viewer=" << (watched ? hostcam::toText(config->viewers.front().size) : "0x0")
              << '\n';
}

void printParameters() {
    std::map<std::string, std::string> values;
    for (auto& [name, value] : hostcam::currentParameterStore()->list("root.")) {
        values[name] = std::move(value);
    }
    for (const std::string& name : hostcam::declaredParameters()) {
        const auto found = values.find(fullName(name));
        const std::string value = found == values.end() ? "0" : found->second;
        std::cout << name << '=' << hostcam::escapeValue(value) << '\n';
    }
}

void setParameters(const std::vector<std::string>& settings) {
    const auto store = hostcam::currentParameterStore();
    std::vector<std::string> names;
    for (const std::string& name : hostcam::declaredParameters()) {
        names.push_back(fullName(name));
    }
    store->declare(names);
    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos) {
            throw UsageError(setting + ": a setting is NAME=VALUE");
        }
        const bool last = &setting == &settings.back();
        store->set(fullName(setting.substr(0, equals)), setting.substr(equals + 1), last);
    }
}

void carryOut(const std::vector<std::string>& words) {
    if (words.size() == 1 && words[0] == "configuration") {
        printConfiguration();
    } else if (words.size() == 1 && words[0] == "parameters") {
        printParameters();
    } else if (words.size() > 1 && words[0] == "set") {
        setParameters({words.begin() + 1, words.end()});
    } else {
        throw UsageError("usage: hostcam_settings configuration | parameters | set NAME=VALUE...");
    }
}

int fail(const std::exception& error, int status) {
    std::cerr << error.what() << '\n';
    return status;
}

} // namespace

int main(int argc, char** argv) {
    try {
        carryOut({argv + 1, argv + argc});
        return 0;
    } catch (const UsageError& error) {
        return fail(error, 2);
    } catch (const hostcam::ConfigError& error) {
        return fail(error, 2);
    } catch (const std::exception& error) {
        return fail(error, 1);
    }
}
