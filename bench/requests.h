// The requests that are measured, and the state of the daemon that they need.
#pragma once

#include <cstdint>

#include "bench/wire.h"

namespace bench {

constexpr uint32_t RULES_PER_BATCH = 20;
constexpr uint32_t MAX_BATCHES = 320;  // 6,400 rules, which is what the daemon's cache holds

// Opens the client, initialises the device limits and creates ACLs with room for MAX_BATCHES
// batches of rules, one of them bound to a port. For one connection to a fresh daemon; with fd -1
// no daemon is there, and the requests, whose ACL ids are then 0, are of use for an echo only.
class Session {
  public:
    explicit Session(int fd);

    // OPEN by the same client once more: 16 bytes, nothing changes.
    void make_open(Message *request) const;
    // Binds an ACL to the one port it is bound to already: 424 bytes, nothing changes.
    void make_port_bind(Message *request) const;
    // Writes RULES_PER_BATCH rules at offsets not used before: 7224 bytes. At most MAX_BATCHES.
    void make_rule_set(Message *request);

  private:
    static constexpr uint32_t ACLS = 20;
    static constexpr uint32_t BATCHES_PER_ACL = MAX_BATCHES / ACLS;

    uint32_t acl_ids_[ACLS] = {};
    uint32_t batches_ = 0;  // written so far
};

}  // namespace bench
