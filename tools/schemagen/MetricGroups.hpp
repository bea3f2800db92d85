// The resource classes of the schema and their metric groups.
#ifndef SCHEMAGEN_METRIC_GROUPS_HPP
#define SCHEMAGEN_METRIC_GROUPS_HPP

#include "Schema.hpp"

struct Group {
    const Member* member;
    const Type* sample; // the Event or Periodic type
};

struct ResourceClass {
    std::string className; // also the arm of the unions
    const Type* structure;
    std::uint32_t classId;
    std::uint32_t eventGroupCount;
    std::vector<Group> groups; // of events first
};

// In the order of the schema. What does not fit together is an error of the schema.
std::vector<ResourceClass> resourceClasses(Schema& schema);

// The flattened path of each leaf: "status_cache_sample_count".
std::vector<std::string> leafPaths(const Type& structure);

#endif
