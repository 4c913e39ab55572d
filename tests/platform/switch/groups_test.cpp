#include "tests/platform/switch/switch_fixture.h"

namespace {

using zv_test::kAbsentId;

class Acls : public zv_test::SwitchTest {};

TEST_F(Acls, IdsCountUpAndAreNotReused) {
    const uint32_t region_id = new_region(1);
    const uint32_t first = new_acl(region_id);
    EXPECT_EQ(acl_destroy(first), 0u);
    EXPECT_EQ(new_acl(region_id), first + 1);
}

TEST_F(Acls, Refusals) {
    uint32_t id = 77;
    const zv_acl_region_group_t absent{0, kAbsentId};
    const zv_acl_region_group_t odd{1, new_region(1)};
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, 0, &absent, &id), 6u);
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, 0, &odd, &id), 4u);
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, 0, nullptr, &id), 3u);
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_CREATE, 0, 0, &odd, nullptr), 3u);
    EXPECT_EQ(zv_api_acl_set(handle_, ZV_ACCESS_CMD_EDIT, 0, 0, &odd, &id), 9u);
    EXPECT_EQ(acl_destroy(kAbsentId), 6u);
    EXPECT_EQ(id, 77u);
}

TEST_F(Acls, AnAclInAGroupIsNotDestroyed) {
    const uint32_t acl = new_acl(new_region(1));
    uint32_t group_id = new_group({acl});
    EXPECT_EQ(acl_destroy(acl), 8u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {}, &group_id), 0u);
    EXPECT_EQ(acl_destroy(acl), 0u);
}

TEST_F(Acls, DestroyingTheirGroupFreesThem) {
    const uint32_t acl = new_acl(new_region(1));
    EXPECT_EQ(group_destroy(new_group({acl})), 0u);
    EXPECT_EQ(acl_destroy(acl), 0u);
}

class Groups : public zv_test::SwitchTest {
  protected:
    std::vector<uint32_t> acls(size_t num, uint32_t direction = 0) {
        const uint32_t region_id = new_region(1);
        std::vector<uint32_t> ids;
        for (size_t i = 0; i < num; i++) {
            ids.push_back(new_acl(region_id, direction));
        }
        return ids;
    }
};

TEST_F(Groups, IdsCountUpAndAreNotReused) {
    const uint32_t first = new_group({});
    EXPECT_EQ(group_destroy(first), 0u);
    EXPECT_EQ(new_group({}), first + 1);
}

TEST_F(Groups, HoldSixteenAclsAndNoMore) {
    uint32_t id = new_group({});
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, acls(15), &id), 0u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, acls(16), &id), 0u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, acls(17), &id), 4u);
    uint32_t unused = 0;
    EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, 0, acls(17), &unused), 4u);
}

TEST_F(Groups, ShareTheirAclsDirection) {
    uint32_t id = new_group({}, 1);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 1, acls(1, 1), &id), 0u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 1, acls(1, 0), &id), 4u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, acls(1, 0), &id), 4u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, 1, acls(1, 0), &id), 4u);
}

TEST_F(Groups, Refusals) {
    uint32_t id = new_group({});
    const uint32_t list[1] = {1};
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {kAbsentId}, &id), 6u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_EDIT, 0, {}, &id), 9u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {}, nullptr), 3u);
    EXPECT_EQ(zv_api_acl_group_set(handle_, ZV_ACCESS_CMD_SET, 0, nullptr, 1, &id), 3u);
    EXPECT_EQ(zv_api_acl_group_set(handle_, ZV_ACCESS_CMD_CREATE, 0, list, UINT32_MAX, &id), 4u);
    uint32_t absent = kAbsentId;
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {}, &absent), 6u);
    EXPECT_EQ(group_destroy(kAbsentId), 6u);
}

