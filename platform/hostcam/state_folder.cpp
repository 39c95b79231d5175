#include "platform/hostcam/state_folder.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace hostcam {
namespace {

constexpr std::chrono::milliseconds kLockPause{5};
/// A file that somebody keeps writing to while it is read is taken as it is after this many tries.
constexpr int kReadTries = 5;

std::string textOf(int reason) {
    return std::error_code(reason, std::generic_category()).message();
}

const char* wordsOf(FileError::Step step) {
    switch (step) {
    case FileError::Step::Folder:
        return "the folder cannot be used";
    case FileError::Step::Open:
        return "cannot be read";
    case FileError::Step::Lock:
        return "cannot be locked";
    case FileError::Step::Create:
        return "cannot be created";
    case FileError::Step::Write:
        return "cannot be written";
    case FileError::Step::Sync:
        return "cannot be brought to the disk";
    case FileError::Step::Rename:
        return "cannot be put in place";
    }
    return "cannot be used";
}

std::int64_t nanoseconds(const timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

FileStamp stampFrom(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

void requireRegular(int fd, const std::string& path) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        throw FileError(FileError::Step::Open, path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw FileError(FileError::Step::Open, path, "it is no regular file");
    }
}

void readAll(int fd, const std::string& path, std::string& content) {
    content.clear();
    std::array<char, 16384> block{};
    off_t offset = 0;
    while (true) {
        const ssize_t got = pread(fd, block.data(), block.size(), offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw FileError(FileError::Step::Open, path, errno);
        }
        if (got == 0) {
            return;
        }
        content.append(block.data(), static_cast<std::size_t>(got));
        offset += got;
    }
}

/// Removes the new file unless it has become the real one.
class TemporaryName {
  public:
    TemporaryName(int folder, std::string name) : m_folder(folder), m_name(std::move(name)) {}
    ~TemporaryName() {
        if (!m_name.empty()) {
            unlinkat(m_folder, m_name.c_str(), 0);
        }
    }
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;

    [[nodiscard]] const char* get() const { return m_name.c_str(); }
    void keep() { m_name.clear(); }

  private:
    int m_folder;
    std::string m_name;
};

} // namespace

FileError::FileError(Step step, const std::string& path, int reason)
    : FileError(step, path, textOf(reason)) {}

FileError::FileError(Step step, const std::string& path, const std::string& reason)
    : std::runtime_error(path + ": " + wordsOf(step) + ": " + reason), m_step(step) {}

FileLock::FileLock(int fd, const std::string& path, std::chrono::milliseconds patience) : m_fd(fd) {
    for (; flock(fd, LOCK_EX | LOCK_NB) != 0; patience -= kLockPause) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw FileError(FileError::Step::Lock, path, errno);
        }
        if (patience <= std::chrono::milliseconds::zero()) {
            throw FileError(FileError::Step::Lock, path, "another process keeps it locked");
        }
        std::this_thread::sleep_for(kLockPause);
    }
}

FileLock::~FileLock() {
    flock(m_fd, LOCK_UN);
}

StateFolder::StateFolder(std::string path) : m_path(std::move(path)) {
    std::error_code failure;
    const bool made = std::filesystem::create_directories(m_path, failure);
    if (failure) {
        throw FileError(FileError::Step::Folder, m_path, failure.message());
    }
    m_folder = Descriptor(open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_folder) {
        throw FileError(FileError::Step::Folder, m_path, errno);
    }
    if (made) {
        const Descriptor parent(openat(m_folder.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (parent) {
            fsync(parent.get());
        }
    }
}

FileLock StateFolder::lock(const std::string& name) const {
    return FileLock(m_folder.get(), pathOf(name));
}

std::optional<FileStamp> StateFolder::stamp(const std::string& name) const {
    struct stat status {};
    if (fstatat(m_folder.get(), name.c_str(), &status, 0) != 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw FileError(FileError::Step::Open, pathOf(name), errno);
    }
    return stampFrom(status);
}

std::optional<HeldFile> StateFolder::read(const std::string& name, std::string& content) const {
    // Not blocking, so that a pipe of that name is an error and not a wait for ever.
    Descriptor file(openat(m_folder.get(), name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw FileError(FileError::Step::Open, pathOf(name), errno);
    }
    requireRegular(file.get(), pathOf(name));
    FileStamp before = stampOf(file.get(), pathOf(name));
    for (int tries = 0; tries < kReadTries; ++tries) {
        readAll(file.get(), pathOf(name), content);
        const FileStamp after = stampOf(file.get(), pathOf(name));
        if (after == before) {
            break;
        }
        before = after;
    }
    return HeldFile{before, std::move(file)};
}

HeldFile StateFolder::replace(const std::string& name, std::string_view content) const {
    const std::string path = pathOf(name);
    TemporaryName temporary(m_folder.get(), name + ".new");
    Descriptor file(openat(m_folder.get(), temporary.get(),
                           O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file) {
        const int reason = errno;
        throw FileError(FileError::Step::Create, path,
                        pathOf(temporary.get()) + ": " + textOf(reason));
    }
    struct stat old {};
    if (fstatat(m_folder.get(), name.c_str(), &old, 0) == 0) {
        // The owner's choice of who may read the file is kept as far as it can be.
        (void)fchmod(file.get(), old.st_mode & 07777);
    }
    if (const int reason = writeAll(file.get(), content); reason != 0) {
        throw FileError(FileError::Step::Write, path, reason);
    }
    if (fsync(file.get()) != 0) {
        throw FileError(FileError::Step::Sync, path, errno);
    }
    if (renameat(m_folder.get(), temporary.get(), m_folder.get(), name.c_str()) != 0) {
        throw FileError(FileError::Step::Rename, path, errno);
    }
    temporary.keep();
    syncFolder(name);
    const FileStamp stamp = stampOf(file.get(), path);
    return {stamp, std::move(file)};
}

Descriptor StateFolder::openToAppend(const std::string& name) const {
    constexpr int kFlags = O_RDWR | O_APPEND | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(openat(m_folder.get(), name.c_str(), kFlags));
    if (!file && errno == ENOENT) {
        file = Descriptor(openat(m_folder.get(), name.c_str(), kFlags | O_CREAT, 0644));
        if (!file) {
            throw FileError(FileError::Step::Create, pathOf(name), errno);
        }
        syncFolder(name);
    }
    if (!file) {
        throw FileError(FileError::Step::Open, pathOf(name), errno);
    }
    requireRegular(file.get(), pathOf(name));
    return file;
}

void StateFolder::sync(const HeldFile& file, const std::string& name) const {
    if (fsync(file.descriptor.get()) != 0) {
        throw FileError(FileError::Step::Sync, pathOf(name), errno);
    }
    syncFolder(name);
}

void StateFolder::syncFolder(const std::string& name) const {
    if (fsync(m_folder.get()) != 0) {
        throw FileError(FileError::Step::Sync, pathOf(name), errno);
    }
}

FileStamp stampOf(int fd, const std::string& path) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        throw FileError(FileError::Step::Open, path, errno);
    }
    return stampFrom(status);
}

int writeAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return written < 0 ? errno : EIO;
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace hostcam
