#include "zddscore/skiplist.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "zddscore/fast_buffer_pool.h"
#include "zddscore/heap.h"

namespace {

constexpr int highestLevel = 32;

using Node = REDASkiplistNode;

constexpr std::size_t nodeSize(int level) {
    return offsetof(Node, forward) + (static_cast<std::size_t>(level) + 1) * sizeof(Node*);
}

// One pool for each level, and the state of the generator of levels.
struct NodeAllocator {
    REDAFastBufferPool* pools[highestLevel + 1];
    int maximumLevel;
    std::uint64_t random;
};

Node* createNode(void* param, int level) {
    auto& allocator = *static_cast<NodeAllocator*>(param);
    auto* node = static_cast<Node*>(REDAFastBufferPool_getBufferWithSize(allocator.pools[level], -1));
    if (node != nullptr)
        node->level = static_cast<ORX_INT8>(level);
    return node;
}

void destroyNode(void* param, Node* node) {
    auto& allocator = *static_cast<NodeAllocator*>(param);
    REDAFastBufferPool_returnBuffer(allocator.pools[static_cast<int>(node->level)], node);
}

// Level n with probability 2^-(n+1), by xorshift; what is indexed has no influence on it.
int generateLevel(void* param) {
    auto& allocator = *static_cast<NodeAllocator*>(param);
    std::uint64_t x = allocator.random;
    x ^= x << 13U;
    x ^= x >> 7U;
    x ^= x << 17U;
    allocator.random = x;
    return std::min(std::countr_zero(x | std::uint64_t{1} << 63U), allocator.maximumLevel);
}

void deleteAllocator(NodeAllocator* allocator) {
    for (REDAFastBufferPool* pool : allocator->pools)
        REDAFastBufferPool_delete(pool);
    ORXOsapiHeap_freeStructure(allocator);
}

REDAFastBufferPool* newPool(int level, int nodeCount) {
    REDAFastBufferPoolProperty property{};
    // All that the higher levels expect is at most one node.
    property.growth = {level < 31 ? nodeCount >> (level + 1) : 0, REDA_FAST_BUFFER_POOL_UNLIMITED, -1};
    return REDAFastBufferPool_newWithParams(
        nodeSize(level), alignof(Node), nullptr, nullptr, nullptr, nullptr, &property, "REDASkiplistNode", 0);
}

} // namespace

struct REDASkiplist {
    REDASkiplistDescription* description;
    REDASkiplistCompareFunction compare;
    Node* head; // of the maximum level, without user data
    int level;  // highest that is in use
    int count;
};

namespace {

// The last node before `key` on each level in use, found from the top; returns the one on level 0.
Node* findBefore(const REDASkiplist& list, const void* key, Node** before) {
    Node* node = list.head;
    const Node* known = nullptr; // is not ordered before the key, as a higher level found
    for (int level = list.level; level >= 0; --level) {
        for (Node* next = node->forward[level]; next != nullptr && next != known;
             next = node->forward[level]) {
            if (list.compare(next->userData, key) >= 0) {
                known = next;
                break;
            }
            node = next;
        }
        if (before != nullptr)
            before[level] = node;
    }
    return node;
}

Node* newNode(REDASkiplist& list) {
    const REDASkiplistDescription& description = *list.description;
    const int level = description.nodeLevelGenerateFnc(description.nodeLevelGenerateParam);
    return description.nodeCreateFnc(
        description.nodeCreateParam, std::clamp(level, 0, int{description.maximumLevel}));
}

} // namespace

ORX_INT8 REDASkiplist_getOptimumMaximumLevel(int nodeCount) {
    if (nodeCount <= 2)
        return 1;
    return static_cast<ORX_INT8>(std::bit_width(static_cast<unsigned>(nodeCount) - 1U));
}

int REDASkiplist_newDefaultAllocator(
    REDASkiplistDescription* description, ORX_INT8 maximumLevel, int nodeCount) {
    if (description == nullptr || maximumLevel < 0 || maximumLevel > highestLevel || nodeCount < 0)
        return ORX_FALSE;
    *description = {};
    NodeAllocator* allocator = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&allocator, struct NodeAllocator))
        return ORX_FALSE;
    allocator->maximumLevel = maximumLevel;
    allocator->random = 0x9E3779B97F4A7C15U;
    for (int level = 0; level <= maximumLevel; ++level) {
        allocator->pools[level] = newPool(level, nodeCount);
        if (allocator->pools[level] == nullptr) {
            deleteAllocator(allocator);
            return ORX_FALSE;
        }
    }
    *description = {createNode, allocator, destroyNode, allocator, generateLevel, allocator, maximumLevel};
    return ORX_TRUE;
}

