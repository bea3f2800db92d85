#include "collector/exposition/Exposition.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "collector/exposition/MetricTexts.hpp"
#include "collector/model/LabelText.hpp"
#include "collector/model/Model.hpp"
#include "orxmonitoring2d/metric_catalogue.h"
#include "tests/unit/collector/ExpositionText.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using namespace collector;
using collector_test::ExpositionText;
using collector_test::FakeApplication;
using collector_test::readExposition;
using collector_test::Sample;

struct Exposing : testing::Test {
    Model model;
    OwnMetrics own;
    Exposition exposition{model, own};
    FakeApplication app{model, 1, "app"};

    ExpositionText scrape(ExpositionFormat format = ExpositionFormat::text) {
        const std::string text = exposition.render(format);
        ExpositionText read = readExposition(text, format == ExpositionFormat::openMetrics);
        EXPECT_EQ(read.errors, std::vector<std::string>{});
        return read;
    }

    // A small tree with every metric of the catalogue.
    void fill() {
        app.createSmallTree();
        app.tellDomain(1, 3);
        for (const std::uint32_t number : {4U, 5U, 6U})
            app.tellTopic(number, "square", "Shape");
        for (const std::uint32_t number : {0U, 1U, 4U, 5U, 6U}) {
            const ResourceClass resourceClass = app.resources().at(app.guidOf(number)).resourceClass;
            app.send(collector_test::fullEvent(resourceClass, 3), number);
            app.send(collector_test::fullPeriodic(resourceClass, 5), number);
        }
    }
};

std::string valueText(const MetricValue& value) {
    return std::visit(
        [](auto number) -> std::string {
            if constexpr (std::is_same_v<decltype(number), double>) {
                std::array<char, 64> text{};
                std::snprintf(text.data(), text.size(), "%.7g", number);
                return text.data();
            } else {
                return std::to_string(number);
            }
        },
        value);
}

// ---- The texts ----

TEST(MetricTexts, AreThoseOfTheCatalogueNoneMissingAndNoneTooMany) {
    std::set<std::string> written;
    for (const MetricText& text : writtenMetricTexts())
        EXPECT_TRUE(written.insert(text.name).second) << text.name << " is there twice";
    std::set<std::string> catalogue;
    for (std::size_t i = 0; i < resourceClassCount; ++i) {
        const std::uint32_t classId = classIdOf(static_cast<ResourceClass>(i));
        const auto count = ORX_Monitoring_getResourceInfo(classId)->metricCount;
        for (std::size_t metric = 0; metric < count; ++metric)
            catalogue.insert(ORX_Monitoring_getMetricInfo(classId)[metric].name);
    }
    EXPECT_EQ(written, catalogue);
    EXPECT_EQ(written.size(), 240U);
}

TEST(MetricTexts, CountersAreThoseWhoseNameSaysSoAndHelpsAreSentences) {
    std::set<std::string> helps;
    for (const MetricText& text : writtenMetricTexts()) {
        EXPECT_EQ(text.type == MetricType::counter, text.name.ends_with("_total")) << text.name;
        EXPECT_TRUE(text.help.ends_with('.') && text.help.size() > 15) << text.name;
        helps.insert(text.name.substr(0, 14) + text.help);
    }
    EXPECT_EQ(helps.size(), 240U) << "two metrics of a class have one help";
}

// ---- The series ----

TEST_F(Exposing, EveryMetricOfTheCatalogueStandsUnderItsNameWithItsValue) {
    fill();
    const ExpositionText read = scrape();
    EXPECT_EQ(read.families.size(), 240U);
    std::size_t compared = 0;
    for (const std::uint32_t number : {0U, 1U, 4U, 5U, 6U}) {
        const auto view = model.resource(app.guidOf(number));
        for (const MetricReading& metric : view->metrics) {
            const Sample* sample = read.find(metric.name);
            ASSERT_NE(sample, nullptr) << metric.name;
            if (std::holds_alternative<double>(metric.value))
                EXPECT_FLOAT_EQ(std::stof(sample->value), std::stof(valueText(metric.value)));
            else
                EXPECT_EQ(sample->value, valueText(metric.value)) << metric.name;
            EXPECT_EQ(sample->labels.at("path"), view->path);
            ++compared;
        }
    }
    EXPECT_EQ(compared, 240U);
}

