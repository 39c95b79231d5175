/* The error domain of the parameter interface. */
#ifndef AXSDK_AX_PARAMETER_ERROR_H
#define AXSDK_AX_PARAMETER_ERROR_H

#include <glib.h>

G_BEGIN_DECLS

#define AX_PARAMETER_ERROR (ax_parameter_error_quark())

/** The domain of every error that an ax_parameter function sets. */
GQuark ax_parameter_error_quark(void);

typedef enum {
    AX_PARAMETER_INVALID_ARG_ERROR = 0,  /* a null or empty argument, a handle that is not open */
    AX_PARAMETER_FILE_FD_ERROR = 1,      /* the parameter file: no descriptor */
    AX_PARAMETER_FILE_LOCK_ERROR = 2,    /* ... is locked by another process */
    AX_PARAMETER_FILE_OPEN_ERROR = 3,    /* ... cannot be opened or read */
    AX_PARAMETER_FILE_FORMAT_ERROR = 4,  /* ... or the configuration is not understood */
    AX_PARAMETER_FILE_CREATE_ERROR = 5,  /* ... cannot be created */
    AX_PARAMETER_FILE_WRITE_ERROR = 6,   /* ... cannot be written */
    AX_PARAMETER_FILE_LINK_ERROR = 7,    /* ... cannot be linked */
    AX_PARAMETER_PARAM_LIST_ERROR = 8,   /* the parameters cannot be listed */
    AX_PARAMETER_PARAM_GET_ERROR = 9,    /* the parameter cannot be read */
    AX_PARAMETER_PARAM_PATH_ERROR = 10,  /* the name is none, or not of this application */
    AX_PARAMETER_PARAM_SYNC_ERROR = 11,  /* the parameter system cannot be called now */
    AX_PARAMETER_PARAM_EXIST_ERROR = 12, /* there is NO such parameter */
    AX_PARAMETER_PARAM_ADDED_ERROR = 13, /* the parameter is there already */
    AX_PARAMETER_PARAM_READ_GROUP_ERROR = 14, /* the group cannot be read */
    AX_PARAMETER_PARAM_SET_ERROR = 15,        /* the parameter must not be changed */
    AX_PARAMETER_DBUS_SETUP_ERROR = 16,       /* no connection to the parameter system */
    AX_PARAMETER_FILE_UNLINK_ERROR = 17,      /* the parameter file cannot be removed */
    AX_PARAMETER_FILE_PATH_ERROR = 18,        /* ... its folder cannot be made */
    AX_PARAMETER_FILE_SYNC_ERROR = 19,        /* ... cannot be brought to the disk */
    AX_PARAMETER_FILE_RENAME_ERROR = 20       /* ... cannot be put in place */
} AXParameterErrorCode;

G_END_DECLS

#endif
