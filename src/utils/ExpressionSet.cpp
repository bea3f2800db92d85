#include "src/utils/ExpressionSet.hpp"

#include "src/utils/LiteralText.hpp"
#include "zddscore/heap.h"

namespace {

using namespace orx::path;

// A GUID as it is printed, in any case; what else may be read as one is left to whoever reads it.
bool isPrintedGuid(const char* token) {
    constexpr char form[] = "GUID(XXXXXXXX.XXXXXXXX.XXXXXXXX.XXXXXXXX)";
    for (size_t i = 0; i < sizeof form; ++i) {
        const bool isDigit = token[i] != '\0' && std::strchr("0123456789abcdefABCDEF", token[i]) != nullptr;
        if (form[i] == 'X' ? !isDigit : token[i] != form[i])
            return false;
    }
    return true;
}

// False, in silence, for what is no expression, and for what is so long that it hardly is one: that is asked
// for in the plain way, which has the messages.
bool tokenize(ORX_MonitoringResourceTokenizer& tokenizer, const char* text) {
    if (text == nullptr ||
        strnlen(text, ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH + 1) >
            size_t{ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH} ||
        std::strstr(text, "///") != nullptr)
        return false;
    size_t components = 1;
    for (const char* character = text; *character != '\0'; ++character)
        components += *character == '/' ? 2U : 0U; // a "//" brings up to two tokens of its own
    return components < ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS &&
           ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, text);
}

} // namespace

bool ExpressionSet::allocate(ORX_UINT32 count, size_t tokens, size_t bytes) {
    ORX_UINT32 chains = 16;
    while (chains < count && chains < (1U << 20))
        chains *= 2;
    if (!ORXOsapiHeap_allocateArray(&tokens_, tokens + 1, const char*) ||
        !ORXOsapiHeap_allocateArray(&bytes_, bytes + 1, char) ||
        !ORXOsapiHeap_allocateArray(&named_, chains, ORX_UINT32) ||
        !ORXOsapiHeap_allocateArray(&identified_, chains, ORX_UINT32) ||
        !ORXOsapiHeap_allocateArray(&entries_, count + size_t{1}, Entry)) {
        clear();
        return false;
    }
    mask_ = chains - 1;
    for (ORX_UINT32 i = 0; i < chains; ++i)
        named_[i] = identified_[i] = none;
    nextToken_ = tokens_;
    nextByte_ = bytes_;
    return true;
}

void ExpressionSet::clear() {
    ORXOsapiHeap_freeArray(entries_);
    ORXOsapiHeap_freeArray(identified_);
    ORXOsapiHeap_freeArray(named_);
    ORXOsapiHeap_freeArray(bytes_);
    ORXOsapiHeap_freeArray(tokens_);
    entries_ = nullptr;
    identified_ = named_ = nullptr;
    bytes_ = nullptr;
    tokens_ = nullptr;
}

void ExpressionSet::fill(Entry& entry, const ORX_MonitoringResourceTokenizer& tokenizer) {
    entry.expression = Expression(tokenizer);
    entry.expression.tokens = nextToken_;
    for (ORX_UINT32 i = 0; i < tokenizer.tokenCount; ++i) {
        const size_t size = std::strlen(tokenizer.tokens[i]) + 1;
        std::memcpy(nextByte_, tokenizer.tokens[i], size);
        *nextToken_++ = nextByte_;
        nextByte_ += size;
    }
    entry.kind = entry.expression.isNameAlone()    ? Kind::nameAlone
                 : entry.expression.endsWithPair() ? Kind::climbed
                                                   : Kind::never;
}

