// What orx-tail knows of the applications: their resources by GUID, with parents and children.
//
// Fed by creations, deletions and registry snapshots; a deletion ends the whole subtree, since deleting an
// ancestor announces only the ancestor. Bounded: an application that creates without end is cut off at a
// limit, and what was refused is counted. Threads: one owner.
#ifndef TAIL_RESOURCE_TREE_HPP
#define TAIL_RESOURCE_TREE_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "reading/Guid.hpp"
#include "reading/Text.hpp"

namespace tail {

using reading::escaped;
using reading::Guid;
using reading::guidText;
using reading::noGuid;

struct Resource {
    Guid guid{};
    Guid owner{};       // none for an application
    Guid application{}; // root of its tree; its own GUID for an application
    std::uint32_t classId = 0;
    std::string name; // as received: escape before it is shown
    std::vector<std::uint32_t> metricIds;
};

class ResourceTree {
public:
    static constexpr std::size_t defaultLimit = 200'000; // resources of one application

    explicit ResourceTree(std::size_t limitPerApplication = defaultLimit) : limit_(limitPerApplication) {}

    enum class Outcome { added, updated, refused };
    // Adds, or takes over what changed of a resource known already.
    Outcome put(Resource resource);
    // Removes the resource and all below it, the deepest first; calls back for each. Unknown: nothing.
    void remove(const Guid& guid, const std::function<void(const Resource&)>& onRemoved);
    // Replaces what is known of an application by a complete registry: calls back for what is gone.
    void replaceApplication(const Guid& application, std::vector<Resource> resources,
        const std::function<void(const Resource&)>& onRemoved,
        const std::function<void(const Resource&)>& onAdded);
    void setMetricIds(const Guid& guid, std::vector<std::uint32_t> metricIds);

    const Resource* find(const Guid& guid) const;
    // "/applications/app/domain_participants/p"; an unknown ancestor shows as "/?".
    std::string path(const Guid& guid) const;
    // Name of the application that the resource belongs to, or its GUID's text when the name is not known.
    std::string applicationName(const Guid& application) const;
    // Every resource below its owner, in the order of class and name, with its depth from 0.
    void walk(const std::function<void(const Resource&, std::size_t)>& visit) const;
    std::size_t size() const { return resources_.size(); }
    std::uint64_t refused() const { return refused_; }

private:
    std::size_t limit_;
    std::map<Guid, Resource> resources_;
    std::map<Guid, std::set<Guid>> children_;
    std::map<Guid, std::size_t> sizes_; // resources by application
    std::uint64_t refused_ = 0;
};

// Plural class name of paths ("data_writers"), "unknown" for an id of no class.
const char* classIdentifier(std::uint32_t classId);

} // namespace tail

#endif
