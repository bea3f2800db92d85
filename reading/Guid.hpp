// GUIDs of resources, applications and writers, as values. Threads: any.
#ifndef READING_GUID_HPP
#define READING_GUID_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace reading {

using Guid = std::array<std::uint8_t, 16>;
constexpr Guid noGuid{};

// "1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D".
std::string guidDigits(const Guid& guid);
// "GUID(1A2B3C4D.5E6F7A8B.9C0D1E2F.3A4B5C6D)", the form that path expressions take.
std::string guidText(const Guid& guid);
// Either of them, with digits of either case, and 32 digits without dots; nothing for any other text.
std::optional<Guid> parseGuid(std::string_view text);

// For hash tables of GUIDs that come from remote: different in each process.
struct GuidHash {
    std::size_t operator()(const Guid& guid) const noexcept;
};

} // namespace reading

#endif
