#include "middleware/types/ShapeBuilder.hpp"

#include <algorithm>
#include <bit>
#include <iterator>

#include "middleware/log/DdsLog.hpp"
#include "zddsc/sequence.h"

namespace zdds::types {

constexpr uint64_t mostOpened = 32; // entries of an array that is opened

bool ShapeBuilderBase::reportUnusable(const char* reason) const {
    return ZDDS_FAIL(false, NOT_SUPPORTED, "type '%s': %s", type_.name == nullptr ? "" : type_.name, reason);
}

bool ShapeBuilderBase::checkDescriptor() const {
    if (type_.size == 0 || type_.size > INT32_MAX)
        return reportUnusable("size in memory");
    switch (type_.kind) {
    case DDS_TYPE_STRUCT:
    case DDS_TYPE_UNION:
        if (type_.memberCount > DDS_TYPE_MAXIMUM_MEMBERS)
            return reportUnusable("too many members");
        for (const DDS_TypeMember* member = type_.members; member != type_.members + type_.memberCount;
             ++member) {
            const size_t size = isOptional(*member) ? sizeof(void*) : member->type->size;
            if (member->offset > type_.size || size > type_.size - member->offset)
                return reportUnusable("a member outside of the structure");
        }
        if (type_.kind == DDS_TYPE_STRUCT)
            return true;
        if (type_.extensibility == DDS_TYPE_MUTABLE)
            return reportUnusable("a mutable union");
        if (type_.discriminator == nullptr || resolve(type_.discriminator)->kind > DDS_TYPE_ENUM ||
            resolve(type_.discriminator)->kind == DDS_TYPE_FLOAT ||
            resolve(type_.discriminator)->kind == DDS_TYPE_DOUBLE)
            return reportUnusable("discriminator");
        for (const DDS_TypeMember* member = type_.members; member != type_.members + type_.memberCount;
             ++member)
            if (isOptional(*member))
                return reportUnusable("an optional arm");
        return true;
    case DDS_TYPE_ARRAY:
        if (type_.bound == 0 || type_.bound != type_.size / type_.element->size)
            return reportUnusable("array bound");
        return true;
    case DDS_TYPE_SEQUENCE:
        if (type_.size != sizeof(DDS_SequenceBase))
            return reportUnusable("sequence size");
        return true;
    case DDS_TYPE_ALIAS:
    case DDS_TYPE_STRING: {
        const bool isPointer = type_.kind == DDS_TYPE_STRING || (type_.flags & DDS_TYPE_FLAG_REFERENCE) != 0;
        if (type_.size != (isPointer ? sizeof(void*) : type_.element->size))
            return reportUnusable("size in memory");
        return true;
    }
    case DDS_TYPE_ENUM:
        for (uint32_t i = 1; i < type_.literalCount; ++i)
            if (type_.literals[i - 1].value >= type_.literals[i].value)
                return reportUnusable("order of enumerators");
        if (type_.size != sizeof(DDS_Enum) || type_.literalCount == 0)
            return reportUnusable("enumeration");
        return true;
    default:
        return isPrimitive(type_.kind) || reportUnusable("kind");
    }
}

bool ShapeBuilderBase::collect() {
    switch (type_.kind) {
    case DDS_TYPE_STRING:
        return push({OpCode::string, 0, sizeof(char*), 0, {.text = nullptr}});
    case DDS_TYPE_STRUCT:
    case DDS_TYPE_UNION:
        for (uint32_t i = 0; i < type_.memberCount; ++i) {
            const DDS_TypePrograms& inner = *programs_.nested[i];
            if (!(type_.kind == DDS_TYPE_STRUCT ? pushMember(type_.members[i], inner.shape)
                                                : pushArm(type_.members[i], inner)))
                return false;
        }
        return true;
    case DDS_TYPE_ALIAS:
        return push({OpCode::reference, 0, 0, 0, {.shape = &programs_.element().shape}});
    case DDS_TYPE_ARRAY:
        return pushArray(programs_.element().shape);
    case DDS_TYPE_SEQUENCE:
        return push({OpCode::sequence, 0, 0, type_.bound, {.shape = &programs_.element().shape}});
    default:
        return pushPlain(0, type_.size); // primitives and enumerations
    }
}

bool ShapeBuilderBase::push(const Op& op) {
    if (op.code == OpCode::sequence && op.count != 0) {
        DDS_SequenceBase empty{};
        empty._absolute_maximum = op.count;
        if (!putImage(op.offset, &empty, sizeof empty))
            return false;
    }
    return programs_.ops.push(op);
}

bool ShapeBuilderBase::pushPlain(size_t offset, size_t size) {
    if (size == 0)
        return true;
    if (programs_.ops.size() > 0) {
        // Members come in the order of memory, so what lies between two plain neighbours is padding.
        Op& last = programs_.ops.back();
        const size_t end = last.offset + last.size;
        if (last.code == OpCode::plain && offset >= end && offset - end < alignof(max_align_t)) {
            last.size = static_cast<uint32_t>(offset + size - last.offset);
            return true;
        }
    }
    return programs_.ops.push(
        {OpCode::plain, static_cast<uint32_t>(offset), static_cast<uint32_t>(size), 0, {.shape = nullptr}});
}

bool ShapeBuilderBase::putImage(size_t offset, const void* bytes, size_t size) {
    std::memcpy(programs_.image.data() + offset, bytes, size);
    return true;
}

bool ShapeBuilderBase::splice(const Shape& inner, size_t offset) {
    if (inner.image != nullptr && !putImage(offset, inner.image, inner.size))
        return false;
    if (inner.isPlain())
        return pushPlain(offset, inner.size);
    for (const Op* op = inner.ops; op != inner.opsEnd(); ++op) {
        Op moved = *op;
        moved.offset += static_cast<uint32_t>(offset);
        if (!(op->code == OpCode::plain ? pushPlain(moved.offset, moved.size) : programs_.ops.push(moved)))
            return false;
    }
    return true;
}

bool ShapeBuilderBase::pushMember(const DDS_TypeMember& member, const Shape& inner) {
    if (isOptional(member)) {
        const auto offset = static_cast<uint32_t>(member.offset);
        if (resolveAll(member.type)->kind == DDS_TYPE_STRING)
            return programs_.ops.push({OpCode::optionalString, offset, sizeof(char*), 0, {.text = nullptr}});
        return programs_.ops.push({OpCode::optional, offset, sizeof(void*), 0, {.shape = &inner}});
    }
    return splice(inner, member.offset) && putDefault(member);
}

bool ShapeBuilderBase::pushArm(const DDS_TypeMember& member, const DDS_TypePrograms& inner) {
    const Shape& shape = inner.shape;
    if (shape.image != nullptr && !putImage(member.offset, shape.image, shape.size))
        return false;
    isPlainUnion_ = isPlainUnion_ && shape.isPlain();
    armsNeedOwners_ = armsNeedOwners_ || shape.hasTexts || shape.hasReferences;
    return programs_.armList.push({static_cast<uint32_t>(member.offset), &shape, &inner});
}

bool ShapeBuilderBase::pushArray(const Shape& inner) {
    for (uint32_t i = 0; inner.image != nullptr && i < programs_.count; ++i)
        if (!putImage(i * inner.size, inner.image, inner.size))
            return false;
    if (inner.isPlain())
        return pushPlain(0, type_.size);
    return programs_.ops.push({OpCode::loop, 0, 0, programs_.count, {.shape = &inner}});
}

bool ShapeBuilderBase::putDefault(const DDS_TypeMember& member) {
    const DDS_TypeDescriptor& type = *resolve(member.type);
    const DDS_LongLong integer = member.defaultInteger;
    switch (type.kind) {
    case DDS_TYPE_STRING:
        programs_.ops.back().text = member.defaultText;
        return true;
    case DDS_TYPE_FLOAT: {
        const auto value = static_cast<DDS_Float>(member.defaultReal);
        return putImage(member.offset, &value, sizeof value);
    }
    case DDS_TYPE_DOUBLE:
        return putImage(member.offset, &member.defaultReal, sizeof member.defaultReal);
    default:
        // The low bytes of the integer; the machine is little-endian (Xcdr.hpp asserts it).
        return (type.kind > DDS_TYPE_ENUM) || putImage(member.offset, &integer, type.size);
    }
}

bool ShapeBuilderBase::collectLabels() {
    const Arm* fallback = nullptr;
    for (uint32_t i = 0; i < type_.memberCount; ++i) {
        const DDS_TypeMember& member = type_.members[i];
        const Arm* arm = &programs_.armList[i];
        for (uint32_t n = 0; n < member.labelCount; ++n)
            if (!programs_.armLabels.push({member.labels[n], arm}))
                return false;
        if ((member.flags & DDS_MEMBER_FLAG_DEFAULT_ARM) != 0)
            fallback = arm;
    }
    programs_.arms = {static_cast<uint32_t>(type_.discriminatorOffset),
        static_cast<uint32_t>(programs_.armList.size()), static_cast<uint32_t>(programs_.armLabels.size()),
        resolve(type_.discriminator), type_.defaultDiscriminator, programs_.armList.data(),
        programs_.armLabels.data(), fallback, armsNeedOwners_, false, 0, {}};
    programs_.arms.makeIndex();
    return true;
}

bool ShapeBuilderBase::addOwned(const Shape& inner, size_t offset) {
    for (const Owned* owned = inner.owned; owned != inner.owned + inner.ownedCount; ++owned) {
        Owned moved = *owned;
        moved.offset += static_cast<uint32_t>(offset);
        if (!programs_.owned.push(moved))
            return false;
    }
    programs_.shape.hasTexts |= inner.hasTexts;
    programs_.shape.hasReferences |= inner.hasReferences;
    return true;
}

bool ShapeBuilderBase::collectOwned(const Op& op) {
    switch (op.code) {
    case OpCode::plain:
        return true;
    case OpCode::arms:
        for (const Arm* arm = op.arms->list; arm != op.arms->list + op.arms->count; ++arm)
            if (!addOwned(*arm->shape, op.offset + arm->offset))
                return false;
        return true;
    case OpCode::loop:
        if (uint64_t{op.count} * op.shape->ownedCount <= mostOpened) {
            for (uint32_t i = 0; i < op.count; ++i)
                if (!addOwned(*op.shape, op.offset + size_t{i} * op.shape->size))
                    return false;
            return true;
        }
        programs_.shape.hasTexts |= op.shape->hasTexts;
        programs_.shape.hasReferences |= op.shape->hasReferences;
        break;
    case OpCode::string:
        programs_.shape.hasTexts = true;
        break;
    case OpCode::reference:
        programs_.shape.hasReferences = true;
        break;
    case OpCode::optionalString:
    case OpCode::sequence:
    case OpCode::optional:
        break;
    }
    const bool isText = op.code == OpCode::string || op.code == OpCode::optionalString;
    return programs_.owned.push({op.code, op.offset, op.count, isText ? nullptr : op.shape});
}

bool ShapeBuilderBase::finish() {
    Shape& shape = programs_.shape;
    if (type_.kind == DDS_TYPE_UNION) {
        if (!collectLabels())
            return false;
        programs_.arms.write(programs_.image.data(), type_.defaultDiscriminator);
        if (!(isPlainUnion_ ? pushPlain(0, type_.size)
                            : programs_.ops.push({OpCode::arms, 0, 0, 0, {.arms = &programs_.arms}})))
            return false;
    }
    if (type_.kind == DDS_TYPE_ENUM) {
        const DDS_Long value = defaultLiteral(&type_);
        if (!putImage(0, &value, sizeof value))
            return false;
    }
    Op* owners = std::partition(
        programs_.ops.begin(), programs_.ops.end(), [](const Op& op) { return op.code != OpCode::plain; });
    shape.size = static_cast<uint32_t>(type_.size);
    shape.alignment = static_cast<uint32_t>(std::max<size_t>(type_.alignment, 1));
    shape.ownerCount = static_cast<uint32_t>(owners - programs_.ops.begin());
    shape.opCount = static_cast<uint32_t>(programs_.ops.size());
    shape.ops = programs_.ops.data();
    for (const Op* op = shape.owners(); op != shape.ownersEnd(); ++op)
        if (!collectOwned(*op))
            return false;
    Owned* others = std::partition(programs_.owned.begin(), programs_.owned.end(),
        [](const Owned& owned) { return owned.code <= OpCode::reference; });
    shape.ownedPointers = static_cast<uint32_t>(others - programs_.owned.begin());
    shape.owned = programs_.owned.data();
    shape.ownedCount = static_cast<uint32_t>(programs_.owned.size());
    for (const Op* op = shape.owners(); op != shape.ownersEnd(); ++op)
        shape.hasArms |= op->code == OpCode::arms || (op->code == OpCode::loop && op->shape->hasArms) ||
                         (op->code == OpCode::reference && op->shape->hasArms);
    if (std::any_of(programs_.image.begin(), programs_.image.end(), [](uint8_t byte) { return byte != 0; }))
        shape.image = programs_.image.data();
    return true;
}

DDS_Long defaultLiteral(const DDS_TypeDescriptor* enumeration) {
    for (uint32_t i = 0; i < enumeration->literalCount; ++i)
        if (enumeration->literals[i].value >= 0)
            return enumeration->literals[i].value;
    return enumeration->literals[0].value;
}

namespace {

template <typename T> DDS_LongLong readAs(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return static_cast<DDS_LongLong>(value);
}

} // namespace

DDS_LongLong Arms::valueOfOther(const char* at) const {
    switch (discriminator->kind) {
    case DDS_TYPE_BOOLEAN:
        return readAs<DDS_Boolean>(at) != 0;
    case DDS_TYPE_OCTET:
        return readAs<DDS_Octet>(at);
    case DDS_TYPE_CHAR:
        return readAs<DDS_Char>(at);
    case DDS_TYPE_SHORT:
        return readAs<DDS_Short>(at);
    case DDS_TYPE_USHORT:
        return readAs<DDS_UnsignedShort>(at);
    case DDS_TYPE_ULONG:
        return readAs<DDS_UnsignedLong>(at);
    case DDS_TYPE_LONGLONG:
        return readAs<DDS_LongLong>(at);
    case DDS_TYPE_ULONGLONG:
        return readAs<DDS_LongLong>(at); // labels above 2^63 appear negative there too
    default:
        return readAs<DDS_Long>(at);
    }
}

void Arms::makeIndex() {
    for (indexShift = 0; labelCount != 0 && labelCount <= indexSize && indexShift < 28; ++indexShift) {
        uint32_t taken = 0;
        for (uint32_t i = 0; i < labelCount; ++i) {
            const auto bits =
                static_cast<DDS_UnsignedLongLong>(labels[i].value) >> indexShift & (indexSize - 1);
            taken |= uint32_t{1} << bits;
            index[bits] = static_cast<uint8_t>(i);
        }
        isIndexed = static_cast<uint32_t>(std::popcount(taken)) == labelCount;
        if (isIndexed)
            return;
        std::fill(std::begin(index), std::end(index), uint8_t{0});
    }
}

void Arms::write(void* unionValue, DDS_LongLong value) const {
    std::memcpy(static_cast<char*>(unionValue) + discriminatorOffset, &value, discriminator->size);
}

} // namespace zdds::types
