// The command thread: per pass one command and one session event, never two at once.
#include "zvx_omx_common_component_commands.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include "buffers/zvx_omx_buffer_returns.h"
#include "commands/zvx_omx_client_commands.h"
#include "state/zvx_omx_state.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_event.h"
#include "zvx_omx_log.h"
#include "zvx_session_interface.h"

namespace {

constexpr int64_t ZVXP_STARTUP_POLL_NS = 1000000;
constexpr OMX_U32 ZVXP_EVENT_TIMEOUT = 10;

bool zvxp_make_fd_nonblocking(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    if (flags == -1) {
        return false;
    }
    if ((flags & O_NONBLOCK) != 0) {
        return true;
    }
    return fcntl(fd, F_SETFL, flags | O_NONBLOCK) != -1;
}

std::atomic_ref<int32_t> zvxp_exit_flag(struct zvx_omx_common_cproc_invoker &invoker)
{
    return std::atomic_ref<int32_t>(invoker.exit);
}

bool common_component_cmd_invoker_exit(struct zvx_omx_common_component *comp,
                                       struct zvx_omx_common_cproc_command_data *)
{
    if (comp != nullptr) {
        zvx_omx_client_commands_run_ready(comp);
        zvxp_exit_flag(comp->cproc_invoker).store(1);
    }
    return true;
}

bool zvxp_run_internal_command(struct zvx_omx_common_component *comp)
{
    struct zvx_omx_common_cproc_command_data *command = zvx_omx_common_cproc_command_queue_dequeue(&comp->cproc_queue);
    if (command == nullptr) {
        return false;
    }
    if (command->function(comp, command)) {
        zvx_mem_free(command);
    } else if (!zvx_omx_common_component_queue_command(comp, command)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Failed to requeue command. command=%p. (%s:%d)", command);
        zvx_mem_free(command);
    }
    return true;
}

/* What the command thread knows it has to do; its own, so plain fields. */
struct zvxp_work {
    bool internal_due; /* the component's own queue may hold a command */
    bool client_due;   /* a client command may be able to take a step */
    bool waited_once;  /* the client command at the head said it waits since it was last woken */
    bool client_turn;  /* whose turn it is when both are due */
};

/* Something a parked client command may wait for has happened. A command sent since brings its own
 * wake-up word, so with none parked there is nothing to do. */
void zvxp_wake_client(const struct zvx_omx_common_cproc_invoker &invoker, zvxp_work &work)
{
    if (invoker.current != nullptr) {
        work.client_due = true;
        work.waited_once = false;
    }
}

/* Runs a client step; true when one ran. A command that waits is parked: it runs again on the next
 * wake-up, a device event or its retry time, never in a loop of its own. After each wake-up it is tried
 * once more at once, since what it waits for may have changed while it ran, and some steps finish on
 * the run after the one that saw them ready. */
bool zvxp_step_client(struct zvx_omx_common_component *comp, zvxp_work &work)
{
    switch (zvx_omx_client_commands_advance(comp)) {
    case zvx_omx_client_step::none:
        work.client_due = false;
        return false;
    case zvx_omx_client_step::progressed:
        work.waited_once = false;
        return true;
    case zvx_omx_client_step::waiting:
        work.client_due = !work.waited_once;
        work.waited_once = true;
        return true;
    }
    return false;
}

/* One command per pass: a queued command of the component's own or a step of the client's commands,
 * the two taking turns, so that neither waits behind the other when both are waiting for something. */
bool zvxp_run_one_command(struct zvx_omx_common_component *comp, zvxp_work &work)
{
    work.client_turn = !work.client_turn;
    if (work.client_turn && work.client_due && zvxp_step_client(comp, work)) {
        return true;
    }
    if (work.internal_due) {
        if (zvxp_run_internal_command(comp)) {
            // The component's own command may be what a parked client command waits for.
            zvxp_wake_client(comp->cproc_invoker, work);
            return true;
        }
        work.internal_due = false;
    }
    return !work.client_turn && work.client_due && zvxp_step_client(comp, work);
}

void zvxp_handle_one_event(struct zvx_omx_common_component *comp)
{
    struct zvx_base_event_header *event = zvx_get_event(comp->driver_fd, ZVXP_EVENT_TIMEOUT);
    if (event != nullptr) {
        zvxp_omx_handle_event(comp, event);
        zvx_mem_free(event);
    }
}

/* After every command and event: what can complete now does, and buffers a destroyed session held go back. */
void zvxp_settle(struct zvx_omx_common_component *comp)
{
    zvx_omx_state_check_transitions(comp);
    if (std::atomic_ref(comp->session_ended).exchange(false)) {
        zvx_omx_return_orphaned_buffers(comp);
    }
}

int64_t zvxp_monotonic_ns()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

/* How long the next poll may sleep: not at all with work due, until the parked command's retry time if
 * it has one, else until woken. Before the first wake-up the thread polls in short rounds, so that an
 * exit flag set without a wake-up word (the fallback of invoker_exit) is still noticed. */
struct timespec *zvxp_poll_timeout(const zvxp_work &work, const struct zvx_omx_common_cproc_invoker &invoker,
                                   bool woken, struct timespec &timeout)
{
    int64_t wait_ns = -1;
    if (work.internal_due || work.client_due) {
        wait_ns = 0;
    } else if (invoker.retry_at_ns != 0) {
        wait_ns = std::max<int64_t>(invoker.retry_at_ns - zvxp_monotonic_ns(), 0);
    }
    if (!woken && (wait_ns < 0 || wait_ns > ZVXP_STARTUP_POLL_NS)) {
        wait_ns = ZVXP_STARTUP_POLL_NS;
    }
    if (wait_ns < 0) {
        return nullptr;
    }
    timeout = {static_cast<time_t>(wait_ns / 1000000000), static_cast<long>(wait_ns % 1000000000)};
    return &timeout;
}

/* Every word written so far: the thread works from what it knows is due, not from a count of words. */
void zvxp_drain_wake_words(int fd)
{
    uint32_t words[64];
    while (read(fd, words, sizeof(words)) == static_cast<ssize_t>(sizeof(words))) {
    }
}

void *zvxp_invoker_thread(void *arg)
{
    auto *comp = static_cast<struct zvx_omx_common_component *>(arg);
    zvx_omx_common_cproc_mark_command_thread(comp);
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    zvxp_make_fd_nonblocking(invoker.pipe_fd[0]);
    /* A descriptor that poll reports invalid would wake the thread forever; stop watching it. */
    bool device_pollable = comp->driver_fd >= 0;
    bool woken = false;
    zvxp_work work = {};
    do {
        /* Without a session the device has no events for us, and a readable device would spin. */
        const bool watch_device = device_pollable && std::atomic_ref(comp->session_created).load();
        struct pollfd fds[2] = {{invoker.pipe_fd[0], POLLIN, 0}, {comp->driver_fd, POLLIN, 0}};
        struct timespec timeout;
        const int ready = ppoll(fds, watch_device ? 2 : 1, zvxp_poll_timeout(work, invoker, woken, timeout), nullptr);
        if (ready < 0) {
            continue;
        }
        if ((fds[0].revents & POLLIN) != 0) {
            woken = true;
            zvxp_drain_wake_words(invoker.pipe_fd[0]);
            work.internal_due = true;
            work.client_due = true;
            work.waited_once = false;
        }
        const int64_t retry_at = invoker.retry_at_ns;
        const bool retry_due = retry_at != 0 && zvxp_monotonic_ns() >= retry_at;
        if (retry_due) {
            // This pass is the client's: the time it waited for has come.
            zvxp_wake_client(invoker, work);
            work.client_turn = false;
        }
        if (zvxp_run_one_command(comp, work)) {
            zvxp_settle(comp);
        }
        if (retry_due && invoker.retry_at_ns == retry_at) {
            invoker.retry_at_ns = 0; /* nothing took it up: no time to wait for any more */
        }
        if (watch_device) {
            if ((fds[1].revents & POLLNVAL) != 0) {
                device_pollable = false;
            } else if ((fds[1].revents & POLLIN) != 0 && std::atomic_ref(comp->session_created).load()) {
                zvxp_handle_one_event(comp);
                zvxp_settle(comp);
                // A parked client command may wait for what the event changed.
                zvxp_wake_client(invoker, work);
            }
        }
    } while (zvxp_exit_flag(invoker).load() != 1);
    zvx_free_thread_error_container();
    return nullptr;
}

} // namespace

