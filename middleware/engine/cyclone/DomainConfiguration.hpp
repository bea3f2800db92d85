// The text that configures a domain: for hosts without multicast, and beside a program.
#ifndef ZDDSC_ENGINE_CYCLONE_DOMAIN_CONFIGURATION_HPP
#define ZDDSC_ENGINE_CYCLONE_DOMAIN_CONFIGURATION_HPP

#include <span>

#include "middleware/engine/HeapObject.hpp"

namespace zdds::engine {

// Writes the configuration, with its terminator. environment: the configuration of the environment, which
// comes first so that what follows wins; null or empty is none. A peer is a host name or an address, with a
// port or without; characters that have a meaning in XML are refused. leavesTrace: whatever the environment
// has traced goes nowhere. False when memory is out or a peer is no address.
bool writeDomainConfiguration(HeapArray<char>& text, const char* environment,
    std::span<const char* const> peers, bool leavesTrace = false);

// Whether a configuration of the environment may name a file for tracing; one in files may.
bool mayNameTraceFile(const char* environment);

} // namespace zdds::engine

#endif
