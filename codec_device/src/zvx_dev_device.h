#ifndef ZVX_DEV_DEVICE_H
#define ZVX_DEV_DEVICE_H

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "zvx_dev_client_pace.h"
#include "zvx_dev_engine.h"
#include "zvx_dev_event_queue.h"
#include "zvx_dev_parameters.h"
#include "zvx_dev_stream.h"
#include "zvx_dev_totals.h"
#include "zvx_codec_device.h"

namespace zvx_dev {

class DecoderAhead;

/* One codec device: the host's calls on one side (any thread), a worker thread that drives the
 * session's engine and answers with events on the other. A state change or flush that finds the worker
 * idle is answered by the calling thread itself. */
class Device {
public:
    Device(const zvx_dev_script &script, Totals &totals, DecoderAhead &decoders_ahead);
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
    ~Device();

    /* Makes the descriptor and starts the worker; false if either fails. */
    bool open();
    /* Stops the worker and forgets everything; later calls find a closed device. */
    void close();
    /* Fixed by open(). */
    int descriptor() const { return descriptor_; }

    bool create_session(const char *role);
    bool activate_session(const char *role, void **protected_buffer);
    void destroy_session();
    void enqueue_state_change(int32_t state);
    void enqueue_flush(uint32_t flags);
    void notify_ref_frame_release(zvx_base_buffer_handle_t buffer_id);
    EventPtr get_event(uint32_t timeout_ms);

    OMX_ERRORTYPE get_parameter(uint32_t index, uint32_t size, void *record);
    OMX_ERRORTYPE set_parameter(uint32_t index, uint32_t size, const void *record);
    OMX_ERRORTYPE get_config(uint32_t index, uint32_t size, void *record);
    OMX_ERRORTYPE set_config(uint32_t index, uint32_t size, const void *record);

    OMX_ERRORTYPE register_buffer(uint32_t port, const zvx_base_buffer_userspace &descriptor);
    void unregister_buffer(zvx_base_buffer_handle_t buffer_id);
    OMX_ERRORTYPE queue_buffer(uint32_t port, const zvx_base_buffer_details &details);

    void set_script(const zvx_dev_script &script);
    bool inject_fault(const zvx_dev_fault &fault);
    zvx_dev_stats stats();

private:
    struct RegisteredBuffer {
        zvx_base_buffer_userspace descriptor;
        uint32_t port;
        bool queued = false;
        /* Registered before the latest announcement: not filled until the host carries on. */
        bool stale = false;
    };
    struct StateRequest {
        int32_t state;
    };
    struct FlushRequest {
        uint32_t flags;
    };
    struct RefReleaseRequest {
        zvx_base_buffer_handle_t buffer_id;
    };
    using Request = std::variant<StateRequest, FlushRequest, RefReleaseRequest, zvx_dev_fault>;
    enum class Operation { none, request, announce, reject_stale, output, copy_input, input };
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    /* The worker's lock given up for one engine step (a consume, a write into a client's buffer). */
    class EngineStep {
    public:
        EngineStep(Device &device, Lock &lock);
        EngineStep(const EngineStep &) = delete;
        EngineStep &operator=(const EngineStep &) = delete;
        ~EngineStep();

    private:
        Device &device_;
        Lock &lock_;
    };

    /* The device's lock, taken once no engine step runs: for host calls that change what a step uses
     * (the engine, the script, the parameters, the buffers). */
    class EngineLock {
    public:
        explicit EngineLock(Device &device);
        EngineLock(const EngineLock &) = delete;
        EngineLock &operator=(const EngineLock &) = delete;
        ~EngineLock();

    private:
        Device &device_;
        Lock lock_;
    };

    /* Worker side (zvx_dev_device_worker.cpp), and a host answering a request at once: mutex_ held through
     * `lock` except in an EngineStep. */
    void run();
    void wait_for_work(Lock &lock);
    bool decode_put_off();
    Operation next_operation();
    uint32_t delay_of_request(const Request &request) const;
    uint32_t delay_of(Operation operation) const;
    void perform(Operation operation, Lock &lock);
    void answer_request(const Request &request);
    void answer_state_change(int32_t state);
    void flush(uint32_t flags);
    /* A quick flush only lets the session carry on with the buffers it holds. */
    static bool is_quick_flush(uint32_t flags)
    {
        return (flags & (ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_QUICK_SET_INTERLACE)) != 0;
    }
    void fire(const zvx_dev_fault &fault);
    void announce(const Announcement &announcement);
    void consume_input(Lock &lock);
    void give_input_back(const zvx_base_buffer_details &input);
    void pace_next_decode(Lock &lock);
    void give_next_input_back_early(Lock &lock);
    void produce_output(Lock &lock);
    void produce_picture(Lock &lock, const zvx_base_buffer_details &output, const Picture &picture);
    void produce_bitstream(Lock &lock, const zvx_base_buffer_details &output, Picture &picture);
    void report_stream_errors();
    void deliver_records_set_before(uint64_t input);
    void reject_output(const zvx_base_buffer_details &output);
    void return_buffer(uint32_t port, zvx_base_buffer_handle_t buffer_id, const zvx_base_buffer_userspace &returned);
    zvx_base_buffer_userspace returned_descriptor(const zvx_base_buffer_details &details) const;
    std::optional<zvx_base_buffer_details> find_output(bool stale) const;
    void send(uint16_t code, const void *payload, uint16_t size);
    void send_buffer_return(uint16_t code, const zvx_base_buffer_userspace &descriptor);
    void release_shuffled();
    void push_event(EventPtr event);
    void wake_event_waiters(Lock &lock);

