#include "zddscore/skiplist.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "tests/unit/support/TestHeap.hpp"

namespace {

int comparisons = 0;

// Keys are numbers in the place of pointers.
const void* key(int value) {
    return reinterpret_cast<const void*>(std::intptr_t{value});
}
int valueOf(const void* userData) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(userData));
}

int compare(const void* left, const void* right) {
    ++comparisons;
    return (valueOf(left) > valueOf(right)) - (valueOf(left) < valueOf(right));
}

struct List {
    explicit List(int count = 2, ORX_INT8 level = REDASkiplist_getOptimumMaximumLevel(8192)) {
        EXPECT_TRUE(REDASkiplist_newDefaultAllocator(&description, level, count));
        handle = REDASkiplist_new(&description, compare, nullptr, nullptr, nullptr);
    }
    ~List() {
        REDASkiplist_delete(handle);
        REDASkiplist_deleteDefaultAllocator(&description);
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    REDASkiplistNode* add(int value, int* exists = nullptr) {
        return REDASkiplist_assertNodeEA(handle, exists, key(value), 0, 0);
    }
    bool remove(int value) {
        REDASkiplistNode* node = REDASkiplist_removeNodeEA(handle, key(value));
        if (node == nullptr)
            return false;
        EXPECT_EQ(valueOf(node->userData), value);
        REDASkiplist_deleteNode(handle, node);
        return true;
    }
    std::vector<int> values() const {
        std::vector<int> result;
        REDASkiplistNode* node = nullptr;
        for (REDASkiplist_gotoTopNode(handle, &node); REDASkiplist_gotoNextNode(handle, &node);)
            result.push_back(valueOf(node->userData));
        return result;
    }

    REDASkiplistDescription description{};
    REDASkiplist* handle = nullptr;
};

TEST(Skiplist, OptimumLevelIsTheLogarithm) {
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(8192), 13);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(8193), 14);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(3), 2);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(2), 1);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(0), 1);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(-5), 1);
    EXPECT_EQ(REDASkiplist_getOptimumMaximumLevel(0x7FFFFFFF), 31);
}

TEST(Skiplist, FindGivesTheFirstNodeNotBeforeTheKey) {
    List list;
    for (int value : {10, 20, 30})
        list.add(value);
    REDASkiplistNode* node = nullptr;
    int precise = -1;
    EXPECT_TRUE(REDASkiplist_findNode(list.handle, &node, &precise, key(20)));
    EXPECT_EQ(valueOf(node->userData), 20);
    EXPECT_EQ(precise, 1);
    EXPECT_TRUE(REDASkiplist_findNode(list.handle, &node, &precise, key(15)));
    EXPECT_EQ(valueOf(node->userData), 20) << "between two nodes the later one";
    EXPECT_EQ(precise, 0);
    EXPECT_TRUE(REDASkiplist_findNode(list.handle, &node, nullptr, key(0)));
    EXPECT_EQ(valueOf(node->userData), 10);
    EXPECT_FALSE(REDASkiplist_findNode(list.handle, &node, &precise, key(31)));
    EXPECT_EQ(node, nullptr) << "none beyond the last";
    EXPECT_EQ(precise, 0);
    List empty;
    EXPECT_FALSE(REDASkiplist_findNode(empty.handle, &node, &precise, key(1)));
}

TEST(Skiplist, AssertFindsWhatIsThere) {
    List list;
    int exists = -1;
    REDASkiplistNode* first = REDASkiplist_assertNodeEA(list.handle, &exists, key(5), 'c', 77);
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(first->userChar, 'c');
    EXPECT_EQ(first->userInt, 77);
    EXPECT_EQ(REDASkiplist_assertNodeEA(list.handle, &exists, key(5), 'd', 78), first);
    EXPECT_EQ(exists, 1);
    EXPECT_EQ(first->userChar, 'c');
    EXPECT_EQ(list.add(5), first);
    EXPECT_EQ(REDASkiplist_getNodeCount(list.handle), 1);
}

TEST(Skiplist, RemovedNodeIsTheCallersToDelete) {
    List list;
    list.add(5);
    REDASkiplistNode* node = REDASkiplist_removeNodeEA(list.handle, key(5));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(valueOf(node->userData), 5);
    EXPECT_EQ(REDASkiplist_getNodeCount(list.handle), 0);
    EXPECT_EQ(REDASkiplist_removeNodeEA(list.handle, key(5)), nullptr);
    REDASkiplist_deleteNode(list.handle, node);
    REDASkiplist_deleteNode(list.handle, nullptr);
}

TEST(Skiplist, WalkSurvivesTheRemovalOfTheNodeThatItHasLeft) {
    List list;
    for (int value = 0; value < 100; ++value)
        list.add(value);
    REDASkiplistNode* node = nullptr;
    REDASkiplist_gotoTopNode(list.handle, &node);
    int expected = 0;
    bool more = REDASkiplist_gotoNextNode(list.handle, &node) != 0;
    while (more) {
        const int value = valueOf(node->userData);
        EXPECT_EQ(value, expected++);
        more = REDASkiplist_gotoNextNode(list.handle, &node) != 0;
        if (value % 3 == 0) {
            EXPECT_TRUE(list.remove(value));
        }
    }
    EXPECT_EQ(expected, 100);
    EXPECT_EQ(REDASkiplist_getNodeCount(list.handle), 66);
}

