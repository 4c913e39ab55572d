// The loop, and how it ends.
//
// Waiting is level-triggered with room for every connection at once, so that one wait names all
// that have something to say; each of them is served one packet, then comes the next wait. That is
// what makes the turns fair. In the usual case a request costs three system calls: wait, receive,
// send.
#include "platform/rpc/server.h"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/rpc/rpc_log.h"

namespace zv_rpc_lib {

namespace {

// Event tags beside the connections' indices.
constexpr uint32_t kListenerTag = kMaxConnections;
constexpr uint32_t kWakeTag = kMaxConnections + 1;
// Connections accepted in one round: clients that come must not hold up those that are there.
constexpr int kAcceptsPerRound = 64;
// How long accepting rests when it fails, as it does while the process has no descriptors left.
constexpr int64_t kAcceptPauseMs = 100;

int64_t now_ns() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

int64_t now_ms() {
    return now_ns() / 1000000;
}

bool watch_fd(int poll_fd, int operation, int fd, uint32_t events, uint32_t tag) {
    epoll_event event = {};
    event.events = events;
    event.data.u32 = tag;
    return epoll_ctl(poll_fd, operation, fd, &event) == 0;
}

// The process is about to exit; signals may still be handled on this thread.
[[noreturn]] void park() {
    for (;;) {
        pause();
    }
}

}  // namespace

Server &Server::instance() {
    alignas(Server) static unsigned char storage[sizeof(Server)];
    static Server &server = *new (storage) Server;
    return server;
}

Status Server::open(const char *path, uint32_t max_message, const ServerOptions &options) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (is_open_ || loop_ != Loop::kNotStarted) {
        return kWrongState;
    }
    if (max_message < kHeaderLen || max_message > kLargestMaxMessage) {
        return kBadParameter;
    }
    options_ = options;
    Status status = listener_.open(path, options.socket_mode);
    if (status == kSuccess) {
        status = dispatcher_.open(max_message) ? open_poll() : kSystemError;
        is_open_ = status == kSuccess;
        if (!is_open_) {
            log_line(kWarning, "Cannot prepare to serve %s: %s.\n", path, strerror(errno));
            close_files();
        }
    }
    return status;
}

Status Server::open_poll() {
    if (wake_fd_.load() < 0) {
        wake_fd_.store(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    }
    poll_fd_ = epoll_create1(EPOLL_CLOEXEC);
    accept_again_ms_ = 0;
    bool watched = watch_fd(poll_fd_, EPOLL_CTL_ADD, listener_.fd(), EPOLLIN, kListenerTag) &&
                   watch_fd(poll_fd_, EPOLL_CTL_ADD, wake_fd_.load(), EPOLLIN, kWakeTag);
    return watched ? kSuccess : kSystemError;
}

void Server::close_files() {
    listener_.close();
    if (poll_fd_ >= 0) {
        ::close(poll_fd_);
        poll_fd_ = -1;
    }
    dispatcher_.close();
}

Status Server::set_table(const zv_rpc_command_t *table, uint32_t count) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!is_open_ || dispatcher_.has_table()) {
        return kWrongState;
    }
    return dispatcher_.set_table(table, count);
}

void Server::set_stop(bool stop) {
    stop_.store(stop);
    int fd = wake_fd_.load();
    if (stop && fd >= 0) {
        uint64_t one = 1;
        // Cannot fail but by overflow, and then the loop is awake anyway.
        [[maybe_unused]] ssize_t written = write(fd, &one, sizeof(one));
    }
}

Status Server::close() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!is_open_ || !dispatcher_.has_table()) {
        return kWrongState;
    }
    if (loop_ == Loop::kRunning) {
        if (loop_thread_ == std::this_thread::get_id()) {
            return kInsideHandler;
        }
        set_stop(true);
        loop_ended_.wait(lock, [this] { return loop_ != Loop::kRunning; });
        if (!is_open_) {
            // Another thread closed it while both waited.
            return kWrongState;
        }
    }
    close_files();
    is_open_ = false;
    set_log_sink(nullptr);
    return kSuccess;
}

