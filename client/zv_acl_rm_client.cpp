/* The client library over the platform's RPC client.
 *
 * A reply is taken into a buffer of the library's own first and copied to the caller's record only
 * when the command succeeded and the reply has the size the command promises: a record is never
 * left half old and half new. The copy costs well below a microsecond for the largest record,
 * against some ten for the socket's round trip.
 */
#include "zv_acl_rm/zv_acl_rm_client.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "zv_rpc_client.h"

struct zv_acl_rm_client {
    zv_rpc_client_t *rpc;
    uint64_t handle;
    int timeout_ms;
    uint32_t outstanding; /* rule commands sent whose answers have not been received */
};

namespace {

constexpr uint32_t kLargestReply = sizeof(zv_acl_rm_acl_rule_set_params_t);
constexpr size_t kPathBytes = 4096; /* of a dump path, with its NUL */

struct Request {
    uint32_t command;
    const void *body;
    uint32_t body_len;
    const void *attachment = nullptr;
    uint32_t attachment_len = 0;
};

/* What part of the caller's record the reply replaces. */
struct Reply {
    void *place = nullptr;
    uint32_t len = 0;
};

/* Copies a good reply out. A failing command has no body, whatever its record's size. */
int take_reply(const uint8_t *received, uint32_t received_len, uint32_t answer, const Reply &reply,
               zv_acl_rm_status_t *status) {
    if (answer == ZV_ACL_RM_STATUS_SUCCESS) {
        if (received_len != reply.len) {
            return EPROTO;
        }
        if (reply.place != nullptr) {
            std::memcpy(reply.place, received, reply.len);
        }
    }
    *status = answer;
    return 0;
}

/* A reply longer than any of the protocol's is as wrong as one of any other unexpected size. */
int name_error(int error) {
    return error == ENOBUFS ? EPROTO : error;
}

int exchange(zv_acl_rm_client_t *client, const Request &request, const Reply &reply,
             zv_acl_rm_status_t *status) {
    alignas(8) uint8_t received[kLargestReply];
    uint32_t received_len = sizeof(received);
    uint32_t answer = 0;
    const int error = zv_rpc_client_call(
        client->rpc, request.command, request.body, request.body_len, request.attachment,
        request.attachment_len, received, &received_len, &answer, client->timeout_ms);
    if (error != 0) {
        return name_error(error);
    }
    return take_reply(received, received_len, answer, reply, status);
}

/* The common case: a record that comes back whole. */
template <typename Params>
int call(zv_acl_rm_client_t *client, uint32_t command, Params *params, zv_acl_rm_status_t *status) {
    if (client == nullptr || params == nullptr || status == nullptr) {
        return EINVAL;
    }
    params->client_handle = client->handle;
    return exchange(client, {command, params, sizeof(*params)}, {params, sizeof(*params)}, status);
}

/* A record to which nothing but a status comes back. */
template <typename Params>
int call_without_reply(zv_acl_rm_client_t *client, uint32_t command, const Params &params,
                       zv_acl_rm_status_t *status) {
    if (client == nullptr || status == nullptr) {
        return EINVAL;
    }
    Params sent = params;
    sent.client_handle = client->handle;
    return exchange(client, {command, &sent, sizeof(sent)}, {}, status);
}

/* The daemon trusts counts of ports; reading past the record's array must be stopped here. */
bool too_many_ports(uint32_t ports_num) {
    return ports_num > ZV_ACL_RM_PORTS_PER_RECORD;
}

}  // namespace

