#include "outputs/event_manager.h"

#include <cctype>
#include <memory>
#include <utility>

#include "core/Logger.h"
#include "core/handles.h"

namespace {

using KeyValueSet = std::unique_ptr<AXEventKeyValueSet, ReleaseWith<ax_event_key_value_set_free>>;
using ElementItem = std::unique_ptr<AXEventElementItem, ReleaseWith<ax_event_element_item_free>>;
using Event = std::unique_ptr<AXEvent, ReleaseWith<ax_event_free>>;
using DateTime = std::unique_ptr<GDateTime, ReleaseWith<g_date_time_unref>>;

constexpr const char* kDataEventName = "Zerith Markers Data";
constexpr const char* kNamespace = "tnsaxis";
constexpr const char* kTopic0 = "CameraApplicationPlatform";
constexpr const char* kTopic1 = "ZerithMarkersApplication";

// What follows is no reason to give a declaration up: without it the event is declared with fewer
// labels, or the declaration itself is refused, and that is logged.

void nameTopic(AXEventKeyValueSet* set, const char* keyNiceName, const std::string& name) {
    static_cast<void>(ax_event_key_value_set_add_nice_names(set, "topic2", kNamespace, keyNiceName,
                                                            name.c_str(), nullptr));
}

void markAsData(AXEventKeyValueSet* set, const char* key) {
    static_cast<void>(ax_event_key_value_set_mark_as_data(set, key, nullptr, nullptr));
}

void addPlaceholder(AXEventKeyValueSet* set) {
    static_cast<void>(ax_event_key_value_set_add_key_value(set, "payload", nullptr, "placeholder",
                                                           AX_VALUE_TYPE_STRING, nullptr));
}

/// Sends an event with the keys of a set and the present time. @return whether it was taken
bool sendSet(AXEventHandler* handler, unsigned id, KeyValueSet set) {
    // The time stamp outlives the event, which need not hold a reference of its own.
    const DateTime now(g_date_time_new_now_local());
    const Event event(ax_event_new2(set.get(), now.get()));
    const bool sent =
        event != nullptr && ax_event_handler_send_event(handler, id, event.get(), nullptr);
    set.reset();
    return sent;
}

} // namespace

EventManager::EventManager() : m_pHandler(ax_event_handler_new()) {
    g_Logger.info("EventManager: EventManager constructor");
}

EventManager::~EventManager() {
    const std::string caller = "~EventManager: ";
    g_Logger.info(caller + "EventManager destructor called");
    for (const auto& [name, id] : m_eventDeclarationIDs) {
        const std::string which = name + " : DeclarationID=" + std::to_string(id);
        g_Logger.info(caller + "EventManager undeclaring event " + which);
        if (ax_event_handler_undeclare(m_pHandler, id, nullptr)) {
            g_Logger.info(caller + "EventManager destructor successfully undeclared event " +
                          which);
        } else {
            g_Logger.error(caller + "EventManager destructor failed to undeclare event " + which);
        }
    }
    g_Logger.info(caller + "Going to free the event handler");
    ax_event_handler_free(m_pHandler);
    g_Logger.info(caller + "EventManager destructor complete");
}

std::string EventManager::friendlyToKey(const std::string& name) {
    std::string key;
    for (const char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            key += c;
        }
    }
    return key;
}

void EventManager::addEvent(const std::string& name) {
    const std::string topic2 = friendlyToKey(name);
    const gboolean active = FALSE;
    const KeyValueSet set(ax_event_key_value_set_new());
    if (!ax_event_key_value_set_add_key_values(
            set.get(), nullptr, "topic0", kNamespace, kTopic0, AX_VALUE_TYPE_STRING, "topic1",
            kNamespace, kTopic1, AX_VALUE_TYPE_STRING, "topic2", kNamespace, topic2.c_str(),
            AX_VALUE_TYPE_STRING, "active", nullptr, &active, AX_VALUE_TYPE_BOOL, nullptr)) {
        g_Logger.error("addEvent: Error creating key value set for event " + name);
        return;
    }
    markAsData(set.get(), "active");
    nameTopic(set.get(), "Zerith Markers", name);
    declareAndRegister("addEvent", name, set.get(), false);
}

