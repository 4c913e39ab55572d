/* Requests of every command in a line each, and what the library says of their refusals. */
#ifndef ZV_TESTS_CLIENT_EXPLAIN_SUPPORT_H
#define ZV_TESTS_CLIENT_EXPLAIN_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/test_client.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_test {

inline constexpr uint32_t BIND = ZV_ACL_RM_ACCESS_CMD_BIND;
inline constexpr uint32_t UNBIND = ZV_ACL_RM_ACCESS_CMD_UNBIND;
inline constexpr uint32_t WRITE = ZV_ACL_RM_ACCESS_CMD_WRITE;
inline constexpr uint32_t DELETE = ZV_ACL_RM_ACCESS_CMD_DELETE;
inline constexpr const char *kSwitchRefused =
    "the switch refused it; the daemon's log has the switch's reason";

/* How the library names an ACL of open-flow. */
inline std::string words(const acl_rm_acl &acl) {
    return "ACL " + std::to_string(acl.acl_id) + " (open-flow's)";
}

struct Request {
    template <typename Record>
    Request(uint32_t its_command, const Record &its_record) : command(its_command) {
        record.resize(sizeof(its_record));
        std::memcpy(record.data(), &its_record, sizeof(its_record));
    }
    uint32_t command;
    std::vector<uint8_t> record;

    uint32_t len() const { return static_cast<uint32_t>(record.size()); }
};

inline Request acl_set(uint32_t cmd, const acl_rm_acl &acl) {
    return {ZV_ACL_RM_API_INT_CMD_ACL_SET, zv_acl_rm_acl_set_params_t{0, cmd, acl, 0}};
}

inline Request acl_create(uint32_t min_size, uint32_t max_size) {
    acl_rm_acl acl = acl_of_size(min_size);
    acl.max_size = max_size;
    return acl_set(ZV_ACL_RM_ACCESS_CMD_CREATE, acl);
}

inline Request acl_destroy(uint32_t acl_id) {
    acl_rm_acl acl = acl_of_size(0);
    acl.acl_id = acl_id;
    return acl_set(ZV_ACL_RM_ACCESS_CMD_DESTROY, acl);
}

inline Request resize(uint32_t acl_id, uint32_t new_size) {
    return {ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, zv_acl_rm_acl_resize_params_t{0, acl_id, new_size}};
}

inline Request rule_set(uint32_t cmd, uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
                        uint32_t rules_num) {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = cmd;
    record.acl_id = acl_id;
    std::copy(rules.begin(), rules.end(), record.rules);
    record.rules_num = rules_num;
    return {ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, record};
}

inline Request rule_write(uint32_t acl_id, const std::vector<acl_rm_rule> &rules) {
    return rule_set(WRITE, acl_id, rules, static_cast<uint32_t>(rules.size()));
}

inline std::vector<acl_rm_rule> rules_at(const std::vector<uint32_t> &offsets) {
    std::vector<acl_rm_rule> rules;
    for (const uint32_t offset : offsets) {
        rules.push_back(make_rule(offset));
    }
    return rules;
}

inline Request rule_delete(uint32_t acl_id, const std::vector<uint32_t> &offsets) {
    return rule_set(DELETE, acl_id, rules_at(offsets), static_cast<uint32_t>(offsets.size()));
}

inline Request rule_read(uint32_t acl_id, const std::vector<uint32_t> &offsets) {
    zv_acl_rm_acl_rule_get_params_t record{};
    record.acl_id = acl_id;
    const std::vector<acl_rm_rule> rules = rules_at(offsets);
    std::copy(rules.begin(), rules.end(), record.rules);
    record.rules_num = static_cast<uint32_t>(offsets.size());
    return {ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, record};
}

inline Request move_block(uint32_t acl_id, uint32_t start, uint32_t size, uint32_t new_start) {
    return {ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
            zv_acl_rm_acl_rule_move_block_params_t{0, acl_id, start, size, new_start}};
}

