#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/hostcam/descriptor.h"
#include "platform/hostcam/faults.h"
#include "tests/unit/platform/camera_test_base.h"

#include "vdo-frame.h"

namespace {

using testing_support::Buffer;
using testing_support::ErrorSlot;
using testing_support::Map;
using testing_support::Ref;

class VdoFrameTest : public testing::Test {
  protected:
    ~VdoFrameTest() override { hostcam::clearFaults(); }

    Buffer buffer{vdo_buffer_new(-1, 100, 0, nullptr)};
    ErrorSlot error;
};

TEST_F(VdoFrameTest, KeepsWhatItIsTold) {
    VdoFrame* const frame = vdo_buffer_get_frame(buffer.get());
    ASSERT_EQ(frame, buffer.get());
    vdo_frame_set_size(frame, 99);
    vdo_frame_set_frame_type(frame, VDO_FRAME_TYPE_YUV);
    vdo_frame_set_sequence_nbr(frame, 12);
    vdo_frame_set_timestamp(frame, 34);
    vdo_frame_set_custom_timestamp(frame, -56);
    vdo_frame_set_header_size(frame, 7);
    vdo_frame_set_is_last_buffer(frame, TRUE);
    EXPECT_EQ(vdo_frame_get_size(frame), 99U);
    EXPECT_EQ(vdo_frame_get_frame_type(frame), VDO_FRAME_TYPE_YUV);
    EXPECT_EQ(vdo_frame_get_sequence_nbr(frame), 12U);
    EXPECT_EQ(vdo_frame_get_timestamp(frame), 34U);
    EXPECT_EQ(vdo_frame_get_custom_timestamp(frame), -56);
    EXPECT_EQ(vdo_frame_get_header_size(frame), 7);
    EXPECT_TRUE(vdo_frame_get_is_last_buffer(frame));
}

TEST_F(VdoFrameTest, KeepsAReferenceToItsExtraInfo) {
    {
        const Map info(vdo_map_new());
        vdo_map_set_uint32(info.get(), "key", 5);
        vdo_frame_set_extra_info(buffer.get(), info.get());
        vdo_frame_set_extra_info(buffer.get(), info.get());
    }
    EXPECT_EQ(vdo_map_get_uint32(vdo_frame_get_extra_info(buffer.get()), "key", 0), 5U);
    vdo_frame_set_extra_info(buffer.get(), nullptr);
    EXPECT_EQ(vdo_frame_get_extra_info(buffer.get()), nullptr);
}

TEST_F(VdoFrameTest, AClientsBufferShowsTheMemoryBehindItsDescriptor) {
    const hostcam::Descriptor memory(memfd_create("buffer", MFD_CLOEXEC));
    ASSERT_TRUE(memory);
    ASSERT_EQ(write(memory.get(), "hello", 5), 5);
    int anything = 0;
    const Buffer mapped(vdo_buffer_new(memory.get(), 5, 0, &anything));
    EXPECT_EQ(vdo_buffer_get_fd(mapped.get()), memory.get());
    EXPECT_EQ(vdo_buffer_get_capacity(mapped.get()), 5U);
    EXPECT_EQ(vdo_buffer_get_opaque(mapped.get()), &anything);
    const void* const data = vdo_buffer_get_data(mapped.get());
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::memcmp(data, "hello", 5), 0);
    EXPECT_EQ(vdo_frame_memmap(mapped.get()), data);
}

TEST_F(VdoFrameTest, DataStaysReadableWhileTheBufferIsHeldEvenAfterAnUnmap) {
    const int file = memfd_create("test", MFD_CLOEXEC);
    ASSERT_EQ(write(file, "hello", 5), 5);
    {
        const Buffer mapped(vdo_buffer_new(file, 5, 0, nullptr));
        const gpointer data = vdo_buffer_get_data(mapped.get());
        ASSERT_NE(data, nullptr);
        vdo_frame_unmap(mapped.get());
        EXPECT_EQ(std::memcmp(data, "hello", 5), 0);
        EXPECT_EQ(vdo_buffer_get_data(mapped.get()), data);
    }
    close(file);
}

