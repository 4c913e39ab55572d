#include "tests/rpc/handler_rows.h"

#include "core/acl_rm_cache.h"
#include "core/db/acl_rm_db.h"
#include "rpc/acl_rm_rpc_handlers.h"
#include "zv_log.h"

namespace zv_unit {
namespace {

constexpr char PREFIX[] = "ZV_ACL_RM_API_INT_CMD_";
uint8_t untouched_body;
constexpr uint32_t UNTOUCHED_LENGTH = 0xabcdef;

}  // namespace

std::ostream &operator<<(std::ostream &out, const HandlerPromise &row) {
    return out << row.command_name;
}

const std::vector<HandlerPromise> &handler_promises() {
    static const auto &rows = *new std::vector<HandlerPromise>{
        {2, "ZV_ACL_RM_API_INT_CMD_OPEN", "acl_rm_rpc_open", acl_rm_rpc_open, 16,
         "got message zv_acl_rm_api_open.\n", "failed to received zv_acl_rm_api_open len ", ".\n",
         "failed in acl_rm_open_new_client. acl_ret_status:=", ".\n", false, 0, 0},
        {3, "ZV_ACL_RM_API_INT_CMD_INIT", "acl_rm_rpc_init", acl_rm_rpc_init, 16,
         "got message zv_acl_rm_api_init.\n", "failed to received zv_acl_rm_api_open len ", ".\n",
         "failed in acl_rm_init. acl_ret_status:=", ".\n", false, 0, 0},
        {4, "ZV_ACL_RM_API_INT_CMD_ACL_SET", "acl_rm_rpc_acl_set", acl_rm_rpc_acl_set, 48,
         "got message zv_acl_rm_api_acl_set.\n", "failed to receive zv_acl_rm_api_acl_set len ",
         ".\n", "failed in acl_rm_set acl_ret_status:=", ".\n", false, 12, 32},
        {5, "ZV_ACL_RM_API_INT_CMD_ACL_RESIZE", "acl_rm_rpc_acl_resize", acl_rm_rpc_acl_resize, 16,
         "got message acl_rm_rpc_acl_resize.\n", "failed to receive acl_rm_resize_params len ",
         ".\n", "failed in acl_rm_acl_resize acl_ret_status:=", ".\n", false, 0, 16},
        {6, "ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET", "acl_rm_rpc_acl_rule_set",
         acl_rm_rpc_acl_rule_set, 7224, "got message zv_acl_rm_api_acl_rule_set.\n",
         "failed to received zv_acl_rm_api_acl_rule_set len ", ".\n",
         "failed to in acl_rm_acl_rule_set. acl_ret_status:=", ".\n", false, 0, 7224},
        {7, "ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET", "acl_rm_rpc_acl_rule_get",
         acl_rm_rpc_acl_rule_get, 7224, "got message zv_acl_rm_api_acl_rule_get\n",
         "failed to received zv_acl_rm_api_acl_rule_get len ", "\n",
         "failed to in acl_rm_acl_rule_get. acl_ret_status:=", "\n", false, 0, 7224},
        {8, "ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK", "acl_rm_rpc_acl_rule_move_block",
         acl_rm_rpc_acl_rule_move_block, 24, "got message zv_acl_rm_api_acl_rule_move_block.\n",
         "failed to received zv_acl_rm_api_acl_rule_move_block len ", ".\n",
         "failed to in zv_acl_rm_api_acl_rule_move_block. acl_ret_status:=", "\n", false, 0, 0},
        {9, "ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET", "acl_rm_rpc_acl_bind_port_set",
         acl_rm_rpc_acl_bind_port_set, 424, "got message zv_acl_rm_api_acl_port_bind.\n",
         "failed to received zv_acl_rm_api_acl_port_bind len ", ".\n",
         "failed in acl_rm_bind. acl_ret_status:=", ".\n", false, 0, 424},
        {10, "ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET", "acl_rm_rpc_acl_bind_rif_set",
         acl_rm_rpc_acl_bind_rif_set, 224, "got message zv_acl_rm_api_acl_rif_bind.\n",
         "failed to received zv_acl_rm_api_acl_rif_bind len ", ".\n",
         "failed in acl_rm_rif_bind. acl_ret_status:=", ".\n", false, 0, 224},
        {11, "ZV_ACL_RM_API_INT_CMD_COUNTER_SET", "acl_rm_rpc_counter_set", acl_rm_rpc_counter_set,
         24, "got message acl_rm_rpc_counter_set.\n",
         "failed to received zv_acl_rm_api_counter_bind_params_t len ", ".\n",
         "failed in acl_rm_rpc_counter_bind. acl_ret_status:=", ".\n", false, 0, 24},
        {12, "ZV_ACL_RM_API_INT_CMD_COUNTER_GET", "acl_rm_rpc_counter_get", acl_rm_rpc_counter_get,
         40, "got message zv_acl_rm_api_counter_get.\n",
         "failed to received zv_acl_rm_api_counter_get len ", ".\n",
         "failed in acl_rm_rpc_counter_get. acl_ret_status:=", ".\n", false, 0, 40},
        {13, "ZV_ACL_RM_API_INT_CMD_MC_GRP_SET", "acl_rm_rpc_mc_grp_set", acl_rm_rpc_mc_grp_set,
         424, "", "failed to receive zv_acl_rm_api_acl_mc_group_set len ", ".\n",
         "failed in acl_rm_acl_mc_group_set. acl_ret_status:=", ".\n", false, 0, 424},
        {14, "ZV_ACL_RM_API_INT_CMD_MC_GRP_GET", "acl_rm_rpc_mc_grp_get", acl_rm_rpc_mc_grp_get,
         416, "", "failed to receive zv_acl_rm_api_acl_mc_group_get len ", ".\n",
         "failed in acl_rm_acl_mc_group_get. acl_ret_status:=", ".\n", false, 0, 416},
        {15, "ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET", "acl_rm_rpc_system_bind_set",
         acl_rm_rpc_system_bind_set, 16, "got message zv_acl_rm_api_acl_system_bind_set.\n",
         "received message of size ", "", "acl_rm_rpc_system_bind_set: error ",
         " performing acl_rm_acl_system_bind_set", true, 0, 16},
        {16, "ZV_ACL_RM_API_INT_CMD_PORT_SET", "acl_rm_rpc_port_set", acl_rm_rpc_port_set, 416,
         "got message zv_acl_rm_api_port_set.\n", "received message of size ", "",
         "acl_rm_rpc_port_set: error ", " performing acl_rm_port_set", true, 0, 416},
        {17, "ZV_ACL_RM_API_INT_CMD_DUMP", "acl_rm_rpc_dump", acl_rm_rpc_dump, 16,
         "got message zv_acl_rm_api_dump.\n", "received message of size ", "",
         "acl_rm_rpc_dump: error ", " performing acl_rm_dump", true, 0, 16},
    };
    return rows;
}

const HandlerPromise &promise_of(uint32_t command_id) {
    return handler_promises().at(command_id - 2);
}

std::string length_text(const HandlerPromise &row, uint32_t length) {
    // Received lengths are printed as they come, by "%d" in the older texts.
    const std::string number =
        row.fails_at_error ? std::to_string(length) : std::to_string(static_cast<int32_t>(length));
    return row.length_text_head + number + row.length_text_tail;
}

std::string failure_text(const HandlerPromise &row, uint32_t status) {
    return row.failure_text_head + std::to_string(status) + row.failure_text_tail;
}

std::string short_name(const HandlerPromise &row) {
    return std::string(row.command_name).substr(sizeof(PREFIX) - 1);
}

Line rpc_line(uint32_t mask, const std::string &text) {
    return line(mask, text, "ACL_RM_RPC");
}

bool Reply::is_untouched() const {
    return body == &untouched_body && length == UNTOUCHED_LENGTH;
}

Reply call(const HandlerPromise &row, void *body, uint32_t length) {
    Reply reply = {0, &untouched_body, UNTOUCHED_LENGTH};
    reply.status = row.handler(static_cast<uint8_t *>(body), length, &reply.body, &reply.length);
    return reply;
}

void HandlerFixture::SetUp() {
    record_calls(dir_.file("trace"));
    capture_log();
}

void HandlerFixture::TearDown() {
    clear_faults();
    zv_log_close();
}

void ServingFixture::SetUp() {
    HandlerFixture::SetUp();
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
}

void ServingFixture::TearDown() {
    acl_rm_db_counter_deinit();
    acl_rm_internal_acl_rm_cache_deinit();
    HandlerFixture::TearDown();
}

}  // namespace zv_unit
