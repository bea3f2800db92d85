/* What stands between the preloaded shim and the agent library behind it.
 *
 * The shim exports the functions of the list below under their own names, so that a program's calls reach it
 * first. It finds the real ones, and hands calls of the program to the agent's functions of the same shape.
 * Ownership: both tables live as long as the process. Threads: tables are constant once handed over. */
#ifndef ORX_AGENT_SHIM_INTERPOSED_H
#define ORX_AGENT_SHIM_INTERPOSED_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "agent/shim/DataCounters.h"
#include "dds/dds.h"

#ifdef __cplusplus
extern "C" {
#endif

struct ddsi_sertype;
struct ddsi_sertopic;
struct ddsi_plist;
struct dds_rhc;

/* X(result, name, (parameters), (arguments)): everything that makes or ends an entity, and the listeners. */
#define ORX_INTERPOSED_LIST(X)                                                                               \
    X(dds_entity_t, dds_create_participant,                                                                  \
        (const dds_domainid_t domain, const dds_qos_t* qos, const dds_listener_t* listener),                 \
        (domain, qos, listener))                                                                             \
    X(dds_entity_t, dds_create_topic,                                                                        \
        (dds_entity_t participant, const dds_topic_descriptor_t* descriptor, const char* name,               \
            const dds_qos_t* qos, const dds_listener_t* listener),                                           \
        (participant, descriptor, name, qos, listener))                                                      \
    X(dds_entity_t, dds_create_topic_sertype,                                                                \
        (dds_entity_t participant, const char* name, struct ddsi_sertype** sertype, const dds_qos_t* qos,    \
            const dds_listener_t* listener, const struct ddsi_plist* plist),                                 \
        (participant, name, sertype, qos, listener, plist))                                                  \
    X(dds_entity_t, dds_create_topic_generic,                                                                \
        (dds_entity_t participant, struct ddsi_sertopic * *sertopic, const dds_qos_t* qos,                   \
            const dds_listener_t* listener, const struct ddsi_plist* plist),                                 \
        (participant, sertopic, qos, listener, plist))                                                       \
    X(dds_entity_t, dds_create_topic_arbitrary,                                                              \
        (dds_entity_t participant, struct ddsi_sertopic * sertopic, const dds_qos_t* qos,                    \
            const dds_listener_t* listener, const struct ddsi_plist* plist),                                 \
        (participant, sertopic, qos, listener, plist))                                                       \
    X(dds_entity_t, dds_find_topic,                                                                          \
        (dds_find_scope_t scope, dds_entity_t participant, const char* name, const dds_typeinfo_t* type,     \
            dds_duration_t timeout),                                                                         \
        (scope, participant, name, type, timeout))                                                           \
    X(dds_entity_t, dds_find_topic_scoped,                                                                   \
        (dds_find_scope_t scope, dds_entity_t participant, const char* name, dds_duration_t timeout),        \
        (scope, participant, name, timeout))                                                                 \
    X(dds_entity_t, dds_create_publisher,                                                                    \
        (dds_entity_t participant, const dds_qos_t* qos, const dds_listener_t* listener),                    \
        (participant, qos, listener))                                                                        \
    X(dds_entity_t, dds_create_subscriber,                                                                   \
        (dds_entity_t participant, const dds_qos_t* qos, const dds_listener_t* listener),                    \
        (participant, qos, listener))                                                                        \
    X(dds_entity_t, dds_create_writer,                                                                       \
        (dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos, const dds_listener_t* listener),     \
        (parent, topic, qos, listener))                                                                      \
    X(dds_entity_t, dds_create_reader,                                                                       \
        (dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos, const dds_listener_t* listener),     \
        (parent, topic, qos, listener))                                                                      \
    X(dds_entity_t, dds_create_reader_rhc,                                                                   \
        (dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos, const dds_listener_t* listener,      \
            struct dds_rhc* rhc),                                                                            \
        (parent, topic, qos, listener, rhc))                                                                 \
    X(dds_entity_t, dds_create_readcondition, (dds_entity_t reader, uint32_t mask), (reader, mask))          \
    X(dds_entity_t, dds_create_querycondition,                                                               \
        (dds_entity_t reader, uint32_t mask, dds_querycondition_filter_fn filter), (reader, mask, filter))   \
    X(dds_return_t, dds_delete, (dds_entity_t entity), (entity))                                             \
    X(dds_return_t, dds_set_listener, (dds_entity_t entity, const dds_listener_t* listener),                 \
        (entity, listener))                                                                                  \
    X(dds_return_t, dds_get_listener, (dds_entity_t entity, dds_listener_t * listener), (entity, listener))

#define ORX_INTERPOSED_FIELD_(result, name, parameters, arguments) result(*name) parameters;
struct OrxEngineFunctions {
    ORX_INTERPOSED_LIST(ORX_INTERPOSED_FIELD_)
};
#undef ORX_INTERPOSED_FIELD_

/* Addresses of code, the end exclusive. */
struct OrxCodeRange {
    uintptr_t begin;
    uintptr_t end;
};
#define ORX_SHIM_MAX_RANGES 8

/* Where the shim hands what the program and the engine log. Called on the thread that logs, never entered
 * twice by one thread, possibly from a signal handler, and with locks of the engine held: nothing waits
 * there. */
struct OrxLogCapture {
    uint32_t monitoringDomain; /* lines of it are not handed over */
    /* Whether the program uses that domain itself, and so sees the lines of it. */
    bool (*isMonitoringDomainShared)(void);
    /* A line of the engine: a category bit (DDS_LC_*), the text without header and end of line. */
    void (*engineLine)(uint32_t category, const char* text, size_t size);
    /* A message of syslog: priority with the facility bits of the call, terminated text. */
    void (*userLine)(int priority, const char* text);
};

struct OrxShimStart {
    const struct OrxEngineFunctions* engine; /* the real functions */
    /* Has the engine pass lines of these categories (DDS_LC_*) besides those that the program has asked for.
     * Any thread, without a lock that a sink of the program or of the agent may need. */
    void (*setCollectedCategories)(uint32_t categories);
    /* The code range of the loaded object that holds the address; zeros when none does. */
    struct OrxCodeRange (*codeRangeOf)(const void* address);
    /* Whether data calls on a handle are counted, and where. */
    OrxDataEntryFunction attachData;
    OrxDataEntryFunction detachData;
    bool hasStderr; /* whether it was open when the program began */
};

/* What the agent answers. Calls that come from one of the ranges are the monitoring's own: they go straight
 * to the engine. */
struct OrxAgentTable {
    struct OrxEngineFunctions functions;
    struct OrxCodeRange ownCode[ORX_SHIM_MAX_RANGES];
    size_t ownCodeCount;
    struct OrxLogCapture log;
};

/* Exported by the agent library. Called once, on the thread that makes the first participant. Null: the agent
 * does not want to run, and has said why. */
#define ORX_AGENT_START_NAME "orxAgent_start"
typedef const struct OrxAgentTable* (*OrxAgentStartFunction)(const struct OrxShimStart* start);

#ifdef __cplusplus
}
#endif

#endif
