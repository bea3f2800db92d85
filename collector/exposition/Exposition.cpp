#include "collector/exposition/Exposition.hpp"

#include <algorithm>
#include <bit>
#include <chrono>

#include "collector/exposition/MetricTexts.hpp"
#include "collector/exposition/NumberText.hpp"
#include "collector/model/LabelText.hpp"
#include "collector/model/Model.hpp"

namespace collector {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t pieceSize = std::size_t{64} * 1024;
constexpr std::string_view totalSuffix = "_total";

// OpenMetrics wants quotes escaped too.
void appendHelp(std::string& out, std::string_view help, ExpositionFormat format) {
    for (const char octet : help) {
        if (octet == '\\' || octet == '\n' || (octet == '"' && format == ExpositionFormat::openMetrics))
            out += '\\';
        out += octet == '\n' ? 'n' : octet;
    }
}

// "# HELP" and "# TYPE". OpenMetrics names the family of a counter without its suffix.
void appendHead(std::string& out, std::string_view name, MetricType type, std::string_view help,
    ExpositionFormat format) {
    if (format == ExpositionFormat::openMetrics && type == MetricType::counter && name.ends_with(totalSuffix))
        name.remove_suffix(totalSuffix.size());
    (out += "# HELP ") += name;
    out += ' ';
    appendHelp(out, help, format);
    (out += "\n# TYPE ") += name;
    out += type == MetricType::counter ? " counter\n" : " gauge\n";
}

char* writeValue(char* out, ValueKind kind, std::uint64_t octets) {
    switch (kind) {
    case ValueKind::integer:
        return writeNumber(out, static_cast<std::int64_t>(octets));
    case ValueKind::natural:
        return writeNumber(out, octets);
    default:
        return writeNumber(out, std::bit_cast<float>(static_cast<std::uint32_t>(octets)));
    }
}

void appendOwnFamily(std::string& out, const OwnMetrics::Family& family, ExpositionFormat format) {
    appendHead(out, family.name, family.type, family.help, format);
    family.collect([&](std::initializer_list<Label> labels, double value) {
        out += family.name;
        if (labels.size() != 0) {
            out += '{';
            for (const Label& label : labels)
                appendLabel(out, label.name, label.value);
            out += '}';
        }
        char number[maximalNumberText];
        out += ' ';
        out.append(number, writeNumber(number, value));
        out += '\n';
    });
}

} // namespace

struct Scrape::State {
    State(Exposition& givenExposition, ExpositionFormat givenFormat)
        : exposition(givenExposition), format(givenFormat) {}

    // What is rendered next: series of this entry of this metric of this class, then the own families.
    Exposition& exposition;
    const ExpositionFormat format;
    Snapshot snapshot;
    std::size_t resourceClass = 0;
    std::size_t metric = 0;
    std::size_t entry = 0;
    std::size_t ownFamily = 0;
    bool hasHead = false;
    bool isDone = false;
    std::size_t bytes = 0;
    Clock::duration spent{};

    void append(std::string& out);
    void appendMetric(std::string& out, std::size_t end);
    void nextMetric();
    void appendOwn(std::string& out);
};

void Scrape::State::append(std::string& out) {
    const std::size_t end = out.size() + pieceSize;
    while (out.size() < end && resourceClass < resourceClassCount)
        appendMetric(out, end);
    if (resourceClass < resourceClassCount)
        return;
    const auto& families = exposition.own_.families();
    for (; out.size() < end && ownFamily < families.size(); ++ownFamily)
        appendOwnFamily(out, families[ownFamily], format);
    if (ownFamily < families.size())
        return;
    if (format == ExpositionFormat::openMetrics)
        out += "# EOF\n";
    isDone = true;
}

// Series of one metric, until the text has that size.
void Scrape::State::appendMetric(std::string& out, std::size_t end) {
    const auto known = static_cast<ResourceClass>(resourceClass);
    const auto& entries = snapshot.classes[resourceClass];
    if (metric == metricsOf(known).size() || entries.empty())
        return nextMetric();
    const MetricText& text = metricTexts(known)[metric];
    const ValueKind kind = metricsOf(known)[metric].kind;
    for (; entry < entries.size(); ++entry) {
        const Snapshot::Entry& each = entries[entry];
        if (!each.present.has(metric))
            continue;
        if (out.size() >= end)
            return;
        if (!hasHead)
            appendHead(out, text.name, text.type, text.help, format);
        hasHead = true;
        char value[maximalNumberText + 2];
        value[0] = ' ';
        char* last =
            writeValue(value + 1, kind, snapshot.values[each.firstValue + each.present.rank(metric)]);
        *last++ = '\n';
        const auto length = static_cast<std::size_t>(last - value);
        out.append(text.name).append(*each.labels).append(value, length);
    }
    ++metric;
    entry = 0;
    hasHead = false;
}

void Scrape::State::nextMetric() {
    // Of a class that is done, the labels are let go.
    snapshot.classes[resourceClass] = {};
    ++resourceClass;
    metric = 0;
    if (resourceClass == resourceClassCount)
        snapshot.values = {};
}

Scrape::Scrape(std::unique_ptr<State> state) : state_(std::move(state)) {}
Scrape::~Scrape() = default;

bool Scrape::next(std::string& text) {
    if (state_->isDone)
        return false;
    const auto start = Clock::now();
    const std::size_t before = text.size();
    state_->append(text);
    state_->bytes += text.size() - before;
    state_->spent += Clock::now() - start;
    if (state_->isDone) {
        Exposition& exposition = state_->exposition;
        const std::chrono::duration<double> seconds = state_->spent;
        exposition.lastSeconds_.store(seconds.count(), std::memory_order_relaxed);
        exposition.lastBytes_.store(state_->bytes, std::memory_order_relaxed);
        exposition.scrapes_.fetch_add(1, std::memory_order_relaxed);
    }
    return true;
}

Exposition::Exposition(const Model& model, const OwnMetrics& own) : model_(model), own_(own) {}

std::unique_ptr<Scrape> Exposition::begin(ExpositionFormat format) {
    auto state = std::make_unique<Scrape::State>(*this, format);
    const auto start = Clock::now();
    model_.take(state->snapshot);
    state->spent = Clock::now() - start;
    return std::unique_ptr<Scrape>(new Scrape(std::move(state)));
}

std::string Exposition::render(ExpositionFormat format) {
    std::string text;
    text.reserve(lastBytes() + pieceSize);
    const auto scrape = begin(format);
    while (scrape->next(text)) {
    }
    return text;
}

const char* contentType(ExpositionFormat format) {
    return format == ExpositionFormat::openMetrics
               ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
               : "text/plain; version=0.0.4; charset=utf-8";
}

} // namespace collector
