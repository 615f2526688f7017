// zvx_omx_sequence: plays seeded random client sequences against the decoder and the encoder through
// the core and checks each against the model of the client's side. Exit status 0 when every sequence
// passed, 1 when one failed, 2 on bad options.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

#include "zvx_omx_sequence_run.h"

namespace {

constexpr const char *ZVXP_USAGE =
    "usage: zvx_omx_sequence [--seed=N] [--sequences=N] [--seconds=S] [--kind=decoder|encoder|both]\n"
    "                        [--trace] [--step-ms=MS]\n"
    "  --seed=N         first sequence's seed (default 1); sequence i plays seed N+i\n"
    "  --sequences=N    how many sequences (default 100 when --seconds is not given)\n"
    "  --seconds=S      stop starting sequences after S seconds\n"
    "  --kind=K         decoder, encoder, or both (default: even seeds decode, odd seeds encode)\n"
    "  --trace          print each call and callback as it happens\n"
    "  --step-ms=MS     how long the settle phase waits for one command's answer (default 5000)\n"
    "A failing sequence's trace is printed after its violations, unless --trace printed it as it ran.\n"
    "The component's log is quiet (panic only) unless ZVX_LOG_CONFIGURE configures it.\n";

/* The core binds its log when it is loaded, from ZVX_LOG_CONFIGURE: a program that wants it quieter
 * than the default warnings runs itself again with that set. */
void zvxp_quiet_component_log(char **argv)
{
    if (std::getenv("ZVX_LOG_CONFIGURE") != nullptr) {
        return;
    }
    setenv("ZVX_LOG_CONFIGURE", "group omx_if severity panic", 1);
    execv("/proc/self/exe", argv);
    // Not run again: the run goes on with the log as it is.
}

bool zvxp_number(std::string_view text, unsigned long long *value)
{
    if (text.empty()) {
        return false;
    }
    char *end = nullptr;
    const std::string copy(text);
    *value = std::strtoull(copy.c_str(), &end, 10);
    return *end == '\0';
}

bool zvxp_parse(int argc, char **argv, zvx_seq_run_options *options)
{
    bool bounded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument(argv[i]);
        const size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        const std::string_view value = equals == std::string_view::npos ? "" : argument.substr(equals + 1);
        unsigned long long number = 0;
        if (name == "--seed" && zvxp_number(value, &number)) {
            options->seed = number;
        } else if (name == "--sequences" && zvxp_number(value, &number) && number > 0) {
            options->sequences = number;
            bounded = true;
        } else if (name == "--seconds" && zvxp_number(value, &number) && number > 0) {
            options->seconds = static_cast<double>(number);
            bounded = true;
        } else if (name == "--step-ms" && zvxp_number(value, &number) && number > 0) {
            options->settle.step = std::chrono::milliseconds(number);
        } else if (argument == "--kind=decoder") {
            options->kinds = zvx_seq_kinds::decoder;
        } else if (argument == "--kind=encoder") {
            options->kinds = zvx_seq_kinds::encoder;
        } else if (argument == "--kind=both") {
            options->kinds = zvx_seq_kinds::both;
        } else if (argument == "--trace") {
            options->trace_live = true;
        } else {
            (void)std::fprintf(stderr, "zvx_omx_sequence: bad option %s\n%s", argv[i], ZVXP_USAGE);
            return false;
        }
    }
    if (!bounded) {
        options->sequences = 100;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        (void)std::fputs(ZVXP_USAGE, stdout);
        return 0;
    }
    zvxp_quiet_component_log(argv);
    zvx_seq_run_options options;
    if (!zvxp_parse(argc, argv, &options)) {
        return 2;
    }
    const zvx_seq_run_summary summary = zvx_seq_run(options, stdout);
    zvx_seq_print_summary(summary, stdout);
    return summary.failing_seeds.empty() ? 0 : 1;
}
