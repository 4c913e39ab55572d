/* Rule files in the classic filter-set text format: reading them, and saying where they are wrong.
 *
 * One rule a line, fields separated by spaces or tabs:
 *
 *     @source/len  destination/len  low : high  low : high  protocol/mask  flags/mask  [verdict]
 *
 * the two port ranges being source and destination. Protocol and flags are hexadecimal with 0x, or
 * decimal. The optional last word (permit, drop, trap) is this tool's extension: files without it
 * mean what they mean everywhere. Blank lines and lines beginning with # are skipped, a # after a
 * rule begins a comment, lines may end in CR LF, the last one may lack its end.
 *
 * Bits of an address beyond its prefix are cleared, not refused: existing files have them. How many
 * rules had any is counted, so that a slip of the pen does not pass in silence.
 *
 * Nothing here allocates beyond the result, throws (but for memory), or knows of daemon and switch.
 */
#ifndef ACLRMCTL_RULE_FILE_H
#define ACLRMCTL_RULE_FILE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace aclrmctl {

struct Prefix {
    uint32_t address = 0; /* host byte order, bits beyond the length are 0 */
    uint8_t length = 0;   /* 0 to 32 */
};

struct PortRange {
    uint16_t low = 0; /* low <= high, both belong to the range */
    uint16_t high = 0xFFFF;
};

/* What the switch does with a packet; the numbers are the switch's. */
enum class Verdict : uint32_t { kPermit = 0, kDrop = 1, kTrap = 2 };

struct FilterRule {
    uint32_t line = 0; /* in its file, from 1 */
    Prefix source;
    Prefix destination;
    PortRange source_ports;
    PortRange destination_ports;
    uint8_t protocol = 0; /* meaningful where protocol_mask has bits; the others are 0 */
    uint8_t protocol_mask = 0;
    uint16_t flags = 0; /* TCP flags, likewise */
    uint16_t flags_mask = 0;
    std::optional<Verdict> verdict; /* only where the file gives one */
};

struct RuleFile {
    std::vector<FilterRule> rules; /* in file order */
    uint32_t lines_num = 0;        /* lines of the file, blank ones and comments included */
    uint32_t masked_num = 0;       /* rules with address bits beyond a prefix */
    uint32_t first_masked_line = 0;
};

struct RuleFileError {
    uint32_t line = 0;   /* from 1 */
    uint32_t column = 0; /* from 1, in bytes */
    std::string message;
    std::string text; /* the whole line, without its end */
};

/* Reads a file's text. Stops at the first bad line and returns where and why; *file then holds the
 * rules before it. A text without rules is no error here. */
std::optional<RuleFileError> parse_rule_text(std::string_view text, RuleFile *file);

/* "FILE:LINE:COLUMN: message", the line's text and a caret under the column, ended by a newline.
 * Of a very long line the part around the column is shown; bytes that do not print become '?'. */
std::string describe_rule_error(const std::string &file_name, const RuleFileError &error);

/* Reads a whole file into *text. Returns 0 or an errno value (EFBIG above 64 MiB). */
int read_text_file(const std::string &file_name, std::string *text);

const char *verdict_name(Verdict verdict);
std::optional<Verdict> verdict_from_name(std::string_view name);

}  // namespace aclrmctl

#endif
