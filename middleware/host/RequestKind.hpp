// What a command asks for, told from the first bytes of its body.
//
// The host paces commands that multiply traffic before anybody decodes them. So it looks at the one number
// that names the operation, and at nothing else: constant time, whatever the body holds.
#ifndef ZDDSC_HOST_REQUEST_KIND_HPP
#define ZDDSC_HOST_REQUEST_KIND_HPP

#include <cstdint>
#include <span>

namespace zdds::host {

// False only for a body whose operation is certainly another. A body that cannot be read counts as one that
// asks for the registry, so that no disguise escapes the pace.
bool mayRequestRegistry(std::span<const uint8_t> body);

} // namespace zdds::host

#endif
