#include "platform/hostcam/event_journal.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/stat.h>

#include "platform/hostcam/misuse.h"

namespace hostcam {
namespace {

constexpr const char* kFileName = "events.jsonl";

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
    const FileLock lock(m_file.get(), m_path);
    (void)mendLastLine();
}

void EventJournal::append(std::string_view line) {
    reopenWhenMoved();
    const FileLock lock(m_file.get(), m_path);
    const off_t size = mendLastLine();
    const std::string text = std::string(line) + "\n";
    ssize_t written = 0;
    do {
        written = write(m_file.get(), text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(text.size())) {
        // A short write means that the disk or the allowance for the file is full.
        const int reason = written < 0 ? errno : ENOSPC;
        cutTo(size);
        throw FileError(FileError::Step::Write, m_path, reason);
    }
    if (fdatasync(m_file.get()) != 0) {
        const int reason = errno;
        cutTo(size);
        throw FileError(FileError::Step::Sync, m_path, reason);
    }
}

void EventJournal::reopenWhenMoved() {
    const std::optional<FileStamp> named = m_folder.stamp(kFileName);
    const FileStamp open = stampOf(m_file.get(), m_path);
    if (!named || named->inode != open.inode || named->device != open.device) {
        m_file = m_folder.openToAppend(kFileName);
    }
}

off_t EventJournal::mendLastLine() {
    const off_t size = stampOf(m_file.get(), m_path).size;
    if (size == 0 || readFrom(m_file.get(), size - 1, size, m_path) == "\n") {
        return size;
    }
    const off_t start = lastLineStart(m_file.get(), size, m_path);
    const std::string line = readFrom(m_file.get(), start, size, m_path);
    if (isWholeObject(line)) {
        if (const int reason = writeAll(m_file.get(), "\n"); reason != 0) {
            throw FileError(FileError::Step::Write, m_path, reason);
        }
        return size + 1;
    }
    if (ftruncate(m_file.get(), start) != 0) {
        throw FileError(FileError::Step::Write, m_path, errno);
    }
    warn(m_path + ": the last line was only half written (" + std::to_string(size - start) +
         " bytes) and is cut off");
    return start;
}

/// After a failed write. When this fails too, the next writer mends the line.
void EventJournal::cutTo(off_t size) const {
    (void)!ftruncate(m_file.get(), size);
}

} // namespace hostcam
