// Arguments and state of the switch as JSON, the same way in the call trace and on the control
// socket. Everything that may be null at a caller's renders as JSON null.
#ifndef PLATFORM_SWITCH_RENDER_H
#define PLATFORM_SWITCH_RENDER_H

#include <cstdint>
#include <string>

#include "platform/sim/json.h"
#include "zv_api.h"

namespace zv_switch {

using zv_sim::OrderedJson;

// Bytes as lower-case hexadecimal digits.
std::string hex(const void *bytes, size_t len);

// The bytes of 2 * len hexadecimal digits; false when the text is anything else.
bool unhex(const std::string &digits, uint8_t *bytes, size_t len);

OrderedJson number_json(const uint32_t *number);
OrderedJson numbers_json(const uint32_t *numbers, uint32_t count);
OrderedJson rule_json(const zv_acl_rule_t &rule);
OrderedJson rules_json(const zv_acl_rule_t *rules, uint32_t count);
OrderedJson region_group_json(const zv_acl_region_group_t *group);
OrderedJson counter_values_json(const zv_flow_counter_set_t &values);

// with_ports false: an entry that is still to be filled, whose ports mean nothing yet.
OrderedJson pbs_entry_json(const zv_acl_pbs_entry_t *entry, bool with_ports);

}  // namespace zv_switch

#endif
