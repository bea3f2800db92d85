// Random lives of random applications: whatever they do, and whatever of it is lost before a registry, the
// model holds what a simple reference holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"
#include "reading/Samples.hpp"
#include "tests/unit/collector/ExpositionText.hpp"
#include "tests/unit/collector/FakeApplication.hpp"

namespace {

using namespace collector;
using collector_test::allMetricIds;
using collector_test::Event;
using collector_test::FakeApplication;
using collector_test::FakeResource;
using collector_test::Periodic;

constexpr std::array allClasses{ResourceClass::participant, ResourceClass::type, ResourceClass::topic,
    ResourceClass::publisher, ResourceClass::dataWriter, ResourceClass::subscriber,
    ResourceClass::dataReader};
constexpr std::uint32_t numbers = 24; // resources that an application may have

struct Numbers : reading::EventVisitor {
    std::vector<reading::Group> groups;
    void registry(std::span<const reading::Described>) override {}
    void created(const reading::Described&) override {}
    void deleted(const Guid&) override {}
    void selected(const Guid&, const DDS_UnsignedLongSeq&) override {}
    void group(const reading::Group& group) override { groups.push_back(group); }
};

// What a resource was told, by group and by metric.
using Received = std::map<std::size_t, std::map<std::string, std::uint64_t>>;

class Life {
public:
    Life(Model& model, std::uint32_t number, std::mt19937& random)
        : model_(model), number_(number), random_(random) {
        begin();
    }

    void step() {
        switch (pick(12)) {
        case 0:
        case 1:
        case 2:
            return create();
        case 3:
            return destroy();
        case 4:
            return select();
        case 5:
        case 6:
        case 7:
        case 8:
            return tell();
        case 9:
            return app_->tellRegistry([&](auto& told) { std::shuffle(told.begin(), told.end(), random_); });
        case 10:
            return losingSome();
        default:
            if (pick(20) == 0)
                restart();
            return;
        }
    }

    // All that should be there: by path, GUID and metric.
    void expect(std::map<std::string, std::string>& texts) const {
        for (const auto& [guid, resource] : app_->resources()) {
            const std::string key = reading::guidDigits(guid);
            texts[key] = pathOf(resource);
            const auto received = received_.find(guid);
            if (received == received_.end())
                continue;
            for (const auto& [group, values] : received->second) {
                for (const auto& [name, value] : values) {
                    if (isSelected(resource, name))
                        texts[key + " " + name] = std::to_string(value);
                }
            }
        }
    }

private:
    std::uint32_t pick(std::uint32_t count) {
        return std::uniform_int_distribution<std::uint32_t>(0, count - 1)(random_);
    }

    void begin() {
        app_ = std::make_unique<FakeApplication>(model_, number_, "app" + std::to_string(pick(3)), life_);
        received_.clear();
        app_->tellRegistry();
    }

    void restart() {
        app_->vanish();
        ++life_;
        begin();
    }

    const FakeResource* resource(std::uint32_t number) const {
        const auto found = app_->resources().find(app_->guidOf(number));
        return found == app_->resources().end() ? nullptr : &found->second;
    }

    std::size_t depthOf(const FakeResource& of) const {
        return of.owner == noGuid ? 0 : 1 + depthOf(app_->resources().at(of.owner));
    }

    std::string pathOf(const FakeResource& of) const {
        const std::string above = of.owner == noGuid ? "" : pathOf(app_->resources().at(of.owner));
        return above + "/" + resourceClassIdentifier(of.resourceClass) + "/" + of.name;
    }

    static bool isSelected(const FakeResource& of, const std::string& metric) {
        for (const Metric& each : metricsOf(of.resourceClass)) {
            if (each.name == metric)
                return std::find(of.metricIds.begin(), of.metricIds.end(), each.id) != of.metricIds.end();
        }
        return false;
    }

