// Life of values over descriptors: defaults, copies, arenas, failing allocations, printing.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "HeapFault.hpp"
#include "RandomValue.hpp"
#include "TestTypes.hpp"
#include "middleware/types/Programs.hpp"

namespace {

class Arena {
public:
    Arena() {
        const REDAInlineMemoryProperty property = {1024, 2147483647, 50, 0, 0,
            REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
            REDAInlineMemoryLowerLevelAllocator_mallocFree, nullptr};
        memory = REDAInlineMemory_new(&property);
    }
    ~Arena() { REDAInlineMemory_delete(memory); }
    unsigned live() const {
        REDAInlineMemoryInfo info;
        REDAInlineMemory_getInfo(memory, &info);
        return info.liveBuffers;
    }
    REDAInlineMemory* memory;
};

std::string print(const DDS_TypeDescriptor* type, const void* value) {
    DDS_UnsignedLong size = 0;
    EXPECT_TRUE(DDS_Type_data_to_string(type, value, nullptr, &size));
    std::string text(size, '\0');
    EXPECT_TRUE(DDS_Type_data_to_string(type, value, text.data(), &size));
    text.resize(size - 1);
    return text;
}

TEST(Value, NewValueHasItsDefaults) {
    tt::OwnedValue owned(&tt::eventType);
    const auto& event = owned.as<tt::Event>();
    EXPECT_EQ(event.epoch, 0U);
    EXPECT_FALSE(event.snapshot);
    EXPECT_EQ(event.value._d, 46964057U); // the lowest label
    EXPECT_EQ(event.value._u.resource.guid, nullptr);
    EXPECT_EQ(event.value._u.resource.platform, nullptr);
    EXPECT_STREQ(event.value._u.required.text, "");
    EXPECT_STREQ(event.value._u.required.choice._u.other, "");
    tt::OwnedValue update(&tt::updateType);
    EXPECT_EQ(update.as<tt::Update>()._d, -7);
}

TEST(Value, DefaultsOfMembersAreKept) {
    struct Defaults {
        DDS_Long number;
        DDS_Boolean truth;
        DDS_Float real;
        DDS_Double wide;
        char* text;
        tt::Level level;
        DDS_OctetSeq bounded;
    };
    tt::Type seq(DDS_TYPE_SEQUENCE, "", sizeof(DDS_OctetSeq), alignof(DDS_OctetSeq), DDS_TYPE_FINAL);
    seq.element(DDS_g_type_octet, 24);
    tt::Type type(DDS_TYPE_STRUCT, "Defaults", sizeof(Defaults), alignof(Defaults), DDS_TYPE_MUTABLE);
    DDS_TypeMember members[] = {
        tt::Type::member("number", 0, offsetof(Defaults, number), DDS_g_type_long),
        tt::Type::member("truth", 1, offsetof(Defaults, truth), DDS_g_type_boolean),
        tt::Type::member("real", 2, offsetof(Defaults, real), DDS_g_type_float),
        tt::Type::member("wide", 3, offsetof(Defaults, wide), DDS_g_type_double),
        tt::Type::member("text", 4, offsetof(Defaults, text), DDS_g_type_string),
        tt::Type::member("level", 5, offsetof(Defaults, level), tt::levelType),
        tt::Type::member("bounded", 6, offsetof(Defaults, bounded), seq),
    };
    members[0].defaultInteger = -5;
    members[1].defaultInteger = 1;
    members[2].defaultReal = 1.5;
    members[3].defaultReal = -2.25;
    members[4].defaultText = "unset";
    members[5].defaultInteger = tt::LEVEL_HIGH;
    type.members({members[0], members[1], members[2], members[3], members[4], members[5], members[6]});
    {
        tt::OwnedValue owned(&type);
        auto& value = owned.as<Defaults>();
        const auto check = [&value] {
            EXPECT_EQ(value.number, -5);
            EXPECT_EQ(value.truth, DDS_BOOLEAN_TRUE);
            EXPECT_EQ(value.real, 1.5F);
            EXPECT_EQ(value.wide, -2.25);
            EXPECT_STREQ(value.text, "unset");
            EXPECT_EQ(value.level, tt::LEVEL_HIGH);
            EXPECT_EQ(DDS_OctetSeq_get_length(&value.bounded), 0);
            EXPECT_FALSE(DDS_OctetSeq_set_length(&value.bounded, 25)); // at most 24
        };
        check();
        tt::RandomValue(1).fill(&type, owned.get());
        // What the bytes do not have gets its default.
        const char empty[] = {0, 0x0B, 0, 0, 0, 0, 0, 0};
        EXPECT_TRUE(DDS_Type_deserialize_from_cdr_buffer(&type, owned.get(), empty, sizeof empty));
        check();
        tt::RandomValue(2).fill(&type, owned.get());
        EXPECT_TRUE(DDS_Type_initialize_ex(&type, owned.get(), DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE));
        check();
    }
    DDS_Type_finalize_programs(); // the descriptors go before they would
}

TEST(Value, ParametersSayWhatIsMade) {
    const DDS_TypeAllocationParams_t everything = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE};
    auto* resource =
        static_cast<tt::Resource*>(DDS_Type_create_data_w_params(&tt::resourceType, &everything));
    ASSERT_NE(resource, nullptr);
    ASSERT_NE(resource->guid, nullptr);
    ASSERT_NE(resource->platform, nullptr);
    EXPECT_STREQ(resource->platform, "");
    ASSERT_NE(resource->change, nullptr);
    EXPECT_EQ(resource->change->_d, -7);
    DDS_Type_finalize_optional_members(&tt::resourceType, resource, DDS_BOOLEAN_TRUE);
    EXPECT_EQ(resource->guid, nullptr);
    EXPECT_EQ(resource->platform, nullptr);
    DDS_Type_destroy_data(&tt::resourceType, resource);

