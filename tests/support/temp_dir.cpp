#include "tests/support/temp_dir.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace zv_test {

namespace {

// The address of a Unix socket has room for 107 characters, and the daemon's own path is added to
// this one: a long TMPDIR would make every test fail for a reason that has nothing to do with it.
constexpr size_t kLongestParent = 50;

std::string parent_dir() {
    const char *wanted = getenv("TMPDIR");
    if (wanted == nullptr || *wanted == '\0' || std::string(wanted).size() > kLongestParent) {
        return "/tmp";
    }
    return wanted;
}

}  // namespace

TempDir::TempDir() {
    std::string pattern = parent_dir() + "/zv_acl_rm.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory like " + pattern);
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace zv_test
