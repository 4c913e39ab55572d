// Stories of up to four connections against the RPC server's running loop: opened, written to with
// packets of every kind, left unread, half closed, closed in the middle.
//
// What must hold whatever happens: each packet that the socket took is answered once, in order,
// with its own sequence number and the right refusal; a connection is closed by its client and not
// by the server; and afterwards a newcomer is served.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <deque>
#include <thread>

#include "fuzz/support/fuzz.h"
#include "fuzz/support/wire_handlers.h"
#include "platform/rpc/socket_path.h"
#include "platform/rpc/wire.h"
#include "zv_rpc.h"

namespace {

using namespace zv_rpc_lib;
using zv_fuzz::fail;
using zv_fuzz::Input;
using Packet = std::vector<uint8_t>;

constexpr uint32_t kMaxMessage = 8000;
constexpr int kPatienceMs = 8000;
constexpr uint32_t kClientNum = 4;
constexpr uint32_t kMaxSteps = 64;

const std::string &socket_path() {
    static const std::string &path = *new std::string(zv_fuzz::scratch_dir() + "/rpc.sock");
    return path;
}

// What has to come back for one packet.
struct Owed {
    uint32_t sequence;
    uint32_t transport;
    bool is_empty;  // an empty packet: before an end the server cannot tell it from the end
};

Owed owed_for(const Packet &packet) {
    Header header = {};
    if (packet.size() >= kHeaderLen) {
        memcpy(&header, packet.data(), sizeof(header));
    }
    return {header.sequence, zv_fuzz::expected_transport(packet, kMaxMessage, false),
            packet.empty()};
}

class Client {
  public:
    ~Client() { close(); }

    bool is_open() const { return fd_ >= 0; }

    void open() {
        close();
        fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const sockaddr_un address = socket_address(socket_path().c_str());
        if (fd_ < 0 ||
            connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
            fail("the server does not accept: errno %d", errno);
        }
    }

    void close() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = -1;
        writes_ = reads_ = true;
        owed_.clear();
    }

