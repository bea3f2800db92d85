#include "src/monitoringClass/MetricSelectionStore.h"

#include <functional>
#include <random>

#include "src/monitoringClass/MetricSelectionBound.hpp"
#include "src/utils/PathTokenizer.h"
#include "tests/unit/resource/ResourceFixture.hpp"
#include "gmock/gmock.h"

namespace {

using Node = ORX_MonitoringMetricSelectionNode;

std::string join(const DDS_StringSeq& sequence) {
    std::string all;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&sequence); ++i)
        all += (i == 0 ? "" : ",") + std::string(DDS_StringSeq_get(&sequence, i));
    return all;
}

std::string describe(const DDS_MonitoringMetricSelection& selection) {
    return std::string(selection.resource_selection) + " +" + join(selection.enabled_metrics_selection) +
           " -" + join(selection.disabled_metrics_selection);
}

// The store of an object with a small tree: app with participant p, which has topic T.
class SelectionStore : public ResourceFixture {
protected:
    SelectionStore() {
        REDAInlineList_init(&impl.currentMetricSelectionList);
        REDAInlineList_init(&persist);
        const ORX_INT8 level = REDASkiplist_getOptimumMaximumLevel(8192);
        EXPECT_TRUE(REDASkiplist_newDefaultAllocator(&impl.metricSelectionIndexDescription, level, 2));
        impl.metricSelectionIndex = REDASkiplist_new(&impl.metricSelectionIndexDescription,
            ORX_MonitoringMetricSelectionNode_compare, nullptr, nullptr, nullptr);
        constexpr REDAFastBufferPoolProperty poolProperty = {{2, -1, -1}, 0, 0, 0, 0};
        impl.metricSelectionPool = REDAFastBufferPool_newWithParams(sizeof(Node), 8,
            ORX_MonitoringMetricSelectionNode_initialize, nullptr, ORX_MonitoringMetricSelectionNode_finalize,
            nullptr, &poolProperty, "struct ORX_MonitoringMetricSelectionNode", 0);
        EXPECT_TRUE(DDS_MonitoringMetricSelection_initialize(&impl.disableSelection));
        EXPECT_TRUE(DDS_StringSeq_ensure_length(&impl.disableSelection.disabled_metrics_selection, 1, 1));
        DDS_String_replace(
            DDS_StringSeq_get_reference(&impl.disableSelection.disabled_metrics_selection, 0), "*");
        auto* participant = add(root, ORX_MONITORING_PARTICIPANT_CLASS_ID, "p");
        topic = add(participant, ORX_MONITORING_TOPIC_CLASS_ID, "T");
    }
    ~SelectionStore() override {
        REDAFastBufferPool_delete(impl.metricSelectionPool);
        REDASkiplist_clearEA(impl.metricSelectionIndex);
        REDASkiplist_delete(impl.metricSelectionIndex);
        REDASkiplist_deleteDefaultAllocator(&impl.metricSelectionIndexDescription);
        DDS_MonitoringMetricSelection_finalize(&impl.disableSelection);
    }

    Node* make(const char* expression, std::initializer_list<const char*> enabled,
        std::initializer_list<const char*> disabled = {}) {
        SelectionList source;
        source.add(expression, enabled, disabled);
        auto* node = static_cast<Node*>(REDAFastBufferPool_getBufferWithSize(impl.metricSelectionPool, -1));
        EXPECT_TRUE(DDS_MonitoringMetricSelection_copy(&node->metricSelection,
            &reinterpret_cast<Node*>(REDAInlineList_getFirst(&source.list))->metricSelection));
        return node;
    }
    // Onto the list of a command.
    void say(const char* expression, std::initializer_list<const char*> enabled,
        std::initializer_list<const char*> disabled = {}) {
        REDAInlineList_addNodeToBackEA(&persist, &make(expression, enabled, disabled)->inlineListNode);
    }
    ORX_INT32 update() { return ORX_Monitoring_persistMetricSelection(&impl, &persist, DDS_BOOLEAN_TRUE); }
    ORX_INT32 set() { return ORX_Monitoring_persistMetricSelection(&impl, &persist, DDS_BOOLEAN_FALSE); }

