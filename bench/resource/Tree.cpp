#include "bench/resource/Tree.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "src/dataModel/MetricCatalogue.h"
#include "tests/helpers/TestDomain.hpp"
#include "zddsc/monitoring.h"
#include "zddscore/heap.h"
#include "zddscore/log.h"

extern "C" DDS_Boolean ORX_Monitoring_initialize(void);

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t askState = SIZE_MAX; // any other question is a number to replace
constexpr DDS_Long selections = 16;

// ---- What lives on the heap, by who asked for it ----

std::atomic<std::size_t> liveBytes{0};

// A granule before each buffer holds its size, and the top bit whether it is an arena's block.
constexpr std::size_t prefix = 64;
constexpr std::size_t arenaBit = std::size_t{1} << 63;

void* allocate(void*, size_t size, size_t alignment, const char* typeName) {
    if (alignment > prefix)
        return nullptr;
    auto* memory =
        static_cast<unsigned char*>(std::aligned_alloc(prefix, (size + 2 * prefix - 1) & ~(prefix - 1)));
    if (memory == nullptr)
        return nullptr;
    const bool isArena = std::strcmp(typeName, "REDAInlineMemoryBlock") == 0;
    const std::size_t mark = size | (isArena ? arenaBit : 0);
    std::memcpy(memory, &mark, sizeof mark);
    if (!isArena)
        liveBytes += size;
    return memory + prefix;
}

void release(void*, void* buffer) {
    auto* memory = static_cast<unsigned char*>(buffer) - prefix;
    std::size_t mark = 0;
    std::memcpy(&mark, memory, sizeof mark);
    if ((mark & arenaBit) == 0)
        liveBytes -= mark;
    std::free(memory);
}

// ---- The tree ----

DDS_Boolean noGroup(void** group, const void*, DDS_UnsignedLong) {
    *group = nullptr;
    return DDS_BOOLEAN_FALSE;
}

// Expressions of several kinds; few of them match a writer.
void addSelections(DDS_MonitoringMetricSelectionSeq& list) {
    static const char* const patterns[] = {"dds_data_writer_*", "*matched*", "dds_topic_*", "!*peak"};
    if (!DDS_MonitoringMetricSelectionSeq_ensure_length(&list, selections, selections))
        fail("no selections");
    for (DDS_Long i = 0; i < selections; ++i) {
        auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&list, i);
        std::string expression;
        switch (i % 4) {
        case 0:
            expression = "//data_writers/writer_" + std::to_string(i) + "*";
            break;
        case 1:
            expression = "/applications/*/domain_participants/other_" + std::to_string(i) + "/*";
            break;
        case 2:
            expression = "//topics/topic_" + std::to_string(i);
            break;
        default:
            expression = "/applications/*/domain_participants/p*/data_writers/*_" + std::to_string(i);
            break;
        }
        DDS_String_replace(&selection->resource_selection, expression.c_str());
        if (!DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1))
            fail("no pattern");
        DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0),
            patterns[i % 4] + (i % 4 == 3));
    }
}

class Owner {
public:
    explicit Owner(std::size_t siblings) {
        ORXLog_setStderrEnabled(0); // the group function refuses on purpose
        const ORXOsapiHeapAllocator counting{allocate, release, nullptr};
        ORXOsapiHeap_setAllocator(&counting);
        start();
        empty_ = liveBytes;
        writers_.reserve(siblings);
        while (writers_.size() < siblings)
            writers_.push_back(assertNext());
    }

    Tree::Answer replace(std::size_t count) {
        std::vector<std::size_t> chosen;
        std::vector<ORX_MonitoringResource*> doomed;
        while (chosen.size() < count) {
            const std::size_t at = random_() % writers_.size();
            if (writers_[at] == nullptr)
                continue; // chosen before
            chosen.push_back(at);
            doomed.push_back(writers_[at]);
            writers_[at] = nullptr;
        }
        const auto begin = Clock::now();
        for (auto* resource : doomed)
            library_->deleteResourceFunction(library_, resource);
        const auto deleted = Clock::now();
        for (const std::size_t at : chosen)
            writers_[at] = assertNext();
        const auto end = Clock::now();
        const auto each = [count](auto duration) {
            return std::chrono::duration<double, std::nano>(duration).count() / static_cast<double>(count);
        };
        Tree::Answer answer = state();
        answer.deleteNanoseconds = each(deleted - begin);
        answer.assertNanoseconds = each(end - deleted);
        return answer;
    }

