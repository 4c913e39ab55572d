// A program that uses the switch, for tests of its control socket: sets up one of everything, says
// "ready", then makes a call for every line it reads and prints its status. Ends with its input.
// Where ZV_TEST_UNLINK_FAILS is set, it can remove no file.

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "zv_api.h"
#include "zv_log.h"
#include "zv_net.h"

namespace {

zv_acl_rule_t rule_at(uint32_t offset, uint8_t byte, uint32_t counter_id, uint32_t pbs_id) {
    zv_acl_rule_t rule{};
    rule.offset = offset;
    rule.valid = 1;
    rule.key.key_type = 1;
    rule.key.data[0] = byte;
    rule.mask.data[0] = 0xff;
    rule.action = {6, counter_id, pbs_id, {1}};
    return rule;
}

// Region 1 of 8 offsets with rules at 2 and 5, ACL 1, group 1 at port 65537 and interface 7, PBS
// entry 1, counter 1. Whether everything succeeded.
bool set_up(zv_api_handle_t handle) {
    uint32_t region_id = 0;
    uint32_t acl_id = 0;
    uint32_t group_id = 0;
    uint32_t pbs_id = 0;
    uint32_t counter_id = 0;
    uint32_t ports[2] = {65539, 65538};
    const zv_acl_pbs_entry_t entry{2, 2, ports};
    zv_status_t failed =
        zv_api_acl_region_set(handle, ZV_ACCESS_CMD_CREATE, 1, 3, 8, &region_id) |
        zv_api_flow_counter_set(handle, ZV_ACCESS_CMD_CREATE, 4, &counter_id) |
        zv_api_acl_policy_based_switching_set(handle, ZV_ACCESS_CMD_ADD, 0, &entry, &pbs_id);
    const zv_acl_region_group_t region{0, region_id};
    failed |= zv_api_acl_set(handle, ZV_ACCESS_CMD_CREATE, 5, 0, &region, &acl_id);
    failed |= zv_api_acl_group_set(handle, ZV_ACCESS_CMD_CREATE, 0, &acl_id, 1, &group_id);
    failed |= zv_api_acl_port_bind_set(handle, ZV_ACCESS_CMD_BIND, 65537, group_id);
    failed |= zv_api_acl_rif_bind_set(handle, ZV_ACCESS_CMD_BIND, 7, group_id);
    const zv_acl_rule_t rules[2] = {rule_at(2, 0xaa, counter_id, pbs_id), rule_at(5, 0xbb, 0, 0)};
    failed |= zv_api_acl_rules_set(handle, ZV_ACCESS_CMD_SET, region_id, rules, 2);
    return failed == 0;
}

zv_status_t fill_region(zv_api_handle_t handle, uint32_t size) {
    uint32_t region_id = 0;
    zv_status_t status =
        zv_api_acl_region_set(handle, ZV_ACCESS_CMD_CREATE, 1, 3, size, &region_id);
    for (uint32_t offset = 0; offset < size && status == 0; offset++) {
        const zv_acl_rule_t rule = rule_at(offset, 0xcc, 0, 0);
        status = zv_api_acl_rules_set(handle, ZV_ACCESS_CMD_SET, region_id, &rule, 1);
    }
    return status;
}

uint32_t carry_out(zv_api_handle_t handle, const std::string &line) {
    uint32_t value = 0;
    if (line == "counter") {
        return zv_api_flow_counter_set(handle, ZV_ACCESS_CMD_CREATE, 0, &value);
    }
    if (line == "ports") {
        zv_net_ports_get_all(2, nullptr, &value);
        return value;
    }
    if (line == "fill") {
        return fill_region(handle, 4096);
    }
    // A tab stands for a newline within the trace's line.
    std::string text = line;
    std::replace(text.begin(), text.end(), '\t', '\n');
    zv_trace_cbuff_log("%s", text.c_str());
    return 0;
}

}  // namespace

// Stands before the C library's for the library under test as well.
extern "C" [[gnu::visibility("default")]] int unlink(const char *path) noexcept {
    if (std::getenv("ZV_TEST_UNLINK_FAILS") != nullptr) {
        errno = EACCES;
        return -1;
    }
    void *found = dlsym(RTLD_NEXT, "unlink");
    int (*next)(const char *) = nullptr;
    std::memcpy(&next, &found, sizeof(next));
    return next(path);
}

int main() {
    zv_log_init(1, 0, nullptr);
    zv_api_handle_t handle = 0;
    std::cout << zv_api_open(nullptr, &handle) << std::endl;
    std::cout << (set_up(handle) ? "ready" : "failed") << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << carry_out(handle, line) << std::endl;
    }
    return 0;
}
