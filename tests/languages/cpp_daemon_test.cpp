// Every method of the C++ layer against the real daemon: one success, and one refusal.
#include <gtest/gtest.h>

#include "tests/support/cache_check.h"
#include "tests/support/daemon_process.h"
#include "zv_acl_rm/zv_acl_rm.hpp"

namespace zv_test {
namespace {

namespace zv = zv_acl_rm;

constexpr uint64_t kHandle = 0x61;
constexpr uint64_t kStranger = 0x62;  // a handle that is never opened
constexpr uint32_t kChipType = 3;
constexpr uint32_t kPort = 65537;
constexpr uint32_t kNoAcl = 4000;

class CppLayer : public testing::Test {
  protected:
    CppLayer() : client_(connect(kHandle)) {
        EXPECT_TRUE(client_.open(zv::Owner::kOpenFlow));
        EXPECT_TRUE(client_.init(kChipType));
    }
    zv::Client connect(uint64_t handle) {
        auto client = zv::Client::connect(handle, daemon_.socket_path().c_str());
        EXPECT_TRUE(client && client->set_timeout_ms(60000));
        return *std::move(client);
    }
    uint32_t make_acl(uint32_t size = 16) {
        const auto acl = client_.create_acl(size);
        EXPECT_TRUE(acl) << acl.failure().words();
        return acl->acl_id;
    }
    // Everything was taken away again; refusals are among the checks.
    void expect_nothing_left() {
        daemon_.allow_error_lines();
        const CacheDump dump = daemon_.dump();
        EXPECT_EQ(dump.acl_table_cnt + dump.rules_cnt, 0u);
        EXPECT_TRUE(dump.groups.empty() && dump.bind_points.empty() && dump.mc_groups.empty());
        check_cache(daemon_);
    }