TEST_F(Groups, AnAbsentAclComesBeforeADirectionThatDiffers) {
    uint32_t id = new_group({}, 1);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {kAbsentId}, &id), 6u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 1, {acls(1, 0)[0], kAbsentId}, &id), 6u);
    EXPECT_EQ(group(ZV_ACCESS_CMD_CREATE, 1, {acls(1, 0)[0], kAbsentId}, &id), 6u);
}

TEST_F(Groups, TooLongAListComesBeforeAnAbsentAclAndAfterAnAbsentGroup) {
    uint32_t id = new_group({});
    const std::vector<uint32_t> absent_acls(17, kAbsentId);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, absent_acls, &id), 4u);
    uint32_t absent_group = kAbsentId;
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, absent_acls, &absent_group), 6u);
}

TEST_F(Groups, ARefusedListLeavesTheOldOne) {
    const std::vector<uint32_t> old = acls(1);
    uint32_t id = new_group(old);
    EXPECT_EQ(group(ZV_ACCESS_CMD_SET, 0, {old[0], kAbsentId}, &id), 6u);
    EXPECT_EQ(acl_destroy(old[0]), 8u);
}

class Bindings : public zv_test::SwitchTest {
  protected:
    zv_status_t port(uint32_t cmd, uint32_t number, uint32_t group_id) {
        return zv_api_acl_port_bind_set(handle_, cmd, number, group_id);
    }
    zv_status_t rif(uint32_t cmd, uint16_t number, uint32_t group_id) {
        return zv_api_acl_rif_bind_set(handle_, cmd, number, group_id);
    }
};

TEST_F(Bindings, OneGroupPerPortAndPerInterface) {
    const uint32_t first = new_group({});
    const uint32_t second = new_group({});
    EXPECT_EQ(port(ZV_ACCESS_CMD_BIND, 9, first), 0u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_BIND, 9, second), 7u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_BIND, 9, first), 7u);
    // The interface of the same number is another place.
    EXPECT_EQ(rif(ZV_ACCESS_CMD_BIND, 9, second), 0u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_BIND, 9, first), 7u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, 9, first), 0u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_UNBIND, 9, second), 0u);
}

TEST_F(Bindings, AnUnbindNamesTheGroupThatIsBound) {
    const uint32_t bound = new_group({});
    const uint32_t other = new_group({});
    ASSERT_EQ(port(ZV_ACCESS_CMD_BIND, 10, bound), 0u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, 10, other), 6u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_UNBIND, 10, bound), 6u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, 10, bound), 0u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, 10, bound), 6u);
}

TEST_F(Bindings, AGroupThatIsBoundIsNotDestroyed) {
    const uint32_t id = new_group({});
    ASSERT_EQ(port(ZV_ACCESS_CMD_BIND, 11, id), 0u);
    ASSERT_EQ(rif(ZV_ACCESS_CMD_BIND, 11, id), 0u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, 11, id), 0u);
    EXPECT_EQ(group_destroy(id), 8u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_UNBIND, 11, id), 0u);
    EXPECT_EQ(group_destroy(id), 0u);
}

TEST_F(Bindings, AnyNumberCanBeBound) {
    const uint32_t id = new_group({});
    for (const uint32_t number : {0u, 123456u, UINT32_MAX}) {
        EXPECT_EQ(port(ZV_ACCESS_CMD_BIND, number, id), 0u);
        EXPECT_EQ(port(ZV_ACCESS_CMD_UNBIND, number, id), 0u);
    }
    EXPECT_EQ(rif(ZV_ACCESS_CMD_BIND, UINT16_MAX, id), 0u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_UNBIND, UINT16_MAX, id), 0u);
}

TEST_F(Bindings, RefusesAbsentGroupsAndUnknownCommands) {
    EXPECT_EQ(port(ZV_ACCESS_CMD_BIND, 12, kAbsentId), 6u);
    EXPECT_EQ(port(ZV_ACCESS_CMD_ADD, 12, new_group({})), 9u);
    EXPECT_EQ(rif(ZV_ACCESS_CMD_SET, 12, new_group({})), 9u);
}

}  // namespace
