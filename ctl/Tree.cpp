#include "ctl/Tree.hpp"

#include <algorithm>
#include <unordered_map>

namespace ctl {

namespace {

// Deeper resources are drawn at this depth: lines stay readable, and a chain costs no square of its length.
constexpr std::size_t deepest = 32;

struct Strokes {
    const char* inner;
    const char* last;
    const char* through;
    const char* blank;
};
constexpr Strokes boxes{"\u251C\u2500 ", "\u2514\u2500 ", "\u2502  ", "   "};
constexpr Strokes ascii{"|- ", "`- ", "|  ", "   "};

class Drawing {
public:
    Drawing(const std::vector<Branch>& branches, const Look& look)
        : branches_(branches), look_(look), strokes_(look.isUtf8 ? boxes : ascii), children_(branches.size()),
          isDrawn_(branches.size(), false) {}

    std::string draw() {
        for (const std::size_t root : plant())
            drawFrom(root);
        // Whoever is left is in a circle, or below one.
        for (std::size_t i = 0; i < branches_.size(); ++i)
            drawFrom(i);
        return std::move(text_);
    }

private:
    struct Pending {
        std::size_t index;
        std::string lead; // what stands before its label
        std::string rest; // what stands before the labels below it
        std::size_t depth;
    };

    // Fills the children of each, and gives those that have no parent.
    std::vector<std::size_t> plant() {
        std::unordered_map<std::string_view, std::size_t> byGuid;
        for (std::size_t i = 0; i < branches_.size(); ++i)
            byGuid.try_emplace(branches_[i].guid, i);
        std::vector<std::size_t> roots;
        for (std::size_t i = 0; i < branches_.size(); ++i) {
            const auto parent = branches_[i].parent.empty() ? byGuid.end() : byGuid.find(branches_[i].parent);
            if (parent == byGuid.end() || parent->second == i)
                roots.push_back(i);
            else
                children_[parent->second].push_back(i);
        }
        return roots;
    }

    void drawFrom(std::size_t root) {
        std::vector<Pending> pending;
        if (!isDrawn_[root])
            pending.push_back({root, "", "", 0});
        isDrawn_[root] = true;
        while (!pending.empty()) {
            const Pending each = std::move(pending.back());
            pending.pop_back();
            drawLine(branches_[each.index], each.lead);
            push(each, pending);
        }
    }

    // The last child first, so that the first is drawn next.
    void push(const Pending& parent, std::vector<Pending>& pending) {
        std::vector<std::size_t> children;
        for (const std::size_t child : children_[parent.index])
            if (!isDrawn_[child])
                children.push_back(child);
        const bool isDeep = parent.depth >= deepest;
        for (std::size_t i = children.size(); i-- > 0;) {
            isDrawn_[children[i]] = true;
            const bool isLast = i + 1 == children.size();
            pending.push_back(
                {children[i], isDeep ? parent.lead : parent.rest + (isLast ? strokes_.last : strokes_.inner),
                    isDeep ? parent.rest : parent.rest + (isLast ? strokes_.blank : strokes_.through),
                    parent.depth + 1});
        }
    }

    void drawLine(const Branch& branch, const std::string& lead) {
        const std::string label = lead + escaped(branch.label, look_.isUtf8);
        if (look_.width == 0) {
            text_ += label + detailOf(branch, label, 0) + '\n';
            return;
        }
        const std::string shown = cut(label, look_.width, Cut::atEnd, look_.isUtf8);
        text_ += shown + detailOf(branch, shown, look_.width) + '\n';
    }

    std::string detailOf(const Branch& branch, const std::string& label, std::size_t limit) {
        constexpr std::size_t shortest = 4; // less would tell nothing
        if (branch.detail.empty())
            return "";
        std::string detail = escaped(branch.detail, look_.isUtf8);
        if (limit != 0) {
            const std::size_t taken = widthOf(label) + 2;
            if (taken + shortest > limit)
                return "";
            detail = cut(detail, limit - taken, Cut::atEnd, look_.isUtf8);
        }
        return "  " + painted(colour::dim, detail, look_);
    }

    const std::vector<Branch>& branches_;
    const Look& look_;
    const Strokes& strokes_;
    std::vector<std::vector<std::size_t>> children_;
    std::vector<bool> isDrawn_;
    std::string text_;
};

} // namespace

std::string drawTree(const std::vector<Branch>& branches, const Look& look) {
    return Drawing(branches, look).draw();
}

} // namespace ctl
