/* Records: made from arguments, and read when they are replies. Included by zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_REQUESTS_HPP
#define ZV_ACL_RM_HPP_REQUESTS_HPP

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "zv_acl_rm/hpp/lists.hpp"
#include "zv_acl_rm/hpp/names.hpp"
#include "zv_acl_rm/hpp/results.hpp"
#include "zv_acl_rm/hpp/rules.hpp"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_acl_rm {

namespace detail {

/* Which command a record belongs to, and the C function that carries it out. */
template <typename Record>
struct Wire;

inline int call_open(zv_acl_rm_client_t *client, zv_acl_rm_open_params_t *record,
                     zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_open(client, record->owner, status);
}
inline int call_init(zv_acl_rm_client_t *client, zv_acl_rm_init_params_t *record,
                     zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_init(client, record->chip_type, status);
}
inline int call_move_block(zv_acl_rm_client_t *client,
                           zv_acl_rm_acl_rule_move_block_params_t *record,
                           zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_acl_rule_move_block(client, record, status);
}
inline int call_dump(zv_acl_rm_client_t *client, zv_acl_rm_dump_params_t *record,
                     zv_acl_rm_status_t *status) {
    const auto address = static_cast<std::uintptr_t>(record->path);
    return zv_acl_rm_api_dump(client, reinterpret_cast<const char *>(address), status);
}

template <Command kNumber, typename Record,
          int (*kFunction)(zv_acl_rm_client_t *, Record *, zv_acl_rm_status_t *)>
struct WireRow {
    static constexpr Command kCommand = kNumber;
    static int call(zv_acl_rm_client_t *client, Record *record, zv_acl_rm_status_t *status) {
        return kFunction(client, record, status);
    }
};

template <>
struct Wire<zv_acl_rm_open_params_t> : WireRow<Command::kOpen, zv_acl_rm_open_params_t, call_open> {
};
template <>
struct Wire<zv_acl_rm_init_params_t> : WireRow<Command::kInit, zv_acl_rm_init_params_t, call_init> {
};
template <>
struct Wire<zv_acl_rm_acl_set_params_t>
    : WireRow<Command::kAclSet, zv_acl_rm_acl_set_params_t, zv_acl_rm_api_acl_set> {};
template <>
struct Wire<zv_acl_rm_acl_resize_params_t>
    : WireRow<Command::kAclResize, zv_acl_rm_acl_resize_params_t, zv_acl_rm_api_acl_resize> {};
template <>
struct Wire<zv_acl_rm_acl_rule_set_params_t>
    : WireRow<Command::kAclRuleSet, zv_acl_rm_acl_rule_set_params_t, zv_acl_rm_api_acl_rule_set> {};
template <>
struct Wire<zv_acl_rm_acl_rule_get_params_t>
    : WireRow<Command::kAclRuleGet, zv_acl_rm_acl_rule_get_params_t, zv_acl_rm_api_acl_rule_get> {};
template <>
struct Wire<zv_acl_rm_acl_rule_move_block_params_t>
    : WireRow<Command::kAclRuleMoveBlock, zv_acl_rm_acl_rule_move_block_params_t, call_move_block> {
};
template <>
struct Wire<zv_acl_rm_acl_port_bind_params_t>
    : WireRow<Command::kAclBindPortSet, zv_acl_rm_acl_port_bind_params_t,
              zv_acl_rm_api_acl_port_bind> {};
template <>
struct Wire<zv_acl_rm_acl_rif_bind_params_t>
    : WireRow<Command::kAclBindRifSet, zv_acl_rm_acl_rif_bind_params_t,
              zv_acl_rm_api_acl_rif_bind> {};
template <>
struct Wire<zv_acl_rm_counter_set_params_t>
    : WireRow<Command::kCounterSet, zv_acl_rm_counter_set_params_t, zv_acl_rm_api_counter_set> {};
