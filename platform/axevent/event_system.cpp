#include "platform/axevent/event_system.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "platform/axevent/event_errors.h"
#include "platform/hostcam/event_publisher.h"

namespace hostcam {
namespace {

constexpr std::string_view kTopic = "topic";

bool isTopicKey(const KeyEntry& entry) {
    const std::string_view key = entry.key;
    return key.size() > kTopic.size() && key.starts_with(kTopic) &&
           key.find_first_not_of("0123456789", kTopic.size()) == std::string_view::npos;
}

[[noreturn]] void refuseDeclaration(const std::string& text) {
    throw EventFailure(AX_EVENT_ERROR_DECLARATION, text);
}

TopicPart topicPart(const KeyEntry& entry) {
    const auto* const name = std::get_if<std::string>(&entry.value);
    const auto isForbidden = [](char c) {
        return c == '/' || c == ':' || static_cast<unsigned char>(c) <= ' ' || c == 0x7F;
    };
    if (name == nullptr || name->empty() || std::any_of(name->begin(), name->end(), isForbidden)) {
        refuseDeclaration("the topic key " + labelOf(entry) +
                          " needs a text without blanks, '/' and ':'");
    }
    return {entry.nameSpace.value_or(""), *name};
}

/// The keys topic0, topic1, ... in the order of their numbers.
std::vector<TopicPart> topicOf(const KeyEntries& entries) {
    std::vector<TopicPart> topic;
    const auto count = std::count_if(entries.begin(), entries.end(), isTopicKey);
    for (std::ptrdiff_t level = 0; level < count; ++level) {
        const std::string key = std::string(kTopic) + std::to_string(level);
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [&](const KeyEntry& entry) { return entry.key == key; });
        if (found == entries.end()) {
            refuseDeclaration("the event's topic is not whole: there is no key " + key);
        }
        topic.push_back(topicPart(*found));
    }
    if (topic.empty()) {
        refuseDeclaration("the event has no topic: there is no key topic0");
    }
    return topic;
}

std::string formatted(GDateTime* time, const char* format) {
    gchar* const raw = g_date_time_format(time, format);
    std::string text = raw == nullptr ? "" : raw;
    g_free(raw);
    return text;
}

/// 2026-01-01T12:00:00.000+00:00, in the time's own zone.
std::string timeText(GDateTime* time) {
    const std::string thousandths = std::to_string(1000 + g_date_time_get_microsecond(time) / 1000);
    return formatted(time, "%Y-%m-%dT%H:%M:%S") + "." + thousandths.substr(1) +
           formatted(time, "%:z");
}

bool matches(const KeyEntries& filter, const KeyEntries& entries) {
    return std::all_of(filter.begin(), filter.end(), [&](const KeyEntry& wanted) {
        const KeyEntry* const entry = findKey(entries, wanted.key, wanted.nameSpace);
        return entry != nullptr && (!wanted.hasValue() || sameValue(wanted.value, entry->value));
    });
}

EventFailure incompatible(const KeyEntry& key, const std::string& text) {
    return {AX_EVENT_ERROR_INCOMPATIBLE_VALUE, "the key " + labelOf(key) + " " + text};
}

} // namespace

Declaration makeDeclaration(const KeyEntries& entries, bool stateful) {
    Declaration declaration;
    declaration.topic = topicOf(entries);
    declaration.stateful = stateful;
    declaration.entries = entries;
    declaration.time = DateTime(g_date_time_new_now_local());
    for (const KeyEntry& entry : entries) {
        if (stateful && !entry.hasValue()) {
            refuseDeclaration("the key " + labelOf(entry) + " of a state needs its initial value");
        }
    }
    return declaration;
}

KeyEntries sentEntries(const Declaration& declaration, const KeyEntries& event) {
    KeyEntries result = declaration.entries;
    for (KeyEntry& entry : result) {
        if (isTopicKey(entry)) {
            continue; // the topic is the declaration's
        }
        if (const KeyEntry* const sent = findKey(event, entry.key, entry.nameSpace)) {
            if (sent->type != entry.type) {
                throw incompatible(entry, "is of another type than was declared");
            }
            entry.value = sent->value;
        } else if (entry.isData) {
            throw incompatible(entry, "is declared as data and missing in the event");
        }
        if (!entry.hasValue()) {
            throw incompatible(entry, "has no value in the event");
        }
    }
    return result;
}

EventRecord makeRecord(EventRecord::What what, const Declaration& declaration,
                       const KeyEntries& entries, GDateTime* time) {
    EventRecord record;
    record.what = what;
    record.topic = declaration.topic;
    record.milliseconds =
        g_date_time_to_unix(time) * 1000 + g_date_time_get_microsecond(time) / 1000;
    record.time = timeText(time);
    record.stateful = declaration.stateful;
    for (const KeyEntry& entry : entries) {
        if (!isTopicKey(entry)) {
            EventFields& fields = entry.isSource ? record.source : record.data;
            fields.emplace_back(labelOf(entry), toEventValue(entry.value));
        }
    }
    return record;
}

EventSystem& EventSystem::instance() {
    static auto* const system = new EventSystem;
    return *system;
}

