/* Video stream service: what its calls fail with. */
#ifndef VDO_ERROR_H
#define VDO_ERROR_H

#include <glib-object.h>

G_BEGIN_DECLS

#define VDO_ERROR (vdo_error_quark())

typedef enum {
    VDO_ERROR_NOT_FOUND = 1,
    VDO_ERROR_EXISTS = 2,
    VDO_ERROR_INVALID_ARGUMENT = 3,
    VDO_ERROR_PERMISSION_DENIED = 4,
    VDO_ERROR_NOT_SUPPORTED = 5,
    VDO_ERROR_CLOSED = 6,
    VDO_ERROR_BUSY = 7,
    VDO_ERROR_IO = 8,
    VDO_ERROR_HAL = 9,
    VDO_ERROR_DBUS = 10,
    VDO_ERROR_OOM = 11,
    VDO_ERROR_IDLE = 12, /* deprecated */
    VDO_ERROR_NO_DATA = 13,
    VDO_ERROR_NO_BUFFER_SPACE = 14,
    VDO_ERROR_BUFFER_FAILURE = 15,
    VDO_ERROR_INTERFACE_DOWN = 16,
    VDO_ERROR_FAILED = 17,
    VDO_ERROR_FATAL = 18,
    VDO_ERROR_NOT_CONTROLLED = 19,
    VDO_ERROR_NO_EVENT = 20,
    VDO_ERROR_NO_VIDEO = 21
} VdoError;

GQuark vdo_error_quark(void);

/* Whether the error is passing trouble, to be retried quietly: maintenance, or a closed stream.
 * FALSE for NULL, no error, and errors of other domains. */
gboolean vdo_error_is_expected(GError** error);

/* Whether the camera ran out of something: memory or buffers. FALSE as above. */
gboolean vdo_error_is_resource_limitation(GError** error);

G_END_DECLS

#endif
