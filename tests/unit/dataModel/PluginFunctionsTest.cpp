// The generated functions of plug-in support, plug-ins and type support, each of them called for each type.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "RandomValue.hpp"
#include "orxmonitoring2d/schema_types.h"

namespace {

constexpr DDS_TypeAllocationParams_t allocation = DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
constexpr DDS_TypeDeallocationParams_t deallocation = DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;

template <typename T> struct PluginFunctions {
    T* (*create_data)(void);
    T* (*create_data_ex)(DDS_Boolean);
    T* (*create_data_w_params)(const DDS_TypeAllocationParams_t*);
    void (*destroy_data)(T*);
    void (*destroy_data_ex)(T*, DDS_Boolean);
    void (*destroy_data_w_params)(T*, const DDS_TypeDeallocationParams_t*);
    DDS_Boolean (*copy_data)(T*, const T*);
    void (*print_data)(const T*, const char*, DDS_UnsignedLong);
    DDS_UnsignedLong (*get_serialized_sample_max_size)(DDS_UnsignedShort);
    DDS_Boolean (*copy_sample)(T*, const T*);
    PRESTypePluginKeyKind (*get_key_kind)(void);
    DDS_UnsignedLong (*get_serialized_key_max_size)(DDS_UnsignedShort);
    DDS_UnsignedLong (*get_serialized_key_max_size_for_keyhash)(DDS_UnsignedShort);
};

template <typename T> struct SerializationFunctions {
    DDS_Boolean (*data_to_string)(const T*, char*, DDS_UnsignedLong*);
    DDS_Boolean (*deserialize_from_cdr_buffer)(T*, const char*, DDS_UnsignedLong);
    DDS_Boolean (*deserialize_key)(T*, const char*, DDS_UnsignedLong);
    const DDS_TypePrograms* (*get_programs)(void);
    DDS_Boolean (*serialize_to_cdr_buffer)(char*, DDS_UnsignedLong*, const T*);
    DDS_Boolean (*serialize_to_cdr_buffer_ex)(char*, DDS_UnsignedLong*, const T*, DDS_UnsignedShort);
};

template <typename T>
void checkPlugin(const PluginFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    ASSERT_TRUE(DDS_Type_prepare(&type)); // what the engine keeps is no leak
    const auto before = ORXOsapiHeap_getLiveBufferCount();
    T* original = functions.create_data();
    T* copy = functions.create_data_ex(DDS_BOOLEAN_TRUE);
    T* sample = functions.create_data_w_params(&allocation);
    ASSERT_TRUE(original != nullptr && copy != nullptr && sample != nullptr);
    RandomValue random(5);
    ASSERT_TRUE(random.fill(type, original));
    EXPECT_TRUE(functions.copy_data(copy, original));
    EXPECT_TRUE(DDS_Type_equals(&type, copy, original));
    EXPECT_TRUE(functions.copy_sample(sample, original));
    EXPECT_TRUE(DDS_Type_equals(&type, sample, original));
    testing::internal::CaptureStdout();
    functions.print_data(original, "the value", 0);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("the value"), std::string::npos);
    EXPECT_EQ(functions.get_key_kind(), PRES_TYPEPLUGIN_NO_KEY);
    EXPECT_GT(functions.get_serialized_sample_max_size(DDS_XCDR2_DATA_REPRESENTATION), 0U);
    EXPECT_EQ(functions.get_serialized_key_max_size(DDS_XCDR2_DATA_REPRESENTATION), 0U);
    EXPECT_EQ(functions.get_serialized_key_max_size_for_keyhash(DDS_XCDR2_DATA_REPRESENTATION), 0U);
    functions.destroy_data(original);
    functions.destroy_data_ex(copy, DDS_BOOLEAN_TRUE);
    functions.destroy_data_w_params(sample, &deallocation);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
}

template <typename T>
void checkSerialization(
    const SerializationFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    ASSERT_NE(functions.get_programs(), nullptr);
    EXPECT_EQ(functions.get_programs(), DDS_Type_get_programs(&type));
    T* original = static_cast<T*>(DDS_Type_create_data(&type));
    T* decoded = static_cast<T*>(DDS_Type_create_data(&type));
    RandomValue random(5);
    ASSERT_TRUE(random.fill(type, original));
    DDS_UnsignedLong length = 0;
    ASSERT_TRUE(functions.serialize_to_cdr_buffer(nullptr, &length, original));
    std::vector<char> bytes(length);
    ASSERT_TRUE(functions.serialize_to_cdr_buffer(bytes.data(), &length, original));
    ASSERT_EQ(length, bytes.size());
    ASSERT_TRUE(functions.deserialize_from_cdr_buffer(decoded, bytes.data(), length));
    EXPECT_TRUE(DDS_Type_equals(&type, original, decoded));
    ASSERT_TRUE(
        functions.serialize_to_cdr_buffer_ex(nullptr, &length, original, DDS_XCDR_DATA_REPRESENTATION));
    bytes.resize(length);
    ASSERT_TRUE(
        functions.serialize_to_cdr_buffer_ex(bytes.data(), &length, original, DDS_XCDR_DATA_REPRESENTATION));
    ASSERT_TRUE(functions.deserialize_from_cdr_buffer(decoded, bytes.data(), length));
    EXPECT_TRUE(DDS_Type_equals(&type, original, decoded));
    EXPECT_TRUE(functions.deserialize_key(decoded, bytes.data(), length));
    DDS_UnsignedLong size = 0;
    ASSERT_TRUE(functions.data_to_string(original, nullptr, &size));
    std::string text(size, '\0');
    EXPECT_TRUE(functions.data_to_string(original, text.data(), &size));
    --size;
    EXPECT_FALSE(functions.data_to_string(original, text.data(), &size)) << "does not fit";
    DDS_Type_destroy_data(&type, original);
    DDS_Type_destroy_data(&type, decoded);
}

