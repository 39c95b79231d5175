/* Video stream service: the plain types that every other header of the library uses. */
#ifndef VDO_TYPES_H
#define VDO_TYPES_H

#include <glib-object.h>

G_BEGIN_DECLS

/* What a stream delivers. The host camera delivers VDO_FORMAT_YUV only. */
typedef enum {
    VDO_FORMAT_NONE = -1,
    VDO_FORMAT_H264 = 0,
    VDO_FORMAT_H265 = 1,
    VDO_FORMAT_JPEG = 2,
    VDO_FORMAT_YUV = 3, /* uncompressed: NV12, or luminance alone with the subformat "y800" */
    VDO_FORMAT_BAYER = 4,
    VDO_FORMAT_IVS = 5,
    VDO_FORMAT_RAW = 6,
    VDO_FORMAT_RGBA = 7,
    VDO_FORMAT_RGB = 8,
    VDO_FORMAT_PLANAR_RGB = 9,
    VDO_FORMAT_AV1 = 10
} VdoFormat;

typedef enum {
    VDO_H264_PROFILE_NONE = -1,
    VDO_H264_PROFILE_BASELINE = 0,
    VDO_H264_PROFILE_MAIN = 1,
    VDO_H264_PROFILE_HIGH = 2
} VdoH264Profile;

typedef enum {
    VDO_H265_PROFILE_NONE = -1,
    VDO_H265_PROFILE_MAIN = 0,
    VDO_H265_PROFILE_MAIN_10 = 1
} VdoH265Profile;

typedef enum {
    VDO_AV1_PROFILE_NONE = -1,
    VDO_AV1_PROFILE_MAIN = 0,
    VDO_AV1_PROFILE_MAIN_10 = 1
} VdoAv1Profile;

typedef enum {
    VDO_RATE_CONTROL_MODE_NONE = -1,
    VDO_RATE_CONTROL_MODE_CBR = 0,
    VDO_RATE_CONTROL_MODE_VBR = 1,
    VDO_RATE_CONTROL_MODE_MBR = 2,
    VDO_RATE_CONTROL_MODE_ABR = 3
} VdoRateControlMode;

typedef enum {
    VDO_RATE_CONTROL_PRIORITY_NONE = -1,
    VDO_RATE_CONTROL_PRIORITY_FRAMERATE = 0,
    VDO_RATE_CONTROL_PRIORITY_QUALITY = 1,
    VDO_RATE_CONTROL_PRIORITY_FULL_FRAMERATE = 2
} VdoRateControlPriority;

typedef enum {
    VDO_ZIPSTREAM_PROFILE_NONE = -1,
    VDO_ZIPSTREAM_PROFILE_CLASSIC = 0,
    VDO_ZIPSTREAM_PROFILE_STORAGE = 1,
    VDO_ZIPSTREAM_PROFILE_LIVE = 2
} VdoZipStreamProfile;

typedef enum {
    VDO_TIMESTAMP_NONE = 0,
    VDO_TIMESTAMP_UTC = 1,
    VDO_TIMESTAMP_ZIPSTREAM = 2,
    VDO_TIMESTAMP_DIFF = 4,
    VDO_TIMESTAMP_MONO_CAPTURE = 8,
    VDO_TIMESTAMP_MONO_SERVER = 16,
    VDO_TIMESTAMP_MONO_CLIENT = 32
} VdoTimestamp;

typedef enum {
    VDO_WDR_MODE_NONE = -1,
    VDO_WDR_MODE_LINEAR = 0,
    VDO_WDR_MODE_2X = 1,
    VDO_WDR_MODE_3X = 2,
    VDO_WDR_MODE_4X = 3,
    VDO_WDR_MODE_SENSOR = 4,
    VDO_WDR_MODE_OFF = 5,
    VDO_WDR_MODE_AUTO = 6
} VdoWdrMode;

typedef enum {
    VDO_FRAME_TYPE_NONE = 0,
    VDO_FRAME_TYPE_H264_SPS = 1,
    VDO_FRAME_TYPE_H264_PPS = 2,
    VDO_FRAME_TYPE_H264_SEI = 3,
    VDO_FRAME_TYPE_H264_IDR = 4,
    VDO_FRAME_TYPE_H264_I = 5,
    VDO_FRAME_TYPE_H264_P = 6,
    VDO_FRAME_TYPE_H264_B = 7,
    VDO_FRAME_TYPE_H265_SPS = 8,
    VDO_FRAME_TYPE_H265_PPS = 9,
    VDO_FRAME_TYPE_H265_VPS = 10,
    VDO_FRAME_TYPE_H265_SEI = 11,
    VDO_FRAME_TYPE_H265_IDR = 12,
    VDO_FRAME_TYPE_H265_I = 13,
    VDO_FRAME_TYPE_H265_P = 14,
    VDO_FRAME_TYPE_H265_B = 15,
    VDO_FRAME_TYPE_JPEG = 16,
    VDO_FRAME_TYPE_YUV = 17,
    VDO_FRAME_TYPE_RAW = 18,
    VDO_FRAME_TYPE_RGBA = 19,
    VDO_FRAME_TYPE_RGB = 20,
    VDO_FRAME_TYPE_PLANAR_RGB = 21,
    VDO_FRAME_TYPE_AV1_KEY = 22,
    VDO_FRAME_TYPE_AV1_INTER = 23,
    VDO_FRAME_TYPE_AV1_BIDI = 24
} VdoFrameType;