Status Server::run() {
    bool ready = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ready = is_open_ && dispatcher_.has_table() && loop_ == Loop::kNotStarted;
        if (ready) {
            loop_ = Loop::kRunning;
            loop_thread_ = std::this_thread::get_id();
        }
    }
    if (!ready) {
        // The stop came first, and the other thread may be through with everything already.
        if (stop_.load()) {
            park();
        }
        return kWrongState;
    }
    bool stopped = serve();
    shut_down();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        loop_ = Loop::kEnded;
    }
    loop_ended_.notify_all();
    if (stopped) {
        park();
    }
    return kSystemError;
}

bool Server::serve() {
    Events events;
    while (!stop_.load()) {
        int count = wait(&events);
        if (count < 0 && errno != EINTR) {
            log_line(kWarning, "Cannot wait for requests: %s.\n", strerror(errno));
            return false;
        }
        bool wants_accept = handle_round(events, count);
        if (accept_again_ms_ != 0 && now_ms() >= accept_again_ms_) {
            resume_accepting();
        }
        // Last, so that no event of this round can belong to an earlier user of a connection's
        // place.
        if (wants_accept && !stop_.load()) {
            accept_round();
        }
    }
    return true;
}

int Server::wait(Events *events) {
    int max_events = static_cast<int>(events->size());
    if (options_.busy_poll_us > 0) {
        const int64_t until_ns = now_ns() + int64_t{options_.busy_poll_us} * 1000;
        do {
            int count = epoll_wait(poll_fd_, events->data(), max_events, 0);
            if (count != 0) {
                return count;
            }
        } while (now_ns() < until_ns);
    }
    int timeout_ms = accept_again_ms_ != 0 ? static_cast<int>(kAcceptPauseMs) : -1;
    return epoll_wait(poll_fd_, events->data(), max_events, timeout_ms);
}

// Returns whether clients wait to be accepted.
bool Server::handle_round(const Events &events, int count) {
    bool wants_accept = false;
    for (int i = 0; i < count && !stop_.load(); i++) {
        uint32_t tag = events[static_cast<size_t>(i)].data.u32;
        if (tag == kListenerTag) {
            wants_accept = true;
        } else if (tag == kWakeTag) {
            // Emptied, so that a stop that was withdrawn does not keep the loop awake.
            uint64_t wakes = 0;
            [[maybe_unused]] ssize_t taken = read(wake_fd_.load(), &wakes, sizeof(wakes));
        } else {
            serve_connection(&connections_[tag], events[static_cast<size_t>(i)].events);
        }
    }
    return wants_accept;
}

void Server::serve_connection(Connection *connection, uint32_t events) {
    if (!connection->is_open()) {
        // Closed, and still watched because it could not be taken out of the wait.
        return;
    }
    if (connection->waits()) {
        const Connection::Sent sent = connection->flush();
        if (sent == Connection::Sent::kDone) {
            watch(connection, EPOLL_CTL_MOD);
        } else if (sent == Connection::Sent::kFailed) {
            give_up(connection);
        }
        return;
    }
    bool hung_up = (events & (EPOLLRDHUP | EPOLLHUP)) != 0;
    size_t packet_len = 0;
    switch (connection->receive(dispatcher_.packet(), dispatcher_.max_message(), hung_up,
                                &packet_len)) {
        case Connection::Received::kPacket:
            send_reply(connection, dispatcher_.answer(packet_len, false));
            break;
        case Connection::Received::kEnd:
            close_connection(connection);
            break;
        case Connection::Received::kNothing:
            break;
    }
}

void Server::send_reply(Connection *connection, uint32_t len) {
    switch (connection->send(dispatcher_.reply(), len)) {
        case Connection::Sent::kDone:
            break;
        case Connection::Sent::kWaits:
            watch(connection, EPOLL_CTL_MOD);
            break;
        case Connection::Sent::kNoMemory:
            log_line(kWarning,
                     "No memory for a reply that waits, to a connection of uid %u, gid %u, "
                     "pid %d.\n",
                     connection->peer().uid, connection->peer().gid, connection->peer().pid);
            close_connection(connection);
            break;
        case Connection::Sent::kFailed:
            give_up(connection);
            break;
    }
}

void Server::give_up(Connection *connection) {
    const ucred &peer = connection->peer();
    log_line(kWarning, "Cannot send a reply to a connection of uid %u, gid %u, pid %d: %s.\n",
             peer.uid, peer.gid, peer.pid, strerror(errno));
    close_connection(connection);
}