    tt::MessageReference reference = nullptr;
    EXPECT_TRUE(
        DDS_Type_initialize_ex(&tt::messageReferenceType, &reference, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE));
    EXPECT_EQ(reference, nullptr);
    EXPECT_TRUE(DDS_Type_initialize(&tt::messageReferenceType, &reference));
    ASSERT_NE(reference, nullptr);
    EXPECT_STREQ(reference->id, "");
    tt::MessageReference kept = reference;
    DDS_Type_finalize_ex(&tt::messageReferenceType, &reference, DDS_BOOLEAN_FALSE);
    EXPECT_EQ(reference, kept); // the pointer is somebody else's
    DDS_Type_finalize(&tt::messageReferenceType, &reference);
    EXPECT_EQ(reference, nullptr);
}

TEST(Value, CopyIsEqualDeepAndUsesMemoryAgain) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(1);
        tt::OwnedValue copy(type);
        for (int round = 0; round < 40; ++round) {
            tt::OwnedValue value(type);
            random.fill(type, value.get());
            ASSERT_TRUE(DDS_Type_copy(type, copy.get(), value.get()));
            EXPECT_TRUE(DDS_Type_equals(type, value.get(), copy.get())) << type->name;
            EXPECT_EQ(print(type, value.get()), print(type, copy.get()));
            EXPECT_TRUE(DDS_Type_copy(type, copy.get(), copy.get()));
            HeapFault heap;
            ASSERT_TRUE(DDS_Type_copy(type, copy.get(), value.get()));
            EXPECT_EQ(heap.count(), 0) << type->name; // all that is needed is there
        }
    }
}

TEST(Value, EqualsSeesEveryMember) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::RandomValue random(2);
        int different = 0;
        for (int round = 0; round < 20; ++round) {
            tt::OwnedValue left(type), right(type);
            random.fill(type, left.get());
            random.fill(type, right.get());
            different += !DDS_Type_equals(type, left.get(), right.get());
            EXPECT_EQ(print(type, left.get()) == print(type, right.get()),
                DDS_Type_equals(type, left.get(), right.get()) != 0)
                << type->name;
        }
        EXPECT_GT(different, 0) << type->name;
    }
    tt::OwnedValue value(&tt::plainType);
    EXPECT_FALSE(DDS_Type_equals(&tt::plainType, value.get(), nullptr));
    EXPECT_TRUE(DDS_Type_equals(&tt::plainType, nullptr, nullptr));
}

