/* Rules and packets as the 128 key bytes of their key types, and back into fields and words.
 *
 * In network byte order, as the simulated switch reads them; all other bytes are 0:
 *
 *     key type 0, IPv4: 0-3 source   4-7 destination   8 protocol   10-11 source port
 *                       12-13 destination port   14-15 TCP flags
 *     key type 1, IPv6: 0-15 source   16-31 destination   32 next header   34-35 source port
 *                       36-37 destination port   38-39 TCP flags
 *     key type 2, MAC:  0-5 destination   6-11 source   12-13 VLAN id   14-15 EtherType
 *     key type 3 is free.
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
#include "rule_fields.h"
#include "rule_file.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

inline constexpr uint32_t kKeyTypeIpv4 = 0;
inline constexpr uint32_t kKeyTypeIpv6 = 1;
inline constexpr uint32_t kKeyTypeMac = 2;

/* One rule of the switch, made from a rule of the file. */
struct ExpandedRule {
    uint32_t rule_index; /* into RuleFile::rules */
    uint32_t priority;   /* counted from the load's first priority */
    PortPrefix source_port;
    PortPrefix destination_port;
};

/* What the words of the command line add to every rule of a file that does not say itself. */
struct RuleOptions {
    uint32_t first_priority = 0;
    Verdict verdict = Verdict::kPermit;
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

/* What keeps a file's rules from being laid out: the rule, the place in the file and the words. */
struct LayoutError {
    uint32_t rule_index = 0;
    FilePlace at;
    std::string message;
    std::string member; /* of the rule's JSON object, empty for the rule itself */
};

/* Expands the rules in file order and gives each its priority: the one its rule names, or the one
 * behind the rule before it. An error where there would be more than kLargestExpansion, a priority
 * past the largest, or two rules at one; *expanded then holds what came before. */
std::optional<LayoutError> expand_rules(const RuleFile &file, std::vector<ExpandedRule> *expanded);

/* Key and mask of one expanded rule, every byte of them set. */
void encode_match(const FilterRule &rule, const ExpandedRule &expanded, KeyBytes *key,
                  KeyBytes *mask);

/* 0 to 2, or what a raw rule names. */
uint32_t key_type_of(const FilterRule &rule);

/* The fields of a key and its mask, or, where they have bits that no field holds, the raw bytes.
 * encode_match gives the same bytes again. Line, verdict and the rest are left as in a new rule. */
FilterRule decode_match(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask);

/* One expanded rule in full, with what the options add. */
WholeRule whole_rule(const FilterRule &rule, const ExpandedRule &expanded,
                     const RuleOptions &options);

/* The client's record of one rule, every byte of it set. */
void encode_whole_rule(const WholeRule &rule, acl_rm_rule *record);

/* What a rule that is read back says of where it forwards to. */
inline constexpr uint32_t kForwardsToPort = 1;
inline constexpr uint32_t kForwardsToMcGroup = 2;

/* The verdict in a rule's action block; not a Verdict, since a client may have written anything. */
uint32_t verdict_of_action(const uint8_t *action);

/* The same of a block in hexadecimal digits, as the simulated switch shows it; none where it is no
 * whole block. */
std::optional<uint32_t> verdict_of_action_text(const std::string &hex);

KeyBytes encode_packet(const PacketFields &fields);

/* "tcp 10.0.0.0/8 > any port 53": the words for a key and a mask of key type 0. A field whose mask
 * is neither a prefix nor empty is shown as value&mask. */
std::string describe_match(const KeyBytes &key, const KeyBytes &mask);

/* Whether those words tell the whole rule: key type 0, and nothing in the bytes without a field. */
bool is_five_tuple(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask);

/* The words for any key: describe_match's for a 5-tuple, the like for IPv6 and MAC rules, else the
 * key type and the first bytes of key and mask in hex: "key type 2: 0a000001/ff0000ff". */
std::string describe_key(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask);

/* "tcp 10.0.0.1:1024 > 192.0.2.1:53"; flags follow where there are any. */
std::string describe_packet(const KeyBytes &key);

std::string dotted(uint32_t address);
/* Whether a packet's ports are worth a word: of other protocols only where they are not 0. */
bool shows_ports(uint8_t protocol, uint16_t source, uint16_t destination);
/* "tcp", or "protocol 47". */
std::string protocol_name(uint8_t protocol, AddressFamily family);

/* False unless `hex` is exactly two digits for each byte. */
bool key_from_hex(const std::string &hex, KeyBytes *key);
std::string key_to_hex(const KeyBytes &key);

}  // namespace aclrmctl

#endif