TEST_F(Exposing, LabelsTellTheResource) {
    fill();
    const ExpositionText read = scrape();
    using Labels = std::map<std::string, std::string>;
    const Labels common{{"application", "app"}, {"application_guid", reading::guidDigits(app.guid())}};
    const auto expected = [&](std::uint32_t number, Labels more) {
        more.insert(common.begin(), common.end());
        const auto view = model.resource(app.guidOf(number));
        more.insert({{"path", view->path}, {"name", view->name}, {"guid", reading::guidDigits(view->guid)}});
        return more;
    };
    EXPECT_EQ(read.find("dds_application_process_uptime_sec")->labels, expected(0, {}));
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_mean")->labels,
        expected(1, {{"participant", "p"}, {"domain", "3"}}));
    for (const auto& [name, number] :
        {std::pair{"dds_topic_inconsistent_total", 4U}, std::pair{"dds_data_writer_cache_samples", 5U},
            std::pair{"dds_data_reader_cache_samples", 6U}}) {
        EXPECT_EQ(read.find(name)->labels, expected(number, {{"participant", "p"}, {"domain", "3"},
                                                                {"topic", "square"}, {"type", "Shape"}}));
    }
}

TEST_F(Exposing, LabelsFollowWhatBecomesKnown) {
    app.createSmallTree();
    app.tellMatched(5, 1);
    constexpr const char* name = "dds_data_writer_publication_matched_current_count";
    EXPECT_FALSE(scrape().find(name)->labels.contains("topic"));
    app.tellTopic(5, "square", "Shape");
    app.tellDomain(1, 9);
    const ExpositionText read = scrape();
    EXPECT_EQ(read.find(name)->labels.at("topic"), "square");
    EXPECT_EQ(read.find(name)->labels.at("domain"), "9");
}

TEST_F(Exposing, SeriesOfWhatIsGoneAreGoneAtTheNextScrape) {
    FakeApplication other(model, 2, "other");
    fill();
    other.createSmallTree();
    other.tellMatched(5, 1);
    EXPECT_EQ(scrape().count("dds_"), 243U);
    app.destroy(1);
    EXPECT_EQ(scrape().count("dds_"), 57U + 3U);
    app.vanish();
    const ExpositionText read = scrape();
    EXPECT_EQ(read.count("dds_"), 3U);
    EXPECT_EQ(read.families.size(), 3U);
    other.vanish();
    EXPECT_EQ(exposition.render(ExpositionFormat::text), "");
}

TEST_F(Exposing, FamiliesStandInTheOrderOfTheCatalogueAndSeriesInThatOfTheirResources) {
    app.createSmallTree();
    for (std::uint32_t number = 10; number < 200; ++number) {
        app.create(number, 2, ResourceClass::dataWriter, "w" + std::to_string(number));
        app.tellMatched(number, 1);
    }
    for (std::uint32_t number = 10; number < 200; number += 2)
        app.destroy(number);
    const ExpositionText read = scrape();
    EXPECT_EQ(read.order, (std::vector<std::string>{"dds_data_writer_publication_matched_total",
                              "dds_data_writer_publication_matched_current_count",
                              "dds_data_writer_publication_matched_current_count_peak"}));
    std::vector<std::string> names;
    for (const Sample& sample : read.families.at(read.order[0]).samples)
        names.push_back(sample.labels.at("name"));
    std::vector<std::string> expected;
    for (std::uint32_t number = 11; number < 200; number += 2)
        expected.push_back("w" + std::to_string(number));
    EXPECT_EQ(names, expected);
}

TEST_F(Exposing, TextsFromRemoteAreEscaped) {
    FakeApplication odd(model, 3, "a\"b\\c\nd}{,=\t\xC3\xA9\xFF");
    odd.createSmallTree();
    odd.tellTopic(5, "\"\n\\", "");
    odd.tellMatched(5, 1);
    for (const ExpositionFormat format : {ExpositionFormat::text, ExpositionFormat::openMetrics}) {
        const ExpositionText read = scrape(format);
        const Sample* sample = read.find("dds_data_writer_publication_matched_current_count");
        ASSERT_NE(sample, nullptr);
        EXPECT_EQ(sample->labels.at("application"), "a\"b\\c\nd}{,=\t\xC3\xA9\xEF\xBF\xBD");
        EXPECT_EQ(sample->labels.at("topic"), "\"\n\\");
        EXPECT_EQ(sample->labels.at("type"), "");
    }
}

