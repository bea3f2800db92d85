// Matching without recursion: when a character does not fit, the last `*` takes one character more and
// matching goes on behind it. An earlier `*` need never be tried again, since whatever it could give up
// the last one can take as well.
//
// Where POSIX leaves a pattern undefined:
// - a bracket without an end stands for itself, and so do all brackets to its right;
// - a quote at the end of the pattern, inside a bracket or not, matches nothing;
// - a bracket that names an unknown character class, an equivalence class or a collating symbol of more
//   than one character, or a class as the end of a range, matches nothing, negated or not;
// - a range whose ends are in the wrong order is empty.
#include <cstring>
#include <initializer_list>

#include "zddscore/text.h"

namespace {

using Byte = unsigned char;

// Of ASCII, whatever the program's locale is: a pattern means the same everywhere.
constexpr bool isDigit(Byte c) {
    return c >= '0' && c <= '9';
}
constexpr bool isLower(Byte c) {
    return c >= 'a' && c <= 'z';
}
constexpr bool isUpper(Byte c) {
    return c >= 'A' && c <= 'Z';
}
constexpr bool isAlpha(Byte c) {
    return isLower(c) || isUpper(c);
}
constexpr bool isAlnum(Byte c) {
    return isAlpha(c) || isDigit(c);
}
constexpr bool isBlank(Byte c) {
    return c == ' ' || c == '\t';
}
constexpr bool isCntrl(Byte c) {
    return c < 0x20 || c == 0x7F;
}
constexpr bool isGraph(Byte c) {
    return c > 0x20 && c < 0x7F;
}
constexpr bool isPrint(Byte c) {
    return isGraph(c) || c == ' ';
}
constexpr bool isPunct(Byte c) {
    return isGraph(c) && !isAlnum(c);
}
constexpr bool isSpace(Byte c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool isXdigit(Byte c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

struct CharacterClass {
    const char* name;
    bool (*contains)(Byte);
};

constexpr CharacterClass characterClasses[] = {
    {"alnum", isAlnum},
    {"alpha", isAlpha},
    {"blank", isBlank},
    {"cntrl", isCntrl},
    {"digit", isDigit},
    {"graph", isGraph},
    {"lower", isLower},
    {"print", isPrint},
    {"punct", isPunct},
    {"space", isSpace},
    {"upper", isUpper},
    {"xdigit", isXdigit},
};

enum class BracketResult { noMatch, match, unterminated };

// Reads one bracket expression and says whether it holds a character.
class Bracket {
public:
    // `position` stands behind the opening bracket, and behind the closing one when the result is not
    // `unterminated`.
    Bracket(const char*& position, char character)
        : position_(position), character_(static_cast<Byte>(character)) {}

    BracketResult read() {
        bool negated = false;
        if (*position_ == '!' || *position_ == '^') {
            negated = true;
            ++position_;
        }
        bool first = true; // a closing bracket in the first place is a member
        while (first || *position_ != ']') {
            if (*position_ == '\0' || !readMember())
                return BracketResult::unterminated;
            first = false;
        }
        ++position_;
        if (bad_)
            return BracketResult::noMatch;
        return found_ != negated ? BracketResult::match : BracketResult::noMatch;
    }

private:
    // False at the end of the pattern.
    bool readMember() {
        if (startsNamed(':'))
            return readClass();
        Byte low = 0;
        if (!readElement(low))
            return false;
        if (position_[0] != '-' || position_[1] == ']' || position_[1] == '\0') {
            found_ |= low == character_;
            return true;
        }
        ++position_;
        if (startsNamed(':')) {
            bad_ = true;
            return readClass();
        }
        Byte high = 0;
        if (!readElement(high))
            return false;
        found_ |= low <= character_ && character_ <= high;
        return true;
    }

    // [:name:], [=c=] or [.c.] begins here, and has its end.
    bool startsNamed(char kind) const {
        if (position_[0] != '[' || position_[1] != kind)
            return false;
        return findNamedEnd(kind) != nullptr;
    }

    // The kind's character before the inner closing bracket.
    const char* findNamedEnd(char kind) const {
        const char* end = position_ + 2;
        if (kind == ':') {
            while (isLower(static_cast<Byte>(*end)))
                ++end;
        } else if (*end != '\0') {
            ++end; // the element itself may be the kind's character
            while (*end != '\0' && *end != kind && *end != ']')
                ++end;
        }
        return end[0] == kind && end[1] == ']' ? end : nullptr;
    }

    bool readClass() {
        const char* name = position_ + 2;
        const char* end = findNamedEnd(':');
        const auto length = static_cast<std::size_t>(end - name);
        position_ = end + 2;
        for (const CharacterClass& candidate : characterClasses) {
            if (std::strlen(candidate.name) != length || std::memcmp(candidate.name, name, length) != 0)
                continue;
            found_ |= candidate.contains(character_);
            return true;
        }
        bad_ = true;
        return true;
    }

    // One character, plain, quoted, or as the single member of [=c=] or [.c.]. False at the end.
    bool readElement(Byte& element) {
        for (const char kind : {'=', '.'}) {
            if (!startsNamed(kind))
                continue;
            const char* end = findNamedEnd(kind);
            element = static_cast<Byte>(position_[2]);
            bad_ |= end != position_ + 3;
            position_ = end + 2;
            return true;
        }
        if (*position_ == '\\')
            ++position_;
        if (*position_ == '\0')
            return false;
        element = static_cast<Byte>(*position_++);
        return true;
    }

    const char*& position_;
    Byte character_;
    bool found_ = false;
    bool bad_ = false;
};

class Matcher {
public:
    explicit Matcher(const char* pattern) : pattern_(pattern) {}

    bool matches(const char* text) {
        const char* afterStar = nullptr; // the pattern behind the last star
        const char* retryText = nullptr; // the first character that the star does not take
        for (;;) {
            if (*pattern_ == '*') {
                while (*pattern_ == '*')
                    ++pattern_;
                if (*pattern_ == '\0')
                    return true;
                afterStar = pattern_;
                retryText = text;
                continue;
            }
            if (*text == '\0') {
                // A longer star leaves less text still.
                return *pattern_ == '\0';
            }
            if (*pattern_ != '\0' && matchOne(*text)) {
                ++text;
                continue;
            }
            if (afterStar == nullptr)
                return false;
            pattern_ = afterStar;
            text = ++retryText;
        }
    }

private:
    // Matches one character, and steps behind what matched it.
    bool matchOne(char character) {
        switch (*pattern_) {
        case '?':
            ++pattern_;
            return true;
        case '[':
            return matchBracket(character);
        case '\\':
            if (pattern_[1] == '\0')
                return false;
            ++pattern_;
            break;
        default:
            break;
        }
        return *pattern_++ == character;
    }

    bool matchBracket(char character) {
        if (firstLiteralBracket_ == nullptr || pattern_ < firstLiteralBracket_) {
            const char* position = pattern_ + 1;
            const BracketResult result = Bracket(position, character).read();
            if (result != BracketResult::unterminated) {
                pattern_ = position;
                return result == BracketResult::match;
            }
            // Remembered, so that a pattern of many such brackets is not read to its end for each.
            firstLiteralBracket_ = pattern_;
        }
        ++pattern_;
        return character == '[';
    }

    const char* pattern_;
    const char* firstLiteralBracket_ = nullptr;
};

} // namespace

int REDAString_fnmatch(const char* pattern, const char* text, int) {
    if (pattern == nullptr || text == nullptr)
        return 1;
    return Matcher(pattern).matches(text) ? 0 : 1;
}
