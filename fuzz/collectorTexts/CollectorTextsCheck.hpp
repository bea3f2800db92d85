// What must hold for any name of an application, and for any selector: for the fuzzer, and for the replay of
// its corpus. An input is a name, a line end, and a selector, which is taken for an Accept header too.
#ifndef FUZZ_COLLECTOR_TEXTS_CHECK_HPP
#define FUZZ_COLLECTOR_TEXTS_CHECK_HPP

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"
#include "reading/Text.hpp"
#include "tests/unit/collector/ExpositionText.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

#define COLLECTOR_CHECK(test)                                                                                \
    do {                                                                                                     \
        if (!(test)) {                                                                                       \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #test);                                  \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

class CollectorTextsCheck {
public:
    static void run(const std::string& input) {
        const std::size_t end = std::min(input.find('\n'), input.size());
        const std::string selector = input.substr(std::min(end + 1, input.size()));
        // What the schema can carry.
        const std::string name = input.substr(0, std::min<std::size_t>(end, 200)).c_str();
        collector::Model model;
        collector_test::FakeApplication named(model, 1, name);
        collector_test::FakeApplication other(model, 2, "app");
        named.createSmallTree();
        other.createSmallTree();
        named.tellTopic(5, name, selector.c_str());
        named.tellMatched(5, 1);
        checkLabels(model, name);
        checkSelector(model, selector);
        (void)collector::formatFor(selector);
        for (const collector::Guid& guid : model.applicationsNamed(selector))
            COLLECTOR_CHECK(model.application(guid));
    }

private:
    static void checkLabels(collector::Model& model, const std::string& name) {
        const collector::OwnMetrics own;
        collector::Exposition exposition(model, own);
        bool isCut = false;
        const std::string kept = reading::validUtf8(name, model.limits().textLength, isCut);
        for (const bool isOpenMetrics : {false, true}) {
            const auto read = collector_test::readExposition(
                exposition.render(isOpenMetrics ? collector::ExpositionFormat::openMetrics
                                                : collector::ExpositionFormat::text),
                isOpenMetrics);
            COLLECTOR_CHECK(read.errors.empty());
            COLLECTOR_CHECK(read.count("") == 3);
            const auto* sample = read.find("dds_data_writer_publication_matched_current_count");
            COLLECTOR_CHECK(sample != nullptr && sample->labels.at("application") == kept);
            COLLECTOR_CHECK(sample->labels.at("topic") == kept);
        }
    }

    static std::optional<std::set<collector::Guid>> selected(
        const collector::Model& model, const std::string& expression) {
        const auto page = model.resources(expression, false, 1000);
        if (!page)
            return std::nullopt;
        std::set<collector::Guid> guids;
        for (const collector::ResourceView& view : page->resources)
            guids.insert(view.guid);
        return guids;
    }

    // A selector selects the same when it names GUIDs, and what has the very name that it names.
    static void checkSelector(const collector::Model& model, const std::string& selector) {
        const auto translated = model.translateSelector(selector);
        COLLECTOR_CHECK(!translated.empty() && translated.size() <= 2);
        const auto before = selected(model, selector);
        std::set<collector::Guid> after;
        for (const std::string& each : translated) {
            const auto own = selected(model, each);
            COLLECTOR_CHECK(own.has_value() == before.has_value());
            if (own)
                after.insert(own->begin(), own->end());
        }
        // A GUID further behind ends the search below other applications.
        if (before && selector.find("GUID(") == std::string::npos)
            COLLECTOR_CHECK(std::includes(after.begin(), after.end(), before->begin(), before->end()));
    }
};

#endif
