// A received log message as the one line that a collector prints.
#include "orxmonitoring2d/forwarder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "src/log/Log.hpp"
#include "zddsc/logger.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

constexpr size_t workMax = 1023;    // characters of the text that are used
constexpr size_t contextMax = 2046; // characters of an activity context with its prefixes written out
constexpr size_t prefixLength = 32; // of "0x01234567,0x01234567,0x01234567"

// A text that grows within a buffer of its caller. Its end is remembered, so that appending does not look for
// it.
class Output {
public:
    // max: characters besides the terminator.
    Output(char* buffer, size_t max) : buffer_{buffer}, max_{max} { buffer_[0] = '\0'; }

    // False, with nothing appended, when the text does not fit.
    bool append(const char* text, size_t length) {
        if (ORXOsapiUtility_strncpy(end(), max_ - length_, text, length) == nullptr)
            return false;
        length_ += length;
        return true;
    }
    bool append(const char* text) { return append(text, std::strlen(text)); }
    bool appendNumber(DDS_UnsignedLongLong number) {
        const int written = ORXOsapiUtility_snprintf(
            end(), max_ - length_ + 1, "(sn:%llu) ", static_cast<unsigned long long>(number));
        if (written < 0)
            return false;
        length_ += static_cast<size_t>(written);
        return true;
    }
    char* begin() { return buffer_; }
    char* end() { return buffer_ + length_; }
    void cutTo(size_t length) {
        length_ = length;
        buffer_[length] = '\0';
    }

private:
    char* buffer_;
    size_t max_;
    size_t length_ = 0;
};

// What is left to read of the text, which the tokenizer cuts in place.
class Input {
public:
    explicit Input(char* text) : rest_{text} {}

    // The next token, null when none is left; found tells whether the delimiter stood behind it.
    const char* token(const char* delimiter, bool& found) {
        const char* token = REDAString_strToken(rest_, delimiter, &rest_);
        found = token != nullptr && rest_ > token && rest_[-1] == '\0';
        return token;
    }
    const char* tokenUpTo(const char* delimiter) {
        bool found = false;
        const char* next = token(delimiter, found);
        return found ? next : nullptr;
    }
    const char* rest() const { return rest_; }

private:
    char* rest_;
};

const char* facilityWord(DDS_Octet facility) {
    switch (facility) {
    case ZDDS_CONFIG_LOG_FACILITY_USER:
        return "USER ";
    case ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT:
        return "SECURITY_EVENT ";
    case ZDDS_CONFIG_LOG_FACILITY_SERVICE:
        return "SERVICE ";
    case ZDDS_CONFIG_LOG_FACILITY_MIDDLEWARE:
        return "MIDDLEWARE ";
    default:
        return nullptr;
    }
}

const char* severityWord(DDS_Monitoring_LoggingLevel severity) {
    static constexpr const char* words[] = {
        "EMERGENCY ", "ALERT ", "CRITICAL ", "ERROR ", "WARNING ", "NOTICE ", "INFORMATIONAL ", "DEBUG "};
    const auto level = static_cast<unsigned>(severity);
    return level < std::size(words) ? words[level] : nullptr;
}

// "[2026-11-21T14:05:09.123456Z] ". The nanoseconds go through the binary fraction of NTP time, in which the
// middleware keeps times: (ns * 2305843009) >> 29 is ns * 2^32 / 10^9 to within one unit.
bool appendTimestamp(Output& output, const DDS_Monitoring_Time_t& timestamp) {
    if (!output.append("["))
        return ORX_WARNING(FAILED_TO_ADD, "timestamp left delimiter to output message.");
    const auto fraction = static_cast<ORX_UINT32>((timestamp.nanosec * 2305843009ULL) >> 29);
    const ORX_UINT64 microseconds =
        std::min<ORX_UINT64>((fraction * 1000000ULL + 0x80000000ULL) >> 32, 999999);
    ORXOsapiUtcTime utc;
    char text[64];
    if (!ORXOsapiUtility_getUtcTime(&utc, timestamp.sec) ||
        ORXOsapiUtility_snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06uZ", utc.year,
            utc.month, utc.day, utc.hour, utc.minute, utc.second, static_cast<unsigned>(microseconds)) < 0 ||
        !output.append(text)) {
        return ORX_WARNING(FAILED_TO_ADD, "UTC timestamp.");
    }
    if (!output.append("] "))
        return ORX_WARNING(FAILED_TO_ADD, "timestamp right delimiter to output message.");
    return true;
}

