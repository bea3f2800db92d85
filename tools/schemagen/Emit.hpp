// Writes files from the schema.
#ifndef SCHEMAGEN_EMIT_HPP
#define SCHEMAGEN_EMIT_HPP

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

struct Schema;
struct Type;

// A text in which $X stands for a value.
using Substitution = std::pair<char, std::string_view>;
std::string fill(std::string_view pattern, std::initializer_list<Substitution> values);

// A file in the making; written when it differs from what is there, so that builds stay small. Errors end up
// in the schema.
class Output {
public:
    Output(Schema& schema, std::string path);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();
    Output& operator<<(std::string_view text);

private:
    Schema& schema;
    std::string path, text;
};

// Folders below the output folder.
inline constexpr std::string_view headerFolder = "/include/orxmonitoring2d/";
inline constexpr std::string_view sourceFolder = "/src/";

void emitAll(Schema& schema, const std::string& folder);
void emitUnitHeaders(Schema& schema, const std::string& unit, const std::string& folder);
void emitCommonHeaders(Schema& schema, const std::string& folder);
void emitDescriptors(Schema& schema, const std::string& unit, const std::string& folder);
void emitFamilies(Schema& schema, const std::string& unit, const std::string& folder);
void emitTypeList(Schema& schema, const std::string& folder);
void emitMetricGroups(Schema& schema, const std::string& folder);

#endif
