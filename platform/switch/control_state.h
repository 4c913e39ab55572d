// The command "state": everything the switch holds, as JSON text.
#ifndef PLATFORM_SWITCH_CONTROL_STATE_H
#define PLATFORM_SWITCH_CONTROL_STATE_H

#include <string>

namespace zv_switch {

// The answer's members from "regions" to "ports", without the braces around them. One consistent
// picture, copied under the switch's mutex and rendered without it, so that a daemon that writes
// rules waits for the copy at most.
std::string state_members();

}  // namespace zv_switch

#endif
