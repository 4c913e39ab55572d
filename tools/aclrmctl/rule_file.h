/* Files of rules: what is in them, which formats there are, and saying where one is wrong.
 *
 * Three formats fill the same records: the classic filter-set lines (rule_classic.cpp), the policy
 * format of readable lines (rule_policy.cpp) and the same as JSON (rule_json.cpp).
 * docs/rule-files.md is their manual.
 *
 * Bits of an address beyond its prefix are cleared, not refused: existing files have them. How many
 * rules had any is counted, so that a slip of the pen does not pass in silence.
 *
 * Nothing here allocates beyond the result, throws (but for memory), or knows of daemon and switch.
 */
#ifndef ACLRMCTL_RULE_FILE_H
#define ACLRMCTL_RULE_FILE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

using KeyBytes = std::array<uint8_t, ZV_ACL_RM_KEY_BYTES>;

/* What a rule matches on; the number of the first three is their key type. */
enum class RuleKind : uint32_t { kIpv4 = 0, kIpv6 = 1, kMac = 2, kRaw = 3 };

/* Rules one file may hold, and expand to: sixteen times what the simulated switch holds. */
inline constexpr uint64_t kLargestExpansion = uint64_t{1} << 20;

/* 4, 16 or 6 bytes are used, as the rule's kind says. */
struct AddressPrefix {
    std::array<uint8_t, 16> bytes{}; /* network order, bits beyond the length are 0 */
    uint8_t length = 0;              /* in bits; 0: any address */

    bool operator==(const AddressPrefix &) const = default;
};

struct PortRange {
    uint16_t low = 0; /* low <= high, both belong to the range */
    uint16_t high = 0xFFFF;

    bool operator==(const PortRange &) const = default;
};

/* What the switch does with a packet; the numbers are the switch's. Others travel unchanged. */
enum class Verdict : uint32_t { kPermit = 0, kDrop = 1, kTrap = 2 };

/* Where a rule's packets go, and what counts them; at most one of the targets is there. */
struct RuleTargets {
    uint32_t counter_id = 0; /* 0: none */
    std::optional<uint32_t> forward_port{};
    std::optional<uint32_t> forward_mc{}; /* MC group */

    bool operator==(const RuleTargets &) const = default;
};

/* Key and mask in full, for what has no fields. */
struct RawMatch {
    uint32_t key_type = 0;
    KeyBytes key{};
    KeyBytes mask{};
};

/* A place in a file, both from 1; the column counts bytes. Line 0: none. */
struct FilePlace {
    uint32_t line = 0;
    uint32_t column = 0;
};

/* A rule as it is written. Bits of a value outside its mask are 0. */
struct FilterRule {
    FilePlace at;
    FilePlace priority_at;
    FilePlace counter_at;
    FilePlace forward_at; /* of the port or the MC group */
    RuleKind kind = RuleKind::kIpv4;
    AddressPrefix source;
    AddressPrefix destination;
    PortRange source_ports; /* IP only, as are the next five */
    PortRange destination_ports;
    uint8_t protocol = 0;
    uint8_t protocol_mask = 0;
    uint16_t flags = 0; /* TCP flags */
    uint16_t flags_mask = 0;
    uint16_t vlan = 0; /* MAC only, as are the next three */
    uint16_t vlan_mask = 0;
    uint16_t ethertype = 0;
    uint16_t ethertype_mask = 0;
    std::shared_ptr<const RawMatch> raw{}; /* where the kind is kRaw */
    std::optional<Verdict> verdict{};      /* only where the file gives one, as below */
    RuleTargets targets{};
    std::optional<uint32_t> priority{};
};

enum class RuleFormat { kAuto, kClassic, kPolicy, kJson };

struct RuleFile {
    RuleFormat format = RuleFormat::kAuto; /* as found */
    std::vector<FilterRule> rules;         /* in file order */
    uint32_t lines_num = 0;                /* blank ones and comments included */
    uint32_t masked_num = 0;               /* rules with address bits beyond a prefix */
    uint32_t first_masked_line = 0;
};

struct RuleFileError {
    uint32_t line = 0;   /* from 1; 0: the file as a whole */
    uint32_t column = 0; /* from 1, in bytes */
    std::string message;
    std::string text;   /* the whole line, without its end */
    std::string path{}; /* of a JSON file: pointer to the value that is wrong; else empty */
};

/* The format that the text's first character outside comments tells: '@' is the classic one's, '{'
 * and '[' JSON's. */
RuleFormat detect_format(std::string_view text);

/* Reads a file's text. Stops at the first error and returns where and why; *file then holds the
 * rules before it. A text without rules is no error here. */
std::optional<RuleFileError> parse_rule_text(std::string_view text, RuleFormat format,
                                             RuleFile *file);

/* One line of either line format; empty ones add nothing. Adds to *file, whose lines_num counts it
 * already. */
std::optional<RuleFileError> parse_classic_line(std::string_view line, RuleFile *file);
std::optional<RuleFileError> parse_policy_line(std::string_view line, RuleFile *file);

std::optional<RuleFileError> parse_json_rules(std::string_view text, RuleFile *file);

/* An error at a place of the text, with its line. */
RuleFileError error_at(std::string_view text, const FilePlace &place, std::string message);

/* Adds a rule that has been read; `masked`: it had address bits beyond a prefix. */
void add_rule(FilterRule rule, bool masked, RuleFile *file);

/* "FILE:LINE:COLUMN: message", with the pointer before the message where there is one. */
std::string describe_place(const std::string &file_name, const RuleFileError &error);

/* The line's text, and a caret under the column, in `columns` of a terminal; 0: in kPictureColumns.
 * Of a longer line the part around the column is shown, with "..." where it is cut. A character is
 * one column; what does not print, or is no UTF-8, becomes '?'. */
inline constexpr size_t kPictureColumns = 76; /* of a terminal of 80, behind an indentation */
std::array<std::string, 2> picture_of(const RuleFileError &error, size_t columns = 0);

/* Reads a whole file into *text, without the byte order mark that some editors put before it; "-"
 * is standard input. Returns 0 or an errno value (EFBIG above 64 MiB). */
int read_text_file(const std::string &file_name, std::string *text);

/* "classic", "policy" and "json"; nothing for another name. */
const char *format_name(RuleFormat format);
std::optional<RuleFormat> format_from_name(std::string_view name);

const char *verdict_name(Verdict verdict); /* null for a number without a name */
std::optional<Verdict> verdict_from_name(std::string_view name);

}  // namespace aclrmctl

#endif
