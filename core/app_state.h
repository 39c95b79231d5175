#pragma once

// The plain variables of the start-up module that other modules read or write. They are defined in
// core/app_main.cpp. Those that start-up sets before it creates the web-service thread are constant
// afterwards; the others are shared between threads and accessed through core/shared_state.h.

#include <glib.h>

/// Application status code that the web page shows. Written by start-up and the tick (main thread)
/// and by the web-service thread when it cannot start; read by the web service and the overlay.
/// Shared.
extern int g_StatusCode;

/// Duration of the last analysis step in milliseconds. Written by the tick; read by all. Shared.
extern int g_ExecutionTime;

/// GLib source id of the analysis timer; 0 when there is none. Written by start-up and by the
/// SIGTERM handler. Shared.
extern guint g_ThreadID;

/// Analysis timer period in milliseconds. Never written after load.
extern int g_main_loop_time;

/// Size of the analysis stream as the viewer sees it, in pixels. Written once by start-up.
extern int g_AnalysisStreamWidth;
extern int g_AnalysisStreamHeight;

/// Size of the overlay coordinate space, in pixels. Written once by start-up.
extern int g_ApplicationStreamWidth;
extern int g_ApplicationStreamHeight;

/// Whether the camera's rotation is 90 or 270 degrees. Written once by start-up.
extern bool g_IsPortrait;

/// Whether the image sensor's aspect ratio is anything but "4:3". Written once by start-up.
extern bool g_SensorIs16x9;

/// Declared for the size of a model; nothing reads or writes them.
extern int g_modelWidth;
extern int g_modelHeight;
