// Whether one resource is among the matches of an expression, without a walk of the tree.
//
// The walk finds a resource if some run of the expression leads from the root to it, level by level. All that
// such a run looks at is the resource and its ancestors, so a climb from the resource to the root decides it:
// for each of them, from below, a set of tokens from which the rest of the expression leads to the resource.
//
// What the walk has besides does not change the answer:
// - A match by GUID ends the walk beside and above it. GUIDs are unique, so every run passes the one resource
// that has
//   the GUID, at that token; and the flag is set only after all that is below that resource was walked. So
//   when the walk stops, it has either found all that there is, or there is nothing to find.
// - The order of siblings then does not matter, and neither do repeated results.
// - "//name" looks at no classes and finds a GUID through the index; that is done here likewise.
// Where GUIDs may repeat (no index), or the resource is not below the root, the walk itself is asked.
#include "src/log/Log.hpp"
#include "src/utils/ExpressionClimb.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;
using namespace orx::path;
using Resource = ORX_MonitoringOpaqueResource;

bool isBelow(
    const Resource* resource, const Resource* root, const ORX_MonitoringOpaqueResourceAccessor& accessor) {
    while (resource != nullptr && resource != root)
        resource = accessor.getParentFunction(resource);
    return resource != nullptr;
}

bool isMatchedByClimb(const Expression& expression, const Resource* resource, const Resource* root,
    const ORX_MonitoringOpaqueResourceAccessor& accessor) {
    Positions positions = at(expression.count);
    for (;; resource = accessor.getParentFunction(resource)) {
        ORX_MonitoringOpaqueResourceInfo info;
        accessor.getInfoFunction(resource, &info);
        positions = expression.climb(info, positions);
        if (positions == 0)
            return false;
        if (resource == root)
            return (positions & at(0)) != 0;
    }
}

// "//name" and "//*/name", for a resource below the root.
bool isMatchedByNameOrGuid(int* isMatching, const char* nameOrGuid, const Resource* resource,
    const Resource* root, const ORX_MonitoringOpaqueResourceAccessor& accessor) {
    ORX_MonitoringOpaqueResourceInfo info;
    accessor.getInfoFunction(resource, &info);
    if (startsAsGuid(nameOrGuid)) {
        DDS_Monitoring_GUID_t guid;
        if (!DDS_Monitoring_GUID_fromStr(&guid, nameOrGuid))
            return ORX_ERROR(FAILED_TO_ADD, "opaque resource to sequence");
        // Found in the index, the GUID is compared as it was read, whatever the case of its digits.
        if (accessor.findByGuidFunction(root, guid) != nullptr) {
            *isMatching = std::memcmp(guid, info.guid, sizeof guid) == 0;
            return true;
        }
    }
    *isMatching = isNameMatched(nameOrGuid, info);
    return true;
}

bool isMatchedByWalk(int* isMatching, const Resource* resource, const char* expression,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const Resource* root) {
    OwnedResourceSeq matches;
    if (!ORX_Monitoring_getMatchingResourcesToPathExpression(&matches, expression, &accessor, root))
        return false;
    ORX_MonitoringOpaqueResourceInfo info;
    accessor.getInfoFunction(resource, &info);
    const DDS_Long count = ORX_MonitoringOpaqueResourceSeq_get_length(&matches);
    for (DDS_Long i = 0; i < count && *isMatching == 0; ++i) {
        ORX_MonitoringOpaqueResourceInfo match;
        accessor.getInfoFunction(ORX_MonitoringOpaqueResourceSeq_get(&matches, i), &match);
        *isMatching = std::memcmp(match.guid, info.guid, sizeof info.guid) == 0;
    }
    return true;
}

} // namespace

int ORX_Monitoring_isResourceMatchingPathExpression(int* isMatching,
    const ORX_MonitoringOpaqueResource* resource, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource) {
    ORX_FAIL_IF(isMatching == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(rootResource == ORX_NULL);
    *isMatching = 0;
    if (resourceAccessor->findByGuidFunction == nullptr ||
        !isBelow(resource, rootResource, *resourceAccessor)) {
        if (!isMatchedByWalk(isMatching, resource, resourcePathExpression, *resourceAccessor, rootResource))
            return ORX_ERROR(FAILED_TO_GET, "matching resources");
        return 1;
    }
    // On the stack: this runs for every selection whenever a resource is made.
    ORX_MonitoringResourceTokenizer tokenizer;
    if (!ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, resourcePathExpression))
        return ORX_ERROR(FAILED_TO_GET, "matching resources");
    const Expression expression(tokenizer);
    if (expression.count == 3 && isAnyLevel(expression.tokens[0]) && isAnyClass(expression.tokens[1]))
        return isMatchedByNameOrGuid(
            isMatching, expression.tokens[2], resource, rootResource, *resourceAccessor);
    *isMatching = isMatchedByClimb(expression, resource, rootResource, *resourceAccessor);
    return 1;
}
