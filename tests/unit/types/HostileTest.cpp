// Bytes from remote: whatever they are, the result is defined, memory is bounded, and the value stays a
// value.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "HeapFault.hpp"
#include "RandomValue.hpp"
#include "TestTypes.hpp"
#include "middleware/types/Serialization.hpp"
#include "middleware/types/WireReader.hpp"
#include "middleware/types/XcdrReader.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

bool read(const DDS_TypeDescriptor* type, void* value, const Bytes& bytes) {
    // A buffer of just the size, so that the sanitizer sees a read beyond it.
    const std::unique_ptr<char[]> exact(new char[bytes.size() + 1]);
    char* start = exact.get() + 1; // and at an odd address
    std::copy(bytes.begin(), bytes.end(), start);
    return DDS_Type_deserialize_from_cdr_buffer(
               type, value, start, static_cast<DDS_UnsignedLong>(bytes.size())) != 0;
}

Bytes serialize(const DDS_TypeDescriptor* type, const void* value, DDS_UnsignedShort representation) {
    DDS_UnsignedLong length = 0;
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer_ex(type, nullptr, &length, value, representation));
    Bytes bytes(length);
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer_ex(
        type, reinterpret_cast<char*>(bytes.data()), &length, value, representation));
    return bytes;
}

// The value can be printed, copied, serialized as far as its content allows, and finalized: the owner does
// that.
void expectIsValue(const DDS_TypeDescriptor* type, const void* value) {
    tt::OwnedValue copy(type);
    EXPECT_TRUE(DDS_Type_copy(type, copy.get(), value));
    DDS_UnsignedLong size = 0;
    EXPECT_TRUE(DDS_Type_data_to_string(type, value, nullptr, &size));
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(type, nullptr, &size, value)) << type->name;
}

// Little-endian, XCDR 2.
class Encoder {
public:
    explicit Encoder(unsigned char identifier) : bytes_{0, identifier, 0, 0} {}
    Encoder& u4(uint32_t number) { return put(number, 4); }
    Encoder& u2(uint32_t number) { return put(number, 2); }
    Encoder& u1(uint32_t number) { return put(number, 1); }
    Encoder& text(const std::string& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Encoder& align(size_t alignment) {
        while ((bytes_.size() - 4) % alignment != 0)
            bytes_.push_back(0);
        return *this;
    }
    operator const Bytes&() const { return bytes_; }

private:
    Encoder& put(uint32_t number, int size) {
        for (int i = 0; i < size; ++i)
            bytes_.push_back(static_cast<unsigned char>(number >> 8 * i));
        return *this;
    }
    Bytes bytes_;
};

constexpr unsigned char plain2 = 0x07, delimited2 = 0x09, mutable2 = 0x0B, plain1 = 0x01, mutable1 = 0x03;

TEST(Hostile, HeaderIsChecked) {
    tt::OwnedValue value(&tt::percentType);
    const Bytes good = serialize(&tt::percentType, value.get(), DDS_XCDR2_DATA_REPRESENTATION);
    for (size_t size = 0; size < 4; ++size)
        EXPECT_FALSE(
            read(&tt::percentType, value.get(), Bytes(good.begin(), good.begin() + static_cast<long>(size))));
    for (unsigned identifier = 0; identifier < 0x10000; ++identifier) {
        Bytes bytes = good;
        bytes[0] = static_cast<unsigned char>(identifier >> 8);
        bytes[1] = static_cast<unsigned char>(identifier);
        // Appendable: delimited in XCDR 2, plain in XCDR 1. In the other byte order the sizes are absurd.
        const bool fits = identifier == 0x0009 || identifier == 0x0001 || identifier == 0x0000;
        EXPECT_EQ(read(&tt::percentType, value.get(), bytes), fits) << identifier;
    }
    EXPECT_FALSE(DDS_Type_deserialize_from_cdr_buffer(&tt::percentType, value.get(), nullptr, 0));
}

TEST(Hostile, EveryTruncationFailsOrGivesDefaults) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(1);
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            tt::OwnedValue source(type), value(type);
            random.fill(type, source.get());
            random.fill(type, value.get());
            Bytes bytes = serialize(type, source.get(), representation);
            for (int padding = bytes[3] & 3; padding > 0; --padding)
                bytes.pop_back();
            while (bytes.size() > 4) {
                bytes.pop_back();
                EXPECT_FALSE(read(type, value.get(), bytes)) << type->name << " at " << bytes.size();
                expectIsValue(type, value.get());
            }
        }
    }
}

