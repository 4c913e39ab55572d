/* A row for every command of the tool that is one request: what it sends, what it prints. */
#ifndef ZV_TESTS_TOOLS_COMMAND_ROWS_H
#define ZV_TESTS_TOOLS_COMMAND_ROWS_H

#include <cstdint>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zv_test {

using Bytes = std::vector<uint8_t>;

struct CommandRow {
    std::string name;
    std::vector<std::string> words;
    uint32_t command;      /* its number on the wire */
    Bytes sent;            /* the whole record */
    Bytes reply;           /* the daemon's answer */
    std::string text;      /* on standard output */
    nlohmann::json object; /* with --json */
    std::string refusal;   /* what the tool says it was about when the daemon refuses */
};

std::vector<CommandRow> command_rows();

/* For the test framework, which would show every byte. */
void PrintTo(const CommandRow &row, std::ostream *out);

}  // namespace zv_test

#endif
