#pragma once

// An event as it leaves the application: what the journal holds a line of, and what a publisher to
// the outside passes on.

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace hostcam {

/// A value with the type it was sent with. The first alternative is no value.
using EventValue = std::variant<std::monostate, int, bool, double, std::string>;

/// One step of a topic.
struct TopicPart {
    std::string nameSpace; ///< "tnsaxis" or "tns1"; empty: none
    std::string name;

    bool operator==(const TopicPart&) const = default;
};

/// Keys with their values, in the order of the declaration.
using EventFields = std::vector<std::pair<std::string, EventValue>>;

struct EventRecord {
    enum class What { Declared, Sent };

    What what = What::Sent;
    std::vector<TopicPart> topic;
    std::int64_t milliseconds = 0; ///< the event's time since 1970, UTC
    std::string time; ///< the same as text: 2026-01-01T12:00:00.000+00:00, in the event's zone
    bool stateful = false;
    EventFields source; ///< what the event is about
    EventFields data;   ///< what it reports; of a declaration: the initial values
};

/// What stands for a namespace.
using NamespaceText = std::function<std::string(const std::string&)>;

/// The topic's parts with "/" between them; a namespace's text stands where it is another than that
/// of the part before.
[[nodiscard]] std::string joinTopic(const std::vector<TopicPart>& topic, const NamespaceText& text);

/// "tnsaxis:A/B/C": a namespace stands where it is another than that of the part before.
[[nodiscard]] std::string topicText(const std::vector<TopicPart>& topic);

/// A text as JSON has it, in quotes. One that is no UTF-8 is made valid.
[[nodiscard]] std::string jsonText(const std::string& text);

/// The record as one JSON object, without a newline. Text that is no UTF-8 is made valid.
[[nodiscard]] std::string toJson(const EventRecord& record);

} // namespace hostcam
