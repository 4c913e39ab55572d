/* zv_acl_rm_records.h - the parameter records of the sixteen commands, as they travel.
 *
 * Every record has a fixed size and natural alignment, little-endian, and begins with the client
 * handle that OPEN registered. A request of any other size is refused. The reply to a command is
 * (a part of) the same record, filled in place; which part, and what each command does, is told
 * with its function in zv_acl_rm_client.h. Records are plain data: whoever declares one owns it.
 */
#ifndef ZV_ACL_RM_RECORDS_H
#define ZV_ACL_RM_RECORDS_H

#include <stddef.h>
#include <stdint.h>

/* Where the daemon listens (ZV_PLATFORM_ROOT is put before it). */
#define ZV_ACL_RM_SOCKET_PATH "/var/run/zv_acl_rm.sock"

/* Numbers of the commands on the wire; 0 and 1 are not used. X(value, name) */
#define ZV_ACL_RM_COMMAND_LIST(X) \
    X(2, OPEN)                    \
    X(3, INIT)                    \
    X(4, ACL_SET)                 \
    X(5, ACL_RESIZE)              \
    X(6, ACL_RULE_SET)            \
    X(7, ACL_RULE_GET)            \
    X(8, ACL_RULE_MOVE_BLOCK)     \
    X(9, ACL_BIND_PORT_SET)       \
    X(10, ACL_BIND_RIF_SET)       \
    X(11, COUNTER_SET)            \
    X(12, COUNTER_GET)            \
    X(13, MC_GRP_SET)             \
    X(14, MC_GRP_GET)             \
    X(15, ACL_BIND_SYSTEM_SET)    \
    X(16, PORT_SET)               \
    X(17, DUMP)

#define ZV_ACL_RM_COMMAND_ENUMERATOR(value, name) ZV_ACL_RM_API_INT_CMD_##name = value,
enum zv_acl_rm_command { ZV_ACL_RM_COMMAND_LIST(ZV_ACL_RM_COMMAND_ENUMERATOR) };
#undef ZV_ACL_RM_COMMAND_ENUMERATOR

/* The fixed roles a client can open as. */
enum zv_acl_rm_owner {
    ZV_ACL_RM_OWNER_OPEN_FLOW = 0,
    ZV_ACL_RM_OWNER_TARN_OS = 1,
    ZV_ACL_RM_OWNER_PRA = 2,
    ZV_ACL_RM_OWNER_OF13 = 3,
    ZV_ACL_RM_OWNER_NUM = 4 /* how many there are */
};

/* Access commands: the 32-bit field at offset 8 of most records. */
enum zv_acl_rm_access_cmd {
    ZV_ACL_RM_ACCESS_CMD_ADD = 1,     /* MC_GRP_SET: create a group */
    ZV_ACL_RM_ACCESS_CMD_EDIT = 2,    /* ACL_SET: change the direction */
    ZV_ACL_RM_ACCESS_CMD_DELETE = 3,  /* ACL_RULE_SET, MC_GRP_SET */
    ZV_ACL_RM_ACCESS_CMD_CREATE = 4,  /* ACL_SET, COUNTER_SET */
    ZV_ACL_RM_ACCESS_CMD_DESTROY = 5, /* ACL_SET, COUNTER_SET */
    ZV_ACL_RM_ACCESS_CMD_WRITE = 6,   /* ACL_RULE_SET */
    ZV_ACL_RM_ACCESS_CMD_BIND = 7,    /* the three bind commands */
    ZV_ACL_RM_ACCESS_CMD_UNBIND = 8,
    ZV_ACL_RM_ACCESS_CMD_ADD_PORTS = 9,     /* PORT_SET, MC_GRP_SET */
    ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS = 10, /* PORT_SET, MC_GRP_SET */
    ZV_ACL_RM_ACCESS_CMD_READ = 13,         /* COUNTER_GET */
    ZV_ACL_RM_ACCESS_CMD_READ_CLEAR = 14,   /* COUNTER_GET: always refused */
    ZV_ACL_RM_ACCESS_CMD_CLEAR = 15         /* COUNTER_GET */
};

