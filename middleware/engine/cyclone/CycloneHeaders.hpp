// The public header of Cyclone DDS, beside those of the DDS operations.
//
// Both define DDS_RETCODE_* and a few other names: the library's are taken away after they were given names
// of their own, so this header comes before any of zddsc/.
#ifndef ZDDSC_ENGINE_CYCLONE_HEADERS_HPP
#define ZDDSC_ENGINE_CYCLONE_HEADERS_HPP

#ifdef ZDDSC_BASIC_TYPES_H
#error "middleware/engine/cyclone/CycloneHeaders.hpp must come before zddsc/basic_types.h"
#endif

#include <dds/dds.h>

namespace zdds::engine::code {
constexpr dds_return_t ok = DDS_RETCODE_OK;
constexpr dds_return_t unsupported = DDS_RETCODE_UNSUPPORTED;
constexpr dds_return_t badParameter = DDS_RETCODE_BAD_PARAMETER;
constexpr dds_return_t preconditionNotMet = DDS_RETCODE_PRECONDITION_NOT_MET;
constexpr dds_return_t outOfResources = DDS_RETCODE_OUT_OF_RESOURCES;
constexpr dds_return_t timeout = DDS_RETCODE_TIMEOUT;
} // namespace zdds::engine::code

#undef DDS_RETCODE_OK
#undef DDS_RETCODE_ERROR
#undef DDS_RETCODE_UNSUPPORTED
#undef DDS_RETCODE_BAD_PARAMETER
#undef DDS_RETCODE_PRECONDITION_NOT_MET
#undef DDS_RETCODE_OUT_OF_RESOURCES
#undef DDS_RETCODE_NOT_ENABLED
#undef DDS_RETCODE_IMMUTABLE_POLICY
#undef DDS_RETCODE_INCONSISTENT_POLICY
#undef DDS_RETCODE_ALREADY_DELETED
#undef DDS_RETCODE_TIMEOUT
#undef DDS_RETCODE_NO_DATA
#undef DDS_RETCODE_ILLEGAL_OPERATION
#undef DDS_LENGTH_UNLIMITED
#undef DDS_TIME_INVALID
#undef DDS_HANDLE_NIL

#endif
