#include "zddscore/heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "src/support/Sanitizers.hpp"
#include "tests/unit/support/TestHeap.hpp"

namespace {

struct Sample {
    int number;
    void* pointer;
    char text[100];
};

struct alignas(128) Wide {
    char bytes[3 * 128];
};

bool isZero(const void* memory, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(memory);
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0)
            return false;
    }
    return true;
}

void dirtyTheHeap() {
    std::vector<void*> buffers;
    for (std::size_t size = 16; size < 1024; size += 16) {
        void* buffer = nullptr;
        ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&buffer, size, 1, 0, "char"));
        std::memset(buffer, 0xAB, size);
        buffers.push_back(buffer);
    }
    for (void* buffer : buffers)
        ORXOsapiHeap_freeMemoryInternal(buffer);
}

TEST(Heap, StructureComesBackZeroed) {
    dirtyTheHeap();
    for (int i = 0; i < 100; ++i) {
        Sample* sample = nullptr;
        ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&sample, struct Sample));
        EXPECT_TRUE(isZero(sample, sizeof *sample));
        std::memset(sample, 0xCD, sizeof *sample);
        ORXOsapiHeap_freeStructure(sample);
    }
}

TEST(Heap, ArrayComesBackZeroedAndFailsOnOverflow) {
    Sample* samples = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_allocateArray(&samples, 17, struct Sample));
    EXPECT_TRUE(isZero(samples, 17 * sizeof *samples));
    ORXOsapiHeap_freeArray(samples);
    EXPECT_FALSE(ORXOsapiHeap_allocateArray(&samples, SIZE_MAX / 2, struct Sample));
    EXPECT_EQ(samples, nullptr);
}

TEST(Heap, HugeSizeFailsAndLeavesThePointer) {
    int object = 0;
    void* memory = nullptr;
    EXPECT_FALSE(ORXOsapiHeap_reallocateMemoryInternal(&memory, SIZE_MAX, 16, 1, "char"));
    EXPECT_FALSE(ORXOsapiHeap_reallocateMemoryInternal(&memory, SIZE_MAX - 64, 4096, 1, "char"));
    EXPECT_EQ(memory, nullptr);
    EXPECT_FALSE(ORXOsapiHeap_reallocateMemoryInternal(nullptr, 8, 8, 1, "char"));
    memory = &object;
    EXPECT_FALSE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 8, 3, 1, "char")) << "not a power of two";
    EXPECT_EQ(memory, &object);
}

TEST(Heap, BuffersAreAlignedAsAskedAndAtLeastForAnyType) {
    for (std::size_t alignment = 1; alignment <= 4096; alignment *= 2) {
        void* memory = nullptr;
        ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 10, alignment, 1, "char"));
        EXPECT_EQ(
            reinterpret_cast<std::uintptr_t>(memory) % std::max(alignment, alignof(std::max_align_t)), 0U);
        ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 1000, alignment, 1, "char"));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignment, 0U);
        ORXOsapiHeap_freeMemoryInternal(memory);
    }
    Wide* wide = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&wide, struct Wide));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide) % 128, 0U);
    ORXOsapiHeap_freeStructure(wide);
}

TEST(Heap, ReallocationKeepsTheContentAndZeroesTheRest) {
    dirtyTheHeap();
    unsigned char* bytes = nullptr;
    auto** memory = reinterpret_cast<void**>(&bytes);
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(memory, 10, 1, 1, "char"));
    std::memset(bytes, 7, 10);
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(memory, 500, 1, 1, "char"));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(bytes[i], 7);
    EXPECT_TRUE(isZero(bytes + 10, 490));
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(memory, 3, 1, 1, "char"));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(bytes[i], 7);
    ORXOsapiHeap_freeMemoryInternal(bytes);
}

TEST(Heap, SizeZeroGivesDistinctBuffers) {
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&first, 0, 1, 1, "char"));
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&second, 0, 1, 1, "char"));
    EXPECT_NE(first, nullptr);
    EXPECT_NE(first, second);
    ORXOsapiHeap_freeMemoryInternal(first);
    ORXOsapiHeap_freeMemoryInternal(second);
    ORXOsapiHeap_freeMemoryInternal(nullptr);
}

