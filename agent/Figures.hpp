// What the agent knows of a writer's or reader's traffic, in the forms in which the monitoring library takes
// it.
//
// The sampler makes it from the engine's figures and from the counters of data calls; the periodic metric
// groups copy it. What this engine does not tell stays 0, and sequence numbers that it does not tell are
// {-1, 0}, which no sample has; docs/metrics.md lists both. Threads: the caller locks. Units: samples,
// octets.
#ifndef ORX_AGENT_FIGURES_HPP
#define ORX_AGENT_FIGURES_HPP

#include "agent/engine/EngineFigures.h"
#include "agent/shim/DataCounters.h"
#include "orxmonitoring2d/dds_status.h"

namespace orx::agent {

struct WriterFigures {
    DDS_Monitoring_DataWriterCacheStatus cache;
    DDS_Monitoring_DataWriterProtocolStatus protocol;
    DDS_Monitoring_ReliableWriterCacheChangedStatus reliableCache;
    DDS_Monitoring_DataWriterProtocolStatus reportedProtocol; // with the last copy: what changes count from
    DDS_Monitoring_ReliableWriterCacheChangedStatus reportedReliableCache;
    bool hasCache; // and reliableCache: the engine's inner figures are there
};

struct ReaderFigures {
    DDS_Monitoring_DataReaderCacheStatus cache;
    DDS_Monitoring_DataReaderProtocolStatus protocol;
    DDS_Monitoring_DataReaderProtocolStatus reportedProtocol;
    bool hasCache;
};

union EndpointFigures {
    WriterFigures writer;
    ReaderFigures reader;
};

// One periodic group, for whoever reads it while the figures go on.
union PeriodicCopy {
    DDS_Monitoring_DataWriterCacheStatus writerCache;
    DDS_Monitoring_DataWriterProtocolStatus writerProtocol;
    DDS_Monitoring_ReliableWriterCacheChangedStatus reliableCache;
    DDS_Monitoring_DataReaderCacheStatus readerCache;
    DDS_Monitoring_DataReaderProtocolStatus readerProtocol;
};

// Of an endpoint that has just been made.
void startFigures(WriterFigures& figures);
void startFigures(ReaderFigures& figures);

void updateFigures(WriterFigures& figures, const OrxWriterFigures& engine, const OrxDataCounters& counters);
void updateFigures(ReaderFigures& figures, const OrxReaderFigures& engine, const OrxDataCounters& counters);

// Copies of what is published periodically. The `change` members say what came since the last copy of the
// same status.
DDS_Monitoring_DataWriterProtocolStatus takeProtocol(WriterFigures& figures);
DDS_Monitoring_ReliableWriterCacheChangedStatus takeReliableCache(WriterFigures& figures);
DDS_Monitoring_DataReaderProtocolStatus takeProtocol(ReaderFigures& figures);

} // namespace orx::agent

#endif
