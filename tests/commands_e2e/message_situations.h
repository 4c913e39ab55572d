// message_situations.h - runs of the daemon with every log module at its most talkative, each of
// which makes it say a set of its messages. message_texts_test.cpp holds them against the texts.
#ifndef ZV_TESTS_COMMANDS_E2E_MESSAGE_SITUATIONS_H
#define ZV_TESTS_COMMANDS_E2E_MESSAGE_SITUATIONS_H

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"

namespace zv_test {

// A whole run: starts a daemon, plays, stops it and returns everything it logged. Error lines are
// part of the play.
using Play = std::vector<LogLine> (*)();

struct Situation {
    const char *name;
    Play play;
};

// How GoogleTest shows one: by its name, which unlike an address is the same in every run.
void PrintTo(const Situation &situation, std::ostream *out);

extern const Situation kOrdinarySession;  // all goes well, from start to stop
extern const Situation kSignals;          // SIGUSR1, then SIGINT
extern const Situation kClosedSwitch;     // the switch does not open
extern const Situation kWrongLengths;     // a record one byte long to every command
extern const Situation kRefusedAcls;      // ACL_SET refused, and failing in the switch
extern const Situation kRefusedRules;     // ACL_RULE_SET likewise
extern const Situation kRefusedBinds;     // ACL_BIND_PORT_SET likewise
extern const Situation kFullTables;       // 399 ACLs, 6400 rules, 128 groups
extern const Situation kDumps;            // DUMP where the file cannot be used
extern const Situation kNoCounterPool;    // start-ups and stops with one failing call
extern const Situation kNoSocket;
extern const Situation kNoCommandTable;
extern const Situation kNoNetwork;
extern const Situation kNoThread;
extern const Situation kStuckCommandTable;
extern const Situation kStuckSwitch;
extern const Situation kStuckNetwork;

const std::vector<Situation> &all_situations();

}  // namespace zv_test

#endif
