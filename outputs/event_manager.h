#pragma once

// The application's events on the camera's event system: the stateful alert and the stateless list
// of marker ids. The manager declares each event once, remembers its declaration and its started
// state by the event's friendly name, and sends an event when that state changes.
//
// Any thread: the analysis tick (main loop) drives the automatic state and the data event, the web
// service (web thread) the manual state. See the members for the locks.

#include <map>
#include <mutex>
#include <string>

#include <axsdk/axevent.h>

class EventManager {
  public:
    /// Opens the event system. Logs "EventManager constructor".
    EventManager();

    /// Undeclares every registered event, with a log line before and after each, and leaves the
    /// event system.
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    /// The name without its non-alphanumeric characters: "Zerith Markers Alert" gives
    /// "ZerithMarkersAlert". It is the last level of the event's topic.
    [[nodiscard]] static std::string friendlyToKey(const std::string& name);

    /// Declares a stateful event with one boolean value, "active", initially false, and registers
    /// it. Logs the declaration's id, or "Error creating key value set for event " + name (then
    /// nothing is registered), or "Failed to declare event " + name (then it is registered without
    /// an id).
    /// @param name the event's friendly name
    void addEvent(const std::string& name);

    /// Declares the stateless event "Zerith Markers Data" with one text value, "payload"; otherwise
    /// like addEvent().
    void addDataEvent();

    /// Remembers a declaration: the event counts as not started automatically. Its manual state
    /// stays.
    /// @param id the declaration's id at the event system; 0: none
    void registerEvent(const std::string& name, unsigned id);

    /// The declaration's id. An unknown name becomes known with id 0.
    [[nodiscard]] unsigned getDeclarationID(const std::string& name);

    // The automatic state, driven by every analysis tick. A call that changes the state logs a
    // warning and sends the event; any other does nothing. A failed send changes the state all the
    // same: the failure is in the log, and the next change sends again.

    void sendEventStarted(std::string& name);
    void sendEventStopped(std::string& name);

    // The manual state, driven from the web page.
    // Deliberate: it is independent of the automatic one. Both send the same event, so a manual
    // start followed by an automatic stop sends active and then inactive, and leaves the manual
    // state on.

    void sendEventStartedManually(std::string& name);
    void sendEventStoppedManually(std::string& name);

    /// The two states. An unknown name becomes known as not started.
    [[nodiscard]] bool isEventStarted(const std::string& name);
    [[nodiscard]] bool isEventStartedManually(const std::string& name);

    /// Sends the stateful event, whatever its state. Failures are logged: "No declaration for event
    /// "
    /// + name, "Failed to add active key value to event " + name, "Failed to send event " + name +
    /// " activeValue=" + 1 or 0.
    void sendEvent(const std::string& name, bool active);

    /// Sends the data event, also when the text is the one sent before. Failures are logged as
    /// sendEvent() does, without the value.
    /// @param text the payload, UTF-8
    void sendDataEvent(std::string& text);

    /// The event system's handle; owned. Its functions may be called from any thread.
    AXEventHandler* m_pHandler;
    std::map<std::string, unsigned int> m_eventDeclarationIDs; ///< by friendly name; m_mapsMutex
    std::map<std::string, bool> m_eventStarted;                ///< automatic state; m_mapsMutex
    std::map<std::string, bool> m_eventStartedManually;        ///< manual state; m_mapsMutex

  private:
    using StateMap = std::map<std::string, bool>;

    void changeState(StateMap& started, std::mutex& changing, const std::string& name, bool active,
                     const std::string& logText);
    [[nodiscard]] bool isStarted(StateMap& started, const std::string& name);
    void declareAndRegister(const std::string& caller, const std::string& name,
                            AXEventKeyValueSet* set, bool isStateless);

    std::mutex m_mapsMutex; ///< guards the maps; never held across a platform call or a log line

    // One lock for each kind of state. It is held from the test of the state until its new value is
    // stored, the send included, so that the events reach the event system in the order in which
    // the state changes, whoever calls. There are two of them so that a tick never waits for a send
    // from the web page.
    std::mutex m_automaticChange;
    std::mutex m_manualChange;
};

/// The process's event manager. Created by start-up before the web-service thread and never
/// deleted, so that a request under way at exit still finds it. Defined in core/app_main.cpp.
extern EventManager* g_EventManager;
