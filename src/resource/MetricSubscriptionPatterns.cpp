#include "src/resource/MetricSubscriptionPatterns.hpp"

#include <cstring>

#include "src/utils/LiteralText.hpp"
#include "zddscore/text.h"

using namespace orx::resource;

unsigned MetricNames::slotOf(const char* name) {
    return hashOfText(name) % slotCount;
}

MetricNames::MetricNames(const ORX_Monitoring_MetricInfo* table, DDS_UnsignedLong count)
    : table_(table), count_(count) {
    for (DDS_UnsignedLong metric = 0; metric < count; ++metric) {
        unsigned slot = slotOf(table[metric].name);
        while (slots_[slot] != 0)
            slot = (slot + 1) % slotCount;
        slots_[slot] = static_cast<ORX_UINT8>(metric + 1);
    }
}

void MetricNames::addLiteral(MetricSet& set, const char* name) const {
    for (unsigned slot = slotOf(name); slots_[slot] != 0; slot = (slot + 1) % slotCount) {
        const DDS_UnsignedLong metric = slots_[slot] - 1U;
        if (std::strcmp(table_[metric].name, name) == 0)
            return set.add(metric);
    }
}

MetricSet MetricNames::named(const DDS_StringSeq& patterns) const {
    MetricSet set;
    const DDS_Long patternCount = DDS_StringSeq_get_length(&patterns);
    for (DDS_Long i = 0; i < patternCount; ++i) {
        const char* pattern = DDS_StringSeq_get(&patterns, i);
        if (isLiteral(pattern)) {
            addLiteral(set, pattern);
            continue;
        }
        for (DDS_UnsignedLong metric = 0; metric < count_; ++metric)
            if (!set.contains(metric) && REDAString_fnmatch(pattern, table_[metric].name, 0) == 0)
                set.add(metric);
    }
    return set;
}
