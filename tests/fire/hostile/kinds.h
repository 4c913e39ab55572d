// kinds.h - the kinds of hostile clients: what each does when it is its turn.
#ifndef ZV_TESTS_FIRE_HOSTILE_KINDS_H
#define ZV_TESTS_FIRE_HOSTILE_KINDS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/fire/hostile/peer.h"

namespace zv_fire {

// What all of them know and report to. The victim's numbers come from the good client while it
// works; 0 is no object at present.
struct Battlefield {
    std::string socket_path;
    std::atomic<uint32_t> victim_acl{0};
    std::atomic<uint32_t> victim_group{0};
    uint64_t foreign_handles[3] = {};  // of the other three owners
    uint32_t foreign_acl = 0;          // the hostile ones' own, with twenty rules, to be read
    int passed_fd = -1;                // to be passed

    // Figures and faults.
    std::atomic<uint64_t> requests{0};
    std::atomic<uint64_t> connects{0};
    std::atomic<uint64_t> refused_connects{0};
    std::atomic<uint64_t> replayed{0};
    std::atomic<uint64_t> replays_that_succeeded{0};
    std::atomic<uint64_t> wrong_replies{0};
    std::atomic<uint64_t> single_bytes{0};
    std::atomic<uint64_t> most_single_bytes{0};  // on one connection
};

class Hostile {
  public:
    Hostile(Battlefield &field, uint64_t seed);
    virtual ~Hostile() = default;
    // One small piece of mischief; never waits.
    virtual void act() = 0;
    virtual void leave() { peer_.close(); }

  protected:
    // Connects where it is not; false when it cannot.
    bool ready();
    bool send(const zv_test::Bytes &packet);
    // Calls visit(packet) for each packet that waits; closes at the end of the connection.
    template <class Visit>
    void take_each(Visit visit) {
        while (peer_.is_open()) {
            const std::optional<zv_test::Bytes> packet = peer_.take();
            if (!packet) {
                return;
            }
            if (packet->empty()) {
                peer_.close();
            } else {
                visit(*packet);
            }
        }
    }
    void take_all() {
        take_each([](const zv_test::Bytes &) {});
    }

    Battlefield &field_;
    Peer peer_;
    std::mt19937_64 random_;
};

struct Kind {
    const char *name;
    uint32_t connections;             // of the 64
    std::chrono::milliseconds every;  // between two acts of one of them
    std::unique_ptr<Hostile> (*make)(Battlefield &, uint64_t seed);
};
const std::vector<Kind> &kinds();

// A read of twenty rules, whose reply is nearly as long as replies get.
zv_test::Bytes long_answer_request(const Battlefield &field, uint32_t sequence = 1);

}  // namespace zv_fire

#endif
