// The other process of a contract test: see PeerProtocol.hpp.
// Usage: engine_contract_peer reader|writer DOMAIN TOPIC [besteffort] [keyed] [partition=NAME] [peer=ADDRESS]
// [lease=SECONDS]
#include <cstdio>
#include <iostream>

#include "tests/contract/PeerProtocol.hpp"

namespace {

using namespace contract;

std::mutex outputMutex;

void tell(const std::string& line) {
    std::lock_guard lock(outputMutex);
    std::cout << line << std::endl;
}

class TellingReader final : public eng::ReaderSink {
public:
    void onSample(const eng::IncomingSample& s) override {
        tell(textOf(
            Received{{s.bytes.begin(), s.bytes.end()}, s.writer, s.sequenceNumber, s.sourceTimeNs, s.kind}));
    }
    void onMatched(const eng::RemoteEndpoint& writer) override { tell("matched " + textOf(writer)); }
    void onUnmatched(const eng::RemoteEndpoint& writer) override { tell("unmatched " + textOf(writer)); }
};

class TellingWriter final : public eng::WriterSink {
public:
    void onMatched(const eng::RemoteEndpoint& reader) override { tell("matched " + textOf(reader)); }
    void onUnmatched(const eng::RemoteEndpoint& reader) override { tell("unmatched " + textOf(reader)); }
};

struct Arguments {
    bool isReader = false;
    DDS_DomainId_t domain = 0;
    std::string topic;
    Quality quality;
    bool keyed = false;
    std::string partition;
    std::string peer;
    int64_t leaseNs = 0;
};

Arguments parse(int count, char** texts) {
    Arguments result;
    result.isReader = std::string(texts[1]) == "reader";
    result.domain = std::stoi(texts[2]);
    result.topic = texts[3];
    for (int i = 4; i < count; ++i) {
        const std::string text = texts[i];
        if (text == "besteffort")
            result.quality.reliable = false;
        if (text == "keyed")
            result.keyed = true;
        if (text.rfind("partition=", 0) == 0)
            result.partition = text.substr(10);
        if (text.rfind("peer=", 0) == 0)
            result.peer = text.substr(5);
        if (text.rfind("lease=", 0) == 0)
            result.leaseNs = std::stoll(text.substr(6)) * second;
    }
    return result;
}

class Endpoint {
public:
    explicit Endpoint(const Arguments& arguments) : arguments_(arguments) {
        const char* peer = arguments.peer.c_str();
        const std::span<const char* const> peers{&peer, arguments.peer.empty() ? 0U : 1U};
        participant_.reset(eng::cyclone().createParticipant(
            {.domainId = arguments.domain, .name = "peer", .leaseNs = arguments.leaseNs, .peers = peers}));
        renew();
    }

    void renew() {
        writer_.reset();
        reader_.reset();
        if (!participant_)
            return;
        const char* partition = arguments_.partition.c_str();
        const std::span<const char* const> partitions{&partition, arguments_.partition.empty() ? 0U : 1U};
        const eng::TopicInfo info = topicInfo(arguments_.topic, arguments_.keyed);
        if (arguments_.isReader)
            reader_.reset(
                participant_->createReader(info, readerQos(arguments_.quality), partitions, &readerSink_));
        else
            writer_.reset(
                participant_->createWriter(info, writerQos(arguments_.quality), partitions, &writerSink_));
        if (reader_ || writer_)
            tell("guid " + textOf(eng::RemoteEndpoint{
                               reader_ ? reader_->guid() : writer_->guid(), participant_->guid()}));
    }

    bool exists() const { return reader_ || writer_; }

    eng::Status obey(const std::string& line) {
        const size_t space = line.find(' ');
        const std::string command = line.substr(0, space),
                          text = space == std::string::npos ? "" : line.substr(space + 1);
        if (command == "renew")
            return renew(), eng::Status::ok;
        if (command == "acknowledged")
            return writer_->waitForAcknowledgments(std::stoll(text) * 1'000'000);
        const Bytes bytes = arguments_.keyed ? keyedSample(text) : sample(text);
        const auto kind = command == "dispose"      ? eng::SampleKind::dispose
                          : command == "unregister" ? eng::SampleKind::unregister
                                                    : eng::SampleKind::data;
        return write(*writer_, bytes, kind);
    }

private:
    const Arguments arguments_;
    TellingReader readerSink_;
    TellingWriter writerSink_;
    ParticipantPointer participant_;
    WriterPointer writer_;
    ReaderPointer reader_;
};

} // namespace

int main(int count, char** texts) {
    if (count < 4)
        return 2;
    Endpoint endpoint(parse(count, texts));
    if (!endpoint.exists())
        return 1;
    for (std::string line; std::getline(std::cin, line);) {
        const eng::Status status = endpoint.obey(line);
        tell(status == eng::Status::ok ? "ok" : "failed " + std::to_string(static_cast<int>(status)));
    }
    return 0;
}
