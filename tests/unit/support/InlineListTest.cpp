#include "zddscore/inline_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "tests/unit/support/TestHeap.hpp"

namespace {

struct Element {
    REDAInlineListNode node{};
    int value = 0;
    int producer = 0;
};

std::vector<int> valuesOf(const REDAInlineList& list) {
    std::vector<int> values;
    for (auto* node = REDAInlineList_getFirst(&list); node != nullptr;
         node = REDAInlineListNode_getNext(node))
        values.push_back(reinterpret_cast<const Element*>(node)->value);
    return values;
}

std::vector<int> valuesBackwards(const REDAInlineList& list) {
    std::vector<int> values;
    const auto* head = &list._dummyNode;
    auto* node = REDAInlineList_getLast(&list);
    for (; node != nullptr && node != head; node = REDAInlineListNode_getPrev(node))
        values.push_back(reinterpret_cast<const Element*>(node)->value);
    std::reverse(values.begin(), values.end());
    return values;
}

TEST(InlineList, EmptyListHasNoEnds) {
    REDAInlineList list;
    REDAInlineList_init(&list);
    EXPECT_EQ(REDAInlineList_getFirst(&list), nullptr);
    EXPECT_EQ(REDAInlineList_getLast(&list), nullptr);
    EXPECT_EQ(list._size, 0);
}

TEST(InlineList, PreviousOfTheFirstIsTheHead) {
    REDAInlineList list;
    REDAInlineList_init(&list);
    Element a;
    Element b;
    REDAInlineList_addNodeToBackEA(&list, &b.node);
    EXPECT_EQ(REDAInlineListNode_getPrev(&b.node), &list._dummyNode);
    REDAInlineList_addNodeToFrontEA(&list, &a.node);
    EXPECT_EQ(REDAInlineListNode_getPrev(&a.node), &list._dummyNode);
    EXPECT_EQ(REDAInlineListNode_getPrev(&b.node), &a.node);
    EXPECT_EQ(REDAInlineListNode_getNext(&list._dummyNode), &a.node);
    REDAInlineList_removeNodeEA(&list, &a.node);
    EXPECT_EQ(REDAInlineListNode_getPrev(&b.node), &list._dummyNode);
}

TEST(InlineList, RemovedNodeIsCleanAndMayBeAddedAgain) {
    REDAInlineList list;
    REDAInlineList other;
    REDAInlineList_init(&list);
    REDAInlineList_init(&other);
    Element element;
    REDAInlineList_addNodeToBackEA(&list, &element.node);
    EXPECT_EQ(element.node.inlineList, &list);
    REDAInlineList_removeNodeEA(&list, &element.node);
    EXPECT_EQ(element.node.inlineList, nullptr);
    EXPECT_EQ(element.node.next, nullptr);
    EXPECT_EQ(element.node.prev, nullptr);
    EXPECT_EQ(REDAInlineList_getLast(&list), nullptr);
    REDAInlineList_addNodeToBackEA(&other, &element.node);
    REDAInlineList_removeNodeEA(&list, &element.node);
    EXPECT_EQ(other._size, 1) << "a list does not touch another's node";
}

TEST(InlineList, BehavesLikeAListUnderRandomOperations) {
    std::mt19937 random(7);
    REDAInlineList list;
    REDAInlineList_init(&list);
    std::list<int> model;
    std::vector<std::unique_ptr<Element>> elements;
    std::vector<Element*> outside;
    for (int i = 0; i < 64; ++i) {
        elements.push_back(std::make_unique<Element>());
        elements.back()->value = i;
        outside.push_back(elements.back().get());
    }
    const auto positionOf = [&model](int value) { return std::find(model.begin(), model.end(), value); };
    for (int step = 0; step < 20000; ++step) {
        const bool add = !outside.empty() && (model.empty() || random() % 2 == 0);
        if (add) {
            std::swap(outside[random() % outside.size()], outside.back());
            Element* element = outside.back();
            outside.pop_back();
            switch (random() % 3) {
            case 0:
                REDAInlineList_addNodeToBackEA(&list, &element->node);
                model.push_back(element->value);
                break;
            case 1:
                REDAInlineList_addNodeToFrontEA(&list, &element->node);
                model.push_front(element->value);
                break;
            default: {
                // After a member, or after the head.
                const std::size_t index = random() % (model.size() + 1);
                auto position = std::next(model.begin(), static_cast<std::ptrdiff_t>(index));
                auto* after = index == 0 ? &list._dummyNode
                                         : &elements[static_cast<std::size_t>(*std::prev(position))]->node;
                REDAInlineList_addNodeAfterEA(&list, after, &element->node);
                model.insert(position, element->value);
            }
            }
        } else {
            const auto index = static_cast<std::ptrdiff_t>(random() % model.size());
            const int value = *std::next(model.begin(), index);
            REDAInlineList_removeNodeEA(&list, &elements[static_cast<std::size_t>(value)]->node);
            model.erase(positionOf(value));
            outside.push_back(elements[static_cast<std::size_t>(value)].get());
        }
        ASSERT_EQ(REDAInlineList_getSize(&list), static_cast<int>(model.size()));
        ASSERT_EQ(list._size, static_cast<int>(model.size()));
        const std::vector<int> expected(model.begin(), model.end());
        ASSERT_EQ(valuesOf(list), expected);
        ASSERT_EQ(valuesBackwards(list), expected);
    }
}

TEST(InlineList, ConsumerWalksBesideProducers) {
    constexpr int producers = 3;
    constexpr int perProducer = 5000;
    REDAInlineList list;
    REDAInlineList_init(&list);
    std::vector<std::vector<Element>> elements(producers);
    for (auto& mine : elements)
        mine.resize(perProducer);
    std::mutex mutex;
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < perProducer; ++i) {
                Element& element = elements[static_cast<std::size_t>(p)][static_cast<std::size_t>(i)];
                element.value = i; // plain writes that the consumer must see
                element.producer = p;
                std::lock_guard lock(mutex);
                REDAInlineList_addNodeToBackEA(&list, &element.node);
            }
        });
    }
    std::vector<int> next(producers, 0);
    int seen = 0;
    REDAInlineListNode* cursor = &list._dummyNode;
    while (seen < producers * perProducer) {
        REDAInlineListNode* last = REDAInlineList_getLast(&list);
        if (last == nullptr)
            continue;
        while (cursor != last) {
            cursor = REDAInlineListNode_getNext(cursor);
            ASSERT_NE(cursor, nullptr);
            const auto& element = *reinterpret_cast<const Element*>(cursor);
            int& expected = next[static_cast<std::size_t>(element.producer)];
            ASSERT_EQ(element.value, expected);
            ++expected;
            ++seen;
        }
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(list._size, producers * perProducer);
}

TEST(InlineList, CreationSurvivesFailedAllocation) {
    EXPECT_EQ(testing_support::walkAllocationFailures([] {
        REDAInlineList* list = REDAInlineList_new();
        if (list == nullptr)
            return false;
        EXPECT_EQ(REDAInlineList_getLast(list), nullptr);
        REDAInlineList_delete(list);
        return true;
    }),
        1);
    REDAInlineList_delete(nullptr);
}

} // namespace
