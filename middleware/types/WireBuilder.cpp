#include "middleware/types/WireBuilder.hpp"

#include <algorithm>

#include "middleware/types/WireRow.hpp"
#include "middleware/types/Xcdr.hpp"

namespace zdds::types {
namespace {

constexpr uint32_t mostUnrolled = 64;      // instructions of an array that is laid out element by element
constexpr uint32_t mostPartOfTheRow = 512; // instructions of a structure or union that becomes part of a row

class Builder {
public:
    explicit Builder(DDS_TypePrograms& programs)
        : programs_(programs), type_(*programs.type), row_(programs.instructions),
          optionals_(programs.optionals), armStarts_(programs.armStarts) {}

    bool build() {
        Wire& wire = programs_.wire;
        wire.lengthCode = lengthCodeOf(type_);
        wire.encapsulation = littleEndianIdentifier(type_, true);
        if (!compile())
            return false;
        row_.endSegment();
        if (!push({.code = Code::end}))
            return false;
        wire.program = row_.begin();
        wire.count = static_cast<uint32_t>(row_.size());
        wire.optionals = optionals_.data();
        wire.optionalCount = static_cast<uint32_t>(optionals_.size());
        wire.armStarts = armStarts_.data();
        wire.armStartCount = static_cast<uint32_t>(armStarts_.size());
        wire.slots = static_cast<uint16_t>(slots_);
        wire.isFixed =
            row_[0].code == Code::segment && std::all_of(row_.begin() + 1, row_.end() - 1,
                                                 [](const Instruction& i) { return isPiece(i.code); });
        return true;
    }

private:
    bool compile() {
        switch (type_.kind) {
        case DDS_TYPE_STRING:
            return push({.code = Code::text, .a = bound()});
        case DDS_TYPE_STRUCT:
            return type_.extensibility == DDS_TYPE_MUTABLE ? mutableStruct() : plainStruct();
        case DDS_TYPE_UNION:
            return discriminated();
        case DDS_TYPE_ARRAY:
            return array();
        case DDS_TYPE_SEQUENCE:
            return sequence();
        case DDS_TYPE_ALIAS:
            return push({.code = Code::reference, .programs = &programs_.element()});
        default:
            return primitive();
        }
    }

    uint32_t bound() const { return type_.bound == 0 ? UINT32_MAX - 1 : type_.bound; }
    bool push(const Instruction& instruction) { return row_.push(instruction); }

    // ---- Values ----

    bool primitive() {
        const auto size = static_cast<uint32_t>(type_.size);
        if (!row_.beginSegment(std::min(size, 4U)))
            return false;
        row_.segment().a = size;
        if (!push({.code = copyCode(size), .a = size}))
            return false;
        if (type_.kind == DDS_TYPE_BOOLEAN)
            return push({.code = Code::boolean});
        if (type_.kind != DDS_TYPE_ENUM)
            return true;
        const DDS_Long first = type_.literals[0].value;
        const DDS_LongLong span = DDS_LongLong{type_.literals[type_.literalCount - 1].value} - first + 1;
        if (span != type_.literalCount)
            return push({.code = Code::literal, .programs = &programs_});
        return push({.code = Code::range, .a = static_cast<uint32_t>(first), .b = type_.literalCount});
    }

    // Elements that follow each other without gaps, in the stream as in memory, with nothing to check.
    static bool isBlock(const DDS_TypePrograms& element) {
        const Wire& wire = element.wire;
        return wire.isFixed && wire.count == 3 && isCopy(wire.program[1].code) &&
               wire.program[1].memory == 0 && wire.fixedSize() == element.shape.size &&
               wire.fixedSize() % wire.fixedAlignment() == 0;
    }

    bool sequence() {
        const DDS_TypePrograms& element = programs_.element();
        Instruction i{
            .code = Code::sequence, .hasSize = hasDelimiter(type_), .a = bound(), .programs = &element};
        if (element.type->kind == DDS_TYPE_STRING) {
            i.code = Code::textSequence;
            i.b = element.wire.program->a;
        } else if (element.type->kind == DDS_TYPE_ALIAS) {
            i.code = Code::referenceSequence;
        } else if (isBlock(element)) {
            i.code = Code::blockSequence;
            i.alignment = static_cast<uint8_t>(element.wire.fixedAlignment());
            i.b = element.shape.size;
        }
        return push(i);
    }