template <typename Number, size_t N>
uint32_t put(const std::vector<Number> &from, Number (&to)[N]) {
    std::copy(from.begin(), from.end(), to);
    return static_cast<uint32_t>(from.size());
}

inline Request port_bind(uint32_t cmd, uint32_t acl_id, const std::vector<uint32_t> &ports) {
    zv_acl_rm_acl_port_bind_params_t record{};
    record.cmd = cmd;
    record.acl_id = acl_id;
    record.ports_num = put(ports, record.log_ports);
    return {ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, record};
}

inline Request rif_bind(uint32_t cmd, uint32_t acl_id, const std::vector<uint16_t> &rifs) {
    zv_acl_rm_acl_rif_bind_params_t record{};
    record.cmd = cmd;
    record.acl_id = acl_id;
    record.rifs_num = put(rifs, record.rifs);
    return {ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, record};
}

inline Request system_bind(uint32_t cmd, uint32_t acl_id) {
    return {ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
            zv_acl_rm_acl_system_bind_params_t{0, cmd, acl_id}};
}

inline Request port_set(uint32_t cmd, const std::vector<uint32_t> &ports) {
    zv_acl_rm_port_set_params_t record{};
    record.cmd = cmd;
    record.ports_num = put(ports, record.log_ports);
    return {ZV_ACL_RM_API_INT_CMD_PORT_SET, record};
}

inline Request counter_create(acl_rm_counter_type type) {
    return {ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
            zv_acl_rm_counter_set_params_t{0, ZV_ACL_RM_ACCESS_CMD_CREATE, type, 0}};
}

inline Request counter_destroy(uint32_t counter_id) {
    return {ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
            zv_acl_rm_counter_set_params_t{0, ZV_ACL_RM_ACCESS_CMD_DESTROY, {0, 0}, counter_id}};
}

inline Request counter_get(uint32_t cmd, uint32_t counter_id) {
    return {ZV_ACL_RM_API_INT_CMD_COUNTER_GET,
            zv_acl_rm_counter_get_params_t{0, cmd, counter_id, {0, 0}, {0, 0}}};
}

inline Request mc_group(uint32_t cmd, uint32_t mc_group_id, const std::vector<uint32_t> &ports) {
    zv_acl_rm_mc_group_set_params_t record{};
    record.cmd = cmd;
    record.mc_group_id = mc_group_id;
    record.ports_num = put(ports, record.log_ports);
    return {ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, record};
}

inline Request mc_group_get(uint32_t mc_group_id) {
    zv_acl_rm_mc_group_get_params_t record{};
    record.mc_group_id = mc_group_id;
    record.ports_num = 4;
    return {ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, record};
}

struct Answer {
    int error = 0;
    std::string text;
    uint32_t causes_num = 0;
};

inline Answer explain(zv_acl_rm_client_t *client, const Request &request,
                      zv_acl_rm_status_t status) {
    char text[ZV_ACL_RM_EXPLANATION_BYTES] = "nothing was written";
    Answer answer;
    answer.error =
        zv_acl_rm_client_explain(client, request.command, request.record.data(), request.len(),
                                 status, text, sizeof(text), &answer.causes_num);
    answer.text = text;
    return answer;
}

/* Sends a request that is to be refused, and explains the refusal. */
inline std::string why(TestClient &client, Request request) {
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = kNoAnswer;
    EXPECT_EQ(zv_acl_rm_client_submit(client.client(), request.command, request.record.data(),
                                      request.len(), &sequence),
              0);
    EXPECT_EQ(zv_acl_rm_client_collect(client.client(), &sequence, nullptr, nullptr, &status), 0);
    EXPECT_NE(status, 0u) << "it was to be refused";
    const Answer answer = explain(client.client(), request, status);
    EXPECT_EQ(answer.error, 0);
    const auto lines = std::count(answer.text.begin(), answer.text.end(), '\n') + 1;
    EXPECT_EQ(answer.causes_num, static_cast<uint32_t>(lines)) << answer.text;
    return answer.text;
}

}  // namespace zv_test

#endif
