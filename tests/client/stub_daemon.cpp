#include "tests/client/stub_daemon.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_test {

namespace {

constexpr size_t kHeaderBytes = 40;
constexpr size_t kPacketBytes = 16384;

uint32_t get32(const uint8_t *place) {
    uint32_t value = 0;
    std::memcpy(&value, place, sizeof(value));
    return value;
}

void put32(uint8_t *place, uint32_t value) {
    std::memcpy(place, &value, sizeof(value));
}

StubRequest read_request(const uint8_t *packet, size_t bytes) {
    StubRequest request;
    request.command = get32(packet + 8);
    request.sequence = get32(packet + 12);
    const uint32_t body_len = get32(packet + 24);
    const uint32_t attachment_len = get32(packet + 28);
    if (std::memcmp(packet, "ZVRP", 4) != 0 || get32(packet + 4) != 0x00010001 ||
        kHeaderBytes + body_len + attachment_len != bytes) {
        throw std::runtime_error("the client sent what is no request");
    }
    const uint8_t *body = packet + kHeaderBytes;
    request.body.assign(body, body + body_len);
    request.attachment.assign(body + body_len, body + body_len + attachment_len);
    return request;
}

std::vector<uint8_t> write_reply(const StubRequest &request, const StubReply &reply) {
    std::vector<uint8_t> packet(kHeaderBytes, 0);
    std::memcpy(packet.data(), reply.garbage ? "ZZZZ" : "ZVRP", 4);
    put32(&packet[4], 0x00020001);
    put32(&packet[8], request.command);
    put32(&packet[12], request.sequence);
    put32(&packet[16], reply.status);
    put32(&packet[20], reply.transport);
    put32(&packet[24], static_cast<uint32_t>(reply.body.size()));
    packet.insert(packet.end(), reply.body.begin(), reply.body.end());
    return packet;
}

}  // namespace

StubReply echo_reply(const StubRequest &request) {
    StubReply reply;
    switch (request.command) {
        case ZV_ACL_RM_API_INT_CMD_OPEN:
        case ZV_ACL_RM_API_INT_CMD_INIT:
        case ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK:
            break;
        case ZV_ACL_RM_API_INT_CMD_ACL_SET:
            reply.body.assign(request.body.begin() + 12, request.body.begin() + 44);
            break;
        default:
            reply.body = request.body;
    }
    return reply;
}

StubDaemon::StubDaemon(Handler handler) : handler_(std::move(handler)) {
    const char *base = std::getenv("TMPDIR");
    directory_ = std::string(base == nullptr ? "/tmp" : base) + "/zv-stub-XXXXXX";
    if (mkdtemp(directory_.data()) == nullptr) {
        throw std::runtime_error("no directory for the stub's socket");
    }
    path_ = directory_ + "/s";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    wake_ = eventfd(0, EFD_CLOEXEC);
    if (bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener_, 64) != 0) {
        throw std::runtime_error("the stub cannot listen");
    }
    thread_ = std::thread([this] { serve(); });
}

StubDaemon::~StubDaemon() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake();
    thread_.join();
    for (const int fd : connections_) {
        close(fd);
    }
    close(listener_);
    close(wake_);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::vector<StubRequest> StubDaemon::requests() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void StubDaemon::set_deaf(bool deaf) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        deaf_ = deaf;
    }
    wake();
}

bool StubDaemon::is_deaf() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return deaf_;
}

void StubDaemon::wake() {
    const uint64_t one = 1;
    if (write(wake_, &one, sizeof(one)) < 0) {
        std::abort();
    }
}

/* Becomes -1 when the connection ends. */
void StubDaemon::take_packet(int &fd) {
    std::vector<uint8_t> packet(kPacketBytes);
    const ssize_t bytes = recv(fd, packet.data(), packet.size(), 0);
    StubReply reply;
    reply.hang_up = bytes < static_cast<ssize_t>(kHeaderBytes);
    if (!reply.hang_up) {
        const StubRequest request = read_request(packet.data(), static_cast<size_t>(bytes));
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            requests_.push_back(request);
        }
        reply = handler_(request);
        if (!reply.silent && !reply.hang_up) {
            const auto answer = write_reply(request, reply);
            reply.hang_up = send(fd, answer.data(), answer.size(), MSG_NOSIGNAL) < 0;
        }
    }
    if (reply.hang_up) {
        close(fd);
        fd = -1;
    }
}

void StubDaemon::serve() {
    while (true) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stop_) {
                return;
            }
        }
        const bool deaf = is_deaf();
        std::vector<pollfd> entries{{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const int fd : connections_) {
            entries.push_back({fd, static_cast<short>(deaf ? 0 : POLLIN), 0});
        }
        poll(entries.data(), entries.size(), -1);
        uint64_t count = 0;
        if (entries[0].revents != 0 && read(wake_, &count, sizeof(count)) < 0) {
            std::abort();
        }
        for (size_t i = 2; i < entries.size(); i++) {
            /* A packet may have come after it was told to be deaf, and before it heard of that. */
            const bool is_closed = (entries[i].revents & (POLLHUP | POLLERR)) != 0;
            if (is_closed || (entries[i].revents != 0 && !is_deaf())) {
                take_packet(connections_[i - 2]);
            }
        }
        std::erase(connections_, -1);
        if (entries[1].revents != 0) {
            connections_.push_back(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
        }
    }
}

}  // namespace zv_test