extern "C" {

int zv_acl_rm_client_connect(const char *socket_path, uint64_t handle,
                             zv_acl_rm_client_t **client) {
    if (client == nullptr) {
        return EINVAL;
    }
    *client = nullptr;
    auto *made =
        new (std::nothrow) zv_acl_rm_client{nullptr, handle, ZV_ACL_RM_DEFAULT_TIMEOUT_MS, 0};
    if (made == nullptr) {
        return ENOMEM;
    }
    const char *path = socket_path == nullptr ? ZV_ACL_RM_SOCKET_PATH : socket_path;
    const int error = zv_rpc_client_connect(path, &made->rpc);
    if (error != 0) {
        delete made;
        return error;
    }
    *client = made;
    return 0;
}

void zv_acl_rm_client_close(zv_acl_rm_client_t *client) {
    if (client == nullptr) {
        return;
    }
    zv_rpc_client_close(client->rpc);
    delete client;
}

int zv_acl_rm_client_set_timeout_ms(zv_acl_rm_client_t *client, int timeout_ms) {
    if (client == nullptr) {
        return EINVAL;
    }
    client->timeout_ms = timeout_ms;
    return 0;
}

uint64_t zv_acl_rm_client_handle(const zv_acl_rm_client_t *client) {
    return client == nullptr ? 0 : client->handle;
}

int zv_acl_rm_client_fd(const zv_acl_rm_client_t *client) {
    return client == nullptr ? -1 : zv_rpc_client_fd(client->rpc);
}

int zv_acl_rm_api_open(zv_acl_rm_client_t *client, uint32_t owner, zv_acl_rm_status_t *status) {
    /* The daemon stores the handle at the owner's place without a look at the number. */
    if (owner >= ZV_ACL_RM_OWNER_NUM) {
        return EINVAL;
    }
    return call_without_reply(client, ZV_ACL_RM_API_INT_CMD_OPEN,
                              zv_acl_rm_open_params_t{0, owner, 0}, status);
}

int zv_acl_rm_api_init(zv_acl_rm_client_t *client, uint32_t chip_type, zv_acl_rm_status_t *status) {
    return call_without_reply(client, ZV_ACL_RM_API_INT_CMD_INIT,
                              zv_acl_rm_init_params_t{0, chip_type, 0}, status);
}

int zv_acl_rm_api_acl_set(zv_acl_rm_client_t *client, zv_acl_rm_acl_set_params_t *params,
                          zv_acl_rm_status_t *status) {
    if (client == nullptr || params == nullptr || status == nullptr) {
        return EINVAL;
    }
    params->client_handle = client->handle;
    return exchange(client, {ZV_ACL_RM_API_INT_CMD_ACL_SET, params, sizeof(*params)},
                    {&params->acl, sizeof(params->acl)}, status);
}

int zv_acl_rm_api_acl_resize(zv_acl_rm_client_t *client, zv_acl_rm_acl_resize_params_t *params,
                             zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, params, status);
}

int zv_acl_rm_api_acl_rule_set(zv_acl_rm_client_t *client, zv_acl_rm_acl_rule_set_params_t *params,
                               zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, params, status);
}

int zv_acl_rm_api_acl_rule_get(zv_acl_rm_client_t *client, zv_acl_rm_acl_rule_get_params_t *params,
                               zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, params, status);
}

int zv_acl_rm_api_acl_rule_move_block(zv_acl_rm_client_t *client,
                                      const zv_acl_rm_acl_rule_move_block_params_t *params,
                                      zv_acl_rm_status_t *status) {
    if (params == nullptr) {
        return EINVAL;
    }
    return call_without_reply(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, *params, status);
}

int zv_acl_rm_api_acl_port_bind(zv_acl_rm_client_t *client,
                                zv_acl_rm_acl_port_bind_params_t *params,
                                zv_acl_rm_status_t *status) {
    if (params != nullptr && too_many_ports(params->ports_num)) {
        return EINVAL;
    }
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, params, status);
}

int zv_acl_rm_api_acl_rif_bind(zv_acl_rm_client_t *client, zv_acl_rm_acl_rif_bind_params_t *params,
                               zv_acl_rm_status_t *status) {
    if (params != nullptr && too_many_ports(params->rifs_num)) {
        return EINVAL;
    }
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, params, status);
}

int zv_acl_rm_api_counter_set(zv_acl_rm_client_t *client, zv_acl_rm_counter_set_params_t *params,
                              zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, params, status);
}

int zv_acl_rm_api_counter_get(zv_acl_rm_client_t *client, zv_acl_rm_counter_get_params_t *params,
                              zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, params, status);
}

