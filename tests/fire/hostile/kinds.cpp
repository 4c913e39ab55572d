#include "tests/fire/hostile/kinds.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "tests/support/test_client.h"

namespace zv_fire {

using namespace zv_test;
using std::chrono::milliseconds;

namespace {

constexpr uint32_t kMaxMessage = 8000;

// A request that is answered without a handler.
Bytes cheap_request(uint32_t sequence = 1) {
    return make_request(0, {}, std::nullopt, sequence);
}

}  // namespace

Bytes long_answer_request(const Battlefield &field, uint32_t sequence) {
    zv_acl_rm_acl_rule_get_params_t params = {};
    params.client_handle = field.foreign_handles[0];
    params.acl_id = field.foreign_acl;
    params.rules_num = ZV_ACL_RM_RULES_PER_RECORD;
    for (uint32_t i = 0; i < params.rules_num; ++i) {
        params.rules[i].offset = i;
    }
    return request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, params, sequence);
}

Hostile::Hostile(Battlefield &field, uint64_t seed)
    : field_(field), peer_(field.socket_path), random_(seed) {}

bool Hostile::ready() {
    if (!peer_.is_open()) {
        ++field_.connects;
        peer_.connect();
    }
    return peer_.is_open();
}

bool Hostile::send(const Bytes &packet) {
    const bool sent = peer_.send(packet);
    field_.requests += sent;
    return sent;
}

namespace {

// Asks for long replies and takes none. Once the daemon holds one of them back it goes away and
// comes again.
struct NeverReads : Hostile {
    using Hostile::Hostile;
    uint32_t stuck_turns = 0;
    void act() override {
        if (!ready() || send(long_answer_request(field_))) {
            return;
        }
        if (++stuck_turns > 20) {
            stuck_turns = 0;
            leave();
        }
    }
};

// Never without a request on its way.
struct Floods : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        const zv_acl_rm_init_params_t init = {field_.foreign_handles[1], 3, 0};
        for (int i = 0; i < 4 && ready(); ++i) {
            send(i % 2 == 0 ? cheap_request() : request(ZV_ACL_RM_API_INT_CMD_INIT, init));
        }
    }
};

// Sends a long request byte by byte, one a second. A packet is whole on this socket: each byte is
// answered as a request that is none.
struct Dribbles : Hostile {
    using Hostile::Hostile;
    uint64_t sent = 0;  // on this connection
    void act() override {
        take_all();
        if (!peer_.is_open()) {
            sent = 0;
        }
        const Bytes whole = long_answer_request(field_);
        if (ready() && send({whole[sent % whole.size()]})) {
            ++field_.single_bytes;
            ++sent;
            field_.most_single_bytes = std::max(field_.most_single_bytes.load(), sent);
        }
    }
};

// An empty packet, one of a byte, half a request, a header without its last byte.
struct CutsShort : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        Bytes packet = long_answer_request(field_);
        const size_t lengths[] = {0, 1, packet.size() / 2, sizeof(RpcHeader) - 1};
        packet.resize(lengths[random_() % std::size(lengths)]);
        if (ready()) {
            send(packet);
        }
    }
};

struct Oversizes : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        const size_t lengths[] = {kMaxMessage + 1, kMaxMessage * 2, 100000};
        Bytes packet = cheap_request();
        packet.resize(lengths[random_() % std::size(lengths)], 0xa5);
        if (ready()) {
            send(packet);
        }
    }
};

// Half of it with a header that looks right.
struct TalksGarbage : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        Bytes packet(random_() % 600);
        std::generate(packet.begin(), packet.end(),
                      [this] { return static_cast<uint8_t>(random_()); });
        if (random_() % 2 == 0 && packet.size() >= sizeof(RpcHeader)) {
            const Bytes good = make_request(2 + static_cast<uint32_t>(random_() % 16),
                                            Bytes(packet.size() - sizeof(RpcHeader)));
            std::copy_n(good.begin(), sizeof(RpcHeader), packet.begin());
            // A handle that is garbage as well, so that nothing of it is anybody's.
            if (packet.size() >= sizeof(RpcHeader) + 8) {
                packet[sizeof(RpcHeader) + 7] |= 0x80;
            }
            // OPEN would make the handle an owner's.
            packet[8] = packet[8] == ZV_ACL_RM_API_INT_CMD_OPEN ? 0 : packet[8];
            // Counters and PORT_SET are open to any handle: not to be hit by chance.
            const bool is_for_all = packet[8] == ZV_ACL_RM_API_INT_CMD_COUNTER_SET ||
                                    packet[8] == ZV_ACL_RM_API_INT_CMD_COUNTER_GET ||
                                    packet[8] == ZV_ACL_RM_API_INT_CMD_PORT_SET;
            packet[8] = is_for_all ? 0 : packet[8];
        }
        if (ready()) {
            send(packet);
        }
    }
};

