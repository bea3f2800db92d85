// Many path expressions, prepared to be held against many resources.
//
// What membership of one resource costs is paid for each expression that can be met by its name at all: an
// expression that ends with a name without wildcards, or with a GUID, is found by a hash of it; the others
// are tried one by one, cut into tokens once. The answers are those of
// ORX_Monitoring_isResourceMatchingPathExpression for each of the expressions, failures included.
//
// Threads: the caller's, which keeps the tree still from the preparation to the last question. Ownership: the
// texts are borrowed, the rest is on the heap. Errors: a set that is not prepared answers nothing; what it
// cannot do is for the caller to ask in the plain way.
#ifndef ORX_MONITORING_EXPRESSION_SET_HPP
#define ORX_MONITORING_EXPRESSION_SET_HPP

#include "src/utils/ExpressionClimb.hpp"

namespace orx::path {

class ExpressionSet {
public:
    using Resource = ORX_MonitoringOpaqueResource;
    using Accessor = ORX_MonitoringOpaqueResourceAccessor;
    using TextAt = const char* (*)(const void* texts, ORX_UINT32 index);

    ExpressionSet() = default;
    ~ExpressionSet() { clear(); }
    ExpressionSet(const ExpressionSet&) = delete;
    ExpressionSet& operator=(const ExpressionSet&) = delete;

    // Once. False, and not prepared, where memory is out or the accessor has no lookup by GUID. A malformed
    // expression is no failure here, but of the questions that come to it.
    bool prepare(
        ORX_UINT32 count, TextAt textAt, const void* texts, const Accessor& accessor, const Resource* root);
    bool isPrepared() const { return entries_ != nullptr; }

    // The expressions that one resource is among the matches of, one after the other. The branch is complete,
    // and of the tree of the preparation.
    class Matches {
    public:
        static constexpr ORX_INT32 end = -1;
        static constexpr ORX_INT32 failed = -2; /* an expression could not be processed, and that is logged */

        Matches(const ExpressionSet& set, const Resource* resource, Branch& branch);
        // The index of the next expression, in the order of the set, or one of the above, which stays.
        ORX_INT32 next();
        // The index that `next` told of last, failures included.
        ORX_UINT32 last() const { return last_; }

    private:
        const ExpressionSet& set_;
        const Resource* resource_;
        Branch& branch_;
        ORX_UINT32 named_;
        ORX_UINT32 identified_;
        ORX_UINT32 other_;
        ORX_UINT32 last_ = 0;
    };

private:
    enum class Kind : ORX_UINT8 {
        never, /* selects nothing */
        climbed,
        nameAlone,
        asked /* in the plain way, with its messages */
    };
    struct Entry {
        const char* text;
        Expression expression;
        ORX_UINT32 next; /* in its chain; `none` at the end */
        Kind kind;
    };
    static constexpr ORX_UINT32 none = 0xFFFFFFFFU;

    bool allocate(ORX_UINT32 count, size_t tokens, size_t bytes);
    void clear();
    void fill(Entry& entry, const ORX_MonitoringResourceTokenizer& tokenizer);
    void file(ORX_UINT32 index, const Accessor& accessor, const Resource* root);
    ORX_INT32 ask(ORX_UINT32 index, const Resource* resource, Branch& branch) const;
    ORX_UINT32 firstOf(const ORX_UINT32* heads, const char* text) const;

    Entry* entries_ = nullptr;
    const char** tokens_ = nullptr;
    char* bytes_ = nullptr;
    ORX_UINT32* named_ = nullptr;      /* heads of chains by the hash of the last name */
    ORX_UINT32* identified_ = nullptr; /* by that of a GUID's text */
    ORX_UINT32 others_ = none;         /* head of the chain of all others */
    ORX_UINT32 mask_ = 0;
    const char** nextToken_ = nullptr;
    char* nextByte_ = nullptr;
};

} // namespace orx::path

#endif
