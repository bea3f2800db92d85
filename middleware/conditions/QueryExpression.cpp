#include "middleware/conditions/QueryExpression.hpp"

#include <cstdint>
#include <string_view>

#include "middleware/entities/ServiceRequestType.hpp"

namespace zdds::conditions {
namespace {

// A member of a key: where InstanceKey has it, and how it is written.
struct KeyMember {
    std::string_view path;
    DDS_UnsignedLong offset;
    DDS_UnsignedLong length;
    bool isInteger; // of 32 bits, with a sign
};

constexpr KeyMember serviceRequestKey[] = {
    {"service_id", 0, 4, true},
    {"instance_id.value", 4, 16, false},
};
constexpr size_t longestExpression = 1024;

// Not those of the C library, which depend on the locale.
constexpr bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool isNameCharacter(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '.';
}
constexpr int hexadecimal(char c) {
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    void skipSpace() {
        while (!rest_.empty() && isSpace(rest_.front()))
            rest_.remove_prefix(1);
    }
    bool accept(std::string_view token) {
        skipSpace();
        if (!rest_.starts_with(token))
            return false;
        rest_.remove_prefix(token.size());
        return true;
    }
    std::string_view name() {
        skipSpace();
        size_t length = 0;
        while (length < rest_.size() && isNameCharacter(rest_[length]))
            ++length;
        const std::string_view name = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return name;
    }
    // False for anything but a number that fits.
    bool integer(int32_t* value) {
        const bool isNegative = accept("-");
        if (rest_.empty() || !isDigit(rest_.front()))
            return false;
        int64_t number = 0;
        for (; !rest_.empty() && isDigit(rest_.front()); rest_.remove_prefix(1)) {
            number = number * 10 + (rest_.front() - '0');
            if (number > int64_t{INT32_MAX} + 1)
                return false;
        }
        number = isNegative ? -number : number;
        *value = static_cast<int32_t>(number);
        return number <= INT32_MAX;
    }
    bool octet(uint8_t* value) {
        skipSpace();
        if (rest_.size() < 2)
            return false;
        const int high = hexadecimal(rest_[0]);
        const int low = hexadecimal(rest_[1]);
        rest_.remove_prefix(2);
        *value = static_cast<uint8_t>(high << 4 | low);
        return high >= 0 && low >= 0;
    }
    bool isAtEnd() {
        skipSpace();
        return rest_.empty();
    }

private:
    std::string_view rest_;
};

const KeyMember* findMember(const DDS_TypePlugin& plugin, std::string_view path) {
    if (plugin.type != serviceRequestTypePlugin().type)
        return nullptr;
    for (const KeyMember& member : serviceRequestKey) {
        if (member.path == path)
            return &member;
    }
    return nullptr;
}

const char* scanInteger(Scanner& scanner, KeyFilter& filter) {
    int32_t value = 0;
    if (!scanner.integer(&value))
        return "a decimal number of 32 bits is missing";
    const auto bits = static_cast<uint32_t>(value);
    for (unsigned i = 0; i < 4; ++i)
        filter.octets[i] = static_cast<uint8_t>(bits >> (24 - 8 * i)); // the order of the key's octets
    return nullptr;
}

const char* scanOctets(Scanner& scanner, KeyFilter& filter) {
    if (!scanner.accept("&hex") || !scanner.accept("("))
        return "&hex(...) is missing";
    for (DDS_UnsignedLong i = 0; i < filter.length; ++i) {
        if (!scanner.octet(&filter.octets[i]))
            return "pairs of hexadecimal digits are missing";
    }
    return scanner.accept(")") ? nullptr : "there is more between the parentheses than the member's octets";
}

} // namespace

const char* parseQuery(const DDS_TypePlugin& plugin, const char* expression, KeyFilter* filter) {
    const std::string_view text(expression, strnlen(expression, longestExpression + 1));
    if (text.size() > longestExpression)
        return "it is too long";
    Scanner scanner(text);
    const KeyMember* member = findMember(plugin, scanner.name());
    if (member == nullptr)
        return "it does not begin with a member of the key";
    if (!scanner.accept("="))
        return "the only operator is =";
    KeyFilter found;
    found.offset = member->offset;
    found.length = member->length;
    const char* defect = member->isInteger ? scanInteger(scanner, found) : scanOctets(scanner, found);
    if (defect != nullptr)
        return defect;
    if (!scanner.isAtEnd())
        return "there is more than one comparison";
    *filter = found;
    return nullptr;
}

} // namespace zdds::conditions
