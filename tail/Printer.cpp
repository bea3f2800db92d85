#include "tail/Printer.hpp"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

namespace tail {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

const char* kindText(ChangeKind kind) {
    switch (kind) {
    case ChangeKind::created: return "created";
    case ChangeKind::deleted: return "deleted";
    case ChangeKind::selection: return "selection";
    case ChangeKind::group: return "group";
    case ChangeKind::log: return "log";
    case ChangeKind::gone: return "gone";
    case ChangeKind::undecodable: return "undecodable";
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

nlohmann::json valueOf(const Leaf& leaf) {
    if (leaf.isText) return leaf.text;
    // Numbers were printed by us: what does not parse (nan, inf) stays text, since JSON has no word for it.
    auto parsed = nlohmann::json::parse(leaf.text, nullptr, false);
    return parsed.is_discarded() ? nlohmann::json(leaf.text) : parsed;
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
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%09dZ", utc.tm_year + 1900, utc.tm_mon + 1,
        utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(rest));
    return text.data();
}

std::string Printer::personLine(const Change& change) {
    std::string line = clockText(change.timeNs) + "  " + change.application + "  ";
    line += change.path.empty() ? guidText(change.guid) : change.path;
    line += "  ";
    line += change.group.empty() ? kindText(change.kind) : change.group;
    for (const Leaf& leaf : change.values) {
        line += "  ";
        if (!leaf.path.empty()) line += leaf.path + "=";
        line += leaf.isText ? escaped(leaf.text) : leaf.text;
    }
    if (change.topic == "event") {
        line += change.snapshot ? "  [snapshot" : "  [live";
        if (change.epochs) {
            line += " " + std::to_string(change.epochs->first) + "/" + std::to_string(change.epochs->second);
        }
        line += "]";
    }
    return line;
}

std::string Printer::jsonLine(const Change& change) {
    nlohmann::ordered_json line;
    line["time"] = timestampText(change.timeNs);
    line["topic"] = change.topic;
    line["change"] = kindText(change.kind);
    line["application"] = change.application;
    line["application_guid"] = guidText(change.applicationGuid);
    line["guid"] = guidText(change.guid);
    if (change.classId != 0) line["class"] = classIdentifier(change.classId);
    line["path"] = change.path;
    if (!change.group.empty()) line["group"] = change.group;
    if (!change.values.empty()) {
        nlohmann::ordered_json values;
        for (const Leaf& leaf : change.values) values[leaf.path] = valueOf(leaf);
        line["values"] = values;
    }
    if (change.topic == "event") line["snapshot"] = change.snapshot;
    if (change.epochs) {
        line["epoch_resource"] = change.epochs->first;
        line["epoch_metric"] = change.epochs->second;
    }
    // Names from remote may be no UTF-8: such octets become the replacement character.
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Printer::print(const Change& change) {
    out_ << (json_ ? jsonLine(change) : personLine(change)) << '\n' << std::flush;
}

} // namespace tail
