// The type plug-in of the service-request channel. Its key is the first 20 bytes behind the encapsulation
// header of every encoding: the type is final, and the key members come first.
#ifndef ZDDSC_ENTITIES_SERVICE_REQUEST_TYPE_HPP
#define ZDDSC_ENTITIES_SERVICE_REQUEST_TYPE_HPP

#include "zddsc/service_request.h"

namespace zdds {

constexpr DDS_UnsignedLong serviceRequestKeyBytes = 20;
const DDS_TypePlugin& serviceRequestTypePlugin();

} // namespace zdds

#endif
