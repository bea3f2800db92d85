// The entries: from an expression to resources, and to applications.
#include "src/utils/PathMatcher.h"

#include "src/log/Log.hpp"
#include "src/utils/ExpressionClimb.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;
using namespace orx::path;

enum class Lookup { failed, missed, found };

// The resource of the token's GUID, from the index.
Lookup lookUp(ORX_MonitoringOpaqueResourceSeq* resources, const DDS_Monitoring_GUID_t& guid,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const ORX_MonitoringOpaqueResourceSeq* roots) {
    const auto* found = accessor.findByGuidFunction(ORX_MonitoringOpaqueResourceSeq_get(roots, 0), guid);
    if (found == nullptr)
        return Lookup::missed;
    if (ORX_Monitoring_addOpaqueResourceToSequence(resources, found))
        return Lookup::found;
    (void)ORX_ERROR(FAILED_TO_ADD, "opaque resource to sequence");
    return Lookup::failed;
}

// "//name" and "//*/name": at any depth and of any class, known or not.
bool getByNameOrGuid(ORX_MonitoringOpaqueResourceSeq* resources, const char* nameOrGuid,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const ORX_MonitoringOpaqueResourceSeq* roots) {
    if (startsAsGuid(nameOrGuid) && accessor.findByGuidFunction != nullptr) {
        DDS_Monitoring_GUID_t guid;
        if (!DDS_Monitoring_GUID_fromStr(&guid, nameOrGuid))
            return ORX_ERROR(FAILED_TO_ADD, "opaque resource to sequence");
        const Lookup lookup = lookUp(resources, guid, accessor, roots);
        if (lookup != Lookup::missed)
            return lookup == Lookup::found;
    }
    const DDS_Long count = ORX_MonitoringOpaqueResourceSeq_get_length(roots);
    for (DDS_Long i = 0; i < count; ++i)
        if (!ORX_Monitoring_getResourcesByNameOrGuid(
                resources, nameOrGuid, &accessor, ORX_MonitoringOpaqueResourceSeq_get(roots, i), 0))
            return false;
    return true;
}

// One flag for all roots: a GUID that was met below one of them ends the deeper search below the others.
bool walkRoots(ORX_MonitoringOpaqueResourceSeq* resources, ORX_MonitoringResourceTokenizer* tokenizer,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const ORX_MonitoringOpaqueResourceSeq* roots) {
    int matchedGuid = 0;
    const DDS_Long count = ORX_MonitoringOpaqueResourceSeq_get_length(roots);
    for (DDS_Long i = 0; i < count; ++i) {
        ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer);
        if (!ORX_Monitoring_getMatchingResourcesWithTokenizer(resources, &matchedGuid, &accessor,
                ORX_MonitoringOpaqueResourceSeq_get(roots, i), tokenizer, 0))
            return ORX_ERROR(FAILED_TO_GET, "matching resources");
    }
    return true;
}

// Whether an application-level expression reaches below the applications, with the lookup of a GUID at any
// level.
struct ApplicationScope {
    bool isSettled = false; /* the matches stand already */
    bool isBroadcast = false;
};
bool findScope(ApplicationScope& scope, ORX_MonitoringOpaqueResourceSeq* resources,
    const ORX_MonitoringResourceTokenizer& tokenizer, const ORX_MonitoringOpaqueResourceAccessor& accessor,
    const ORX_MonitoringOpaqueResourceSeq* roots) {
    if (!isAnyLevel(tokenizer.tokens[0]))
        return true;
    scope.isSettled = tokenizer.tokenCount < 3;
    if (scope.isSettled)
        return true;
    const char* classPattern = tokenizer.tokens[1];
    const char* nameOrGuid = tokenizer.tokens[2];
    scope.isBroadcast = std::strcmp(classPattern, "applications") != 0;
    if (!isAnyClass(classPattern) || !startsAsGuid(nameOrGuid) || accessor.findByGuidFunction == nullptr)
        return true;
    DDS_Monitoring_GUID_t guid;
    if (!DDS_Monitoring_GUID_fromStr(&guid, nameOrGuid))
        return ORX_ERROR(FAILED_TO_PARSE, "GUID from token %s", nameOrGuid);
    const Lookup lookup = lookUp(resources, guid, accessor, roots);
    scope.isSettled = lookup == Lookup::found;
    return lookup != Lookup::failed;
}

