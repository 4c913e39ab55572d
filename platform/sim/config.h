// The simulated switch's configuration: capacities, a habit, and the ports.
//
// ZV_SIM_CONFIG names a JSON file with any of these fields; whatever it leaves out keeps its
// default. It is read once, when the configuration is first asked for. A file that cannot be read
// or holds anything else than these fields in their ranges is reported on standard error, in one
// line that names the file and the field, and is ignored as a whole: half a configuration would be
// harder to notice than none.
//
// The ports can be exchanged while the process runs; everything else is fixed. Any thread.
#ifndef PLATFORM_SIM_CONFIG_H
#define PLATFORM_SIM_CONFIG_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/export.h"
#include "platform/sim/json_fwd.h"

namespace zv_sim {

struct Port {
    uint32_t log_port;
    uint32_t kind;     // 0: a front-panel port
    std::string name;  // at most 23 bytes, the room of a port record
};

struct Config {
    uint32_t tcam_entries = 65536;  // the sum of all region sizes
    uint32_t regions = 512;
    uint32_t acls = 512;
    uint32_t groups = 256;
    uint32_t bindings = 1024;  // ports and router interfaces together
    uint32_t pbs_entries = 1024;
    uint32_t counters = 1024;
    bool acl_destroy_in_use = false;  // an ACL that a group holds can be destroyed
    std::vector<Port> ports;          // as configured; ports() gives the current ones
};

ZV_SIM_EXPORT const Config &config();

// Reads a configuration from JSON. Returns the complaint, empty when all is well; *read is filled
// only then.
ZV_SIM_EXPORT std::string config_parse(const Json &object, Config *read);

// The ports the switch has now.
ZV_SIM_EXPORT std::vector<Port> ports();

// The switch has these ports from now on.
ZV_SIM_EXPORT void ports_replace(std::vector<Port> replacement);

// Reads a list of {"log_port":n,"kind":k,"name":"..."}; kind and name may be left out (0, "").
// path names the list in complaints. Returns the complaint, empty when all is well; *read is filled
// only then.
ZV_SIM_EXPORT std::string ports_parse(const Json &list, const std::string &path,
                                      std::vector<Port> *read);

// The same list, written.
ZV_SIM_EXPORT OrderedJson ports_json(const std::vector<Port> &list);

}  // namespace zv_sim

#endif