#define ZV_ACL_RM_RULES_PER_RECORD 20u  /* rules in one ACL_RULE_SET or ACL_RULE_GET */
#define ZV_ACL_RM_PORTS_PER_RECORD 100u /* ports or router interfaces in one record */
#define ZV_ACL_RM_KEY_BYTES 128u        /* data bytes of a rule's key, and of its mask */
#define ZV_ACL_RM_ACTION_BYTES 56u      /* the switch's action block, passed through */

/* OPEN, 16 bytes; no reply record. The handle becomes the owner's; whoever held it loses it. */
typedef struct zv_acl_rm_open_params {
    uint64_t client_handle;
    uint32_t owner; /* enum zv_acl_rm_owner */
    uint32_t padding;
} zv_acl_rm_open_params_t;

/* INIT, 16 bytes; no reply record. */
typedef struct zv_acl_rm_init_params {
    uint64_t client_handle;
    uint32_t chip_type;
    uint32_t padding;
} zv_acl_rm_init_params_t;

/* The ACL itself within ACL_SET; these 32 bytes are the reply. */
typedef struct acl_rm_acl {
    uint32_t acl_id;      /* in: destroy, edit; out: create, edit */
    uint32_t key_type;    /* the region's key type, as the switch numbers it */
    uint32_t action_type; /* the region's action type, as the switch numbers it */
    uint32_t acl_type;    /* as the switch numbers it */
    uint32_t direction;   /* as the switch numbers it; for edit the new one */
    uint32_t min_size;    /* rules the region has room for */
    uint32_t max_size;    /* must equal min_size */
    uint32_t region_id;   /* out: create */
} acl_rm_acl;

/* ACL_SET, 48 bytes. */
typedef struct zv_acl_rm_acl_set_params {
    uint64_t client_handle;
    uint32_t cmd; /* CREATE, DESTROY or EDIT */
    acl_rm_acl acl;
    uint32_t padding;
} zv_acl_rm_acl_set_params_t;

/* ACL_RESIZE, 16 bytes, echoed. */
typedef struct zv_acl_rm_acl_resize_params {
    uint64_t client_handle;
    uint32_t acl_id;
    uint32_t new_size; /* rules */
} zv_acl_rm_acl_resize_params_t;

/* A key or a mask: 132 bytes. */
typedef struct acl_rm_key {
    uint32_t key_type; /* 0 to 3 */
    uint8_t data[ZV_ACL_RM_KEY_BYTES];
} acl_rm_key;

/* What a rule's last 24 bytes hold in a write. */
typedef struct acl_rm_rule_forwarding {
    uint32_t type;        /* 1: to a logical port, 2: to an MC group, other: none */
    uint32_t log_port;    /* when type is 1 */
    uint32_t mc_group_id; /* when type is 2 */
    uint32_t reserved[2];
    uint32_t counter_id; /* flow counter of the rule, 0: none */
} acl_rm_rule_forwarding;

/* What the same 24 bytes hold in a read. */
typedef struct acl_rm_rule_readout {
    uint32_t activity_request; /* in: 0 none, 1 read it, other: read and clear it */
    uint8_t activity;          /* out, when requested */
    uint8_t padding[3];
    uint32_t forwarding_type; /* out: 1 logical port, 2 MC group; only where the rule forwards */
    uint32_t log_port;        /* out: 0 for an MC group */
    uint32_t mc_pbs_id;       /* out: only for an MC group */
    uint32_t counter_id;      /* out */
} acl_rm_rule_readout;

/* The client's rule, 360 bytes. */
typedef struct acl_rm_rule {
    uint32_t priority; /* where the client wants it: becomes the offset in the ACL's region */
    uint32_t offset;   /* write: overwritten from priority; read and delete: which rule */
    uint8_t valid;
    uint8_t padding0[3];
    acl_rm_key key;
    acl_rm_key mask; /* its key_type travels to the switch unread */
    uint8_t padding1[4];
    uint8_t action[ZV_ACL_RM_ACTION_BYTES]; /* the switch's; bytes 0, 4, 8: forward, counter, PBS */
    union {
        acl_rm_rule_forwarding forwarding; /* ACL_RULE_SET */
        acl_rm_rule_readout readout;       /* ACL_RULE_GET */
    };
} acl_rm_rule;

