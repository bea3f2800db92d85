// Ids from names: member ids, class ids, group ids, metric ids, labels of operations.
//
// The id hash of a text is the low 28 bits of the first four octets, little endian, of its MD5 digest (RFC
// 1321, for identity only). Everything is computed while compiling; the published examples stand at the end.
#ifndef ORX_DATA_MODEL_ID_HASH_HPP
#define ORX_DATA_MODEL_ID_HASH_HPP

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orx::dataModel {

namespace md5 {

// floor(2^32 * |sin(i + 1)|)
constexpr std::array<std::uint32_t, 64> sines{0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf,
    0x4787c62a, 0xa8304613, 0xfd469501, 0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122,
    0xfd987193, 0xa679438e, 0x49b40821, 0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d,
    0x02441453, 0xd8a1e681, 0xe7d3fbc8, 0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905,
    0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a, 0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44,
    0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70, 0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039,
    0xe6db99e5, 0x1fa27cf8, 0xc4ac5665, 0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3,
    0x8f0ccc92, 0xffeff47d, 0x85845dd1, 0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82,
    0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr std::array<std::array<int, 4>, 4> shifts{
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

// The octet at `index` of the padded message: the text, 0x80, zeros, and the length in bits.
constexpr std::uint32_t paddedOctet(std::string_view text, std::size_t paddedSize, std::size_t index) {
    if (index < text.size()) {
        return static_cast<unsigned char>(text[index]);
    }
    if (index == text.size()) {
        return 0x80;
    }
    const auto fromEnd = paddedSize - 8;
    return index < fromEnd ? 0
                           : (static_cast<std::uint64_t>(text.size()) * 8 >> (8 * (index - fromEnd))) & 0xFF;
}

constexpr std::array<std::uint32_t, 4> transform(
    std::array<std::uint32_t, 4> state, const std::array<std::uint32_t, 16>& block) {
    auto [a, b, c, d] = state;
    for (std::uint32_t i = 0; i < 64; ++i) {
        std::uint32_t mixed = 0, word = 0;
        switch (i / 16) {
        case 0:
            mixed = (b & c) | (~b & d), word = i;
            break;
        case 1:
            mixed = (d & b) | (~d & c), word = (5 * i + 1) % 16;
            break;
        case 2:
            mixed = b ^ c ^ d, word = (3 * i + 5) % 16;
            break;
        default:
            mixed = c ^ (b | ~d), word = (7 * i) % 16;
            break;
        }
        const auto sum = a + mixed + sines[i] + block[word];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, shifts[i / 16][i % 4]);
    }
    return {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

// The first four octets of the digest, little endian.
constexpr std::uint32_t firstWord(std::string_view text) {
    const std::size_t paddedSize = (text.size() + 8) / 64 * 64 + 64;
    std::array<std::uint32_t, 4> state{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    for (std::size_t start = 0; start < paddedSize; start += 64) {
        std::array<std::uint32_t, 16> block{};
        for (std::size_t i = 0; i < 64; ++i) {
            block[i / 4] |= paddedOctet(text, paddedSize, start + i) << (8 * (i % 4));
        }
        state = transform(state, block);
    }
    return state[0];
}

} // namespace md5

constexpr std::uint32_t idMask = 0x0FFFFFFF;

consteval std::uint32_t idHash(std::string_view text) {
    return md5::firstWord(text) & idMask;
}
// All 32 bits, signed: labels of operations and exceptions.
consteval std::int32_t operationHash(std::string_view text) {
    return std::bit_cast<std::int32_t>(md5::firstWord(text));
}

static_assert(idHash("application") == 265647670);
static_assert(idHash("type") == 46964057);
static_assert(idHash("name") == 210987184);
static_assert(idHash("guid") == 27593758);
static_assert(idHash("root_resource_guid") == 87698121);
static_assert(idHash("is_snapshot") == 201246638);
static_assert(idHash("dds_guid") == 87401667);
static_assert(idHash("host_utilization_cpu_percent_2") == 250036411);
static_assert(idHash("data_reader_status_cache_sample_count_peak") == 232919466);
static_assert(operationHash("set_logging_forwarding_level") == -500546511);
static_assert(operationHash("MonitoringCommandError") == -993880232);

} // namespace orx::dataModel

#endif
