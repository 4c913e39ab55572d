// Reading JSON objects field by field, with complaints that name the field.
//
// A reader remembers the first thing that was wrong; from then on everything reads as 0 or empty,
// so that a caller asks for all its fields and looks at the outcome once, with finish().
#ifndef PLATFORM_SIM_FIELDS_H
#define PLATFORM_SIM_FIELDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/export.h"
#include "platform/sim/json.h"

namespace zv_sim {

class ZV_SIM_EXPORT Fields {
  public:
    // path names the object in complaints ("set[2]"); empty for an outermost object. The object
    // must outlive the reader.
    Fields(const Json &object, std::string path);

    bool has(const char *name) const;

    // Without a fallback the field must be there.
    int64_t integer(const char *name, int64_t min, int64_t max,
                    std::optional<int64_t> fallback = std::nullopt);
    uint32_t u32(const char *name, std::optional<uint32_t> fallback = std::nullopt);
    bool flag(const char *name, bool fallback);
    std::string text(const char *name, const std::optional<std::string> &fallback = std::nullopt);

    // A list that must be there; an empty one in its place after a complaint.
    const Json &list(const char *name);

    // What stands before `name` in a complaint of the caller's own, such as "set[2].nth".
    std::string name_of(const char *name) const;

    // The caller's own complaint about a field it has read.
    void complain(const char *name, const std::string &what);

    // Ends the reading: a field that nobody asked for is an error too, since it is most likely a
    // misspelt one. Returns the complaint, empty when all is well.
    const std::string &finish();

    bool ok() const { return error_.empty(); }

  private:
    const Json *find(const char *name, bool required);

    const Json &object_;
    std::string path_;
    std::string error_;
    std::vector<std::string_view> asked_;
};

}  // namespace zv_sim

#endif
