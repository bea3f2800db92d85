// The climb that decides membership: from a resource to the root, along its branch of the tree.
//
// Threads: any; the tree stands still. Nothing is kept and nothing allocated.
#ifndef ORX_MONITORING_EXPRESSION_CLIMB_HPP
#define ORX_MONITORING_EXPRESSION_CLIMB_HPP

#include "src/utils/PathPair.hpp"

namespace orx::path {

// A set of token positions; the position behind the last token is one too.
using Positions = ORX_UINT64;
constexpr Positions at(ORX_UINT32 position) {
    return Positions{1} << position;
}
static_assert(ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS < 64);

// A resource with what expressions look at of it and its ancestors. Reading one for many expressions asks the
// accessor once for each level.
class Branch {
public:
    using Resource = ORX_MonitoringOpaqueResource;
    using Info = ORX_MonitoringOpaqueResourceInfo;

    Branch(const Resource* resource, const Resource* root, const ORX_MonitoringOpaqueResourceAccessor& how)
        : top_(root), accessor_(how) {
        while (resource != nullptr && count_ < kept) {
            levels_[count_] = resource;
            if (resource == root)
                rootLevel_ = count_;
            ++count_;
            if (rootLevel_ != none)
                break;
            resource = accessor_.getParentFunction(resource);
        }
    }
    // Whether the branch ends at the root, and is short enough to be kept here.
    bool isComplete() const { return rootLevel_ != none; }
    ORX_UINT32 rootLevel() const { return rootLevel_; }
    const Resource* root() const { return top_; }
    const ORX_MonitoringOpaqueResourceAccessor& accessor() const { return accessor_; }

    // 0 is the resource itself.
    const Info& info(ORX_UINT32 level) {
        while (read_ <= level) {
            accessor_.getInfoFunction(levels_[read_], &infos_[read_]);
            ++read_;
        }
        return infos_[level];
    }

private:
    static constexpr ORX_UINT32 kept = 8;
    static constexpr ORX_UINT32 none = 0xFFFFFFFFU;

    const Resource* top_;
    const ORX_MonitoringOpaqueResourceAccessor& accessor_;
    const Resource* levels_[kept];
    Info infos_[kept];
    ORX_UINT32 count_ = 0;
    ORX_UINT32 read_ = 0;
    ORX_UINT32 rootLevel_ = none;
};

struct Expression {
    const char* const* tokens;
    ORX_UINT32 count;
    Positions starts; /* of pairs and "$", in the one way in which the tokens can be read */

    Expression() = default;
    explicit Expression(const ORX_MonitoringResourceTokenizer& tokenizer)
        : tokens(tokenizer.tokens), count(tokenizer.tokenCount), starts(0) {
        for (ORX_UINT32 i = 0; i < count; i += isAnyLevel(tokens[i]) ? 1 : 2)
            starts |= at(i);
    }

    // "//name" and "//*/name", which look at no classes.
    bool isNameAlone() const { return count == 3 && isAnyLevel(tokens[0]) && isAnyClass(tokens[1]); }
    // Whether a pair ends it. Without one it selects nothing.
    bool endsWithPair() const {
        return count >= 2 && (starts & at(count - 2)) != 0 && !isAnyLevel(tokens[count - 2]);
    }

    // Positions from which the walk, standing at the resource, comes to the target. `below`: the same of the
    // ancestor's child on the way; of the target itself, the position behind the last token alone.
    Positions climb(const ORX_MonitoringOpaqueResourceInfo& info, Positions below) const {
        Positions positions = 0;
        for (ORX_UINT32 i = count; i-- > 0;) {
            if ((starts & at(i)) == 0)
                continue;
            if (isAnyLevel(tokens[i])) {
                // The section starts here, or further down. Behind the last token there is no section.
                if (i + 1 < count && ((positions & at(i + 1)) != 0 || (below & at(i)) != 0))
                    positions |= at(i);
            } else if (i + 1 < count && (below & at(i + 2)) != 0 &&
                       matchPair(tokens[i], tokens[i + 1], info) != ORX_MONITORING_RESOURCE_NO_MATCH) {
                positions |= at(i);
            }
        }
        return positions;
    }

    // Whether the branch's resource is among the matches; not for a name alone. The branch is complete.
    bool matches(Branch& branch) const {
        Positions positions = at(count);
        for (ORX_UINT32 level = 0;; ++level) {
            positions = climb(branch.info(level), positions);
            if (positions == 0)
                return false;
            if (level == branch.rootLevel())
                return (positions & at(0)) != 0;
        }
    }
};

} // namespace orx::path

#endif
