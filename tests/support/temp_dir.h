#pragma once

// A folder of its own for one test, removed with everything in it at the end.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    [[nodiscard]] std::filesystem::path operator/(std::string_view name) const {
        return m_path / name;
    }

  private:
    std::filesystem::path m_path;
};

/// A TempDir that is the working directory until it goes away.
class WorkingDir {
  public:
    WorkingDir();
    ~WorkingDir();
    WorkingDir(const WorkingDir&) = delete;
    WorkingDir& operator=(const WorkingDir&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_dir.path(); }

  private:
    std::filesystem::path m_before;
    TempDir m_dir;
};

/// The whole content of a file; empty when it cannot be read.
[[nodiscard]] std::string readFile(const std::filesystem::path& path);

/// A file's lines without their newlines; empty when it cannot be read.
[[nodiscard]] std::vector<std::string> readLines(const std::filesystem::path& path);

/// Writes a file, replacing it. @throws std::runtime_error when that fails
void writeFile(const std::filesystem::path& path, std::string_view content);

} // namespace testing_support
