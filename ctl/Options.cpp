#include "ctl/Options.hpp"

#include <algorithm>
#include <iostream>

#include "ctl/CommandLine.hpp"
#include "ctl/Names.hpp"

namespace ctl {

namespace {

constexpr std::size_t mostPatterns = 1024;
// Stands before an argument that begins with '-' and is no option: the parser takes it for a plain word.
constexpr char plainMark = '\x01';

// `metrics set` and `metrics update` take patterns that begin with '-'. What looks like one there is marked.
void markPatterns(std::vector<std::string>& arguments) {
    const auto metrics = std::find(arguments.begin(), arguments.end(), "metrics");
    auto at = std::find_if(
        metrics, arguments.end(), [](const std::string& each) { return each == "set" || each == "update"; });
    for (; at != arguments.end(); ++at) {
        std::string& text = *at;
        const bool isShort = text.size() > 1 && text[0] == '-' && text[1] != '-';
        if (isShort && text != "-h")
            text.insert(text.begin(), plainMark);
    }
}

std::optional<std::string> takePatterns(const std::vector<std::string>& words, Options& options) {
    if (words.size() > mostPatterns)
        return "more than " + std::to_string(mostPatterns) + " patterns";
    for (std::string word : words) {
        if (word[0] == plainMark)
            word.erase(0, 1);
        const bool isOn = word[0] == '+';
        if (!isOn && word[0] != '-')
            return "'" + word + "' begins neither with + (on) nor with - (off)";
        if (word.size() == 1)
            return "there is no pattern behind '" + word + "'";
        (isOn ? options.on : options.off).push_back(word.substr(1));
    }
    return std::nullopt;
}

std::optional<std::string> takeLevels(const std::vector<std::string>& words, Options& options) {
    for (const std::string& word : words) {
        const std::size_t divider = word.find('=');
        if (divider == std::string::npos)
            return "'" + word + "' has no '=' between facility and level";
        const Level level{word.substr(0, divider), word.substr(divider + 1)};
        for (const std::string& problem :
            {names::checkFacility(level.facility), names::checkLevel(level.level)})
            if (!problem.empty())
                return problem;
        options.levels.push_back(level);
    }
    return std::nullopt;
}

std::optional<std::string> takeWords(const CommandLine& line, Options& options) {
    if (auto problem = takePatterns(line.patterns(), options))
        return problem;
    if (auto problem = takeLevels(line.levels(), options))
        return problem;
    if (options.verb == Verb::logs && options.seconds && !options.follow)
        return "--for goes with --follow";
    return std::nullopt;
}

} // namespace

Parsed parseOptions(std::vector<std::string> arguments) {
    Parsed parsed;
    CommandLine line;
    markPatterns(arguments);
    std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
    try {
        line.app().parse(std::move(arguments));
    } catch (const CLI::RequiredError& error) {
        // A word that is no command: the parser would only say that it wants one.
        const std::vector<std::string> left = line.app().remaining();
        if (left.empty())
            line.app().exit(error);
        else
            std::cerr << "orxctl: '" << left.front() << "' is no command; 'orxctl --help' lists them\n";
        parsed.exitCode = 2;
        return parsed;
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = line.app().exit(error) == 0 ? 0 : 2;
        return parsed;
    }
    parsed.options = line.options();
    if (const auto problem = takeWords(line, parsed.options)) {
        std::cerr << "orxctl: " << *problem << '\n';
        parsed.exitCode = 2;
    }
    return parsed;
}

} // namespace ctl
