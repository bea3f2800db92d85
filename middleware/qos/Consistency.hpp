// Whether policies fit together. Errors: a line of the log names the first that does not.
#ifndef ZDDSC_QOS_CONSISTENCY_HPP
#define ZDDSC_QOS_CONSISTENCY_HPP

#include "zddsc/qos.h"

namespace zdds::qos {

bool isConsistent(const DDS_DataWriterQos& qos);
bool isConsistent(const DDS_DataReaderQos& qos);
bool isConsistent(const DDS_TopicQos& qos);

} // namespace zdds::qos

#endif
