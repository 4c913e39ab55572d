// plan.h - what one round does: when the daemon is signalled, with what, and while it does what.
//
// Everything follows from the round's seed, so a failure that names its seed can be repeated as far
// as the machine's own timing allows.
#ifndef ZV_TESTS_FIRE_STOPS_PLAN_H
#define ZV_TESTS_FIRE_STOPS_PLAN_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace zv_fire {

enum class Moment : uint32_t {
    kStart,        // anywhere between fork and serving
    kIdle,         // nobody asks for anything
    kCommand,      // one request is on its way or being carried out
    kDump,         // the same, a dump
    kFlood,        // several connections have sent all that fits, and do not read
    kPluginLoad,   // inside dlopen, where no signal is caught yet
    kPluginStart,  // inside the connector's start hook
    kRival,        // a second daemon starts at the place of the first, and is signalled
    kSuccessor,    // a second daemon starts while the first one ends
    kUsurper,      // somebody else's socket or file took the socket's place meanwhile
    kNum
};
const char *name_of(Moment moment);

struct Plan {
    uint64_t seed = 0;
    Moment moment = Moment::kIdle;
    std::vector<int> signals;            // one or two
    std::chrono::microseconds delay{0};  // from the beginning of the moment to the first signal
    std::chrono::microseconds gap{0};    // from the first signal to the second
    bool with_plugins = false;
    bool opened = false;       // whether a client opened the switch before
    uint32_t variant = 0;      // which command, which usurper
    uint32_t connections = 1;  // of a flood
    std::string describe() const;
};

// `time_to_serve` is how long this daemon takes on this machine to get from fork to serving: the
// longest delay of a signal meant to fall into the start.
Plan plan_of(uint64_t seed, std::chrono::microseconds time_to_serve);

}  // namespace zv_fire

#endif
