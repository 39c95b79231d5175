#pragma once

// How test programs start other programs of the same build tree: directly, or, where the tree is
// for another processor, through the emulator that CTest names.

#include <string>
#include <vector>

namespace testing_support {

/// Whether an emulator runs this tree's programs. GoogleTest's death tests of the style
/// "threadsafe" start their own program again without it, so they have to be skipped.
[[nodiscard]] bool isEmulated();

class ProgramStart {
  public:
    /// @param command the program's path and its arguments
    explicit ProgramStart(const std::vector<std::string>& command);
    ProgramStart(const ProgramStart&) = delete;
    ProgramStart& operator=(const ProgramStart&) = delete;

    /// Turns the calling process, a child that was forked for it, into the program. Needs no
    /// memory: another thread may have held the heap's lock at the fork. Returns when it fails.
    void become() const;

    /// The same as a line for a shell. Words must be without quotes.
    [[nodiscard]] std::string shellLine() const;

  private:
    std::vector<std::string> m_words;
    std::vector<char*> m_arguments; // into m_words, with a null at the end
};

} // namespace testing_support
