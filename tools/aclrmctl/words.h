/* The tool's command line: words in, a request out. */
#ifndef ACLRMCTL_WORDS_H
#define ACLRMCTL_WORDS_H

#include <iosfwd>
#include <optional>

#include "request.h"

namespace aclrmctl {

struct Invocation {
    Settings settings;
    Request request;
};

/* Reads the command line. Nothing is returned where there is nothing (more) to carry out: help was
 * printed on `out` (*exit_code 0), or the words are wrong, which `err` says (*exit_code 1). */
std::optional<Invocation> read_words(int argc, const char *const *argv, std::ostream &out,
                                     std::ostream &err, int *exit_code);

}  // namespace aclrmctl

#endif
