// test_client.h - a client of the daemon in the tests' words, on the client library.
//
// Every command returns the daemon's status. A call that gets no answer at all fails the test and
// returns kNoAnswer, so a test that only compares statuses cannot pass by accident. What the client
// library refuses to send (an owner above 3, more than 100 ports, other lengths) is sent with
// RpcConnection instead.
#ifndef ZV_TESTS_SUPPORT_TEST_CLIENT_H
#define ZV_TESTS_SUPPORT_TEST_CLIENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/here.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_test {

inline constexpr uint32_t kPort = 65537;  // the first of the software platform's switch

class DaemonProcess;

constexpr zv_acl_rm_status_t kNoAnswer = 0xffffffff;

// A valid rule for `offset` whose key and mask are all zero: it matches every packet of its key
// type. The functions below change one thing and may be nested:
//   forward_to_port(count_with(make_rule(3), counter_id), 65537)
acl_rm_rule make_rule(uint32_t offset, uint32_t key_type = 0);
acl_rm_rule match_byte(acl_rm_rule rule, uint32_t index, uint8_t value);
acl_rm_rule forward_to_port(acl_rm_rule rule, uint32_t log_port);
acl_rm_rule forward_to_mc_group(acl_rm_rule rule, uint32_t mc_group_id);
acl_rm_rule count_with(acl_rm_rule rule, uint32_t counter_id);
acl_rm_rule with_verdict(acl_rm_rule rule, uint32_t verdict);  // 0 permit, 1 drop, 2 trap
// Rules first, first + 1, ... first + num - 1.
std::vector<acl_rm_rule> make_rules(uint32_t first, uint32_t num, uint32_t key_type = 0);

// An ACL record of `size` rules as CREATE wants it.
acl_rm_acl acl_of_size(uint32_t size, uint32_t direction = 0, uint32_t key_type = 0);

class TestClient {
  public:
    // Connects, OPENs as `owner` and INITs `chip_type`; demands that both succeed.
    explicit TestClient(DaemonProcess &daemon, uint32_t owner = ZV_ACL_RM_OWNER_OPEN_FLOW,
                        uint32_t chip_type = 3, Here here = Here::now());
    // Connects only.
    static TestClient unopened(DaemonProcess &daemon, uint64_t handle, Here here = Here::now());
    ~TestClient();
    TestClient(TestClient &&other) noexcept;
    TestClient &operator=(TestClient &&) = delete;

    uint64_t handle() const { return zv_acl_rm_client_handle(client_); }
    zv_acl_rm_client_t *client() const { return client_; }

    zv_acl_rm_status_t open(uint32_t owner, Here here = Here::now());
    zv_acl_rm_status_t init(uint32_t chip_type, Here here = Here::now());

    // make_acl demands success; the others update the record as the daemon answers.
    acl_rm_acl make_acl(uint32_t size, uint32_t direction = 0, Here here = Here::now());
    zv_acl_rm_status_t create_acl(acl_rm_acl &acl, Here here = Here::now());
    zv_acl_rm_status_t edit_acl(acl_rm_acl &acl, Here here = Here::now());
    zv_acl_rm_status_t destroy_acl(acl_rm_acl acl, Here here = Here::now());
    zv_acl_rm_status_t resize_acl(uint32_t acl_id, uint32_t new_size, Here here = Here::now());

    // At most 20 rules; `rules_num` sends another count than there are rules.
    zv_acl_rm_status_t write_rules(uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
                                   Here here = Here::now());
    zv_acl_rm_status_t write_rules(uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
                                   uint32_t rules_num, Here here = Here::now());
    zv_acl_rm_status_t delete_rules(uint32_t acl_id, const std::vector<uint32_t> &offsets,
                                    Here here = Here::now());
    // In: offset and activity request of each rule; out: what the daemon answered.
    zv_acl_rm_status_t read_rules(uint32_t acl_id, std::vector<acl_rm_rule> &rules,
                                  Here here = Here::now());
    zv_acl_rm_status_t move_block(uint32_t acl_id, uint32_t block_start, uint32_t block_size,
                                  uint32_t new_start, Here here = Here::now());

    // `cmd` is ZV_ACL_RM_ACCESS_CMD_BIND or _UNBIND, or what the test likes.
    zv_acl_rm_status_t bind_ports(uint32_t cmd, uint32_t acl_id,
                                  const std::vector<uint32_t> &log_ports, Here here = Here::now());
    zv_acl_rm_status_t bind_rifs(uint32_t cmd, uint32_t acl_id, const std::vector<uint16_t> &rifs,
                                 Here here = Here::now());
    zv_acl_rm_status_t bind_system(uint32_t cmd, uint32_t acl_id, Here here = Here::now());
    // ZV_ACL_RM_ACCESS_CMD_ADD_PORTS or _DELETE_PORTS
    zv_acl_rm_status_t port_set(uint32_t cmd, const std::vector<uint32_t> &log_ports,
                                Here here = Here::now());

    zv_acl_rm_status_t create_counter(acl_rm_counter_type type, uint32_t &counter_id,
                                      Here here = Here::now());
    zv_acl_rm_status_t destroy_counter(uint32_t counter_id, Here here = Here::now());
    zv_acl_rm_status_t counter_get(zv_acl_rm_counter_get_params_t &params, Here here = Here::now());

    // `mc_group_id` is written by ADD and read by the other commands.
    zv_acl_rm_status_t mc_group_set(uint32_t cmd, uint32_t &mc_group_id,
                                    const std::vector<uint32_t> &log_ports,
                                    Here here = Here::now());
    zv_acl_rm_status_t mc_group_get(uint32_t mc_group_id, uint32_t room,
                                    std::vector<uint32_t> &log_ports, Here here = Here::now());

    zv_acl_rm_status_t dump(const std::string &path, Here here = Here::now());

  private:
    TestClient() = default;
    zv_acl_rm_client_t *client_ = nullptr;
};

}  // namespace zv_test

#endif
