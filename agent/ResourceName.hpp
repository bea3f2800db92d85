// Names of resources, made from names that programs give to their entities and topics.
//
// A resource's name is one component of a path expression, so what has a meaning there is replaced:
//
// - `/` (delimits components), `*` `?` `[` `]` `\` (patterns), `%` (the escape itself), the control
//   characters, and bytes that are not part of valid UTF-8 become `%` and two upper-case digits: the topic
//   "rt/chatter" becomes "rt%2Fchatter".
// - The `G` of a name that begins with "GUID(" becomes "%47": it would be read as a GUID.
// - A name that is "$" alone becomes "%24": it would stand for any depth.
//
// A result of more than 255 bytes keeps its first 237 bytes at most, never part of an escape or of a
// character, and ends in "%~" and 16 digits: the 64-bit FNV-1a hash of the whole name. No shorter name can
// look like that, as elsewhere two hexadecimal digits follow every `%`. The rule depends on the name alone,
// and two names give the same result only if their hashes collide.
//
// Threads: any; nothing is kept and nothing allocated.
#ifndef ORX_AGENT_RESOURCE_NAME_HPP
#define ORX_AGENT_RESOURCE_NAME_HPP

#include <cstddef>
#include <cstdint>

namespace orx::agent {

constexpr size_t maximumNameLength = 255;

struct ResourceName {
    char text[maximumNameLength + 1] = {};
};

// The name as it stands, by the rule above. An empty text gives an empty name.
ResourceName resourceName(const char* name);

// For entities without a name of their own: the name by the rule, an underscore and eight lower-case digits
// of `id`; the name is cut by the rule to leave room for them. "chatter" and 0x302 give "chatter_00000302".
ResourceName resourceName(const char* name, uint32_t id);

} // namespace orx::agent

#endif
