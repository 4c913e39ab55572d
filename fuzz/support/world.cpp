// A process of the daemon builds all of this once. Here each piece is put back to its first value.
#include "fuzz/support/world.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "core/acl_rm_owner.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "fuzz/support/counter_db.h"
#include "fuzz/support/fuzz.h"
#include "platform/sim/faults.h"
#include "platform/switch/state.h"
#include "rpc/acl_rm_rpc_server.h"
#include "tests/support/cache_dump.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_log.h"
#include "zv_rm_resource.h"

namespace zv_fuzz {
namespace {

constexpr size_t kMaxDump = 65535;
constexpr uint32_t kFirstCommand = ZV_ACL_RM_API_INT_CMD_OPEN;

// In the order of the commands.
constexpr uint32_t kRecordLengths[] = {
    sizeof(zv_acl_rm_open_params_t),
    sizeof(zv_acl_rm_init_params_t),
    sizeof(zv_acl_rm_acl_set_params_t),
    sizeof(zv_acl_rm_acl_resize_params_t),
    sizeof(zv_acl_rm_acl_rule_set_params_t),
    sizeof(zv_acl_rm_acl_rule_get_params_t),
    sizeof(zv_acl_rm_acl_rule_move_block_params_t),
    sizeof(zv_acl_rm_acl_port_bind_params_t),
    sizeof(zv_acl_rm_acl_rif_bind_params_t),
    sizeof(zv_acl_rm_counter_set_params_t),
    sizeof(zv_acl_rm_counter_get_params_t),
    sizeof(zv_acl_rm_mc_group_set_params_t),
    sizeof(zv_acl_rm_mc_group_get_params_t),
    sizeof(zv_acl_rm_acl_system_bind_params_t),
    sizeof(zv_acl_rm_port_set_params_t),
    sizeof(zv_acl_rm_dump_params_t),
};

// Reads the whole text, as a sink that writes it would.
void swallow_line(uint32_t /*mask*/, const char *module, const char *message, ...) {
    if (strlen(module) + strlen(message) == 0) {
        fail("a line without module and text was logged");
    }
}

void demand(uint32_t status, const char *what) {
    if (status != 0) {
        fail("%s: status %u", what, status);
    }
}

// The tables take longer to build than a story takes to tell, so they are built with the first
// world and emptied with each.
void build_once() {
    static bool is_built = false;
    if (!is_built) {
        demand(zv_log_init(1, 0, swallow_line), "opening the log");
        demand(acl_rm_internal_acl_rm_cache_init(), "building the cache");
        demand(acl_rm_db_counter_deinit(), "releasing the counter database");
        forget_counter_db();
    }
    is_built = true;
}

struct Table {
    ht_zvlib_t **table;
    ht_iterator_zvlib_t **iterator;
};

constexpr Table kTables[] = {
    {&acl_rule_id_2_region_id_ht, &acl_rule_id_2_region_id_it},
    {&sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &sdk_acl_grp_2_sdk_acl_grp_info_table_it},
    {&acl_id_2_acl_id_info_table_ht, &acl_id_2_acl_id_info_table_it},
    {&port_id_2_sdk_acl_group_ht, &port_id_2_sdk_acl_group_it},
    {&logical_forward_port_2_forward_pbs_info_ht, &logical_forward_port_2_forward_pbs_info_it},
    {&mcg_id_2_mcg_id_info_table_ht, &mcg_id_2_mcg_id_info_table_it},
};

// Walks first and deletes then: an iterator does not outlive its entry.
void empty_table(const Table &row) {
    std::vector<std::string> keys;
    const size_t key_len = (*row.table)->key_size;
    demand(static_cast<uint32_t>(walk_table<char, void>(
               *row.iterator,
               [&](const char *key, const void *) { keys.emplace_back(key, key_len); })),
           "walking a table");
    for (const std::string &key : keys) {
        demand(ht_safe_remove(*row.table, key.data()), "emptying a table");
    }
}

void release_flags() {
    walk_table<PackedId, acl_id_info>(
        acl_id_2_acl_id_info_table_it,
        [](const PackedId * /*key*/, acl_id_info *info) { release_valid_offsets(info); });
}

void forget_globals() {
    is_initialized = 0;
    zv_sdk_handle = 0;
    g_acl_table_cnt = 0;
    g_rules_cnt = 0;
    g_acl_group_cnt = 0;
    rm_resource_global = {};
    rm_resource_global_default = {};
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; owner++) {
        acl_rm_clients_handles[owner] = 0;
        acl_rm_clients_priority[owner] = 4;
    }
    error_msg[0] = '\0';
}

// Where dumps go: memory that has a path.
int dump_fd() {
    static const int fd = memfd_create("zv_fuzz_dump", MFD_CLOEXEC);
    return fd;
}

}  // namespace

