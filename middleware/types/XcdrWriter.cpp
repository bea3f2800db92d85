#include "middleware/types/XcdrWriter.hpp"

#include <algorithm>

#include "zddsc/sequence.h"

namespace zdds::types {
namespace {

template <typename T> const T& slotAt(const char* value) {
    return *reinterpret_cast<const T*>(value);
}

class Writer {
public:
    Writer(const Encapsulation& encapsulation, WriteBuffer* out)
        : out_(out), start_(out == nullptr ? 0 : out->position()), isXcdr2_(encapsulation.isXcdr2),
          swaps_(encapsulation.isBigEndian) {}

    size_t position() const { return position_; }

    bool write(const DDS_TypePrograms& programs, const char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        switch (type.kind) {
        case DDS_TYPE_STRING:
            return writeText(type, slotAt<const char*>(value));
        case DDS_TYPE_STRUCT:
        case DDS_TYPE_UNION:
        case DDS_TYPE_ARRAY:
        case DDS_TYPE_SEQUENCE:
            return isXcdr2_ && hasDelimiter(type) ? writeDelimited(programs, value)
                                                  : writeAggregate(programs, value);
        case DDS_TYPE_ALIAS: { // a reference
            const char* target = slotAt<const char*>(value);
            return target != nullptr && write(programs.element(), target);
        }
        default:
            return writePrimitive(type, value);
        }
    }

private:
    bool put(const void* bytes, size_t size) {
        position_ += size;
        if (out_ == nullptr || size == 0)
            return true;
        if (!out_->room(size))
            return false;
        std::memcpy(out_->current(), bytes, size);
        out_->advance(size);
        return true;
    }

    bool align(size_t alignment) {
        static constexpr char zeros[8] = {};
        return put(zeros, paddingTo(position_ - origin_, std::min<size_t>(alignment, isXcdr2_ ? 4 : 8)));
    }

    bool putNumber(const void* number, size_t size) {
        char bytes[8];
        std::memcpy(bytes, number, size);
        if (swaps_)
            std::reverse(bytes, bytes + size);
        return align(size) && put(bytes, size);
    }
    bool put4(uint32_t number) { return putNumber(&number, sizeof number); }
    bool put2(uint16_t number) { return putNumber(&number, sizeof number); }

    char* at(size_t position) { return out_->at(start_ + position); }

    // Overwrites what was put earlier.
    void patch(size_t position, uint32_t number, size_t size) {
        if (out_ == nullptr)
            return;
        char bytes[4];
        std::memcpy(bytes, &number, sizeof bytes);
        if (swaps_)
            std::reverse(bytes, bytes + size);
        std::memcpy(at(position), bytes, size);
    }

    bool writePrimitive(const DDS_TypeDescriptor& type, const char* value) {
        if (type.kind == DDS_TYPE_ENUM && !hasLiteral(type, slotAt<DDS_Long>(value)))
            return false;
        const DDS_Boolean truth = *value != 0;
        return putNumber(type.kind == DDS_TYPE_BOOLEAN ? &truth : static_cast<const void*>(value), type.size);
    }

    bool writeText(const DDS_TypeDescriptor& type, const char* text) {
        if (text == nullptr)
            text = "";
        const size_t length = std::strlen(text);
        return (type.bound == 0 || length <= type.bound) && length < UINT32_MAX &&
               put4(static_cast<uint32_t>(length + 1)) && put(text, length + 1);
    }

    // Something whose size stands in the 4 bytes before it.
    template <typename Write> bool putSized(Write writeIt) {
        if (!put4(0))
            return false;
        const size_t start = position_;
        if (!writeIt())
            return false;
        patch(start - 4, static_cast<uint32_t>(position_ - start), 4);
        return true;
    }

    bool writeDelimited(const DDS_TypePrograms& programs, const char* value) {
        return putSized([&] { return writeAggregate(programs, value); });
    }

    bool writeAggregate(const DDS_TypePrograms& programs, const char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        switch (type.kind) {
        case DDS_TYPE_UNION: {
            const Arms& arms = programs.arms;
            const Arm* arm = arms.select(arms.read(value));
            return writePrimitive(*programs.discriminator->type, value + arms.discriminatorOffset) &&
                   (arm == nullptr || write(*programs.nested.data()[arm - arms.list], value + arm->offset));
        }
        case DDS_TYPE_ARRAY:
            for (uint32_t i = 0; i < programs.count; ++i)
                if (!write(programs.element(), value + i * programs.element().type->size))
                    return false;
            return true;
        case DDS_TYPE_SEQUENCE:
            return writeSequence(programs, slotAt<DDS_SequenceBase>(value));
        default:
            return type.extensibility == DDS_TYPE_MUTABLE ? writeMutable(programs, value)
                                                          : writeMembers(programs, value);
        }
    }

