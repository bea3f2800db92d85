// The options by which every tool that reads or sends joins the domain of the monitoring.
//
// Threads: any; nothing is kept.
#ifndef ORX_AGENT_JOINING_OPTIONS_HPP
#define ORX_AGENT_JOINING_OPTIONS_HPP

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "agent/Settings.hpp"
#include "reading/Words.hpp"

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

// --domain, and --peers, of which each is a list with commas in between. Both places are the caller's and
// stay while the application parses.
inline void addJoiningOptions(CLI::App& app, int& domain, std::vector<std::string>& peers) {
    app.add_option("--domain", domain, "domain of the monitoring")
        ->check(CLI::Range(0, reading::lastDomain))
        ->envname("ORX_DOMAIN");
    app.add_option("--peers", peers,
           "addresses to announce to, with commas between them, on a network without multicast")
        ->check(problemOfPeers, "")
        ->allow_extra_args(false)
        ->envname("ORX_PEERS");
}

} // namespace orx::agent

#endif
