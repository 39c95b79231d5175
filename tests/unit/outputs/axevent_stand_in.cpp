#include "tests/unit/outputs/axevent_stand_in.h"

#include <cstdarg>
#include <mutex>
#include <set>
#include <utility>

#include <axsdk/axevent.h>

struct _AXEventHandler {
    int magic = 4711;
};
struct _AXEventElementItem {
    std::string name;
};
struct _AXEventKeyValueSet {
    std::string content;
};
struct _AXEvent {
    std::string content;
};

namespace {

struct State {
    std::vector<std::string> calls;
    std::set<std::string> failing;
    std::vector<long long> timeStamps;
    std::vector<long long> timeZones;
    std::function<void()> onSend;
    guint lastId = 0;
    guint idOnFailure = 0;
    int live = 0;
};

State s_state;
std::mutex s_mutex; // guards s_state where several threads may call

/// Writes a call down. @return whether it succeeds
bool called(const char* function, const std::string& arguments = "") {
    const std::lock_guard lock(s_mutex);
    s_state.calls.push_back(arguments.empty() ? function : function + (" " + arguments));
    return s_state.failing.count(function) == 0;
}

template <typename T>
T* created(bool succeeds) {
    if (!succeeds) {
        return nullptr;
    }
    const std::lock_guard lock(s_mutex);
    ++s_state.live;
    return new T;
}

template <typename T>
void released(T* object) {
    const std::lock_guard lock(s_mutex);
    --s_state.live;
    delete object;
}

std::string describe(const gchar* key, const gchar* nameSpace, gconstpointer value,
                     AXEventValueType type) {
    std::string text = std::string(key) + "@" + (nameSpace == nullptr ? "none" : nameSpace) + "=";
    if (value == nullptr) {
        return text + "null";
    }
    if (type == AX_VALUE_TYPE_BOOL) {
        return text + (*static_cast<const gboolean*>(value) == TRUE ? "bool:TRUE" : "bool:FALSE");
    }
    return text + "string:" + static_cast<const gchar*>(value);
}

} // namespace

namespace axevent_stand_in {

const std::vector<std::string>& calls() {
    return s_state.calls;
}

std::vector<std::string> callsOf(const std::string& function) {
    std::vector<std::string> found;
    for (const std::string& call : s_state.calls) {
        if (call.substr(0, call.find(' ')) == function) {
            found.push_back(call);
        }
    }
    return found;
}

void reset() {
    const int live = s_state.live;
    s_state = State{};
    s_state.live = live;
}

void fail(const std::string& function) {
    s_state.failing.insert(function);
}

void leaveIdOnFailure(unsigned id) {
    s_state.idOnFailure = id;
}

int live() {
    return s_state.live;
}

std::vector<long long> timeStamps() {
    return s_state.timeStamps;
}

std::vector<long long> timeZones() {
    return s_state.timeZones;
}

void onSend(std::function<void()> function) {
    s_state.onSend = std::move(function);
}

} // namespace axevent_stand_in

AXEventHandler* ax_event_handler_new(void) {
    return created<AXEventHandler>(called("ax_event_handler_new"));
}

void ax_event_handler_free(AXEventHandler* event_handler) {
    called("ax_event_handler_free");
    released(event_handler);
}

gboolean ax_event_handler_declare(AXEventHandler* event_handler, AXEventKeyValueSet* key_value_set,
                                  gboolean stateless, guint* declaration,
                                  AXDeclarationCompleteCallback callback, gpointer user_data,
                                  GError** /*error*/) {
    const bool succeeds = called(
        "ax_event_handler_declare",
        std::string(stateless == TRUE ? "stateless" : "stateful") + key_value_set->content +
            (callback == nullptr ? "" : " callback") + (user_data == nullptr ? "" : " data"));
    *declaration = succeeds ? ++s_state.lastId : s_state.idOnFailure;
    return succeeds && event_handler->magic == 4711 ? TRUE : FALSE;
}

