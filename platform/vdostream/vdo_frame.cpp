#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include "platform/hostcam/faults.h"
#include "platform/vdostream/frame.h"

#include "vdo-buffer.h"
#include "vdo-error.h"
#include "vdo-frame.h"

namespace {

/// What a frame is made of. It is either a stream's, in a buffer of the stream's pool, or a
/// client's (vdo_buffer_new), in memory behind the client's descriptor, which is mapped when it is
/// first looked at.
struct State {
    VdoFrameType type = VDO_FRAME_TYPE_NONE;
    guint sequence = 0;
    guint64 timestamp = 0;
    gint64 customTimestamp = 0;
    gsize size = 0;
    gssize headerSize = 0;
    bool last = false;
    bool chunkTaken = false;
    VdoMap* extraInfo = nullptr; // a reference
    gpointer opaque = nullptr;

    std::unique_ptr<hostcam::BufferPool::Lease> buffer;
    VdoBufferFinalizer finalizer = nullptr;

    gint descriptor = -1; // the client's
    gsize capacity = 0;
    guint64 offset = 0;
    gpointer mapping = nullptr;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (mapping != nullptr) {
            munmap(mapping, capacity);
        }
        g_clear_object(&extraInfo);
    }

    /// The bytes; null when there are none or they cannot be mapped.
    gpointer data() {
        if (buffer) {
            return buffer->data();
        }
        if (mapping == nullptr && descriptor >= 0 && capacity > 0) {
            void* const mapped = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_SHARED,
                                      descriptor, static_cast<off_t>(offset));
            mapping = mapped == MAP_FAILED ? nullptr : mapped;
        }
        return mapping;
    }
};

} // namespace

struct _VdoFrame {
    GObject parent;
    State* state;
};

G_DEFINE_FINAL_TYPE(VdoFrame, vdo_frame, G_TYPE_OBJECT)

static void vdo_frame_init(VdoFrame* self) {
    self->state = new State;
}

static void vdo_frame_dispose(GObject* object) {
    VdoFrame* const self = VDO_FRAME(object);
    if (const VdoBufferFinalizer finalizer = std::exchange(self->state->finalizer, nullptr)) {
        finalizer(self);
    }
    G_OBJECT_CLASS(vdo_frame_parent_class)->dispose(object);
}

static void vdo_frame_finalize(GObject* object) {
    delete VDO_FRAME(object)->state;
    G_OBJECT_CLASS(vdo_frame_parent_class)->finalize(object);
}

static void vdo_frame_class_init(VdoFrameClass* klass) {
    G_OBJECT_CLASS(klass)->dispose = vdo_frame_dispose;
    G_OBJECT_CLASS(klass)->finalize = vdo_frame_finalize;
}

namespace vdo {

VdoFrame* newFrame(std::unique_ptr<hostcam::BufferPool::Lease> buffer, const FrameFacts& facts,
                   VdoBufferFinalizer finalizer) {
    auto* const frame = static_cast<VdoFrame*>(g_object_new(VDO_TYPE_FRAME, nullptr));
    State& state = *frame->state;
    buffer->setHolder(frame);
    state.type = facts.type;
    state.sequence = facts.sequence;
    state.timestamp = facts.microseconds;
    state.size = facts.bytes;
    state.capacity = buffer->capacity();
    state.buffer = std::move(buffer);
    state.finalizer = finalizer;
    return frame;
}

} // namespace vdo

namespace {

/// The state of a frame; null for NULL and for what is no frame.
State* stateOf(VdoFrame* frame) {
    return frame != nullptr && VDO_IS_FRAME(frame) ? frame->state : nullptr;
}

/// A getter: the fallback for what is no frame, and when its fault says "fail".
template <typename Result>
Result getField(const char* call, VdoFrame* frame, Result State::*field, Result fallback) {
    const State* const state = stateOf(frame);
    return hostcam::mustFail(call) || state == nullptr ? fallback : state->*field;
}

template <typename Field>
void setField(const char* call, VdoFrame* frame, Field State::*field, Field value) {
    State* const state = stateOf(frame);
    if (!hostcam::mustFail(call) && state != nullptr) {
        state->*field = value;
    }
}

gpointer dataOf(const char* call, VdoFrame* frame) {
    State* const state = stateOf(frame);
    return hostcam::mustFail(call) || state == nullptr ? nullptr : state->data();
}

} // namespace

VdoFrameType vdo_frame_get_frame_type(VdoFrame* self) {
    return getField(__func__, self, &State::type, VDO_FRAME_TYPE_NONE);
}

guint vdo_frame_get_sequence_nbr(VdoFrame* self) {
    return getField(__func__, self, &State::sequence, 0U);
}

guint64 vdo_frame_get_timestamp(VdoFrame* self) {
    return getField(__func__, self, &State::timestamp, guint64{0});
}

gint64 vdo_frame_get_custom_timestamp(VdoFrame* self) {
    return getField(__func__, self, &State::customTimestamp, gint64{0});
}

gsize vdo_frame_get_size(VdoFrame* self) {
    return getField(__func__, self, &State::size, gsize{0});
}

gssize vdo_frame_get_header_size(VdoFrame* self) {
    return getField(__func__, self, &State::headerSize, gssize{0});
}

gint vdo_frame_get_fd(VdoFrame* self) {
    return getField(__func__, self, &State::descriptor, -1);
}