TEST(Value, ChangeOfTheArmResetsTheOldOne) {
    tt::OwnedValue first(&tt::updateType), second(&tt::updateType);
    auto& to = first.as<tt::Update>();
    auto& from = second.as<tt::Update>();
    to._d = 0;
    DDS_String_replace(&to._u.creation.name, "a name");
    DDS_UnsignedLongSeq_set_length(&to._u.creation.metrics, 3);
    from._d = 1;
    from._u.deletion.guid[0] = 9;
    ASSERT_TRUE(DDS_Type_copy(&tt::updateType, &to, &from));
    EXPECT_EQ(to._d, 1);
    EXPECT_EQ(to._u.deletion.guid[0], 9);
    EXPECT_STREQ(to._u.creation.name, "");
    EXPECT_EQ(DDS_UnsignedLongSeq_get_length(&to._u.creation.metrics), 0);
    from._d = 5; // no arm
    ASSERT_TRUE(DDS_Type_copy(&tt::updateType, &to, &from));
    EXPECT_EQ(to._u.deletion.guid[0], 0);
    EXPECT_TRUE(DDS_Type_equals(&tt::updateType, &to, &from));
    to._u.deletion.guid[3] = 7;
    EXPECT_TRUE(DDS_Type_equals(&tt::updateType, &to, &from)); // nothing is selected
}

TEST(Value, ZerosAreAValue) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        const std::vector<long long> zeros(type->size / 8 + 1);
        std::vector<long long> copy(zeros);
        tt::OwnedValue owned(type);
        tt::RandomValue(3).fill(type, owned.get());
        EXPECT_TRUE(DDS_Type_copy(type, owned.get(), zeros.data())) << type->name;
        EXPECT_TRUE(DDS_Type_equals(type, owned.get(), zeros.data())) << type->name;
        DDS_UnsignedLong length = 0;
        EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(type, nullptr, &length, zeros.data())) << type->name;
        print(type, zeros.data());
        DDS_Type_finalize(type, copy.data());
    }
}

TEST(Value, EveryFailingAllocationLeavesNothingBehind) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::OwnedValue source(type);
        tt::RandomValue random(4);
        for (int round = 0; round < 3; ++round)
            random.fill(type, source.get());
        DDS_Type_finalize_programs();
        bool done = false;
        for (int n = 1; !done && n < 2000; ++n) {
            HeapFault heap(n);
            std::vector<long long> memory(type->size / 8 + 1);
            const bool made = DDS_Type_prepare(type) && DDS_Type_initialize(type, memory.data());
            const bool copied = made && DDS_Type_copy(type, memory.data(), source.get());
            const bool again = copied && DDS_Type_initialize_ex(type, memory.data(), 1, 0);
            if (made)
                print(type, memory.data()); // still a value
            done = !heap.failed();
            EXPECT_EQ(done, made && copied && again) << type->name << " at " << n;
            if (made || DDS_Type_prepare(type))
                DDS_Type_finalize(type, memory.data());
            DDS_Type_finalize_programs();
            EXPECT_EQ(heap.leaked(), 0) << type->name << " at " << n;
        }
        EXPECT_TRUE(done) << type->name;
    }
}

