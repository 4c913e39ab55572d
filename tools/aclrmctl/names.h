/* Names for the numbers that owners, directions, verdicts, types and statuses travel as.
 *
 * A number that has no name is shown with the word for what it is: "owner 7". In the tool's JSON
 * owners, directions, verdicts and counter types have both, so only text asks for one or the other.
 */
#ifndef ACLRMCTL_NAMES_H
#define ACLRMCTL_NAMES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "request.h"

namespace aclrmctl {

using NameList = std::vector<std::pair<const char *, uint32_t>>;

/* What the command line takes and the text shows, lowest number first. */
const NameList &owner_names();
const NameList &direction_name_list();
const NameList &key_type_names();

/* "open-flow" and so on; "owner N" for a number that is none. */
std::string owner_name(uint32_t owner);

/* "ingress" and "egress", else "direction N". */
std::string direction_name(uint32_t direction);

/* "permit", "drop" and "trap"; "verdict N" for a number that is none. */
std::string verdict_text(uint32_t verdict);

/* "ipv4", "ipv6", "mac" and "free", else "key type N". */
std::string key_type_name(uint32_t key_type);

/* What a forwarding entry leads to: "one port", or "ports" for any other type. */
std::string forward_type_name(uint32_t type);

/* "bytes" and "packets". */
const char *counter_type_name(CounterType type);

/* The same for text: names, or plain numbers where the user asked for them. */
class Names {
  public:
    explicit Names(bool numeric = false) : numeric_(numeric) {}

    bool numeric() const { return numeric_; }
    std::string owner(uint32_t number) const { return pick(number, owner_name(number)); }
    std::string direction(uint32_t number) const { return pick(number, direction_name(number)); }
    std::string verdict(uint32_t number) const { return pick(number, verdict_text(number)); }
    std::string key_type(uint32_t number) const { return pick(number, key_type_name(number)); }
    std::string forward_type(uint32_t number) const {
        return pick(number, forward_type_name(number));
    }
    std::string counter_type(uint32_t number) const;

  private:
    std::string pick(uint32_t number, const std::string &name) const {
        return numeric_ ? std::to_string(number) : name;
    }

    bool numeric_;
};

}  // namespace aclrmctl

#endif
