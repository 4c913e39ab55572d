// side_by_side.h - one daemon and one model that get the same requests.
#ifndef ZV_TESTS_FIRE_MODEL_SIDE_BY_SIDE_H
#define ZV_TESTS_FIRE_MODEL_SIDE_BY_SIDE_H

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/model.h"
#include "tests/support/daemon_process.h"

namespace zv_model {

// A record of the wire. What is not set has a pattern in it, so that a byte that the daemon changes
// or loses shows in the reply.
class Record {
  public:
    Record(size_t length, uint64_t handle) : bytes(length, 0xa5) { u64(0, handle); }
    Record &u64(size_t at, uint64_t number) { return set(at, number); }
    Record &u32(size_t at, uint32_t number) { return set(at, number); }
    Record &u16(size_t at, uint16_t number) { return set(at, number); }
    Record &u8(size_t at, uint8_t number) { return set(at, number); }

    Bytes bytes;

  private:
    template <class Number>
    Record &set(size_t at, Number number) {
        put(bytes, at, number);
        return *this;
    }
};

struct Fault {
    std::string call;
    uint32_t status;
    uint32_t nth = 1;
    bool late = false;
};

class SideBySide {
  public:
    explicit SideBySide(nlohmann::json config = nullptr);
    ~SideBySide();

    // Arms one fault for the next request alone.
    void fail_next(const Fault &fault);
    void set_ports(const nlohmann::json &ports) { daemon_.control().set_ports(ports); }

    // Sends a packet of 128 key bytes into the switch.
    void packet(uint32_t log_port, uint32_t key_type, const std::string &key_hex) {
        daemon_.control().packet("log_port", log_port, 0, key_type, key_hex, 100);
    }

    // Compares dump and switch after each `every`th request only: full tables are long texts.
    void look_every(uint64_t every) { every_ = every; }

    // Sends the request and compares the reply, the platform calls, then the dump and what the
    // switch holds. False after a difference; then nothing more is to be sent.
    bool send(const std::string &what, uint32_t command, const Bytes &body,
              const std::optional<std::string> &attachment = std::nullopt);
    bool send(const std::string &what, uint32_t command, const Record &record) {
        return send(what, command, record.bytes);
    }

    const Reply &reply() const { return reply_; }  // the newest
    uint32_t reply_word(size_t at) const {
        return reply_.body.size() < at + 4 ? 0 : u32_at(reply_.body, at);
    }
    const nlohmann::json &cache();
    const std::vector<std::string> &differences() const { return differences_; }
    uint64_t requests() const { return requests_; }
    uint64_t successes() const { return successes_; }
    uint64_t calls() const { return calls_num_; }
    double model_seconds() const { return model_seconds_; }
    // The path a DUMP request of the story may name.
    std::string path(const std::string &name) const { return daemon_.root().file(name); }

  private:
    std::vector<Call> new_calls();
    void compare_reply(const Reply &expected);
    void compare_dump();
    void compare_switch();
    void differ(const std::string &text) { differences_.push_back(about_ + ": " + text); }

    zv_test::DaemonProcess daemon_;
    zv_test::RpcConnection connection_;
    size_t trace_at_ = 0;
    Model model_;
    SwitchModel switch_;
    std::optional<Fault> fault_;
    uint64_t every_ = 1;
    std::string about_;
    Reply reply_;
    nlohmann::json cache_;
    std::vector<std::string> differences_;
    uint64_t requests_ = 0, successes_ = 0, calls_num_ = 0;
    double model_seconds_ = 0;
};

}  // namespace zv_model

#endif
