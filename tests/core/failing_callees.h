// failing_callees.h - lets functions of the daemon fail that never do.
//
// Some operations check the status of a callee that cannot fail where they call it. The linker puts
// a stand-in before each of these callees (--wrap, see CMakeLists.txt), which fails when a test has
// ordered it, and else hands the call on.
#ifndef ZV_TESTS_CORE_FAILING_CALLEES_H
#define ZV_TESTS_CORE_FAILING_CALLEES_H

#include <cstdint>
#include <string>

namespace zv_unit {

// The nth call of the function from now on returns `result` without doing anything.
void fail_callee(const std::string &function, uint32_t nth, uint32_t result = 1);
// The nth look-up from now on succeeds and finds nothing.
void lose_entry_at_lookup(uint32_t nth);
// The first step of the next walk finds an entry without key and value.
void find_nothing_at_first_step();
// The nth call of the platform's function from now on claims `count` instead of the number it has
// filled: "zv_net_ports_get_all" or "zv_api_acl_policy_based_switching_get".
void claim_more(const std::string &function, uint32_t nth, uint32_t count);
// Whether what was ordered has not happened yet.
bool callee_failure_is_pending();

}  // namespace zv_unit

#endif