    /* Hands the worker a request of an active session, or answers it (answers_at_once); false, and nothing
     * done, without one. */
    bool post_request(Request request);
    bool answers_at_once(const Request &request) const;
    static bool gives_idle_worker_work(const Request &request);

    /* Host side helpers, mutex_ held. */
    void end_session();
    void reset_session_state();
    StreamFacts stream_facts() const;

    Totals &totals_;
    DecoderAhead &decoders_ahead_;
    int descriptor_ = -1;              /* written by open() before the worker starts, read-only after */
    std::thread worker_;               /* started by open(), joined by close() */
    bool events_pushed_ = false;       /* mutex_: get_event waiters are still to be woken */
    std::mutex mutex_;                 /* guards every field below */
    std::condition_variable work_cv_;  /* the worker waits for something to do */
    std::condition_variable event_cv_; /* get_event waits for an event */
    std::condition_variable idle_cv_;  /* an EngineLock waits for busy_ to clear */
    /* The worker is in an engine step, unlocked: the engine, script_, parameters_ and the buffers it
     * reads and writes must stay as they are. */
    bool busy_ = false;
    /* EngineLocks waiting: the worker starts nothing until they are done, or they could wait for ever. */
    uint32_t engine_waiters_ = 0;
    /* The worker put an operation off for an EngineLock, and waits to be woken when the last one ends. */
    bool deferred_for_host_ = false;
    /* The worker waits for something to do and no request waits for it: a request may be answered by its
     * caller. */
    bool worker_waiting_ = false;
    bool stopping_ = false;
    bool closed_ = false;
    zvx_dev_script script_;
    /* Locks itself; pushed to under mutex_, so that a get_event waiting on the condition sees each push. */
    EventQueue events_;

    bool session_created_ = false;
    bool session_active_ = false;
    std::string role_;
    bool decoder_ = true;
    bool vp9_ = false;
    int32_t hw_state_ = ZVX_BASE_HW_STATE_STOPPED;
    bool hung_ = false;

    ParameterStore parameters_;
    ParameterStore configs_;
    std::map<zvx_base_buffer_handle_t, RegisteredBuffer> registered_;
    std::array<std::deque<zvx_base_buffer_details>, 2> queued_;
    std::deque<Request> requests_;
    std::unique_ptr<Engine> engine_; /* from create_session to the session's end */
    /* A record the host set reaches the engine with the first input queued after it. */
    struct RecordSet {
        uint64_t from_input;
        uint32_t index;
    };
    std::deque<RecordSet> records_set_;
    uint64_t inputs_queued_ = 0;   /* by the session */
    uint64_t inputs_consumed_ = 0; /* by the session, flushed ones included */
    std::optional<Announcement> announced_;
    uint32_t buffers_needed_ = 0;
    bool reject_stale_ = false;
    uint32_t rejects_pending_ = 0;
    uint32_t next_picture_ = 0;
    std::optional<Clock::time_point> ready_at_;
    /* A decoder's pace to a client that shows its pictures in real time. */
    ClientPace pace_;
    bool picture_waits_for_client_ = false; /* the front picture found no output buffer */
    std::optional<Clock::time_point> decode_not_before_;
    /* The oldest inputs, given back to the client before their decode while that decode is put off; the
     * worker's own, their bytes written and read in engine steps, unlocked. */
    struct CopiedInput {
        zvx_base_buffer_details details;
        std::vector<uint8_t> bytes;
    };
    static constexpr size_t MAX_COPIED_INPUTS = 2; /* the put-off decode's, and one for a client ahead */
    std::deque<CopiedInput> copied_inputs_;
    std::vector<EventPtr> shuffled_;
    std::minstd_rand shuffle_random_;

    uint64_t pictures_output_ = 0;
    std::array<uint64_t, ZVX_DEV_EVENT_CODES> events_sent_{};
    uint64_t buffers_dropped_ = 0;
};

} // namespace zvx_dev

#endif