    bool discriminated() {
        Instruction i{.code = Code::discriminated, .hasSize = hasDelimiter(type_), .programs = &programs_};
        const Instruction* row = programs_.discriminator->wire.program;
        const DDS_TypeKind kind = programs_.arms.discriminator->kind;
        if ((kind == DDS_TYPE_LONG || kind == DDS_TYPE_ULONG || kind == DDS_TYPE_ENUM) &&
            (row->b == 1 || row[2].code == Code::range)) {
            i.alignment = 4;
            i.a = row->b == 1 ? 0 : row[2].a;
            i.b = row->b == 1 ? 0 : row[2].b; // 0: 2^32
            i.c = kind == DDS_TYPE_ULONG;
        }
        uint32_t instructions = programs_.arms.labelCount;
        for (const Arm& arm : programs_.armList)
            instructions += std::min(arm.programs->wire.count, mostPartOfTheRow) + 1;
        return instructions > mostPartOfTheRow ? push(i) : branch(i);
    }

    bool branch(Instruction i) {
        const Arms& arms = programs_.arms;
        const uint32_t at = row_.size();
        const auto first = static_cast<uint32_t>(armStarts_.size());
        i.code = Code::branch;
        i.wire = static_cast<uint16_t>(first);
        if (!push(i) || !armStarts_.resize(first + arms.labelCount + 1))
            return false;
        use(1); // the DHEADER's
        uint32_t end = at;
        for (const Arm& arm : programs_.armList) {
            for (uint32_t n = 0; n <= arms.labelCount; ++n)
                if (arms.armOf(n) == &arm)
                    armStarts_[first + n] = row_.size() - at;
            if (!putValue(*arm.programs, arm.offset, 1))
                return false;
            row_.endSegment();
            if (!endArm(i.hasSize, &end))
                return false;
        }
        if (arms.fallback == nullptr) { // no label, no arm
            armStarts_[first + arms.labelCount] = row_.size() - at;
            if (!push({.code = Code::armEnd, .hasSize = i.hasSize, .b = end}))
                return false;
            end = row_.size() - 1;
        }
        while (end != at) {
            Instruction& last = row_[end];
            last.a = row_.size() - end - 1;
            end = last.b;
        }
        return true;
    }
    // *end: of the arm before, and then of this one.
    bool endArm(bool hasSize, uint32_t* end) {
        Instruction& last = row_[row_.size() - 1];
        if (last.code == Code::close)
            last = {.code = Code::closeArm, .hasSize = hasSize, .wire = last.slot, .b = *end};
        else if (!push({.code = Code::armEnd, .hasSize = hasSize, .b = *end}))
            return false;
        *end = row_.size() - 1;
        return true;
    }

    bool array() {
        const DDS_TypePrograms& element = programs_.element();
        const Wire& wire = element.wire;
        const auto bytes = static_cast<uint32_t>(type_.size);
        if (isBlock(element) && bytes <= mostInSegment / 2) {
            if (!beginForDelimited(wire.fixedAlignment()))
                return false;
            const auto at = static_cast<uint16_t>(row_.segment().a);
            row_.segment().a += bytes;
            if (!push({.code = copyCode(bytes), .wire = at, .a = bytes}))
                return false;
            endDelimitedSegment();
            return true;
        }
        if (isBlock(element))
            return inHeader([&] {
                return push({.code = Code::block,
                    .alignment = static_cast<uint8_t>(wire.fixedAlignment()),
                    .a = bytes});
            });
        if (!wire.isFixed || uint64_t{wire.count} * programs_.count > mostUnrolled ||
            uint64_t{wire.fixedSize() + 4} * programs_.count > mostInSegment / 2)
            return inHeader(
                [&] { return push({.code = Code::array, .a = programs_.count, .programs = &element}); });
        if (!beginForDelimited(wire.fixedAlignment()))
            return false;
        for (uint32_t i = 0; i < programs_.count; ++i)
            if (!row_.append(wire, i * element.shape.size))
                return false;
        endDelimitedSegment();
        return true;
    }

    // A segment for a whole value: it begins with the DHEADER if there is one.
    bool beginForDelimited(uint32_t alignment) {
        return row_.beginSegment(hasDelimiter(type_) ? 4 : alignment) &&
               (!hasDelimiter(type_) || row_.putConstant(0));
    }
    void endDelimitedSegment() {
        if (hasDelimiter(type_))
            row_.setLeadingSize();
        row_.endSegment();
    }

    // What is of no fixed size, behind its DHEADER if it has one.
    template <typename Put> bool inHeader(Put put) {
        if (!hasDelimiter(type_))
            return put();
        const auto slot = static_cast<uint16_t>(slots_++);
        return push({.code = Code::open, .slot = slot}) && put() && closeSegment() &&
               push({.code = Code::close, .slot = slot});
    }
    bool closeSegment() {
        row_.closeSegment();
        return true;
    }

    // ---- Structures ----

    bool isFixedMember(uint32_t index) const {
        return !isOptional(type_.members[index]) && programs_.nested.data()[index]->wire.isFixed;
    }

