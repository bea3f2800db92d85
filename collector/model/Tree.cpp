#include "collector/model/Tree.hpp"

#include <algorithm>
#include <cassert>

#include "collector/model/LabelText.hpp"

namespace collector {

namespace {

// Walks over what is below a resource, and itself first.
Resource* following(Resource* at, const Resource* top) {
    if (at->firstChild != nullptr)
        return at->firstChild;
    while (at != top && at->next == nullptr)
        at = at->parent;
    return at == top ? nullptr : at->next;
}

Resource* firstLeaf(Resource* at) {
    while (at->firstChild != nullptr)
        at = at->firstChild;
    return at;
}

std::string labelsOf(const Resource& resource) {
    std::string text = "{";
    const Application& application = *resource.application;
    appendLabel(text, "application", application.root->name);
    appendLabel(text, "application_guid", reading::guidDigits(application.guid));
    if (const Resource* participant = resource.participant()) {
        appendLabel(text, "participant", participant->name);
        if (participant->traits != nullptr && participant->traits->domain)
            appendLabel(text, "domain", std::to_string(*participant->traits->domain));
    }
    if (resource.traits != nullptr && resource.traits->topic)
        appendLabel(text, "topic", *resource.traits->topic);
    if (resource.traits != nullptr && resource.traits->type)
        appendLabel(text, "type", *resource.traits->type);
    appendLabel(text, "path", resource.path());
    appendLabel(text, "name", resource.name);
    appendLabel(text, "guid", reading::guidDigits(resource.guid));
    text += '}';
    text.shrink_to_fit();
    return text;
}

} // namespace

const Resource* Resource::participant() const {
    const Resource* at = this;
    while (at != nullptr && at->resourceClass != ResourceClass::participant)
        at = at->parent;
    return at;
}

std::string Resource::path() const {
    std::array<const Resource*, Tree::maximalDepth> chain{};
    std::size_t count = 0;
    std::size_t length = 0;
    for (const Resource* at = this; at != nullptr; at = at->parent) {
        chain[count++] = at;
        length += at->name.size() + 24;
    }
    std::string text;
    text.reserve(length);
    while (count > 0) {
        const Resource& at = *chain[--count];
        ((text += '/') += resourceClassIdentifier(at.resourceClass)) += '/';
        text += at.name;
    }
    return text;
}

void sortByName(std::vector<const Application*>& applications) {
    std::sort(
        applications.begin(), applications.end(), [](const Application* left, const Application* right) {
            const int names = left->root->name.compare(right->root->name);
            return names != 0 ? names < 0 : left->guid < right->guid;
        });
}

Application* Tree::application(const Guid& guid) {
    const auto found = applications_.find(guid);
    return found == applications_.end() ? nullptr : &found->second;
}

const Application* Tree::application(const Guid& guid) const {
    const auto found = applications_.find(guid);
    return found == applications_.end() ? nullptr : &found->second;
}

Resource* Tree::resource(const Guid& guid) {
    const auto found = resources_.find(guid);
    return found == resources_.end() ? nullptr : &found->second;
}

const Resource* Tree::resource(const Guid& guid) const {
    const auto found = resources_.find(guid);
    return found == resources_.end() ? nullptr : &found->second;
}

std::vector<const Application*> Tree::sortedApplications() const {
    std::vector<const Application*> sorted;
    sorted.reserve(applications_.size());
    for (const auto& [guid, application] : applications_)
        sorted.push_back(&application);
    sortByName(sorted);
    return sorted;
}

Tree::Added Tree::addApplication(const Guid& guid, const Guid& participant, std::string name) {
    if (applications_.size() >= limits_.applications)
        return {nullptr, DropCause::applicationLimit};
    Application& application = applications_[guid];
    application.guid = guid;
    application.participant = participant;
    Added added;
    try {
        added = insert(application, nullptr, guid, ResourceClass::application, std::move(name));
    } catch (...) {
        applications_.erase(guid);
        throw;
    }
    application.root = added.resource;
    if (added.resource == nullptr)
        applications_.erase(guid);
    return added;
}

Tree::Added Tree::add(Resource& parent, const Guid& guid, ResourceClass resourceClass, std::string name) {
    if (parent.depth + 1U >= maximalDepth)
        return {nullptr, DropCause::depth};
    return insert(*parent.application, &parent, guid, resourceClass, std::move(name));
}

Tree::Added Tree::insert(Application& application, Resource* parent, const Guid& guid,
    ResourceClass resourceClass, std::string name) {
    if (resources_.size() >= limits_.resources || application.resources >= limits_.resourcesPerApplication) {
        application.isTruncated = true;
        return {nullptr, DropCause::resourceLimit};
    }
    ClassList& list = lists_[static_cast<std::size_t>(resourceClass)];
    // The slot before the resource: a failure of either leaves an empty slot at most.
    list.slots.push_back(nullptr);
    ++list.removed;
    const auto [place, isNew] = resources_.try_emplace(guid);
    if (!isNew)
        return {nullptr, DropCause::conflict};
    Resource& resource = place->second;
    resource.guid = guid;
    resource.application = &application;
    resource.resourceClass = resourceClass;
    resource.name = std::move(name);
    resource.slot = static_cast<std::uint32_t>(list.slots.size() - 1);
    list.slots.back() = &resource;
    --list.removed;
    ++application.resources;
    if (parent != nullptr) {
        resource.parent = parent;
        resource.depth = static_cast<std::uint8_t>(parent->depth + 1);
        resource.previous = parent->lastChild;
        (parent->lastChild != nullptr ? parent->lastChild->next : parent->firstChild) = &resource;
        parent->lastChild = &resource;
    }
    return {&resource, {}};
}

void Tree::rename(Resource& resource, std::string name) {
    if (resource.name == name)
        return;
    resource.name = std::move(name);
    forgetLabels(resource);
}

void Tree::remove(Resource& top, const OnRemoved& onRemoved) {
    Resource* at = firstLeaf(&top);
    for (bool isLast = false; !isLast;) {
        isLast = at == &top;
        Resource* const parent = at->parent;
        Resource* const next = at->next;
        if (onRemoved)
            onRemoved(*at);
        erase(*at);
        at = isLast ? nullptr : next != nullptr ? firstLeaf(next) : parent;
    }
}

void Tree::removeApplication(Application& application) {
    const Guid guid = application.guid;
    remove(*application.root, {});
    applications_.erase(guid);
}

void Tree::erase(Resource& resource) {
    if (resource.parent != nullptr) {
        (resource.previous != nullptr ? resource.previous->next : resource.parent->firstChild) =
            resource.next;
        (resource.next != nullptr ? resource.next->previous : resource.parent->lastChild) = resource.previous;
    }
    setPresent(resource, {});
    --resource.application->resources;
    ClassList& list = lists_[static_cast<std::size_t>(resource.resourceClass)];
    list.slots[resource.slot] = nullptr;
    ++list.removed;
    resources_.erase(Guid{resource.guid});
    compact(list);
}

void Tree::compact(ClassList& list) {
    constexpr std::size_t few = 64;
    if (list.removed < few || list.removed < list.slots.size() / 2)
        return;
    std::erase(list.slots, nullptr);
    for (std::size_t slot = 0; slot < list.slots.size(); ++slot)
        list.slots[slot]->slot = static_cast<std::uint32_t>(slot);
    list.removed = 0;
}

bool Tree::hasRoomFor(const Application& application, std::size_t series) const {
    return application.series + series <= limits_.seriesPerApplication && series_ + series <= limits_.series;
}

void Tree::setPresent(Resource& resource, const MetricSet& present) {
    const std::size_t before = resource.present.size();
    const std::size_t after = present.size();
    resource.application->series += after - before; // unsigned: what wraps comes back
    series_ += after - before;
    resource.present = present;
}

void Tree::forgetGroup(Resource& resource, std::size_t group) {
    const std::uint8_t first = resource.cellOf[group];
    const std::size_t count = 1 + groupsOf(resource.resourceClass)[group].metricCount;
    const auto begin = resource.cells.begin() + first;
    resource.cells.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    resource.cellOf[group] = Resource::noCells;
    for (std::uint8_t& cell : resource.cellOf) {
        if (cell != Resource::noCells && cell > first)
            cell = static_cast<std::uint8_t>(cell - count);
    }
}

std::size_t Tree::select(Resource& resource, const MetricSet& metrics) {
    if (resource.selected == metrics)
        return 0;
    resource.selected = metrics;
    const auto groups = groupsOf(resource.resourceClass);
    setPresent(resource, resource.present & metrics);
    std::size_t refused = 0;
    for (std::size_t group = 0; group < groups.size(); ++group) {
        if (!resource.has(group))
            continue;
        const MetricSet selected = groups[group].metrics & metrics;
        const std::size_t more = selected.size() - (groups[group].metrics & resource.present).size();
        MetricSet present = resource.present;
        if (selected.empty() || !hasRoomFor(*resource.application, more)) {
            refused += more;
            present.remove(groups[group].metrics);
            forgetGroup(resource, group);
        } else {
            present |= selected;
        }
        setPresent(resource, present);
    }
    return refused;
}

Tree::Stored Tree::store(
    Resource& resource, std::size_t group, std::span<const std::uint64_t> values, std::int64_t timeNs) {
    const MetricGroup& own = groupsOf(resource.resourceClass)[group];
    const MetricSet selected = own.metrics & resource.selected;
    if (selected.empty())
        return {};
    Stored result;
    const bool isNew = !resource.has(group);
    if (isNew) {
        if (!hasRoomFor(*resource.application, selected.size())) {
            result.refused = selected.size();
            return result;
        }
        const std::size_t first = resource.cells.size();
        assert(first + 1 + own.metricCount < Resource::noCells);
        resource.cells.reserve(first + 1 + own.metricCount);
        resource.cells.resize(first + 1 + own.metricCount);
        resource.cellOf[group] = static_cast<std::uint8_t>(first);
        MetricSet present = resource.present;
        present |= selected;
        setPresent(resource, present);
    }
    std::uint64_t* const cells = &resource.cells[resource.cellOf[group]];
    cells[0] = static_cast<std::uint64_t>(timeNs);
    for (std::size_t i = 0; i < own.metricCount; ++i) {
        if ((isNew || cells[1 + i] != values[i]) && selected.has(own.firstMetric + i))
            result.changed.add(own.firstMetric + i);
        cells[1 + i] = values[i];
    }
    return result;
}

Resource::Traits& Tree::traits(Resource& resource) {
    if (resource.traits == nullptr)
        resource.traits = std::make_unique<Resource::Traits>();
    return *resource.traits;
}

void Tree::forgetLabels(Resource& top) {
    for (Resource* at = &top; at != nullptr; at = following(at, &top))
        at->labels.reset();
}

std::optional<std::size_t> Tree::renderLabels(
    ResourceClass resourceClass, std::size_t slot, std::size_t atMost) {
    const auto& slots = lists_[static_cast<std::size_t>(resourceClass)].slots;
    for (std::size_t count = 0; slot < slots.size(); ++slot) {
        if (count == atMost)
            return slot;
        Resource* const resource = slots[slot];
        if (resource == nullptr || resource->labels != nullptr || resource->present.empty())
            continue;
        resource->labels = std::make_shared<const std::string>(labelsOf(*resource));
        ++count;
    }
    return std::nullopt;
}

void Tree::take(Snapshot& snapshot) {
    snapshot.values.clear();
    snapshot.values.reserve(series_);
    for (std::size_t i = 0; i < lists_.size(); ++i) {
        snapshot.classes[i].clear();
        (void)renderLabels(static_cast<ResourceClass>(i), 0, std::numeric_limits<std::size_t>::max());
        for (Resource* resource : lists_[i].slots) {
            if (resource == nullptr || resource->present.empty())
                continue;
            snapshot.classes[i].push_back({resource->labels, resource->present, snapshot.values.size()});
            takeResource(*resource, snapshot);
        }
    }
}

void Tree::takeResource(Resource& resource, Snapshot& snapshot) {
    const auto groups = groupsOf(resource.resourceClass);
    for (std::size_t group = 0; group < groups.size(); ++group) {
        if (!resource.has(group))
            continue;
        const std::uint64_t* const values = &resource.cells[resource.cellOf[group] + 1U];
        for (std::size_t i = 0; i < groups[group].metricCount; ++i) {
            if (resource.present.has(groups[group].firstMetric + i))
                snapshot.values.push_back(values[i]);
        }
    }
}

} // namespace collector
