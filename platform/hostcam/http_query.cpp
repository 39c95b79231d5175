#include "platform/hostcam/http_query.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <map>

#include "platform/hostcam/config.h"

namespace hostcam {
namespace {

/// More than any page asks for.
constexpr std::size_t kLongestQuery = 4096;

/// How much a sentence repeats of what was asked.
constexpr std::size_t kLongestEcho = 60;

constexpr int kDefaultCompression = 25;

/// A text as a sentence may repeat it: short, printable, one line.
std::string echoed(std::string_view text) {
    std::string result(text.substr(0, kLongestEcho));
    for (char& letter : result) {
        if (letter < ' ' || letter > '~') {
            letter = '?';
        }
    }
    return text.size() > kLongestEcho ? result + "..." : result;
}

int hexadecimal(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// @throws BadRequest for a broken escape or one of a control character
std::string decoded(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char letter = text[at] == '+' ? ' ' : text[at];
        if (letter == '%') {
            const int high = at + 2 < text.size() ? hexadecimal(text[at + 1]) : -1;
            const int low = at + 2 < text.size() ? hexadecimal(text[at + 2]) : -1;
            if (high < 0 || low < 0) {
                throw BadRequest("The query holds a % that two hexadecimal digits do not follow.");
            }
            letter = static_cast<char>(high * 16 + low);
            at += 2;
        }
        if (static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F) {
            throw BadRequest("The query holds a control character.");
        }
        result += letter;
    }
    return result;
}

/// Thrown by an argument's reader; the caller adds name and value.
struct NotAllowed {
    std::string allowed;
};

unsigned toUnsigned(const std::string& text, unsigned high) {
    unsigned value = 0;
    const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result != std::errc{} || end != text.data() + text.size() || value > high) {
        throw NotAllowed{"a whole number from 0 to " + std::to_string(high)};
    }
    return value;
}

bool toSwitch(const std::string& text) {
    if (text != "0" && text != "1") {
        throw NotAllowed{"0 or 1"};
    }
    return text == "1";
}

/// The sizes that a viewer may ask for.
std::vector<Size> offeredSizes(const Config& config) {
    std::vector<Size> sizes;
    for (const ViewerStream& viewer : config.viewers) {
        sizes.push_back(viewer.size);
    }
    sizes.insert(sizes.end(), config.resolutions.begin(), config.resolutions.end());
    return sizes;
}

Size toOfferedSize(const std::string& text, const Config& config) {
    std::string allowed;
    std::vector<std::string> named;
    for (const Size& size : offeredSizes(config)) {
        if (toText(size) == text) {
            return size;
        }
        if (std::find(named.begin(), named.end(), toText(size)) == named.end()) {
            named.push_back(toText(size));
            allowed += (allowed.empty() ? "" : ", ") + toText(size);
        }
    }
    throw NotAllowed{allowed};
}

int toRotation(const std::string& text) {
    for (const int rotation : {0, 90, 180, 270}) {
        if (text == std::to_string(rotation)) {
            return rotation;
        }
    }
    throw NotAllowed{"0, 90, 180 or 270"};
}

int toQuality(unsigned compression) {
    return std::max(1, 100 - static_cast<int>(compression));
}

/// What the arguments' readers fill in.
struct Reading {
    const Config& config;
    PictureArguments result;
    std::optional<Size> size;
    std::optional<bool> mirrored;
};

using Reader = std::function<void(Reading&, const std::string&)>;

/// Every argument of image.cgi and video.cgi.
const std::map<std::string, Reader>& readers() {
    using std::string;
    static const auto* const table = new std::map<string, Reader>{
        {"resolution", [](Reading& r, const string& v) { r.size = toOfferedSize(v, r.config); }},
        {"camera",
         [](Reading& /*r*/, const string& v) {
             if (v != "1") {
                 throw NotAllowed{"1, as there is one camera"};
             }
         }},
        {"compression",
         [](Reading& r, const string& v) {
             r.result.wish.quality = toQuality(toUnsigned(v, 100));
         }},
        {"rotation", [](Reading& r, const string& v) { r.result.wish.rotation = toRotation(v); }},
        {"mirror", [](Reading& r, const string& v) { r.mirrored = toSwitch(v); }},
        {"overlays",
         [](Reading& r, const string& v) {
             if (v != "all" && v != "off") {
                 throw NotAllowed{"all or off"};
             }
             r.result.wish.overlays = v == "all";
         }},
        // The host camera writes no text of its own, and its pixels are square.
        {"text", [](Reading& /*r*/, const string& v) { (void)toSwitch(v); }},
        {"squarepixel", [](Reading& /*r*/, const string& v) { (void)toSwitch(v); }},
        {"fps", [](Reading& r, const string& v) { r.result.fps = toUnsigned(v, 1000); }},
        {"duration",
         [](Reading& r, const string& v) { r.result.seconds = toUnsigned(v, 1'000'000); }},
        {"nbrofframes",
         [](Reading& r, const string& v) { r.result.pictures = toUnsigned(v, 1'000'000'000); }},
    };
    return *table;
}

std::string knownArguments() {
    std::string names;
    for (const auto& [name, reader] : readers()) {
        names += (names.empty() ? "" : ", ") + name;
    }
    return names;
}

/// Chooses what was left open as the camera's viewer streams are set up.
void chooseStream(Reading& reading) {
    const Config& config = reading.config;
    PictureWish& wish = reading.result.wish;
    if (!reading.size && config.viewers.empty()) {
        reading.size = *std::max_element(
            config.resolutions.begin(), config.resolutions.end(), [](Size a, Size b) {
                return std::uint64_t{a.width} * a.height < std::uint64_t{b.width} * b.height;
            });
    }
    const auto stream =
        std::find_if(config.viewers.begin(), config.viewers.end(), [&](const ViewerStream& viewer) {
            return (!reading.size || viewer.size == *reading.size) &&
                   (!reading.mirrored || viewer.mirrored == *reading.mirrored);
        });
    const bool found = stream != config.viewers.end();
    if (!reading.size) {
        reading.size = found ? stream->size : config.viewers.front().size;
    }
    wish.size = *reading.size;
    wish.mirrored = reading.mirrored.value_or(found && stream->mirrored);
}

} // namespace

QueryArguments parseQuery(std::string_view query) {
    if (query.size() > kLongestQuery) {
        throw BadRequest("The query is longer than " + std::to_string(kLongestQuery) + " bytes.");
    }
    QueryArguments arguments;
    while (!query.empty()) {
        const std::string_view item = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), item.size() + 1));
        if (item.empty()) {
            continue;
        }
        const std::size_t equals = item.find('=');
        std::string name = decoded(item.substr(0, equals));
        if (equals == std::string_view::npos) {
            throw BadRequest("The argument " + echoed(name) + " has no value.");
        }
        for (const auto& [known, value] : arguments) {
            if (known == name) {
                throw BadRequest("The argument " + echoed(name) + " comes twice.");
            }
        }
        arguments.emplace_back(std::move(name), decoded(item.substr(equals + 1)));
    }
    return arguments;
}

PictureArguments readPictureArguments(const QueryArguments& arguments, const Config& config) {
    Reading reading{config, {}, std::nullopt, std::nullopt};
    reading.result.wish.quality = toQuality(kDefaultCompression);
    reading.result.wish.rotation = config.rotation;
    reading.result.framerate = config.framerate;
    for (const auto& [name, value] : arguments) {
        const auto reader = readers().find(name);
        if (reader == readers().end()) {
            throw BadRequest("The argument " + echoed(name) + " is not known: allowed are " +
                             knownArguments() + ".");
        }
        try {
            reader->second(reading, value);
        } catch (const NotAllowed& problem) {
            throw BadRequest(name + "=" + echoed(value) + ": allowed is " + problem.allowed + ".");
        }
    }
    chooseStream(reading);
    return reading.result;
}

} // namespace hostcam