__extension__ typedef enum { VDO_CHUNK_NONE = 0, VDO_CHUNK_ERROR = 1u << 31 } VdoChunkType;

__extension__ typedef enum {
    VDO_CHUNK_OPTION_NONE = 0,
    VDO_CHUNK_OPTION_MMAP = 1u << 31
} VdoChunkOption;

/* What a client means to do with a stream that it attaches to. */
__extension__ typedef enum {
    VDO_INTENT_NONE = 0,
    VDO_INTENT_CONTROL = 1,
    VDO_INTENT_MONITOR = 2,
    VDO_INTENT_CONSUME = 4,
    VDO_INTENT_PRODUCE = 8,
    VDO_INTENT_DEFAULT = 5, /* consume and control */
    VDO_INTENT_EVENTFD = 16,
    VDO_INTENT_UNIVERSE = ~0u
} VdoIntent;

__extension__ typedef enum {
    VDO_STREAM_EVENT_NONE = 0x00,
    VDO_STREAM_EVENT_STARTED = 0x01,
    VDO_STREAM_EVENT_STOPPED = 0x02,
    VDO_STREAM_EVENT_RESOURCE = 0x10,
    VDO_STREAM_EVENT_QUOTA_SOFT = 0x11,
    VDO_STREAM_EVENT_QUOTA_HARD = 0x12,
    VDO_STREAM_EVENT_ZIPSTREAM = 0x20,
    VDO_STREAM_EVENT_BUFFERING = 0x40,
    VDO_STREAM_EVENT_WARN = 0x41,
    VDO_STREAM_EVENT_FAIL = 0x42,
    VDO_STREAM_EVENT_CREATED = 0x50,
    VDO_STREAM_EVENT_CLOSED = 0x51,
    VDO_STREAM_EVENT_EXISTING = 0x52,
    VDO_STREAM_EVENT_INVALID = ~0u
} VdoStreamEvent;

typedef enum {
    VDO_BUFFER_ACCESS_NONE = 0,
    VDO_BUFFER_ACCESS_CPU_RD = 1 << 0,
    VDO_BUFFER_ACCESS_DEV_RD = 1 << 1,
    VDO_BUFFER_ACCESS_ANY_RD = 0x003,
    VDO_BUFFER_ACCESS_CPU_WR = 1 << 8,
    VDO_BUFFER_ACCESS_DEV_WR = 1 << 9,
    VDO_BUFFER_ACCESS_ANY_WR = 0x300,
    VDO_BUFFER_ACCESS_CPU_RW = 0x101,
    VDO_BUFFER_ACCESS_DEV_RW = 0x202,
    VDO_BUFFER_ACCESS_ANY_RW = 0x303
} VdoBufferAccess;

typedef enum {
    VDO_BUFFER_STRATEGY_NONE = 0,
    VDO_BUFFER_STRATEGY_INPUT = 1,
    VDO_BUFFER_STRATEGY_EXTERNAL = 2, /* never supported */
    VDO_BUFFER_STRATEGY_EXPLICIT = 3, /* the client allocates and enqueues buffers */
    VDO_BUFFER_STRATEGY_INFINITE = 4
} VdoBufferStrategy;

typedef struct {
    gpointer data;
    gsize size;
    VdoChunkType type;
    gint64 offset;
} VdoChunk;

typedef struct {
    gpointer data;
    gsize data_size;
} VdoMemChunk;

typedef struct {
    guint32 width;
    guint32 height;
} VdoResolution;

/* One allocation of sizeof(VdoResolutionSet) + count * sizeof(VdoResolution) bytes. */
typedef struct {
    gsize count;
    __extension__ VdoResolution resolutions[];
} VdoResolutionSet;

typedef struct {
    guint width;
    guint height;
    guint x;
    guint y;
} VdoRect;

/* Two numbers under the names that fit their use: a point, a size, a fraction. */
typedef union {
    __extension__ struct { gint32 x, y; };
    __extension__ struct { gint32 w, h; };
    __extension__ struct { gint32 num, den; };
    gint32 val[2];
} VdoPair32i;

typedef union {
    __extension__ struct { guint32 x, y; };
    __extension__ struct { guint32 w, h; };
    __extension__ struct { guint32 num, den; };
    guint32 val[2];
    VdoResolution res;
} VdoPair32u;

static inline gboolean vdo_format_is_encoded(VdoFormat format) {
    return format == VDO_FORMAT_H264 || format == VDO_FORMAT_H265 || format == VDO_FORMAT_AV1 ||
           format == VDO_FORMAT_JPEG;
}

static inline gboolean vdo_format_is_motion_encoded(VdoFormat format) {
    return vdo_format_is_encoded(format) && format != VDO_FORMAT_JPEG;
}

/* The format's name in lower case ("yuv"), "unknown" for a value that is no format; never NULL. */
const char* vdo_format_to_str(VdoFormat format);

G_END_DECLS

#endif
