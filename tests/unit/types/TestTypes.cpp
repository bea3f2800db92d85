#include "TestTypes.hpp"

#include <memory>

namespace tt {

Type::Type(
    DDS_TypeKind kind, const char* name, size_t size, size_t alignment, DDS_TypeExtensibility extensibility) {
    descriptor_.kind = kind;
    descriptor_.name = name;
    descriptor_.size = size;
    descriptor_.alignment = alignment;
    descriptor_.extensibility = extensibility;
    descriptor_.representationMask = 5;
    descriptor_.runtime = &runtime_;
}

DDS_TypeMember Type::member(const char* name, DDS_UnsignedLong id, size_t offset,
    const DDS_TypeDescriptor& type, DDS_UnsignedLong flags) {
    return {name, id, offset, &type, flags, DDS_TYPE_OBSERVABLE_NONE, nullptr, 0, 0, 0.0, nullptr};
}

Type& Type::members(std::initializer_list<DDS_TypeMember> list) {
    members_ = list;
    access_.resize(members_.size() + 1);
    descriptor_.members = members_.data();
    descriptor_.memberCount = static_cast<DDS_UnsignedLong>(members_.size());
    descriptor_.access = access_.data();
    return *this;
}

Type& Type::arms(const DDS_TypeDescriptor& discriminator, size_t offset, DDS_LongLong defaultDiscriminator,
    std::initializer_list<DDS_TypeMember> list) {
    members(list);
    labels_.resize(members_.size());
    descriptor_.discriminator = &discriminator;
    descriptor_.discriminatorOffset = offset;
    descriptor_.defaultDiscriminator = defaultDiscriminator;
    return *this;
}

Type& Type::labels(size_t arm, std::initializer_list<DDS_LongLong> values) {
    labels_[arm] = values;
    members_[arm].labels = labels_[arm].data();
    members_[arm].labelCount = static_cast<DDS_UnsignedLong>(values.size());
    return *this;
}

Type& Type::element(const DDS_TypeDescriptor& type, DDS_UnsignedLong count) {
    descriptor_.element = &type;
    descriptor_.bound = count;
    return *this;
}

Type& Type::bound(DDS_UnsignedLong value) {
    descriptor_.bound = value;
    return *this;
}

Type& Type::literals(std::initializer_list<DDS_TypeLiteral> list) {
    literals_ = list;
    descriptor_.literals = literals_.data();
    descriptor_.literalCount = static_cast<DDS_UnsignedLong>(literals_.size());
    return *this;
}

Type& Type::flags(DDS_UnsignedLong value) {
    descriptor_.flags = value;
    return *this;
}

namespace {

constexpr DDS_UnsignedLong optional = DDS_MEMBER_FLAG_OPTIONAL;

// Of the types without a name. Other static objects refer to them.
Type& make(
    DDS_TypeKind kind, const char* name, size_t size, size_t alignment, DDS_TypeExtensibility extensibility) {
    static std::vector<std::unique_ptr<Type>> types;
    return *types.emplace_back(std::make_unique<Type>(kind, name, size, alignment, extensibility));
}

} // namespace

#define SEQUENCE(T) make(DDS_TYPE_SEQUENCE, "", sizeof(T), alignof(T), DDS_TYPE_FINAL)
#define FIELD(T, name, id, type, ...)                                                                        \
    Type::member(#name, id, offsetof(T, name), type __VA_OPT__(, ) __VA_ARGS__)
#define ARM(T, name, id, type, ...)                                                                          \
    Type::member(#name, id, offsetof(T, _u.name), type __VA_OPT__(, ) __VA_ARGS__)
#define ARRAY(T, N, type)                                                                                    \
    make(DDS_TYPE_ARRAY, "", sizeof(T) * (N), alignof(T), DDS_TYPE_FINAL).element(type, N)
#define TEXT(N) make(DDS_TYPE_STRING, "", sizeof(char*), alignof(char*), DDS_TYPE_FINAL).bound(N)
#define g(name) DDS_g_type_##name

Type levelType(DDS_TYPE_ENUM, "tt::Level", 4, 4, DDS_TYPE_APPENDABLE);
Type maskType(DDS_TYPE_ENUM, "tt::Mask", 4, 4, DDS_TYPE_APPENDABLE);
Type guidType(DDS_TYPE_ALIAS, "tt::Guid", 16, 1, DDS_TYPE_FINAL);
Type identifierType(
    DDS_TYPE_ALIAS, "tt::Identifier", sizeof(DDS_OctetSeq), alignof(DDS_OctetSeq), DDS_TYPE_FINAL);
Type versionType(DDS_TYPE_STRUCT, "tt::Version", sizeof(Version), alignof(Version), DDS_TYPE_FINAL);
Type timeType(DDS_TYPE_STRUCT, "tt::Time", sizeof(Time), alignof(Time), DDS_TYPE_FINAL);
Type percentType(DDS_TYPE_STRUCT, "tt::Percent", sizeof(Percent), alignof(Percent), DDS_TYPE_APPENDABLE);
Type floatStatType(
    DDS_TYPE_STRUCT, "tt::FloatStat", sizeof(FloatStat), alignof(FloatStat), DDS_TYPE_APPENDABLE);
Type settingType(DDS_TYPE_STRUCT, "tt::Setting", sizeof(Setting), alignof(Setting), DDS_TYPE_APPENDABLE);
Type settingSeqType(DDS_TYPE_SEQUENCE, "", sizeof(SettingSeq), alignof(SettingSeq), DDS_TYPE_FINAL);
Type configType(DDS_TYPE_STRUCT, "tt::Config", sizeof(Config), alignof(Config), DDS_TYPE_APPENDABLE);
Type pairType(DDS_TYPE_STRUCT, "tt::Pair", sizeof(Pair), alignof(Pair), DDS_TYPE_FINAL);
Type pairSeqType(DDS_TYPE_SEQUENCE, "", sizeof(PairSeq), alignof(PairSeq), DDS_TYPE_FINAL);
Type entryType(DDS_TYPE_STRUCT, "tt::Entry", sizeof(Entry), alignof(Entry), DDS_TYPE_FINAL);
Type entrySeqType(DDS_TYPE_SEQUENCE, "", sizeof(EntrySeq), alignof(EntrySeq), DDS_TYPE_FINAL);
Type messageType(DDS_TYPE_STRUCT, "tt::Message", sizeof(Message), alignof(Message), DDS_TYPE_APPENDABLE);
Type messageSeqType(DDS_TYPE_SEQUENCE, "", sizeof(MessageSeq), alignof(MessageSeq), DDS_TYPE_FINAL);
Type messageReferenceType(DDS_TYPE_ALIAS, "tt::MessageReference", 8, 8, DDS_TYPE_FINAL);
Type messageReferenceSeqType(DDS_TYPE_SEQUENCE, "", sizeof(MessageSeq), alignof(MessageSeq), DDS_TYPE_FINAL);
Type logType(DDS_TYPE_STRUCT, "tt::Log", sizeof(Log), alignof(Log), DDS_TYPE_APPENDABLE);
Type guidSeqType(DDS_TYPE_SEQUENCE, "", sizeof(GuidSeq), alignof(GuidSeq), DDS_TYPE_FINAL);
Type creationType(DDS_TYPE_STRUCT, "tt::Creation", sizeof(Creation), alignof(Creation), DDS_TYPE_APPENDABLE);
Type deletionType(DDS_TYPE_STRUCT, "tt::Deletion", sizeof(Deletion), alignof(Deletion), DDS_TYPE_APPENDABLE);
Type updateType(DDS_TYPE_UNION, "tt::Update", sizeof(Update), alignof(Update), DDS_TYPE_APPENDABLE);
Type choiceType(DDS_TYPE_UNION, "tt::Choice", sizeof(Choice), alignof(Choice), DDS_TYPE_FINAL);
Type resourceType(DDS_TYPE_STRUCT, "tt::Resource", sizeof(Resource), alignof(Resource), DDS_TYPE_MUTABLE);
Type requiredType(DDS_TYPE_STRUCT, "tt::Required", sizeof(Required), alignof(Required), DDS_TYPE_MUTABLE);
Type valueType(DDS_TYPE_UNION, "tt::Value", sizeof(Value), alignof(Value), DDS_TYPE_APPENDABLE);
Type eventType(DDS_TYPE_STRUCT, "tt::Event", sizeof(Event), alignof(Event), DDS_TYPE_APPENDABLE);
Type everythingType(
    DDS_TYPE_STRUCT, "tt::Everything", sizeof(Everything), alignof(Everything), DDS_TYPE_APPENDABLE);
Type plainType(DDS_TYPE_STRUCT, "tt::Plain", sizeof(Plain), alignof(Plain), DDS_TYPE_FINAL);
Type unsignedLongSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
Type longSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
Type stringSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
Type wordSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
Type doubleSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);
Type resourceSeqType(DDS_TYPE_SEQUENCE, "", sizeof(DDS_LongSeq), alignof(DDS_LongSeq), DDS_TYPE_FINAL);

namespace {

bool fillTypes() {
    levelType.literals({{"LEVEL_LOW", 0}, {"LEVEL_MIDDLE", 1}, {"LEVEL_HIGH", 2}});
    maskType.literals({{"MASK_NONE", 0}, {"MASK_ONE", 1}, {"MASK_TWO", 3}, {"MASK_ALL", 255}});
    guidType.element(ARRAY(DDS_Octet, 16, g(octet)));
    identifierType.element(SEQUENCE(DDS_OctetSeq).element(g(octet), 24));
    versionType.members({FIELD(Version, major, 0, g(octet)), FIELD(Version, minor, 1, g(octet)),
        FIELD(Version, release, 2, g(octet)), FIELD(Version, revision, 3, g(octet))});
    timeType.members({FIELD(Time, sec, 0, g(longlong)), FIELD(Time, nanosec, 1, g(ulong))});
    percentType.members({FIELD(Percent, period, 0, g(ulong)), FIELD(Percent, count, 1, g(ulong)),
        FIELD(Percent, mean, 2, g(octet)), FIELD(Percent, least, 3, g(octet)),
        FIELD(Percent, most, 4, g(octet))});
    floatStatType.members({FIELD(FloatStat, period, 0, g(ulong)), FIELD(FloatStat, count, 1, g(ulonglong)),
        FIELD(FloatStat, mean, 2, g(float)), FIELD(FloatStat, least, 3, g(float)),
        FIELD(FloatStat, most, 4, g(float))});
    settingType.members({FIELD(Setting, verbosity, 0, maskType), FIELD(Setting, facility, 1, g(octet))});
    settingSeqType.element(settingType);
    configType.members(
        {FIELD(Config, collection, 0, settingSeqType), FIELD(Config, forwarding, 1, settingSeqType)});
    pairType.members({FIELD(Pair, name, 0, g(string)), FIELD(Pair, value, 1, g(string))});
    pairSeqType.element(pairType);
    entryType.members({FIELD(Entry, key, 0, g(string)), FIELD(Entry, pairs, 1, pairSeqType)});
    entrySeqType.element(entryType);
    messageType.members({FIELD(Message, sn, 0, g(ulonglong)), FIELD(Message, facility, 1, g(octet)),
        FIELD(Message, severity, 2, levelType), FIELD(Message, stamp, 3, timeType),
        FIELD(Message, host, 0x4001, g(string), optional),
        FIELD(Message, application, 5, g(string), optional), FIELD(Message, process, 6, g(long), optional),
        FIELD(Message, load, 7, percentType, optional), FIELD(Message, id, 8, g(string)),
        FIELD(Message, text, 9, TEXT(20)), FIELD(Message, data, 10, entrySeqType)});
    messageSeqType.element(messageType);
    messageReferenceType.element(messageType).flags(DDS_TYPE_FLAG_REFERENCE);
    messageReferenceSeqType.element(messageReferenceType);
    logType.members({FIELD(Log, root, 0, guidType), FIELD(Log, snapshot, 1, g(boolean)),
        FIELD(Log, update, 2, messageReferenceSeqType, optional),
        FIELD(Log, history, 3, messageSeqType, optional)});
    guidSeqType.element(guidType);
    unsignedLongSeqType.element(g(ulong));
    longSeqType.element(g(long));
    stringSeqType.element(g(string));
    wordSeqType.element(TEXT(5), 4);
    doubleSeqType.element(g(double));
    creationType.members({FIELD(Creation, guid, 0, guidType), FIELD(Creation, needs, 1, guidSeqType),
        FIELD(Creation, kind, 2, g(ulong)), FIELD(Creation, name, 3, TEXT(255)),
        FIELD(Creation, metrics, 4, unsignedLongSeqType)});
    deletionType.members({FIELD(Deletion, guid, 0, guidType)});
    updateType
        .arms(g(long), offsetof(Update, _d), -7,
            {ARM(Update, creation, 1, creationType), ARM(Update, deletion, 2, deletionType),
                ARM(Update, change, 3, unsignedLongSeqType)})
        .labels(0, {0})
        .labels(1, {1})
        .labels(2, {2, -7});
    choiceType
        .arms(levelType, offsetof(Choice, _d), LEVEL_LOW,
            {ARM(Choice, low, 1, g(octet)), ARM(Choice, high, 2, g(double)),
                ARM(Choice, other, 3, g(string), DDS_MEMBER_FLAG_DEFAULT_ARM)})
        .labels(0, {LEVEL_LOW})
        .labels(1, {LEVEL_HIGH});
    resourceType.members({FIELD(Resource, guid, 0, guidType, optional),
        FIELD(Resource, domain, 1, g(long), optional), FIELD(Resource, version, 2, versionType, optional),
        FIELD(Resource, platform, 3, TEXT(255), optional), FIELD(Resource, percent, 4, percentType, optional),
        FIELD(Resource, rate, 5, floatStatType, optional),
        FIELD(Resource, identifier, 6, identifierType, optional),
        FIELD(Resource, config, 7, configType, optional), FIELD(Resource, change, 8, updateType, optional),
        FIELD(Resource, flag, 9, g(boolean), optional), FIELD(Resource, process, 10, g(ulonglong), optional),
        FIELD(Resource, level, 11, levelType, optional), FIELD(Resource, longs, 12, longSeqType, optional),
        FIELD(Resource, names, 13, stringSeqType, optional), FIELD(Resource, wide, 14, g(double), optional),
        FIELD(Resource, narrow, 15, g(short), optional),
        FIELD(Resource, doubles, 16, doubleSeqType, optional),
        FIELD(Resource, name, 210987184, g(string), optional)});
    resourceSeqType.element(resourceType);
    requiredType.members({FIELD(Required, number, 0, g(long)), FIELD(Required, text, 1, g(string)),
        FIELD(Required, guid, 2, guidType),
        FIELD(Required, bytes, 3, SEQUENCE(DDS_OctetSeq).element(g(octet))),
        FIELD(Required, small, 4, g(octet), DDS_MEMBER_FLAG_MUST_UNDERSTAND),
        FIELD(Required, percent, 5, percentType), FIELD(Required, levels, 6, ARRAY(Level, 2, levelType)),
        FIELD(Required, choice, 7, choiceType)});
    valueType
        .arms(g(ulong), offsetof(Value, _d), 46964057,
            {ARM(Value, resource, 1, resourceType), ARM(Value, required, 2, requiredType)})
        .labels(0, {46964057})
        .labels(1, {208182173});
    eventType.members({FIELD(Event, guid, 0, guidType), FIELD(Event, epoch, 1, g(ulonglong)),
        FIELD(Event, snapshot, 2, g(boolean)), FIELD(Event, value, 3, valueType)});
    everythingType.members({FIELD(Everything, truth, 0, g(boolean)), FIELD(Everything, letter, 1, g(char)),
        FIELD(Everything, narrow, 2, g(short)), FIELD(Everything, natural, 3, g(ushort)),
        FIELD(Everything, number, 4, g(long)), FIELD(Everything, wide, 5, g(longlong)),
        FIELD(Everything, real, 6, g(float)), FIELD(Everything, precise, 7, g(double)),
        FIELD(Everything, numbers, 8, ARRAY(DDS_Long, 3, g(long))),
        FIELD(Everything, names, 9, ARRAY(char*, 2, g(string))),
        FIELD(Everything, levels, 10, ARRAY(Level, 3, levelType)),
        FIELD(Everything, percents, 11, ARRAY(Percent, 2, percentType)),
        FIELD(Everything, guids, 12, ARRAY(Guid, 2, guidType)),
        FIELD(Everything, entries, 13, ARRAY(Entry, 2, entryType)),
        FIELD(Everything, guidList, 14, guidSeqType),
        FIELD(Everything, levelList, 15, SEQUENCE(LevelSeq).element(levelType)),
        FIELD(Everything, truths, 16, SEQUENCE(DDS_BooleanSeq).element(g(boolean))),
        FIELD(Everything, reals, 17, doubleSeqType), FIELD(Everything, settings, 18, settingSeqType),
        FIELD(Everything, choices, 19, SEQUENCE(ChoiceSeq).element(choiceType)),
        FIELD(Everything, resources, 20, resourceSeqType), FIELD(Everything, words, 21, wordSeqType),
        FIELD(Everything, choice, 22, choiceType), FIELD(Everything, last, 23, g(octet))});
    plainType.members(
        {FIELD(Plain, first, 0, g(octet)), FIELD(Plain, second, 1, g(long)), FIELD(Plain, third, 2, g(octet)),
            FIELD(Plain, fourth, 3, g(double)), FIELD(Plain, fifth, 4, g(ushort))});
    return true;
}

[[maybe_unused]] const bool areTypesFilled = fillTypes();

} // namespace

std::vector<const DDS_TypeDescriptor*> allTypes() {
    return {&versionType, &timeType, &percentType, &floatStatType, &settingType, &configType, &pairType,
        &entryType, &messageType, &logType, &creationType, &deletionType, &updateType, &choiceType,
        &resourceType, &requiredType, &valueType, &eventType, &everythingType, &plainType};
}

} // namespace tt
