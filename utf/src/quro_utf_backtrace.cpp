// Crash handlers chosen by --backtrace: a glibc trace, or a full trace of all threads from gdb.
// Both end the process by the caught signal, so callers still see how it died.
#include <execinfo.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "quro_utf_internal.h"

namespace {

constexpr int kMaxFrames = 30;
constexpr size_t kCommandSize = 1024;

void quro_utfp_flush_streams()
{
    quro_tpi_fflush(quro_tpi_stdout());
    quro_tpi_fflush(quro_tpi_stderr());
}

void quro_utfp_restore_default_actions()
{
    quro_utf_signal_disable(SIGABRT);
    quro_utf_signal_disable(SIGSEGV);
}

} // namespace

void quro_utf_signal_enable(int signal, quro_utf_signal_handler handler)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    sigaction(signal, &action, nullptr);
}

void quro_utf_signal_disable(int signal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void quro_utf_handler_simple(int signal)
{
    quro_utfp_flush_streams();
    void *frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    char **symbols = backtrace_symbols(frames, count);
    if (symbols != nullptr) {
        quro_utf_logerr("*** BACKTRACE: %d stack frames found ***\n", count);
        for (int i = 0; i < count; ++i) {
            quro_utf_logerr("%s\n", symbols[i]);
        }
        free(symbols);
    } else {
        quro_utf_logerr("*** BACKTRACE: No memory for stack frame ***\n");
    }
    quro_utfp_restore_default_actions();
    (void)raise(signal);
}

void quro_utf_handler_gdb(int signal)
{
    quro_utfp_restore_default_actions();
    quro_utfp_flush_streams();
    quro_utf_logerr("\nSEGFAULT\n");
    const pid_t pid = getpid();
    // Under restricted ptrace a descendant may not attach unless the process allows it.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const pid_t child = fork();
    if (child == 0) {
        char command[kCommandSize];
        quro_tpi_snprintf(
            command, sizeof(command),
            "gdb -batch -ex 'set confirm off' -ex 'set pagination off' -ex 'set height 0' -ex 'set width 0' "
            "-ex 'echo *** BACKTRACE ***\\n' -ex 'thread apply all bt' -ex 'quit' /proc/%i/exe %i 1>&2",
            pid, pid);
        quro_utf_logerr("Executing '%s'\n", command);
        if (system(command) == -1) { // NOLINT(cert-env33-c): the gdb command line needs a shell
            quro_utf_logerr("UTF: Could not run the debugger\n");
        }
    } else if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    (void)raise(signal);
}

void quro_utfp_enable_backtrace(unsigned mode)
{
    quro_utf_signal_handler handler = nullptr;
    switch (mode) {
    case QURO_UTF_BT_MODE_SIMPLE:
        handler = quro_utf_handler_simple;
        break;
    case QURO_UTF_BT_MODE_GDB:
        handler = quro_utf_handler_gdb;
        break;
    default:
        return;
    }
    quro_utf_signal_enable(SIGSEGV, handler);
    quro_utf_signal_enable(SIGABRT, handler);
}
