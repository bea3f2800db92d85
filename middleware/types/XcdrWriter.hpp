// The complete writer: XCDR 1 and 2, either byte order, by a walk of the descriptor. What is sent by default
// goes through the wire program (WireWriter.hpp), which gives the same bytes.
#ifndef ZDDSC_TYPES_XCDR_WRITER_HPP
#define ZDDSC_TYPES_XCDR_WRITER_HPP

#include "middleware/types/WireWriter.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {

// `out` begins behind the encapsulation header; without it, only *size is counted. Errors as for writeWire.
// Of the encapsulation the version and the byte order count.
bool writeXcdr(const DDS_TypePrograms& programs, const Encapsulation& encapsulation, const char* value,
    WriteBuffer* out, size_t* size);

} // namespace zdds::types

#endif
