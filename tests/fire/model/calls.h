// calls.h - the platform calls that a request made, taken one by one as they are expected.
#ifndef ZV_TESTS_FIRE_MODEL_CALLS_H
#define ZV_TESTS_FIRE_MODEL_CALLS_H

#include <initializer_list>
#include <string>
#include <vector>

#include "tests/fire/model/model.h"

namespace zv_model {

// The daemon did not what it ought to: ends the request's interpretation.
struct Stray {
    std::string text;
};

class Calls {
  public:
    explicit Calls(const std::vector<Call> &made) : made_(made) {}

    // Takes the next call, which must be this one. `unset` names arguments that only receive a
    // value: what stands there before the call means nothing.
    const Call &take(const char *name, const nlohmann::json &args,
                     std::initializer_list<const char *> unset = {});

    // Empty, or a text on the calls that nobody took.
    std::string left_over() const;

  private:
    const std::vector<Call> &made_;
    size_t next_ = 0;
};

}  // namespace zv_model

#endif
