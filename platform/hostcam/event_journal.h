#pragma once

// The event journal: the state folder's events.jsonl, one line for each event that was declared or
// sent.
//
// A line that append() has returned from is on the disk. When a crash leaves half a line, the next
// writer cuts it off, so that every line is a whole one. Several processes may append at the same
// time; a journal that was moved away is begun anew.
//
// The file's lock is for cutting only. A line is appended in one piece, with or without it: whoever
// keeps the file locked, a process that was stopped perhaps, holds up no event.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/hostcam/descriptor.h"
#include "platform/hostcam/state_folder.h"

namespace hostcam {

/// Not safe for use by several threads at a time.
class EventJournal {
  public:
    /// Opens the journal in a state folder, which is made when it is missing, and mends its last
    /// line.
    /// @throws FileError
    explicit EventJournal(const std::string& stateDirectory);

    /// Appends a line, whole or not at all. The price: one wait for the disk, and up to 20
    /// milliseconds for another process once it keeps the file locked.
    /// @param line a JSON object without a newline
    /// @throws FileError; the line is not in the journal then, unless others have written after it
    /// meanwhile
    void append(std::string_view line);

  private:
    void reopenWhenMoved();
    void lockBriefly(std::optional<FileLock>& lock);
    [[nodiscard]] off_t sizeAfterOthers() const;
    [[nodiscard]] bool endsInLine(off_t size) const;
    // These need the file's lock.
    void mendLastLine();
    bool cut(off_t from, off_t to) const;

    StateFolder m_folder;
    std::string m_path;
    Descriptor m_file;
    bool m_isKeptLocked = false; ///< as far as is known
};

} // namespace hostcam
