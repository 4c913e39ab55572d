#include "tests/support/switch_control.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace zv_test {

using nlohmann::json;

namespace {

constexpr int kAnswerMs = 20000;
constexpr size_t kKeyHexDigits = 256;

}  // namespace

SwitchControl::~SwitchControl() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

bool SwitchControl::connected() {
    if (fd_ >= 0) {
        return true;
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket_path_.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, socket_path_.c_str(), socket_path_.size() + 1);
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        close(fd_);
        fd_ = -1;
    }
    return fd_ >= 0;
}

std::string SwitchControl::exchange(const std::string &line) {
    const std::string message = line + "\n";
    if (!connected() || send(fd_, message.data(), message.size(), MSG_NOSIGNAL) !=
                            static_cast<ssize_t>(message.size())) {
        return "";
    }
    size_t end;
    while ((end = received_.find('\n')) == std::string::npos) {
        pollfd readable = {fd_, POLLIN, 0};
        char part[65536];
        const ssize_t length =
            poll(&readable, 1, kAnswerMs) == 1 ? recv(fd_, part, sizeof(part), 0) : 0;
        if (length <= 0) {
            return "";
        }
        received_.append(part, static_cast<size_t>(length));
    }
    std::string answer = received_.substr(0, end);
    received_.erase(0, end + 1);
    return answer;
}

json SwitchControl::call(const json &request) {
    json answer = json::parse(exchange(request.dump()), nullptr, false);
    return answer.is_discarded() ? json::object() : answer;
}

json SwitchControl::checked_call(const json &request, Here here) {
    json answer = call(request);
    if (!answer.value("ok", false)) {
        ADD_FAILURE_AT(here.file, here.line)
            << "the switch answered " << answer << " to " << request;
        return json::object();
    }
    return answer;
}

json SwitchControl::state(Here here) {
    return checked_call({{"cmd", "state"}}, here);
}

uint64_t SwitchControl::used(const std::string &capacity, Here here) {
    const json answer = checked_call({{"cmd", "usage"}}, here);
    const json::json_pointer place("/usage/" + capacity + "/used");
    if (!answer.contains(place)) {
        ADD_FAILURE_AT(here.file, here.line) << "no capacity " << capacity << " in " << answer;
        return 0;
    }
    return answer[place].get<uint64_t>();
}

void SwitchControl::fail(const std::string &call_name, uint32_t status, int nth, int times,
                         bool late, Here here) {
    set_faults(
        {{{"call", call_name}, {"nth", nth}, {"status", status}, {"times", times}, {"late", late}}},
        here);
}

void SwitchControl::set_faults(const json &faults, Here here) {
    const json answer = checked_call({{"cmd", "faults"}, {"set", faults}}, here);
    if (!answer.empty() && answer.value("armed", size_t{0}) != faults.size()) {
        ADD_FAILURE_AT(here.file, here.line) << "not all faults are armed: " << answer;
    }
}

void SwitchControl::clear_faults(Here here) {
    set_faults(json::array(), here);
}

json SwitchControl::packet(const std::string &where, uint32_t number, uint32_t direction,
                           uint32_t key_type, const std::string &key_hex, uint32_t length,
                           Here here) {
    std::string whole_key = key_hex;
    whole_key.resize(kKeyHexDigits, '0');
    return checked_call({{"cmd", "packet"},
                         {where, number},
                         {"direction", direction},
                         {"key_type", key_type},
                         {"key", whole_key},
                         {"length", length}},
                        here);
}

void SwitchControl::set_ports(const json &ports, Here here) {
    checked_call({{"cmd", "ports"}, {"set", ports}}, here);
}

void SwitchControl::corrupt(uint32_t region_id, uint32_t offset, Here here) {
    checked_call({{"cmd", "corrupt"}, {"region_id", region_id}, {"offset", offset}}, here);
}

}  // namespace zv_test
