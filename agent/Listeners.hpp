// Listeners of topics, writers and readers: the agent's callbacks stand in the engine in place of the
// program's, note the status, and call the program's, so that the program sees what it would see without the
// agent.
//
// - Every status of such an entity has a callback of the agent. data_available and data_on_readers are left
//   as the program has them, so that the path of data is the engine's own.
// - A callback of the program is invoked with the same arguments, and its wish to have the status reset is
//   honoured: by the engine where the entity's own listener asks for it, and before the program's callback
//   where the wish was inherited (an inherited entry may change later, and what the engine has reset cannot
//   be brought back). Where the program has no callback the status stays unread, for its wait sets and
//   getters.
// - Inheritance is the engine's: an entry that the entity's listener lacks is taken from the parent when the
//   entity is made, and from the nearest ancestor that has it when a listener is set; an entry that was
//   inherited follows the parent when a listener is set on an ancestor. Participants, publishers and
//   subscribers carry the program's listeners themselves, so what they would hand down can be read from the
//   engine.
//
// Threads: callbacks come on threads of the engine, and on threads of the program inside its own calls. None
// of the functions below may be called under a lock.
#ifndef ORX_AGENT_LISTENERS_HPP
#define ORX_AGENT_LISTENERS_HPP

#include "agent/Observed.hpp"
#include "agent/Registry.hpp"

namespace orx::agent {

// A listener object of the engine with a scope.
class ListenerObject {
public:
    ListenerObject();
    explicit ListenerObject(const dds_listener_t* source); // a copy; empty for null
    ~ListenerObject();
    ListenerObject(const ListenerObject&) = delete;
    ListenerObject& operator=(const ListenerObject&) = delete;
    dds_listener_t* get() const { return listener_; }

private:
    dds_listener_t* listener_;
};

// Before the entity is made under `parent`: notes the program's callbacks, its own and inherited ones, and
// puts the agent's in their place into `merged`, which holds a copy of `listener`.
void prepareListener(
    Observed& observed, const dds_listener_t* listener, dds_entity_t parent, ListenerObject& merged);
// After the entity has been made: resets what could not be reset while it was not known yet.
void settleListener(Observed& observed);
// The same as prepareListener for an entity that exists already with what it has inherited.
dds_return_t adoptListener(Observed& observed);
// Gives the entity back to the program's callbacks alone. When it returns, no callback of the agent runs for
// it.
dds_return_t removeListener(Observed& observed);

// dds_set_listener and dds_get_listener of an observed topic, writer or reader.
dds_return_t setLeafListener(Observed& observed, const dds_listener_t* listener);
dds_return_t getLeafListener(Observed& observed, dds_listener_t* listener);
// After the program has set a listener on an ancestor: lets inherited callbacks follow. `ancestor` null: an
// entity above all participants.
void followAncestor(Registry& registry, Observed* ancestor);

// What the callbacks do with a status; `registry` guards the program's callbacks. Set once, at the start.
void setListenerRegistry(Registry& registry);

} // namespace orx::agent

#endif
