#pragma once

// The text of the parameter file: one "root.Group.Name=value" a line, in the order in which the
// parameters were made.
//
// What people write by hand is taken as it comes: comments (#), empty lines, blanks around name and
// value, line ends of other systems. A line that is not understood is reported with its number and
// kept as it stands, so that a slip of the pen loses nothing. A value may be any text: a newline, a
// backslash, a control character and a blank at either end are written as escapes (\n, \\, \xNN).

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace hostcam {

/// The name under which a parameter is kept: the group begins with an upper-case letter, as
/// "root.zerith_markers.X" and "root.Zerith_markers.X" are the same parameter.
/// @return none when the text is no full name (three or more parts of letters, digits, _ and -,
/// divided by dots, the first one "root")
[[nodiscard]] std::optional<std::string> canonicalName(std::string_view name);

/// A value as it stands in the file.
[[nodiscard]] std::string escapeValue(std::string_view value);

/// What a text in the file means. @return none for an unknown escape or a bare control character
[[nodiscard]] std::optional<std::string> unescapeValue(std::string_view text);

/// The parameters of one file, with every other line of it. A plain value: copied, changed, and put
/// in place of the old one when it is safely on the disk.
class ParameterFile {
  public:
    /// Something about the text that a person should know.
    struct Problem {
        std::size_t line; ///< counted from 1
        std::string text;
    };

    ParameterFile() = default;

    /// Reads a text; nothing of it is lost.
    /// @param problems receives what is wrong with it, in the order of the lines
    ParameterFile(std::string_view text, std::vector<Problem>& problems);

    /// The text to write.
    [[nodiscard]] std::string text() const;

    /// The value of a parameter, borrowed until the next change; null when there is none.
    /// @param name canonical, here and below
    [[nodiscard]] const std::string* find(const std::string& name) const;

    /// Changes a parameter, or adds it at the end.
    void set(const std::string& name, const std::string& value);

    /// Removes a parameter and every line that would bring it back. @return false when there is
    /// none
    bool remove(const std::string& name);

    /// The names in order.
    [[nodiscard]] std::vector<std::string> names() const;

  private:
    struct Line {
        std::string name;  ///< empty: no parameter
        std::string value; ///< the parameter's value, or the line as it stands
    };

    /// Reads one line. @return what is wrong with it, or nothing
    std::string take(std::string_view line);
    void index();

    std::vector<Line> m_lines;
    std::unordered_map<std::string, std::size_t> m_index; ///< from name to line
};

} // namespace hostcam