TEST(Hostile, EveryFlippedByteIsSurvivedAndReadersAgree) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(2);
        tt::OwnedValue source(type), value(type), second(type);
        random.fill(type, source.get());
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            const Bytes good = serialize(type, source.get(), representation);
            for (size_t at = 0; at < good.size(); ++at) {
                for (const int flip : {0x01, 0x80, 0xFF, 0x20}) {
                    Bytes bytes = good;
                    bytes[at] = static_cast<unsigned char>(bytes[at] ^ flip);
                    const bool isRead = read(type, value.get(), bytes);
                    expectIsValue(type, value.get());
                    if (representation != DDS_XCDR2_DATA_REPRESENTATION || at < 4)
                        continue;
                    // Whatever the program accepts, the walker reads in the same way.
                    const bool isWalked = zdds::types::readXcdr(*zdds::types::programsOf(type),
                        {true, false, {}}, static_cast<char*>(second.get()),
                        reinterpret_cast<const char*>(bytes.data()) + 4, bytes.size() - 4, {});
                    EXPECT_EQ(isRead, isWalked) << type->name << " at " << at;
                    if (isRead) {
                        EXPECT_TRUE(DDS_Type_equals(type, value.get(), second.get()))
                            << type->name << " at " << at;
                    }
                }
            }
        }
    }
}

TEST(Hostile, RandomBytesAreSurvived) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        std::mt19937 random(3);
        tt::OwnedValue value(type);
        const unsigned char identifiers[] = {0, 1, 2, 3, 6, 7, 8, 9, 10, 11};
        for (int round = 0; round < 3000; ++round) {
            Bytes bytes(4 + random() % 200);
            for (unsigned char& byte : bytes)
                byte = random() % 3 == 0 ? static_cast<unsigned char>(random()) : 0;
            bytes[0] = 0;
            bytes[1] = identifiers[random() % std::size(identifiers)];
            read(type, value.get(), bytes);
        }
        expectIsValue(type, value.get());
    }
}

TEST(Hostile, CountsAndLengthsAreComparedWithWhatRemains) {
    tt::OwnedValue words(&tt::everythingType);
    tt::Type bytesType(DDS_TYPE_STRUCT, "Bytes", sizeof(DDS_OctetSeq), alignof(DDS_OctetSeq), DDS_TYPE_FINAL);
    tt::Type seq(DDS_TYPE_SEQUENCE, "", sizeof(DDS_OctetSeq), alignof(DDS_OctetSeq), DDS_TYPE_FINAL);
    seq.element(DDS_g_type_octet);
    bytesType.members({tt::Type::member("bytes", 0, 0, seq)});
    {
        tt::OwnedValue value(&bytesType);
        HeapFault heap;
        EXPECT_FALSE(read(&bytesType, value.get(), Encoder(plain2).u4(0xFFFFFFFF).u4(0)));
        EXPECT_FALSE(read(&bytesType, value.get(), Encoder(plain2).u4(5).u4(0)));
        EXPECT_FALSE(read(&tt::pairType, words.get(), Encoder(plain2).u4(0xFFFFFFFF).u4(0)));
        EXPECT_FALSE(read(&tt::logType, words.get(), Encoder(delimited2).u4(0xFFFFFFFF).u4(0)));
        EXPECT_EQ(heap.bytes(), 0U); // nothing was allocated for them
        EXPECT_TRUE(read(&bytesType, value.get(), Encoder(plain2).u4(4).u4(1)));
    }
    DDS_Type_finalize_programs();
}

