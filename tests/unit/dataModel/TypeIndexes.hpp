// Which types of the schema a test runs over, and what its cases are called.
#ifndef TESTS_UNIT_DATA_MODEL_TYPE_INDEXES_HPP
#define TESTS_UNIT_DATA_MODEL_TYPE_INDEXES_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "orxmonitoring2d/schema_types.h"

// Structures and unions.
inline std::vector<unsigned> indexesOfAggregates() {
    std::vector<unsigned> indexes;
    for (unsigned i = 0; i < ORX_SCHEMA_TYPE_COUNT; ++i) {
        const auto kind = orx_schema_types[i]->type->kind;
        if (kind == DDS_TYPE_STRUCT || kind == DDS_TYPE_UNION) {
            indexes.push_back(i);
        }
    }
    return indexes;
}

inline std::string nameOfType(const testing::TestParamInfo<unsigned>& parameter) {
    std::string name = orx_schema_types[parameter.param]->schemaName;
    std::ranges::replace(name, ':', '_');
    return name;
}

#endif
