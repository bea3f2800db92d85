#include "zddscore/inline_memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <random>
#include <vector>

#include "src/support/Sanitizers.hpp"
#include "tests/unit/support/TestHeap.hpp"
#include "zddscore/inline_memory_bound.h"

namespace {

// A lower level that counts, fails on demand, and gives memory of a poor alignment.
struct LowerLevel {
    int calls = 0;
    int alive = 0;
    int failFrom = INT_MAX;
    std::size_t offset = 0;

    static void* allocate(void* data, std::size_t size) {
        auto& self = *static_cast<LowerLevel*>(data);
        if (++self.calls >= self.failFrom)
            return nullptr;
        ++self.alive;
        auto* memory = static_cast<std::byte*>(std::malloc(size + 16));
        std::memset(memory, 0x5A, size + 16);
        return memory + self.offset;
    }
    static void release(void* data, void* memory) {
        auto& self = *static_cast<LowerLevel*>(data);
        --self.alive;
        std::free(static_cast<std::byte*>(memory) - self.offset);
    }
};

REDAInlineMemoryProperty propertyOf(LowerLevel& level, REDAInlineMemorySize initial = 1024,
    REDAInlineMemorySize maximal = INT_MAX, ORX_UINT32 increment = 50) {
    return {initial, maximal, increment, 0, 0, LowerLevel::allocate, LowerLevel::release, &level};
}

REDAInlineMemoryInfo infoOf(const REDAInlineMemory* arena) {
    REDAInlineMemoryInfo info{};
    REDAInlineMemory_getInfo(arena, &info);
    return info;
}

// An arena whose memory is given back at the end.
struct Arena {
    explicit Arena(const REDAInlineMemoryProperty& property) : manager(REDAInlineMemory_new(&property)) {}
    ~Arena() { REDAInlineMemory_delete(manager); }
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    void* reserve(int size, int alignment = 1) {
        return REDAInlineMemory_reserveBufferI(&manager, size, alignment);
    }

    REDAInlineMemory* manager;
};

TEST(InlineMemory, EveryBufferIsAlignedForAnyType) {
    LowerLevel level;
    for (std::size_t offset : {std::size_t{0}, std::size_t{1}, std::size_t{8}}) {
        level.offset = offset;
        Arena arena(propertyOf(level));
        ASSERT_NE(arena.manager, nullptr);
        for (int size = 0; size < 100; ++size) {
            for (int alignment : {0, 1, 2, 4, 8, 16}) {
                void* buffer = arena.reserve(size, alignment);
                ASSERT_NE(buffer, nullptr);
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % alignof(std::max_align_t), 0U);
                std::memset(buffer, 1, static_cast<std::size_t>(size));
            }
        }
    }
    EXPECT_EQ(level.alive, 0);
}

TEST(InlineMemory, LargerAlignmentsAreHonoured) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    std::mt19937 random(3);
    std::deque<void*> queue;
    for (int i = 0; i < 5000; ++i) {
        const int alignment = 1 << (random() % 9);
        void* buffer = arena.reserve(static_cast<int>(random() % 60), alignment);
        ASSERT_NE(buffer, nullptr);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % static_cast<unsigned>(alignment), 0U);
        queue.push_back(buffer);
        if (queue.size() < 20)
            continue;
        ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
        queue.pop_front();
    }
    EXPECT_LE(infoOf(arena.manager).blockBytes, 64U * 1024U);
}

TEST(InlineMemory, WrongArgumentsAreRefused) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    EXPECT_EQ(arena.reserve(-1), nullptr);
    EXPECT_EQ(arena.reserve(8, -1), nullptr);
    EXPECT_EQ(arena.reserve(8, 24), nullptr);
    EXPECT_EQ(REDAInlineMemory_reserveBufferI(nullptr, 8, 1), nullptr);
    EXPECT_FALSE(REDAInlineMemBuffer_release(nullptr));
    auto* buffer = static_cast<char*>(arena.reserve(64));
    EXPECT_FALSE(REDAInlineMemBuffer_release(buffer + 1));
    EXPECT_EQ(REDAInlineMemory_new(nullptr), nullptr);
    auto property = propertyOf(level, 1024, 512);
    EXPECT_EQ(REDAInlineMemory_new(&property), nullptr) << "the first block is beyond the bound";
    property = propertyOf(level, -5);
    EXPECT_EQ(REDAInlineMemory_new(&property), nullptr);
    REDAInlineMemory_delete(nullptr);
}

