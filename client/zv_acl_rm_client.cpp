/* The client object over the platform's RPC client.
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

#include "client/client_object.h"

using zv_acl_rm_lib::CommandRow;
using zv_acl_rm_lib::Pending;

namespace {

constexpr uint32_t kLargestReply = sizeof(zv_acl_rm_acl_rule_set_params_t);

/* A command's record on its way out. */
struct Request {
    const CommandRow *row = nullptr;
    const void *body = nullptr;
    const char *attachment = nullptr;
    uint32_t attachment_len = 0;
    zv_acl_rm_dump_params_t dump = {}; /* what is sent of a DUMP, whose path travels beside it */
};

/* The caller's handle is filled in even where the record is not sent: it never holds another. */
int prepare(const zv_acl_rm_client_t *client, uint32_t command, void *record, uint32_t record_len,
            Request *request) {
    const CommandRow *row = zv_acl_rm_lib::find_row(command);
    if (row == nullptr || record == nullptr || record_len != row->record_bytes) {
        return EINVAL;
    }
    std::memcpy(record, &client->handle, sizeof(client->handle));
    if (const int error = row->check == nullptr ? 0 : row->check(record); error != 0) {
        return error;
    }
    request->row = row;
    request->body = record;
    if (command == ZV_ACL_RM_API_INT_CMD_DUMP) {
        const auto *params = static_cast<const zv_acl_rm_dump_params_t *>(record);
        request->attachment = reinterpret_cast<const char *>(static_cast<uintptr_t>(params->path));
        request->attachment_len = static_cast<uint32_t>(std::strlen(request->attachment)) + 1;
        request->dump.client_handle = client->handle;
        request->body = &request->dump;
    }
    return 0;
}

struct Received {
    alignas(8) uint8_t bytes[kLargestReply];
    uint32_t len = sizeof(bytes);
    uint32_t status = 0;
};

/* Copies a good reply out; a failing command has no body, whatever its record's size. */
int take_reply(const CommandRow &row, const Received &received, void *record,
               zv_acl_rm_status_t *status) {
    if (received.status == ZV_ACL_RM_STATUS_SUCCESS) {
        if (received.len != row.reply_bytes) {
            return EPROTO;
        }
        if (record != nullptr && row.reply_bytes != 0) {
            std::memcpy(static_cast<uint8_t *>(record) + row.reply_at, received.bytes,
                        row.reply_bytes);
        }
    }
    *status = received.status;
    return 0;
}

/* The handle is registered also where the switch could not be opened. */
void note_open(zv_acl_rm_client_t *client, const CommandRow &row, uint32_t owner,
               zv_acl_rm_status_t status) {
    const bool taken = status == ZV_ACL_RM_STATUS_SUCCESS || status == ZV_ACL_RM_STATUS_ERROR;
    if (row.command == ZV_ACL_RM_API_INT_CMD_OPEN && taken) {
        client->opened_as |= 1u << owner;
    }
}

uint32_t owner_of(const Request &request) {
    if (request.row->command != ZV_ACL_RM_API_INT_CMD_OPEN) {
        return 0;
    }
    return static_cast<const zv_acl_rm_open_params_t *>(request.body)->owner;
}

/* A reply longer than any of the protocol's is as wrong as one of any other unexpected size. (A
 * call knows it by the length, as the system may have no room for a request either.) */
int name_error(int error) {
    return error == ENOBUFS ? EPROTO : error;
}

/* Whether a failing receive has used its request up. Once the daemon has gone, each call reports
 * one of those it owes. */
bool is_final(int error) {
    switch (error) {
        case 0:
        case EBADMSG:
        case EOPNOTSUPP:
        case EMSGSIZE:
        case ESHUTDOWN:
        case ENOBUFS:
        case ECONNRESET:
        case EPROTO:
            return true;
        default: /* ETIMEDOUT, and whatever kept the kernel from handing over what is there */
            return false;
    }
}

/* Whether the transport has said to which request its error belongs. */
bool has_sequence(int error) {
    return error != ECONNRESET && error != EPROTO;
}

