// The families of functions that every type of the schema has, as data: one list makes the declarations and
// the definitions. In a pattern $T is the type's name, $D its descriptor, $P its plug-in and $N its name with
// modules.
#ifndef SCHEMAGEN_FAMILIES_HPP
#define SCHEMAGEN_FAMILIES_HPP

#include <span>

#include "Schema.hpp"

struct Function {
    const char* result;
    const char* name;
    const char* parameters;
    const char* body;
};

struct Family {
    const char* title;
    bool (*has)(const Type& type);
    std::span<const Function> functions;
};

// What everybody needs: the life of a value.
std::span<const Family> lifeFamilies();
// What the middleware reaches through the plug-in.
std::span<const Family> pluginFamilies();
// What applications use with a topic: type support, writer, reader.
std::span<const Family> topicFamilies();

class Output;
void declareFamilies(Output& out, std::span<const Family> families, const Type& type);

#endif