TEST(Heap, CountersTellLiveBuffersAndAllocations) {
    const std::uint64_t live = ORXOsapiHeap_getLiveBufferCount();
    const std::uint64_t allocations = ORXOsapiHeap_getAllocationCount();
    void* memory = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 8, 1, 1, "char"));
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1);
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 16, 1, 1, "char"));
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1);
    EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), allocations + 2);
    ORXOsapiHeap_freeMemoryInternal(memory);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

struct CountingAllocator {
    std::atomic<int> allocated{0};
    std::atomic<int> freed{0};
    std::atomic<const char*> lastTypeName{nullptr};

    ORXOsapiHeapAllocator allocator() { return {allocate, release, this}; }

    static void* allocate(void* context, std::size_t size, std::size_t, const char* typeName) {
        auto& self = *static_cast<CountingAllocator*>(context);
        ++self.allocated;
        self.lastTypeName = typeName;
        void* memory = std::malloc(size);
        if (memory != nullptr)
            std::memset(memory, 0xEE, size);
        return memory;
    }
    static void release(void* context, void* memory) {
        ++static_cast<CountingAllocator*>(context)->freed;
        std::free(memory);
    }
};

TEST(Heap, BufferGoesBackToTheAllocatorThatMadeIt) {
    CountingAllocator counting;
    const ORXOsapiHeapAllocator allocator = counting.allocator();
    Sample* before = nullptr;
    Sample* during = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&before, struct Sample));
    ORXOsapiHeap_setAllocator(&allocator);
    ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&during, struct Sample));
    EXPECT_TRUE(isZero(during, sizeof *during)) << "zeroed although the allocator's memory is not";
    EXPECT_STREQ(counting.lastTypeName.load(), "struct Sample");
    ORXOsapiHeap_freeStructure(before);
    EXPECT_EQ(counting.freed, 0);
    ORXOsapiHeap_setAllocator(nullptr);
    ORXOsapiHeap_freeStructure(during);
    EXPECT_EQ(counting.allocated, 1);
    EXPECT_EQ(counting.freed, 1);
}

TEST(Heap, FailedReallocationKeepsTheOldBuffer) {
    void* memory = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 4, 1, 1, "char"));
    void* const old = memory;
    std::memcpy(memory, "abc", 4);
    {
        testing_support::FailingHeap heap(1);
        EXPECT_FALSE(ORXOsapiHeap_reallocateMemoryInternal(&memory, 400, 1, 1, "char"));
    }
    EXPECT_EQ(memory, old);
    EXPECT_STREQ(static_cast<char*>(memory), "abc");
    ORXOsapiHeap_freeMemoryInternal(memory);
}

TEST(Heap, AllocatorMayChangeWhileThreadsAllocate) {
    CountingAllocator counting;
    const ORXOsapiHeapAllocator allocator = counting.allocator();
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&stop] {
            while (!stop) {
                Sample* sample = nullptr;
                if (ORXOsapiHeap_allocateStructure(&sample, struct Sample))
                    ORXOsapiHeap_freeStructure(sample);
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        ORXOsapiHeap_setAllocator(i % 2 ? nullptr : &allocator);
        std::this_thread::yield();
    }
    ORXOsapiHeap_setAllocator(nullptr);
    stop = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counting.allocated, counting.freed);
}

#ifdef ZDDS_ADDRESS_SANITIZER
TEST(HeapDeathTest, AccessAroundABufferIsSeen) {
    Sample* sample = nullptr;
    ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&sample, struct Sample));
    EXPECT_DEATH(reinterpret_cast<volatile char*>(sample)[-1] = 1, "AddressSanitizer");
    EXPECT_DEATH(reinterpret_cast<volatile char*>(sample)[sizeof *sample] = 1, "AddressSanitizer");
    ORXOsapiHeap_freeStructure(sample);
}
#endif

} // namespace
