#pragma once

// The application package's description, "./package.conf" in the working directory, which is the
// package's folder. It is read once, when g_PackageConfig, the first of the process-wide objects,
// is constructed: before there is a log file, so what it has to say reaches syslog only. Afterwards
// it is only read, from any thread.
//
// The file holds one KEY="value" a line. Empty lines and lines that begin with "#" do not count.

#include <map>
#include <string>

/// The values of package.conf by key.
using PackageConfigMap = std::map<std::string, std::string>;

class PackageConfig {
  public:
    /// Reads package.conf. When it cannot be opened, "Failed to load package configuration" is
    /// logged at error level and there are no values.
    /// @throws std::out_of_range as loadPackageConfig()
    PackageConfig();

    /// Logs "PackageConfig destructor".
    ~PackageConfig();

    PackageConfig(const PackageConfig&) = delete;
    PackageConfig& operator=(const PackageConfig&) = delete;

    /// Reads "./package.conf"; a key that comes again replaces its earlier value. A line without
    /// "=" is logged at error level, "Invalid line in package configuration file: " and the line,
    /// and skipped.
    /// @return false when the file cannot be opened, logged as "Failed to open package
    /// configuration file: " and the path
    /// @throws std::out_of_range for a key without a value: it has no quotes to remove
    bool loadPackageConfig();

    /// The value of a key; empty when there is none.
    [[nodiscard]] std::string getPackageConfigValue(const std::string& key) const;

    /// The application's name: APPNAME. It is the identity in syslog and the parameter group.
    [[nodiscard]] std::string getAppName() const;

    /// "major.minor.micro" from the three version keys; a missing one leaves its place empty.
    [[nodiscard]] std::string getVersion() const;

  private:
    void addLine(const std::string& line);

    PackageConfigMap m_packageConfigMap;
};

/// The package's description. Defined in core/app_main.cpp; constant after load.
extern PackageConfig g_PackageConfig;