    static Names describe(const REDAInlineList& list) {
        Names all;
        for (auto* node = REDAInlineList_getFirst(&list); node != nullptr;
             node = REDAInlineListNode_getNext(node))
            all.push_back(::describe(reinterpret_cast<Node*>(node)->metricSelection));
        return all;
    }
    Names stored() const { return describe(impl.currentMetricSelectionList); }
    int nodesInUse() const {
        REDAFastBufferPoolInfo info{};
        REDAFastBufferPool_getInfo(impl.metricSelectionPool, &info);
        return info.bufferInUse;
    }
    // The list and the index hold the same nodes, no two are equal, and nothing else is out of the pool.
    void expectSound() const {
        const int size = REDAInlineList_getSize(&impl.currentMetricSelectionList);
        EXPECT_EQ(REDASkiplist_getNodeCount(impl.metricSelectionIndex), size);
        EXPECT_EQ(nodesInUse(), size + REDAInlineList_getSize(&persist));
        std::set<const void*> nodes;
        for (auto* node = REDAInlineList_getFirst(&impl.currentMetricSelectionList); node != nullptr;
             node = REDAInlineListNode_getNext(node)) {
            nodes.insert(node);
            REDASkiplistNode* found = nullptr;
            int preciseMatch = 0;
            REDASkiplist_findNode(impl.metricSelectionIndex, &found, &preciseMatch, node);
            ASSERT_EQ(preciseMatch, 1);
            EXPECT_EQ(found->userData, node);
        }
        EXPECT_EQ(nodes.size(), static_cast<size_t>(size));
        EXPECT_EQ(impl.disableSelection.resource_selection, nullptr);
    }

    ORX_MonitoringResource* topic = nullptr;
    REDAInlineList persist;
};

std::string guidText(const ORX_MonitoringResource& resource) {
    char text[ORX_MONITORING_GUID_TEXT_SIZE];
    DDS_Monitoring_GUID_toStr(resource.base.guid, text);
    return text;
}

} // namespace

TEST_F(SelectionStore, OrdersByExpressionThenCountsThenPatterns) {
    Node* ordered[] = {make("//a", {}), make("//a", {}, {"x"}), make("//a", {"a"}), make("//a", {"b"}),
        make("//a", {"b"}, {"a"}), make("//a", {"b"}, {"b"}), make("//a", {"a", "a"}), make("//b", {})};
    const size_t count = sizeof ordered / sizeof *ordered;
    for (size_t i = 0; i < count; ++i) {
        for (size_t j = 0; j < count; ++j) {
            const int order = ORX_MonitoringMetricSelectionNode_compare(ordered[i], ordered[j]);
            EXPECT_EQ(order < 0, i < j);
            EXPECT_EQ(order > 0, i > j);
        }
    }
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringMetricSelectionNode_compare(nullptr, ordered[0]), -1);
    EXPECT_EQ(ORX_MonitoringMetricSelectionNode_compare(ordered[0], nullptr), 1);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 2u);
    for (Node* node : ordered)
        REDAFastBufferPool_returnBuffer(impl.metricSelectionPool, node);
}

TEST_F(SelectionStore, KeepsUpdatesInOrder) {
    say("//topics/*", {"a"});
    say("//*", {"b"}, {"c"});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(stored(), (Names{"//topics/* +a -", "//* +b -c"}));
    EXPECT_EQ(REDAInlineList_getSize(&persist), 0);
    expectSound();
    say("/applications/*", {"d"});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(stored(), (Names{"//topics/* +a -", "//* +b -c", "/applications/* +d -"}));
    expectSound();
}

