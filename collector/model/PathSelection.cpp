#include "collector/model/PathSelection.hpp"

#include <algorithm>
#include <cstring>

#include "orxmonitoring2d/path_matcher.h"

namespace collector {

// The matcher's view of a node. Matching changes nothing: what it hands around as a resource is a node.
struct TreeCopy::Access {
    static const Node* nodeOf(const ORX_MonitoringOpaqueResource* resource) {
        return reinterpret_cast<const Node*>(resource);
    }
    static ORX_MonitoringOpaqueResource* opaque(const Node* node) {
        return reinterpret_cast<ORX_MonitoringOpaqueResource*>(const_cast<Node*>(node));
    }
    static const ORX_MonitoringOpaqueResource* at(const Node* from, std::uint32_t place) {
        return place == none ? nullptr : opaque(&from->tree->nodes_[place]);
    }
    static const ORX_MonitoringOpaqueResource* next(const ORX_MonitoringOpaqueResource* resource) {
        return at(nodeOf(resource), nodeOf(resource)->next);
    }
    static const ORX_MonitoringOpaqueResource* firstChild(const ORX_MonitoringOpaqueResource* resource) {
        return at(nodeOf(resource), nodeOf(resource)->firstChild);
    }
    static const ORX_MonitoringOpaqueResource* parent(const ORX_MonitoringOpaqueResource* resource) {
        return at(nodeOf(resource), nodeOf(resource)->parent);
    }
    static const ORX_MonitoringOpaqueResource* find(
        const ORX_MonitoringOpaqueResource* root, const DDS_UInt8 guid[16]) {
        const auto& nodes = nodeOf(root)->tree->nodes_;
        const auto found = std::find_if(nodes.begin(), nodes.end(),
            [&](const Node& node) { return std::memcmp(node.guid.data(), guid, node.guid.size()) == 0; });
        return found == nodes.end() ? nullptr : opaque(&*found);
    }
    static void info(const ORX_MonitoringOpaqueResource* resource, ORX_MonitoringOpaqueResourceInfo* info) {
        const Node& node = *nodeOf(resource);
        const std::size_t length = std::min<std::size_t>(node.nameLength, sizeof info->name - 1);
        std::memcpy(info->name, node.tree->names_.data() + node.nameAt, length);
        info->name[length] = '\0';
        std::memcpy(info->guid, node.guid.data(), node.guid.size());
        info->classId = classIdOf(node.resourceClass);
    }
    static constexpr ORX_MonitoringOpaqueResourceAccessor accessor{next, firstChild, parent, find, info};
};

namespace {

struct ResourceSequence {
    ORX_MonitoringOpaqueResourceSeq value{};
    ~ResourceSequence() { (void)ORX_MonitoringOpaqueResourceSeq_finalize(&value); }
};

// What the tokenizer would take, found out before it logs an error: these texts come from anybody.
bool isWellFormed(std::string_view text) {
    if (text.size() > ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH || text.find('\0') != std::string_view::npos ||
        text.find("///") != std::string_view::npos)
        return false;
    std::size_t tokens = 0;
    for (bool isSection = false;; isSection = true) {
        const std::size_t end = text.find("//");
        const std::string_view part = text.substr(0, end);
        std::size_t components = 0;
        for (std::size_t i = 0; i < part.size(); ++i)
            components += part[i] != '/' && (i == 0 || part[i - 1] == '/') ? 1 : 0;
        tokens += components + (isSection ? 1 + components % 2 : 0);
        if (end == std::string_view::npos)
            return tokens <= ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS;
        text.remove_prefix(end + 2);
    }
}

} // namespace

TreeCopy::TreeCopy(const Tree& tree) {
    nodes_.reserve(tree.resourceCount());
    for (const Application* application : tree.sortedApplications()) {
        roots_.push_back(static_cast<std::uint32_t>(nodes_.size()));
        std::uint32_t previous = none; // roots are given to the matcher one by one
        add(*application->root, none, previous);
    }
}

// As deep as the tree: a few levels.
void TreeCopy::add(const Resource& resource, std::uint32_t parent, std::uint32_t& previous) {
    const auto place = static_cast<std::uint32_t>(nodes_.size());
    Node node;
    node.guid = resource.guid;
    node.tree = this;
    node.parent = parent;
    node.nameAt = static_cast<std::uint32_t>(names_.size());
    node.nameLength = static_cast<std::uint16_t>(std::min<std::size_t>(resource.name.size(), 0xFFFF));
    node.resourceClass = resource.resourceClass;
    names_ += resource.name;
    nodes_.push_back(node);
    if (previous != none)
        nodes_[previous].next = place;
    else if (parent != none)
        nodes_[parent].firstChild = place;
    previous = place;
    std::uint32_t previousChild = none;
    for (const Resource* child = resource.firstChild; child != nullptr; child = child->next)
        add(*child, place, previousChild);
}

std::optional<std::vector<Guid>> TreeCopy::select(std::string_view expression) const {
    if (!isWellFormed(expression))
        return std::nullopt;
    const std::string text(expression);
    ResourceSequence roots;
    for (const std::uint32_t root : roots_) {
        if (ORX_Monitoring_addOpaqueResourceToSequence(&roots.value, Access::opaque(&nodes_[root])) == 0)
            throw std::bad_alloc();
    }
    ResourceSequence found;
    if (ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
            &found.value, text.c_str(), &Access::accessor, &roots.value) == 0)
        return std::nullopt;
    std::vector<const Node*> nodes;
    const DDS_Long count = ORX_MonitoringOpaqueResourceSeq_get_length(&found.value);
    nodes.reserve(static_cast<std::size_t>(count));
    for (DDS_Long i = 0; i < count; ++i)
        nodes.push_back(Access::nodeOf(ORX_MonitoringOpaqueResourceSeq_get(&found.value, i)));
    std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    std::vector<Guid> guids;
    guids.reserve(nodes.size());
    for (const Node* node : nodes)
        guids.push_back(node->guid);
    return guids;
}

} // namespace collector
