// The daemon's messages, word for word: what it says in which situation, from which module and at
// which level. One case per situation holds all its messages against what the daemon logged.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/commands_e2e/message_situations.h"
#include "tests/support/log_lines.h"

namespace zv_test {
namespace {

struct Message {
    const Situation *situation;
    LogLine line;  // the text with its arguments filled in
    // A pattern is a regular expression, for texts with a part that no test can know.
    enum Kind { kWhole, kPattern, kBeginning } kind = kWhole;
};

LogLine core(const char *level, const char *text) {
    return {"ZV_ACL_RM", level, text};
}
LogLine rpc(const char *level, const char *text) {
    return {"ACL_RM_RPC", level, text};
}

#define HANDED_UP(situation, status) \
    { &situation, passed_up_line(status) }

const std::vector<Message> &messages() {
    static const auto &list = *new std::vector<Message>{
        // Start and stop.
        {&kOrdinarySession, core("INFO", "Creating Terminator MUTEX.")},
        {&kOrdinarySession, core("INFO", "Locking Terminator MUTEX.")},
        {&kOrdinarySession, core("INFO", "Creating Terminator thread.")},
        {&kOrdinarySession, core("NOTICE", "Creating Terminator thread done.")},
        {&kOrdinarySession, {"ACL_RM_DB", "INFO", "Counter Pool Init Success."}},
        {&kOrdinarySession, core("INFO", "calling acl_rm_rpc_init_procedure.")},
        {&kOrdinarySession, rpc("INFO", "start acl_rm_rpc_init_procedure.")},
        {&kOrdinarySession, rpc("INFO", "call to rpc_zv_core_td_init.")},
        {&kOrdinarySession, rpc("INFO", "call to zv_api_rpc_command_db.")},
        {&kOrdinarySession, rpc("INFO", "finish acl_rm_rpc_init_procedure.")},
        {&kOrdinarySession, core("INFO", "ACL RM DB init done.")},
        {&kOrdinarySession, rpc("INFO", "start loop.")},
        {&kOrdinarySession, core("NOTICE", "Signal 15 caught using thread [0-9]+ context\\."),
         Message::kPattern},
        {&kOrdinarySession, core("INFO", "Un-Locking Terminator MUTEX.")},
        {&kOrdinarySession, core("NOTICE", "starting zv_acl_rm termination...")},
        {&kOrdinarySession, core("INFO", "calling acl_rm_rpc_deinit.")},
        {&kOrdinarySession, rpc("INFO", "call to zv_api_rpc_command_db_deinit.")},
        {&kOrdinarySession, rpc("INFO", "finish acl_rm_rpc_deinit.")},
        {&kSignals, core("NOTICE", "Signal 10 caught using thread [0-9]+ context\\."),
         Message::kPattern},
        {&kSignals, core("NOTICE", "Signal 2 caught using thread [0-9]+ context\\."),
         Message::kPattern},

        // OPEN, INIT and owners.
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_open.")},
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_init.")},
        {&kOrdinarySession, core("INFO", "ACL RM is connected to SDK.")},
        {&kOrdinarySession, core("INFO", "set open-flow as owner of acl.")},
        {&kOrdinarySession, core("INFO", "set tarn-os as owner of acl.")},
        {&kOrdinarySession, core("INFO", "set PRA as owner of acl.")},
        {&kOrdinarySession, core("INFO", "set OF13 as owner of acl.")},

        // ACL_SET create.
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_acl_set.")},
        {&kOrdinarySession, core("INFO", "acl_rm_acl_set: ******** CREATE / DESTROY ACL ********")},
        {&kOrdinarySession, core("INFO",
                                 "Created region in SDK , acl_key_type: 3 , action_type: 5 , "
                                 "region_size: 32 , region_id: 1.")},
        {&kOrdinarySession, core("INFO",
                                 "Created ACL in SDK , owner:=[0] type: [7] , direction: [9] , "
                                 "region_id : [1] , acl id: [1].")},
        {&kOrdinarySession, core("DEBUG", "Insert acl id:[1] to acl_id_2_acl_info hash table.")},
        {&kOrdinarySession, core("INFO", "create ACL successfully.")},
        {&kOrdinarySession, rpc("INFO", "acl id to send [1].")},

        // ACL_RULE_SET write.
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_acl_rule_set.")},
        {&kOrdinarySession,
         core("DEBUG", "acl_rm_set_rule_by_key_type: ******** ADD ACL RULE ********")},
        {&kOrdinarySession, core("INFO", "key_format:1_5 ")},
        {&kOrdinarySession,
         core("DEBUG", "acl_rm_set_rule_by_key_type: ********  ACL 0 RULE ADDED********")},
        {&kOrdinarySession,
         core("DEBUG", "acl_rm_set_rule_by_key_type: ********  ACL 2 RULE ADDED********")},
        {&kOrdinarySession, core("INFO", "Finish to set all rules in sdk.")},
        {&kOrdinarySession, core("INFO", "Finish to bind all forwarding port to rules.")},
        {&kOrdinarySession, core("DEBUG", "Insert successful")},
        {&kOrdinarySession,
         core("INFO", "Insert rule[=5] to acl_id[1], within region[1] pbs entry type[0].")},
        {&kOrdinarySession,
         core("INFO", "Insert rule[=6] to acl_id[1], within region[1] pbs entry type[0].")},
        {&kOrdinarySession, core("INFO", "Finish to update DB for rules and PBS.")},

        // ACL_BIND_PORT_SET bind: a new group on port 65537, another ACL in it, the first again.
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_acl_port_bind.")},
        {&kOrdinarySession, core("INFO", "No ACL is bound to port_id [10001].")},
        {&kOrdinarySession, core("INFO", "calling bindNewAcl.")},
        {&kOrdinarySession, core("INFO", "Create new group with ID=[1].")},
        {&kOrdinarySession, core("INFO",
                                 "insert to hash-table:sdk_acl_grp_2_sdk_acl_grp_info_table_ht "
                                 "new group[1] with acl[1].")},
        {&kOrdinarySession, core("INFO",
                                 "insert to hash-table:port_id_2_sdk_acl_group_ht new "
                                 "port_id[65537] with acl-group[1].")},
        {&kOrdinarySession, core("INFO", "ACL group [1] is bound to port_id [10001].")},
        {&kOrdinarySession,
         core("INFO", "Added new acl [2] to group [1] on logical port [10001].")},
        {&kOrdinarySession,
         core("INFO", "acl id [1] is bound in SDK in port_id [65537] within a group.")},
        {&kOrdinarySession, rpc("INFO", "got message zv_acl_rm_api_dump.")},

        // The switch does not open.
        {&kClosedSwitch, error_line(1, "Can't open an handle to the SDK, error: [3]")},
        {&kClosedSwitch, error_line(1, "ACL RM connect to sdk failure")},
        {&kClosedSwitch, rpc("INFO", "failed in acl_rm_open_new_client. acl_ret_status:=1.")},
        {&kClosedSwitch, rpc("INFO", "failed in acl_rm_init. acl_ret_status:=1.")},
        {&kClosedSwitch, rpc("INFO", "ACL RM init resources failed. acl_ret_status:=1.")},
        {&kClosedSwitch, error_line(1, "ACL RM is not initialized")},
        {&kClosedSwitch, rpc("INFO", "failed in acl_rm_set acl_ret_status:=1.")},
        {&kClosedSwitch, rpc("INFO", "failed to in acl_rm_acl_rule_set. acl_ret_status:=1.")},
        {&kClosedSwitch, rpc("INFO", "failed in acl_rm_bind. acl_ret_status:=1.")},

        // Records of the wrong length, and the entry line that comes before.
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_open len 1.")},
        {&kWrongLengths, rpc("ERROR", "failed to receive zv_acl_rm_api_acl_set len 1.")},
        {&kWrongLengths, rpc("INFO", "got message acl_rm_rpc_acl_resize.")},
        {&kWrongLengths, rpc("ERROR", "failed to receive acl_rm_resize_params len 1.")},
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_set len 1.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_acl_rule_get")},
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_get len 1")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_acl_rule_move_block.")},
        {&kWrongLengths,
         rpc("ERROR", "failed to received zv_acl_rm_api_acl_rule_move_block len 1.")},
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_acl_port_bind len 1.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_acl_rif_bind.")},
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_acl_rif_bind len 1.")},
        {&kWrongLengths, rpc("INFO", "got message acl_rm_rpc_counter_set.")},
        {&kWrongLengths,
         rpc("ERROR", "failed to received zv_acl_rm_api_counter_bind_params_t len 1.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_counter_get.")},
        {&kWrongLengths, rpc("ERROR", "failed to received zv_acl_rm_api_counter_get len 1.")},
        {&kWrongLengths, rpc("ERROR", "failed to receive zv_acl_rm_api_acl_mc_group_set len 1.")},
        {&kWrongLengths, rpc("ERROR", "failed to receive zv_acl_rm_api_acl_mc_group_get len 1.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_acl_system_bind_set.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_port_set.")},
        {&kWrongLengths, rpc("INFO", "got message zv_acl_rm_api_dump.")},
        {&kWrongLengths, rpc("ERROR", "received message of size 1")},

