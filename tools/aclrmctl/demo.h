/* A first session told by the tool itself: each step with the command an operator would type and
 * what it prints. */
#ifndef ACLRMCTL_DEMO_H
#define ACLRMCTL_DEMO_H

#include <iosfwd>

#include "answer.h"
#include "request.h"

namespace aclrmctl {

/* The rule file of the story, as text. */
extern const char *const kDemoRules;

/* Tells the story on `out` while it happens; null: only in the answer. Whatever comes in between, a
 * signal included, the daemon that it started is stopped and its directory removed, or what it put
 * into a running daemon is taken out again; after SIGINT, SIGTERM or SIGHUP the tool then ends by
 * that signal. Changes the process's working directory and ZV_PLATFORM_ROOT while it runs. */
Answer run_demo(const Settings &settings, const DemoRequest &request, std::ostream *out);

}  // namespace aclrmctl

#endif