// Elements that are small on the wire and large in memory: the sender of an older type may leave members out.
TEST(Hostile, MemoryOfOneSampleIsAMultipleOfItsBytes) {
    constexpr uint32_t count = 20000;
    struct Resources {
        tt::ResourceSeq resources;
    };
    tt::Type type(DDS_TYPE_STRUCT, "Resources", sizeof(Resources), alignof(Resources), DDS_TYPE_FINAL);
    type.members({tt::Type::member("resources", 0, 0, tt::resourceSeqType)});
    Encoder encoder(plain2);
    encoder.u4(4 + 4 * count).u4(count);
    for (uint32_t i = 0; i < count; ++i)
        encoder.u4(0); // a mutable structure without members
    const Bytes& bytes = encoder;
    {
        tt::OwnedValue value(&type);
        HeapFault heap;
        read(&type, value.get(), bytes);
        EXPECT_LE(heap.bytes(),
            2 * (bytes.size() * zdds::types::memoryPerByte + zdds::types::memoryPerSample) + 65536);
        expectIsValue(&type, value.get());
    }
    // The same holds for every type and any bytes.
    for (const DDS_TypeDescriptor* each : tt::allTypes()) {
        std::mt19937 random(4);
        for (int round = 0; round < 300; ++round) {
            Bytes noise(4 + random() % 2000);
            for (unsigned char& byte : noise)
                byte = random() % 8 == 0 ? static_cast<unsigned char>(random() % 64) : 0;
            noise[0] = noise[2] = noise[3] = 0;
            noise[1] = static_cast<unsigned char>(zdds::types::littleEndianIdentifier(*each, true));
            tt::OwnedValue value(each);
            HeapFault heap;
            read(each, value.get(), noise);
            EXPECT_LE(
                heap.bytes(), 2 * (noise.size() * zdds::types::memoryPerByte + zdds::types::memoryPerSample) +
                                  static_cast<size_t>(heap.count()) * 64)
                << each->name;
        }
    }
    DDS_Type_finalize_programs();
}

TEST(Hostile, EveryFailingAllocationOfAReadLeavesAValue) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(5);
        tt::OwnedValue source(type);
        random.fill(type, source.get());
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            const Bytes bytes = serialize(type, source.get(), representation);
            bool done = false;
            for (int n = 1; !done && n < 1000; ++n) {
                void* value = DDS_Type_create_data(type);
                {
                    HeapFault heap(n);
                    const bool isRead = read(type, value, bytes);
                    done = !heap.failed();
                    EXPECT_EQ(isRead, done) << type->name << " at " << n;
                }
                expectIsValue(type, value);
                if (done) {
                    EXPECT_TRUE(DDS_Type_equals(type, source.get(), value)) << type->name;
                }
                const ORX_UINT64 before = ORXOsapiHeap_getLiveBufferCount();
                DDS_Type_destroy_data(type, value);
                EXPECT_LT(ORXOsapiHeap_getLiveBufferCount(), before);
            }
            EXPECT_TRUE(done) << type->name;
        }
    }
}

