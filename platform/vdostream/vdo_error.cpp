#include "platform/hostcam/config.h"
#include "platform/hostcam/faults.h"
#include "platform/vdostream/failure.h"

#include "vdo-error.h"

namespace vdo {

VdoError codeOf(hostcam::SourceError::Kind kind) {
    using Kind = hostcam::SourceError::Kind;
    switch (kind) {
    case Kind::NotFound:
        return VDO_ERROR_NOT_FOUND;
    case Kind::Unreadable:
        return VDO_ERROR_IO;
    case Kind::NotSupported:
        return VDO_ERROR_NOT_SUPPORTED;
    case Kind::NoData:
        return VDO_ERROR_NO_DATA;
    case Kind::Interrupted:
        return VDO_ERROR_INTERFACE_DOWN;
    }
    return VDO_ERROR_FAILED;
}

void reportException(GError** error) {
    try {
        throw;
    } catch (const Failure& failure) {
        g_set_error_literal(error, VDO_ERROR, failure.code(), failure.what());
    } catch (const hostcam::SourceError& failure) {
        g_set_error_literal(error, VDO_ERROR, codeOf(failure.kind()), failure.what());
    } catch (const std::bad_alloc&) {
        g_set_error_literal(error, VDO_ERROR, VDO_ERROR_OOM, "there is not enough memory");
    } catch (const std::exception& failure) {
        g_set_error_literal(error, VDO_ERROR, VDO_ERROR_FAILED, failure.what());
    } catch (...) {
        g_set_error_literal(error, VDO_ERROR, VDO_ERROR_FAILED, "unknown failure");
    }
}

namespace {

bool isOurs(GError** error) {
    return error != nullptr && *error != nullptr && (*error)->domain == VDO_ERROR;
}

} // namespace
} // namespace vdo

GQuark vdo_error_quark(void) {
    return g_quark_from_static_string("vdo-error-quark");
}

gboolean vdo_error_is_expected(GError** error) {
    if (hostcam::mustFail(__func__) || !vdo::isOurs(error)) {
        return FALSE;
    }
    return (*error)->code == VDO_ERROR_INTERFACE_DOWN || (*error)->code == VDO_ERROR_CLOSED;
}

gboolean vdo_error_is_resource_limitation(GError** error) {
    if (hostcam::mustFail(__func__) || !vdo::isOurs(error)) {
        return FALSE;
    }
    return (*error)->code == VDO_ERROR_OOM || (*error)->code == VDO_ERROR_NO_BUFFER_SPACE;
}
