#include "switch_control.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

#include "daemon_link.h"
#include "exit_codes.h"

namespace aclrmctl {

namespace {

using nlohmann::json;

/* Sixteen times what a full switch of the default size answers with. */
constexpr size_t kLargestAnswerBytes = size_t{1} << 30;

/* A socket that closes itself and knows how long it may take. */
class ControlSocket {
  public:
    explicit ControlSocket(int timeout_ms)
        : end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms)) {}
    ~ControlSocket() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    ControlSocket(const ControlSocket &) = delete;
    ControlSocket &operator=(const ControlSocket &) = delete;

    int fd() const { return fd_; }
    /* Each returns 0 or an errno value. */
    int connect(const std::string &path);
    int send_line(const std::string &line);
    int receive_line(std::string *line);

  private:
    int wait(short events);

    int fd_ = -1;
    std::chrono::steady_clock::time_point end_;
};

int ControlSocket::connect(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd_ < 0) {
        return errno;
    }
    const auto *generic = reinterpret_cast<const sockaddr *>(&address);
    return ::connect(fd_, generic, sizeof(address)) == 0 ? 0 : errno;
}

int ControlSocket::wait(short events) {
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end_ - std::chrono::steady_clock::now());
        pollfd entry{fd_, events, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready > 0) {
            return 0;
        }
        if (ready == 0) {
            return ETIMEDOUT;
        }
        if (errno != EINTR) {
            return errno;
        }
    }
}