    Tree::Answer state() const { return {0, 0, static_cast<double>(liveBytes - empty_)}; }

private:
    void start() {
        ORX_MonitoringHost_initialize();
        ORX_Monitoring_initialize();
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = testDomain();
        addSelections(property.metric_selection_list);
        library_ = ORX_MonitoringHost_start(&property);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        if (library_ == nullptr)
            fail("the library did not start");
        const DDS_GUID_t guid{{1, 2, 3, 4}};
        participant_ = make(DDS_PARTICIPANT_ENTITY_KIND, guid, ORX_MONITORING_PARTICIPANT_CLASS_ID,
            "participant", library_->rootResource);
        DDS_GUID_t writer{{9, 9, 9, 9}};
        writerEntity_ = DDS_Entity_create_observedI(DDS_DATAWRITER_ENTITY_KIND, &writer, 0);
    }

    ORX_MonitoringResource* make(DDS_EntityKind kind, const DDS_GUID_t& guid, DDS_UnsignedLong classId,
        const char* name, ORX_MonitoringResource* parent) {
        DDS_Entity* entity = DDS_Entity_create_observedI(kind, &guid, 0);
        return assertResource(guid, classId, name, entity, parent);
    }

    ORX_MonitoringResource* assertResource(const DDS_GUID_t& guid, DDS_UnsignedLong classId, const char* name,
        DDS_Entity* entity, ORX_MonitoringResource* parent) {
        static const ORX_MonitoringResourceForwarder forwarder{noGroup, nullptr};
        DDS_UnsignedLong index = 0;
        auto* resource = library_->assertResourceFunction(
            library_, &index, &guid, classId, name, entity, parent, &forwarder);
        if (resource == nullptr)
            fail("a resource was not asserted");
        return resource;
    }

    // One entity stands for all writers, as nobody looks behind it: what counts is the library's own cost.
    ORX_MonitoringResource* assertNext() {
        const std::uint64_t number = ++asserted_;
        DDS_GUID_t guid{{1, 2, 3, 4}};
        std::memcpy(guid.value + 8, &number, sizeof number);
        const std::string name = "writer_" + std::to_string(number);
        return assertResource(
            guid, ORX_MONITORING_DATA_WRITER_CLASS_ID, name.c_str(), writerEntity_, participant_);
    }

    ORX_MonitoringClass* library_ = nullptr;
    ORX_MonitoringResource* participant_ = nullptr;
    DDS_Entity* writerEntity_ = nullptr;
    std::vector<ORX_MonitoringResource*> writers_;
    std::uint64_t asserted_ = 0;
    std::size_t empty_ = 0;
    std::mt19937_64 random_{1};
};

Child::Answer toFigures(const Tree::Answer& answer) {
    return {answer.deleteNanoseconds, answer.assertNanoseconds, answer.heapBytes};
}

} // namespace

Tree::Tree(std::size_t siblings)
    : siblings_{siblings}, child_{[siblings]() -> Child::Handler {
          auto owner = std::make_shared<Owner>(siblings);
          return [owner](std::size_t question) {
              return toFigures(question == askState ? owner->state() : owner->replace(question));
          };
      }} {}

Tree::Answer Tree::waitUntilBuilt() const {
    child_.waitUntilBuilt();
    return ask(askState);
}

Tree::Answer Tree::replace(std::size_t count) const {
    return ask(count);
}

Tree::Answer Tree::ask(std::size_t question) const {
    const Child::Answer figures = child_.ask(question);
    return {figures[0], figures[1], figures[2]};
}

} // namespace bench
