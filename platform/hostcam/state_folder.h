#pragma once

// The folder in which the host camera keeps what must survive it: the parameter file and the event
// journal. Everything here is written so that a crash at any moment, of the process or of the
// machine, loses nothing that a call has acknowledged, and that a file is never seen half.
//
// The folder is opened once; a later change of the working directory does not matter.

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/hostcam/descriptor.h"

namespace hostcam {

/// Thrown when a file of the state folder cannot be used. The text names the file and the reason.
class FileError : public std::runtime_error {
  public:
    /// What could not be done.
    enum class Step { Folder, Open, Lock, Create, Write, Sync, Rename };

    /// @param reason an errno value
    FileError(Step step, const std::string& path, int reason);
    /// @param reason words
    FileError(Step step, const std::string& path, const std::string& reason);

    [[nodiscard]] Step step() const { return m_step; }

  private:
    Step m_step;
};

/// Which content of a file was seen. Two that are equal mean that nobody has written in between, as
/// long as the first file is held open (an inode in use is not given to another file).
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0; ///< nanoseconds
    std::int64_t changed = 0;  ///< nanoseconds

    bool operator==(const FileStamp&) const = default;
};

/// A file that was read or written: its content's stamp, and the descriptor that keeps the inode.
struct HeldFile {
    FileStamp stamp;
    Descriptor descriptor;
};

/// A lock between processes, held until it goes away.
class FileLock {
  public:
    static constexpr std::chrono::milliseconds kPatience{5000};

    /// Waits for the lock.
    /// @param fd borrowed; stays open for as long as the lock
    /// @param path what an error calls it
    /// @param patience how long to wait at most
    /// @throws FileError (Lock) when another process keeps it, or it cannot be had
    FileLock(int fd, const std::string& path, std::chrono::milliseconds patience = kPatience);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    int m_fd;
};

/// Not safe for use by several threads at a time; its users have a lock of their own.
class StateFolder {
  public:
    /// Opens the folder; one that is missing is made, with its parents.
    /// @throws FileError (Folder)
    explicit StateFolder(std::string path);

    /// What errors call a file of the folder.
    [[nodiscard]] std::string pathOf(const std::string& name) const { return m_path + "/" + name; }

    /// Locks the folder against other processes that do the same.
    /// @param name the file that this is about, for the error's text
    [[nodiscard]] FileLock lock(const std::string& name) const;

    /// The stamp of a file now; none when there is no such file.
    /// @throws FileError (Open)
    [[nodiscard]] std::optional<FileStamp> stamp(const std::string& name) const;

    /// Reads a whole file.
    /// @param content receives it
    /// @return none when there is no such file
    /// @throws FileError (Open) also for what is no regular file
    [[nodiscard]] std::optional<HeldFile> read(const std::string& name, std::string& content) const;

    /// Replaces a file, or makes it. When this returns, the new content is on the disk; when it
    /// throws, the old one is untouched, but for a failure of the very last step (Sync), after
    /// which either is there. The price: two waits for the disk.
    /// @throws FileError (Create, Write, Sync, Rename)
    [[nodiscard]] HeldFile replace(const std::string& name, std::string_view content) const;

    /// Opens a file to read it and to append to it; one that is missing is made.
    /// @throws FileError (Open, Sync) also for what is no regular file
    [[nodiscard]] Descriptor openToAppend(const std::string& name) const;

    /// Brings a file that was read, and its name, to the disk.
    /// @throws FileError (Sync)
    void sync(const HeldFile& file, const std::string& name) const;

  private:
    void syncFolder(const std::string& name) const;

    std::string m_path;
    Descriptor m_folder;
};

/// The stamp of an open file. @throws FileError (Open)
[[nodiscard]] FileStamp stampOf(int fd, const std::string& path);

/// Writes everything; interrupted and short writes go on.
/// @return 0, or the errno value of the write that failed
[[nodiscard]] int writeAll(int fd, std::string_view content);

} // namespace hostcam
