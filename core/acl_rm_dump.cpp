#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <new>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "daemon/logging.h"

// The dump only reads the cache. Its text is made in one buffer first, so that file and log get the
// same; what does not fit is cut, silently and by promise.

namespace {

constexpr size_t DUMP_BYTES = 65536;
constexpr size_t GROUP_ACLS_BYTES = 64;
constexpr size_t REGIONS_BYTES = 20;
constexpr size_t BOUND_PORTS_BYTES = 2592;

// Appends formatted pieces while there is room; a piece that does not fit is cut.
class BoundedText {
  public:
    BoundedText(char *buffer, size_t bytes) : buffer_(buffer), bytes_(bytes) { buffer_[0] = '\0'; }

    bool has_room() const { return used_ < bytes_; }

    [[gnu::format(printf, 2, 3)]] void append(const char *format, ...) {
        if (!has_room())
            return;
        va_list arguments;
        va_start(arguments, format);
        const int length = vsnprintf(buffer_ + used_, bytes_ - used_, format, arguments);
        va_end(arguments);
        used_ += length > 0 ? static_cast<size_t>(length) : 0;
    }

    const char *text() const { return buffer_; }

  private:
    char *buffer_;
    size_t bytes_;
    size_t used_ = 0;
};

// A list inside a line: "1, 2, 3, ".
template <size_t Bytes>
class NumberList : public BoundedText {
  public:
    NumberList() : BoundedText(list_, Bytes) {}
    void add(uint32_t number) { append("%u, ", number); }

