// What EmptyThisBuffer and FillThisBuffer cost the client: the time until each call returns, from one
// client thread and from four at once, against the 5 ms a Khronos component may take. Between calls the
// session's return of the buffer is played on the command thread, untimed, so that each call queues a
// buffer the client holds.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "zvx_bench_latency.h"
#include "zvx_blackbox.h"
#include "zvx_mem.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_event.h"

namespace {

constexpr double ZVXP_KHRONOS_BUDGET_US = 5000.0;
constexpr int ZVXP_MAX_THREADS = 4;

/* A session event dispatched on the component's command thread once it is due. */
struct zvxp_answer {
    zvx_omx_common_cproc_command_data head;
    int32_t awaited_hw_state; /* -1: due at once */
    zvx_base_event_header *event;
};

bool zvxp_run_answer(zvx_omx_common_component *comp, zvx_omx_common_cproc_command_data *command)
{
    auto *answer = reinterpret_cast<zvxp_answer *>(command);
    if (answer->awaited_hw_state >= 0 &&
        std::atomic_ref(comp->hw_state).load() != answer->awaited_hw_state + ZVX_OMX_HW_STATE_REQUESTED) {
        return false;
    }
    zvxp_omx_handle_event(comp, answer->event);
    zvx_mem_free(answer->event);
    return true;
}

template <typename Payload>
void zvxp_answer_with(zvx_omx_common_component *comp, uint16_t code, const Payload &payload, int32_t awaited_hw_state)
{
    auto *answer = static_cast<zvxp_answer *>(zvx_mem_calloc(1, sizeof(zvxp_answer)));
    answer->event =
        static_cast<zvx_base_event_header *>(zvx_mem_malloc(sizeof(zvx_base_event_header) + sizeof(payload)));
    answer->event->code = code;
    answer->event->size = sizeof(payload);
    std::memcpy(answer->event->data, &payload, sizeof(payload));
    answer->head.function = zvxp_run_answer;
    answer->awaited_hw_state = awaited_hw_state;
    zvx_omx_common_component_queue_command(comp, &answer->head);
}

/* A decoder executing with every buffer registered, each flagged when it comes back to the client. */
class zvxp_executing_decoder {
public:
    bool start()
    {
        bb_reset_cb();
        OMX_CALLBACKTYPE callbacks = {on_event, on_buffer_done, on_buffer_done};
        if (zvx_omx_decoder_component_init(&handle_, &decoder_, this, &callbacks) != OMX_ErrorNone) {
            return false;
        }
        omx_ = &handle_.omx;
        comp_ = &decoder_.common;
        omx_->SendCommand(omx_, OMX_CommandStateSet, OMX_StateIdle, nullptr);
        for (OMX_U32 port = 0; port < 2; ++port) {
            OMX_PARAM_PORTDEFINITIONTYPE definition = {};
            definition.nSize = sizeof(definition);
            definition.nVersion.s.nVersionMajor = 1;
            definition.nVersion.s.nVersionMinor = 1;
            definition.nPortIndex = port;
            omx_->GetParameter(omx_, OMX_IndexParamPortDefinition, &definition);
            for (OMX_U32 i = 0; i < definition.nBufferCountActual && i < ZVXP_MAX_THREADS + 1; ++i) {
                if (omx_->AllocateBuffer(omx_, &buffers_[port][i], port, nullptr, definition.nBufferSize) !=
                    OMX_ErrorNone) {
                    return false;
                }
            }
        }
        const int32_t running = ZVX_BASE_HW_STATE_RUNNING;
        zvxp_answer_with(comp_, ZVX_BASE_EVENT_STATE_CHANGED, running, running);
        if (!wait_for_state(OMX_StateIdle)) {
            return false;
        }
        omx_->SendCommand(omx_, OMX_CommandStateSet, OMX_StateExecuting, nullptr);
        return wait_for_state(OMX_StateExecuting);
    }

    ~zvxp_executing_decoder()
    {
        if (comp_ != nullptr) {
            zvx_omx_decoder_component_destroy(&decoder_);
        }
    }

    /* The timed call, then the session's untimed return of the buffer; false when the call failed. */
    bool cycle(OMX_U32 port, int slot, int64_t *call_ns)
    {
        OMX_BUFFERHEADERTYPE *header = buffers_[port][slot];
        back_[port][slot].store(false);
        const int64_t started = zvx_bench_now_ns();
        const OMX_ERRORTYPE error =
            port == 0 ? omx_->EmptyThisBuffer(omx_, header) : omx_->FillThisBuffer(omx_, header);
        *call_ns = zvx_bench_now_ns() - started;
        if (error != OMX_ErrorNone) {
            return false;
        }
        zvx_base_buffer_userspace returned = zvx_omx_common_bufferheader_from_pub(header)->priv.desc;
        returned.filled_len = 0;
        zvxp_answer_with(comp_, port == 0 ? ZVX_BASE_EVENT_INPUT : ZVX_BASE_EVENT_OUTPUT, returned, -1);
        while (!back_[port][slot].load()) {
            std::this_thread::yield();
        }
        return true;
    }

