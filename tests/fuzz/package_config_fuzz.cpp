// The package's description file: what is read of it, and that writing that gives the same again.

#include <fstream>
#include <map>

#include "core/Logger.h"
#include "core/PackageConfig.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;

Logger g_Logger("fuzz", "./there-is-no-folder/log");

namespace {

using Values = std::map<std::string, std::string>;

std::string trimmed(std::string text) {
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    text.erase(text.find_last_not_of(" \t") + 1);
    return text;
}

void write(const std::string& text) {
    std::ofstream("./package.conf", std::ios::binary | std::ios::trunc) << text;
}

/// What a file's text says. @return false when a value is empty, which no file may say
bool understand(const std::string& text, Values& values) {
    for (const std::string& line : fuzzing::lines(text)) {
        const std::size_t equals = line.find('=');
        if (line.empty() || line[0] == '#' || equals == std::string::npos) {
            continue;
        }
        const std::string value = trimmed(line.substr(equals + 1));
        if (value.empty()) {
            return false;
        }
        values[trimmed(line.substr(0, equals))] =
            value.size() < 2 ? "" : value.substr(1, value.size() - 2);
    }
    return true;
}

void checkValues(const PackageConfig& config, const Values& expected) {
    for (const auto& [key, value] : expected) {
        require(config.getPackageConfigValue(key) == value, "a value is another");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    Values expected;
    const bool isReadable = understand(text, expected);
    write(text);
    try {
        const PackageConfig config;
        require(isReadable, "an empty value was read");
        checkValues(config, expected);
        require(config.getAppName() == expected["APPNAME"], "the name is another");
        require(config.getVersion() == expected["APPMAJORVERSION"] + "." +
                                           expected["APPMINORVERSION"] + "." +
                                           expected["APPMICROVERSION"],
                "the version is another");
    } catch (const std::out_of_range&) {
        require(!isReadable, "a file without an empty value was refused");
        return 0;
    }
    std::string printed;
    Values printable;
    for (const auto& [key, value] : expected) {
        // A name that looks like a comment, or is none at all, can be read in another place only.
        if (!key.empty() && key[0] != '#') {
            printed += key + "=\"" + value + "\"\n";
            printable[key] = value;
        }
    }
    write(printed);
    checkValues(PackageConfig(), printable);
    return 0;
}
