// The walks down a tree.
#include "src/log/Log.hpp"
#include "src/utils/PathPair.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;
using namespace orx::path;
using Resource = ORX_MonitoringOpaqueResource;

// Puts the cursor back where it was, on every way out.
class CursorGuard {
public:
    explicit CursorGuard(ORX_MonitoringResourceTokenizer& tokenizer)
        : cursor(tokenizer.currentTokenIndex), index(cursor) {}
    ~CursorGuard() { cursor = index; }
    CursorGuard(const CursorGuard&) = delete;
    CursorGuard& operator=(const CursorGuard&) = delete;

private:
    ORX_UINT32& cursor;
    ORX_UINT32 index;
};

// What stays the same through a walk. Siblings are walked by a loop in their first one, never by a chain of
// recursions, and a match by GUID ends all loops.
struct Walk {
    ORX_MonitoringOpaqueResourceSeq* resources;
    int* matchedGuid;
    const ORX_MonitoringOpaqueResourceAccessor& accessor;
    ORX_MonitoringResourceTokenizer* tokenizer;

    bool walk(const Resource* resource, bool checkNextSiblings);
    bool walkAnyLevel(const Resource* resource, bool checkNextSiblings);

private:
    bool skipToSection(const Resource* resource, bool checkNextSiblings);
    bool takeMatched(const Resource* resource);
};

// From "$" on. A run of "$" addresses the same resources as one, but walked one by one it would multiply the
// results by the ways to share the depth among them, which a command must not be able to ask for.
bool Walk::skipToSection(const Resource* resource, bool checkNextSiblings) {
    CursorGuard guard(*tokenizer);
    const char* token = nullptr;
    do {
        token = ORX_MonitoringResourceTokenizer_getNextToken(tokenizer);
        if (token == nullptr)
            return true;
    } while (isAnyLevel(token));
    if (!walkAnyLevel(resource, checkNextSiblings))
        return ORX_ERROR(FAILED_TO_GET, "matching resources");
    return true;
}

// The resource matches the pair at the cursor: it is selected by the last pair, and its children are next
// otherwise.
bool Walk::takeMatched(const Resource* resource) {
    CursorGuard guard(*tokenizer);
    ORX_MonitoringResourceTokenizer_getNextToken(tokenizer);
    if (ORX_MonitoringResourceTokenizer_getNextToken(tokenizer) != nullptr) {
        const Resource* child = accessor.getFirstChildFunction(resource);
        return child == nullptr || walk(child, true);
    }
    if (!ORX_Monitoring_addOpaqueResourceToSequence(resources, resource))
        return ORX_ERROR(FAILED_TO_ADD, "opaque resource to sequence");
    return true;
}

bool Walk::walk(const Resource* resource, bool checkNextSiblings) {
    const char* token = ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer);
    if (token == nullptr)
        return true;
    if (isAnyLevel(token))
        return skipToSection(resource, checkNextSiblings);

    const auto match = ORX_Monitoring_isResourceMatched(resource, &accessor, tokenizer);
    if (match != ORX_MONITORING_RESOURCE_NO_MATCH && !takeMatched(resource))
        return false;
    // Only now, so that what is below a resource matched by GUID has been walked.
    if (match == ORX_MONITORING_RESOURCE_GUID_MATCH)
        *matchedGuid = 1;
    if (!checkNextSiblings)
        return true;
    for (const Resource* sibling = resource; *matchedGuid == 0;) {
        sibling = accessor.getNextSiblingFunction(sibling);
        if (sibling == nullptr)
            break;
        if (!walk(sibling, false))
            return false;
    }
    return true;
}

bool Walk::walkAnyLevel(const Resource* resource, bool checkNextSiblings) {
    if (!walk(resource, false))
        return false;
    if (*matchedGuid != 0)
        return true;
    const Resource* child = accessor.getFirstChildFunction(resource);
    if (child != nullptr && !walkAnyLevel(child, true))
        return false;
    if (!checkNextSiblings)
        return true;
    for (const Resource* sibling = resource; *matchedGuid == 0;) {
        sibling = accessor.getNextSiblingFunction(sibling);
        if (sibling == nullptr)
            break;
        if (!walkAnyLevel(sibling, false))
            return false;
    }
    return true;
}