EventSystem::Handler EventSystem::addHandler() {
    const std::lock_guard lock(m_mutex);
    m_handlers.try_emplace(m_nextHandler);
    return m_nextHandler++;
}

void EventSystem::removeHandler(Handler handler) {
    Tables tables;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_handlers.find(handler);
        if (found == m_handlers.end()) {
            return;
        }
        tables = std::move(found->second);
        m_handlers.erase(found);
    }
    for (const auto& [id, declaration] : tables.declarations) {
        declaration.gate->close();
    }
    for (const auto& [id, subscription] : tables.subscriptions) {
        subscription.gate->close();
    }
}

EventSystem::Tables& EventSystem::tablesUnlocked(Handler handler) {
    const auto found = m_handlers.find(handler);
    if (found == m_handlers.end()) {
        throw EventFailure(AX_EVENT_ERROR_INVALID_ARGUMENT, "the event handler was freed");
    }
    return found->second;
}

guint EventSystem::declare(Handler handler, Declaration declaration,
                           AXDeclarationCompleteCallback callback, gpointer userData) {
    const std::lock_guard order(m_order);
    publishEvent(makeRecord(EventRecord::What::Declared, declaration, declaration.entries,
                            declaration.time.get()));
    const std::lock_guard lock(m_mutex);
    Tables& tables = tablesUnlocked(handler);
    const guint id = tables.nextDeclaration++;
    const Declaration& kept = tables.declarations.emplace(id, std::move(declaration)).first->second;
    if (callback != nullptr) {
        postToMainContext(kept.gate, [callback, id, userData] { callback(id, userData); });
    }
    if (kept.stateful) {
        deliverUnlocked(kept.entries, kept.time.get());
    }
    return id;
}

bool EventSystem::undeclare(Handler handler, guint id) {
    std::shared_ptr<CallbackGate> gate;
    {
        const std::lock_guard lock(m_mutex);
        auto& declarations = tablesUnlocked(handler).declarations;
        const auto found = declarations.find(id);
        if (found == declarations.end()) {
            return false;
        }
        gate = found->second.gate;
        declarations.erase(found);
    }
    gate->close();
    return true;
}

void EventSystem::send(Handler handler, guint id, const AXEvent& event) {
    const std::lock_guard order(m_order);
    KeyEntries entries;
    EventRecord record;
    {
        const std::lock_guard lock(m_mutex);
        const auto& declarations = tablesUnlocked(handler).declarations;
        const auto found = declarations.find(id);
        if (found == declarations.end()) {
            throw EventFailure(AX_EVENT_ERROR_SEND,
                               "no event is declared with the id " + std::to_string(id));
        }
        entries = sentEntries(found->second, event.set.entries);
        record = makeRecord(EventRecord::What::Sent, found->second, entries, event.time.get());
    }
    publishEvent(record);
    const std::lock_guard lock(m_mutex);
    // Another thread may have undeclared the event meanwhile, or freed the handler; it is sent.
    if (const auto sender = m_handlers.find(handler); sender != m_handlers.end()) {
        auto& declarations = sender->second.declarations;
        const auto found = declarations.find(id);
        if (found != declarations.end() && found->second.stateful) {
            found->second.entries = entries;
            found->second.time = DateTime(g_date_time_ref(event.time.get()));
        }
    }
    deliverUnlocked(entries, event.time.get());
}

guint EventSystem::subscribe(Handler handler, Subscription subscription) {
    const std::lock_guard lock(m_mutex);
    Tables& tables = tablesUnlocked(handler);
    const guint id = tables.nextSubscription++;
    const Subscription& kept =
        tables.subscriptions.emplace(id, std::move(subscription)).first->second;
    for (const auto& [other, its] : m_handlers) {
        for (const auto& [number, declaration] : its.declarations) {
            if (declaration.stateful && matches(kept.filter, declaration.entries)) {
                deliver(id, kept, declaration.entries, declaration.time.get());
            }
        }
    }
    return id;
}

bool EventSystem::unsubscribe(Handler handler, guint id) {
    std::shared_ptr<CallbackGate> gate;
    {
        const std::lock_guard lock(m_mutex);
        auto& subscriptions = tablesUnlocked(handler).subscriptions;
        const auto found = subscriptions.find(id);
        if (found == subscriptions.end()) {
            return false;
        }
        gate = found->second.gate;
        subscriptions.erase(found);
    }
    gate->close();
    return true;
}

void EventSystem::deliverUnlocked(const KeyEntries& entries, GDateTime* time) {
    for (const auto& [handler, tables] : m_handlers) {
        for (const auto& [id, subscription] : tables.subscriptions) {
            if (matches(subscription.filter, entries)) {
                deliver(id, subscription, entries, time);
            }
        }
    }
}

void EventSystem::deliver(guint id, const Subscription& subscription, const KeyEntries& entries,
                          GDateTime* time) {
    const std::shared_ptr<GDateTime> kept(g_date_time_ref(time), g_date_time_unref);
    postToMainContext(subscription.gate, [callback = subscription.callback,
                                          userData = subscription.userData, id, entries, kept] {
        auto event = std::make_unique<AXEvent>(entries, DateTime(g_date_time_ref(kept.get())));
        callback(id, event.release(), userData);
    });
}

} // namespace hostcam
