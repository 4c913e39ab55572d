/* The fields of a rule in the words of every format and of the command line.
 *
 * Each reader takes what is next of the cursor and stores it, or notes what is wrong and where.
 */
#ifndef ACLRMCTL_RULE_FIELDS_H
#define ACLRMCTL_RULE_FIELDS_H

#include "rule_file.h"
#include "text_cursor.h"

namespace aclrmctl {

enum class AddressFamily : uint8_t { kAny, kIpv4, kIpv6, kMac };

/* An address prefix and what was learnt on the way. */
struct ReadAddress {
    AddressPrefix prefix;
    AddressFamily family = AddressFamily::kAny;
    bool masked = false; /* it had bits beyond the prefix */
};

/* "10.0.0.0/8", "2001:db8::/32", "02:00:00:00:00:00/16", each of them without a length for one
 * address, or "any". Six groups between five colons are a MAC address; it is never IPv6, which
 * would have eight or "::". */
bool take_address(TextCursor &cursor, ReadAddress *address);

/* Four octets, and a length behind a slash where `needs_length` or there is one. */
bool take_ipv4_prefix(TextCursor &cursor, bool needs_length, ReadAddress *address);

/* "443", "1024-2047". */
bool take_ports(TextCursor &cursor, PortRange *range);

/* "N" or "N/MASK", either decimal or hexadecimal with 0x. Value bits outside the mask are cleared;
 * without a mask all `limit`'s bits count. `what` names the field in errors. */
bool take_masked(TextCursor &cursor, uint32_t limit, const char *what, uint32_t *value,
                 uint32_t *mask);

/* Pairs of hexadecimal digits, 1 to 128 bytes; the bytes not given are 0. */
bool take_key_bytes(TextCursor &cursor, const char *what, KeyBytes *bytes);

/* Clears the bits beyond the length; true where there were any. */
bool clear_host_bits(AddressPrefix *prefix);

}  // namespace aclrmctl

#endif
