// A client that drives a component through its handle and records its callbacks, and the session's answers, which the
// stub never gives: commands on the component's thread that wait until it asks, then dispatch the event.
#ifndef ZVX_OMX_TEST_CLIENT_H
#define ZVX_OMX_TEST_CLIENT_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "zvx_blackbox.h"
#include "zvx_mem.h"
#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_event.h"

struct zvx_test_event {
    OMX_EVENTTYPE event;
    OMX_U32 data1;
    OMX_U32 data2;
    bool operator==(const zvx_test_event &) const = default;
};

inline zvx_test_event zvx_complete(OMX_COMMANDTYPE command, OMX_U32 data)
{
    return {OMX_EventCmdComplete, static_cast<OMX_U32>(command), data};
}

inline zvx_test_event zvx_error(OMX_ERRORTYPE error, OMX_U32 data)
{
    return {OMX_EventError, static_cast<OMX_U32>(error), data};
}

class zvx_test_client {
public:
    static OMX_ERRORTYPE event_handler(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1,
                                       OMX_U32 data2, OMX_PTR)
    {
        auto *client = static_cast<zvx_test_client *>(app_data);
        const zvx_test_event seen = {event, data1, data2};
        client->record([&] { client->events_.push_back(seen); });
        if (client->on_event) {
            client->on_event(seen);
        }
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE buffer_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
    {
        auto *client = static_cast<zvx_test_client *>(app_data);
        client->record([&] { client->buffers_.push_back({header, header->nFilledLen, header->nFlags}); });
        if (client->on_buffer) {
            client->on_buffer(header);
        }
        return OMX_ErrorNone;
    }

    static OMX_CALLBACKTYPE callbacks() { return {event_handler, buffer_done, buffer_done}; }

    /* Waits up to ten seconds for count events and takes what has arrived. */
    std::vector<zvx_test_event> take(size_t count = 0)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [&] { return events_.size() >= count; });
        std::vector<zvx_test_event> taken;
        taken.swap(events_);
        return taken;
    }

    struct returned_buffer {
        OMX_BUFFERHEADERTYPE *header;
        OMX_U32 filled_len;
        OMX_U32 flags;
    };
    std::vector<returned_buffer> take_buffers()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<returned_buffer> taken;
        taken.swap(buffers_);
        return taken;
    }

    /* Run inside EventHandler and the buffer callbacks, after the recording: the client calling back in. */
    std::function<void(const zvx_test_event &)> on_event;
    std::function<void(OMX_BUFFERHEADERTYPE *)> on_buffer;

private:
    template <typename Change> void record(Change change)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        change();
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<zvx_test_event> events_;
    std::vector<returned_buffer> buffers_;
};

/* When an answer is due, judged on the command thread; none is due at once. */
using zvx_test_due = bool (*)(zvx_omx_common_component *comp, int32_t argument);

inline bool zvx_due_hw_requested(zvx_omx_common_component *comp, int32_t hw_state)
{
    return std::atomic_ref(comp->hw_state).load() == hw_state + ZVX_OMX_HW_STATE_REQUESTED;
}

inline bool zvx_due_flush_requested(zvx_omx_common_component *comp, int32_t port)
{
    return comp->ports[port].nr_pending_flushes > 0;
}

/* The event ends the command's allocation, so the sanitizers catch a read past it. */
struct zvx_test_answer {
    zvx_omx_common_cproc_command_data head;
    zvx_test_due due;
    int32_t argument;
    zvx_base_event_header *event;
};

inline bool zvx_run_answer(zvx_omx_common_component *comp, zvx_omx_common_cproc_command_data *command)
{
    auto *answer = reinterpret_cast<zvx_test_answer *>(command);
    if (answer->due != nullptr && !answer->due(comp, answer->argument)) {
        return false;
    }
    zvxp_omx_handle_event(comp, answer->event);
    return true;
}

/* The session's event code with a whole record as payload, once due says so. */
template <typename Record>
inline void zvx_answer_with(zvx_omx_common_component *comp, uint16_t code, const Record &record,
                            zvx_test_due due = nullptr, int32_t argument = 0)
{
    auto *answer = static_cast<zvx_test_answer *>(
        zvx_mem_calloc(1, sizeof(zvx_test_answer) + sizeof(zvx_base_event_header) + sizeof(Record)));
    ASSERT_NE(answer, nullptr);
    answer->event = reinterpret_cast<zvx_base_event_header *>(answer + 1);
    answer->event->code = code;
    answer->event->size = sizeof(Record);
    std::memcpy(answer->event->data, &record, sizeof(Record));
    answer->head.function = zvx_run_answer;
    answer->due = due;
    answer->argument = argument;
    ASSERT_TRUE(zvx_omx_common_component_queue_command(comp, &answer->head));
}

