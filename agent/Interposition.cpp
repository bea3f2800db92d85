#include "agent/Interposition.hpp"

#include "agent/AgentLog.hpp"
#include "agent/Engine.hpp"
#include "agent/EntityFacts.hpp"
#include "agent/Listeners.hpp"
#include "agent/logs/LogCapture.hpp"

namespace orx::agent {

namespace {

Registry* entities = nullptr;
int32_t monitoringDomain = 0;

// The parent of an entity that is about to be made; empty when what is made under it is not observed.
Reference observedParent(dds_entity_t handle) {
    return entities->isWorking() ? entities->find(handle) : Reference();
}

void observeParticipant(dds_entity_t handle, const dds_qos_t* qos) {
    Reference observed(createObserved(Kind::participant));
    if (!observed)
        return;
    observed->handle = handle;
    if (!learnParticipant(*observed, qos))
        return;
    noteDomainOfProgram(static_cast<uint32_t>(observed->domainId)); // the default one is known by now
    entities->insert(observed.take(), nullptr);
}

// A publisher or subscriber; gives it back for whoever makes an endpoint under it.
Reference observeGroup(
    Kind kind, dds_entity_t handle, Observed& participant, const dds_qos_t* qos, bool isImplicit) {
    Reference observed(createObserved(kind));
    if (!observed)
        return {};
    observed->handle = handle;
    observed->isImplicit = isImplicit;
    if (!learnGroup(*entities, *observed, participant, qos))
        return {};
    retain(*observed);
    return entities->insert(observed.get(), &participant) ? std::move(observed) : Reference();
}

// The observed entity that an endpoint really belongs to: one made under a participant has a publisher or
// subscriber that the engine made along with it.
Reference realParent(Kind kind, dds_entity_t handle, Reference madeUnder) {
    const dds_entity_t parent = dds_get_parent(handle);
    if (parent == madeUnder->handle)
        return madeUnder;
    if (Reference known = entities->find(parent))
        return known;
    if (parent <= 0)
        return {};
    return observeGroup(
        kind == Kind::writer ? Kind::publisher : Kind::subscriber, parent, *madeUnder, nullptr, true);
}

// Makes a writer or reader: `create` calls the engine with a listener.
template <typename Create>
dds_entity_t createEndpoint(Kind kind, dds_entity_t parentHandle, dds_entity_t topic, const dds_qos_t* qos,
    const dds_listener_t* listener, Create create, bool hasOwnCache = false) {
    // Readers of the engine's own discovery data have no endpoint on the network.
    const bool isPseudoTopic = topic >= DDS_MIN_PSEUDO_HANDLE;
    Reference parent = isPseudoTopic ? Reference() : observedParent(parentHandle);
    Reference observed(parent ? createObserved(kind) : nullptr);
    if (!observed)
        return create(listener);
    observed->hasOwnCache = hasOwnCache;
    if (hasOwnCache)
        observed->figures.reader.hasCache = false;
    ListenerObject merged(listener);
    prepareListener(*observed, listener, parentHandle, merged);
    const dds_entity_t handle = create(merged.get());
    if (handle <= 0)
        return handle;
    observed->handle = handle;
    settleListener(*observed);
    Reference owner = realParent(kind, handle, std::move(parent));
    if (owner && learnEndpoint(*observed, topic, qos))
        entities->insert(observed.take(), owner.get());
    else if (removeListener(*observed) != DDS_RETCODE_OK)
        AGENT_STATUS(FAILED_TO_GET, "an endpoint that ended while it was made");
    return handle;
}

template <typename Create>
dds_entity_t createTopic(
    dds_entity_t participant, const dds_qos_t* qos, const dds_listener_t* listener, Create create) {
    const Reference parent = observedParent(participant);
    Reference observed(parent ? createObserved(Kind::topic) : nullptr);
    if (!observed)
        return create(listener);
    ListenerObject merged(listener);
    prepareListener(*observed, listener, participant, merged);
    const dds_entity_t handle = create(merged.get());
    if (handle <= 0)
        return handle;
    observed->handle = handle;
    settleListener(*observed);
    if (learnTopic(*entities, *observed, *parent, qos))
        entities->insert(observed.take(), parent.get());
    else if (removeListener(*observed) != DDS_RETCODE_OK)
        AGENT_STATUS(FAILED_TO_GET, "a topic that ended while it was made");
    return handle;
}

// A topic that the engine found has been made without the agent's callbacks.
dds_entity_t observeFoundTopic(dds_entity_t handle) {
    if (handle <= 0 || !entities->isWorking() || entities->find(handle))
        return handle;
    const Reference parent = observedParent(dds_get_participant(handle));
    Reference observed(parent ? createObserved(Kind::topic) : nullptr);
    if (!observed)
        return handle;
    observed->handle = handle;
    if (learnTopic(*entities, *observed, *parent, nullptr) && adoptListener(*observed) == DDS_RETCODE_OK)
        entities->insert(observed.take(), parent.get());
    return handle;
}

// ---- The interposed functions ----

dds_entity_t createParticipant(dds_domainid_t domain, const dds_qos_t* qos, const dds_listener_t* listener) {
    noteDomainOfProgram(domain);
    const dds_entity_t handle = engine().dds_create_participant(domain, qos, listener);
    if (handle > 0 && entities->isWorking())
        observeParticipant(handle, qos);
    return handle;
}

dds_entity_t createTopicOfDescriptor(dds_entity_t participant, const dds_topic_descriptor_t* descriptor,
    const char* name, const dds_qos_t* qos, const dds_listener_t* listener) {
    return createTopic(participant, qos, listener, [&](const dds_listener_t* merged) {
        return engine().dds_create_topic(participant, descriptor, name, qos, merged);
    });
}

dds_entity_t createTopicOfSertype(dds_entity_t participant, const char* name, ddsi_sertype** sertype,
    const dds_qos_t* qos, const dds_listener_t* listener, const ddsi_plist* plist) {
    return createTopic(participant, qos, listener, [&](const dds_listener_t* merged) {
        return engine().dds_create_topic_sertype(participant, name, sertype, qos, merged, plist);
    });
}

dds_entity_t createTopicGeneric(dds_entity_t participant, ddsi_sertopic** sertopic, const dds_qos_t* qos,
    const dds_listener_t* listener, const ddsi_plist* plist) {
    return createTopic(participant, qos, listener, [&](const dds_listener_t* merged) {
        return engine().dds_create_topic_generic(participant, sertopic, qos, merged, plist);
    });
}

dds_entity_t createTopicArbitrary(dds_entity_t participant, ddsi_sertopic* sertopic, const dds_qos_t* qos,
    const dds_listener_t* listener, const ddsi_plist* plist) {
    return createTopic(participant, qos, listener, [&](const dds_listener_t* merged) {
        return engine().dds_create_topic_arbitrary(participant, sertopic, qos, merged, plist);
    });
}

dds_entity_t findTopic(dds_find_scope_t scope, dds_entity_t participant, const char* name,
    const dds_typeinfo_t* type, dds_duration_t timeout) {
    return observeFoundTopic(engine().dds_find_topic(scope, participant, name, type, timeout));
}

dds_entity_t findTopicScoped(
    dds_find_scope_t scope, dds_entity_t participant, const char* name, dds_duration_t timeout) {
    return observeFoundTopic(engine().dds_find_topic_scoped(scope, participant, name, timeout));
}

dds_entity_t createPublisher(dds_entity_t participant, const dds_qos_t* qos, const dds_listener_t* listener) {
    const dds_entity_t handle = engine().dds_create_publisher(participant, qos, listener);
    if (const Reference parent = handle > 0 ? observedParent(participant) : Reference())
        observeGroup(Kind::publisher, handle, *parent, qos, false);
    return handle;
}

dds_entity_t createSubscriber(
    dds_entity_t participant, const dds_qos_t* qos, const dds_listener_t* listener) {
    const dds_entity_t handle = engine().dds_create_subscriber(participant, qos, listener);
    if (const Reference parent = handle > 0 ? observedParent(participant) : Reference())
        observeGroup(Kind::subscriber, handle, *parent, qos, false);
    return handle;
}

dds_entity_t createWriter(
    dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos, const dds_listener_t* listener) {
    return createEndpoint(Kind::writer, parent, topic, qos, listener,
        [&](const dds_listener_t* merged) { return engine().dds_create_writer(parent, topic, qos, merged); });
}

dds_entity_t createReader(
    dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos, const dds_listener_t* listener) {
    return createEndpoint(Kind::reader, parent, topic, qos, listener,
        [&](const dds_listener_t* merged) { return engine().dds_create_reader(parent, topic, qos, merged); });
}

dds_entity_t createReaderWithCache(dds_entity_t parent, dds_entity_t topic, const dds_qos_t* qos,
    const dds_listener_t* listener, dds_rhc* rhc) {
    const auto create = [&](const dds_listener_t* merged) {
        return engine().dds_create_reader_rhc(parent, topic, qos, merged, rhc);
    };
    return createEndpoint(Kind::reader, parent, topic, qos, listener, create, true);
}

// Reads through a condition are reads of its reader.
dds_entity_t observeCondition(dds_entity_t handle, dds_entity_t reader) {
    if (const Reference observed = handle > 0 ? entities->find(reader) : Reference())
        entities->insertCondition(handle, *observed);
    return handle;
}

dds_entity_t createReadCondition(dds_entity_t reader, uint32_t mask) {
    return observeCondition(engine().dds_create_readcondition(reader, mask), reader);
}

dds_entity_t createQueryCondition(dds_entity_t reader, uint32_t mask, dds_querycondition_filter_fn filter) {
    return observeCondition(engine().dds_create_querycondition(reader, mask, filter), reader);
}

// A publisher or subscriber that the engine made with an endpoint goes with it.
void endImplicitParent(Observed& endpoint) {
    Observed* parent = endpoint.parent;
    if (parent != nullptr && parent->isImplicit && dds_get_parent(parent->handle) <= 0)
        entities->end(*parent);
}

// The engine itself, or a domain: above what is observed.
bool isAboveParticipants(dds_entity_t handle) {
    return handle == DDS_CYCLONEDDS_HANDLE || dds_get_parent(handle) == DDS_CYCLONEDDS_HANDLE;
}

bool isMonitoringDomain(dds_entity_t handle) {
    dds_domainid_t domain = 0;
    return handle == DDS_CYCLONEDDS_HANDLE || (dds_get_domainid(handle, &domain) == DDS_RETCODE_OK &&
                                                  domain == static_cast<dds_domainid_t>(monitoringDomain));
}

// The monitoring leaves the engine before the program ends it: what it has there would be freed under its
// threads. The wait is bounded, and the program's call is made in any case.
void endMonitoring() {
    constexpr int64_t boundNs = 2'000'000'000;
    entities->requestStop();
    if (!entities->waitUntilStopped(Deadline::now() + boundNs))
        AGENT_WARNING(FAILED_TO_FINALIZE, "the monitoring library, before the program ends the engine");
}

dds_return_t deleteAboveParticipants(dds_entity_t handle) {
    if (isMonitoringDomain(handle))
        endMonitoring();
    const dds_return_t result = engine().dds_delete(handle);
    if (result != DDS_RETCODE_OK)
        return result;
    const EntityList participants(
        *entities, nullptr, [](const Observed& observed) { return observed.kind == Kind::participant; });
    for (Observed* participant : participants) {
        if (dds_get_parent(participant->handle) <= 0)
            entities->end(*participant);
    }
    return result;
}

dds_return_t deleteEntity(dds_entity_t handle) {
    const Reference observed = entities->find(handle);
    if (!observed && entities->endCondition(handle))
        return engine().dds_delete(handle);
    if (!observed)
        return isAboveParticipants(handle) ? deleteAboveParticipants(handle) : engine().dds_delete(handle);
    // A topic lives on in the engine while endpoints use it, and so would its callbacks.
    const bool isTopic = observed->kind == Kind::topic;
    if (isTopic)
        removeListener(*observed);
    const dds_return_t result = engine().dds_delete(handle);
    if (result != DDS_RETCODE_OK) {
        if (isTopic)
            adoptListener(*observed);
        return result;
    }
    entities->end(*observed);
    endImplicitParent(*observed);
    return result;
}

dds_return_t setListener(dds_entity_t handle, const dds_listener_t* listener) {
    const Reference observed = entities->find(handle);
    if (observed && isLeaf(observed->kind))
        return setLeafListener(*observed, listener);
    const dds_return_t result = engine().dds_set_listener(handle, listener);
    if (result == DDS_RETCODE_OK)
        followAncestor(*entities, observed.get());
    return result;
}

dds_return_t getListener(dds_entity_t handle, dds_listener_t* listener) {
    const Reference observed = listener != nullptr ? entities->find(handle) : Reference();
    if (observed && isLeaf(observed->kind))
        return getLeafListener(*observed, listener);
    return engine().dds_get_listener(handle, listener);
}

} // namespace

void setInterpositionRegistry(Registry& registry, int32_t domain) {
    entities = &registry;
    monitoringDomain = domain;
}

void fillInterposedFunctions(OrxEngineFunctions& functions) {
    functions.dds_create_participant = createParticipant;
    functions.dds_create_topic = createTopicOfDescriptor;
    functions.dds_create_topic_sertype = createTopicOfSertype;
    functions.dds_create_topic_generic = createTopicGeneric;
    functions.dds_create_topic_arbitrary = createTopicArbitrary;
    functions.dds_find_topic = findTopic;
    functions.dds_find_topic_scoped = findTopicScoped;
    functions.dds_create_publisher = createPublisher;
    functions.dds_create_subscriber = createSubscriber;
    functions.dds_create_writer = createWriter;
    functions.dds_create_reader = createReader;
    functions.dds_create_reader_rhc = createReaderWithCache;
    functions.dds_create_readcondition = createReadCondition;
    functions.dds_create_querycondition = createQueryCondition;
    functions.dds_delete = deleteEntity;
    functions.dds_set_listener = setListener;
    functions.dds_get_listener = getListener;
}

} // namespace orx::agent