TEST(Value, ArenaFormsUseNoHeapAndReleaseAll) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        Arena arena;
        tt::RandomValue random(5);
        for (int round = 0; round < 10; ++round) {
            tt::OwnedValue source(type);
            random.fill(type, source.get());
            const ORX_UINT64 heapBuffers = ORXOsapiHeap_getLiveBufferCount();
            REDAInlineMemoryInfo before, after;
            REDAInlineMemory_getInfo(arena.memory, &before);
            void* value = REDAInlineMemory_reserveBufferI(
                &arena.memory, static_cast<REDAInlineMemorySize>(type->size), 1);
            ASSERT_TRUE(DDS_Type_initialize_w_memory_manager(type, value, &arena.memory));
            ASSERT_TRUE(DDS_Type_copy_w_memory_manager(type, value, &arena.memory, source.get()));
            EXPECT_TRUE(DDS_Type_equals(type, value, source.get())) << type->name;
            ASSERT_TRUE(DDS_Type_copy_w_memory_manager(type, value, &arena.memory, source.get()));
            REDAInlineMemory_getInfo(arena.memory, &after);
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount() - heapBuffers, after.blocks - before.blocks)
                << type->name;
            DDS_Type_finalize_w_memory_manager(type, value);
            EXPECT_TRUE(REDAInlineMemBuffer_release(value));
            EXPECT_EQ(arena.live(), 0U) << type->name;
        }
    }
}

TEST(Value, ArenaAtItsEndFailsAndReleasesAll) {
    for (const DDS_TypeDescriptor* type : tt::allTypes()) {
        tt::OwnedValue source(type);
        tt::RandomValue(6).fill(type, source.get());
        std::vector<long long> memory(type->size / 8 + 1);
        bool done = false;
        for (REDAInlineMemorySize size = 64; !done && size < 1 << 20; size += size / 4) {
            const REDAInlineMemoryProperty property = {size, size, 50, 1, 0,
                REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
                REDAInlineMemoryLowerLevelAllocator_mallocFree, nullptr};
            REDAInlineMemory* arena = REDAInlineMemory_new(&property);
            if (arena == nullptr)
                continue;
            const bool made = DDS_Type_initialize_w_memory_manager(type, memory.data(), &arena);
            done = made && DDS_Type_copy_w_memory_manager(type, memory.data(), &arena, source.get());
            DDS_Type_finalize_w_memory_manager(type, memory.data());
            REDAInlineMemoryInfo info;
            REDAInlineMemory_getInfo(arena, &info);
            EXPECT_EQ(info.liveBuffers, 0U) << type->name << " with " << size;
            REDAInlineMemory_delete(arena);
        }
        EXPECT_TRUE(done) << type->name;
    }
}

TEST(Value, APlainTypeIsOneCopy) {
    EXPECT_TRUE(zdds::types::shapeOf(&tt::percentType)->isPlain());
    EXPECT_TRUE(zdds::types::shapeOf(&tt::plainType)->isPlain());
    EXPECT_FALSE(zdds::types::shapeOf(&tt::pairType)->isPlain());
    // Neighbours that are plain are one operation: the head of a message, and the four pointers one each.
    const zdds::types::Shape* shape = zdds::types::shapeOf(&tt::messageType);
    EXPECT_EQ(shape->opCount - shape->ownerCount, 1U);
}

TEST(Value, AccessInfoHasAnEntryForEachMemberAndTheDiscriminator) {
    const ORXXCdrSampleAccessInfo* info = DDS_Type_get_sample_access_info(&tt::updateType);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->isInitialized, 1);
    EXPECT_EQ(info->memberCount, 4U);
    EXPECT_EQ(info->sampleSize, sizeof(tt::Update));
    EXPECT_EQ(info->memberAccessInfos[0].offset, offsetof(tt::Update, _d));
    EXPECT_EQ(info->memberAccessInfos[1].offset, offsetof(tt::Update, _u.creation));
    EXPECT_EQ(DDS_Type_get_sample_access_info(&tt::updateType), info);
    const ORXXCdrSampleAccessInfo* resource = DDS_Type_get_sample_access_info(&tt::resourceType);
    ASSERT_NE(resource, nullptr);
    EXPECT_EQ(resource->memberCount, 18U);
    EXPECT_TRUE(resource->memberAccessInfos[1].isPointer);
    EXPECT_EQ(DDS_Type_get_sample_access_info(&tt::levelType), nullptr);
    EXPECT_EQ(DDS_Type_get_sample_access_info(&DDS_g_type_string), nullptr);
}

