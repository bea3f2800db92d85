#include "middleware/types/XcdrReader.hpp"

#include <algorithm>

#include "middleware/types/Sequence.hpp"
#include "middleware/types/Values.hpp"
#include "middleware/types/WireReader.hpp"

namespace zdds::types {
namespace {

template <typename T> T& slotAt(char* value) {
    return *reinterpret_cast<T*>(value);
}

class Reader {
public:
    Reader(const Encapsulation& encapsulation, const char* bytes, size_t size, const Memory& memory)
        : bytes_(bytes), limit_(size), memory_(memory), isXcdr2_(encapsulation.isXcdr2),
          swaps_(encapsulation.isBigEndian) {}

    bool read(const DDS_TypePrograms& programs, char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        switch (type.kind) {
        case DDS_TYPE_STRING:
            return readText(type, &slotAt<char*>(value));
        case DDS_TYPE_STRUCT:
        case DDS_TYPE_UNION:
        case DDS_TYPE_ARRAY:
        case DDS_TYPE_SEQUENCE:
            return isXcdr2_ && hasDelimiter(type) ? readDelimited(programs, value)
                                                  : readAggregate(programs, value);
        case DDS_TYPE_ALIAS:
            return readReference(programs, &slotAt<void*>(value));
        default:
            return readPrimitive(type, value);
        }
    }

private:
    // A stretch of the stream that is read by itself: sets the limit, and goes to its end afterwards.
    class Scope {
    public:
        Scope(Reader& reader, size_t size)
            : reader_(reader), outerLimit_(reader.limit_), outerOrigin_(reader.origin_),
              end_(reader.position_ + size) {
            reader.limit_ = end_;
        }
        ~Scope() {
            reader_.limit_ = outerLimit_;
            reader_.origin_ = outerOrigin_;
            reader_.position_ = end_;
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        // Of an XCDR 1 parameter: alignment counts from its value.
        void setOrigin() { reader_.origin_ = reader_.position_; }

    private:
        Reader& reader_;
        size_t outerLimit_;
        size_t outerOrigin_;
        size_t end_;
    };

    size_t left() const { return limit_ - position_; }

    bool align(size_t alignment) {
        const size_t gap = paddingTo(position_ - origin_, std::min<size_t>(alignment, isXcdr2_ ? 4 : 8));
        if (gap > left())
            return false;
        position_ += gap;
        return true;
    }

    // No further member can begin here: at most padding is left.
    bool isAtEnd() const { return left() == 0; }

    bool getNumber(void* number, size_t size) {
        if (!align(size) || left() < size)
            return false;
        std::memcpy(number, bytes_ + position_, size);
        position_ += size;
        if (swaps_)
            std::reverse(static_cast<char*>(number), static_cast<char*>(number) + size);
        return true;
    }
    bool get(uint32_t* number) { return getNumber(number, sizeof *number); }
    bool get(uint16_t* number) { return getNumber(number, sizeof *number); }

    bool readPrimitive(const DDS_TypeDescriptor& type, char* value) {
        alignas(8) char bytes[8];
        if (!getNumber(bytes, type.size))
            return false;
        if (type.kind == DDS_TYPE_BOOLEAN && static_cast<unsigned char>(bytes[0]) > 1)
            return false;
        if (type.kind == DDS_TYPE_ENUM) {
            DDS_Long literal;
            std::memcpy(&literal, bytes, sizeof literal);
            if (!hasLiteral(type, literal))
                return false;
        }
        std::memcpy(value, bytes, type.size);
        return true;
    }

    bool readText(const DDS_TypeDescriptor& type, char** text) {
        uint32_t length;
        if (!get(&length) || length > left() || !isText(bytes_ + position_, length, type.bound))
            return false;
        if (!assignText(text, bytes_ + position_, length == 0 ? 0 : length - 1, memory_))
            return false;
        position_ += length;
        return true;
    }

