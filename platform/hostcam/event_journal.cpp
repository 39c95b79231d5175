#include "platform/hostcam/event_journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include <sys/stat.h>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

constexpr const char* kFileName = "events.jsonl";

/// How long an event waits for another process: for its line, which takes no time, but not for one
/// that keeps the file.
constexpr std::chrono::milliseconds kPatience{20};

/// Whether the text is one JSON object from its first to its last character, as far as its braces
/// and quotes tell.
bool isWholeObject(std::string_view text) {
    if (!text.starts_with('{')) {
        return false;
    }
    int depth = 0;
    bool inString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (inString) {
            if (c == '\\') {
                ++at;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            return at + 1 == text.size();
        }
    }
    return false;
}

/// The bytes from a place to the end of the file.
std::string readFrom(int fd, off_t from, off_t to, const std::string& path) {
    std::string text(static_cast<std::size_t>(to - from), '\0');
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t got =
            pread(fd, text.data() + done, text.size() - done, from + static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            throw FileError(FileError::Step::Open, path, got < 0 ? errno : EIO);
        }
        done += static_cast<std::size_t>(got);
    }
    return text;
}

/// Where the last line begins: after the last newline, or at the beginning.
off_t lastLineStart(int fd, off_t size, const std::string& path) {
    constexpr off_t kBlock = 4096;
    for (off_t end = size; end > 0;) {
        const off_t begin = std::max<off_t>(0, end - kBlock);
        const std::size_t newline = readFrom(fd, begin, end, path).rfind('\n');
        if (newline != std::string::npos) {
            return begin + static_cast<off_t>(newline) + 1;
        }
        end = begin;
    }
    return 0;
}

} // namespace

EventJournal::EventJournal(const std::string& stateDirectory)
    : m_folder(stateDirectory), m_path(m_folder.pathOf(kFileName)),
      m_file(m_folder.openToAppend(kFileName)) {
    std::optional<FileLock> lock;
    lockBriefly(lock);
    if (lock) {
        mendLastLine();
    }
}

void EventJournal::append(std::string_view line) {
    reopenWhenMoved();
    std::optional<FileLock> lock;
    lockBriefly(lock);
    if (lock) {
        mendLastLine();
    }
    const off_t size = lock ? stampOf(m_file.get(), m_path).size : sizeAfterOthers();
    // Without the lock half a line of another's stays, as a line of its own.
    const std::string text = (endsInLine(size) ? "" : "\n") + std::string(line) + "\n";
    ssize_t written = 0;
    do {
        written = write(m_file.get(), text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(text.size())) {
        // A short write means that the disk or the allowance for the file is full.
        const int reason = written < 0 ? errno : ENOSPC;
        if (lock) {
            cut(size, size + std::max<ssize_t>(written, 0));
        }
        throw FileError(FileError::Step::Write, m_path, reason);
    }
    if (fdatasync(m_file.get()) != 0) {
        const int reason = errno;
        if (lock) {
            cut(size, size + written);
        }
        throw FileError(FileError::Step::Sync, m_path, reason);
    }
}

/// @param lock set, unless another process keeps the file locked. That it does is waited for and
/// told once.
void EventJournal::lockBriefly(std::optional<FileLock>& lock) {
    try {
        lock.emplace(m_file.get(), m_path,
                     m_isKeptLocked ? std::chrono::milliseconds(0) : kPatience);
        m_isKeptLocked = false;
    } catch (const FileError& problem) {
        if (!m_isKeptLocked) {
            warnUnlessRepeated(std::string(problem.what()) + "; events are appended all the same");
        }
        m_isKeptLocked = true;
    }
}

void EventJournal::reopenWhenMoved() {
    const std::optional<FileStamp> named = m_folder.stamp(kFileName);
    const FileStamp open = stampOf(m_file.get(), m_path);
    if (!named || named->inode != open.inode || named->device != open.device) {
        m_file = m_folder.openToAppend(kFileName);
    }
}

/// The file's size, once others who write without the lock, too, are through with their line: its
/// size grows while one is written. Half a line that nobody is writing on stays one.
off_t EventJournal::sizeAfterOthers() const {
    constexpr int kLooks = 10;
    off_t size = stampOf(m_file.get(), m_path).size;
    for (int look = 1; look < kLooks && !endsInLine(size); ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        size = stampOf(m_file.get(), m_path).size;
    }
    return size;
}

bool EventJournal::endsInLine(off_t size) const {
    return size == 0 || readFrom(m_file.get(), size - 1, size, m_path) == "\n";
}

void EventJournal::mendLastLine() {
    const off_t size = stampOf(m_file.get(), m_path).size;
    if (endsInLine(size)) {
        return;
    }
    const off_t start = lastLineStart(m_file.get(), size, m_path);
    const std::string line = readFrom(m_file.get(), start, size, m_path);
    if (isWholeObject(line)) {
        if (const int reason = writeAll(m_file.get(), "\n"); reason != 0) {
            throw FileError(FileError::Step::Write, m_path, reason);
        }
        return;
    }
    if (cut(start, size)) {
        warn(m_path + ": the last line was only half written (" + std::to_string(size - start) +
             " bytes) and is cut off");
    }
}

/// Takes away the end of the file, unless others have written after it.
/// @param from, to where that end begins and ends, in bytes
/// @return false when it is still there; the next writer mends it, or goes on in a new line
bool EventJournal::cut(off_t from, off_t to) const {
    return stampOf(m_file.get(), m_path).size == to && ftruncate(m_file.get(), from) == 0;
}

} // namespace hostcam
