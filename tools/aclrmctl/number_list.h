/* Lists and ranges of numbers on the command line: ports, router interfaces, offsets. */
#ifndef ACLRMCTL_NUMBER_LIST_H
#define ACLRMCTL_NUMBER_LIST_H

#include <cstdint>
#include <string>
#include <vector>

namespace aclrmctl {

/* What a list is of: its words in errors, and its bounds. */
struct NumberKind {
    const char *one;     /* "a logical port" */
    const char *several; /* "ports" */
    const char *range;   /* "65537-65540" */
    uint32_t largest;
    size_t most; /* numbers in all */
    bool once;   /* a number given twice is meant once */
};

/* The list's bounds keep a slip of the pen from becoming millions of numbers; they lie far above
 * the ports of any switch and at all the offsets that the simulated one has by default. */
inline constexpr NumberKind kLogicalPorts{"a logical port", "ports", "65537-65540",
                                          UINT32_MAX,       4096,    true};
inline constexpr NumberKind kRouterInterfaces{
    "a router interface", "router interfaces", "1-4", UINT16_MAX, 4096, true};
inline constexpr NumberKind kOffsets{"an offset", "offsets", "0-19", UINT32_MAX, 65536, false};
/* A rule can be deleted once: the second time the daemon would stop in the middle. */
inline constexpr NumberKind kOffsetsToDelete{"an offset", "offsets", "0-19",
                                             UINT32_MAX,  65536,     true};

/* Reads "5", "7-9" and comma-separated lists of both, and appends them in order. Returns an empty
 * string, or what is wrong with `text`. */
std::string read_number_list(const NumberKind &kind, const std::string &text,
                             std::vector<uint32_t> *numbers);

/* A decimal number, or a hexadecimal one behind 0x, and nothing else: no sign, no blank, and no
 * leading zero, which some would read as octal. */
bool read_number(const std::string &text, uint32_t *number);
bool read_number64(const std::string &text, uint64_t *number);

}  // namespace aclrmctl

#endif
