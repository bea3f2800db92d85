#include "reading/Guid.hpp"

#include <random>

namespace reading {

namespace {

int digitValue(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

struct Seeds {
    std::uint64_t first;
    std::uint64_t second;
};

const Seeds& seeds() {
    static const Seeds made = [] {
        std::random_device device;
        const auto word = [&] { return std::uint64_t{device()} << 32U | device(); };
        return Seeds{word(), word()};
    }();
    return made;
}

} // namespace

std::string guidDigits(const Guid& guid) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(35);
    for (std::size_t i = 0; i < guid.size(); ++i) {
        if (i != 0 && i % 4 == 0)
            text += '.';
        text += digits[guid[i] >> 4U];
        text += digits[guid[i] & 0xFU];
    }
    return text;
}

std::string guidText(const Guid& guid) {
    return "GUID(" + guidDigits(guid) + ")";
}

std::optional<Guid> parseGuid(std::string_view text) {
    if (text.starts_with("GUID(") && text.ends_with(")"))
        text = text.substr(5, text.size() - 6);
    const bool hasDots = text.size() == 35;
    if (!hasDots && text.size() != 32)
        return std::nullopt;
    Guid guid{};
    std::size_t at = 0;
    for (std::size_t i = 0; i < guid.size(); ++i) {
        if (hasDots && i != 0 && i % 4 == 0 && text[at++] != '.')
            return std::nullopt;
        const int high = digitValue(text[at++]);
        const int low = digitValue(text[at++]);
        if (high < 0 || low < 0)
            return std::nullopt;
        guid[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return guid;
}

// A product of the halves, folded: without the seeds nobody can choose GUIDs that meet in one bucket.
std::size_t GuidHash::operator()(const Guid& guid) const noexcept {
    std::uint64_t halves[2];
    std::memcpy(halves, guid.data(), sizeof halves);
    const Seeds& seed = seeds();
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide{halves[0] ^ seed.first} * (halves[1] ^ seed.second);
    return static_cast<std::size_t>(
        static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U));
}

} // namespace reading