TEST(InlineMemory, SmallBufferAlwaysFits) {
    LowerLevel level;
    Arena arena(propertyOf(level, 0, 128));
    ASSERT_NE(arena.manager, nullptr);
    EXPECT_NE(arena.reserve(64), nullptr);
}

TEST(InlineMemory, SecondReleaseFails) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    void* first = arena.reserve(10);
    void* second = arena.reserve(10);
    EXPECT_TRUE(REDAInlineMemBuffer_release(first));
    EXPECT_FALSE(REDAInlineMemBuffer_release(first));
    EXPECT_TRUE(REDAInlineMemBuffer_release(second));
    EXPECT_FALSE(REDAInlineMemBuffer_release(second));
    EXPECT_FALSE(REDAInlineMemBuffer_release(first));
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 0U);
}

TEST(InlineMemory, ReleaseFromBeforeAResetFails) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    void* stale = arena.reserve(10);
    REDAInlineMemory_reset(arena.manager);
    EXPECT_FALSE(REDAInlineMemBuffer_release(stale));
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 0U);
}

TEST(InlineMemory, ResetTakesEverythingBackAndKeepsTheBlocks) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 200; ++i)
            ASSERT_NE(arena.reserve(100), nullptr);
        const REDAInlineMemoryInfo before = infoOf(arena.manager);
        EXPECT_EQ(before.liveBuffers, 200U);
        EXPECT_EQ(before.usedBytes, 200U * 128U);
        REDAInlineMemory_reset(arena.manager);
        const REDAInlineMemoryInfo after = infoOf(arena.manager);
        EXPECT_EQ(after.liveBuffers, 0U);
        EXPECT_EQ(after.usedBytes, 0U);
        EXPECT_EQ(after.blockBytes, before.blockBytes);
    }
    const int calls = level.calls;
    for (int i = 0; i < 200; ++i)
        ASSERT_NE(arena.reserve(100), nullptr);
    EXPECT_EQ(level.calls, calls);
}

TEST(InlineMemory, BuffersAreZeroedWhenAsked) {
    LowerLevel level;
    auto property = propertyOf(level);
    property.initializeBuffersToZero = 1;
    Arena arena(property);
    for (int i = 0; i < 200; ++i) {
        auto* buffer = static_cast<unsigned char*>(arena.reserve(50));
        ASSERT_NE(buffer, nullptr);
        for (int b = 0; b < 50; ++b)
            ASSERT_EQ(buffer[b], 0);
        std::memset(buffer, 0xFF, 50);
        ASSERT_TRUE(REDAInlineMemBuffer_release(buffer));
    }
}

TEST(InlineMemory, StaysBelowItsMaximumAndRecovers) {
    LowerLevel level;
    Arena arena(propertyOf(level, 512, 4096));
    std::deque<void*> queue;
    while (void* buffer = arena.reserve(48)) {
        queue.push_back(buffer);
        ASSERT_LT(queue.size(), 1000U);
    }
    EXPECT_LE(infoOf(arena.manager).blockBytes, 4096U);
    EXPECT_GE(queue.size(), 4096U / 64U - 8U);
    // A full queue goes on, one out and one in, for ever.
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
        queue.pop_front();
        void* buffer = arena.reserve(48);
        ASSERT_NE(buffer, nullptr) << i;
        queue.push_back(buffer);
    }
    EXPECT_EQ(arena.reserve(48), nullptr);
    EXPECT_EQ(arena.reserve(INT_MAX), nullptr);
}

TEST(InlineMemory, ContiguousArenaHasOneBlockAndGoesRound) {
    LowerLevel level;
    auto property = propertyOf(level, 1024);
    property.forceContiguousMemory = 1;
    Arena arena(property);
    std::deque<void*> queue;
    for (int i = 0; i < 10; ++i)
        queue.push_back(arena.reserve(20 + i));
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
        queue.pop_front();
        void* buffer = arena.reserve(20 + i % 17);
        ASSERT_NE(buffer, nullptr) << i;
        queue.push_back(buffer);
    }
    EXPECT_EQ(infoOf(arena.manager).blocks, 1U);
    while (arena.reserve(100) != nullptr) {
    }
    EXPECT_EQ(infoOf(arena.manager).blocks, 1U);
}