template <>
struct Wire<zv_acl_rm_counter_get_params_t>
    : WireRow<Command::kCounterGet, zv_acl_rm_counter_get_params_t, zv_acl_rm_api_counter_get> {};
template <>
struct Wire<zv_acl_rm_mc_group_set_params_t>
    : WireRow<Command::kMcGrpSet, zv_acl_rm_mc_group_set_params_t, zv_acl_rm_api_mc_group_set> {};
template <>
struct Wire<zv_acl_rm_mc_group_get_params_t>
    : WireRow<Command::kMcGrpGet, zv_acl_rm_mc_group_get_params_t, zv_acl_rm_api_mc_group_get> {};
template <>
struct Wire<zv_acl_rm_acl_system_bind_params_t>
    : WireRow<Command::kAclBindSystemSet, zv_acl_rm_acl_system_bind_params_t,
              zv_acl_rm_api_system_bind_set> {};
template <>
struct Wire<zv_acl_rm_port_set_params_t>
    : WireRow<Command::kPortSet, zv_acl_rm_port_set_params_t, zv_acl_rm_api_port_set> {};
template <>
struct Wire<zv_acl_rm_dump_params_t> : WireRow<Command::kDump, zv_acl_rm_dump_params_t, call_dump> {
};

template <typename Number, std::size_t N>
bool put_list(Span<const Number> from, Number (&to)[N], std::uint32_t &count) noexcept {
    if (from.size() > N) {
        return false;
    }
    std::size_t place = 0;
    for (const Number number : from) {
        to[place++] = number;
    }
    count = static_cast<std::uint32_t>(place);
    return true;
}

inline Failure does_not_fit() noexcept {
    return Failure::no_answer(EINVAL);
}

}  // namespace detail

/* A record that is ready to be sent, or EINVAL where its arguments do not fit into one. */
template <typename Record>
using Request = Result<Record>;

/* The requests, one function for each use of a command, under the names of Client's methods:
 *
 *     client.submit(requests::write_rules(acl_id, rules));
 */
