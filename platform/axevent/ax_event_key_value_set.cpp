// Key-value sets of the host camera's axevent library.

#include <algorithm>
#include <cstdarg>
#include <type_traits>
#include <utility>

#include "platform/axevent/event_errors.h"
#include "platform/axevent/key_value_set.h"
#include "platform/hostcam/faults.h"
#include "platform/hostcam/misuse.h"

namespace {

using hostcam::EventFailure;
using hostcam::KeyEntries;
using hostcam::KeyEntry;
using hostcam::KeyValue;
using hostcam::optionalText;
using hostcam::requireArgument;

gboolean run(GError** error, const std::function<void()>& body) {
    return hostcam::runEventCall(error, AX_EVENT_ERROR_GENERIC, body);
}

AXEventKeyValueSet& changeableSet(AXEventKeyValueSet* set) {
    const AXEventKeyValueSet& checked = hostcam::checkedSet(set);
    if (!checked.isApplications) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT,
                           "the key-value set of an event cannot be changed");
    }
    return *set;
}

std::string keyText(const gchar* key) {
    requireArgument(key, "the key");
    if (*key == '\0') {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the key is empty");
    }
    return key;
}

template <typename Entries>
auto& requireKey(Entries& entries, const gchar* key, const gchar* nameSpace) {
    const std::string name = keyText(key);
    auto* const entry = hostcam::findKey(entries, name, optionalText(nameSpace));
    if (entry == nullptr) {
        throw EventFailure(AX_EVENT_ERROR_KEY_NOT_FOUND,
                           "there is no key " +
                               (nameSpace == nullptr ? "" : std::string(nameSpace) + ":") + name);
    }
    return *entry;
}

/// Copies what a value pointer points to. @param type as the caller gave it, which may be anything
KeyValue copyValue(gconstpointer value, int type) {
    const bool isElement = type == AX_VALUE_TYPE_ELEMENT;
    if (type < AX_VALUE_TYPE_INT || type > AX_VALUE_TYPE_ELEMENT ||
        (isElement && value != nullptr &&
         !hostcam::isLive(hostcam::Kind::EventElementItem, value))) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT,
                           "the value type " + std::to_string(type) +
                               " is unknown, or the value is not of that type");
    }
    if (value == nullptr) {
        return {};
    }
    switch (type) {
    case AX_VALUE_TYPE_INT:
        return *static_cast<const gint*>(value);
    case AX_VALUE_TYPE_BOOL:
        return *static_cast<const gboolean*>(value) != FALSE;
    case AX_VALUE_TYPE_DOUBLE:
        return *static_cast<const gdouble*>(value);
    case AX_VALUE_TYPE_STRING:
        return std::string(static_cast<const gchar*>(value));
    default:
        return std::shared_ptr<const AXEventElementItem>(
            hostcam::copyOf(*static_cast<const AXEventElementItem*>(value)));
    }
}

void put(KeyEntries& entries, const std::string& key, const gchar* nameSpace, gconstpointer value,
         int type) {
    KeyValue copy = copyValue(value, type);
    KeyEntry* entry = hostcam::findKey(entries, key, optionalText(nameSpace));
    if (entry == nullptr) {
        entries.push_back({key, optionalText(nameSpace), {}, {}, false, false, {}, {}, {}});
        entry = &entries.back();
    }
    entry->type = static_cast<AXEventValueType>(type);
    entry->value = std::move(copy);
}

/// The value of a key for a getter. @throws EventFailure when it is missing or of another type
template <typename Type>
const Type& requireValue(const AXEventKeyValueSet* set, const gchar* key, const gchar* nameSpace) {
    const KeyEntry& entry = requireKey(hostcam::checkedSet(set).entries, key, nameSpace);
    const auto* const value = std::get_if<Type>(&entry.value);
    if (value == nullptr) {
        throw EventFailure(AX_EVENT_ERROR_INCOMPATIBLE_VALUE,
                           "the key " + hostcam::labelOf(entry) +
                               (entry.hasValue() ? " is of another type" : " has no value"));
    }
    return *value;
}

} // namespace

namespace hostcam {

KeyEntry* findKey(KeyEntries& entries, const std::string& key,
                  const std::optional<std::string>& nameSpace) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const KeyEntry& entry) {
        return entry.key == key && entry.nameSpace == nameSpace;
    });
    return found == entries.end() ? nullptr : &*found;
}

const KeyEntry* findKey(const KeyEntries& entries, const std::string& key,
                        const std::optional<std::string>& nameSpace) {
    return findKey(const_cast<KeyEntries&>(entries), key, nameSpace);
}

std::string labelOf(const KeyEntry& entry) {
    return (entry.nameSpace ? *entry.nameSpace + ":" : "") + entry.key;
}

bool sameValue(const KeyValue& a, const KeyValue& b) {
    using Element = std::shared_ptr<const AXEventElementItem>;
    const auto* const first = std::get_if<Element>(&a);
    const auto* const second = std::get_if<Element>(&b);
    return first != nullptr && second != nullptr ? sameElement(**first, **second) : a == b;
}

EventValue toEventValue(const KeyValue& value) {
    return std::visit(
        [](const auto& held) -> EventValue {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::shared_ptr<const AXEventElementItem>>) {
                return toXml(*held);
            } else {
                return held;
            }
        },
        value);
}

const AXEventKeyValueSet& checkedSet(const AXEventKeyValueSet* set) {
    requireArgument(set, "the key-value set");
    if (!isLive(Kind::EventKeyValueSet, set)) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the key-value set is none");
    }
    return *set;
}

} // namespace hostcam

