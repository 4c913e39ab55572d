// Every call's line in the trace, to the letter.

#include <stdlib.h>

#include <nlohmann/json.hpp>

#include "complib/cl_memory.h"
#include "complib/cl_qpool.h"
#include "complib/cl_thread.h"
#include "platform/sim/config.h"
#include "tests/platform/sim/child_process.h"
#include "tests/platform/switch/switch_fixture.h"
#include "zv_net.h"

namespace {

// The variable is read by the first platform call, which is after this.
struct Traced {
    Traced() { setenv("ZV_SIM_TRACE", path().c_str(), 1); }
    std::string path() const { return dir.file("trace"); }
    zv_test::TempDir dir;
};
const Traced g_traced;

uint64_t g_seen_num = 0;

// The last line, after checking that it is the only one since last time and numbered next; without
// its number.
std::string line() {
    const auto lines = zv_test::lines_of(zv_test::read_file(g_traced.path()));
    EXPECT_EQ(lines.size(), g_seen_num + 1);
    g_seen_num = lines.size();
    const std::string seq = "{\"seq\":" + std::to_string(lines.size()) + ",";
    EXPECT_EQ(lines.back().substr(0, seq.size()), seq);
    return "{" + lines.back().substr(seq.size());
}

void skip_lines() {
    g_seen_num = zv_test::lines_of(zv_test::read_file(g_traced.path())).size();
}

std::string zeros(size_t bytes) {
    return std::string(2 * bytes, '0');
}

class Trace : public zv_test::SwitchTest {
  protected:
    Trace() { skip_lines(); }
};

TEST_F(Trace, OpenCloseAndStatusName) {
    zv_api_handle_t other = 0;
    zv_api_open(nullptr, &other);
    EXPECT_EQ(line(), R"({"call":"zv_api_open","args":{},"status":0,"out":{}})");
    zv_api_close(other);
    EXPECT_EQ(line(), R"({"call":"zv_api_close","args":{},"status":0,"out":{}})");
    zv_api_close(other);
    EXPECT_EQ(line(), R"({"call":"zv_api_close","args":{},"status":2,"out":{}})");
    zv_status_str(5);
    EXPECT_EQ(line(), R"({"call":"zv_status_str","args":{"status":5},"status":0,"out":{}})");
}

TEST_F(Trace, Region) {
    uint32_t id = 0;
    zv_api_acl_region_set(handle_, ZV_ACCESS_CMD_CREATE, 3, 4, 5, &id);
    EXPECT_EQ(line(),
              R"({"call":"zv_api_acl_region_set","args":{"cmd":12,"key_type":3,"action_type":4,)"
              R"("region_size":5,"region_id":0},"status":0,"out":{"region_id":)" +
                  std::to_string(id) + "}}");
    zv_api_acl_region_set(handle_, ZV_ACCESS_CMD_CREATE, 3, 4, 5, nullptr);
    EXPECT_EQ(line(),
              R"({"call":"zv_api_acl_region_set","args":{"cmd":12,"key_type":3,"action_type":4,)"
              R"("region_size":5,"region_id":null},"status":3,"out":{"region_id":null}})");
}

TEST_F(Trace, Acl) {
    const uint32_t region_id = new_region(1);
    skip_lines();
    uint32_t id = 9;
    const zv_acl_region_group_t group{0, region_id};
    zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 1, 2, &group, &id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_set","args":{"cmd":12,"acl_type":1,"direction":2,)"
                      R"("group":{"type":0,"region_id":)" +
                          std::to_string(region_id) +
                          R"(},"acl_id":9},"status":0,"out":{"acl_id":)" + std::to_string(id) +
                          "}}");
    id = 4000000000u;
    zv_api_acl_set(handle_, ZV_ACCESS_CMD_DESTROY, 1, 2, nullptr, &id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_set","args":{"cmd":13,"acl_type":1,"direction":2,)"
                      R"("group":null,"acl_id":4000000000},"status":6,)"
                      R"("out":{"acl_id":4000000000}})");
}