    bool readReference(const DDS_TypePrograms& programs, void** pointer) {
        const DDS_TypePrograms& target = programs.element();
        if (*pointer == nullptr)
            *pointer = createValue(target.shape, defaultAllocation, memory_);
        return *pointer != nullptr && read(target, static_cast<char*>(*pointer));
    }

    bool readDelimited(const DDS_TypePrograms& programs, char* value) {
        uint32_t size;
        if (!get(&size) || size > left())
            return false;
        Scope scope(*this, size);
        return readAggregate(programs, value);
    }

    bool readAggregate(const DDS_TypePrograms& programs, char* value) {
        switch (programs.type->kind) {
        case DDS_TYPE_UNION:
            return readUnion(programs, value);
        case DDS_TYPE_ARRAY:
            return readArray(programs, value);
        case DDS_TYPE_SEQUENCE:
            return readSequence(programs, slotAt<DDS_SequenceBase>(value));
        default:
            break;
        }
        if (programs.type->extensibility != DDS_TYPE_MUTABLE)
            return readMembers(programs, value);
        return isXcdr2_ ? readMutable2(programs, value) : readMutable1(programs, value);
    }

    bool readArray(const DDS_TypePrograms& programs, char* value) {
        const DDS_TypePrograms& element = programs.element();
        if (element.type->size == 1 && element.type->kind != DDS_TYPE_BOOLEAN &&
            isPrimitive(element.type->kind))
            return getBytes(value, programs.count);
        for (uint32_t i = 0; i < programs.count; ++i)
            if (!read(element, value + i * element.type->size))
                return false;
        return true;
    }

    bool getBytes(void* to, size_t size) {
        if (size > left())
            return false;
        if (size > 0)
            std::memcpy(to, bytes_ + position_, size);
        position_ += size;
        return true;
    }

    // Fewest bytes that an element takes; at least 1, so that a count never exceeds the bytes.
    size_t leastSize(const DDS_TypeDescriptor& type) const {
        if (isPrimitive(type.kind))
            return type.size;
        switch (type.kind) {
        case DDS_TYPE_ENUM:
        case DDS_TYPE_STRING:
        case DDS_TYPE_SEQUENCE:
            return 4;
        case DDS_TYPE_ARRAY:
            return type.bound * leastSize(*resolveAll(type.element));
        case DDS_TYPE_ALIAS:
            return leastSize(*resolveAll(&type));
        default:
            return isXcdr2_ && hasDelimiter(type) ? 4 : 1;
        }
    }

    bool readSequence(const DDS_TypePrograms& programs, DDS_SequenceBase& sequence) {
        const DDS_TypeDescriptor& type = *programs.type;
        const DDS_TypePrograms& inner = programs.element();
        const Element element = elementOf(inner.shape);
        uint32_t count;
        if (!get(&count) || (type.bound != 0 && count > type.bound) ||
            count > left() / leastSize(*inner.type) || !reserveElements(element, sequence, count, memory_))
            return false;
        if (inner.type->kind == DDS_TYPE_OCTET && sequence._contiguous_buffer != nullptr) {
            if (!getBytes(sequence._contiguous_buffer, count))
                return false;
        } else {
            for (uint32_t i = 0; i < count; ++i)
                if (!read(inner, elementAt(element, sequence, i)))
                    return false;
        }
        sequence._length = count;
        return true;
    }

    bool readUnion(const DDS_TypePrograms& programs, char* value) {
        const Arms& arms = programs.arms;
        if (isXcdr2_ && hasDelimiter(*programs.type) && isAtEnd())
            return resetValue(programs.shape, value, memory_);
        alignas(8) char scratch[8] = {};
        if (!readPrimitive(*programs.discriminator->type, scratch))
            return false;
        const DDS_LongLong discriminator = arms.valueOf(scratch);
        if (!switchArm(arms, value, discriminator, memory_))
            return false;
        const Arm* arm = arms.select(discriminator);
        return arm == nullptr || read(*programs.nested.data()[arm - arms.list], value + arm->offset);
    }

