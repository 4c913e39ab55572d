// faults.h - the test's side of the page: a daemon whose memory and system calls can fail.
#ifndef ZV_TESTS_FIRE_EXHAUSTION_FAULTS_H
#define ZV_TESTS_FIRE_EXHAUSTION_FAULTS_H

#include <cstdint>
#include <limits>
#include <map>
#include <string>

#include "tests/fire/exhaustion/fault_page.h"
#include "tests/support/temp_dir.h"

namespace zv_fire {

constexpr uint64_t kFromThenOn = std::numeric_limits<uint64_t>::max();

// How a call of the C library fails.
struct CallFault {
    fire_call call = FIRE_accept4;
    int error = 0;  // errno; 0: a short transfer of short_bytes
    const char *library = "";
    uint64_t nth = 1;
    uint64_t times = 1;
    uint64_t short_bytes = 1;
};

// Owns the page. One daemon at a time, started with environment().
class Faults {
  public:
    Faults();
    ~Faults();
    Faults(const Faults &) = delete;
    Faults &operator=(const Faults &) = delete;

    std::map<std::string, std::string> environment() const;

    // From now on the nth allocation of these threads fails, and times - 1 after it; 0: none, but
    // they are counted.
    void arm_allocations(uint64_t nth, uint64_t times, fire_threads threads);
    void disarm_allocations();
    uint64_t allocations_seen() const;
    uint64_t allocations_failed() const;

    // `place` below FIRE_FAULTS_MAX.
    void arm(size_t place, const CallFault &fault, fire_threads threads = FIRE_ANY_THREAD);
    void disarm_calls();
    uint64_t failed(size_t place) const;

    int64_t live_of_main() const;
    int64_t live_of_others() const;

  private:
    zv_test::TempDir place_;
    fire_page *page_;
};

const char *name_of(fire_call call);

}  // namespace zv_fire

#endif
