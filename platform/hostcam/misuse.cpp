#include "platform/hostcam/misuse.h"

#include <mutex>

#include <glib.h>

namespace hostcam {
namespace {

/// Never destroyed: platform calls may come from threads that outlive the end of main.
struct Misuses {
    std::mutex mutex;
    std::vector<std::string> texts; // guarded by mutex
};

Misuses& all() {
    static auto* const instance = new Misuses;
    return *instance;
}

} // namespace

void warn(const std::string& text) {
    g_log("hostcam", G_LOG_LEVEL_WARNING, "%s", text.c_str());
}

void warnUnlessRepeated(const std::string& text) {
    struct Said {
        std::mutex mutex;
        std::string last; // guarded by mutex
    };
    static auto* const said = new Said;
    {
        const std::lock_guard lock(said->mutex);
        if (said->last == text) {
            return;
        }
        said->last = text;
    }
    warn(text);
}

void reportMisuse(const std::string& text) {
    {
        Misuses& known = all();
        const std::lock_guard lock(known.mutex);
        known.texts.push_back(text);
    }
    warn(text);
}

std::vector<std::string> misuses() {
    Misuses& known = all();
    const std::lock_guard lock(known.mutex);
    return known.texts;
}

void clearMisuses() {
    Misuses& known = all();
    const std::lock_guard lock(known.mutex);
    known.texts.clear();
}

} // namespace hostcam
