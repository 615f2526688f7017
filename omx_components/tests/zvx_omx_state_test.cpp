// The state machine and the port and flush commands, through the handle as a client drives them.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <pthread.h>
#include <set>
#include <time.h>
#include <thread>
#include <utility>

#include "state/zvx_omx_state.h"
#include "zvx_omx_test_client.h"

namespace {

constexpr OMX_STATETYPE ZVXP_STATES[] = {OMX_StateInvalid,   OMX_StateLoaded, OMX_StateIdle,
                                         OMX_StateExecuting, OMX_StatePause,  OMX_StateWaitForResources};

/* The transitions OpenMAX IL 1.1.2 allows between valid states. */
bool zvxp_allowed(OMX_STATETYPE from, OMX_STATETYPE to)
{
    static const std::map<OMX_STATETYPE, std::set<OMX_STATETYPE>> allowed = {
        {OMX_StateLoaded, {OMX_StateIdle, OMX_StateWaitForResources}},
        {OMX_StateIdle, {OMX_StateLoaded, OMX_StateExecuting, OMX_StatePause}},
        {OMX_StateExecuting, {OMX_StateIdle, OMX_StatePause}},
        {OMX_StatePause, {OMX_StateIdle, OMX_StateExecuting}},
        {OMX_StateWaitForResources, {OMX_StateLoaded, OMX_StateIdle}},
    };
    return allowed.contains(from) && allowed.at(from).contains(to);
}

class StateTable : public zvx_decoder_test, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(StateTable, EveryCellCompletesOrIsRefusedOnce)
{
    const OMX_STATETYPE from = ZVXP_STATES[std::get<0>(GetParam())];
    const OMX_STATETYPE to = ZVXP_STATES[std::get<1>(GetParam())];
    drive_to(from);
    if (from == OMX_StateInvalid) {
        EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandStateSet, to, nullptr), OMX_ErrorInvalidState);
    } else if (to != OMX_StateInvalid && from == to) {
        send(OMX_CommandStateSet, to);
        expect_events({zvx_error(OMX_ErrorSameState, to)});
    } else if (to != OMX_StateInvalid && !zvxp_allowed(from, to)) {
        send(OMX_CommandStateSet, to);
        expect_events({zvx_error(OMX_ErrorIncorrectStateTransition, to)});
    } else {
        change_state(to);
    }
    const bool moves = to == OMX_StateInvalid ? from != OMX_StateInvalid : zvxp_allowed(from, to);
    EXPECT_EQ(state(), moves ? to : from);
}

INSTANTIATE_TEST_SUITE_P(FromTo, StateTable, ::testing::Combine(::testing::Range(0, 6), ::testing::Range(0, 6)));

class FlushInState : public zvx_decoder_test, public ::testing::WithParamInterface<std::tuple<int, OMX_U32>> {};

TEST_P(FlushInState, EndsInOneCompletionPerPortOrAnError)
{
    const OMX_STATETYPE in = ZVXP_STATES[std::get<0>(GetParam())];
    const OMX_U32 port = std::get<1>(GetParam());
    drive_to(in);
    send(OMX_CommandFlush, port);
    // Running hardware is stopped, flushed and restarted; stopped hardware only flushes.
    const bool running = in == OMX_StateIdle || in == OMX_StateExecuting;
    if (running) {
        zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    }
    std::vector<zvx_test_event> expected;
    for (OMX_U32 each : port == OMX_ALL ? std::vector<OMX_U32>{0, 1} : std::vector<OMX_U32>{port}) {
        if (running || in == OMX_StatePause) {
            zvx_answer_flush(comp_, each);
        }
        expected.push_back(zvx_complete(OMX_CommandFlush, each));
    }
    if (running) {
        zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    }
    if (in == OMX_StateInvalid) {
        expected = {zvx_error(OMX_ErrorInvalidState, port)};
    }
    expect_events(expected);
    EXPECT_EQ(zvx_omx_state_port_transition(comp_, 0), ZVX_OMX_PORT_STABLE);
}

INSTANTIATE_TEST_SUITE_P(States, FlushInState,
                         ::testing::Combine(::testing::Range(0, 6), ::testing::Values(0u, 1u, OMX_ALL)));

using Commands = zvx_decoder_test;

