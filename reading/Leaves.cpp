#include "reading/Leaves.hpp"

#include <array>
#include <charconv>
#include <cstring>

#include "zddsc/sequence.h"

namespace reading {

namespace {

template <typename T> T load(const void* value) {
    T result;
    std::memcpy(&result, value, sizeof result);
    return result;
}

template <typename T> std::string numberText(T number) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

std::string hexText(const unsigned char* octets, std::size_t count) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += digits[octets[i] >> 4U];
        text += digits[octets[i] & 0xFU];
    }
    return text;
}

const void* at(const void* value, std::size_t offset) {
    return static_cast<const unsigned char*>(value) + offset;
}

class Walk {
public:
    Walk(std::vector<Leaf>& leaves, std::size_t limit) : leaves_(leaves), end_(leaves.size() + limit) {}

    void value(const DDS_TypeDescriptor& declared, const void* value, const std::string& path) {
        if (full(path) || value == nullptr)
            return;
        const DDS_TypeDescriptor* type = &declared;
        while (type->kind == DDS_TYPE_ALIAS) {
            if ((type->flags & DDS_TYPE_FLAG_REFERENCE) != 0)
                value = load<const void*>(value);
            if (value == nullptr)
                return;
            type = type->element;
        }
        switch (type->kind) {
        case DDS_TYPE_STRUCT:
            return structure(*type, value, path);
        case DDS_TYPE_UNION:
            return unionValue(*type, value, path);
        case DDS_TYPE_ARRAY:
            return elements(*type->element, value, type->bound, path);
        case DDS_TYPE_SEQUENCE: {
            const auto sequence = load<DDS_SequenceBase>(value);
            return elements(*type->element, sequence._contiguous_buffer, sequence._length, path);
        }
        default:
            return primitive(*type, value, path);
        }
    }

private:
    void add(const std::string& path, std::string text, bool isText) {
        leaves_.push_back({path, std::move(text), isText});
    }

    bool full(const std::string& path) {
        if (leaves_.size() < end_)
            return false;
        if (leaves_.size() == end_)
            add(path, "...", true);
        return true;
    }

    static std::string join(const std::string& path, const char* member) {
        return path.empty() ? member : path + "." + member;
    }

    void member(const DDS_TypeMember& member, const void* base, const std::string& path) {
        const void* place = at(base, member.offset);
        const bool optional = (member.flags & DDS_MEMBER_FLAG_OPTIONAL) != 0;
        // An optional string is its pointer itself; every other optional member lies behind a pointer.
        if (optional && resolved(*member.type).kind != DDS_TYPE_STRING)
            place = load<const void*>(place);
        if (optional && place != nullptr && resolved(*member.type).kind == DDS_TYPE_STRING &&
            load<const char*>(place) == nullptr) {
            return;
        }
        value(*member.type, place, join(path, member.name));
    }

    void structure(const DDS_TypeDescriptor& type, const void* base, const std::string& path) {
        for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i)
            member(type.members[i], base, path);
    }

    void unionValue(const DDS_TypeDescriptor& type, const void* base, const std::string& path) {
        const auto selected = static_cast<DDS_LongLong>(load<DDS_Long>(at(base, type.discriminatorOffset)));
        for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
            for (DDS_UnsignedLong label = 0; label < type.members[i].labelCount; ++label) {
                // 32 bits are compared: an unsigned label beyond 2^31 has a negative discriminator here.
                if (static_cast<DDS_Long>(type.members[i].labels[label]) == selected) {
                    return member(type.members[i], base, path);
                }
            }
        }
        add(join(path, "_d"), numberText(selected), false);
    }

    void elements(
        const DDS_TypeDescriptor& element, const void* first, std::size_t count, const std::string& path) {
        const DDS_TypeDescriptor& plain = resolved(element);
        if (plain.kind == DDS_TYPE_OCTET) {
            constexpr std::size_t longest = 256;
            std::string text =
                count == 0 || first == nullptr
                    ? ""
                    : hexText(static_cast<const unsigned char*>(first), std::min(count, longest));
            if (count > longest)
                text += "...";
            return add(path, std::move(text), true);
        }
        const std::size_t size =
            (element.flags & DDS_TYPE_FLAG_REFERENCE) != 0 ? sizeof(void*) : element.size;
        for (std::size_t i = 0; first != nullptr && i < count && leaves_.size() <= end_; ++i) {
            value(element, at(first, i * size), path + "[" + numberText(i) + "]");
        }
    }

    void primitive(const DDS_TypeDescriptor& type, const void* value, const std::string& path) {
        switch (type.kind) {
        case DDS_TYPE_BOOLEAN:
            return add(path, load<DDS_Boolean>(value) != 0 ? "true" : "false", false);
        case DDS_TYPE_OCTET:
            return add(path, numberText(static_cast<unsigned>(load<DDS_Octet>(value))), false);
        case DDS_TYPE_CHAR:
            return add(path, std::string(1, load<DDS_Char>(value)), true);
        case DDS_TYPE_SHORT:
            return add(path, numberText(load<DDS_Short>(value)), false);
        case DDS_TYPE_USHORT:
            return add(path, numberText(load<DDS_UnsignedShort>(value)), false);
        case DDS_TYPE_LONG:
            return add(path, numberText(load<DDS_Long>(value)), false);
        case DDS_TYPE_ULONG:
            return add(path, numberText(load<DDS_UnsignedLong>(value)), false);
        case DDS_TYPE_LONGLONG:
            return add(path, numberText(load<DDS_LongLong>(value)), false);
        case DDS_TYPE_ULONGLONG:
            return add(path, numberText(load<DDS_UnsignedLongLong>(value)), false);
        case DDS_TYPE_FLOAT:
            return add(path, numberText(load<DDS_Float>(value)), false);
        case DDS_TYPE_DOUBLE:
            return add(path, numberText(load<DDS_Double>(value)), false);
        case DDS_TYPE_STRING: {
            const char* text = load<const char*>(value);
            return add(path, text == nullptr ? "" : text, true);
        }
        case DDS_TYPE_ENUM: {
            const auto number = load<DDS_Long>(value);
            for (DDS_UnsignedLong i = 0; i < type.literalCount; ++i) {
                if (type.literals[i].value == number)
                    return add(path, type.literals[i].name, true);
            }
            return add(path, numberText(number), false);
        }
        default:
            return;
        }
    }

    std::vector<Leaf>& leaves_;
    std::size_t end_;
};

} // namespace

const DDS_TypeDescriptor& resolved(const DDS_TypeDescriptor& type) {
    const DDS_TypeDescriptor* at = &type;
    while (at->kind == DDS_TYPE_ALIAS)
        at = at->element;
    return *at;
}

void appendLeaves(const DDS_TypeDescriptor& type, const void* value, const std::string& path,
    std::vector<Leaf>& leaves, std::size_t limit) {
    Walk(leaves, limit).value(type, value, path);
}

} // namespace reading
