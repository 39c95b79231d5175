#pragma once

// The event journal: the state folder's events.jsonl, one line for each event that was declared or
// sent.
//
// A line that append() has returned from is on the disk. When a crash leaves half a line, the next
// writer cuts it off, so that every line is a whole one. Several processes may append at the same
// time; a journal that was moved away is begun anew.

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

    /// Appends a line, whole or not at all. The price: one wait for the disk.
    /// @param line a JSON object without a newline
    /// @throws FileError; the line is not in the journal then
    void append(std::string_view line);

  private:
    void reopenWhenMoved();
    /// Needs the file's lock. @return the size in bytes, with the last line whole
    off_t mendLastLine();
    void cutTo(off_t size) const;

    StateFolder m_folder;
    std::string m_path;
    Descriptor m_file;
};

} // namespace hostcam
