/* MC groups: the ports that rules forward to. */
#include <algorithm>

#include "daemon_link.h"
#include "perform_parts.h"

namespace aclrmctl {

namespace {

/* One request with ports first to first + count - 1. A create stores the group's id. */
std::optional<Failure> send_ports(const Settings &settings, zv_acl_rm_client_t *client,
                                  const std::string &what, uint32_t cmd, uint32_t *group_id,
                                  const std::vector<uint32_t> &ports, size_t first, size_t count) {
    zv_acl_rm_mc_group_set_params_t params{};
    params.cmd = cmd;
    params.mc_group_id = *group_id;
    params.ports_num = static_cast<uint32_t>(count);
    std::copy_n(ports.begin() + static_cast<ptrdiff_t>(first), count, params.log_ports);
    auto failure = call_daemon(settings, client, what, zv_acl_rm_api_mc_group_set, &params);
    if (!failure) {
        *group_id = params.mc_group_id;
    }
    return failure;
}

std::string group_text(uint32_t group_id) {
    return "MC group " + std::to_string(group_id);
}

/* ADD_PORTS or DELETE_PORTS for all of the ports. */
std::optional<Failure> change_ports(const Settings &settings, zv_acl_rm_client_t *client,
                                    const McPortsRequest &request) {
    const uint32_t cmd =
        request.add ? ZV_ACL_RM_ACCESS_CMD_ADD_PORTS : ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;
    const auto send = [&](size_t first, size_t count) {
        const std::string what = (request.add ? "adding " : "removing ") +
                                 piece_text("port", request.ports, first, count) +
                                 (request.add ? " to " : " from ") + group_text(request.group_id);
        uint32_t group_id = request.group_id;
        return send_ports(settings, client, what, cmd, &group_id, request.ports, first, count);
    };
    return send_in_pieces(request.ports, ZV_ACL_RM_PORTS_PER_RECORD,
                          request.add ? "added" : "removed", "port", send);
}

}  // namespace

/* The ports that do not fit into the first request are added afterwards. */
Answer perform_mc_create(const Settings &settings, const McCreateRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const size_t count = std::min<size_t>(request.ports.size(), ZV_ACL_RM_PORTS_PER_RECORD);
    uint32_t group_id = 0;
    const std::string what =
        count == 0 ? "creating an MC group"
                   : "creating an MC group of " + piece_text("port", request.ports, 0, count);
    if (auto failure = send_ports(settings, client.get(), what, ZV_ACL_RM_ACCESS_CMD_ADD, &group_id,
                                  request.ports, 0, count)) {
        return *failure;
    }
    const McPortsRequest rest{
        true,
        group_id,
        {request.ports.begin() + static_cast<ptrdiff_t>(count), request.ports.end()}};
    if (auto failure = change_ports(settings, client.get(), rest)) {
        failure->details.insert(
            failure->details.begin(),
            group_text(group_id) + " is there with the first " + std::to_string(count) + " ports");
        const size_t added = failure->partial ? failure->partial->done.size() : 0;
        failure->exit_code = failure->partial ? failure->partial->cause : failure->exit_code;
        mark_partial(&*failure, "added", request.ports, count + added,
                     std::min(request.ports.size(), count + added + ZV_ACL_RM_PORTS_PER_RECORD));
        failure->partial->mc_group_id = group_id;
        return *failure;
    }
    return McCreateAnswer{group_id, request.ports};
}

Answer perform_mc_ports(const Settings &settings, const McPortsRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    if (auto failure = change_ports(settings, client.get(), request)) {
        return *failure;
    }
    return McPortsAnswer{request};
}

Answer perform_mc_delete(const Settings &settings, const McDeleteRequest &request) {
    zv_acl_rm_mc_group_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    params.mc_group_id = request.group_id;
    if (auto failure = call_daemon(settings, "deleting " + group_text(request.group_id),
                                   zv_acl_rm_api_mc_group_set, &params)) {
        return *failure;
    }
    return McDeleteAnswer{request.group_id};
}

Answer perform_mc_get(const Settings &settings, const McGetRequest &request) {
    zv_acl_rm_mc_group_get_params_t params{};
    params.mc_group_id = request.group_id;
    params.ports_num = ZV_ACL_RM_PORTS_PER_RECORD;
    if (auto failure = call_daemon(settings, "reading " + group_text(request.group_id),
                                   zv_acl_rm_api_mc_group_get, &params)) {
        return *failure;
    }
    const uint32_t ports_num = std::min(params.ports_num, ZV_ACL_RM_PORTS_PER_RECORD);
    return McGetAnswer{request.group_id, {params.log_ports, params.log_ports + ports_num}};
}

}  // namespace aclrmctl
