#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "client/dump_place.h"
#include "daemon_link.h"
#include "dump_directory.h"
#include "exit_codes.h"
#include "perform_parts.h"

namespace aclrmctl {

namespace {

const char *const kDumpHint =
    "the daemon opens the file itself; if it could not, the dump is in its log";

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
Answer dump_to(const Settings &settings, const std::string &path, const std::string &what,
               bool is_private) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    if (is_private && !peer_can_write(zv_acl_rm_client_fd(client.get()))) {
        return Failure{kExitFailure,
                       what + ": the daemon runs as another user, who cannot write a file of ours",
                       {},
                       {},
                       "run as root or as the daemon's user, or name a file that it can write"};
    }
    const FileState before(path);
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_dump(client.get(), path.c_str(), &status);
    if (auto failure = call_failure(settings, what, error, status)) {
        failure->hint = failure->status ? kDumpHint : "";
        return *failure;
    }
    const FileState after(path);
    if (!after.there || after == before) {
        return Failure{kExitFailure, path + ": the daemon did not write it", {}, {}, kDumpHint};
    }
    return DumpAnswer{path, static_cast<uint64_t>(after.size), std::nullopt};
}

}  // namespace

Answer perform_dump(const Settings &settings, const DumpRequest &request) {
    if (!request.file.empty()) {
        std::error_code error;
        const auto path = std::filesystem::absolute(request.file, error);
        const std::string file = error ? request.file : path.string();
        return dump_to(settings, file, "dumping to " + file, false);
    }
    const DumpDirectory directory;
    if (directory.error() != 0) {
        return Failure{kExitFailure,
                       directory.path() + ": " + std::strerror(directory.error()),
                       {},
                       {},
                       "name a file for the dump, or another TMPDIR"};
    }
    Answer answer = dump_to(settings, directory.file(), "reading the daemon's cache", true);
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

std::optional<Failure> read_cache(const Settings &settings, CacheText *cache) {
    const Answer answer = perform_dump(settings, {});
    if (const auto *failure = std::get_if<Failure>(&answer)) {
        return *failure;
    }
    *cache = read_cache_text(*std::get<DumpAnswer>(answer).text);
    return std::nullopt;
}

}  // namespace aclrmctl