// The oldest goes last, and a release steps over some of those behind it only.
TEST(InlineMemory, WhatAnOldBufferKeptIsFoundAtTheBound) {
    LowerLevel level;
    REDAInlineMemoryProperty property = propertyOf(level, 64 * 1024);
    property.forceContiguousMemory = 1;
    Arena arena(property);
    void* oldest = arena.reserve(16);
    std::vector<void*> others;
    while (void* buffer = arena.reserve(16))
        others.push_back(buffer);
    void* youngest = others.back();
    others.pop_back();
    ASSERT_GT(others.size(), 1000U);
    for (void* buffer : others)
        ASSERT_TRUE(REDAInlineMemBuffer_release(buffer));
    ASSERT_TRUE(REDAInlineMemBuffer_release(oldest));
    void* large = arena.reserve(60 * 1024);
    EXPECT_NE(large, nullptr);
    EXPECT_TRUE(REDAInlineMemBuffer_release(large));
    EXPECT_TRUE(REDAInlineMemBuffer_release(youngest));
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 0U);
}

TEST(InlineMemory, WhatAnOldBufferKeptIsUsedAgainByAQueue) {
    LowerLevel level;
    Arena arena(propertyOf(level, 64 * 1024));
    std::deque<void*> queue{arena.reserve(16)};
    for (int round = 0; round < 20; ++round) {
        // It grows behind one old buffer, which goes last; one young one stays.
        for (int i = 0; i < 1900; ++i)
            queue.push_back(arena.reserve(16));
        for (std::size_t i = 1; i + 1 < queue.size(); ++i)
            ASSERT_TRUE(REDAInlineMemBuffer_release(queue[i]));
        ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
        queue = {queue.back()};
        // A short queue meanwhile: the head catches up.
        for (int i = 0; i < 100; ++i) {
            queue.push_back(arena.reserve(16));
            ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
            queue.pop_front();
        }
    }
    EXPECT_LE(infoOf(arena.manager).blocks, 3U);
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 1U);
}

TEST(InlineMemory, BufferLargerThanEveryBlockGetsABlock) {
    LowerLevel level;
    Arena arena(propertyOf(level, 128));
    auto* buffer = static_cast<char*>(arena.reserve(1 << 20));
    ASSERT_NE(buffer, nullptr);
    std::memset(buffer, 1, 1 << 20);
    EXPECT_TRUE(REDAInlineMemBuffer_release(buffer));
    const int calls = level.calls;
    EXPECT_NE(arena.reserve(1 << 20), nullptr);
    EXPECT_EQ(level.calls, calls);
}

TEST(InlineMemory, QueueOfSteadyLengthMakesNoHeapCallAfterWarmUp) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
        LowerLevel level;
        Arena arena(propertyOf(level));
        std::mt19937 random(seed);
        std::deque<void*> queue;
        std::uint64_t bytes = 0;
        const auto turn = [&](std::size_t length) {
            while (queue.size() > length) {
                ASSERT_TRUE(REDAInlineMemBuffer_release(queue.front()));
                queue.pop_front();
            }
            const int size = static_cast<int>(random() % 300);
            bytes += static_cast<std::uint64_t>(size);
            queue.push_back(arena.reserve(size));
            ASSERT_NE(queue.back(), nullptr);
        };
        for (int i = 0; i < 20000; ++i)
            turn(random() % 200);
        const int calls = level.calls;
        for (int i = 0; i < 200000; ++i)
            turn(random() % 200);
        EXPECT_EQ(level.calls, calls);
        EXPECT_LE(infoOf(arena.manager).blockBytes, 4U * 200U * 350U) << "a small multiple of the queue";
    }
}