TEST(Hostile, Texts) {
    tt::OwnedValue owned(&tt::pairType);
    auto& pair = owned.as<tt::Pair>();
    const auto readName = [&](const Encoder& encoder) { return read(&tt::pairType, &pair, encoder); };
    EXPECT_TRUE(readName(Encoder(plain2).u4(3).text({'a', 'b', 0}).align(4).u4(1).u1(0)));
    EXPECT_STREQ(pair.name, "ab");
    EXPECT_STREQ(pair.value, "");
    EXPECT_TRUE(readName(Encoder(plain2).u4(0).u4(0))); // length 0 is the empty text too
    EXPECT_STREQ(pair.name, "");
    EXPECT_FALSE(readName(Encoder(plain2).u4(3).text("abc").align(4).u4(1).u1(0)));          // not terminated
    EXPECT_FALSE(readName(Encoder(plain2).u4(3).text({'a', 0, 0}).align(4).u4(1).u1(0)));    // a zero within
    EXPECT_FALSE(readName(Encoder(plain2).u4(30).text({'a', 'b', 0}).align(4).u4(1).u1(0))); // beyond the end
    EXPECT_FALSE(readName(Encoder(plain2).u4(0x80000000).text({'a', 'b', 0}).align(4).u4(0))); // absurd
}

TEST(Hostile, BoundsHoldWhenReadingAndWhenWriting) {
    tt::OwnedValue owned(&tt::creationType);
    auto& creation = owned.as<tt::Creation>();
    DDS_String_replace(&creation.name, std::string(255, 'x').c_str());
    const Bytes fits = serialize(&tt::creationType, &creation, DDS_XCDR2_DATA_REPRESENTATION);
    EXPECT_TRUE(read(&tt::creationType, &creation, fits));
    EXPECT_EQ(std::strlen(creation.name), 255U);
    DDS_String_replace(&creation.name, std::string(256, 'x').c_str());
    for (const DDS_UnsignedShort representation :
        {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION}, DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
        DDS_UnsignedLong length = 0;
        EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer_ex(
            &tt::creationType, nullptr, &length, &creation, representation));
        std::vector<char> buffer(1000);
        length = 1000;
        EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer_ex(
            &tt::creationType, buffer.data(), &length, &creation, representation));
    }
    // 24 octets fit an identifier, 25 do not.
    for (const uint32_t count : {24U, 25U}) {
        tt::OwnedValue resource(&tt::resourceType);
        Encoder encoder(mutable2);
        encoder.u4(8 + count).u4(6 | 5U << 28).u4(count).text(std::string(count, 'i'));
        EXPECT_EQ(read(&tt::resourceType, resource.get(), encoder), count == 24);
        if (count != 24)
            continue;
        auto* identifier = resource.as<tt::Resource>().identifier;
        ASSERT_NE(identifier, nullptr);
        EXPECT_EQ(DDS_OctetSeq_get_length(identifier), 24);
        EXPECT_FALSE(DDS_OctetSeq_set_length(identifier, 25));
        DDS_Octet many[25] = {};
        DDS_OctetSeq_finalize(identifier);
        identifier->_absolute_maximum = 0;
        DDS_OctetSeq_loan_contiguous(identifier, many, 25, 25);
        DDS_UnsignedLong length = 0;
        EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer(&tt::resourceType, nullptr, &length, resource.get()));
        DDS_OctetSeq_unloan(identifier);
    }
}

TEST(Hostile, BooleansAndEnumerators) {
    tt::OwnedValue setting(&tt::settingType);
    for (const uint32_t literal : {0U, 1U, 3U, 255U})
        EXPECT_TRUE(read(&tt::settingType, setting.get(), Encoder(delimited2).u4(5).u4(literal).u1(1)));
    for (const uint32_t literal : {2U, 4U, 254U, 256U, 0xFFFFFFFFU})
        EXPECT_FALSE(read(&tt::settingType, setting.get(), Encoder(delimited2).u4(5).u4(literal).u1(1)));
    setting.as<tt::Setting>().verbosity = static_cast<tt::Mask>(2);
    DDS_UnsignedLong length = 0;
    EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer(&tt::settingType, nullptr, &length, setting.get()));
    char buffer[64];
    length = sizeof buffer;
    EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer(&tt::settingType, buffer, &length, setting.get()));

    tt::OwnedValue resource(&tt::resourceType);
    for (const uint32_t truth : {0U, 1U, 2U, 255U})
        EXPECT_EQ(
            read(&tt::resourceType, resource.get(), Encoder(mutable2).u4(5).u4(9).u1(truth)), truth < 2);
    // In memory every value but 0 is true, and travels as 1.
    tt::OwnedValue event(&tt::eventType), back(&tt::eventType);
    event.as<tt::Event>().snapshot = 200;
    EXPECT_TRUE(read(
        &tt::eventType, back.get(), serialize(&tt::eventType, event.get(), DDS_AUTO_DATA_REPRESENTATION)));
    EXPECT_EQ(back.as<tt::Event>().snapshot, DDS_BOOLEAN_TRUE);
    EXPECT_TRUE(DDS_Type_equals(&tt::eventType, event.get(), back.get()));
}

