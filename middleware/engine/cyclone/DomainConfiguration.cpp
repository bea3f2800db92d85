#include "middleware/engine/cyclone/DomainConfiguration.hpp"

#include <cstring>

namespace zdds::engine {

namespace {

bool append(HeapArray<char>& text, const char* part) {
    for (; *part != '\0'; ++part)
        if (!text.append(*part))
            return false;
    return true;
}

bool isAddress(const char* peer) {
    return peer != nullptr && *peer != '\0' && std::strpbrk(peer, "<>&\"', \t\n") == nullptr;
}

bool appendPeer(HeapArray<char>& text, const char* peer) {
    return isAddress(peer) && append(text, "<Peer Address=\"") && append(text, peer) && append(text, "\"/>");
}

// Every process takes the first free index of its host, and with it ports that others can guess: so peers are
// asked at each of the possible ports. An announcement that is lost is made good by the next, so it comes
// more often than the library's 30 s. Multicast is left for discovery alone, since samples must not rely on
// it here.
constexpr const char* head =
    ",<CycloneDDS><Domain id=\"any\"><General><AllowMulticast>spdp</AllowMulticast></General><Discovery>"
    "<ParticipantIndex>auto</ParticipantIndex><MaxAutoParticipantIndex>99</MaxAutoParticipantIndex>"
    "<SPDPInterval>10s</SPDPInterval><Peers>";
constexpr const char* tail = "</Peers></Discovery></Domain></CycloneDDS>";

// The engine opens the file anew for each domain of the process, and empties it.
constexpr const char* traceToNowhere = ",<CycloneDDS><Domain id=\"any\"><Tracing><OutputFile>/dev/null"
                                       "</OutputFile></Tracing></Domain></CycloneDDS>";

bool appendPeers(HeapArray<char>& text, std::span<const char* const> peers) {
    if (peers.empty())
        return true;
    if (!append(text, head))
        return false;
    for (const char* peer : peers)
        if (!appendPeer(text, peer))
            return false;
    return append(text, tail);
}

} // namespace

// Elements are written in any case.
bool mayNameTraceFile(const char* environment) {
    if (environment == nullptr)
        return false;
    const char* start = environment + std::strspn(environment, ", \t\n");
    return *start != '\0' && (*start != '<' || strcasestr(start, "OutputFile") != nullptr ||
                                 strcasestr(start, "file:") != nullptr);
}

bool writeDomainConfiguration(
    HeapArray<char>& text, const char* environment, std::span<const char* const> peers, bool leavesTrace) {
    return append(text, environment != nullptr ? environment : "") && appendPeers(text, peers) &&
           (!leavesTrace || append(text, traceToNowhere)) && text.append('\0');
}

} // namespace zdds::engine
