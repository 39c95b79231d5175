#pragma once

// Trouble with the disk, for one test: a folder that nobody may write to, a disk or an allowance
// that is full.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

namespace testing_support {

/// File accesses of this thread are those of an ordinary user, even when the test runs as root, who
/// may do everything.
class OrdinaryUser {
  public:
    OrdinaryUser() : m_before(setfsuid(kNobody)) {}
    ~OrdinaryUser() { setfsuid(static_cast<uid_t>(m_before)); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

    /// A folder that may be read and searched, but not written to, by anybody but root.
    static constexpr std::filesystem::perms kReadOnly{0555};

    /// Lets every user in. @param path a folder, whose parent is a test's own folder
    static void open(const std::filesystem::path& path) {
        namespace fs = std::filesystem;
        fs::permissions(path, fs::perms::all);
        fs::permissions(path.parent_path(), fs::perms::all);
    }

  private:
    static constexpr uid_t kNobody = 65534;
    int m_before;
};

/// Files cannot grow beyond a size.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        m_signal = signal(SIGXFSZ, SIG_IGN); // NOLINT(cert-err33-c)
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        (void)signal(SIGXFSZ, m_signal);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit m_before{};
    void (*m_signal)(int);
};

/// A small disk of its own at a folder; needs the right to mount.
class SmallDisk {
  public:
    explicit SmallDisk(const std::filesystem::path& folder) : m_folder(folder) {
        std::filesystem::create_directories(folder);
        m_mounted = mount("test", folder.c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    ~SmallDisk() {
        if (m_mounted) {
            umount2(m_folder.c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] bool isMounted() const { return m_mounted; }

    /// Leaves no free byte.
    void fill() const {
        const int file =
            ::open((m_folder / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const std::string block(4096, 'x');
        while (write(file, block.data(), block.size()) > 0) {
        }
        close(file);
    }
    void empty() const { std::filesystem::remove(m_folder / "filler"); }

  private:
    std::filesystem::path m_folder;
    bool m_mounted = false;
};

} // namespace testing_support