        // ACL_SET refused.
        {&kRefusedAcls, error_line(2, "Command unsupported, cmd type is:3")},
        {&kRefusedAcls, rpc("INFO", "failed in acl_rm_set acl_ret_status:=2.")},
        {&kRefusedAcls, error_line(5, "Can't find handle[119] in acl_rm_clients_handles")},
        HANDED_UP(kRefusedAcls, 5),
        {&kRefusedAcls, error_line(4, "Wrong acl size min=[40] != max=[41], it should be equal!")},
        HANDED_UP(kRefusedAcls, 4),
        {&kRefusedAcls, error_line(1,
                                   "failed to create region in SDK error: 2 acl_key_type: 3 , "
                                   "action_type: 5 , region_size: 40 , region_id: 0")},
        {&kRefusedAcls, error_line(1,
                                   "Failed to create ACL in SDK (error: 2) , type: [7] , "
                                   "direction: [9] , regions : [1]")},
        HANDED_UP(kRefusedAcls, 1),
        HANDED_UP(kRefusedAcls, 3),

        // ACL_RULE_SET refused.
        {&kRefusedRules, error_line(2, "Command unsupported, cmd type is:5")},
        {&kRefusedRules, error_line(4, "To many rules [21] to configure in one action")},
        {&kRefusedRules, error_line(4,
                                    "Wrong owner of the handle[119] toward ACL_RM, trying to "
                                    "control another owner resource")},
        {&kRefusedRules,
         error_line(1, "Wrong owner[2] trying to control another owner[0] resource")},
        HANDED_UP(kRefusedRules, 4),
        HANDED_UP(kRefusedRules, 1),
        HANDED_UP(kRefusedRules, 5),
        {&kRefusedRules, error_line(4, "unsupported rule key type:4")},
        {&kRefusedRules, error_line(1, "Failed to add rule to a region in SDK , error: 4")},
        {&kRefusedRules, error_line(1, "key already found while trying to insert new key.")},
        {&kRefusedRules,
         error_line(1, "key:[1_1] was found while trying to check if it not exists")},
        {&kRefusedRules, error_line(1, "override new rule is forbidden for command:[6]")},
        {&kRefusedRules, error_line(5, "Failed to find MCG id 6")},
        {&kRefusedRules, error_line(5, "Could not find counter (9) in counter DB.", "ACL_RM_DB")},
        {&kRefusedRules,
         error_line(5, "Fail to update reference counter for counter ID (9) in counter DB.")},
        {&kRefusedRules,
         notification_line(7,
                           "Can't initiate forwarding action for the rule, not enough resources")},
        {&kRefusedRules, notification_line(7, "ZV_ACL_RM_STATUS_NO_HW_RESOURCES")},
        {&kRefusedRules, error_line(1, "Can't initiate forwarding action for the rule")},

