// Makes the wire program of a type whose shape and nested programs stand. False when memory is out.
#ifndef ZDDSC_TYPES_WIRE_BUILDER_HPP
#define ZDDSC_TYPES_WIRE_BUILDER_HPP

struct DDS_TypePrograms;

namespace zdds::types {

bool buildWire(DDS_TypePrograms& programs);

} // namespace zdds::types

#endif
