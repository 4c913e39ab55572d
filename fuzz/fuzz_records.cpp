// One record against its handler, in a daemon that has something to lose: four clients, three ACLs,
// rules that forward and count, bound ports.
//
// Input: one byte that chooses command (low four bits), whether the record is padded or cut to the
// command's length (bit 4 clear) and which platform call fails (high three bits: none, or the
// n-th); then the record.
#include <cstring>

#include "daemon/logging.h"
#include "fuzz/support/fuzz.h"
#include "fuzz/support/world.h"
#include "platform/sim/faults.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace {

using zv_fuzz::fail;
using zv_fuzz::Input;

constexpr uint64_t kFirstHandle = 1000;

template <class Record>
std::vector<uint8_t> bytes_of(const Record &record) {
    std::vector<uint8_t> bytes(sizeof(record));
    memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

template <class Record>
void carry_out(uint32_t command, const Record &record) {
    const zv_fuzz::Answer answer = zv_fuzz::serve(command, bytes_of(record));
    if (answer.status != 0) {
        fail("preparing: command %u answered %u", command, answer.status);
    }
}

void open_clients() {
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; owner++) {
        carry_out(ZV_ACL_RM_API_INT_CMD_OPEN,
                  zv_acl_rm_open_params_t{kFirstHandle + owner, owner, 0});
    }
    carry_out(ZV_ACL_RM_API_INT_CMD_INIT, zv_acl_rm_init_params_t{kFirstHandle, 3, 0});
}

// ACLs 1 to 3 of the first three owners, the last one for the other direction.
void create_acls() {
    for (uint32_t owner = 0; owner < 3; owner++) {
        zv_acl_rm_acl_set_params_t record = {};
        record.client_handle = kFirstHandle + owner;
        record.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
        record.acl.direction = owner / 2;
        record.acl.min_size = record.acl.max_size = 16;
        carry_out(ZV_ACL_RM_API_INT_CMD_ACL_SET, record);
    }
}

// Counter 1 and multicast group 1, for the rules to come.
void create_targets() {
    zv_acl_rm_counter_set_params_t counter = {};
    counter.client_handle = kFirstHandle;
    counter.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    counter.counter_type.first = 1;
    carry_out(ZV_ACL_RM_API_INT_CMD_COUNTER_SET, counter);
    zv_acl_rm_mc_group_set_params_t group = {};
    group.client_handle = kFirstHandle;
    group.cmd = ZV_ACL_RM_ACCESS_CMD_ADD;
    group.log_ports[0] = 65537;
    group.log_ports[1] = 65538;
    group.ports_num = 2;
    carry_out(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, group);
}

// Rules at offsets 0 to 5: two plain ones, to a port twice, to the group, counted.
void write_rules() {
    zv_acl_rm_acl_rule_set_params_t record = {};
    record.client_handle = kFirstHandle;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.acl_id = 1;
    record.rules_num = 6;
    for (uint32_t i = 0; i < record.rules_num; i++) {
        record.rules[i].priority = i;
        record.rules[i].valid = 1;
    }
    record.rules[2].forwarding = {1, 65540, 0, {0, 0}, 0};
    record.rules[3].forwarding = {1, 65540, 0, {0, 0}, 0};
    record.rules[4].forwarding = {2, 0, 1, {0, 0}, 0};
    record.rules[5].forwarding.counter_id = 1;
    carry_out(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, record);
}

void bind_acls() {
    zv_acl_rm_acl_port_bind_params_t ports = {};
    ports.client_handle = kFirstHandle;
    ports.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    ports.acl_id = 1;
    ports.log_ports[0] = 65537;
    ports.log_ports[1] = 65538;
    ports.ports_num = 2;
    carry_out(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, ports);
    ports.client_handle = kFirstHandle + 1;
    ports.acl_id = 2;
    carry_out(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, ports);
    zv_acl_rm_acl_rif_bind_params_t rifs = {};
    rifs.client_handle = kFirstHandle + 2;
    rifs.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    rifs.acl_id = 3;
    rifs.rifs[0] = 7;
    rifs.rifs_num = 1;
    carry_out(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, rifs);
}

void prepare() {
    open_clients();
    create_acls();
    create_targets();
    write_rules();
    bind_acls();
}

void order_failure(uint32_t nth) {
    if (nth > 0) {
        zv_sim::faults_arm({{"*", nth, 1, 5, false}});
    }
}

// A dump may name any path; here it names one of three that do no harm.
const char *choose_path(const std::vector<uint8_t> &record) {
    static const std::string &file = *new std::string(zv_fuzz::scratch_dir() + "/%s%n.txt");
    static const char *const paths[] = {nullptr, "", "/dev/full", file.c_str()};
    return paths[record.empty() ? 0 : record[0] % 4];
}

}  // namespace

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    acl_rm_verbosity_level = rpc_verbosity_level = acl_rm_db_verbosity_level = 5;
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input(data, size);
    const uint32_t choices = input.u8();
    const uint32_t command = ZV_ACL_RM_API_INT_CMD_OPEN + (choices & 15);
    const bool as_it_is = (choices & 16) != 0;
    std::vector<uint8_t> record = input.rest();
    if (!as_it_is) {
        record.resize(zv_fuzz::record_length(command));
    }
    const zv_fuzz::World world;
    prepare();
    order_failure(choices >> 5);
    const zv_fuzz::Answer answer = zv_fuzz::serve(command, record, choose_path(record));
    if (answer.status == 0 && record.size() != zv_fuzz::record_length(command)) {
        fail("command %u took a record of %zu bytes", command, record.size());
    }
    zv_sim::faults_arm({});
    zv_fuzz::check_cache(answer.status == 0);
    return 0;
}
