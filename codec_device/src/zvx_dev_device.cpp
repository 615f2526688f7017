// The host's side of a device: sessions, parameters, buffers and requests, each taken under the
// device lock and handed to the worker.
#include "zvx_dev_device.h"

#include <OMX_Index.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "zvx_dev_kernel_memory.h"
#include "zvx_dev_roles.h"

namespace zvx_dev {

namespace {

constexpr uint32_t ZVXP_PORT_WORD_OFFSET = 8;
constexpr uint32_t ZVXP_FORMAT_INDEX_WORD_OFFSET = 12;

uint32_t zvxp_word_at(const void *record, uint32_t offset)
{
    uint32_t word;
    std::memcpy(&word, static_cast<const uint8_t *>(record) + offset, sizeof(word));
    return word;
}

} // namespace

Device::Device(const zvx_dev_script &script, Totals &totals, DecoderAhead &decoders_ahead)
    : totals_(totals), decoders_ahead_(decoders_ahead), script_(script), shuffle_random_(script.shuffle_seed)
{
}

Device::~Device()
{
    close();
}

Device::EngineLock::EngineLock(Device &device) : device_(device), lock_(device.mutex_)
{
    ++device_.engine_waiters_;
    device_.idle_cv_.wait(lock_, [this] { return !device_.busy_; });
}

/* The worker is woken only if it put work off for this lock: a wake-up per buffer freed would cost it
 * a context switch for nothing. */
Device::EngineLock::~EngineLock()
{
    const bool resume_worker = --device_.engine_waiters_ == 0 && device_.deferred_for_host_;
    if (resume_worker)
        device_.deferred_for_host_ = false;
    lock_.unlock();
    if (resume_worker)
        device_.work_cv_.notify_one();
}

bool Device::open()
{
    if (!events_.open())
        return false;
    descriptor_ = events_.descriptor();
    try {
        worker_ = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        events_.close();
        return false;
    }
    return true;
}

void Device::close()
{
    {
        std::lock_guard guard(mutex_);
        if (closed_)
            return;
        stopping_ = true;
    }
    work_cv_.notify_all();
    if (worker_.joinable())
        worker_.join();
    {
        std::lock_guard guard(mutex_);
        end_session();
        totals_.buffers_left_registered += registered_.size();
        registered_.clear();
        events_.close();
        closed_ = true;
    }
    event_cv_.notify_all();
}

bool Device::create_session(const char *role)
{
    const std::optional<RoleTraits> traits = role_traits(role);
    std::lock_guard guard(mutex_);
    if (closed_ || session_created_ || !traits || kernel_allocation_fails())
        return false;
    reset_session_state();
    role_ = role;
    decoder_ = traits->decoder;
    vp9_ = traits->vp9;
    engine_ = make_engine(script_.engine, {script_, parameters_, role_, decoder_, decoders_ahead_});
    if (engine_ == nullptr)
        return false;
    session_created_ = true;
    ++totals_.sessions_created;
    return true;
}

bool Device::activate_session(const char *role, void **protected_buffer)
{
    {
        std::lock_guard guard(mutex_);
        if (!session_created_ || role == nullptr || role_ != role)
            return false;
        session_active_ = true;
    }
    work_cv_.notify_one();
    /* The device has no protected memory to hand out. */
    if (protected_buffer != nullptr)
        *protected_buffer = nullptr;
    return true;
}

void Device::destroy_session()
{
    const EngineLock lock(*this);
    if (!session_created_)
        return;
    end_session();
    ++totals_.sessions_destroyed;
}

/* A session that ends forgets its work: held buffers and unfetched events go without a word. */
void Device::end_session()
{
    const size_t held = queued_[INPUT_PORT].size() + queued_[OUTPUT_PORT].size();
    buffers_dropped_ += held;
    totals_.buffers_dropped += held;
    totals_.events_discarded += events_.discard_all() + shuffled_.size();
    for (auto &[id, buffer] : registered_) {
        buffer.queued = false;
        buffer.stale = false;
    }
    reset_session_state();
}

void Device::reset_session_state()
{
    engine_.reset();
    session_created_ = false;
    session_active_ = false;
    role_.clear();
    hw_state_ = ZVX_BASE_HW_STATE_STOPPED;
    hung_ = false;
    queued_[INPUT_PORT].clear();
    pace_.forget();
    picture_waits_for_client_ = false;
    decode_not_before_.reset();
    copied_inputs_.clear();
    queued_[OUTPUT_PORT].clear();
    requests_.clear();
    announced_.reset();
    records_set_.clear();
    inputs_queued_ = 0;
    inputs_consumed_ = 0;
    buffers_needed_ = 0;
    reject_stale_ = false;
    rejects_pending_ = 0;
    next_picture_ = 0;
    ready_at_.reset();
    shuffled_.clear();
    shuffle_random_.seed(script_.shuffle_seed);
    pictures_output_ = 0;
}

void Device::enqueue_state_change(int32_t state)
{
    post_request(StateRequest{state});
}

void Device::enqueue_flush(uint32_t flags)
{
    post_request(FlushRequest{flags});
}

void Device::notify_ref_frame_release(zvx_base_buffer_handle_t buffer_id)
{
    post_request(RefReleaseRequest{buffer_id});
}

bool Device::inject_fault(const zvx_dev_fault &fault)
{
    return post_request(fault);
}

bool Device::post_request(Request request)
{
    Lock lock(mutex_);
    if (!session_active_)
        return false;
    bool wake_worker = true;
    if (answers_at_once(request)) {
        wake_worker = gives_idle_worker_work(request);
        answer_request(request);
        wake_event_waiters(lock);
    } else {
        requests_.push_back(std::move(request));
        // The worker has work from now on: no request after this one may overtake it.
        worker_waiting_ = false;
    }
    lock.unlock();
    if (wake_worker)
        work_cv_.notify_one();
    return true;
}

/* A state change or a flush that the idle worker would answer at once is answered by the caller: the host
 * then hears of it without waiting for the worker to be scheduled. */
bool Device::answers_at_once(const Request &request) const
{
    const bool state_or_flush =
        std::holds_alternative<StateRequest>(request) || std::holds_alternative<FlushRequest>(request);
    return state_or_flush && worker_waiting_ && !hung_ && delay_of_request(request) == 0;
}

/* What can give a worker that found nothing to do something to do: running again, carrying on with the
 * buffers it holds, or an input flush, which may leave an announcement first in line. Any other state
 * stops it, and a full output flush only takes buffers away. */
bool Device::gives_idle_worker_work(const Request &request)
{
    if (const auto *state = std::get_if<StateRequest>(&request))
        return state->state == ZVX_BASE_HW_STATE_RUNNING;
    const auto *flush = std::get_if<FlushRequest>(&request);
    return flush != nullptr && ((flush->flags & ZVX_BASE_FLUSH_INPUT_PORT) != 0 || is_quick_flush(flush->flags));
}

/* An event already waiting is taken without the device's lock, which the worker may be taking again
 * just after it published. */
EventPtr Device::get_event(uint32_t timeout_ms)
{
    if (EventPtr event = events_.pop())
        return event;
    std::unique_lock lock(mutex_);
    event_cv_.wait_for(lock, std::chrono::milliseconds(timeout_ms), [this] { return closed_ || events_.size() > 0; });
    return events_.pop();
}

OMX_ERRORTYPE Device::get_parameter(uint32_t index, uint32_t size, void *record)
{
    if (record == nullptr)
        return OMX_ErrorBadParameter;
    std::lock_guard guard(mutex_);
    if (closed_)
        return OMX_ErrorHardware;
    const uint32_t port =
        size >= ZVXP_PORT_WORD_OFFSET + sizeof(uint32_t) ? zvxp_word_at(record, ZVXP_PORT_WORD_OFFSET) : 0;
    switch (index) {
    case OMX_IndexParamPortDefinition: {
        if (size < sizeof(zvx_dev_port_definition))
            return OMX_ErrorBadParameter;
        if (port > OUTPUT_PORT)
            return OMX_ErrorBadPortIndex;
        const zvx_dev_port_definition answer = answer_port_definition(parameters_, port, stream_facts());
        std::memcpy(record, &answer, sizeof(answer));
        return OMX_ErrorNone;
    }
    case OMX_IndexParamVideoPortFormat: {
        if (size < sizeof(zvx_dev_port_format))
            return OMX_ErrorBadParameter;
        if (port > OUTPUT_PORT)
            return OMX_ErrorBadPortIndex;
        const zvx_dev_port_format answer =
            answer_port_format(parameters_, port, zvxp_word_at(record, ZVXP_FORMAT_INDEX_WORD_OFFSET), stream_facts());
        std::memcpy(record, &answer, sizeof(answer));
        return OMX_ErrorNone;
    }
    case ZVX_DEV_INDEX_SEQUENCE_PARAMETERS: {
        if (size < sizeof(zvx_dev_sequence_parameters))
            return OMX_ErrorBadParameter;
        const zvx_dev_sequence_parameters answer = answer_sequence_parameters(port, stream_facts());
        std::memcpy(record, &answer, sizeof(answer));
        return OMX_ErrorNone;
    }
    default:
        return parameters_.get(index, size, record);
    }
}

OMX_ERRORTYPE Device::set_parameter(uint32_t index, uint32_t size, const void *record)
{
    const EngineLock lock(*this);
    if (closed_)
        return OMX_ErrorHardware;
    const OMX_ERRORTYPE stored = parameters_.set(index, size, record);
    if (stored == OMX_ErrorNone && engine_ != nullptr)
        records_set_.push_back({inputs_queued_, index});
    return stored;
}

OMX_ERRORTYPE Device::get_config(uint32_t index, uint32_t size, void *record)
{
    std::lock_guard guard(mutex_);
    if (closed_)
        return OMX_ErrorHardware;
    return configs_.get(index, size, record);
}

OMX_ERRORTYPE Device::set_config(uint32_t index, uint32_t size, const void *record)
{
    std::lock_guard guard(mutex_);
    if (closed_)
        return OMX_ErrorHardware;
    return configs_.set(index, size, record);
}

OMX_ERRORTYPE Device::register_buffer(uint32_t port, const zvx_base_buffer_userspace &descriptor)
{
    if (port > OUTPUT_PORT)
        return OMX_ErrorBadPortIndex;
    /* Only process memory can be written from here: the handle must be its address. */
    if (descriptor.allocator != ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC)
        return OMX_ErrorUnsupportedSetting;
    if (descriptor.handle == 0 || descriptor.size == 0)
        return OMX_ErrorBadParameter;
    std::lock_guard guard(mutex_);
    if (closed_)
        return OMX_ErrorHardware;
    if (registered_.contains(descriptor.buffer_id))
        return OMX_ErrorBadParameter;
    if (kernel_allocation_fails())
        return OMX_ErrorInsufficientResources;
    registered_.emplace(descriptor.buffer_id, RegisteredBuffer{descriptor, port});
    return OMX_ErrorNone;
}

void Device::unregister_buffer(zvx_base_buffer_handle_t buffer_id)
{
    const EngineLock lock(*this);
    const auto found = registered_.find(buffer_id);
    if (found == registered_.end())
        return;
    if (found->second.queued) {
        std::erase_if(queued_[found->second.port],
                      [buffer_id](const zvx_base_buffer_details &queued) { return queued.buffer_id == buffer_id; });
        if (found->second.port == INPUT_PORT)
            ++inputs_consumed_;
        ++buffers_dropped_;
        ++totals_.buffers_dropped;
    }
    registered_.erase(found);
}

OMX_ERRORTYPE Device::queue_buffer(uint32_t port, const zvx_base_buffer_details &details)
{
    {
        std::lock_guard guard(mutex_);
        if (!session_active_)
            return OMX_ErrorIncorrectStateOperation;
        const auto found = registered_.find(details.buffer_id);
        if (found == registered_.end())
            return OMX_ErrorBadParameter;
        RegisteredBuffer &buffer = found->second;
        if (buffer.port != port)
            return OMX_ErrorBadPortIndex;
        if (buffer.queued)
            return OMX_ErrorIncorrectStateOperation;
        buffer.queued = true;
        queued_[port].push_back(details);
        if (port == INPUT_PORT)
            ++inputs_queued_;
    }
    work_cv_.notify_one();
    return OMX_ErrorNone;
}

/* The worker is woken for the new delays and faults. */
void Device::set_script(const zvx_dev_script &script)
{
    {
        const EngineLock lock(*this);
        script_ = script;
        if (engine_ != nullptr)
            engine_->script_changed();
    }
    work_cv_.notify_one();
}

zvx_dev_stats Device::stats()
{
    std::lock_guard guard(mutex_);
    zvx_dev_stats stats{};
    stats.session_active = session_active_;
    stats.hung = hung_;
    stats.hw_state = hw_state_;
    for (const auto &[id, buffer] : registered_)
        ++stats.registered_buffers[buffer.port];
    for (uint32_t port = 0; port < queued_.size(); ++port)
        stats.held_buffers[port] = static_cast<uint32_t>(queued_[port].size());
    stats.pictures_consumed = next_picture_;
    stats.pictures_output = pictures_output_;
    stats.events_sent = events_sent_;
    stats.events_pending = events_.size();
    stats.buffers_dropped = buffers_dropped_;
    return stats;
}

StreamFacts Device::stream_facts() const
{
    return {decoder_, announced_, buffers_needed_, script_.reorder_depth > 0};
}

} // namespace zvx_dev
