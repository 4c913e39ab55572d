// Calls that fail while the daemon serves its clients, and while it ends.
#include <errno.h>
#include <signal.h>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

using zv_test::DaemonProcess;
using zv_test::ExitStatus;
using zv_test::RpcConnection;
using zv_test::TestClient;

namespace {

constexpr bool kDeaf = true;
// Waits of no length for a second after each event.
const std::map<std::string, std::string> kPolling = {{"ZV_RPC_BUSY_POLL_US", "1000000"}};

// A request on a connection that is there.
std::string is_served(DaemonProcess & /*daemon*/, TestClient &one) {
    acl_rm_acl acl = zv_test::acl_of_size(16);
    if (one.create_acl(acl) != ZV_ACL_RM_STATUS_SUCCESS) {
        return "no ACL";
    }
    return one.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS ? "" : "the ACL stays";
}

// A connection that is made now.
std::string newcomer_is_served(DaemonProcess &daemon, TestClient & /*one*/) {
    return daemon.connect().call(0, {}).has_value() ? "" : "a new connection is not served";
}

std::string newcomer_is_closed(DaemonProcess &daemon, TestClient & /*one*/) {
    return daemon.connect().call(0, {}).has_value() ? "it is served" : "";
}

// A connection accepted before its fault, which the first reply proves.
template <bool kCloses>
std::string second_request(DaemonProcess &daemon, TestClient & /*one*/) {
    RpcConnection connection = daemon.connect();
    if (!connection.call(0, {})) {
        return "the first request is not answered";
    }
    const bool answered = connection.call(0, {}).has_value();
    return answered != kCloses ? "" : answered ? "it is answered" : "it is not answered";
}

// A client that sends and goes, without reading.
std::string leaver_is_forgotten(DaemonProcess &daemon, TestClient &one) {
    {
        RpcConnection connection = daemon.connect();
        connection.send(zv_test::make_request(0, {}));
    }
    return newcomer_is_served(daemon, one);
}

std::string empty_packet_and_end(DaemonProcess &daemon, TestClient &one) {
    {
        RpcConnection connection = daemon.connect();
        connection.call(0, {});
    }
    return newcomer_is_served(daemon, one);
}

std::string ends_well(DaemonProcess &daemon, TestClient & /*one*/) {
    return daemon.stop() == ExitStatus::exit(0) ? "" : "not with exit status 0";
}

// Requests of a client that a deaf loop has not accepted before its end.
template <bool kAnswered>
std::string requests_of_the_end(DaemonProcess &daemon, TestClient & /*one*/) {
    constexpr int kNum = 3;
    RpcConnection connection = daemon.connect();
    for (int i = 0; i < kNum; i++) {
        connection.send(zv_test::make_request(0, {}));
    }
    if (!(daemon.stop() == ExitStatus::exit(0))) {
        return "not with exit status 0";
    }
    for (int i = 0; i < kNum; i++) {
        if (connection.receive().has_value() != kAnswered) {
            return std::string("a request is ") + (kAnswered ? "not answered" : "answered");
        }
    }
    return "";
}

std::string ends_by_itself(DaemonProcess &daemon, TestClient & /*one*/) {
    // The loop waits already; a request makes it wait once more.
    std::optional<RpcConnection> connection = RpcConnection::open(daemon.socket_path());
    if (connection) {
        connection->send(zv_test::make_request(0, {}));
    }
    return daemon.wait_exit() == ExitStatus::exit(0) ? "" : "not with exit status 0";
}

}  // namespace

