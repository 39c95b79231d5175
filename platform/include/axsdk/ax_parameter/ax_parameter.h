/*
 * Parameters: named texts that the camera keeps for the application, and those that it has itself.
 *
 * A bare name ("Seconds") means the application's own group; "root.Group.Name" means any parameter
 * of the camera. Every call blocks until it is done. No two calls may run at the same time in one
 * process, and none may be made from a change callback. Where a function takes a GError**, it may
 * be null; a call that fails returns FALSE or null and sets it.
 */
#ifndef AXSDK_AX_PARAMETER_H
#define AXSDK_AX_PARAMETER_H

#include <glib.h>

G_BEGIN_DECLS

typedef struct _AXParameter AXParameter;

/**
 * Told that a parameter has changed, by the default main context's loop.
 * name: the full name, value: the new text; both are borrowed for the call.
 */
typedef void(AXParameterCallback)(const gchar* name, const gchar* value, gpointer data);

/** Opens the application's parameters. app_name: as in the package. Closed with
 * ax_parameter_free(). */
AXParameter* ax_parameter_new(const gchar* app_name, GError** error);

/** Closes the handle; callbacks that were registered with it come no more. */
void ax_parameter_free(AXParameter* parameter);

/**
 * Creates a parameter of the application. initial_value: null means ""; type: null means "string".
 * One that is there already keeps its value: the call fails with AX_PARAMETER_PARAM_ADDED_ERROR.
 */
gboolean ax_parameter_add(AXParameter* parameter, const gchar* name, const gchar* initial_value,
                          const gchar* type, GError** error);

/** Removes a parameter of the application. */
gboolean ax_parameter_remove(AXParameter* parameter, const gchar* name, GError** error);

/**
 * Changes a value; null means "". do_sync TRUE: the value is stored and change callbacks follow.
 * FALSE: both wait for a later call with TRUE.
 */
gboolean ax_parameter_set(AXParameter* parameter, const gchar* name, const gchar* value,
                          gboolean do_sync, GError** error);

/** Reads a value. *value is the caller's, freed with g_free(); a call that fails leaves it alone.
 */
gboolean ax_parameter_get(AXParameter* parameter, const gchar* name, gchar** value, GError** error);

/**
 * Names the application's own parameters. The list and its strings are the caller's
 * (g_list_free_full(list, g_free)). Null with no error set: there are none.
 */
GList* ax_parameter_list(AXParameter* parameter, GError** error);

/** Has a function told about changes of one parameter, in place of one registered before. */
gboolean ax_parameter_register_callback(AXParameter* parameter, const gchar* name,
                                        AXParameterCallback* callback, gpointer userdata,
                                        GError** error);

/** Ends what ax_parameter_register_callback() began. */
void ax_parameter_unregister_callback(AXParameter* parameter, const gchar* name);

G_END_DECLS

#endif