    DaemonProcess daemon_;
    zv::Client client_;
};

template <typename T>
void expect_ok(const zv::Result<T> &result, Here here = Here::now()) {
    if (!result) {
        ADD_FAILURE_AT(here.file, here.line) << result.failure().words();
    }
}

template <typename T>
void expect_refused(const zv::Result<T> &result, zv::Status status, Here here = Here::now()) {
    if (result || result.failure().status() != status) {
        ADD_FAILURE_AT(here.file, here.line)
            << (result ? "not refused" : result.failure().words().c_str());
    }
}

TEST_F(CppLayer, OpensAndInitialises) {
    expect_refused(client_.init(4711), zv::Status::kError);
    const uint32_t acl_id = make_acl();
    zv::Client other = connect(0x63);
    expect_ok(other.open(zv::Owner::kOpenFlow));
    expect_refused(client_.resize_acl(acl_id, 16), zv::Status::kParamExceedsRange);
    expect_ok(client_.open(zv::Owner::kOpenFlow));
    expect_ok(client_.destroy_acl(acl_id));
    expect_nothing_left();
}

TEST_F(CppLayer, CreatesEditsResizesAndDestroysAcls) {
    const auto acl = client_.create_acl(8, zv::Direction::kIngress, {1, 0, 0});
    ASSERT_TRUE(acl);
    const auto edited = client_.edit_acl(acl->acl_id, zv::Direction::kEgress);
    ASSERT_TRUE(edited);
    expect_ok(client_.destroy_acl(*edited, zv::Direction::kEgress));
    const uint32_t growing = make_acl(0);
    expect_ok(client_.resize_acl(growing, 32));
    expect_ok(client_.write_rules(growing, {zv::Rule(31)}));
    expect_refused(client_.resize_acl(growing, 16), zv::Status::kParamExceedsRange);
    expect_ok(client_.destroy_acl(growing));
    expect_refused(client_.destroy_acl(growing), zv::Status::kParamExceedsRange);
    expect_refused(client_.edit_acl(kNoAcl, zv::Direction::kEgress),
                   zv::Status::kParamExceedsRange);
    expect_refused(connect(kStranger).create_acl(8), zv::Status::kEntryNotFound);
    expect_nothing_left();
}

TEST_F(CppLayer, WritesReadsMovesAndDeletesRules) {
    const uint32_t acl_id = make_acl();
    const auto drop = [](uint32_t offset) {
        return zv::Rule(offset).match({7}, {0xff}).verdict(zv::Verdict::kDrop);
    };
    expect_ok(client_.write_rules(acl_id, {drop(0), drop(1).forward_to_port(kPort), drop(2)}));
    const auto rules = client_.read_rules(acl_id, {1, 0}, zv::Activity::kRead);
    ASSERT_TRUE(rules);
    EXPECT_EQ((*rules)[0].forward_port, kPort);
    EXPECT_EQ((*rules)[1].offset, 0u);
    EXPECT_EQ((*rules)[1].key[0], 7);
    EXPECT_EQ((*rules)[1].verdict, zv::Verdict::kDrop);
    EXPECT_EQ((*rules)[1].active, false);
    expect_ok(client_.move_rules(acl_id, 0, 1, 9));
    EXPECT_EQ((*client_.read_rules(acl_id, {9}))[0].verdict, zv::Verdict::kDrop);
    expect_ok(client_.delete_rules(acl_id, {9, 1}));
    expect_refused(client_.read_rules(acl_id, {9}), zv::Status::kEntryNotFound);
    expect_refused(client_.delete_rules(acl_id, {9}), zv::Status::kEntryNotFound);
    expect_refused(client_.write_rules(acl_id, {drop(2)}), zv::Status::kError);
    expect_refused(client_.move_rules(kNoAcl, 0, 1, 2), zv::Status::kParamExceedsRange);
    expect_ok(client_.destroy_acl(acl_id));
    expect_nothing_left();
}

TEST_F(CppLayer, BindsAndUnbinds) {
    const uint32_t acl_id = make_acl();
    expect_ok(client_.bind_ports(acl_id, {kPort, kPort + 1}));
    expect_ok(client_.unbind_ports(acl_id, {kPort, kPort + 1}));
    expect_ok(client_.bind_rifs(acl_id, {3, 4}));
    expect_ok(client_.unbind_rifs(acl_id, {3, 4}));
    expect_ok(client_.bind_system(acl_id));
    expect_refused(client_.bind_system(acl_id), zv::Status::kError);
    expect_ok(client_.remove_ports({kPort}));
    expect_ok(client_.add_ports({kPort}));
    expect_ok(client_.unbind_system(acl_id));
    expect_refused(client_.unbind_system(acl_id), zv::Status::kError);
    expect_refused(client_.bind_ports(kNoAcl, {kPort}), zv::Status::kParamExceedsRange);
    expect_refused(client_.unbind_ports(kNoAcl, {kPort}), zv::Status::kParamExceedsRange);
    expect_refused(client_.bind_rifs(kNoAcl, {3}), zv::Status::kParamExceedsRange);
    expect_refused(client_.unbind_rifs(kNoAcl, {3}), zv::Status::kParamExceedsRange);
    expect_ok(client_.destroy_acl(acl_id));
    expect_nothing_left();
}

TEST_F(CppLayer, IsRefusedPortsThatTheSwitchRefuses) {
    daemon_.allow_error_lines();
    const uint32_t acl_id = make_acl();
    expect_ok(client_.bind_system(acl_id));
    daemon_.control().fail("zv_api_acl_port_bind_set", 5);
    expect_refused(client_.remove_ports({kPort}), zv::Status::kError);
    daemon_.control().fail("zv_api_acl_group_set", 5);
    expect_refused(client_.add_ports({kPort + 100}), zv::Status::kError);
}

TEST_F(CppLayer, CreatesReadsClearsAndDestroysCounters) {
    for (const auto kind : {zv::CounterKind::kBytes, zv::CounterKind::kPackets}) {
        const auto counter_id = client_.create_counter(kind);
        ASSERT_TRUE(counter_id);
        const auto value = client_.read_counter(*counter_id);
        ASSERT_TRUE(value);
        EXPECT_EQ(value->kind, kind);
        EXPECT_EQ(value->value, 0u);
        expect_ok(client_.clear_counter(*counter_id));
        expect_ok(client_.destroy_counter(*counter_id));
        expect_refused(client_.read_counter(*counter_id), zv::Status::kEntryNotFound);
        expect_refused(client_.clear_counter(*counter_id), zv::Status::kEntryNotFound);
        expect_refused(client_.destroy_counter(*counter_id), zv::Status::kEntryNotFound);
    }
    expect_nothing_left();
}

TEST_F(CppLayer, CreatesChangesReadsAndDeletesMcGroups) {
    const auto group_id = client_.create_mc_group({kPort});
    ASSERT_TRUE(group_id);
    expect_ok(client_.add_mc_group_ports(*group_id, {65540, 65541}));
    expect_ok(client_.remove_mc_group_ports(*group_id, {kPort}));
    const auto ports = client_.mc_group_ports(*group_id);
    ASSERT_TRUE(ports);
    EXPECT_EQ(std::vector<uint32_t>(ports->begin(), ports->end()),
              (std::vector<uint32_t>{65540, 65541}));
    EXPECT_EQ(client_.mc_group_ports(*group_id, 1)->size(), 1u);
    expect_ok(client_.delete_mc_group(*group_id));
    const auto unknown = zv::Status::kParamExceedsRange;
    expect_refused(client_.add_mc_group_ports(*group_id, {kPort}), unknown);
    expect_refused(client_.remove_mc_group_ports(*group_id, {kPort}), unknown);
    expect_refused(client_.delete_mc_group(*group_id), unknown);
    expect_refused(client_.mc_group_ports(*group_id), unknown);
    expect_refused(connect(kStranger).create_mc_group(), zv::Status::kEntryNotFound);
    expect_nothing_left();
}

TEST_F(CppLayer, HasTheCacheDumped) {
    const std::string path = daemon_.root().file("dump.txt");
    expect_ok(client_.dump(path.c_str()));
    EXPECT_NE(read_file(path).find("g_acl_table_cnt=[0]"), std::string::npos);
}

TEST_F(CppLayer, SubmitsAndExplainsWhatWasRefused) {
    const uint32_t acl_id = make_acl(640);
    for (uint32_t batch = 0; batch < ZV_ACL_RM_MAX_IN_FLIGHT; batch++) {
        std::vector<zv::Rule> rules;
        for (uint32_t i = 0; i < 20; i++) {
            rules.emplace_back(batch * 20 + i);
        }
        ASSERT_TRUE(client_.submit(zv::requests::write_rules(acl_id, rules)));
    }
    for (uint32_t batch = 0; batch < ZV_ACL_RM_MAX_IN_FLIGHT; batch++) {
        const auto answer = client_.collect();
        ASSERT_TRUE(answer && answer->outcome);
    }
    auto taken = *zv::requests::write_rules(acl_id, {zv::Rule(5)});
    const auto refused = client_.call(taken);
    expect_refused(refused, zv::Status::kError);
    const std::string why = client_.explain(taken, refused.failure());
    EXPECT_NE(why.find("offset 5"), std::string::npos) << why;
    expect_ok(client_.destroy_acl(acl_id));
    expect_nothing_left();
}

}  // namespace
}  // namespace zv_test
