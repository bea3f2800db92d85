// The lines between a test and its peer process.
//
// The peer makes one participant and one endpoint, and tells what happens, one line each:
//   guid <endpoint> <participant>         once, when both exist
//   matched|unmatched <endpoint> <participant>
//   sample <writer> <number> <time> <kind> <body>
//   ok | failed <status>                  the result of a command
// It obeys lines on its standard input: "write|dispose|unregister <text>", "acknowledged <milliseconds>",
// "renew" (deletes the endpoint and makes another), and ends with the input. A body of more than 64
// characters is told as its length and its sum.
#ifndef TESTS_CONTRACT_PEER_PROTOCOL_HPP
#define TESTS_CONTRACT_PEER_PROTOCOL_HPP

#include <numeric>
#include <string>

#include "tests/contract/ContractFixture.hpp"

namespace contract {

inline std::string textOf(const DDS_GUID_t& guid) {
    std::string text;
    char octet[3];
    for (const DDS_Octet value : guid.value) {
        snprintf(octet, sizeof octet, "%02x", value);
        text += octet;
    }
    return text;
}
inline std::string textOf(const eng::RemoteEndpoint& remote) {
    return textOf(remote.endpoint) + " " + textOf(remote.participant);
}
inline std::string toldBody(const std::string& body) {
    if (body.size() <= 64)
        return body;
    const unsigned long sum = std::accumulate(body.begin(), body.end(), 0UL,
        [](unsigned long sofar, char c) { return sofar * 31 + static_cast<unsigned char>(c); });
    return std::to_string(body.size()) + ":" + std::to_string(sum);
}
inline std::string textOf(const Received& one) {
    return "sample " + textOf(one.writer) + " " + std::to_string(one.sequenceNumber) + " " +
           std::to_string(one.sourceTimeNs) + " " + std::to_string(static_cast<int>(one.kind)) + " " +
           toldBody(one.body());
}

} // namespace contract

#endif
