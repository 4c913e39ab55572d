// The client side: one connection, its sequence numbers, and deadlines.
//
// Requests are numbered in the order in which they are sent and the server answers them in that
// order. So two numbers say everything about what is under way: the next request's, and that of the
// oldest reply still wanted. A reply before that one belongs to a call whose time was over, and is
// dropped.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/rpc/socket_path.h"
#include "platform/rpc/wire.h"
#include "zv_rpc_client.h"

struct zv_rpc_client {
    int fd = -1;
    // The next request's number. Numbers wrap around; they are compared by their distance.
    uint32_t next_sequence = 1;
    // The oldest request whose reply is wanted; next_sequence when there is none.
    uint32_t oldest_wanted = 1;
    // The oldest request whose reply has not come at all, wanted or not.
    uint32_t oldest_unanswered = 1;
};

namespace {

using zv_rpc_lib::Header;
using zv_rpc_lib::kHeaderLen;

// The largest request that is tried at all, so that lengths add up in 32 bits everywhere.
constexpr uint64_t kLargestRequest = 1u << 30;

class Deadline {
  public:
    explicit Deadline(int timeout_ms) : unlimited_(timeout_ms < 0) {
        end_ms_ = unlimited_ ? 0 : now_ms() + timeout_ms;
    }
    // For poll(2): -1 without a limit, 0 when the time is over.
    int left_ms() const {
        if (unlimited_) {
            return -1;
        }
        return static_cast<int>(std::clamp<int64_t>(end_ms_ - now_ms(), 0, INT_MAX));
    }

  private:
    static int64_t now_ms() {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
    }