// The search that looks at no classes.
struct Search {
    ORX_MonitoringOpaqueResourceSeq* resources;
    const char* nameOrGuid;
    const ORX_MonitoringOpaqueResourceAccessor& accessor;
    bool isGuid;

    bool search(const Resource* resource, bool checkNextSiblings);

private:
    bool isOver() const { return isGuid && ORX_MonitoringOpaqueResourceSeq_get_length(resources) > 0; }
};

// A resource that cannot be added costs the result, and not the rest of the search.
bool Search::search(const Resource* resource, bool checkNextSiblings) {
    bool isComplete = true;
    ORX_MonitoringOpaqueResourceInfo info;
    accessor.getInfoFunction(resource, &info);
    if (isNameMatched(nameOrGuid, info)) {
        isComplete = ORX_Monitoring_addOpaqueResourceToSequence(resources, resource) != 0;
        if (!isComplete)
            (void)ORX_ERROR(FAILED_TO_ADD, "opaque resource to sequence");
    }
    if (isOver())
        return isComplete;
    const Resource* child = accessor.getFirstChildFunction(resource);
    if (child != nullptr)
        isComplete &= search(child, true);
    if (!checkNextSiblings)
        return isComplete;
    for (const Resource* sibling = resource; !isOver();) {
        sibling = accessor.getNextSiblingFunction(sibling);
        if (sibling == nullptr)
            break;
        isComplete &= search(sibling, false);
    }
    return isComplete;
}

} // namespace

int ORX_Monitoring_addOpaqueResourceToSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const ORX_MonitoringOpaqueResource* resource) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    const DDS_Long length = ORX_MonitoringOpaqueResourceSeq_get_length(resources);
    ORX_FAIL_IF(length == 2147483647);
    if (!ORX_MonitoringOpaqueResourceSeq_ensure_length(resources, length + 1, length + 1))
        return ORX_ERROR(FAILED_TO_SET, "resource sequence length to %d", length + 1);
    *ORX_MonitoringOpaqueResourceSeq_get_reference(resources, length) = const_cast<Resource*>(resource);
    return 1;
}

ORX_MonitoringResourceMatchKind ORX_Monitoring_isResourceMatched(const ORX_MonitoringOpaqueResource* resource,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    ORX_MonitoringResourceTokenizer* tokenizer) {
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(tokenizer == ORX_NULL);
    CursorGuard guard(*tokenizer);
    const char* classPattern = ORX_MonitoringResourceTokenizer_getCurrentToken(tokenizer);
    const char* nameOrGuid = ORX_MonitoringResourceTokenizer_getNextToken(tokenizer);
    if (classPattern == nullptr || nameOrGuid == nullptr)
        return ORX_MONITORING_RESOURCE_NO_MATCH;
    ORX_MonitoringOpaqueResourceInfo info;
    resourceAccessor->getInfoFunction(resource, &info);
    return matchPair(classPattern, nameOrGuid, info);
}

int ORX_Monitoring_getMatchingResourcesWithTokenizer(ORX_MonitoringOpaqueResourceSeq* resources,
    int* matchedGuid, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringResourceTokenizer* tokenizer,
    int checkNextSiblings) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(matchedGuid == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(tokenizer == ORX_NULL);
    return Walk{resources, matchedGuid, *resourceAccessor, tokenizer}.walk(resource, checkNextSiblings != 0);
}

int ORX_Monitoring_getMatchingResourcesWithTokenizerAtAnyLevel(ORX_MonitoringOpaqueResourceSeq* resources,
    int* matchedGuid, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* startingResource, ORX_MonitoringResourceTokenizer* tokenizer,
    int checkNextSiblings) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(matchedGuid == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(startingResource == ORX_NULL);
    ORX_FAIL_IF(tokenizer == ORX_NULL);
    return Walk{resources, matchedGuid, *resourceAccessor, tokenizer}.walkAnyLevel(
        startingResource, checkNextSiblings != 0);
}

int ORX_Monitoring_getResourcesByNameOrGuid(ORX_MonitoringOpaqueResourceSeq* resources,
    const char* nameOrGuid, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* resource, int checkNextSiblings) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(nameOrGuid == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    Search search{resources, nameOrGuid, *resourceAccessor, startsAsGuid(nameOrGuid)};
    if (!search.search(resource, checkNextSiblings != 0))
        return ORX_ERROR(FAILED_TO_FIND, "resource by name or GUID");
    return 1;
}
