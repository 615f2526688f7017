#include "zvx_backtrace.h"

#include <execinfo.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

namespace {
constexpr int kMaxFrames = 10;
}

void zvx_backtrace_signal_handler(int signal_number)
{
    void *frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    (void)fprintf(stderr, "Error: signal %d\n", signal_number);
    backtrace_symbols_fd(frames, count, 2);
    exit(signal_number);
}

void zvx_backtrace_init(void)
{
    // The first backtrace() loads the unwinder, which allocates: do it now rather than in the handler.
    void *frame = nullptr;
    backtrace(&frame, 1);
    if (signal(SIGSEGV, zvx_backtrace_signal_handler) == SIG_ERR)
        perror("zvx_unit_omx: no backtrace on a crash");
}