TEST_F(Exposing, ValuesThatAreNoNumbersAreWrittenAsTheFormatsWantThem) {
    app.createSmallTree();
    const auto tell = [&](float mean, float minimum, float maximum) {
        auto periodic = collector_test::Periodic(DDS_Monitoring_PeriodicPluginSupport_create_data());
        periodic->value._d = static_cast<DDS_Long>(ORX_MONITORING_PARTICIPANT_CLASS_ID);
        auto* stat = DDS_Monitoring_FloatStatPluginSupport_create_data();
        stat->mean = mean;
        stat->min = minimum;
        stat->max = maximum;
        periodic->value._u.domain_participant.send_bytes_per_s_2 = stat;
        app.send(std::move(periodic), 1);
    };
    const float infinity = std::numeric_limits<float>::infinity();
    tell(std::nanf(""), -infinity, infinity);
    ExpositionText read = scrape();
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_mean")->value, "NaN");
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_min")->value, "-Inf");
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_max")->value, "+Inf");
    tell(0.1F, -0.0F, std::numeric_limits<float>::max());
    read = scrape();
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_mean")->value, "0.1");
    EXPECT_EQ(read.find("dds_domain_participant_send_bytes_per_s_min")->value, "-0");
    EXPECT_EQ(std::stof(read.find("dds_domain_participant_send_bytes_per_s_max")->value),
        std::numeric_limits<float>::max());
}

