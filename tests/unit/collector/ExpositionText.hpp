// A small reader of the two exposition formats, written from their descriptions and knowing nothing of the
// writer. It takes no liberty: what is not to the letter is an error.
#ifndef TESTS_COLLECTOR_EXPOSITION_TEXT_HPP
#define TESTS_COLLECTOR_EXPOSITION_TEXT_HPP

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace collector_test {

struct Sample {
    std::string name;
    std::map<std::string, std::string> labels;
    std::string value; // as written
};

struct TextFamily {
    std::string type;
    std::string help;
    std::vector<Sample> samples;
};

struct ExpositionText {
    std::map<std::string, TextFamily> families;
    std::vector<std::string> order;  // of the families
    std::vector<std::string> errors; // empty for a text that is right

    // The one sample of that name with these labels among its own; null when there is none or more than one.
    const Sample* find(const std::string& name, const std::map<std::string, std::string>& labels = {}) const;
    std::size_t count(std::string_view prefix) const; // of samples whose name begins so
};

ExpositionText readExposition(std::string_view text, bool isOpenMetrics);

} // namespace collector_test

#endif
