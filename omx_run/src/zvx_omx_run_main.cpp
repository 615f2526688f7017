// zvx_omx_run: one decode or encode through the OpenMAX component over the codec device, of a file or
// of the device's test pattern, from the command line, with a progress bar, a summary and, if asked, a
// trace.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

extern "C" {
#include <libavutil/log.h>
}

#include "zvx_omx_log.h"
#include "zvx_omx_run_media.h"
#include "zvx_omx_run_options.h"
#include "zvx_omx_run_progress.h"
#include "zvx_omx_run_summary.h"
#include "zvx_omx_run_trace.h"

namespace {

constexpr int ZVXP_FAILED = 1;
constexpr int ZVXP_BAD_USAGE = 2;

/* Hands every record to the trace, when there is one, and to the progress bar. */
class zvxp_observers : public zvx_flow_observer {
public:
    zvxp_observers(zvx_run_trace *trace, zvx_run_progress *progress) : trace_(trace), progress_(progress) {}
    void on_record(const zvx_flow_record &record) override
    {
        if (trace_ != nullptr) {
            trace_->on_record(record);
        }
        progress_->on_record(record);
    }

private:
    zvx_run_trace *trace_;
    zvx_run_progress *progress_;
};

} // namespace

int main(int argc, char **argv)
{
    zvx_run_options options;
    std::string error;
    if (!zvx_run_parse_options(argc, argv, &options, &error)) {
        (void)std::fprintf(stderr, "zvx_omx_run: %s\n", error.c_str());
        return ZVXP_BAD_USAGE;
    }
    if (options.help) {
        (void)std::fputs(zvx_run_usage(), stdout);
        return EXIT_SUCCESS;
    }
    /* The component warns of what the faults make it do; the summary says it better. */
    if (std::getenv("ZVX_LOG_CONFIGURE") == nullptr) {
        zvx_log_omx_if.severity = ZVX_LOG_PANIC;
    }
    /* The device's codecs note every stream's settings; only their errors matter here. */
    av_log_set_level(AV_LOG_ERROR);

    const bool progress_shown = options.progress && isatty(STDERR_FILENO) != 0;
    const bool on_media = !options.input_path.empty();
    zvx_run_media media;
    if (on_media && !media.open(&options, progress_shown, &error)) {
        (void)std::fprintf(stderr, "zvx_omx_run: %s\n", error.c_str());
        return ZVXP_BAD_USAGE;
    }

    zvx_run_trace trace;
    zvx_run_progress progress(options.flow.plan.frames, progress_shown);
    zvxp_observers observers(options.trace_path.empty() ? nullptr : &trace, &progress);
    zvx_init_emulator();
    zvx_flow_run_result result = zvx_flow_run(options.flow, &observers);
    zvx_destroy_emulator();
    progress.finish();
    if (on_media && !media.close()) {
        result.completed = false;
        result.problems.emplace_back("the output could not be written to its end");
    }

    zvx_run_print_summary(stdout, options, result, on_media ? &media : nullptr);
    if (!options.trace_path.empty() && !trace.write(options.trace_path)) {
        (void)std::fprintf(stderr, "zvx_omx_run: cannot write the trace to %s\n", options.trace_path.c_str());
        return ZVXP_FAILED;
    }
    return result.completed ? EXIT_SUCCESS : ZVXP_FAILED;
}
