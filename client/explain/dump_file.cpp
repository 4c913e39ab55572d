#include "client/explain/dump_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "client/dump_place.h"

namespace zv_acl_rm_lib {

namespace {

constexpr size_t kLongestDump = 128 * 1024; /* twice the text, for its headline and what may come */

}  // namespace

DumpFile::~DumpFile() {
    if (fd_ >= 0) {
        close(fd_);
        unlink(path_.c_str());
    }
    if (!directory_.empty()) {
        rmdir(directory_.c_str());
    }
}

bool DumpFile::create() {
    std::string directory = zv_cache_text::temporary_base() + "/zv_acl_rm-XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        return false;
    }
    directory_ = directory;
    path_ = directory_ + "/dump";
    fd_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    return fd_ >= 0;
}

std::string DumpFile::read() const {
    std::string text(kLongestDump, '\0');
    size_t used = 0;
    while (used < text.size()) {
        const ssize_t got = pread(fd_, &text[used], text.size() - used, static_cast<off_t>(used));
        if (got <= 0) {
            break;
        }
        used += static_cast<size_t>(got);
    }
    text.resize(used);
    return text;
}

}  // namespace zv_acl_rm_lib
