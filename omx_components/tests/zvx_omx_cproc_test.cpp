// The command processor against a scripted session: this executable links its own session
// functions instead of the stub, so that event fetches can be counted and events injected.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <unistd.h>
#include <vector>

#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_session_interface.h"
#include "zvx_util_slist_ts.h"

namespace {

std::atomic<int> get_event_calls;
std::atomic<int> pending_state_events;

} // namespace

struct zvx_base_event_header *zvx_get_event(int, OMX_U32)
{
    ++get_event_calls;
    if (pending_state_events.load() == 0) {
        return nullptr;
    }
    --pending_state_events;
    auto *event = static_cast<struct zvx_base_event_header *>(zvx_mem_malloc(sizeof(zvx_base_event_header) + 4));
    event->code = ZVX_BASE_EVENT_STATE_CHANGED;
    event->size = 4;
    const int32_t running = ZVX_BASE_HW_STATE_RUNNING;
    std::memcpy(event->data, &running, sizeof(running));
    return event;
}

void zvx_free_thread_error_container(void) {}
void zvx_instr_write_msg(const uint32_t, const uint32_t, const void *) {}
void zvx_rpc_mem_alloc(int, int) {}
void zvx_rpc_mem_resize(int, int) {}

// The rest of what the event handlers and the client commands may call; this test never reaches them.
OMX_BOOL zvx_create_session(int, const char *)
{
    return OMX_FALSE;
}
OMX_BOOL zvx_activate_session(int, const char *, void **)
{
    return OMX_FALSE;
}
void zvx_destroy_session(int) {}
void zvx_enqueue_flush_buffers(int, OMX_U32) {}
void zvx_enqueue_state_change(int, enum zvx_base_hw_state) {}
OMX_U32 zvx_get_hw_version(int)
{
    return 0;
}
OMX_ERRORTYPE zvx_get_parameter(int, OMX_INDEXTYPE, OMX_U32, void *)
{
    return OMX_ErrorUndefined;
}
OMX_ERRORTYPE zvx_set_parameter(int, OMX_INDEXTYPE, OMX_U32, void *)
{
    return OMX_ErrorUndefined;
}
OMX_BOOL zvx_is_rgb_input_supported(void)
{
    return OMX_FALSE;
}
OMX_BOOL zvx_is_role_supported(const char *)
{
    return OMX_FALSE;
}
void zvx_notify_ref_frame_release(int, zvx_base_buffer_handle_t) {}
OMX_ERRORTYPE zvx_register_buffer(int, OMX_U32, const struct zvx_base_buffer_userspace *)
{
    return OMX_ErrorUndefined;
}
void zvx_unregister_buffer(int, zvx_base_buffer_handle_t) {}

namespace {

// Only what the command thread touches: queue, invoker, device descriptor and session flag.
class CommandProcessor : public ::testing::Test {
protected:
    void SetUp() override
    {
        get_event_calls = 0;
        pending_state_events = 0;
        std::memset(&comp_, 0, sizeof(comp_));
        comp_.driver_fd = -1;
        zvx_omx_common_cproc_invoker_init(&comp_.cproc_invoker);
        zvx_omx_common_cproc_command_queue_init(&comp_.cproc_queue);
        zvx_omx_common_cproc_command_queue_init(&comp_.client_commands);
    }

    void TearDown() override
    {
        zvx_omx_common_cproc_invoker_exit(&comp_);
        zvx_omx_common_cproc_command_queue_destroy(&comp_.cproc_queue);
        zvx_omx_common_cproc_command_queue_destroy(&comp_.client_commands);
    }