gboolean ax_event_handler_undeclare(AXEventHandler* event_handler, guint declaration,
                                    GError** /*error*/) {
    return called("ax_event_handler_undeclare", std::to_string(declaration)) &&
                   event_handler->magic == 4711
               ? TRUE
               : FALSE;
}

gboolean ax_event_handler_send_event(AXEventHandler* event_handler, guint declaration,
                                     AXEvent* event, GError** /*error*/) {
    if (s_state.onSend) {
        s_state.onSend();
    }
    return called("ax_event_handler_send_event", std::to_string(declaration) + event->content) &&
                   event_handler->magic == 4711
               ? TRUE
               : FALSE;
}

AXEvent* ax_event_new2(AXEventKeyValueSet* key_value_set, GDateTime* time_stamp) {
    auto* const event = created<AXEvent>(called("ax_event_new2"));
    if (event != nullptr) {
        event->content = key_value_set->content;
        const std::lock_guard lock(s_mutex);
        s_state.timeStamps.push_back(g_date_time_to_unix(time_stamp) * 1000000LL +
                                     g_date_time_get_microsecond(time_stamp));
        s_state.timeZones.push_back(g_date_time_get_utc_offset(time_stamp) / G_TIME_SPAN_SECOND);
    }
    return event;
}

void ax_event_free(AXEvent* event) {
    called("ax_event_free");
    released(event);
}

AXEventKeyValueSet* ax_event_key_value_set_new(void) {
    return created<AXEventKeyValueSet>(called("ax_event_key_value_set_new"));
}

void ax_event_key_value_set_free(AXEventKeyValueSet* key_value_set) {
    called("ax_event_key_value_set_free");
    released(key_value_set);
}

gboolean ax_event_key_value_set_add_key_value(AXEventKeyValueSet* key_value_set, const gchar* key,
                                              const gchar* name_space, gconstpointer value,
                                              AXEventValueType value_type, GError** /*error*/) {
    const std::string added = describe(key, name_space, value, value_type);
    if (!called("ax_event_key_value_set_add_key_value", added)) {
        return FALSE;
    }
    key_value_set->content += " " + added;
    return TRUE;
}

gboolean ax_event_key_value_set_add_key_values(AXEventKeyValueSet* key_value_set, GError** error,
                                               ...) {
    std::string added;
    va_list arguments;
    va_start(arguments, error);
    while (const auto* const key = va_arg(arguments, const gchar*)) {
        const auto* const nameSpace = va_arg(arguments, const gchar*);
        const auto* const value = va_arg(arguments, gconstpointer);
        const auto type = static_cast<AXEventValueType>(va_arg(arguments, int));
        added += " " + describe(key, nameSpace, value, type);
    }
    va_end(arguments);
    if (!called("ax_event_key_value_set_add_key_values", added.substr(1))) {
        return FALSE;
    }
    key_value_set->content += added;
    return TRUE;
}

gboolean ax_event_key_value_set_mark_as_data(AXEventKeyValueSet* /*key_value_set*/,
                                             const gchar* key, const gchar* name_space,
                                             GError** /*error*/) {
    return called("ax_event_key_value_set_mark_as_data",
                  std::string(key) + "@" + (name_space == nullptr ? "none" : name_space))
               ? TRUE
               : FALSE;
}

gboolean ax_event_key_value_set_add_nice_names(AXEventKeyValueSet* /*key_value_set*/,
                                               const gchar* key, const gchar* name_space,
                                               const gchar* key_nice_name,
                                               const gchar* value_nice_name, GError** /*error*/) {
    return called("ax_event_key_value_set_add_nice_names", std::string(key) + "@" + name_space +
                                                               " '" + key_nice_name + "' '" +
                                                               value_nice_name + "'")
               ? TRUE
               : FALSE;
}

AXEventElementItem* ax_event_element_item_new(const gchar* name, const gchar* /*name_space*/) {
    return created<AXEventElementItem>(called("ax_event_element_item_new", name));
}

void ax_event_element_item_free(AXEventElementItem* node) {
    called("ax_event_element_item_free");
    released(node);
}
