/* What a shell needs to know of the tool: hidden commands that need no parser of their own.
 *
 *     aclrmctl __complete -- WORD...   what the last word can become, one a line
 *     aclrmctl __options               every command and option, one a line
 */
#ifndef ACLRMCTL_COMPLETE_H
#define ACLRMCTL_COMPLETE_H

#include <iosfwd>
#include <string>
#include <vector>

namespace aclrmctl {

/* `words` are those behind the tool's name up to the cursor, the last (which may be empty) under
 * it. Ids come from the daemon when it answers at once, and are missing when it does not. ":files"
 * stands for the names of files. */
void complete(const std::vector<std::string> &words, std::ostream &out);

/* "acl create<TAB>--size<TAB>UINT<TAB>required": the words of the command ("" for options of all),
 * the names, what follows them ("-" for a flag) and whether it must be there. */
void list_options(std::ostream &out);

}  // namespace aclrmctl

#endif
