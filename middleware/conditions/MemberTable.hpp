// The members of a set of conditions: in the order of joining, and found by the address of the condition
// alone, which may be gone by then.
//
// Threads: callers serialize. Ownership: the nodes are the owner's; each has a `MemberPlace<Node> place` and
// tells its condition by `member()`. Nothing allocates; joining, leaving and finding cost the same however
// many there are, up to some thousands.
#ifndef ZDDSC_CONDITIONS_MEMBER_TABLE_HPP
#define ZDDSC_CONDITIONS_MEMBER_TABLE_HPP

#include <array>
#include <cstddef>
#include <cstdint>

#include "zddsc/conditions.h"

namespace zdds::conditions {

template <class Node> struct MemberPlace {
    Node* previous = nullptr;
    Node* next = nullptr;
    Node* nextInBucket = nullptr;
    Node** linkInBucket = nullptr; // what points here
};

template <class Node> class MemberTable {
public:
    // In the order of joining, by place.next.
    Node* first() const { return first_; }

    Node* find(const DDS_ConditionImpl& condition) const {
        Node* node = buckets_[bucketOf(&condition)];
        while (node != nullptr && node->member() != &condition)
            node = node->place.nextInBucket;
        return node;
    }

    void add(Node& node) {
        Node*& bucket = buckets_[bucketOf(node.member())];
        node.place = {last_, nullptr, bucket, &bucket};
        if (bucket != nullptr)
            bucket->place.linkInBucket = &node.place.nextInBucket;
        bucket = &node;
        (last_ != nullptr ? last_->place.next : first_) = &node;
        last_ = &node;
    }

    void remove(Node& node) {
        const MemberPlace<Node>& place = node.place;
        *place.linkInBucket = place.nextInBucket;
        if (place.nextInBucket != nullptr)
            place.nextInBucket->place.linkInBucket = place.linkInBucket;
        (place.previous != nullptr ? place.previous->place.next : first_) = place.next;
        (place.next != nullptr ? place.next->place.previous : last_) = place.previous;
    }

private:
    static constexpr size_t bucketCount = 512;
    static size_t bucketOf(const DDS_ConditionImpl* condition) {
        const uint64_t mixed = reinterpret_cast<uintptr_t>(condition) * 0x9E3779B97F4A7C15U;
        return static_cast<size_t>(mixed >> 32) % bucketCount;
    }

    Node* first_ = nullptr;
    Node* last_ = nullptr;
    std::array<Node*, bucketCount> buckets_{};
};

} // namespace zdds::conditions

#endif