TEST(Hostile, MembersOfAnAppendableTypeMayBeMissingOrMore) {
    tt::OwnedValue owned(&tt::percentType);
    auto& percent = owned.as<tt::Percent>();
    percent = {9, 9, 9, 9, 9};
    EXPECT_TRUE(read(&tt::percentType, &percent, Encoder(delimited2).u4(4).u4(7)));
    EXPECT_EQ(percent.period, 7U);
    EXPECT_EQ(percent.count, 0U);
    EXPECT_EQ(percent.most, 0);
    EXPECT_TRUE(read(&tt::percentType, &percent, Encoder(delimited2).u4(0)));
    EXPECT_EQ(percent.period, 0U);
    EXPECT_TRUE(read(&tt::percentType, &percent,
        Encoder(delimited2).u4(16).u4(1).u4(2).u1(3).u1(4).u1(5).align(4).u4(99)));
    EXPECT_EQ(percent.most, 5);
    EXPECT_FALSE(
        read(&tt::percentType, &percent, Encoder(delimited2).u4(6).u4(1).u2(2))); // ends within a member
    EXPECT_FALSE(read(&tt::percentType, &percent, Encoder(delimited2).u4(12).u4(1).u4(2))); // beyond the end
    EXPECT_TRUE(read(
        &tt::percentType, &percent, Encoder(delimited2).u4(11).u4(1).u4(2).u1(3).u1(4).u1(5).u4(0xDEADBEEF)));
}

