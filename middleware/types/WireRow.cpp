#include "middleware/types/WireRow.hpp"

#include "middleware/types/Xcdr.hpp"

namespace zdds::types {

Code copyCode(uint32_t size) {
    switch (size) {
    case 1:
        return Code::copy1;
    case 2:
        return Code::copy2;
    case 4:
        return Code::copy4;
    case 8:
        return Code::copy8;
    case 16:
        return Code::copy16;
    default:
        return size >= 32 && size <= 64 ? Code::copyTo64 : Code::copyMany;
    }
}

bool WireRow::beginSegment(uint32_t alignment) {
    segment_ = size();
    return push({.code = Code::segment, .alignment = static_cast<uint8_t>(alignment)});
}

void WireRow::endSegment() {
    if (hasSegment())
        segment().b = size() - segment_ - 1;
    segment_ = none;
}

void WireRow::closeSegment() {
    if (hasSegment() && segment().code == Code::segment && segment().a == 4 && segment().alignment == 4 &&
        size() == segment_ + 2 && row_.back().code == Code::copy4) {
        const uint32_t memory = row_.back().memory;
        row_.pop();
        row_.back() = {.code = Code::word, .memory = memory};
        segment_ = none;
    }
    endSegment();
}

bool WireRow::pad(uint32_t alignment) {
    const auto gap = static_cast<uint32_t>(paddingTo(segment().a, alignment));
    if (gap == 0)
        return true;
    const auto at = static_cast<uint16_t>(segment().a);
    segment().a += gap;
    return push({.code = alignment == 4 ? Code::zeros : Code::zero, .wire = at});
}

bool WireRow::putConstant(uint32_t value) {
    segment().a += 4;
    return append({.code = Code::constant, .wire = static_cast<uint16_t>(segment().a - 4), .a = value});
}

// Constants that follow each other become one.
bool WireRow::append(const Instruction& piece) {
    Instruction& last = row_.back();
    if (piece.code == Code::constant && last.code == Code::constant && last.wire + 4 == piece.wire) {
        last.code = Code::constant8;
        last.b = piece.a;
    } else if (piece.code == Code::constant && last.code == Code::constant8 && last.wire + 8 == piece.wire) {
        last.code = Code::constant12;
        last.c = piece.a;
    } else {
        return push(piece);
    }
    return true;
}

// A copy that continues the one before it, in memory and stream, becomes part of it. Checks in between do not
// matter: they come after what they check.
bool WireRow::putCopy(const Instruction& copy) {
    for (uint32_t i = size() - 1; i > segment_; --i) {
        Instruction& last = row_[i];
        if (isCheck(last.code))
            continue;
        if (!isCopy(last.code) || last.wire + last.a != copy.wire || last.memory + last.a != copy.memory)
            break;
        last.a += copy.a;
        last.code = copyCode(last.a);
        return true;
    }
    return push(copy);
}

bool WireRow::append(const Wire& inner, uint32_t memory) {
    if (!pad(inner.fixedAlignment()))
        return false;
    const uint32_t start = segment().a;
    for (const Instruction* i = inner.program + 1; i->code != Code::end; ++i) {
        Instruction moved = *i;
        moved.wire = static_cast<uint16_t>(moved.wire + start);
        moved.memory += memory;
        if (!(isCopy(moved.code) ? putCopy(moved) : append(moved)))
            return false;
    }
    segment().a += inner.fixedSize();
    return true;
}

bool WireRow::appendFixed(const Wire& inner, uint32_t memory) {
    if (hasSegment() &&
        (inner.fixedAlignment() > segment().alignment || segment().a + inner.fixedSize() + 4 > mostInSegment))
        endSegment();
    return (hasSegment() || beginSegment(inner.fixedAlignment())) && append(inner, memory);
}

} // namespace zdds::types
