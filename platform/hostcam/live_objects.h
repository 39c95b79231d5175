#pragma once

// Which of the objects that the libraries have handed out are alive. A handle that a caller passes
// in is looked up here before it is used, so that one that was freed, or never was one, gives an
// error instead of a crash; and a test can count what the application has not given back.
//
// Addresses are kept in a form in which a leak checker does not recognise them, so an object that
// nobody else refers to still counts as leaked. All functions may be called from any thread.

#include <cstddef>

namespace hostcam {

/// The kinds of objects.
enum class Kind { Parameter, EventHandler, EventKeyValueSet, EventElementItem, Event };

/// Says that an object was made.
void addLive(Kind kind, const void* object);

/// Says that an object goes away. @return false when it was none of that kind
bool removeLive(Kind kind, const void* object);

/// Whether this is an object of that kind. False for null.
[[nodiscard]] bool isLive(Kind kind, const void* object);

/// How many objects of a kind there are.
[[nodiscard]] std::size_t liveCount(Kind kind);

} // namespace hostcam
