#include "tests/fire/hostile/good_client.h"

#include <cstring>
#include <utility>

namespace zv_fire {

using namespace zv_test;

namespace {

constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;
constexpr uint32_t kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND;
const std::vector<uint32_t> kPorts = {65537, 65538};

// Every fourth rule forwards to a port of its own, one counts, one goes to a group.
std::vector<acl_rm_rule> twenty_rules(uint32_t counter_id, uint32_t group, uint64_t cycle) {
    std::vector<acl_rm_rule> rules;
    for (uint32_t i = 0; i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        acl_rm_rule rule = match_byte(make_rule(i), i, static_cast<uint8_t>(cycle + i));
        if (i % 4 == 0) {
            rule = forward_to_port(rule, 65537 + i);
        } else if (i == 1) {
            rule = count_with(rule, counter_id);
        } else if (i == 2) {
            rule = forward_to_mc_group(rule, group);
        }
        rules.push_back(rule);
    }
    return rules;
}

bool same(const acl_rm_rule &written, const acl_rm_rule &read) {
    return read.valid == 1 && read.offset == written.offset &&
           std::memcmp(&read.key, &written.key, sizeof(read.key)) == 0 &&
           std::memcmp(&read.mask, &written.mask, sizeof(read.mask)) == 0 &&
           read.readout.counter_id == written.forwarding.counter_id;
}

}  // namespace

GoodClient::GoodClient(DaemonProcess &daemon, Battlefield &field, Report &report)
    : field_(field), report_(report), client_(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW) {
    thread_ = std::thread([this] { run(); });
}

void GoodClient::stop() {
    stops_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void GoodClient::run() {
    while (!stops_) {
        cycle();
        ++cycles_;
    }
}

Times GoodClient::begin_slice() {
    const std::lock_guard lock(mutex_);
    ++slice_;
    return std::exchange(times_, {});
}

template <typename Request>
void GoodClient::timed(const char *what, const Request &request) {
    std::unique_lock lock(mutex_);
    const uint32_t slice = slice_;
    lock.unlock();
    const auto start = Clock::now();
    const zv_acl_rm_status_t status = request();
    const auto time = Clock::now() - start;
    lock.lock();
    // One that began in the slice before belongs to neither.
    if (slice == slice_) {
        times_.add(time);
    }
    lock.unlock();
    if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        report_.failure("the good client's " + std::string(what) + " in cycle " +
                        std::to_string(cycles_) + " ended with status " + std::to_string(status));
    }
}

void GoodClient::cycle() {
    acl_rm_acl acl = acl_of_size(64);
    uint32_t counter_id = 0;
    uint32_t group = 0;
    timed("open", [&] { return client_.open(ZV_ACL_RM_OWNER_OPEN_FLOW); });
    timed("create", [&] { return client_.create_acl(acl); });
    timed("counter", [&] { return client_.create_counter({1, 0}, counter_id); });
    timed("group", [&] { return client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group, kPorts); });
    field_.victim_acl = acl.acl_id;
    field_.victim_group = group;
    timed("bind", [&] { return client_.bind_ports(kBind, acl.acl_id, kPorts); });
    write_and_read(acl.acl_id, counter_id, group);
    timed("unbind", [&] { return client_.bind_ports(kUnbind, acl.acl_id, kPorts); });
    std::vector<uint32_t> ports;
    timed("group read", [&] { return client_.mc_group_get(group, 100, ports); });
    report_.expect(ports == kPorts, "the good client's group has other ports");
    std::vector<uint32_t> offsets;
    for (uint32_t i = 0; i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        offsets.push_back(i);
    }
    timed("delete", [&] { return client_.delete_rules(acl.acl_id, offsets); });
    timed("group delete",
          [&] { return client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, group, {}); });
    timed("destroy", [&] { return client_.destroy_acl(acl); });
}

void GoodClient::write_and_read(uint32_t acl_id, uint32_t counter_id, uint32_t group) {
    const std::vector<acl_rm_rule> rules = twenty_rules(counter_id, group, cycles_);
    timed("write", [&] { return client_.write_rules(acl_id, rules); });
    std::vector<acl_rm_rule> read(rules.size());
    for (uint32_t i = 0; i < read.size(); ++i) {
        read[i].offset = i;
    }
    timed("read", [&] { return client_.read_rules(acl_id, read); });
    for (size_t i = 0; i < read.size(); ++i) {
        report_.expect(same(rules[i], read[i]), "the good client's rule " + std::to_string(i) +
                                                    " is not what it wrote, in cycle " +
                                                    std::to_string(cycles_));
    }
}

}  // namespace zv_fire
