// The option --peers of the tools: lists of addresses with commas between them.
//
// Threads: any; nothing is kept.
#ifndef ORX_AGENT_PEER_LISTS_HPP
#define ORX_AGENT_PEER_LISTS_HPP

#include <string>
#include <vector>

#include "agent/Settings.hpp"

namespace orx::agent {

// Empty for a list of addresses, else what is wrong with it.
inline std::string problemOfPeers(const std::string& list) {
    Problem problem;
    checkPeers(list, problem);
    return problem.text;
}

inline std::vector<std::string> peersOf(const std::vector<std::string>& lists) {
    std::vector<std::string> peers;
    for (const std::string& list : lists) {
        std::string_view peer;
        for (std::string_view rest = list; nextItem(rest, peer);)
            peers.emplace_back(peer);
    }
    return peers;
}

} // namespace orx::agent

#endif
