// The told story: every command, what it refuses, and what is left after a failure.
#include <numeric>

#include "tests/fire/model/requests.h"
#include "tests/fire/model/stories.h"

namespace zv_model {

namespace {

constexpr uint64_t kOpenFlow = 0x1000, kTarn = 0x1001, kPra = 0x1002, kOf13 = 0x1003,
                   kNobody = 0x9999;
constexpr uint32_t kPort = 65537;

// Goes silent after the first difference.
class Teller {
  public:
    explicit Teller(SideBySide &pair) : pair_(pair) {}

    Teller &operator()(const std::string &what, uint32_t command, const Record &record) {
        ok_ = ok_ && pair_.send(what, command, record);
        return *this;
    }
    Teller &raw(const std::string &what, uint32_t command, const Bytes &body,
                const std::optional<std::string> &attachment = std::nullopt) {
        ok_ = ok_ && pair_.send(what, command, body, attachment);
        return *this;
    }
    Teller &failing(const Fault &fault) {
        if (ok_) {
            pair_.fail_next(fault);
        }
        return *this;
    }
    uint32_t created(uint64_t handle, AclWords acl) {
        (*this)("create an ACL", 4, acl_request(handle, 4, acl));
        return pair_.reply_word(0);
    }
    uint32_t counter(uint32_t first) {
        (*this)("create a counter", 11, counter_request(kNobody, 4, first, 1 - first, 0));
        return pair_.reply_word(20);
    }
    uint32_t mc_group(uint64_t handle, const std::vector<uint32_t> &ports) {
        (*this)("create an MC group", 13, mc_request(handle, 1, 0, ports));
        return pair_.reply_word(12);
    }

