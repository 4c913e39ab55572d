/* What is wrong with a command line, as a failure that points at the word. */
#ifndef ACLRMCTL_USAGE_ERROR_H
#define ACLRMCTL_USAGE_ERROR_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "answer.h"

namespace aclrmctl {

/* `words` are those behind the tool's name, `app` the parser that complained of them. */
Failure usage_failure(const CLI::App &app, const std::vector<std::string> &words,
                      const CLI::ParseError &error);

/* The commands that were read, outermost first: "acl create", "" for none. */
std::string command_read(const CLI::App &app);

/* The entry nearest to a misspelt word, "" where none is near. */
std::string nearest(const std::string &word, const std::vector<std::string> &entries);

}  // namespace aclrmctl

#endif
