// The simulated switch's control socket: lines of any bytes, straight to the commands and through
// the serving loop.
//
// Input: one byte, then the lines. Even: each line is answered by a call. Odd: the lines go through
// a socket in pieces whose length the byte gives, with the writing end closed after them; as many
// answers must come back as there were lines.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <thread>

#include "fuzz/support/fuzz.h"
#include "fuzz/support/world.h"
#include "platform/rpc/socket_path.h"
#include "platform/switch/control_commands.h"
#include "platform/switch/control_socket.h"
#include "platform/switch/state.h"
#include "zv_log.h"

namespace {

using nlohmann::json;
using zv_fuzz::fail;

constexpr int kPatienceMs = 8000;

void drop_line(uint32_t /*mask*/, const char * /*module*/, const char * /*message*/, ...) {}

// Something for the commands to find: a rule that counts, forwards and is bound to a port.
void prepare_switch() {
    using namespace zv_switch;
    zv_fuzz::fresh_switch();
    Switch &sw = the_switch();
    const std::lock_guard lock(sw.mutex);
    uint32_t region = 0;
    uint32_t acl = 0;
    uint32_t group = 0;
    uint32_t counter = 0;
    zv_acl_region_group_t regions = {};
    zv_acl_rule_t rule = {};
    rule.valid = 1;
    bool made = region_create(sw, 0, 0, 16, &region) == kSuccess;
    regions.region_id = region;
    made = made && acl_create(sw, 0, 0, regions, &acl) == kSuccess &&
           counter_create(sw, 0, &counter) == kSuccess &&
           rules_write(sw, region, &rule, 1) == kSuccess &&
           group_create(sw, 0, &acl, 1, &group) == kSuccess &&
           group_bind(sw, {false, 65537}, group) == kSuccess;
    if (!made) {
        fail("the switch cannot be prepared");
    }
}

void check_answer(const std::string &answer) {
    const json object = json::parse(answer, nullptr, false);
    if (!object.is_object() || !object.contains("ok") || !object["ok"].is_boolean()) {
        fail("this is no answer: %s", answer.c_str());
    }
    const bool is_ok = object["ok"];
    if (!is_ok && (!object.contains("error") || object["error"].get<std::string>().empty())) {
        fail("a refusal without a reason: %s", answer.c_str());
    }
}

void call_commands(std::string_view text) {
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string answer = zv_switch::control_answer(std::string(text.substr(0, end)));
        if (answer.find('\n') != answer.size() - 1) {
            fail("an answer is not one line: %s", answer.c_str());
        }
        check_answer(answer);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

const std::string &socket_path() {
    static const std::string &path = *new std::string(zv_fuzz::scratch_dir() + "/switch.sock");
    return path;
}

void start_server() {
    std::string error;
    const int listener = zv_switch::control_listen(socket_path(), &error);
    if (listener < 0) {
        fail("%s", error.c_str());
    }
    std::thread([=] { zv_switch::control_serve(listener); }).detach();
}

int connect_client() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = zv_rpc_lib::socket_address(socket_path().c_str());
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        fail("the control socket does not accept");
    }
    return fd;
}

// Takes what there is; whether the server has closed. Fails after a long silence.
bool receive(int fd, bool may_wait, std::string *answers) {
    char buffer[65536];
    pollfd watched = {fd, POLLIN, 0};
    const int ready = poll(&watched, 1, may_wait ? kPatienceMs : 0);
    if (ready == 0 && may_wait) {
        fail("no answer in %d ms", kPatienceMs);
    }
    if (ready <= 0) {
        return false;
    }
    const ssize_t got = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (got < 0) {
        fail("the control socket hangs up");
    }
    answers->append(buffer, static_cast<size_t>(got));
    return got == 0;
}

void send_lines(std::string_view text, size_t piece_len) {
    const int fd = connect_client();
    std::string answers;
    auto line_num = std::count(text.begin(), text.end(), '\n');
    line_num += !text.empty() && text.back() != '\n';
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, piece_len);
        const ssize_t sent = send(fd, piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        text.remove_prefix(sent > 0 ? static_cast<size_t>(sent) : 0);
        if (receive(fd, false, &answers)) {
            fail("the control socket hangs up before the last line");
        }
    }
    shutdown(fd, SHUT_WR);
    while (!receive(fd, true, &answers)) {
    }
    close(fd);
    if (std::count(answers.begin(), answers.end(), '\n') != line_num) {
        fail("%zu bytes of answers to %zu lines", answers.size(), static_cast<size_t>(line_num));
    }
    for (size_t start = 0; start < answers.size();) {
        const size_t end = answers.find('\n', start);
        check_answer(answers.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    zv_log_init(1, 0, drop_line);
    for (int i = 0; i < 10; i++) {
        zv_trace_cbuff_log("line %d\xff of the trace", i);
    }
    start_server();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zv_fuzz::Input input(data, size);
    const uint32_t choices = input.u8();
    prepare_switch();
    if ((choices & 1) == 0) {
        call_commands(input.text());
    } else {
        send_lines(input.text(), 1 + (choices >> 1) * 8);
    }
    return 0;
}