    void create() {
        const std::uint32_t number = 1 + pick(numbers);
        const FakeResource* known = resource(number);
        std::uint32_t owner = pick(numbers);
        if (resource(owner) == nullptr)
            owner = 0;
        if (depthOf(*resource(owner)) >= 6)
            return;
        const std::string name = "n" + std::to_string(pick(5));
        if (known != nullptr && pick(3) != 0) {
            // Told again, perhaps under another name.
            const FakeResource same = *known;
            for (std::uint32_t i = 0; i < numbers; ++i) {
                if (app_->guidOf(i) == same.owner)
                    app_->create(number, i, same.resourceClass, name, same.metricIds);
            }
            return;
        }
        if (known != nullptr)
            destroyOne(number); // and perhaps its owner with it
        if (resource(owner) == nullptr)
            return;
        app_->create(number, owner, allClasses[pick(allClasses.size())], name);
    }

    void destroy() {
        const std::uint32_t number = 1 + pick(numbers);
        if (resource(number) != nullptr)
            destroyOne(number);
    }

    void destroyOne(std::uint32_t number) {
        const auto before = app_->resources();
        app_->destroy(number);
        for (const auto& [guid, resource] : before) {
            if (app_->resources().contains(guid))
                continue;
            if (isLost_)
                destroyedInSilence_.emplace(guid, resource);
            else
                received_.erase(guid);
        }
    }

    void select() {
        const std::uint32_t number = pick(numbers);
        const FakeResource* known = resource(number);
        if (known == nullptr)
            return;
        std::vector<std::uint32_t> ids;
        const std::uint32_t share = pick(4);
        for (const std::uint32_t id : allMetricIds(known->resourceClass)) {
            if (pick(4) < share)
                ids.push_back(id);
        }
        ids.push_back(12345); // of no metric
        app_->select(number, ids);
        if (!isLost_)
            forgetUnselected(*known);
    }

    void forgetUnselected(const FakeResource& of) {
        std::erase_if(received_[of.guid], [&](const auto& group) {
            return std::none_of(group.second.begin(), group.second.end(),
                [&](const auto& value) { return isSelected(of, value.first); });
        });
    }

    void tell() {
        const std::uint32_t number = pick(numbers);
        const FakeResource* known = resource(number);
        if (known == nullptr)
            return;
        const std::uint32_t seed = pick(1000);
        if (pick(2) == 0) {
            Event event = collector_test::fullEvent(known->resourceClass, seed);
            Numbers visitor;
            reading::visit(*event, visitor);
            receive(*known, visitor.groups, false);
            app_->send(std::move(event), number, pick(2) == 0);
        } else {
            Periodic periodic = collector_test::fullPeriodic(known->resourceClass, seed);
            receive(*known, reading::groupsOf(*periodic), true);
            app_->send(std::move(periodic), number);
        }
    }

    void receive(const FakeResource& of, const std::vector<reading::Group>& groups, bool isPeriodic) {
        if (isLost_)
            return;
        for (const reading::Group& group : groups) {
            const auto number = groupAt(of.resourceClass, isPeriodic, group.member);
            const MetricGroup& own = groupsOf(of.resourceClass)[*number];
            std::vector<std::uint64_t> values(own.metricCount);
            readGroup(of.resourceClass, *number, group.value, values);
            std::map<std::string, std::uint64_t> told;
            bool isWanted = false;
            for (std::size_t i = 0; i < values.size(); ++i) {
                const Metric& metric = metricsOf(of.resourceClass)[own.firstMetric + i];
                told[metric.name] = values[i];
                isWanted = isWanted || isSelected(of, metric.name);
            }
            if (isWanted)
                received_[of.guid][*number] = std::move(told);
        }
    }

    // Some steps get lost, and a registry comes behind them: the model goes by what that says.
    void losingSome() {
        isLost_ = true;
        destroyedInSilence_.clear();
        app_->lose([&] {
            for (std::uint32_t i = pick(6); i > 0; --i) {
                switch (pick(4)) {
                case 0:
                    create();
                    break;
                case 1:
                    destroy();
                    break;
                case 2:
                    select();
                    break;
                default:
                    tell();
                }
            }
        });
        isLost_ = false;
        // What was destroyed and made again looks as if nothing had happened, unless it stands elsewhere now.
        for (const auto& [guid, was] : destroyedInSilence_) {
            const auto now = app_->resources().find(guid);
            if (now == app_->resources().end() || isElsewhere(now->second))
                received_.erase(guid);
        }
        for (const auto& [guid, resource] : app_->resources())
            forgetUnselected(resource);
        app_->tellRegistry([&](auto& told) { std::shuffle(told.begin(), told.end(), random_); });
    }

