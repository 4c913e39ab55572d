// Transport, the table of commands, and who owns what.
#include "tests/fire/model/model.h"

#include <algorithm>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kHeaderLen = 40;
constexpr size_t kMaxMessage = 8000;
constexpr size_t kMaxAttachment = 4096;  // with its NUL
constexpr uint32_t kDumpCommand = 17;

enum Transport : uint32_t { kDelivered = 0, kMalformed = 1, kNoCommand = 2, kTooLong = 3 };

struct CommandRow {
    uint32_t length;
    size_t reply_at, reply_len;  // what part of the record is answered
    void (Service::*serve)();
};

const std::map<uint32_t, CommandRow> &commands() {
    static const std::map<uint32_t, CommandRow> table = {
        {2, {16, 0, 0, &Service::open}},          {3, {16, 0, 0, &Service::init}},
        {4, {48, 12, 32, &Service::acl_set}},     {5, {16, 0, 16, &Service::acl_resize}},
        {6, {7224, 0, 7224, &Service::rule_set}}, {7, {7224, 0, 7224, &Service::rule_get}},
        {8, {24, 0, 0, &Service::rule_move}},     {9, {424, 0, 424, &Service::bind_ports}},
        {10, {224, 0, 224, &Service::bind_rifs}}, {11, {24, 0, 24, &Service::counter_set}},
        {12, {40, 0, 40, &Service::counter_get}}, {13, {424, 0, 424, &Service::mc_set}},
        {14, {416, 0, 416, &Service::mc_get}},    {15, {16, 0, 16, &Service::bind_system}},
        {16, {416, 0, 416, &Service::port_set}},  {kDumpCommand, {16, 0, 16, nullptr}},
    };
    return table;
}

// The attachment's own NUL is not part of the text here.
uint32_t transport_of(const Request &request) {
    const size_t attached = request.attachment ? request.attachment->size() + 1 : 0;
    if (kHeaderLen + request.body.size() + attached > kMaxMessage) {
        return kTooLong;
    }
    if (request.attachment && (request.command != kDumpCommand || attached > kMaxAttachment ||
                               request.attachment->find('\0') != std::string::npos)) {
        return kMalformed;
    }
    return commands().contains(request.command) ? kDelivered : kNoCommand;
}

// Nothing but the path is looked at, and a path that cannot be written is no failure.
void dump_command(const Request &request, Bytes &record) {
    if (!request.attachment) {
        throw Refusal{kNull};
    }
    std::fill(record.begin() + 8, record.end(), uint8_t{0});
}

}  // namespace

struct Model::State {
    World world;
};

Model::Model() : state_(std::make_unique<State>()) {}
Model::~Model() = default;
Model::Model(const Model &other) : state_(std::make_unique<State>(*other.state_)) {}
Model &Model::operator=(const Model &other) {
    *state_ = *other.state_;
    return *this;
}

Outcome Model::serve(const Request &request, const std::vector<Call> &made) {
    Outcome outcome;
    Calls calls(made);
    outcome.reply.transport = transport_of(request);
    if (outcome.reply.transport == kDelivered) {
        const CommandRow &row = commands().at(request.command);
        Bytes record = request.body;
        try {
            if (record.size() != row.length) {
                throw Refusal{kError};
            }
            if (row.serve == nullptr) {
                dump_command(request, record);
            } else {
                Service service(state_->world, calls, record);
                (service.*row.serve)();
            }
            const auto first = record.begin() + static_cast<std::ptrdiff_t>(row.reply_at);
            outcome.reply.body.assign(first, first + static_cast<std::ptrdiff_t>(row.reply_len));
        } catch (const Refusal &refusal) {
            outcome.reply.status = refusal.status;
        } catch (const Stray &stray) {
            outcome.differences.push_back(stray.text);
            return outcome;
        } catch (const json::exception &error) {
            outcome.differences.push_back(std::string("a platform call's output: ") + error.what());
            return outcome;
        }
    }
    if (const std::string left = calls.left_over(); !left.empty()) {
        outcome.differences.push_back(left);
    }
    return outcome;
}

std::string Model::dump() const {
    return dump_of(state_->world);
}

json Model::cache() const {
    return cache_of(state_->world);
}

uint32_t Service::word(size_t at) const {
    return u32_at(record_, at);
}

uint64_t Service::handle() const {
    return number_at<uint64_t>(record_, 0);
}

void Service::connect() {
    if (!world_.connected && calls_.take("zv_api_open", json::object()).status != 0) {
        throw Refusal{kError};
    }
    world_.connected = true;
}

void Service::need_connection() const {
    if (!world_.connected) {
        throw Refusal{kError};
    }
}

void Service::open() {
    const uint32_t owner = word(8);
    const std::map<uint32_t, uint32_t> priorities = {{0, 1}, {2, 0}, {3, 3}};
    if (owner < world_.handles.size()) {
        world_.handles[owner] = handle();
    }
    const auto found = priorities.find(owner);
    if (found == priorities.end()) {
        world_.priorities[1] = 2;
    } else {
        world_.priorities[owner] = found->second;
    }
    connect();
    if (owner >= world_.handles.size()) {
        throw Refusal{kOutOfRange};
    }
}

void Service::init() {
    connect();
    switch (word(8)) {
        case 1:
        case 3:
        case 6:
        case 8:
        case 9:
        case 11:
            world_.rules_per_command = 20;
            world_.acls_a = 400;
            world_.acls_b = 512;
            return;
        case 5:
        case 7:
        case 10:
            world_.rules_per_command = world_.acls_a = world_.acls_b = 0;
            return;
        default:
            throw Refusal{kError};
    }
}

// The first of `slots` owners with the request's handle; `status` where there is none.
uint32_t Service::owner_by_handle(size_t slots, uint32_t status) const {
    for (size_t owner = 0; owner < slots; ++owner) {
        if (world_.handles[owner] == handle()) {
            return static_cast<uint32_t>(owner);
        }
    }
    throw Refusal{status};
}

Acl &Service::owned_acl(uint32_t id) {
    const uint32_t owner = owner_by_handle(4, kOutOfRange);
    Acl *acl = world_.acls.find(id);
    if (acl == nullptr) {
        throw Refusal{kOutOfRange};
    }
    if (acl->owner != owner) {
        throw Refusal{kError};
    }
    return *acl;
}

// OF13, the fourth, is not known here: kept so.
McGroup &Service::owned_mc_group(uint32_t id) {
    const uint32_t owner = owner_by_handle(3, kOutOfRange);
    McGroup *group = world_.mc_groups.find(id);
    if (group == nullptr) {
        throw Refusal{kOutOfRange};
    }
    if (group->owner != owner) {
        throw Refusal{kError};
    }
    return *group;
}

}  // namespace zv_model