TEST_F(Commands, DisableWithoutSessionCompletesInsideSendCommandAndEnableOutsideLoadedWaitsUntilPopulated)
{
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandPortDisable, 2, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandFlush, 2, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandMarkBuffer, 0, nullptr), OMX_ErrorNotImplemented);
    EXPECT_EQ(omx_->SendCommand(nullptr, OMX_CommandFlush, 0, nullptr), OMX_ErrorBadParameter);
    send(OMX_CommandPortDisable, OMX_ALL);
    EXPECT_EQ(client_.take(), (std::vector<zvx_test_event>{zvx_complete(OMX_CommandPortDisable, 0),
                                                           zvx_complete(OMX_CommandPortDisable, 1)}))
        << "at once";

    change_state(OMX_StateIdle);
    send(OMX_CommandPortEnable, 0);
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    {
        // The command thread may be writing the stored record as the enable starts.
        zvx_omx_mutex_guard guard(&comp_->lock);
        definition = *zvx_omx_port_get_definition(&comp_->ports[0]);
    }
    EXPECT_EQ(definition.bEnabled, OMX_TRUE);
    settle(2);
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{});
    const std::vector<OMX_BUFFERHEADERTYPE *> buffers = allocate(0, definition.nBufferCountActual);
    expect_events({zvx_complete(OMX_CommandPortEnable, 0)});
}

int64_t zvxp_thread_cpu_ns(pthread_t thread)
{
    clockid_t clock;
    struct timespec used = {};
    if (pthread_getcpuclockid(thread, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        return -1;
    }
    return static_cast<int64_t>(used.tv_sec) * 1000000000 + used.tv_nsec;
}

// The wait for buffers is a parked command the command thread sleeps through, not a polling loop; the
// last buffer wakes it, which would otherwise wait out its quarter-second budget.
TEST_F(Commands, IdleWaitsAsleepForBuffersAndLoadedOrADisableWaitsForTheBuffersTakenToBeFreed)
{
    disable_output();
    const pthread_t command_thread = comp_->cproc_invoker.invoker_thread;
    const int64_t cpu_before = zvxp_thread_cpu_ns(command_thread);
    auto sent = std::chrono::steady_clock::now();
    send(OMX_CommandStateSet, OMX_StateIdle);
    std::vector<OMX_BUFFERHEADERTYPE *> buffers = allocate(0, definition(0).nBufferCountActual - 1);
    EXPECT_EQ(client_.take(1), std::vector<zvx_test_event>{zvx_error(OMX_ErrorInsufficientResources, OMX_StateIdle)});
    EXPECT_GE(std::chrono::steady_clock::now() - sent, std::chrono::milliseconds(200));
    EXPECT_LT(zvxp_thread_cpu_ns(command_thread) - cpu_before, 20000000) << "the command thread polled";
    EXPECT_EQ(state(), OMX_StateLoaded);
    change_state(OMX_StateWaitForResources);
    send(OMX_CommandStateSet, OMX_StateLoaded);
    settle(5);
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "Loaded with buffers still registered";
    free_all(0, buffers);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateLoaded)});

    sent = std::chrono::steady_clock::now();
    send(OMX_CommandStateSet, OMX_StateIdle);
    settle(5);
    buffers = allocate(0, definition(0).nBufferCountActual);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateIdle)});
    EXPECT_LT(std::chrono::steady_clock::now() - sent, std::chrono::milliseconds(200)) << "no buffer woke it";

    // A disable with a session stops, flushes, waits for the buffers to be freed and restarts.
    send(OMX_CommandPortDisable, 0);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_STOPPED);
    zvx_answer_flush(comp_, 0);
    zvx_answer_hw(comp_, ZVX_BASE_HW_STATE_RUNNING);
    settle(20);
    EXPECT_EQ(zvx_omx_state_port_transition(comp_, 0), ZVX_OMX_PORT_DISABLING);
    EXPECT_EQ(client_.take(), std::vector<zvx_test_event>{}) << "completed with buffers still registered";
    free_all(0, buffers);
    expect_events({zvx_complete(OMX_CommandPortDisable, 0)});
    EXPECT_EQ(zvx_omx_state_port_transition(comp_, 0), ZVX_OMX_PORT_STABLE);
}

TEST_F(Commands, HungSessionMakesTheComponentInvalidAndEndsAFlushWaitingForIt)
{
    drive_to(OMX_StatePause);
    send(OMX_CommandFlush, 0);
    zvx_sync(comp_);
    zvx_answer_with(comp_, ZVX_BASE_EVENT_SESSION_HUNG, int32_t{0});
    expect_events({zvx_error(OMX_ErrorInvalidState, OMX_StateInvalid), zvx_complete(OMX_CommandFlush, 0)});
    EXPECT_EQ(state(), OMX_StateInvalid);
    EXPECT_FALSE(zvx_omx_state_has_session(comp_));
}

constexpr int ZVXP_CLIENT_THREADS = 8;
constexpr int ZVXP_ROUNDS = 100;
std::array<int, ZVXP_CLIENT_THREADS> zvxp_app_data;
std::atomic<int> zvxp_paired;
std::atomic<int> zvxp_mispaired;