bool dropLevelWord(Input& input) {
    if (input.tokenUpTo(" ") == nullptr)
        return ORX_WARNING(FAILED_TO_GET, "LogLevel on input message.");
    return true;
}

// The text's own timestamp, or the message's. User and security event messages have no level word of their
// own, unless they have a timestamp, which the same logger wrote in front of both.
bool formatTimestamp(Output& output, Input& input, const DDS_Monitoring_LoggingMessage& message) {
    if (input.rest()[0] != '[') {
        if (!appendTimestamp(output, message.timestamp))
            return false;
        if (message.facility == ZDDS_CONFIG_LOG_FACILITY_SECURITY_EVENT ||
            message.facility == ZDDS_CONFIG_LOG_FACILITY_USER) {
            return true;
        }
        return dropLevelWord(input);
    }
    const char* timestamp = input.tokenUpTo("]");
    if (timestamp == nullptr)
        return ORX_WARNING(FAILED_TO_GET, "timestamp on input message.");
    if (!output.append(timestamp))
        return ORX_WARNING(FAILED_TO_ADD, "timestamp to output message.");
    if (!output.append("] "))
        return ORX_WARNING(FAILED_TO_ADD, "timestamp right delimiter to output message.");
    return dropLevelWord(input);
}

bool formatHeader(Output& output, const DDS_Monitoring_LoggingMessage& message) {
    const char* facility = facilityWord(message.facility);
    if (facility == nullptr)
        return ORX_PRECONDITION_FAILED("\n");
    if (!output.append(facility))
        return ORX_WARNING(FAILED_TO_ADD, "facility to output message.");
    if (!output.appendNumber(message.sn))
        return ORX_WARNING(FAILED_TO_ADD, "formatted sequence number to output message.");
    const char* severity = severityWord(message.severity);
    if (severity == nullptr)
        return ORX_PRECONDITION_FAILED("\n");
    if (!output.append(severity))
        return ORX_WARNING(FAILED_TO_ADD, "syslog level to output message.");
    return true;
}

// GUIDs stand as "prefix:object", and "|:object" where the prefix is that of the GUID before. Writes the
// prefix out in each: from "...|:0x1" to "...|prefix:0x1".
bool expandPrefixes(Output& context, const char* token) {
    char prefix[prefixLength + 1] = "";
    const char* from = token;
    for (const char* object = std::strstr(token, ":0x"); object != nullptr;
         object = std::strstr(object + 3, ":0x")) {
        if (object > token && object[-1] == '|') {
            if (!context.append(from, static_cast<size_t>(object - from)))
                return ORX_WARNING(
                    FAILED_TO_COPY, "first part of the Activity Context into temporal buffer.");
            if (!context.append(prefix))
                return ORX_WARNING(FAILED_TO_COPY, "GUID prefix expansion to temporal buffer message.");
            from = object;
        } else if (static_cast<size_t>(object - token) < prefixLength ||
                   ORXOsapiUtility_strncpy(prefix, prefixLength, object - prefixLength, prefixLength) ==
                       nullptr) {
            return ORX_WARNING(FAILED_TO_COPY, "Last Prefix.");
        }
    }
    if (!context.append(from))
        return ORX_WARNING(FAILED_TO_COPY, "last part of the Activity Context into temporal buffer.");
    return true;
}

bool appendContext(Output& output, const char* token) {
    char buffer[contextMax + 1];
    Output context{buffer, contextMax};
    if (!expandPrefixes(context, token))
        return false;
    if (!output.append(buffer))
        return ORX_WARNING(FAILED_TO_ADD, "Activity Context to output message.");
    if (!output.append("]"))
        return ORX_WARNING(FAILED_TO_ADD, "Activity Context left delimiter to output message.");
    return true;
}

