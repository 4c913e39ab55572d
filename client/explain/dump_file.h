/* dump_file.h - a file that the daemon, and nobody else but the caller, can write a dump to. */
#ifndef ZV_ACL_RM_EXPLAIN_DUMP_FILE_H
#define ZV_ACL_RM_EXPLAIN_DUMP_FILE_H

#include <cstdint>
#include <string>

namespace zv_acl_rm_lib {

/* An empty file in a directory of its own, both gone with the object. The directory is the caller's
 * alone (mode 0700), so nobody can put another file or a link in the file's place. */
class DumpFile {
  public:
    DumpFile() = default;
    ~DumpFile();
    DumpFile(const DumpFile &) = delete;
    DumpFile &operator=(const DumpFile &) = delete;

    /* In $TMPDIR if that is an absolute path, else in /tmp. False where neither takes a file. */
    bool create();
    const char *path() const { return path_.c_str(); }
    /* What was written, at most as much as a dump can have. */
    std::string read() const;

  private:
    std::string directory_;
    std::string path_;
    int fd_ = -1;
};

}  // namespace zv_acl_rm_lib

#endif
