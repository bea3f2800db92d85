// Words and ranges that every program takes and prints alike.
//
// A header without any dependency, so that orx-run and orxctl may have it. Threads: any; no state.
#ifndef READING_WORDS_HPP
#define READING_WORDS_HPP

#include <array>
#include <cstdint>
#include <string_view>

namespace reading {

struct Facility {
    std::uint8_t number;
    std::string_view name;
};
constexpr std::array<Facility, 4> facilities{
    {{1, "user"}, {10, "security"}, {22, "service"}, {23, "middleware"}}};

// Null for a word that names none. "security_event" is what the member of the data model is called.
constexpr const Facility* facilityNamed(std::string_view name) {
    for (const Facility& each : facilities) {
        if (each.name == (name == "security_event" ? "security" : name))
            return &each;
    }
    return nullptr;
}

// Empty for a number that has no name.
constexpr std::string_view facilityName(unsigned number) {
    for (const Facility& each : facilities) {
        if (each.number == number)
            return each.name;
    }
    return {};
}

// The last one that has ports: those of domain N begin at 7400 + 250 * N. In the last one there is room for
// 62 participants a host.
constexpr int lastDomain = 232;

} // namespace reading

#endif
