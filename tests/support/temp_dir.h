// temp_dir.h - a private directory for one test, gone when the test is.
#ifndef ZV_TESTS_SUPPORT_TEMP_DIR_H
#define ZV_TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <string>

namespace zv_test {

// Owns a fresh directory made with mkdtemp, so that tests that run side by side never meet.
class TempDir {
  public:
    TempDir();   // throws std::runtime_error when no directory can be made
    ~TempDir();  // removes the directory with all it holds
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const { return path_; }
    // The path of `name` inside, as the C interfaces want it. Makes nothing.
    std::string file(const std::string &name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

// The whole file, "" when there is none.
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);

}  // namespace zv_test

#endif
