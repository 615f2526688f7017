#ifndef ZVX_OMX_COMMON_CPROC_H
#define ZVX_OMX_COMMON_CPROC_H

#include <pthread.h>
#include <stdint.h>

struct zvx_omx_common_component;
struct zvx_util_slist_ts;

struct zvx_omx_common_cproc_command_data;

/* The component's one worker thread: runs queued commands and session events one at a time. */
struct zvx_omx_common_cproc_invoker {
    pthread_t invoker_thread; /* 0 while no thread runs */
    int32_t exit;             /* 1 asks the thread to leave its loop */
    int pipe_fd[2];           /* wake-up pipe: [0] read end, [1] write end; -1 while not open */
    /* Command thread: the client command being carried out, and the record it goes on as once it
     * returns (a delayed step that takes its place at the head of the client's commands). */
    struct zvx_omx_common_cproc_command_data *current;
    struct zvx_omx_common_cproc_command_data *continuation;
    bool running_current;  /* command thread: inside the current command's function */
    bool current_answered; /* command thread: it has sent the client its answer */
    uint32_t answers_due;  /* command thread: answers it sends before it counts as answered */
    /* Command thread: CLOCK_MONOTONIC time at which the current command, not done, runs again unless a
     * wake-up runs it first; 0 when only a wake-up does. */
    int64_t retry_at_ns;
};

/* true: the command is finished and its record is freed; false: run it again later. */
typedef bool (*command_function_t)(struct zvx_omx_common_component *comp,
                                   struct zvx_omx_common_cproc_command_data *command);

/* Head of every command record; concrete commands append their own fields. */
struct zvx_omx_common_cproc_command_data {
    command_function_t function;
};

typedef struct zvx_util_slist_ts zvx_omx_common_cproc_command_queue_lockfree_ts;

/* False when the queue's first node cannot be allocated; the queue is then empty and refuses every command. */
bool zvx_omx_common_cproc_command_queue_init(zvx_omx_common_cproc_command_queue_lockfree_ts *queue);
/* Frees every record still queued. */
void zvx_omx_common_cproc_command_queue_destroy(zvx_omx_common_cproc_command_queue_lockfree_ts *queue);
bool zvx_omx_common_cproc_command_queue_enqueue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue,
                                                struct zvx_omx_common_cproc_command_data *command);
struct zvx_omx_common_cproc_command_data *
zvx_omx_common_cproc_command_queue_dequeue(zvx_omx_common_cproc_command_queue_lockfree_ts *queue);

/* No thread, no pipe. The thread itself is started and stopped by the command room
 * (zvx_omx_common_component_commands.h). */
void zvx_omx_common_cproc_invoker_init(struct zvx_omx_common_cproc_invoker *invoker);
void zvx_omx_common_cproc_invoker_signal(struct zvx_omx_common_cproc_invoker *invoker);
/* True on comp's command thread: a client call made from inside a callback runs there, and must not
 * wait for that thread. */
bool zvx_omx_common_cproc_on_command_thread(const struct zvx_omx_common_component *comp);
/* Called by the command thread as it starts. */
void zvx_omx_common_cproc_mark_command_thread(const struct zvx_omx_common_component *comp);

/* On the command thread, while a client command runs: the record takes that command's place and runs
 * next, ahead of every command sent after it. Anywhere else it is queued as any command. Takes ownership
 * of the record when it returns true. */
bool zvx_omx_common_cproc_continue_with(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command);

/* From a client command about to report itself not done: it runs again at the latest delay_ns from now
 * (earlier on any wake-up). True when a time set by an earlier call has passed, so that the command
 * waited as long as it asked. Off the command thread it does nothing and returns false. */
bool zvx_omx_common_cproc_retry_within(struct zvx_omx_common_component *comp, int64_t delay_ns);

/* Before every OMX_EventCmdComplete or OMX_EventError: when the current client command sends it, that
 * command is answered, and a command the client sends from now on takes effect at once. */
void zvx_omx_common_cproc_answering(struct zvx_omx_common_component *comp);

/* Takes ownership of a command allocated with zvx_mem_malloc when it returns true. Each queued
 * command brings its own wake-up word, so commands are queued only once the thread has started. */
bool zvx_omx_common_component_queue_command(struct zvx_omx_common_component *comp,
                                            struct zvx_omx_common_cproc_command_data *command);

#endif
