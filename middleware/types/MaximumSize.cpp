#include "middleware/types/MaximumSize.hpp"

#include <algorithm>

#include "middleware/types/Xcdr.hpp"

namespace zdds::types {
namespace {

constexpr uint32_t simulated = 64; // elements; more are counted by the widest of them

// The position after the largest value that begins at `position`. A longer value never ends before a shorter
// one, so taking every maximum gives the largest encoding.
class Measure {
public:
    explicit Measure(bool isXcdr2) : isXcdr2_(isXcdr2) {}

    size_t after(const DDS_TypePrograms& programs, size_t position) const {
        const DDS_TypeDescriptor& type = *programs.type;
        if (position >= unboundedSize)
            return unboundedSize;
        if (isXcdr2_ && hasDelimiter(type))
            position = add(position, 4);
        switch (type.kind) {
        case DDS_TYPE_STRING:
            return type.bound == 0 ? unboundedSize : add(position, 4) + type.bound + 1;
        case DDS_TYPE_SEQUENCE:
            return type.bound == 0 ? unboundedSize
                                   : elements(programs.element(), type.bound, add(position, 4));
        case DDS_TYPE_ARRAY:
            return elements(programs.element(), programs.count, position);
        case DDS_TYPE_ALIAS:
            return after(programs.element(), position);
        case DDS_TYPE_UNION: {
            const size_t start = add(position, programs.discriminator->type->size);
            size_t largest = start;
            for (const DDS_TypePrograms* arm : spanOf(programs))
                largest = std::max(largest, after(*arm, start));
            return largest;
        }
        case DDS_TYPE_STRUCT:
            return structure(programs, position);
        default:
            return add(position, type.size);
        }
    }

private:
    struct Nested {
        const DDS_TypePrograms* const* first;
        const DDS_TypePrograms* const* last;
        const DDS_TypePrograms* const* begin() const { return first; }
        const DDS_TypePrograms* const* end() const { return last; }
    };
    static Nested spanOf(const DDS_TypePrograms& programs) {
        return {programs.nested.data(), programs.nested.data() + programs.nested.size()};
    }

    size_t add(size_t position, size_t size) const {
        return position + paddingTo(position, std::min<size_t>(size, isXcdr2_ ? 4 : 8)) + size;
    }

    size_t elements(const DDS_TypePrograms& element, uint32_t count, size_t position) const {
        for (uint32_t i = 0; i < std::min(count, simulated) && position < unboundedSize; ++i)
            position = after(element, position);
        if (count <= simulated || position >= unboundedSize)
            return std::min(position, unboundedSize);
        size_t widest = 0;
        for (size_t start = 0; start < 8; ++start)
            widest = std::max(widest, after(element, start) - start);
        return std::min(position + (count - simulated) * widest, unboundedSize);
    }

    size_t structure(const DDS_TypePrograms& programs, size_t position) const {
        const DDS_TypeDescriptor& type = *programs.type;
        const bool isMutable = type.extensibility == DDS_TYPE_MUTABLE;
        for (uint32_t i = 0; i < type.memberCount && position < unboundedSize; ++i) {
            const DDS_TypePrograms& inner = *programs.nested.data()[i];
            const bool hasFlag = isOptional(type.members[i]) && !isMutable;
            if (isXcdr2_) {
                if (hasFlag)
                    position += 1;
                if (isMutable)
                    position = add(position, 4) + (lengthCodeOf(*inner.type) == lengthCodeNextInt ? 4 : 0);
                position = after(inner, position);
            } else if (isMutable || hasFlag) { // a parameter, at most with the extended header
                position = position + paddingTo(position, 4) + 12 + after(inner, 0);
            } else {
                position = after(inner, position);
            }
        }
        if (isMutable && !isXcdr2_)
            position = position + paddingTo(position, 4) + 4;
        return std::min(position, unboundedSize);
    }

    bool isXcdr2_;
};

} // namespace

size_t maximumSize(const DDS_TypePrograms& programs, bool isXcdr2) {
    const size_t size = Measure(isXcdr2).after(programs, 0);
    return encapsulationSize + size + paddingTo(size, 4);
}

} // namespace zdds::types
