#include "tail/ResourceTree.hpp"

#include <gtest/gtest.h>

#include <random>

namespace {

using tail::Guid;
using tail::Resource;
using tail::ResourceTree;

constexpr std::uint32_t applicationClass = 265647670;
constexpr std::uint32_t participantClass = 99258059;
constexpr std::uint32_t topicClass = 208182173;

Guid guidOf(std::uint8_t number) {
    Guid guid{};
    guid[0] = 1;
    guid[15] = number;
    return guid;
}

Resource make(std::uint8_t number, std::uint8_t owner, std::uint32_t classId, std::string name) {
    Resource resource;
    resource.guid = guidOf(number);
    if (owner != 0)
        resource.owner = guidOf(owner);
    resource.application = guidOf(1);
    resource.classId = classId;
    resource.name = std::move(name);
    return resource;
}

ResourceTree smallTree() {
    ResourceTree tree;
    tree.put(make(1, 0, applicationClass, "app"));
    tree.put(make(2, 1, participantClass, "p"));
    tree.put(make(3, 2, topicClass, "t"));
    tree.put(make(4, 2, topicClass, "u"));
    return tree;
}

std::vector<std::string> removedNames(ResourceTree& tree, std::uint8_t number) {
    std::vector<std::string> names;
    tree.remove(guidOf(number), [&](const Resource& resource) { names.push_back(resource.name); });
    return names;
}

TEST(ResourceTree, PathNamesEveryLevelFromTheApplication) {
    const ResourceTree tree = smallTree();
    EXPECT_EQ(tree.path(guidOf(3)), "/applications/app/domain_participants/p/topics/t");
}

TEST(ResourceTree, PathOfAResourceWithUnknownOwnerShowsTheOwnersGuid) {
    ResourceTree tree;
    tree.put(make(3, 2, topicClass, "t"));
    EXPECT_EQ(tree.path(guidOf(3)), "/?/GUID(01000000.00000000.00000000.00000002)/topics/t");
}

TEST(ResourceTree, DeletingAnAncestorEndsTheSubtreeDeepestFirst) {
    ResourceTree tree = smallTree();
    const auto names = removedNames(tree, 2);
    ASSERT_EQ(names.size(), 3U);
    EXPECT_EQ(names.back(), "p");
    EXPECT_EQ(tree.size(), 1U);
    EXPECT_EQ(tree.find(guidOf(3)), nullptr);
}

TEST(ResourceTree, DeletingTheUnknownChangesNothing) {
    ResourceTree tree = smallTree();
    EXPECT_TRUE(removedNames(tree, 99).empty());
    EXPECT_EQ(tree.size(), 4U);
}

TEST(ResourceTree, ARingOfOwnersNeitherHangsThePathNorTheRemoval) {
    ResourceTree tree;
    tree.put(make(2, 3, topicClass, "a"));
    tree.put(make(3, 2, topicClass, "b"));
    EXPECT_LT(tree.path(guidOf(2)).size(), 1000U);
    EXPECT_EQ(removedNames(tree, 2).size(), 2U);
    EXPECT_EQ(tree.size(), 0U);
}

TEST(ResourceTree, ARegistryReplacesWhatIsKnownOfItsApplicationAlone) {
    ResourceTree tree = smallTree();
    Resource foreign = make(40, 0, applicationClass, "other");
    foreign.application = guidOf(40);
    tree.put(foreign);
    std::vector<std::string> removed;
    std::vector<std::string> added;
    tree.replaceApplication(
        guidOf(1),
        {make(1, 0, applicationClass, "app"), make(2, 1, participantClass, "p"), make(5, 2, topicClass, "v")},
        [&](const Resource& resource) { removed.push_back(resource.name); },
        [&](const Resource& resource) { added.push_back(resource.name); });
    EXPECT_EQ(removed, (std::vector<std::string>{"t", "u"}));
    EXPECT_EQ(added, (std::vector<std::string>{"v"}));
    EXPECT_NE(tree.find(guidOf(40)), nullptr);
}

TEST(ResourceTree, AnApplicationThatCreatesWithoutEndIsCutOffAndCounted) {
    ResourceTree tree(3);
    for (std::uint8_t number = 1; number <= 10; ++number)
        tree.put(make(number, 0, topicClass, "x"));
    EXPECT_EQ(tree.size(), 3U);
    EXPECT_EQ(tree.refused(), 7U);
    // Room that comes free is used again.
    removedNames(tree, 1);
    EXPECT_EQ(tree.put(make(50, 0, topicClass, "y")), ResourceTree::Outcome::added);
}

TEST(ResourceTree, RandomOperationsKeepTheTreeConsistent) {
    std::mt19937 random(7);
    ResourceTree tree(1000);
    std::set<Guid> model; // GUIDs alive
    std::map<Guid, Guid> owners;
    for (int step = 0; step < 5000; ++step) {
        const auto number = static_cast<std::uint8_t>(1 + random() % 60);
        const auto owner =
            static_cast<std::uint8_t>(random() % number); // owners have smaller numbers: no rings
        if (random() % 3 != 0) {
            if (tree.put(make(number, owner, topicClass, "n")) == ResourceTree::Outcome::added) {
                model.insert(guidOf(number));
                owners[guidOf(number)] = owner == 0 ? tail::noGuid : guidOf(owner);
            }
        } else {
            tree.remove(
                guidOf(number), [&](const Resource& resource) { EXPECT_EQ(model.erase(resource.guid), 1U); });
            // Whatever is left has no removed ancestor within reach.
            for (const Guid& guid : model)
                EXPECT_NE(owners.at(guid), guidOf(number));
        }
        ASSERT_EQ(tree.size(), model.size());
    }
}

TEST(Escaped, ControlsAndInvalidOctetsBecomeVisible) {
    EXPECT_EQ(tail::escaped("plain \xC3\xA9"), "plain \xC3\xA9");
    EXPECT_EQ(tail::escaped("\x1B[31m\n"), "\\x1B[31m\\x0A");
    EXPECT_EQ(tail::escaped("\xC2\x9B"), "\\xC2\\x9B");
    EXPECT_EQ(tail::escaped("\xFF\xC3"), "\\xFF\\xC3");
    EXPECT_EQ(tail::escaped("\xED\xA0\x80"), "\\xED\\xA0\\x80"); // a surrogate
    EXPECT_EQ(tail::escaped("a\\b"), "a\\\\b");
    EXPECT_EQ(tail::escaped("\x7F"), "\\x7F");
}

TEST(GuidText, IsTheFormOfPathExpressions) {
    Guid guid{};
    for (std::size_t i = 0; i < guid.size(); ++i)
        guid[i] = static_cast<std::uint8_t>(i + 0xA0);
    EXPECT_EQ(tail::guidText(guid), "GUID(A0A1A2A3.A4A5A6A7.A8A9AAAB.ACADAEAF)");
}

} // namespace
