#include "zddscore/inline_list.h"

#include <atomic>

#include "zddscore/heap.h"

namespace {

using Node = REDAInlineListNode;

// The links, the tail and the size are plain fields of the ABI that a walking consumer reads beside a
// producer. std::atomic_ref needs an object that is not const, although these only read.
template <typename T> T load(const T& field, std::memory_order order) {
    return std::atomic_ref(const_cast<T&>(field)).load(order);
}

template <typename T> void store(T& field, T value, std::memory_order order) {
    std::atomic_ref(field).store(value, order);
}

// Structural change is serialized, so that this need not be one atomic step.
void changeSize(REDAInlineList& list, int difference) {
    store(list._size, load(list._size, std::memory_order_relaxed) + difference, std::memory_order_relaxed);
}

// `before` is a node of the list or its head.
void linkAfter(REDAInlineList& list, Node& before, Node& node) {
    Node* next = load(before.next, std::memory_order_relaxed);
    node.inlineList = &list;
    node.prev = &before;
    store(node.next, next, std::memory_order_relaxed);
    if (next != nullptr)
        next->prev = &node;
    // The node is complete: publish it in the link, and only then in the tail, so that whoever takes
    // the tail finds every link up to it.
    store(before.next, &node, std::memory_order_release);
    if (next == nullptr)
        store(list._tail, &node, std::memory_order_release);
    changeSize(list, 1);
}

} // namespace

REDAInlineList* REDAInlineList_new(void) {
    REDAInlineList* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct REDAInlineList))
        return nullptr;
    REDAInlineList_init(self);
    return self;
}

void REDAInlineList_delete(REDAInlineList* self) {
    ORXOsapiHeap_freeStructure(self);
}

void REDAInlineList_init(REDAInlineList* self) {
    *self = {};
    self->_dummyNode.inlineList = self;
}

void REDAInlineListNode_init(REDAInlineListNode* self) {
    *self = {};
}

// As linkAfter, without a node behind: every push comes here.
[[gnu::hot]] void REDAInlineList_addNodeToBackEA(REDAInlineList* self, REDAInlineListNode* node) {
    Node* tail = load(self->_tail, std::memory_order_relaxed);
    Node* before = tail != nullptr ? tail : &self->_dummyNode;
    node->inlineList = self;
    node->prev = before;
    store(node->next, static_cast<Node*>(nullptr), std::memory_order_relaxed);
    store(before->next, node, std::memory_order_release);
    store(self->_tail, node, std::memory_order_release);
    changeSize(*self, 1);
}

void REDAInlineList_addNodeToFrontEA(REDAInlineList* self, REDAInlineListNode* node) {
    linkAfter(*self, self->_dummyNode, *node);
}

void REDAInlineList_addNodeAfterEA(
    REDAInlineList* self, REDAInlineListNode* after, REDAInlineListNode* node) {
    linkAfter(*self, after != nullptr ? *after : self->_dummyNode, *node);
}

void REDAInlineList_removeNodeEA(REDAInlineList* self, REDAInlineListNode* node) {
    if (node->inlineList != self)
        return;
    Node* next = load(node->next, std::memory_order_relaxed);
    store(node->prev->next, next, std::memory_order_release);
    if (next != nullptr)
        next->prev = node->prev;
    else
        store(self->_tail, node->prev == &self->_dummyNode ? nullptr : node->prev, std::memory_order_release);
    changeSize(*self, -1);
    REDAInlineListNode_init(node);
}

REDAInlineListNode* REDAInlineList_getFirst(const REDAInlineList* self) {
    return load(self->_dummyNode.next, std::memory_order_acquire);
}

REDAInlineListNode* REDAInlineList_getLast(const REDAInlineList* self) {
    return load(self->_tail, std::memory_order_acquire);
}

REDAInlineListNode* REDAInlineListNode_getNext(const REDAInlineListNode* self) {
    return load(self->next, std::memory_order_acquire);
}

REDAInlineListNode* REDAInlineListNode_getPrev(const REDAInlineListNode* self) {
    return self->prev;
}

int REDAInlineList_getSize(const REDAInlineList* self) {
    return load(self->_size, std::memory_order_relaxed);
}
