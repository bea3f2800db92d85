#include "zddscore/fast_buffer_pool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "src/support/Sanitizers.hpp"
#include "tests/unit/support/TestHeap.hpp"

namespace {

// Counts what the pool makes and destroys; fails at the n-th initialization.
struct Hooks {
    int made = 0;
    int destroyed = 0;
    int failAt = 0;

    static int initialize(void* buffer, void* param) {
        auto& self = *static_cast<Hooks*>(param);
        if (self.made + 1 == self.failAt)
            return 0;
        ++self.made;
        std::memcpy(buffer, &self.made, sizeof self.made);
        return 1;
    }
    static void finalize(void*, void* param) { ++static_cast<Hooks*>(param)->destroyed; }
};

constexpr REDAFastBufferPoolProperty usual{{2, -1, -1}, 0, 0, 0, 0};

struct Pool {
    explicit Pool(
        const REDAFastBufferPoolProperty& property = usual, std::size_t size = 24, std::size_t alignment = 8)
        : handle(REDAFastBufferPool_newWithParams(size, alignment, Hooks::initialize, &hooks, Hooks::finalize,
              &hooks, &property, "struct Test", 0)) {}
    ~Pool() {
        REDAFastBufferPool_delete(handle);
        EXPECT_EQ(hooks.made, hooks.destroyed);
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    void* get(int size = -1) { return REDAFastBufferPool_getBufferWithSize(handle, size); }
    void giveBack(void* buffer) { REDAFastBufferPool_returnBuffer(handle, buffer); }
    REDAFastBufferPoolInfo info() const {
        REDAFastBufferPoolInfo result{};
        REDAFastBufferPool_getInfo(handle, &result);
        return result;
    }

    Hooks hooks;
    REDAFastBufferPool* handle;
};

TEST(FastBufferPool, InitialBuffersAreMadeAtOnce) {
    Pool pool;
    ASSERT_NE(pool.handle, nullptr);
    EXPECT_EQ(pool.hooks.made, 2);
    const auto info = pool.info();
    EXPECT_EQ(info.bufferSize, 24U);
    EXPECT_EQ(info.bufferAllocated, 2);
    EXPECT_EQ(info.bufferInUse, 0);
    EXPECT_EQ(info.bufferCountLimit, -1);
}

TEST(FastBufferPool, BuffersAreInitializedOnceAndKeepTheirContent) {
    Pool pool;
    void* first = pool.get();
    std::memset(first, 0x77, 24);
    pool.giveBack(first);
    void* again = pool.get();
    ASSERT_EQ(again, first);
    for (int i = 0; i < 24; ++i)
        EXPECT_EQ(static_cast<unsigned char*>(again)[i], 0x77);
    EXPECT_EQ(pool.hooks.made, 2);
    EXPECT_EQ(pool.hooks.destroyed, 0);
}

TEST(FastBufferPool, GrowsByDoublingAndDestroysWhatWasNotReturned) {
    Pool pool;
    std::set<void*> buffers;
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(buffers.insert(pool.get()).second);
    EXPECT_EQ(pool.info().bufferAllocated, 128);
    EXPECT_EQ(pool.info().bufferInUse, 100);
}

TEST(FastBufferPool, GrowsByTheIncrement) {
    Pool pool({{0, -1, 3}, 0, 0, 0, 0});
    EXPECT_EQ(pool.info().bufferAllocated, 0);
    EXPECT_NE(pool.get(), nullptr);
    EXPECT_EQ(pool.info().bufferAllocated, 3);
    Pool fixed({{1, -1, 0}, 0, 0, 0, 0});
    EXPECT_NE(fixed.get(), nullptr);
    EXPECT_EQ(fixed.get(), nullptr) << "no increment, no growth";
}

TEST(FastBufferPool, MaximumIsKeptUnlessIgnored) {
    Pool pool({{2, 5, -1}, 0, 0, 0, 0});
    std::vector<void*> buffers;
    for (int i = 0; i < 5; ++i)
        buffers.push_back(pool.get());
    EXPECT_EQ(pool.get(), nullptr);
    EXPECT_EQ(pool.info().bufferAllocated, 5);
    EXPECT_EQ(pool.info().bufferCountLimit, 5);
    pool.giveBack(buffers[3]);
    EXPECT_EQ(pool.get(), buffers[3]);

    Pool ignoring({{2, 5, -1}, 0, 0, 1, 0});
    for (int i = 0; i < 20; ++i)
        EXPECT_NE(ignoring.get(), nullptr);

    const REDAFastBufferPoolProperty wrong{{6, 5, -1}, 0, 0, 0, 0};
    EXPECT_EQ(
        REDAFastBufferPool_newWithParams(8, 8, nullptr, nullptr, nullptr, nullptr, &wrong, "t", 0), nullptr);
}

TEST(FastBufferPool, BuffersAreAlignedAsAsked) {
    for (std::size_t alignment = 1; alignment <= 256; alignment *= 2) {
        Pool pool(usual, 20, alignment);
        for (int i = 0; i < 10; ++i) {
            void* buffer = pool.get();
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer) % std::max<std::size_t>(alignment, 8), 0U);
            std::memset(buffer, i, 20);
        }
    }
    EXPECT_EQ(
        REDAFastBufferPool_newWithParams(8, 12, nullptr, nullptr, nullptr, nullptr, &usual, "t", 0), nullptr);
}

