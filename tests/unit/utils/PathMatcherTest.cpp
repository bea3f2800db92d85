#include "src/utils/PathMatcher.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/helpers/OpaqueTree.hpp"

namespace {

// app1 with the participants p1 (publisher pub with writer w1, topics T and U) and p2 (topic T, called T2
// here, by GUID).
class PathMatcher : public testing::Test {
protected:
    OpaqueTree tree;
    OpaqueTree::Node* app = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app1");
    OpaqueTree::Node* p1 = tree.add(app, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p1");
    OpaqueTree::Node* topicT = tree.add(p1, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    OpaqueTree::Node* topicU = tree.add(p1, ORX_MONITORING_TOPIC_CLASS_ID, "U");
    OpaqueTree::Node* publisher = tree.add(p1, ORX_MONITORING_PUBLISHER_CLASS_ID, "pub");
    OpaqueTree::Node* writer = tree.add(publisher, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w1");
    OpaqueTree::Node* p2 = tree.add(app, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p2");
    OpaqueTree::Node* otherT = tree.add(p2, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    OpaqueTree::Node* reader = tree.add(p2, ORX_MONITORING_DATA_READER_CLASS_ID, "r1");
    OpaqueTree::Node* odd = tree.add(p2, 4711, "odd");

    // With and without the lookup by GUID: both must say the same.
    std::string match(const std::string& expression, const OpaqueTree::Node* root = nullptr) {
        std::string names[2];
        for (int hasIndex = 0; hasIndex < 2; ++hasIndex) {
            OpaqueMatches matches;
            const auto accessor = OpaqueTree::accessor(hasIndex != 0);
            EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence,
                          expression.c_str(), &accessor, (root != nullptr ? root : app)->opaque()),
                1);
            names[hasIndex] = matches.names();
        }
        EXPECT_EQ(names[0], names[1]) << expression;
        return names[1];
    }
    std::string matchApplications(
        const std::string& expression, const std::vector<const OpaqueTree::Node*>& roots) {
        OpaqueMatches rootSequence;
        OpaqueMatches matches;
        for (const auto* root : roots)
            ORX_Monitoring_addOpaqueResourceToSequence(&rootSequence.sequence, root->opaque());
        const auto accessor = OpaqueTree::accessor();
        EXPECT_EQ(ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
                      &matches.sequence, expression.c_str(), &accessor, &rootSequence.sequence),
            1);
        return matches.names();
    }
    // -1 on failure.
    int allGuids(const std::string& expression, int before = 0) {
        const auto accessor = OpaqueTree::accessor();
        return ORX_Monitoring_matchAllGuidInExpression(&before, expression.c_str(), &accessor, app->opaque())
                   ? before
                   : -1;
    }
};

constexpr char unknownGuid[] = "GUID(FFFFFFFF.FFFFFFFF.FFFFFFFF.FFFFFFFF)";

} // namespace

TEST_F(PathMatcher, SelectsByPath) {
    EXPECT_EQ(match("/applications/app1"), "app1");
    EXPECT_EQ(match("applications/app1/"), "app1");
    EXPECT_EQ(match("/applications/*"), "app1");
    EXPECT_EQ(match("/*/*"), "app1");
    EXPECT_EQ(match("/applications/app1/domain_participants/p1"), "p1");
    EXPECT_EQ(match("/applications/app1/domain_participants/p1/publishers/pub/data_writers/w1"), "w1");
    EXPECT_EQ(match("/applications/app1/domain_participants/*/topics/*"), "T U T");
    EXPECT_EQ(match("/applications/app?/*/p[12]"), "p1 p2");
    EXPECT_EQ(match("/applications/other"), "");
    EXPECT_EQ(
        match("/applications/app1/domain_participants/p1/data_writers/w1"), ""); /* a level is left out */
}

TEST_F(PathMatcher, SelectsAtAnyDepth) {
    EXPECT_EQ(match("//topics/T"), "T T");
    EXPECT_EQ(match("//data_*/*"), "w1 r1");
    EXPECT_EQ(match("//T"), "T T");
    EXPECT_EQ(match("//app1"), "app1");
    EXPECT_EQ(match("//applications/app1"), "app1");
    EXPECT_EQ(match("/applications/app1//T"), "T T");
    EXPECT_EQ(match("/applications/app1//app1"), ""); /* strictly below */
    EXPECT_EQ(match("/applications/app1//data_writers/w1"), "w1");
    EXPECT_EQ(match("/applications/app1//publishers/*//w1"), "w1");
    EXPECT_EQ(match("//*/*"), match("//*"));
}

TEST_F(PathMatcher, SelectsByGuid) {
    EXPECT_EQ(match("//" + otherT->guidText()), "T");
    EXPECT_EQ(match("/applications/" + app->guidText() + "/domain_participants/*"), "p1 p2");
    EXPECT_EQ(match("/applications/*/domain_participants/" + p2->guidText() + "/topics/*"), "T");
    EXPECT_EQ(match("//topics/" + otherT->guidText()), "T");
    EXPECT_EQ(match("//publishers/" + otherT->guidText()), ""); /* of another class */
    EXPECT_EQ(match("//" + p1->guidText() + "/topics/*"), "T U");
    EXPECT_EQ(match("//" + p1->guidText() + "//*"), "T U pub w1");
}

TEST_F(PathMatcher, GuidsAreComparedExactly) {
    std::string lower = otherT->guidText();
    for (size_t i = 5; i < lower.size(); ++i)
        lower[i] = static_cast<char>(std::tolower(lower[i]));
    ASSERT_NE(lower, otherT->guidText());
    EXPECT_EQ(match("//topics/" + lower), "");
    EXPECT_EQ(match("/applications/*/domain_participants/GUID(*)"), ""); /* never a pattern */
}

TEST_F(PathMatcher, LookupReadsAGuidInEitherCase) {
    std::string lower = otherT->guidText();
    for (size_t i = 5; i < lower.size(); ++i)
        lower[i] = static_cast<char>(std::tolower(lower[i]));
    ASSERT_NE(lower, otherT->guidText());
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    ASSERT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                  &matches.sequence, ("//" + lower).c_str(), &accessor, app->opaque()),
        1);
    EXPECT_EQ(matches.names(), "T");
}

