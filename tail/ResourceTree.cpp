#include "tail/ResourceTree.hpp"

#include <algorithm>
#include <cstring>

#include "src/utils/PathTokenizer.h"

namespace tail {

ResourceTree::Outcome ResourceTree::put(Resource resource) {
    if (auto known = resources_.find(resource.guid); known != resources_.end()) {
        known->second.name = std::move(resource.name);
        known->second.metricIds = std::move(resource.metricIds);
        return Outcome::updated;
    }
    std::size_t& size = sizes_[resource.application];
    if (size >= limit_) {
        ++refused_;
        return Outcome::refused;
    }
    ++size;
    if (resource.owner != noGuid)
        children_[resource.owner].insert(resource.guid);
    const Guid guid = resource.guid;
    resources_.emplace(guid, std::move(resource));
    return Outcome::added;
}

void ResourceTree::remove(const Guid& guid, const std::function<void(const Resource&)>& onRemoved) {
    // A stack in place of recursion: depth comes from remote, and a forged ring of owners must end.
    std::vector<Guid> order{guid};
    std::set<Guid> seen{guid};
    for (std::size_t next = 0; next < order.size(); ++next) {
        const auto below = children_.find(order[next]);
        if (below == children_.end())
            continue;
        for (const Guid& child : below->second) {
            if (seen.insert(child).second)
                order.push_back(child);
        }
    }
    for (auto item = order.rbegin(); item != order.rend(); ++item) {
        const auto known = resources_.find(*item);
        children_.erase(*item);
        if (known == resources_.end())
            continue;
        if (const auto owner = children_.find(known->second.owner); owner != children_.end()) {
            owner->second.erase(*item);
            if (owner->second.empty())
                children_.erase(owner);
        }
        if (const auto size = sizes_.find(known->second.application);
            size != sizes_.end() && --size->second == 0) {
            sizes_.erase(size);
        }
        const Resource gone = std::move(known->second);
        resources_.erase(known);
        onRemoved(gone);
    }
}

void ResourceTree::replaceApplication(const Guid& application, std::vector<Resource> resources,
    const std::function<void(const Resource&)>& onRemoved,
    const std::function<void(const Resource&)>& onAdded) {
    std::set<Guid> present;
    for (const Resource& resource : resources)
        present.insert(resource.guid);
    std::vector<Guid> gone;
    for (const auto& [guid, resource] : resources_) {
        if (resource.application == application && !present.contains(guid))
            gone.push_back(guid);
    }
    for (const Guid& guid : gone)
        remove(guid, onRemoved);
    // Who is told of one may ask for the path of any other.
    std::vector<Guid> added;
    for (Resource& resource : resources) {
        const Guid guid = resource.guid;
        if (put(std::move(resource)) == Outcome::added)
            added.push_back(guid);
    }
    for (const Guid& guid : added)
        onAdded(resources_.at(guid));
}

void ResourceTree::setMetricIds(const Guid& guid, std::vector<std::uint32_t> metricIds) {
    if (auto known = resources_.find(guid); known != resources_.end())
        known->second.metricIds = std::move(metricIds);
}

const Resource* ResourceTree::find(const Guid& guid) const {
    const auto known = resources_.find(guid);
    return known == resources_.end() ? nullptr : &known->second;
}

std::string ResourceTree::path(const Guid& guid) const {
    std::vector<const Resource*> chain;
    constexpr std::size_t deepest = 16; // the tree has four levels; more can only be a forged ring
    Guid at = guid;
    while (at != noGuid && chain.size() < deepest) {
        const Resource* resource = find(at);
        if (resource == nullptr)
            break;
        chain.push_back(resource);
        at = resource->owner;
    }
    std::string text = at == noGuid ? "" : "/?/" + guidText(at);
    for (auto item = chain.rbegin(); item != chain.rend(); ++item) {
        text += std::string("/") + classIdentifier((*item)->classId) + "/" + escaped((*item)->name);
    }
    return text;
}

std::string ResourceTree::applicationName(const Guid& application) const {
    const Resource* resource = find(application);
    return resource != nullptr && !resource->name.empty() ? escaped(resource->name) : guidText(application);
}

void ResourceTree::walk(const std::function<void(const Resource&, std::size_t)>& visit) const {
    constexpr std::size_t deepest =
        16; // a forged ring of owners hangs on no root, a forged chain may be long
    struct Entry {
        const Resource* resource;
        std::size_t depth;
    };
    const auto isAfter = [](const Entry& a, const Entry& b) {
        const int classes =
            std::strcmp(classIdentifier(a.resource->classId), classIdentifier(b.resource->classId));
        return classes != 0 ? classes > 0 : a.resource->name > b.resource->name;
    };
    std::vector<Entry> stack; // the next one on top
    for (const auto& [guid, resource] : resources_) {
        if (resource.owner == noGuid || find(resource.owner) == nullptr)
            stack.push_back({&resource, 0});
    }
    std::sort(stack.begin(), stack.end(), isAfter);
    while (!stack.empty()) {
        const Entry entry = stack.back();
        stack.pop_back();
        visit(*entry.resource, entry.depth);
        const auto below = children_.find(entry.resource->guid);
        if (below == children_.end() || entry.depth >= deepest)
            continue;
        const auto first = static_cast<std::ptrdiff_t>(stack.size());
        for (const Guid& child : below->second) {
            if (const Resource* resource = find(child))
                stack.push_back({resource, entry.depth + 1});
        }
        std::sort(stack.begin() + first, stack.end(), isAfter);
    }
}

const char* classIdentifier(std::uint32_t classId) {
    return ORX_Monitoring_resourceClassIdToIdentifierStr(classId);
}

} // namespace tail
