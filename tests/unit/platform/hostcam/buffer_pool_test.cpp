#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/hostcam/buffer_pool.h"

namespace {

using hostcam::BufferPool;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Lease = std::unique_ptr<BufferPool::Lease>;

TEST(BufferPoolTest, GivesAsManyBuffersAsItHas) {
    const auto pool = BufferPool::create(1, 100, 2);
    const Lease one = pool->take(milliseconds(0));
    Lease two = pool->take(milliseconds(0));
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_NE(one->data(), two->data());
    EXPECT_EQ(pool->take(milliseconds(0)), nullptr);
    EXPECT_EQ(pool->take(milliseconds(5)), nullptr);
    two.reset();
    EXPECT_NE(pool->take(milliseconds(0)), nullptr);
}

TEST(BufferPoolTest, BuffersAreAlignedAndUsedAgain) {
    const auto pool = BufferPool::create(1, 100, 4);
    const std::uint8_t* before = nullptr;
    for (int round = 0; round < 5; ++round) {
        const Lease lease = pool->take(milliseconds(0));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lease->data()) % 64, 0U);
        EXPECT_EQ(lease->capacity(), 128U);
        EXPECT_EQ(lease->id(), 0U);
        EXPECT_TRUE(before == nullptr || before == lease->data());
        before = lease->data();
    }
}

TEST(BufferPoolTest, AWaitEndsWhenABufferComesBack) {
    const auto pool = BufferPool::create(1, 100, 1);
    Lease lease = pool->take(milliseconds(0));
    std::thread giver([&lease] { lease.reset(); });
    const Lease next = pool->take(seconds(30));
    giver.join();
    EXPECT_NE(next, nullptr);
}

TEST(BufferPoolTest, AnUnlimitedPoolGrows) {
    const auto pool = BufferPool::create(1, 100, BufferPool::kUnlimited);
    std::vector<Lease> leases;
    for (int count = 0; count < 200; ++count) {
        leases.push_back(pool->take(milliseconds(0)));
        ASSERT_NE(leases.back(), nullptr);
    }
}

TEST(BufferPoolTest, ABufferKeepsItsPoolAlive) {
    auto pool = BufferPool::create(1, 100, 1);
    const Lease lease = pool->take(milliseconds(0));
    pool.reset();
    lease->data()[99] = 1;
    EXPECT_EQ(hostcam::buffersInFlight().size(), 1U);
}

TEST(BufferPoolTest, AHolderIsKnownWhileItHolds) {
    const auto pool = BufferPool::create(1, 100, 2);
    const int mine = 0;
    const int other = 0;
    Lease lease = pool->take(milliseconds(0));
    EXPECT_FALSE(pool->isHolder(&mine));
    lease->setHolder(&mine);
    EXPECT_TRUE(pool->isHolder(&mine));
    EXPECT_FALSE(pool->isHolder(&other));
    lease.reset();
    EXPECT_FALSE(pool->isHolder(&mine));
    lease = pool->take(milliseconds(0));
    EXPECT_FALSE(pool->isHolder(&mine)) << "of the buffer's life before";
}

TEST(BufferPoolTest, BuffersInFlightAreListedForEveryPool) {
    const auto first = BufferPool::create(11, 100, 3);
    const auto second = BufferPool::create(12, 100, 3);
    EXPECT_TRUE(hostcam::buffersInFlight().empty());
    const Lease one = first->take(milliseconds(0));
    Lease two = first->take(milliseconds(0));
    const Lease three = second->take(milliseconds(0));
    two->setFrame(44);
    const auto held = hostcam::buffersInFlight();
    ASSERT_EQ(held.size(), 3U);
    EXPECT_EQ(held[0].stream, 11U);
    EXPECT_EQ(held[1].buffer, 1U);
    EXPECT_EQ(held[1].frame, 44U);
    EXPECT_EQ(held[2].stream, 12U);
    two.reset();
    EXPECT_EQ(hostcam::buffersInFlight().size(), 2U);
    EXPECT_EQ(first->inFlight().size(), 1U);
}

TEST(BufferPoolTest, ThreadsTakeAndGiveBackAtOnce) {
    const auto pool = BufferPool::create(1, 64, 3);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread) {
        threads.emplace_back([&pool, thread] {
            for (int round = 0; round < 100; ++round) {
                const Lease lease = pool->take(seconds(30));
                ASSERT_NE(lease, nullptr);
                lease->data()[0] = static_cast<std::uint8_t>(thread);
                lease->setHolder(&lease);
                EXPECT_EQ(lease->data()[0], thread) << "two hold one buffer";
                EXPECT_TRUE(pool->isHolder(&lease));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(pool->inFlight().empty());
}

} // namespace
