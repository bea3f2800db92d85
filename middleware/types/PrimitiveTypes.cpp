// Descriptors of the types that need no declaration.
#include "zddsc/type_descriptor.h"

#define PRIMITIVE(name, kind, T, schemaName)                                                                 \
    namespace {                                                                                              \
    DDS_TypeRuntime name##Runtime{};                                                                         \
    }                                                                                                        \
    const DDS_TypeDescriptor DDS_g_type_##name = {kind, schemaName, sizeof(T), alignof(T), DDS_TYPE_FINAL,   \
        5, 0, DDS_TYPE_OBSERVABLE_NONE, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, 0, nullptr, 0,          \
        &name##Runtime, nullptr};

PRIMITIVE(boolean, DDS_TYPE_BOOLEAN, DDS_Boolean, "boolean")
PRIMITIVE(octet, DDS_TYPE_OCTET, DDS_Octet, "octet")
PRIMITIVE(char, DDS_TYPE_CHAR, DDS_Char, "char")
PRIMITIVE(short, DDS_TYPE_SHORT, DDS_Short, "short")
PRIMITIVE(ushort, DDS_TYPE_USHORT, DDS_UnsignedShort, "unsigned short")
PRIMITIVE(long, DDS_TYPE_LONG, DDS_Long, "long")
PRIMITIVE(ulong, DDS_TYPE_ULONG, DDS_UnsignedLong, "unsigned long")
PRIMITIVE(longlong, DDS_TYPE_LONGLONG, DDS_LongLong, "long long")
PRIMITIVE(ulonglong, DDS_TYPE_ULONGLONG, DDS_UnsignedLongLong, "unsigned long long")
PRIMITIVE(float, DDS_TYPE_FLOAT, DDS_Float, "float")
PRIMITIVE(double, DDS_TYPE_DOUBLE, DDS_Double, "double")
PRIMITIVE(string, DDS_TYPE_STRING, DDS_Char*, "string")

#undef PRIMITIVE
