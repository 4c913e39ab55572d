/* Filter rules and packets as the 128 key bytes of key type 0, and back into words.
 *
 * Key type 0, in network byte order, as the simulated switch reads it:
 *
 *     bytes 0-3 source address   4-7 destination address   8 protocol   9 zero
 *     10-11 source port   12-13 destination port   14-15 TCP flags   16-127 zero
 *
 * The mask has the same layout. A rule whose port ranges need several prefixes becomes one rule for
 * each pair of a source and a destination prefix; they follow each other in priority, so that the
 * file's order stays the order of evaluation.
 */
#ifndef ACLRMCTL_RULE_ENCODE_H
#define ACLRMCTL_RULE_ENCODE_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "port_prefixes.h"
#include "rule_file.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

using KeyBytes = std::array<uint8_t, ZV_ACL_RM_KEY_BYTES>;

/* Rules one file may expand to: sixteen times what the simulated switch holds by default. */
inline constexpr uint64_t kLargestExpansion = uint64_t{1} << 20;

/* One rule of the switch, made from a line of the file. */
struct ExpandedRule {
    uint32_t rule_index; /* into RuleFile::rules */
    PortPrefix source_port;
    PortPrefix destination_port;
};

/* Where a rule's packets go, and what counts them; at most one of the targets is there. */
struct RuleTargets {
    uint32_t counter_id = 0; /* 0: none */
    std::optional<uint32_t> forward_port;
    std::optional<uint32_t> forward_mc; /* MC group */
};

/* What the words of the command line add to every rule of a file. */
struct RuleOptions {
    uint32_t first_priority = 0;
    Verdict verdict = Verdict::kPermit; /* of rules whose line gives none */
    RuleTargets targets;
};

/* One rule in full, whatever it was made from. */
struct WholeRule {
    uint32_t priority = 0;
    uint32_t key_type = 0; /* of the mask, too */
    KeyBytes key{};
    KeyBytes mask{};
    Verdict verdict = Verdict::kPermit;
    RuleTargets targets;
};

/* The fields of a packet that key type 0 holds. */
struct PacketFields {
    uint32_t source = 0;
    uint32_t destination = 0;
    uint8_t protocol = 0;
    uint16_t source_port = 0;
    uint16_t destination_port = 0;
    uint16_t flags = 0;
};

/* Expands the rules in file order. False when there would be more than kLargestExpansion; *expanded
 * then holds those before the rule that was too much. */
bool expand_rules(const RuleFile &file, std::vector<ExpandedRule> *expanded);

/* Key and mask of one expanded rule, every byte of them set. */
void encode_match(const FilterRule &rule, const ExpandedRule &expanded, KeyBytes *key,
                  KeyBytes *mask);

/* The client's record of one rule, every byte of it set. */
void encode_whole_rule(const WholeRule &rule, acl_rm_rule *record);

/* The same for one expanded rule of a file. */
void encode_rule(const FilterRule &rule, const ExpandedRule &expanded, uint32_t priority,
                 const RuleOptions &options, acl_rm_rule *record);

/* The verdict in a rule's action block; not a Verdict, since a client may have written anything. */
uint32_t verdict_of_action(const uint8_t *action);

KeyBytes encode_packet(const PacketFields &fields);

/* "tcp 10.0.0.0/8 > any port 53": the words for a key and a mask of key type 0. A field whose mask
 * is neither a prefix nor empty is shown as value&mask. */
std::string describe_match(const KeyBytes &key, const KeyBytes &mask);

/* Whether those words tell the whole rule: key type 0, and nothing in the bytes without a field. */
bool is_five_tuple(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask);

/* The words for any key: describe_match's for a 5-tuple, else the key type and the first bytes of
 * key and mask in hex: "key type 2: 0a000001/ff0000ff". */
std::string describe_key(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask);

/* "tcp 10.0.0.1:1024 > 192.0.2.1:53"; flags follow where there are any. */
std::string describe_packet(const KeyBytes &key);

std::string dotted(uint32_t address);
std::string protocol_name(uint8_t protocol); /* "tcp", or the number */

/* False unless `hex` is exactly two digits for each byte. */
bool key_from_hex(const std::string &hex, KeyBytes *key);
std::string key_to_hex(const KeyBytes &key);

}  // namespace aclrmctl

#endif
