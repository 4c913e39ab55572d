// Calls that fail while the daemon writes its cache to a file.
#include <errno.h>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

using zv_test::DaemonProcess;
using zv_test::TestClient;

namespace {

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
    };
}

}  // namespace zv_fire
