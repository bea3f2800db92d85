// Match of one resource with one pair of class and name: what the walk and the climb share.
#ifndef ORX_MONITORING_PATH_PAIR_HPP
#define ORX_MONITORING_PATH_PAIR_HPP

#include <cstring>

#include "src/utils/PathMatcher.h"
#include "zddscore/text.h"

namespace orx::path {

inline bool isAnyLevel(const char* token) {
    return token[0] == '$' && token[1] == '\0';
}
inline bool isAnyClass(const char* token) {
    return token[0] == '*' && token[1] == '\0';
}
// A name that begins so is a GUID, well-formed or not, and never a pattern.
inline bool startsAsGuid(const char* token) {
    return std::strncmp(token, "GUID(", 5) == 0;
}

// The exact comparison of a GUID with a token that starts as one.
inline bool isGuidText(const char* token, const DDS_Monitoring_GUID_t guid) {
    char text[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(guid, text);
    return REDAString_compare(token, text) == 0;
}

inline bool isNameMatched(const char* nameOrGuid, const ORX_MonitoringOpaqueResourceInfo& info) {
    return startsAsGuid(nameOrGuid) ? isGuidText(nameOrGuid, info.guid)
                                    : REDAString_fnmatch(nameOrGuid, info.name, 0) == 0;
}

inline bool isClassMatched(const char* classPattern, DDS_UnsignedLong classId) {
    const char* identifier = ORX_Monitoring_resourceClassIdToIdentifierStr(classId);
    return std::strcmp(identifier, "unknown") != 0 && REDAString_fnmatch(classPattern, identifier, 0) == 0;
}

inline ORX_MonitoringResourceMatchKind matchPair(
    const char* classPattern, const char* nameOrGuid, const ORX_MonitoringOpaqueResourceInfo& info) {
    if (!isClassMatched(classPattern, info.classId) || !isNameMatched(nameOrGuid, info))
        return ORX_MONITORING_RESOURCE_NO_MATCH;
    return startsAsGuid(nameOrGuid) ? ORX_MONITORING_RESOURCE_GUID_MATCH : ORX_MONITORING_RESOURCE_NAME_MATCH;
}

// A tokenizer that ends with its block.
class OwnedTokenizer {
public:
    explicit OwnedTokenizer(const char* expression) : self(ORX_MonitoringResourceTokenizer_new(expression)) {}
    ~OwnedTokenizer() { ORX_MonitoringResourceTokenizer_delete(self); }
    OwnedTokenizer(const OwnedTokenizer&) = delete;
    OwnedTokenizer& operator=(const OwnedTokenizer&) = delete;
    ORX_MonitoringResourceTokenizer* get() { return self; }

private:
    ORX_MonitoringResourceTokenizer* self;
};

// Results that nobody keeps.
struct OwnedResourceSeq : ORX_MonitoringOpaqueResourceSeq {
    OwnedResourceSeq() : ORX_MonitoringOpaqueResourceSeq{} {}
    ~OwnedResourceSeq() { ORX_MonitoringOpaqueResourceSeq_finalize(this); }
    OwnedResourceSeq(const OwnedResourceSeq&) = delete;
    OwnedResourceSeq& operator=(const OwnedResourceSeq&) = delete;
};

} // namespace orx::path

#endif