int ControlSocket::send_line(const std::string &line) {
    size_t sent = 0;
    while (sent < line.size()) {
        if (const int error = wait(POLLOUT); error != 0) {
            return error;
        }
        const ssize_t bytes = ::send(fd_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (bytes < 0 && errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        sent += bytes > 0 ? static_cast<size_t>(bytes) : 0;
    }
    return 0;
}

int ControlSocket::receive_line(std::string *line) {
    line->clear();
    char buffer[65536];
    while (line->empty() || line->back() != '\n') {
        if (const int error = wait(POLLIN); error != 0) {
            return error;
        }
        const ssize_t bytes = ::recv(fd_, buffer, sizeof(buffer), 0);
        if (bytes == 0) {
            return ECONNRESET;
        }
        if (bytes < 0 && errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        line->append(buffer, bytes > 0 ? static_cast<size_t>(bytes) : 0);
        if (line->size() > kLargestAnswerBytes) {
            return EFBIG;
        }
    }
    return 0;
}

std::string command_name(const json &question) {
    return "switch command '" + question.value("cmd", std::string()) + "'";
}

/* The process that listened for a connected local socket, 0 where that cannot be known. */
pid_t peer_process(int fd) {
    ucred peer{};
    socklen_t bytes = sizeof(peer);
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) == 0 ? peer.pid : 0;
}

/* Of whichever process listens where `process` is 0, else of none but that one. */
std::optional<Failure> exchange(const Settings &settings, pid_t process, const json &question,
                                std::string *line) {
    const std::string path = rooted_path(settings.switch_socket);
    ControlSocket socket(time_left_ms(settings));
    const int connected = socket.connect(path);
    if (connected != 0) {
        return connect_failure("simulated switch", path, connected,
                               "the daemon offers it when it is started with ZV_SIM_CONTROL=1");
    }
    if (process != 0 && peer_process(socket.fd()) != process) {
        return Failure{kExitFailure,
                       "the simulated switch at " + path + " is of another process than the daemon",
                       {},
                       {},
                       ""};
    }
    int error = socket.send_line(question.dump() + "\n");
    if (error == 0) {
        error = socket.receive_line(line);
    }
    if (error == ETIMEDOUT) {
        return Failure{kExitTimeout,
                       command_name(question) + ": no answer within " +
                           std::to_string(settings.timeout_ms) + " ms",
                       {},
                       {},
                       ""};
    }
    if (error != 0) {
        return Failure{
            kExitUnreachable, command_name(question) + ": " + std::strerror(error), {}, {}, ""};
    }
    return std::nullopt;
}

std::optional<Failure> ask(const Settings &settings, pid_t process, const json &question,
                           json *answer) {
    std::string line;
    if (auto failure = exchange(settings, process, question, &line)) {
        return failure;
    }
    *answer = json::parse(line, nullptr, false);
    const auto ok = answer->is_object() ? answer->find("ok") : answer->end();
    if (!answer->is_object() || ok == answer->end() || !ok->is_boolean()) {
        return Failure{
            kExitFailure,
            command_name(question) + ": the answer is not the switch's: " + line.substr(0, 100),
            {},
            {},
            ""};
    }
    if (!ok->get<bool>()) {
        const auto error = answer->find("error");
        const bool text = error != answer->end() && error->is_string();
        return Failure{kExitSwitchRefused,
                       command_name(question) + ": the switch refused: " +
                           (text ? error->get<std::string>() : std::string("no reason given")),
                       {},
                       {},
                       ""};
    }
    return std::nullopt;
}

template <typename SomeAnswer>
Answer ask_for(const Settings &settings, const json &question, SomeAnswer answer) {
    auto received = std::make_shared<json>();
    if (auto failure = ask_switch(settings, question, received.get())) {
        return *failure;
    }
    answer.json = std::move(received);
    return answer;
}

/* The rule a packet hit, in words. The answer names ACL and offset; the state has the rest. It is a
 * second question, so an ACL that has gone meanwhile is no error, only nothing to show. */
std::string find_rule(const Settings &settings, const json &hit) {
    json state;
    if (!hit.value("matched", false) || ask_switch(settings, {{"cmd", "state"}}, &state)) {
        return "";
    }
    json region_id;
    for (const json &acl : state.value("acls", json::array())) {
        if (acl.is_object() && acl.value("acl_id", json()) == hit.value("acl_id", json(0))) {
            region_id = acl.value("region_id", json());
        }
    }
    for (const json &region : state.value("regions", json::array())) {
        if (!region.is_object() || region.value("region_id", json(0)) != region_id) {
            continue;
        }
        for (const json &rule : region.value("rules", json::array())) {
            if (rule.value("offset", json()) == hit.value("offset", json(0))) {
                return describe_switch_rule(rule);
            }
        }
    }
    return "";
}

json packet_question(const PacketRequest &request) {
    return {{"cmd", "packet"},
            {request.router_interface ? "rif_id" : "log_port", request.ingress_point},
            {"direction", request.direction},
            {"key_type", request.key_type},
            {"key", key_to_hex(request.key)},
            {"length", request.length}};
}

}  // namespace

std::optional<Failure> ask_switch(const Settings &settings, const json &question, json *answer) {
    return ask(settings, 0, question, answer);
}

bool ask_state_of(int daemon_fd, const Settings &settings, json *state) {
    const pid_t process = peer_process(daemon_fd);
    return process != 0 && !ask(settings, process, {{"cmd", "state"}}, state);
}

Answer read_ports(const Settings &settings) {
    PortsAnswer asked;
    asked.set = false;
    return ask_for(settings, {{"cmd", "state"}}, asked);
}

Answer set_ports(const Settings &settings, const PortsRequest &request) {
    PortsAnswer asked;
    asked.set = true;
    return ask_for(settings, {{"cmd", "ports"}, {"set", json::parse(request.set)}}, asked);
}

std::optional<Failure> ask_packet(const Settings &settings, const PacketRequest &request,
                                  json *hit) {
    return ask_switch(settings, packet_question(request), hit);
}

Answer send_packet(const Settings &settings, const PacketRequest &request) {
    PacketAnswer asked;
    asked.asked = request;
    Answer answer = ask_for(settings, packet_question(request), asked);
    if (auto *hit = std::get_if<PacketAnswer>(&answer)) {
        hit->rule = find_rule(settings, *hit->json);
    }
    return answer;
}

Answer read_state(const Settings &settings, const StateRequest &request) {
    StateAnswer asked;
    asked.asked = request;
    return ask_for(settings, {{"cmd", "state"}}, asked);
}

Answer read_usage(const Settings &settings) {
    return ask_for(settings, {{"cmd", "usage"}}, UsageAnswer{});
}

Answer set_faults(const Settings &settings, const FaultsRequest &request) {
    return ask_for(settings, {{"cmd", "faults"}, {"set", json::parse(request.set)}},
                   FaultsAnswer{});
}

std::string describe_switch_rule(const json &rule) {
    KeyBytes key;
    KeyBytes mask;
    if (!rule.is_object() || !rule.value("key_type", json()).is_number_unsigned() ||
        !rule.value("key", json()).is_string() || !rule.value("mask", json()).is_string() ||
        !key_from_hex(rule["key"].get<std::string>(), &key) ||
        !key_from_hex(rule["mask"].get<std::string>(), &mask)) {
        return "";
    }
    return describe_key(rule["key_type"].get<uint32_t>(), key, mask);
}

}  // namespace aclrmctl