AXEventKeyValueSet* ax_event_key_value_set_new(void) {
    return hostcam::mustFail(__func__) ? nullptr
                                       : std::make_unique<AXEventKeyValueSet>(true).release();
}

void ax_event_key_value_set_free(AXEventKeyValueSet* key_value_set) {
    if (hostcam::mustFail(__func__) || key_value_set == nullptr) {
        return;
    }
    if (!hostcam::isLive(hostcam::Kind::EventKeyValueSet, key_value_set) ||
        !key_value_set->isApplications) {
        hostcam::reportMisuse("ax_event_key_value_set_free was called with a set that is none or "
                              "belongs to an event");
        return;
    }
    delete key_value_set;
}

gboolean ax_event_key_value_set_add_key_value(AXEventKeyValueSet* key_value_set, const gchar* key,
                                              const gchar* name_space, gconstpointer value,
                                              AXEventValueType value_type, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        put(changeableSet(key_value_set).entries, keyText(key), name_space, value, value_type);
    });
}

gboolean ax_event_key_value_set_add_key_values(AXEventKeyValueSet* key_value_set, GError** error,
                                               ...) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    va_list arguments;
    va_start(arguments, error);
    // All of the keys are added, or none.
    const gboolean result = run(error, [&] {
        AXEventKeyValueSet& set = changeableSet(key_value_set);
        KeyEntries entries = set.entries;
        while (const gchar* const key = va_arg(arguments, const gchar*)) {
            const gchar* const nameSpace = va_arg(arguments, const gchar*);
            const gconstpointer value = va_arg(arguments, gconstpointer);
            const int type = va_arg(arguments, int);
            put(entries, keyText(key), nameSpace, value, type);
        }
        set.entries.swap(entries);
    });
    va_end(arguments);
    return result;
}

gboolean ax_event_key_value_set_mark_as_source(AXEventKeyValueSet* key_value_set, const gchar* key,
                                               const gchar* name_space, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        requireKey(changeableSet(key_value_set).entries, key, name_space).isSource = true;
    });
}

gboolean ax_event_key_value_set_mark_as_data(AXEventKeyValueSet* key_value_set, const gchar* key,
                                             const gchar* name_space, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        requireKey(changeableSet(key_value_set).entries, key, name_space).isData = true;
    });
}

gboolean ax_event_key_value_set_mark_as_user_defined(AXEventKeyValueSet* key_value_set,
                                                     const gchar* key, const gchar* name_space,
                                                     const gchar* user_tag, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        KeyEntry& entry = requireKey(changeableSet(key_value_set).entries, key, name_space);
        entry.userTags.emplace_back(requireArgument(user_tag, "the tag"));
    });
}

gboolean ax_event_key_value_set_add_nice_names(AXEventKeyValueSet* key_value_set, const gchar* key,
                                               const gchar* name_space, const gchar* key_nice_name,
                                               const gchar* value_nice_name, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        KeyEntry& entry = requireKey(changeableSet(key_value_set).entries, key, name_space);
        entry.keyNiceName = optionalText(key_nice_name);
        entry.valueNiceName = optionalText(value_nice_name);
    });
}

gboolean ax_event_key_value_set_get_value_type(const AXEventKeyValueSet* key_value_set,
                                               const gchar* key, const gchar* name_space,
                                               AXEventValueType* value_type, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const KeyEntry& entry =
            requireKey(hostcam::checkedSet(key_value_set).entries, key, name_space);
        *requireArgument(value_type, "the place for the type") = entry.type;
    });
}

gboolean ax_event_key_value_set_get_integer(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space, gint* value,
                                            GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const gint held = requireValue<gint>(key_value_set, key, name_space);
        *requireArgument(value, "the place for the value") = held;
    });
}

gboolean ax_event_key_value_set_get_boolean(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space,
                                            gboolean* value, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const bool held = requireValue<bool>(key_value_set, key, name_space);
        *requireArgument(value, "the place for the value") = held ? TRUE : FALSE;
    });
}

gboolean ax_event_key_value_set_get_double(const AXEventKeyValueSet* key_value_set,
                                           const gchar* key, const gchar* name_space,
                                           gdouble* value, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const gdouble held = requireValue<gdouble>(key_value_set, key, name_space);
        *requireArgument(value, "the place for the value") = held;
    });
}

gboolean ax_event_key_value_set_get_string(const AXEventKeyValueSet* key_value_set,
                                           const gchar* key, const gchar* name_space, gchar** value,
                                           GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const auto& held = requireValue<std::string>(key_value_set, key, name_space);
        *requireArgument(value, "the place for the value") = g_strdup(held.c_str());
    });
}

gboolean ax_event_key_value_set_get_element(const AXEventKeyValueSet* key_value_set,
                                            const gchar* key, const gchar* name_space,
                                            AXEventElementItem** value, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        const auto& held =
            requireValue<std::shared_ptr<const AXEventElementItem>>(key_value_set, key, name_space);
        requireArgument(value, "the place for the value");
        *value = hostcam::copyOf(*held).release();
    });
}

gboolean ax_event_key_value_set_remove_key(AXEventKeyValueSet* key_value_set, const gchar* key,
                                           const gchar* name_space, GError** error) {
    if (hostcam::mustFail(__func__, AX_EVENT_ERROR, error)) {
        return FALSE;
    }
    return run(error, [&] {
        KeyEntries& entries = changeableSet(key_value_set).entries;
        const KeyEntry& entry = requireKey(entries, key, name_space);
        entries.erase(entries.begin() + (&entry - entries.data()));
    });
}