        // ACL_BIND_PORT_SET refused.
        {&kRefusedBinds, error_line(2, "Command unsupported, cmd type is:9")},
        {&kRefusedBinds, error_line(4, "Wrong ports number [0] need to configure more than 0")},
        {&kRefusedBinds, error_line(1, "Failed to create new group ACL [2], (error: 2)")},
        // The list of a new group, then that of one with an ACL.
        {&kRefusedBinds, error_line(1, "Failed to add new ACL [2] to ACL GROUP:[1], (error: 2)")},
        {&kRefusedBinds, error_line(1, "Failed to add new ACL [3] to ACL GROUP:[4], (error: 2)")},
        {&kRefusedBinds,
         notification_line(
             7, "Not enough resource to bind ACL, the maximum ACL resources are in use")},
        {&kRefusedBinds, core("INFO", "Deletion of ACL group[2] succeeded.")},
        // The text of the removal that succeeded.
        {&kRefusedBinds, core("DEBUG", "Remove not successful")},
        {&kRefusedBinds, error_line(1, "Failed deleting ACL group:[3], (error: 2)")},
        {&kRefusedBinds, error_line(1, "Failed to bind ACL [4] to port_id [65537] , (error: 2)")},
        {&kRefusedBinds, error_line(1,
                                    "Can't Bind acl id[1] to port_id[65537]. the port has "
                                    "different direction. port direction:[0], acl direction[1]")},
        {&kRefusedBinds,
         notification_line(7, "Can't Add ACL table to group - not enough resources")},
        {&kRefusedBinds, notification_line(7, "ZV_ACL_RM_STATUS_NO_HW_RESOURCES")},
        {&kRefusedBinds,
         error_line(6, "Can't Bind acl id[3] to port_id[65537]. The Group is full")},
        {&kRefusedBinds, notification_line(6, "ZV_ACL_RM_STATUS_NO_RESOURCES")},