    // All members fixed, and no alignment that depends on where the structure starts.
    bool isFixedStruct() const {
        uint32_t alignment = hasDelimiter(type_) ? 4 : 0;
        uint64_t bytes = 4;
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            if (!isFixedMember(i))
                return false;
            const Wire& inner = programs_.nested.data()[i]->wire;
            if (alignment == 0)
                alignment = inner.fixedAlignment();
            if (inner.fixedAlignment() > alignment)
                return false;
            bytes += inner.fixedSize() + 3;
        }
        return alignment != 0 && bytes <= mostInSegment;
    }

    bool plainStruct() {
        if (isFixedStruct()) {
            if (!beginForDelimited(type_.memberCount == 0 ? 4 : programs_.nested[0]->wire.fixedAlignment()))
                return false;
            for (uint32_t i = 0; i < type_.memberCount; ++i)
                if (!row_.append(programs_.nested[i]->wire, static_cast<uint32_t>(type_.members[i].offset)))
                    return false;
            endDelimitedSegment();
            return true;
        }
        if (!hasDelimiter(type_) || type_.memberCount == 0 || !isFixedMember(0))
            return inHeader([this] { return putMembers(); });
        // The DHEADER begins the first segment; behind it all alignments are known.
        const auto slot = static_cast<uint16_t>(slots_++);
        if (!row_.beginSegment(4))
            return false;
        row_.segment().code = Code::openSegment;
        row_.segment().slot = slot;
        row_.segment().a = 4;
        return putMembers() && closeSegment() && push({.code = Code::close, .slot = slot});
    }

    bool putMembers() {
        const unsigned slots = slots_;
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            if (isFixedMember(i)) {
                if (!row_.appendFixed(
                        programs_.nested[i]->wire, static_cast<uint32_t>(type_.members[i].offset)))
                    return false;
            } else {
                row_.closeSegment();
                if (!putMember(i, slots))
                    return false;
            }
        }
        return true;
    }

    // A member of final and appendable structures that is optional or not fixed.
    bool putMember(uint32_t index, unsigned slots) {
        const DDS_TypeMember& member = type_.members[index];
        const DDS_TypePrograms& inner = *programs_.nested[index];
        const auto offset = static_cast<uint32_t>(member.offset);
        if (!isOptional(member))
            return putValue(inner, offset, slots);
        if (inner.type->kind == DDS_TYPE_STRING)
            return push({.code = Code::flaggedText,
                .memory = offset,
                .a = inner.wire.program->a,
                .programs = &inner});
        return putOptional(Code::flagged, member, inner, 0, slots,
            [&](uint32_t memory, unsigned free) { return putValue(inner, memory, free); });
    }

    // `put` gets the offset of the value in memory, and the first free slot.
    template <typename Put>
    bool putOptional(Code code, const DDS_TypeMember& member, const DDS_TypePrograms& inner, uint32_t entry,
        unsigned slots, Put put) {
        const bool isText = inner.type->kind == DDS_TYPE_STRING;
        const uint32_t at = row_.size();
        const auto offset = static_cast<uint32_t>(member.offset);
        if (!push({.code = code,
                .isText = isText,
                .slot = static_cast<uint16_t>(slots),
                .memory = offset,
                .c = entry,
                .programs = &inner}) ||
            !put(isText ? offset : 0, slots + 1))
            return false;
        row_.endSegment();
        if (!isText && !leave(slots))
            return false;
        row_[at].a = row_.size() - at - 1;
        use(slots + 1);
        return true;
    }

    // The end of a member's header comes with that of the value.
    bool leave(unsigned slots) {
        Instruction i{.code = Code::leave, .slot = static_cast<uint16_t>(slots)};
        Instruction& last = row_[row_.size() - 1];
        if (last.code != Code::closeHeader || last.slot != slots + 1)
            return push(i);
        i.hasSize = true;
        last = i;
        return true;
    }

    void use(unsigned slots) { slots_ = std::max(slots_, slots); }

    // Any value that is no neighbour in a segment. Slots are counted from `slots` on.
    bool putValue(const DDS_TypePrograms& inner, uint32_t memory, unsigned slots) {
        const Wire& wire = inner.wire;
        row_.endSegment();
        if (wire.count > mostPartOfTheRow || armStarts_.size() + wire.armStartCount > UINT16_MAX)
            return push({.code = Code::call, .memory = memory, .programs = &inner});
        const auto optionals = static_cast<uint32_t>(optionals_.size());
        for (uint32_t i = 0; i < wire.optionalCount; ++i)
            if (!optionals_.push(wire.optionals[i]))
                return false;
        const auto armStarts = static_cast<uint32_t>(armStarts_.size());
        for (uint32_t i = 0; i < wire.armStartCount; ++i)
            if (!armStarts_.push(wire.armStarts[i]))
                return false;
        uint32_t bodyEnd = 0; // before it, offsets are those of an optional value
        for (uint32_t i = 0; i + 1 < wire.count; ++i) {
            Instruction moved = wire.program[i];
            const bool isMember = moved.code == Code::optional || moved.code == Code::optionalSegment;
            if (isMember)
                moved.c += optionals;
            if (moved.code == Code::branch)
                moved.wire = static_cast<uint16_t>(moved.wire + armStarts);
            if (moved.code == Code::closeArm)
                moved.wire = static_cast<uint16_t>(moved.wire + slots);
            if (i >= bodyEnd) {
                moved.memory += memory;
                if (isMember)
                    optionals_[moved.c].memory += memory;
                if (moved.code == Code::optionalSegment)
                    bodyEnd = i + moved.b + 1; // its pieces
                if ((moved.code == Code::flagged || moved.code == Code::optional) && !moved.isText)
                    bodyEnd = i + moved.a + 1;
            }
            moved.slot = static_cast<uint16_t>(moved.slot + slots);
            if (!push(moved))
                return false;
        }
        use(slots + wire.slots);
        return true;
    }

