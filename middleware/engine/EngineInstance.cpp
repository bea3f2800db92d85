#include "middleware/engine/Engine.hpp"

#include <atomic>

namespace zdds::engine {

namespace {
std::atomic<Engine*> chosen{nullptr}; // release/acquire: the engine is complete before anybody sees it
}

Engine& instance() {
    Engine* engine = chosen.load(std::memory_order_acquire);
    return engine != nullptr ? *engine : cyclone();
}

void setInstance(Engine* engine) {
    chosen.store(engine, std::memory_order_release);
}

} // namespace zdds::engine