TEST(Hostile, MembersOfAMutableTypeComeInAnyOrderOnceAndInAnyForm) {
    tt::OwnedValue owned(&tt::resourceType);
    auto& resource = owned.as<tt::Resource>();
    const auto readResource = [&](const Encoder& encoder) {
        return read(&tt::resourceType, &resource, encoder);
    };
    const uint32_t domain = 1, flag = 9, process = 10;
    EXPECT_TRUE(readResource(Encoder(mutable2)
                                 .u4(33)
                                 .u4(process | 3U << 28)
                                 .u4(5)
                                 .u4(0)
                                 .u4(0x123456 | 4U << 28)
                                 .u4(2)
                                 .u2(7)
                                 .align(4) // unknown
                                 .u4(domain | 2U << 28)
                                 .u4(42)
                                 .u1(0)) == false); // a byte that is no header
    EXPECT_TRUE(readResource(Encoder(mutable2)
                                 .u4(32)
                                 .u4(process | 3U << 28)
                                 .u4(5)
                                 .u4(0)
                                 .u4(0x123456 | 4U << 28)
                                 .u4(2)
                                 .u2(7)
                                 .align(4)
                                 .u4(domain | 2U << 28)
                                 .u4(42)));
    ASSERT_NE(resource.domain, nullptr);
    EXPECT_EQ(*resource.domain, 42);
    ASSERT_NE(resource.process, nullptr);
    EXPECT_EQ(*resource.process, 5U);
    EXPECT_EQ(resource.flag, nullptr);
    // Twice.
    EXPECT_FALSE(
        readResource(Encoder(mutable2).u4(16).u4(domain | 2U << 28).u4(1).u4(domain | 2U << 28).u4(2)));
    // The size in a NEXTINT, of a primitive too; larger than the member is fine, smaller is not.
    EXPECT_TRUE(readResource(Encoder(mutable2).u4(12).u4(domain | 4U << 28).u4(4).u4(43)));
    EXPECT_EQ(*resource.domain, 43);
    EXPECT_EQ(resource.process, nullptr); // gone
    EXPECT_TRUE(readResource(Encoder(mutable2).u4(16).u4(domain | 4U << 28).u4(8).u4(44).u4(0)));
    EXPECT_FALSE(readResource(Encoder(mutable2).u4(10).u4(domain | 4U << 28).u4(2).u2(1)));
    EXPECT_FALSE(readResource(Encoder(mutable2).u4(6).u4(domain | 1U << 28).u2(1)));
    // Sequences with every code that says their size: 4, and 5 to 7 in units.
    for (const uint32_t code : {5U, 6U, 7U}) {
        const uint32_t unit = code == 5 ? 1 : code == 6 ? 4 : 8;
        Encoder encoder(mutable2);
        // A sequence of 2 longs; with code 5 the count says 2 bytes, with 7 it says 16.
        encoder.u4(4 + 4 + 2 * unit).u4(12 | code << 28).u4(2);
        for (uint32_t i = 0; i < 2 * unit; ++i)
            encoder.u1(i);
        EXPECT_EQ(readResource(encoder), code != 5) << code;
    }
    EXPECT_TRUE(readResource(Encoder(mutable2).u4(20).u4(12 | 4U << 28).u4(12).u4(2).u4(8).u4(9)));
    EXPECT_EQ(DDS_LongSeq_get(resource.longs, 1), 9);
    EXPECT_FALSE(readResource(Encoder(mutable2).u4(8).u4(12 | 7U << 28).u4(0xFFFFFFFF))); // 32 GB
    // Unknown, and must be understood.
    EXPECT_FALSE(readResource(Encoder(mutable2).u4(8).u4(0x80000000 | 0x77 | 2U << 28).u4(1)));
    EXPECT_TRUE(readResource(Encoder(mutable2).u4(8).u4(0x80000000 | domain | 2U << 28).u4(1)));
    EXPECT_FALSE(readResource(Encoder(mutable2).u4(8).u4(flag | 2U << 28).u4(0x02020202)));
}

TEST(Hostile, UnionsWithoutTheLabelSelectNothing) {
    tt::OwnedValue owned(&tt::updateType);
    auto& update = owned.as<tt::Update>();
    update._d = 1;
    update._u.deletion.guid[0] = 5;
    EXPECT_TRUE(read(&tt::updateType, &update, Encoder(delimited2).u4(8).u4(77).u4(0x11111111)));
    EXPECT_EQ(update._d, 77);
    EXPECT_EQ(update._u.deletion.guid[0], 0);
    EXPECT_TRUE(read(&tt::updateType, &update, Encoder(delimited2).u4(0)));
    EXPECT_EQ(update._d, -7); // the default
    EXPECT_FALSE(read(&tt::updateType, &update, Encoder(delimited2).u4(2).u2(1)));
    tt::OwnedValue choice(&tt::choiceType);
    EXPECT_TRUE(
        read(&tt::choiceType, choice.get(), Encoder(plain2).u4(1).u4(2).text({'x', 0}))); // the default arm
    EXPECT_STREQ(choice.as<tt::Choice>()._u.other, "x");
    EXPECT_FALSE(
        read(&tt::choiceType, choice.get(), Encoder(plain2).u4(3).u4(2).text({'x', 0}))); // no enumerator
}