    // Whether it, or something above it, has another owner or class than before the silence, or is new.
    bool isElsewhere(const FakeResource& now) const {
        if (now.owner == noGuid)
            return false;
        const auto was = destroyedInSilence_.find(now.guid);
        if (was != destroyedInSilence_.end() &&
            (was->second.owner != now.owner || was->second.resourceClass != now.resourceClass))
            return true;
        return isElsewhere(app_->resources().at(now.owner));
    }

    Model& model_;
    const std::uint32_t number_;
    std::mt19937& random_;
    std::uint32_t life_ = 0;
    bool isLost_ = false;
    std::map<Guid, FakeResource> destroyedInSilence_; // as they were when they were destroyed first
    std::unique_ptr<FakeApplication> app_;
    std::map<Guid, Received> received_;
};

std::map<std::string, std::string> textsOf(const Model& model) {
    std::map<std::string, std::string> texts;
    const auto page = model.resources("//*", true, 100'000);
    for (const ResourceView& view : page->resources) {
        const std::string key = reading::guidDigits(view.guid);
        EXPECT_TRUE(texts.emplace(key, view.path).second);
        for (const MetricReading& metric : view.metrics) {
            const auto octets = std::visit(
                [](auto value) {
                    if constexpr (std::is_same_v<decltype(value), double>)
                        return std::uint64_t{std::bit_cast<std::uint32_t>(static_cast<float>(value))};
                    else
                        return static_cast<std::uint64_t>(value);
                },
                metric.value);
            texts[key + " " + metric.name] = std::to_string(octets);
        }
    }
    return texts;
}

void expectSizes(const Model& model, const std::map<std::string, std::string>& expected) {
    const auto series = static_cast<std::size_t>(std::count_if(expected.begin(), expected.end(),
        [](const auto& each) { return each.first.find(' ') != std::string::npos; }));
    const ModelStatistics statistics = model.statistics();
    EXPECT_EQ(statistics.series, series);
    EXPECT_EQ(statistics.resources, expected.size() - series);
    std::size_t ofApplications = 0;
    for (const ApplicationView& each : model.applications())
        ofApplications += each.series;
    EXPECT_EQ(ofApplications, series);
}

class ModelProperty : public testing::TestWithParam<unsigned> {};

TEST_P(ModelProperty, HoldsWhatTheApplicationsHold) {
    std::mt19937 random(GetParam());
    Model model;
    OwnMetrics own;
    Exposition exposition(model, own);
    std::vector<std::unique_ptr<Life>> lives;
    for (std::uint32_t number = 1; number <= 3; ++number)
        lives.push_back(std::make_unique<Life>(model, number, random));
    for (int round = 0; round < 40; ++round) {
        for (int step = 0; step < 25; ++step)
            lives[random() % lives.size()]->step();
        std::map<std::string, std::string> expected;
        for (const auto& life : lives)
            life->expect(expected);
        ASSERT_EQ(textsOf(model), expected) << "round " << round;
        expectSizes(model, expected);
        const auto read =
            collector_test::readExposition(exposition.render(ExpositionFormat::openMetrics), true);
        ASSERT_EQ(read.errors, std::vector<std::string>{});
        ASSERT_EQ(read.count(""), model.statistics().series);
    }
    const ModelStatistics statistics = model.statistics();
    for (std::size_t cause = 0; cause < statistics.dropped.size(); ++cause)
        EXPECT_EQ(statistics.dropped[cause], 0U) << dropCauseName(static_cast<DropCause>(cause));
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelProperty, testing::Range(1U, 9U));

} // namespace
