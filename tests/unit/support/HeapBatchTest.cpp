#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "TestHeap.hpp"
#include "src/support/Sanitizers.hpp"
#include "zddscore/heap.h"

namespace {

char* take(ORXOsapiHeapBatch& batch, std::size_t size, std::size_t alignment = 1) {
    return static_cast<char*>(ORXOsapiHeap_takeFromBatch(&batch, size, alignment));
}

TEST(HeapBatch, BuffersAreApartAlignedAndOfOneAllocation) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    const std::uint64_t made = ORXOsapiHeap_getAllocationCount();
    ORXOsapiHeapBatch batch;
    ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 2000, "test"));
    std::vector<char*> buffers;
    std::size_t size = 1;
    while (char* buffer = take(batch, size, std::size_t{1} << (size % 8))) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % (std::size_t{1} << (size % 8)), 0U);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % alignof(std::max_align_t), 0U);
        std::memset(buffer, static_cast<int>(size), size);
        buffers.push_back(buffer);
        ++size;
    }
    EXPECT_GT(buffers.size(), 10U);
    EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), made + 1);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1);
    ORXOsapiHeap_closeBatch(&batch);
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        for (std::size_t n = 0; n <= i; ++n)
            EXPECT_EQ(static_cast<unsigned char>(buffers[i][n]), i + 1);
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1); // as long as one of them lives
        ORXOsapiHeap_freeMemoryInternal(buffers[i]);
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(HeapBatch, AnEmptyOneLeavesNothingAndAClosedOneGivesNothing) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    ORXOsapiHeapBatch batch{};
    EXPECT_EQ(take(batch, 1), nullptr);
    ORXOsapiHeap_closeBatch(&batch);
    ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 100, "test"));
    EXPECT_EQ(take(batch, 101), nullptr);
    EXPECT_EQ(take(batch, SIZE_MAX), nullptr);
    ORXOsapiHeap_closeBatch(&batch);
    EXPECT_EQ(take(batch, 1), nullptr);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
    EXPECT_FALSE(ORXOsapiHeap_openBatch(&batch, SIZE_MAX, "test"));
    testing_support::FailingHeap heap(1);
    EXPECT_FALSE(ORXOsapiHeap_openBatch(&batch, 100, "test"));
    EXPECT_EQ(take(batch, 1), nullptr);
}

TEST(HeapBatch, ABufferGrowsIntoOneOfItsOwn) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    ORXOsapiHeapBatch batch;
    ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 100, "test"));
    void* buffer = take(batch, 4);
    std::memcpy(buffer, "abc", 4);
    ORXOsapiHeap_closeBatch(&batch);
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&buffer, 500, 1, 1, "char"));
    EXPECT_STREQ(static_cast<char*>(buffer), "abc");
    EXPECT_EQ(static_cast<char*>(buffer)[499], 0);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1); // the block has gone
    ORXOsapiHeap_freeMemoryInternal(buffer);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(HeapBatch, FreesOfSeveralBlocksAndOfNoneGoTogether) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    std::vector<void*> buffers;
    for (int block = 0; block < 3; ++block) {
        ORXOsapiHeapBatch batch;
        ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 400, "test"));
        for (int i = 0; i < 3; ++i)
            buffers.push_back(take(batch, 10));
        ORXOsapiHeap_closeBatch(&batch);
        void* alone = nullptr;
        ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&alone, 10, 1, 0, "char"));
        buffers.push_back(alone);
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 6);
    ORXOsapiHeapFrees frees{};
    for (std::size_t i = 0; i < buffers.size(); ++i) // to and fro between the blocks
        ORXOsapiHeap_freeTogether(&frees, buffers[i * 5 % buffers.size()]);
    ORXOsapiHeap_freeTogether(&frees, nullptr);
    ORXOsapiHeap_endFrees(&frees);
    ORXOsapiHeap_endFrees(&frees);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(HeapBatch, TheLastThreadGivesTheBlockBack) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    for (int round = 0; round < 200; ++round) {
        ORXOsapiHeapBatch batch;
        ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 1000, "test"));
        void* mine = take(batch, 8);
        void* theirs = take(batch, 8);
        ORXOsapiHeap_closeBatch(&batch);
        std::thread other([theirs] {
            std::memset(theirs, 1, 8);
            ORXOsapiHeap_freeMemoryInternal(theirs);
        });
        std::memset(mine, 2, 8);
        ORXOsapiHeap_freeMemoryInternal(mine);
        other.join();
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

#ifdef ZDDS_ADDRESS_SANITIZER
TEST(HeapBatchDeathTest, AccessAroundAndAfterABufferIsSeen) {
    ORXOsapiHeapBatch batch;
    ASSERT_TRUE(ORXOsapiHeap_openBatch(&batch, 400, "test"));
    auto* first = static_cast<volatile char*>(take(batch, 16));
    auto* second = static_cast<volatile char*>(take(batch, 16));
    ORXOsapiHeap_closeBatch(&batch);
    EXPECT_DEATH(first[-1] = 1, "AddressSanitizer");
    EXPECT_DEATH(first[16] = 1, "AddressSanitizer");
    ORXOsapiHeap_freeMemoryInternal(const_cast<char*>(first));
    EXPECT_DEATH(first[0] = 1, "AddressSanitizer");
    ORXOsapiHeap_freeMemoryInternal(const_cast<char*>(second));
}
#endif

} // namespace
