// capacity.h - proof that no pool has lost an item: each is filled to the last, and emptied again.
#ifndef ZV_TESTS_FIRE_SOAK_CAPACITY_H
#define ZV_TESTS_FIRE_SOAK_CAPACITY_H

#include "tests/fire/support/fire_report.h"
#include "tests/support/daemon_process.h"

namespace zv_fire {

// The daemon must be empty. Counters 255, ACLs 399, rules 6400, forwarding ports 100, groups 128:
// as many as that succeed, one more is refused, and all of them can be taken away.
void check_capacities(zv_test::DaemonProcess &daemon, Report &report);

}  // namespace zv_fire

#endif
