// digest.h - what the daemon's cache and the switch hold, in short lines that compare and print
// well. Lines are sorted by kind as listed here, and by number within a kind.
#ifndef ZV_TESTS_COMMANDS_E2E_DIGEST_H
#define ZV_TESTS_COMMANDS_E2E_DIGEST_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/daemon_process.h"

namespace zv_test {

using Digest = std::vector<std::string>;
// One digest after the other.
Digest operator+(Digest first, const Digest &second);

// The cache:
//   "acls 1, rules 2"                                the two global counters, always the first line
//   "acl 1: owner 0, region 1"                       + ", system" + ", bound to 65537 65538"
//   "rule 1_5: region 1"                             + ", offset 3" where key and field differ
//   "group 1: acl 1 2"                               in the cached order
//   "port 65537: group 1", "rif 5: group 1"
//   "forward 65537: pbs 1, users 2"
//   "mc group 3: owner 0"                            + ", pbs 4" where the two ids differ
Digest digest_of(const CacheDump &dump);

// The switch:
//   "region 1: size 8, rules 0 5"                    the offsets; without ", rules" when empty
//   "acl 1: region 1, direction 0"
//   "group 1: acl 1 2"                               "group 1: empty"
//   "port 65537: group 1", "rif 5: group 1"
//   "pbs 1: port 65537"                              a port forwarding entry
//   "pbs 2: mc 65537 65538"                          a multicast group; "pbs 2: mc" without ports
//   "counter 1: type 0"
Digest digest_of(const nlohmann::json &switch_state);

Digest cache_digest(DaemonProcess &daemon, Here here = Here::now());
Digest switch_digest(DaemonProcess &daemon, Here here = Here::now());

}  // namespace zv_test

#endif