TEST(InlineMemory, ModelHoldsUnderRandomOperations) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        LowerLevel level;
        const REDAInlineMemorySize maximal = seed % 2 ? INT_MAX : 20000;
        Arena arena(propertyOf(level, 512, maximal, seed * 10));
        std::mt19937 random(seed);
        struct Live {
            int size;
            unsigned char fill;
        };
        std::map<char*, Live> live; // by address, to see overlaps
        std::vector<char*> order;
        for (int step = 0; step < 4000; ++step) {
            const auto choice = random() % 1000;
            if (choice == 0) {
                REDAInlineMemory_reset(arena.manager);
                live.clear();
                order.clear();
            } else if (choice < 520) {
                const int size = static_cast<int>(random() % 8 == 0 ? random() % 2000 : random() % 100);
                const int alignment = random() % 10 == 0 ? 64 : 1;
                auto* buffer = static_cast<char*>(arena.reserve(size, alignment));
                if (buffer == nullptr) {
                    ASSERT_NE(maximal, INT_MAX);
                    continue;
                }
                const auto next = live.lower_bound(buffer);
                if (next != live.end()) {
                    ASSERT_LE(buffer + size, next->first - 16);
                }
                if (next != live.begin()) {
                    ASSERT_GE(buffer - 16, std::prev(next)->first + std::prev(next)->second.size);
                }
                const auto fill = static_cast<unsigned char>(random());
                std::memset(buffer, fill, static_cast<std::size_t>(size));
                live[buffer] = {size, fill};
                order.push_back(buffer);
            } else if (!order.empty()) {
                // Mostly the oldest, at times any.
                const std::size_t index = random() % 4 == 0 ? random() % order.size() : 0;
                char* buffer = order[index];
                order.erase(order.begin() + static_cast<std::ptrdiff_t>(index));
                const Live entry = live.at(buffer);
                for (int b = 0; b < entry.size; ++b)
                    ASSERT_EQ(static_cast<unsigned char>(buffer[b]), entry.fill);
                live.erase(buffer);
                ASSERT_TRUE(REDAInlineMemBuffer_release(buffer));
            }
            const REDAInlineMemoryInfo info = infoOf(arena.manager);
            ASSERT_EQ(info.liveBuffers, live.size());
            ASSERT_LE(info.usedBytes, info.blockBytes);
            ASSERT_LE(info.blockBytes, static_cast<std::size_t>(maximal));
        }
        for (char* buffer : order)
            ASSERT_TRUE(REDAInlineMemBuffer_release(buffer));
        EXPECT_EQ(infoOf(arena.manager).usedBytes, 0U);
    }
}

TEST(InlineMemory, FailureOfTheLowerLevelIsNull) {
    for (int failFrom = 1; failFrom <= 2; ++failFrom) {
        LowerLevel level;
        level.failFrom = failFrom;
        const auto property = propertyOf(level);
        EXPECT_EQ(REDAInlineMemory_new(&property), nullptr);
        EXPECT_EQ(level.alive, 0);
    }
    LowerLevel level;
    level.failFrom = 3;
    Arena arena(propertyOf(level));
    ASSERT_NE(arena.manager, nullptr);
    std::vector<void*> buffers;
    while (void* buffer = arena.reserve(100))
        buffers.push_back(buffer);
    EXPECT_EQ(buffers.size(), 8U);
    for (void* buffer : buffers)
        EXPECT_TRUE(REDAInlineMemBuffer_release(buffer));
    EXPECT_NE(arena.reserve(100), nullptr);
}

TEST(InlineMemory, HeapIsTheOrdinaryLowerLevel) {
    REDAInlineMemoryProperty property{1024, INT_MAX, 50, 0, 0,
        REDAInlineMemoryLowerLevelAllocator_mallocAllocate, REDAInlineMemoryLowerLevelAllocator_mallocFree,
        nullptr};
    EXPECT_EQ(testing_support::walkAllocationFailures([&property] {
        REDAInlineMemory* arena = REDAInlineMemory_new(&property);
        if (arena == nullptr)
            return false;
        const bool grown = REDAInlineMemory_reserveBufferI(&arena, 5000, 1) != nullptr;
        REDAInlineMemory_delete(arena);
        return grown;
    }),
        3);
}

// The bound of the process, put back at the end.
struct OpenMaximal {
    explicit OpenMaximal(REDAInlineMemorySize maximal) {
        EXPECT_TRUE(REDAInlineMemory_setOpenMaximalI(maximal));
    }
    ~OpenMaximal() { EXPECT_TRUE(REDAInlineMemory_setOpenMaximalI(REDA_INLINE_MEMORY_MAXIMAL_OPEN)); }
    OpenMaximal(const OpenMaximal&) = delete;
    OpenMaximal& operator=(const OpenMaximal&) = delete;
};

TEST(InlineMemory, TheProcessBoundsArenasThatLeaveTheirBoundOpen) {
    LowerLevel level;
    Arena before(propertyOf(level));
    const OpenMaximal open(4096);
    Arena bounded(propertyOf(level));
    Arena negative(propertyOf(level, 1024, -1));
    Arena own(propertyOf(level, 1024, 8192));
    Arena first(propertyOf(level, 6000)); // larger than the bound from the start
    for (Arena* arena : {&before, &bounded, &negative, &own, &first})
        for (int i = 0; i < 200; ++i)
            (void)arena->reserve(100);
    EXPECT_GT(infoOf(before.manager).blockBytes, 8192U);
    EXPECT_EQ(infoOf(bounded.manager).blockBytes, 4096U);
    EXPECT_EQ(infoOf(negative.manager).blockBytes, 4096U);
    EXPECT_EQ(infoOf(own.manager).blockBytes, 8192U);
    EXPECT_EQ(infoOf(first.manager).blockBytes, 6000U);
    EXPECT_FALSE(REDAInlineMemory_setOpenMaximalI(0));
    EXPECT_FALSE(REDAInlineMemory_setOpenMaximalI(-1));
}