TEST(Hostile, OptionalMembersOfXcdr1AreParameters) {
    tt::OwnedValue owned(&tt::messageType);
    auto& message = owned.as<tt::Message>();
    const auto head = [] {
        Encoder encoder(plain1);
        encoder.u4(1).u4(0).u1(2).align(4).u4(1).align(8).u4(3).u4(0).u4(4);
        return encoder;
    };
    const auto tail = [](Encoder& encoder) -> Encoder& {
        return encoder.align(4).u4(1).u1(0).align(4).u4(1).u1(0).align(4).u4(0);
    };
    // host has a large id: the extended header; the others have short ones, absent with size 0.
    Encoder good = head();
    good.u2(0x3F01)
        .u2(8)
        .u4(0x4001)
        .u4(7)
        .u4(3)
        .text({'h', 'i', 0})
        .align(4)
        .u2(5)
        .u2(0)
        .u2(6)
        .u2(4)
        .u4(99)
        .u2(7)
        .u2(0);
    EXPECT_TRUE(read(&tt::messageType, &message, tail(good)));
    EXPECT_STREQ(message.host, "hi");
    EXPECT_EQ(message.application, nullptr);
    ASSERT_NE(message.process, nullptr);
    EXPECT_EQ(*message.process, 99);
    Encoder padded = head(); // sizes that are padded to 4, and an extended header for a small id
    padded.u2(0x7F01).u2(8).u4(0x40004001).u4(8).u4(3).text({'h', 'o', 0}).align(4);
    padded.u2(0x3F01).u2(8).u4(5).u4(0).u2(0x4006).u2(4).u4(98).u2(7).u2(0);
    EXPECT_TRUE(read(&tt::messageType, &message, tail(padded)));
    EXPECT_STREQ(message.host, "ho");
    EXPECT_EQ(*message.process, 98);
    Encoder other = head(); // another member's parameter
    other.u2(9).u2(0).u2(5).u2(0).u2(6).u2(0).u2(7).u2(0);
    EXPECT_FALSE(read(&tt::messageType, &message, tail(other)));
    Encoder beyond = head();
    beyond.u2(0x3F01).u2(8).u4(0x4001).u4(0xFFFFFFFF);
    EXPECT_FALSE(read(&tt::messageType, &message, tail(beyond)));
}

TEST(Hostile, MutableTypesOfXcdr1AreParameterLists) {
    tt::OwnedValue owned(&tt::resourceType);
    auto& resource = owned.as<tt::Resource>();
    const auto readResource = [&](const Encoder& encoder) {
        return read(&tt::resourceType, &resource, encoder);
    };
    EXPECT_TRUE(readResource(Encoder(mutable1).u2(1).u2(4).u4(42).u2(0x3F02).u2(0)));
    ASSERT_NE(resource.domain, nullptr);
    EXPECT_EQ(*resource.domain, 42);
    EXPECT_TRUE(readResource(Encoder(mutable1).u2(0x7F02).u2(0))); // the end with its flag
    EXPECT_EQ(resource.domain, nullptr);
    // Alignment counts from the parameter's value; 8 bytes at offset 4 of the stream.
    EXPECT_TRUE(readResource(
        Encoder(mutable1).u2(10).u2(8).u4(7).u4(0).u2(15).u2(2).u2(5).align(4).u2(0x3F02).u2(0)));
    EXPECT_EQ(*resource.process, 7U);
    EXPECT_EQ(*resource.narrow, 5);
    EXPECT_FALSE(readResource(Encoder(mutable1).u2(1).u2(4).u4(42))); // no end
    EXPECT_FALSE(readResource(Encoder(mutable1).u2(1).u2(4).u4(1).u2(1).u2(4).u4(2).u2(0x3F02).u2(0)));
    EXPECT_TRUE(readResource(Encoder(mutable1).u2(0x55).u2(4).u4(1).u2(0x3F02).u2(0))); // unknown
    EXPECT_FALSE(
        readResource(Encoder(mutable1).u2(0x4055).u2(4).u4(1).u2(0x3F02).u2(0))); // must be understood
    EXPECT_TRUE(readResource(Encoder(mutable1).u2(0x7F03).u2(4).u4(1).u2(0x3F02).u2(0))); // to be ignored
    EXPECT_TRUE(
        readResource(Encoder(mutable1).u2(0x8001).u2(4).u4(1).u2(0x3F02).u2(0))); // an implementation's own
    EXPECT_EQ(resource.domain, nullptr);
    EXPECT_FALSE(readResource(Encoder(mutable1).u2(0x3F01).u2(4).u4(1).u2(0x3F02).u2(0)));
    EXPECT_FALSE(readResource(Encoder(mutable1).u2(1).u2(400).u4(1).u2(0x3F02).u2(0)));
}

