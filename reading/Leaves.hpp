// Takes a value apart by its type descriptor: one leaf for each primitive, with its member path.
#ifndef READING_LEAVES_HPP
#define READING_LEAVES_HPP

#include <cstddef>
#include <string>
#include <vector>

#include "zddsc/type_descriptor.h"

namespace reading {

// A leaf of a value: its member path, and its text.
struct Leaf {
    std::string path;
    std::string text;
    bool isText = false; // strings, octets and enumerators; else a number or boolean
};

// Appends the leaves of the value under the path. Sequences of octets and GUIDs become one text of
// hexadecimal digits; absent members give nothing. At most `limit` leaves, since lengths come from remote; a
// last leaf "..." tells that there were more.
void appendLeaves(const DDS_TypeDescriptor& type, const void* value, const std::string& path,
    std::vector<Leaf>& leaves, std::size_t limit = 1000);

// The type without its aliases.
const DDS_TypeDescriptor& resolved(const DDS_TypeDescriptor& type);

} // namespace reading

#endif
