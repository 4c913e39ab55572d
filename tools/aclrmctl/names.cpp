#include "names.h"

#include "rule_encode.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

namespace {

std::string name_in(const NameList &names, uint32_t number, const char *what) {
    for (const auto &[name, value] : names) {
        if (value == number) {
            return name;
        }
    }
    return std::string(what) + " " + std::to_string(number);
}

}  // namespace

const NameList &owner_names() {
    static const NameList names{{"open-flow", ZV_ACL_RM_OWNER_OPEN_FLOW},
                                {"tarn-os", ZV_ACL_RM_OWNER_TARN_OS},
                                {"PRA", ZV_ACL_RM_OWNER_PRA},
                                {"OF13", ZV_ACL_RM_OWNER_OF13}};
    return names;
}

const NameList &direction_name_list() {
    static const NameList names{{"ingress", kDirectionIngress}, {"egress", kDirectionEgress}};
    return names;
}

const NameList &key_type_names() {
    static const NameList names{{"ipv4", 0}, {"ipv6", 1}, {"mac", 2}, {"free", 3}};
    return names;
}

std::string owner_name(uint32_t owner) {
    return name_in(owner_names(), owner, "owner");
}

std::string direction_name(uint32_t direction) {
    return name_in(direction_name_list(), direction, "direction");
}

std::string verdict_text(uint32_t verdict) {
    return verdict <= static_cast<uint32_t>(Verdict::kTrap)
               ? verdict_name(static_cast<Verdict>(verdict))
               : "verdict " + std::to_string(verdict);
}

std::string key_type_name(uint32_t key_type) {
    return name_in(key_type_names(), key_type, "key type");
}

/* The switch takes exactly one port in an entry of type 0, any number in all others. */
std::string forward_type_name(uint32_t type) {
    return type == 0 ? "one port" : "ports";
}

const char *counter_type_name(CounterType type) {
    return type == CounterType::kBytes ? "bytes" : "packets";
}

std::string Names::counter_type(uint32_t number) const {
    const bool named = number <= static_cast<uint32_t>(CounterType::kPackets);
    return pick(number, named ? counter_type_name(static_cast<CounterType>(number))
                              : "type " + std::to_string(number));
}

}  // namespace aclrmctl
