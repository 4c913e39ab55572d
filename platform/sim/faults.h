// Ordered failures of platform calls: which call fails, when, how often and with what status.
//
// Order: a list of {"call":NAME or "*","nth":N,"status":S,"times":T,"late":B}. The N-th matching
// call since the list was armed fails (default 1, the next one), and so do the T-1 after it
// (default 1; -1: all of them). Early (the default) means that the call does nothing; late, that it
// does its work and then fails. `status` must be given but for cl_malloc, whose one failure is
// null. "*" stands for every call that can fail. Each fault counts its own matching calls; where
// several hit one call, the first of the list gives the status.
//
// The environment's list (ZV_SIM_FAULTS, JSON text) is armed by the first platform call or the
// first function here, whichever comes first. A bad list there is reported on standard error and
// nothing is armed. All functions may be called from any thread.
#ifndef PLATFORM_SIM_FAULTS_H
#define PLATFORM_SIM_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/export.h"
#include "platform/sim/json_fwd.h"

namespace zv_sim {

struct Fault {
    std::string call;  // a name of the table of calls, or "*"
    uint32_t nth;      // from 1
    int64_t times;     // -1: for ever
    uint32_t status;
    bool late;
    uint64_t seen_num = 0;  // matching calls since it was armed
};

struct FaultHit {
    bool matched;
    bool late;
    uint32_t status;
};

// Reads a list; path names it in complaints. Returns the complaint, empty when all is well; faults
// is filled only then.
ZV_SIM_EXPORT std::string faults_parse(const Json &list, const std::string &path,
                                       std::vector<Fault> *faults);

// Arms these faults instead of those that are armed; counting starts now.
ZV_SIM_EXPORT void faults_arm(std::vector<Fault> faults);

// What becomes of a call of that name that begins now; counts it.
FaultHit faults_match(const char *name);

}  // namespace zv_sim

#endif
