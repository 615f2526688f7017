// The command queue and its wake-up: any thread queues a command and wakes the command thread, which
// alone takes commands off (commands/zvx_omx_common_cproc_invoker.cpp).
#include "zvx_omx_common_cproc.h"

#include <time.h>
#include <unistd.h>

#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"
#include "zvx_util_slist_ts.h"

namespace {

/* The component whose command thread this is; null on every other thread. */
thread_local const struct zvx_omx_common_component *zvxp_command_thread_of = nullptr;

} // namespace

bool zvx_omx_common_cproc_command_queue_init(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    if (queue == nullptr) {
        return false;
    }
    /* A queue whose first node cannot be allocated stays zeroed: empty, refusing, and safe to destroy. */
    *queue = zvx_slist_ts{};
    zvxu_slist_ts_init(queue);
    return queue->head != nullptr;
}

void zvx_omx_common_cproc_command_queue_destroy(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    zvxu_slist_ts_destroy(queue);
}

bool zvx_omx_common_cproc_command_queue_enqueue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue,
                                                struct zvx_omx_common_cproc_command_data *command)
{
    if (queue == nullptr || command == nullptr) {
        return false;
    }
    return zvxu_slist_ts_enqueue(queue, command) != 0;
}

struct zvx_omx_common_cproc_command_data *
zvx_omx_common_cproc_command_queue_dequeue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue)
{
    if (queue == nullptr) {
        return nullptr;
    }
    return static_cast<struct zvx_omx_common_cproc_command_data *>(zvxu_slist_ts_dequeue(queue));
}

void zvx_omx_common_cproc_invoker_init(struct zvx_omx_common_cproc_invoker *invoker)
{
    if (invoker == nullptr) {
        return;
    }
    invoker->invoker_thread = 0;
    invoker->exit = 0;
    invoker->pipe_fd[0] = -1;
    invoker->pipe_fd[1] = -1;
    invoker->current = nullptr;
    invoker->continuation = nullptr;
    invoker->running_current = false;
    invoker->current_answered = false;
    invoker->answers_due = 0;
    invoker->retry_at_ns = 0;
}

bool zvx_omx_common_cproc_on_command_thread(const struct zvx_omx_common_component *comp)
{
    return comp != nullptr && zvxp_command_thread_of == comp;
}

void zvx_omx_common_cproc_mark_command_thread(const struct zvx_omx_common_component *comp)
{
    zvxp_command_thread_of = comp;
}

void zvx_omx_common_cproc_invoker_signal(struct zvx_omx_common_cproc_invoker *invoker)
{
    if (invoker == nullptr) {
        return;
    }
    const uint32_t wake_word = 0;
    const ssize_t written = write(invoker->pipe_fd[1], &wake_word, sizeof(wake_word));
    (void)written;
}

bool zvx_omx_common_component_queue_command(struct zvx_omx_common_component *comp,
                                            struct zvx_omx_common_cproc_command_data *command)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_VERBOSE, "zvx_omx_common_component_queue_command(comp=%p, command=%p). (%s:%d)",
            comp, command);
    if (comp == nullptr || command == nullptr) {
        return false;
    }
    const bool queued = zvx_omx_common_cproc_command_queue_enqueue(&comp->cproc_queue, command);
    zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    return queued;
}

bool zvx_omx_common_cproc_continue_with(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command)
{
    if (comp == nullptr || command == nullptr) {
        return false;
    }
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    if (zvx_omx_common_cproc_on_command_thread(comp) && invoker.current != nullptr && invoker.continuation == nullptr) {
        invoker.continuation = command;
        return true;
    }
    return zvx_omx_common_component_queue_command(comp, command);
}

bool zvx_omx_common_cproc_retry_within(struct zvx_omx_common_component *comp, int64_t delay_ns)
{
    if (comp == nullptr || !zvx_omx_common_cproc_on_command_thread(comp)) {
        return false;
    }
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t now_ns = static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
    int64_t &retry_at = comp->cproc_invoker.retry_at_ns;
    if (retry_at != 0 && now_ns >= retry_at) {
        retry_at = 0;
        return true;
    }
    if (retry_at == 0) {
        retry_at = now_ns + delay_ns;
    }
    return false;
}

void zvx_omx_common_cproc_answering(struct zvx_omx_common_component *comp)
{
    if (comp == nullptr || !zvx_omx_common_cproc_on_command_thread(comp)) {
        return;
    }
    struct zvx_omx_common_cproc_invoker &invoker = comp->cproc_invoker;
    if (!invoker.running_current || invoker.current_answered) {
        return;
    }
    // A flush of both ports answers once per port: only the last answer lets the next command start.
    if (invoker.answers_due > 1) {
        --invoker.answers_due;
        return;
    }
    invoker.current_answered = true;
    zvx_omx_mutex_guard guard(&comp->commands_lock);
    --comp->commands_pending;
}
