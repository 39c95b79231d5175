#include "platform/hostcam/http_parameters.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/hostcam/parameter_store.h"

namespace hostcam {
namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

std::vector<std::string> split(std::string_view text, char divider) {
    std::vector<std::string> parts;
    while (true) {
        const std::size_t end = text.find(divider);
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

/// @throws BadRequest for what cannot be a name
void requireName(const std::string& name) {
    const std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.*";
    if (name.empty() || name.find_first_not_of(allowed) != std::string::npos) {
        throw BadRequest("group takes names of letters, digits, _ and - in parts that dots divide, "
                         "comma separated, with * for any part.");
    }
}

/// A name's parts, with "root" in front and the group as parameters are kept.
std::vector<std::string> patternOf(const std::string& name) {
    std::vector<std::string> parts = split(name, '.');
    if (parts.front() != "root") {
        parts.insert(parts.begin(), "root");
    }
    if (parts.size() > 1 && !parts[1].empty() && parts[1][0] >= 'a' && parts[1][0] <= 'z') {
        parts[1][0] = static_cast<char>(parts[1][0] - 'a' + 'A');
    }
    return parts;
}

bool fits(const std::vector<std::string>& pattern, const std::string& name) {
    const std::vector<std::string> parts = split(name, '.');
    if (parts.size() < pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != "*" && pattern[i] != parts[i]) {
            return false;
        }
    }
    return true;
}

/// Deliberate: line breaks and other control characters in a value become blanks, so that a value
/// can never pass for another parameter's line.
std::string lineOf(const std::string& name, const std::string& value) {
    std::string line = name + "=" + value;
    for (char& letter : line) {
        const auto byte = static_cast<unsigned char>(letter);
        letter = byte < 0x20 || byte == 0x7F ? ' ' : letter;
    }
    return line + "\n";
}

std::string listed(const Parameters& all, const std::string& name) {
    const std::vector<std::string> pattern = patternOf(name);
    std::string text;
    for (const auto& [known, value] : all) {
        text += fits(pattern, known) ? lineOf(known, value) : "";
    }
    return text.empty() ? "# Error: Error -1 getting param in group '" + name + "'\n" : text;
}

} // namespace

std::string listedParameters(const QueryArguments& arguments) {
    std::string action;
    std::string group = "root";
    for (const auto& [name, value] : arguments) {
        if (name == "action") {
            action = value;
        } else if (name == "group") {
            group = value;
        } else {
            throw BadRequest("param.cgi takes the arguments action and group only.");
        }
    }
    if (action != "list") {
        throw BadRequest("param.cgi takes action=list only.");
    }
    const std::vector<std::string> names = split(group, ',');
    for (const std::string& name : names) {
        requireName(name);
    }
    const Parameters all = currentParameterStore()->list("root.");
    std::string text;
    for (const std::string& name : names) {
        text += listed(all, name);
    }
    return text;
}

} // namespace hostcam