// Goes while its reply is on the way.
struct ClosesEarly : Hostile {
    using Hostile::Hostile;
    void act() override {
        if (ready()) {
            send(long_answer_request(field_));
            leave();
        }
    }
};

struct PassesDescriptors : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        const int num = 1 + static_cast<int>(random_() % 200);
        if (ready()) {
            field_.requests += peer_.send_with_descriptors(cheap_request(), field_.passed_fd, num);
        }
    }
};

struct Holds : Hostile {
    using Hostile::Hostile;
    void act() override { ready(); }
};

// Opens one connection after the other, until well past what the daemon takes, then lets all go.
struct Storms : Hostile {
    using Hostile::Hostile;
    std::vector<std::unique_ptr<Peer>> crowd;
    static constexpr size_t kMost = 640;
    void act() override {
        for (int i = 0; i < 2; ++i) {
            auto peer = std::make_unique<Peer>(field_.socket_path);
            ++field_.connects;
            if (!peer->connect()) {
                break;
            }
            crowd.push_back(std::move(peer));
        }
        // The oldest leave, so that the number stays at its most.
        while (crowd.size() > kMost) {
            count_refused(*crowd.front());
            crowd.erase(crowd.begin());
        }
    }
    void leave() override {
        for (const auto &peer : crowd) {
            count_refused(*peer);
        }
        crowd.clear();
        Hostile::leave();
    }
    // A connection that the daemon closed by itself was one too many.
    void count_refused(Peer &peer) {
        const auto packet = peer.take();
        field_.refused_connects += packet && packet->empty();
    }
};

// Names the good client's objects: with the handles of the other owners, with ones that nobody has.
struct Replays : Hostile {
    using Hostile::Hostile;
    void act() override {
        check_replies();
        if (!ready()) {
            return;
        }
        const uint64_t handles[] = {field_.foreign_handles[0], field_.foreign_handles[1],
                                    field_.foreign_handles[2], 0, random_() | 1ull << 63};
        const uint64_t handle = handles[random_() % std::size(handles)];
        const uint32_t acl = field_.victim_acl;
        const uint32_t group = field_.victim_group;
        if (acl != 0 && group != 0 && send(replay(handle, acl, group))) {
            ++field_.replayed;
        }
    }
    void check_replies() {
        take_each([this](const Bytes &packet) {
            const RpcHeader header = header_of(packet);
            field_.replays_that_succeeded += header.transport == 0 && header.status == 0;
            field_.wrong_replies += header.transport != 0;
        });
    }
    Bytes replay(uint64_t handle, uint32_t acl_id, uint32_t group) {
        acl_rm_acl acl = acl_of_size(64);
        acl.acl_id = acl_id;
        zv_acl_rm_acl_rule_set_params_t rules = {};
        rules.client_handle = handle;
        rules.acl_id = acl_id;
        rules.rules_num = 20;
        for (uint32_t i = 0; i < rules.rules_num; ++i) {
            rules.rules[i] = make_rule(i);
        }
        zv_acl_rm_acl_port_bind_params_t ports = {handle, 0, acl_id, {65537, 65538}, 2, 0};
        zv_acl_rm_acl_rif_bind_params_t rifs = {handle, 0, acl_id, {1}, 1, 0};
        zv_acl_rm_mc_group_set_params_t mc = {handle, 0, group, {65540}, 1, 0};
        const uint32_t bind = ZV_ACL_RM_ACCESS_CMD_BIND + static_cast<uint32_t>(random_() % 2);
        switch (random_() % 10) {
            case 0:
                return request(
                    ZV_ACL_RM_API_INT_CMD_ACL_SET,
                    zv_acl_rm_acl_set_params_t{handle, ZV_ACL_RM_ACCESS_CMD_DESTROY, acl, 0});
            case 1:
                return request(
                    ZV_ACL_RM_API_INT_CMD_ACL_SET,
                    zv_acl_rm_acl_set_params_t{handle, ZV_ACL_RM_ACCESS_CMD_EDIT, acl, 0});
            case 2:
                rules.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
                return request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, rules);
            case 3:
                rules.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
                return request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, rules);
            case 4:
                return request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
                               zv_acl_rm_acl_rule_move_block_params_t{handle, acl_id, 0, 10, 30});
            case 5:
                return request(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE,
                               zv_acl_rm_acl_resize_params_t{handle, acl_id, 8});
            case 6:
                ports.cmd = bind;
                return request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, ports);
            case 7:
                rifs.cmd = bind;
                return request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, rifs);
            case 8:
                return request(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
                               zv_acl_rm_acl_system_bind_params_t{handle, bind, acl_id});
            default:
                mc.cmd = random_() % 2 == 0 ? uint32_t{ZV_ACL_RM_ACCESS_CMD_DELETE}
                                            : uint32_t{ZV_ACL_RM_ACCESS_CMD_ADD_PORTS};
                return request(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, mc);
        }
    }
};

