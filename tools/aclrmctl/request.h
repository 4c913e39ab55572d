/* What the words of a command line ask for: one record for each command of the tool.
 *
 * Plain data. words.cpp fills it in and has checked every range named here; perform.h carries it
 * out. Nothing in between knows how it was spelt.
 */
#ifndef ACLRMCTL_REQUEST_H
#define ACLRMCTL_REQUEST_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "rule_encode.h"
#include "rule_file.h"

namespace aclrmctl {

/* Every invocation is a new process, but to the daemon a client is a number: with the same handle
 * all of them are one client. */
inline constexpr uint64_t kDefaultHandle = 0xac1;

inline constexpr uint32_t kDirectionIngress = 0;
inline constexpr uint32_t kDirectionEgress = 1;

struct Settings {
    std::string socket; /* of the daemon; ZV_PLATFORM_ROOT is put before it */
    std::string switch_socket;
    uint64_t handle = kDefaultHandle;
    int timeout_ms = 5000;
    /* When all has to be over, however many calls it takes; where a command has that. */
    std::optional<std::chrono::steady_clock::time_point> deadline{};
    bool json = false;
    bool numeric = false; /* numbers in text where there are names */
};

struct OpenRequest {
    uint32_t owner = 0; /* enum zv_acl_rm_owner */
};

struct InitRequest {
    uint32_t chip = 1;
};

struct AclCreateRequest {
    uint32_t size = 0; /* rules */
    uint32_t key_type = 0;
    uint32_t action_type = 0;
    uint32_t acl_type = 0;
    uint32_t direction = kDirectionIngress;
};

/* The daemon hands type and direction to the switch as they are asked for here. */
struct AclDestroyRequest {
    uint32_t acl_id = 0;
    uint32_t acl_type = 0;
    uint32_t direction = kDirectionIngress;
};

struct AclEditRequest {
    uint32_t acl_id = 0;
    uint32_t direction = kDirectionIngress; /* the new one */
    bool force = false;                     /* also one with rules or bindings */
};

struct AclResizeRequest {
    uint32_t acl_id = 0;
    uint32_t size = 0; /* rules */
};

struct RuleCheckRequest {
    std::string file;
    RuleFormat format = RuleFormat::kAuto;
    uint32_t first_priority = 0;
};

struct RuleLoadRequest {
    std::string file;
    uint32_t acl_id = 0;
    uint32_t batch = 20;    /* rules in a command, 1 to 20 */
    uint32_t in_flight = 8; /* commands under way, 1 to 32 */
    RuleFormat format = RuleFormat::kAuto;
    bool undo = false;  /* take back what a load that fails has put there */
    bool quiet = false; /* no progress */
    RuleOptions options;
};

struct RuleAddRequest {
    uint32_t acl_id = 0;
    WholeRule rule;
    std::vector<std::string> masked{}; /* options with address bits beyond the prefix */
};

struct RuleDeleteRequest {
    uint32_t acl_id = 0;
    std::vector<uint32_t> offsets; /* in the order given, at least one */
};

enum class Activity : uint32_t { kNone = 0, kRead = 1, kReadAndClear = 2 }; /* as they travel */

struct RuleGetRequest {
    uint32_t acl_id = 0;
    std::vector<uint32_t> offsets; /* in the order given, at least one unless `all` */
    Activity activity = Activity::kNone;
    bool all = false;                      /* every rule of the ACL */
    RuleFormat format = RuleFormat::kAuto; /* kPolicy, kJson: as a rule file; else a table */
};

struct RuleMoveRequest {
    uint32_t acl_id = 0;
    uint32_t from = 0; /* offset of the first rule */
    uint32_t count = 0;
    uint32_t to = 0; /* offset the first rule gets */
};

enum class BindPoint { kPort, kRouterInterface, kSystem };

struct BindRequest {
    bool bind = true; /* false: unbind */
    BindPoint point = BindPoint::kPort;
    uint32_t acl_id = 0;
    std::vector<uint32_t> numbers; /* of ports or router interfaces, in the order given, at least
                                      one; none for the system */
};

struct PortSetRequest {
    bool add = true; /* false: the ports have gone */
    std::vector<uint32_t> ports;
};

/* Which of a counter's two values the daemon reads back; the numbers are the switch's types. */
enum class CounterType : uint32_t { kBytes = 0, kPackets = 1 };

struct CounterCreateRequest {
    CounterType type = CounterType::kPackets;
};

struct CounterDestroyRequest {
    uint32_t counter_id = 0;
};

struct CounterReadRequest {
    uint32_t counter_id = 0;
};

struct CounterClearRequest {
    uint32_t counter_id = 0;
};

struct McCreateRequest {
    std::vector<uint32_t> ports; /* may be empty */
};

struct McPortsRequest {
    bool add = true; /* false: remove them */
    uint32_t group_id = 0;
    std::vector<uint32_t> ports; /* at least one */
};

struct McDeleteRequest {
    uint32_t group_id = 0;
};

struct McGetRequest {
    uint32_t group_id = 0;
};

struct DumpRequest {
    std::string file; /* empty: print the dump */
};

/* The tables of `show`. */
enum class Table { kAll, kAcls, kRules, kGroups, kCounters, kPorts, kOwners, kMc, kForwarding };

struct ShowRequest {
    Table table = Table::kAll;
    std::optional<uint32_t> acl_id; /* rules of this ACL only */
};

struct PacketRequest {
    bool router_interface = false; /* `ingress_point` is one, not a port */
    uint32_t ingress_point = 0;
    uint32_t direction = kDirectionIngress;
    uint32_t key_type = 0;
    uint32_t length = 64; /* bytes */
    KeyBytes key{};
};

/* The packets of a capture, one after the other. */
struct PcapRequest {
    PacketRequest where; /* but for key type, key and length */
    std::string file;
    std::optional<uint32_t> key_type; /* of every packet; nothing: IPv4, IPv6, else MAC */
    uint32_t most = 100000;           /* packets */
};

/* Of the simulated switch itself. */
struct PortsRequest {
    std::string set; /* a JSON list; empty: only look */
};

struct StateRequest {
    bool rules = false;  /* show every rule */
    bool active = false; /* show the rules that were hit */
};

struct UsageRequest {};

struct FaultsRequest {
    std::string set; /* a JSON list; empty list: clear */
};

/* The tool's own story, on a switch of its own. */
struct DemoRequest {
    bool attach = false;  /* on the daemon that is running */
    bool fast = false;    /* no pauses on a terminal */
    uint32_t owner = 0;   /* to open as */
    std::string daemon{}; /* the program; empty: look for it */
};

using Request =
    std::variant<OpenRequest, InitRequest, AclCreateRequest, AclDestroyRequest, AclEditRequest,
                 AclResizeRequest, RuleCheckRequest, RuleLoadRequest, RuleAddRequest,
                 RuleDeleteRequest, RuleGetRequest, RuleMoveRequest, BindRequest, PortSetRequest,
                 CounterCreateRequest, CounterDestroyRequest, CounterReadRequest,
                 CounterClearRequest, McCreateRequest, McPortsRequest, McDeleteRequest,
                 McGetRequest, DumpRequest, ShowRequest, PacketRequest, PcapRequest, PortsRequest,
                 StateRequest, UsageRequest, FaultsRequest, DemoRequest>;

}  // namespace aclrmctl

#endif