/* ACL_RULE_SET, 7224 bytes, returned whole. */
typedef struct zv_acl_rm_acl_rule_set_params {
    uint64_t client_handle;
    uint32_t cmd; /* WRITE or DELETE */
    uint32_t acl_id;
    acl_rm_rule rules[ZV_ACL_RM_RULES_PER_RECORD];
    uint32_t rules_num;
    uint32_t reserved;
} zv_acl_rm_acl_rule_set_params_t;

/* ACL_RULE_GET, 7224 bytes, returned whole. */
typedef struct zv_acl_rm_acl_rule_get_params {
    uint64_t client_handle;
    uint32_t acl_id;
    uint32_t reserved0;
    acl_rm_rule rules[ZV_ACL_RM_RULES_PER_RECORD];
    uint32_t rules_num;
    uint32_t reserved1;
} zv_acl_rm_acl_rule_get_params_t;

/* ACL_RULE_MOVE_BLOCK, 24 bytes; no reply record. */
typedef struct zv_acl_rm_acl_rule_move_block_params {
    uint64_t client_handle;
    uint32_t acl_id;
    uint32_t block_start; /* offset of the first rule */
    uint32_t block_size;  /* rules */
    uint32_t new_start;   /* offset the first rule gets */
} zv_acl_rm_acl_rule_move_block_params_t;

/* ACL_BIND_PORT_SET, 424 bytes, returned whole. */
typedef struct zv_acl_rm_acl_port_bind_params {
    uint64_t client_handle;
    uint32_t cmd; /* BIND or UNBIND */
    uint32_t acl_id;
    uint32_t log_ports[ZV_ACL_RM_PORTS_PER_RECORD];
    uint32_t ports_num;
    uint32_t padding;
} zv_acl_rm_acl_port_bind_params_t;

/* ACL_BIND_RIF_SET, 224 bytes, returned whole. */
typedef struct zv_acl_rm_acl_rif_bind_params {
    uint64_t client_handle;
    uint32_t cmd; /* BIND or UNBIND */
    uint32_t acl_id;
    uint16_t rifs[ZV_ACL_RM_PORTS_PER_RECORD];
    uint32_t rifs_num;
    uint32_t padding;
} zv_acl_rm_acl_rif_bind_params_t;

/* The type of a flow counter: exactly one flag is 1. */
typedef struct acl_rm_counter_type {
    uint32_t first;
    uint32_t second;
} acl_rm_counter_type;

/* COUNTER_SET, 24 bytes, returned whole. */
typedef struct zv_acl_rm_counter_set_params {
    uint64_t client_handle;
    uint32_t cmd; /* CREATE or DESTROY */
    acl_rm_counter_type counter_type;
    uint32_t counter_id; /* out: create; in: destroy */
} zv_acl_rm_counter_set_params_t;

/* COUNTER_GET, 40 bytes, returned whole. */
typedef struct zv_acl_rm_counter_get_params {
    uint64_t client_handle;
    uint32_t cmd; /* READ, READ_CLEAR or CLEAR */
    uint32_t counter_id;
    acl_rm_counter_type counter_type; /* out */
    uint64_t values[2];               /* out: only the one that the type selects */
} zv_acl_rm_counter_get_params_t;

/* MC_GRP_SET, 424 bytes, returned whole. */
typedef struct zv_acl_rm_mc_group_set_params {
    uint64_t client_handle;
    uint32_t cmd;         /* ADD, ADD_PORTS, DELETE_PORTS or DELETE */
    uint32_t mc_group_id; /* out: ADD; in: the others */
    uint32_t log_ports[ZV_ACL_RM_PORTS_PER_RECORD];
    uint32_t ports_num;
    uint32_t padding;
} zv_acl_rm_mc_group_set_params_t;

/* MC_GRP_GET, 416 bytes, returned whole. */
typedef struct zv_acl_rm_mc_group_get_params {
    uint64_t client_handle;
    uint32_t mc_group_id;
    uint32_t log_ports[ZV_ACL_RM_PORTS_PER_RECORD]; /* out */
    uint32_t ports_num;                             /* in: room; out: ports returned */
} zv_acl_rm_mc_group_get_params_t;