    // ---- Structures ----

    bool resetMember(const DDS_TypePrograms& programs, uint32_t index, char* value) {
        const DDS_TypeMember& member = programs.type->members[index];
        const size_t size = isOptional(member) ? sizeof(void*) : member.type->size;
        return resetMembers(programs.shape, value, member.offset, member.offset + size, memory_);
    }

    // A present member, at the place where its value begins.
    bool readMember(const DDS_TypePrograms& programs, uint32_t index, char* value) {
        const DDS_TypeMember& member = programs.type->members[index];
        const DDS_TypePrograms& inner = *programs.nested.data()[index];
        char* at = value + member.offset;
        if (!isOptional(member) || inner.type->kind == DDS_TYPE_STRING)
            return read(inner, at);
        void*& pointer = slotAt<void*>(at);
        if (pointer == nullptr)
            pointer = createValue(inner.shape, defaultAllocation, memory_);
        return pointer != nullptr && read(inner, static_cast<char*>(pointer));
    }

    // Final and appendable.
    bool readMembers(const DDS_TypePrograms& programs, char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        const bool mayEnd = isXcdr2_ && type.extensibility == DDS_TYPE_APPENDABLE;
        bool hasEnded = false;
        for (uint32_t i = 0; i < type.memberCount; ++i) {
            hasEnded = hasEnded || (mayEnd && isAtEnd());
            bool isRead;
            if (hasEnded)
                isRead = resetMember(programs, i, value);
            else if (!isOptional(type.members[i]))
                isRead = readMember(programs, i, value);
            else
                isRead = isXcdr2_ ? readFlagged(programs, i, value) : readParameterMember(programs, i, value);
            if (!isRead)
                return false;
        }
        return true;
    }

    bool readFlagged(const DDS_TypePrograms& programs, uint32_t index, char* value) {
        char isPresent;
        if (!readPrimitive(DDS_g_type_boolean, &isPresent))
            return false;
        return isPresent ? readMember(programs, index, value) : resetMember(programs, index, value);
    }

    struct Parameter {
        uint32_t id;
        uint32_t size;
        bool mustUnderstand;
        bool isListEnd;
        bool isForeign; // of an implementation, or to be ignored
    };

    // The header of an XCDR 1 parameter, short or extended.
    bool readParameter(Parameter* parameter) {
        uint16_t id, size;
        if (!align(4) || !get(&id) || !get(&size))
            return false;
        *parameter = {static_cast<uint32_t>(id & parameterIdMask), size, (id & parameterMustUnderstand) != 0,
            false, (id & 0x8000) != 0};
        if (parameter->id == parameterListEnd) {
            parameter->isListEnd = true;
            return true;
        }
        if (parameter->id == parameterExtended) {
            uint32_t longId;
            if (size != 8 || !get(&longId) || !get(&parameter->size))
                return false;
            parameter->id = longId & memberIdMask;
            parameter->mustUnderstand = (longId & extendedMustUnderstand) != 0;
        } else if (parameter->id > parameterLargestShortId) {
            parameter->isForeign = true;
            if (parameter->id == parameterIgnore)
                parameter->mustUnderstand = false;
        }
        return parameter->size <= left();
    }

    // An optional member of a structure that is not mutable: a parameter, without content when absent.
    bool readParameterMember(const DDS_TypePrograms& programs, uint32_t index, char* value) {
        Parameter parameter;
        if (!readParameter(&parameter) || parameter.isListEnd || parameter.isForeign ||
            parameter.id != (programs.type->members[index].id & memberIdMask))
            return false;
        if (parameter.size == 0)
            return resetMember(programs, index, value);
        Scope scope(*this, parameter.size);
        scope.setOrigin();
        return readMember(programs, index, value);
    }

