// Membership is decided by a climb; the walk is what it must agree with. Random trees and expressions hold
// the two, and a third reading of the language, against each other.
#include <gtest/gtest.h>

#include <fnmatch.h>

#include <random>
#include <set>

#include "src/utils/ExpressionSet.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/OpaqueTree.hpp"

namespace {

using Node = OpaqueTree::Node;
using Random = std::mt19937;

template <typename T, size_t size> const T& pick(Random& random, const T (&all)[size]) {
    return all[random() % size];
}

constexpr DDS_UnsignedLong classes[] = {ORX_MONITORING_APPLICATION_CLASS_ID,
    ORX_MONITORING_PARTICIPANT_CLASS_ID, ORX_MONITORING_PUBLISHER_CLASS_ID, ORX_MONITORING_TOPIC_CLASS_ID,
    ORX_MONITORING_DATA_WRITER_CLASS_ID, ORX_MONITORING_DATA_READER_CLASS_ID, 4711};
constexpr const char* names[] = {
    "a", "b", "ab", "T", "$", "*", "", "GUID(", "GUID(x)", "[a]", "a\\b", "unknown", "topics"};

constexpr const char* oddities[] = {
    "data_*", "topic?", "[a-c]*", "?", "a*", "*b", "$", "unknown", "GUID(1*)", "\\*"};

std::unique_ptr<OpaqueTree> makeTree(Random& random) {
    auto tree = std::make_unique<OpaqueTree>();
    tree->add(nullptr, pick(random, classes), pick(random, names));
    const size_t count = 1 + random() % 24;
    while (tree->nodes.size() < count) {
        Node* parent = tree->nodes[random() % tree->nodes.size()].get();
        std::string name = pick(random, names);
        if (random() % 12 == 0)
            name = tree->nodes[random() % tree->nodes.size()]->guidText();
        if (random() % 20 == 0)
            name = std::string(250 + random() % 12, 'a');
        tree->add(parent, pick(random, classes), name);
    }
    if (random() % 8 == 0) { /* a second tree in the same index */
        Node* other = tree->add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "other");
        tree->add(other, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    }
    return tree;
}

std::string makeComponent(Random& random, const OpaqueTree& tree) {
    const Node& node = *tree.nodes[random() % tree.nodes.size()];
    switch (random() % 12) {
    case 0:
    case 1:
        return node.identifier();
    case 2:
    case 3:
        return node.name.find('/') == std::string::npos && !node.name.empty() ? node.name : "a";
    case 4:
    case 5:
        return node.guidText();
    case 6:
        return "GUID(FFFFFFFF.FFFFFFFF.FFFFFFFF.FFFFFFFE)";
    case 7: {
        std::string lower = node.guidText();
        for (size_t i = 5; i < lower.size(); ++i)
            lower[i] = static_cast<char>(std::tolower(lower[i]));
        return lower;
    }
    case 8:
        return pick(random, oddities);
    default:
        return "*";
    }
}

// The way to a node, with levels left out and components made general.
std::string makePath(Random& random, const OpaqueTree& tree) {
    std::string expression;
    bool isSection = false;
    for (const Node* node = tree.nodes[random() % tree.nodes.size()].get(); node != nullptr;
         node = node->parent) {
        if (random() % 4 == 0) {
            isSection = true;
            continue;
        }
        std::string name = node->name;
        if (name.empty() || random() % 3 == 0)
            name = random() % 2 == 0 ? node->guidText() : "*";
        const std::string pair = "/" + (random() % 3 == 0 ? "*" : node->identifier()) + "/" + name;
        if (isSection && !expression.empty())
            expression.insert(0, "/");
        expression.insert(0, pair);
        isSection = false;
    }
    if (isSection)
        expression.insert(0, "/");
    return expression;
}

std::string makeExpression(Random& random, const OpaqueTree& tree) {
    if (random() % 2 == 0)
        return makePath(random, tree);
    std::string expression;
    const size_t count = random() % 9;
    for (size_t i = 0; i < count; ++i) {
        const bool isSection = random() % 4 == 0;
        if (i != 0 || isSection || random() % 2 == 0)
            expression += isSection ? "//" : "/";
        expression += makeComponent(random, tree);
    }
    if (random() % 6 == 0 && (expression.empty() || expression.back() != '/'))
        expression += "/";
    return expression;
}

// The walk's answer, as a caller without the climb would get it. -1 on failure.
int askWalk(const Node& node, const std::string& expression,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const Node& root) {
    OpaqueMatches matches;
    if (!ORX_Monitoring_getMatchingResourcesToPathExpression(
            &matches.sequence, expression.c_str(), &accessor, root.opaque()))
        return -1;
    for (const Node* match : matches.nodes())
        if (match->guid == node.guid)
            return 1;
    return 0;
}

int askMembership(const Node& node, const std::string& expression,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const Node& root) {
    int isMatching = -7;
    const int result = ORX_Monitoring_isResourceMatchingPathExpression(
        &isMatching, node.opaque(), expression.c_str(), &accessor, root.opaque());
    EXPECT_TRUE(isMatching == 0 || isMatching == 1);
    return result ? isMatching : -1;
}

// The language read in the plainest way: whether the tokens from i on lead down the branch from level on.
class Reading {
public:
    Reading(const std::string& expression, const Node& node) {
        ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, expression.c_str());
        for (const Node* level = &node; level != nullptr; level = level->parent)
            branch.insert(branch.begin(), level);
    }
    bool selects() const {
        if (tokenizer.tokenCount == 3 && token(0) == "$" && token(1) == "*")
            return matchesName(*branch.back(), token(2));
        return leads(0, 0);
    }

private:
    std::string token(size_t i) const { return tokenizer.tokens[i]; }
    static bool matchesName(const Node& node, const std::string& name) {
        if (name.rfind("GUID(", 0) == 0)
            return name == node.guidText();
        return fnmatch(name.c_str(), node.name.substr(0, 255).c_str(), 0) == 0;
    }
    bool leads(size_t i, size_t level) const {
        if (i >= tokenizer.tokenCount)
            return false;
        if (token(i) == "$") {
            for (size_t start = level; start < branch.size(); ++start)
                if (leads(i + 1, start))
                    return true;
            return false;
        }
        if (i + 1 >= tokenizer.tokenCount || level >= branch.size())
            return false;
        const Node& node = *branch[level];
        if (node.identifier() == "unknown" || fnmatch(token(i).c_str(), node.identifier().c_str(), 0) != 0 ||
            !matchesName(node, token(i + 1)))
            return false;
        return i + 2 == tokenizer.tokenCount ? level + 1 == branch.size() : leads(i + 2, level + 1);
    }

