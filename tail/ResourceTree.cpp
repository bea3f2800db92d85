#include "tail/ResourceTree.hpp"

#include <algorithm>
#include <cstdio>
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
    for (Resource& resource : resources) {
        const Guid guid = resource.guid;
        if (put(std::move(resource)) == Outcome::added)
            onAdded(resources_.at(guid));
    }
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

std::string guidText(const Guid& guid) {
    std::string text = "GUID(";
    for (std::size_t i = 0; i < guid.size(); ++i) {
        char octet[4];
        std::snprintf(octet, sizeof octet, "%02X", guid[i]);
        if (i != 0 && i % 4 == 0)
            text += '.';
        text += octet;
    }
    return text + ")";
}

namespace {

// Length of the well-formed UTF-8 sequence at the position, 0 when there is none (RFC 3629, table of section
// 4).
std::size_t utf8Length(const std::string& text, std::size_t at) {
    const auto octet = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = octet(at);
    std::size_t length = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        length = 2;
    else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        if (first == 0xE0)
            low = 0xA0;
        if (first == 0xED)
            high = 0x9F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        if (first == 0xF0)
            low = 0x90;
        if (first == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (at + length > text.size() || octet(at + 1) < low || octet(at + 1) > high)
        return 0;
    for (std::size_t i = at + 2; i < at + length; ++i) {
        if (octet(i) < 0x80 || octet(i) > 0xBF)
            return 0;
    }
    return length;
}

} // namespace

std::string escaped(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8Length(text, at);
        const auto octet = static_cast<unsigned char>(text[at]);
        // C1 controls are two octets in UTF-8: 0xC2 0x80 to 0xC2 0x9F.
        const bool control =
            octet < 0x20 || octet == 0x7F ||
            (length == 2 && octet == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
        if (length == 0 || control) {
            for (std::size_t i = 0; i < std::max<std::size_t>(length, 1); ++i, ++at) {
                char quoted[5];
                std::snprintf(quoted, sizeof quoted, "\\x%02X", static_cast<unsigned char>(text[at]));
                result += quoted;
            }
            continue;
        }
        if (octet == '\\')
            result += '\\';
        result.append(text, at, length);
        at += length;
    }
    return result;
}

} // namespace tail
