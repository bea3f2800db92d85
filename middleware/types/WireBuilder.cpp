#include "middleware/types/WireBuilder.hpp"

#include <algorithm>

#include "middleware/types/Xcdr.hpp"

namespace zdds::types {
namespace {

constexpr uint32_t mostPieces = 64; // of an array that is laid out piece by piece

// Collects pieces into segments. Segments refer to pieces by index while the array grows.
class Builder {
public:
    explicit Builder(DDS_TypePrograms& programs)
        : programs_(programs), type_(*programs.type), wire_(programs.wire) {}

    bool build() {
        wire_.lengthCode = lengthCodeOf(type_);
        wire_.isDelimited = hasDelimiter(type_);
        wire_.bound = type_.bound;
        switch (type_.kind) {
        case DDS_TYPE_STRING: wire_.kind = WireKind::string; return true;
        case DDS_TYPE_STRUCT: return type_.extensibility == DDS_TYPE_MUTABLE ? mutableStruct() : plainStruct();
        case DDS_TYPE_UNION: return discriminated();
        case DDS_TYPE_ARRAY: return array();
        case DDS_TYPE_SEQUENCE: sequence(); return true;
        case DDS_TYPE_ALIAS:
            wire_.kind = WireKind::reference;
            wire_.lengthCode = lengthCodeOf(*resolveAll(&type_));
            takeElement();
            return true;
        default: return primitive();
        }
    }

private:
    uint32_t at() const { return static_cast<uint32_t>(programs_.pieces.size()); }

    void begin(Segment& segment, uint32_t alignment) {
        segment = {nullptr, 0, 0, alignment};
        first_ = at();
    }

    bool put(Segment& segment, const Piece& piece) {
        ++segment.count;
        return programs_.pieces.push(piece);
    }

    bool pad(Segment& segment, uint32_t alignment) {
        const auto gap = static_cast<uint32_t>(paddingTo(segment.size, alignment));
        if (gap == 0) return true;
        segment.size += gap;
        return put(segment, {PieceCode::zeros, segment.size - gap, 0, gap, nullptr});
    }

    bool putConstant(Segment& segment, uint32_t value) {
        segment.size += 4;
        return put(segment, {PieceCode::constant, segment.size - 4, 0, value, nullptr});
    }

    static bool isCopy(PieceCode code) { return code <= PieceCode::copyMany; }
    static uint32_t copied(const Piece& piece) { return piece.value; }

    static PieceCode copyCode(uint32_t size) {
        switch (size) {
        case 1: return PieceCode::copy1;
        case 2: return PieceCode::copy2;
        case 4: return PieceCode::copy4;
        case 8: return PieceCode::copy8;
        case 16: return PieceCode::copy16;
        default: return PieceCode::copyMany;
        }
    }

    // A copy that continues the one before it, in memory and stream, becomes part of it. Checks in between do not
    // matter: they come after what they check.
    bool putCopy(Segment& segment, uint32_t wire, uint32_t memory, uint32_t size) {
        for (uint32_t i = at(); i > first_; --i) {
            Piece& last = programs_.pieces[i - 1];
            if (last.code == PieceCode::boolean || last.code == PieceCode::enumeration) continue;
            if (!isCopy(last.code) || last.wire + copied(last) != wire || last.memory + copied(last) != memory) break;
            last.value += size;
            last.code = copyCode(last.value);
            return true;
        }
        return put(segment, {copyCode(size), wire, memory, size, nullptr});
    }

    // Appends a value of fixed form that lies at `memory`. The caller has seen to the alignment.
    bool append(Segment& segment, const Segment& inner, uint32_t memory) {
        if (!pad(segment, inner.alignment)) return false;
        const uint32_t start = segment.size;
        for (uint32_t i = 0; i < inner.count; ++i) {
            Piece piece = inner.pieces[i];
            piece.wire += start;
            piece.memory += memory;
            if (!(isCopy(piece.code) ? putCopy(segment, piece.wire, piece.memory, copied(piece)) : put(segment, piece)))
                return false;
        }
        segment.size += inner.size;
        return true;
    }