TEST(Value, EnumerationsAndPrimitivesAreTypesToo) {
    DDS_Long number = 77;
    EXPECT_TRUE(DDS_Type_initialize(&DDS_g_type_long, &number));
    EXPECT_EQ(number, 0);
    tt::Level level = tt::LEVEL_HIGH, copy;
    EXPECT_TRUE(DDS_Type_initialize(&tt::levelType, &copy));
    EXPECT_EQ(copy, tt::LEVEL_LOW);
    EXPECT_TRUE(DDS_Type_copy(&tt::levelType, &copy, &level));
    EXPECT_EQ(copy, tt::LEVEL_HIGH);
    DDS_Type_finalize(&tt::levelType, &copy);
    tt::Guid guid = {1, 2, 3}, other;
    EXPECT_TRUE(DDS_Type_copy(&tt::guidType, &other, &guid));
    EXPECT_EQ(std::memcmp(guid, other, sizeof guid), 0);
    char* text = nullptr;
    EXPECT_TRUE(DDS_Type_initialize(&DDS_g_type_string, &text));
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(DDS_Type_finalize_w_return(&DDS_g_type_string, &text));
}

TEST(Value, NullArgumentsFail) {
    DDS_Long number = 0;
    EXPECT_FALSE(DDS_Type_initialize(nullptr, &number));
    EXPECT_FALSE(DDS_Type_initialize(&DDS_g_type_long, nullptr));
    EXPECT_FALSE(DDS_Type_copy(&DDS_g_type_long, &number, nullptr));
    EXPECT_FALSE(DDS_Type_initialize_w_memory_manager(&DDS_g_type_long, &number, nullptr));
    EXPECT_FALSE(DDS_Type_finalize_w_return(&DDS_g_type_long, nullptr));
    EXPECT_EQ(DDS_Type_create_data(nullptr), nullptr);
    EXPECT_FALSE(DDS_Type_prepare(nullptr));
    DDS_Type_destroy_data(&DDS_g_type_long, nullptr);
    DDS_Type_finalize(nullptr, nullptr);
}

