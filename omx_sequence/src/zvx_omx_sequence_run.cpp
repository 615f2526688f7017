#include "zvx_omx_sequence_run.h"

#include <OMX_Core.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

/* Far beyond a sequence's settle bounds: only a call that never returns reaches it. */
constexpr std::chrono::seconds ZVXP_STUCK{120};

/* Ends the process when the sequence it watches takes longer than ZVXP_STUCK. */
class zvxp_watchdog {
public:
    explicit zvxp_watchdog(FILE *out) : out_(out), thread_([this] { watch(); }) {}
    zvxp_watchdog(const zvxp_watchdog &) = delete;
    zvxp_watchdog &operator=(const zvxp_watchdog &) = delete;
    ~zvxp_watchdog()
    {
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }

    void begin(uint64_t seed)
    {
        std::lock_guard lock(mutex_);
        seed_ = seed;
        started_ = std::chrono::steady_clock::now();
        running_ = true;
        changed_.notify_all();
    }

    void end()
    {
        std::lock_guard lock(mutex_);
        running_ = false;
    }

private:
    void watch()
    {
        std::unique_lock lock(mutex_);
        while (!stop_) {
            changed_.wait_for(lock, std::chrono::seconds(1));
            if (running_ && std::chrono::steady_clock::now() - started_ > ZVXP_STUCK) {
                (void)std::fprintf(out_, "FAIL seed=%llu: a call into the component never returned (hang)\n",
                                   static_cast<unsigned long long>(seed_));
                (void)std::fflush(out_);
                std::_Exit(1);
            }
        }
    }

    FILE *const out_;
    std::mutex mutex_;
    std::condition_variable changed_;
    uint64_t seed_ = 0;                               /* mutex_ */
    std::chrono::steady_clock::time_point started_{}; /* mutex_ */
    bool running_ = false;                            /* mutex_ */
    bool stop_ = false;                               /* mutex_ */
    std::thread thread_;
};

void zvxp_count(const zvx_seq_outcome &outcome, zvx_seq_run_summary &summary)
{
    bool hung = false;
    bool buffers = false;
    bool forbidden = false;
    bool other = false;
    for (const zvx_seq_violation &violation : outcome.violations) {
        hung = hung || violation.fault == zvx_seq_fault::hang;
        buffers = buffers || violation.fault == zvx_seq_fault::lost_buffer ||
                  violation.fault == zvx_seq_fault::doubled_buffer;
        forbidden = forbidden || violation.fault == zvx_seq_fault::forbidden_state;
        other = other || violation.fault == zvx_seq_fault::other;
    }
    summary.hung += hung ? 1 : 0;
    summary.lost_or_doubled += buffers ? 1 : 0;
    summary.forbidden += forbidden ? 1 : 0;
    summary.other += other ? 1 : 0;
}

void zvxp_report(const zvx_seq_outcome &outcome, bool print_trace, FILE *out)
{
    (void)std::fprintf(out, "FAIL seed=%llu %s after %zu steps:\n", static_cast<unsigned long long>(outcome.seed),
                       zvx_seq_component_name(outcome.kind), outcome.steps);
    for (const zvx_seq_violation &violation : outcome.violations) {
        (void)std::fprintf(out, "  %s: %s\n", zvx_seq_fault_name(violation.fault), violation.text.c_str());
    }
    if (print_trace) {
        for (const std::string &line : outcome.trace) {
            (void)std::fprintf(out, "    %s\n", line.c_str());
        }
    }
    (void)std::fflush(out);
}

} // namespace

zvx_seq_kind zvx_seq_kind_of(zvx_seq_kinds kinds, uint64_t seed)
{
    switch (kinds) {
    case zvx_seq_kinds::decoder:
        return zvx_seq_kind::decoder;
    case zvx_seq_kinds::encoder:
        return zvx_seq_kind::encoder;
    case zvx_seq_kinds::both:
        break;
    }
    return seed % 2 == 0 ? zvx_seq_kind::decoder : zvx_seq_kind::encoder;
}

zvx_seq_run_summary zvx_seq_run(const zvx_seq_run_options &options, FILE *out)
{
    zvx_seq_run_summary summary;
    if (OMX_Init() != OMX_ErrorNone) {
        (void)std::fprintf(out, "OMX_Init failed\n");
        summary.other = 1;
        return summary;
    }
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&start] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    {
        zvxp_watchdog watchdog(out);
        for (uint64_t index = 0; options.sequences == 0 || index < options.sequences; ++index) {
            if (options.seconds > 0 && elapsed() >= options.seconds) {
                break;
            }
            zvx_seq_play_options play;
            play.seed = options.seed + index;
            play.kind = zvx_seq_kind_of(options.kinds, play.seed);
            play.trace_live = options.trace_live;
            play.settle = options.settle;
            watchdog.begin(play.seed);
            const zvx_seq_outcome outcome = zvx_seq_play(play);
            watchdog.end();
            ++summary.sequences;
            if (outcome.failed()) {
                summary.failing_seeds.push_back(outcome.seed);
                zvxp_count(outcome, summary);
                // A failure may not come again under other timing: its trace is printed while it is at hand.
                zvxp_report(outcome, !options.trace_live, out);
            }
        }
    }
    OMX_Deinit();
    return summary;
}

void zvx_seq_print_summary(const zvx_seq_run_summary &summary, FILE *out)
{
    (void)std::fprintf(
        out,
        "sequences: %llu run, %llu failed: %llu hung, %llu buffers lost/doubled, %llu forbidden "
        "transitions, %llu other violations\n",
        static_cast<unsigned long long>(summary.sequences),
        static_cast<unsigned long long>(summary.failing_seeds.size()), static_cast<unsigned long long>(summary.hung),
        static_cast<unsigned long long>(summary.lost_or_doubled), static_cast<unsigned long long>(summary.forbidden),
        static_cast<unsigned long long>(summary.other));
    if (!summary.failing_seeds.empty()) {
        (void)std::fprintf(out, "failing seeds:");
        for (const uint64_t seed : summary.failing_seeds) {
            (void)std::fprintf(out, " %llu", static_cast<unsigned long long>(seed));
        }
        (void)std::fprintf(out, "\n");
    }
}