// A connection whose reply waits is watched for room only: it is not read from until it takes it.
void Server::watch(Connection *connection, int operation) {
    uint32_t events = connection->waits() ? EPOLLOUT : EPOLLIN | EPOLLRDHUP;
    auto tag = static_cast<uint32_t>(connection - connections_.data());
    if (!watch_fd(poll_fd_, operation, connection->fd(), events, tag)) {
        const ucred &peer = connection->peer();
        log_line(kWarning, "Cannot watch a connection of uid %u, gid %u, pid %d: %s.\n", peer.uid,
                 peer.gid, peer.pid, strerror(errno));
        close_connection(connection);
    }
}

void Server::close_connection(Connection *connection) {
    const ucred &peer = connection->peer();
    // Closing alone leaves it watched where a process that a handler forked has it open too.
    epoll_ctl(poll_fd_, EPOLL_CTL_DEL, connection->fd(), nullptr);
    connection->close();
    connection_num_--;
    log_line(kInfo, "Connection of uid %u, gid %u, pid %d closed, %u left.\n", peer.uid, peer.gid,
             peer.pid, connection_num_);
}

void Server::accept_round() {
    for (int i = 0; i < kAcceptsPerRound; i++) {
        int fd = accept4(listener_.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            admit(fd);
        } else if (errno == EAGAIN) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            pause_accepting(errno);
            return;
        }
    }
}

void Server::admit(int fd) {
    if (connection_num_ == kMaxConnections) {
        Connection refused;
        refused.open(fd);
        log_line(kWarning, "Connection of uid %u, gid %u, pid %d refused: %u are open.\n",
                 refused.peer().uid, refused.peer().gid, refused.peer().pid, connection_num_);
        refused.close();
        return;
    }
    Connection *place = connections_.data();
    while (place->is_open()) {
        place++;
    }
    place->open(fd);
    connection_num_++;
    log_line(kInfo, "Connection of uid %u, gid %u, pid %d opened, %u are open.\n",
             place->peer().uid, place->peer().gid, place->peer().pid, connection_num_);
    watch(place, EPOLL_CTL_ADD);
}

// A listening socket that cannot be accepted from stays ready, and the loop would spin on it.
void Server::pause_accepting(int error) {
    log_line(kWarning, "Cannot accept a connection: %s.\n", strerror(error));
    watch_fd(poll_fd_, EPOLL_CTL_MOD, listener_.fd(), 0, kListenerTag);
    accept_again_ms_ = now_ms() + kAcceptPauseMs;
}

// Tried again and again: a listener that is not watched would be deaf for good.
void Server::resume_accepting() {
    const bool watched = watch_fd(poll_fd_, EPOLL_CTL_MOD, listener_.fd(), EPOLLIN, kListenerTag);
    accept_again_ms_ = watched ? 0 : now_ms() + kAcceptPauseMs;
}

// Shutting the receiving side down first draws the line: what was sent before is answered, what is
// sent after fails at the sender. So this ends, however busy the clients are.
//
// What would have to be waited for stays unanswered: a client's remaining requests, once it takes
// no replies or the kernel has no memory for a request or its reply, and those of clients that are
// not accepted yet, where accepting fails, as it does without descriptors, or all places are taken.
// These clients see their connection end.
void Server::shut_down() {
    shutdown(listener_.fd(), SHUT_RD);
    for (;;) {
        int fd = accept4(listener_.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            admit(fd);
        } else if (errno != EINTR && errno != ECONNABORTED) {
            break;
        }
    }
    for (Connection &connection : connections_) {
        if (connection.is_open()) {
            drain(&connection);
            close_connection(&connection);
        }
    }
}

void Server::drain(Connection *connection) {
    shutdown(connection->fd(), SHUT_RD);
    if (connection->waits() && connection->flush() != Connection::Sent::kDone) {
        return;
    }
    size_t packet_len = 0;
    while (connection->receive(dispatcher_.packet(), dispatcher_.max_message(), true,
                               &packet_len) == Connection::Received::kPacket) {
        uint32_t len = dispatcher_.answer(packet_len, true);
        if (connection->send(dispatcher_.reply(), len) != Connection::Sent::kDone) {
            return;
        }
    }
}

}  // namespace zv_rpc_lib