// A value of more than 65535 bytes needs the extended header, which is known only after it was written.
TEST(Hostile, LargeParametersTravel) {
    tt::OwnedValue owned(&tt::resourceType), back(&tt::resourceType);
    auto& resource = owned.as<tt::Resource>();
    resource.doubles = static_cast<tt::DoubleSeq*>(DDS_Type_create_data(&tt::doubleSeqType));
    const DDS_SequenceElement doubles = {sizeof(double), &DDS_g_type_double, nullptr, nullptr, nullptr};
    ASSERT_TRUE(
        DDS_SequenceBase_set_length(&doubles, reinterpret_cast<DDS_SequenceBase*>(resource.doubles), 20000));
    for (int i = 0; i < 20000; ++i)
        resource.doubles->_contiguous_buffer[i] = i;
    resource.name = DDS_String_dup("after it");
    const Bytes bytes = serialize(&tt::resourceType, &resource, DDS_XCDR_DATA_REPRESENTATION);
    EXPECT_TRUE(read(&tt::resourceType, back.get(), bytes));
    EXPECT_TRUE(DDS_Type_equals(&tt::resourceType, &resource, back.get()));
}

TEST(Hostile, NullReferencesDoNotSerialize) {
    tt::OwnedValue owned(&tt::logType);
    auto& log = owned.as<tt::Log>();
    log.update = static_cast<tt::MessageReferenceSeq*>(DDS_Type_create_data(&tt::messageReferenceSeqType));
    const DDS_SequenceElement element = {8, &tt::messageReferenceType, nullptr, nullptr, nullptr};
    auto* sequence = reinterpret_cast<DDS_SequenceBase*>(log.update);
    ASSERT_TRUE(DDS_SequenceBase_set_element_pointers_allocation(sequence, DDS_BOOLEAN_FALSE));
    ASSERT_TRUE(DDS_SequenceBase_set_length(&element, sequence, 1));
    DDS_UnsignedLong length = 0;
    EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer(&tt::logType, nullptr, &length, &log));
    char buffer[256];
    length = sizeof buffer;
    EXPECT_FALSE(DDS_Type_serialize_to_cdr_buffer(&tt::logType, buffer, &length, &log));
    // A reference to somebody else's message serializes, and is not freed with the sequence.
    tt::OwnedValue message(&tt::messageType);
    log.update->_contiguous_buffer[0] = &message.as<tt::Message>();
    const Bytes bytes = serialize(&tt::logType, &log, DDS_AUTO_DATA_REPRESENTATION);
    tt::OwnedValue back(&tt::logType);
    EXPECT_TRUE(read(&tt::logType, back.get(), bytes));
    EXPECT_TRUE(DDS_Type_equals(&tt::logType, &log, back.get()));
    // So does a copy into another such sequence.
    tt::MessageReferenceSeq copy{};
    auto* other = reinterpret_cast<DDS_SequenceBase*>(&copy);
    ASSERT_TRUE(DDS_SequenceBase_set_element_pointers_allocation(other, DDS_BOOLEAN_FALSE));
    ASSERT_TRUE(DDS_SequenceBase_copy(&element, other, sequence));
    EXPECT_EQ(copy._contiguous_buffer[0], &message.as<tt::Message>());
    EXPECT_TRUE(DDS_SequenceBase_finalize(&element, other));
}

} // namespace
