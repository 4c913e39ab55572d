/* Text as a terminal may show it: what comes from outside, a file or a command line, may hold bytes
 * that a terminal would obey.
 *
 * Controls are of no shape, those from 0x80 on among them, and bytes that are no UTF-8 may be one.
 * A '?' stands for each; every other character takes a column. */
#ifndef ACLRMCTL_TERMINAL_TEXT_H
#define ACLRMCTL_TERMINAL_TEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace aclrmctl {

/* A character as a terminal may show it, and where its bytes end. */
struct Glyph {
    std::string shown;
    size_t end;
};

/* Tabs are left as they are. */
std::vector<Glyph> glyphs_of(std::string_view line);

/* A text with its controls masked, but for tabs and the ends of lines. */
std::string masked_text(std::string_view text);

/* A text that has to stay in its line: these two are masked as well. */
std::string masked_line(std::string_view text);

/* A JSON text with the controls escaped that its notation lets through, those from 0x7F on. */
std::string escaped_controls(std::string_view json);

/* The columns that a line takes, a tab as one. */
size_t columns_of(std::string_view line);

}  // namespace aclrmctl

#endif