TEST_F(PathMatcher, UnknownGuidSelectsNothing) {
    EXPECT_EQ(match(std::string("//") + unknownGuid), "");
    EXPECT_EQ(match(std::string("/applications/") + unknownGuid), "");
}

TEST_F(PathMatcher, MalformedGuidFailsWhereItIsLookedUp) {
    LogCapture log;
    OpaqueMatches matches;
    auto accessor = OpaqueTree::accessor();
    EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                  &matches.sequence, "//GUID(nonsense)", &accessor, app->opaque()),
        0);
    EXPECT_TRUE(log.has("opaque resource to sequence", "FAILED_TO_ADD"));
    EXPECT_TRUE(log.has("matching resources", "FAILED_TO_GET"));
    accessor = OpaqueTree::accessor(false);
    EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                  &matches.sequence, "//GUID(nonsense)", &accessor, app->opaque()),
        1);
    EXPECT_EQ(matches.names(), "");
}

TEST_F(PathMatcher, ExpressionsWithoutACompletePairSelectNothing) {
    for (const char* expression : {"", "/", "//", "/applications", "//topics/", "/applications/app1//",
             "/applications/app1/topics", "//*/*/topics"})
        EXPECT_EQ(match(expression), expression == std::string("//topics/") ? match("//topics") : "")
            << expression;
}

TEST_F(PathMatcher, FirstPairMatchesARoot) {
    EXPECT_EQ(match("/topics/T"), "");
    EXPECT_EQ(match("/domain_participants/p1"), "");
    EXPECT_EQ(match("/domain_participants/p1/topics/*", p1), "T U");
}

TEST_F(PathMatcher, NameAndExplicitAnyClassAreTheSame) {
    EXPECT_EQ(match("//*/T"), match("//T"));
    EXPECT_EQ(match("//*/odd"), match("//odd"));
    EXPECT_EQ(match("//*/" + p1->guidText()), match("//" + p1->guidText()));
}

