// A matched pair over a loopback engine.
#ifndef TESTS_UNIT_ENGINE_LOOPBACK_FIXTURE_HPP
#define TESTS_UNIT_ENGINE_LOOPBACK_FIXTURE_HPP

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "tests/contract/ContractFixture.hpp"
#include "zddscore/heap.h"

namespace contract {

class LoopbackPair {
public:
    explicit LoopbackPair(
        eng::LoopbackEngine& engine, const Quality& writerQuality = {}, const Quality& readerQuality = {}) {
        participant.reset(engine.createParticipant({.domainId = 50, .name = "pair", .peers = {}}));
        if (!participant)
            return;
        writer = makeWriter(*participant, "Pair", &writerSink, writerQuality);
        reader = makeReader(*participant, "Pair", &readerSink, readerQuality);
    }
    eng::Status write(const std::string& body) { return contract::write(*writer, sample(body)); }

    WriterRecorder writerSink;
    ReaderRecorder readerSink;
    ParticipantPointer participant;
    WriterPointer writer;
    ReaderPointer reader;
};

using Bodies = std::vector<std::string>;

} // namespace contract

#endif