// Into the chain where resources that it can match look for it, in front: whoever files goes from the last.
void ExpressionSet::file(ORX_UINT32 index, const Accessor& accessor, const Resource* root) {
    Entry& entry = entries_[index];
    if (entry.kind == Kind::never)
        return;
    ORX_UINT32* chain = &others_;
    if (entry.kind != Kind::asked) {
        const char* last = entry.expression.tokens[entry.expression.count - 1];
        char text[ORX_MONITORING_GUID_TEXT_SIZE];
        DDS_Monitoring_GUID_t guid;
        if (!startsAsGuid(last)) {
            if (isLiteral(last))
                chain = &named_[hashOfText(last) & mask_];
        } else if (entry.kind == Kind::climbed) {
            chain = &identified_[hashOfText(last) & mask_];
        } else {
            // Alone, it may be found whatever the case of its digits.
            entry.kind = Kind::asked;
            if (isPrintedGuid(last) && DDS_Monitoring_GUID_fromStr(&guid, last)) {
                const bool isFound = accessor.findByGuidFunction(root, guid) != nullptr;
                if (isFound)
                    DDS_Monitoring_GUID_toStr(guid, text);
                chain = &identified_[hashOfText(isFound ? text : last) & mask_];
            }
        }
    }
    entry.next = *chain;
    *chain = index;
}

bool ExpressionSet::prepare(
    ORX_UINT32 count, TextAt textAt, const void* texts, const Accessor& accessor, const Resource* root) {
    if (accessor.findByGuidFunction == nullptr)
        return false;
    ORX_MonitoringResourceTokenizer tokenizer;
    size_t tokens = 0;
    size_t bytes = 0;
    for (ORX_UINT32 i = 0; i < count; ++i) {
        if (!tokenize(tokenizer, textAt(texts, i)))
            continue;
        tokens += tokenizer.tokenCount;
        for (ORX_UINT32 k = 0; k < tokenizer.tokenCount; ++k)
            bytes += std::strlen(tokenizer.tokens[k]) + 1;
    }
    if (!allocate(count, tokens, bytes))
        return false;
    for (ORX_UINT32 i = 0; i < count; ++i) {
        entries_[i] = {.text = textAt(texts, i), .expression = {}, .next = none, .kind = Kind::asked};
        if (tokenize(tokenizer, entries_[i].text))
            fill(entries_[i], tokenizer);
    }
    for (ORX_UINT32 i = count; i-- > 0;)
        file(i, accessor, root);
    return true;
}

// 1, 0, or -1 on failure.
ORX_INT32 ExpressionSet::ask(ORX_UINT32 index, const Resource* resource, Branch& branch) const {
    const Entry& entry = entries_[index];
    if (entry.kind == Kind::climbed)
        return entry.expression.matches(branch) ? 1 : 0;
    if (entry.kind == Kind::nameAlone)
        return isNameMatched(entry.expression.tokens[2], branch.info(0)) ? 1 : 0;
    int isMatching = 0;
    if (!ORX_Monitoring_isResourceMatchingPathExpression(
            &isMatching, resource, entry.text, &branch.accessor(), branch.root()))
        return -1;
    return isMatching != 0 ? 1 : 0;
}

ORX_UINT32 ExpressionSet::firstOf(const ORX_UINT32* heads, const char* text) const {
    return heads[hashOfText(text) & mask_];
}

ExpressionSet::Matches::Matches(const ExpressionSet& set, const Resource* resource, Branch& branch)
    : set_(set), resource_(resource), branch_(branch), other_(set.others_) {
    char guid[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(branch.info(0).guid, guid);
    named_ = set.firstOf(set.named_, branch.info(0).name);
    identified_ = set.firstOf(set.identified_, guid);
}

ORX_INT32 ExpressionSet::Matches::next() {
    for (;;) {
        ORX_UINT32* chain = &other_;
        if (named_ < *chain)
            chain = &named_;
        if (identified_ < *chain)
            chain = &identified_;
        if (*chain == none)
            return end;
        const ORX_UINT32 index = *chain;
        last_ = index;
        const ORX_INT32 answer = set_.ask(index, resource_, branch_);
        if (answer < 0)
            return failed;
        *chain = set_.entries_[index].next;
        if (answer > 0)
            return static_cast<ORX_INT32>(index);
    }
}