TEST_F(SelectionStore, RepeatedSelectionBecomesTheNewest) {
    for (const char* expression : {"//a", "//b", "//c"})
        say(expression, {"x"});
    ASSERT_EQ(update(), 1);
    say("//a", {"x"});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(stored(), (Names{"//b +x -", "//c +x -", "//a +x -"}));
    expectSound();
}

TEST_F(SelectionStore, KeepsWhatCanApplyToLaterResources) {
    const std::string guid = guidText(*topic);
    const std::string appGuid = guidText(*root);
    constexpr char unknown[] = "GUID(FFFFFFFF.FFFFFFFF.FFFFFFFF.FFFFFFFF)";
    const struct {
        std::string expression;
        int expected;
    } cases[] = {{"//*", 1}, {"//topics/T", 1}, {"/applications/app/domain_participants/new", 1},
        {"/applications/other/domain_participants/new", 0}, {"//" + guid, 0}, {"/applications/" + appGuid, 0},
        {"/applications/" + appGuid + "/domain_participants/*", 1},
        {std::string("/applications/") + unknown + "/domain_participants/*", 0},
        {"//" + guid + "/topics/*", 1}, {std::string("//") + unknown + "/topics/*", 0}, {"", 0}};
    for (const auto& [expression, expected] : cases) {
        Node* node = make(expression.c_str(), {"x"});
        EXPECT_EQ(ORX_Monitoring_shouldPersistMetricSelection(&impl, &node->metricSelection), expected)
            << expression;
        REDAFastBufferPool_returnBuffer(impl.metricSelectionPool, node);
    }
}

TEST_F(SelectionStore, BadExpressionIsNotKept) {
    LogCapture log;
    say("a///b", {"x"});
    EXPECT_EQ(update(), 0);
    EXPECT_TRUE(
        log.has("resource_selection \"a///b\". It was not possible to determine if it matches any existing "
                "application resource",
            "FAILED_TO_PROCESS"));
    expectSound();
}

TEST_F(SelectionStore, UpdateOfGuidsAloneStoresNothing) {
    say("//a", {"x"});
    ASSERT_EQ(update(), 1);
    say(("//" + guidText(*topic)).c_str(), {"y"});
    say(("/applications/*/domain_participants/" + guidText(*topic)).c_str(), {"y"});
    EXPECT_EQ(update(), 0);
    EXPECT_EQ(stored(), Names{"//a +x -"});
    EXPECT_EQ(REDAInlineList_getSize(&persist), 0);
    expectSound();
}

TEST_F(SelectionStore, PopulateDropsWhatDoesNotPersist) {
    for (const char* expression : {"//a", "/applications/other", "//b", "/applications/none//x"})
        say(expression, {"x"});
    EXPECT_EQ(ORX_Monitoring_populatePersistMetricSelection(&impl, &persist), 1);
    EXPECT_EQ(describe(persist), (Names{"//a +x -", "//b +x -"}));
    expectSound();
}

TEST_F(SelectionStore, SetAgainstAnEmptyStoreGoesStraightIn) {
    say("//a", {"x"});
    say("//b", {"y"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), (Names{"//a +x -", "//b +y -"}));
    expectSound();
}

TEST_F(SelectionStore, SetPutsOneDisableAheadForEachSelection) {
    say("//old", {"x"});
    ASSERT_EQ(update(), 1);
    for (const char* expression : {"//a", "//b", "//c"})
        say(expression, {"x"});
    EXPECT_EQ(ORX_Monitoring_addSetMetricSelectionDisable(&impl, &persist), 1);
    EXPECT_EQ(
        describe(persist), (Names{"//a + -*", "//b + -*", "//c + -*", "//a +x -", "//b +x -", "//c +x -"}));
    expectSound();
    ORX_Monitoring_clearMetricSelectionList(&persist, impl.metricSelectionPool);
    LogCapture log;
    EXPECT_EQ(ORX_Monitoring_addSetMetricSelectionDisable(&impl, &persist), 0);
    EXPECT_TRUE(log.has("\"(persistList)->_size == 0\"\n", "PRECONDITION"));
}

