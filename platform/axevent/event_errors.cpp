#include "platform/axevent/event_errors.h"

#include "platform/hostcam/misuse.h"

GQuark ax_event_error_quark(void) {
    return g_quark_from_static_string("ax-event-error-quark");
}

namespace hostcam {

gboolean runEventCall(GError** error, AXEventErrorCode otherwise,
                      const std::function<void()>& body) {
    try {
        body();
        return TRUE;
    } catch (const EventFailure& failure) {
        g_set_error_literal(error, AX_EVENT_ERROR, failure.code(), failure.what());
    } catch (const std::exception& problem) {
        // The journal or the configuration: the caller's own message may not tell which.
        warnUnlessRepeated(problem.what());
        g_set_error_literal(error, AX_EVENT_ERROR, otherwise, problem.what());
    }
    return FALSE;
}

} // namespace hostcam
