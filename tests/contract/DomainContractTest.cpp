// How a domain comes to be configured, and when it goes.
#include "middleware/engine/cyclone/DomainConfiguration.hpp"
#include "tests/contract/PeerProcess.hpp"
#include "zddscore/heap.h"

// The program beside us: it uses the library by itself. (Its header clashes with ours, so the few functions
// are declared here.)
extern "C" {
int32_t dds_create_domain(uint32_t domain, const char* configuration);
int32_t dds_create_participant(uint32_t domain, const void* qos, const void* listener);
int32_t dds_get_domainid(int32_t entity, uint32_t* domain);
int32_t dds_delete(int32_t entity);
}

namespace contract {
namespace {

const DDS_DomainId_t domain = testDomain(4);
constexpr const char* loopbackDeviceAlone =
    "<CycloneDDS><Domain id=\"any\"><General><Interfaces><NetworkInterface "
    "name=\"lo\"/></Interfaces></General>"
    "</Domain></CycloneDDS>";

class Environment {
public:
    explicit Environment(const char* configuration) : before_(getenv("CYCLONEDDS_URI")) {
        setenv("CYCLONEDDS_URI", configuration, 1);
    }
    ~Environment() { setenv("CYCLONEDDS_URI", before_.c_str(), 1); }

private:
    const std::string before_;
};

ParticipantPointer participantWithPeers(std::vector<const char*> peers) {
    return ParticipantPointer{
        eng::cyclone().createParticipant({.domainId = domain, .name = nullptr, .peers = peers})};
}

std::string configurationOf(const char* environment, std::vector<const char*> peers) {
    eng::HeapArray<char> text{"test"};
    return eng::writeDomainConfiguration(text, environment, peers) ? std::string(text.begin()) : "refused";
}

TEST(DomainConfiguration, PeersFollowTheEnvironment) {
    const std::string text = configurationOf("file:///etc/x.xml", {"10.0.0.1", "host:7410"});
    EXPECT_EQ(text.rfind("file:///etc/x.xml,<CycloneDDS>", 0), 0U) << text;
    EXPECT_NE(text.find("<Peer Address=\"10.0.0.1\"/><Peer Address=\"host:7410\"/>"), std::string::npos)
        << text;
    EXPECT_NE(text.find("<ParticipantIndex>auto</ParticipantIndex>"), std::string::npos);
    EXPECT_EQ(configurationOf(nullptr, {"a"}), configurationOf("", {"a"}));
}

TEST(DomainConfiguration, WhatIsNoAddressIsRefused) {
    for (const char* peer : {"", "a b", "\"/><Evil/>", "a,b", "<", "&amp;"})
        EXPECT_EQ(configurationOf(nullptr, {peer}), "refused") << peer;
    EXPECT_EQ(configurationOf(nullptr, {nullptr}), "refused");
}

TEST(DomainConfiguration, AGuestsTraceGoesNowhere) {
    eng::HeapArray<char> text{"test"};
    ASSERT_TRUE(eng::writeDomainConfiguration(text, "<a/>", {}, true));
    const std::string written(text.begin());
    EXPECT_EQ(written.rfind("<a/>,<CycloneDDS>", 0), 0U) << written;
    EXPECT_NE(written.find("<OutputFile>/dev/null</OutputFile>"), std::string::npos) << written;
    EXPECT_EQ(written.find("Peer"), std::string::npos) << written;
}

TEST(DomainConfiguration, AFileForTracingMayBeNamedInFiles) {
    for (const char* named : {"<Tracing><outputfile>x</outputfile></Tracing>", "file:///etc/x.xml",
             "/etc/x.xml", "<General/>,file:///etc/x.xml"})
        EXPECT_TRUE(eng::mayNameTraceFile(named)) << named;
    for (const char* other : {"", " ", "<General/>", " ,<Tracing><Verbosity>config</Verbosity></Tracing>"})
        EXPECT_FALSE(eng::mayNameTraceFile(other)) << other;
    EXPECT_FALSE(eng::mayNameTraceFile(nullptr));
}

TEST(Domain, BadPeerFailsTheParticipant) {
    EXPECT_FALSE(participantWithPeers({"not an address"}));
    EXPECT_TRUE(participantWithPeers({"127.0.0.1"})) << "and spoils nothing";
}

TEST(Domain, PeersAloneLetTwoProcessesMeet) {
    Environment environment(loopbackDeviceAlone);
    const std::string topic = uniqueName("peers");
    ParticipantPointer participant = participantWithPeers({"127.0.0.1"});
    ASSERT_TRUE(participant);
    WriterRecorder sink;
    WriterPointer writer = makeWriter(*participant, topic, &sink);
    PeerProcess reader({"reader", std::to_string(domain), topic, "peer=127.0.0.1"});
    ASSERT_TRUE(reader.isUp());
    EXPECT_TRUE(sink.waitForMatches(1));
    ASSERT_EQ(write(*writer, sample("x")), eng::Status::ok);
    EXPECT_FALSE(reader.expectLine("sample ").empty());
}

TEST(Domain, AnExistingDomainIsJoinedAsItIs) {
    ParticipantPointer first{
        eng::cyclone().createParticipant({.domainId = domain, .name = nullptr, .peers = {}})};
    ParticipantPointer second = participantWithPeers({"127.0.0.1"});
    ASSERT_TRUE(first && second);
    WriterRecorder sink;
    const std::string topic = uniqueName("joined");
    WriterPointer writer = makeWriter(*first, topic, &sink);
    ReaderPointer reader = makeReader(*second, topic, nullptr);
    EXPECT_TRUE(sink.waitForMatches(1));
}

TEST(Domain, ItGoesWithItsLastParticipant) {
    const ORX_UINT64 buffers = ORXOsapiHeap_getLiveBufferCount();
    for (int i = 0; i < 2; ++i) {
        ParticipantPointer first = participantWithPeers({"127.0.0.1"});
        ParticipantPointer second = participantWithPeers({"127.0.0.1"});
        ASSERT_TRUE(first && second);
        EXPECT_LT(dds_create_domain(static_cast<uint32_t>(domain), ""), 0) << "it is there";
        first.reset();
        EXPECT_LT(dds_create_domain(static_cast<uint32_t>(domain), ""), 0) << "it stays for the second";
        second.reset();
        const int32_t free = dds_create_domain(static_cast<uint32_t>(domain), "");
        EXPECT_GT(free, 0) << "and is gone after that";
        if (free > 0)
            dds_delete(free);
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(Domain, ProgramsParticipantsOutliveOurs) {
    ParticipantPointer ours = participantWithPeers({"127.0.0.1"});
    ASSERT_TRUE(ours);
    const int32_t programs = dds_create_participant(static_cast<uint32_t>(domain), nullptr, nullptr);
    ASSERT_GT(programs, 0);
    ours.reset();
    uint32_t id = 0;
    EXPECT_EQ(dds_get_domainid(programs, &id), 0);
    EXPECT_EQ(id, static_cast<uint32_t>(domain));
    // Who comes later finds the domain again, and takes it down in the end.
    ours = participantWithPeers({"127.0.0.1"});
    EXPECT_TRUE(ours);
    dds_delete(programs);
    ours.reset();
    const int32_t free = dds_create_domain(static_cast<uint32_t>(domain), "");
    EXPECT_GT(free, 0);
    if (free > 0)
        dds_delete(free);
}

} // namespace
} // namespace contract