void EventManager::addDataEvent() {
    g_Logger.info("addDataEvent: EventManager::addDataEvent called");
    const std::string name = kDataEventName;
    const std::string topic2 = friendlyToKey(name);
    // Deliberate: the item belongs to the declaration's form but is attached to nothing, so it has
    // no effect on what is declared.
    const ElementItem item(ax_event_element_item_new("analyticdata", nullptr));
    const KeyValueSet set(ax_event_key_value_set_new());
    if (!ax_event_key_value_set_add_key_values(set.get(), nullptr, "topic0", kNamespace, kTopic0,
                                               AX_VALUE_TYPE_STRING, "topic1", kNamespace, kTopic1,
                                               AX_VALUE_TYPE_STRING, "topic2", kNamespace,
                                               topic2.c_str(), AX_VALUE_TYPE_STRING, nullptr)) {
        g_Logger.error("addDataEvent: Error creating key value set for event " + name);
        return;
    }
    addPlaceholder(set.get());
    markAsData(set.get(), "payload");
    // Deliberate: the capital A in the second word. The label differs so from the alert's.
    nameTopic(set.get(), "Zerith MArkers", name);
    declareAndRegister("addDataEvent", name, set.get(), true);
}

void EventManager::declareAndRegister(const std::string& caller, const std::string& name,
                                      AXEventKeyValueSet* set, bool isStateless) {
    guint id = 0;
    if (ax_event_handler_declare(m_pHandler, set, isStateless ? TRUE : FALSE, &id, nullptr, nullptr,
                                 nullptr)) {
        g_Logger.info(caller + ": Successfully declared event " + name +
                      ". Declaration ID=" + std::to_string(id));
    } else {
        g_Logger.error(caller + ": Failed to declare event " + name);
    }
    registerEvent(name, id);
}

void EventManager::registerEvent(const std::string& name, unsigned id) {
    {
        const std::lock_guard lock(m_mapsMutex);
        m_eventDeclarationIDs[name] = id;
        m_eventStarted[name] = false;
    }
    g_Logger.info("registerEvent: EventManager registering event " + name +
                  " to DeclarationID=" + std::to_string(id));
}

unsigned EventManager::getDeclarationID(const std::string& name) {
    const std::lock_guard lock(m_mapsMutex);
    return m_eventDeclarationIDs[name];
}

void EventManager::sendEventStarted(std::string& name) {
    changeState(m_eventStarted, m_automaticChange, name, true, "sendEventStarted: Starting event ");
}

void EventManager::sendEventStopped(std::string& name) {
    changeState(m_eventStarted, m_automaticChange, name, false,
                "sendEventStopped: Stopping event ");
}

void EventManager::sendEventStartedManually(std::string& name) {
    changeState(m_eventStartedManually, m_manualChange, name, true,
                "sendEventStartedManually: Manually Starting event ");
}

void EventManager::sendEventStoppedManually(std::string& name) {
    changeState(m_eventStartedManually, m_manualChange, name, false,
                "sendEventStoppedManually: Manually Stopping event ");
}

void EventManager::changeState(StateMap& started, std::mutex& changing, const std::string& name,
                               bool active, const std::string& logText) {
    const std::lock_guard change(changing);
    if (isStarted(started, name) == active) {
        return;
    }
    g_Logger.warning(logText + name);
    sendEvent(name, active);
    const std::lock_guard lock(m_mapsMutex);
    started[name] = active;
}

bool EventManager::isEventStarted(const std::string& name) {
    return isStarted(m_eventStarted, name);
}

bool EventManager::isEventStartedManually(const std::string& name) {
    return isStarted(m_eventStartedManually, name);
}

bool EventManager::isStarted(StateMap& started, const std::string& name) {
    const std::lock_guard lock(m_mapsMutex);
    return started[name];
}

void EventManager::sendEvent(const std::string& name, bool active) {
    const unsigned id = getDeclarationID(name);
    if (id == 0) {
        g_Logger.error("sendEvent: No declaration for event " + name);
        return;
    }
    const gboolean value = active ? TRUE : FALSE;
    KeyValueSet set(ax_event_key_value_set_new());
    if (!ax_event_key_value_set_add_key_value(set.get(), "active", nullptr, &value,
                                              AX_VALUE_TYPE_BOOL, nullptr)) {
        g_Logger.error("sendEvent: Failed to add active key value to event " + name);
        return;
    }
    if (!sendSet(m_pHandler, id, std::move(set))) {
        g_Logger.error("sendEvent: Failed to send event " + name +
                       " activeValue=" + (active ? "1" : "0"));
    }
}

void EventManager::sendDataEvent(std::string& text) {
    const std::string name = kDataEventName;
    const unsigned id = getDeclarationID(name);
    if (id == 0) {
        g_Logger.error("sendDataEvent: No declaration for event " + name);
        return;
    }
    KeyValueSet set(ax_event_key_value_set_new());
    if (!ax_event_key_value_set_add_key_value(set.get(), "payload", nullptr, text.c_str(),
                                              AX_VALUE_TYPE_STRING, nullptr)) {
        // Deliberate: the words of the alert event, although the key is "payload".
        g_Logger.error("sendDataEvent: Failed to add active key value to event " + name);
        return;
    }
    if (!sendSet(m_pHandler, id, std::move(set))) {
        g_Logger.error("sendDataEvent: Failed to send event " + name);
    }
}
