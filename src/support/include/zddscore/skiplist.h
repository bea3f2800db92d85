/* Ordered index of user data pointers. Threads: no lock; callers serialize. */
#ifndef ZDDSCORE_SKIPLIST_H
#define ZDDSCORE_SKIPLIST_H

#include "zddscore/types.h"

ZDDS_BEGIN_C

struct REDASkiplistNode {
    void* userData; /* always first: callers read it through the node pointer */
    ORX_INT8 level;
    ORX_INT8 userChar;
    int userInt;
    struct REDASkiplistNode* backward;
    struct REDASkiplistNode* forward[1]; /* level + 1 links */
};
typedef struct REDASkiplistNode REDASkiplistNode;

struct REDASkiplist;
typedef struct REDASkiplist REDASkiplist;

typedef REDASkiplistNode* (*REDASkiplistNodeCreateFnc)(void* param, int level);
typedef void (*REDASkiplistNodeDestroyFnc)(void* param, REDASkiplistNode* node);
typedef int (*REDASkiplistNodeLevelGenerateFnc)(void* param);

/* Filled by REDASkiplist_newDefaultAllocator; opaque to callers. */
struct REDASkiplistDescription {
    REDASkiplistNodeCreateFnc nodeCreateFnc;
    void* nodeCreateParam;
    REDASkiplistNodeDestroyFnc nodeDestroyFnc;
    void* nodeDestroyParam;
    REDASkiplistNodeLevelGenerateFnc nodeLevelGenerateFnc;
    void* nodeLevelGenerateParam;
    ORX_INT8 maximumLevel;
};
typedef struct REDASkiplistDescription REDASkiplistDescription;

/* Negative, 0 or positive; receives two user data pointers. */
typedef int (*REDASkiplistCompareFunction)(const void* left, const void* right);

/* ceil(log2(nodeCount)), at least 1: 13 for 8192 nodes. */
ZDDSCORE_EXPORT ORX_INT8 REDASkiplist_getOptimumMaximumLevel(int nodeCount);
/* Makes a node allocator with room for nodeCount nodes of the usual mix of levels (half of them have
 * one link, a quarter two, and so on); it grows. maximumLevel is 0 to 32. Non-zero on success. */
ZDDSCORE_EXPORT int REDASkiplist_newDefaultAllocator(
    REDASkiplistDescription* description, ORX_INT8 maximumLevel, int nodeCount);
/* Frees the allocator with every node that is left. A zeroed description is a no-op. */
ZDDSCORE_EXPORT void REDASkiplist_deleteDefaultAllocator(REDASkiplistDescription* description);

/* The description must outlive the list. The three last arguments are reserved and null. */
ZDDSCORE_EXPORT REDASkiplist* REDASkiplist_new(REDASkiplistDescription* description,
    REDASkiplistCompareFunction compare, void* reserved1, void* reserved2, void* reserved3);
/* Frees the list with its nodes, not the user data. Null is a no-op. */
ZDDSCORE_EXPORT void REDASkiplist_delete(REDASkiplist* self);
/* Returns every node to the allocator. */
ZDDSCORE_EXPORT void REDASkiplist_clearEA(REDASkiplist* self);

/* Finds the node that equals userData, or inserts one. alreadyExists may be null. Null on failure. */
ZDDSCORE_EXPORT REDASkiplistNode* REDASkiplist_assertNodeEA(
    REDASkiplist* self, int* alreadyExists, const void* userData, ORX_INT8 userChar, int userInt);
/* *node is the first node not ordered before key, null if there is none; *preciseMatch (may be null)
 * is 1 when it compares equal, else 0. Non-zero if *node is not null. */
ZDDSCORE_EXPORT int REDASkiplist_findNode(
    const REDASkiplist* self, REDASkiplistNode** node, int* preciseMatch, const void* key);
/* Unlinks the node that equals key and returns it, or null. The caller deletes it. */
ZDDSCORE_EXPORT REDASkiplistNode* REDASkiplist_removeNodeEA(REDASkiplist* self, const void* key);
ZDDSCORE_EXPORT void REDASkiplist_deleteNode(REDASkiplist* self, REDASkiplistNode* node);

/* Walk in order: gotoTopNode stands before the first node, so the first gotoNextNode gives it. */
ZDDSCORE_EXPORT void REDASkiplist_gotoTopNode(const REDASkiplist* self, REDASkiplistNode** node);
/* Non-zero while there is a node; *node is then the next one. */
ZDDSCORE_EXPORT int REDASkiplist_gotoNextNode(const REDASkiplist* self, REDASkiplistNode** node);
ZDDSCORE_EXPORT int REDASkiplist_getNodeCount(const REDASkiplist* self);

ZDDS_END_C

#endif
