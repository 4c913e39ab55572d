// Complaints about the environment, for the operator.
#ifndef PLATFORM_SIM_REPORT_H
#define PLATFORM_SIM_REPORT_H

#include <string_view>

#include "platform/sim/export.h"

namespace zv_sim {

// Writes "zv_sim: TEXT" and a newline to standard error in one piece. Used instead of the log
// library, which may not be up yet and is itself among the users of this one. Takes no memory.
ZV_SIM_EXPORT void report(std::string_view text) noexcept;

}  // namespace zv_sim

#endif
