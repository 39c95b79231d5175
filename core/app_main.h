#pragma once

// The start-up module: it owns the process-wide objects, brings them up in a fixed order, starts
// the web-service thread and then drives the analysis from a timer of the GLib main loop. It ends
// on SIGTERM.
//
// Everything here runs on the main thread, except webservices_thread_fcn() and, in programs that
// leave SIGTERM open on other threads, handle_sigterm().
//
// SIGTERM: main() blocks it on the main thread, and so on every thread that follows, and opens it
// only at points of start-up where no lock is held and while the main loop waits for its next
// event. So the handler never interrupts code that holds a lock which the handler needs (the
// allocator's, GLib's, the log's).

#include <string>

#include <glib.h>

#include "core/app_state.h"

/// Installs the two signal dispositions: SIGPIPE ignored, SIGTERM to handle_sigterm().
void init_signals();

/// Ends the program: removes the analysis timer and quits the main loop, or exits with status 1
/// when there is no main loop yet.
/// @param signal not looked at
void handle_sigterm(int signal);

/// Opens the camera's parameters and loads the settings, the areas of interest and g_IsPortrait
/// from them. Settings that cannot be loaded are logged at error level and stay all zero and empty:
/// nobody has then accepted the agreement, and the web page can mend what is stored.
void init_parameter_controller();

/// Sets g_SensorIs16x9 and logs "Image sensor aspect ratio: " with the camera's answer.
void init_sensor_aspect_ratio();

/// Creates the overlay manager and tells it the stream sizes. A stored overlay size that is none is
/// logged at error level and switches the overlay stream off.
void init_overlay_manager();

/// Creates the event manager and declares the application's two events.
void init_event_manager();

/// Resets the analysis state.
/// @param maxDisappeared ticks that the tracker keeps a marker that is not seen
void init_logic(int maxDisappeared);

/// Body of the web-service thread: serves requests for the rest of the process's life. Logs "Failed
/// to init fastcgi service" and sets status 50 when it cannot. *Web thread.*
/// @return null
void* webservices_thread_fcn(void* argument);

/// Timer callback: one analysis step. What it throws is logged at error level.
/// @return TRUE, so that the timer stays
gboolean thread_function(gpointer data);

/// One analysis step: takes a frame, finds and tracks the markers, decides on the alert, has the
/// overlays drawn, and sets the status code.
/// @return 0 when it ran; 1 when it was skipped, because the agreement has not been accepted
/// (status 408)
///         or there is no frame source (logged, status unchanged)
int do_one_analysis();

/// Writes one line with the machine's total and free memory to the log.
/// @param prefix begins the line
void logMemoryUsage(const std::string& prefix);