/* ACL_BIND_SYSTEM_SET, 16 bytes, returned whole. */
typedef struct zv_acl_rm_acl_system_bind_params {
    uint64_t client_handle;
    uint32_t cmd; /* BIND or UNBIND */
    uint32_t acl_id;
} zv_acl_rm_acl_system_bind_params_t;

/* PORT_SET, 416 bytes, returned whole. */
typedef struct zv_acl_rm_port_set_params {
    uint64_t client_handle;
    uint32_t cmd; /* ADD_PORTS or DELETE_PORTS */
    uint32_t log_ports[ZV_ACL_RM_PORTS_PER_RECORD];
    uint32_t ports_num;
} zv_acl_rm_port_set_params_t;

/* DUMP, 16 bytes, returned whole. The path travels as the message's attachment; on the daemon's
 * side of the socket `path` is the address of the copy, on the client's side it is 0. */
typedef struct zv_acl_rm_dump_params {
    uint64_t client_handle; /* not used */
    uint64_t path;
} zv_acl_rm_dump_params_t;

#ifdef __cplusplus
#define ZV_ACL_RM_LAYOUT(condition) static_assert(condition, #condition)
#else
#define ZV_ACL_RM_LAYOUT(condition) _Static_assert(condition, #condition)
#endif
#define ZV_ACL_RM_SIZE(record, bytes) ZV_ACL_RM_LAYOUT(sizeof(record) == (bytes))
#define ZV_ACL_RM_AT(record, field, bytes) ZV_ACL_RM_LAYOUT(offsetof(record, field) == (bytes))

