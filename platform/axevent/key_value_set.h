#pragma once

// What a key-value set holds. Not safe for use by several threads at a time, as on the camera.

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <axsdk/axevent.h>

#include "platform/axevent/element_item.h"
#include "platform/hostcam/event_record.h"

namespace hostcam {

/// A value; the first alternative is none. Elements are never changed once they are values.
using KeyValue = std::variant<std::monostate, gint, bool, gdouble, std::string,
                              std::shared_ptr<const AXEventElementItem>>;

/// A key of a set, named by key and namespace.
struct KeyEntry {
    std::string key;
    std::optional<std::string> nameSpace;
    AXEventValueType type = AX_VALUE_TYPE_INT;
    KeyValue value;
    bool isSource = false;
    bool isData = false;
    std::vector<std::string> userTags;
    std::optional<std::string> keyNiceName;
    std::optional<std::string> valueNiceName;

    [[nodiscard]] bool hasValue() const { return value.index() != 0; }
};

using KeyEntries = std::vector<KeyEntry>;

/// @return null when there is none
[[nodiscard]] KeyEntry* findKey(KeyEntries& entries, const std::string& key,
                                const std::optional<std::string>& nameSpace);
[[nodiscard]] const KeyEntry* findKey(const KeyEntries& entries, const std::string& key,
                                      const std::optional<std::string>& nameSpace);

/// "key" or "namespace:key", for people and journal lines.
[[nodiscard]] std::string labelOf(const KeyEntry& entry);

/// Whether two values are of one type and equal.
[[nodiscard]] bool sameValue(const KeyValue& a, const KeyValue& b);

/// The value for a journal line; an element becomes XML.
[[nodiscard]] EventValue toEventValue(const KeyValue& value);

} // namespace hostcam

struct _AXEventKeyValueSet {
    /// @param mine whether the application owns the set (and not an event)
    explicit _AXEventKeyValueSet(bool mine) : isApplications(mine) {
        hostcam::addLive(hostcam::Kind::EventKeyValueSet, this);
    }
    ~_AXEventKeyValueSet() { hostcam::removeLive(hostcam::Kind::EventKeyValueSet, this); }
    _AXEventKeyValueSet(const _AXEventKeyValueSet&) = delete;
    _AXEventKeyValueSet& operator=(const _AXEventKeyValueSet&) = delete;

    hostcam::KeyEntries entries; ///< in the order in which they were added
    bool isApplications;
};

namespace hostcam {

/// @throws EventFailure (invalid argument) for null and for what is no set
[[nodiscard]] const AXEventKeyValueSet& checkedSet(const AXEventKeyValueSet* set);

} // namespace hostcam
