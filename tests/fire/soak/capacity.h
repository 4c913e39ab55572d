// capacity.h - proof that no pool has lost an item: each is filled to the last, and emptied again.
#ifndef ZV_TESTS_FIRE_SOAK_CAPACITY_H
#define ZV_TESTS_FIRE_SOAK_CAPACITY_H

#include "tests/fire/support/fire_report.h"
#include "tests/support/daemon_process.h"

namespace zv_fire {

// A switch that has room for as many ACLs and MC groups as the daemon's tables, and not for one
// more: what the tables refuse themselves would stay in the switch.
zv_test::DaemonOptions with_room_to_fill(zv_test::DaemonOptions options);

// The daemon must be empty and its switch as above. Counters 255, ACLs 399 and without a chip's
// limits 648, rules 6400, forwarding ports 100, groups 128 with a bind point each, bind points of
// an ACL 648, MC groups 6400: as many as that succeed, one more is refused, and all of them can be
// taken away.
void check_capacities(zv_test::DaemonProcess &daemon, Report &report);

}  // namespace zv_fire

#endif
