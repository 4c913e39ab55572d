// requests.h - requests whose answers are looked at byte by byte, and records for them.
//
// The records are filled to the last byte, padding and unused slots included, so that a byte that
// the daemon changes, loses or moves shows.
#ifndef ZV_TESTS_COMMANDS_E2E_REQUESTS_H
#define ZV_TESTS_COMMANDS_E2E_REQUESTS_H

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {

inline constexpr uint32_t kOk = ZV_ACL_RM_STATUS_SUCCESS;
inline constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;
inline constexpr uint32_t kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND;
inline constexpr uint32_t kAddPorts = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
inline constexpr uint32_t kDeletePorts = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;
inline constexpr uint32_t kCreate = ZV_ACL_RM_ACCESS_CMD_CREATE;
inline constexpr uint32_t kDestroy = ZV_ACL_RM_ACCESS_CMD_DESTROY;
inline constexpr uint32_t kEdit = ZV_ACL_RM_ACCESS_CMD_EDIT;
inline constexpr uint64_t kNobody = 0x77;  // a handle that no client has
inline constexpr uint32_t kNoAcl = 4711;   // an ACL that there is not

template <typename Record>
Bytes bytes_of(const Record &record) {
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    return Bytes(first, first + sizeof(record));
}

// A record every byte of which has a value of its own place.
template <typename Record>
Record patterned() {
    Record record;
    auto *bytes = reinterpret_cast<uint8_t *>(&record);
    for (size_t i = 0; i < sizeof(record); ++i) {
        bytes[i] = static_cast<uint8_t>(i * 37 + i / 251 + 11);
    }
    return record;
}

struct Answer {
    uint32_t status;
    Bytes body;
};

// One request on a connection of its own. No answer, or one that says that no handler was reached,
// fails the test and has status kNoAnswer.
Answer send_bytes(DaemonProcess &daemon, uint32_t command, const Bytes &body,
                  Here here = Here::now());

template <typename Record>
Answer send_record(DaemonProcess &daemon, uint32_t command, const Record &record,
                   Here here = Here::now()) {
    return send_bytes(daemon, command, bytes_of(record), here);
}

zv_acl_rm_acl_set_params_t create_request(uint64_t handle, const acl_rm_acl &acl);
// `cmd` is ZV_ACL_RM_ACCESS_CMD_DESTROY or _EDIT, or what the test likes.
zv_acl_rm_acl_set_params_t acl_set_request(uint64_t handle, uint32_t cmd, const acl_rm_acl &acl);
zv_acl_rm_acl_rule_set_params_t write_request(uint64_t handle, uint32_t acl_id,
                                              const std::vector<acl_rm_rule> &rules);
zv_acl_rm_acl_rule_set_params_t delete_request(uint64_t handle, uint32_t acl_id,
                                               const std::vector<uint32_t> &offsets);
// Which rule to read, and whether its activity.
struct ReadOf {
    uint32_t offset;
    uint32_t activity_request;
};
zv_acl_rm_acl_rule_get_params_t read_request(uint64_t handle, uint32_t acl_id,
                                             const std::vector<ReadOf> &reads);
zv_acl_rm_acl_port_bind_params_t bind_request(uint64_t handle, uint32_t acl_id,
                                              const std::vector<uint32_t> &log_ports);
zv_acl_rm_acl_port_bind_params_t unbind_request(uint64_t handle, uint32_t acl_id,
                                                const std::vector<uint32_t> &log_ports);
// `cmd` is ZV_ACL_RM_ACCESS_CMD_BIND or _UNBIND; of port_set_request _ADD_PORTS or _DELETE_PORTS.
zv_acl_rm_acl_rif_bind_params_t rif_request(uint64_t handle, uint32_t cmd, uint32_t acl_id,
                                            const std::vector<uint16_t> &rifs);
zv_acl_rm_acl_system_bind_params_t system_request(uint64_t handle, uint32_t cmd, uint32_t acl_id);
zv_acl_rm_port_set_params_t port_set_request(uint64_t handle, uint32_t cmd,
                                             const std::vector<uint32_t> &log_ports);

// OPEN with any owner and any handle; the client library refuses owners it does not know.
uint32_t open_as(DaemonProcess &daemon, uint64_t handle, uint32_t owner, Here here = Here::now());

// Ports first, first + 1, ...
std::vector<uint32_t> ports_from(uint32_t first, uint32_t num);

// The front-panel ports of the simulated switch begin here.

// What a dump says, in forms that compare and print well.
std::vector<std::string> rule_keys(const CacheDump &dump);  // sorted
std::vector<uint32_t> acls_of_group(const CacheDump &dump, uint32_t group_id);
std::vector<uint32_t> ports_of_acl(const CacheDump &dump, uint32_t acl_id);
std::vector<std::pair<uint32_t, uint32_t>> bound_groups(const CacheDump &dump);  // port, group

}  // namespace zv_test

#endif
