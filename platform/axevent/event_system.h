#pragma once

// What is declared and subscribed to in this process, for every handler. Events that are sent go to
// the publisher (journal and outside) and to the subscriptions that they match.
//
// All functions may be called from any thread. The tables have a lock that is held for moments
// only; sending and declaring have another, so that journal, states and subscribers see one and the
// same order of events. No callback runs under either.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <axsdk/axevent.h>

#include "platform/axevent/event.h"
#include "platform/axevent/key_value_set.h"
#include "platform/hostcam/event_record.h"
#include "platform/hostcam/main_context.h"

namespace hostcam {

/// A declared event with its present values.
struct Declaration {
    std::vector<TopicPart> topic;
    bool stateful = false;
    KeyEntries entries;
    DateTime time; ///< of the present values
    std::shared_ptr<CallbackGate> gate = std::make_shared<CallbackGate>();
};

struct Subscription {
    KeyEntries filter;
    AXSubscriptionCallback callback = nullptr;
    gpointer userData = nullptr;
    std::shared_ptr<CallbackGate> gate = std::make_shared<CallbackGate>();
};

/// The declaration that a set makes. @throws EventFailure (declaration) for a set without a whole
/// topic, or a state without a value
[[nodiscard]] Declaration makeDeclaration(const KeyEntries& entries, bool stateful);

/// The values of a declared event when it is sent. @throws EventFailure (incompatible value) when a
/// declared key has no value or one of another type
[[nodiscard]] KeyEntries sentEntries(const Declaration& declaration, const KeyEntries& event);

/// What the journal is told. @param entries the values
[[nodiscard]] EventRecord makeRecord(EventRecord::What what, const Declaration& declaration,
                                     const KeyEntries& entries, GDateTime* time);

class EventSystem {
  public:
    /// The one of the process. Never destroyed: handlers may outlive the end of main.
    static EventSystem& instance();

    using Handler = std::uint64_t;

    [[nodiscard]] Handler addHandler();
    /// Callbacks of the handler are not running and will not run when this returns.
    void removeHandler(Handler handler);

    // Everything below with a handler throws EventFailure (invalid argument) when it was freed.

    /// @return the id @throws FileError when the journal cannot be written; nothing is declared
    /// then
    guint declare(Handler handler, Declaration declaration, AXDeclarationCompleteCallback callback,
                  gpointer userData);
    /// @return false when there is no such id
    bool undeclare(Handler handler, guint id);
    /// @throws EventFailure, FileError; nothing is sent then
    void send(Handler handler, guint id, const AXEvent& event);

    guint subscribe(Handler handler, Subscription subscription);
    /// @return false when there is no such id
    bool unsubscribe(Handler handler, guint id);

  private:
    struct Tables {
        std::map<guint, Declaration> declarations;
        std::map<guint, Subscription> subscriptions;
        guint nextDeclaration = 1;
        guint nextSubscription = 1;
    };

    /// A handler's tables. Needs m_mutex held. @throws EventFailure (invalid argument) for a
    /// handler that another thread has freed meanwhile
    Tables& tablesUnlocked(Handler handler);
    void deliverUnlocked(const KeyEntries& entries, GDateTime* time);
    static void deliver(guint id, const Subscription& subscription, const KeyEntries& entries,
                        GDateTime* time);

    std::mutex m_order; ///< held while something is declared or sent; locked before m_mutex
    std::mutex m_mutex; ///< guards what follows
    std::map<Handler, Tables> m_handlers;
    Handler m_nextHandler = 1;
};

} // namespace hostcam
