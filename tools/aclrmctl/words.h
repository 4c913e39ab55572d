/* The tool's command line: words in, a request out. */
#ifndef ACLRMCTL_WORDS_H
#define ACLRMCTL_WORDS_H

#include <iosfwd>
#include <optional>
#include <string>

#include "request.h"

namespace aclrmctl {

struct Invocation {
    Settings settings;
    std::string command; /* "acl create" */
    Request request;
};

/* Reads the command line. Nothing is returned where there is nothing (more) to carry out: help was
 * printed on `out` (*exit_code 0), or the words are wrong (*exit_code 1), which `err` says, or an
 * object on `out` where --json is among them. `columns` are those of the terminal, 0 for none. */
std::optional<Invocation> read_words(int argc, const char *const *argv, std::ostream &out,
                                     std::ostream &err, int *exit_code, size_t columns = 0);

}  // namespace aclrmctl

#endif
