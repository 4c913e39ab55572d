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

/* The switch's state, asked only of the process that the daemon behind the connected socket is:
 * with several daemons either socket may be another one's. False where it is of another process,
 * that cannot be known, or there is no answer. */
bool ask_state_of(int daemon_fd, const Settings &settings, nlohmann::json *state);

/* One packet, whatever its kind; `hit` is what became of it. */
std::optional<Failure> ask_packet(const Settings &settings, const PacketRequest &request,
                                  nlohmann::json *hit);

Answer send_packet(const Settings &settings, const PacketRequest &request);
Answer send_capture(const Settings &settings, const PcapRequest &request);
Answer read_ports(const Settings &settings);
Answer set_ports(const Settings &settings, const PortsRequest &request);
Answer read_state(const Settings &settings, const StateRequest &request);
Answer read_usage(const Settings &settings);
Answer set_faults(const Settings &settings, const FaultsRequest &request);

/* The words for a rule of the switch's state, "" where it has another key type or is unreadable. */
std::string describe_switch_rule(const nlohmann::json &rule);

}  // namespace aclrmctl

#endif