TEST_F(VdoFrameTest, MemoryThatCannotBeMappedGivesNoData) {
    EXPECT_EQ(vdo_buffer_get_data(buffer.get()), nullptr);
    const Buffer broken(vdo_buffer_new(999999, 100, 0, nullptr));
    EXPECT_EQ(vdo_buffer_get_data(broken.get()), nullptr);
}

TEST_F(VdoFrameTest, AFullBufferCarriesItsSettings) {
    const Map info(vdo_map_new());
    const Buffer full(vdo_buffer_new_full(-1, 100, 4096, nullptr, info.get()));
    EXPECT_EQ(vdo_frame_get_extra_info(full.get()), info.get());
    EXPECT_EQ(vdo_buffer_get_offset(full.get()), 4096);
}

TEST_F(VdoFrameTest, DataComesInOnePiece) {
    const hostcam::Descriptor memory(memfd_create("buffer", MFD_CLOEXEC));
    ASSERT_EQ(ftruncate(memory.get(), 100), 0);
    const Buffer mapped(vdo_buffer_new(memory.get(), 100, 0, nullptr));
    vdo_frame_set_size(mapped.get(), 60);
    const VdoChunk first = vdo_frame_take_chunk(mapped.get(), error.out());
    EXPECT_EQ(first.data, vdo_buffer_get_data(mapped.get()));
    EXPECT_EQ(first.size, 60U);
    EXPECT_EQ(first.type, VDO_CHUNK_NONE);
    const VdoChunk second = vdo_frame_take_chunk(mapped.get(), error.out());
    EXPECT_EQ(second.size, 0U);
    EXPECT_FALSE(error.isSet());
}

TEST_F(VdoFrameTest, NoDataGivesNoPiece) {
    const VdoChunk chunk = vdo_frame_take_chunk(buffer.get(), error.out());
    EXPECT_EQ(chunk.type, VDO_CHUNK_ERROR);
    EXPECT_EQ(error.code(), VDO_ERROR_INVALID_ARGUMENT);
}

TEST_F(VdoFrameTest, NullAndOtherObjectsDoNoHarm) {
    const Map map(vdo_map_new());
    for (VdoFrame* const none :
         {static_cast<VdoFrame*>(nullptr), reinterpret_cast<VdoFrame*>(map.get())}) {
        EXPECT_EQ(vdo_frame_get_size(none), 0U);
        EXPECT_EQ(vdo_frame_get_frame_type(none), VDO_FRAME_TYPE_NONE);
        EXPECT_EQ(vdo_frame_get_fd(none), -1);
        EXPECT_EQ(vdo_frame_get_opaque(none), nullptr);
        EXPECT_EQ(vdo_frame_get_extra_info(none), nullptr);
        EXPECT_EQ(vdo_buffer_get_data(none), nullptr);
        EXPECT_EQ(vdo_buffer_get_frame(none), nullptr);
        EXPECT_EQ(vdo_buffer_get_id(none), 0U);
        EXPECT_FALSE(vdo_buffer_is_complete(none));
        vdo_frame_set_size(none, 1);
        vdo_frame_set_extra_info(none, nullptr);
        vdo_frame_unmap(none);
        EXPECT_EQ(vdo_frame_take_chunk(none, nullptr).type, VDO_CHUNK_ERROR);
    }
    vdo_frame_set_extra_info(buffer.get(), reinterpret_cast<VdoMap*>(buffer.get()));
    EXPECT_EQ(vdo_frame_get_extra_info(buffer.get()), nullptr);
}

TEST_F(VdoFrameTest, FaultsMakeItsCallsFail) {
    hostcam::addFaults("vdo_buffer_new; vdo_frame_get_size; vdo_frame_take_chunk code=8");
    EXPECT_EQ(vdo_buffer_new(-1, 1, 0, nullptr), nullptr);
    vdo_frame_set_size(buffer.get(), 4);
    EXPECT_EQ(vdo_frame_get_size(buffer.get()), 0U);
    EXPECT_EQ(vdo_frame_get_size(buffer.get()), 4U);
    EXPECT_EQ(vdo_frame_take_chunk(buffer.get(), error.out()).type, VDO_CHUNK_ERROR);
    EXPECT_EQ(error.code(), VDO_ERROR_IO);
}

} // namespace
