// The complete reader: XCDR 1 and 2, either byte order, types that have members more or fewer.
//
// What it accepts, and what else happens:
// - A member that the bytes do not have gets its default; of an appendable or mutable structure only.
// - An unknown member is skipped, unless it must be understood. A member that comes twice, a boolean above 1,
// an
//   enumerator that the type does not have, a length beyond a bound or beyond the bytes, and a text that is
//   not terminated or holds another zero byte make the sample malformed. A text of length 0 counts as "".
// - A discriminator without an arm selects none. A delimited value may be longer than what is known of it.
// - Bytes behind the value are ignored: a type may have grown.
#ifndef ZDDSC_TYPES_XCDR_READER_HPP
#define ZDDSC_TYPES_XCDR_READER_HPP

#include "middleware/types/Memory.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {

// `bytes` begin behind the encapsulation header. The value is initialized, and stays so; false for malformed
// bytes, and when memory or the budget is out.
bool readXcdr(const DDS_TypePrograms& programs, const Encapsulation& encapsulation, char* value,
    const char* bytes, size_t size, const Memory& memory);

} // namespace zdds::types

#endif
