/* What a rule matches, in the words of the command line.
 *
 * Each reader stores the field and returns an empty string, or what is wrong with `text`. They need
 * neither daemon nor switch.
 */
#ifndef ACLRMCTL_MATCH_WORDS_H
#define ACLRMCTL_MATCH_WORDS_H

#include <string>

#include "port_prefixes.h"
#include "rule_encode.h"
#include "rule_fields.h"
#include "rule_file.h"

namespace aclrmctl {

/* "10.0.0.0/8", "2001:db8::1" (a prefix of all its bits), "any": IP of either version. Bits beyond
 * the prefix are cleared, as they are in rule files. */
std::string read_prefix(const std::string &text, ReadAddress *address);

/* "02:00:00:00:00:00/16", "02:00:00:00:00:01", "any". */
std::string read_mac_prefix(const std::string &text, ReadAddress *address);

/* "443", "1024-2047", "any". One rule holds one prefix of ports; a range that is none is refused
 * with the prefixes it would need. */
std::string read_port_prefix(const std::string &text, PortPrefix *prefix);

/* A protocol by its name or its number, or "any". *version is that of IP as far as the addresses
 * tell it, kAny where they do not: a name that belongs to one version sets it, and is refused
 * beside the other. */
std::string read_protocol(const std::string &text, AddressFamily *version, uint8_t *protocol,
                          uint8_t *mask);

/* "0x02/0x12", or "0x02" for all 16 bits; hexadecimal with 0x or decimal. */
std::string read_flags(const std::string &text, uint16_t *flags, uint16_t *mask);

/* "5", "0x0f/0xff", "any". */
std::string read_vlan(const std::string &text, uint16_t *vlan, uint16_t *mask);
std::string read_ethertype(const std::string &text, uint16_t *ethertype, uint16_t *mask);

/* Up to 128 bytes of hexadecimal digits; the bytes not given are 0. */
std::string read_key_bytes(const std::string &text, KeyBytes *bytes);

}  // namespace aclrmctl

#endif