        // Tables and limits reached.
        {&kFullTables,
         notification_line(6, "Not enough resources to create rules, #rules = [6400]")},
        {&kFullTables, notification_line(6, "Not enough resources to create region")},
        {&kFullTables,
         error_line(6, "ACL [1] can't be bound to port_id [1128]. Not enough acl groups")},
        {&kFullTables, error_line(1, "Insert not successful")},
        {&kFullTables, notification_line(6, "ZV_ACL_RM_STATUS_NO_RESOURCES")},

        // DUMP.
        {&kDumps, core("WARN",
                       "Can't open the acl-rm dump file /no/such/directory/dump, will print to "
                       "log")},
        {&kDumps,
         core("NOTICE", "acl-rm dump data started at: [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9:]+"),
         Message::kPattern},
        {&kDumps, core("NOTICE", "ACL-RM dump data:\n =====ACL_RM Cache dump start:=====\n"),
         Message::kBeginning},
        {&kDumps, error_line(1, "Can't write to acl-rm dump")},
        {&kDumps, error_line(3, "file_path is NULL")},
        {&kDumps, rpc("ERROR", "acl_rm_rpc_dump: error 1 performing acl_rm_dump")},
        {&kDumps, rpc("ERROR", "acl_rm_rpc_dump: error 3 performing acl_rm_dump")},
        {&kDumps, core("WARN", "error=\\[11\\] write to file /[^ ]*/fifo, will print to log"),
         Message::kPattern},

