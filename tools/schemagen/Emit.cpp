#include "Emit.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Schema.hpp"

std::string fill(std::string_view pattern, std::initializer_list<Substitution> values) {
    std::string result;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '$' || i + 1 == pattern.size()) {
            result += pattern[i];
            continue;
        }
        ++i;
        for (const auto& [letter, value] : values) {
            if (letter == pattern[i]) {
                result += value;
            }
        }
    }
    return result;
}

Output::Output(Schema& schema_, std::string path_) : schema(schema_), path(std::move(path_)) {
    text = "/* Made by schemagen from the IDL of src/dataModel/idl: do not edit. */\n";
}

Output& Output::operator<<(std::string_view more) {
    text += more;
    return *this;
}

Output::~Output() {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ostringstream before;
    before << std::ifstream(path, std::ios::binary).rdbuf();
    if (before.str() == text) {
        return;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        Schema_addError(&schema, path.c_str(), "cannot be written");
    }
}

void emitAll(Schema& schema, const std::string& folder) {
    emitCommonHeaders(schema, folder);
    for (const auto& unit : schema.units) {
        emitUnitHeaders(schema, unit, folder);
        emitDescriptors(schema, unit, folder);
        emitFamilies(schema, unit, folder);
    }
    emitTypeList(schema, folder);
    emitMetricGroups(schema, folder);
}
