/* What the words of a command line ask for: one record for each command of the tool.
 *
 * Plain data. words.cpp fills it in and has checked every range named here; perform.h carries it
 * out. Nothing in between knows how it was spelt.
 */
#ifndef ACLRMCTL_REQUEST_H
#define ACLRMCTL_REQUEST_H

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
    bool json = false;
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

struct RuleCheckRequest {
    std::string file;
};

struct RuleLoadRequest {
    std::string file;
    uint32_t acl_id = 0;
    uint32_t batch = 20;    /* rules in a command, 1 to 20 */
    uint32_t in_flight = 8; /* commands under way, 1 to 32 */
    RuleOptions options;
};

struct BindPortRequest {
    uint32_t acl_id = 0;
    std::vector<uint32_t> ports; /* in the order given, at least one */
};

struct DumpRequest {
    std::string file; /* empty: print the dump */
};

struct PacketRequest {
    bool router_interface = false; /* `ingress_point` is one, not a port */
    uint32_t ingress_point = 0;
    uint32_t direction = kDirectionIngress;
    uint32_t key_type = 0;
    uint32_t length = 64; /* bytes */
    KeyBytes key{};
};

struct StateRequest {
    bool rules = false;  /* show every rule */
    bool active = false; /* show the rules that were hit */
};

struct UsageRequest {};

struct FaultsRequest {
    std::string set; /* a JSON list; empty list: clear */
};

using Request = std::variant<OpenRequest, InitRequest, AclCreateRequest, RuleCheckRequest,
                             RuleLoadRequest, BindPortRequest, DumpRequest, PacketRequest,
                             StateRequest, UsageRequest, FaultsRequest>;

}  // namespace aclrmctl

#endif
