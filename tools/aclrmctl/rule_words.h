/* Fields of a rule in words, shared by tables and by files that can be loaded again. */
#ifndef ACLRMCTL_RULE_WORDS_H
#define ACLRMCTL_RULE_WORDS_H

#include <string>

#include "rule_file.h"

namespace aclrmctl {

/* "10.0.0.0/8", "2001:db8::1", "02:00:00:00:00:00/16", "any". */
std::string address_text(RuleKind kind, const AddressPrefix &prefix);

bool is_any(const PortRange &range);
std::string range_text(const PortRange &range); /* "443", "1024-2047" */

std::string hex_number(uint32_t value, int digits);

/* `word` and "0x02/0x12": a field of `digits` digits; the mask is left out where it is `full`.
 * Nothing where the mask is empty. */
std::string masked_text(const std::string &word, uint32_t value, uint32_t mask, uint32_t full,
                        int digits);

std::string vlan_text(const FilterRule &rule);

/* "tcp", "proto 47"; empty for any protocol. */
std::string protocol_words(const FilterRule &rule);

/* Whether neither address tells the version of IP, nor the protocol's word. */
bool needs_version(const FilterRule &rule);

/* Bytes up to the last that key or mask needs; at least one. */
size_t used_bytes(const KeyBytes &key, const KeyBytes &mask);

}  // namespace aclrmctl

#endif
