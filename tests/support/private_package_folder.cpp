#include "tests/support/private_package_folder.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include <sys/mount.h>
#include <unistd.h>

#include <sched.h>

namespace testing_support {
namespace {

std::string reason(const std::string& what) {
    return what + ": " + std::generic_category().message(errno);
}

/// Enters a mount namespace; without root's rights, inside a user namespace that grants them.
bool enterNamespace() {
    const auto uid = std::to_string(geteuid());
    const auto gid = std::to_string(getegid());
    if (unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
    return true;
}

/// The least that must be hidden, so that a tree or a program below /usr/local stays in sight.
const char* coveredFolder() {
    const std::filesystem::path packages = PrivatePackageFolder::kHtml.parent_path().parent_path();
    return std::filesystem::is_directory(packages) ? "/usr/local/packages" : "/usr/local";
}

} // namespace

std::string PrivatePackageFolder::make() {
    if (!enterNamespace()) {
        return reason("no mount namespace");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", coveredFolder(), "tmpfs", 0, nullptr) != 0) {
        return reason("no mount");
    }
    // On a machine without a syslog daemon each log line goes to its console, which may be a serial
    // line that takes a millisecond for it and holds up whoever writes there.
    static_cast<void>(mount("/dev/null", "/dev/console", nullptr, MS_BIND, nullptr));
    std::error_code failure;
    std::filesystem::create_directories(kHtml, failure);
    return failure ? "no folder: " + failure.message() : "";
}

} // namespace testing_support
