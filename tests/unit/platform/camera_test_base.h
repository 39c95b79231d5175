#pragma once

// A camera whose frames come by hand, on a source that the test chooses, and the VDO handles that
// tests hold.

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <vdo-channel.h>
#include <vdo-error.h>
#include <vdo-stream.h>

#include "platform/hostcam/buffer_pool.h"
#include "platform/hostcam/camera.h"
#include "platform/hostcam/misuse.h"
#include "tests/unit/platform/host_camera.h"

namespace testing_support {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Ref = std::unique_ptr<T, Unref>;
using Map = Ref<VdoMap>;
using Stream = Ref<VdoStream>;
using Buffer = Ref<VdoBuffer>;
using Channel = Ref<VdoChannel>;

class CameraTest : public testing::Test {
  protected:
    CameraTest() { useCamera(""); }

    ~CameraTest() override {
        EXPECT_TRUE(hostcam::buffersInFlight().empty()) << "a buffer was not handed back";
        hostcam::resetCamera();
    }

    /// Starts another camera, with a manual pace.
    /// @param keys further lines of the group [camera]
    void useCamera(const std::string& keys) {
        camera.configure("[camera]\n" + keys);
        hostcam::resetCamera();
        hostcam::setManualPace(true);
    }

    /// The settings that the application asks for.
    static Map settings(guint32 width, guint32 height, guint32 rotation = 0) {
        Map map(vdo_map_new());
        vdo_map_set_uint32(map.get(), "channel", 1);
        vdo_map_set_uint32(map.get(), "format", VDO_FORMAT_YUV);
        vdo_map_set_uint32(map.get(), "width", width);
        vdo_map_set_uint32(map.get(), "height", height);
        vdo_map_set_uint32(map.get(), "rotation", rotation);
        return map;
    }

    Stream newStream(const Map& map) {
        Stream stream(vdo_stream_new(map.get(), nullptr, error.out()));
        EXPECT_NE(stream, nullptr) << error.text();
        return stream;
    }

    Stream startedStream(const Map& map) {
        Stream stream = newStream(map);
        EXPECT_TRUE(stream && vdo_stream_start(stream.get(), error.out())) << error.text();
        return stream;
    }

    Buffer take(const Stream& stream) {
        return Buffer(vdo_stream_get_buffer(stream.get(), error.out()));
    }

    /// Takes the next frame after making it due.
    Buffer takeNext(const Stream& stream) {
        hostcam::advanceFrames(1);
        return take(stream);
    }

    static const guint8* bytesOf(const Buffer& buffer) {
        return static_cast<const guint8*>(vdo_buffer_get_data(buffer.get()));
    }

    HostCamera camera;
    ErrorSlot error;
};

} // namespace testing_support
