#pragma once

// The application's package folder at its fixed path, for one test program alone: a mount namespace
// of its own hides the machine's, so that neither an installed application nor another test is
// touched. Nothing goes to the machine's console from there.

#include <filesystem>
#include <string>

namespace testing_support {

class PrivatePackageFolder {
  public:
    /// Makes the folder for the calling thread and the threads it creates from now on.
    /// @return "" or why that is not possible here
    static std::string make();

    /// The folder that the web service's socket is in.
    static inline const std::filesystem::path kHtml = "/usr/local/packages/zerith_markers/html";
};

} // namespace testing_support
