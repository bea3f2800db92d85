// One message made of arbitrary bytes, formatted into buffers of its own size: whatever the text says, the
// result is terminated within the buffer, is one line if it was understood, and depends on nothing but the
// message.
#ifndef ORX_FUZZ_FORMATTER_CHECK_HPP
#define ORX_FUZZ_FORMATTER_CHECK_HPP

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "orxmonitoring2d/forwarder.h"

struct FormatterCheck {
    static void require(bool condition) {
        if (!condition)
            std::abort();
    }

    // The first bytes choose facility, severity, time and size; the rest is the text.
    static void run(const uint8_t* data, size_t size) {
        constexpr size_t headSize = 8;
        if (size < headSize)
            return;
        constexpr uint8_t facilities[] = {1, 10, 22, 23, 5};
        std::string text(reinterpret_cast<const char*>(data) + headSize, size - headSize);
        DDS_Monitoring_LoggingMessage message{};
        message.facility = facilities[data[0] % std::size(facilities)];
        message.severity = static_cast<DDS_Monitoring_LoggingLevel>(data[1] % 9);
        message.sn = data[2];
        message.timestamp.sec = static_cast<DDS_LongLong>(data[3]) << (data[4] % 56);
        message.timestamp.nanosec = data[5] * 16843009U;
        message.message = text.data();
        const size_t bufferSize = 1 + data[6] * 4U + data[7] % 4U;
        // Of its exact size, so that the address sanitizer sees the byte behind it.
        const std::unique_ptr<char[]> buffer{new char[bufferSize]};
        std::memset(buffer.get(), 0x7F, bufferSize);
        ORX_MonitoringForwarder_log_message_to_string(&message, buffer.get(), bufferSize);
        const size_t length = strnlen(buffer.get(), bufferSize);
        require(length < bufferSize);
        const bool isAsItWas = std::strncmp(buffer.get(), text.c_str(), length) == 0;
        const char* lineEnd = std::strchr(buffer.get(), '\n');
        require(isAsItWas || (lineEnd != nullptr && lineEnd[1] == '\0'));
    }
};

#endif
