#include "collector/api/LogRing.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/unit/collector/ApiFixture.hpp"

using namespace collector::api;
using collector::http::EventStream;

namespace {

LogMessage message(std::uint64_t number, const std::string& text = "text", bool isSnapshot = false) {
    LogMessage made;
    made.application = {1};
    made.applicationName = "app";
    made.facility = 23;
    made.severity = 4;
    made.sequenceNumber = number;
    made.message = text;
    made.isSnapshot = isSnapshot;
    return made;
}

std::vector<std::uint64_t> numbersOf(const std::vector<LogMessage>& messages) {
    std::vector<std::uint64_t> numbers;
    for (const LogMessage& each : messages)
        numbers.push_back(each.sequenceNumber);
    return numbers;
}

} // namespace

TEST(LogRing, GivesTheNewestOldestFirst) {
    LogRing ring;
    for (std::uint64_t i = 0; i < 5; ++i)
        EXPECT_TRUE(ring.add(message(i)));
    EXPECT_EQ(numbersOf(ring.newest({}, 3)), (std::vector<std::uint64_t>{2, 3, 4}));
    EXPECT_EQ(ring.newest({}, 100).front().id, 1U);
    EXPECT_EQ(ring.newest({}, 100).back().id, 5U);
}

TEST(LogRing, IsBoundedByNumberAndBytes) {
    LogRing few({10, 1U << 20U, 10});
    for (std::uint64_t i = 0; i < 25; ++i)
        few.add(message(i));
    EXPECT_EQ(few.counts().messages, 10U);
    EXPECT_EQ(few.counts().received, 25U);
    EXPECT_EQ(few.counts().dropped, 15U);
    LogRing small({1000, 10'000, 10});
    for (std::uint64_t i = 0; i < 100; ++i)
        small.add(message(i, std::string(1'000, 'x')));
    EXPECT_LE(small.counts().bytes, 10'000U);
    EXPECT_GE(small.counts().messages, 5U);
    small.add(message(1000, std::string(100'000, 'x'))); // the newest stays
    EXPECT_EQ(small.counts().messages, 1U);
}

TEST(LogRing, ARepetitionInASnapshotIsToldOnce) {
    LogRing ring;
    EXPECT_TRUE(ring.add(message(1)));
    EXPECT_TRUE(ring.add(message(2)));
    EXPECT_FALSE(ring.add(message(1, "text", true)));
    EXPECT_TRUE(ring.add(message(0, "before we came", true)));
    EXPECT_FALSE(ring.add(message(0, "before we came", true)));
    EXPECT_TRUE(ring.add(message(5, "ahead of its update", true)));
    EXPECT_TRUE(ring.add(message(3)));
    EXPECT_EQ(ring.counts().repeated, 2U);
    // Far behind the last one nobody remembers.
    ring.add(message(100'000));
    EXPECT_FALSE(ring.add(message(4, "text", true)));
}

TEST(LogRing, FacilitiesAndApplicationsHaveNumbersOfTheirOwn) {
    LogRing ring;
    EXPECT_TRUE(ring.add(message(1, "text", true)));
    LogMessage other = message(1, "text", true);
    other.facility = 1;
    EXPECT_TRUE(ring.add(other));
    other.application = {2};
    EXPECT_TRUE(ring.add(other));
    EXPECT_FALSE(ring.add(other));
    ring.forgetOthers({{1}});
    EXPECT_TRUE(ring.add(other));
    EXPECT_FALSE(ring.add(message(1, "text", true)));
}

TEST(LogRing, RemembersABoundedNumberOfSources) {
    LogRing ring({10, 1U << 20U, 2});
    for (std::uint8_t i = 0; i < 100; ++i) {
        LogMessage each = message(1, "text", true);
        each.application = {i};
        EXPECT_TRUE(ring.add(each));
    }
}

TEST(LogRing, NamesAnApplicationWhoseMessagesCameFirst) {
    LogRing ring;
    LogMessage early = message(1);
    early.applicationName.clear();
    ring.add(early);
    ring.add(message(2));
    LogFilter byName;
    byName.application = *ApplicationFilter::of("late");
    const auto application = [&ring] { return jsonOf(ring.newest(LogFilter(), 10).at(0)).at("application"); };
    EXPECT_EQ(application(), reading::guidDigits({1}));
    EXPECT_EQ(ring.unnamed(), std::set<reading::Guid>{{1}});
    EXPECT_EQ(ring.newest(byName, 10).size(), 0u);
    ring.name({2}, "another");
    ring.name({1}, "late");
    EXPECT_EQ(application(), "late");
    EXPECT_TRUE(ring.unnamed().empty());
    EXPECT_EQ(numbersOf(ring.newest(byName, 10)), std::vector<std::uint64_t>{1}) << "the other had its name";
}

TEST(LogRing, Filters) {
    LogRing ring;
    LogMessage wanted = message(1, "the disk is nearly full");
    wanted.severity = 3;
    wanted.category = "disks";
    ring.add(wanted);
    LogMessage other = message(2, "nothing happened");
    other.severity = 6;
    other.facility = 1;
    other.applicationName = "other";
    other.application = {2};
    ring.add(other);
    const auto count = [&](auto set) {
        LogFilter filter;
        set(filter);
        const auto found = ring.newest(filter, 100);
        return found.size() == 1 ? static_cast<int>(found[0].sequenceNumber)
                                 : -static_cast<int>(found.size());
    };
    EXPECT_EQ(count([](auto& f) { f.severity = 3; }), 1);
    EXPECT_EQ(count([](auto& f) { f.severity = 2; }), 0);
    EXPECT_EQ(count([](auto& f) { f.severity = 7; }), -2);
    EXPECT_EQ(count([](auto& f) { f.facility = 1; }), 2);
    EXPECT_EQ(count([](auto& f) { f.category = "disks"; }), 1);
    EXPECT_EQ(count([](auto& f) { f.contains = "happened"; }), 2);
    EXPECT_EQ(count([](auto& f) { f.contains = ""; }), -2);
    EXPECT_EQ(count([](auto& f) { f.application = *ApplicationFilter::of("oth*"); }), 2);
    EXPECT_EQ(count([](auto& f) { f.after = 1; }), 2);
}

TEST(LogRing, AFollowerOpensWithTheNewestAndGoesOn) {
    LogRing ring;
    for (std::uint64_t i = 0; i < 5; ++i)
        ring.add(message(i, "m" + std::to_string(i) + "."));
    auto stream = std::make_shared<EventStream>();
    LogFilter filter;
    filter.facility = 23;
    ring.follow(stream, filter, 2);
    LogMessage hidden = message(0, "hidden");
    hidden.facility = 1;
    ring.add(hidden);
    ring.add(message(5, "m5."));
    const std::string all = collector_test::readAll(*stream);
    EXPECT_EQ(all.find("m2."), std::string::npos);
    EXPECT_EQ(all.find("hidden"), std::string::npos);
    EXPECT_LT(all.find("m3."), all.find("m4."));
    EXPECT_LT(all.find("m4."), all.find("m5."));
    EXPECT_TRUE(all.starts_with("event: log\nid: 4\ndata: {\"id\":4,"));
    EXPECT_TRUE(all.ends_with("}\n\n"));
}

TEST(LogRing, LineEndsStayInsideTheDataOfAnEvent) {
    LogRing ring;
    auto stream = std::make_shared<EventStream>();
    ring.follow(stream, {}, 0);
    ring.add(message(1, "a\n\nevent: forged\r\ndata: {}"));
    const std::string all = collector_test::readAll(*stream);
    EXPECT_EQ(all.find("\nevent: forged"), std::string::npos);
    EXPECT_EQ(all.find("\n\n"), all.size() - 2);
}

TEST(LogRing, FollowersThatLeaveAreForgotten) {
    LogRing ring;
    auto ended = std::make_shared<EventStream>();
    std::weak_ptr<EventStream> gone;
    {
        auto stream = std::make_shared<EventStream>();
        gone = stream;
        ring.follow(stream, {}, 0);
    }
    EXPECT_TRUE(gone.expired());
    ring.follow(ended, {}, 0);
    ended->end();
    ring.add(message(1));
    EXPECT_EQ(ended.use_count(), 1);
}

TEST(LogRing, ProducersAndFollowersAtOnce) {
    LogRing ring({1000, 1U << 20U, 100});
    constexpr std::uint64_t each = 2000;
    std::atomic<bool> isOver{false};
    std::thread follower([&] {
        while (!isOver) {
            auto stream = std::make_shared<EventStream>();
            ring.follow(stream, {}, 10);
            ring.newest({}, 100);
            collector_test::readAll(*stream);
        }
    });
    const auto produce = [&](std::uint8_t facility) {
        for (std::uint64_t i = 0; i < each; ++i) {
            LogMessage made = message(i);
            made.facility = facility;
            ring.add(made);
        }
    };
    std::thread one(produce, std::uint8_t{1}), two(produce, std::uint8_t{2});
    one.join();
    two.join();
    isOver = true;
    follower.join();
    EXPECT_EQ(ring.counts().received, 2 * each);
}
