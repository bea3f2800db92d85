// Values as text: one line for each leaf, indented by its depth.
//
//     resource_guid: 0x00, 0x01, 0x02
//     info:
//         is_snapshot: true
//     children: 2 elements
//         [0]: "a"
//
// An absent member has no line. Text from remote is escaped: whatever is not printable ASCII, a quote or a
// backslash appears as \xHH, so that no terminal obeys it.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "middleware/types/Programs.hpp"
#include "zddsc/type_engine.h"
#include "zddscore/text.h"

namespace zdds::types {
namespace {

template <typename T> const T& slotAt(const char* value) {
    return *reinterpret_cast<const T*>(value);
}

// Where the text goes: counts always, stores what fits, or writes to a file.
class Text {
public:
    Text(char* buffer, size_t capacity) : buffer_(buffer), capacity_(capacity) {}
    explicit Text(FILE* file) : file_(file) {}

    void put(const char* text, size_t length) {
        if (file_ != nullptr)
            std::fwrite(text, 1, length, file_);
        else if (length_ < capacity_)
            std::memcpy(buffer_ + length_, text, std::min(length, capacity_ - length_));
        length_ += length;
    }
    void put(const char* text) { put(text, std::strlen(text)); }
    void indent(unsigned depth) {
        for (unsigned i = 0; i < depth; ++i)
            put("    ", 4);
    }
    size_t length() const { return length_; }

private:
    FILE* file_ = nullptr;
    char* buffer_ = nullptr;
    size_t capacity_ = 0;
    size_t length_ = 0;
};

class Printer {
public:
    explicit Printer(Text& text) : text_(text) {}

    // The value of a line that already has its name; ends the line.
    void printValue(const DDS_TypePrograms& programs, const char* value, unsigned depth) {
        const DDS_TypeDescriptor& type = *programs.type;
        switch (type.kind) {
        case DDS_TYPE_STRUCT:
        case DDS_TYPE_UNION:
            text_.put("\n", 1);
            printInner(programs, value, depth);
            return;
        case DDS_TYPE_ARRAY:
            printElements(programs.element(), nullptr, value, programs.count, depth);
            return;
        case DDS_TYPE_SEQUENCE: {
            const auto& sequence = slotAt<DDS_SequenceBase>(value);
            printElements(programs.element(), sequence._discontiguous_buffer,
                static_cast<const char*>(sequence._contiguous_buffer), sequence._length, depth);
            return;
        }
        case DDS_TYPE_ALIAS:
            if (const char* target = slotAt<const char*>(value)) {
                printValue(programs.element(), target, depth);
                return;
            }
            text_.put("null");
            break;
        default:
            printLeaf(type, value);
            break;
        }
        text_.put("\n", 1);
    }

    // The members of a structure, or the arm of a union; nothing of a leaf's name.
    void printInner(const DDS_TypePrograms& programs, const char* value, unsigned depth) {
        const DDS_TypeDescriptor& type = *programs.type;
        if (type.kind == DDS_TYPE_STRUCT) {
            for (uint32_t i = 0; i < type.memberCount; ++i)
                printMember(type.members[i], *programs.nested.data()[i], value, depth);
            return;
        }
        if (type.kind != DDS_TYPE_UNION) {
            text_.indent(depth);
            printValue(programs, value, depth);
            return;
        }
        const Arms& arms = programs.arms;
        text_.indent(depth);
        text_.put("_d: ");
        printLeaf(*programs.discriminator->type, value + arms.discriminatorOffset);
        text_.put("\n", 1);
        const Arm* arm = arms.select(arms.read(value));
        if (arm == nullptr)
            return;
        const size_t index = static_cast<size_t>(arm - arms.list);
        printMember(type.members[index], *programs.nested.data()[index], value, depth);
    }

private:
    void printMember(
        const DDS_TypeMember& member, const DDS_TypePrograms& inner, const char* value, unsigned depth) {
        const char* at = value + member.offset;
        if (isOptional(member)) {
            const char* target = slotAt<const char*>(at);
            if (target == nullptr)
                return;
            if (inner.type->kind != DDS_TYPE_STRING)
                at = target;
        }
        text_.indent(depth);
        text_.put(member.name);
        text_.put(":", 1);
        if (isLeaf(*inner.type) || inner.type->kind > DDS_TYPE_UNION)
            text_.put(" ", 1);
        printValue(inner, at, depth + 1);
    }

    static bool isLeaf(const DDS_TypeDescriptor& type) { return type.kind <= DDS_TYPE_STRING; }

    // Elements lie at pointers, or one after the other. Numbers share a line.
    void printElements(const DDS_TypePrograms& element, void* const* pointers, const char* first,
        uint32_t count, unsigned depth) {
        const bool isRow = isPrimitive(element.type->kind);
        char number[40];
        if (!isRow || count == 0) {
            ORXOsapiUtility_snprintf(
                number, sizeof number, "%" PRIu32 " element%s", count, count == 1 ? "" : "s");
            text_.put(number);
        }
        for (uint32_t i = 0; i < count; ++i) {
            const char* at =
                pointers != nullptr ? static_cast<const char*>(pointers[i]) : first + i * element.type->size;
            if (isRow) {
                if (i > 0)
                    text_.put(", ", 2);
                printLeaf(*element.type, at);
                continue;
            }
            if (i == 0)
                text_.put("\n", 1);
            text_.indent(depth);
            ORXOsapiUtility_snprintf(number, sizeof number, "[%" PRIu32 "]:%s", i,
                element.type->kind == DDS_TYPE_STRUCT || element.type->kind == DDS_TYPE_UNION ? "" : " ");
            text_.put(number);
            printValue(element, at, depth + 1);
        }
        if (isRow || count == 0)
            text_.put("\n", 1);
    }

