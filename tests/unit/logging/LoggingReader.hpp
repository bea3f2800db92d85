// A reader of the logging topic in a participant of its own, as a collector has it, and samples as values.
#ifndef ORX_TESTS_LOGGING_READER_HPP
#define ORX_TESTS_LOGGING_READER_HPP

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "orxmonitoring2d/dds_logging_support.h"
#include "tests/helpers/TopicReader.hpp"
#include "tests/helpers/Wait.hpp"

struct LogMessageValue {
    uint64_t sn;
    int facility;
    int severity;
    int64_t seconds;
    std::string msgid;
    std::string message;
    std::map<std::string, std::map<std::string, std::string>> structuredData;

    explicit LogMessageValue(const DDS_Monitoring_LoggingMessage& source)
        : sn{source.sn}, facility{source.facility}, severity{source.severity}, seconds{source.timestamp.sec},
          msgid{source.msgid}, message{source.message} {
        const auto& entries = source.structured_data;
        for (DDS_Long i = 0; i < DDS_Monitoring_StructuredDataMapEntrySeq_get_length(&entries); ++i) {
            const auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&entries, i);
            auto& pairs = structuredData[entry->key];
            for (DDS_Long j = 0; j < DDS_Monitoring_NameValuePairSeq_get_length(&entry->pairs); ++j) {
                const auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, j);
                pairs[pair->name] = pair->value;
            }
        }
        hasHeader = source.hostname != nullptr || source.hostip != nullptr || source.appname != nullptr ||
                    source.procid != nullptr;
    }
    std::string category() const { return structuredData.at("Zentrox").at("category"); }
    bool hasHeader = false;
};

struct LoggingSampleValue {
    uint64_t epoch;
    bool isSnapshot;
    bool hasUpdate;
    bool hasSnapshot;
    std::vector<DDS_Octet> root;
    std::vector<LogMessageValue> messages;

    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const LogMessageValue& message : messages)
            all.push_back(message.message);
        return all;
    }
};

class LoggingReader : public TopicReader {
public:
    explicit LoggingReader(DDS_DomainId_t domain)
        : TopicReader(domain, ORX_MONITORING_LOGGING_TOPIC_NAME, ORX_MONITORING_LOGGING_TYPE_NAME) {}

    std::vector<LoggingSampleValue> takeNow() {
        std::vector<LoggingSampleValue> taken;
        auto* narrowed = DDS_Monitoring_LoggingDataReader_narrow(reader());
        DDS_Monitoring_LoggingSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_Monitoring_LoggingDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return taken;
        for (DDS_Long i = 0; i < DDS_Monitoring_LoggingSeq_get_length(&samples); ++i) {
            if (DDS_SampleInfoSeq_get_reference(&infos, i)->valid_data)
                taken.push_back(valueOf(*DDS_Monitoring_LoggingSeq_get_reference(&samples, i)));
        }
        DDS_Monitoring_LoggingDataReader_return_loan(narrowed, &samples, &infos);
        return taken;
    }
    // Adds to `all` until it has `count` messages in updates; false when the bound has passed.
    bool takeMessages(std::vector<LogMessageValue>& all, size_t count) {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (all.size() < count && std::chrono::steady_clock::now() < end) {
            for (const auto& sample : takeNow()) {
                if (sample.hasUpdate)
                    all.insert(all.end(), sample.messages.begin(), sample.messages.end());
            }
            std::this_thread::yield();
        }
        return all.size() >= count;
    }

private:
    static LoggingSampleValue valueOf(const DDS_Monitoring_Logging& sample) {
        LoggingSampleValue value{sample.info.epoch, sample.info.is_snapshot != 0, sample.update != nullptr,
            sample.snapshot != nullptr, {sample.info.root_resource_guid, sample.info.root_resource_guid + 16},
            {}};
        for (DDS_Long i = 0; value.hasUpdate && i < DDS_Monitoring_LogReferenceSeq_get_length(sample.update);
             ++i)
            value.messages.emplace_back(**DDS_Monitoring_LogReferenceSeq_get_reference(sample.update, i));
        for (DDS_Long i = 0;
             value.hasSnapshot && i < DDS_Monitoring_LoggingMessageSeq_get_length(sample.snapshot); ++i)
            value.messages.emplace_back(*DDS_Monitoring_LoggingMessageSeq_get_reference(sample.snapshot, i));
        return value;
    }
};

#endif
