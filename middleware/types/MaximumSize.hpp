// The largest encoding of a type.
#ifndef ZDDSC_TYPES_MAXIMUM_SIZE_HPP
#define ZDDSC_TYPES_MAXIMUM_SIZE_HPP

#include <cstddef>

struct DDS_TypePrograms;

namespace zdds::types {

inline constexpr size_t unboundedSize = size_t{1} << 40;

// With the encapsulation header and the padding at the end; unboundedSize or more when a string or sequence
// has no bound.
size_t maximumSize(const DDS_TypePrograms& programs, bool isXcdr2);

} // namespace zdds::types

#endif