Pending pop_oldest(zv_acl_rm_client_t *client) {
    const Pending pending = client->pending[client->oldest];
    client->oldest = (client->oldest + 1) % ZV_ACL_RM_MAX_IN_FLIGHT;
    client->pending_num--;
    return pending;
}

void push(zv_acl_rm_client_t *client, const Pending &pending) {
    client->pending[(client->oldest + client->pending_num) % ZV_ACL_RM_MAX_IN_FLIGHT] = pending;
    client->pending_num++;
}

/* Whether the caller's record has room for the record of the oldest request. */
bool has_room(const zv_acl_rm_client_t *client, const void *record, const uint32_t *record_len) {
    return record == nullptr || *record_len >= client->pending[client->oldest].row->record_bytes;
}

}  // namespace

int zv_acl_rm_lib::perform(zv_acl_rm_client_t *client, uint32_t command, void *record,
                           uint32_t record_len, zv_acl_rm_status_t *status) {
    if (client == nullptr || status == nullptr) {
        return EINVAL;
    }
    Request request;
    if (const int error = prepare(client, command, record, record_len, &request); error != 0) {
        return error;
    }
    Received received;
    int error = zv_rpc_client_call(client->rpc, command, request.body, record_len,
                                   request.attachment, request.attachment_len, received.bytes,
                                   &received.len, &received.status, client->timeout_ms);
    if (error != 0) {
        return received.len > sizeof(received.bytes) ? name_error(error) : error;
    }
    const uint32_t owner = owner_of(request);
    error = take_reply(*request.row, received, record, status);
    if (error == 0) {
        note_open(client, *request.row, owner, *status);
    }
    return error;
}

extern "C" {

int zv_acl_rm_client_connect(const char *socket_path, uint64_t handle,
                             zv_acl_rm_client_t **client) {
    if (client == nullptr) {
        return EINVAL;
    }
    *client = nullptr;
    auto *made = new (std::nothrow) zv_acl_rm_client;
    if (made == nullptr) {
        return ENOMEM;
    }
    made->handle = handle;
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

int zv_acl_rm_client_submit(zv_acl_rm_client_t *client, uint32_t command, void *record,
                            uint32_t record_len, uint32_t *sequence) {
    if (client == nullptr || sequence == nullptr) {
        return EINVAL;
    }
    Request request;
    int error = prepare(client, command, record, record_len, &request);
    if (error != 0) {
        return error;
    }
    if (client->pending_num >= ZV_ACL_RM_MAX_IN_FLIGHT) {
        return EAGAIN;
    }
    error = zv_rpc_client_send(client->rpc, command, request.body, record_len, request.attachment,
                               request.attachment_len, sequence, client->timeout_ms);
    if (error == 0) {
        push(client, {*sequence, owner_of(request), request.row});
    }
    return error;
}

int zv_acl_rm_client_collect(zv_acl_rm_client_t *client, uint32_t *sequence, void *record,
                             uint32_t *record_len, zv_acl_rm_status_t *status) {
    const bool is_valid = client != nullptr && sequence != nullptr && status != nullptr &&
                          (record == nullptr) == (record_len == nullptr);
    if (!is_valid) {
        return EINVAL;
    }
    if (client->pending_num == 0) {
        return ENOMSG;
    }
    if (!has_room(client, record, record_len)) {
        return ENOBUFS;
    }
    Received received;
    uint32_t number = 0;
    const int error = zv_rpc_client_receive(client->rpc, &number, received.bytes, &received.len,
                                            &received.status, client->timeout_ms);
    if (!is_final(error)) {
        return error;
    }
    const Pending pending = pop_oldest(client);
    *sequence = pending.sequence;
    if (has_sequence(error) && number != pending.sequence) {
        return EPROTO;
    }
    if (error != 0) {
        return name_error(error);
    }
    const int result = take_reply(*pending.row, received, record, status);
    if (result != 0) {
        return result;
    }
    note_open(client, *pending.row, pending.owner, *status);
    if (record_len != nullptr) {
        *record_len = *status == ZV_ACL_RM_STATUS_SUCCESS ? pending.row->reply_bytes : 0;
    }
    return 0;
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
