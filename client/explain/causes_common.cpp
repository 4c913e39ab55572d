/* The checks that many commands share: the daemon's state, the access command, handles and owners.
 */
#include <charconv>
#include <cstring>
#include <iterator>

#include "client/explain/cause.h"

namespace zv_acl_rm_lib {

namespace {

constexpr uint32_t kNowhere = UINT32_MAX;

/* Where a command's record has the words that others have elsewhere or not at all. */
struct Words {
    uint32_t command;
    uint32_t cmd_at;
    uint32_t acl_id_at;
    uint32_t mc_group_id_at;
    const char *cmds; /* the access commands it takes */
};

#define AT(record, field) offsetof(zv_acl_rm_##record##_params_t, field)

constexpr Words kWords[] = {
    {ZV_ACL_RM_API_INT_CMD_ACL_SET, AT(acl_set, cmd), AT(acl_set, acl.acl_id), kNowhere,
     "CREATE (4), DESTROY (5) or EDIT (2)"},
    {ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, kNowhere, AT(acl_resize, acl_id), kNowhere, ""},
    {ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, AT(acl_rule_set, cmd), AT(acl_rule_set, acl_id), kNowhere,
     "WRITE (6) or DELETE (3)"},
    {ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, kNowhere, AT(acl_rule_get, acl_id), kNowhere, ""},
    {ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, kNowhere, AT(acl_rule_move_block, acl_id), kNowhere,
     ""},
    {ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, AT(acl_port_bind, cmd), AT(acl_port_bind, acl_id),
     kNowhere, "BIND (7) or UNBIND (8)"},
    {ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, AT(acl_rif_bind, cmd), AT(acl_rif_bind, acl_id),
     kNowhere, "BIND (7) or UNBIND (8)"},
    {ZV_ACL_RM_API_INT_CMD_COUNTER_SET, AT(counter_set, cmd), kNowhere, kNowhere,
     "CREATE (4) or DESTROY (5)"},
    {ZV_ACL_RM_API_INT_CMD_COUNTER_GET, AT(counter_get, cmd), kNowhere, kNowhere,
     "READ (13) or CLEAR (15)"},
    {ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, AT(mc_group_set, cmd), kNowhere,
     AT(mc_group_set, mc_group_id), "ADD (1), ADD_PORTS (9), DELETE_PORTS (10) or DELETE (3)"},
    {ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, kNowhere, kNowhere, AT(mc_group_get, mc_group_id), ""},
    {ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, AT(acl_system_bind, cmd),
     AT(acl_system_bind, acl_id), kNowhere, "BIND (7) or UNBIND (8)"},
    {ZV_ACL_RM_API_INT_CMD_PORT_SET, AT(port_set, cmd), kNowhere, kNowhere,
     "ADD_PORTS (9) or DELETE_PORTS (10)"},
};

#undef AT

const Words *find_words(uint32_t command) {
    for (const Words &words : kWords) {
        if (words.command == command) {
            return &words;
        }
    }
    return nullptr;
}

uint32_t word_at(const Refusal &refusal, uint32_t Words::*place) {
    const Words *words = find_words(refusal.command);
    const uint32_t at = words == nullptr ? kNowhere : words->*place;
    uint32_t value = 0;
    if (at != kNowhere) {
        std::memcpy(&value, static_cast<const uint8_t *>(refusal.record) + at, sizeof(value));
    }
    return value;
}

const char *command_name(uint32_t command) {
#define COMMAND_NAME(value, name) \
    case value:                   \
        return #name;
    switch (command) { ZV_ACL_RM_COMMAND_LIST(COMMAND_NAME) }
#undef COMMAND_NAME
    return "";
}

struct CmdName {
    uint32_t cmd;
    const char *name;
};

constexpr CmdName kCmdNames[] = {
    {ZV_ACL_RM_ACCESS_CMD_ADD, "ADD"},
    {ZV_ACL_RM_ACCESS_CMD_EDIT, "EDIT"},
    {ZV_ACL_RM_ACCESS_CMD_DELETE, "DELETE"},
    {ZV_ACL_RM_ACCESS_CMD_CREATE, "CREATE"},
    {ZV_ACL_RM_ACCESS_CMD_DESTROY, "DESTROY"},
    {ZV_ACL_RM_ACCESS_CMD_WRITE, "WRITE"},
    {ZV_ACL_RM_ACCESS_CMD_BIND, "BIND"},
    {ZV_ACL_RM_ACCESS_CMD_UNBIND, "UNBIND"},
    {ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, "ADD_PORTS"},
    {ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, "DELETE_PORTS"},
    {ZV_ACL_RM_ACCESS_CMD_READ, "READ"},
    {ZV_ACL_RM_ACCESS_CMD_READ_CLEAR, "READ_CLEAR"},
    {ZV_ACL_RM_ACCESS_CMD_CLEAR, "CLEAR"},
};

std::string handle_words(uint64_t handle) {
    char digits[16];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), handle, 16);
    return "0x" + std::string(digits, end.ptr);
}

/* Only a read that clears is asked for its owner, and only by its first rule. */
bool asks_for_owner(const Refusal &refusal) {
    if (!refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET)) {
        return true;
    }
    const auto &params = refusal.as<zv_acl_rm_acl_rule_get_params_t>();
    return params.rules_num != 0 && params.rules[0].readout.activity_request == 2;
}

/* Creating needs no object, only an owner. */
bool creates(const Refusal &refusal) {
    return (refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_SET) &&
            refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_CREATE) ||
           (refusal.is(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET) &&
            refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_ADD);
}

