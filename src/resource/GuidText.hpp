// A GUID in names of resources and in messages. Path expressions write another form (PathTokenizer.h).
#ifndef ORX_MONITORING_GUID_TEXT_HPP
#define ORX_MONITORING_GUID_TEXT_HPP

#define ORX_GUID_FORMAT "0x%02X%02X%02X%02X,0x%02X%02X%02X%02X,0x%02X%02X%02X%02X:0x%02X%02X%02X%02X"
#define ORX_GUID_ARGUMENTS(guid)                                                                             \
    (guid)[0], (guid)[1], (guid)[2], (guid)[3], (guid)[4], (guid)[5], (guid)[6], (guid)[7], (guid)[8],       \
        (guid)[9], (guid)[10], (guid)[11], (guid)[12], (guid)[13], (guid)[14], (guid)[15]

// ", name: " and the name, or two empty texts, for the "%s%s" of a message.
#define ORX_NAME_ARGUMENTS(name) (name) != nullptr ? ", name: " : "", (name) != nullptr ? (name) : ""

// The entity's GUID or a name that is not empty must be given. The doubled backslash is how this text has
// always read.
#define ORX_GUID_OR_NAME_PRECONDITION                                                                        \
    "\"userResourceGuid == ((void *)0) && (resourceName == ((void *)0) || *resourceName == '\\\\0')\"\n"

#endif
