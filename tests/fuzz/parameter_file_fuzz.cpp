// The file of the host camera's parameters: nothing of it is lost, any value can be stored in it,
// and changing one parameter changes no other.

#include "platform/hostcam/parameter_file.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;
using hostcam::ParameterFile;

namespace {

ParameterFile read(const std::string& text, std::size_t& problems) {
    std::vector<ParameterFile::Problem> found;
    ParameterFile file(text, found);
    problems = found.size();
    // Also an empty file has a line that it lacks.
    const std::size_t lineCount = std::max<std::size_t>(fuzzing::lines(text).size(), 1);
    for (const ParameterFile::Problem& problem : found) {
        require(problem.line >= 1 && problem.line <= lineCount, "a problem has no line");
        require(!problem.text.empty(), "a problem has no words");
    }
    return file;
}

void requireSameParameters(const ParameterFile& a, const ParameterFile& b) {
    require(a.names() == b.names(), "the names are others");
    for (const std::string& name : a.names()) {
        require(b.find(name) != nullptr && *a.find(name) == *b.find(name), "a value is another");
    }
}

void checkValue(const std::string& value) {
    const std::string escaped = hostcam::escapeValue(value);
    require(escaped.find('\n') == std::string::npos, "a value is more than one line");
    require(hostcam::unescapeValue(escaped) == value,
            "a value is read differently than it was written");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    std::size_t problems = 0;
    std::size_t problemsAgain = 0;
    const ParameterFile file = read(text, problems);
    const ParameterFile again = read(file.text(), problemsAgain);
    requireSameParameters(file, again);
    // What is kept of a file has the end that its last line may have lacked.
    const bool hadNoEnd = !file.text().empty() && text.back() != '\n';
    require(problemsAgain == problems - (hadNoEnd ? 1 : 0), "a written file has other problems");
    require(again.text() == file.text(), "a written file is written differently");

    // A value is a text of the camera's C interface, which ends at a zero.
    const std::string value = text.substr(0, text.find('\0'));
    checkValue(value);
    for (const std::string& name : file.names()) {
        require(hostcam::canonicalName(name) == name, "a name is another than it is");
    }
    // Any value, beside all that is there.
    ParameterFile changed = file;
    const std::string name = "root.Fuzz.Value";
    changed.set(name, value);
    const ParameterFile stored = read(changed.text(), problems);
    require(stored.find(name) != nullptr && *stored.find(name) == value,
            "a value is stored differently");
    for (const std::string& other : file.names()) {
        require(other == name ||
                    (stored.find(other) != nullptr && *stored.find(other) == *file.find(other)),
                "another value has changed");
    }
    require(changed.remove(name), "a parameter cannot be removed");
    require(read(changed.text(), problems).find(name) == nullptr, "a removed parameter comes back");
    return 0;
}
