// The text that configures a domain for hosts without multicast.
#ifndef ZDDSC_ENGINE_CYCLONE_DOMAIN_CONFIGURATION_HPP
#define ZDDSC_ENGINE_CYCLONE_DOMAIN_CONFIGURATION_HPP

#include <span>

#include "middleware/engine/HeapObject.hpp"

namespace zdds::engine {

// Writes the configuration, with its terminator. environment: the configuration of the environment, which
// comes first so that what follows wins; null or empty is none. A peer is a host name or an address, with a
// port or without; characters that have a meaning in XML are refused. False when memory is out or a peer is
// no address.
bool writeDomainConfiguration(
    HeapArray<char>& text, const char* environment, std::span<const char* const> peers);

} // namespace zdds::engine

#endif