TEST_F(Trace, Rules) {
    const uint32_t region_id = new_region(2);
    const std::string id = std::to_string(region_id);
    skip_lines();
    zv_acl_rule_t rule = zv_test::rule_at(1, 0xab);
    rule.action.forward = 6;
    rule.action.counter_id = 0x01020304;
    rule.action.data[43] = 0xff;
    const std::string rendered = R"({"offset":1,"valid":1,"key_type":1,"key":"ab)" + zeros(127) +
                                 R"(","mask_key_type":1,"mask":"ff)" + zeros(127) +
                                 R"(","action":"0600000004030201)" + zeros(4 + 43) + R"(ff"})";
    zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, region_id, &rule, 1);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rules_set","args":{"cmd":15,"region_id":)" + id +
                          R"(,"rules":[)" + rendered + R"(],"count":1},"status":0,"out":{}})");
    zv_acl_rule_t read;
    zv_api_acl_rules_get(handle_, region_id, 1, &read, 1);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rules_get","args":{"region_id":)" + id +
                          R"(,"offset":1,"count":1},"status":0,"out":{"rules":[)" + rendered +
                          "]}}");
    zv_api_acl_rules_get(handle_, region_id, 2, &read, 1);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rules_get","args":{"region_id":)" + id +
                          R"(,"offset":2,"count":1},"status":4,"out":{}})");
    zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, region_id, nullptr, 1);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rules_set","args":{"cmd":15,"region_id":)" + id +
                          R"(,"rules":null,"count":1},"status":3,"out":{}})");
}

TEST_F(Trace, ActivityAndBlockMove) {
    const uint32_t region_id = new_region(2);
    const std::string id = std::to_string(region_id);
    skip_lines();
    uint8_t value = 9;
    zv_api_acl_rule_activity_get(handle_, ZV_ACCESS_CMD_READ, region_id, 1, &value);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rule_activity_get","args":{"cmd":31,"region_id":)" +
                          id + R"(,"offset":1},"status":0,"out":{"activity":0}})");
    zv_api_acl_rule_block_move_set(handle_, region_id, 0, 1, 1);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rule_block_move_set","args":{"region_id":)" + id +
                          R"(,"block_start":0,"block_size":1,"new_start":1},"status":0,"out":{}})");
}

TEST_F(Trace, GroupAndBindings) {
    const uint32_t acl = new_acl(new_region(1), 7);
    skip_lines();
    uint32_t id = 0;
    zv_api_acl_group_set(handle_, ZV_ACCESS_CMD_CREATE, 7, &acl, 1, &id);
    const std::string group_id = std::to_string(id);
    EXPECT_EQ(line(),
              R"({"call":"zv_api_acl_group_set","args":{"cmd":12,"direction":7,"acl_ids":[)" +
                  std::to_string(acl) +
                  R"(],"count":1,"group_id":0},"status":0,"out":{"group_id":)" + group_id + "}}");
    zv_api_acl_group_set(handle_, ZV_ACCESS_CMD_SET, 7, nullptr, 0, &id);
    EXPECT_EQ(line(),
              R"({"call":"zv_api_acl_group_set","args":{"cmd":15,"direction":7,"acl_ids":[],)"
              R"("count":0,"group_id":)" +
                  group_id + R"(},"status":0,"out":{"group_id":)" + group_id + "}}");
    zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, 501, id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_port_bind_set","args":{"cmd":25,"log_port":501,)"
                      R"("group_id":)" +
                          group_id + R"(},"status":0,"out":{}})");
    zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, 502, id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_rif_bind_set","args":{"cmd":26,"rif_id":502,)"
                      R"("group_id":)" +
                          group_id + R"(},"status":6,"out":{}})");
}

TEST_F(Trace, PolicyBasedSwitching) {
    uint32_t ports[2] = {8, 4};
    uint32_t id = 0;
    zv_acl_pbs_entry_t entry{2, 2, ports};
    zv_api_acl_policy_based_switching_set(handle_, ZV_ACCESS_CMD_ADD, 0, &entry, &id);
    const std::string pbs_id = std::to_string(id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_policy_based_switching_set","args":{"cmd":1,)"
                      R"("switch_id":0,"entry":{"entry_type":2,"port_count":2,"ports":[8,4]},)"
                      R"("pbs_id":0},"status":0,"out":{"pbs_id":)" +
                          pbs_id + "}}");
    uint32_t room[5] = {};
    zv_acl_pbs_entry_t read{0, 5, room};
    zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_GET, 0, id, &read);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_policy_based_switching_get","args":{"cmd":17,)"
                      R"("switch_id":0,"pbs_id":)" +
                          pbs_id +
                          R"(,"entry":{"entry_type":0,"port_count":5,"ports":[]}},"status":0,)"
                          R"("out":{"entry":{"entry_type":2,"port_count":2,"ports":[4,8]}}})");
}

