/* One function a command; each says in its own words what it was about when it fails. */
#include "perform.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "daemon_link.h"
#include "exit_codes.h"
#include "rule_load.h"
#include "switch_control.h"

namespace aclrmctl {

namespace {

const char *const kDumpHint =
    "the daemon opens the file itself; if it could not, the dump is in its log";

Answer perform_open(const Settings &settings, const OpenRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_open(client.get(), request.owner, &status);
    const std::string what = "opening as owner " + std::to_string(request.owner);
    if (auto failure = call_failure(settings, what, error, status)) {
        failure->hint = "the switch could not be opened; the daemon's log says why";
        return *failure;
    }
    return OpenAnswer{request.owner, settings.handle};
}

Answer perform_init(const Settings &settings, const InitRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_init(client.get(), request.chip, &status);
    const std::string what = "loading the limits of chip type " + std::to_string(request.chip);
    if (auto failure = call_failure(settings, what, error, status)) {
        failure->hint = "known chip types are 1, 3 and 5 to 11";
        return *failure;
    }
    return InitAnswer{request.chip};
}

Answer perform_acl_create(const Settings &settings, const AclCreateRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    zv_acl_rm_acl_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    params.acl.key_type = request.key_type;
    params.acl.action_type = request.action_type;
    params.acl.acl_type = request.acl_type;
    params.acl.direction = request.direction;
    params.acl.min_size = request.size;
    params.acl.max_size = request.size;
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_acl_set(client.get(), &params, &status);
    const std::string what = "creating an ACL of " + std::to_string(request.size) + " rules";
    if (auto failure = call_failure(settings, what, error, status)) {
        return *failure;
    }
    return AclCreateAnswer{request, params.acl.acl_id, params.acl.region_id};
}

Answer perform_rule_check(const RuleCheckRequest &request) {
    LoadedFile loaded;
    if (auto failure = read_rule_file(request.file, &loaded)) {
        return *failure;
    }
    return loaded.checked;
}

/* Ports first to first + count - 1 of the list in one command. */
std::optional<Failure> bind_some(const Settings &settings, const BindPortRequest &request,
                                 size_t first, size_t count, zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_port_bind_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    params.acl_id = request.acl_id;
    params.ports_num = static_cast<uint32_t>(count);
    std::copy_n(request.ports.begin() + static_cast<ptrdiff_t>(first), count, params.log_ports);
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_acl_port_bind(client, &params, &status);
    std::string what = "binding ACL " + std::to_string(request.acl_id) + " to port " +
                       std::to_string(request.ports[first]);
    if (count > 1) {
        what += " and " + std::to_string(count - 1) + " more";
    }
    auto failure = call_failure(settings, what, error, status);
    if (failure && failure->status) {
        failure->details.push_back(
            "ports are bound in order; those before the failing one are "
            "bound ('aclrmctl dump' lists them)");
    }
    return failure;
}

Answer perform_bind_port(const Settings &settings, const BindPortRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    for (size_t first = 0; first < request.ports.size(); first += ZV_ACL_RM_PORTS_PER_RECORD) {
        const size_t count =
            std::min<size_t>(request.ports.size() - first, ZV_ACL_RM_PORTS_PER_RECORD);
        if (auto failure = bind_some(settings, request, first, count, client.get())) {
            return *failure;
        }
    }
    return BindPortAnswer{request.acl_id, request.ports};
}

/* A directory of our own for the dump. In a shared one such as /tmp the kernel would keep a daemon
 * of another user from writing a file that we made, and anyone could guess the name. */
class PrivateDirectory {
  public:
    PrivateDirectory() {
        const char *base = std::getenv("TMPDIR");
        path_ = std::string(base == nullptr || *base == '\0' ? "/tmp" : base) + "/aclrmctl-XXXXXX";
        error_ = mkdtemp(path_.data()) == nullptr ? errno : 0;
    }
    ~PrivateDirectory() {
        if (error_ == 0) {
            std::error_code ignored;
            std::filesystem::remove_all(path_, ignored);
        }
    }
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    int error() const { return error_; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    int error_ = 0;
};

/* Inode, size and time of last change: differ when the daemon has written the file. */
struct FileState {
    bool there = false;
    ino_t inode = 0;
    off_t size = 0;
    int64_t changed_ns = 0;

    explicit FileState(const std::string &path) {
        struct stat found {};
        if (::stat(path.c_str(), &found) == 0) {
            there = true;
            inode = found.st_ino;
            size = found.st_size;
            changed_ns = int64_t{found.st_mtim.tv_sec} * 1000000000 + found.st_mtim.tv_nsec;
        }
    }
    bool operator==(const FileState &) const = default;
};

/* The daemon answers with success even if it had to print to its log instead. */
Answer dump_to(const Settings &settings, const std::string &path) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const FileState before(path);
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_dump(client.get(), path.c_str(), &status);
    if (auto failure = call_failure(settings, "dumping to " + path, error, status)) {
        failure->hint = kDumpHint;
        return *failure;
    }
    const FileState after(path);
    if (!after.there || after == before) {
        return Failure{kExitFailure, path + ": the daemon did not write it", {}, {}, kDumpHint};
    }
    return DumpAnswer{path, static_cast<uint64_t>(after.size), std::nullopt};
}

Answer perform_dump(const Settings &settings, const DumpRequest &request) {
    if (!request.file.empty()) {
        std::error_code error;
        const auto path = std::filesystem::absolute(request.file, error);
        return dump_to(settings, error ? request.file : path.string());
    }
    const PrivateDirectory directory;
    if (directory.error() != 0) {
        return Failure{kExitFailure,
                       directory.path() + ": " + std::strerror(directory.error()),
                       {},
                       {},
                       "name a file for the dump, or another TMPDIR"};
    }
    Answer answer = dump_to(settings, directory.path() + "/dump");
    if (auto *dumped = std::get_if<DumpAnswer>(&answer)) {
        std::string text;
        if (const int error = read_text_file(dumped->file, &text); error != 0) {
            return Failure{
                kExitFailure, dumped->file + ": " + std::strerror(error), {}, {}, kDumpHint};
        }
        dumped->text = std::move(text);
    }
    return answer;
}

/* One slot a command: the compiler misses any that is not there. */
struct Performer {
    const Settings &settings;
    const Progress &progress;

    Answer operator()(const OpenRequest &request) const { return perform_open(settings, request); }
    Answer operator()(const InitRequest &request) const { return perform_init(settings, request); }
    Answer operator()(const AclCreateRequest &request) const {
        return perform_acl_create(settings, request);
    }
    Answer operator()(const RuleCheckRequest &request) const { return perform_rule_check(request); }
    Answer operator()(const RuleLoadRequest &request) const {
        return load_rules(settings, request, progress);
    }
    Answer operator()(const BindPortRequest &request) const {
        return perform_bind_port(settings, request);
    }
    Answer operator()(const DumpRequest &request) const { return perform_dump(settings, request); }
    Answer operator()(const PacketRequest &request) const { return send_packet(settings, request); }
    Answer operator()(const StateRequest &request) const { return read_state(settings, request); }
    Answer operator()(const UsageRequest &) const { return read_usage(settings); }
    Answer operator()(const FaultsRequest &request) const { return set_faults(settings, request); }
};

}  // namespace

Answer perform(const Settings &settings, const Request &request, const Progress &progress) {
    return std::visit(Performer{settings, progress}, request);
}

}  // namespace aclrmctl
