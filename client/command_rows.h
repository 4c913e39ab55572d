/* command_rows.h - what the library knows of each command: its record, its reply, what it refuses
 * to send. One row a command; whoever adds a command adds a row. */
#ifndef ZV_ACL_RM_COMMAND_ROWS_H
#define ZV_ACL_RM_COMMAND_ROWS_H

#include <cstdint>

namespace zv_acl_rm_lib {

struct CommandRow {
    uint32_t command;
    uint32_t record_bytes;
    uint32_t reply_at; /* where in the record the reply goes */
    uint32_t reply_bytes;
    int (*check)(const void *record); /* 0, or why the record is not sent; null: nothing to check */
};

/* Null for a number that is no command. */
const CommandRow *find_row(uint32_t command);

}  // namespace zv_acl_rm_lib

#endif