void REDASkiplist_deleteDefaultAllocator(REDASkiplistDescription* description) {
    if (description == nullptr || description->nodeCreateParam == nullptr)
        return;
    deleteAllocator(static_cast<NodeAllocator*>(description->nodeCreateParam));
    *description = {};
}

REDASkiplist* REDASkiplist_new(
    REDASkiplistDescription* description, REDASkiplistCompareFunction compare, void*, void*, void*) {
    if (description == nullptr || description->nodeCreateFnc == nullptr || compare == nullptr)
        return nullptr;
    REDASkiplist* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct REDASkiplist))
        return nullptr;
    self->description = description;
    self->compare = compare;
    self->head = description->nodeCreateFnc(description->nodeCreateParam, description->maximumLevel);
    if (self->head == nullptr) {
        ORXOsapiHeap_freeStructure(self);
        return nullptr;
    }
    self->head->userData = nullptr;
    self->head->backward = nullptr;
    std::fill_n(self->head->forward, description->maximumLevel + 1, nullptr);
    return self;
}

void REDASkiplist_delete(REDASkiplist* self) {
    if (self == nullptr)
        return;
    REDASkiplist_clearEA(self);
    REDASkiplist_deleteNode(self, self->head);
    ORXOsapiHeap_freeStructure(self);
}

void REDASkiplist_clearEA(REDASkiplist* self) {
    for (Node* node = self->head->forward[0]; node != nullptr;) {
        Node* next = node->forward[0];
        REDASkiplist_deleteNode(self, node);
        node = next;
    }
    std::fill_n(self->head->forward, self->level + 1, nullptr);
    self->level = 0;
    self->count = 0;
}

REDASkiplistNode* REDASkiplist_assertNodeEA(
    REDASkiplist* self, int* alreadyExists, const void* userData, ORX_INT8 userChar, int userInt) {
    Node* before[highestLevel + 1];
    Node* next = findBefore(*self, userData, before)->forward[0];
    const bool exists = next != nullptr && self->compare(next->userData, userData) == 0;
    if (alreadyExists != nullptr)
        *alreadyExists = exists;
    if (exists)
        return next;

    Node* node = newNode(*self);
    if (node == nullptr)
        return nullptr;
    node->userData = const_cast<void*>(userData);
    node->userChar = userChar;
    node->userInt = userInt;
    node->backward = before[0];
    if (next != nullptr)
        next->backward = node;
    while (self->level < node->level)
        before[++self->level] = self->head;
    for (int level = 0; level <= node->level; ++level) {
        node->forward[level] = before[level]->forward[level];
        before[level]->forward[level] = node;
    }
    ++self->count;
    return node;
}

int REDASkiplist_findNode(
    const REDASkiplist* self, REDASkiplistNode** node, int* preciseMatch, const void* key) {
    *node = findBefore(*self, key, nullptr)->forward[0];
    if (preciseMatch != nullptr)
        *preciseMatch = *node != nullptr && self->compare((*node)->userData, key) == 0;
    return *node != nullptr;
}

REDASkiplistNode* REDASkiplist_removeNodeEA(REDASkiplist* self, const void* key) {
    Node* before[highestLevel + 1];
    Node* node = findBefore(*self, key, before)->forward[0];
    if (node == nullptr || self->compare(node->userData, key) != 0)
        return nullptr;
    for (int level = 0; level <= node->level; ++level)
        before[level]->forward[level] = node->forward[level];
    if (node->forward[0] != nullptr)
        node->forward[0]->backward = node->backward;
    while (self->level > 0 && self->head->forward[self->level] == nullptr)
        --self->level;
    --self->count;
    return node;
}

void REDASkiplist_deleteNode(REDASkiplist* self, REDASkiplistNode* node) {
    if (node != nullptr)
        self->description->nodeDestroyFnc(self->description->nodeDestroyParam, node);
}

void REDASkiplist_gotoTopNode(const REDASkiplist* self, REDASkiplistNode** node) {
    *node = self->head;
}

int REDASkiplist_gotoNextNode(const REDASkiplist*, REDASkiplistNode** node) {
    *node = (*node)->forward[0];
    return *node != nullptr;
}

int REDASkiplist_getNodeCount(const REDASkiplist* self) {
    return self->count;
}
