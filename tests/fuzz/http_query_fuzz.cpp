// The queries of the host camera's web endpoint: what is taken is within its limits, what is
// refused is told in one printable sentence, and a list of parameters is nothing but lines of
// parameters.

#include <filesystem>
#include <fstream>

#include "platform/hostcam/config.h"
#include "platform/hostcam/http_parameters.h"
#include "platform/hostcam/http_query.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;
using hostcam::BadRequest;
using hostcam::QueryArguments;

namespace {

std::string encoded(const std::string& text) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string result;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        result += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
    return result;
}

bool isOneLine(const std::string& text) {
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char letter) { return letter < 0x20 || letter > 0x7E; });
}

void requireSentence(const BadRequest& problem) {
    const std::string sentence = problem.what();
    require(!sentence.empty() && sentence.size() < 600 && sentence.ends_with("."),
            "a refusal is no sentence");
    require(isOneLine(sentence), "a refusal is no printable line");
}

void checkArguments(const QueryArguments& arguments) {
    std::string again;
    for (const auto& [name, value] : arguments) {
        again += (again.empty() ? "" : "&") + encoded(name) + "=" + encoded(value);
        require(isOneLine(name) || name.find_first_of("\r\n") == std::string::npos,
                "a name is several lines");
    }
    if (again.size() <= 4096) {
        require(hostcam::parseQuery(again) == arguments, "encoded arguments are read differently");
    }
}

void checkPicture(const QueryArguments& arguments, const hostcam::Config& config) {
    try {
        const hostcam::PictureArguments wanted = hostcam::readPictureArguments(arguments, config);
        require(wanted.wish.quality >= 1 && wanted.wish.quality <= 100,
                "the quality is outside its limits");
        require(wanted.wish.rotation >= 0 && wanted.wish.rotation <= 270 &&
                    wanted.wish.rotation % 90 == 0,
                "the rotation is outside its limits");
        require(wanted.fps <= 1000 && wanted.seconds <= 1000000 && wanted.pictures <= 1000000000,
                "a number is outside its limits");
        require(std::count(config.resolutions.begin(), config.resolutions.end(), wanted.wish.size) >
                    0,
                "a size that nobody offers");
    } catch (const BadRequest& problem) {
        requireSentence(problem);
    }
}

void checkList(const QueryArguments& arguments) {
    try {
        for (const std::string& line : fuzzing::lines(hostcam::listedParameters(arguments))) {
            require(line.starts_with("root.") ? line.find('=') != std::string::npos
                                              : line.starts_with("# Error: "),
                    "a line is no parameter");
        }
    } catch (const BadRequest& problem) {
        requireSentence(problem);
    }
}

} // namespace

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    std::filesystem::create_directories("state");
    std::ofstream("state/parameters.conf")
        << "root.Zerith_markers.MarkersSeconds=3\n"
           "root.Zerith_markers.SelectedDictionary=<b>\\nroot.X.Y=1\n";
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string query = fuzzing::Input(data, size).rest();
    static const hostcam::Config config;
    QueryArguments arguments;
    try {
        arguments = hostcam::parseQuery(query);
    } catch (const BadRequest& problem) {
        requireSentence(problem);
        return 0;
    }
    checkArguments(arguments);
    checkPicture(arguments, config);
    checkList(arguments);
    return 0;
}
