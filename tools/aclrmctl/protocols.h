/* The protocols that have a name in rules, on the command line and in tables; the numbers are those
 * of the registry of IP protocol numbers (RFC 5237).
 */
#ifndef ACLRMCTL_PROTOCOLS_H
#define ACLRMCTL_PROTOCOLS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "rule_fields.h"

namespace aclrmctl {

struct ProtocolName {
    const char *name;
    uint8_t number;
    AddressFamily family; /* the only one it belongs to */
};

/* Of two names for a number the first is shown, and both are read. */
inline constexpr ProtocolName kProtocolNames[] = {{"tcp", 6, AddressFamily::kAny},
                                                  {"udp", 17, AddressFamily::kAny},
                                                  {"icmp", 1, AddressFamily::kIpv4},
                                                  {"icmp6", 58, AddressFamily::kIpv6},
                                                  {"icmpv6", 58, AddressFamily::kIpv6}};

/* Null where there is none. */
inline const ProtocolName *find_protocol(std::string_view name) {
    for (const ProtocolName &each : kProtocolNames) {
        if (name == each.name) {
            return &each;
        }
    }
    return nullptr;
}

/* Makes the version of IP that of the protocol, where it belongs to one alone. False where another
 * version is known already. */
inline bool take_version_of(const ProtocolName &named, AddressFamily *family) {
    if (named.family == AddressFamily::kAny) {
        return true;
    }
    const bool fits = *family == AddressFamily::kAny || *family == named.family;
    *family = fits ? named.family : *family;
    return fits;
}

/* What is wrong with the protocol where take_version_of() says no. */
inline std::string other_version(const ProtocolName &named) {
    return std::string(named.name) + " belongs to the other version of IP";
}

/* What a number is called in packets and rules of an IP version; null where it has no name. */
inline const char *name_of_protocol(uint8_t number, AddressFamily family) {
    for (const ProtocolName &each : kProtocolNames) {
        if (number == each.number &&
            (each.family == AddressFamily::kAny || each.family == family)) {
            return each.name;
        }
    }
    return nullptr;
}

}  // namespace aclrmctl

#endif
