/* The tool's connection to the daemon, and the words for everything that can go wrong with it. */
#ifndef ACLRMCTL_DAEMON_LINK_H
#define ACLRMCTL_DAEMON_LINK_H

#include <cerrno>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "answer.h"
#include "request.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace aclrmctl {

struct ClientCloser {
    void operator()(zv_acl_rm_client_t *client) const { zv_acl_rm_client_close(client); }
};
using Client = std::unique_ptr<zv_acl_rm_client_t, ClientCloser>;

/* Milliseconds that a call may take: the settings' limit, or less where their deadline is near. 0
 * where that has passed. */
int time_left_ms(const Settings &settings);

/* Connects at once or not at all, and not behind the settings' deadline. */
std::optional<Failure> connect_daemon(const Settings &settings, Client *client);

/* The failure of a connection that was not made: to the "daemon" or the "simulated switch" at that
 * path, with that errno. The hint says where it may be when nobody is there. */
Failure connect_failure(const std::string &who, const std::string &path, int error,
                        const std::string &hint);

/* A path as it is opened: with ZV_PLATFORM_ROOT before it. */
std::string rooted_path(const std::string &path);

/* The failure of a call of the client library: `error` as it returned, or a status that is not
 * success. `what` names the command and its input ("creating an ACL of 512 rules"). Nothing is
 * returned where the call succeeded. */
std::optional<Failure> call_failure(const Settings &settings, const std::string &what, int error,
                                    zv_acl_rm_status_t status);

/* Adds why the daemon refused a command, as far as the library can find out: `record` is the
 * request as it was. Asks the daemon, but changes nothing. Sets the hint, too. */
void add_why(zv_acl_rm_client_t *client, uint32_t command, const void *record, uint32_t record_len,
             Failure *failure);

/* The command that a record is of. */
constexpr uint32_t command_of(const zv_acl_rm_open_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_OPEN;
}
constexpr uint32_t command_of(const zv_acl_rm_init_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_INIT;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_set_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_resize_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_RESIZE;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_rule_set_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_rule_get_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_rule_move_block_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_port_bind_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_rif_bind_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_counter_set_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_COUNTER_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_counter_get_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_COUNTER_GET;
}
constexpr uint32_t command_of(const zv_acl_rm_mc_group_set_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_MC_GRP_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_mc_group_get_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_MC_GRP_GET;
}
constexpr uint32_t command_of(const zv_acl_rm_acl_system_bind_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET;
}
constexpr uint32_t command_of(const zv_acl_rm_port_set_params_t *) {
    return ZV_ACL_RM_API_INT_CMD_PORT_SET;
}

/* A command that stays without an answer leaves no doubt where it changes nothing. */
template <typename Params>
constexpr bool only_reads(const Params &) {
    return false;
}
inline bool only_reads(const zv_acl_rm_acl_rule_get_params_t &params) {
    constexpr uint32_t kReadAndClear = 2;
    for (uint32_t i = 0; i < params.rules_num && i < ZV_ACL_RM_RULES_PER_RECORD; i++) {
        if (params.rules[i].readout.activity_request == kReadAndClear) {
            return false;
        }
    }
    return true;
}
inline bool only_reads(const zv_acl_rm_counter_get_params_t &params) {
    return params.cmd == ZV_ACL_RM_ACCESS_CMD_READ;
}
constexpr bool only_reads(const zv_acl_rm_mc_group_get_params_t &) {
    return true;
}

/* One command over an open connection: a function of the client library and its record. */
template <typename Function, typename Params>
std::optional<Failure> call_daemon(const Settings &settings, zv_acl_rm_client_t *client,
                                   const std::string &what, Function *function, Params *params) {
    zv_acl_rm_status_t status = 0;
    zv_acl_rm_client_set_timeout_ms(client, time_left_ms(settings));
    const int error = function(client, params, &status);
    auto failure = call_failure(settings, what, error, status);
    if (failure && failure->status) {
        add_why(client, command_of(params), params, sizeof(*params), &*failure);
    } else if (failure && error == ETIMEDOUT && only_reads(*params)) {
        failure->hint.clear();
    }
    return failure;
}

/* The same over a connection of its own. */
template <typename Function, typename Params>
std::optional<Failure> call_daemon(const Settings &settings, const std::string &what,
                                   Function *function, Params *params) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return failure;
    }
    return call_daemon(settings, client.get(), what, function, params);
}

/* Gives a failure with that status a hint: what is so beside the reasons why. */
void set_hint(std::optional<Failure> *failure, zv_acl_rm_status_t status, const std::string &hint);

/* Makes a failure one of a part done: of `numbers` those before `first` are, those from `first` to
 * `end` were in the failing request, the rest was not sent. */
void mark_partial(Failure *failure, const std::string &done, const std::vector<uint32_t> &numbers,
                  size_t first, size_t end);

/* The same for a failing request before which nothing was done: of its own numbers some may be, or
 * all. The exit status stays. */
void mark_uncertain(Failure *failure, const std::string &done, const std::vector<uint32_t> &numbers,
                    size_t end);

/* How a list is read that leaves nothing behind one would have to know of. */
inline constexpr const char *kOnlyRead = "read";

/* A list cut into pieces that fit into one record. `send` sends one piece, given as the index of
 * its first number and their count. After a piece that fails none is sent, and the failure tells
 * which numbers were done before: "`done` before that: 100 `noun`s (1-100)". Of the first piece
 * only `send` knows whether a refusal leaves a part of it done. */
using SendPiece = std::function<std::optional<Failure>(size_t first, size_t count)>;
std::optional<Failure> send_in_pieces(const std::vector<uint32_t> &numbers, size_t piece_size,
                                      const std::string &done, const std::string &noun,
                                      const SendPiece &send);

/* "port 5", "ports 5-7 and 2 more": a piece in the words for a failure. */
std::string piece_text(const std::string &noun, const std::vector<uint32_t> &numbers, size_t first,
                       size_t count);

}  // namespace aclrmctl

#endif