TEST_F(Trace, ReadsNoPortsForACommandThatThereIsNot) {
    uint32_t port = 8;
    uint32_t id = 5;
    const zv_acl_pbs_entry_t entry{2, 4000000000u, &port};
    zv_api_acl_policy_based_switching_set(handle_, ZV_ACCESS_CMD_GET, 0, &entry, &id);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_policy_based_switching_set","args":{"cmd":17,)"
                      R"("switch_id":0,"entry":{"entry_type":2,"port_count":4000000000,)"
                      R"("ports":[]},"pbs_id":5},"status":9,"out":{"pbs_id":5}})");
}

TEST_F(Trace, FlowCounters) {
    uint32_t id = 0;
    zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_CREATE, 3, &id);
    const std::string counter_id = std::to_string(id);
    EXPECT_EQ(line(), R"({"call":"zv_api_flow_counter_set","args":{"cmd":12,"counter_type":3,)"
                      R"("counter_id":0},"status":0,"out":{"counter_id":)" +
                          counter_id + "}}");
    zv_flow_counter_set_t values{};
    zv_api_flow_counter_get(handle_, ZV_ACCESS_CMD_READ, id, &values);
    EXPECT_EQ(line(), R"({"call":"zv_api_flow_counter_get","args":{"cmd":31,"counter_id":)" +
                          counter_id + R"(},"status":0,"out":{"values":[0,0]}})");
    zv_api_flow_counter_clear_set(handle_, id);
    EXPECT_EQ(line(), R"({"call":"zv_api_flow_counter_clear_set","args":{"counter_id":)" +
                          counter_id + R"(},"status":0,"out":{}})");
}

TEST_F(Trace, Net) {
    zv_sim::ports_replace({{11, 0, "eth1"}, {12, 1, "cpu"}});
    zv_net_init(nullptr, 3, 0);
    EXPECT_EQ(line(),
              R"({"call":"zv_net_init","args":{"verbosity":3,"flags":0},"status":0,"out":{}})");
    uint32_t count = 7;
    zv_net_ports_get_all(2, nullptr, &count);
    EXPECT_EQ(line(), R"({"call":"zv_net_ports_get_all","args":{"selector":2,"buffer":false,)"
                      R"("count":7},"status":0,"out":{"count":2}})");
    zv_net_port_t port;
    count = 1;
    zv_net_ports_get_all(2, &port, &count);
    EXPECT_EQ(line(), R"({"call":"zv_net_ports_get_all","args":{"selector":2,"buffer":true,)"
                      R"("count":1},"status":0,"out":{"count":1,"ports":[{"log_port":11,"kind":0,)"
                      R"("name":"eth1"}]}})");
    zv_net_deinit();
    EXPECT_EQ(line(), R"({"call":"zv_net_deinit","args":{},"status":0,"out":{}})");
}

TEST_F(Trace, Complib) {
    void *memory = cl_malloc(24);
    EXPECT_EQ(line(), R"({"call":"cl_malloc","args":{"size":24},"status":0,"out":{}})");
    cl_free(memory);
    EXPECT_EQ(line(), R"({"call":"cl_free","args":{},"status":0,"out":{}})");
    zv_sim::faults_arm({{"*", 1, 1, 7, true}});
    cl_malloc(24);
    EXPECT_EQ(line(), R"({"call":"cl_malloc","args":{"size":24},"status":1,"out":{}})");
    cl_thread_t thread;
    cl_thread_init(&thread, nullptr, nullptr, "aclRm");
    EXPECT_EQ(line(), R"({"call":"cl_thread_init","args":{"name":"aclRm"},"status":5,"out":{}})");
    cl_qpool_t pool;
    cl_qpool_init(&pool, 1, 2, 3, 40, nullptr, nullptr, nullptr);
    EXPECT_EQ(line(),
              R"({"call":"cl_qpool_init","args":{"min":1,"max":2,"grow":3,"object_size":40},)"
              R"("status":0,"out":{}})");
    cl_qpool_destroy(&pool);
}

TEST_F(Trace, AFaultsStatusIsTheOneThatStandsThere) {
    zv_sim::faults_arm({{"zv_api_acl_region_set", 1, 1, 5, false}});
    uint32_t id = 0;
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 1, &id), 5u);
    EXPECT_EQ(line(), R"({"call":"zv_api_acl_region_set","args":{"cmd":12,"key_type":1,)"
                      R"("action_type":2,"region_size":1,"region_id":0},"status":5,)"
                      R"("out":{"region_id":0}})");
    EXPECT_EQ(id, 0u);
}

TEST_F(Trace, ALateFaultDoesItsWork) {
    zv_sim::faults_arm({{"zv_api_acl_region_set", 1, 1, 5, true}});
    uint32_t id = 0;
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 1, &id), 5u);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(region_destroy(id), 0u);
}

}  // namespace
