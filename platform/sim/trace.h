// The call trace: one JSON object a line, for every platform call that returned.
//
// ZV_SIM_TRACE names the file; lines are appended, each in a single write(2), so that several
// processes may share a file. "seq" counts the lines of this process from 1. The variable is read
// once; a file that cannot be opened is reported on standard error and nothing is traced.
#ifndef PLATFORM_SIM_TRACE_H
#define PLATFORM_SIM_TRACE_H

#include <cstdint>

#include "platform/sim/json_fwd.h"

namespace zv_sim {

// Whether there is a file to write to; opens it when asked for the first time.
bool trace_enabled() noexcept;

// Appends {"seq":N,"call":name,"args":args,"status":status,"out":out}. Bytes that are not UTF-8 are
// replaced. A line that cannot be written is lost; of one that the file takes only a part of, that
// part stays, on a line of its own. Any thread; lines stand in the file in the order of their
// numbers.
void trace_append(const char *name, const OrderedJson &args, uint32_t status,
                  const OrderedJson &out) noexcept;

}  // namespace zv_sim

#endif