TEST_F(SelectionStore, SetReplacesWhatItsExpressionsHad) {
    say("//e", {"1"});
    say("//e", {"2"});
    ASSERT_EQ(update(), 1);
    say("//e", {"3"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), Names{"//e +3 -"}); /* at the head the disabling one is cleaned away */
    expectSound();
}

TEST_F(SelectionStore, DisableStaysBehindOthers) {
    say("//first", {"0"});
    say("//e", {"1"});
    ASSERT_EQ(update(), 1);
    say("//e", {"3"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), (Names{"//first +0 -", "//e + -*", "//e +3 -"}));
    expectSound();
    // A set of the first one takes it to the back, and what then is at the head has nothing to disable.
    say("//first", {"4"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), (Names{"//e +3 -", "//first + -*", "//first +4 -"}));
    expectSound();
}

TEST_F(SelectionStore, DisablingEverythingEmptiesTheStore) {
    for (const char* expression : {"//a", "//b"})
        say(expression, {"x"});
    ASSERT_EQ(update(), 1);
    say("//*", {}, {"*"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), Names{});
    expectSound();
}

TEST_F(SelectionStore, DisablingEverythingByUpdateEmptiesTheStoreToo) {
    say("//a", {"x"});
    ASSERT_EQ(update(), 1);
    say("//*", {"ignored"}, {"*"});
    say("//b", {"y"});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(stored(), Names{"//b +y -"});
    expectSound();
}

TEST_F(SelectionStore, FindsTheFirstNodeOfAnExpression) {
    for (const char* pattern : {"b", "a", "c"})
        say("//e", {pattern});
    say("//d", {"x"});
    say("//f", {"x"});
    ASSERT_EQ(update(), 1);
    const auto* node = ORX_Monitoring_getFirstNodeForResourceSelection(&impl, "//e");
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(::describe(static_cast<Node*>(node->userData)->metricSelection), "//e +a -");
    for (const char* expression : {"//", "//e/x", "//ee", "//z", ""})
        EXPECT_EQ(ORX_Monitoring_getFirstNodeForResourceSelection(&impl, expression), nullptr) << expression;
}

TEST_F(SelectionStore, RemovesAllOfAnExpression) {
    for (const char* pattern : {"b", "a", "c"})
        say("//e", {pattern});
    say("//d", {"x"});
    say("//f", {"x"});
    ASSERT_EQ(update(), 1);
    ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(&impl, "//none");
    EXPECT_EQ(stored().size(), 5u);
    ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(&impl, "//e");
    EXPECT_EQ(stored(), (Names{"//d +x -", "//f +x -"}));
    expectSound();
    ORX_Monitoring_removeMetricSelectionNodeWithResourceSelection(&impl, "//f"); /* the last of the index */
    ORX_Monitoring_removeAllMetricSelectionNodes(&impl);
    EXPECT_EQ(stored(), Names{});
    expectSound();
}