namespace requests {

inline Request<zv_acl_rm_open_params_t> open(Owner owner) noexcept {
    return zv_acl_rm_open_params_t{0, static_cast<std::uint32_t>(owner), 0};
}

inline Request<zv_acl_rm_init_params_t> init(std::uint32_t chip_type) noexcept {
    return zv_acl_rm_init_params_t{0, chip_type, 0};
}

inline Request<zv_acl_rm_acl_set_params_t> acl_set(Access access, const acl_rm_acl &acl) noexcept {
    return zv_acl_rm_acl_set_params_t{0, static_cast<std::uint32_t>(access), acl, 0};
}

inline Request<zv_acl_rm_acl_set_params_t> create_acl(std::uint32_t size,
                                                      Direction direction = Direction::kIngress,
                                                      const AclTypes &types = {}) noexcept {
    return acl_set(Access::kCreate, {0, types.key_type, types.action_type, types.acl_type,
                                     static_cast<std::uint32_t>(direction), size, size, 0});
}

inline Request<zv_acl_rm_acl_set_params_t> destroy_acl(std::uint32_t acl_id,
                                                       Direction direction = Direction::kIngress,
                                                       std::uint32_t acl_type = 0) noexcept {
    return acl_set(Access::kDestroy,
                   {acl_id, 0, 0, acl_type, static_cast<std::uint32_t>(direction), 0, 0, 0});
}

inline Request<zv_acl_rm_acl_set_params_t> edit_acl(std::uint32_t acl_id,
                                                    Direction direction) noexcept {
    return acl_set(Access::kEdit,
                   {acl_id, 0, 0, 0, static_cast<std::uint32_t>(direction), 0, 0, 0});
}

inline Request<zv_acl_rm_acl_resize_params_t> resize_acl(std::uint32_t acl_id,
                                                         std::uint32_t new_size) noexcept {
    return zv_acl_rm_acl_resize_params_t{0, acl_id, new_size};
}

inline Request<zv_acl_rm_acl_rule_set_params_t> write_rules(std::uint32_t acl_id,
                                                            Span<const Rule> rules) noexcept {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(Access::kWrite);
    record.acl_id = acl_id;
    if (rules.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const Rule &rule : rules) {
        if (!rule.fits()) {
            return detail::does_not_fit();
        }
        record.rules[record.rules_num++] = rule.record();
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_set_params_t> delete_rules(std::uint32_t acl_id,
                                                             Numbers offsets) noexcept {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(Access::kDelete);
    record.acl_id = acl_id;
    if (offsets.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const std::uint32_t offset : offsets) {
        record.rules[record.rules_num].priority = offset;
        record.rules[record.rules_num++].offset = offset;
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_get_params_t> read_rules(
    std::uint32_t acl_id, Numbers offsets, Activity activity = Activity::kIgnore) noexcept {
    zv_acl_rm_acl_rule_get_params_t record{};
    record.acl_id = acl_id;
    if (offsets.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const std::uint32_t offset : offsets) {
        acl_rm_rule &rule = record.rules[record.rules_num++];
        rule.priority = offset;
        rule.offset = offset;
        rule.readout.activity_request = static_cast<std::uint32_t>(activity);
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_move_block_params_t> move_rules(
    std::uint32_t acl_id, std::uint32_t start, std::uint32_t count,
    std::uint32_t new_start) noexcept {
    return zv_acl_rm_acl_rule_move_block_params_t{0, acl_id, start, count, new_start};
}

inline Request<zv_acl_rm_acl_port_bind_params_t> port_bind(Access access, std::uint32_t acl_id,
                                                           Numbers log_ports) noexcept {
    zv_acl_rm_acl_port_bind_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.acl_id = acl_id;
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_acl_port_bind_params_t> bind_ports(std::uint32_t acl_id,
                                                            Numbers log_ports) noexcept {
    return port_bind(Access::kBind, acl_id, log_ports);
}

inline Request<zv_acl_rm_acl_port_bind_params_t> unbind_ports(std::uint32_t acl_id,
                                                              Numbers log_ports) noexcept {
    return port_bind(Access::kUnbind, acl_id, log_ports);
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> rif_bind(Access access, std::uint32_t acl_id,
                                                         Rifs rifs) noexcept {
    zv_acl_rm_acl_rif_bind_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.acl_id = acl_id;
    if (!detail::put_list(rifs, record.rifs, record.rifs_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> bind_rifs(std::uint32_t acl_id,
                                                          Rifs rifs) noexcept {
    return rif_bind(Access::kBind, acl_id, rifs);
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> unbind_rifs(std::uint32_t acl_id,
                                                            Rifs rifs) noexcept {
    return rif_bind(Access::kUnbind, acl_id, rifs);
}

inline Request<zv_acl_rm_acl_system_bind_params_t> bind_system(std::uint32_t acl_id) noexcept {
    return zv_acl_rm_acl_system_bind_params_t{0, static_cast<std::uint32_t>(Access::kBind), acl_id};
}

inline Request<zv_acl_rm_acl_system_bind_params_t> unbind_system(std::uint32_t acl_id) noexcept {
    return zv_acl_rm_acl_system_bind_params_t{0, static_cast<std::uint32_t>(Access::kUnbind),
                                              acl_id};
}

inline Request<zv_acl_rm_port_set_params_t> port_set(Access access, Numbers log_ports) noexcept {
    zv_acl_rm_port_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_port_set_params_t> add_ports(Numbers log_ports) noexcept {
    return port_set(Access::kAddPorts, log_ports);
}

inline Request<zv_acl_rm_port_set_params_t> remove_ports(Numbers log_ports) noexcept {
    return port_set(Access::kDeletePorts, log_ports);
}

inline Request<zv_acl_rm_counter_set_params_t> create_counter(CounterKind kind) noexcept {
    const acl_rm_counter_type bytes = {1, 0};
    const acl_rm_counter_type packets = {0, 1};
    return zv_acl_rm_counter_set_params_t{0, static_cast<std::uint32_t>(Access::kCreate),
                                          kind == CounterKind::kBytes ? bytes : packets, 0};
}

inline Request<zv_acl_rm_counter_set_params_t> destroy_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_set_params_t{
        0, static_cast<std::uint32_t>(Access::kDestroy), {0, 0}, counter_id};
}

inline Request<zv_acl_rm_counter_get_params_t> read_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_get_params_t{
        0, static_cast<std::uint32_t>(Access::kRead), counter_id, {0, 0}, {0, 0}};
}

inline Request<zv_acl_rm_counter_get_params_t> clear_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_get_params_t{
        0, static_cast<std::uint32_t>(Access::kClear), counter_id, {0, 0}, {0, 0}};
}

inline Request<zv_acl_rm_mc_group_set_params_t> mc_group_set(Access access,
                                                             std::uint32_t mc_group_id,
                                                             Numbers log_ports) noexcept {
    zv_acl_rm_mc_group_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.mc_group_id = mc_group_id;
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_mc_group_set_params_t> create_mc_group(Numbers log_ports = {}) noexcept {
    return mc_group_set(Access::kAdd, 0, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> add_mc_group_ports(std::uint32_t mc_group_id,
                                                                   Numbers log_ports) noexcept {
    return mc_group_set(Access::kAddPorts, mc_group_id, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> remove_mc_group_ports(std::uint32_t mc_group_id,
                                                                      Numbers log_ports) noexcept {
    return mc_group_set(Access::kDeletePorts, mc_group_id, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> delete_mc_group(
    std::uint32_t mc_group_id) noexcept {
    return mc_group_set(Access::kDelete, mc_group_id, {});
}

inline Request<zv_acl_rm_mc_group_get_params_t> mc_group_ports(
    std::uint32_t mc_group_id, std::uint32_t room = ZV_ACL_RM_PORTS_PER_RECORD) noexcept {
    zv_acl_rm_mc_group_get_params_t record{};
    record.mc_group_id = mc_group_id;
    record.ports_num = room;
    if (room > ZV_ACL_RM_PORTS_PER_RECORD) {
        return detail::does_not_fit();
    }
    return record;
}

/* The path must last until the request is sent. */
inline Request<zv_acl_rm_dump_params_t> dump(const char *path) noexcept {
    return zv_acl_rm_dump_params_t{0, reinterpret_cast<std::uintptr_t>(path)};
}

}  // namespace requests

/* What the replies say, read from the records that hold them. */
namespace replies {

inline Acl acl(const zv_acl_rm_acl_set_params_t &record) noexcept {
    return {record.acl.acl_id, record.acl.region_id};
}

inline StoredRules rules(const zv_acl_rm_acl_rule_get_params_t &record) noexcept {
    StoredRules list;
    for (std::uint32_t i = 0; i < record.rules_num && i < ZV_ACL_RM_RULES_PER_RECORD; i++) {
        list.append(StoredRule(record.rules[i]));
    }
    return list;
}

inline CounterValue counter(const zv_acl_rm_counter_get_params_t &record) noexcept {
    if (record.counter_type.first != 0) {
        return {CounterKind::kBytes, record.values[0]};
    }
    return {CounterKind::kPackets, record.values[1]};
}

inline PortList ports(const zv_acl_rm_mc_group_get_params_t &record) noexcept {
    PortList list;
    for (std::uint32_t i = 0; i < record.ports_num && i < ZV_ACL_RM_PORTS_PER_RECORD; i++) {
        list.append(record.log_ports[i]);
    }
    return list;
}

}  // namespace replies

}  // namespace zv_acl_rm

#endif