    // The members that a mutable structure has had so far.
    class Seen {
    public:
        bool has(uint32_t index) const { return (words_[index / 64] >> (index % 64) & 1) != 0; }
        void add(uint32_t index) { words_[index / 64] |= uint64_t{1} << (index % 64); }

    private:
        uint64_t words_[DDS_TYPE_MAXIMUM_MEMBERS / 64] = {};
    };

    // Index of the member; writers keep the order of declaration, so the search begins at `hint`.
    static uint32_t findMember(const DDS_TypeDescriptor& type, uint32_t id, uint32_t hint) {
        for (uint32_t i = hint; i < type.memberCount; ++i)
            if ((type.members[i].id & memberIdMask) == id)
                return i;
        for (uint32_t i = 0; i < hint; ++i)
            if ((type.members[i].id & memberIdMask) == id)
                return i;
        return type.memberCount;
    }

    bool readKnownMember(const DDS_TypePrograms& programs, uint32_t index, char* value, Seen* seen) {
        if (seen->has(index))
            return false;
        seen->add(index);
        return readMember(programs, index, value);
    }

    bool resetUnseen(const DDS_TypePrograms& programs, const Seen& seen, char* value) {
        for (uint32_t i = 0; i < programs.type->memberCount; ++i)
            if (!seen.has(i) && !resetMember(programs, i, value))
                return false;
        return true;
    }

    bool readMutable2(const DDS_TypePrograms& programs, char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        Seen seen;
        uint32_t next = 0;
        while (left() > 0) {
            uint32_t header;
            uint64_t size;
            if (!get(&header) || !readLength(header, &size) || size > left())
                return false;
            const uint32_t index = findMember(type, header & memberIdMask, next);
            if (index == type.memberCount && (header & memberMustUnderstand) != 0)
                return false;
            Scope scope(*this, size);
            if (index == type.memberCount)
                continue;
            next = index + 1;
            if (!readKnownMember(programs, index, value, &seen))
                return false;
        }
        return resetUnseen(programs, seen, value);
    }

    // Of the member whose header was read. Codes above 4 count in units of 1, 4 and 8 what follows the first
    // 4 bytes, and those belong to the member.
    bool readLength(uint32_t header, uint64_t* size) {
        const unsigned code = header >> memberLengthCodeShift & 7;
        if (code < lengthCodeNextInt) {
            *size = uint64_t{1} << code;
            return true;
        }
        uint32_t next;
        if (!get(&next))
            return false;
        *size = next;
        if (code == lengthCodeNextInt)
            return true;
        *size = 4 + uint64_t{next} * (code == 5 ? 1 : code == 6 ? 4 : 8);
        position_ -= 4;
        return true;
    }

    bool readMutable1(const DDS_TypePrograms& programs, char* value) {
        const DDS_TypeDescriptor& type = *programs.type;
        Seen seen;
        for (uint32_t next = 0;;) {
            Parameter parameter;
            if (!readParameter(&parameter))
                return false;
            if (parameter.isListEnd)
                return resetUnseen(programs, seen, value);
            const uint32_t index =
                parameter.isForeign ? type.memberCount : findMember(type, parameter.id, next);
            if (index == type.memberCount && parameter.mustUnderstand)
                return false;
            Scope scope(*this, parameter.size);
            if (index == type.memberCount)
                continue;
            scope.setOrigin();
            next = index + 1;
            if (parameter.size == 0 && isOptional(type.members[index]))
                continue; // absent, spelled out
            if (!readKnownMember(programs, index, value, &seen))
                return false;
        }
    }

    const char* bytes_;
    size_t position_ = 0;
    size_t limit_;
    size_t origin_ = 0; // where alignment counts from
    const Memory& memory_;
    const bool isXcdr2_;
    const bool swaps_;
};

} // namespace

bool readXcdr(const DDS_TypePrograms& programs, const Encapsulation& encapsulation, char* value,
    const char* bytes, size_t size, const Memory& memory) {
    return Reader(encapsulation, bytes, size, memory).read(programs, value);
}

} // namespace zdds::types
