#include "src/utils/PathTokenizer.h"

#include <cstring>

#include "src/log/Log.hpp"
#include "zddscore/heap.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::utils;

// Appends to the tokenizer's buffer. What has been checked always fits; the bound stands for what has not.
class Rewriter {
public:
    explicit Rewriter(char (&buffer)[ORX_MONITORING_RESOURCE_PATH_BUFFER_SIZE])
        : end(buffer), left(sizeof buffer - 1) {
        *end = '\0';
    }
    void add(const char* text, size_t length) {
        fits = fits && length <= left;
        if (!fits)
            return;
        std::memcpy(end, text, length);
        end += length;
        *end = '\0';
        left -= length;
    }
    void add(const char* text) { add(text, std::strlen(text)); }
    bool isComplete() const { return fits; }

private:
    char* end;
    size_t left;
    bool fits = true;
};

// Components between the "//" at `section` and the next one, or the end.
size_t countComponents(const char* section) {
    const char* text = section + 2;
    const char* next = std::strstr(text, "//");
    const char* end = next != nullptr ? next : text + std::strlen(text);
    size_t count = next != nullptr || end[-1] != '/' ? 1 : 0;
    for (const char* character = text; character < end; ++character)
        count += *character == '/';
    return count;
}

// "//" becomes "/$/", or "/$/*/" before an odd section, which lacks the class of its first name.
bool rewrite(char (&buffer)[ORX_MONITORING_RESOURCE_PATH_BUFFER_SIZE], const char* expression) {
    Rewriter rewriter(buffer);
    const char* current = expression;
    for (const char* section = std::strstr(current, "//"); section != nullptr;
         section = std::strstr(current, "//")) {
        const bool isOdd = countComponents(section) % 2 == 1;
        rewriter.add(current, static_cast<size_t>(section + 1 - current));
        rewriter.add(isOdd ? "$/*" : "$");
        current = section + 1;
    }
    rewriter.add(current);
    return rewriter.isComplete();
}

void clear(ORX_MonitoringResourceTokenizer& self) {
    self.resourcePathExpression[0] = '\0';
    std::memset(self.tokens, 0, sizeof self.tokens);
    self.tokenCount = 0;
    self.currentTokenIndex = 0;
}

bool isAcceptable(const char* expression) {
    constexpr size_t maximumLength = ORX_MONITORING_RESOURCE_PATH_MAX_LENGTH;
    if (strnlen(expression, maximumLength + 1) > maximumLength)
        return ORX_ERROR(
            PRECONDITION, "resource path expression length cannot be greater than %zu", maximumLength);
    if (std::strstr(expression, "///") != nullptr)
        return ORX_ERROR(PRECONDITION,
            "resource path expression \"%s\" cannot have more than two consecutive '/'", expression);
    return true;
}

bool cut(ORX_MonitoringResourceTokenizer& self) {
    char* saveState = nullptr;
    char* token = REDAString_strToken(self.resourcePathExpression, "/", &saveState);
    for (; token != nullptr; token = REDAString_strToken(nullptr, "/", &saveState)) {
        if (self.tokenCount == ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS)
            return ORX_ERROR(PRECONDITION,
                "number of components in resource path expression cannot be greater than %d",
                ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS);
        self.tokens[self.tokenCount++] = token;
    }
    return true;
}

} // namespace

ORX_MonitoringResourceTokenizer* ORX_MonitoringResourceTokenizer_new(const char* resourcePathExpression) {
    ORX_MonitoringResourceTokenizer* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, ORX_MonitoringResourceTokenizer))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "ORX_MonitoringResourceTokenizer");
    if (resourcePathExpression != nullptr &&
        !ORX_MonitoringResourceTokenizer_setExpression(self, resourcePathExpression)) {
        ORX_MonitoringResourceTokenizer_delete(self);
        return ORX_ERROR(FAILED_TO_SET, "resource path expression: %s", resourcePathExpression);
    }
    return self;
}

void ORX_MonitoringResourceTokenizer_delete(ORX_MonitoringResourceTokenizer* self) {
    ORXOsapiHeap_freeStructure(self);
}

int ORX_MonitoringResourceTokenizer_setExpression(
    ORX_MonitoringResourceTokenizer* self, const char* resourcePathExpression) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourcePathExpression == ORX_NULL);
    clear(*self);
    if (!isAcceptable(resourcePathExpression))
        return 0;
    if (rewrite(self->resourcePathExpression, resourcePathExpression) && cut(*self))
        return 1;
    clear(*self);
    return 0;
}

const char* ORX_MonitoringResourceTokenizer_getFirstToken(ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->tokenCount == 0)
        return nullptr;
    self->currentTokenIndex = 0;
    return self->tokens[0];
}

const char* ORX_MonitoringResourceTokenizer_getLastToken(ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->tokenCount == 0)
        return nullptr;
    self->currentTokenIndex = self->tokenCount - 1;
    return self->tokens[self->currentTokenIndex];
}

const char* ORX_MonitoringResourceTokenizer_getNextToken(ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->currentTokenIndex + 1 >= self->tokenCount)
        return nullptr;
    return self->tokens[++self->currentTokenIndex];
}

const char* ORX_MonitoringResourceTokenizer_getPrevToken(ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->currentTokenIndex == 0)
        return nullptr;
    return self->tokens[--self->currentTokenIndex];
}

const char* ORX_MonitoringResourceTokenizer_getCurrentToken(const ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return self->tokenCount == 0 ? nullptr : self->tokens[self->currentTokenIndex];
}

ORX_UINT32 ORX_MonitoringResourceTokenizer_getTokenCount(const ORX_MonitoringResourceTokenizer* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return self->tokenCount;
}

void ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(ORX_MonitoringResourceTokenizer* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    const bool isAnyLevel = self->tokens[0] != nullptr && std::strcmp(self->tokens[0], "$") == 0;
    self->tokenCount = isAnyLevel ? 3 : 2;
    if (self->currentTokenIndex >= self->tokenCount)
        self->currentTokenIndex = self->tokenCount - 1;
}