    bool mutableStruct() {
        return inHeader([this] {
            const unsigned slots = slots_;
            for (uint32_t i = 0; i < type_.memberCount;) {
                if (isOptional(type_.members[i])) {
                    if (!putOptionals(&i, slots))
                        return false;
                    continue;
                }
                const DDS_TypeMember& member = type_.members[i];
                if (!putWithHeader(*programs_.nested[i], memberHeaderOf(member),
                        static_cast<uint32_t>(member.offset), slots))
                    return false;
                row_.endSegment();
                ++i;
            }
            return true;
        });
    }

    // The optional members from *index on, as a group. The entries lie side by side, so they come before the
    // entries of what is within.
    bool putOptionals(uint32_t* index, unsigned slots) {
        const uint32_t first = row_.size();
        auto entry = static_cast<uint32_t>(optionals_.size());
        uint32_t last = *index;
        for (; last < type_.memberCount && isOptional(type_.members[last]); ++last)
            if (!optionals_.push({static_cast<uint32_t>(type_.members[last].offset),
                    memberHeaderOf(type_.members[last]), 0}))
                return false;
        if (!optionals_.push({noMember, 0, 0}))
            return false;
        for (; *index < last; ++*index, ++entry) {
            const DDS_TypeMember& member = type_.members[*index];
            const DDS_TypePrograms& inner = *programs_.nested[*index];
            optionals_[entry].distance = row_.size() - first;
            if (isFixedWithHeader(inner.wire)) {
                if (!putOptionalSegment(member, inner, entry))
                    return false;
                continue;
            }
            if (!putOptional(
                    Code::optional, member, inner, entry, slots, [&](uint32_t memory, unsigned free) {
                        return putWithHeader(inner, memberHeaderOf(member), memory, free);
                    }))
                return false;
        }
        optionals_[entry].distance = row_.size() - first;
        return true;
    }

    static bool isFixedWithHeader(const Wire& wire) {
        return wire.isFixed && wire.fixedSize() + 8 <= mostInSegment;
    }

    // The pieces of a member of fixed form, header included.
    bool putPiecesWithHeader(const Wire& wire, uint32_t header, uint32_t memory) {
        return row_.putConstant(header) &&
               (wire.lengthCode != lengthCodeNextInt || row_.putConstant(wire.fixedSize())) &&
               row_.append(wire, memory);
    }

    bool putOptionalSegment(const DDS_TypeMember& member, const DDS_TypePrograms& inner, uint32_t entry) {
        if (!row_.beginSegment(4) || !putPiecesWithHeader(inner.wire, memberHeaderOf(member), 0))
            return false;
        Instruction& i = row_.segment();
        i.code = Code::optionalSegment;
        i.memory = static_cast<uint32_t>(member.offset);
        i.c = entry;
        i.programs = &inner;
        row_.endSegment();
        return true;
    }

    bool putWithHeader(const DDS_TypePrograms& inner, uint32_t header, uint32_t memory, unsigned slots) {
        const Wire& wire = inner.wire;
        const bool hasSize = wire.lengthCode == lengthCodeNextInt;
        if (isFixedWithHeader(wire))
            return row_.beginSegment(4) && putPiecesWithHeader(wire, header, memory);
        const auto slot = static_cast<uint16_t>(slots);
        use(slots + 1);
        return push({.code = Code::header, .hasSize = hasSize, .slot = slot, .a = header}) &&
               putValue(inner, memory, slots + 1) &&
               (!hasSize || push({.code = Code::closeHeader, .slot = slot}));
    }

    DDS_TypePrograms& programs_;
    const DDS_TypeDescriptor& type_;
    WireRow row_;
    HeapArray<OptionalMember>& optionals_;
    HeapArray<uint32_t>& armStarts_;
    unsigned slots_ = 0;
};

} // namespace

bool buildWire(DDS_TypePrograms& programs) {
    return Builder(programs).build();
}

} // namespace zdds::types
