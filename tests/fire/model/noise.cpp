// Random requests over few names: most of them are near enough to sense to get far.
#include <random>

#include "tests/fire/model/requests.h"
#include "tests/fire/model/stories.h"

namespace zv_model {

namespace {

class Noise {
  public:
    Noise(SideBySide &pair, uint64_t seed) : pair_(pair), random_(seed) {}

    void begin() {
        for (uint32_t owner = 0; owner < 4; ++owner) {
            pair_.send("open", 2, open_request(handle_of(owner), owner));
        }
        pair_.send("init", 3, init_request(0, 3));
    }
    bool next();

  private:
    uint32_t below(uint32_t limit) {
        return std::uniform_int_distribution<uint32_t>(0, limit - 1)(random_);
    }
    bool one_in(uint32_t num) { return below(num) == 0; }
    uint32_t one_of(std::initializer_list<uint32_t> numbers) {
        return *(numbers.begin() + below(static_cast<uint32_t>(numbers.size())));
    }
    static uint64_t handle_of(uint32_t owner) { return 0x5000 + owner; }
    uint64_t any_handle() { return one_in(20) ? below(2) : handle_of(below(4)); }

    std::string any_name(const char *kind) {
        const nlohmann::json &names = pair_.cache().at(kind);
        if (names.empty() || one_in(20)) {
            return "";
        }
        auto name = names.begin();
        std::advance(name, below(static_cast<uint32_t>(names.size())));
        return name.key();
    }
    uint32_t any_id(const char *kind) {
        const std::string name = any_name(kind);
        return name.empty() ? below(12) : static_cast<uint32_t>(std::stoul(name));
    }
    // An ACL, and mostly the handle of its owner.
    std::pair<uint64_t, uint32_t> any_acl() {
        const std::string name = any_name("acls");
        if (name.empty() || one_in(12)) {
            return {any_handle(),
                    name.empty() ? below(12) : static_cast<uint32_t>(std::stoul(name))};
        }
        const uint32_t owner = pair_.cache().at("acls").at(name).at("owner");
        return {handle_of(owner), static_cast<uint32_t>(std::stoul(name))};
    }
    std::vector<uint32_t> any_ports() {
        std::vector<uint32_t> ports(one_in(10) ? below(9) : 1 + below(3));
        for (uint32_t &port : ports) {
            port = one_of({1, 2, 3, 4, 65537, 65538});
        }
        return ports;
    }
    std::vector<RuleWords> any_rules(bool for_write) {
        std::vector<RuleWords> rules(one_in(10) ? below(9) : 1 + below(3));
        for (RuleWords &rule : rules) {
            rule = {below(one_in(8) ? 20 : 14), one_in(25) ? 4 : below(4), below(for_write ? 4 : 3),
                    0, 0};
            rule.forward_to = rule.forward_type == 2 ? any_id("mc_groups") : below(6);
            rule.counter = one_in(2) ? 0 : any_id("counters");
        }
        return rules;
    }
    Record acl_set();
    Record rule_set();
    Record request(uint32_t command);
    void maybe_fail();