    bool unlimited_;
    int64_t end_ms_;
};

// Waits until the socket may be ready for events. 0 also for an interruption: the caller tries
// again.
int wait_for(int fd, short events, const Deadline &deadline) {
    pollfd waited = {fd, events, 0};
    int left_ms = deadline.left_ms();
    int count = poll(&waited, 1, left_ms);
    if (count > 0) {
        return 0;
    }
    if (count < 0) {
        return errno == EINTR ? 0 : errno;
    }
    return ETIMEDOUT;
}

struct Request {
    uint32_t command;
    const void *body;
    uint32_t body_len;
    const void *attachment;
    uint32_t attachment_len;
};

bool is_valid(const Request &request) {
    return (request.body != nullptr || request.body_len == 0) &&
           (request.attachment != nullptr || request.attachment_len == 0);
}

int send_packet(int fd, const msghdr &message, const Deadline &deadline) {
    for (;;) {
        if (sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
            return 0;
        }
        if (errno == EPIPE || errno == ECONNRESET || errno == ECONNREFUSED) {
            return ECONNRESET;
        }
        if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        int error = wait_for(fd, POLLOUT, deadline);
        if (error != 0) {
            return error;
        }
    }
}

int send_request(zv_rpc_client *client, const Request &request, const Deadline &deadline) {
    if (uint64_t{kHeaderLen} + request.body_len + request.attachment_len > kLargestRequest) {
        return EMSGSIZE;
    }
    Header header = zv_rpc_lib::make_request(request.command, client->next_sequence,
                                             request.body_len, request.attachment_len);
    iovec parts[] = {{&header, sizeof(header)},
                     {const_cast<void *>(request.body), request.body_len},
                     {const_cast<void *>(request.attachment), request.attachment_len}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 3;
    int error = send_packet(client->fd, message, deadline);
    if (error == 0) {
        client->next_sequence++;
    }
    return error;
}

// Where a reply goes.
struct Reply {
    void *body;
    uint32_t room;
    bool body_wanted;
    Header header;
};

// One attempt without waiting: 0, EAGAIN, or an error.
int receive_packet(int fd, int flags, msghdr *message, ssize_t *len) {
    *len = recvmsg(fd, message, flags | MSG_DONTWAIT | MSG_TRUNC);
    if (*len < 0 && errno == ECONNRESET) {
        // The server went away with requests of ours unread. That is reported once, before the
        // replies it has sent; those are still to be had.
        *len = recvmsg(fd, message, flags | MSG_DONTWAIT | MSG_TRUNC);
    }
    if (*len < 0) {
        return errno == EINTR ? EAGAIN : errno;
    }
    // No reply is empty: this is the end of the connection.
    return *len == 0 ? ECONNRESET : 0;
}

// Whether header is a reply to a request that was sent and is not answered yet.
bool is_expected(const zv_rpc_client &client, const Header &header) {
    return zv_rpc_lib::is_reply(header) && header.sequence - client.oldest_unanswered <
                                               client.next_sequence - client.oldest_unanswered;
}

bool is_late(const zv_rpc_client &client, const Header &header) {
    return header.sequence - client.oldest_unanswered <
           client.oldest_wanted - client.oldest_unanswered;
}

// Drops replies that came too late, which are the first to come. They are looked at before they are
// taken, so that the caller's room is not written to by what is not meant for it.
int drop_late(zv_rpc_client *client) {
    while (client->oldest_unanswered != client->oldest_wanted) {
        Header header = {};
        iovec part = {&header, sizeof(header)};
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        ssize_t len = 0;
        int error = receive_packet(client->fd, MSG_PEEK, &message, &len);
        if (error != 0) {
            return error;
        }
        if (len < static_cast<ssize_t>(kHeaderLen) || !is_expected(*client, header)) {
            return EPROTO;
        }
        if (!is_late(*client, header)) {
            client->oldest_unanswered = client->oldest_wanted;
            return 0;
        }
        client->oldest_unanswered = header.sequence + 1;
        error = receive_packet(client->fd, 0, &message, &len);
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

int take_reply(zv_rpc_client *client, Reply *reply) {
    int error = drop_late(client);
    if (error != 0) {
        return error;
    }
    iovec parts[] = {{&reply->header, sizeof(reply->header)}, {reply->body, reply->room}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    ssize_t len = 0;
    error = receive_packet(client->fd, 0, &message, &len);
    if (error != 0) {
        return error;
    }
    if (len < static_cast<ssize_t>(kHeaderLen) || !is_expected(*client, reply->header) ||
        static_cast<uint64_t>(len) != uint64_t{kHeaderLen} + reply->header.body_len) {
        return EPROTO;
    }
    client->oldest_wanted = reply->header.sequence + 1;
    client->oldest_unanswered = client->oldest_wanted;
    return 0;
}

int transport_error(uint32_t transport) {
    switch (transport) {
        case zv_rpc_lib::kDelivered:
            return 0;
        case zv_rpc_lib::kMalformed:
            return EBADMSG;
        case zv_rpc_lib::kUnknownCommand:
            return EOPNOTSUPP;
        case zv_rpc_lib::kTooLong:
            return EMSGSIZE;
        case zv_rpc_lib::kShuttingDown:
            return ESHUTDOWN;
        default:
            return EPROTO;
    }
}

// Where the caller wants the results; reply_len and status may be null.
struct Results {
    void *reply;
    uint32_t *reply_len;
    uint32_t *status;
};

bool is_valid(const Results &results) {
    return results.reply != nullptr || results.reply_len == nullptr || *results.reply_len == 0;
}

// The room the caller offers, and then "nothing yet" in all its places.
Reply begin_reply(const Results &results) {
    Reply reply = {};
    reply.body = results.reply;
    reply.body_wanted = results.reply_len != nullptr;
    reply.room = reply.body_wanted ? *results.reply_len : 0;
    if (results.reply_len != nullptr) {
        *results.reply_len = 0;
    }
    if (results.status != nullptr) {
        *results.status = 0;
    }
    return reply;
}

int wait_for_reply(zv_rpc_client *client, Reply *reply, const Results &results,
                   const Deadline &deadline) {
    int error = take_reply(client, reply);
    while (error == EAGAIN) {
        error = wait_for(client->fd, POLLIN, deadline);
        if (error == 0) {
            error = take_reply(client, reply);
        }
    }
    if (error == 0) {
        error = transport_error(reply->header.transport);
    }
    if (error != 0) {
        return error;
    }
    if (results.reply_len != nullptr) {
        *results.reply_len = reply->header.body_len;
    }
    if (results.status != nullptr) {
        *results.status = reply->header.status;
    }
    return reply->body_wanted && reply->header.body_len > reply->room ? ENOBUFS : 0;
}

int connect_to(const char *path, int *connected) {
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return errno;
    }
    sockaddr_un address = zv_rpc_lib::socket_address(path);
    while (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        if (errno != EINTR) {
            int error = errno;
            close(fd);
            return error;
        }
    }
    *connected = fd;
    return 0;
}

}  // namespace

int zv_rpc_client_connect(const char *socket_path, zv_rpc_client_t **client) {
    if (client == nullptr) {
        return EINVAL;
    }
    *client = nullptr;
    if (socket_path == nullptr) {
        return EINVAL;
    }
    char path[zv_rpc_lib::kMaxSocketPath + 1];
    if (!zv_rpc_lib::rooted_path(socket_path, path, sizeof(path))) {
        return ENAMETOOLONG;
    }
    int fd = -1;
    int error = connect_to(path, &fd);
    if (error != 0) {
        return error;
    }
    *client = new (std::nothrow) zv_rpc_client;
    if (*client == nullptr) {
        close(fd);
        return ENOMEM;
    }
    (*client)->fd = fd;
    return 0;
}

int zv_rpc_client_call(zv_rpc_client_t *client, uint32_t command, const void *body,
                       uint32_t body_len, const void *attachment, uint32_t attachment_len,
                       void *reply, uint32_t *reply_len, uint32_t *status, int timeout_ms) {
    Request request = {command, body, body_len, attachment, attachment_len};
    Results results = {reply, reply_len, status};
    if (client == nullptr || !is_valid(request) || !is_valid(results)) {
        return EINVAL;
    }
    Reply taken = begin_reply(results);
    if (client->oldest_wanted != client->next_sequence) {
        return EBUSY;
    }
    Deadline deadline(timeout_ms);
    int error = send_request(client, request, deadline);
    if (error != 0) {
        // Nothing was sent: the next request takes the number, and still nothing is wanted.
        return error;
    }
    error = wait_for_reply(client, &taken, results, deadline);
    client->oldest_wanted = client->next_sequence;
    return error;
}

int zv_rpc_client_send(zv_rpc_client_t *client, uint32_t command, const void *body,
                       uint32_t body_len, const void *attachment, uint32_t attachment_len,
                       uint32_t *sequence, int timeout_ms) {
    Request request = {command, body, body_len, attachment, attachment_len};
    if (client == nullptr || !is_valid(request)) {
        return EINVAL;
    }
    uint32_t number = client->next_sequence;
    int error = send_request(client, request, Deadline(timeout_ms));
    if (error == 0 && sequence != nullptr) {
        *sequence = number;
    }
    return error;
}

int zv_rpc_client_receive(zv_rpc_client_t *client, uint32_t *sequence, void *reply,
                          uint32_t *reply_len, uint32_t *status, int timeout_ms) {
    Results results = {reply, reply_len, status};
    if (client == nullptr || !is_valid(results)) {
        return EINVAL;
    }
    Reply taken = begin_reply(results);
    if (client->oldest_wanted == client->next_sequence) {
        return ENOMSG;
    }
    int error = wait_for_reply(client, &taken, results, Deadline(timeout_ms));
    if (error == ECONNRESET) {
        // Nothing will come any more. One request a call is given up, so that the caller learns of
        // each, and then nothing is outstanding.
        taken.header.sequence = client->oldest_wanted++;
    }
    if (sequence != nullptr) {
        *sequence = taken.header.sequence;
    }
    return error;
}

int zv_rpc_client_fd(const zv_rpc_client_t *client) {
    return client == nullptr ? -1 : client->fd;
}

void zv_rpc_client_close(zv_rpc_client_t *client) {
    if (client != nullptr) {
        close(client->fd);
        delete client;
    }
}
