// What must hold of any text that is taken for the expression of a query condition, and of any bytes that are
// taken for the body of a request. The first byte chooses: even for a text, odd for a body.
#ifndef ORX_FUZZ_QUERY_CHECK_HPP
#define ORX_FUZZ_QUERY_CHECK_HPP

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/Require.hpp"
#include "middleware/conditions/QueryExpression.hpp"
#include "middleware/entities/ServiceRequestType.hpp"
#include "middleware/host/RequestKind.hpp"
#include "orxmonitoring2d/orx_remote_administration.h"
#include "src/remoteAdministration/CommandHelper.h"

struct QueryCheck {
    static void run(const uint8_t* data, size_t size) {
        if (size == 0)
            return;
        if (data[0] % 2 == 0)
            checkText(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
        else
            checkBody(data + 1, size - 1);
    }

private:
    // As the expression of the one filter that it stands for.
    static std::string textOf(const zdds::KeyFilter& filter) {
        char piece[32];
        if (filter.offset == 0) {
            uint32_t value = 0;
            for (int i = 0; i < 4; ++i)
                value = value << 8 | filter.octets[i];
            std::snprintf(piece, sizeof piece, "service_id = %d", static_cast<int>(value));
            return piece;
        }
        std::string text = "instance_id.value = &hex(";
        for (unsigned i = 0; i < filter.length; ++i) {
            std::snprintf(piece, sizeof piece, "%02X ", filter.octets[i]);
            text += piece;
        }
        text.back() = ')';
        return text;
    }

    // What is understood is one comparison, and is understood again when it is written out.
    static void checkText(const std::string& text) {
        const DDS_TypePlugin& plugin = zdds::serviceRequestTypePlugin();
        zdds::KeyFilter filter, again;
        if (zdds::conditions::parseQuery(plugin, text.c_str(), &filter) != nullptr) {
            require(filter.length == 0, "a refused query changed its filter");
            return;
        }
        require(filter.offset + filter.length <= zdds::serviceRequestKeyBytes, "a filter beyond the key");
        require(zdds::conditions::parseQuery(plugin, textOf(filter).c_str(), &again) == nullptr,
            "a query that was understood is not understood when it is written out");
        require(std::memcmp(&filter, &again, sizeof filter) == 0, "a query changed when it was written out");
    }

    // Whatever the library would take for a request of the registry is paced.
    static void checkBody(const uint8_t* data, size_t size) {
        const bool isPaced = zdds::host::mayRequestRegistry({data, size});
        DDS_OctetSeq body{};
        DDS_OctetSeq_from_array(&body, data, static_cast<DDS_Long>(size));
        DDS_Monitoring_MonitoringService_Request request;
        DDS_Monitoring_MonitoringService_Request_initialize(&request);
        const bool isDecoded = ORX_MonitoringCommandHelper_octetSeqToRequest(&request, &body) != 0;
        constexpr auto registry = static_cast<DDS_Long>(0x1EF2237E);
        require(!isDecoded || isPaced || request.data._d != registry,
            "a request of the registry that is not paced");
        DDS_Monitoring_MonitoringService_Request_finalize(&request);
        DDS_OctetSeq_finalize(&body);
    }
};

#endif
