#include "ctl/Completion.hpp"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "ctl/CommandLine.hpp"
#include "ctl/Names.hpp"
#include "ctl/Text.hpp"
#include "src/dataModel/MetricTable.hpp"

namespace ctl {

namespace {

constexpr double patience = 1; // seconds
constexpr const char* mostNames = "500";

// Where the last word stands in the grammar.
struct Place {
    CLI::App* command = nullptr;
    CLI::Option* valueOf = nullptr; // the option whose value it is
    std::size_t argument = 0;       // arguments of the command before it
    std::string collector;
};

CLI::Option* optionNamed(CLI::App* command, const std::string& name) {
    for (; command != nullptr; command = command->get_parent())
        if (CLI::Option* option = command->get_option_no_throw(name))
            return option;
    return nullptr;
}

CLI::App* commandNamed(CLI::App& command, const std::string& name) {
    const auto found = command.get_subcommands([&name](CLI::App* each) { return each->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

bool isMetricsCommand(const CLI::App& command) {
    return command.get_parent() != nullptr && command.get_parent()->get_name() == "metrics";
}

Place placeOf(CLI::App& app, const std::vector<std::string>& words) {
    Place place;
    place.command = &app;
    const char* collector = std::getenv("ORX_COLLECTOR");
    place.collector = collector != nullptr ? collector : Options().collector;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (place.valueOf != nullptr) {
            if (place.valueOf->check_lname("collector"))
                place.collector = word;
            place.valueOf = nullptr;
            continue;
        }
        CLI::Option* option = word.size() > 1 && word[0] == '-' ? optionNamed(place.command, word) : nullptr;
        if (option != nullptr)
            place.valueOf = takesValue(*option) ? option : nullptr;
        else if (CLI::App* inner = commandNamed(*place.command, word))
            place.command = inner;
        else if (word.rfind("--", 0) != 0)
            ++place.argument;
        if (word.rfind("--collector=", 0) == 0)
            place.collector = word.substr(word.find('=') + 1);
    }
    return place;
}

class Candidates {
public:
    explicit Candidates(const Place& place, const std::string& word) : place_(place), word_(word) {}

    std::vector<std::string> find() {
        if (place_.valueOf != nullptr)
            addValues(*place_.valueOf);
        else if (word_.rfind("--", 0) == 0 || (word_ == "-" && !isMetricsCommand(*place_.command)))
            addOptions();
        else if (!place_.command->get_subcommands([](CLI::App*) { return true; }).empty())
            addCommands();
        else
            addArguments();
        return {found_.begin(), found_.end()};
    }

private:
    // What does not begin like the word is none, nor is what a terminal must not see.
    void add(const std::string& candidate) {
        if (!candidate.empty() && candidate.rfind(word_, 0) == 0 && escaped(candidate, true) == candidate)
            found_.insert(candidate);
    }
    template <typename Names>
    void addAll(const Names& all, const std::string& before = "", const std::string& behind = "") {
        for (const auto& each : all)
            add(before + std::string(each) + behind);
    }

    void addOptions() {
        for (CLI::App* command = place_.command; command != nullptr; command = command->get_parent())
            for (const CLI::Option* option : command->get_options())
                for (const std::string& name : option->get_lnames())
                    add("--" + name);
    }

    void addCommands() {
        for (const CLI::App* command : place_.command->get_subcommands([](CLI::App*) { return true; }))
            add(command->get_name());
    }

    void addValues(const CLI::Option& option) {
        if (option.check_lname("color"))
            addAll(std::array{"auto", "always", "never"});
        else if (option.check_lname("facility"))
            addAll(names::facilities);
        else if (option.check_lname("severity"))
            addAll(names::severities);
        else if (option.check_lname("class"))
            addAll(names::classes);
        else if (option.check_lname("application"))
            addApplications();
    }

    void addArguments() {
        const bool isLogging =
            place_.command->get_parent() != nullptr && place_.command->get_parent()->get_name() == "logging";
        const bool hasPath = place_.command->get_option_no_throw("PATH") != nullptr;
        if (hasPath && place_.argument == 0)
            addPaths();
        else if (isLogging && place_.argument > 0)
            addLevels();
        else if (isMetricsCommand(*place_.command) && place_.argument > 0)
            addMetrics();
    }

    void addLevels() {
        const std::size_t divider = word_.find('=');
        if (divider == std::string::npos)
            addAll(names::facilities, "", "=");
        else
            addAll(names::levels, word_.substr(0, divider + 1));
    }

    void addMetrics() {
        namespace metrics = orx::dataModel::metrics;
        const std::string sign = word_.empty() ? "+" : word_.substr(0, 1);
        if (sign != "+" && sign != "-")
            return;
        const auto addTable = [&](const auto& table) {
            for (const auto& row : table)
                add(sign + row.name);
        };
        addTable(metrics::Topic);
        addTable(metrics::DataWriter);
        addTable(metrics::DataReader);
        addTable(metrics::Participant);
        addTable(metrics::Application);
    }

    void addApplications() {
        const auto answer = ask("/api/v1/applications", {});
        for (const Json& application : elementsOf(answer, "applications"))
            add(textOf(application, "name"));
    }

    // A name, or a path level by level: below an even number of components stands a class, else a name.
    void addPaths() {
        if (word_.empty() || word_[0] != '/') {
            add("/applications/");
            return addApplications();
        }
        const std::string above = word_.substr(0, word_.rfind('/'));
        const bool isPattern =
            above.find_first_of("*?[") != std::string::npos || above.find("//") != std::string::npos;
        if (above.empty())
            return add("/applications/");
        if (isPattern)
            return;
        if (std::count(above.begin(), above.end(), '/') % 2 == 0)
            return addAll(names::collections, above + "/", "/");
        const auto answer = ask("/api/v1/resources", {{"path", above + "/*"}, {"limit", mostNames}});
        for (const Json& resource : elementsOf(answer, "resources"))
            add(above + "/" + textOf(resource, "name"));
    }

    Json ask(const std::string& path, const Parameters& parameters) const {
        try {
            return Client(place_.collector, patience).get(path, parameters);
        } catch (const std::exception&) {
            return Json();
        }
    }

    const Place& place_;
    const std::string& word_;
    std::set<std::string> found_;
};

} // namespace

std::vector<std::string> completionsOf(std::vector<std::string> words) {
    if (words.empty())
        words.emplace_back();
    CommandLine line;
    const Place place = placeOf(line.app(), words);
    return Candidates(place, words.back()).find();
}

} // namespace ctl
