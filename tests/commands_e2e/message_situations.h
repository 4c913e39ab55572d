// message_situations.h - the daemon's messages, by the situations that make it say them.
//
// A situation is a whole run of the daemon, mostly with every log module at its most talkative, and
// the messages that it must say in it: word for word, with module and level. The tables stand in
// messages_<subject>.cpp. What no run can make it say is listed in messages_unspoken.cpp; together
// they know every text that the daemon has (scripts/lint-messages).
#ifndef ZV_TESTS_COMMANDS_E2E_MESSAGE_SITUATIONS_H
#define ZV_TESTS_COMMANDS_E2E_MESSAGE_SITUATIONS_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/daemon_process.h"
#include "tests/support/log_lines.h"

namespace zv_test {

struct Message {
    // A pattern is a regular expression, for texts with a part that no test can know.
    enum Kind { kWhole, kPattern, kBeginning };

    Message(LogLine said, Kind how = kWhole) : line(std::move(said)), kind(how) {}

    LogLine line;  // the text with its arguments filled in
    Kind kind;
};

// Messages of the modules "ZV_ACL_RM" and "ACL_RM_RPC"; failures are error_line() and its like.
LogLine core(const char *level, const std::string &text);
LogLine rpc(const char *level, const std::string &text);

// A whole run: starts a daemon, plays, stops it and returns everything it logged. Error lines are
// part of the play.
using Play = std::vector<LogLine> (*)();

struct Situation {
    const char *name;
    Play play;
    std::vector<Message> messages;
};

// How GoogleTest shows one: by its name, which unlike an address is the same in every run.
void PrintTo(const Situation &situation, std::ostream *out);

std::vector<Situation> session_situations();  // start, OPEN, INIT, DUMP, stop
std::vector<Situation> acl_situations();      // ACL_SET, ACL_RESIZE
std::vector<Situation> rule_situations();     // the three rule commands
std::vector<Situation> binding_situations();  // the three bind commands, PORT_SET
std::vector<Situation> counter_situations();  // counters and multicast groups
std::vector<Situation> limit_situations();    // full tables
std::vector<Situation> all_situations();

// What no run of the process can make it say. Each is looked for all the same: should it turn up,
// it belongs into a table.
struct Unspoken {
    const char *text;  // as the daemon has it, with its conversions
    const char *reason;
    const char *tested_in;  // "nowhere": no argument of any operation leads there
};
const std::vector<Unspoken> &unspoken_messages();

// --- for the plays

// Every module at its most talkative from the first line on.
DaemonOptions talkative(nlohmann::json faults = nlohmann::json::array());
// Stops the daemon and returns its log.
std::vector<LogLine> stopped(DaemonProcess &daemon, int exit_code = 0);

}  // namespace zv_test

#endif