/* The hardware reaches the state the component asked for. */
inline void zvx_answer_hw(zvx_omx_common_component *comp, zvx_base_hw_state state)
{
    zvx_answer_with(comp, ZVX_BASE_EVENT_STATE_CHANGED, static_cast<int32_t>(state), zvx_due_hw_requested, state);
}

/* The session has flushed the port it was asked to flush. */
inline void zvx_answer_flush(zvx_omx_common_component *comp, OMX_U32 port)
{
    zvx_answer_with(comp, port == 0 ? ZVX_BASE_EVENT_INPUT_FLUSHED : ZVX_BASE_EVENT_OUTPUT_FLUSHED, int32_t{0},
                    zvx_due_flush_requested, static_cast<int32_t>(port));
}

/* Returns once everything queued before has run at least once. */
inline void zvx_sync(zvx_omx_common_component *comp)
{
    static std::atomic<int> synced;
    synced = 0;
    auto *command =
        static_cast<zvx_omx_common_cproc_command_data *>(zvx_mem_malloc(sizeof(zvx_omx_common_cproc_command_data)));
    command->function = [](zvx_omx_common_component *, zvx_omx_common_cproc_command_data *) {
        synced = 1;
        return true;
    };
    ASSERT_TRUE(zvx_omx_common_component_queue_command(comp, command));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (synced.load() == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_EQ(synced.load(), 1);
}

/* The session's event as the command thread gets it, allocated to its exact size. */
inline void zvx_dispatch(zvx_omx_common_component *comp, uint16_t code, const void *payload, uint16_t size)
{
    auto *event = static_cast<zvx_base_event_header *>(zvx_mem_malloc(sizeof(zvx_base_event_header) + size));
    event->code = code;
    event->size = size;
    if (size != 0) {
        std::memcpy(event->data, payload, size);
    }
    zvxp_omx_handle_event(comp, event);
    zvx_mem_free(event);
}

/* A decoder's common part and the recording client, no command thread; a test takes every event it causes. */
class zvx_dispatch_test : public ::testing::Test {
protected:
    void SetUp() override
    {
        bb_reset_cb();
        zvx_omx_common_component_set_type(&comp_, ZVX_OMX_DECODER);
        OMX_CALLBACKTYPE callbacks = zvx_test_client::callbacks();
        ASSERT_EQ(zvx_omx_common_component_init(&handle_, &comp_, &client_, &callbacks), OMX_ErrorNone);
        ASSERT_EQ(zvx_omx_config_decoder(&comp_.ports[0].config_and_params, &comp_.ports[1].config_and_params),
                  OMX_ErrorNone);
        omx_ = &handle_.omx;
    }
    void TearDown() override
    {
        zvx_omx_common_component_destroy(&comp_);
        EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "events no test step expected";
        bb_reset_cb();
    }

    void dispatch(uint16_t code, const void *payload, uint16_t size) { zvx_dispatch(&comp_, code, payload, size); }
    template <typename Payload> void dispatch(uint16_t code, const Payload &payload)
    {
        zvx_dispatch(&comp_, code, &payload, sizeof(payload));
    }

    zvx_test_client client_;
    zvx_omx_common_component comp_;
    zvx_omx_component handle_;
    OMX_COMPONENTTYPE *omx_ = nullptr;
};

/* Runs body(index) on count threads at once and waits for them all. */
template <typename Body> void zvx_on_threads(int count, Body body)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        threads.emplace_back(body, index);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

/* A decoder or encoder in Loaded behind its handle; every event a test causes must be taken by it. */
template <typename Component, auto init, auto destroy_component> class zvx_component_test : public ::testing::Test {
protected:
    void SetUp() override
    {
        bb_reset_cb();
        create();
    }

    void create()
    {
        OMX_CALLBACKTYPE callbacks = zvx_test_client::callbacks();
        ASSERT_EQ(init(&handle_, &component_, &client_, &callbacks), OMX_ErrorNone);
        omx_ = &handle_.omx;
        comp_ = &component_.common;
    }

    void TearDown() override
    {
        destroy();
        EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "events no test step expected";
        bb_reset_cb();
    }

    void destroy()
    {
        if (comp_ != nullptr) {
            destroy_component(&component_);
            comp_ = nullptr;
        }
    }

    void send(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        ASSERT_EQ(omx_->SendCommand(omx_, command, param, nullptr), OMX_ErrorNone);
    }

    void expect_events(const std::vector<zvx_test_event> &expected)
    {
        EXPECT_EQ(client_.take(expected.size()), expected);
    }

    OMX_STATETYPE state()
    {
        OMX_STATETYPE current = OMX_StateMax;
        EXPECT_EQ(omx_->GetState(omx_, &current), OMX_ErrorNone);
        return current;
    }

    /* Session transitions complete with the answers the hardware would give. */
    void change_state(OMX_STATETYPE target)
    {
        const OMX_STATETYPE from = state();
        send(OMX_CommandStateSet, target);
        if (target == OMX_StateInvalid) {
            expect_events({zvx_error(OMX_ErrorInvalidState, OMX_StateInvalid)});
            return;
        }
        const bool stops = (from == OMX_StateExecuting && (target == OMX_StateIdle || target == OMX_StatePause)) ||
                           (from == OMX_StateIdle && target == OMX_StateLoaded);
        const bool starts =
            (target == OMX_StateIdle && (from == OMX_StateLoaded || from == OMX_StateWaitForResources)) ||
            (from == OMX_StatePause && target == OMX_StateExecuting);
        if (stops) {
            zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
        } else if (starts) {
            zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
        }
        // Idle holds no buffer: from Executing or Pause, the session flushes both ports first.
        if ((from == OMX_StateExecuting || from == OMX_StatePause) && target == OMX_StateIdle) {
            zvx_answer_flush(comp_, 0);
            zvx_answer_flush(comp_, 1);
        }
        expect_events({zvx_complete(OMX_CommandStateSet, target)});
    }

    /* Output disabled on the way to Idle, as GStreamer does. */
    void disable_output()
    {
        send(OMX_CommandPortDisable, 1);
        expect_events({zvx_complete(OMX_CommandPortDisable, 1)});
    }

    /* Idle from Loaded with count input buffers and the output disabled; returns the inputs. */
    std::vector<OMX_BUFFERHEADERTYPE *> idle_with_inputs(size_t count)
    {
        send(OMX_CommandStateSet, OMX_StateIdle);
        OMX_BUFFERHEADERTYPE *refused = nullptr;
        EXPECT_EQ(omx_->AllocateBuffer(omx_, &refused, 1, nullptr, definition(1).nBufferSize),
                  OMX_ErrorIncorrectStateOperation)
            << "a disabled port takes no buffer on the way to Idle";
        std::vector<OMX_BUFFERHEADERTYPE *> inputs = allocate(0, count);
        zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
        expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateIdle)});
        return inputs;
    }

    /* Lets the command thread run what it has queued, rounds times over. */
    void settle(int rounds)
    {
        for (int round = 0; round < rounds; ++round) {
            zvx_sync(comp_);
        }
    }

    /* Both ports disabled, so that Idle needs no buffers, then along the shortest path. */
    void drive_to(OMX_STATETYPE target)
    {
        send(OMX_CommandPortDisable, OMX_ALL);
        expect_events({zvx_complete(OMX_CommandPortDisable, 0), zvx_complete(OMX_CommandPortDisable, 1)});
        const std::vector<OMX_STATETYPE> paths[] = {
            {OMX_StateInvalid},
            {},
            {OMX_StateIdle},
            {OMX_StateIdle, OMX_StateExecuting},
            {OMX_StateIdle, OMX_StateExecuting, OMX_StatePause},
            {OMX_StateWaitForResources},
        };
        for (OMX_STATETYPE step : paths[target]) {
            change_state(step);
        }
        ASSERT_EQ(state(), target);
    }

    OMX_PARAM_PORTDEFINITIONTYPE definition(OMX_U32 port)
    {
        auto record = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
        EXPECT_EQ(omx_->GetParameter(omx_, OMX_IndexParamPortDefinition, &record), OMX_ErrorNone);
        return record;
    }

    /* Buffers of the size the port asks for; the component must be taking buffers. */
    std::vector<OMX_BUFFERHEADERTYPE *> allocate(OMX_U32 port, size_t count)
    {
        const OMX_U32 size = definition(port).nBufferSize;
        std::vector<OMX_BUFFERHEADERTYPE *> headers(count);
        for (auto &header : headers) {
            EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, port, nullptr, size), OMX_ErrorNone);
        }
        return headers;
    }

    void free_all(OMX_U32 port, const std::vector<OMX_BUFFERHEADERTYPE *> &headers)
    {
        for (OMX_BUFFERHEADERTYPE *header : headers) {
            EXPECT_EQ(omx_->FreeBuffer(omx_, port, header), OMX_ErrorNone);
        }
    }

    zvx_test_client client_;
    Component component_;
    zvx_omx_component handle_;
    OMX_COMPONENTTYPE *omx_ = nullptr;
    zvx_omx_common_component *comp_ = nullptr;
};

using zvx_decoder_test =
    zvx_component_test<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy>;
using zvx_encoder_test =
    zvx_component_test<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy>;

#endif