        // Starts and stops with one failing call.
        {&kNoCounterPool,
         error_line(6, "Counter Pool Init Failure (invalid status code).", "ACL_RM_DB")},
        {&kNoCounterPool, error_line(6, "ACL RM init counter DB failure.")},
        {&kNoCounterPool, error_line(1, "ACL RM internal cache init failure")},
        {&kNoCounterPool,
         error_line(1, "Can't deinit counter DB - DB not initialized).", "ACL_RM_DB")},
        {&kNoCounterPool, error_line(1, "ACL RM deinit counter DB failure.")},
        HANDED_UP(kNoCounterPool, 1),
        {&kNoSocket, error_line(1, "failed to call zv_core_td_init 1", "ACL_RM_RPC")},
        {&kNoSocket, core("ERROR", "RPC procedure failed.")},
        HANDED_UP(kNoSocket, 1),
        {&kNoCommandTable, error_line(1, "failed to call zv_api_rpc_command_db 1", "ACL_RM_RPC")},
        {&kNoCommandTable, core("ERROR", "RPC procedure failed.")},
        {&kNoNetwork, core("ERROR", "error 42 initializing netlib")},
        {&kNoThread, core("NOTICE", "Creating Terminator thread done.")},
        {&kNoThread, core("ERROR", "cl_thread_init (terminator) error: 3.")},
        {&kStuckCommandTable,
         error_line(1, "failed to call zv_api_rpc_command_db_deinit 1", "ACL_RM_RPC")},
        {&kStuckCommandTable, core("ERROR", "acl_rm_rpc_deinit failed.")},
        {&kStuckSwitch, error_line(1, "Failed to close ZV SDK Handle")},
        {&kStuckNetwork, core("ERROR", "error 42 deinitializing netlib")},
    };
    return list;
}

// What no run of the process with today's commands can make it say. Each is looked for all the
// same: should it turn up, it belongs into the table above.
struct Unspoken {
    const char *text;  // up to its first argument
    const char *reason;
    const char *tested_in;  // "nowhere": no argument of any operation leads there
};

constexpr Unspoken kUnspoken[] = {
    // Needs a table that is missing; start-up makes them all or ends.
    {"hash table not initialized", "missing table", "tests/core"},
    {"acl_id_2_acl_info hash table not initialized", "missing table", "tests/core"},
    {"mcg_id_2_mcg_info hash table not initialized", "missing table", "tests/core"},
    {"fail to lookup in HT", "missing table", "tests/core"},
    {"ht_lookup_zvlib on hash table: logical_forward_port_2_forward_pbs_info_ht", "missing table",
     "tests/core"},
    {"failed to create hash table.", "no memory at start-up", "tests/core"},
    {"failed to create iterator for hash table.", "no memory at start-up", "tests/core"},
    {"failed to free hash table.", "missing table", "tests/core"},
    {"failed to free iterator for hash table.", "missing iterator", "tests/core"},
    {"Failed to get first key of HT: acl_id_2_acl_id_info_table_ht", "missing iterator",
     "tests/core"},
    // Needs a cache and a switch that disagree about ids: the switch never gives an id twice.
    {"acl id:1 already found while trying to insert new acl to DB.", "an id given twice",
     "tests/core"},
    {"mcg id:", "no command makes or removes groups yet", "tests/core"},
    {"Insert MC group id:", "no command makes groups yet", "tests/core"},
    // Needs an operation that no command calls yet.
    {"key not found while trying to remove region from DB", "only after a removal", "tests/core"},
    {"Removed acl id:", "no command removes ACLs yet", "tests/core"},
    {"delete not successful", "a failing removal", "tests/core"},
    // Earlier checks of the same command come first.
    {"acl id:99 not found", "the owner check finds it first", "tests/core"},
    {"acl_id:99 not found in hash table", "the owner check finds it first", "tests/core"},
    {"ACL key is not appropriate, should be", "the caller takes it from the same field",
     "tests/core"},
    {"Failed to convert rule priority to unique offset", "the place for it is never missing",
     "nowhere"},
    {"rule in offset[", "the cache refuses the rule's key first", "tests/core"},
    {"No more buffer space in ACL ID array", "a full group is refused first", "tests/core"},
    {"sdk_grp_info->acl_id_arr_len = [", "a full group is refused first", "nowhere"},
    {"index_of_new_acl_in_group:=[", "the last index is handled first", "nowhere"},
    {"receive message body is NULL", "a missing body has the wrong length", "tests/rpc"},
    // Needs memory to run out.
    {"Memory allocation failed", "no memory", "tests/core"},
    {"can't allocate enough memory for dump buffer", "no memory", "tests/core"},
    // Needs a system call that never fails; a library that replaces it does the trick.
    {"sigaction error: ", "sigaction does not fail", "tests/daemon_e2e"},
    {"Could not register signal handler", "sigaction does not fail", "tests/daemon_e2e"},
    // The counter database: no command makes counters yet, and nothing passes a missing place.
    {"Cant init counter DB - already initialize.", "start-up happens once", "tests/core/db"},
    {"Counter id (", "no command makes counters yet", "tests/core/db"},
    {"Could not find free counter in counter DB.", "no command makes counters yet",
     "tests/core/db"},
    {"Failed in __acl_rm_db_counter_find.", "the place is never missing", "nowhere"},
    {"counter_item is NULL.", "the place is never missing", "tests/core/db"},
    {"counter_type_p is NULL.", "the place is never missing", "tests/core/db"},
    {"ref_counter_p is NULL.", "the place is never missing", "tests/core/db"},
    {"is_allocated is NULL.", "the place is never missing", "tests/core/db"},
    {"Cmd not supported (", "the command is a constant", "tests/core/db"},
    {"Can't allocate counter - DB not initialized).", "start-up ends without it", "tests/core/db"},
    {"Can't destroy counter - DB not initialized.", "start-up ends without it", "tests/core/db"},
    {"Can't retrieve counter type - DB not initialized).", "start-up ends without it",
     "tests/core/db"},
    {"Can't update counter's reference counter - DB not initialized).", "start-up ends without it",
     "tests/core/db"},
};

