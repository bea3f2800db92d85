// What must hold of any bytes that are taken for a sample: of the topic types of the schema, and of test
// types that show every form of the encodings. The first byte chooses the type, the others are the sample.
#ifndef ORX_FUZZ_SAMPLE_CHECK_HPP
#define ORX_FUZZ_SAMPLE_CHECK_HPP

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "middleware/types/Serialization.hpp"
#include "middleware/types/WireReader.hpp"
#include "middleware/types/XcdrReader.hpp"
#include "orxmonitoring2d/data_model.h"
#include "orxmonitoring2d/schema_lists.h"
#include "orxmonitoring2d/schema_types.h"
#include "tests/unit/types/TestTypes.hpp"

#define SAMPLE_CHECK(test)                                                                                   \
    ((test) ? static_cast<void>(0)                                                                           \
            : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #test), std::abort()))

class SampleCheck {
public:
    SampleCheck() : types(tt::allTypes()) {
        types.insert(types.begin(),
            {&DDS_Monitoring_Event_g_type, &DDS_Monitoring_Periodic_g_type, &DDS_Monitoring_Logging_g_type,
                &DDS_Monitoring_MonitoringService_Request_g_type,
                &DDS_Monitoring_MonitoringService_Reply_g_type});
    }

    void run(const uint8_t* data, size_t size) const {
        if (size == 0)
            return;
        const DDS_TypeDescriptor* type = types[*data % types.size()];
        // A copy of just the size, so that the sanitizer sees a read beyond it.
        const std::vector<char> bytes(data + 1, data + size);
        Value value(type);
        const bool isRead = zdds::types::deserialize(*type, value.get(), bytes.data(), bytes.size());
        checkIsValue(type, value, isRead);
        if (isRead)
            checkReadersAgree(type, value, bytes);
        void* made = zdds::types::createFrom(*type, bytes.data(), bytes.size());
        SAMPLE_CHECK((made != nullptr) == isRead);
        if (made != nullptr)
            SAMPLE_CHECK(isEqual(type, value.get(), made));
        DDS_Type_destroy_data(type, made);
    }

    std::vector<const DDS_TypeDescriptor*> types;

private:
    class Value {
    public:
        explicit Value(const DDS_TypeDescriptor* type_) : type(type_), data(DDS_Type_create_data(type_)) {
            SAMPLE_CHECK(data != nullptr);
        }
        ~Value() { DDS_Type_destroy_data(type, data); }
        Value(const Value&) = delete;
        Value& operator=(const Value&) = delete;
        void* get() const { return data; }

    private:
        const DDS_TypeDescriptor* type;
        void* data;
    };

    // Whatever came of the bytes: it prints, copies, and travels again unchanged. What could not be read
    // whole may be beyond a bound of an outer sequence, and need not travel.
    static void checkIsValue(const DDS_TypeDescriptor* type, const Value& value, bool isRead) {
        Value copy(type), back(type);
        DDS_UnsignedLong textSize = 0;
        SAMPLE_CHECK(DDS_Type_data_to_string(type, value.get(), nullptr, &textSize));
        SAMPLE_CHECK(DDS_Type_copy(type, copy.get(), value.get()));
        for (const DDS_UnsignedShort representation : {DDS_UnsignedShort{DDS_XCDR_DATA_REPRESENTATION},
                 DDS_UnsignedShort{DDS_XCDR2_DATA_REPRESENTATION}}) {
            DDS_UnsignedLong length = 0;
            const bool travels =
                DDS_Type_serialize_to_cdr_buffer_ex(type, nullptr, &length, copy.get(), representation) != 0;
            SAMPLE_CHECK(travels || !isRead);
            if (!travels)
                continue;
            std::vector<char> bytes(length);
            SAMPLE_CHECK(
                DDS_Type_serialize_to_cdr_buffer_ex(type, bytes.data(), &length, copy.get(), representation));
            SAMPLE_CHECK(length == bytes.size());
            SAMPLE_CHECK(zdds::types::deserialize(*type, back.get(), bytes.data(), length));
            SAMPLE_CHECK(isEqual(type, copy.get(), back.get()));
        }
    }

    // The program for the usual form, and the reader for all forms.
    static void checkReadersAgree(
        const DDS_TypeDescriptor* type, const Value& value, const std::vector<char>& bytes) {
        const auto* header = reinterpret_cast<const unsigned char*>(bytes.data());
        zdds::types::Encapsulation encapsulation;
        SAMPLE_CHECK(zdds::types::parseEncapsulation(
            static_cast<uint16_t>(header[0] << 8 | header[1]), &encapsulation));
        Value other(type);
        SAMPLE_CHECK(zdds::types::readXcdr(*zdds::types::programsOf(type), encapsulation,
            static_cast<char*>(other.get()), bytes.data() + 4, bytes.size() - 4, {}));
        SAMPLE_CHECK(isEqual(type, value.get(), other.get()));
    }

    // Bytes and not numbers, so that a float that is no number equals itself.
    static bool isEqual(const DDS_TypeDescriptor* type, const void* left, const void* right) {
        DDS_UnsignedLong leftSize = 0, rightSize = 0;
        SAMPLE_CHECK(DDS_Type_serialize_to_cdr_buffer(type, nullptr, &leftSize, left));
        SAMPLE_CHECK(DDS_Type_serialize_to_cdr_buffer(type, nullptr, &rightSize, right));
        std::vector<char> leftBytes(leftSize), rightBytes(rightSize);
        SAMPLE_CHECK(DDS_Type_serialize_to_cdr_buffer(type, leftBytes.data(), &leftSize, left));
        SAMPLE_CHECK(DDS_Type_serialize_to_cdr_buffer(type, rightBytes.data(), &rightSize, right));
        return leftBytes == rightBytes;
    }
};

#endif