    SideBySide &pair_;
    std::mt19937_64 random_;
};

Record Noise::acl_set() {
    const bool is_crowded = pair_.cache().at("acls").size() > 8;
    const uint32_t cmd = one_in(25) ? below(8) : is_crowded ? 5 : one_of({4, 4, 4, 2, 5});
    const auto [handle, acl] = any_acl();
    const uint32_t size = one_of({0, 16, 16, 16, 8});
    return acl_request(cmd == 4 ? any_handle() : handle, cmd,
                       {acl, size, one_in(4) ? 1u : 0u, one_in(20) ? 1u : 0u});
}

Record Noise::rule_set() {
    const auto [handle, acl] = any_acl();
    const std::string known = any_name("rules");
    if (known.empty() || one_in(2)) {
        return rules_request(handle, one_in(30) ? below(9) : 6, acl, any_rules(true),
                             one_in(30) ? 21 : 0);
    }
    const auto split = known.find('_');
    const auto of_acl = static_cast<uint32_t>(std::stoul(known.substr(0, split)));
    const nlohmann::json &acls = pair_.cache().at("acls");
    const auto cached = acls.find(std::to_string(of_acl));
    const uint64_t by = cached == acls.end() ? handle : handle_of(cached->at("owner"));
    std::vector<RuleWords> rules = {{static_cast<uint32_t>(std::stoul(known.substr(split + 1)))}};
    if (one_in(4)) {
        rules.push_back({below(16)});
    }
    return rules_request(by, 3, of_acl, rules);
}

Record Noise::request(uint32_t command) {
    const auto [handle, acl] = any_acl();
    const uint32_t more = one_in(40) ? 101 : 0;
    const uint32_t bind = one_in(25) ? below(11) : one_of({7, 7, 8});
    switch (command) {
        case 2: {
            const uint32_t owner = below(one_in(5) ? 6 : 4);
            return open_request(one_in(6) ? any_handle() : handle_of(owner % 4), owner);
        }
        case 3:
            return init_request(0, one_in(3) ? below(13) : 3);
        case 4:
            return acl_set();
        case 5:
            return resize_request(handle, acl, one_of({0, 8, 16, 16, 30, 12}));
        case 6:
            return rule_set();
        case 7:
            return read_request(handle, acl, any_rules(false), one_in(30) ? 21 : 0);
        case 8:
            return move_request(handle, acl, below(16), below(6), below(16));
        case 9:
            return bind_ports_request(handle, bind, acl, any_ports(), more);
        case 10:
            return bind_rifs_request(handle, bind, acl, any_ports(), more);
        case 11: {
            const uint32_t first = one_in(10) ? below(3) : below(2);
            return counter_request(0, one_in(20) ? 6 : one_of({4, 4, 5}), first, 1 - first % 2,
                                   any_id("counters"));
        }
        case 12:
            return counter_get_request(0, one_of({13, 13, 15, 15, 14, 16}), any_id("counters"));
        case 13: {
            const uint32_t cmd = one_of({1, 9, 10, 3, 1, 9, 10, 2});
            return mc_request(any_handle(), cmd, any_id("mc_groups"), any_ports(), more);
        }
        case 14:
            return mc_get_request(any_handle(), any_id("mc_groups"), below(4) + more);
        case 15:
            return system_request(handle, bind, acl);
        default:
            return port_set_request(0, one_in(20) ? below(12) : one_of({9, 10}), any_ports(), more);
    }
}

// Status 77 is nobody's own, so a call that shows it is the one that was hit.
void Noise::maybe_fail() {
    if (one_in(6)) {
        const bool late = one_in(2);
        pair_.fail_next({"*", late ? 77 : one_of({1, 4, 5, 77}), 1 + below(5), late});
    }
}

bool Noise::next() {
    static const std::vector<uint32_t> weighted = {2,  3,  4,  4,  4,  5,  6,  6,  6,  6,
                                                   6,  7,  7,  8,  8,  9,  9,  9,  10, 10,
                                                   11, 11, 12, 13, 13, 14, 15, 15, 16, 16};
    const uint32_t command = one_in(60)
                                 ? (one_in(2) ? 2 : 3)
                                 : weighted[2 + below(static_cast<uint32_t>(weighted.size()) - 2)];
    Record record = request(command);
    if (one_in(100)) {
        record.bytes.resize(below(500));
    }
    maybe_fail();
    return pair_.send("noise", command, record);
}

}  // namespace

void make_noise(SideBySide &pair, uint64_t seed, uint32_t num) {
    Noise noise(pair, seed);
    noise.begin();
    for (uint32_t i = 0; i < num && noise.next(); ++i) {
    }
}

}  // namespace zv_model
