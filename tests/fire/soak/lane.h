// lane.h - one of the soak's clients: a connection, and the life of one ACL after the other.
//
// A lane sends what belongs together in one burst and looks at the replies when its turn comes
// again; in between the other lanes keep the daemon busy. Every reply is compared with what it has
// to say. All lanes run on one thread, the daemon on another core.
#ifndef ZV_TESTS_FIRE_SOAK_LANE_H
#define ZV_TESTS_FIRE_SOAK_LANE_H

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/fire/support/fire_report.h"
#include "tests/support/rpc_connection.h"
#include "tests/support/test_client.h"

namespace zv_fire {

// Looks at a successful reply's body; returns what is wrong with it, or nothing.
using Check = std::function<std::string(const zv_test::Bytes &body)>;

class Lane {
  public:
    Lane(const std::string &socket_path, const std::string &dump_path, uint32_t number,
         uint64_t seed, Report &report);

    // Takes the replies of the last burst and sends the next one. With `may_begin` a life that has
    // ended is followed by another.
    void turn(bool may_begin);
    // Whether nothing of it is left: no object in the daemon, no reply on the way.
    bool is_at_rest() const { return step_ == kNoStep && waiting_.empty(); }
    // Takes the replies on the way, and sends nothing.
    void take_replies();
    uint64_t requests() const { return requests_; }
    const std::map<uint32_t, uint64_t> &requests_by_command() const { return by_command_; }

  private:
    struct Waiting {
        uint32_t command;
        uint32_t expected_status;
        Check check;
    };
    static constexpr size_t kNoStep = ~size_t{0};

    template <typename Record>
    void ask(uint32_t command, const Record &record, Check check = nullptr, uint32_t status = 0);
    void send(uint32_t command, const zv_test::Bytes &packet, Check check, uint32_t status);
    void take_reply(const Waiting &waiting);

    // The steps of a life, in order (steps.cpp). Each is one burst.
    using Step = void (Lane::*)();
    static const std::vector<Step> &steps();
    void create();
    void edit_or_resize();
    void make_helpers();
    void write_rules();
    void read_rules();
    void bind();
    void bind_to_all();
    void use_everything();
    void move();
    void refused();
    void dump();
    void unbind();
    void delete_some();
    void destroy();

    void write_batch(uint32_t first, bool may_forward);
    void set_rifs(uint32_t cmd);
    void set_ports(uint32_t cmd);
    bool binds_to_all() const;
    bool has_groups() const { return owner_ != ZV_ACL_RM_OWNER_OF13; }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

    zv_test::RpcConnection connection_;
    Report &report_;
    std::string dump_path_;
    uint32_t number_;
    uint32_t owner_;
    uint64_t handle_;
    std::mt19937_64 random_;
    size_t step_ = kNoStep;
    std::vector<Waiting> waiting_;
    uint64_t requests_ = 0;
    std::map<uint32_t, uint64_t> by_command_;
    uint32_t sequence_ = 0;

    // What this life has in the daemon.
    acl_rm_acl acl_ = {};
    uint32_t used_counter_ = 0;    // named by a rule: goes with it
    uint32_t unused_counter_ = 0;  // nobody's
    uint32_t group_ = 0;
    uint32_t forward_port_ = 0;
    std::map<uint32_t, acl_rm_rule> rules_;  // by offset
    uint64_t lives_ = 0;
};

}  // namespace zv_fire

#endif