VdoMap* vdo_frame_get_extra_info(VdoFrame* self) {
    return getField<VdoMap*>(__func__, self, &State::extraInfo, nullptr);
}

gpointer vdo_frame_get_opaque(VdoFrame* self) {
    return getField<gpointer>(__func__, self, &State::opaque, nullptr);
}

gboolean vdo_frame_get_is_last_buffer(VdoFrame* self) {
    return getField(__func__, self, &State::last, false);
}

void vdo_frame_set_size(VdoFrame* self, gsize size) {
    setField(__func__, self, &State::size, size);
}

void vdo_frame_set_frame_type(VdoFrame* self, VdoFrameType type) {
    setField(__func__, self, &State::type, type);
}

void vdo_frame_set_sequence_nbr(VdoFrame* self, guint number) {
    setField(__func__, self, &State::sequence, number);
}

void vdo_frame_set_timestamp(VdoFrame* self, guint64 timestamp) {
    setField(__func__, self, &State::timestamp, timestamp);
}

void vdo_frame_set_custom_timestamp(VdoFrame* self, gint64 timestamp) {
    setField(__func__, self, &State::customTimestamp, timestamp);
}

void vdo_frame_set_header_size(VdoFrame* self, gssize size) {
    setField(__func__, self, &State::headerSize, size);
}

void vdo_frame_set_is_last_buffer(VdoFrame* self, gboolean last) {
    setField(__func__, self, &State::last, last != FALSE);
}

void vdo_frame_set_extra_info(VdoFrame* self, VdoMap* info) {
    State* const state = stateOf(self);
    const bool usable = info == nullptr || VDO_IS_MAP(info);
    if (!hostcam::mustFail(__func__) && state != nullptr && usable) {
        g_set_object(&state->extraInfo, info);
    }
}

gpointer vdo_frame_memmap(VdoFrame* self) {
    return dataOf(__func__, self);
}

void vdo_frame_unmap(VdoFrame* /*self*/) {
    // Deliberate: what vdo_buffer_get_data() has handed out is valid while the buffer is held.
    (void)hostcam::mustFail(__func__);
}

VdoChunk vdo_frame_take_chunk(VdoFrame* self, GError** error) {
    VdoChunk chunk{nullptr, 0, VDO_CHUNK_ERROR, 0};
    if (hostcam::mustFail(__func__, VDO_ERROR, error)) {
        return chunk;
    }
    State* const state = stateOf(self);
    const gpointer data = state == nullptr ? nullptr : state->data();
    if (data == nullptr) {
        g_set_error_literal(error, VDO_ERROR, VDO_ERROR_INVALID_ARGUMENT,
                            "there is no frame with data");
        return chunk;
    }
    chunk.type = VDO_CHUNK_NONE;
    if (!std::exchange(state->chunkTaken, true)) {
        chunk.data = data;
        chunk.size = state->size;
    }
    return chunk;
}

VdoBuffer* vdo_buffer_new(gint fd, gsize capacity, guint64 offset, gpointer opaque) {
    if (hostcam::mustFail(__func__)) {
        return nullptr;
    }
    auto* const buffer = static_cast<VdoBuffer*>(g_object_new(VDO_TYPE_FRAME, nullptr));
    buffer->state->descriptor = fd;
    buffer->state->capacity = capacity;
    buffer->state->offset = offset;
    buffer->state->opaque = opaque;
    return buffer;
}

VdoBuffer* vdo_buffer_new_full(gint fd, gsize capacity, guint64 offset, gpointer opaque,
                               VdoMap* settings) {
    if (hostcam::mustFail(__func__)) {
        return nullptr;
    }
    auto* const buffer = static_cast<VdoBuffer*>(g_object_new(VDO_TYPE_FRAME, nullptr));
    buffer->state->descriptor = fd;
    buffer->state->capacity = capacity;
    buffer->state->offset = offset;
    buffer->state->opaque = opaque;
    if (settings != nullptr && VDO_IS_MAP(settings)) {
        g_set_object(&buffer->state->extraInfo, settings);
    }
    return buffer;
}

guint32 vdo_buffer_get_id(VdoBuffer* self) {
    const State* const state = stateOf(self);
    return hostcam::mustFail(__func__) || state == nullptr || !state->buffer ? 0
                                                                             : state->buffer->id();
}

gint vdo_buffer_get_fd(VdoBuffer* self) {
    return getField(__func__, self, &State::descriptor, -1);
}

gint64 vdo_buffer_get_offset(VdoBuffer* self) {
    return static_cast<gint64>(getField(__func__, self, &State::offset, guint64{0}));
}

gsize vdo_buffer_get_capacity(VdoBuffer* self) {
    return getField(__func__, self, &State::capacity, gsize{0});
}

gboolean vdo_buffer_is_complete(VdoBuffer* self) {
    const State* const state = stateOf(self);
    return !hostcam::mustFail(__func__) && state != nullptr && state->size > 0;
}

gpointer vdo_buffer_get_opaque(VdoBuffer* self) {
    return getField<gpointer>(__func__, self, &State::opaque, nullptr);
}

gpointer vdo_buffer_get_data(VdoBuffer* self) {
    return dataOf(__func__, self);
}

VdoFrame* vdo_buffer_get_frame(VdoBuffer* self) {
    return hostcam::mustFail(__func__) || stateOf(self) == nullptr ? nullptr : self;
}