TEST(FastBufferPool, SizeOfARequestIsChecked) {
    Pool pool;
    EXPECT_NE(pool.get(24), nullptr);
    EXPECT_NE(pool.get(0), nullptr);
    EXPECT_EQ(pool.get(25), nullptr);
}

TEST(FastBufferPool, ContentIsClearedAtEachGetWhenAsked) {
    Pool pool({{1, -1, -1}, 0, 1, 0, 0});
    for (int round = 0; round < 3; ++round) {
        auto* buffer = static_cast<unsigned char*>(pool.get());
        for (int i = 0; i < 24; ++i)
            EXPECT_EQ(buffer[i], 0);
        std::memset(buffer, 0xAA, 24);
        pool.giveBack(buffer);
    }
}

TEST(FastBufferPool, DynamicBuffersGoBackToTheHeap) {
    const auto live = ORXOsapiHeap_getLiveBufferCount();
    {
        Pool pool({{2, -1, -1}, 0, 0, 0, 1});
        std::vector<void*> buffers;
        for (int i = 0; i < 10; ++i)
            buffers.push_back(pool.get());
        EXPECT_EQ(pool.info().bufferAllocated, 10);
        const auto full = ORXOsapiHeap_getLiveBufferCount();
        for (std::size_t i : {4U, 0U, 9U})
            pool.giveBack(buffers[i]);
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), full - 3);
        EXPECT_EQ(pool.info().bufferAllocated, 7);
        EXPECT_EQ(pool.hooks.destroyed, 3);
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST(FastBufferPool, SecondReturnIsIgnored) {
    Pool pool;
    void* first = pool.get();
    pool.giveBack(first);
    pool.giveBack(first);
    EXPECT_EQ(pool.info().bufferInUse, 0);
    EXPECT_NE(pool.get(), pool.get());
    pool.giveBack(nullptr);
}

TEST(FastBufferPool, FailedInitializerFailsTheGrowthAndLosesNothing) {
    for (int failAt = 1; failAt <= 8; ++failAt) {
        Hooks hooks;
        hooks.failAt = failAt;
        auto* pool = REDAFastBufferPool_newWithParams(
            24, 8, Hooks::initialize, &hooks, Hooks::finalize, &hooks, &usual, "struct Test", 0);
        ASSERT_EQ(pool == nullptr, failAt <= 2);
        int got = 0;
        while (pool != nullptr && REDAFastBufferPool_getBufferWithSize(pool, -1) != nullptr)
            ++got;
        EXPECT_EQ(got, failAt <= 2 ? 0 : failAt <= 4 ? 2 : 4);
        REDAFastBufferPool_delete(pool);
        EXPECT_EQ(hooks.made, hooks.destroyed);
    }
}

