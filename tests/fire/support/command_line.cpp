#include "tests/fire/support/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdint>

namespace zv_fire {

namespace {

// The parser's own check names the largest double as the limit.
const char *said_of_zero(const std::string &number) {
    return number.find_first_not_of('0') == std::string::npos ? "must be 1 or more" : "";
}

}  // namespace

CommandLine::CommandLine(const std::string &about) : app_(std::make_unique<CLI::App>(about)) {}

CommandLine::~CommandLine() = default;

template <class Value>
void CommandLine::option(const std::string &name, Value &value, const std::string &help) {
    app_->add_option(name, value, help)->capture_default_str();
}

template <class Number>
void CommandLine::count(const std::string &name, Number &value, const std::string &help) {
    app_->add_option(name, value, help)->capture_default_str()->check(said_of_zero);
}

void CommandLine::flag(const std::string &name, bool &value, const std::string &help) {
    app_->add_flag(name, value, help);
}

std::optional<int> CommandLine::parse(int argc, char **argv) {
    try {
        app_->parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        return app_->exit(error);
    }
}

template void CommandLine::option(const std::string &, uint32_t &, const std::string &);
template void CommandLine::option(const std::string &, uint64_t &, const std::string &);
template void CommandLine::option(const std::string &, int64_t &, const std::string &);
template void CommandLine::option(const std::string &, double &, const std::string &);
template void CommandLine::option(const std::string &, std::string &, const std::string &);
template void CommandLine::option(const std::string &, std::optional<uint64_t> &,
                                  const std::string &);
template void CommandLine::count(const std::string &, uint32_t &, const std::string &);
template void CommandLine::count(const std::string &, uint64_t &, const std::string &);

}  // namespace zv_fire
