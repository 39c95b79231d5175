// platform_check: see check.h.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "platform/check/check.h"

namespace {

using platform_check::Report;
using platform_check::Subject;

constexpr const char* kUsage =
    "Usage: platform_check [--app NAME] [--host DIR] [LIBRARY...]\n"
    "Holds the camera platform's libraries against their contract; exit status 1 when a check fails.\n"
    "  --app NAME   the application whose parameters may be used (default: zerith_markers)\n"
    "  --host DIR   the libraries are the host camera's and keep their state in DIR: check also what only\n"
    "               the host camera promises\n"
    "  LIBRARY      parameters, events, overlays, video (default: all)\n";

using Check = void (*)(const Subject&, Report&);

const std::vector<std::pair<std::string, Check>>& libraries() {
    static const auto* const all = new std::vector<std::pair<std::string, Check>>{
        {"parameters", platform_check::checkParameters},
        {"events", platform_check::checkEvents},
        {"overlays", platform_check::checkOverlays},
        {"video", platform_check::checkVideo},
    };
    return *all;
}

bool isLibrary(const std::string& name) {
    for (const auto& [library, check] : libraries()) {
        if (library == name) {
            return true;
        }
    }
    return false;
}

/// @return false for arguments that are not understood
bool readArguments(const std::vector<std::string>& arguments, Subject& subject,
                   std::vector<std::string>& wanted) {
    for (std::size_t at = 0; at < arguments.size(); ++at) {
        const bool hasValue = at + 1 < arguments.size();
        if (arguments[at] == "--app" && hasValue) {
            subject.application = arguments[++at];
        } else if (arguments[at] == "--host" && hasValue) {
            subject.hostState = arguments[++at];
        } else if (isLibrary(arguments[at])) {
            wanted.push_back(arguments[at]);
        } else {
            return false;
        }
    }
    return true;
}

bool isWanted(const std::vector<std::string>& wanted, const std::string& library) {
    bool found = wanted.empty();
    for (const std::string& name : wanted) {
        found = found || name == library;
    }
    return found;
}

} // namespace

int main(int argc, char** argv) {
    Subject subject;
    std::vector<std::string> wanted;
    if (!readArguments({argv + 1, argv + argc}, subject, wanted)) {
        (void)std::fputs(kUsage, stderr);
        return 2;
    }
    int checks = 0;
    int failures = 0;
    int skipped = 0;
    for (const auto& [library, check] : libraries()) {
        if (isWanted(wanted, library)) {
            Report report(library);
            check(subject, report);
            checks += report.checks();
            failures += report.failures();
            skipped += report.skipped();
        }
    }
    std::printf("%d passed, %d failed, %d skipped\n", checks - failures, failures, skipped);
    return failures == 0 ? 0 : 1;
}
