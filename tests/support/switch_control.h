// switch_control.h - the simulated switch's control socket: look behind the daemon's back.
//
// Every call sends one JSON object and returns the answer. An answer that is not "ok", or none at
// all, fails the test and returns an empty object.
#ifndef ZV_TESTS_SUPPORT_SWITCH_CONTROL_H
#define ZV_TESTS_SUPPORT_SWITCH_CONTROL_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/here.h"

namespace zv_test {

class SwitchControl {
  public:
    explicit SwitchControl(std::string socket_path) : socket_path_(std::move(socket_path)) {}
    ~SwitchControl();
    SwitchControl(const SwitchControl &) = delete;
    SwitchControl &operator=(const SwitchControl &) = delete;

    // The whole state: "regions", "acls", "groups", "bindings", "pbs", "counters", "ports".
    nlohmann::json state(Here here = Here::now());
    // How much of one capacity ("tcam_entries", "regions", "acls", ...) is in use.
    uint64_t used(const std::string &capacity, Here here = Here::now());

    // Replaces all armed faults by one: the nth matching call from now on, and times - 1 after it,
    // return `status`. clear_faults() disarms.
    void fail(const std::string &call, uint32_t status, int nth = 1, int times = 1,
              bool late = false, Here here = Here::now());
    void set_faults(const nlohmann::json &faults, Here here = Here::now());
    void clear_faults(Here here = Here::now());

    // Sends a packet into the switch; `where` is "log_port" or "rif_id", `key` up to 128 bytes.
    nlohmann::json packet(const std::string &where, uint32_t number, uint32_t direction,
                          uint32_t key_type, const std::string &key_hex, uint32_t length = 64,
                          Here here = Here::now());
    void set_ports(const nlohmann::json &ports, Here here = Here::now());
    // Drops the rule at `offset` without telling the daemon.
    void corrupt(uint32_t region_id, uint32_t offset, Here here = Here::now());

    // Any other request, `ok` or not.
    nlohmann::json call(const nlohmann::json &request);
    nlohmann::json checked_call(const nlohmann::json &request, Here here = Here::now());

  private:
    bool connected();
    std::string exchange(const std::string &line);
    std::string socket_path_;
    int fd_ = -1;
    std::string received_;
};

}  // namespace zv_test

#endif
