// Objects of the engines on the heap of zddscore/heap.h.
//
// `new (name) T(...)` gives null when memory is out; deleting through any base with a virtual destructor
// frees with the same heap. No constructor may throw.
#ifndef ZDDSC_ENGINE_HEAP_OBJECT_HPP
#define ZDDSC_ENGINE_HEAP_OBJECT_HPP

#include <cstddef>

#include "zddscore/heap.h"

namespace zdds::engine {

class HeapObject {
public:
    // typeName: a literal for the heap's diagnostics.
    static void* operator new(std::size_t size, const char* typeName) noexcept {
        void* memory = nullptr;
        if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, size, alignof(std::max_align_t), 1, typeName))
            return nullptr;
        return memory;
    }
    static void operator delete(void* memory, const char*) noexcept {
        ORXOsapiHeap_freeMemoryInternal(memory);
    }
    static void operator delete(void* memory) noexcept { ORXOsapiHeap_freeMemoryInternal(memory); }
};

// A growing array of a plain type.
template <class T> class HeapArray {
public:
    explicit HeapArray(const char* typeName) : typeName_(typeName) {}
    ~HeapArray() { ORXOsapiHeap_freeMemoryInternal(items_); }
    HeapArray(const HeapArray&) = delete;
    HeapArray& operator=(const HeapArray&) = delete;

    std::size_t size() const { return size_; }
    T& operator[](std::size_t index) { return items_[index]; }
    T* begin() { return items_; }
    T* end() { return items_ + size_; }

    // False when memory is out; the array is then as it was.
    bool insert(std::size_t index, const T& item) {
        if (size_ == room_ && !grow())
            return false;
        for (std::size_t i = size_; i > index; --i)
            items_[i] = items_[i - 1];
        items_[index] = item;
        ++size_;
        return true;
    }
    bool append(const T& item) { return insert(size_, item); }
    void erase(std::size_t index) {
        for (std::size_t i = index + 1; i < size_; ++i)
            items_[i - 1] = items_[i];
        --size_;
    }

private:
    bool grow() {
        const std::size_t room = room_ == 0 ? 8 : room_ * 2;
        void* memory = items_;
        if (!ORXOsapiHeap_reallocateMemoryInternal(&memory, room * sizeof(T), alignof(T), 0, typeName_))
            return false;
        items_ = static_cast<T*>(memory);
        room_ = room;
        return true;
    }

    const char* typeName_;
    T* items_ = nullptr;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
};

} // namespace zdds::engine

#endif
