// Calls that fail while the daemon writes its cache to a file, or a line to its log.
#include <errno.h>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

using zv_test::DaemonProcess;
using zv_test::TestClient;

namespace {

constexpr char kDaemon[] = "zv_acl_rm";
constexpr char kLog[] = "libzv_log";
constexpr char kToLog[] = "ACL-RM dump data:";

std::string dump_status(DaemonProcess &daemon, TestClient &one, zv_acl_rm_status_t wanted) {
    const zv_acl_rm_status_t status = one.dump(daemon.root().file("asked"));
    return status == wanted ? "" : "status " + std::to_string(status);
}

std::string dump_succeeds(DaemonProcess &daemon, TestClient &one) {
    return dump_status(daemon, one, ZV_ACL_RM_STATUS_SUCCESS);
}

std::string dump_fails(DaemonProcess &daemon, TestClient &one) {
    return dump_status(daemon, one, ZV_ACL_RM_STATUS_ERROR);
}

std::string acl_is_made(DaemonProcess & /*daemon*/, TestClient &one) {
    acl_rm_acl acl = zv_test::acl_of_size(16);
    const bool made = one.create_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS &&
                      one.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS;
    return made ? "" : "no ACL";
}

}  // namespace

std::vector<ServingRow> file_rows() {
    return {
        {"dump: open EACCES", {{FIRE_open, EACCES, kDaemon}}, dump_succeeds, kToLog},
        {"dump: open EMFILE", {{FIRE_open, EMFILE, kDaemon}}, dump_succeeds, kToLog},
        {"dump: fdopen ENOMEM", {{FIRE_fdopen, ENOMEM, kDaemon}}, dump_succeeds, kToLog},
        {"dump: the start line ENOSPC",
         {{FIRE_vfprintf, ENOSPC, kDaemon}},
         dump_fails,
         "Can't write to acl-rm dump"},
        {"dump: the start line's flush EINTR",
         {{FIRE_fflush, EINTR, kDaemon}},
         dump_fails,
         "Can't write to acl-rm dump"},
        {"dump: the text ENOSPC", {{FIRE_vfprintf, ENOSPC, kDaemon, 2}}, dump_succeeds, kToLog},
        {"dump: the text's flush ENOSPC",
         {{FIRE_fflush, ENOSPC, kDaemon, 2}},
         dump_succeeds,
         kToLog},
        {"log: write EINTR", {{FIRE_write, EINTR, kLog, 1, 5}}, acl_is_made, "", {"-v", "4"}},
        {"log: write EAGAIN", {{FIRE_write, EAGAIN, kLog, 1, 5}}, acl_is_made, "", {"-v", "4"}},
        {"log: write short", {{FIRE_write, 0, kLog, 1, 100}}, acl_is_made, "", {"-v", "4"}},
        {"log: write ENOSPC", {{FIRE_write, ENOSPC, kLog, 1, 5}}, acl_is_made, "", {"-v", "4"}},
        {"log: write EPIPE", {{FIRE_write, EPIPE, kLog, 1, 5}}, acl_is_made, "", {"-v", "4"}},
    };
}

}  // namespace zv_fire
