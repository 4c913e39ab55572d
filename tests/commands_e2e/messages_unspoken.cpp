#include "tests/commands_e2e/message_situations.h"

namespace zv_test {

const std::vector<Unspoken> &unspoken_messages() {
    static const auto &list = *new std::vector<Unspoken>{
        // Needs a table or an iterator that is missing; start-up makes them all or ends.
        {"hash table not initialized", "missing table", "tests/core"},
        {"%s hash table not initialized", "missing table", "tests/core"},
        {"acl_id_2_acl_info hash table not initialized", "missing table", "tests/core"},
        {"mcg_id_2_mcg_id_info_table_ht hash table not initialized", "missing table", "tests/core"},
        {"fail to lookup in HT", "missing table", "tests/core"},
        {"ht_lookup_zvlib on hash table: logical_forward_port_2_forward_pbs_info_ht",
         "missing table", "tests/core"},
        {"error %d returned looking up ACL %u in hash table",
         "missing table, which the owner check finds first", "tests/core"},
        {"failed to free hash table.", "missing table", "tests/core"},
        {"failed to free iterator for hash table.", "missing iterator", "tests/core"},
        {"Failed to get first key of HT: acl_id_2_acl_id_info_table_ht", "missing iterator",
         "tests/core"},
        {"%s: error %d returned getting first ACL from hash table", "missing iterator",
         "tests/core"},
        {"%s: error %d returned getting next ACL from hash table",
         "an iterator that is lost during the walk", "tests/core"},
        // Needs an id that the switch gives twice; it never does.
        {"%s:%u already found while trying to insert new acl to DB.", "an id given twice",
         "tests/core"},
        {"Counter id (%u) is already exist in counter DB.", "an id given twice", "tests/core"},
        // Needs an entry to vanish between two steps of one command.
        {"acl id:%u not found", "the owner check looks it up first", "tests/core"},
        {"acl_id:%u not found in hash table", "the owner check looks it up first", "tests/core"},
        {"%s: acl %u not found in hast table", "the owner check looks it up first", "tests/core"},
        {"%s:%u not found while trying to remove acl from DB", "looked up first", "tests/core"},
        {"MC group %u not found", "the owner check looks it up first", "tests/core"},
        {"key not found while trying to remove region from DB", "looked up first", "tests/core"},
        {"delete not successful", "an entry that was found can be deleted", "tests/core"},
        {"Fail to get reference counter for counter ID (%u).", "looked up first", "tests/core"},
        {"Fail to get counter type for counter ID (%u).", "looked up first", "tests/core"},
        {"Fail to destroy counter ID (%u) in counter DB.", "looked up first", "tests/core"},
        // An earlier step of the same command settles it.
        {"ACL key is not appropriate, should be [%d], but it is:[%d]",
         "the caller takes it from the same field", "tests/core"},
        {"key:[%s] was not found while trying to check for its existence",
         "every caller asks for absence", "tests/core"},
        {"Failed to convert rule priority to unique offset", "the place for it is never missing",
         "tests/core"},
        {"Fail build key format.", "every key fits its buffer", "tests/core"},
        {"No more buffer space in ACL ID array of ACL group for ACL %u",
         "a full group is refused first", "tests/core"},
        {"sdk_grp_info->acl_id_arr_len = [%u] is out of range", "a full group is refused first",
         "tests/core"},
        {"index_of_new_acl_in_group:=[%u] >= MAX_ACLS_NUM_IN_GROUP-1",
         "the last index is handled first", "tests/core"},
        {"receive message body is NULL", "a missing body has the wrong length", "tests/rpc"},
        // Needs memory to run out.
        {"failed to create hash table.", "no memory at start-up", "tests/core"},
        {"failed to create iterator for hash table.", "no memory at start-up", "tests/core"},
        {"Memory allocation failed", "no memory", "tests/core"},
        {"can't allocate enough memory for dump buffer", "no memory", "tests/core"},
        {"%s: failed to allocate memory for port parameters buffer", "no memory", "tests/core"},
        {"%s: failed to allocate memory for logical ports buffer", "no memory", "tests/core"},
        // Needs a system call that never fails; a library that replaces it does the trick.
        {"sigaction error: %u", "sigaction does not fail", "tests/daemon_e2e"},
        {"Could not register signal handler", "sigaction does not fail", "tests/daemon_e2e"},
        // The counter database on its own.
        {"Cant init counter DB - already initialize.", "start-up happens once", "tests/core/db"},
        {"Failed in __acl_rm_db_counter_find.", "the place is never missing", "tests/core"},
        {"counter_item is NULL.", "the place is never missing", "tests/core/db"},
        {"counter_type_p is NULL.", "the place is never missing", "tests/core/db"},
        {"ref_counter_p is NULL.", "the place is never missing", "tests/core/db"},
        {"is_allocated is NULL.", "the place is never missing", "tests/core/db"},
        {"Cmd not supported (%u).", "the command is a constant", "tests/core/db"},
        {"Can't allocate counter - DB not initialized).", "start-up ends without it",
         "tests/core/db"},
        {"Can't destroy counter - DB not initialized.", "start-up ends without it",
         "tests/core/db"},
        {"Can't retrieve counter type - DB not initialized).", "start-up ends without it",
         "tests/core/db"},
        {"Can't update counter's reference counter - DB not initialized).",
         "start-up ends without it", "tests/core/db"},
    };
    return list;
}

}  // namespace zv_test
