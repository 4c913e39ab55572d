#include "rpc/acl_rm_rpc_handlers.h"

#include <cstddef>

#include "core/acl_rm.h"
#include "core/acl_rm_owner.h"
#include "daemon/device_limits.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

// What the handlers have in common stands here once; what differs is a row of data per handler:
// the record's length, the texts and where the reply lies. INIT has two failure texts and stands
// on its own below.

namespace {

// How a failure of the core is logged. The last three commands follow a pattern of their own: the
// handler's name in the text, error level, and a check of the body (kept).
enum class FailureStyle { status_at_info, name_and_status_at_error };

struct HandlerRow {
    const char *name;
    uint32_t length;           // bytes a record must have
    const char *entry_text;    // null: none
    const char *length_text;   // takes the received length
    const char *failure_text;  // takes the status, or name and status
    uint32_t reply_offset;     // of the reply within the record
    uint32_t reply_length;     // 0: no reply
    FailureStyle failure_style = FailureStyle::status_at_info;
};

template <class Record>
constexpr uint32_t size_of = static_cast<uint32_t>(sizeof(Record));

constexpr HandlerRow open_row = {"acl_rm_rpc_open",
                                 size_of<zv_acl_rm_open_params_t>,
                                 "got message zv_acl_rm_api_open.\n",
                                 "failed to received zv_acl_rm_api_open len %d.\n",
                                 "failed in acl_rm_open_new_client. acl_ret_status:=%u.\n",
                                 0,
                                 0};
constexpr HandlerRow init_row = {"acl_rm_rpc_init", size_of<zv_acl_rm_init_params_t>,
                                 "got message zv_acl_rm_api_init.\n",
                                 // Kept: INIT reports a wrong length in OPEN's words.
                                 "failed to received zv_acl_rm_api_open len %d.\n",
                                 "failed in acl_rm_init. acl_ret_status:=%u.\n", 0, 0};
constexpr HandlerRow acl_set_row = {"acl_rm_rpc_acl_set",
                                    size_of<zv_acl_rm_acl_set_params_t>,
                                    "got message zv_acl_rm_api_acl_set.\n",
                                    "failed to receive zv_acl_rm_api_acl_set len %d.\n",
                                    "failed in acl_rm_set acl_ret_status:=%u.\n",
                                    offsetof(zv_acl_rm_acl_set_params_t, acl),
                                    size_of<acl_rm_acl>};
constexpr HandlerRow acl_resize_row = {"acl_rm_rpc_acl_resize",
                                       size_of<zv_acl_rm_acl_resize_params_t>,
                                       "got message acl_rm_rpc_acl_resize.\n",
                                       "failed to receive acl_rm_resize_params len %d.\n",
                                       "failed in acl_rm_acl_resize acl_ret_status:=%u.\n",
                                       0,
                                       size_of<zv_acl_rm_acl_resize_params_t>};
constexpr HandlerRow rule_set_row = {"acl_rm_rpc_acl_rule_set",
                                     size_of<zv_acl_rm_acl_rule_set_params_t>,
                                     "got message zv_acl_rm_api_acl_rule_set.\n",
                                     "failed to received zv_acl_rm_api_acl_rule_set len %d.\n",
                                     "failed to in acl_rm_acl_rule_set. acl_ret_status:=%u.\n",
                                     0,
                                     size_of<zv_acl_rm_acl_rule_set_params_t>};
constexpr HandlerRow rule_get_row = {"acl_rm_rpc_acl_rule_get",
                                     size_of<zv_acl_rm_acl_rule_get_params_t>,
                                     "got message zv_acl_rm_api_acl_rule_get\n",
                                     "failed to received zv_acl_rm_api_acl_rule_get len %d\n",
                                     "failed to in acl_rm_acl_rule_get. acl_ret_status:=%u\n",
                                     0,
                                     size_of<zv_acl_rm_acl_rule_get_params_t>};
constexpr HandlerRow rule_move_block_row = {
    "acl_rm_rpc_acl_rule_move_block",
    size_of<zv_acl_rm_acl_rule_move_block_params_t>,
    "got message zv_acl_rm_api_acl_rule_move_block.\n",
    "failed to received zv_acl_rm_api_acl_rule_move_block len %d.\n",
    "failed to in zv_acl_rm_api_acl_rule_move_block. acl_ret_status:=%u\n",
    0,
    0};
constexpr HandlerRow port_bind_row = {"acl_rm_rpc_acl_bind_port_set",
                                      size_of<zv_acl_rm_acl_port_bind_params_t>,
                                      "got message zv_acl_rm_api_acl_port_bind.\n",
                                      "failed to received zv_acl_rm_api_acl_port_bind len %d.\n",
                                      "failed in acl_rm_bind. acl_ret_status:=%u.\n",
                                      0,
                                      size_of<zv_acl_rm_acl_port_bind_params_t>};
constexpr HandlerRow rif_bind_row = {"acl_rm_rpc_acl_bind_rif_set",
                                     size_of<zv_acl_rm_acl_rif_bind_params_t>,
                                     "got message zv_acl_rm_api_acl_rif_bind.\n",
                                     "failed to received zv_acl_rm_api_acl_rif_bind len %d.\n",
                                     "failed in acl_rm_rif_bind. acl_ret_status:=%u.\n",
                                     0,
                                     size_of<zv_acl_rm_acl_rif_bind_params_t>};
constexpr HandlerRow counter_set_row = {
    "acl_rm_rpc_counter_set",
    size_of<zv_acl_rm_counter_set_params_t>,
    "got message acl_rm_rpc_counter_set.\n",
    "failed to received zv_acl_rm_api_counter_bind_params_t len %d.\n",
    "failed in acl_rm_rpc_counter_bind. acl_ret_status:=%u.\n",
    0,
    size_of<zv_acl_rm_counter_set_params_t>};
constexpr HandlerRow counter_get_row = {"acl_rm_rpc_counter_get",
                                        size_of<zv_acl_rm_counter_get_params_t>,
                                        "got message zv_acl_rm_api_counter_get.\n",
                                        "failed to received zv_acl_rm_api_counter_get len %d.\n",
                                        "failed in acl_rm_rpc_counter_get. acl_ret_status:=%u.\n",
                                        0,
                                        size_of<zv_acl_rm_counter_get_params_t>};
constexpr HandlerRow mc_group_set_row = {
    "acl_rm_rpc_mc_grp_set",
    size_of<zv_acl_rm_mc_group_set_params_t>,
    nullptr,
    "failed to receive zv_acl_rm_api_acl_mc_group_set len %d.\n",
    "failed in acl_rm_acl_mc_group_set. acl_ret_status:=%u.\n",
    0,
    size_of<zv_acl_rm_mc_group_set_params_t>};
constexpr HandlerRow mc_group_get_row = {
    "acl_rm_rpc_mc_grp_get",
    size_of<zv_acl_rm_mc_group_get_params_t>,
    nullptr,
    "failed to receive zv_acl_rm_api_acl_mc_group_get len %d.\n",
    "failed in acl_rm_acl_mc_group_get. acl_ret_status:=%u.\n",
    0,
    size_of<zv_acl_rm_mc_group_get_params_t>};
constexpr HandlerRow system_bind_row = {"acl_rm_rpc_system_bind_set",
                                        size_of<zv_acl_rm_acl_system_bind_params_t>,
                                        "got message zv_acl_rm_api_acl_system_bind_set.\n",
                                        "received message of size %u",
                                        "%s: error %d performing acl_rm_acl_system_bind_set",
                                        0,
                                        size_of<zv_acl_rm_acl_system_bind_params_t>,
                                        FailureStyle::name_and_status_at_error};
constexpr HandlerRow port_set_row = {"acl_rm_rpc_port_set",
                                     size_of<zv_acl_rm_port_set_params_t>,
                                     "got message zv_acl_rm_api_port_set.\n",
                                     "received message of size %u",
                                     "%s: error %d performing acl_rm_port_set",
                                     0,
                                     size_of<zv_acl_rm_port_set_params_t>,
                                     FailureStyle::name_and_status_at_error};
constexpr HandlerRow dump_row = {"acl_rm_rpc_dump",
                                 size_of<zv_acl_rm_dump_params_t>,
                                 "got message zv_acl_rm_api_dump.\n",
                                 "received message of size %u",
                                 "%s: error %d performing acl_rm_dump",
                                 0,
                                 size_of<zv_acl_rm_dump_params_t>,
                                 FailureStyle::name_and_status_at_error};

// The texts are the rows', so the compiler cannot see the formats; every one is tested.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// One of a row's texts, and the line that says it; the function is the handler.
struct RowText {
    const char *text;
    int line;
    // Implicit, so that the line is the caller's.
    RowText(const char *row_text, int here = __builtin_LINE()) : text(row_text), line(here) {}
};

template <class... Arguments>
void log_text(const HandlerRow &row, LogLevel level, RowText text, Arguments... arguments) {
    if (text.text != nullptr && rpc_log.logs(level))
        rpc_log.write(level, LogSite{row.name, text.line}, text.text, arguments...);
}

#pragma GCC diagnostic pop

// Entry, length and body; SUCCESS when the record may be read.
zv_acl_rm_status_t check_record(const HandlerRow &row, const uint8_t *body, uint32_t body_len) {
    log_text(row, LogLevel::info, row.entry_text);
    if (body_len != row.length) {
        log_text(row, LogLevel::error, row.length_text, body_len);
        return ZV_ACL_RM_STATUS_ERROR;
    }
    if (body != nullptr)
        return ZV_ACL_RM_STATUS_SUCCESS;
    log_text(row, LogLevel::error, "receive message body is NULL");
    // Kept for the last three: not PARAM_NULL. The others have a status of their own for it, since
    // the library never sends a body without bytes of the right length.
    return row.failure_style == FailureStyle::name_and_status_at_error
               ? ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND
               : ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE;
}

zv_acl_rm_status_t log_failure(const HandlerRow &row, zv_acl_rm_status_t status) {
    if (row.failure_style == FailureStyle::name_and_status_at_error)
        log_text(row, LogLevel::error, row.failure_text, row.name, status);
    else
        log_text(row, LogLevel::info, row.failure_text, status);
    return status;
}

void set_reply(const HandlerRow &row, uint8_t *body, uint8_t **reply, uint32_t *reply_len) {
    *reply = row.reply_length == 0 ? nullptr : body + row.reply_offset;
    *reply_len = row.reply_length;
}

// What every handler does around its operation, which gets the record.
template <class Record, class Operation>
zv_acl_rm_status_t serve(const HandlerRow &row, uint8_t *body, uint32_t body_len, uint8_t **reply,
                         uint32_t *reply_len, Operation operation) {
    zv_acl_rm_status_t status = check_record(row, body, body_len);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    status = operation(reinterpret_cast<Record *>(body));
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return log_failure(row, status);
    set_reply(row, body, reply, reply_len);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

ACL_RM_RPC_HANDLER(acl_rm_rpc_open) {
    return serve<zv_acl_rm_open_params_t>(
        open_row, body, body_len, reply, reply_len, [](const zv_acl_rm_open_params_t *record) {
            return acl_rm_open_new_client(record->client_handle, record->owner);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_init) {
    zv_acl_rm_status_t status = check_record(init_row, body, body_len);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const auto *record = reinterpret_cast<const zv_acl_rm_init_params_t *>(body);
    status = acl_rm_init(record->client_handle, 0);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return log_failure(init_row, status);
    const uint32_t result = acl_rm_resources_init(record->chip_type);
    if (result != 0) {
        log_text(init_row, LogLevel::info, "ACL RM init resources failed. acl_ret_status:=%u.\n",
                 result);
        return ZV_ACL_RM_STATUS_ERROR;
    }
    set_reply(init_row, body, reply, reply_len);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_set) {
    return serve<zv_acl_rm_acl_set_params_t>(
        acl_set_row, body, body_len, reply, reply_len, [](zv_acl_rm_acl_set_params_t *record) {
            const zv_acl_rm_status_t status =
                acl_rm_acl_set(record->client_handle, record->cmd, &record->acl);
            if (status == ZV_ACL_RM_STATUS_SUCCESS)
                log_text(acl_set_row, LogLevel::info, "acl id to send [%u].\n", record->acl.acl_id);
            return status;
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_resize) {
    return serve<zv_acl_rm_acl_resize_params_t>(
        acl_resize_row, body, body_len, reply, reply_len,
        [](const zv_acl_rm_acl_resize_params_t *record) {
            return acl_rm_acl_resize(record->client_handle, record->acl_id, &record->new_size);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_set) {
    return serve<zv_acl_rm_acl_rule_set_params_t>(
        rule_set_row, body, body_len, reply, reply_len,
        [](zv_acl_rm_acl_rule_set_params_t *record) {
            return acl_rm_acl_rule_set(record->client_handle, record->cmd, record->acl_id,
                                       record->rules, &record->rules_num);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_get) {
    return serve<zv_acl_rm_acl_rule_get_params_t>(rule_get_row, body, body_len, reply, reply_len,
                                                  [](zv_acl_rm_acl_rule_get_params_t *record) {
                                                      return acl_rm_acl_rule_get(
                                                          record->client_handle, record->acl_id,
                                                          record->rules, record->rules_num);
                                                  });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_rule_move_block) {
    return serve<zv_acl_rm_acl_rule_move_block_params_t>(
        rule_move_block_row, body, body_len, reply, reply_len,
        [](const zv_acl_rm_acl_rule_move_block_params_t *record) {
            return acl_rm_acl_rule_move_block(record->client_handle, record->acl_id,
                                              record->block_start, record->block_size,
                                              record->new_start);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_bind_port_set) {
    return serve<zv_acl_rm_acl_port_bind_params_t>(
        port_bind_row, body, body_len, reply, reply_len,
        [](const zv_acl_rm_acl_port_bind_params_t *record) {
            return acl_rm_acl_port_bind_set(record->client_handle, record->cmd, record->acl_id,
                                            record->log_ports, &record->ports_num);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_acl_bind_rif_set) {
    return serve<zv_acl_rm_acl_rif_bind_params_t>(
        rif_bind_row, body, body_len, reply, reply_len,
        [](const zv_acl_rm_acl_rif_bind_params_t *record) {
            return acl_rm_acl_rif_bind_set(record->client_handle, record->cmd, record->acl_id,
                                           record->rifs, &record->rifs_num);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_counter_set) {
    return serve<zv_acl_rm_counter_set_params_t>(
        counter_set_row, body, body_len, reply, reply_len,
        [](zv_acl_rm_counter_set_params_t *record) {
            return acl_rm_counter_set(record->client_handle, record->cmd, &record->counter_type,
                                      &record->counter_id);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_counter_get) {
    return serve<zv_acl_rm_counter_get_params_t>(
        counter_get_row, body, body_len, reply, reply_len,
        [](zv_acl_rm_counter_get_params_t *record) {
            return acl_rm_counter_get(record->client_handle, record->cmd, record->counter_id,
                                      &record->counter_type, record->values);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_mc_grp_set) {
    return serve<zv_acl_rm_mc_group_set_params_t>(
        mc_group_set_row, body, body_len, reply, reply_len,
        [](zv_acl_rm_mc_group_set_params_t *record) {
            return acl_rm_acl_mc_group_set(record->client_handle, record->cmd, &record->mc_group_id,
                                           record->log_ports, &record->ports_num);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_mc_grp_get) {
    return serve<zv_acl_rm_mc_group_get_params_t>(
        mc_group_get_row, body, body_len, reply, reply_len,
        [](zv_acl_rm_mc_group_get_params_t *record) {
            return acl_rm_acl_mc_group_get(record->client_handle, record->mc_group_id,
                                           record->log_ports, &record->ports_num);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_system_bind_set) {
    return serve<zv_acl_rm_acl_system_bind_params_t>(
        system_bind_row, body, body_len, reply, reply_len,
        [](const zv_acl_rm_acl_system_bind_params_t *record) {
            return acl_rm_acl_system_bind_set(record->client_handle, record->cmd, record->acl_id);
        });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_port_set) {
    return serve<zv_acl_rm_port_set_params_t>(port_set_row, body, body_len, reply, reply_len,
                                              [](const zv_acl_rm_port_set_params_t *record) {
                                                  return acl_rm_port_set(
                                                      record->client_handle, record->cmd,
                                                      record->log_ports, record->ports_num);
                                              });
}

ACL_RM_RPC_HANDLER(acl_rm_rpc_dump) {
    return serve<zv_acl_rm_dump_params_t>(
        dump_row, body, body_len, reply, reply_len, [](const zv_acl_rm_dump_params_t *record) {
            return acl_rm_dump(reinterpret_cast<const char *>(record->path));
        });
}
