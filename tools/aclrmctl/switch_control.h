/* The simulated switch's control socket: a JSON object a line in, a JSON object a line out. */
#ifndef ACLRMCTL_SWITCH_CONTROL_H
#define ACLRMCTL_SWITCH_CONTROL_H

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "answer.h"
#include "request.h"

namespace aclrmctl {

/* Connects, asks, takes the answer, closes; all within the settings' time limit. *answer is the
 * switch's object where nothing is returned; its "ok" was true. */
std::optional<Failure> ask_switch(const Settings &settings, const nlohmann::json &question,
                                  nlohmann::json *answer);

Answer send_packet(const Settings &settings, const PacketRequest &request);
Answer read_state(const Settings &settings, const StateRequest &request);
Answer read_usage(const Settings &settings);
Answer set_faults(const Settings &settings, const FaultsRequest &request);

/* The words for a rule of the switch's state, "" where it has another key type or is unreadable. */
std::string describe_switch_rule(const nlohmann::json &rule);

}  // namespace aclrmctl

#endif