template <int Thread>
OMX_ERRORTYPE zvxp_thread_handler(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE, OMX_U32, OMX_U32, OMX_PTR)
{
    ++(app_data == &zvxp_app_data[Thread] ? zvxp_paired : zvxp_mispaired);
    return OMX_ErrorNone;
}

template <size_t... Threads> constexpr auto zvxp_thread_handlers(std::index_sequence<Threads...>)
{
    return std::array<OMX_CALLBACKTYPE, sizeof...(Threads)>{
        OMX_CALLBACKTYPE{zvxp_thread_handler<Threads>, nullptr, nullptr}...};
}

TEST_F(Commands, SetCallbacksKeepsTableAndAppDataTogetherAndCallbacksMayCallBackIntoTheComponent)
{
    EXPECT_EQ(omx_->SetCallbacks(omx_, nullptr, &component_), OMX_ErrorNone);
    EXPECT_EQ(omx_->pApplicationPrivate, &component_);
    EXPECT_EQ(comp_->omx_callbacks.EventHandler, zvx_test_client::event_handler);
    EXPECT_EQ(omx_->SetCallbacks(omx_, nullptr, &client_), OMX_ErrorNone);

    client_.on_event = [this](const zvx_test_event &event) {
        if (event != zvx_complete(OMX_CommandStateSet, OMX_StateWaitForResources)) {
            return;
        }
        EXPECT_EQ(state(), OMX_StateWaitForResources);
        OMX_CALLBACKTYPE callbacks = zvx_test_client::callbacks();
        EXPECT_EQ(omx_->SetCallbacks(omx_, &callbacks, &client_), OMX_ErrorNone);
        EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
        EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandPortDisable, 0, nullptr), OMX_ErrorNone);
        char name[] = "OMX.DHQ.video.k7nn.tcx";
        OMX_INDEXTYPE index;
        EXPECT_EQ(omx_->GetExtensionIndex(omx_, name, &index), OMX_ErrorNone);
    };
    send(OMX_CommandStateSet, OMX_StateWaitForResources);
    // In the order sent: the disable waits for the change to Loaded.
    expect_events({zvx_complete(OMX_CommandStateSet, OMX_StateWaitForResources),
                   zvx_complete(OMX_CommandStateSet, OMX_StateLoaded), zvx_complete(OMX_CommandPortDisable, 0)});

    // From many threads at once, a handler never goes with another thread's app data.
    auto tables = zvxp_thread_handlers(std::make_index_sequence<ZVXP_CLIENT_THREADS>());
    zvxp_paired = 0;
    zvxp_mispaired = 0;
    zvx_on_threads(ZVXP_CLIENT_THREADS, [&](int thread) {
        for (int round = 0; round < ZVXP_ROUNDS; ++round) {
            omx_->SetCallbacks(omx_, &tables[thread], &zvxp_app_data[thread]);
            omx_->SendCommand(omx_, round % 2 == 0 ? OMX_CommandPortEnable : OMX_CommandPortDisable, 0, nullptr);
        }
    });
    destroy();
    EXPECT_EQ(zvxp_mispaired.load(), 0);
    EXPECT_EQ(zvxp_paired.load(), ZVXP_CLIENT_THREADS * ZVXP_ROUNDS);
}

/* Destroy while commands wait: each is answered or freed, and the thread is gone. */
class DestroyMidway : public zvx_decoder_test, public ::testing::WithParamInterface<int> {};

TEST_P(DestroyMidway, LeavesNoThreadAndNoCommandBehind)
{
    switch (GetParam()) {
    case 0: // retrying a readiness check
        send(OMX_CommandStateSet, OMX_StateIdle);
        break;
    case 1: // waiting for the hardware to run
        drive_to(OMX_StateLoaded);
        send(OMX_CommandStateSet, OMX_StateIdle);
        zvx_sync(comp_);
        break;
    case 2: // a flush waiting for the hardware to stop, a disable and an enable behind it
        drive_to(OMX_StateExecuting);
        send(OMX_CommandFlush, OMX_ALL);
        send(OMX_CommandPortEnable, 1);
        send(OMX_CommandPortDisable, 1);
        break;
    default: // many commands not yet run
        for (int command = 0; command < 100; ++command) {
            send(OMX_CommandPortEnable, OMX_ALL);
        }
        break;
    }
    destroy();
    EXPECT_EQ(component_.common.cproc_invoker.invoker_thread, 0u);
    std::vector<zvx_test_event> answered = client_.take();
    if (GetParam() == 3) {
        EXPECT_EQ(answered.size(), 200u);
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, DestroyMidway, ::testing::Range(0, 4));

} // namespace
