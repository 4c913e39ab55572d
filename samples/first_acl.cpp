// A first client: an ACL of three rules on two ports, read back, and taken away again.
//
//     c++ -std=c++17 first_acl.cpp $(pkg-config --cflags --libs zv_acl_rm) -o first_acl &&
//     ./first_acl
//
// first_acl.c and first_acl.py do the same in C and Python, and print the same text.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zv_acl_rm/zv_acl_rm.hpp"

namespace {

namespace zv = zv_acl_rm;

constexpr std::uint64_t kHandle = 0xf125;  // any number; what the daemon knows this client by
constexpr std::uint32_t kChipType = 1;
constexpr std::array<std::uint32_t, 2> kPorts = {65537, 65538};

// Where key type 0 has its fields; numbers are in network byte order.
constexpr std::size_t kProtocolAt = 8;
using Key = std::array<std::uint8_t, 14>;

const char *name_of(zv::Verdict verdict) {
    switch (verdict) {
        case zv::Verdict::kDrop:
            return "drop";
        case zv::Verdict::kTrap:
            return "trap";
        default:
            return "permit";
    }
}

// Whether there is something to go on with; if not, it is said why.
template <typename T>
bool done(const char *what, const zv::Result<T> &result) {
    if (!result) {
        std::fprintf(stderr, "%s: %s\n", what, result.failure().words().c_str());
    }
    return result.ok();
}

bool write_rules(zv::Client &client, std::uint32_t acl_id) {
    const Key telnet = {0, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 23};
    const Key telnet_mask = {0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0, 0, 0, 0xff, 0xff};
    const Key ospf = {0, 0, 0, 0, 0, 0, 0, 0, 89};
    const Key ospf_mask = {0, 0, 0, 0, 0, 0, 0, 0, 0xff};
    const std::array<zv::Rule, 3> rules = {
        zv::Rule(0).match(telnet, telnet_mask).verdict(zv::Verdict::kDrop),
        zv::Rule(1).match(ospf, ospf_mask).verdict(zv::Verdict::kTrap),
        zv::Rule(2).verdict(zv::Verdict::kPermit)};
    if (!done("writing rules", client.write_rules(acl_id, rules))) {
        return false;
    }
    std::printf("%zu rules written\n", rules.size());
    return true;
}

bool read_rules(zv::Client &client, std::uint32_t acl_id) {
    const auto rules = client.read_rules(acl_id, {0, 1, 2});
    if (!done("reading rules", rules)) {
        return false;
    }
    for (const zv::StoredRule &rule : *rules) {
        std::printf("offset %u: protocol %u/%u, %s\n", rule.offset, unsigned{rule.key[kProtocolAt]},
                    unsigned{rule.mask[kProtocolAt]}, name_of(rule.verdict));
    }
    return true;
}

bool use_acl(zv::Client &client, std::uint32_t acl_id) {
    if (!write_rules(client, acl_id) || !done("binding", client.bind_ports(acl_id, kPorts))) {
        return false;
    }
    std::printf("bound to ports %u and %u\n", kPorts[0], kPorts[1]);
    if (!read_rules(client, acl_id) || !done("unbinding", client.unbind_ports(acl_id, kPorts))) {
        return false;
    }
    std::printf("unbound from ports %u and %u\n", kPorts[0], kPorts[1]);
    return true;
}

bool run(zv::Client &client) {
    if (!done("opening as open-flow", client.open(zv::Owner::kOpenFlow)) ||
        !done("loading the chip's limits", client.init(kChipType))) {
        return false;
    }
    const auto acl = client.create_acl(16);
    if (!done("creating an ACL", acl)) {
        return false;
    }
    std::printf("ACL %u created in region %u\n", acl->acl_id, acl->region_id);
    const bool used = use_acl(client, acl->acl_id);
    // Also when something failed: it is ours.
    if (!done("destroying the ACL", client.destroy_acl(acl->acl_id))) {
        return false;
    }
    std::printf("ACL %u destroyed\n", acl->acl_id);
    return used;
}

}  // namespace

int main() {
    auto client = zv::Client::connect(kHandle);
    if (!client) {
        const char *root = std::getenv("ZV_PLATFORM_ROOT");  // is put before the socket's path
        std::fprintf(stderr, "no daemon at %s" ZV_ACL_RM_SOCKET_PATH ": %s\n", root ? root : "",
                     std::strerror(client.failure().error()));
        return 1;
    }
    return run(*client) ? 0 : 1;
}