    // Sends unless the socket is full; with descriptors attached, which the server must drop.
    void send(const Packet &packet, bool with_descriptor) {
        if (!is_open() || !writes_) {
            return;
        }
        iovec part = {const_cast<uint8_t *>(packet.data()), packet.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (with_descriptor) {
            message.msg_control = control;
            message.msg_controllen = sizeof(control);
            cmsghdr *head = CMSG_FIRSTHDR(&message);
            head->cmsg_level = SOL_SOCKET;
            head->cmsg_type = SCM_RIGHTS;
            head->cmsg_len = CMSG_LEN(sizeof(int));
            memcpy(CMSG_DATA(head), &fd_, sizeof(int));
        }
        if (sendmsg(fd_, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) {
            owed_.push_back(owed_for(packet));
        } else if (errno != EAGAIN && errno != EMSGSIZE && errno != ENOBUFS) {
            fail("the server closed a connection: errno %d", errno);
        }
    }

    void stop_writing() {
        if (is_open() && writes_) {
            shutdown(fd_, SHUT_WR);
            writes_ = false;
        }
    }

    void stop_reading() {
        if (is_open() && reads_) {
            shutdown(fd_, SHUT_RD);
            reads_ = false;
        }
    }

    // Takes the next reply that is owed, if there is one and no signal comes between.
    void receive() {
        if (!is_open() || !reads_ || owed_.empty()) {
            return;
        }
        pollfd watched = {fd_, POLLIN, 0};
        const int ready = poll(&watched, 1, kPatienceMs);
        if (ready < 0 && errno == EINTR) {
            return;  // the engine's own timer
        }
        if (ready != 1) {
            fail("%zu replies are owed and none comes", owed_.size());
        }
        uint8_t reply[kMaxMessage];
        ssize_t len = recv(fd_, reply, sizeof(reply), MSG_DONTWAIT | MSG_TRUNC);
        if (len < 0 && errno == ECONNRESET) {
            // The server has closed with empty packets unread, which it took for our end. The
            // system says so once, before the replies that lie here.
            len = recv(fd_, reply, sizeof(reply), MSG_DONTWAIT | MSG_TRUNC);
        }
        if (len <= 0) {
            take_end();
        } else {
            check(reply, static_cast<size_t>(len));
        }
    }

    void receive_all() {
        while (is_open() && reads_ && !owed_.empty()) {
            receive();
        }
    }

  private:
    // The server has closed: right only after our end, with nothing owed but empty packets.
    void take_end() {
        for (const Owed &owed : owed_) {
            if (writes_ || !owed.is_empty) {
                fail("the server closed with %zu replies owed", owed_.size());
            }
        }
        owed_.clear();
    }

    void check(const uint8_t *reply, size_t len) {
        Header header = {};
        memcpy(&header, reply, std::min(len, sizeof(header)));
        const Owed owed = owed_.front();
        owed_.pop_front();
        if (len < kHeaderLen || !is_reply(header) || header.body_len != len - kHeaderLen) {
            fail("a reply of %zu bytes is none", len);
        }
        if (header.sequence != owed.sequence || header.transport != owed.transport) {
            fail("reply %u with transport %u instead of %u with %u", header.sequence,
                 header.transport, owed.sequence, owed.transport);
        }
    }

    int fd_ = -1;
    bool writes_ = true;
    bool reads_ = true;
    std::deque<Owed> owed_;
};

Packet request(uint32_t command, uint32_t sequence, uint32_t body_len) {
    const Header header = make_request(command, sequence, body_len, 0);
    Packet packet(kHeaderLen + body_len, 0x5a);
    memcpy(packet.data(), &header, sizeof(header));
    return packet;
}

Packet path_request(uint32_t sequence, uint32_t path_len) {
    const Header header = make_request(kPathCommand, sequence, 16, path_len + 1);
    Packet packet(kHeaderLen + 16 + path_len + 1, 'p');
    memcpy(packet.data(), &header, sizeof(header));
    packet.back() = 0;
    return packet;
}

class Story {
  public:
    explicit Story(Input input) : input_(input) {}

    void tell() {
        for (uint32_t step = 0; step < kMaxSteps && !input_.empty(); step++) {
            take_step();
        }
        for (Client &client : clients_) {
            client.receive_all();
        }
    }

  private:
    void take_step() {
        const uint32_t choice = input_.u8();
        Client &client = clients_[choice % kClientNum];
        if (!client.is_open()) {
            client.open();
        }
        switch (choice / kClientNum % 12) {
            case 0:
                return client.send(request(input_.below(20), ++sequence_, input_.u8()), false);
            case 1:
                return client.send(input_.bytes(input_.u8()), false);
            case 2:
                return client.receive();
            case 3:
                return client.receive_all();
            case 4:
                return client.close();
            case 5:
                return client.stop_writing();
            case 6:
                return client.stop_reading();
            case 7:
                return client.send(Packet(input_.u16() * 2u, 'b'), false);
            case 8:
                return client.send({}, false);
            case 9:
                return send_many(client);
            case 10:
                return client.send(path_request(++sequence_, input_.u16() % 5000), false);
            default:
                return client.send(request(zv_fuzz::kEcho, ++sequence_, input_.u16() % 9000), true);
        }
    }

    // More than the server's replies have room for, so that one of them waits.
    void send_many(Client &client) {
        const uint32_t body_len = input_.u16() % 7960;
        for (uint32_t num = input_.below(64); num > 0; num--) {
            client.send(request(zv_fuzz::kEcho, ++sequence_, body_len), false);
        }
    }

    Input input_;
    std::array<Client, kClientNum> clients_;
    uint32_t sequence_ = 0;
};

// What a newcomer wants: an answer.
void greet() {
    Client newcomer;
    newcomer.open();
    newcomer.send(request(zv_fuzz::kEcho, 1, 8), false);
    newcomer.receive_all();
}

}  // namespace

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    if (zv_rpc_core_td_init(socket_path().c_str(), kMaxMessage) != 0 ||
        zv_rpc_api_rpc_command_db_init(zv_fuzz::kWireTable, zv_fuzz::kWireCommandNum) != 0) {
        fail("the server does not start");
    }
    std::thread([] {
        zv_rpc_core_td_start_loop();
        fail("the loop ended");
    }).detach();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Story(Input(data, size)).tell();
    greet();
    return 0;
}
