#include "platform/hostcam/live_objects.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <set>

namespace hostcam {
namespace {

struct Objects {
    std::mutex mutex;
    std::map<Kind, std::set<std::uintptr_t>> disguised; // guarded by mutex
};

Objects& all() {
    static auto* const instance = new Objects;
    return *instance;
}

std::uintptr_t disguise(const void* object) {
    // The complement of a user-space address is none.
    return ~reinterpret_cast<std::uintptr_t>(object);
}

} // namespace

void addLive(Kind kind, const void* object) {
    Objects& objects = all();
    const std::lock_guard lock(objects.mutex);
    objects.disguised[kind].insert(disguise(object));
}

bool removeLive(Kind kind, const void* object) {
    Objects& objects = all();
    const std::lock_guard lock(objects.mutex);
    return objects.disguised[kind].erase(disguise(object)) == 1;
}

bool isLive(Kind kind, const void* object) {
    Objects& objects = all();
    const std::lock_guard lock(objects.mutex);
    return objects.disguised[kind].contains(disguise(object));
}

std::size_t liveCount(Kind kind) {
    Objects& objects = all();
    const std::lock_guard lock(objects.mutex);
    return objects.disguised[kind].size();
}

} // namespace hostcam
