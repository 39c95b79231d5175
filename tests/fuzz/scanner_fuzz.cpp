// The scanner of settings documents and log submissions: whatever it takes out of a text stood
// there, and what it has understood it understands again.

#include <map>

#include "settings/parameter_io.h"
#include "tests/fuzz/fuzz_input.h"

using fuzzing::require;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzzing::Input(data, size).rest();
    const std::map<std::string, std::string> elements =
        parameter_io::parseXMLData_no_dependency(text);
    std::string printed = "<root>";
    bool endsInside = false;
    for (const auto& [tag, value] : elements) {
        require(tag.find('>') == std::string::npos, "a tag holds its end");
        require(!tag.starts_with('/'), "a closing tag is an element");
        require(value.find('<') == std::string::npos, "a value holds another tag");
        const std::string element = "<" + tag + ">" + value;
        require(text.find(element) != std::string::npos, "an element was not in the text");
        printed += element;
        endsInside = endsInside || tag.find("</root") != std::string::npos;
    }
    // Without its beginning a document may hold its end anywhere.
    if (!endsInside) {
        printed += "</root>";
        require(parameter_io::parseXMLData_no_dependency(printed) == elements,
                "what was understood is understood differently");
    }
    return 0;
}
