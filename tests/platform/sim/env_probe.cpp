// Prints what a process sees of its environment: the configuration as one line, then the outcome of
// each call that is named on the command line.

#include <cstdio>

#include "platform/sim/call.h"
#include "platform/sim/config.h"

int main(int argc, char **argv) {
    const zv_sim::Config &config = zv_sim::config();
    std::printf("%u %u %u %u %u %u %u %d %zu\n", config.tcam_entries, config.regions, config.acls,
                config.groups, config.bindings, config.pbs_entries, config.counters,
                config.acl_destroy_in_use ? 1 : 0, zv_sim::ports().size());
    for (int i = 1; i < argc; i++) {
        zv_sim::Call call(argv[i]);
        std::printf("%u\n", call.finish(0));
    }
    return 0;
}
