#include "platform/hostcam/faults.h"

#include "vdo-types.h"

const char* vdo_format_to_str(VdoFormat format) {
    if (hostcam::mustFail(__func__)) {
        return "unknown";
    }
    switch (format) {
    case VDO_FORMAT_NONE:
        return "none";
    case VDO_FORMAT_H264:
        return "h264";
    case VDO_FORMAT_H265:
        return "h265";
    case VDO_FORMAT_JPEG:
        return "jpeg";
    case VDO_FORMAT_YUV:
        return "yuv";
    case VDO_FORMAT_BAYER:
        return "bayer";
    case VDO_FORMAT_IVS:
        return "ivs";
    case VDO_FORMAT_RAW:
        return "raw";
    case VDO_FORMAT_RGBA:
        return "rgba";
    case VDO_FORMAT_RGB:
        return "rgb";
    case VDO_FORMAT_PLANAR_RGB:
        return "planar_rgb";
    case VDO_FORMAT_AV1:
        return "av1";
    }
    return "unknown";
}
