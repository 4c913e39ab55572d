/* Port ranges as prefixes: a ternary rule can hold a value and a mask, but no range.
 *
 * The split is the shortest there is: at each step the largest block that begins at the low end,
 * is aligned to its own size and does not pass the high end. A range of 16-bit ports needs at most
 * 30 blocks (1 to 65534), the whole range one. Blocks come in ascending order and do not overlap.
 */
#ifndef ACLRMCTL_PORT_PREFIXES_H
#define ACLRMCTL_PORT_PREFIXES_H

#include <cstdint>
#include <vector>

#include "rule_file.h"

namespace aclrmctl {

inline constexpr uint32_t kLargestPortSplit = 30;

struct PortPrefix {
    uint16_t value; /* bits outside the mask are 0 */
    uint16_t mask;  /* leading ones */
};

std::vector<PortPrefix> split_port_range(const PortRange &range);

/* The ports of one prefix. */
PortRange port_range(const PortPrefix &prefix);

}  // namespace aclrmctl

#endif
