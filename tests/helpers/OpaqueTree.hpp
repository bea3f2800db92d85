// A tree of made-up resources behind an accessor, for tests of path expressions.
#ifndef ORX_TESTS_OPAQUE_TREE_HPP
#define ORX_TESTS_OPAQUE_TREE_HPP

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "src/dataModel/MetricCatalogue.h"
#include "src/utils/PathMatcher.h"

class OpaqueTree {
public:
    using Guid = std::array<DDS_UInt8, 16>;
    struct Node {
        std::string name;
        DDS_UnsignedLong classId;
        Guid guid;
        Node* parent = nullptr;
        Node* firstChild = nullptr;
        Node* lastChild = nullptr;
        Node* nextSibling = nullptr;
        OpaqueTree* tree = nullptr;

        const ORX_MonitoringOpaqueResource* opaque() const {
            return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(this);
        }
        std::string guidText() const {
            char text[ORX_MONITORING_GUID_TEXT_SIZE];
            DDS_Monitoring_GUID_toStr(guid.data(), text);
            return text;
        }
        std::string identifier() const { return ORX_Monitoring_resourceClassIdToIdentifierStr(classId); }
    };

    // A GUID of its own for each node.
    Node* add(Node* parent, DDS_UnsignedLong classId, std::string name) {
        Guid guid{};
        const uint32_t number = static_cast<uint32_t>(nodes.size()) + 1;
        const uint32_t mixed = number * 2654435761U;
        std::memcpy(guid.data(), &mixed, sizeof mixed);
        std::memcpy(guid.data() + 12, &number, sizeof number);
        return add(parent, classId, std::move(name), guid);
    }
    Node* add(Node* parent, DDS_UnsignedLong classId, std::string name, const Guid& guid) {
        nodes.push_back(
            std::make_unique<Node>(Node{.name = std::move(name), .classId = classId, .guid = guid}));
        Node* node = nodes.back().get();
        node->parent = parent;
        node->tree = this;
        if (parent == nullptr)
            return node;
        (parent->firstChild == nullptr ? parent->firstChild : parent->lastChild->nextSibling) = node;
        parent->lastChild = node;
        return node;
    }

    static ORX_MonitoringOpaqueResourceAccessor accessor(bool hasIndex = true) {
        return {&getNextSibling, &getFirstChild, &getParent, hasIndex ? &findByGuid : nullptr, &getInfo};
    }
    static const Node* fromOpaque(const ORX_MonitoringOpaqueResource* resource) {
        return reinterpret_cast<const Node*>(resource);
    }

    std::vector<std::unique_ptr<Node>> nodes;

private:
    static const ORX_MonitoringOpaqueResource* getNextSibling(const ORX_MonitoringOpaqueResource* resource) {
        return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(fromOpaque(resource)->nextSibling);
    }
    static const ORX_MonitoringOpaqueResource* getFirstChild(const ORX_MonitoringOpaqueResource* resource) {
        return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(fromOpaque(resource)->firstChild);
    }
    static const ORX_MonitoringOpaqueResource* getParent(const ORX_MonitoringOpaqueResource* resource) {
        return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(fromOpaque(resource)->parent);
    }
    static const ORX_MonitoringOpaqueResource* findByGuid(
        const ORX_MonitoringOpaqueResource* root, const DDS_UInt8 guid[16]) {
        for (const auto& node : fromOpaque(root)->tree->nodes)
            if (std::memcmp(node->guid.data(), guid, 16) == 0)
                return node->opaque();
        return nullptr;
    }
    static void getInfo(
        const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringOpaqueResourceInfo* info) {
        const Node* node = fromOpaque(resource);
        const size_t length = std::min(node->name.size(), sizeof info->name - 1);
        std::memcpy(info->name, node->name.data(), length);
        info->name[length] = '\0';
        std::memcpy(info->guid, node->guid.data(), 16);
        info->classId = node->classId;
    }
};

// Matches of an expression, or of a call.
class OpaqueMatches {
public:
    OpaqueMatches() { ORX_MonitoringOpaqueResourceSeq_initialize(&sequence); }
    ~OpaqueMatches() { ORX_MonitoringOpaqueResourceSeq_finalize(&sequence); }
    OpaqueMatches(const OpaqueMatches&) = delete;
    OpaqueMatches& operator=(const OpaqueMatches&) = delete;

    std::vector<const OpaqueTree::Node*> nodes() const {
        std::vector<const OpaqueTree::Node*> all;
        for (DDS_Long i = 0; i < ORX_MonitoringOpaqueResourceSeq_get_length(&sequence); ++i)
            all.push_back(OpaqueTree::fromOpaque(ORX_MonitoringOpaqueResourceSeq_get(&sequence, i)));
        return all;
    }
    // Names with a blank between, in order.
    std::string names() const {
        std::string all;
        for (const auto* node : nodes())
            all += (all.empty() ? "" : " ") + node->name;
        return all;
    }

    ORX_MonitoringOpaqueResourceSeq sequence;
};

#endif