    ORX_MonitoringResourceTokenizer tokenizer;
    std::vector<const Node*> branch;
};

} // namespace

TEST(PathMembership, AgreesWithTheWalk) {
    LogCapture quiet;
    const auto accessor = OpaqueTree::accessor();
    size_t cases = 0;
    size_t matching = 0;
    size_t failing = 0;
    for (unsigned seed = 1; seed <= 4000; ++seed) {
        Random random(seed);
        const auto tree = makeTree(random);
        const Node& root = *tree->nodes[0];
        for (int round = 0; round < 6; ++round) {
            const std::string expression = makeExpression(random, *tree);
            for (const auto& node : tree->nodes) {
                const int expected = askWalk(*node, expression, accessor, root);
                ASSERT_EQ(askMembership(*node, expression, accessor, root), expected)
                    << "seed " << seed << " expression " << expression << " node " << node->name << " "
                    << node->guidText();
                ++cases;
                matching += expected == 1;
                failing += expected == -1;
            }
        }
        quiet.clear();
    }
    // The cases are worth something: a good part of them matches, and some fail.
    EXPECT_GT(cases, 100000u);
    EXPECT_GT(matching, cases / 50);
    EXPECT_GT(failing, 50u);
}

// Indexes of the expressions that the node is among the matches of, up to the first that fails, which is -1.
std::vector<int> askEach(const Node& node, const std::vector<std::string>& expressions,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const Node& root) {
    std::vector<int> matches;
    for (size_t i = 0; i < expressions.size(); ++i) {
        const int answer = askMembership(node, expressions[i], accessor, root);
        if (answer != 0)
            matches.push_back(answer > 0 ? static_cast<int>(i) : -1);
        if (answer < 0)
            break;
    }
    return matches;
}

using orx::path::ExpressionSet;

bool prepare(ExpressionSet& set, const std::vector<std::string>& expressions,
    const ORX_MonitoringOpaqueResourceAccessor& accessor, const Node& root) {
    const auto textAt = [](const void* texts, ORX_UINT32 index) {
        return (*static_cast<const std::vector<std::string>*>(texts))[index].c_str();
    };
    return set.prepare(
        static_cast<ORX_UINT32>(expressions.size()), textAt, &expressions, accessor, root.opaque());
}

std::vector<int> askSet(const ExpressionSet& set, const Node& node, orx::path::Branch& branch) {
    std::vector<int> matches;
    ExpressionSet::Matches all(set, node.opaque(), branch);
    for (int index = all.next(); index != ExpressionSet::Matches::end; index = all.next()) {
        matches.push_back(index == ExpressionSet::Matches::failed ? -1 : index);
        if (matches.back() < 0)
            break;
    }
    return matches;
}

