#pragma once

// A running program seen from outside: what it holds of the machine, and its plain variables by
// name. The program needs no code for it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <sys/types.h>

namespace testing_support {

/// What a process holds at one moment.
struct Holdings {
    long residentKilobytes = 0;     ///< memory
    long mostResidentKilobytes = 0; ///< since its start
    int descriptors = 0;
    int threads = 0;
    double cpuSeconds = 0; ///< since its start, user and system
};

class WatchedProcess {
  public:
    /// @param pid a child process of this one
    /// @param program the file that it runs, with its symbols
    WatchedProcess(pid_t pid, const std::string& program);

    /// Nothing once the process has ended.
    [[nodiscard]] std::optional<Holdings> holdings() const;

    /// The value of an int that the program defines. Nothing where this machine does not let a
    /// process look into another, or when there is no such symbol.
    /// @param symbol as the linker knows it
    [[nodiscard]] std::optional<std::int32_t> variable(const std::string& symbol) const;

  private:
    pid_t m_pid;
    std::map<std::string, std::uint64_t> m_addresses; ///< of the program's objects, where they lie
};

} // namespace testing_support
