#include "middleware/host/RequestKind.hpp"

#include <cstddef>

namespace zdds::host {
namespace {

// The label of request_resource_registry in the union of operations.
constexpr uint32_t registryOperation = 0x1EF2237E;

// Reads of a body, each of which may end it.
class Cursor {
public:
    Cursor(std::span<const uint8_t> bytes, bool isLittleEndian) : bytes_(bytes), little_(isLittleEndian) {}

    uint32_t number() {
        if (!has(4))
            return 0;
        uint32_t value = 0;
        for (size_t i = 0; i < 4; ++i)
            value |= static_cast<uint32_t>(bytes_[at_ + i]) << (little_ ? 8 * i : 24 - 8 * i);
        at_ += 4;
        return value;
    }
    void skip(size_t count) {
        if (has(count))
            at_ += count;
    }
    void align() { skip((4 - at_ % 4) % 4); }
    bool isGood() const { return good_; }

private:
    bool has(size_t count) {
        good_ = good_ && count <= bytes_.size() - at_;
        return good_;
    }

    std::span<const uint8_t> bytes_;
    const bool little_;
    size_t at_ = 0;
    bool good_ = true;
};

// The header of a request: the GUID of its writer, a sequence number, and the name of an instance.
void skipPlainHeader(Cursor& cursor) {
    constexpr size_t guidBytes = 16;
    constexpr size_t sequenceNumberBytes = 8;
    cursor.skip(guidBytes + sequenceNumberBytes);
    cursor.skip(cursor.number());
}

} // namespace

bool mayRequestRegistry(std::span<const uint8_t> body) {
    constexpr size_t encapsulationBytes = 4;
    if (body.size() < encapsulationBytes || body[0] != 0)
        return true;
    Cursor cursor(body.subspan(encapsulationBytes), (body[1] & 1U) != 0);
    switch (body[1]) {
    case 0x00: // XCDR 1
    case 0x01:
        skipPlainHeader(cursor);
        cursor.align();
        break;
    case 0x08: // XCDR 2: the request, its header and the operation each tell their length first
    case 0x09:
        cursor.number();
        cursor.skip(cursor.number());
        cursor.align();
        cursor.number();
        break;
    default:
        return true;
    }
    const uint32_t operation = cursor.number();
    return !cursor.isGood() || operation == registryOperation;
}

} // namespace zdds::host
