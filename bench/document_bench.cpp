// The settings document read and written, beside what of it cannot be spared: the list of the
// camera's resolutions, and the storing of the parameters.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "bench/side_by_side.h"
#include "bench/watched_picture.h"
#include "settings/parameter_controller.h"
#include "settings/parameter_io.h"

namespace {

/// A document as the page sends it: what it was given, with another name around it.
std::string submitted() {
    std::string document = parameter_io::get_parameters();
    document.replace(0, std::string("<app>").size(), "<root>");
    document.replace(document.rfind("</app>"), std::string("</app>").size(), "</root>");
    return document;
}

void compareDocuments(int rounds) {
    constexpr int kTimes = 100; // one alone is too short to be timed
    const auto times = [](auto work) {
        return [work] {
            for (int i = 0; i < kTimes; ++i) {
                work();
            }
        };
    };
    const std::string document = submitted();
    bench::sideBySide("100 settings documents",
                      {{"the resolutions' list alone",
                        times([] { static_cast<void>(parameter_io::CameraResolutionsAsCsv()); })},
                       {"read", times([] { static_cast<void>(parameter_io::get_parameters()); })},
                       {"parsed", times([&] {
                            static_cast<void>(parameter_io::parseXMLData_no_dependency(document));
                        })}},
                      rounds);
    bench::sideBySide("a settings document",
                      {{"the parameters stored alone",
                        [] { g_ParameterController.save_config(currentConfigParams()); }},
                       {"written",
                        [&] {
                            if (parameter_io::set_post_parameters(document) != 0) {
                                throw std::runtime_error("a document is refused");
                            }
                        }}},
                      rounds);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const int rounds = argc > 1 ? std::stoi(argv[1]) : 21;
        const auto folder = std::filesystem::temp_directory_path() / "zerith-document-bench";
        std::filesystem::create_directories(folder);
        {
            const bench::WatchedPicture watched(folder, 640, 360, 0, 0, "640x360");
            g_ParameterController.init_controller("zerith_markers");
            compareDocuments(rounds);
        }
        std::filesystem::remove_all(folder);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "document_bench: %s\n", problem.what());
        return 2;
    }
}