TEST(Skiplist, ClearedListIsEmptyAndUsable) {
    List list;
    for (int value = 0; value < 1000; ++value)
        list.add(value);
    REDASkiplist_clearEA(list.handle);
    EXPECT_EQ(REDASkiplist_getNodeCount(list.handle), 0);
    EXPECT_TRUE(list.values().empty());
    list.add(3);
    list.add(1);
    EXPECT_EQ(list.values(), (std::vector<int>{1, 3}));
}

TEST(Skiplist, ModelHoldsUnderRandomOperations) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        std::mt19937 random(seed);
        List list(seed % 2 ? 2 : 1024, static_cast<ORX_INT8>(seed % 3 == 0 ? 0 : 13));
        std::map<int, REDASkiplistNode*> model;
        const auto range = seed % 3 == 0 ? 100U : 2000U;
        for (int step = 0; step < 30000; ++step) {
            const int value = static_cast<int>(random() % range);
            const auto choice = random() % 10;
            if (choice < 4) {
                int exists = -1;
                REDASkiplistNode* node = list.add(value, &exists);
                ASSERT_NE(node, nullptr);
                const auto [entry, inserted] = model.emplace(value, node);
                ASSERT_EQ(exists, !inserted);
                ASSERT_EQ(node, entry->second);
            } else if (choice < 8) {
                ASSERT_EQ(list.remove(value), model.erase(value) == 1);
            } else {
                REDASkiplistNode* node = nullptr;
                int precise = -1;
                const bool found = REDASkiplist_findNode(list.handle, &node, &precise, key(value)) != 0;
                const auto expected = model.lower_bound(value);
                ASSERT_EQ(found, expected != model.end());
                ASSERT_EQ(node, found ? expected->second : nullptr);
                ASSERT_EQ(precise, found && expected->first == value);
            }
            ASSERT_EQ(REDASkiplist_getNodeCount(list.handle), static_cast<int>(model.size()));
            if (step % 1000 != 0)
                continue;
            std::vector<int> values;
            for (const auto& entry : model)
                values.push_back(entry.first);
            ASSERT_EQ(list.values(), values);
            if (random() % 10 == 0) {
                REDASkiplist_clearEA(list.handle);
                model.clear();
            }
        }
        const REDASkiplistNode* previous = nullptr;
        for (const auto& entry : model) {
            if (previous != nullptr) {
                ASSERT_EQ(entry.second->backward, previous);
            }
            previous = entry.second;
        }
    }
}

TEST(Skiplist, SearchCostsTheLogarithm) {
    List list(1024, 17);
    constexpr int count = 100000;
    for (int value = 0; value < count; ++value)
        list.add(value);
    comparisons = 0;
    std::mt19937 random(1);
    constexpr int searches = 2000;
    for (int i = 0; i < searches; ++i) {
        REDASkiplistNode* node = nullptr;
        int precise = 0;
        ASSERT_TRUE(
            REDASkiplist_findNode(list.handle, &node, &precise, key(static_cast<int>(random() % count))));
        ASSERT_EQ(precise, 1);
    }
    EXPECT_LT(comparisons / searches, 4 * 17);
}

TEST(Skiplist, TwoListsShareAnAllocator) {
    List list;
    REDASkiplist* other = REDASkiplist_new(&list.description, compare, nullptr, nullptr, nullptr);
    ASSERT_NE(other, nullptr);
    for (int value = 0; value < 100; ++value) {
        list.add(value);
        REDASkiplist_assertNodeEA(other, nullptr, key(-value), 0, 0);
    }
    REDASkiplist_delete(other);
    EXPECT_EQ(list.values().size(), 100U);
}

TEST(Skiplist, WrongArgumentsAreRefused) {
    REDASkiplistDescription description{};
    EXPECT_FALSE(REDASkiplist_newDefaultAllocator(nullptr, 5, 5));
    EXPECT_FALSE(REDASkiplist_newDefaultAllocator(&description, -1, 5));
    EXPECT_FALSE(REDASkiplist_newDefaultAllocator(&description, 33, 5));
    EXPECT_FALSE(REDASkiplist_newDefaultAllocator(&description, 5, -1));
    EXPECT_EQ(REDASkiplist_new(&description, compare, nullptr, nullptr, nullptr), nullptr) << "not filled";
    EXPECT_EQ(REDASkiplist_new(nullptr, compare, nullptr, nullptr, nullptr), nullptr);
    REDASkiplist_deleteDefaultAllocator(&description);
    REDASkiplist_deleteDefaultAllocator(nullptr);
    REDASkiplist_delete(nullptr);
    ASSERT_TRUE(REDASkiplist_newDefaultAllocator(&description, 5, 0));
    EXPECT_EQ(REDASkiplist_new(&description, nullptr, nullptr, nullptr, nullptr), nullptr);
    REDASkiplist_deleteDefaultAllocator(&description);
    REDASkiplist_deleteDefaultAllocator(&description);
}

TEST(Skiplist, CreationAndInsertionSurviveFailedAllocation) {
    EXPECT_GT(testing_support::walkAllocationFailures([] {
        REDASkiplistDescription description{};
        if (!REDASkiplist_newDefaultAllocator(&description, 4, 2))
            return false;
        REDASkiplist* list = REDASkiplist_new(&description, compare, nullptr, nullptr, nullptr);
        bool filled = list != nullptr;
        for (int value = 0; value < 50 && filled; ++value)
            filled = REDASkiplist_assertNodeEA(list, nullptr, key(value), 0, 0) != nullptr;
        REDASkiplist_delete(list);
        REDASkiplist_deleteDefaultAllocator(&description);
        return filled;
    }),
        8);
}

} // namespace
