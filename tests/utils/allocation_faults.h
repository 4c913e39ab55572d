// Lets a test decide which allocation of the code under test fails. The test program is linked with
// malloc and calloc wrapped; only calls from the linked objects are seen, not the C library's own.
#pragma once

#include <cstddef>

namespace allocation_faults {

// The nth allocation from now on (1 is the next) fails, and only that one. 0: none fails.
void fail_nth(unsigned nth);

// Every allocation above this many bytes fails; 0: no limit. Makes absurd sizes fail alike on every
// machine, whatever its memory and its readiness to promise more than it has.
void fail_above(size_t bytes);

// Allocations asked for since the last fail_nth, failed ones included.
unsigned asked_for();

// Bytes asked for by the last allocation.
size_t last_size();

// Arms a fault for a scope and disarms everything at its end.
struct Nth {
    explicit Nth(unsigned nth) { fail_nth(nth); }
    ~Nth() { fail_nth(0); }
    Nth(const Nth &) = delete;
    Nth &operator=(const Nth &) = delete;
};

struct Above {
    explicit Above(size_t bytes) { fail_above(bytes); }
    ~Above() { fail_above(0); }
    Above(const Above &) = delete;
    Above &operator=(const Above &) = delete;
};

}  // namespace allocation_faults
