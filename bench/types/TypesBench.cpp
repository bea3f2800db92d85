// What it costs to encode and to decode what is published, beside Cyclone DDS's own serializer at work on
// types that idlc made from the same IDL, on the same bytes.
//
// Both encode into memory that is there already. Both decode checked: bounds, lengths, enumerators and labels
// of foreign bytes are looked at before anything is made of them.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/common/Compare.hpp"
#include "bench/types/Peer.h"
#include "bench/types/Samples.hpp"
#include "orxmonitoring2d/data_model.h"
#include "zddsc/type_engine.h"

namespace {

constexpr std::size_t batch = 200;
constexpr std::size_t rounds = 200;
constexpr std::size_t headerSize = 4; // encapsulation

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "types_bench: %s\n", what.c_str());
    std::exit(1);
}
void check(bool isRight, const char* what) {
    if (!isRight)
        fail(what);
}

// One sample, on both sides.
class Subject {
public:
    Subject(const char* name, const DDS_TypeCode& type, PeerTopic topic, void* sample)
        : name_{name}, type_{type}, sample_{sample}, scratch_{DDS_Type_create_data(&type)} {
        DDS_UnsignedLong length = 0;
        check(DDS_Type_serialize_to_cdr_buffer(&type_, nullptr, &length, sample_), "no size");
        bytes_.resize(length);
        check(DDS_Type_serialize_to_cdr_buffer(&type_, bytes_.data(), &length, sample_), "not serialized");
        room_ = bytes_;
        const std::size_t padding = static_cast<unsigned char>(bytes_[3]) & 3U;
        const std::size_t size = length - headerSize - padding;
        peer_ = Peer_new(topic, bytes_.data() + headerSize, size);
        if (peer_ == nullptr)
            fail(std::string{"the peer refuses "} + name);
        check(Peer_encode(peer_) == size &&
                  std::memcmp(Peer_encoded(peer_), bytes_.data() + headerSize, size) == 0,
            "the peer writes other bytes");
    }
    ~Subject() {
        Peer_delete(peer_);
        DDS_Type_destroy_data(&type_, scratch_);
        DDS_Type_destroy_data(&type_, sample_);
    }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    bench::Table encode() {
        return compare(
            "Encoding: ", [this] { check(Peer_encode(peer_) != 0, "peer"); },
            [this] {
                auto length = static_cast<DDS_UnsignedLong>(room_.size());
                check(DDS_Type_serialize_to_cdr_buffer(&type_, room_.data(), &length, sample_),
                    "not serialized");
            });
    }
    bench::Table decode() {
        return compare(
            "Checked decoding into a sample that lives on: ", [this] { check(Peer_decode(peer_), "peer"); },
            [this] { read(scratch_); });
    }
    bench::Table decodeIntoNew() {
        return compare(
            "Checked decoding into a new sample: ", [this] { check(Peer_decodeIntoNew(peer_), "peer"); },
            [this] {
                void* sample = DDS_Type_create_data_from_cdr_buffer(
                    &type_, bytes_.data(), static_cast<DDS_UnsignedLong>(bytes_.size()));
                check(sample != nullptr, "not deserialized");
                DDS_Type_destroy_data(&type_, sample);
            });
    }

private:
    void read(void* sample) {
        check(DDS_Type_deserialize_from_cdr_buffer(
                  &type_, sample, bytes_.data(), static_cast<DDS_UnsignedLong>(bytes_.size())),
            "not deserialized");
    }

    template <typename Theirs, typename Ours>
    bench::Table compare(const char* what, const Theirs& theirs, const Ours& ours) const {
        const auto repeat = [](auto once) {
            return [once](std::size_t count) {
                for (std::size_t i = 0; i < count; ++i)
                    once();
            };
        };
        std::vector<bench::Candidate> candidates{
            {"Cyclone DDS's serializer", repeat(theirs)}, {"ours", repeat(ours)}};
        bench::Table table = bench::compare(what + name_,
            std::to_string(bytes_.size()) + " bytes; ratio to the peer", candidates, batch, rounds);
        countHeap(table.rows[0], theirs);
        countHeap(table.rows[1], ours);
        return table;
    }

    template <typename Once> static void countHeap(bench::Row& row, const Once& once) {
        const std::uint64_t before = bench::heapCalls();
        for (int i = 0; i < 100; ++i)
            once();
        row.heapCalls = static_cast<double>(bench::heapCalls() - before) / 100;
    }

    std::string name_;
    const DDS_TypeCode& type_;
    void* sample_;
    void* scratch_;
    Peer* peer_ = nullptr;
    std::vector<char> bytes_;
    std::vector<char> room_;
};

} // namespace

int main(int argc, char** argv) {
    Subject subjects[]{
        {"event with a metric", *DDS_Monitoring_Event_get_typecode(), PEER_EVENT, bench::makeMetricEvent()},
        {"creation of a resource", *DDS_Monitoring_Event_get_typecode(), PEER_EVENT,
            bench::makeCreationEvent()},
        {"update of 8 log messages", *DDS_Monitoring_Logging_get_typecode(), PEER_LOGGING,
            bench::makeLoggingUpdate()},
        {"periodic with protocol status", *DDS_Monitoring_Periodic_get_typecode(), PEER_PERIODIC,
            bench::makePeriodic()},
    };
    std::vector<bench::Table> tables;
    for (Subject& subject : subjects)
        tables.push_back(subject.encode());
    for (Subject& subject : subjects)
        tables.push_back(subject.decode());
    for (Subject& subject : subjects)
        tables.push_back(subject.decodeIntoNew());
    for (const bench::Table& table : tables)
        bench::print(table);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
