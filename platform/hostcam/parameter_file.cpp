#include "platform/hostcam/parameter_file.h"

#include <algorithm>
#include <charconv>

namespace hostcam {
namespace {

constexpr std::string_view kBlanks = " \t";

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

bool isControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7F;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string hexEscape(char c) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto code = static_cast<unsigned char>(c);
    return {'\\', 'x', kDigits[code >> 4], kDigits[code & 0x0F]};
}

/// Reads the escape that begins at text[at], a backslash, and moves to its last character.
std::optional<char> readEscape(std::string_view text, std::size_t& at) {
    if (at + 1 >= text.size()) {
        return std::nullopt;
    }
    const char kind = text[++at];
    switch (kind) {
    case '\\':
        return '\\';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        break;
    }
    unsigned char code = 0;
    const char* const digits = text.data() + at + 1;
    if (kind != 'x' || at + 2 >= text.size() ||
        std::from_chars(digits, digits + 2, code, 16).ptr != digits + 2 || code == 0) {
        return std::nullopt;
    }
    at += 2;
    return static_cast<char>(code);
}

} // namespace

std::optional<std::string> canonicalName(std::string_view name) {
    std::string result(name);
    std::size_t parts = 1;
    std::size_t partLength = 0;
    for (const char c : name) {
        if (c == '.' && partLength > 0) {
            ++parts;
            partLength = 0;
        } else if (isNameCharacter(c)) {
            ++partLength;
        } else {
            return std::nullopt;
        }
    }
    constexpr std::string_view kRoot = "root.";
    if (parts < 3 || partLength == 0 || !name.starts_with(kRoot)) {
        return std::nullopt;
    }
    char& first = result[kRoot.size()];
    if (first >= 'a' && first <= 'z') {
        first = static_cast<char>(first - 'a' + 'A');
    }
    return result;
}

std::string escapeValue(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        const char c = value[at];
        const bool atEnd = at == 0 || at + 1 == value.size();
        if (c == '\\') {
            text += "\\\\";
        } else if (c == '\n') {
            text += "\\n";
        } else if (isControl(c) || (atEnd && c == ' ')) {
            text += hexEscape(c);
        } else {
            text += c;
        }
    }
    return text;
}

std::optional<std::string> unescapeValue(std::string_view text) {
    std::string value;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\') {
            const std::optional<char> c = readEscape(text, at);
            if (!c) {
                return std::nullopt;
            }
            value += *c;
        } else if (isControl(text[at]) && text[at] != '\t') {
            return std::nullopt;
        } else {
            value += text[at];
        }
    }
    return value;
}

ParameterFile::ParameterFile(std::string_view text, std::vector<Problem>& problems) {
    // More than one, as careless editors add them: one that stayed would be taken away the next
    // time.
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    while (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(kByteOrderMark.size());
    }
    if (text.empty()) {
        problems.push_back({1, "the file is empty; it may have been cut short"});
        return;
    }
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        if (std::string problem = take(text.substr(0, end)); !problem.empty()) {
            problems.push_back({number, problem + "; the line is kept as it is"});
        }
        if (end == std::string_view::npos) {
            problems.push_back(
                {number, "the last line has no end; the file may have been cut short"});
            break;
        }
        text.remove_prefix(end + 1);
    }
}

std::string ParameterFile::take(std::string_view line) {
    m_lines.push_back({"", std::string(line)});
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    const std::string_view content = trimmed(line);
    if (content.empty() || content.front() == '#') {
        return "";
    }
    const std::size_t equals = content.find('=');
    if (equals == std::string_view::npos) {
        return "no '=' after the name";
    }
    const std::optional<std::string> name = canonicalName(trimmed(content.substr(0, equals)));
    if (!name) {
        return "no name of the form root.Group.Name before the '='";
    }
    std::optional<std::string> value = unescapeValue(trimmed(content.substr(equals + 1)));
    if (!value) {
        return "a control character, or a backslash that begins no escape, in the value";
    }
    std::string problem;
    if (const auto earlier = m_index.find(*name); earlier != m_index.end()) {
        // The earlier one becomes a line that is only kept.
        Line& old = m_lines[earlier->second];
        problem = *name + " is given a second time; this value holds";
        old = {"", old.name + "=" + escapeValue(old.value)};
    }
    m_lines.back() = {*name, std::move(*value)};
    m_index[*name] = m_lines.size() - 1;
    return problem;
}

std::string ParameterFile::text() const {
    std::string result;
    for (const Line& line : m_lines) {
        result += line.name.empty() ? line.value : line.name + "=" + escapeValue(line.value);
        result += '\n';
    }
    return result;
}

const std::string* ParameterFile::find(const std::string& name) const {
    const auto found = m_index.find(name);
    return found == m_index.end() ? nullptr : &m_lines[found->second].value;
}

void ParameterFile::set(const std::string& name, const std::string& value) {
    const auto [place, added] = m_index.try_emplace(name, m_lines.size());
    if (added) {
        m_lines.push_back({name, value});
    } else {
        m_lines[place->second].value = value;
    }
}

bool ParameterFile::remove(const std::string& name) {
    if (!m_index.contains(name)) {
        return false;
    }
    std::erase_if(m_lines, [&](const Line& line) {
        if (!line.name.empty()) {
            return line.name == name;
        }
        const std::string_view text = line.value;
        const std::size_t equals = text.find('=');
        return equals != std::string_view::npos &&
               canonicalName(trimmed(text.substr(0, equals))) == name;
    });
    index();
    return true;
}

std::vector<std::string> ParameterFile::names() const {
    std::vector<std::string> result;
    for (const Line& line : m_lines) {
        if (!line.name.empty()) {
            result.push_back(line.name);
        }
    }
    return result;
}

void ParameterFile::index() {
    m_index.clear();
    for (std::size_t at = 0; at < m_lines.size(); ++at) {
        if (!m_lines[at].name.empty()) {
            m_index[m_lines[at].name] = at;
        }
    }
}

} // namespace hostcam
