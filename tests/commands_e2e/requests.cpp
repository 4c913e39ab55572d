#include "tests/commands_e2e/requests.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace zv_test {

Answer send_bytes(DaemonProcess &daemon, uint32_t command, const Bytes &body, Here here) {
    const std::optional<RpcReply> reply = daemon.connect(here).call(command, body);
    if (!reply || reply->transport != kDelivered) {
        ADD_FAILURE_AT(here.file, here.line) << "the request reached no handler";
        return {kNoAnswer, {}};
    }
    return {reply->status, reply->body};
}

zv_acl_rm_acl_set_params_t create_request(uint64_t handle, const acl_rm_acl &acl) {
    auto request = patterned<zv_acl_rm_acl_set_params_t>();
    request.client_handle = handle;
    request.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    request.acl = acl;
    return request;
}

zv_acl_rm_acl_set_params_t acl_set_request(uint64_t handle, uint32_t cmd, const acl_rm_acl &acl) {
    zv_acl_rm_acl_set_params_t request = create_request(handle, acl);
    request.cmd = cmd;
    return request;
}

zv_acl_rm_acl_rule_set_params_t write_request(uint64_t handle, uint32_t acl_id,
                                              const std::vector<acl_rm_rule> &rules) {
    auto request = patterned<zv_acl_rm_acl_rule_set_params_t>();
    request.client_handle = handle;
    request.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    request.acl_id = acl_id;
    std::copy_n(rules.begin(), std::min<size_t>(rules.size(), ZV_ACL_RM_RULES_PER_RECORD),
                request.rules);
    request.rules_num = static_cast<uint32_t>(rules.size());
    return request;
}

zv_acl_rm_acl_rule_set_params_t delete_request(uint64_t handle, uint32_t acl_id,
                                               const std::vector<uint32_t> &offsets) {
    auto request = write_request(handle, acl_id, {});
    request.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    request.rules_num = static_cast<uint32_t>(offsets.size());
    for (size_t i = 0; i < offsets.size() && i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        request.rules[i].offset = offsets[i];
    }
    return request;
}

zv_acl_rm_acl_rule_get_params_t read_request(uint64_t handle, uint32_t acl_id,
                                             const std::vector<ReadOf> &reads) {
    auto request = patterned<zv_acl_rm_acl_rule_get_params_t>();
    request.client_handle = handle;
    request.acl_id = acl_id;
    request.rules_num = static_cast<uint32_t>(reads.size());
    for (size_t i = 0; i < reads.size() && i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        request.rules[i].offset = reads[i].offset;
        request.rules[i].readout.activity_request = reads[i].activity_request;
    }
    return request;
}

zv_acl_rm_acl_port_bind_params_t bind_request(uint64_t handle, uint32_t acl_id,
                                              const std::vector<uint32_t> &log_ports) {
    auto request = patterned<zv_acl_rm_acl_port_bind_params_t>();
    request.client_handle = handle;
    request.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    request.acl_id = acl_id;
    std::copy_n(log_ports.begin(), std::min<size_t>(log_ports.size(), ZV_ACL_RM_PORTS_PER_RECORD),
                request.log_ports);
    request.ports_num = static_cast<uint32_t>(log_ports.size());
    return request;
}

zv_acl_rm_acl_port_bind_params_t unbind_request(uint64_t handle, uint32_t acl_id,
                                                const std::vector<uint32_t> &log_ports) {
    auto request = bind_request(handle, acl_id, log_ports);
    request.cmd = ZV_ACL_RM_ACCESS_CMD_UNBIND;
    return request;
}

zv_acl_rm_acl_rif_bind_params_t rif_request(uint64_t handle, uint32_t cmd, uint32_t acl_id,
                                            const std::vector<uint16_t> &rifs) {
    auto request = patterned<zv_acl_rm_acl_rif_bind_params_t>();
    request.client_handle = handle;
    request.cmd = cmd;
    request.acl_id = acl_id;
    std::copy_n(rifs.begin(), std::min<size_t>(rifs.size(), ZV_ACL_RM_PORTS_PER_RECORD),
                request.rifs);
    request.rifs_num = static_cast<uint32_t>(rifs.size());
    return request;
}

zv_acl_rm_acl_system_bind_params_t system_request(uint64_t handle, uint32_t cmd, uint32_t acl_id) {
    return {handle, cmd, acl_id};
}

zv_acl_rm_port_set_params_t port_set_request(uint64_t handle, uint32_t cmd,
                                             const std::vector<uint32_t> &log_ports) {
    auto request = patterned<zv_acl_rm_port_set_params_t>();
    request.client_handle = handle;
    request.cmd = cmd;
    std::copy_n(log_ports.begin(), std::min<size_t>(log_ports.size(), ZV_ACL_RM_PORTS_PER_RECORD),
                request.log_ports);
    request.ports_num = static_cast<uint32_t>(log_ports.size());
    return request;
}

uint32_t open_as(DaemonProcess &daemon, uint64_t handle, uint32_t owner, Here here) {
    const zv_acl_rm_open_params_t request = {handle, owner, 0};
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_OPEN, request, here).status;
}

std::vector<uint32_t> ports_from(uint32_t first, uint32_t num) {
    std::vector<uint32_t> ports(num);
    std::iota(ports.begin(), ports.end(), first);
    return ports;
}

std::vector<std::string> rule_keys(const CacheDump &dump) {
    std::vector<std::string> keys;
    for (const CacheDump::Rule &rule : dump.rules) {
        keys.push_back(rule.key);
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

std::vector<uint32_t> acls_of_group(const CacheDump &dump, uint32_t group_id) {
    for (const CacheDump::Group &group : dump.groups) {
        if (group.group_id == group_id) {
            return group.acl_ids;
        }
    }
    return {};
}

std::vector<uint32_t> ports_of_acl(const CacheDump &dump, uint32_t acl_id) {
    for (const CacheDump::Acl &acl : dump.acls) {
        if (acl.acl_id == acl_id) {
            return acl.bound_ports;
        }
    }
    return {};
}

std::vector<std::pair<uint32_t, uint32_t>> bound_groups(const CacheDump &dump) {
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    for (const CacheDump::BindPoint &point : dump.bind_points) {
        pairs.emplace_back(point.port_id, point.group_id);
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

}  // namespace zv_test