int zv_acl_rm_api_mc_group_set(zv_acl_rm_client_t *client, zv_acl_rm_mc_group_set_params_t *params,
                               zv_acl_rm_status_t *status) {
    if (params != nullptr && too_many_ports(params->ports_num)) {
        return EINVAL;
    }
    return call(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, params, status);
}

int zv_acl_rm_api_mc_group_get(zv_acl_rm_client_t *client, zv_acl_rm_mc_group_get_params_t *params,
                               zv_acl_rm_status_t *status) {
    if (params != nullptr && too_many_ports(params->ports_num)) {
        return EINVAL;
    }
    return call(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, params, status);
}

int zv_acl_rm_api_system_bind_set(zv_acl_rm_client_t *client,
                                  zv_acl_rm_acl_system_bind_params_t *params,
                                  zv_acl_rm_status_t *status) {
    return call(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, params, status);
}

int zv_acl_rm_api_port_set(zv_acl_rm_client_t *client, zv_acl_rm_port_set_params_t *params,
                           zv_acl_rm_status_t *status) {
    if (params != nullptr && too_many_ports(params->ports_num)) {
        return EINVAL;
    }
    return call(client, ZV_ACL_RM_API_INT_CMD_PORT_SET, params, status);
}

int zv_acl_rm_api_dump(zv_acl_rm_client_t *client, const char *path, zv_acl_rm_status_t *status) {
    if (client == nullptr || path == nullptr || path[0] == '\0' || status == nullptr) {
        return EINVAL;
    }
    const size_t bytes = strnlen(path, kPathBytes) + 1;
    if (bytes > kPathBytes) {
        return ENAMETOOLONG;
    }
    zv_acl_rm_dump_params_t params{client->handle, 0};
    return exchange(
        client,
        {ZV_ACL_RM_API_INT_CMD_DUMP, &params, sizeof(params), path, static_cast<uint32_t>(bytes)},
        {&params, sizeof(params)}, status);
}

int zv_acl_rm_api_acl_rule_set_send(zv_acl_rm_client_t *client,
                                    zv_acl_rm_acl_rule_set_params_t *params, uint32_t *sequence) {
    if (client == nullptr || params == nullptr || sequence == nullptr) {
        return EINVAL;
    }
    if (client->outstanding >= ZV_ACL_RM_MAX_IN_FLIGHT) {
        return EAGAIN;
    }
    params->client_handle = client->handle;
    const int error = zv_rpc_client_send(client->rpc, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, params,
                                         sizeof(*params), nullptr, 0, sequence, client->timeout_ms);
    if (error == 0) {
        client->outstanding++;
    }
    return error;
}

int zv_acl_rm_api_acl_rule_set_receive(zv_acl_rm_client_t *client,
                                       zv_acl_rm_acl_rule_set_params_t *params, uint32_t *sequence,
                                       zv_acl_rm_status_t *status) {
    if (client == nullptr || sequence == nullptr || status == nullptr) {
        return EINVAL;
    }
    if (client->outstanding == 0) {
        return ENOMSG;
    }
    alignas(8) uint8_t received[kLargestReply];
    uint32_t received_len = sizeof(received);
    uint32_t answer = 0;
    const int error = zv_rpc_client_receive(client->rpc, sequence, received, &received_len, &answer,
                                            client->timeout_ms);
    if (error == ETIMEDOUT) {
        return error;
    }
    client->outstanding--;
    if (error != 0) {
        return name_error(error);
    }
    return take_reply(received, received_len, answer, {params, sizeof(*params)}, status);
}

int zv_acl_rm_api_raw(zv_acl_rm_client_t *client, uint32_t command, const void *body,
                      uint32_t body_len, const void *attachment, uint32_t attachment_len,
                      void *reply, uint32_t *reply_len, zv_acl_rm_status_t *status) {
    if (client == nullptr || status == nullptr) {
        return EINVAL;
    }
    uint32_t answer = 0;
    const int error =
        zv_rpc_client_call(client->rpc, command, body, body_len, attachment, attachment_len, reply,
                           reply_len, &answer, client->timeout_ms);
    if (error == 0 || error == ENOBUFS) {
        *status = answer;
    }
    return error;
}

}  // extern "C"
