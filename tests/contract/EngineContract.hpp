// The fixture of the suite that every engine passes: INSTANTIATE with allEngines.
#ifndef TESTS_CONTRACT_ENGINE_CONTRACT_HPP
#define TESTS_CONTRACT_ENGINE_CONTRACT_HPP

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "tests/contract/ContractFixture.hpp"
#include "zddscore/heap.h"

namespace contract {

enum class EngineKind { cyclone, loopback };

inline void PrintTo(EngineKind kind, std::ostream* out) {
    *out << (kind == EngineKind::cyclone ? "cyclone" : "loopback");
}

class EngineContract : public testing::TestWithParam<EngineKind> {
protected:
    EngineContract() : buffersBefore_(ORXOsapiHeap_getLiveBufferCount()) {
        if (GetParam() == EngineKind::loopback)
            loopback_ = std::make_unique<eng::LoopbackEngine>();
    }
    // With its last participant an engine gives everything back.
    ~EngineContract() override {
        if (loopback_) {
            EXPECT_EQ(loopback_->liveObjects(), 0);
        }
        loopback_.reset();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffersBefore_);
    }

    eng::Engine& engine() { return loopback_ ? static_cast<eng::Engine&>(*loopback_) : eng::cyclone(); }
    ParticipantPointer participant(DDS_DomainId_t domain = testDomain(0)) {
        return ParticipantPointer{
            engine().createParticipant({.domainId = domain, .name = "contract", .peers = {}})};
    }

private:
    const ORX_UINT64 buffersBefore_;
    std::unique_ptr<eng::LoopbackEngine> loopback_;
};

inline const auto allEngines = testing::Values(EngineKind::cyclone, EngineKind::loopback);
inline std::string engineName(const testing::TestParamInfo<EngineKind>& info) {
    return testing::PrintToString(info.param);
}

} // namespace contract

#endif
