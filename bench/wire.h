// A client of the daemon's socket that adds nothing to what is measured: one send and one receive a
// request, no allocation, no table of outstanding requests. The echo server answers the same
// client.
#pragma once

#include <cstdint>
#include <string>

namespace bench {

// Header of every message, as the RPC library reads it; little-endian.
struct WireHeader {
    char magic[4];
    uint16_t version;
    uint16_t kind;  // 1 request, 2 reply
    uint32_t command;
    uint32_t sequence;
    uint32_t status;     // the handler's
    uint32_t transport;  // 0 delivered to a handler
    uint32_t body_len;
    uint32_t attachment_len;
    uint64_t reserved;
};
static_assert(sizeof(WireHeader) == 40);

constexpr uint32_t MESSAGE_BYTES = 8000;  // of the longest message, header included

struct Message {
    WireHeader header;
    alignas(8) uint8_t body[MESSAGE_BYTES - sizeof(WireHeader)];
};
static_assert(sizeof(Message) == MESSAGE_BYTES);

// Makes the header of a request with a body of body_len bytes.
void make_request(Message *message, uint32_t command, uint32_t body_len);

// Copies a record into the body and makes the header.
template <class Record>
void make_request_of(Message *message, uint32_t command, const Record &record) {
    static_assert(sizeof(Record) <= sizeof(message->body));
    __builtin_memcpy(message->body, &record, sizeof(Record));
    make_request(message, command, sizeof(Record));
}

// Connects to the socket; -1 when nobody listens there. Ends the program on any other error.
int try_connect(const std::string &path);

// Sends a request and waits for the answer. Ends the program when the connection breaks.
// request and reply may not be the same message.
void exchange(int fd, const Message &request, Message *reply);

// True for a reply delivered with status 0.
bool succeeded(const Message &reply);

// As exchange, but ends the program, naming what was tried, when the command fails.
void exchange_ok(int fd, const Message &request, Message *reply, const char *what);

// The process at the other end of a connection.
int peer_pid(int fd);

}  // namespace bench
