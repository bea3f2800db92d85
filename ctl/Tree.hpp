// Draws resources as a tree. What came from remote need not be one: a resource whose parent is unknown, or
// that is its own ancestor, stands at the top; each is drawn once. Threads: any; nothing is kept.
#ifndef CTL_TREE_HPP
#define CTL_TREE_HPP

#include <string>
#include <vector>

#include "ctl/Text.hpp"

namespace ctl {

struct Branch {
    std::string guid;
    std::string parent; // its GUID; empty at the top
    std::string label;  // as it came: escaped here
    std::string detail; // stands behind it, less prominent
};

// A line for each, cut to the look's width; box drawing characters where the look has UTF-8, else ASCII.
std::string drawTree(const std::vector<Branch>& branches, const Look& look);

} // namespace ctl

#endif
