// Fuzzes the test program's command line: the input, split at '|', is the argument list after the
// program name (each argument ends at its first NUL, as a C string does), parsed by the framework
// with a parse function that, like the program's, accepts every argument. Arguments that end the process or change it
// for good are left out: --help and a short-option group holding 'h' exit, --backtrace= replaces the crash handlers and
// --csv-out= creates files.
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <vector>

#include "quro_utf.h"

namespace {

bool quro_utfp_fuzz_allowed(const char *argument)
{
    if (strcmp(argument, "--help") == 0 || strncmp(argument, "--backtrace=", 12) == 0 ||
        strncmp(argument, "--csv-out=", 10) == 0) {
        return false;
    }
    const bool short_group = argument[0] == '-' && !quro_utf_is_long_opt(argument);
    return !short_group || strchr(argument, 'h') == nullptr;
}

int quro_utfp_fuzz_accept(quro_utf_test_specifier *, quro_utf_mempool *, const char *)
{
    return 1;
}

// What parsing filled in must be readable to its end: every list entry is a whole string.
int quro_utfp_fuzz_run(quro_utf_test_specifier *spec)
{
    size_t total = 0;
    for (uint32_t i = 0; spec->suite_list != nullptr && i < spec->n_suite_list; ++i) {
        total += strlen(spec->suite_list[i]);
    }
    for (uint32_t i = 0; spec->test_list != nullptr && i < spec->n_test_list; ++i) {
        total += strlen(spec->test_list[i]);
    }
    for (const char *text : {spec->suite_name, spec->test_name, spec->first_suite, spec->last_suite}) {
        total += text != nullptr ? strlen(text) : 0;
    }
    return total == 0 ? 0 : 1;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // Parsing echoes filters; the output is not what is being tested.
    return freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // One buffer holds every argument: each '|' becomes the terminator of the argument before it.
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    std::vector<const char *> argv{"quro_utf_cmdline_fuzz", text.data()};
    for (size_t i = 0; i < size; ++i) {
        if (text[i] == '|') {
            text[i] = '\0';
            argv.push_back(&text[i + 1]);
        }
    }
    for (size_t i = 1; i < argv.size(); ++i) {
        if (!quro_utfp_fuzz_allowed(argv[i])) {
            return 0;
        }
    }
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    quro_utf_test_main(quro_utfp_fuzz_run, quro_utfp_fuzz_accept, nullptr, argc, argv.data());
    return 0;
}
