#include "tests/utils/allocation_faults.h"

#include <cstdint>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
}

namespace allocation_faults {
namespace {
unsigned nth_to_fail;
unsigned calls;
size_t limit;
size_t last;

bool must_fail(size_t size) {
    calls++;
    last = size;
    return calls == nth_to_fail || (limit != 0 && size > limit);
}
}  // namespace

void fail_nth(unsigned nth) {
    nth_to_fail = nth;
    calls = 0;
}

void fail_above(size_t bytes) {
    limit = bytes;
}

unsigned asked_for() {
    return calls;
}

size_t last_size() {
    return last;
}

}  // namespace allocation_faults

void *__wrap_malloc(size_t size) {
    return allocation_faults::must_fail(size) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
    size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes)) {
        bytes = SIZE_MAX;
    }
    return allocation_faults::must_fail(bytes) ? nullptr : __real_calloc(count, size);
}
