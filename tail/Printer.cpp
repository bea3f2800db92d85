#include "tail/Printer.hpp"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "tail/LogMessage.hpp"

namespace tail {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

const char* kindText(ChangeKind kind) {
    switch (kind) {
    case ChangeKind::created:
        return "created";
    case ChangeKind::deleted:
        return "deleted";
    case ChangeKind::selection:
        return "selection";
    case ChangeKind::group:
        return "group";
    case ChangeKind::log:
        return "log";
    case ChangeKind::gone:
        return "gone";
    case ChangeKind::undecodable:
        return "undecodable";
    case ChangeKind::lost:
        return "lost";
    }
    return "unknown";
}

// Seconds rounded down, so that times before 1970 keep a fraction of 0 to 999999999.
std::pair<std::tm, std::int64_t> split(std::int64_t timeNs) {
    std::int64_t seconds = timeNs / nanosecondsPerSecond;
    std::int64_t rest = timeNs % nanosecondsPerSecond;
    if (rest < 0) {
        rest += nanosecondsPerSecond;
        --seconds;
    }
    std::tm utc{};
    const std::time_t time = static_cast<std::time_t>(seconds);
    gmtime_r(&time, &utc);
    return {utc, rest};
}

constexpr const char* dim = "\x1B[2m";

const char* colourOf(ChangeKind kind) {
    switch (kind) {
    case ChangeKind::created:
        return "\x1B[32m";
    case ChangeKind::deleted:
    case ChangeKind::gone:
        return "\x1B[31m";
    case ChangeKind::undecodable:
    case ChangeKind::lost:
    case ChangeKind::log:
        return "\x1B[33m";
    case ChangeKind::group:
    case ChangeKind::selection:
        break;
    }
    return "\x1B[36m";
}

const char* colourOfSeverity(const Change& change) {
    for (const Leaf& leaf : change.values) {
        if (leaf.path == "severity" && (leaf.text == "WARNING" || leaf.text == "NOTICE"))
            return "\x1B[33m";
        if (leaf.path == "severity" && (leaf.text == "INFORMATIONAL" || leaf.text == "DEBUG"))
            return dim;
    }
    return "\x1B[31m";
}

// How a change came: live, in a snapshot, or with its period; with the epochs that its sample had.
std::string originOf(const Change& change) {
    if (change.topic == "periodic")
        return "[periodic]";
    std::string origin = change.snapshot ? "[snapshot" : "[live";
    if (change.epochs)
        origin += " " + std::to_string(change.epochs->first) + "/" + std::to_string(change.epochs->second);
    if (change.logEpoch)
        origin += " " + std::to_string(*change.logEpoch);
    return origin + "]";
}

std::string personText(const Leaf& leaf) {
    constexpr std::size_t shortest = 32; // digits of a GUID; a handle has more
    if (!leaf.isText)
        return leaf.text;
    const bool isNobody =
        leaf.text.size() >= shortest && leaf.text.find_first_not_of('0') == std::string::npos;
    return isNobody ? "-" : escaped(leaf.text);
}

nlohmann::json valueOf(const Leaf& leaf) {
    if (leaf.isText)
        return leaf.text;
    // Numbers were printed by us: what does not parse (nan, inf) stays text, since JSON has no word for it.
    auto parsed = nlohmann::json::parse(leaf.text, nullptr, false);
    return parsed.is_discarded() ? nlohmann::json(leaf.text) : parsed;
}

std::string statisticsTable(const Statistics& statistics) {
    std::string text = "received, by topic\n";
    std::array<char, 160> line{};
    for (const char* topic : Statistics::topics) {
        const TopicCounts counts = statistics.topic(topic);
        std::snprintf(line.data(), line.size(),
            "  %-8s  samples %llu  snapshots %llu  lost %llu  undecodable %llu  not read in time %llu\n",
            topic, static_cast<unsigned long long>(counts.received),
            static_cast<unsigned long long>(counts.snapshots), static_cast<unsigned long long>(counts.lost),
            static_cast<unsigned long long>(counts.undecodable),
            static_cast<unsigned long long>(counts.notCached));
        text += line.data();
    }
    text += "lost, by application\n";
    for (const ApplicationCounts& counts : statistics.applications()) {
        std::snprintf(line.data(), line.size(),
            "  resource epochs %llu  metric epochs %llu  log epochs %llu  log messages %llu of %llu",
            static_cast<unsigned long long>(counts.resourceEpochsLost),
            static_cast<unsigned long long>(counts.metricEpochsLost),
            static_cast<unsigned long long>(counts.logEpochsLost),
            static_cast<unsigned long long>(counts.logMessagesLost),
            static_cast<unsigned long long>(counts.logMessages + counts.logMessagesLost));
        text += "  " + counts.name + line.data() + (counts.isGone ? "  gone" : "") + "\n";
    }
    return text;
}

std::string statisticsLine(const Statistics& statistics) {
    nlohmann::ordered_json line;
    line["change"] = "statistics";
    for (const char* topic : Statistics::topics) {
        const TopicCounts counts = statistics.topic(topic);
        line["topics"][topic] = {{"samples", counts.received}, {"snapshots", counts.snapshots},
            {"lost", counts.lost}, {"undecodable", counts.undecodable},
            {"not_read_in_time", counts.notCached}};
    }
    line["applications"] = nlohmann::ordered_json::array();
    for (const ApplicationCounts& counts : statistics.applications()) {
        line["applications"].push_back({{"application", counts.name}, {"guid", guidText(counts.guid)},
            {"resource_epochs_lost", counts.resourceEpochsLost},
            {"metric_epochs_lost", counts.metricEpochsLost}, {"log_epochs_lost", counts.logEpochsLost},
            {"log_messages", counts.logMessages}, {"log_messages_lost", counts.logMessagesLost},
            {"gone", counts.isGone}});
    }
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

std::string clockText(std::int64_t timeNs) {
    const auto [utc, rest] = split(timeNs);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", utc.tm_hour, utc.tm_min, utc.tm_sec,
        static_cast<int>(rest / 1'000'000));
    return text.data();
}

std::string timestampText(std::int64_t timeNs) {
    const auto [utc, rest] = split(timeNs);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%09dZ", utc.tm_year + 1900,
        utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(rest));
    return text.data();
}

