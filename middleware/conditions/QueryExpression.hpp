// The expressions of query conditions; their form stands in zddsc/conditions.h.
#ifndef ZDDSC_CONDITIONS_QUERY_EXPRESSION_HPP
#define ZDDSC_CONDITIONS_QUERY_EXPRESSION_HPP

#include "middleware/entities/ReaderCache.hpp"

namespace zdds::conditions {

// Null, or a static text that says what is wrong; *filter is then untouched.
const char* parseQuery(const DDS_TypePlugin& plugin, const char* expression, KeyFilter* filter);

} // namespace zdds::conditions

#endif
