/* Parameters of the application and of the camera: everything, in one include. */
#ifndef AXSDK_AXPARAMETER_H
#define AXSDK_AXPARAMETER_H

#include <axsdk/ax_parameter/ax_parameter.h>
#include <axsdk/ax_parameter/ax_parameter_error.h>
#include <glib.h>

#endif