/* Whether somebody holds an object that the client wants to act on. */
Finding owned_by(const Refusal &refusal, const std::string &object, uint32_t holder) {
    const std::optional<uint32_t> owner = refusal.owner();
    if (!owner) {
        return possible(object + " belongs to " + owner_name(holder) +
                        ", and this client acts for another owner");
    }
    if (*owner == holder) {
        return no_cause();
    }
    return certain(object + " belongs to " + owner_name(holder) + "; this client acts for " +
                   owner_name(*owner));
}

}  // namespace

uint32_t Refusal::cmd() const {
    return word_at(*this, &Words::cmd_at);
}

uint32_t Refusal::acl_id() const {
    return word_at(*this, &Words::acl_id_at);
}

uint32_t Refusal::mc_group_id() const {
    return word_at(*this, &Words::mc_group_id_at);
}

/* Of two owners that opened with one handle, the daemon takes the lower for the client. */
std::optional<uint32_t> Refusal::owner() const {
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; owner++) {
        if ((opened_as >> owner & 1) != 0) {
            return owner;
        }
    }
    return std::nullopt;
}

std::string owner_name(uint32_t owner) {
    constexpr const char *kNames[ZV_ACL_RM_OWNER_NUM] = {"open-flow", "tarn-os", "PRA", "OF13"};
    return owner < ZV_ACL_RM_OWNER_NUM ? kNames[owner] : "owner " + std::to_string(owner);
}

std::string acl_words(const Refusal &refusal) {
    const uint32_t acl_id = refusal.acl_id();
    const CachedAcl *acl = find_acl(refusal.ask.cache(), acl_id);
    const std::string words = "ACL " + std::to_string(acl_id);
    return acl == nullptr ? words
                          : words + " (" + owner_name(static_cast<uint32_t>(acl->owner)) + "'s)";
}

std::string cmd_words(uint32_t cmd) {
    for (const CmdName &row : kCmdNames) {
        if (row.cmd == cmd) {
            return std::string(row.name) + " (" + std::to_string(cmd) + ")";
        }
    }
    return std::to_string(cmd);
}

Finding not_initialized(const Refusal &refusal) {
    return finding(negated(refusal.ask.is_initialized(refusal.acl_id())),
                   "the daemon is not initialised: send OPEN or INIT first");
}

Finding unsupported_cmd(const Refusal &refusal) {
    const Words *words = find_words(refusal.command);
    if (words == nullptr || words->cmd_at == kNowhere) {
        return no_cause();
    }
    return certain(std::string(command_name(refusal.command)) + " does not take access command " +
                   cmd_words(refusal.cmd()) + ", only " + words->cmds);
}

Finding unknown_acl(const Refusal &refusal) {
    if (creates(refusal)) {
        return no_cause();
    }
    const Known is_known = refusal.ask.has_acl(refusal.acl_id());
    return finding(negated(is_known), "there is no ACL " + std::to_string(refusal.acl_id()) +
                                          ": never created, destroyed, or edited, which gives an "
                                          "ACL another id");
}

Finding acl_of_another_owner(const Refusal &refusal) {
    if (creates(refusal) || !asks_for_owner(refusal)) {
        return no_cause();
    }
    const CacheText &cache = refusal.ask.cache();
    const std::string object = "ACL " + std::to_string(refusal.acl_id());
    const CachedAcl *acl = find_acl(cache, refusal.acl_id());
    if (acl != nullptr) {
        return owned_by(refusal, object, static_cast<uint32_t>(acl->owner));
    }
    return has_all(cache, "acls") ? no_cause() : possible(object + " is another owner's");
}

Finding unknown_handle(const Refusal &refusal) {
    if (!asks_for_owner(refusal)) {
        return no_cause();
    }
    const std::optional<uint32_t> owner = refusal.owner();
    const std::string text =
        owner ? "this client is " + owner_name(*owner) + " no more: another client has opened as " +
                    owner_name(*owner) + " since"
              : "no owner's client has the handle " + handle_words(refusal.handle) +
                    ": it never opened, or another client has opened as the same owner since";
    if (creates(refusal)) {
        return certain(text);
    }
    return finding(negated(refusal.ask.has_owner(refusal.acl_id())), text);
}

Finding unknown_mc_group(const Refusal &refusal) {
    if (creates(refusal)) {
        return no_cause();
    }
    const uint32_t mc_group_id = refusal.mc_group_id();
    return finding(negated(refusal.ask.has_mc_group(mc_group_id)),
                   "there is no MC group " + std::to_string(mc_group_id));
}

Finding mc_group_of_another_owner(const Refusal &refusal) {
    if (creates(refusal)) {
        return no_cause();
    }
    const CacheText &cache = refusal.ask.cache();
    const std::string object = "MC group " + std::to_string(refusal.mc_group_id());
    const CachedMcGroup *group = find_mc_group(cache, refusal.mc_group_id());
    if (group != nullptr) {
        return owned_by(refusal, object, group->owner);
    }
    return has_all(cache, "mc") ? no_cause() : possible(object + " is another owner's");
}

/* Creating aside, the daemon does not look for an MC group's client among the last owner's. Whose
 * owner is not known is not suspected where the group alone explains it. */
Finding client_is_of13(const Refusal &refusal) {
    const std::optional<uint32_t> owner = refusal.owner();
    if (creates(refusal) || (owner && *owner != ZV_ACL_RM_OWNER_OF13)) {
        return no_cause();
    }
    if (!owner && refusal.ask.has_mc_group(refusal.mc_group_id()) == Known::no) {
        return no_cause();
    }
    return finding(owner ? Known::yes : Known::unknown,
                   "this client opened as OF13, which can create MC groups but neither "
                   "change nor read them");
}

Finding memory_ran_out(const Refusal &) {
    return possible("the daemon's memory ran out");
}

Finding switch_refused(const Refusal &) {
    return possible("the switch refused it; the daemon's log has the switch's reason");
}

}  // namespace zv_acl_rm_lib
