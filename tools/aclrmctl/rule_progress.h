/* How far a load is, as a bar on a terminal. */
#ifndef ACLRMCTL_RULE_PROGRESS_H
#define ACLRMCTL_RULE_PROGRESS_H

#include <string>

#include "perform.h"

namespace aclrmctl {

/* A bar on standard error, as wide as the terminal, or nothing: where standard error is none (in a
 * log a line that rewrites itself is noise) or the answer is to be JSON. */
Progress terminal_progress(const Settings &settings);

/* "  3200 of 6400 rules  50% [#####     ]", at most `columns` wide; the bar is left out where there
 * is no room for it. */
std::string progress_line(uint32_t done, uint32_t total, size_t columns);

}  // namespace aclrmctl

#endif