void zvx_omx_common_cproc_invoker_start(struct zvx_omx_common_component *comp)
{
    if (comp == nullptr) {
        return;
    }
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    if (invoker.invoker_thread != 0 || pipe(invoker.pipe_fd) != 0) {
        return;
    }
    zvxp_make_fd_nonblocking(invoker.pipe_fd[1]);
    if (pthread_create(&invoker.invoker_thread, nullptr, zvxp_invoker_thread, comp) != 0) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Failed to start the command thread. comp=%p. (%s:%d)", comp);
        invoker.invoker_thread = 0;
        close(invoker.pipe_fd[0]);
        close(invoker.pipe_fd[1]);
        invoker.pipe_fd[0] = -1;
        invoker.pipe_fd[1] = -1;
    }
}

void zvx_omx_common_cproc_invoker_exit(struct zvx_omx_common_component *comp)
{
    if (comp == nullptr || comp->cproc_invoker.invoker_thread == 0) {
        return;
    }
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    auto *command = static_cast<struct zvx_omx_common_cproc_command_data *>(
        zvx_mem_malloc(sizeof(struct zvx_omx_common_cproc_command_data)));
    if (command != nullptr) {
        command->function = common_component_cmd_invoker_exit;
    }
    if (command == nullptr || !zvx_omx_common_component_queue_command(comp, command)) {
        zvx_mem_free(command);
        zvxp_exit_flag(invoker).store(1);
        zvx_omx_common_cproc_invoker_signal(&invoker);
        pthread_kill(invoker.invoker_thread, 0);
    }
    pthread_join(invoker.invoker_thread, nullptr);
    zvx_omx_client_commands_drop_current(comp);
    for (int &fd : invoker.pipe_fd) {
        if (fd != -1) {
            close(fd);
            fd = -1;
        }
    }
    invoker.invoker_thread = 0;
    invoker.exit = 0;
}