std::vector<ServingRow> serving_rows() {
    return {
        {"accept4 EMFILE",
         {{FIRE_accept4, EMFILE, kRpc}},
         newcomer_is_served,
         "Cannot accept a connection"},
        {"accept4 ENFILE thrice",
         {{FIRE_accept4, ENFILE, kRpc, 1, 3}},
         newcomer_is_served,
         "Cannot accept a connection"},
        {"accept4 EINTR", {{FIRE_accept4, EINTR, kRpc, 1, 5}}, newcomer_is_served, ""},
        {"accept4 ECONNABORTED",
         {{FIRE_accept4, ECONNABORTED, kRpc, 1, 5}},
         newcomer_is_served,
         ""},
        {"accept4 ENOMEM, and the listener cannot be watched again at once",
         {{FIRE_accept4, ENOMEM, kRpc}, {FIRE_epoll_ctl, ENOMEM, kRpc, 2, 3}},
         newcomer_is_served,
         "Cannot accept a connection"},
        {"epoll_ctl ENOSPC for a new connection",
         {{FIRE_epoll_ctl, ENOSPC, kRpc}},
         newcomer_is_closed,
         "Cannot watch a connection"},
        {"getsockopt EINVAL for a new connection",
         {{FIRE_getsockopt, EINVAL, kRpc}},
         newcomer_is_served,
         ""},
        {"epoll_wait EINTR", {{FIRE_epoll_wait, EINTR, kRpc, 1, 5}}, is_served, ""},
        {"epoll_wait EINTR while it polls",
         {{FIRE_epoll_wait, EINTR, kRpc, 1, 5}},
         is_served,
         "",
         kPolling},
        {"recv EINTR", {{FIRE_recv, EINTR, kRpc, 1, 5}}, is_served, ""},
        {"recv EAGAIN", {{FIRE_recv, EAGAIN, kRpc, 1, 5}}, is_served, ""},
        {"recv ENOMEM", {{FIRE_recv, ENOMEM, kRpc, 1, 5}}, is_served, ""},
        {"recv ENOBUFS", {{FIRE_recv, ENOBUFS, kRpc, 1, 5}}, is_served, ""},
        {"recv ECONNRESET once", {{FIRE_recv, ECONNRESET, kRpc}}, is_served, ""},
        {"recv ECONNRESET twice", {{FIRE_recv, ECONNRESET, kRpc, 2, 2}}, second_request<true>, ""},
        {"recv EIO", {{FIRE_recv, EIO, kRpc, 2}}, second_request<true>, ""},
        {"send EAGAIN", {{FIRE_send, EAGAIN, kRpc, 1, 4}}, is_served, ""},
        {"send EINTR", {{FIRE_send, EINTR, kRpc, 1, 4}}, is_served, ""},
        {"send ENOMEM", {{FIRE_send, ENOMEM, kRpc, 1, 4}}, is_served, ""},
        {"send ENOBUFS", {{FIRE_send, ENOBUFS, kRpc, 1, 4}}, is_served, ""},
        {"send EMSGSIZE",
         {{FIRE_send, EMSGSIZE, kRpc, 2}},
         second_request<true>,
         "Cannot send a reply"},
        {"send EAGAIN, then EIO",
         {{FIRE_send, EAGAIN, kRpc, 2}, {FIRE_send, EIO, kRpc, 2}},
         second_request<true>,
         "Cannot send a reply"},
        {"send EAGAIN, and the connection cannot be watched",
         {{FIRE_send, EAGAIN, kRpc, 2}, {FIRE_epoll_ctl, ENOMEM, kRpc, 2}},
         second_request<true>,
         "Cannot watch a connection"},
        {"send EPIPE to a client that has gone",
         {{FIRE_send, EPIPE, kRpc}},
         leaver_is_forgotten,
         ""},
        {"send ECONNRESET to a client that has gone",
         {{FIRE_send, ECONNRESET, kRpc}},
         leaver_is_forgotten,
         ""},
        {"ioctl EINVAL at the end of a connection",
         {{FIRE_ioctl, EINVAL, kRpc}},
         empty_packet_and_end,
         ""},
    };
}

std::vector<ServingRow> stop_rows() {
    return {
        {"epoll_wait EBADF ends the loop",
         {{FIRE_epoll_wait, EBADF, kRpc}},
         ends_by_itself,
         "Cannot wait for requests"},
        {"epoll_wait EBADF while it polls ends the loop",
         {{FIRE_epoll_wait, EBADF, kRpc}},
         ends_by_itself,
         "Cannot wait for requests",
         kPolling},
        {"shutdown ENOTCONN", {{FIRE_shutdown, ENOTCONN, kRpc, 1, 10}}, ends_well, ""},
        {"accept4 EINTR while it ends",
         {{FIRE_accept4, EINTR, kRpc, 1, 3}},
         requests_of_the_end<true>,
         "",
         {},
         kDeaf},
        {"accept4 ECONNABORTED while it ends",
         {{FIRE_accept4, ECONNABORTED, kRpc, 1, 3}},
         requests_of_the_end<true>,
         "",
         {},
         kDeaf},
        {"accept4 EMFILE while it ends",
         {{FIRE_accept4, EMFILE, kRpc, 1, kFromThenOn}},
         requests_of_the_end<false>,
         "",
         {},
         kDeaf},
        {"recv EINTR while it ends",
         {{FIRE_recv, EINTR, kRpc, 1, 10}},
         requests_of_the_end<true>,
         "",
         {},
         kDeaf},
        {"recv ENOMEM while it ends",
         {{FIRE_recv, ENOMEM, kRpc, 1, kFromThenOn}},
         requests_of_the_end<false>,
         "",
         {},
         kDeaf},
        {"send EINTR while it ends",
         {{FIRE_send, EINTR, kRpc, 1, 10}},
         requests_of_the_end<true>,
         "",
         {},
         kDeaf},
        {"send ENOBUFS while it ends",
         {{FIRE_send, ENOBUFS, kRpc, 1, kFromThenOn}},
         requests_of_the_end<false>,
         "",
         {},
         kDeaf},
        {"send EPIPE while it ends",
         {{FIRE_send, EPIPE, kRpc, 1, kFromThenOn}},
         requests_of_the_end<false>,
         "",
         {},
         kDeaf},
        // What wakes the loop is said again by the end itself.
        {"write EINTR of what wakes the loop", {{FIRE_write, EINTR, kRpc}}, ends_well, ""},
        {"write EAGAIN of what wakes the loop", {{FIRE_write, EAGAIN, kRpc}}, ends_well, ""},
        {"unlink EACCES of the socket", {{FIRE_unlink, EACCES, kRpc}}, ends_well, ""},
        {"lstat EIO of the socket", {{FIRE_lstat, EIO, kRpc}}, ends_well, ""},
        // The second file that is removed. The call has no caller to name, being its last.
        {"unlink EACCES of the control socket", {{FIRE_unlink, EACCES, "", 2}}, ends_well, ""},
    };
}

}  // namespace zv_fire
