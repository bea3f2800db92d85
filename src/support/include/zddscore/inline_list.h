/* Intrusive doubly linked list. An element embeds its node as its first member.
 *
 * Threads: a list has no lock; callers serialize all structural change. One exception is built in:
 * a single consumer may walk from a node to the tail while producers, serialized among themselves,
 * add at the back. addNodeToBackEA publishes the finished node with release, first in the link of
 * the node before it and then in the tail; getLast reads the tail with acquire, and getNext a link
 * with acquire. Read the tail first, then follow the links up to it. */
#ifndef ZDDSCORE_INLINE_LIST_H
#define ZDDSCORE_INLINE_LIST_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct REDAInlineList;

struct REDAInlineListNode {
    struct REDAInlineList* inlineList; /* the list that the node is in, or null */
    struct REDAInlineListNode* next;
    struct REDAInlineListNode* prev; /* the first node's is the list's head, _dummyNode */
};

struct REDAInlineList {
    struct REDAInlineListNode _dummyNode; /* head: next is the first node */
    struct REDAInlineListNode* _tail;     /* last node, null on an empty list */
    int _size;
    void* _userData;
};

struct REDAInlineListUserDataNode {
    struct REDAInlineListNode node;
    void* userData;
};

typedef struct REDAInlineListNode REDAInlineListNode;
typedef struct REDAInlineList REDAInlineList;
typedef struct REDAInlineListUserDataNode REDAInlineListUserDataNode;

/* A list on the heap, or null. */
ZDDSCORE_EXPORT REDAInlineList* REDAInlineList_new(void);
/* Frees the list; nodes still in it are not touched. Null is a no-op. */
ZDDSCORE_EXPORT void REDAInlineList_delete(REDAInlineList* self);
ZDDSCORE_EXPORT void REDAInlineList_init(REDAInlineList* self);
ZDDSCORE_EXPORT void REDAInlineListNode_init(REDAInlineListNode* self);

/* The node must not be in a list. Constant time. */
ZDDSCORE_EXPORT void REDAInlineList_addNodeToBackEA(REDAInlineList* self, REDAInlineListNode* node);
ZDDSCORE_EXPORT void REDAInlineList_addNodeToFrontEA(REDAInlineList* self, REDAInlineListNode* node);
ZDDSCORE_EXPORT void REDAInlineList_addNodeAfterEA(
    REDAInlineList* self, REDAInlineListNode* after, REDAInlineListNode* node);
/* Constant time, no search. The node must be in this list; it is clean afterwards. */
ZDDSCORE_EXPORT void REDAInlineList_removeNodeEA(REDAInlineList* self, REDAInlineListNode* node);

/* End nodes; null on an empty list. */
ZDDSCORE_EXPORT REDAInlineListNode* REDAInlineList_getFirst(const REDAInlineList* self);
ZDDSCORE_EXPORT REDAInlineListNode* REDAInlineList_getLast(const REDAInlineList* self);
/* Null beyond the last node. */
ZDDSCORE_EXPORT REDAInlineListNode* REDAInlineListNode_getNext(const REDAInlineListNode* self);
/* The first node's is the address of the list's _dummyNode, for comparison by identity. */
ZDDSCORE_EXPORT REDAInlineListNode* REDAInlineListNode_getPrev(const REDAInlineListNode* self);
ZDDSCORE_EXPORT int REDAInlineList_getSize(const REDAInlineList* self);

ZDDS_END_C

#endif