// The activity context, at the front or behind one word, and all the rest.
bool formatRest(Output& output, Input& input) {
    const char* context = nullptr;
    char remainder[workMax + 1];
    const char* rest = nullptr;
    if (input.rest()[0] == '[') {
        context = input.tokenUpTo("]");
        if (context == nullptr)
            return ORX_WARNING(FAILED_TO_GET, "Activity Context on input message.");
    } else {
        bool hasBlank = false;
        const char* word = input.token(" ", hasBlank);
        if (word != nullptr && !output.append(word))
            return ORX_WARNING(FAILED_TO_ADD, "message portion after LogLevel to output message.");
        if (hasBlank && !output.append(" "))
            return ORX_WARNING(FAILED_TO_ADD, "Space to output message.");
        // The next token may be cut out of what is printed as it is when it is no context.
        if (ORXOsapiUtility_strcpy(remainder, workMax, input.rest()) == nullptr)
            return ORX_WARNING(FAILED_TO_COPY, "strTokenSave.");
        rest = remainder;
        const char* token = input.tokenUpTo("]");
        if (token != nullptr && std::strncmp(token, "[0x", 3) == 0)
            context = token;
    }
    if (context != nullptr) {
        if (!appendContext(output, context))
            return false;
        rest = input.rest();
    }
    if (!output.append(rest))
        return ORX_WARNING(FAILED_TO_ADD, "Last message part to output buffer.");
    return true;
}

// Dots in GUIDs, no "0x", one line. The output only shrinks.
void cleanUp(Output& output) {
    char* to = output.begin();
    const char* const end = output.end();
    for (const char* from = output.begin(); from != end; ++from) {
        const bool isBeforeNumber = end - from > 2 && from[1] == '0' && from[2] == 'x';
        if ((*from == ',' || *from == ':') && isBeforeNumber) {
            *to++ = '.';
        } else if (*from == '0' && end - from > 1 && from[1] == 'x') {
            ++from;
        } else {
            *to++ = *from == '\n' ? ' ' : *from;
        }
    }
    output.cutTo(static_cast<size_t>(to - output.begin()));
}

bool format(Output& output, const DDS_Monitoring_LoggingMessage& message) {
    const char* text = message.message;
    const size_t length = std::strlen(text);
    const bool endsLine = length > 0 && text[length - 1] == '\n';
    char work[workMax + 1];
    if (ORXOsapiUtility_strncpy(work, workMax, text, std::min(length, workMax)) == nullptr)
        return ORX_WARNING(FAILED_TO_COPY, "input message to internal string.");
    Input input{work};
    if (!formatTimestamp(output, input, message) || !formatHeader(output, message) ||
        !formatRest(output, input)) {
        return false;
    }
    cleanUp(output);
    if (endsLine)
        output.end()[-1] = '\n'; // the header stands in front, so there is a last character
    else if (!output.append("\n"))
        return ORX_WARNING(FAILED_TO_ADD, "Trailing newline character to ouput buffer.");
    return true;
}

} // namespace

void ORX_MonitoringForwarder_log_message_to_string(
    const struct DDS_Monitoring_LoggingMessage* message, char* buffer, size_t size) {
    ORX_LEAVE_IF(message == ORX_NULL);
    ORX_LEAVE_IF(buffer == ORX_NULL);
    if (size == 0) {
        (void)ORX_PRECONDITION_FAILED("\"size <= 0\"\n");
        return;
    }
    if (size > 4294967295U) {
        (void)ORX_PRECONDITION_FAILED("\"size > 4294967295U\"\n");
        return;
    }
    ORX_LEAVE_IF(message->message == ORX_NULL);
    Output output{buffer, size - 1};
    if (format(output, *message))
        return;
    const size_t length = std::min(std::strlen(message->message), size - 1);
    std::memcpy(buffer, message->message, length);
    buffer[length] = '\0';
}
