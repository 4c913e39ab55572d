#include "tests/fire/soak/lane.h"

#include <stdexcept>

namespace zv_fire {

using namespace zv_test;

namespace {

RpcConnection connected(const std::string &socket_path) {
    std::optional<RpcConnection> connection = RpcConnection::open(socket_path);
    if (!connection) {
        throw std::runtime_error("nobody listens on " + socket_path);
    }
    return std::move(*connection);
}

}  // namespace

Lane::Lane(const std::string &socket_path, const std::string &dump_path, uint32_t number,
           uint64_t seed, Report &report)
    : connection_(connected(socket_path)),
      report_(report),
      dump_path_(dump_path),
      number_(number),
      owner_(number % ZV_ACL_RM_OWNER_NUM),
      handle_(0x50a0 + owner_),
      random_(seed * 1000 + number) {}

void Lane::send(uint32_t command, const Bytes &packet, Check check, uint32_t status) {
    if (!connection_.send(packet)) {
        throw std::runtime_error("the daemon closed the connection of lane " +
                                 std::to_string(number_));
    }
    waiting_.push_back({command, status, std::move(check)});
    ++requests_;
    ++by_command_[command];
}

void Lane::take_reply(const Waiting &waiting) {
    const std::optional<RpcReply> reply = connection_.receive(60000);
    if (!reply) {
        throw std::runtime_error("no reply to lane " + std::to_string(number_));
    }
    const auto fault = [&](const std::string &what) {
        report_.failure("lane " + std::to_string(number_) + ", life " + std::to_string(lives_) +
                        ", request " + std::to_string(requests_) + ", command " +
                        std::to_string(waiting.command) + ": " + what);
    };
    if (reply->transport != kDelivered || reply->command != waiting.command ||
        reply->status != waiting.expected_status) {
        fault("status " + std::to_string(reply->status) + ", expected " +
              std::to_string(waiting.expected_status) + " (transport " +
              std::to_string(reply->transport) + ")");
    } else if (waiting.check) {
        const std::string wrong = waiting.check(reply->body);
        if (!wrong.empty()) {
            fault(wrong);
        }
    }
}

void Lane::take_replies() {
    for (const Waiting &waiting : waiting_) {
        take_reply(waiting);
    }
    waiting_.clear();
}

void Lane::turn(bool may_begin) {
    take_replies();
    if (step_ == kNoStep) {
        if (!may_begin) {
            return;
        }
        step_ = 0;
        ++lives_;
    }
    (this->*steps()[step_])();
    step_ = step_ + 1 == steps().size() ? kNoStep : step_ + 1;
}

}  // namespace zv_fire