void fresh_switch() {
    zv_sim::faults_arm({});
    zv_sim::ports_replace(zv_sim::config().ports);
    zv_switch::Switch &sw = zv_switch::the_switch();
    const std::lock_guard lock(sw.mutex);
    sw.handles.clear();
    sw.next_handle = 0x5a560001;
    sw.regions = {};
    sw.entry_num = 0;
    sw.acls = {};
    sw.groups = {};
    sw.bindings.clear();
    sw.pbs = {};
    sw.counters = {};
}

World::World() {
    build_once();
    fresh_switch();
    forget_globals();
    demand(acl_rm_db_counter_init(MAX_COUNTERS_NUM), "building the counter database");
}

World::~World() {
    zv_sim::faults_arm({});
    release_flags();
    for (const Table &row : kTables) {
        empty_table(row);
    }
    demand(acl_rm_db_counter_deinit(), "releasing the counter database");
    forget_counter_db();
    fresh_switch();
}

uint32_t record_length(uint32_t command) {
    return kRecordLengths[command - kFirstCommand];
}

Answer serve(uint32_t command, const std::vector<uint8_t> &record, const char *path) {
    const zv_rpc_command_t &row = acl_rm_command_id[command - kFirstCommand];
    const auto len = static_cast<uint32_t>(record.size());
    const std::unique_ptr<uint8_t[]> body(len == 0 ? nullptr : new uint8_t[len]);
    if (len > 0) {
        memcpy(body.get(), record.data(), len);
    }
    const bool has_path =
        command == ZV_ACL_RM_API_INT_CMD_DUMP && len >= sizeof(zv_acl_rm_dump_params_t);
    if (has_path) {
        memcpy(&body[offsetof(zv_acl_rm_dump_params_t, path)], &path, sizeof(path));
    }
    uint8_t *reply = nullptr;
    uint32_t reply_len = 0;
    Answer answer = {row.handler(body.get(), len, &reply, &reply_len), {}};
    if (has_path) {
        memset(&body[offsetof(zv_acl_rm_dump_params_t, path)], 0, sizeof(path));
    }
    if (answer.status == 0 && reply_len > 0) {
        answer.body.assign(reply, reply + reply_len);
    }
    return answer;
}

std::string dump_text() {
    const std::string path = "/proc/self/fd/" + std::to_string(dump_fd());
    const uint32_t status = acl_rm_dump(path.c_str());
    demand(status, "dumping the cache");
    std::string text(2 * kMaxDump, '\0');
    const ssize_t len = pread(dump_fd(), text.data(), text.size(), 0);
    text.resize(len > 0 ? static_cast<size_t>(len) : 0);
    return text;
}

void check_cache(bool counts_agree) {
    const std::string text = dump_text();
    const zv_test::CacheDump dump = zv_test::parse_dump(text);
    if (!dump.complete && text.size() < kMaxDump) {
        fail("the dump cannot be read back:\n%s", text.c_str());
    }
    if (counts_agree && dump.complete && dump.rules_cnt != dump.rules.size()) {
        fail("g_rules_cnt is %u with %zu rules cached", dump.rules_cnt, dump.rules.size());
    }
    for (const zv_test::CacheDump::Group &group : dump.groups) {
        if (group.acls_num > zv_switch::kMaxGroupAcls) {
            fail("group %u holds %u ACLs", group.group_id, group.acls_num);
        }
    }
    for (const zv_test::CacheDump::Acl &acl : dump.acls) {
        acl_id_info *info = nullptr;
        demand(find_acl(acl.acl_id, &info), "looking a dumped ACL up");
        if (info->acl_bound_ports_num > MAX_BIND_POINTS_NUM) {
            fail("ACL %u lists %u bind points", acl.acl_id, info->acl_bound_ports_num);
        }
    }
}

}  // namespace zv_fuzz
