#pragma once

// Stands in for the event system at link time: the functions that EventManager calls and no others.
// It writes down every call with its arguments, fails the calls it is told to, and counts what was
// handed out and not released. Its calls may come from several threads; what the test asks may not
// overlap with them.

#include <functional>
#include <string>
#include <vector>

namespace axevent_stand_in {

/// Every call since reset(), in order, for example
/// "ax_event_key_value_set_mark_as_data active" or "ax_event_handler_undeclare 3".
[[nodiscard]] const std::vector<std::string>& calls();

/// Only the calls of one function.
[[nodiscard]] std::vector<std::string> callsOf(const std::string& function);

/// Forgets the calls and the planned failures; the next declaration gets the id 1.
void reset();

/// Makes every later call of a function fail: false, or null.
void fail(const std::string& function);

/// What a failing ax_event_handler_declare() leaves in its id.
void leaveIdOnFailure(unsigned id);

/// Handlers, sets, items and events that are not released.
[[nodiscard]] int live();

/// Time stamps that events were made with, in microseconds since 1970.
[[nodiscard]] std::vector<long long> timeStamps();

/// How far east of Greenwich the zone of each of these time stamps lies, in seconds.
[[nodiscard]] std::vector<long long> timeZones();

/// Has a function called in every ax_event_handler_send_event(), until reset().
void onSend(std::function<void()> function);

} // namespace axevent_stand_in