    void printLeaf(const DDS_TypeDescriptor& type, const char* value) {
        char number[64];
        switch (type.kind) {
        case DDS_TYPE_BOOLEAN:
            text_.put(*value != 0 ? "true" : "false");
            return;
        case DDS_TYPE_STRING:
            printText(slotAt<const char*>(value));
            return;
        case DDS_TYPE_CHAR:
            printCharacter(*value);
            return;
        case DDS_TYPE_ENUM:
            printLiteral(type, slotAt<DDS_Long>(value));
            return;
        case DDS_TYPE_OCTET:
            ORXOsapiUtility_snprintf(number, sizeof number, "0x%02X", unsigned{slotAt<DDS_Octet>(value)});
            break;
        case DDS_TYPE_SHORT:
            format(number, slotAt<DDS_Short>(value));
            break;
        case DDS_TYPE_USHORT:
            format(number, slotAt<DDS_UnsignedShort>(value));
            break;
        case DDS_TYPE_LONG:
            format(number, slotAt<DDS_Long>(value));
            break;
        case DDS_TYPE_ULONG:
            format(number, slotAt<DDS_UnsignedLong>(value));
            break;
        case DDS_TYPE_LONGLONG:
            format(number, slotAt<DDS_LongLong>(value));
            break;
        case DDS_TYPE_ULONGLONG:
            ORXOsapiUtility_snprintf(number, sizeof number, "%" PRIu64, slotAt<DDS_UnsignedLongLong>(value));
            break;
        case DDS_TYPE_FLOAT:
            ORXOsapiUtility_snprintf(
                number, sizeof number, "%.9g", static_cast<double>(slotAt<DDS_Float>(value)));
            break;
        case DDS_TYPE_DOUBLE:
            ORXOsapiUtility_snprintf(number, sizeof number, "%.17g", slotAt<DDS_Double>(value));
            break;
        default:
            return;
        }
        text_.put(number);
    }

    static void format(char (&number)[64], DDS_LongLong value) {
        ORXOsapiUtility_snprintf(number, sizeof number, "%" PRId64, value);
    }

    void printLiteral(const DDS_TypeDescriptor& type, DDS_Long value) {
        char number[64];
        for (uint32_t i = 0; i < type.literalCount; ++i) {
            if (type.literals[i].value != value)
                continue;
            text_.put(type.literals[i].name);
            return;
        }
        format(number, value);
        text_.put(number);
    }

    void printCharacter(char character) {
        const auto code = static_cast<unsigned char>(character);
        char escaped[8];
        if (code >= 0x20 && code < 0x7F && code != '"' && code != '\\') {
            text_.put(&character, 1);
            return;
        }
        ORXOsapiUtility_snprintf(escaped, sizeof escaped, "\\x%02X", unsigned{code});
        text_.put(escaped);
    }

    void printText(const char* text) {
        text_.put("\"", 1);
        for (; text != nullptr && *text != '\0'; ++text)
            printCharacter(*text);
        text_.put("\"", 1);
    }

    Text& text_;
};

} // namespace
} // namespace zdds::types

using namespace zdds::types;

void DDS_Type_print_data(
    const DDS_TypeDescriptor* type, const void* value, const char* description, DDS_UnsignedLong indent) {
    const DDS_TypePrograms* programs = type == nullptr || value == nullptr ? nullptr : programsOf(type);
    if (programs == nullptr)
        return;
    Text text(stdout);
    if (description != nullptr) {
        text.indent(indent);
        text.put(description);
        text.put(":\n");
    }
    Printer(text).printInner(*programs, static_cast<const char*>(value), indent + (description != nullptr));
}

DDS_Boolean DDS_Type_data_to_string(
    const DDS_TypeDescriptor* type, const void* value, char* buffer, DDS_UnsignedLong* size) {
    const DDS_TypePrograms* programs =
        type == nullptr || value == nullptr || size == nullptr ? nullptr : programsOf(type);
    if (programs == nullptr)
        return DDS_BOOLEAN_FALSE;
    const size_t capacity = buffer == nullptr ? 0 : *size;
    Text text(buffer, capacity);
    Printer(text).printInner(*programs, static_cast<const char*>(value), 0);
    const size_t needed = text.length() + 1;
    if (needed > UINT32_MAX)
        return DDS_BOOLEAN_FALSE;
    *size = static_cast<DDS_UnsignedLong>(needed);
    if (buffer == nullptr)
        return DDS_BOOLEAN_TRUE;
    if (capacity > 0)
        buffer[std::min(needed, capacity) - 1] = '\0';
    return needed <= capacity;
}
