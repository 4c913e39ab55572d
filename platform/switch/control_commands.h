// The control socket's commands: reading the switch's state and doing to it from outside what the
// SDK has no function for.
#ifndef PLATFORM_SWITCH_CONTROL_COMMANDS_H
#define PLATFORM_SWITCH_CONTROL_COMMANDS_H

#include <string>

namespace zv_switch {

// Carries out one request, a JSON object without its newline, and returns the answer, a JSON object
// in one line with its newline: {"ok":true,...} or {"ok":false,"error":"FIELD: complaint"}. Takes
// any bytes. Any thread; throws nothing but bad_alloc.
std::string control_answer(const std::string &request);

// The answer to a request that could not be taken in.
std::string control_refusal(const std::string &error);

}  // namespace zv_switch

#endif