std::string Printer::personLine(const Change& change, bool colours) {
    const auto painted = [colours](const char* colour, const std::string& text) {
        return colours ? colour + text + "\x1B[0m" : text;
    };
    std::string line = painted(dim, clockText(change.timeNs)) + "  ";
    line += change.application + "  ";
    // The origin stands before the text, which may look like anything.
    if (change.kind == ChangeKind::log)
        return line + painted(colourOfSeverity(change), logHead(change)) + "  " +
               painted(dim, originOf(change)) + "  " + logText(change);
    line += change.path.empty() ? guidText(change.guid) : change.path;
    line +=
        "  " + painted(colourOf(change.kind), change.group.empty() ? kindText(change.kind) : change.group);
    for (const Leaf& leaf : change.values) {
        line += "  ";
        if (!leaf.path.empty())
            line += leaf.path + "=";
        line += personText(leaf);
    }
    if (change.kind == ChangeKind::undecodable)
        return line;
    if (change.kind == ChangeKind::lost)
        return line + "  the tree may be incomplete";
    return line + "  " + painted(dim, originOf(change));
}

std::string Printer::jsonLine(const Change& change) {
    nlohmann::ordered_json line;
    line["time"] = timestampText(change.timeNs);
    line["topic"] = change.topic;
    line["change"] = kindText(change.kind);
    line["application"] = change.application;
    line["application_guid"] = guidText(change.applicationGuid);
    line["guid"] = guidText(change.guid);
    if (change.classId != 0)
        line["class"] = classIdentifier(change.classId);
    line["path"] = change.path;
    if (!change.group.empty())
        line["group"] = change.group;
    if (!change.values.empty()) {
        nlohmann::ordered_json values;
        for (const Leaf& leaf : change.values)
            values[leaf.path] = valueOf(leaf);
        line["values"] = values;
    }
    if (change.topic != "periodic")
        line["snapshot"] = change.snapshot;
    if (change.logEpoch)
        line["epoch"] = *change.logEpoch;
    if (change.epochs) {
        line["epoch_resource"] = change.epochs->first;
        line["epoch_metric"] = change.epochs->second;
    }
    // Names from remote may be no UTF-8: such octets become the replacement character.
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Printer::print(const Change& change) {
    out_ << (json_ ? jsonLine(change) : personLine(change, colours_)) << '\n' << std::flush;
}

void Printer::print(const Statistics& statistics) {
    out_ << (json_ ? statisticsLine(statistics) + "\n" : statisticsTable(statistics)) << std::flush;
}

void Printer::print(const ResourceTree& tree) {
    tree.walk([this](const Resource& resource, std::size_t depth) {
        out_ << std::string(2 * depth, ' ') << classIdentifier(resource.classId) << "/"
             << escaped(resource.name) << '\n';
    });
    out_ << std::flush;
}

} // namespace tail
