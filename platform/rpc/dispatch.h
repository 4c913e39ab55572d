// From a received packet to the bytes of its reply: the checks, the command's handler, the copy of
// what it left. Knows nothing of sockets.
#ifndef PLATFORM_RPC_DISPATCH_H
#define PLATFORM_RPC_DISPATCH_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/rpc/status.h"
#include "platform/rpc/wire.h"
#include "zv_rpc.h"

namespace zv_rpc_lib {

// Owns the command table and the buffer that all requests share: a request is answered before the
// next one is read, so one is enough and none is allocated while serving. A reply takes its
// request's place: most bodies are answered as they lie there, and are not copied at all.
class Dispatcher {
  public:
    // Makes the buffer for messages of max_message bytes. False when there is no memory.
    bool open(uint32_t max_message);
    // Takes a copy of the table. kBadParameter where zv_rpc.h says that it is bad, kSystemError
    // without memory; nothing is changed then.
    Status set_table(const zv_rpc_command_t *table, uint32_t count);
    bool has_table() const { return command_num_ > 0; }
    // Forgets the table and the buffer.
    void close();

    // Where a packet is received: room for the longest message, aligned so that the body behind the
    // header is aligned to 8 bytes.
    uint8_t *packet() { return reinterpret_cast<uint8_t *>(packet_.get()); }
    uint32_t max_message() const { return max_message_; }

    // Answers the packet in packet(). packet_len is its true length, which may exceed the room.
    // shutting_down: well-formed requests are refused instead of carried out.
    // Returns the length of the reply, which is in reply() until the next packet is received.
    uint32_t answer(size_t packet_len, bool shutting_down);
    const uint8_t *reply() const { return reinterpret_cast<const uint8_t *>(packet_.get()); }

  private:
    struct Command {
        uint32_t id;
        zv_rpc_handler_t handler;
    };

    const Command *find(uint32_t id) const;
    void run(const Command &command, const Header &request, Header *reply);
    // Why a handler's reply cannot be sent, as the end of a log line; null where it can.
    const char *fault_of_reply(const Header &request, const uint8_t *from, uint32_t len);
    void place_reply(const Header &request, const uint8_t *from, uint32_t len, Header *reply);
    // The path address in the body of a path command: written before the handler, erased after it.
    void set_path(const Header &request, uint8_t *body);
    void erase_path(const Header &request, uint8_t *body);

    uint32_t max_message_ = 0;
    std::unique_ptr<uint64_t[]> packet_;
    std::unique_ptr<Command[]> commands_;  // by ascending id
    uint32_t command_num_ = 0;
    char path_[kMaxPath] = {};
};

}  // namespace zv_rpc_lib

#endif
