/* Which resources a path expression addresses.
 *
 * A path is a list of pairs of class and name, each a pattern, one for each level of the tree from the root
 * on; "//" stands for any depth. A name that begins with "GUID(" is compared exactly with the resource's
 * GUID. Results: non-zero for success; that nothing matches is a success, a malformed expression is a
 * failure. A result sequence may hold a resource more than once, and keeps what was found when a walk fails.
 * Threads: no lock is taken; the caller keeps the tree still during a call.
 * Recursion goes at most twice the tree's depth deep; the walks allocate nothing but the result. */
#ifndef ORX_MONITORING_PATH_MATCHER_H
#define ORX_MONITORING_PATH_MATCHER_H

#include "orxmonitoring2d/path_tokenizer.h"

ZDDS_BEGIN_C

typedef enum ORX_MonitoringResourceMatchKind {
    ORX_MONITORING_RESOURCE_NO_MATCH = 0,
    ORX_MONITORING_RESOURCE_GUID_MATCH = 1,
    ORX_MONITORING_RESOURCE_NAME_MATCH = 2
} ORX_MonitoringResourceMatchKind;

ORX_EXPORT int ORX_Monitoring_addOpaqueResourceToSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const ORX_MonitoringOpaqueResource* resource);

/* Compares the resource with the pair at the cursor; the cursor is left where it was. */
ORX_EXPORT ORX_MonitoringResourceMatchKind ORX_Monitoring_isResourceMatched(
    const ORX_MonitoringOpaqueResource* resource,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor, ORX_MonitoringResourceTokenizer* tokenizer);

/* The walk from the cursor on over a resource and what is below it; with checkNextSiblings over its next
 * siblings too. *matchedGuid becomes 1 at a match by GUID and then ends the walk beside and above it. */
ORX_EXPORT int ORX_Monitoring_getMatchingResourcesWithTokenizer(ORX_MonitoringOpaqueResourceSeq* resources,
    int* matchedGuid, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringResourceTokenizer* tokenizer,
    int checkNextSiblings);
/* The same walk from the resource and from every resource below it. */
ORX_EXPORT int ORX_Monitoring_getMatchingResourcesWithTokenizerAtAnyLevel(
    ORX_MonitoringOpaqueResourceSeq* resources, int* matchedGuid,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* startingResource, ORX_MonitoringResourceTokenizer* tokenizer,
    int checkNextSiblings);
/* Resources at any depth, whatever their class, known or not. */
ORX_EXPORT int ORX_Monitoring_getResourcesByNameOrGuid(ORX_MonitoringOpaqueResourceSeq* resources,
    const char* nameOrGuid, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* resource, int checkNextSiblings);

/* Replaces what `resources` holds by the matches, in depth-first order; without a root it is left alone. */
ORX_EXPORT int ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResourceSeq* rootResourceSeq);
ORX_EXPORT int ORX_Monitoring_getMatchingResourcesToPathExpression(ORX_MonitoringOpaqueResourceSeq* resources,
    const char* resourcePathExpression, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource);

/* Whether a resource with this one's GUID is among the matches. Costs a climb from the resource to the root,
 * not a walk of the tree, where the accessor has a lookup by GUID and the resource is below the root. */
ORX_EXPORT int ORX_Monitoring_isResourceMatchingPathExpression(int* isMatching,
    const ORX_MonitoringOpaqueResource* resource, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource);

/* Which applications (the roots) an expression concerns, for a caller that sees nothing below them: all of
 * them when it reaches for something below without naming applications. */
ORX_EXPORT int ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResourceSeq* rootResourceSeq);
ORX_EXPORT int ORX_Monitoring_isMatchingApplicationToPathExpression(int* isMatching,
    const char* resourcePathExpression, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource);
/* Whether the last GUID of the expression, with what stands before it, addresses a resource; 1 for an
 * expression without GUIDs. *isMatching stays as it was when the expression has no tokens. */
ORX_EXPORT int ORX_Monitoring_matchAllGuidInExpression(int* isMatching, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* firstApplicationResource);

ZDDS_END_C

#endif