TEST(PluginFunctions, WorkForEveryTypeButEnumerations) {
#define CHECK(T)                                                                                             \
    checkPlugin<T>(                                                                                          \
        {&T##PluginSupport_create_data, &T##PluginSupport_create_data_ex,                                    \
            &T##PluginSupport_create_data_w_params, &T##PluginSupport_destroy_data,                          \
            &T##PluginSupport_destroy_data_ex, &T##PluginSupport_destroy_data_w_params,                      \
            &T##PluginSupport_copy_data, &T##PluginSupport_print_data,                                       \
            &T##Plugin_get_serialized_sample_max_size, &T##Plugin_copy_sample, &T##Plugin_get_key_kind,      \
            &T##Plugin_get_serialized_key_max_size, &T##Plugin_get_serialized_key_max_size_for_keyhash},     \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_STRUCT(CHECK)
    ORX_SCHEMA_LIST_UNION(CHECK)
    ORX_SCHEMA_LIST_ALIAS(CHECK)
#undef CHECK
#define CHECK(T) EXPECT_GT(T##Plugin_get_serialized_sample_max_size(DDS_XCDR2_DATA_REPRESENTATION), 0U) << #T;
    ORX_SCHEMA_LIST_ENUM(CHECK)
#undef CHECK
}

TEST(PluginFunctions, SerializeEveryStructureAndUnion) {
#define CHECK(T)                                                                                             \
    checkSerialization<T>({&T##Plugin_data_to_string, &T##Plugin_deserialize_from_cdr_buffer,                \
                              &T##Plugin_deserialize_key, &T##Plugin_get_programs,                           \
                              &T##Plugin_serialize_to_cdr_buffer, &T##Plugin_serialize_to_cdr_buffer_ex},    \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_STRUCT(CHECK)
    ORX_SCHEMA_LIST_UNION(CHECK)
#undef CHECK
}

template <typename T> struct TopicPluginFunctions {
    const DDS_TypePlugin* (*new_)(void);
    void (*delete_)(const DDS_TypePlugin*);
    void (*finalize_optional_members)(T*, DDS_Boolean);
    const void* (*on_participant_attached)(const DDS_TypePlugin*);
    void (*on_participant_detached)(const void*);
    const void* (*on_endpoint_attached)(const void*);
    void (*on_endpoint_detached)(const void*);
    void (*return_sample)(const void*, T*);
};

template <typename T> struct TypeSupportFunctions {
    const char* (*get_type_name)(void);
    const DDS_TypeCode* (*get_typecode)(void);
    T* (*create_data)(void);
    T* (*create_data_ex)(DDS_Boolean);
    T* (*create_data_w_params)(const DDS_TypeAllocationParams_t*);
    DDS_ReturnCode_t (*delete_data)(T*);
    DDS_ReturnCode_t (*delete_data_ex)(T*, DDS_Boolean);
    DDS_ReturnCode_t (*delete_data_w_params)(T*, const DDS_TypeDeallocationParams_t*);
    DDS_ReturnCode_t (*initialize_data)(T*);
    DDS_ReturnCode_t (*initialize_data_ex)(T*, DDS_Boolean, DDS_Boolean);
    DDS_ReturnCode_t (*initialize_data_w_params)(T*, const DDS_TypeAllocationParams_t*);
    DDS_ReturnCode_t (*finalize_data)(T*);
    DDS_ReturnCode_t (*finalize_data_ex)(T*, DDS_Boolean);
    DDS_ReturnCode_t (*finalize_data_w_params)(T*, const DDS_TypeDeallocationParams_t*);
    DDS_ReturnCode_t (*copy_data)(T*, const T*);
    void (*print_data)(const T*);
    DDS_ReturnCode_t (*serialize)(char*, DDS_UnsignedLong*, const T*);
    DDS_ReturnCode_t (*serialize_ex)(char*, DDS_UnsignedLong*, const T*, DDS_UnsignedShort);
    DDS_ReturnCode_t (*deserialize)(T*, const char*, DDS_UnsignedLong);
    DDS_ReturnCode_t (*data_to_string)(const T*, char*, DDS_UnsignedLong*);
    void (*finalize)(void);
};

template <typename T>
void checkTopicPlugin(
    const TopicPluginFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    const auto* plugin = functions.new_();
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(plugin->type, &type);
    const void* participantData = functions.on_participant_attached(plugin);
    ASSERT_NE(participantData, nullptr);
    const void* endpointData = functions.on_endpoint_attached(participantData);
    ASSERT_NE(endpointData, nullptr);
    T* sample = static_cast<T*>(DDS_Type_create_data(&type));
    RandomValue random(3);
    ASSERT_TRUE(random.fill(type, sample));
    functions.finalize_optional_members(sample, DDS_BOOLEAN_TRUE);
    functions.return_sample(endpointData, sample);
    DDS_Type_destroy_data(&type, sample);
    functions.on_endpoint_detached(endpointData);
    functions.on_participant_detached(participantData);
    functions.delete_(plugin);
}

template <typename T>
void checkTypeSupport(
    const TypeSupportFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    ASSERT_TRUE(DDS_Type_prepare(&type)); // what the engine keeps is no leak
    const auto before = ORXOsapiHeap_getLiveBufferCount();
    EXPECT_STREQ(functions.get_type_name(), type.name);
    EXPECT_EQ(functions.get_typecode(), &type);
    T* first = functions.create_data();
    T* second = functions.create_data_ex(DDS_BOOLEAN_TRUE);
    T* third = functions.create_data_w_params(&allocation);
    ASSERT_TRUE(first != nullptr && second != nullptr && third != nullptr);
    EXPECT_EQ(functions.finalize_data(third), DDS_RETCODE_OK);
    EXPECT_EQ(functions.initialize_data(third), DDS_RETCODE_OK);
    EXPECT_EQ(functions.finalize_data_ex(third, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(functions.initialize_data_ex(third, DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(functions.finalize_data_w_params(third, &deallocation), DDS_RETCODE_OK);
    EXPECT_EQ(functions.initialize_data_w_params(third, &allocation), DDS_RETCODE_OK);
    RandomValue random(9);
    ASSERT_TRUE(random.fill(type, first));
    EXPECT_EQ(functions.copy_data(second, first), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Type_equals(&type, first, second));
    DDS_UnsignedLong length = 0;
    EXPECT_EQ(functions.serialize(nullptr, &length, first), DDS_RETCODE_OK);
    std::vector<char> bytes(length);
    EXPECT_EQ(functions.serialize(bytes.data(), &length, first), DDS_RETCODE_OK);
    EXPECT_EQ(functions.deserialize(third, bytes.data(), length), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Type_equals(&type, first, third));
    EXPECT_EQ(functions.deserialize(third, bytes.data(), 3), DDS_RETCODE_ERROR);
    EXPECT_EQ(functions.serialize_ex(nullptr, &length, first, DDS_XCDR_DATA_REPRESENTATION), DDS_RETCODE_OK);
    EXPECT_EQ(functions.data_to_string(first, nullptr, &length), DDS_RETCODE_OK);
    testing::internal::CaptureStdout();
    functions.print_data(first);
    EXPECT_FALSE(testing::internal::GetCapturedStdout().empty());
    EXPECT_EQ(functions.delete_data(first), DDS_RETCODE_OK);
    EXPECT_EQ(functions.delete_data_ex(second, DDS_BOOLEAN_TRUE), DDS_RETCODE_OK);
    EXPECT_EQ(functions.delete_data_w_params(third, &deallocation), DDS_RETCODE_OK);
    functions.finalize();
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
}

TEST(PluginFunctions, ServeTheTopicTypes) {
#define CHECK(T)                                                                                             \
    checkTopicPlugin<T>(                                                                                     \
        {&T##Plugin_new, &T##Plugin_delete, &T##Plugin_finalize_optional_members,                            \
            &T##Plugin_on_participant_attached, &T##Plugin_on_participant_detached,                          \
            &T##Plugin_on_endpoint_attached, &T##Plugin_on_endpoint_detached, &T##Plugin_return_sample},     \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_TOPIC(CHECK)
#undef CHECK
}

TEST(TypeSupportFunctions, ServeTheTopicTypes) {
#define CHECK(T)                                                                                             \
    checkTypeSupport<T>(                                                                                     \
        {&T##TypeSupport_get_type_name, &T##TypeSupport_get_typecode, &T##TypeSupport_create_data,           \
            &T##TypeSupport_create_data_ex, &T##TypeSupport_create_data_w_params,                            \
            &T##TypeSupport_delete_data, &T##TypeSupport_delete_data_ex,                                     \
            &T##TypeSupport_delete_data_w_params, &T##TypeSupport_initialize_data,                           \
            &T##TypeSupport_initialize_data_ex, &T##TypeSupport_initialize_data_w_params,                    \
            &T##TypeSupport_finalize_data, &T##TypeSupport_finalize_data_ex,                                 \
            &T##TypeSupport_finalize_data_w_params, &T##TypeSupport_copy_data, &T##TypeSupport_print_data,   \
            &T##TypeSupport_serialize_data_to_cdr_buffer, &T##TypeSupport_serialize_data_to_cdr_buffer_ex,   \
            &T##TypeSupport_deserialize_data_from_cdr_buffer, &T##TypeSupport_data_to_string,                \
            &T##TypeSupport_finalize},                                                                       \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_TOPIC(CHECK)
#undef CHECK
}

} // namespace