TEST_F(PathMatcher, UnknownClassMatchesNoPair) {
    EXPECT_EQ(match("//odd"), "odd"); /* which looks at no classes */
    EXPECT_EQ(match("/applications/app1//*/odd"), "");
    EXPECT_EQ(match("/applications/app1//unknown/odd"), "");
    EXPECT_EQ(match("/applications/app1/*/p2/*/*"), "T r1");
}

TEST_F(PathMatcher, ResourceMayBeFoundTwice) {
    auto* deep = tree.add(writer, ORX_MONITORING_TOPIC_CLASS_ID, "deep");
    (void)deep;
    // "deep" lies below the participant and below the application.
    EXPECT_EQ(match("//*/*//topics/deep"), "deep deep deep deep");
}

// The ways to share the depth among many "$" would multiply the results beyond any bound.
TEST_F(PathMatcher, RunsOfAnyLevelAreOne) {
    std::string expression;
    for (int i = 0; i < 30; ++i)
        expression += "/$";
    EXPECT_EQ(match(expression + "/topics/T"), "T T");
    EXPECT_EQ(match("/$/$"), "");
}

TEST_F(PathMatcher, GuidMatchStopsTheSearchBesideIt) {
    // Equal GUIDs cannot be, but show where the walk stops.
    auto* twin = tree.add(app, ORX_MONITORING_PARTICIPANT_CLASS_ID, "twin", p2->guid);
    tree.add(twin, ORX_MONITORING_TOPIC_CLASS_ID, "never");
    const auto accessor = OpaqueTree::accessor(false);
    OpaqueMatches matches;
    ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence,
        ("/applications/*/domain_participants/" + p2->guidText() + "/topics/*").c_str(), &accessor,
        app->opaque());
    EXPECT_EQ(matches.names(), "T");
    ORX_Monitoring_getMatchingResourcesToPathExpression(
        &matches.sequence, ("//" + p2->guidText()).c_str(), &accessor, app->opaque());
    EXPECT_EQ(matches.names(), "p2");
}

TEST_F(PathMatcher, SeveralRootsAreWalkedInOrder) {
    auto* app2 = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app2");
    tree.add(app2, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    OpaqueMatches roots;
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    ORX_Monitoring_addOpaqueResourceToSequence(&roots.sequence, app2->opaque());
    ORX_Monitoring_addOpaqueResourceToSequence(&roots.sequence, app->opaque());
    const auto match = [&](const char* expression) {
        EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
                      &matches.sequence, expression, &accessor, &roots.sequence),
            1);
        return matches.names();
    };
    EXPECT_EQ(match("/applications/*"), "app2 app1");
    EXPECT_EQ(match("//T"), "T T T");
    EXPECT_EQ(match("/applications/app2/topics/*"), "T");
    EXPECT_EQ(match(("//" + app->guidText()).c_str()), "app1"); /* looked up from the first root */
}

TEST_F(PathMatcher, WithoutRootsResultsAreLeftAlone) {
    OpaqueMatches roots;
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    ORX_Monitoring_addOpaqueResourceToSequence(&matches.sequence, app->opaque());
    EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpressionFromSequence(
                  &matches.sequence, "//*", &accessor, &roots.sequence),
        1);
    EXPECT_EQ(ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
                  &matches.sequence, "//*", &accessor, &roots.sequence),
        1);
    EXPECT_EQ(matches.names(), "app1");
}

TEST_F(PathMatcher, ResultsReplaceWhatWasThere) {
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    ORX_Monitoring_addOpaqueResourceToSequence(&matches.sequence, app->opaque());
    ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence, "//p1", &accessor, app->opaque());
    EXPECT_EQ(matches.names(), "p1");
    ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence, "", &accessor, app->opaque());
    EXPECT_EQ(matches.names(), "");
}