  private:
    char list_[Bytes] = {};
};

int dump_globals(BoundedText &out) {
    out.append("\nGlobal vars dump:\ng_acl_table_cnt=[%u]\ng_rules_cnt=[%u]\n", g_acl_table_cnt,
               g_rules_cnt);
    return 0;
}

int dump_rules(BoundedText &out) {
    out.append("\nacl_rule_id_2_region_id_ht dump:\n");
    return walk_table<char, acl_rule_entry>(
        acl_rule_id_2_region_id_it, [&](const char *key, const acl_rule_entry *rule) {
            out.append("key_format:=[%s]\toffset:=[%u]\tregion_id[%u]\n", key, rule->offset,
                       rule->region_id);
        });
}

int dump_groups(BoundedText &out) {
    out.append("\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n");
    return walk_table<PackedId, sdk_grp_info>(
        sdk_acl_grp_2_sdk_acl_grp_info_table_it,
        [&](const PackedId *group_id, const sdk_grp_info *group) {
            NumberList<GROUP_ACLS_BYTES> acl_ids;
            for (uint32_t i = 0; i < group->acl_id_arr_len && acl_ids.has_room(); i++)
                acl_ids.add(group->acl_id_arr[i]);
            out.append("group_id:=[%u]\tacl_ids:=[%s]\tnumber of acls in group[%u]\n",
                       group_id->value, acl_ids.text(), group->acl_id_arr_len);
        });
}

int dump_acls(BoundedText &out) {
    out.append("\nacl_id_2_acl_id_info_table_ht dump:\n");
    return walk_table<PackedId, acl_id_info>(
        acl_id_2_acl_id_info_table_it, [&](const PackedId *acl_id, const acl_id_info *acl) {
            NumberList<REGIONS_BYTES> regions;
            regions.add(acl->region_id);
            NumberList<BOUND_PORTS_BYTES> ports;
            for (uint32_t i = 0; i < acl->acl_bound_ports_num && ports.has_room(); i++)
                ports.add(acl->acl_bound_ports[i].port_id);
            out.append(
                "acl_id:=[%u]\t acl_owner:=[%d]\t bound_to_system=[%s]\t "
                "acl_regions:=[%s]\n acl_bound_ports[%s]\n",
                acl_id->value, acl->acl_owner, acl->bound_to_system != 0 ? "true" : "false",
                regions.text(), ports.text());
        });
}

int dump_bind_points(BoundedText &out) {
    out.append("\nport_id_2_sdk_acl_group_ht dump:\n");
    return walk_table<bind_point_key, PackedId>(
        port_id_2_sdk_acl_group_it, [&](const bind_point_key *point, const PackedId *group_id) {
            out.append("port_id:=[%u], type[%s]\t\tid:=[%u]\n", point->port_id,
                       point->bind_point_type != 0 ? "router interface" : "logical port",
                       group_id->value);
        });
}

int dump_forwarding(BoundedText &out) {
    out.append("\nlogical_forward_port_2_forward_pbs_info_ht dump:\n");
    return walk_table<PackedId, forward_pbs_info>(
        logical_forward_port_2_forward_pbs_info_it,
        [&](const PackedId *log_port, const forward_pbs_info *info) {
            out.append(
                "logical index:=[%u]\tentry_type:=[%u]\tforwading_log_port_num:=[%u]\t"
                "forward_pbs_index=[%u]\ttimes_consumed=[%u]\n",
                log_port->value, info->entry_type, info->forwading_log_port_num,
                info->forward_pbs_index, info->times_consumed);
        });
}

int dump_mc_groups(BoundedText &out) {
    out.append("\nmcg_id_2_mcg_id_info_table_ht dump:\n");
    return walk_table<PackedId, mcg_id_info>(
        mcg_id_2_mcg_id_info_table_it, [&](const PackedId *mc_group_id, const mcg_id_info *info) {
            out.append("mcg_id:=[%u]\tgroup_id:=[%u]\towner=[%u]\n", mc_group_id->value,
                       info->group_id, info->owner);
        });
}

zv_acl_rm_status_t dump_cache(BoundedText &out) {
    constexpr int (*sections[])(BoundedText &) = {dump_globals,  dump_rules,       dump_groups,
                                                  dump_acls,     dump_bind_points, dump_forwarding,
                                                  dump_mc_groups};
    out.append("=====ACL_RM Cache dump start:=====\n");
    for (const auto &section : sections)
        if (section(out) != 0)
            return core_log.pass_up(ZV_ACL_RM_STATUS_ERROR);
    out.append("\n=====ACL_RM Cache dump end=====\n");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

struct FileCloser {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// fopen(path, "w"), but never waiting for somebody to open the other end of a FIFO.
File open_for_writing(const char *path) {
    const int fd =
        open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (fd < 0)
        return nullptr;
    FILE *file = fdopen(fd, "w");
    if (file == nullptr)
        close(fd);
    return File(file);
}

// Flushed, so that a failure belongs to the text that it concerns.
[[gnu::format(printf, 2, 3)]] bool write_text(FILE *file, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vfprintf(file, format, arguments);
    va_end(arguments);
    return length >= 0 && fflush(file) == 0;
}

// The start line, with the local time as asctime writes it, line end included.
zv_acl_rm_status_t announce(FILE *file) {
    const time_t now = time(nullptr);
    struct tm local = {};
    char when[64] = "";
    localtime_r(&now, &local);
    asctime_r(&local, when);
    if (file == nullptr)
        LOG_LINE(core_log, notice, "acl-rm dump data started at: %s", when);
    else if (!write_text(file, "\n====ACL-RM dump data started at: %s====\n", when))
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "Can't write to acl-rm dump");
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_dump(const char *path) {
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[DUMP_BYTES]);
    if (buffer == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                             "can't allocate enough memory for dump buffer");
    if (path == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_NULL, "file_path is NULL");
    const File file = open_for_writing(path);
    if (file == nullptr)
        LOG_LINE(core_log, warning, "Can't open the acl-rm dump file %s, will print to log", path);
    zv_acl_rm_status_t status = announce(file.get());
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    BoundedText out(buffer.get(), DUMP_BYTES);
    status = dump_cache(out);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    if (file != nullptr && write_text(file.get(), "%s", out.text()))
        return ZV_ACL_RM_STATUS_SUCCESS;
    if (file != nullptr)
        LOG_LINE(core_log, warning, "error=[%d] write to file %s, will print to log", errno, path);
    LOG_LINE(core_log, notice, "ACL-RM dump data:\n %s", out.text());
    return ZV_ACL_RM_STATUS_SUCCESS;
}
