#include "tests/unit/collector/ExpositionText.hpp"

#include <cstdlib>
#include <set>

namespace collector_test {

namespace {

bool isNameOctet(char octet, bool isFirst) {
    return (octet >= 'a' && octet <= 'z') || (octet >= 'A' && octet <= 'Z') || octet == '_' || octet == ':' ||
           (!isFirst && octet >= '0' && octet <= '9');
}

class Reader {
public:
    Reader(std::string_view text, bool isOpenMetrics) : rest_(text), isOpenMetrics_(isOpenMetrics) {}

    ExpositionText read() {
        bool isEnded = false;
        while (!rest_.empty()) {
            const std::size_t end = rest_.find('\n');
            if (end == std::string_view::npos) {
                error("the last line has no end");
                break;
            }
            line_ = rest_.substr(0, end);
            rest_.remove_prefix(end + 1);
            if (isEnded)
                error("something behind # EOF");
            if (line_ == "# EOF" && isOpenMetrics_)
                isEnded = true;
            else if (line_.starts_with("# "))
                head();
            else
                sample();
        }
        if (isOpenMetrics_ && !isEnded)
            error("no # EOF");
        return std::move(result_);
    }

private:
    void error(const char* what) { result_.errors.push_back(std::string(what) + ": " + std::string(line_)); }

    std::string name(std::string_view& text) {
        std::size_t length = 0;
        while (length < text.size() && isNameOctet(text[length], length == 0))
            ++length;
        std::string result(text.substr(0, length));
        text.remove_prefix(length);
        if (result.empty())
            error("no name");
        return result;
    }

    void head() {
        std::string_view text = line_.substr(2);
        const std::string_view kind = text.substr(0, 5);
        if (kind != "HELP " && kind != "TYPE ")
            return error("a comment that is neither");
        text.remove_prefix(5);
        const std::string family = name(text);
        if (!text.starts_with(' '))
            return error("no text");
        text.remove_prefix(1);
        if (kind == "HELP ") {
            if (result_.families.contains(family))
                return error("a second head");
            result_.order.push_back(family);
            result_.families[family].help = text;
        } else {
            if (result_.order.empty() || result_.order.back() != family)
                return error("a type that does not follow its help");
            result_.families[family].type = text;
        }
    }

    // The family that a sample belongs to: the one whose head stood last.
    void sample() {
        std::string_view text = line_;
        Sample sample;
        sample.name = name(text);
        if (text.starts_with('{'))
            labels(text, sample);
        if (!text.starts_with(' '))
            return error("no blank before the value");
        text.remove_prefix(1);
        sample.value = text;
        checkValue(sample.value);
        if (result_.order.empty())
            return error("no head");
        const std::string& family = result_.order.back();
        const bool isCounter = result_.families[family].type == "counter";
        if (sample.name != family + (isOpenMetrics_ && isCounter ? "_total" : ""))
            error("a sample that is not of the family before it");
        if (!seen_.insert({sample.name, sample.labels}).second)
            error("a series that is there twice");
        result_.families[family].samples.push_back(std::move(sample));
    }

    void labels(std::string_view& text, Sample& sample) {
        text.remove_prefix(1);
        while (!text.starts_with('}')) {
            const std::string label = name(text);
            if (!text.starts_with("=\"")) {
                error("no value of a label");
                text = {};
                return;
            }
            text.remove_prefix(2);
            if (!sample.labels.emplace(label, quoted(text)).second)
                error("a label twice");
            if (text.starts_with(','))
                text.remove_prefix(1);
            else if (!text.starts_with('}'))
                return error("labels that do not end");
        }
        text.remove_prefix(1);
    }

    std::string quoted(std::string_view& text) {
        std::string value;
        while (!text.empty() && text.front() != '"') {
            char octet = text.front();
            text.remove_prefix(1);
            if (octet == '\\') {
                const char escape = text.empty() ? '\0' : text.front();
                if (escape != '\\' && escape != '"' && escape != 'n')
                    error("an escape that does not exist");
                octet = escape == 'n' ? '\n' : escape;
                text.remove_prefix(text.empty() ? 0 : 1);
            }
            value += octet;
        }
        if (text.empty())
            error("a quote without end");
        else
            text.remove_prefix(1);
        return value;
    }

    void checkValue(const std::string& value) {
        if (value == "NaN" || value == "+Inf" || value == "-Inf")
            return;
        char* end = nullptr;
        (void)std::strtod(value.c_str(), &end);
        const bool isDecimal = value.find_first_not_of("0123456789+-.e") == std::string::npos;
        if (value.empty() || *end != '\0' || !isDecimal)
            error("a value that is no number");
    }

    std::string_view rest_;
    std::string_view line_;
    const bool isOpenMetrics_;
    ExpositionText result_;
    std::set<std::pair<std::string, std::map<std::string, std::string>>> seen_;
};

} // namespace

ExpositionText readExposition(std::string_view text, bool isOpenMetrics) {
    return Reader(text, isOpenMetrics).read();
}

const Sample* ExpositionText::find(
    const std::string& name, const std::map<std::string, std::string>& labels) const {
    const Sample* found = nullptr;
    for (const auto& [family, content] : families) {
        for (const Sample& sample : content.samples) {
            if (sample.name != name)
                continue;
            bool isMet = true;
            for (const auto& [label, value] : labels) {
                const auto own = sample.labels.find(label);
                isMet = isMet && own != sample.labels.end() && own->second == value;
            }
            if (!isMet)
                continue;
            if (found != nullptr)
                return nullptr;
            found = &sample;
        }
    }
    return found;
}

std::size_t ExpositionText::count(std::string_view prefix) const {
    std::size_t result = 0;
    for (const auto& [family, content] : families) {
        for (const Sample& sample : content.samples)
            result += sample.name.starts_with(prefix) ? 1 : 0;
    }
    return result;
}

} // namespace collector_test
