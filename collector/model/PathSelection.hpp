// Which resources a path expression selects, over a copy of the tree: matching may take its time without
// holding up anybody.
//
// Threads: plain data with one owner.
#ifndef COLLECTOR_PATH_SELECTION_HPP
#define COLLECTOR_PATH_SELECTION_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collector/model/Tree.hpp"

namespace collector {

class TreeCopy {
public:
    // Applications by name and GUID, each with what is below it, depth first.
    explicit TreeCopy(const Tree& tree);
    TreeCopy(const TreeCopy&) = delete;
    TreeCopy& operator=(const TreeCopy&) = delete;

    // GUIDs of what the expression selects, each once, in the order of the copy; nothing when it is
    // malformed.
    std::optional<std::vector<Guid>> select(std::string_view expression) const;

private:
    struct Node {
        Guid guid{};
        const TreeCopy* tree = nullptr;
        std::uint32_t parent = none; // places of neighbours
        std::uint32_t firstChild = none;
        std::uint32_t next = none;
        std::uint32_t nameAt = 0; // in `names_`
        std::uint16_t nameLength = 0;
        ResourceClass resourceClass = ResourceClass::application;
    };
    static constexpr std::uint32_t none = 0xFFFFFFFF;
    struct Access;

    void add(const Resource& resource, std::uint32_t parent, std::uint32_t& previous);

    std::vector<Node> nodes_;
    std::vector<std::uint32_t> roots_;
    std::string names_;
};

} // namespace collector

#endif
