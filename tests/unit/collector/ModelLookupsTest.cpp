// What the model answers: lists, paths, pages, names and translated selectors.
#include <gtest/gtest.h>

#include "tests/unit/collector/ModelFixture.hpp"

namespace {

using namespace collector;
using collector_test::FakeApplication;
using collector_test::Modelling;

TEST_F(Modelling, ApplicationsAreListedByNameAndGuid) {
    FakeApplication b2(model, 5, "b");
    FakeApplication b1(model, 4, "b");
    FakeApplication a(model, 6, "a");
    b2.tellRegistry();
    b1.tellRegistry();
    a.tellRegistry();
    const auto list = model.applications();
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].guid, a.guid());
    EXPECT_EQ(list[1].guid, b1.guid());
    EXPECT_EQ(list[2].guid, b2.guid());
}

TEST_F(Modelling, APathExpressionSelectsParentsBeforeChildren) {
    FakeApplication other(model, 2, "another");
    app.createSmallTree();
    other.createSmallTree();
    EXPECT_EQ(pathsOf("//data_*/*"),
        (std::vector<std::string>{"/applications/another/domain_participants/p/publishers/pub/data_writers/w",
            "/applications/another/domain_participants/p/subscribers/sub/data_readers/r",
            "/applications/app/domain_participants/p/publishers/pub/data_writers/w",
            "/applications/app/domain_participants/p/subscribers/sub/data_readers/r"}));
    EXPECT_EQ(pathsOf("//*").size(), 14U);
    EXPECT_EQ(pathsOf("//*").front(), "/applications/another");
    EXPECT_EQ(pathsOf("/applications/app/*/p"),
        std::vector<std::string>{"/applications/app/domain_participants/p"});
    EXPECT_EQ(pathsOf(("//" + reading::guidText(app.guidOf(4))).c_str()),
        std::vector<std::string>{"/applications/app/domain_participants/p/topics/t"});
    EXPECT_EQ(pathsOf(("/applications/" + reading::guidText(other.guid()) + "//t").c_str()),
        std::vector<std::string>{"/applications/another/domain_participants/p/topics/t"});
    // Twice selected, once told.
    EXPECT_EQ(pathsOf("//*/p//*/*//data_writers/w").size(), 2U);
    EXPECT_TRUE(pathsOf("/applications/nobody").empty());
}

TEST_F(Modelling, AMalformedExpressionIsToldApartFromOneThatSelectsNothing) {
    app.createSmallTree();
    EXPECT_FALSE(model.resources("///", false, 10));
    EXPECT_FALSE(model.resources(std::string(2000, 'a'), false, 10));
    EXPECT_FALSE(model.resources(std::string_view("//*\0", 4), false, 10));
    // Thirty-two tokens are the most: each "//a" is three.
    std::string deep;
    for (int i = 0; i < 10; ++i)
        deep += "//a";
    EXPECT_TRUE(model.resources("/a/b" + deep, false, 10));
    EXPECT_FALSE(model.resources("/a/b/c" + deep, false, 10));
    EXPECT_TRUE(model.resources(std::string(1000, 'a') + "/b", false, 10));
    ASSERT_TRUE(model.resources("/topics/t", false, 10));
    EXPECT_TRUE(model.resources("", false, 10)->resources.empty());
}

TEST_F(Modelling, ResourcesComeInPages) {
    app.createSmallTree();
    std::vector<std::string> names;
    Guid after{};
    std::size_t pages = 0;
    do {
        const auto page = model.resources("//*", true, 3, after);
        ASSERT_LE(page->resources.size(), 3U);
        for (const ResourceView& view : page->resources)
            names.push_back(view.name);
        after = page->next;
        ++pages;
    } while (after != noGuid);
    EXPECT_EQ(names, (std::vector<std::string>{"app", "p", "pub", "w", "sub", "r", "t"}));
    EXPECT_EQ(pages, 3U);
}

