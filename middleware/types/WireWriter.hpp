// Runs wire programs: values to XCDR 2 in native byte order.
//
// Errors: false for a string or sequence beyond its bound, an unknown enumerator, a null reference, and a
// lack of room.
#ifndef ZDDSC_TYPES_WIRE_WRITER_HPP
#define ZDDSC_TYPES_WIRE_WRITER_HPP

#include <cstring>

#include "middleware/types/Wire.hpp"

namespace zdds::types {

// Where the bytes go: a fixed buffer, or one of the heap that grows.
class WriteBuffer {
public:
    WriteBuffer(char* buffer, size_t capacity) : base_(buffer), current_(buffer), end_(buffer + capacity) {}
    // Grows *buffer of *capacity bytes.
    WriteBuffer(char** buffer, size_t* capacity)
        : base_(*buffer), current_(*buffer), end_(*buffer + *capacity), growing_(buffer),
          capacity_(capacity) {}

    bool room(size_t size) { return static_cast<size_t>(end_ - current_) >= size || grow(size); }
    char* at(size_t position) { return base_ + position; }
    size_t position() const { return static_cast<size_t>(current_ - base_); }
    char* current() { return current_; }
    char* end() { return end_; }
    void advance(size_t size) { current_ += size; }

private:
    bool grow(size_t size);

    char* base_;
    char* current_;
    char* end_;
    char** growing_ = nullptr;
    size_t* capacity_ = nullptr;
};

// A sample with its encapsulation header and padding, from `buffer`, a multiple of 4, to `end`. Where it
// ends; null on failure, and *lacksRoom tells whether that is all that is wrong so far.
char* writeWireSample(const Wire& wire, const char* value, char* buffer, char* end, bool* lacksRoom);
// Adds the size of the value alone to *position, from where its alignment counts.
bool measureWire(const Wire& wire, const char* value, size_t* position);

} // namespace zdds::types

#endif
