// The schema as text, read from the descriptors: what an IDL reader would want to know, one line a type or
// member.
#ifndef TESTS_UNIT_DATA_MODEL_SCHEMA_TEXT_HPP
#define TESTS_UNIT_DATA_MODEL_SCHEMA_TEXT_HPP

#include <string>

#include "zddsc/type_descriptor.h"

inline std::string typeText(const DDS_TypeDescriptor& type) {
    if (*type.name != '\0' && type.kind > DDS_TYPE_STRING && type.kind <= DDS_TYPE_ALIAS)
        return type.name;
    switch (type.kind) {
    case DDS_TYPE_BOOLEAN:
        return "boolean";
    case DDS_TYPE_OCTET:
        return "octet";
    case DDS_TYPE_CHAR:
        return "char";
    case DDS_TYPE_SHORT:
        return "short";
    case DDS_TYPE_USHORT:
        return "unsigned short";
    case DDS_TYPE_LONG:
        return "long";
    case DDS_TYPE_ULONG:
        return "unsigned long";
    case DDS_TYPE_LONGLONG:
        return "long long";
    case DDS_TYPE_ULONGLONG:
        return "unsigned long long";
    case DDS_TYPE_FLOAT:
        return "float";
    case DDS_TYPE_DOUBLE:
        return "double";
    case DDS_TYPE_STRING:
        return type.bound == 0 ? "string" : "string<" + std::to_string(type.bound) + ">";
    case DDS_TYPE_ARRAY:
        return typeText(*type.element) + "[" + std::to_string(type.bound) + "]";
    case DDS_TYPE_SEQUENCE:
        return "sequence<" + typeText(*type.element) +
               (type.bound == 0 ? ">" : "," + std::to_string(type.bound) + ">");
    default:
        return type.name;
    }
}

inline const char* observableText(DDS_TypeObservable observable) {
    switch (observable) {
    case DDS_TYPE_OBSERVABLE_NONE:
        return "";
    case DDS_TYPE_OBSERVABLE_UNSPECIFIED:
        return " observable UNSPECIFIED";
    case DDS_TYPE_OBSERVABLE_PERIODIC:
        return " observable PERIODIC";
    case DDS_TYPE_OBSERVABLE_ON_CHANGE:
        return " observable ON_CHANGE";
    }
    return " observable ?";
}

inline const char* extensibilityText(DDS_TypeExtensibility extensibility) {
    return extensibility == DDS_TYPE_FINAL     ? " final"
           : extensibility == DDS_TYPE_MUTABLE ? " mutable"
                                               : " appendable";
}

inline std::string memberText(const DDS_TypeMember& member) {
    std::string text = "  ";
    for (DDS_UnsignedLong i = 0; i < member.labelCount; ++i)
        text += std::to_string(member.labels[i]) + ": ";
    text += std::string(member.name) + " " + typeText(*member.type) + " id " + std::to_string(member.id);
    if ((member.flags & DDS_MEMBER_FLAG_OPTIONAL) != 0)
        text += " optional";
    return text + observableText(member.observable) + "\n";
}

inline std::string definitionText(const DDS_TypeDescriptor& type) {
    std::string text;
    switch (type.kind) {
    case DDS_TYPE_ALIAS:
        return std::string("alias ") + type.name + " = " + typeText(*type.element) + "\n";
    case DDS_TYPE_ENUM:
        text = std::string("enum ") + type.name + extensibilityText(type.extensibility) + "\n";
        for (DDS_UnsignedLong i = 0; i < type.literalCount; ++i) {
            text += std::string("  ") + type.literals[i].name + " = " +
                    std::to_string(type.literals[i].value) + "\n";
        }
        return text;
    case DDS_TYPE_UNION:
        text = std::string("union ") + type.name + extensibilityText(type.extensibility) + " switch " +
               typeText(*type.discriminator) + " default " + std::to_string(type.defaultDiscriminator);
        break;
    default:
        text = std::string("struct ") + type.name + extensibilityText(type.extensibility) +
               observableText(type.observable);
        if (type.resource != nullptr) {
            text += std::string(" resource ") + type.resource->className + " owner " +
                    (type.resource->owner != nullptr ? type.resource->owner : "none") + " root " +
                    (type.resource->isRoot ? "yes" : "no");
        }
        break;
    }
    text += "\n";
    for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i)
        text += memberText(type.members[i]);
    return text;
}

#endif
