// Objects on the heap of zddscore/heap.h: unchecked allocation is not possible with these, and nothing is
// leaked on the way out of a half-done construction.
#ifndef ZDDSC_LOG_MEMORY_HPP
#define ZDDSC_LOG_MEMORY_HPP

#include <new>
#include <utility>

#include "zddscore/heap.h"

namespace zdds {

// Constructs a T in zeroed memory; null when memory is out. `typeName` is a literal for the heap's
// diagnostics.
template <class T, class... Arguments> T* create(const char* typeName, Arguments&&... arguments) {
    void* memory = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, sizeof(T), alignof(T), 1, typeName))
        return nullptr;
    return new (memory) T{std::forward<Arguments>(arguments)...};
}

template <class T> void destroy(T* object) {
    if (object == nullptr)
        return;
    object->~T();
    ORXOsapiHeap_freeMemoryInternal(object);
}

// Runs a clean-up at the end of the scope unless it was dismissed.
template <class Function> class [[nodiscard]] Cleanup {
public:
    explicit Cleanup(Function function) : function_(std::move(function)) {}
    ~Cleanup() {
        if (armed_)
            function_();
    }
    Cleanup(const Cleanup&) = delete;
    Cleanup& operator=(const Cleanup&) = delete;
    void dismiss() { armed_ = false; }

private:
    Function function_;
    bool armed_ = true;
};

} // namespace zdds

#endif