    /* Keeps every output with the session, so that consumed inputs are never held back. */
    bool queue_outputs()
    {
        for (OMX_BUFFERHEADERTYPE *header : buffers_[1]) {
            if (header != nullptr && omx_->FillThisBuffer(omx_, header) != OMX_ErrorNone) {
                return false;
            }
        }
        return true;
    }

private:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR)
    {
        auto *self = static_cast<zvxp_executing_decoder *>(app_data);
        if (event == OMX_EventCmdComplete && data1 == OMX_CommandStateSet) {
            self->state_.store(static_cast<OMX_STATETYPE>(data2));
        }
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_buffer_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
    {
        auto *self = static_cast<zvxp_executing_decoder *>(app_data);
        for (OMX_U32 port = 0; port < 2; ++port) {
            for (int slot = 0; slot <= ZVXP_MAX_THREADS; ++slot) {
                if (self->buffers_[port][slot] == header) {
                    self->back_[port][slot].store(true);
                }
            }
        }
        return OMX_ErrorNone;
    }

    bool wait_for_state(OMX_STATETYPE state)
    {
        const int64_t deadline = zvx_bench_now_ns() + 10'000'000'000;
        while (state_.load() != state && zvx_bench_now_ns() < deadline) {
            std::this_thread::yield();
        }
        return state_.load() == state;
    }

    zvx_omx_decoder_component decoder_ = {};
    zvx_omx_component handle_ = {};
    OMX_COMPONENTTYPE *omx_ = nullptr;
    zvx_omx_common_component *comp_ = nullptr;
    std::atomic<OMX_STATETYPE> state_{OMX_StateLoaded};
    OMX_BUFFERHEADERTYPE *buffers_[2][ZVXP_MAX_THREADS + 1] = {};
    std::atomic<bool> back_[2][ZVXP_MAX_THREADS + 1] = {};
};

/* Shared by the threads of one run: thread 0 builds it before the timing loop and takes it down after. */
struct zvxp_run {
    zvxp_executing_decoder *decoder = nullptr;
    bool ready = false;
    std::mutex samples_mutex;
    std::vector<int64_t> samples_ns;
} zvxp_current;

void zvxp_time_buffer_calls(benchmark::State &state, OMX_U32 port)
{
    if (state.thread_index() == 0) {
        zvxp_current.decoder = new zvxp_executing_decoder;
        zvxp_current.ready = zvxp_current.decoder->start() && (port == 1 || zvxp_current.decoder->queue_outputs());
        zvxp_current.samples_ns.clear();
    }
    const int slot = state.thread_index();
    for (auto _ : state) {
        int64_t call_ns = 0;
        if (!zvxp_current.ready || !zvxp_current.decoder->cycle(port, slot, &call_ns)) {
            state.SkipWithError("the component refused the buffer");
            break;
        }
        std::lock_guard<std::mutex> lock(zvxp_current.samples_mutex);
        zvxp_current.samples_ns.push_back(call_ns);
    }
    if (state.thread_index() == 0) {
        zvx_bench_report_latencies(state, zvxp_current.samples_ns);
        if (!zvxp_current.samples_ns.empty()) {
            state.counters["max_us"] = static_cast<double>(zvxp_current.samples_ns.back()) / 1000.0;
            state.counters["budget_us"] = ZVXP_KHRONOS_BUDGET_US;
        }
        delete zvxp_current.decoder;
        zvxp_current.decoder = nullptr;
    }
}

void BM_EmptyThisBufferReturn(benchmark::State &state)
{
    zvxp_time_buffer_calls(state, 0);
}

void BM_FillThisBufferReturn(benchmark::State &state)
{
    zvxp_time_buffer_calls(state, 1);
}

} // namespace

BENCHMARK(BM_EmptyThisBufferReturn)->Iterations(20000)->UseRealTime()->Threads(1)->Threads(ZVXP_MAX_THREADS);
BENCHMARK(BM_FillThisBufferReturn)->Iterations(20000)->UseRealTime()->Threads(1)->Threads(ZVXP_MAX_THREADS);

BENCHMARK_MAIN();
