/* The platform's headers are C: an application in C compiles against each of them. */

#include <axoverlay.h>
#include <axsdk/axevent.h>
#include <axsdk/axparameter.h>
#include <vdo-buffer.h>
#include <vdo-channel.h>
#include <vdo-error.h>
#include <vdo-frame.h>
#include <vdo-map.h>
#include <vdo-stream.h>
#include <vdo-types.h>

/* Plain names, as a C application writes them. */
struct axoverlay_settings platform_headers_settings;
enum axoverlay_stream_type platform_headers_stream_type;
