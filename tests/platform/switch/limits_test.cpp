// A switch with small capacities, where every limit can be reached. Each case gives back what it
// took.

#include <stdlib.h>

#include "tests/platform/sim/child_process.h"
#include "tests/platform/switch/switch_fixture.h"

namespace {

using zv_test::kAbsentId;
using zv_test::rule_at;

// The configuration is read when the switch is first used, which is after this.
struct SmallSwitch {
    SmallSwitch() {
        zv_test::write_file(dir.file("config.json"),
                            R"({"tcam_entries": 10, "regions": 3, "acls": 3, "groups": 2,
                                "bindings": 3, "pbs_entries": 2, "counters": 2,
                                "acl_destroy_in_use": true})");
        setenv("ZV_SIM_CONFIG", dir.file("config.json").c_str(), 1);
    }
    zv_test::TempDir dir;
};
const SmallSwitch g_small_switch;

class Limits : public zv_test::SwitchTest {};

TEST_F(Limits, TheSumOfRegionSizesEndsAtTheEntries) {
    uint32_t first = new_region(4);
    uint32_t second = 0;
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 7, &second), 5u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, UINT32_MAX, &second), 5u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 5, &second), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 7, &second), 5u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 6, &second), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 3, &first), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 7, &second), 0u);
    EXPECT_EQ(region_destroy(first), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 10, &second), 0u);
    EXPECT_EQ(region(ZV_ACCESS_CMD_EDIT, 11, &second), 5u);
    EXPECT_EQ(region_destroy(second), 0u);
}

TEST_F(Limits, RegionsEndAtTheirNumber) {
    const uint32_t ids[3] = {new_region(0), new_region(0), new_region(0)};
    uint32_t id = 77;
    EXPECT_EQ(region(ZV_ACCESS_CMD_CREATE, 0, &id), 5u);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(region_destroy(ids[0]), 0u);
    EXPECT_EQ(region_destroy(new_region(0)), 0u);
    EXPECT_EQ(region_destroy(ids[1]), 0u);
    EXPECT_EQ(region_destroy(ids[2]), 0u);
}

TEST_F(Limits, AclsEndAtTheirNumber) {
    const uint32_t region_id = new_region(1);
    const uint32_t ids[3] = {new_acl(region_id), new_acl(region_id), new_acl(region_id)};
    uint32_t id = 77;
    const zv_acl_region_group_t one{0, region_id};
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, 0, &one, &id), 5u);
    EXPECT_EQ(id, 77u);
    for (const uint32_t acl : ids) {
        EXPECT_EQ(acl_destroy(acl), 0u);
    }
    EXPECT_EQ(region_destroy(region_id), 0u);
}

TEST_F(Limits, GroupsEndAtTheirNumber) {
    const uint32_t ids[2] = {new_group({}), new_group({})};
    uint32_t id = 77;
    EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, 0, {}, &id), 5u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, 0, {kAbsentId}, &id), 6u);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(group_destroy(ids[0]), 0u);
    EXPECT_EQ(group_destroy(ids[1]), 0u);
}

TEST_F(Limits, PortsAndInterfacesShareTheBindings) {
    const uint32_t id = new_group({});
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, 1, id), 0u);
    EXPECT_EQ(zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_BIND, 1, id), 0u);
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, 2, id), 0u);
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, 3, id), 5u);
    EXPECT_EQ(zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_BIND, 3, id), 5u);
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, 2, id), 7u);
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, 1, id), 0u);
    EXPECT_EQ(zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, 1, id), 0u);
    EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, 2, id), 0u);
    EXPECT_EQ(group_destroy(id), 0u);
}

TEST_F(Limits, PbsEntriesEndAtTheirNumber) {
    uint32_t ids[2] = {new_pbs({1}), new_pbs({1})};
    uint32_t id = 77;
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, 2, {1}, &id), 5u);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &ids[0]), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &ids[1]), 0u);
}

TEST_F(Limits, CountersEndAtTheirNumber) {
    uint32_t ids[2] = {new_counter(), new_counter()};
    uint32_t id = 77;
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_CREATE, 0, &id), 5u);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, &ids[0]), 0u);
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, &ids[1]), 0u);
}

TEST_F(Limits, AnAclThatMayGoInUseLeavesItsGroups) {
    const uint32_t region_id = new_region(1);
    const uint32_t going = new_acl(region_id);
    const uint32_t staying = new_acl(region_id);
    uint32_t group_id = new_group({going, staying});
    EXPECT_EQ(acl_destroy(going), 0u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {going}, &group_id), 6u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {staying}, &group_id), 0u);
    EXPECT_EQ(group_destroy(group_id), 0u);
    EXPECT_EQ(acl_destroy(staying), 0u);
    EXPECT_EQ(region_destroy(region_id), 0u);
}

}  // namespace
