// How messages name a command: by the hash of its operation and its identifier.
#ifndef ORX_COMMAND_TEXT_HPP
#define ORX_COMMAND_TEXT_HPP

#include "src/resource/GuidText.hpp"

#define ORX_UUID_FORMAT "(" ORX_GUID_FORMAT ")"
// For "... with hash %d and UUID: " ORX_UUID_FORMAT and its like.
#define ORX_COMMAND_ARGUMENTS(eventData)                                                                     \
    (eventData).command.data._d, ORX_GUID_ARGUMENTS((eventData).commandUuid.value)

#endif
