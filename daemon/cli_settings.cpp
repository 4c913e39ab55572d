#include "daemon/cli_settings.h"

#include <dlfcn.h>
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>

cli_settings_t cli_settings;

namespace {

constexpr uint32_t DEFAULT_VERBOSITY = 3;

// The uneven spacing of the two plug-in lines is kept: scripts compare the text.
constexpr char usage_text[] =
    "\tACL RM Process.\n"
    "\t================================\n"
    "\tUsage: zv_acl_rm [options]\n"
    "\n"
    "\tOptions:\n"
    "\t(-v<level>|--verbose=<level>)\tSet Verbosity (dependent) level (default = 3):\n"
    "\t                                  0 = None.\n"
    "\t                                  1 = Error messages only.\n"
    "\t                                  2 = Error & Warning messages.\n"
    "\t                                  3 = Error, Warning & Info messages.\n"
    "\t                                  4 = Error, Warning, Info & Verbose messages.\n"
    "\t                                  5 = Error, Warning, Info, Verbose & Debug messages.\n"
    "\t--version                         Report version & exit normally.\n"
    "\t--logger=<library path>\t\tSet logger library.\n"
    "\t--connector=<library path>           Set connector library.\n"
    "\t(-h|--help)                       Show this help message & exit normally.\n";

enum OptionCode { OPTION_VERSION = 256, OPTION_CONNECTOR, OPTION_LOGGER };

constexpr option long_options[] = {
    {"version", no_argument, nullptr, OPTION_VERSION},
    {"connector", required_argument, nullptr, OPTION_CONNECTOR},
    {"logger", required_argument, nullptr, OPTION_LOGGER},
    {"help", no_argument, nullptr, 'h'},
    {"verbose", required_argument, nullptr, 'v'},
    {nullptr, 0, nullptr, 0},
};

[[noreturn]] void exit_bad_parameters() {
    fprintf(stderr, "Bad parameter(s). Use --help to get parameters summary\n");
    exit(1);
}

void print_left_over(int argc, char *const argv[]) {
    fprintf(stderr, "Non-option ARGV-elements: ");
    for (int i = optind; i < argc; i++)
        fprintf(stderr, "%s ", argv[i]);
    fprintf(stderr, "\n");
}

// One number, without a range check: 9 is accepted and writes every line.
void set_verbosity(cli_settings_t *settings, const char *argument) {
    if (sscanf(argument, "%u", &settings->verbosity_level) != 1)
        exit_bad_parameters();
}

void exit_unless_loaded(int result) {
    if (result != 0)
        exit(1);
}

void apply_option(int code, cli_settings_t *settings) {
    switch (code) {
        case OPTION_VERSION:
            printf("ZV ACL RM %s\n", ACL_RM_VERSION);
            exit(0);
        case 'h':
            fputs(usage_text, stdout);
            exit(0);
        case OPTION_CONNECTOR:
            exit_unless_loaded(load_connector_library(settings, optarg));
            break;
        case OPTION_LOGGER:
            exit_unless_loaded(load_logger_library(settings, optarg));
            break;
        case 'v':
            set_verbosity(settings, optarg);
            break;
        default:
            exit_bad_parameters();
    }
}

// Stores the symbol. On an error closes the library, clears the symbol and tells why.
template <class Function>
int load_symbol(void *library, const char *name, Function *function) {
    *function = reinterpret_cast<Function>(dlsym(library, name));
    const char *error = dlerror();
    if (error == nullptr)
        return 0;
    fprintf(stderr, "Could not find symbol %s: %s.\n", name, error);
    dlclose(library);
    *function = nullptr;
    return 1;
}

// `kind` as the message names it: "logger" or "connector".
int load_library(const char *kind, const char *path, void **library) {
    dlerror();  // whatever it says now is about something else
    *library = dlopen(path, RTLD_LAZY);
    const char *error = dlerror();
    if (error == nullptr)
        return 0;
    fprintf(stderr, "Could not load ZV ACL RM %s library: %s.\n", kind, error);
    return 1;
}

}  // namespace

int load_logger_library(cli_settings_t *settings, const char *path) {
    if (load_library("logger", path, &settings->logger_lib_handle) != 0)
        return 1;
    return load_symbol(settings->logger_lib_handle, "log_cb", &settings->log_cb);
}

int load_connector_library(cli_settings_t *settings, const char *path) {
    if (load_library("connector", path, &settings->connector_lib_handle) != 0)
        return 1;
    if (load_symbol(settings->connector_lib_handle, "aclrmd_init", &settings->aclrmd_init) != 0)
        return 1;
    return load_symbol(settings->connector_lib_handle, "aclrmd_deinit", &settings->aclrmd_deinit);
}

void parse_command_line(int argc, char *const argv[], cli_settings_t *settings) {
    *settings = {};
    settings->verbosity_level = DEFAULT_VERBOSITY;
    int code = 0;
    while ((code = getopt_long(argc, argv, "hv:", long_options, nullptr)) != -1)
        apply_option(code, settings);
    if (optind < argc) {
        print_left_over(argc, argv);
        exit_bad_parameters();
    }
}
