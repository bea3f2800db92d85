#include "ctl/EventStream.hpp"

#include <gtest/gtest.h>

using ctl::EventStream;
using ctl::ServerEvent;

namespace {

// Name and data of each event, fed in pieces of so many octets.
std::vector<std::string> eventsOf(const std::string& text, std::size_t piece, EventStream& stream) {
    std::vector<std::string> events;
    const auto take = [&events](const ServerEvent& event) {
        events.push_back(event.name + "=" + event.data);
        return true;
    };
    for (std::size_t at = 0; at < text.size(); at += piece)
        EXPECT_TRUE(stream.feed(std::string_view(text).substr(at, piece), take));
    return events;
}
std::vector<std::string> eventsOf(const std::string& text, std::size_t piece = 1'000'000) {
    EventStream stream;
    return eventsOf(text, piece, stream);
}
using Events = std::vector<std::string>;

TEST(EventStream, TakesEventsApart) {
    EXPECT_EQ(
        eventsOf("event: log\nid: 7\ndata: {\"a\":1}\n\ndata:x\n\n"), (Events{"log={\"a\":1}", "message=x"}));
}

TEST(EventStream, JoinsLinesOfData) {
    EXPECT_EQ(eventsOf("data: a\ndata\ndata:  b\n\n"), (Events{"message=a\n\n b"}));
}

TEST(EventStream, TakesAnyEndOfLineInAnyPieces) {
    const Events expected{"log=a\nb", "message=c"};
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        const std::string text = "event: log" + end + "data: a" + end + "data: b" + end + end + ": comment" +
                                 end + "data: c" + end + end;
        for (std::size_t piece = 1; piece < text.size(); ++piece)
            EXPECT_EQ(eventsOf(text, piece), expected) << piece;
    }
}

TEST(EventStream, LeavesOutCommentsUnknownFieldsAndEventsWithoutData) {
    EXPECT_EQ(eventsOf(":\n\n: keep alive\n\nevent: x\n\nother: y\ndata\n\n"), (Events{"message="}));
    EXPECT_EQ(eventsOf("event: x\n\ndata: y\n\n"), (Events{"message=y"})); // a name lasts for one event
}

TEST(EventStream, ForgetsAByteOrderMark) {
    EXPECT_EQ(eventsOf("\xEF\xBB\xBF"
                       "data: x\n\ndata: y\n\n",
                  1),
        (Events{"message=x", "message=y"}));
}

TEST(EventStream, DropsAnEventThatIsNotComplete) {
    EventStream stream;
    EXPECT_EQ(eventsOf("data: a\n\ndata: b\n", 3, stream), (Events{"message=a"}));
    stream.restart();
    EXPECT_EQ(eventsOf("data: c\n\n", 3, stream), (Events{"message=c"}));
}

TEST(EventStream, KeepsTheLastIdAcrossARestart) {
    EventStream stream;
    eventsOf("id: 7\ndata: a\n\ndata: b\n\n", 5, stream);
    EXPECT_EQ(stream.lastId(), "7");
    eventsOf("id: 8\ndata: incomplete", 5, stream);
    EXPECT_EQ(stream.lastId(), "7");
    stream.restart();
    EXPECT_EQ(stream.lastId(), "7");
    eventsOf("id: 9\n\n", 5, stream); // an event without data moves it too
    EXPECT_EQ(stream.lastId(), "9");
    eventsOf("id\n\n", 5, stream);
    EXPECT_EQ(stream.lastId(), std::nullopt);
}

TEST(EventStream, TakesNoIdThatHasNoPlaceInAHeader) {
    EventStream stream;
    eventsOf("id: 7\n\n", 9, stream);
    eventsOf("id: a\x01"
             "b\n\nid: " +
                 std::string(300, 'x') + "\n\n" + std::string("id: a\0b\n\n", 9),
        9, stream);
    EXPECT_EQ(stream.lastId(), "7");
}

TEST(EventStream, ReadsARetryOfDigitsAlone) {
    EventStream stream;
    eventsOf("retry: 250\nretry: 1s\nretry: 99999999999\nretry: -1\nretry:\n", 4, stream);
    EXPECT_EQ(stream.retry(), 250u);
}

TEST(EventStream, LeavesOutWhatIsTooLong) {
    EventStream stream;
    const std::string tooLong(EventStream::longestEvent + 1, 'x');
    EXPECT_EQ(eventsOf("data: " + tooLong + "\ndata: end\n\ndata: next\n\n", 65536, stream),
        (Events{"message=next"}));
    EXPECT_EQ(stream.skipped(), 1u);
    std::string many;
    for (std::size_t size = 0; size <= EventStream::longestEvent; size += 1001)
        many += "data:" + std::string(1000, 'y') + "\n";
    EXPECT_EQ(eventsOf(many + "\ndata: next\n\n", 65536, stream), (Events{"message=next"}));
    EXPECT_EQ(stream.skipped(), 2u);
}

TEST(EventStream, StopsWhenNobodyWantsMore) {
    EventStream stream;
    int count = 0;
    EXPECT_FALSE(stream.feed("data: a\n\ndata: b\n\n", [&count](const ServerEvent&) { return ++count < 1; }));
    EXPECT_EQ(count, 1);
}

} // namespace