TEST(FastBufferPool, ModelHoldsUnderRandomOperations) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
        std::mt19937 random(seed);
        const int maximal = seed % 2 ? -1 : 40;
        Pool pool({{2, maximal, seed % 3 ? -1 : 5}, 0, 0, 0, seed % 4 == 0});
        std::map<void*, unsigned char> model;
        for (int step = 0; step < 5000; ++step) {
            if (random() % 2 == 0) {
                void* buffer = pool.get();
                if (buffer == nullptr) {
                    ASSERT_EQ(static_cast<int>(model.size()), maximal);
                    continue;
                }
                const auto fill = static_cast<unsigned char>(random());
                ASSERT_TRUE(model.emplace(buffer, fill).second);
                std::memset(buffer, fill, 24);
            } else if (!model.empty()) {
                auto entry = std::next(model.begin(), static_cast<std::ptrdiff_t>(random() % model.size()));
                for (int i = 0; i < 24; ++i)
                    ASSERT_EQ(static_cast<unsigned char*>(entry->first)[i], entry->second);
                pool.giveBack(entry->first);
                model.erase(entry);
            }
            ASSERT_EQ(pool.info().bufferInUse, static_cast<int>(model.size()));
        }
    }
}

TEST(FastBufferPool, ThreadsShareAPoolThatLocksItself) {
    const REDAFastBufferPoolProperty locked{{2, -1, -1}, 1, 0, 0, 0};
    auto* pool = REDAFastBufferPool_newWithParams(16, 8, nullptr, nullptr, nullptr, nullptr, &locked, "t", 0);
    ASSERT_NE(pool, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([pool, t] {
            for (int i = 0; i < 2000; ++i) {
                auto* buffer = static_cast<int*>(REDAFastBufferPool_getBufferWithSize(pool, -1));
                ASSERT_NE(buffer, nullptr);
                *buffer = t;
                std::this_thread::yield();
                ASSERT_EQ(*buffer, t);
                REDAFastBufferPool_returnBuffer(pool, buffer);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    REDAFastBufferPoolInfo info{};
    REDAFastBufferPool_getInfo(pool, &info);
    EXPECT_EQ(info.bufferInUse, 0);
    EXPECT_LE(info.bufferAllocated, 4);
    REDAFastBufferPool_delete(pool);
}

TEST(FastBufferPool, CreationSurvivesFailedAllocation) {
    for (int dynamic : {0, 1}) {
        const REDAFastBufferPoolProperty property{{2, -1, -1}, 1, 0, 0, dynamic};
        EXPECT_EQ(testing_support::walkAllocationFailures([&property] {
            auto* pool =
                REDAFastBufferPool_newWithParams(8, 8, nullptr, nullptr, nullptr, nullptr, &property, "t", 0);
            if (pool == nullptr)
                return false;
            int got = 0;
            while (got < 3 && REDAFastBufferPool_getBufferWithSize(pool, -1) != nullptr)
                ++got;
            REDAFastBufferPool_delete(pool);
            return got == 3;
        }),
            dynamic ? 5 : 4);
    }
    EXPECT_EQ(
        REDAFastBufferPool_newWithParams(8, 8, nullptr, nullptr, nullptr, nullptr, nullptr, "t", 0), nullptr);
    REDAFastBufferPool_delete(nullptr);
}

#ifdef ZDDS_ADDRESS_SANITIZER
TEST(FastBufferPoolDeathTest, UseOfAReturnedBufferIsSeen) {
    Pool pool;
    auto* buffer = static_cast<volatile char*>(pool.get());
    pool.giveBack(const_cast<char*>(buffer));
    EXPECT_DEATH(buffer[0] = 1, "AddressSanitizer");
}
#endif

} // namespace
