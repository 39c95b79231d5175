#include "core/PackageConfig.h"

#include <fstream>
#include <stdexcept>

#include "core/Logger.h"

namespace {

constexpr const char* kPath = "./package.conf";

/// The text without the spaces and tabs at its ends.
std::string trimmed(const std::string& text) {
    static constexpr const char* kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The text without its first and its last character.
/// Deliberate: whatever they are. The file's values stand between quotes; one that does not loses
/// its ends, and a single character leaves nothing.
std::string withoutQuotes(const std::string& text) {
    if (text.empty()) {
        throw std::out_of_range("a value in the package configuration is empty");
    }
    return text.size() == 1 ? "" : text.substr(1, text.size() - 2);
}

} // namespace

PackageConfig::PackageConfig() {
    g_Logger.info("PackageConfig: PackageConfig constructor");
    if (!loadPackageConfig()) {
        g_Logger.error("PackageConfig: Failed to load package configuration");
    }
}

PackageConfig::~PackageConfig() {
    g_Logger.info("~PackageConfig: PackageConfig destructor");
}

bool PackageConfig::loadPackageConfig() {
    std::ifstream file(kPath);
    if (!file.is_open()) {
        g_Logger.error(std::string("loadPackageConfig: ") +
                       "Failed to open package configuration file: " + kPath);
        return false;
    }
    for (std::string line; std::getline(file, line);) {
        // A comment begins with the line: after leading blanks, "#" is text like any other.
        if (!line.empty() && line.front() != '#') {
            addLine(line);
        }
    }
    return true;
}

void PackageConfig::addLine(const std::string& line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        g_Logger.error("loadPackageConfig: Invalid line in package configuration file: " + line);
        return;
    }
    m_packageConfigMap[trimmed(line.substr(0, equals))] =
        withoutQuotes(trimmed(line.substr(equals + 1)));
}

std::string PackageConfig::getPackageConfigValue(const std::string& key) const {
    const auto found = m_packageConfigMap.find(key);
    return found == m_packageConfigMap.end() ? std::string() : found->second;
}

std::string PackageConfig::getAppName() const {
    return getPackageConfigValue("APPNAME");
}

std::string PackageConfig::getVersion() const {
    return getPackageConfigValue("APPMAJORVERSION") + "." +
           getPackageConfigValue("APPMINORVERSION") + "." +
           getPackageConfigValue("APPMICROVERSION");
}
