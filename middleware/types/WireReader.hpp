// Runs wire programs backwards: reads what a writer of the very same type wrote, XCDR 2 in native byte order.
//
// Bytes are hostile: nothing is read beyond the end, nothing is allocated that the bytes do not account for.
#ifndef ZDDSC_TYPES_WIRE_READER_HPP
#define ZDDSC_TYPES_WIRE_READER_HPP

#include "middleware/types/Memory.hpp"
#include "middleware/types/Wire.hpp"

namespace zdds::types {

enum class ReadResult {
    done,
    other, // another form, or malformed: the walker tells; the value is initialized, its content unspecified
    failed // memory, or the budget, is out
};

// `bytes` begin behind the encapsulation header. The value is initialized; memory that it has is used again.
ReadResult readWire(const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory);
// The same into a new value that has no texts and references yet: NewTarget::newAllocation. When it is not
// done, the value is good for finalizeValue alone.
ReadResult readWireIntoNew(
    const Wire& wire, char* value, const char* bytes, size_t size, const Memory& memory);

// Most characters of a text on the wire that is longer than it may be in memory are refused here: the length
// counts the terminator, 0 stands for "" too, and no other byte is 0.
bool isText(const char* bytes, uint32_t length, uint32_t bound);

} // namespace zdds::types

#endif
