#include "MetricGroups.hpp"

#include <algorithm>

namespace {

constexpr std::string_view module = "DDS::Monitoring::";

void appendPaths(const Type& type, const std::string& prefix, std::vector<std::string>& paths) {
    for (const auto& member : type.members) {
        const auto path = prefix + member.name;
        const Type& target = member.type->target();
        if (target.kind == Kind::Struct) {
            appendPaths(target, path + "_", paths);
        } else {
            paths.push_back(path);
        }
    }
}

// The member that a flattened path leads to, or null.
const Member* findPath(const Type& type, std::string_view path) {
    for (const auto& member : type.members) {
        if (path == member.name) {
            return &member;
        }
        if (path.starts_with(member.name + "_") && member.type->target().kind == Kind::Struct) {
            if (const auto* found = findPath(member.type->target(), path.substr(member.name.size() + 1))) {
                return found;
            }
        }
    }
    return nullptr;
}

std::string_view withoutSuffix(std::string_view name) {
    return name.ends_with("_1") || name.ends_with("_2") ? name.substr(0, name.size() - 2) : name;
}

bool isSameValue(const Type& left, const Type& right) {
    return left.isText() && right.isText() ? true : cName(left) == cName(right);
}

// A group is a copy of a member of the class's structure. The tree itself has no place in the structure.
void checkGroup(Schema& schema, const Type& structure, const Member& member) {
    if (member.name == "resource_update" || member.name == "resource_registry") {
        return;
    }
    const auto* origin = findPath(structure, withoutSuffix(member.name));
    if (origin == nullptr || !isSameValue(*origin->type, *member.type)) {
        Schema_addError(
            &schema, (structure.name + "." + member.name).c_str(), "a group that is no member of its class");
    }
}

void addGroups(Schema& schema, ResourceClass& resourceClass, const char* suffix, const char* sample) {
    const auto* groups = schema.find(resourceClass.structure->name + suffix);
    const auto* sampleType = schema.find(std::string(module) + sample);
    if (groups == nullptr || sampleType == nullptr) {
        Schema_addError(&schema, resourceClass.structure->name.c_str(), "a class without its samples");
        return;
    }
    for (const auto& member : groups->members) {
        if (member.isOptional) { // what stands for an empty structure is not
            checkGroup(schema, *resourceClass.structure, member);
            resourceClass.groups.push_back({&member, sampleType});
        }
    }
}

} // namespace

std::vector<std::string> leafPaths(const Type& structure) {
    std::vector<std::string> paths;
    appendPaths(structure, "", paths);
    return paths;
}

std::vector<ResourceClass> resourceClasses(Schema& schema) {
    std::vector<ResourceClass> classes;
    for (const auto* type : schema.named) {
        if (!type->resource) {
            continue;
        }
        const auto& name = type->resource->className;
        ResourceClass resourceClass{name, type, idHash(name), 0, {}};
        addGroups(schema, resourceClass, "Event", "Event");
        resourceClass.eventGroupCount = static_cast<std::uint32_t>(resourceClass.groups.size());
        addGroups(schema, resourceClass, "Periodic", "Periodic");
        classes.push_back(std::move(resourceClass));
    }
    return classes;
}