ZV_ACL_RM_SIZE(zv_acl_rm_open_params_t, 16);
ZV_ACL_RM_AT(zv_acl_rm_open_params_t, client_handle, 0);
ZV_ACL_RM_AT(zv_acl_rm_open_params_t, owner, 8);
ZV_ACL_RM_SIZE(zv_acl_rm_init_params_t, 16);
ZV_ACL_RM_AT(zv_acl_rm_init_params_t, client_handle, 0);
ZV_ACL_RM_AT(zv_acl_rm_init_params_t, chip_type, 8);
ZV_ACL_RM_SIZE(acl_rm_acl, 32);
ZV_ACL_RM_AT(acl_rm_acl, acl_id, 0);
ZV_ACL_RM_AT(acl_rm_acl, key_type, 4);
ZV_ACL_RM_AT(acl_rm_acl, action_type, 8);
ZV_ACL_RM_AT(acl_rm_acl, acl_type, 12);
ZV_ACL_RM_AT(acl_rm_acl, direction, 16);
ZV_ACL_RM_AT(acl_rm_acl, min_size, 20);
ZV_ACL_RM_AT(acl_rm_acl, max_size, 24);
ZV_ACL_RM_AT(acl_rm_acl, region_id, 28);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_set_params_t, 48);
ZV_ACL_RM_AT(zv_acl_rm_acl_set_params_t, cmd, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_set_params_t, acl, 12);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_resize_params_t, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_resize_params_t, acl_id, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_resize_params_t, new_size, 12);
ZV_ACL_RM_SIZE(acl_rm_key, 132);
ZV_ACL_RM_AT(acl_rm_key, data, 4);
ZV_ACL_RM_SIZE(acl_rm_rule_forwarding, 24);
ZV_ACL_RM_AT(acl_rm_rule_forwarding, log_port, 4);
ZV_ACL_RM_AT(acl_rm_rule_forwarding, mc_group_id, 8);
ZV_ACL_RM_AT(acl_rm_rule_forwarding, counter_id, 20);
ZV_ACL_RM_SIZE(acl_rm_rule_readout, 24);
ZV_ACL_RM_AT(acl_rm_rule_readout, activity, 4);
ZV_ACL_RM_AT(acl_rm_rule_readout, forwarding_type, 8);
ZV_ACL_RM_AT(acl_rm_rule_readout, log_port, 12);
ZV_ACL_RM_AT(acl_rm_rule_readout, mc_pbs_id, 16);
ZV_ACL_RM_AT(acl_rm_rule_readout, counter_id, 20);
ZV_ACL_RM_SIZE(acl_rm_rule, 360);
ZV_ACL_RM_AT(acl_rm_rule, priority, 0);
ZV_ACL_RM_AT(acl_rm_rule, offset, 4);
ZV_ACL_RM_AT(acl_rm_rule, valid, 8);
ZV_ACL_RM_AT(acl_rm_rule, key, 12);
ZV_ACL_RM_AT(acl_rm_rule, mask, 144);
ZV_ACL_RM_AT(acl_rm_rule, action, 280);
ZV_ACL_RM_AT(acl_rm_rule, forwarding, 336);
ZV_ACL_RM_AT(acl_rm_rule, readout, 336);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_rule_set_params_t, 7224);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_set_params_t, cmd, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_set_params_t, acl_id, 12);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_set_params_t, rules, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_set_params_t, rules_num, 7216);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_rule_get_params_t, 7224);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_get_params_t, acl_id, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_get_params_t, rules, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_get_params_t, rules_num, 7216);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_rule_move_block_params_t, 24);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_move_block_params_t, acl_id, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_move_block_params_t, block_start, 12);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_move_block_params_t, block_size, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_rule_move_block_params_t, new_start, 20);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_port_bind_params_t, 424);
ZV_ACL_RM_AT(zv_acl_rm_acl_port_bind_params_t, cmd, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_port_bind_params_t, acl_id, 12);
ZV_ACL_RM_AT(zv_acl_rm_acl_port_bind_params_t, log_ports, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_port_bind_params_t, ports_num, 416);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_rif_bind_params_t, 224);
ZV_ACL_RM_AT(zv_acl_rm_acl_rif_bind_params_t, acl_id, 12);
ZV_ACL_RM_AT(zv_acl_rm_acl_rif_bind_params_t, rifs, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_rif_bind_params_t, rifs_num, 216);
ZV_ACL_RM_SIZE(acl_rm_counter_type, 8);
ZV_ACL_RM_SIZE(zv_acl_rm_counter_set_params_t, 24);
ZV_ACL_RM_AT(zv_acl_rm_counter_set_params_t, counter_type, 12);
ZV_ACL_RM_AT(zv_acl_rm_counter_set_params_t, counter_id, 20);
ZV_ACL_RM_SIZE(zv_acl_rm_counter_get_params_t, 40);
ZV_ACL_RM_AT(zv_acl_rm_counter_get_params_t, counter_id, 12);
ZV_ACL_RM_AT(zv_acl_rm_counter_get_params_t, counter_type, 16);
ZV_ACL_RM_AT(zv_acl_rm_counter_get_params_t, values, 24);
ZV_ACL_RM_SIZE(zv_acl_rm_mc_group_set_params_t, 424);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_set_params_t, mc_group_id, 12);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_set_params_t, log_ports, 16);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_set_params_t, ports_num, 416);
ZV_ACL_RM_SIZE(zv_acl_rm_mc_group_get_params_t, 416);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_get_params_t, mc_group_id, 8);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_get_params_t, log_ports, 12);
ZV_ACL_RM_AT(zv_acl_rm_mc_group_get_params_t, ports_num, 412);
ZV_ACL_RM_SIZE(zv_acl_rm_acl_system_bind_params_t, 16);
ZV_ACL_RM_AT(zv_acl_rm_acl_system_bind_params_t, cmd, 8);
ZV_ACL_RM_AT(zv_acl_rm_acl_system_bind_params_t, acl_id, 12);
ZV_ACL_RM_SIZE(zv_acl_rm_port_set_params_t, 416);
ZV_ACL_RM_AT(zv_acl_rm_port_set_params_t, cmd, 8);
ZV_ACL_RM_AT(zv_acl_rm_port_set_params_t, log_ports, 12);
ZV_ACL_RM_AT(zv_acl_rm_port_set_params_t, ports_num, 412);
ZV_ACL_RM_SIZE(zv_acl_rm_dump_params_t, 16);
ZV_ACL_RM_AT(zv_acl_rm_dump_params_t, client_handle, 0);
ZV_ACL_RM_AT(zv_acl_rm_dump_params_t, path, 8);

#undef ZV_ACL_RM_AT
#undef ZV_ACL_RM_SIZE
#undef ZV_ACL_RM_LAYOUT

#endif