TEST(PathMembership, ASetOfExpressionsAgreesWithEachOfThemAlone) {
    LogCapture quiet;
    const auto accessor = OpaqueTree::accessor();
    size_t cases = 0;
    size_t matching = 0;
    size_t failing = 0;
    for (unsigned seed = 1; seed <= 1500; ++seed) {
        Random random(seed);
        const auto tree = makeTree(random);
        const Node& root = *tree->nodes[0];
        std::vector<std::string> expressions;
        while (expressions.size() < 1 + seed % 20)
            expressions.push_back(makeExpression(random, *tree));
        ExpressionSet set;
        quiet.clear();
        ASSERT_TRUE(prepare(set, expressions, accessor, root));
        EXPECT_TRUE(quiet.lines().empty()) << "only questions have messages: " << quiet.text();
        for (const auto& node : tree->nodes) {
            orx::path::Branch branch(node->opaque(), root.opaque(), accessor);
            if (!branch.isComplete())
                continue;
            const auto expected = askEach(*node, expressions, accessor, root);
            ASSERT_EQ(askSet(set, *node, branch), expected) << "seed " << seed << " node " << node->name;
            ++cases;
            matching += !expected.empty() && expected.back() >= 0;
            failing += !expected.empty() && expected.back() < 0;
        }
    }
    EXPECT_GT(cases, 15000u);
    EXPECT_GT(matching, cases / 20);
    EXPECT_GT(failing, 50u);
}

// Without an index the walk tells.
TEST(PathMembership, TheLastGuidOfAnExpressionIsMatchedAsByTheWalk) {
    LogCapture quiet;
    const auto indexed = OpaqueTree::accessor();
    const auto walked = OpaqueTree::accessor(false);
    size_t asked = 0;
    size_t matching = 0;
    for (unsigned seed = 1; seed <= 3000; ++seed) {
        Random random(seed);
        const auto tree = makeTree(random);
        const Node& root = *tree->nodes[0];
        for (int round = 0; round < 8; ++round) {
            const std::string expression = makeExpression(random, *tree);
            int expected = -7;
            int answer = -7;
            const int result = ORX_Monitoring_matchAllGuidInExpression(
                &expected, expression.c_str(), &walked, root.opaque());
            ASSERT_EQ(
                ORX_Monitoring_matchAllGuidInExpression(&answer, expression.c_str(), &indexed, root.opaque()),
                result);
            ASSERT_EQ(answer, expected) << "seed " << seed << " expression " << expression;
            const bool hasGuid = expression.find("GUID(") != std::string::npos;
            asked += hasGuid;
            matching += hasGuid && answer == 1;
        }
        quiet.clear();
    }
    EXPECT_GT(asked, 8000u);
    EXPECT_GT(matching, 500u);
}

TEST(PathMembership, ABranchEndsAtTheRootOrIsNotComplete) {
    OpaqueTree tree;
    std::vector<Node*> nodes{tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "a")};
    while (nodes.size() < 12)
        nodes.push_back(tree.add(nodes.back(), ORX_MONITORING_TOPIC_CLASS_ID, "t"));
    const auto accessor = OpaqueTree::accessor();
    for (size_t depth = 0; depth < nodes.size(); ++depth) {
        const orx::path::Branch branch(nodes[depth]->opaque(), nodes[0]->opaque(), accessor);
        EXPECT_EQ(branch.isComplete(), depth < 8) << depth;
    }
    EXPECT_FALSE(
        orx::path::Branch(nodes[0]->opaque(), nodes[1]->opaque(), accessor).isComplete()); // not below it
}

TEST(PathMembership, ASetWithoutMemoryIsNotPrepared) {
    LogCapture quiet;
    OpaqueTree tree;
    const Node* root = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "a");
    const auto accessor = OpaqueTree::accessor();
    const std::vector<std::string> expressions{"//*", "//a", "/applications/a//b"};
    const auto live = ORXOsapiHeap_getLiveBufferCount();
    int failures = 0;
    for (bool isPrepared = false; !isPrepared && failures < 100; failures += isPrepared ? 0 : 1) {
        ExpressionSet set;
        {
            FailingHeap heap;
            heap.failAt(static_cast<uint64_t>(failures) + 1);
            isPrepared = prepare(set, expressions, accessor, *root);
        }
        EXPECT_EQ(set.isPrepared(), isPrepared);
    }
    EXPECT_EQ(failures, 5);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
    ExpressionSet set;
    EXPECT_FALSE(prepare(set, expressions, OpaqueTree::accessor(false), *root)) << "GUIDs may repeat";
}

