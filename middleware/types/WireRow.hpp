// A row of instructions while it is being made: how pieces of fixed size are packed into segments.
//
// Threads: one. Errors: false when memory is out.
#ifndef ZDDSC_TYPES_WIRE_ROW_HPP
#define ZDDSC_TYPES_WIRE_ROW_HPP

#include "middleware/types/Memory.hpp"
#include "middleware/types/Wire.hpp"

namespace zdds::types {

constexpr uint32_t mostInSegment = 32768; // bytes

inline bool isCopy(Code code) {
    return code >= Code::copy1 && code <= Code::copyMany;
}
inline bool isCheck(Code code) {
    return code >= Code::boolean && code <= Code::literal;
}
inline bool isPiece(Code code) {
    return code >= Code::copy1 && code <= Code::zeros;
}
Code copyCode(uint32_t size);

class WireRow {
public:
    explicit WireRow(HeapArray<Instruction>& row) : row_(row) {}

    bool push(const Instruction& instruction) { return row_.push(instruction); }
    uint32_t size() const { return static_cast<uint32_t>(row_.size()); }
    Instruction& operator[](uint32_t index) { return row_[index]; }
    Instruction* begin() { return row_.begin(); }
    Instruction* end() { return row_.end(); }

    bool hasSegment() const { return segment_ != none; }
    // The open one.
    Instruction& segment() { return row_[segment_]; }
    bool beginSegment(uint32_t alignment);
    void endSegment();
    // The same within a row that is more than a segment: shorter where it can be.
    void closeSegment();
    // A DHEADER, or a part of a member header.
    bool putConstant(uint32_t value);
    // The first piece becomes the DHEADER of all that is in the segment behind it.
    void setLeadingSize() { row_[segment_ + 1].a = segment().a - 4; }
    // A value of fixed form that lies at `memory`. The caller has seen to the alignment.
    bool append(const Wire& inner, uint32_t memory);
    // The same, in a new segment where the alignment of what is open does not tell where the value lies.
    bool appendFixed(const Wire& inner, uint32_t memory);

private:
    bool pad(uint32_t alignment);
    bool append(const Instruction& piece);
    bool putCopy(const Instruction& copy);

    static constexpr uint32_t none = UINT32_MAX;

    HeapArray<Instruction>& row_;
    uint32_t segment_ = none;
};

} // namespace zdds::types

#endif