    bool writeSequence(const DDS_TypePrograms& programs, const DDS_SequenceBase& sequence) {
        const uint32_t bound = programs.type->bound;
        if ((bound != 0 && sequence._length > bound) || !put4(sequence._length))
            return false;
        const size_t size = programs.element().type->size;
        for (uint32_t i = 0; i < sequence._length; ++i) {
            const char* element = sequence._discontiguous_buffer != nullptr
                                      ? static_cast<const char*>(sequence._discontiguous_buffer[i])
                                      : static_cast<const char*>(sequence._contiguous_buffer) + i * size;
            if (!write(programs.element(), element))
                return false;
        }
        return true;
    }

    // Where the member's value lies; null when it is absent.
    static const char* present(
        const DDS_TypeMember& member, const DDS_TypePrograms& inner, const char* value) {
        const char* slot = value + member.offset;
        if (!isOptional(member))
            return slot;
        const char* pointer = slotAt<const char*>(slot);
        return pointer != nullptr && inner.type->kind == DDS_TYPE_STRING ? slot : pointer;
    }

    bool writeMembers(const DDS_TypePrograms& programs, const char* value) {
        for (uint32_t i = 0; i < programs.type->memberCount; ++i) {
            const DDS_TypeMember& member = programs.type->members[i];
            const DDS_TypePrograms& inner = *programs.nested.data()[i];
            const char* from = present(member, inner, value);
            if (isOptional(member)) {
                if (!isXcdr2_) {
                    if (!writeParameter(member, inner, from))
                        return false;
                    continue;
                }
                const char flag = from != nullptr;
                if (!put(&flag, 1))
                    return false;
            }
            if (from != nullptr && !write(inner, from))
                return false;
        }
        return true;
    }

    bool writeMutable(const DDS_TypePrograms& programs, const char* value) {
        for (uint32_t i = 0; i < programs.type->memberCount; ++i) {
            const DDS_TypeMember& member = programs.type->members[i];
            const DDS_TypePrograms& inner = *programs.nested.data()[i];
            const char* from = present(member, inner, value);
            if (from != nullptr &&
                !(isXcdr2_ ? writeMember2(member, inner, from) : writeParameter(member, inner, from)))
                return false;
        }
        return isXcdr2_ || (align(4) && put2(parameterListEnd | parameterMustUnderstand) && put2(0));
    }

    bool writeMember2(const DDS_TypeMember& member, const DDS_TypePrograms& inner, const char* from) {
        if (!put4(memberHeaderOf(member)))
            return false;
        return lengthCodeOf(*inner.type) == lengthCodeNextInt ? putSized([&] { return write(inner, from); })
                                                              : write(inner, from);
    }

    // An XCDR 1 parameter, of size 0 without a value. The extended header is for large ids and for values
    // whose size does not fit the short one, which is known only afterwards.
    bool writeParameter(const DDS_TypeMember& member, const DDS_TypePrograms& inner, const char* from) {
        const uint32_t id = member.id & memberIdMask;
        const bool mustUnderstand = (member.flags & DDS_MEMBER_FLAG_MUST_UNDERSTAND) != 0;
        const bool isShort = id <= parameterLargestShortId;
        if (!align(4))
            return false;
        const size_t header = position_;
        const bool hasHeader =
            isShort
                ? put2(static_cast<uint16_t>(id | (mustUnderstand ? parameterMustUnderstand : 0))) && put2(0)
                : putExtended(id, mustUnderstand);
        if (!hasHeader)
            return false;
        const size_t outerOrigin = origin_;
        const size_t start = origin_ = position_;
        if (from != nullptr && !write(inner, from))
            return false;
        origin_ = outerOrigin;
        const size_t size = position_ - start;
        if (isShort && size <= UINT16_MAX) {
            patch(header + 2, static_cast<uint32_t>(size), 2);
            return true;
        }
        if (isShort && !makeExtended(header, start, size, id, mustUnderstand))
            return false;
        patch(isShort ? header + 8 : start - 4, static_cast<uint32_t>(size), 4);
        return true;
    }

    bool putExtended(uint32_t id, bool mustUnderstand) {
        return put2(parameterExtended | parameterMustUnderstand) && put2(8) &&
               put4(id | (mustUnderstand ? extendedMustUnderstand : 0)) && put4(0);
    }

    // Moves the value by the 8 bytes that the extended header is longer.
    bool makeExtended(size_t header, size_t start, size_t size, uint32_t id, bool mustUnderstand) {
        static constexpr char gap[8] = {};
        if (!put(gap, sizeof gap))
            return false;
        if (out_ == nullptr)
            return true;
        std::memmove(at(start + sizeof gap), at(start), size);
        patch(header, parameterExtended | parameterMustUnderstand, 2);
        patch(header + 2, 8, 2);
        patch(header + 4, id | (mustUnderstand ? extendedMustUnderstand : 0), 4);
        return true;
    }

    WriteBuffer* out_;
    const size_t start_;
    size_t position_ = 0; // behind the encapsulation header
    size_t origin_ = 0;
    const bool isXcdr2_;
    const bool swaps_;
};

} // namespace

bool writeXcdr(const DDS_TypePrograms& programs, const Encapsulation& encapsulation, const char* value,
    WriteBuffer* out, size_t* size) {
    Writer writer(encapsulation, out);
    const bool isWritten = writer.write(programs, value);
    *size = writer.position();
    return isWritten;
}

} // namespace zdds::types