// A debug line begins with "<source>[<line>]- <function>: ", which is not part of the text.
LogLine without_place(const LogLine &line) {
    static const auto &place = *new std::regex("acl_rm(_rpc_server|_db)?\\.c\\[[0-9]+\\]- \\w+: ");
    std::smatch found;
    if (line.level != "DEBUG" || !std::regex_search(line.text, found, place) ||
        found.position() != 0) {
        return line;
    }
    return {line.module, line.level, found.suffix().str()};
}

bool begins_with(const std::string &text, const std::string &beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool is_text(const Message &message, const std::string &text) {
    switch (message.kind) {
        case Message::kPattern:
            return text.size() < 1000 && std::regex_match(text, std::regex(message.line.text));
        case Message::kBeginning:
            return begins_with(text, message.line.text);
        default:
            return text == message.line.text;
    }
}

bool says(const std::vector<LogLine> &log, const Message &message) {
    return std::any_of(log.begin(), log.end(), [&](const LogLine &line) {
        return line.module == message.line.module && line.level == message.line.level &&
               is_text(message, line.text);
    });
}

// The message itself, without the label that reports a status.
std::string bare(const std::string &text) {
    for (const std::string label :
         {", error message:=", "Notification, error: 6, ", "Notification, error: 7, "}) {
        const size_t at = text.find(label);
        if (at != std::string::npos) {
            return text.substr(at + label.size());
        }
    }
    return text;
}

class MessageTexts : public testing::TestWithParam<Situation> {};

std::string name_of(const testing::TestParamInfo<Situation> &situation) {
    return situation.param.name;
}

TEST_P(MessageTexts, AreSpokenWordForWord) {
    std::vector<LogLine> log = GetParam().play();
    std::transform(log.begin(), log.end(), log.begin(), without_place);
    size_t messages_num = 0;
    for (const Message &message : messages()) {
        if (message.situation->play == GetParam().play) {
            ++messages_num;
            EXPECT_TRUE(says(log, message)) << "not said: " << message.line;
        }
    }
    EXPECT_GT(messages_num, 0u);
    for (const LogLine &line : log) {
        for (const Unspoken &unspoken : kUnspoken) {
            EXPECT_FALSE(begins_with(bare(line.text), unspoken.text))
                << line << "\nwas thought impossible (" << unspoken.reason << "), tested in "
                << unspoken.tested_in;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, MessageTexts, testing::ValuesIn(all_situations()), name_of);

}  // namespace
}  // namespace zv_test