TEST(Value, TypesThatCannotBeServedAreRefused) {
    // A structure of itself, by way of a sequence.
    struct Node {
        DDS_LongSeq children;
    };
    tt::Type children(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
    tt::Type node(DDS_TYPE_STRUCT, "Node", sizeof(Node), alignof(Node), DDS_TYPE_FINAL);
    children.element(node);
    node.members({tt::Type::member("children", 0, 0, children)});
    EXPECT_FALSE(DDS_Type_prepare(&node));
    // A member outside of its structure, and a union that is mutable.
    tt::Type outside(DDS_TYPE_STRUCT, "Outside", 8, 8, DDS_TYPE_FINAL);
    outside.members({tt::Type::member("far", 0, 5, DDS_g_type_long)});
    EXPECT_FALSE(DDS_Type_prepare(&outside));
    tt::Type mutableUnion(DDS_TYPE_UNION, "MutableUnion", 8, 4, DDS_TYPE_MUTABLE);
    mutableUnion.arms(DDS_g_type_long, 0, 0, {tt::Type::member("a", 1, 4, DDS_g_type_long)}).labels(0, {0});
    EXPECT_FALSE(DDS_Type_prepare(&mutableUnion));
    tt::Type unordered(DDS_TYPE_ENUM, "Unordered", 4, 4, DDS_TYPE_FINAL);
    unordered.literals({{"B", 2}, {"A", 1}});
    EXPECT_FALSE(DDS_Type_prepare(&unordered));
    DDS_Type_finalize_programs();
}

TEST(Value, FirstUsesOfManyThreadsMakeOneProgram) {
    for (int round = 0; round < 20; ++round) {
        DDS_Type_finalize_programs();
        std::vector<std::thread> threads;
        const DDS_TypePrograms* programs[4];
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([i, &programs] {
                programs[i] = DDS_Type_get_programs(&tt::eventType);
                tt::OwnedValue value(&tt::eventType), copy(&tt::eventType);
                tt::RandomValue(7).fill(&tt::eventType, value.get());
                EXPECT_TRUE(DDS_Type_copy(&tt::eventType, copy.get(), value.get()));
                EXPECT_NE(DDS_Type_get_sample_access_info(&tt::valueType), nullptr);
            });
        for (std::thread& thread : threads)
            thread.join();
        for (int i = 1; i < 4; ++i)
            EXPECT_EQ(programs[i], programs[0]);
    }
}

TEST(Print, OneLineForEachLeaf) {
    tt::OwnedValue owned(&tt::eventType);
    auto& event = owned.as<tt::Event>();
    event.guid[15] = 0xAB;
    event.epoch = 18446744073709551615ULL;
    event.snapshot = DDS_BOOLEAN_TRUE;
    auto& resource = event.value._u.resource;
    resource.level = static_cast<tt::Level*>(DDS_Type_create_data(&tt::levelType));
    *resource.level = tt::LEVEL_HIGH;
    resource.name = DDS_String_dup("a \"quote\"\n\x1B[31m");
    resource.names = static_cast<DDS_StringSeq*>(DDS_Type_create_data(&tt::stringSeqType));
    DDS_StringSeq_set_length(resource.names, 1);
    resource.longs = static_cast<DDS_LongSeq*>(DDS_Type_create_data(&tt::longSeqType));
    EXPECT_EQ(print(&tt::eventType, &event), "guid: 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, "
                                             "0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xAB\n"
                                             "epoch: 18446744073709551615\n"
                                             "snapshot: true\n"
                                             "value:\n"
                                             "    _d: 46964057\n"
                                             "    resource:\n"
                                             "        level: LEVEL_HIGH\n"
                                             "        longs: 0 elements\n"
                                             "        names: 1 element\n"
                                             "            [0]: \"\"\n"
                                             "        name: \"a \\x22quote\\x22\\x0A\\x1B[31m\"\n");
}

TEST(Print, TextIsCutAndTerminatedWhenItDoesNotFit) {
    tt::OwnedValue owned(&tt::percentType);
    DDS_UnsignedLong needed = 0;
    ASSERT_TRUE(DDS_Type_data_to_string(&tt::percentType, owned.get(), nullptr, &needed));
    for (DDS_UnsignedLong room = 0; room < needed; ++room) {
        std::string text(room + 1, '#');
        DDS_UnsignedLong size = room;
        EXPECT_FALSE(DDS_Type_data_to_string(&tt::percentType, owned.get(), text.data(), &size));
        EXPECT_EQ(size, needed);
        EXPECT_EQ(text[room], '#');
        if (room > 0) {
            EXPECT_EQ(text[room - 1], '\0');
        }
    }
}

TEST(Print, PrintDataWritesToTheStandardOutput) {
    tt::OwnedValue owned(&tt::timeType);
    testing::internal::CaptureStdout();
    DDS_Type_print_data(&tt::timeType, owned.get(), "stamp", 1);
    DDS_Type_print_data(&tt::timeType, owned.get(), nullptr, 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
        "    stamp:\n        sec: 0\n        nanosec: 0\nsec: 0\nnanosec: 0\n");
}

TEST(TypePlugin, DrivesTheEngine) {
    const DDS_TypePlugin plugin = {&tt::messageType, "tt::Message", PRES_TYPEPLUGIN_NO_KEY};
    void* sample = DDS_TypePlugin_create_sample(&plugin);
    void* copy = DDS_TypePlugin_create_sample(&plugin);
    ASSERT_NE(sample, nullptr);
    tt::RandomValue(8).fill(&tt::messageType, sample);
    EXPECT_EQ(DDS_TypePlugin_get_sample_size(&plugin), sizeof(tt::Message));
    EXPECT_TRUE(DDS_TypePlugin_copy_sample(&plugin, copy, sample));
    const size_t size =
        PRESTypePlugin_interpretedGetSerializedSampleSize(&plugin, DDS_XCDR2_DATA_REPRESENTATION, sample);
    size_t length = 0;
    EXPECT_TRUE(PRESTypePlugin_interpretedSerialize(
        &plugin, nullptr, &length, DDS_XCDR2_DATA_REPRESENTATION, sample));
    EXPECT_EQ(length, size);
    std::vector<char> bytes(size);
    EXPECT_TRUE(PRESTypePlugin_interpretedSerialize(
        &plugin, bytes.data(), &length, DDS_XCDR2_DATA_REPRESENTATION, sample));
    EXPECT_TRUE(PRESTypePlugin_interpretedDeserialize(&plugin, copy, bytes.data(), bytes.size()));
    EXPECT_TRUE(DDS_Type_equals(&tt::messageType, sample, copy));
    EXPECT_EQ(PRESTypePlugin_interpretedGetSerializedSampleMaxSize(&plugin, DDS_XCDR2_DATA_REPRESENTATION),
        2147483647U);
    EXPECT_EQ(PRESTypePlugin_interpretedGetSerializedKeyMaxSize(&plugin, DDS_XCDR2_DATA_REPRESENTATION), 0U);
    EXPECT_EQ(
        PRESTypePlugin_interpretedGetSerializedKeyMaxSizeForKeyhash(&plugin, DDS_XCDR2_DATA_REPRESENTATION),
        0U);
    EXPECT_TRUE(PRESTypePlugin_interpretedDeserializeKey(&plugin, copy, bytes.data(), 0));
    DDS_TypePlugin_delete_sample(&plugin, sample);
    DDS_TypePlugin_delete_sample(&plugin, copy);
}

TEST(MaximumSize, IsReachedByTheLargestValue) {
    EXPECT_EQ(DDS_Type_get_serialized_sample_max_size(&tt::messageType, DDS_XCDR2_DATA_REPRESENTATION),
        2147483647U);
    EXPECT_EQ(DDS_Type_get_serialized_sample_max_size(&tt::messageType, DDS_XML_DATA_REPRESENTATION), 0U);
    for (const DDS_TypeDescriptor* type : {&tt::versionType, &tt::timeType, &tt::percentType,
             &tt::floatStatType, &tt::deletionType, &tt::plainType}) {
        tt::OwnedValue value(type);
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            DDS_UnsignedLong length = 0;
            ASSERT_TRUE(
                DDS_Type_serialize_to_cdr_buffer_ex(type, nullptr, &length, value.get(), representation));
            EXPECT_EQ(DDS_Type_get_serialized_sample_max_size(type, representation), length) << type->name;
        }
    }
    // Bounded collections: four words of five characters each.
    struct Words {
        DDS_StringSeq words;
    };
    tt::Type words(DDS_TYPE_STRUCT, "Words", sizeof(Words), alignof(Words), DDS_TYPE_MUTABLE);
    words.members({tt::Type::member("words", 7, 0, tt::wordSeqType)});
    Words value{};
    DDS_StringSeq_set_length(&value.words, 4);
    for (int i = 0; i < 4; ++i)
        DDS_String_replace(DDS_StringSeq_get_reference(&value.words, i), "12345");
    for (const DDS_UnsignedShort representation :
        {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION}, DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
        DDS_UnsignedLong length = 0;
        ASSERT_TRUE(DDS_Type_serialize_to_cdr_buffer_ex(&words, nullptr, &length, &value, representation));
        EXPECT_GE(DDS_Type_get_serialized_sample_max_size(&words, representation), length);
        EXPECT_LE(DDS_Type_get_serialized_sample_max_size(&words, representation), length + 12);
    }
    DDS_Type_finalize(&words, &value);
    DDS_Type_finalize_programs();
}

} // namespace