// Records of every command that are too short or too long by some bytes.
struct MisSizes : Hostile {
    using Hostile::Hostile;
    void act() override {
        take_all();
        const uint32_t sizes[] = {16,  16, 48, 16,  7224, 7224, 24,  424,
                                  224, 24, 40, 424, 416,  16,   416, 16};
        const uint32_t index = static_cast<uint32_t>(random_() % std::size(sizes));
        const uint32_t differences[] = {1, 8, 15};
        const uint32_t difference = differences[random_() % std::size(differences)];
        const uint32_t size =
            random_() % 2 == 0 ? sizes[index] + difference : sizes[index] - difference;
        if (ready()) {
            send(make_request(index + 2, Bytes(size)));
        }
    }
};

// Says that it will send no more, or take no more, and goes on.
struct ShutsOneWay : Hostile {
    using Hostile::Hostile;
    int turn = 0;
    void act() override {
        if (turn++ % 2 == 0) {
            if (ready()) {
                send(long_answer_request(field_));
                shutdown(peer_.fd(), random_() % 2 == 0 ? SHUT_RD : SHUT_WR);
            }
        } else if (peer_.is_open()) {
            send(cheap_request());
            take_all();
            leave();
        }
    }
};

// As many requests at once as fit, thousands in all, before it looks at any reply; these come in
// order and none is left out.
struct Pipelines : Hostile {
    using Hostile::Hostile;
    uint32_t sent = 0;
    uint32_t answered = 0;
    void act() override {
        if (!peer_.is_open()) {
            sent = answered = 0;
        }
        if (!ready()) {
            return;
        }
        // A connection that was refused fails here, like one that is full.
        for (int i = 0; i < 8 && sent - answered < 4096; ++i) {
            if (!send(cheap_request(sent + 1))) {
                take_replies();
                return;
            }
            ++sent;
        }
    }
    void take_replies() {
        take_each([this](const Bytes &packet) {
            field_.wrong_replies += header_of(packet).sequence != ++answered;
        });
    }
};

template <typename Client>
std::unique_ptr<Hostile> make(Battlefield &field, uint64_t seed) {
    return std::make_unique<Client>(field, seed);
}

}  // namespace

// Rates: together some eight thousand requests and a thousand connections a second, one small piece
// at a time. Faster ones would measure how two cores are shared between the clients, which the
// daemon has no say in; more at one time would measure its turns, of which every connection has
// one.
const std::vector<Kind> &kinds() {
    static const auto &table = *new std::vector<Kind>{
        {"never reads", 5, milliseconds(20), make<NeverReads>},
        {"floods", 6, milliseconds(5), make<Floods>},
        {"sends a byte a second", 6, milliseconds(1000), make<Dribbles>},
        {"packets cut short", 4, milliseconds(50), make<CutsShort>},
        {"oversize packets", 5, milliseconds(50), make<Oversizes>},
        {"garbage", 6, milliseconds(20), make<TalksGarbage>},
        {"closes in the middle of a reply", 4, milliseconds(20), make<ClosesEarly>},
        {"passes descriptors", 4, milliseconds(40), make<PassesDescriptors>},
        {"connects and holds", 5, milliseconds(100), make<Holds>},
        {"connects past the limit", 1, milliseconds(2), make<Storms>},
        {"replays another owner's objects", 6, milliseconds(20), make<Replays>},
        {"records of wrong length", 4, milliseconds(20), make<MisSizes>},
        {"shuts down one direction", 4, milliseconds(20), make<ShutsOneWay>},
        {"pipelines thousands", 4, milliseconds(10), make<Pipelines>},
    };
    return table;
}

}  // namespace zv_fire
