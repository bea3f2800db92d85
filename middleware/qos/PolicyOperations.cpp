#include "middleware/qos/PolicyOperations.hpp"

#include <cstring>

namespace zdds::qos {

bool copyText(char*& destination, const char* source) {
    return DDS_String_replace(&destination, source) != nullptr || source == nullptr;
}

bool equalText(const char* left, const char* right) {
    if (left == nullptr || right == nullptr)
        return left == right;
    return std::strcmp(left, right) == 0;
}

bool equalStrings(const DDS_StringSeq& left, const DDS_StringSeq& right) {
    const DDS_Long length = DDS_StringSeq_get_length(&left);
    if (length != DDS_StringSeq_get_length(&right))
        return false;
    for (DDS_Long i = 0; i < length; ++i) {
        if (!equalText(DDS_StringSeq_get(&left, i), DDS_StringSeq_get(&right, i)))
            return false;
    }
    return true;
}

bool copy(DDS_UserDataQosPolicy& destination, const DDS_UserDataQosPolicy& source) {
    return DDS_OctetSeq_copy(&destination.value, &source.value) != nullptr;
}
bool copy(DDS_PartitionQosPolicy& destination, const DDS_PartitionQosPolicy& source) {
    return DDS_StringSeq_copy(&destination.name, &source.name) != nullptr;
}
bool copy(DDS_PropertyQosPolicy& destination, const DDS_PropertyQosPolicy& source) {
    return DDS_PropertySeq_copy(&destination.value, &source.value) != nullptr;
}
bool copy(DDS_DiscoveryQosPolicy& destination, const DDS_DiscoveryQosPolicy& source) {
    return DDS_StringSeq_copy(&destination.initial_peers, &source.initial_peers) != nullptr;
}
bool copy(DDS_DataRepresentationQosPolicy& destination, const DDS_DataRepresentationQosPolicy& source) {
    return DDS_LongSeq_copy(&destination.value, &source.value) != nullptr;
}
bool copy(DDS_EntityNameQosPolicy& destination, const DDS_EntityNameQosPolicy& source) {
    return copyText(destination.name, source.name);
}

void release(DDS_UserDataQosPolicy& policy) {
    DDS_OctetSeq_finalize(&policy.value);
}
void release(DDS_PartitionQosPolicy& policy) {
    DDS_StringSeq_finalize(&policy.name);
}
void release(DDS_PropertyQosPolicy& policy) {
    DDS_PropertySeq_finalize(&policy.value);
}
void release(DDS_DiscoveryQosPolicy& policy) {
    DDS_StringSeq_finalize(&policy.initial_peers);
}
void release(DDS_DataRepresentationQosPolicy& policy) {
    DDS_LongSeq_finalize(&policy.value);
}
void release(DDS_EntityNameQosPolicy& policy) {
    DDS_String_replace(&policy.name, nullptr);
}

bool equal(const DDS_UserDataQosPolicy& left, const DDS_UserDataQosPolicy& right) {
    const DDS_Long length = DDS_OctetSeq_get_length(&left.value);
    if (length != DDS_OctetSeq_get_length(&right.value))
        return false;
    for (DDS_Long i = 0; i < length; ++i) {
        if (DDS_OctetSeq_get(&left.value, i) != DDS_OctetSeq_get(&right.value, i))
            return false;
    }
    return true;
}
bool equal(const DDS_PartitionQosPolicy& left, const DDS_PartitionQosPolicy& right) {
    return equalStrings(left.name, right.name);
}
bool equal(const DDS_PropertyQosPolicy& left, const DDS_PropertyQosPolicy& right) {
    const DDS_Long length = DDS_PropertySeq_get_length(&left.value);
    if (length != DDS_PropertySeq_get_length(&right.value))
        return false;
    for (DDS_Long i = 0; i < length; ++i) {
        const DDS_Property_t* l = DDS_PropertySeq_get_reference(&left.value, i);
        const DDS_Property_t* r = DDS_PropertySeq_get_reference(&right.value, i);
        if (!equalText(l->name, r->name) || !equalText(l->value, r->value) || !l->propagate != !r->propagate)
            return false;
    }
    return true;
}
bool equal(const DDS_DiscoveryQosPolicy& left, const DDS_DiscoveryQosPolicy& right) {
    return equalStrings(left.initial_peers, right.initial_peers);
}
bool equal(const DDS_DataRepresentationQosPolicy& left, const DDS_DataRepresentationQosPolicy& right) {
    const DDS_Long length = DDS_LongSeq_get_length(&left.value);
    if (length != DDS_LongSeq_get_length(&right.value))
        return false;
    for (DDS_Long i = 0; i < length; ++i) {
        if (DDS_LongSeq_get(&left.value, i) != DDS_LongSeq_get(&right.value, i))
            return false;
    }
    return true;
}
bool equal(const DDS_EntityNameQosPolicy& left, const DDS_EntityNameQosPolicy& right) {
    return equalText(left.name, right.name);
}

} // namespace zdds::qos