TEST(InlineMemory, RefusalsAtTheBoundAreCountedAndMissingMemoryIsNot) {
    LowerLevel level;
    const OpenMaximal open(1024);
    Arena arena(propertyOf(level));
    const auto before = REDAInlineMemory_getRefusalCountI();
    std::vector<void*> live;
    while (void* buffer = arena.reserve(100))
        live.push_back(buffer);
    EXPECT_EQ(arena.reserve(2000), nullptr);
    EXPECT_EQ(REDAInlineMemory_getRefusalCountI() - before, 2U);
    ASSERT_FALSE(live.empty());
    for (void* buffer : live)
        EXPECT_TRUE(REDAInlineMemBuffer_release(buffer));
    EXPECT_NE(arena.reserve(100), nullptr) << "what was released is there again";
    EXPECT_EQ(REDAInlineMemory_getRefusalCountI() - before, 2U);
    LowerLevel poor;
    Arena growing(propertyOf(poor, 128, 4096));
    poor.failFrom = 0;
    while (growing.reserve(100) != nullptr) {
    }
    EXPECT_EQ(REDAInlineMemory_getRefusalCountI() - before, 2U);
}

#ifdef ZDDS_ADDRESS_SANITIZER
TEST(InlineMemoryDeathTest, UseOfAReleasedBufferIsSeen) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    auto* buffer = static_cast<volatile char*>(arena.reserve(20));
    EXPECT_DEATH(buffer[20] = 1, "AddressSanitizer");
    ASSERT_TRUE(REDAInlineMemBuffer_release(const_cast<char*>(buffer)));
    EXPECT_DEATH(buffer[0] = 1, "AddressSanitizer");
}
#endif

TEST(InlineMemoryString, CopyIsMadeInTheArena) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    char* text = nullptr;
    EXPECT_STREQ(ORXCdrType_copyStringExWMemoryManager(&text, &arena.manager, "one", 0x7FFFFFFF, 1), "one");
    char* const first = text;
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 1U);
    EXPECT_STREQ(
        ORXCdrType_copyStringExWMemoryManager(&text, &arena.manager, "another", 0xFFFFFFFE, 1), "another");
    EXPECT_EQ(infoOf(arena.manager).liveBuffers, 1U) << "the first copy was released";
    EXPECT_EQ(text, first) << "and its place used again";
    ASSERT_TRUE(REDAInlineMemBuffer_release(text));
}

TEST(InlineMemoryString, TooLongTextIsRefused) {
    LowerLevel level;
    Arena arena(propertyOf(level));
    char* text = nullptr;
    EXPECT_EQ(ORXCdrType_copyStringExWMemoryManager(&text, &arena.manager, "four", 3, 1), nullptr);
    EXPECT_EQ(text, nullptr);
    EXPECT_NE(ORXCdrType_copyStringExWMemoryManager(&text, &arena.manager, "four", 4, 1), nullptr);
    EXPECT_EQ(ORXCdrType_copyStringExWMemoryManager(&text, &arena.manager, nullptr, 4, 1), nullptr);
    EXPECT_EQ(ORXCdrType_copyStringExWMemoryManager(nullptr, &arena.manager, "four", 4, 1), nullptr);
}

TEST(InlineMemoryString, WithoutAllocationTheBufferIsFilledInPlace) {
    char buffer[8] = "";
    char* text = buffer;
    EXPECT_EQ(ORXCdrType_copyStringExWMemoryManager(&text, nullptr, "seven77", 7, 0), buffer);
    EXPECT_STREQ(buffer, "seven77");
    text = nullptr;
    EXPECT_EQ(ORXCdrType_copyStringExWMemoryManager(&text, nullptr, "seven77", 7, 0), nullptr);
}

TEST(InlineMemoryString, WithoutArenaTheHeapIsUsed) {
    const auto live = ORXOsapiHeap_getLiveBufferCount();
    char* text = nullptr;
    ASSERT_STREQ(ORXCdrType_copyStringExWMemoryManager(&text, nullptr, "one", 100, 1), "one");
    ASSERT_STREQ(ORXCdrType_copyStringExWMemoryManager(&text, nullptr, "two", 100, 1), "two");
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live + 1);
    ORXOsapiHeap_freeMemoryInternal(text);
}

} // namespace
