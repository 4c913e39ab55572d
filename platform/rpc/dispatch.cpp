#include "platform/rpc/dispatch.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/rpc/rpc_log.h"

namespace zv_rpc_lib {

namespace {

std::unique_ptr<uint64_t[]> make_buffer(uint32_t bytes) {
    return std::unique_ptr<uint64_t[]>(new (std::nothrow) uint64_t[(bytes + 7) / 8]());
}

bool is_complete(const zv_rpc_command_t &command) {
    return command.handler != nullptr &&
           memchr(command.name, '\0', sizeof(command.name)) != nullptr;
}

bool has_path_field(const Header &request) {
    return request.command == kPathCommand && request.body_len >= kPathAddressEnd;
}

}  // namespace

bool Dispatcher::open(uint32_t max_message) {
    packet_ = make_buffer(max_message);
    max_message_ = max_message;
    return packet_ != nullptr;
}

Status Dispatcher::set_table(const zv_rpc_command_t *table, uint32_t count) {
    if (table == nullptr || count == 0 || !std::all_of(table, table + count, is_complete)) {
        return kBadParameter;
    }
    std::unique_ptr<Command[]> commands(new (std::nothrow) Command[count]);
    if (commands == nullptr) {
        return kSystemError;
    }
    std::transform(table, table + count, commands.get(), [](const zv_rpc_command_t &command) {
        return Command{command.command_id, command.handler};
    });
    auto end = commands.get() + count;
    std::sort(commands.get(), end, [](const Command &a, const Command &b) { return a.id < b.id; });
    auto same_id = [](const Command &a, const Command &b) { return a.id == b.id; };
    if (std::adjacent_find(commands.get(), end, same_id) != end) {
        return kBadParameter;
    }
    commands_ = std::move(commands);
    command_num_ = count;
    return kSuccess;
}

void Dispatcher::close() {
    packet_.reset();
    commands_.reset();
    command_num_ = 0;
}

const Dispatcher::Command *Dispatcher::find(uint32_t id) const {
    const Command *end = commands_.get() + command_num_;
    const Command *found = std::lower_bound(
        static_cast<const Command *>(commands_.get()), end, id,
        [](const Command &command, uint32_t wanted) { return command.id < wanted; });
    return found != end && found->id == id ? found : nullptr;
}

uint32_t Dispatcher::answer(size_t packet_len, bool shutting_down) {
    Header request;
    Transport transport = check_request(packet(), packet_len, max_message_, &request);
    Header reply = make_reply(request);
    const Command *command = nullptr;
    if (transport == kDelivered && shutting_down) {
        transport = kShuttingDown;
    }
    if (transport == kDelivered) {
        command = find(request.command);
        transport = command == nullptr ? kUnknownCommand : kDelivered;
    }
    if (transport == kDelivered) {
        run(*command, request, &reply);
    }
    reply.transport = transport;
    memcpy(packet_.get(), &reply, sizeof(reply));
    return kHeaderLen + reply.body_len;
}

void Dispatcher::run(const Command &command, const Header &request, Header *reply) {
    uint8_t *body = request.body_len == 0 ? nullptr : packet() + kHeaderLen;
    uint8_t *reply_body = nullptr;
    uint32_t reply_len = 0;
    set_path(request, body);
    reply->status = command.handler(body, request.body_len, &reply_body, &reply_len);
    erase_path(request, body);
    if (reply->status == 0 && reply_len > 0) {
        place_reply(request, reply_body, reply_len, reply);
    }
}

const char *Dispatcher::fault_of_reply(const Header &request, const uint8_t *from, uint32_t len) {
    if (from == nullptr) {
        return "at a null address";
    }
    if (len > max_message_ - kHeaderLen) {
        return "do not fit a message";
    }
    // Behind the body lie the attachment and what an earlier request, perhaps another client's,
    // has left there.
    const auto first = reinterpret_cast<uintptr_t>(from);
    const auto buffer = reinterpret_cast<uintptr_t>(packet());
    const bool inside = first >= buffer && first < buffer + max_message_;
    return inside && first + len > buffer + kHeaderLen + request.body_len
               ? "reach past the body they begin in"
               : nullptr;
}

void Dispatcher::place_reply(const Header &request, const uint8_t *from, uint32_t len,
                             Header *reply) {
    const char *fault = fault_of_reply(request, from, len);
    if (fault != nullptr) {
        log_line(kWarning, "The reply of command %u is left out: %u bytes %s.\n", request.command,
                 len, fault);
        return;
    }
    uint8_t *to = packet() + kHeaderLen;
    if (from != to) {
        memmove(to, from, len);
    }
    reply->body_len = len;
    // A handler may answer with a copy of the record that it made while the address stood in it.
    uint64_t address = reinterpret_cast<uintptr_t>(path_);
    if (request.command == kPathCommand && len >= kPathAddressEnd &&
        memcmp(to + kPathAddressOffset, &address, sizeof(address)) == 0) {
        memset(to + kPathAddressOffset, 0, sizeof(address));
    }
}

void Dispatcher::set_path(const Header &request, uint8_t *body) {
    if (!has_path_field(request)) {
        return;
    }
    uint64_t address = 0;
    if (request.attachment_len > 0) {
        // Apart from the body, which the handler may write to.
        memcpy(path_, body + request.body_len, request.attachment_len);
        address = reinterpret_cast<uintptr_t>(path_);
    }
    memcpy(body + kPathAddressOffset, &address, sizeof(address));
}

void Dispatcher::erase_path(const Header &request, uint8_t *body) {
    if (has_path_field(request)) {
        memset(body + kPathAddressOffset, 0, kPathAddressEnd - kPathAddressOffset);
    }
}

}  // namespace zv_rpc_lib
