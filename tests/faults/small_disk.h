#pragma once

// A file system of a few kilobytes in memory over a folder, which a test fills, empties and makes
// read-only while a program runs on it.

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <sys/mount.h>

namespace testing_support {

class SmallDisk {
  public:
    /// The caller may mount, in a namespace of its own (PrivatePackageFolder).
    /// @throws std::runtime_error when it may not
    SmallDisk(std::filesystem::path folder, std::size_t kilobytes)
        : m_folder(std::move(folder)), m_options("size=" + std::to_string(kilobytes) + "k") {
        if (mount("none", m_folder.c_str(), "tmpfs", 0, m_options.c_str()) != 0) {
            throw std::runtime_error("cannot mount over " + m_folder.string());
        }
    }
    ~SmallDisk() { umount2(m_folder.c_str(), MNT_DETACH); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// Leaves no byte to others.
    void fill() const {
        std::ofstream filler(m_folder / kFiller, std::ios::app);
        while (filler << std::string(512, 'x') << std::flush) {
        }
    }
    void empty() const { std::filesystem::remove(m_folder / kFiller); }

    /// @return whether the system did it, which it does not while a file is open for writing
    [[nodiscard]] bool setReadOnly(bool isReadOnly) const {
        unsigned long flags = MS_REMOUNT;
        if (isReadOnly) {
            flags |= MS_RDONLY;
        }
        return mount("none", m_folder.c_str(), nullptr, flags, m_options.c_str()) == 0;
    }

  private:
    static constexpr const char* kFiller = "filler";

    std::filesystem::path m_folder;
    std::string m_options;
};

} // namespace testing_support