  private:
    SideBySide &pair_;
    bool ok_ = true;
};

void before_it_is_open(Teller &tell, const SideBySide &pair) {
    tell("rules before INIT", 6, rules_request(kOpenFlow, 6, 1, {{}}));
    tell("system bind before INIT", 15, system_request(0, 7, 1));
    tell.raw("dump before INIT", 17, Bytes(16, 7), pair.path("dump"));
    tell.raw("dump without a path", 17, Bytes(16, 7));
    tell.raw("dump into a directory", 17, Bytes(16, 7), pair.path(""));
    tell.raw("dump to nowhere", 17, Bytes(16, 7), "");
    tell.raw("dump with a path too long", 17, Bytes(16, 7), std::string(4096, 'x'));
    tell.raw("dump with the longest path", 17, Bytes(16, 7), std::string(4095, 'x'));
    tell.raw("an attachment elsewhere", 2, Bytes(16, 7), "x");
    tell.raw("an unknown command", 1, Bytes(16));
    tell.raw("another unknown command", 18, {});
    tell.raw("a body too long", 6, Bytes(7961));
    tell.raw("the longest body", 6, Bytes(7960));
    for (uint32_t command = 2; command <= 17; ++command) {
        tell.raw("no body", command, {});
        tell.raw("a short body", command, Bytes(15));
        tell.raw("a long body", command, Bytes(7225));
    }
    tell.failing({"zv_api_open", 3})("open fails", 2, open_request(kOpenFlow, 0));
    tell.failing({"zv_api_open", 77, 1, true})("open fails late", 3, init_request(kOpenFlow, 3));
    tell("open", 2, open_request(kOpenFlow, 0));
    const uint32_t acl = tell.created(kOpenFlow, {.size = 4});
    tell("rules without limits", 6, rules_request(kOpenFlow, 6, acl, {{}}));
    tell("no rules without limits", 6, rules_request(kOpenFlow, 6, acl, {}));
    tell("an unknown owner", 2, open_request(kNobody, 4));
    tell("a zero handle", 4, acl_request(0, 4, {.size = 1}));
    tell("open", 2, open_request(kTarn, 1))("open", 2, open_request(kPra, 2));
    tell("open", 2, open_request(kOf13, 3));
    tell("unknown chip", 3, init_request(kPra, 4))("known chip", 3, init_request(kPra, 11));
}

void of_acls(Teller &tell) {
    tell("sizes differ", 4, acl_request(kPra, 4, {.size = 8, .max_size = 1}));
    tell("unknown access command", 4, acl_request(kNobody, 3, {}));
    tell("unknown handle", 4, acl_request(kNobody, 4, {}));
    const uint32_t empty = tell.created(kPra, {});
    const uint32_t acl = tell.created(kTarn, {.size = 16, .direction = 1});
    tell.failing({"zv_api_acl_region_set", 5})("no region", 4, acl_request(kPra, 4, {.size = 3}));
    tell.failing({"zv_api_acl_set", 5, 1, true})("late", 4, acl_request(kPra, 4, {.size = 3}));
    tell.failing({"cl_malloc", 1})("no memory", 4, acl_request(kPra, 4, {.size = 3}));
    tell("same size", 5, resize_request(kTarn, acl, 16))("other", 5,
                                                         resize_request(kTarn, acl, 17));
    tell("foreign", 5, resize_request(kPra, acl, 16))("grow", 5, resize_request(kPra, empty, 20));
    tell("rules", 6, rules_request(kPra, 6, empty, {{7}, {19}}));
    tell("too small", 5, resize_request(kPra, empty, 19));
    tell("delete", 6, rules_request(kPra, 3, empty, {{19}}));
    tell("shrink", 5, resize_request(kPra, empty, 8))("shrink", 5, resize_request(kPra, empty, 7));
    tell.failing({"zv_api_acl_region_set", 5})("full", 5, resize_request(kPra, empty, 9));
    tell.failing({"zv_api_acl_region_set", 5, 1, true})("late", 5, resize_request(kPra, empty, 9));
    tell.failing({"cl_malloc", 1})("no memory", 5, resize_request(kPra, empty, 30));
    tell("a rule past the flags", 6, rules_request(kPra, 6, empty, {{25}}));
    tell("wrap", 5, resize_request(kPra, empty, 16384 + 10));
    tell("a rule past the memory", 6, rules_request(kPra, 6, empty, {{9}, {10}}));
    tell("wrap to nothing", 5, resize_request(kPra, empty, 32768));
    tell("destroy", 4, acl_request(kPra, 5, {.id = empty}));
    tell("edit", 4, acl_request(kTarn, 2, {.id = acl, .direction = 0}));
    tell("edit an unknown one", 4, acl_request(kTarn, 2, {.id = acl}));
    tell("destroy another's", 4, acl_request(kTarn, 5, {.id = 1}));
    const uint32_t edited = tell.created(kTarn, {.size = 4});
    tell("rules", 6, rules_request(kTarn, 6, edited, {{0}, {3}}));
    tell.failing({"zv_api_acl_set", 8, 2})("lost", 4, acl_request(kTarn, 2, {.id = edited}));
    const uint32_t gone = tell.created(kTarn, {.size = 4});
    tell("rules", 6, rules_request(kTarn, 6, gone, {{0}, {1}, {2}, {3}}));
    tell.failing({"zv_api_acl_set", 8})("destroy", 4, acl_request(kTarn, 5, {.id = gone}));
    tell("no flags", 6, rules_request(kTarn, 6, gone, {{2}}));
    tell("no chip limits", 3, init_request(kTarn, 7));
    tell("again", 4, acl_request(kTarn, 5, {.id = gone}));
    tell("chip limits", 3, init_request(kTarn, 3));
}

void of_rules(Teller &tell) {
    const uint32_t acl = tell.created(kOpenFlow, {.size = 64});
    const uint32_t c0 = tell.counter(1), c1 = tell.counter(0);
    const uint32_t mc = tell.mc_group(kPra, {5, 3, 3});
    tell("all kinds", 6,
         rules_request(kOpenFlow, 6, acl,
                       {{5, 3},
                        {1, 1, 1, kPort, c0},
                        {2, 0, 1, kPort, c0},
                        {3, 2, 2, mc, c1},
                        {4, 0, 1, 0},
                        {6, 0, 3, 9}}));
    tell("again", 6, rules_request(kOpenFlow, 6, acl, {{7, 0, 1, 70000}, {5}}));
    tell("key type", 6, rules_request(kOpenFlow, 6, acl, {{8, 0, 1, 70001}, {9, 4}}));
    tell("unknown group", 6, rules_request(kOpenFlow, 6, acl, {{8, 0, 2, 999}}));
    tell("unknown counter", 6, rules_request(kOpenFlow, 6, acl, {{8, 0, 1, kPort, 999}}));
    tell("twice", 6, rules_request(kOpenFlow, 6, acl, {{10}, {10, 0, 1, kPort + 1}}));
    tell("outside", 6, rules_request(kOpenFlow, 6, acl, {{64}, {11, 1}}));
    tell("too many", 6, rules_request(kNobody, 6, acl, {}, 21));
    tell("foreign", 6, rules_request(kPra, 6, acl, {{20}}));
    tell.failing({"zv_api_acl_policy_based_switching_set", 5})(
        "no PBS", 6, rules_request(kOpenFlow, 6, acl, {{12}, {13, 0, 1, 80000}}));
    tell.failing({"zv_api_acl_rules_set", 77, 2, true})(
        "second group", 6, rules_request(kOpenFlow, 6, acl, {{12}, {13, 1, 1, 80001}}));
    tell("read", 7, read_request(kNobody, acl, {{1}, {3, 0, 1}, {4, 0, 3}, {5}}));
    tell("read another's", 7, read_request(kPra, acl, {{1, 0, 2}}));
    tell("read an empty one", 7, read_request(kOpenFlow, acl, {{1, 0, 2}, {33}}));
    tell("read outside", 7, read_request(kOpenFlow, acl, {{64}}));
    tell("read nothing", 7, read_request(kNobody, acl, {}));
    tell("read from nowhere", 7, read_request(kNobody, 999, {}));
    tell("read too many", 7, read_request(kNobody, acl, {}, 0xffff0001));
    tell("move", 8, move_request(kOpenFlow, acl, 1, 5, 3))("back", 8,
                                                           move_request(kOpenFlow, acl, 3, 5, 2));
    tell("over others", 8, move_request(kOpenFlow, acl, 30, 4, 3));
    tell("to itself", 8, move_request(kOpenFlow, acl, 2, 4, 2));
    tell("outside", 8, move_request(kOpenFlow, acl, 60, 5, 1));
    tell("none", 8, move_request(kOpenFlow, acl, 60, 0, 1));
    tell("foreign", 8, move_request(kTarn, acl, 1, 1, 2));
    tell("delete absent", 6, rules_request(kOpenFlow, 3, acl, {{2}, {40}}));
    tell.failing({"zv_api_flow_counter_set", 9})("counter stays", 6,
                                                 rules_request(kOpenFlow, 3, acl, {{2}}));
    tell("delete", 6, rules_request(kOpenFlow, 3, acl, {{2}, {10}}));
    tell("twice", 6, rules_request(kOpenFlow, 3, acl, {{12}, {12}}));
    tell("destroy", 4, acl_request(kOpenFlow, 5, {.id = acl}));
}

void of_counters_and_groups(Teller &tell) {
    const uint32_t acl = tell.created(kOf13, {.size = 8});
    const uint32_t counter = tell.counter(1);
    tell("both types", 11, counter_request(0, 4, 1, 1, 0))("none", 11,
                                                           counter_request(0, 4, 2, 0, 0));
    tell("unknown command", 11, counter_request(0, 6, 1, 0, 0))("unknown", 11,
                                                                counter_request(0, 5, 0, 0, 999));
    tell.failing({"zv_api_flow_counter_set", 4})("refused", 11, counter_request(0, 4, 1, 0, 0));
    tell("use", 6,
         rules_request(kOf13, 6, acl, {{1, 0, 1, kPort + 9, counter}, {2, 0, 0, 0, counter}}));
    tell("in use", 11, counter_request(0, 5, 0, 0, counter));
    for (const uint32_t cmd : {13u, 14u, 15u, 16u}) {
        tell("counter get", 12, counter_get_request(kNobody, cmd, counter));
        tell("unknown", 12, counter_get_request(kNobody, cmd, 999));
    }
    tell.failing({"zv_api_flow_counter_get", 6})("refused", 12,
                                                 counter_get_request(0, 13, counter));
    tell.failing({"zv_api_flow_counter_clear_set", 6})("refused", 12,
                                                       counter_get_request(0, 15, counter));
    tell.failing({"zv_api_acl_policy_based_switching_set", 3})("PBS stays", 6,
                                                               rules_request(kOf13, 3, acl, {{1}}));
    tell("used again", 6, rules_request(kOf13, 6, acl, {{1, 0, 1, kPort + 9}}));
    tell("last user", 6, rules_request(kOf13, 3, acl, {{2}, {1}}));

    const uint32_t group = tell.mc_group(kTarn, {9, 8, 7});
    const uint32_t of13 = tell.mc_group(kOf13, {});
    tell("an OF13 group", 13, mc_request(kOf13, 9, of13, {1}))("read it", 14,
                                                               mc_get_request(kOf13, of13, 1));
    tell("unknown handle", 13, mc_request(kNobody, 1, 0, {1}))("unknown command", 13,
                                                               mc_request(kNobody, 2, 0, {}));
    for (const uint32_t cmd : {9u, 10u}) {
        tell("ports", 13, mc_request(kTarn, cmd, group, {8, 1}))("foreign", 13,
                                                                 mc_request(kPra, cmd, group, {2}));
        tell("too many", 13, mc_request(kTarn, cmd, group, {}, 101));
        tell("read", 14, mc_get_request(kTarn, group, 100));
    }
    tell("too many", 13, mc_request(kTarn, 1, group, {}, 101));
    tell.failing({"zv_api_acl_policy_based_switching_set", 5})("full", 13,
                                                               mc_request(kTarn, 1, 0, {1}));
    tell.failing({"zv_api_acl_policy_based_switching_get", 5})("read", 14,
                                                               mc_get_request(kTarn, group, 5));
    tell("little room", 14, mc_get_request(kTarn, group, 1))("none", 14,
                                                             mc_get_request(kTarn, group, 0));
    tell("too much", 14, mc_get_request(kTarn, group, 101))("unknown", 14,
                                                            mc_get_request(kTarn, 999, 1));
    tell("delete", 13, mc_request(kTarn, 3, group, {}, 200))("again", 13,
                                                             mc_request(kTarn, 3, group, {}));
}

void of_binding(Teller &tell) {
    const uint32_t a = tell.created(kOpenFlow, {.size = 2}), b = tell.created(kTarn, {.size = 2}),
                   c = tell.created(kPra, {.size = 2}), d = tell.created(kOf13, {.size = 2}),
                   e = tell.created(kOpenFlow, {.size = 2}),
                   out = tell.created(kPra, {.size = 2, .direction = 1});
    tell("no ports", 9, bind_ports_request(kNobody, 7, a, {}))(
        "command", 9, bind_ports_request(kNobody, 9, a, {}));
    tell("too many", 9, bind_ports_request(kTarn, 7, b, {}, 101));
    for (const auto &[handle, acl] :
         {std::pair{kTarn, b}, {kOpenFlow, a}, {kOf13, d}, {kPra, c}, {kOpenFlow, e}}) {
        tell("bind", 9, bind_ports_request(handle, 7, acl, {kPort, kPort + 1, kPort}));
        tell("bind", 10, bind_rifs_request(handle, 7, acl, {1, 65535, 2}));
    }
    tell("direction", 9, bind_ports_request(kPra, 7, out, {5, kPort, 6}));
    tell.failing({"zv_api_acl_group_set", 5})("refused", 9, bind_ports_request(kPra, 7, out, {7}));
    tell.failing({"zv_api_acl_group_set", 5, 2, true})("list", 9,
                                                       bind_ports_request(kPra, 7, out, {7}));
    tell.failing({"zv_api_acl_port_bind_set", 5})("full", 9, bind_ports_request(kPra, 7, out, {7}));
    tell.failing({"zv_api_acl_port_bind_set", 6})("refused", 9,
                                                  bind_ports_request(kPra, 7, out, {7}));
    tell("again", 9, bind_ports_request(kPra, 7, out, {7}));
    tell("edit a bound one", 4, acl_request(kPra, 2, {.id = out, .direction = 1}));
    tell("group of the former id", 9, bind_ports_request(kPra, 7, out + 1, {7}));
    tell("unbind rifs", 10, bind_rifs_request(kTarn, 8, b, {2, 9}));
    tell.failing({"zv_api_acl_group_set", 5})("refused", 9,
                                              bind_ports_request(kTarn, 8, b, {kPort}));
    tell("again", 9, bind_ports_request(kTarn, 8, b, {kPort, kPort + 1}));
    tell("full once more", 9, bind_ports_request(kTarn, 7, b, {kPort}));
    tell.failing({"zv_api_acl_rif_bind_set", 9})("alone", 10, bind_rifs_request(kTarn, 7, b, {77}));
    tell.failing({"zv_api_acl_rif_bind_set", 9})("alone", 10, bind_rifs_request(kTarn, 8, b, {77}));
    tell("system", 15, system_request(kOpenFlow, 7, a))("again", 15,
                                                        system_request(kOpenFlow, 7, a));
    tell("foreign", 15, system_request(kTarn, 7, a))("command", 15, system_request(kTarn, 9, b));
    tell("not system", 15, system_request(kTarn, 8, b))("system", 15, system_request(kTarn, 7, b));
    tell("add", 16, port_set_request(kNobody, 9, {42, 43, kPort}))(
        "delete", 16, port_set_request(0, 10, {42, kPort}));
    tell("none", 16, port_set_request(0, 9, {}))("too many", 16, port_set_request(0, 9, {}, 101));
    tell("command", 16, port_set_request(0, 8, {1}));
    tell.failing({"zv_net_ports_get_all", 9})("ports", 15, system_request(kPra, 7, c));
    tell.failing({"zv_net_ports_get_all", 9, 2})("ports", 15, system_request(kPra, 7, c));
    tell.failing({"zv_api_acl_group_set", 9, 3})("half", 15, system_request(kTarn, 8, b));
    tell("unbind", 15, system_request(kOpenFlow, 8, a))("unbind", 15, system_request(kTarn, 8, b));
    tell("destroy", 4, acl_request(kOpenFlow, 5, {.id = e}));
    tell.failing({"zv_api_acl_group_set", 1})("destroy", 4, acl_request(kPra, 5, {.id = c}));
    tell("destroy", 4, acl_request(kPra, 5, {.id = c}));
    for (const uint32_t status : {5u, 77u}) {
        const uint32_t late = tell.created(kTarn, {.size = 2});
        const uint32_t counter = tell.counter(1);
        tell.failing({"zv_api_acl_port_bind_set", status, 1, true});
        tell("late bind", 9, bind_ports_request(kTarn, 7, late, {500 + status}));
        tell.failing({"zv_api_acl_rif_bind_set", status, 1, true});
        tell("late bind", 10, bind_rifs_request(kTarn, 7, late, {500}));
        tell.failing({"zv_api_acl_port_bind_set", status, 1, true});
        tell("late unbind", 9, bind_ports_request(kTarn, 8, late, {500 + status}));
        tell.failing({"zv_api_acl_policy_based_switching_set", status, 1, true});
        tell("late PBS", 6, rules_request(kTarn, 6, late, {{0, 0, 1, 6}}));
        tell.failing({"zv_api_flow_counter_set", status, 1, true});
        tell("late destruction", 11, counter_request(0, 5, 0, 0, counter));
        tell.failing({"zv_api_acl_region_set", status, 1, true});
        tell("late destruction", 4, acl_request(kTarn, 5, {.id = late}));
    }
    tell("new handle", 2, open_request(kOpenFlow, 2))("lower wins", 4,
                                                      acl_request(kOpenFlow, 5, {.id = a}));
}

// Two counters of either type and the activity of their rules, with numbers that are not 0.
void of_packets(Teller &tell, SideBySide &pair) {
    const uint32_t acl = tell.created(kOf13, {.size = 8});
    const uint32_t counters[] = {tell.counter(0), tell.counter(1)};
    tell("rules", 6,
         rules_request(kOf13, 6, acl, {{0, 0, 0, 0, counters[0]}, {1, 1, 0, 0, counters[1]}}));
    tell("bind", 9, bind_ports_request(kOf13, 7, acl, {900}));
    for (uint32_t type = 0; type < 2; ++type) {
        // The key that a record of the pattern has at this offset.
        Bytes key(128, 0xa5);
        key[4] = static_cast<uint8_t>(type);
        pair.packet(900, type, hex_of(key.data(), key.size()));
        tell("count", 12, counter_get_request(0, 13, counters[type]));
        tell("clear", 12, counter_get_request(0, 15, counters[type]));
        tell("count", 12, counter_get_request(0, 13, counters[type]));
    }
    for (const uint32_t request : {1u, 5u, 2u, 0u}) {
        tell("activity", 7, read_request(kOf13, acl, {{0, 0, request}, {1, 0, request}}));
    }
}

}  // namespace

void tell_story(SideBySide &pair) {
    Teller tell(pair);
    before_it_is_open(tell, pair);
    of_acls(tell);
    of_rules(tell);
    of_counters_and_groups(tell);
    of_packets(tell, pair);
    of_binding(tell);
}

void fill_tables(SideBySide &pair) {
    Teller tell(pair);
    pair.look_every(100);
    tell("open", 2, open_request(kPra, 2))("open", 2, open_request(kOpenFlow, 0));
    tell("chip", 3, init_request(kPra, 3));
    const uint32_t acl = tell.created(kPra, {.size = 6500});
    for (uint32_t i = 0; i < 6; ++i) {
        std::vector<RuleWords> rules;
        for (uint32_t k = 0; k < 18; ++k) {
            rules.push_back({i * 18 + k, 0, 1, 1000 + i * 18 + k});
        }
        tell("forwarding", 6, rules_request(kPra, 6, acl, rules));
    }
    for (uint32_t i = 0; i < 322; ++i) {
        std::vector<RuleWords> rules;
        for (uint32_t k = 0; k < 20; ++k) {
            rules.push_back({200 + i * 20 + k});
        }
        tell("rules", 6, rules_request(kPra, 6, acl, rules));
    }
    pair.look_every(1);
    tell("a move without room", 8, move_request(kPra, acl, 0, 3, 150));
    tell("one is gone", 6, rules_request(kPra, 3, acl, {{4000}}));
    tell("a move", 8, move_request(kPra, acl, 4, 3, 150));
    pair.look_every(40);
    for (uint32_t i = 0; i < 257; ++i) {
        tell.counter(i % 2);
    }
    const uint32_t small = tell.created(kPra, {});
    std::vector<uint32_t> ports(20);
    for (uint32_t i = 0; i < 7; ++i) {
        std::iota(ports.begin(), ports.end(), 100 + 20 * i);
        tell("groups", 9, bind_ports_request(kPra, 7, small, ports));
    }
    for (uint32_t i = 0; i < 18; ++i) {
        const uint32_t next = tell.created(kOpenFlow, {});
        tell("a group's ACLs", 9, bind_ports_request(kOpenFlow, 7, next, {100, 65537}));
    }
    pair.look_every(200);
    // A refused unbind leaves the port on the ACL's list, so that the next bind lists it twice.
    for (uint32_t i = 0; i < 540; ++i) {
        tell.failing({"zv_api_acl_group_set", 9});
        tell("a refused unbind", 9, bind_ports_request(kPra, 8, small, {101}));
        tell("the same port", 9, bind_ports_request(kPra, 7, small, {101}));
    }
    for (uint32_t i = 0; i < 382; ++i) {
        tell.created(kOpenFlow, {});
    }
    tell("no limits", 3, init_request(kPra, 5));
    for (uint32_t i = 0; i < 252; ++i) {
        tell.created(kOpenFlow, {});
    }
    pair.look_every(1);
    tell("the last look", 16, port_set_request(0, 9, {}));
}

}  // namespace zv_model