TEST(PathMembership, WalkAgreesWithAPlainReadingOfTheLanguage) {
    LogCapture quiet;
    const auto accessor = OpaqueTree::accessor(false);
    for (unsigned seed = 1; seed <= 1500; ++seed) {
        Random random(seed);
        const auto tree = makeTree(random);
        const Node& root = *tree->nodes[0];
        for (int round = 0; round < 6; ++round) {
            const std::string expression = makeExpression(random, *tree);
            OpaqueMatches matches;
            ASSERT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                          &matches.sequence, expression.c_str(), &accessor, root.opaque()),
                1);
            const auto found = matches.nodes();
            for (const auto& node : tree->nodes) {
                const Node* top = node.get();
                while (top->parent != nullptr)
                    top = top->parent;
                const bool isFound = std::find(found.begin(), found.end(), node.get()) != found.end();
                ASSERT_EQ(isFound, top == &root && Reading(expression, *node).selects())
                    << "seed " << seed << " expression " << expression << " node " << node->name;
            }
        }
        quiet.clear();
    }
}

// Without an index nothing promises that GUIDs are unique: the walk decides, twins and stops included.
TEST(PathMembership, AgreesWithTheWalkWhereGuidsRepeat) {
    LogCapture quiet;
    const auto accessor = OpaqueTree::accessor(false);
    for (unsigned seed = 1; seed <= 500; ++seed) {
        Random random(seed);
        const auto tree = makeTree(random);
        for (size_t i = 0; i < tree->nodes.size() / 3; ++i)
            tree->nodes[random() % tree->nodes.size()]->guid =
                tree->nodes[random() % tree->nodes.size()]->guid;
        const Node& root = *tree->nodes[0];
        for (int round = 0; round < 6; ++round) {
            const std::string expression = makeExpression(random, *tree);
            for (const auto& node : tree->nodes)
                ASSERT_EQ(askMembership(*node, expression, accessor, root),
                    askWalk(*node, expression, accessor, root))
                    << "seed " << seed << " expression " << expression;
        }
        quiet.clear();
    }
}

TEST(PathMembership, GoesByGuidForAResourceOutsideTheTree) {
    OpaqueTree tree;
    Node* root = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    Node* topic = tree.add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    OpaqueTree elsewhere;
    Node* twin = elsewhere.add(nullptr, ORX_MONITORING_TOPIC_CLASS_ID, "other", topic->guid);
    Node* stranger = elsewhere.add(nullptr, ORX_MONITORING_TOPIC_CLASS_ID, "T", OpaqueTree::Guid{9});
    const auto accessor = OpaqueTree::accessor();
    EXPECT_EQ(askMembership(*twin, "//topics/T", accessor, *root), 1);
    EXPECT_EQ(askMembership(*stranger, "//topics/T", accessor, *root), 0);
}

TEST(PathMembership, AllocatesNothing) {
    OpaqueTree tree;
    Node* root = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    Node* topic = tree.add(root, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    const auto accessor = OpaqueTree::accessor();
    FailingHeap heap;
    heap.failAt(1);
    EXPECT_EQ(askMembership(*topic, "//topics/T", accessor, *root), 1);
    EXPECT_EQ(askMembership(*topic, "//T", accessor, *root), 1);
    EXPECT_EQ(askMembership(*topic, "//" + topic->guidText(), accessor, *root), 1);
    EXPECT_EQ(heap.count(), 0u);
}

// What an accessor is asked for is counted: nothing of the tree but the branch.
TEST(PathMembership, LooksAtTheBranchAlone) {
    static size_t visits;
    static ORX_MonitoringOpaqueResourceAccessor inner;
    visits = 0;
    inner = OpaqueTree::accessor();
    ORX_MonitoringOpaqueResourceAccessor counting = inner;
    counting.getInfoFunction = [](const ORX_MonitoringOpaqueResource* resource,
                                   ORX_MonitoringOpaqueResourceInfo* info) {
        ++visits;
        inner.getInfoFunction(resource, info);
    };
    counting.getFirstChildFunction =
        [](const ORX_MonitoringOpaqueResource*) -> const ORX_MonitoringOpaqueResource* {
        ADD_FAILURE() << "went down";
        return nullptr;
    };
    OpaqueTree tree;
    Node* root = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app");
    Node* participant = tree.add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
    for (int i = 0; i < 1000; ++i)
        tree.add(participant, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    for (const char* expression : {"//topics/*", "/*/*/*/*/*/*", "/applications/*//T", "//*/*//*/*", "//T"})
        EXPECT_EQ(askMembership(*participant->lastChild, expression, counting, *root), 1) << expression;
    EXPECT_LE(visits, 5u * 3u);
}
