#include "platform/check/check.h"

#include <cstdio>

namespace platform_check {

bool Report::check(bool holds, const std::string& what, const char* condition, const char* file,
                   int line) {
    ++m_checks;
    if (holds) {
        std::printf("ok    %s: %s\n", m_library.c_str(), what.c_str());
        return true;
    }
    ++m_failures;
    std::printf("FAIL  %s: %s\n      %s  %s:%d\n", m_library.c_str(), what.c_str(), condition,
                std::filesystem::path(file).filename().c_str(), line);
    return false;
}

void Report::skip(const std::string& what, const std::string& reason) {
    ++m_skipped;
    std::printf("skip  %s: %s (%s)\n", m_library.c_str(), what.c_str(), reason.c_str());
}

bool runLoopUntil(const std::function<bool()>& happened) {
    constexpr gint64 kPatience = 5 * G_USEC_PER_SEC;
    bool isLate = false;
    const guint timer = g_timeout_add(
        50, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    const gint64 start = g_get_monotonic_time();
    while (!happened() && !isLate) {
        g_main_context_iteration(nullptr, TRUE);
        isLate = g_get_monotonic_time() - start > kPatience;
    }
    g_source_remove(timer);
    return happened();
}

} // namespace platform_check
