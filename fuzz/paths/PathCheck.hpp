// What must hold of any text that is taken for a path expression, over a small tree of resources with odd
// names.
#ifndef ORX_FUZZ_PATH_CHECK_HPP
#define ORX_FUZZ_PATH_CHECK_HPP

#include <cstdio>
#include <cstdlib>

#include "tests/helpers/OpaqueTree.hpp"
#include "zddscore/text.h"

#define PATH_CHECK(test)                                                                                     \
    ((test) ? static_cast<void>(0)                                                                           \
            : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #test), std::abort()))

class PathCheck {
public:
    PathCheck() {
        root = tree.add(nullptr, ORX_MONITORING_APPLICATION_CLASS_ID, "app1");
        auto* p1 = tree.add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p1", knownGuid);
        tree.add(p1, ORX_MONITORING_TOPIC_CLASS_ID, "T");
        tree.add(p1, ORX_MONITORING_TOPIC_CLASS_ID, "GUID(nonsense)");
        auto* publisher = tree.add(p1, ORX_MONITORING_PUBLISHER_CLASS_ID, "pub");
        auto* writer = tree.add(publisher, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w1");
        auto* deep = tree.add(writer, ORX_MONITORING_TOPIC_CLASS_ID, "T");
        tree.add(deep, ORX_MONITORING_TOPIC_CLASS_ID, "T");
        auto* p2 = tree.add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "*");
        tree.add(p2, ORX_MONITORING_TOPIC_CLASS_ID, "$");
        tree.add(p2, ORX_MONITORING_TOPIC_CLASS_ID, "[a-z]");
        tree.add(p2, ORX_MONITORING_DATA_READER_CLASS_ID, std::string(300, 'a'));
        tree.add(p2, ORX_MONITORING_SUBSCRIBER_CLASS_ID, "");
        tree.add(p2, 4711, "odd");
        tree.add(p2, ORX_MONITORING_TYPE_CLASS_ID, p1->guidText());
    }

    void run(const char* expression) const {
        checkTokens(expression);
        checkGuid(expression);
        for (const bool hasIndex : {true, false})
            checkMatches(expression, OpaqueTree::accessor(hasIndex));
    }

private:
    static void checkTokens(const char* expression) {
        ORX_MonitoringResourceTokenizer tokenizer;
        const bool isTaken = ORX_MonitoringResourceTokenizer_setExpression(&tokenizer, expression) != 0;
        PATH_CHECK(isTaken || tokenizer.tokenCount == 0);
        PATH_CHECK(tokenizer.tokenCount <= ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS);
        const char* end = tokenizer.resourcePathExpression + sizeof tokenizer.resourcePathExpression;
        for (ORX_UINT32 i = 0; i < ORX_MONITORING_RESOURCE_PATH_MAX_TOKENS; ++i) {
            const char* token = tokenizer.tokens[i];
            PATH_CHECK((token != nullptr) == (i < tokenizer.tokenCount));
            if (token == nullptr)
                continue;
            PATH_CHECK(token >= tokenizer.resourcePathExpression && token + std::strlen(token) < end);
            PATH_CHECK(*token != '\0' && std::strchr(token, '/') == nullptr);
        }
        ORX_MonitoringResourceTokenizer_getLastToken(&tokenizer);
        ORX_MonitoringResourceTokenizer_removeNonApplicationTokens(&tokenizer);
        PATH_CHECK(tokenizer.currentTokenIndex < tokenizer.tokenCount);
    }

    static void checkGuid(const char* expression) {
        DDS_Monitoring_GUID_t guid;
        DDS_Monitoring_GUID_t again;
        if (DDS_Monitoring_GUID_fromStr(&guid, expression)) {
            char text[ORX_MONITORING_GUID_TEXT_SIZE];
            DDS_Monitoring_GUID_toStr(guid, text);
            PATH_CHECK(
                DDS_Monitoring_GUID_fromStr(&again, text) && std::memcmp(guid, again, sizeof guid) == 0);
        }
        (void)ORX_Monitoring_isLastTokenGuid(expression);
    }

    void checkMatches(const char* expression, const ORX_MonitoringOpaqueResourceAccessor& accessor) const {
        OpaqueMatches matches;
        const int result = ORX_Monitoring_getMatchingResourcesToPathExpression(
            &matches.sequence, expression, &accessor, root->opaque());
        const auto found = matches.nodes();
        // Repetitions are bounded by the ways to choose levels of a branch, whatever the expression.
        PATH_CHECK(found.size() <= tree.nodes.size() << maximumDepth);
        for (const auto& node : tree.nodes) {
            int isMatching = -1;
            PATH_CHECK(ORX_Monitoring_isResourceMatchingPathExpression(
                           &isMatching, node->opaque(), expression, &accessor, root->opaque()) == result);
            PATH_CHECK(
                !result || isMatching == (std::find(found.begin(), found.end(), node.get()) != found.end()));
        }
        int isMatching = 0;
        (void)ORX_Monitoring_isMatchingApplicationToPathExpression(
            &isMatching, expression, &accessor, root->opaque());
        (void)ORX_Monitoring_matchAllGuidInExpression(&isMatching, expression, &accessor, root->opaque());
        PATH_CHECK(isMatching == 0 || isMatching == 1);
    }

    static constexpr int maximumDepth = 6;
    static constexpr OpaqueTree::Guid knownGuid = {0xB1, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
    OpaqueTree tree;
    OpaqueTree::Node* root;
};

#endif
