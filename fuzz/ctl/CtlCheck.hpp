// What must hold of any octets that orxctl takes for a stream of events, for JSON, for a text to be shown,
// for a path or for an address. The first byte chooses.
#ifndef ORX_FUZZ_CTL_CHECK_HPP
#define ORX_FUZZ_CTL_CHECK_HPP

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ctl/Client.hpp"
#include "ctl/EventStream.hpp"
#include "ctl/Selector.hpp"
#include "ctl/Table.hpp"
#include "ctl/Tree.hpp"
#include "fuzz/Require.hpp"

struct CtlCheck {
    static void run(const uint8_t* data, size_t size) {
        if (size == 0)
            return;
        static const bool hasLocale = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
        const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
        switch (data[0] % 4) {
        case 0:
            return checkStream(text);
        case 1:
            return checkJson(text);
        case 2:
            return checkShown(text, hasLocale);
        default:
            return checkNames(text);
        }
    }

private:
    // The pieces in which a stream comes make no difference.
    static void checkStream(const std::string& text) {
        using Events = std::vector<std::string>;
        const auto events = [&text](ctl::EventStream& stream, size_t piece) {
            Events all;
            for (size_t at = 0; at < text.size(); at += piece)
                stream.feed(std::string_view(text).substr(at, piece), [&all](const ctl::ServerEvent& event) {
                    all.push_back(event.name + "\n" + event.data);
                    return true;
                });
            return all;
        };
        ctl::EventStream whole, octets;
        require(
            events(whole, text.size() + 1) == events(octets, 1), "the pieces of a stream change its events");
        require(
            whole.lastId() == octets.lastId() && whole.retry() == octets.retry(), "they change its state");
        for (const char c : whole.lastId().value_or(""))
            require(c >= 0x20 && c < 0x7F, "an id that has no place in a header");
    }

    // What is read is written so that any terminal may see it, and is read again as the same.
    static void checkJson(const std::string& text) {
        const auto value = ctl::parseJson(text);
        if (!value)
            return;
        const std::string written = ctl::dumped(*value);
        for (const char c : written)
            require(c >= 0x20 && c < 0x7F, "JSON that a terminal must not see");
        const auto again = ctl::parseJson(written);
        require(again.has_value(), "JSON that was written cannot be read");
        require(ctl::dumped(*again) == written, "JSON changed when it was written");
        (void)ctl::shown(*value);
        (void)ctl::textOf(*value, "name");
        (void)ctl::elementsOf(*value, "resources").size();
    }

    static void checkShown(const std::string& text, bool isUtf8) {
        const std::string escaped = ctl::escaped(text, isUtf8);
        for (const char c : escaped)
            require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "a control character is left");
        require(ctl::escaped(escaped, isUtf8) == escaped, "escaping twice escapes more");
        const size_t width = text.size() % 40;
        for (const ctl::Cut side : {ctl::Cut::atEnd, ctl::Cut::atStart})
            require(ctl::widthOf(ctl::cut(escaped, width, side, isUtf8)) <= width, "a cut is too wide");
        const ctl::Look look{isUtf8, false, width + 1};
        ctl::Table table({{"A"}, {text, true}, {"B", false, ctl::Cut::atStart}});
        table.add({{text}, {"1"}, {text}});
        requireNarrow(table.text(look), look.width);
        // Each octet is a resource: its value names its parent.
        std::vector<ctl::Branch> branches;
        for (const char c : text)
            branches.push_back({std::to_string(branches.size()),
                std::to_string(static_cast<unsigned char>(c)), text.substr(0, 20), "detail"});
        size_t lines = 0;
        for (const char c : ctl::drawTree(branches, look))
            lines += c == '\n' ? 1 : 0;
        require(lines == branches.size(), "a tree does not have each resource once");
        requireNarrow(ctl::drawTree(branches, look), look.width);
    }

    static void requireNarrow(const std::string& lines, size_t width) {
        for (size_t at = 0; at < lines.size();) {
            const size_t end = lines.find('\n', at);
            require(ctl::widthOf(lines.substr(at, end - at)) <= width, "a line is too wide");
            at = end + 1;
        }
    }

    static void checkNames(const std::string& text) {
        if (const auto guid = ctl::guidOf(text))
            require(ctl::guidOf(*guid) == guid, "a GUID changed");
        require(!ctl::subtreeExpressionsOf(text).empty(), "a path selects nothing");
        require(ctl::queryOf({{text, text}}).find_first_of(" \r\n#\"<>") == std::string::npos,
            "a query that is none");
        try {
            const ctl::Address address = ctl::addressOf(text);
            require(address.port > 0 && !address.host.empty(), "an address without host or port");
            require(address.origin.find_first_of("\r\n ") == std::string::npos, "an address with blanks");
        } catch (const ctl::Failure&) {
        }
    }
};

#endif