    // The program consists of one segment: what was put since begin().
    void makeFixed(const Segment& segment) {
        wire_.kind = WireKind::fixed;
        wire_.fixed = segment;
        wire_.fixed.pieces = programs_.pieces.data() + first_;
    }

    bool primitive() {
        Segment segment;
        const auto size = static_cast<uint32_t>(type_.size);
        begin(segment, std::min(size, 4U));
        segment.size = size;
        if (!putCopy(segment, 0, 0, size)) return false;
        if (type_.kind == DDS_TYPE_BOOLEAN && !put(segment, {PieceCode::boolean, 0, 0, 0, nullptr})) return false;
        if (type_.kind == DDS_TYPE_ENUM && !put(segment, {PieceCode::enumeration, 0, 0, 0, &type_})) return false;
        makeFixed(segment);
        return true;
    }

    void takeElement() {
        wire_.element = &programs_.element().wire;
        wire_.elementShape = &programs_.element().shape;
    }

    bool array() {
        takeElement();
        wire_.kind = WireKind::array;
        wire_.bound = programs_.count;
        const Wire& element = *wire_.element;
        const bool isBlock = isBlockElement(element, *wire_.elementShape);
        if (element.kind != WireKind::fixed ||
            (!isBlock && uint64_t{element.fixed.count + 1} * programs_.count > mostPieces))
            return true;
        Segment segment;
        begin(segment, wire_.isDelimited ? 4 : element.fixed.alignment);
        if (wire_.isDelimited && !putConstant(segment, 0)) return false;
        if (isBlock) {
            if (!pad(segment, element.fixed.alignment)) return false;
            segment.size += static_cast<uint32_t>(type_.size);
            if (!putCopy(segment, segment.size - static_cast<uint32_t>(type_.size), 0,
                    static_cast<uint32_t>(type_.size)))
                return false;
        } else {
            for (uint32_t i = 0; i < programs_.count; ++i)
                if (!append(segment, element.fixed, i * wire_.elementShape->size)) return false;
        }
        if (wire_.isDelimited) programs_.pieces[first_].value = segment.size - 4;
        makeFixed(segment);
        return true;
    }

    // Elements that follow each other without gaps, in the stream as in memory, with nothing to check.
    static bool isBlockElement(const Wire& element, const Shape& shape) {
        const Segment& segment = element.fixed;
        return element.kind == WireKind::fixed && segment.count == 1 && isCopy(segment.pieces[0].code) &&
               segment.pieces[0].memory == 0 && segment.size == shape.size && segment.size % segment.alignment == 0;
    }

    void sequence() {
        takeElement();
        wire_.kind =
            isBlockElement(*wire_.element, *wire_.elementShape) ? WireKind::blockSequence : WireKind::sequence;
    }

    // All members fixed, and no alignment that depends on where the structure starts.
    bool tryFixedStruct(bool* isFixed) {
        *isFixed = false;
        uint32_t alignment = wire_.isDelimited ? 4 : 0;
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            const Wire& inner = programs_.nested[i]->wire;
            if (isOptional(type_.members[i]) || inner.kind != WireKind::fixed) return true;
            if (alignment == 0) alignment = inner.fixed.alignment;
            if (inner.fixed.alignment > alignment) return true;
        }
        if (alignment == 0) return true;
        Segment segment;
        begin(segment, alignment);
        if (wire_.isDelimited && !putConstant(segment, 0)) return false;
        for (uint32_t i = 0; i < type_.memberCount; ++i)
            if (!append(segment, programs_.nested[i]->wire.fixed, static_cast<uint32_t>(type_.members[i].offset)))
                return false;
        if (wire_.isDelimited) programs_.pieces[first_].value = segment.size - 4;
        makeFixed(segment);
        *isFixed = true;
        return true;
    }

