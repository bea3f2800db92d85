// The types of TestTypes.idl as they lie in memory here, and their descriptors.
#ifndef TESTS_UNIT_TYPES_TEST_TYPES_HPP
#define TESTS_UNIT_TYPES_TEST_TYPES_HPP

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "zddsc/type_engine.h"

namespace tt {

// A descriptor with the storage behind it.
class Type {
public:
    Type(DDS_TypeKind kind, const char* name, size_t size, size_t alignment,
        DDS_TypeExtensibility extensibility);
    static DDS_TypeMember member(const char* name, DDS_UnsignedLong id, size_t offset,
        const DDS_TypeDescriptor& type, DDS_UnsignedLong flags = 0);

    Type& members(std::initializer_list<DDS_TypeMember> list);
    Type& arms(const DDS_TypeDescriptor& discriminator, size_t offset, DDS_LongLong defaultDiscriminator,
        std::initializer_list<DDS_TypeMember> list);
    // Of the index-th arm, in order.
    Type& labels(size_t arm, std::initializer_list<DDS_LongLong> values);
    Type& element(const DDS_TypeDescriptor& type, DDS_UnsignedLong bound = 0);
    Type& bound(DDS_UnsignedLong value);
    Type& literals(std::initializer_list<DDS_TypeLiteral> list);
    Type& flags(DDS_UnsignedLong value);

    operator const DDS_TypeDescriptor&() const { return descriptor_; }
    const DDS_TypeDescriptor* operator&() const { return &descriptor_; }
    DDS_TypeDescriptor& descriptor() { return descriptor_; }

    Type(const Type&) = delete;
    Type& operator=(const Type&) = delete;

private:
    DDS_TypeDescriptor descriptor_{};
    DDS_TypeRuntime runtime_{};
    std::vector<DDS_TypeMember> members_;
    std::vector<std::vector<DDS_LongLong>> labels_;
    std::vector<DDS_TypeLiteral> literals_;
    std::vector<ORXXCdrMemberAccessInfo> access_;
};

typedef DDS_Octet Guid[16];
enum Level : DDS_Enum { LEVEL_LOW, LEVEL_MIDDLE, LEVEL_HIGH };
enum Mask : DDS_Enum { MASK_NONE, MASK_ONE, MASK_TWO = 3, MASK_ALL = 255 };

#define TT_SEQUENCE(Name, T)                                                                                 \
    struct Name {                                                                                            \
        DDS_SEQUENCE_FIELDS(T);                                                                              \
    }

struct Version {
    DDS_Octet major, minor, release, revision;
};
struct Time {
    DDS_LongLong sec;
    DDS_UnsignedLong nanosec;
};
struct Percent {
    DDS_UnsignedLong period, count;
    DDS_Octet mean, least, most;
};
struct FloatStat {
    DDS_UnsignedLong period;
    DDS_UnsignedLongLong count;
    DDS_Float mean, least, most;
};
struct Setting {
    Mask verbosity;
    DDS_Octet facility;
};
TT_SEQUENCE(SettingSeq, Setting);
struct Config {
    SettingSeq collection, forwarding;
};
struct Pair {
    char *name, *value;
};
TT_SEQUENCE(PairSeq, Pair);
struct Entry {
    char* key;
    PairSeq pairs;
};
TT_SEQUENCE(EntrySeq, Entry);
struct Message {
    DDS_UnsignedLongLong sn;
    DDS_Octet facility;
    Level severity;
    Time stamp;
    char* host;
    char* application;
    DDS_Long* process;
    Percent* load;
    char* id;
    char* text;
    EntrySeq data;
};
TT_SEQUENCE(MessageSeq, Message);
typedef Message* MessageReference;
TT_SEQUENCE(MessageReferenceSeq, MessageReference);
struct Log {
    Guid root;
    DDS_Boolean snapshot;
    MessageReferenceSeq* update;
    MessageSeq* history;
};
TT_SEQUENCE(GuidSeq, Guid);
struct Creation {
    Guid guid;
    GuidSeq needs;
    DDS_UnsignedLong kind;
    char* name;
    DDS_UnsignedLongSeq metrics;
};
struct Deletion {
    Guid guid;
};
struct Update {
    DDS_Long _d;
    struct {
        Creation creation;
        Deletion deletion;
        DDS_UnsignedLongSeq change;
    } _u;
};
struct Choice {
    Level _d;
    struct {
        DDS_Octet low;
        DDS_Double high;
        char* other;
    } _u;
};
TT_SEQUENCE(ChoiceSeq, Choice);
TT_SEQUENCE(DoubleSeq, DDS_Double);
struct Resource {
    Guid* guid;
    DDS_Long* domain;
    Version* version;
    char* platform;
    Percent* percent;
    FloatStat* rate;
    DDS_OctetSeq* identifier;
    Config* config;
    Update* change;
    DDS_Boolean* flag;
    DDS_UnsignedLongLong* process;
    Level* level;
    DDS_LongSeq* longs;
    DDS_StringSeq* names;
    DDS_Double* wide;
    DDS_Short* narrow;
    DoubleSeq* doubles;
    char* name;
};
TT_SEQUENCE(ResourceSeq, Resource);
struct Required {
    DDS_Long number;
    char* text;
    Guid guid;
    DDS_OctetSeq bytes;
    DDS_Octet small;
    Percent percent;
    Level levels[2];
    Choice choice;
};
struct Value {
    DDS_UnsignedLong _d;
    struct {
        Resource resource;
        Required required;
    } _u;
};
struct Event {
    Guid guid;
    DDS_UnsignedLongLong epoch;
    DDS_Boolean snapshot;
    Value value;
};
TT_SEQUENCE(LevelSeq, Level);
struct Everything {
    DDS_Boolean truth;
    DDS_Char letter;
    DDS_Short narrow;
    DDS_UnsignedShort natural;
    DDS_Long number;
    DDS_LongLong wide;
    DDS_Float real;
    DDS_Double precise;
    DDS_Long numbers[3];
    char* names[2];
    Level levels[3];
    Percent percents[2];
    Guid guids[2];
    Entry entries[2];
    GuidSeq guidList;
    LevelSeq levelList;
    DDS_BooleanSeq truths;
    DoubleSeq reals;
    SettingSeq settings;
    ChoiceSeq choices;
    ResourceSeq resources;
    DDS_StringSeq words;
    Choice choice;
    DDS_Octet last;
};
struct Plain {
    DDS_Octet first;
    DDS_Long second;
    DDS_Octet third;
    DDS_Double fourth;
    DDS_UnsignedShort fifth;
};

#undef TT_SEQUENCE

extern Type levelType, maskType, guidType, identifierType, versionType, timeType, percentType, floatStatType,
    settingType, settingSeqType, configType, pairType, pairSeqType, entryType, entrySeqType, messageType,
    messageSeqType, messageReferenceType, messageReferenceSeqType, logType, guidSeqType, creationType,
    deletionType, updateType, choiceType, resourceType, requiredType, valueType, eventType, everythingType,
    plainType, unsignedLongSeqType, longSeqType, stringSeqType, wordSeqType, doubleSeqType, resourceSeqType;

// Every structure and union, for tests that hold for all.
std::vector<const DDS_TypeDescriptor*> allTypes();

} // namespace tt

#endif
