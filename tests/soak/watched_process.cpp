#include "tests/soak/watched_process.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <elf.h>

#include "tests/support/temp_dir.h"

namespace testing_support {
namespace {

template <typename Record>
std::vector<Record> recordsAt(const std::string& file, std::uint64_t offset, std::uint64_t bytes) {
    std::vector<Record> records(bytes / sizeof(Record));
    if (offset <= file.size() && bytes <= file.size() - offset) {
        std::memcpy(records.data(), file.data() + offset, records.size() * sizeof(Record));
    }
    return records;
}

/// The objects in a program's symbol table, by name.
std::map<std::string, std::uint64_t> objectsOf(const std::string& program) {
    const std::string file = readFile(program);
    std::map<std::string, std::uint64_t> objects;
    if (file.size() < sizeof(Elf64_Ehdr) || !file.starts_with(ELFMAG) ||
        file[EI_CLASS] != ELFCLASS64) {
        return objects;
    }
    const auto header = recordsAt<Elf64_Ehdr>(file, 0, sizeof(Elf64_Ehdr)).front();
    const auto sections =
        recordsAt<Elf64_Shdr>(file, header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr));
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_SYMTAB || section.sh_link >= sections.size()) {
            continue;
        }
        const std::uint64_t names = sections[section.sh_link].sh_offset;
        for (const auto& symbol : recordsAt<Elf64_Sym>(file, section.sh_offset, section.sh_size)) {
            if (ELF64_ST_TYPE(symbol.st_info) == STT_OBJECT &&
                names + symbol.st_name < file.size()) {
                objects[file.c_str() + names + symbol.st_name] = symbol.st_value;
            }
        }
    }
    return objects;
}

/// Where a position-independent program was loaded.
std::optional<std::uint64_t> loadAddress(pid_t pid, const std::string& program) {
    const std::string path = std::filesystem::canonical(program);
    for (const std::string& line : readLines("/proc/" + std::to_string(pid) + "/maps")) {
        if (line.ends_with(" " + path)) {
            return std::stoull(line, nullptr, 16);
        }
    }
    return std::nullopt;
}

} // namespace

WatchedProcess::WatchedProcess(pid_t pid, const std::string& program) : m_pid(pid) {
    const auto base = loadAddress(pid, program);
    if (base) {
        m_addresses = objectsOf(program);
        for (auto& [name, address] : m_addresses) {
            address += *base;
        }
    }
}

std::optional<Holdings> WatchedProcess::holdings() const {
    const std::string folder = "/proc/" + std::to_string(m_pid);
    Holdings holdings;
    for (const std::string& line : readLines(folder + "/status")) {
        if (line.starts_with("VmRSS:")) {
            holdings.residentKilobytes = std::stol(line.substr(line.find(':') + 1));
        } else if (line.starts_with("VmHWM:")) {
            holdings.mostResidentKilobytes = std::stol(line.substr(line.find(':') + 1));
        } else if (line.starts_with("Threads:")) {
            holdings.threads = std::stoi(line.substr(line.find(':') + 1));
        }
    }
    if (holdings.threads == 0) {
        return std::nullopt;
    }
    std::error_code failure;
    const std::filesystem::directory_iterator open(folder + "/fd", failure);
    for (auto entry = begin(open); !failure && entry != end(open); entry.increment(failure)) {
        ++holdings.descriptors;
    }
    // Behind the name, which may hold blanks: the 14th and 15th field of the line are times.
    const std::string status = readFile(folder + "/stat");
    std::istringstream fields(status.substr(status.rfind(')') + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field) {
        fields >> skipped;
    }
    long user = 0;
    long system = 0;
    fields >> user >> system;
    holdings.cpuSeconds =
        static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return holdings;
}

std::optional<std::int32_t> WatchedProcess::variable(const std::string& symbol) const {
    const auto found = m_addresses.find(symbol);
    if (found == m_addresses.end()) {
        return std::nullopt;
    }
    const std::string path = "/proc/" + std::to_string(m_pid) + "/mem";
    const int memory = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::int32_t value = 0;
    const bool isRead = memory >= 0 && pread(memory, &value, sizeof value,
                                             static_cast<off_t>(found->second)) == sizeof value;
    if (memory >= 0) {
        close(memory);
    }
    return isRead ? std::optional(value) : std::nullopt;
}

} // namespace testing_support