    zvx_omx_common_component comp_;
};

struct recorded_command {
    struct zvx_omx_common_cproc_command_data head;
    int id;
    int runs_left; // not done until this reaches zero
};

std::mutex log_mutex;
std::vector<int> run_log;

bool record_run(struct zvx_omx_common_component *, struct zvx_omx_common_cproc_command_data *command)
{
    auto *recorded = reinterpret_cast<recorded_command *>(command);
    std::lock_guard<std::mutex> lock(log_mutex);
    run_log.push_back(recorded->id);
    return --recorded->runs_left <= 0;
}

void queue_recorded(zvx_omx_common_component *comp, int id, int runs)
{
    auto *command = static_cast<recorded_command *>(zvx_mem_malloc(sizeof(recorded_command)));
    command->head.function = record_run;
    command->id = id;
    command->runs_left = runs;
    ASSERT_TRUE(zvx_omx_common_component_queue_command(comp, &command->head));
}

void queue_function(zvx_omx_common_component *comp, command_function_t function)
{
    auto *command =
        static_cast<zvx_omx_common_cproc_command_data *>(zvx_mem_malloc(sizeof(zvx_omx_common_cproc_command_data)));
    command->function = function;
    ASSERT_TRUE(zvx_omx_common_component_queue_command(comp, command));
}

size_t run_count()
{
    std::lock_guard<std::mutex> lock(log_mutex);
    return run_log.size();
}

std::vector<int> take_run_log()
{
    std::lock_guard<std::mutex> lock(log_mutex);
    std::vector<int> taken;
    taken.swap(run_log);
    return taken;
}

// Commands waiting in the component's own queue. Only the command thread may walk it: it alone frees nodes.
int queued_commands(zvx_omx_common_component *comp)
{
    int count = 0;
    for (zvxu_slist_data *node = std::atomic_ref(comp->cproc_queue.head->next).load(); node != nullptr;
         node = std::atomic_ref(node->next).load()) {
        ++count;
    }
    return count;
}

// Holds the thread until the exit command is queued behind commands 1 and 2.
bool wait_for_exit_command(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *)
{
    while (queued_commands(comp) < 3) {
        usleep(100);
    }
    return true;
}

TEST_F(CommandProcessor, CommandsRunOnTheOwnThreadUntilDoneOrTheExitAndEventsAreFetchedOnlyWithASession)
{
    zvx_omx_common_cproc_invoker_exit(&comp_); // no thread yet: harmless, as are null arguments
    zvx_omx_common_cproc_invoker_exit(nullptr);
    zvx_omx_common_cproc_invoker_start(nullptr);
    EXPECT_FALSE(zvx_omx_common_cproc_command_queue_enqueue(&comp_.cproc_queue, nullptr));
    EXPECT_EQ(zvx_omx_common_cproc_command_queue_dequeue(&comp_.cproc_queue), nullptr);

    take_run_log();
    static std::atomic<int> seen_on_command_thread;
    seen_on_command_thread = -1;
    zvx_omx_common_cproc_invoker_start(&comp_);
    queue_function(&comp_, [](zvx_omx_common_component *comp, zvx_omx_common_cproc_command_data *) {
        seen_on_command_thread = zvx_omx_common_cproc_on_command_thread(comp) ? 1 : 0;
        return true;
    });
    for (int id = 0; id < 200; ++id) {
        queue_recorded(&comp_, id, 1);
    }
    zvx_omx_common_cproc_invoker_exit(&comp_);
    EXPECT_EQ(take_run_log().size(), 200u) << "everything queued before the exit runs";
    EXPECT_EQ(seen_on_command_thread.load(), 1);
    EXPECT_FALSE(zvx_omx_common_cproc_on_command_thread(&comp_));
    EXPECT_FALSE(zvx_omx_common_cproc_on_command_thread(nullptr));
    EXPECT_EQ(comp_.cproc_invoker.invoker_thread, 0u);
    EXPECT_EQ(comp_.cproc_invoker.exit, 0);

    zvx_omx_common_cproc_invoker_start(&comp_);
    // Holds the thread until everything is queued, so that the order of the runs is fixed.
    static std::atomic<bool> gate_open;
    gate_open = false;
    queue_function(&comp_, [](zvx_omx_common_component *, zvx_omx_common_cproc_command_data *) {
        while (!gate_open.load()) {
            usleep(100);
        }
        return true;
    });
    queue_recorded(&comp_, 1, 3);
    queue_recorded(&comp_, 2, 1);
    queue_recorded(&comp_, 3, 1);
    gate_open = true;
    while (run_count() < 5) {
        usleep(100);
    }
    zvx_omx_common_cproc_invoker_exit(&comp_);
    // Freed exactly once when done: a second free or a leak fails the sanitizer builds.
    EXPECT_EQ(take_run_log(), (std::vector<int>{1, 2, 3, 1, 1}));

    // Events are fetched only with a session.
    int device[2];
    ASSERT_EQ(pipe(device), 0);
    const char byte = 1; // a device that always polls readable
    ASSERT_EQ(write(device[1], &byte, 1), 1);
    comp_.driver_fd = device[0];
    zvx_omx_common_cproc_invoker_start(&comp_);
    for (int id = 0; id < 20; ++id) {
        queue_recorded(&comp_, id, 1);
    }
    zvx_omx_common_cproc_invoker_exit(&comp_);
    take_run_log();
    EXPECT_EQ(get_event_calls.load(), 0);

    comp_.session_created = true;
    comp_.hw_state = ZVX_BASE_HW_STATE_STOPPED;
    pending_state_events = 1;
    zvx_omx_common_cproc_invoker_start(&comp_);
    while (pending_state_events.load() != 0) {
        usleep(100);
    }
    zvx_omx_common_cproc_invoker_exit(&comp_);
    EXPECT_EQ(comp_.hw_state, ZVX_BASE_HW_STATE_RUNNING);

    // Left behind the exit, an unfinished command is freed with the queue.
    zvx_omx_common_cproc_invoker_start(&comp_);
    queue_function(&comp_, wait_for_exit_command);
    queue_recorded(&comp_, 1, 1000);
    queue_recorded(&comp_, 2, 1);
    zvx_omx_common_cproc_invoker_exit(&comp_);
    EXPECT_EQ(take_run_log(), (std::vector<int>{1, 2}));

    close(device[0]);
    close(device[1]);
}

} // namespace
