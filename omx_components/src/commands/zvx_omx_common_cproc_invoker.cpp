// The command thread: per wake-up one queued command and one session event, never two at once.
#include "zvx_omx_common_component_commands.h"

#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
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

/* Until the first wake-up the thread polls in short rounds, so that an exit flag set without a
 * wake-up word (the fallback of invoker_exit) is still noticed. */
constexpr int ZVXP_STARTUP_POLL_MS = 1;
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

/* One wake-up's work: a queued command of the component's own or a step of the client's commands, the
 * two taking turns, so that neither waits behind the other when both are waiting for something. */
void zvxp_run_one_command(struct zvx_omx_common_component *comp, bool &client_turn)
{
    uint32_t word;
    const ssize_t got = read(comp->cproc_invoker.pipe_fd[0], &word, sizeof(word));
    (void)got;
    client_turn = !client_turn;
    if (client_turn && zvx_omx_client_commands_advance(comp)) {
        return;
    }
    if (!zvxp_run_internal_command(comp) && !client_turn) {
        zvx_omx_client_commands_advance(comp);
    }
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

void *zvxp_invoker_thread(void *arg)
{
    auto *comp = static_cast<struct zvx_omx_common_component *>(arg);
    zvx_omx_common_cproc_mark_command_thread(comp);
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    zvxp_make_fd_nonblocking(invoker.pipe_fd[0]);
    int timeout_ms = ZVXP_STARTUP_POLL_MS;
    /* A descriptor that poll reports invalid would wake the thread forever; stop watching it. */
    bool device_pollable = comp->driver_fd >= 0;
    bool client_turn = false;
    do {
        /* Without a session the device has no events for us, and a readable device would spin. */
        const bool watch_device = device_pollable && std::atomic_ref(comp->session_created).load();
        struct pollfd fds[2] = {{invoker.pipe_fd[0], POLLIN, 0}, {comp->driver_fd, POLLIN, 0}};
        const int ready = poll(fds, watch_device ? 2 : 1, timeout_ms);
        if (ready <= 0) {
            continue;
        }
        timeout_ms = -1;
        if ((fds[0].revents & POLLIN) != 0) {
            zvxp_run_one_command(comp, client_turn);
            zvxp_settle(comp);
        }
        if (watch_device) {
            if ((fds[1].revents & POLLNVAL) != 0) {
                device_pollable = false;
            } else if ((fds[1].revents & POLLIN) != 0 && std::atomic_ref(comp->session_created).load()) {
                zvxp_handle_one_event(comp);
                zvxp_settle(comp);
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