// Whether the expression, which ends with a GUID, addresses the resource of that GUID, told by the climb from
// it to the first resource or one of its next siblings. False when the walk has to tell.
bool climbFromGuid(int& isMatching, const ORX_MonitoringResourceTokenizer& tokenizer,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const ORX_MonitoringOpaqueResource* first) {
    DDS_Monitoring_GUID_t guid;
    if (accessor.findByGuidFunction == nullptr ||
        !DDS_Monitoring_GUID_fromStr(&guid, tokenizer.tokens[tokenizer.tokenCount - 1]))
        return false;
    const Expression expression(tokenizer);
    const auto* resource = accessor.findByGuidFunction(first, guid);
    isMatching = 0;
    if (resource == nullptr || !expression.endsWithPair())
        return true;
    for (const auto* root = first; root != nullptr; root = accessor.getNextSiblingFunction(root)) {
        Branch branch(resource, root, accessor);
        if (!branch.isComplete())
            continue;
        isMatching = expression.matches(branch) ? 1 : 0;
        return true;
    }
    return false;
}

bool makeRootSequence(OwnedResourceSeq& roots, const ORX_MonitoringOpaqueResource* rootResource) {
    if (!ORX_MonitoringOpaqueResourceSeq_ensure_length(&roots, 1, 1))
        return ORX_ERROR(FAILED_TO_SET, "root resource sequence length to 1");
    auto* reference = ORX_MonitoringOpaqueResourceSeq_get_reference(&roots, 0);
    if (reference == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "root resource sequence reference");
    *reference = const_cast<ORX_MonitoringOpaqueResource*>(rootResource);
    return true;
}

} // namespace

int ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResourceSeq* rootResourceSeq) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(rootResourceSeq == ORX_NULL);
    if (ORX_MonitoringOpaqueResourceSeq_get_length(rootResourceSeq) == 0)
        return 1;
    OwnedTokenizer owner(resourcePathExpression);
    ORX_MonitoringResourceTokenizer* tokenizer = owner.get();
    if (tokenizer == nullptr)
        return ORX_ERROR(FAILED_TO_ALLOCATE, "ORX_MonitoringResourceTokenizer");
    if (!ORX_MonitoringOpaqueResourceSeq_set_length(resources, 0))
        return ORX_ERROR(FAILED_TO_SET, "resource sequence length to 0");
    if (tokenizer->tokenCount == 0)
        return 1;
    if (isAnyLevel(tokenizer->tokens[0])) {
        if (tokenizer->tokenCount < 3)
            return 1;
        if (tokenizer->tokenCount == 3 && isAnyClass(tokenizer->tokens[1]))
            return getByNameOrGuid(resources, tokenizer->tokens[2], *resourceAccessor, rootResourceSeq);
    }
    return walkRoots(resources, tokenizer, *resourceAccessor, rootResourceSeq);
}

int ORX_Monitoring_getMatchingResourcesToPathExpression(ORX_MonitoringOpaqueResourceSeq* resources,
    const char* resourcePathExpression, const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource) {
    ORX_FAIL_IF(rootResource == ORX_NULL);
    OwnedResourceSeq roots;
    if (!makeRootSequence(roots, rootResource))
        return 0;
    if (!ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
            resources, resourcePathExpression, resourceAccessor, &roots))
        return ORX_ERROR(FAILED_TO_GET, "matching resources");
    return 1;
}

int ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
    ORX_MonitoringOpaqueResourceSeq* resources, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResourceSeq* rootResourceSeq) {
    ORX_FAIL_IF(resources == ORX_NULL);
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(rootResourceSeq == ORX_NULL);
    if (ORX_MonitoringOpaqueResourceSeq_get_length(rootResourceSeq) == 0)
        return 1;
    OwnedTokenizer owner(resourcePathExpression);
    ORX_MonitoringResourceTokenizer* tokenizer = owner.get();
    if (tokenizer == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "ORX_MonitoringResourceTokenizer");
    if (!ORX_MonitoringOpaqueResourceSeq_set_length(resources, 0))
        return ORX_ERROR(FAILED_TO_SET, "resource sequence length to 0");
    if (tokenizer->tokenCount == 0)
        return 1;
    ApplicationScope scope;
    if (!findScope(scope, resources, *tokenizer, *resourceAccessor, rootResourceSeq))
        return 0;
    if (scope.isSettled)
        return 1;
    if (scope.isBroadcast) {
        if (ORX_MonitoringOpaqueResourceSeq_copy(resources, rootResourceSeq) == nullptr)
            return ORX_ERROR(FAILED_TO_COPY, "root resource sequence");
        return 1;
    }
    ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(tokenizer);
    return walkRoots(resources, tokenizer, *resourceAccessor, rootResourceSeq);
}

int ORX_Monitoring_isMatchingApplicationToPathExpression(int* isMatching, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* rootResource) {
    ORX_FAIL_IF(isMatching == ORX_NULL);
    ORX_FAIL_IF(rootResource == ORX_NULL);
    *isMatching = 0;
    OwnedResourceSeq roots;
    OwnedResourceSeq resources;
    if (!makeRootSequence(roots, rootResource))
        return 0;
    if (!ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
            &resources, resourcePathExpression, resourceAccessor, &roots))
        return ORX_ERROR(FAILED_TO_GET, "matching applications");
    *isMatching = ORX_MonitoringOpaqueResourceSeq_get_length(&resources) > 0;
    return 1;
}

int ORX_Monitoring_matchAllGuidInExpression(int* isMatching, const char* resourcePathExpression,
    const ORX_MonitoringOpaqueResourceAccessor* resourceAccessor,
    const ORX_MonitoringOpaqueResource* firstApplicationResource) {
    ORX_FAIL_IF(isMatching == ORX_NULL);
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    ORX_FAIL_IF(resourceAccessor == ORX_NULL);
    ORX_FAIL_IF(firstApplicationResource == ORX_NULL);
    OwnedTokenizer owner(resourcePathExpression);
    ORX_MonitoringResourceTokenizer* tokenizer = owner.get();
    if (tokenizer == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "ORX_MonitoringResourceTokenizer");
    const char* token = ORX_MonitoringResourceTokenizer_getLastToken(tokenizer);
    if (token == nullptr)
        return 1;
    while (token != nullptr && !ORX_Monitoring_isTokenGuid(token))
        token = ORX_MonitoringResourceTokenizer_getPrevToken(tokenizer);
    *isMatching = token == nullptr;
    if (token == nullptr)
        return 1;

    tokenizer->tokenCount = tokenizer->currentTokenIndex + 1;
    // A sender may ask for as many as a command holds, and each walk comes to the whole tree more than once.
    if (climbFromGuid(*isMatching, *tokenizer, *resourceAccessor, firstApplicationResource))
        return 1;
    ORX_MonitoringResourceTokenizer_getFirstToken(tokenizer);
    OwnedResourceSeq resources;
    if (!ORX_Monitoring_getMatchingResourcesWithTokenizer(
            &resources, isMatching, resourceAccessor, firstApplicationResource, tokenizer, 1))
        return ORX_ERROR(FAILED_TO_GET, "matching resources");
    // The flag alone would also tell of an earlier GUID, matched on the way to a last one that is gone.
    *isMatching = ORX_MonitoringOpaqueResourceSeq_get_length(&resources) > 0;
    return 1;
}
