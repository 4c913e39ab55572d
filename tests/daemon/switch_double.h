// switch_double.h - the software platform as the test double: faults ordered from inside the test
// process, and the record of every call.
#ifndef ZV_TESTS_DAEMON_SWITCH_DOUBLE_H
#define ZV_TESTS_DAEMON_SWITCH_DOUBLE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zv_unit {

// Traces calls into the file; to be called before the process's first platform call.
void record_calls(const std::string &trace_file);

// The calls of that name recorded so far, oldest first; of any name without one. Each has "call",
// "args", "status" and "out".
std::vector<nlohmann::json> recorded_calls(const std::string &name = "");

// The names of the calls into the switch (zv_api_...), oldest first.
std::vector<std::string> switch_call_names();

struct Failing {
    uint32_t nth = 1;
    int64_t times = 1;  // -1: for ever
    bool late = false;  // the work is done, and then the failure returned
};

// Orders a failure, beside those ordered already.
void fail_call(const std::string &name, uint32_t status, Failing failing = {});
void clear_faults();

// Lets the n-th allocation of `new (std::nothrow)` from now on fail, and `times` after it; scalar
// and array forms count alike.
void fail_allocation(uint32_t nth, uint32_t times = 1);
// Calls act at the n-th such allocation from now on, before it is made: to change what lies under
// the daemon in the middle of an operation.
void act_at_allocation(uint32_t nth, void (*act)());
// Whether an ordered failure of an allocation has not happened yet.
bool allocation_failure_is_pending();

// Sets a global pointer to null for as long as it lives: a table or an iterator that is missing.
template <class T>
class Missing {
  public:
    explicit Missing(T *&place) : place_(place), value_(place) { place_ = nullptr; }
    ~Missing() { place_ = value_; }
    Missing(const Missing &) = delete;
    Missing &operator=(const Missing &) = delete;

  private:
    T *&place_;
    T *value_;
};

}  // namespace zv_unit

#endif
