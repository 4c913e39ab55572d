#include "tests/fire/sweep/scenario.h"

namespace zv_fire {

namespace {

// A request whose body is shorter or longer than its record, for every command.
void wrong_lengths(Script &script) {
    script.client(kOpenFlow);
    for (uint32_t command = 2; command <= 17; ++command) {
        for (const uint32_t length : {0u, 1u, 15u, 17u, 7225u}) {
            Step step;
            step.command = command;
            step.handle = handle_of(kOpenFlow);
            step.length = length;
            script.step(step);
        }
    }
    script.create(kOpenFlow, 4);
}

void unknown_commands(Script &script) {
    script.client(kOpenFlow);
    for (const uint32_t command : {0u, 1u, 18u, 255u, 0xffffffffu}) {
        Step step;
        step.command = command;
        step.handle = handle_of(kOpenFlow);
        script.step(step);
    }
    script.create(kOpenFlow, 4);
}

// Each command before anybody opened.
void before_open(Script &script) {
    script.create(kOpenFlow, 4)
        .destroy(kOpenFlow, 1)
        .edit(kOpenFlow, 1)
        .resize(kOpenFlow, 1, 4)
        .write(kOpenFlow, 1, {at(0)})
        .erase(kOpenFlow, 1, {0})
        .read(kOpenFlow, 1, {0})
        .move(kOpenFlow, 1, 0, 1, 2)
        .bind(kOpenFlow, kBind, 1, {1})
        .rif(kOpenFlow, kBind, 1, {1})
        .system(kOpenFlow, kBind, 1)
        .ports(kOpenFlow, kAddPorts, {1})
        .counter(kOpenFlow, kCreate, 0)
        .counter_get(kOpenFlow, kRead, 1)
        .mc(kOpenFlow, kAdd, 0, {1})
        .mc_get(kOpenFlow, 1, 4)
        .dump()
        .client(kOpenFlow)
        .create(kOpenFlow, 4);
}

void every_access_command(Script &script) {
    script.client(kOpenFlow).create(kOpenFlow, 4).mc(kOpenFlow, kAdd, 0, {1});
    for (uint32_t cmd = 0; cmd <= 17; ++cmd) {
        script.bind(kOpenFlow, cmd, 1, {1})
            .rif(kOpenFlow, cmd, 1, {1})
            .system(kOpenFlow, cmd, 1)
            .ports(kOpenFlow, cmd, {2})
            .mc(kOpenFlow, cmd, 1, {2})
            .counter_get(kOpenFlow, cmd, 1);
    }
}

void every_access_command_of_rules(Script &script) {
    script.client(kOpenFlow).create(kOpenFlow, 4);
    for (uint32_t cmd = 0; cmd <= 17; ++cmd) {
        script.write(kOpenFlow, 1, {at(cmd % 4)}).but([&](Step &step) { step.words[0] = cmd; });
        script.counter(kOpenFlow, cmd, 1);
    }
}

void every_access_command_of_acls(Script &script) {
    script.client(kOpenFlow);
    for (uint32_t cmd = 0; cmd <= 17; ++cmd) {
        script.acl_set(kOpenFlow, cmd, 1, 4, 4, cmd % 2);
    }
}

void reopen_with_other_handle(Script &script) {
    script.client(kOpenFlow).create(kOpenFlow, 4).open(kOpenFlow).but([](Step &step) {
        step.handle = 5;
    });
    script.destroy(kOpenFlow, 1);
    script.destroy(kOpenFlow, 1).but([](Step &step) { step.handle = 5; });
}

void one_handle_of_two_owners(Script &script) {
    script.client(kPra).create(kPra, 4).open(kOpenFlow).but(
        [](Step &step) { step.handle = handle_of(kPra); });
    script.destroy(kPra, 1).create(kPra, 4).destroy(kPra, 2);
}

void handle_zero(Script &script) {
    script.client(kOpenFlow).create(kOpenFlow, 4).but([](Step &step) { step.handle = 0; });
    script.write(kOpenFlow, 1, {at(0)}).but([](Step &step) { step.handle = 0; });
    script.destroy(kOpenFlow, 1).but([](Step &step) { step.handle = 0; });
}

void dumps(Script &script) {
    script.clients().dump().create(kOpenFlow, 4).dump().dump("/no/such/directory/file").dump("");
    Step step;
    step.command = 17;
    script.step(step);
    step.handle = 1;
    step.command = 3;
    step.path = "x";
    script.step(step);
}

}  // namespace

std::vector<Scenario> session_scenarios() {
    return {
        {"nothing", [](Script &) {}},
        {"open-each-owner", [](Script &s) { s.clients(); }},
        {"open-past-the-owners",
         [](Script &s) {
             for (const uint32_t owner : {4u, 5u, 0x80000000u, 0xffffffffu}) {
                 s.open(kOpenFlow).but([&](Step &step) { step.words[0] = owner; });
             }
             s.create(kOpenFlow, 4);
         }},
        {"open-again-and-again",
         [](Script &s) { s.repeat(5, [](Script &t, uint32_t) { t.open(kPra); }); }},
        {"init-first", [](Script &s) { s.init(kOpenFlow).open(kOpenFlow).create(kOpenFlow, 4); }},
        {"init-each-chip",
         [](Script &s) {
             s.open(kOpenFlow).create(kOpenFlow, 8);
             for (uint32_t chip = 0; chip <= 13; ++chip) {
                 s.init(kOpenFlow, chip).write(kOpenFlow, 1, {at(chip % 8)});
                 s.erase(kOpenFlow, 1, {chip % 8}).create(kOpenFlow, 1);
             }
         }},
        {"without-init",
         [](Script &s) {
             s.open(kOpenFlow)
                 .create(kOpenFlow, 4)
                 .write(kOpenFlow, 1, {})
                 .write(kOpenFlow, 1, {at(0)});
             s.read(kOpenFlow, 1, {0}).bind(kOpenFlow, kBind, 1, {1}).destroy(kOpenFlow, 1);
         }},
        {"wrong-lengths", wrong_lengths},
        {"unknown-commands", unknown_commands},
        {"before-open", before_open},
        {"every-access-command", every_access_command},
        {"every-access-command-of-rules", every_access_command_of_rules},
        {"every-access-command-of-acls", every_access_command_of_acls},
        {"reopen-with-other-handle", reopen_with_other_handle},
        {"one-handle-of-two-owners", one_handle_of_two_owners},
        {"handle-zero", handle_zero},
        {"dumps", dumps},
    };
}

}  // namespace zv_fire
