// Calls that fail on the thread of the switch's control socket.
#include <errno.h>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

using zv_test::DaemonProcess;
using zv_test::TestClient;

namespace {

std::string asked(DaemonProcess &daemon) {
    ControlLine line(daemon.root().file("var/run/zv_switch.sock"));
    line.send(R"({"cmd":"state"})");
    return line.answer().value_or("no answer");
}

std::string is_answered(DaemonProcess &daemon, TestClient & /*one*/) {
    return asked(daemon).find("\"ok\":true") != std::string::npos ? "" : "it is not answered";
}

std::string is_closed(DaemonProcess &daemon, TestClient & /*one*/) {
    return asked(daemon).empty() ? "" : "it is not closed";
}

}  // namespace

std::vector<ServingRow> control_rows() {
    return {
        {"control: poll EINTR", {{FIRE_poll, EINTR, kSwitch, 1, 5}}, is_answered, ""},
        {"control: poll ENOMEM", {{FIRE_poll, ENOMEM, kSwitch, 1, 4}}, is_answered, ""},
        {"control: accept4 EMFILE", {{FIRE_accept4, EMFILE, kSwitch}}, is_answered, ""},
        {"control: accept4 EINTR", {{FIRE_accept4, EINTR, kSwitch, 1, 5}}, is_answered, ""},
        {"control: accept4 ECONNABORTED", {{FIRE_accept4, ECONNABORTED, kSwitch}}, is_answered, ""},
        {"control: recv EINTR", {{FIRE_recv, EINTR, kSwitch, 1, 5}}, is_answered, ""},
        {"control: recv EAGAIN", {{FIRE_recv, EAGAIN, kSwitch, 1, 5}}, is_answered, ""},
        {"control: recv short", {{FIRE_recv, 0, kSwitch, 1, 30}}, is_answered, ""},
        {"control: recv ENOMEM", {{FIRE_recv, ENOMEM, kSwitch}}, is_closed, ""},
        {"control: recv ECONNRESET", {{FIRE_recv, ECONNRESET, kSwitch}}, is_closed, ""},
        {"control: send short", {{FIRE_send, 0, kSwitch, 1, 30}}, is_answered, ""},
        {"control: send EAGAIN", {{FIRE_send, EAGAIN, kSwitch, 1, 5}}, is_answered, ""},
        {"control: send EINTR", {{FIRE_send, EINTR, kSwitch, 1, 5}}, is_answered, ""},
        {"control: send EPIPE", {{FIRE_send, EPIPE, kSwitch}}, is_closed, ""},
        {"control: send ECONNRESET", {{FIRE_send, ECONNRESET, kSwitch}}, is_closed, ""},
    };
}

}  // namespace zv_fire
