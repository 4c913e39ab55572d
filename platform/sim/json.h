// JSON that can be destroyed when memory has run out.
//
// The library's values are taken apart by a destructor that gathers what they hold in a vector, so
// that deeply nested ones do not exhaust the stack. Where there is no memory for that vector its
// bad_alloc leaves a destructor, and the process ends: the daemon's, which the simulated switch
// shares. So the values here take their own memory through an allocator that throws as any other,
// while the destructor's vector (the only one that asks std::allocator for values) gets memory that
// does not fail: from a reserve where there is none else, and if that is in use as well, later.
//
// An object is made as one (OrderedJson::object()) before a member is named: a null that becomes
// one by operator[] stays an object without members, which nothing can destroy, where memory ends
// then. And its members are put into a finished object, as object_of does: the library's own
// constructor from a list of them forgets what it has built when one does not fit.
#ifndef PLATFORM_SIM_JSON_H
#define PLATFORM_SIM_JSON_H

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

#include "platform/sim/export.h"
#include "platform/sim/json_fwd.h"

namespace zv_sim {

template <class T>
struct JsonAllocator {
    using value_type = T;

    JsonAllocator() = default;
    template <class U>
    JsonAllocator(const JsonAllocator<U> & /*other*/) noexcept {}

    T *allocate(size_t num) {
        if (num > static_cast<size_t>(-1) / sizeof(T)) {
            throw std::bad_alloc();
        }
        return static_cast<T *>(::operator new(num * sizeof(T)));
    }
    void deallocate(T *memory, size_t /*num*/) noexcept { ::operator delete(memory); }

    template <class U>
    bool operator==(const JsonAllocator<U> & /*other*/) const noexcept {
        return true;
    }
};

// Memory that is always given, if need be after a wait for somebody to give some back. Any thread.
ZV_SIM_EXPORT void *scratch_take(size_t bytes) noexcept;
ZV_SIM_EXPORT void scratch_give(void *memory) noexcept;

// What the allocator of a destructor's vector does.
template <class T>
struct ScratchAllocator {
    using value_type = T;
    using size_type = size_t;
    using difference_type = ptrdiff_t;
    using propagate_on_container_move_assignment = std::true_type;
    using is_always_equal = std::true_type;

    T *allocate(size_t num) noexcept { return static_cast<T *>(scratch_take(num * sizeof(T))); }
    void deallocate(T *memory, size_t /*num*/) noexcept { scratch_give(memory); }
};

}  // namespace zv_sim

template <>
struct std::allocator<zv_sim::Json> : zv_sim::ScratchAllocator<zv_sim::Json> {
    allocator() = default;
    template <class U>
    allocator(const std::allocator<U> & /*other*/) noexcept {}
    template <class U>
    bool operator==(const std::allocator<U> & /*other*/) const noexcept {
        return true;
    }
};

template <>
struct std::allocator<zv_sim::OrderedJson> : zv_sim::ScratchAllocator<zv_sim::OrderedJson> {
    allocator() = default;
    template <class U>
    allocator(const std::allocator<U> & /*other*/) noexcept {}
    template <class U>
    bool operator==(const std::allocator<U> & /*other*/) const noexcept {
        return true;
    }
};

namespace zv_sim {

inline OrderedJson object_of(std::initializer_list<std::pair<const char *, OrderedJson>> members) {
    OrderedJson object = OrderedJson::object();
    for (const auto &[name, value] : members) {
        object[name] = value;
    }
    return object;
}

}  // namespace zv_sim

#endif
