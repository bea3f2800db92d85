// The generated functions of the life of a value, each of them called for each type.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "RandomValue.hpp"
#include "orxmonitoring2d/schema_types.h"

namespace {

template <typename T> struct LifeFunctions {
    const DDS_TypeCode* (*get_typecode)(void);
    const DDS_TypePlugin* (*get_type_plugin_info)(void);
    const ORXXCdrSampleAccessInfo* (*get_sample_access_info)(void);
    DDS_Boolean (*initialize)(T*);
    DDS_Boolean (*initialize_ex)(T*, DDS_Boolean, DDS_Boolean);
    DDS_Boolean (*initialize_w_params)(T*, const DDS_TypeAllocationParams_t*);
    void (*finalize)(T*);
    void (*finalize_ex)(T*, DDS_Boolean);
    void (*finalize_w_params)(T*, const DDS_TypeDeallocationParams_t*);
    DDS_Boolean (*finalize_w_return)(T*);
    void (*finalize_optional_members)(T*, DDS_Boolean);
    DDS_Boolean (*copy)(T*, const T*);
};

template <typename T> struct ArenaFunctions {
    DDS_Boolean (*initialize)(T*, REDAInlineMemory**);
    DDS_Boolean (*initialize_ex)(T*, REDAInlineMemory**, DDS_Boolean, DDS_Boolean);
    DDS_Boolean (*initialize_w_params)(T*, REDAInlineMemory**, const DDS_TypeAllocationParams_t*);
    void (*finalize)(T*);
    void (*finalize_ex)(T*, DDS_Boolean);
    void (*finalize_w_params)(T*, const DDS_TypeDeallocationParams_t*);
    DDS_Boolean (*copy)(T*, REDAInlineMemory**, const T*);
};

// Room for one value, aligned for anything.
template <typename T> class Room {
public:
    T* get() { return reinterpret_cast<T*>(bytes_); }

private:
    alignas(std::max_align_t) unsigned char bytes_[sizeof(T)] = {};
};

constexpr DDS_TypeAllocationParams_t allocation = DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
constexpr DDS_TypeDeallocationParams_t deallocation = DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;

template <typename T>
void checkLife(const LifeFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    ASSERT_EQ(functions.get_typecode(), &type);
    ASSERT_EQ(functions.get_type_plugin_info()->type, &type);
    EXPECT_EQ(functions.get_sample_access_info() != nullptr, type.memberCount > 0);
    ASSERT_EQ(type.size, sizeof(T));
    ASSERT_EQ(type.alignment, alignof(T));
    ASSERT_TRUE(DDS_Type_prepare(&type)); // what the engine keeps is no leak
    const auto before = ORXOsapiHeap_getLiveBufferCount();
    Room<T> original, copy;
    ASSERT_TRUE(functions.initialize(original.get()));
    ASSERT_TRUE(functions.initialize_ex(copy.get(), DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE));
    RandomValue random(11);
    ASSERT_TRUE(random.fill(type, original.get()));
    ASSERT_TRUE(functions.copy(copy.get(), original.get()));
    EXPECT_TRUE(DDS_Type_equals(&type, copy.get(), original.get()));
    functions.finalize_optional_members(copy.get(), DDS_BOOLEAN_TRUE);
    functions.finalize(copy.get());
    ASSERT_TRUE(functions.initialize_w_params(copy.get(), &allocation));
    functions.finalize_ex(copy.get(), DDS_BOOLEAN_TRUE);
    functions.finalize_w_params(original.get(), &deallocation);
    EXPECT_TRUE(functions.finalize_w_return(original.get())) << "twice is harmless";
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), before);
}

template <typename T>
void checkArena(const ArenaFunctions<T>& functions, const DDS_TypeDescriptor& type, const char* flatName) {
    SCOPED_TRACE(flatName);
    TestArena arena;
    Room<T> original, copy;
    ASSERT_TRUE(functions.initialize(original.get(), arena.get()));
    ASSERT_TRUE(functions.initialize_ex(copy.get(), arena.get(), DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE));
    RandomValue random(11, arena.get());
    ASSERT_TRUE(random.fill(type, original.get()));
    ASSERT_TRUE(functions.copy(copy.get(), arena.get(), original.get()));
    EXPECT_TRUE(DDS_Type_equals(&type, copy.get(), original.get()));
    functions.finalize(copy.get());
    functions.finalize_ex(original.get(), DDS_BOOLEAN_TRUE);
    EXPECT_EQ(arena.liveBuffers(), 0U);
    ASSERT_TRUE(functions.initialize_w_params(copy.get(), arena.get(), &allocation));
    functions.finalize_w_params(copy.get(), &deallocation);
    EXPECT_EQ(arena.liveBuffers(), 0U);
}

TEST(LifeFunctions, WorkForEveryType) {
#define CHECK(T)                                                                                             \
    checkLife<T>(                                                                                            \
        {&T##_get_typecode, &T##_get_type_plugin_info, &T##_get_sample_access_info, &T##_initialize,         \
            &T##_initialize_ex, &T##_initialize_w_params, &T##_finalize, &T##_finalize_ex,                   \
            &T##_finalize_w_params, &T##_finalize_w_return, &T##_finalize_optional_members, &T##_copy},      \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_STRUCT(CHECK)
    ORX_SCHEMA_LIST_UNION(CHECK)
    ORX_SCHEMA_LIST_ENUM(CHECK)
    ORX_SCHEMA_LIST_ALIAS(CHECK)
#undef CHECK
}

TEST(LifeFunctions, WorkInAnArenaForTypesThatTravelInSamples) {
#define CHECK(T)                                                                                             \
    checkArena<T>({&T##_initialize_w_memory_manager, &T##_initialize_ex_w_memory_manager,                    \
                      &T##_initialize_w_params_w_memory_manager, &T##_finalize_w_memory_manager,             \
                      &T##_finalize_ex_w_memory_manager, &T##_finalize_w_params_w_memory_manager,            \
                      &T##_copy_w_memory_manager},                                                           \
        T##_g_type, #T);
    ORX_SCHEMA_LIST_MANAGED(CHECK)
#undef CHECK
}

} // namespace