TEST_F(SelectionStore, RemovalOfAStrangerIsAPrecondition) {
    say("//a", {"x"});
    ASSERT_EQ(update(), 1);
    Node* stranger = make("//stranger", {"x"});
    LogCapture log;
    ORX_Monitoring_removeMetricSelectionNode(&impl, stranger);
    EXPECT_TRUE(log.has("\"removedNode == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(stored(), Names{"//a +x -"});
    REDAFastBufferPool_returnBuffer(impl.metricSelectionPool, stranger);
    expectSound();
}

// ---- Bounds ----

TEST_F(SelectionStore, ASelectionTooManyIsRefusedAndChangesNothing) {
    const auto expression = [](int i) { return "//topics/" + std::to_string(i); };
    for (int i = 0; i < orx::selection::maximumSelections; ++i) {
        say(expression(i).c_str(), {"x"});
        ASSERT_EQ(update(), 1) << i;
    }
    LogCapture log;
    say(expression(-1).c_str(), {"x"});
    EXPECT_EQ(update(), -1);
    EXPECT_TRUE(log.has(
        "Metric Selection: the store would hold more than 1024 selections, 4096 patterns or 1048576 bytes",
        "FAILED_TO_ADD"))
        << log.text();
    EXPECT_EQ(stored().size(), 1024u);
    EXPECT_EQ(stored().front(), "//topics/0 +x -");
    expectSound();
    // What it has already is no more, and what is replaced makes room.
    say(expression(0).c_str(), {"x"});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(stored().back(), "//topics/0 +x -");
    say(expression(1).c_str(), {}, {"*"});
    EXPECT_EQ(update(), 1);
    say(expression(2).c_str(), {"y", "z"});
    EXPECT_EQ(update(), -1) << "beside what the expression has";
    say("//*", {"y"});
    EXPECT_EQ(set(), 1);
    EXPECT_EQ(stored(), Names{"//* +y -"});
    expectSound();
}

TEST_F(SelectionStore, TextsHaveABoundTogether) {
    const std::string pattern(200'000, 'p');
    for (const char* expression : {"//a", "//b", "//c", "//d", "//e"}) {
        say(expression, {pattern.c_str()});
        ASSERT_EQ(update(), 1);
    }
    say("//f", {pattern.c_str()});
    EXPECT_EQ(update(), -1);
    say("//f", {"short"});
    EXPECT_EQ(update(), 1);
    say("//a", {pattern.c_str(), "more"});
    EXPECT_EQ(set(), 1) << "in place of the one before";
    EXPECT_EQ(stored().size(), 7u) << "with the one that disables it";
    expectSound();
}

// Each is held against every metric of a new resource, on the thread that makes it.
TEST_F(SelectionStore, PatternsHaveABoundTogether) {
    for (size_t i = 0; i < orx::selection::maximumPatterns / 8; ++i) {
        say(("//topics/" + std::to_string(i)).c_str(), {"1", "2", "3", "4", "5"}, {"6", "7", "8"});
        ASSERT_EQ(update(), 1) << i;
    }
    say("//a", {}, {"1"});
    EXPECT_EQ(update(), -1);
    say("//a", {});
    EXPECT_EQ(update(), 1) << "without a pattern";
    say("//topics/0", {"9"});
    EXPECT_EQ(set(), 1) << "in place of eight";
    expectSound();
}

TEST_F(SelectionStore, ACommandOfManySelectionsIsRefusedAtOnce) {
    for (int i = 0; i <= orx::selection::maximumSelections; ++i)
        say(("//topics/" + std::to_string(i)).c_str(), {"x"});
    EXPECT_EQ(update(), -1);
    EXPECT_EQ(stored(), Names{});
    expectSound();
}

// Not in the store, and not in the buffers that wait for the next command.
TEST_F(SelectionStore, TextsAreFreedWithTheirSelections) {
    const auto round = [&](std::initializer_list<const char*> patterns) {
        for (int i = 0; i < 2; ++i) {
            say("//a", patterns, {"y"});
            say("/applications/none", patterns); // dropped on the way
            ASSERT_EQ(update(), 1);
        }
        ORX_Monitoring_removeAllMetricSelectionNodes(&impl);
    };
    for (int i = 0; i < 2; ++i) // what pool and index keep they have then
        round({"1"});
    const auto live = ORXOsapiHeap_getLiveBufferCount();
    round({"1", "2", "3", "4", "5", "6"});
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), live);
}

TEST_F(SelectionStore, FailedCommandIsCleanedUp) {
    const std::string why = "resource_selection \"//h\". It was not possible to determine if ";
    std::set<std::string> unseen = {why + "it matches any existing application resource",
        why + "there are GUIDs in the expression that match existing resources",
        "metricSelectionNode from the pool", "disable metric selection",
        "Metric Selection to persist as a \"set\" command", "metricSelectionNode to the index",
        "Metric Selection", "Metric Selection expressions to persist"};
    bool isDone = false;
    for (uint64_t n = 1; !isDone && n < 100; ++n) {
        ORX_Monitoring_removeAllMetricSelectionNodes(&impl);
        say("//old", {"x"});
        say("//e", {"1"});
        ASSERT_EQ(update(), 1);
        for (const char* expression : {"//e", "//f", "//g", "//h"})
            say(expression, {"a", "b"}, {"c"});
        FailingHeap heap;
        LogCapture log;
        heap.failAt(n, 1000);
        const ORX_INT32 result = set();
        const bool hasFailed = heap.hasFailed();
        isDone = result == 1 && !hasFailed;
        heap.failNoMore();
        EXPECT_NE(REDAInlineList_getFirst(&impl.currentMetricSelectionList), nullptr);
        EXPECT_EQ(REDAInlineList_getSize(&persist), 0);
        expectSound();                              /* whatever part of the command was stored */
        EXPECT_EQ(hasFailed, !log.lines().empty()); /* never lost in silence */
        for (const auto& line : log.lines())
            unseen.erase(line.subject);
    }
    EXPECT_TRUE(isDone);
    EXPECT_THAT(unseen, testing::IsEmpty());
}

// Against a model: what a sequence of commands leaves, told by the rules alone.
TEST_F(SelectionStore, AgreesWithAModel) {
    struct Selection {
        std::string expression;
        std::string enabled;
        bool disablesAll;
        bool operator==(const Selection&) const = default;
    };
    std::vector<Selection> model;
    const auto apply = [&](const Selection& selection) {
        if (selection.disablesAll)
            std::erase_if(model, [&](const Selection& other) {
                return selection.expression == "//*" || other.expression == selection.expression;
            });
        std::erase(model, selection);
        model.push_back(selection);
    };
    std::mt19937 random(17);
    const char* expressions[] = {"//*", "//a", "//b", "//c", "//d", "//e"};
    const char* patterns[] = {"x", "y", "z"};
    for (int step = 0; step < 3000; ++step) {
        std::vector<Selection> said;
        for (size_t i = 0; i < 1 + random() % 3; ++i) {
            const Selection selection{expressions[random() % 6], patterns[random() % 3], random() % 8 == 0};
            said.push_back(selection);
            if (selection.disablesAll)
                say(selection.expression.c_str(), {selection.enabled.c_str()}, {"*"});
            else
                say(selection.expression.c_str(), {selection.enabled.c_str()});
        }
        const bool isSet = random() % 2 == 0;
        if (isSet && !model.empty())
            for (const auto& selection : said)
                apply({selection.expression, "", true});
        for (const auto& selection : said)
            apply(selection);
        while (!model.empty() && model.front().disablesAll)
            model.erase(model.begin());
        ASSERT_EQ(isSet ? set() : update(), 1);
        Names expected;
        for (const auto& selection : model)
            expected.push_back(
                selection.expression + " +" + selection.enabled + " -" + (selection.disablesAll ? "*" : ""));
        ASSERT_EQ(stored(), expected) << step;
        expectSound();
    }
}

// What is stored is replayed over a resource that comes later.
TEST_F(SelectionStore, IsReplayedOverNewResources) {
    say("//topics/*", {"*"});
    ASSERT_EQ(update(), 1);
    registry->metricSelectionList = &impl.currentMetricSelectionList;
    auto* later = add(root, ORX_MONITORING_TOPIC_CLASS_ID, "later");
    EXPECT_EQ(toVector(later->monitoredMetricInfoIndex), std::vector<DDS_UnsignedLong>{0});
    EXPECT_EQ(toVector(topic->monitoredMetricInfoIndex), std::vector<DDS_UnsignedLong>{});
}