TEST_F(PathMatcher, BadExpressionIsAFailure) {
    LogCapture log;
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    int isMatching = 1;
    EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                  &matches.sequence, "a///b", &accessor, app->opaque()),
        0);
    EXPECT_TRUE(log.has("ORX_MonitoringResourceTokenizer", "FAILED_TO_ALLOCATE"));
    EXPECT_EQ(ORX_Monitoring_isResourceMatchingPathExpression(
                  &isMatching, p1->opaque(), "a///b", &accessor, app->opaque()),
        0);
    EXPECT_EQ(isMatching, 0);
    EXPECT_EQ(
        ORX_Monitoring_isMatchingApplicationToPathExpression(&isMatching, "a///b", &accessor, app->opaque()),
        0);
    EXPECT_TRUE(log.has("ORX_MonitoringResourceTokenizer", "FAILED_TO_CREATE"));
    EXPECT_TRUE(log.has("matching applications", "FAILED_TO_GET"));
    EXPECT_EQ(allGuids("a///b"), -1);
}

TEST_F(PathMatcher, PairLeavesTheCursorInPlace) {
    const auto accessor = OpaqueTree::accessor();
    ORX_MonitoringResourceTokenizer tokenizer;
    const auto match = [&](const std::string& expression, const OpaqueTree::Node* node) {
        ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, expression.c_str());
        ORX_MonitoringResourceTokenizer_getFirstToken(&tokenizer);
        const auto kind = ORX_Monitoring_isResourceMatched(node->opaque(), &accessor, &tokenizer);
        EXPECT_EQ(tokenizer.currentTokenIndex, 0u);
        return kind;
    };
    EXPECT_EQ(match("/topics/T/x/y", topicT), ORX_MONITORING_RESOURCE_NAME_MATCH);
    EXPECT_EQ(match("/topics/" + topicT->guidText(), topicT), ORX_MONITORING_RESOURCE_GUID_MATCH);
    EXPECT_EQ(match("/topics/" + topicT->guidText(), topicU), ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(match("/topics/U", topicT), ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(match("/publishers/T", topicT), ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(match("/topics", topicT), ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(match("", topicT), ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(match("/*/odd", odd), ORX_MONITORING_RESOURCE_NO_MATCH);
    // A count raised beyond the tokens.
    ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, "/topics");
    ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(&tokenizer);
    EXPECT_EQ(ORX_Monitoring_isResourceMatched(topicT->opaque(), &accessor, &tokenizer),
        ORX_MONITORING_RESOURCE_NO_MATCH);
    EXPECT_EQ(tokenizer.currentTokenIndex, 0u);
}

TEST_F(PathMatcher, ApplicationVariantBroadcastsWhatReachesBelow) {
    auto* app2 = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app2");
    const std::vector<const OpaqueTree::Node*> roots{app, app2};
    EXPECT_EQ(matchApplications("//topics/T", roots), "app1 app2");
    EXPECT_EQ(matchApplications("//anything", roots), "app1 app2");
    EXPECT_EQ(matchApplications("//*/*/topics/T", roots), "app1 app2");
    EXPECT_EQ(matchApplications("/applications/app1/topics/T", roots), "app1");
    EXPECT_EQ(matchApplications("/applications/*/topics/T", roots), "app1 app2");
    EXPECT_EQ(matchApplications("/applications/app1//topics/T", roots), "app1");
    EXPECT_EQ(matchApplications("//applications/app2", roots), "app2");
    EXPECT_EQ(matchApplications("//applications/app2/topics/T", roots), "app2");
    EXPECT_EQ(matchApplications("/*/app2", roots), "app2");
    EXPECT_EQ(matchApplications("/domain_participants/p1", roots), "");
    EXPECT_EQ(matchApplications("/applications", roots), "");
    EXPECT_EQ(matchApplications("//", roots), "");
    EXPECT_EQ(matchApplications("", roots), "");
}

TEST_F(PathMatcher, ApplicationVariantLooksUpGuids) {
    auto* app2 = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app2");
    const std::vector<const OpaqueTree::Node*> roots{app, app2};
    EXPECT_EQ(matchApplications("//" + app2->guidText(), roots), "app2");
    EXPECT_EQ(matchApplications("//*/" + app2->guidText() + "/topics/T", roots), "app2");
    EXPECT_EQ(
        matchApplications(std::string("//") + unknownGuid, roots), "app1 app2"); /* of what lies below */
    EXPECT_EQ(matchApplications("/applications/" + app2->guidText(), roots), "app2");

    LogCapture log;
    OpaqueMatches rootSequence;
    OpaqueMatches matches;
    const auto accessor = OpaqueTree::accessor();
    ORX_Monitoring_addOpaqueResourceToSequence(&rootSequence.sequence, app->opaque());
    EXPECT_EQ(ORX_Monitoring_getMatchingApplicationToPathExpressionFromSequence(
                  &matches.sequence, "//GUID(nonsense)", &accessor, &rootSequence.sequence),
        0);
    EXPECT_TRUE(log.has("GUID from token GUID(nonsense)", "FAILED_TO_PARSE"));
}

TEST_F(PathMatcher, TellsWhetherAnApplicationIsConcerned) {
    const auto accessor = OpaqueTree::accessor();
    const auto isConcerned = [&](const char* expression) {
        int isMatching = -1;
        EXPECT_EQ(ORX_Monitoring_isMatchingApplicationToPathExpression(
                      &isMatching, expression, &accessor, app->opaque()),
            1);
        return isMatching;
    };
    EXPECT_EQ(isConcerned("//topics/T"), 1);
    EXPECT_EQ(isConcerned("/applications/app1/topics/none"), 1);
    EXPECT_EQ(isConcerned("/applications/other//T"), 0);
    EXPECT_EQ(isConcerned(""), 0);
}

TEST_F(PathMatcher, TellsWhetherGuidsStillAddressSomething) {
    EXPECT_EQ(allGuids("/applications/app1"), 1);
    EXPECT_EQ(allGuids("//" + p1->guidText() + "/topics/none"), 1); /* what follows the GUID may come later */
    EXPECT_EQ(allGuids(std::string("//") + unknownGuid + "/topics/T", 1), 0);
    EXPECT_EQ(
        allGuids("/applications/" + app->guidText() + "/domain_participants/" + p2->guidText() + "/x/y"), 1);
    EXPECT_EQ(
        allGuids("/applications/" + app->guidText() + "/domain_participants/" + unknownGuid + "/x/y", 1), 0);
    EXPECT_EQ(allGuids("/applications/other/domain_participants/" + p2->guidText() + "/x/y", 1), 0);
    EXPECT_EQ(allGuids("", 7), 7); /* nothing to say */
    EXPECT_EQ(allGuids("/", 7), 7);
    EXPECT_EQ(allGuids("", 0), 0);
    EXPECT_EQ(allGuids(p1->guidText()), 0); /* no name: in the place of a class it addresses nothing */
}

TEST_F(PathMatcher, SearchByNameWalksSiblingsOnlyWhenAsked) {
    const auto accessor = OpaqueTree::accessor();
    OpaqueMatches alone;
    EXPECT_EQ(
        ORX_Monitoring_getResourcesByNameOrGuid(&alone.sequence, "*", &accessor, topicT->opaque(), 0), 1);
    EXPECT_EQ(alone.names(), "T");
    OpaqueMatches siblings;
    EXPECT_EQ(
        ORX_Monitoring_getResourcesByNameOrGuid(&siblings.sequence, "*", &accessor, topicT->opaque(), 1), 1);
    EXPECT_EQ(siblings.names(), "T U pub w1");
    OpaqueMatches byGuid;
    EXPECT_EQ(ORX_Monitoring_getResourcesByNameOrGuid(
                  &byGuid.sequence, writer->guidText().c_str(), &accessor, topicT->opaque(), 1),
        1);
    EXPECT_EQ(byGuid.names(), "w1");
}

TEST_F(PathMatcher, AppendsUpToTheLimitOfASequence) {
    LogCapture log;
    ORX_MonitoringOpaqueResourceSeq full{};
    ORX_MonitoringOpaqueResourcePtr none = nullptr;
    ASSERT_TRUE(ORX_MonitoringOpaqueResourceSeq_loan_contiguous(&full, &none, 2147483647, 2147483647));
    EXPECT_EQ(ORX_Monitoring_addOpaqueResourceToSequence(&full, app->opaque()), 0);
    EXPECT_TRUE(log.has("\"length == 2147483647\"\n", "PRECONDITION"));
    ORX_MonitoringOpaqueResourceSeq_unloan(&full);
}

TEST_F(PathMatcher, EveryAllocationMayFail) {
    const auto accessor = OpaqueTree::accessor();
    std::set<std::string> reasons;
    for (const char* expression :
        {"//T", "/applications/*/domain_participants/*/topics/*", "//topics/*", "//*/*//*/*"}) {
        bool isDone = false;
        for (uint64_t n = 1; !isDone && n < 100; ++n) {
            const ORX_UINT64 live = ORXOsapiHeap_getLiveBufferCount();
            {
                FailingHeap heap;
                LogCapture log;
                OpaqueMatches matches;
                heap.failAt(n, 1000); /* a sequence that cannot grow by half tries to grow by one */
                isDone = ORX_Monitoring_getMatchingResourcesToPathExpression(
                             &matches.sequence, expression, &accessor, app->opaque()) != 0;
                EXPECT_EQ(isDone, !heap.hasFailed()) << expression << " at " << n;
                EXPECT_EQ(isDone, log.lines().empty());
                for (const auto& line : log.lines())
                    reasons.insert(line.identifier + " " + line.subject);
            }
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
        }
        EXPECT_TRUE(isDone);
    }
    for (const char* reason : {"FAILED_TO_SET root resource sequence length to 1",
             "FAILED_TO_ALLOCATE ORX_MonitoringResourceTokenizer", "FAILED_TO_FIND resource by name or GUID",
             "FAILED_TO_ADD opaque resource to sequence", "FAILED_TO_GET matching resources"})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
}

// A copy of the roots is what an expression about all applications gives.
TEST_F(PathMatcher, EveryAllocationOfAnApplicationsMatchMayFail) {
    const auto accessor = OpaqueTree::accessor();
    std::set<std::string> reasons;
    for (const char* expression : {"//topics/T", "/applications/*/topics/T"}) {
        bool isDone = false;
        for (uint64_t n = 1; !isDone && n < 100; ++n) {
            FailingHeap heap;
            LogCapture log;
            heap.failAt(n, 1000);
            int isMatching = -1;
            isDone = ORX_Monitoring_isMatchingApplicationToPathExpression(
                         &isMatching, expression, &accessor, app->opaque()) != 0;
            EXPECT_EQ(isDone, !heap.hasFailed()) << expression << " at " << n;
            EXPECT_EQ(isMatching, isDone ? 1 : 0);
            for (const auto& line : log.lines())
                reasons.insert(line.identifier + " " + line.subject);
        }
        EXPECT_TRUE(isDone);
    }
    for (const char* reason : {"FAILED_TO_CREATE ORX_MonitoringResourceTokenizer",
             "FAILED_TO_COPY root resource sequence", "FAILED_TO_GET matching applications"})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
}

TEST_F(PathMatcher, NullIsAPrecondition) {
    LogCapture log;
    OpaqueMatches matches;
    int flag = 0;
    const auto accessor = OpaqueTree::accessor();
    EXPECT_EQ(
        ORX_Monitoring_getMatchingResourcesToPathExpression(nullptr, "/a", &accessor, app->opaque()), 0);
    EXPECT_EQ(ORX_Monitoring_getMatchingResourcesToPathExpression(
                  &matches.sequence, nullptr, &accessor, app->opaque()),
        0);
    EXPECT_EQ(
        ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence, "/a", nullptr, app->opaque()),
        0);
    EXPECT_EQ(
        ORX_Monitoring_getMatchingResourcesToPathExpression(&matches.sequence, "/a", &accessor, nullptr), 0);
    EXPECT_EQ(ORX_Monitoring_isResourceMatchingPathExpression(
                  nullptr, app->opaque(), "/a", &accessor, app->opaque()),
        0);
    EXPECT_EQ(
        ORX_Monitoring_isMatchingApplicationToPathExpression(&flag, nullptr, &accessor, app->opaque()), 0);
    EXPECT_EQ(ORX_Monitoring_matchAllGuidInExpression(&flag, "/a", &accessor, nullptr), 0);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 7u);
}
