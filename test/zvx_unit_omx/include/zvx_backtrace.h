// Crash handler of the test program: a short trace on standard error, then exit with the signal
// number, so a crash shows where it happened and still ends the run with a recognisable status.
#ifndef ZVX_BACKTRACE_H
#define ZVX_BACKTRACE_H

void zvx_backtrace_signal_handler(int signal_number);
void zvx_backtrace_init(void);

#endif
