/* What aclrmctl's exit status tells a script. Documented in --help and docs/aclrmctl.md. */
#ifndef ACLRMCTL_EXIT_CODES_H
#define ACLRMCTL_EXIT_CODES_H

namespace aclrmctl {

enum ExitCode {
    kExitOk = 0,
    kExitUsage = 1,         /* the words on the command line are wrong; nothing was sent */
    kExitInput = 2,         /* an input file is unreadable or wrong; nothing was sent */
    kExitUnreachable = 3,   /* no daemon (or switch) that takes connections, or it went away */
    kExitRefused = 4,       /* the daemon answered with a status other than success */
    kExitTimeout = 5,       /* no answer in time; whether the command was carried out is unknown */
    kExitSwitchRefused = 6, /* the switch's control socket answered with an error */
    kExitFailure = 7,       /* anything else: output, memory, an answer of another version */
    kExitPartial = 8        /* a part is done and the rest failed; the report says which part */
};

}  // namespace aclrmctl

#endif