    // Ends the open segment, if there is one, as a step.
    bool close(Segment& segment) {
        if (segment.count == 0) return true;
        WireOp op{};
        op.isSegment = true;
        op.segment = segment;
        op.segment.pieces = reinterpret_cast<const Piece*>(uintptr_t{first_}); // an index until finishOps
        segment.count = 0;
        return programs_.wireOps.push(op);
    }

    bool plainStruct() {
        bool isFixed = false;
        if (!tryFixedStruct(&isFixed)) return false;
        if (isFixed) return true;
        wire_.kind = WireKind::structure;
        Segment segment;
        // Behind a DHEADER all alignments are known from the start.
        begin(segment, wire_.isDelimited ? 4 : 1);
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            const DDS_TypeMember& member = type_.members[i];
            const DDS_TypePrograms& inner = *programs_.nested[i];
            const auto offset = static_cast<uint32_t>(member.offset);
            if (isOptional(member) || inner.wire.kind != WireKind::fixed) {
                if (!close(segment) || !pushOp(member, inner, isOptional(member) ? Header::flag : Header::none))
                    return false;
                continue;
            }
            const bool isFirst = programs_.wireOps.size() == 0 && segment.count == 0 && wire_.isDelimited;
            if (segment.count > 0 && inner.wire.fixed.alignment > segment.alignment && !close(segment)) return false;
            if (segment.count == 0) begin(segment, isFirst ? 4 : inner.wire.fixed.alignment);
            if (!append(segment, inner.wire.fixed, offset)) return false;
        }
        if (!close(segment)) return false;
        finishOps();
        return true;
    }

    bool pushOp(const DDS_TypeMember& member, const DDS_TypePrograms& inner, Header header) {
        WireOp op{};
        op.isOptional = isOptional(member);
        op.isText = op.isOptional && inner.wire.kind == WireKind::string;
        op.header = header;
        op.offset = static_cast<uint32_t>(member.offset);
        op.memberHeader = memberHeaderOf(member);
        op.wire = &inner.wire;
        op.shape = &inner.shape;
        return programs_.wireOps.push(op);
    }

    bool mutableStruct() {
        wire_.kind = WireKind::structure;
        wire_.isMutable = true;
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            const DDS_TypeMember& member = type_.members[i];
            const DDS_TypePrograms& inner = *programs_.nested[i];
            if (!pushOp(member, inner, Header::member)) return false;
            if (inner.wire.kind != WireKind::fixed) continue;
            WireOp& op = programs_.wireOps.back();
            Segment segment;
            begin(segment, 4);
            if (!putConstant(segment, op.memberHeader)) return false;
            if (inner.wire.lengthCode == lengthCodeNextInt && !putConstant(segment, inner.wire.fixed.size)) return false;
            if (!append(segment, inner.wire.fixed, op.isOptional ? 0 : op.offset)) return false;
            op.isSegment = true;
            op.segment = segment;
            op.segment.pieces = reinterpret_cast<const Piece*>(uintptr_t{first_});
        }
        finishOps();
        return true;
    }

    // The arrays move no more: indexes become addresses.
    void finishOps() {
        for (WireOp& op : programs_.wireOps)
            if (op.isSegment) op.segment.pieces = programs_.pieces.data() + reinterpret_cast<uintptr_t>(op.segment.pieces);
        wire_.ops = programs_.wireOps.data();
        wire_.opCount = static_cast<uint32_t>(programs_.wireOps.size());
    }

    bool discriminated() {
        wire_.kind = WireKind::discriminated;
        wire_.arms = &programs_.arms;
        wire_.discriminator = &programs_.discriminator->wire.fixed;
        return true;
    }

    DDS_TypePrograms& programs_;
    const DDS_TypeDescriptor& type_;
    Wire& wire_;
    uint32_t first_ = 0; // of the open segment
};

} // namespace

bool buildWire(DDS_TypePrograms& programs) { return Builder(programs).build(); }

} // namespace zdds::types