TEST_F(Modelling, ApplicationsAreFoundAsAPersonNamesThem) {
    FakeApplication ping(model, 2, "ping1");
    FakeApplication pong(model, 3, "ping2");
    app.tellRegistry();
    ping.tellRegistry();
    pong.tellRegistry();
    const std::vector<Guid> both{ping.guid(), pong.guid()};
    EXPECT_EQ(model.applicationsNamed("ping*"), both);
    EXPECT_EQ(model.applicationsNamed("/applications/ping?"), both);
    EXPECT_EQ(model.applicationsNamed("/applications/app"), std::vector<Guid>{app.guid()});
    EXPECT_EQ(model.applicationsNamed(reading::guidText(pong.guid())), std::vector<Guid>{pong.guid()});
    EXPECT_EQ(model.applicationsNamed(reading::guidDigits(pong.guid())), std::vector<Guid>{pong.guid()});
    EXPECT_TRUE(model.applicationsNamed("nobody").empty());
    EXPECT_TRUE(model.applicationsNamed("").empty());
}

struct Selecting : Modelling {
    FakeApplication ping1{model, 2, "ping"};
    FakeApplication ping2{model, 3, "ping"};
    FakeApplication pong{model, 4, "pong"};
    void SetUp() override {
        ping1.createSmallTree();
        ping2.createSmallTree();
        pong.createSmallTree();
    }
    std::string g(const FakeApplication& application) const { return reading::guidText(application.guid()); }
    using Texts = std::vector<std::string>;
};

TEST_F(Selecting, ANameBecomesTheGuidOfEachApplicationOfThatName) {
    EXPECT_EQ(model.translateSelector("/applications/ping//data_writers/*"),
        (Texts{"/applications/" + g(ping1) + "//data_writers/*",
            "/applications/" + g(ping2) + "//data_writers/*"}));
    EXPECT_EQ(model.translateSelector("/applications/pong"), Texts{"/applications/" + g(pong)});
    EXPECT_EQ(model.translateSelector("applications/pong/"), Texts{"applications/" + g(pong) + "/"});
}

TEST_F(Selecting, APatternBecomesTheGuidsOfAllThatItMeets) {
    EXPECT_EQ(model.translateSelector("/applications/p*ng/domain_participants/p"),
        (Texts{"/applications/" + g(ping1) + "/domain_participants/p",
            "/applications/" + g(ping2) + "/domain_participants/p",
            "/applications/" + g(pong) + "/domain_participants/p"}));
    EXPECT_EQ(model.translateSelector("/*/pong"), Texts{"/*/" + g(pong)});
    EXPECT_EQ(model.translateSelector("//applications/po[mno]g//topics/*"),
        Texts{"//applications/" + g(pong) + "//topics/*"});
}

TEST_F(Selecting, WhatNamesNobodyAllOrAGuidStays) {
    const std::string long1 = "/applications/pong//data_writers/" + std::string(980, 'x');
    for (const std::string& text :
        {std::string("/applications/nobody//topics/*"), std::string("/applications/*//topics/*"),
            std::string("//*"), std::string("//ping"), std::string("//*/ping"), "/applications/" + g(ping1),
            std::string("/topics/ping"), std::string("/applications"), std::string("/applications//ping"),
            std::string(""), std::string("/"), std::string("//applications/pong/ping"), long1})
        EXPECT_EQ(model.translateSelector(text), Texts{text});
}

TEST_F(Selecting, ATranslatedSelectorSelectsTheSame) {
    for (const char* text : {"/applications/ping//data_*/*", "/applications/p?ng", "/*/pong//t",
             "//applications/ping/domain_participants/*"}) {
        Texts translated;
        for (const std::string& each : model.translateSelector(text)) {
            for (const std::string& path : pathsOf(each.c_str()))
                translated.push_back(path);
        }
        EXPECT_EQ(translated, pathsOf(text)) << text;
    }
}

} // namespace