TEST_F(Exposing, IntegersAreWrittenWhole) {
    app.createSmallTree();
    app.tellWritten(5, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(scrape().find("dds_data_writer_protocol_pushed_samples_total")->value, "9223372036854775807");
    app.tellWritten(5, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(scrape().find("dds_data_writer_protocol_pushed_samples_total")->value, "-9223372036854775808");
}

// ---- The formats ----

TEST_F(Exposing, OpenMetricsNamesTheFamilyOfACounterWithoutItsSuffix) {
    fill();
    addModelMetrics(own, model);
    const ExpositionText read = scrape(ExpositionFormat::openMetrics);
    EXPECT_EQ(read.count("dds_"), 240U);
    EXPECT_EQ(read.families.at("dds_data_writer_protocol_pushed_samples").type, "counter");
    EXPECT_EQ(read.families.at("dds_data_writer_protocol_pushed_samples").samples.at(0).name,
        "dds_data_writer_protocol_pushed_samples_total");
    EXPECT_EQ(read.families.at("dds_data_writer_cache_samples").type, "gauge");
    EXPECT_TRUE(read.families.contains("orx_collector_samples"));
    const ExpositionText text = scrape();
    EXPECT_EQ(text.families.at("dds_data_writer_protocol_pushed_samples_total").type, "counter");
    EXPECT_EQ(text.count(""), read.count(""));
}

TEST(ExpositionFormat, IsWhatTheAcceptHeaderPrefers) {
    constexpr auto text = ExpositionFormat::text;
    constexpr auto openMetrics = ExpositionFormat::openMetrics;
    const std::vector<std::pair<std::string, ExpositionFormat>> cases{
        {"", text},
        {"*/*", text},
        {"text/plain", text},
        {"text/html,application/xhtml+xml;q=0.9,*/*;q=0.8", text},
        {"application/openmetrics-text", openMetrics},
        {"Application/OpenMetrics-Text; VERSION=1.0.0 ; charset=utf-8", openMetrics},
        // What Prometheus sends.
        {"application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
         "text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
            openMetrics},
        {"text/plain;version=0.0.4;q=0.9,application/openmetrics-text;q=0.2", text},
        {"application/openmetrics-text;q=0", text},
        {"application/openmetrics-text;q=x", text},
        {"application/openmetrics-text;version=2.0.0", text},
        {",;,=;q=,", text},
    };
    for (const auto& [accept, format] : cases)
        EXPECT_EQ(formatFor(accept), format) << accept;
    EXPECT_STREQ(contentType(text), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_STREQ(contentType(openMetrics), "application/openmetrics-text; version=1.0.0; charset=utf-8");
}

TEST_F(Exposing, AScrapeInPiecesShowsTheMomentItBegan) {
    app.createSmallTree();
    for (std::uint32_t number = 10; number < 500; ++number) {
        app.create(number, 2, ResourceClass::dataWriter, "w" + std::to_string(number));
        app.tellWritten(number, 1);
    }
    const std::string whole = exposition.render(ExpositionFormat::openMetrics);
    const auto scraping = exposition.begin(ExpositionFormat::openMetrics);
    std::string text;
    std::size_t pieces = 0;
    for (std::string piece; scraping->next(piece); piece.clear()) {
        EXPECT_LE(piece.size(), 66U * 1024U);
        text += piece;
        if (++pieces == 1)
            app.vanish();
    }
    EXPECT_GT(pieces, 50U);
    EXPECT_EQ(text, whole);
    EXPECT_FALSE(scraping->next(text));
    EXPECT_EQ(exposition.scrapes(), 2U);
    EXPECT_EQ(exposition.lastBytes(), whole.size());
    EXPECT_GT(exposition.lastSeconds(), 0.0);
}

TEST_F(Exposing, TheCollectorsOwnMetricsFollow) {
    addModelMetrics(own, model);
    addProcessMetrics(own);
    addScrapeMetrics(own, exposition);
    own.add({"orx_collector_test", "Help with \\ and\nline.", MetricType::gauge,
        [](const OwnMetrics::Emit& emit) {
            emit({{"a", "x\"y"}, {"b", "\xFF"}}, 0.5);
        }});
    app.createSmallTree();
    app.tellMatched(5, 1);
    app.tellMatched(77, 1);
    const ExpositionText read = scrape();
    EXPECT_EQ(read.find("orx_collector_samples_total", {{"topic", "event"}})->value, "9");
    EXPECT_EQ(read.find("orx_collector_dropped_total", {{"cause", "unknown_resource"}})->value, "1");
    EXPECT_EQ(read.find("orx_collector_applications")->value, "1");
    EXPECT_EQ(read.find("orx_collector_resources")->value, "7");
    EXPECT_EQ(read.find("orx_collector_series")->value, "3");
    EXPECT_EQ(read.find("orx_collector_incomplete_applications")->value, "1");
    EXPECT_GT(std::stod(read.find("orx_collector_memory_bytes")->value), 1e5);
    EXPECT_EQ(read.find("orx_collector_test")->labels,
        (std::map<std::string, std::string>{{"a", "x\"y"}, {"b", "\xEF\xBF\xBD"}}));
    EXPECT_EQ(read.families.at("orx_collector_test").help, "Help with \\\\ and\\nline.");
    EXPECT_EQ(read.find("orx_collector_scrapes_total")->value, "0");
    EXPECT_EQ(scrape().find("orx_collector_scrapes_total")->value, "1");
}

// ---- Prometheus' own opinion ----

TEST_F(Exposing, PromtoolFindsNothingButNamesThatTheCatalogueGives) {
    fill();
    addModelMetrics(own, model);
    addProcessMetrics(own);
    addScrapeMetrics(own, exposition);
    const std::string path = testing::TempDir() + "orx_collector_exposition.txt";
    std::ofstream(path) << exposition.render(ExpositionFormat::text);
    std::FILE* tool = popen((std::string(PROMTOOL) + " check metrics < " + path + " 2>&1").c_str(), "re");
    ASSERT_NE(tool, nullptr);
    std::string output;
    for (std::array<char, 4096> piece; std::fgets(piece.data(), piece.size(), tool) != nullptr;)
        output += piece.data();
    const int status = pclose(tool);
    ASSERT_TRUE(WIFEXITED(status));
    // 3: lints; 1 would be a text that cannot be parsed.
    EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 3) << output;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(line.starts_with("dds_") &&
                    (line.find("name") != std::string::npos || line.find("suffix") != std::string::npos ||
                        line.find("base unit") != std::string::npos))
            << line;
    std::remove(path.c_str());
}

// ---- Labels ----

TEST(LabelText, EscapesWhatTheFormatsWantAndNothingElse) {
    const auto escaped = [](std::string_view text) {
        std::string out;
        appendLabelValue(out, text);
        return out;
    };
    EXPECT_EQ(escaped("plain text, with {braces}=1"), "plain text, with {braces}=1");
    EXPECT_EQ(escaped("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
    EXPECT_EQ(escaped("\r\t\x01"), "\r\t\x01");
    EXPECT_EQ(escaped("\xE2\x82\xAC\xF0\x9F\x98\x80"), "\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(escaped("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(
        escaped("\xC0\xAF\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(escaped(""), "");
    std::string out = "{";
    appendLabel(out, "a", "1");
    appendLabel(out, "b", "2");
    EXPECT_EQ(out, "{a=\"1\",b=\"2\"");
}

} // namespace
