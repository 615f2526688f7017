// The codec's side of a device: one worker thread that picks the next thing the hardware would do,
// waits as long as the script says it takes, has the engine do it and answers with events.
#include "zvx_dev_device.h"

#include <OMX_Core.h>

#include <algorithm>
#include <cstring>

namespace zvx_dev {

namespace {

/* Consumed inputs held back at most, when returns are shuffled. */
constexpr size_t ZVXP_SHUFFLE_WINDOW = 4;
constexpr uint32_t ZVXP_CHROMA_FORMAT_420 = 1;
constexpr uint32_t ZVXP_BUFFER_PARAM_COLOUR_DESCRIPTION = 15;

uint16_t zvxp_clamp16(uint32_t value)
{
    return static_cast<uint16_t>(std::min<uint32_t>(value, UINT16_MAX));
}

uint8_t zvxp_clamp8(uint32_t value)
{
    return static_cast<uint8_t>(std::min<uint32_t>(value, UINT8_MAX));
}

} // namespace

Device::EngineStep::EngineStep(Device &device, Lock &lock) : device_(device), lock_(lock)
{
    device_.busy_ = true;
    lock_.unlock();
}

Device::EngineStep::~EngineStep()
{
    lock_.lock();
    device_.busy_ = false;
    if (device_.engine_waiters_ > 0)
        device_.idle_cv_.notify_all();
}

void Device::run()
{
    Lock lock(mutex_);
    while (!stopping_) {
        if (engine_waiters_ > 0)
            deferred_for_host_ = true;
        const Operation operation = engine_waiters_ > 0 ? Operation::none : next_operation();
        if (operation == Operation::none) {
            release_shuffled();
            if (events_pushed_) {
                wake_event_waiters(lock);
                continue;
            }
            ready_at_.reset();
            wait_for_work(lock);
            continue;
        }
        /* The wait is re-checked: a request that arrives meanwhile is done at the same deadline. */
        const uint32_t delay_us = delay_of(operation);
        if (delay_us > 0) {
            const Clock::time_point now = Clock::now();
            if (!ready_at_)
                ready_at_ = now + std::chrono::microseconds(delay_us);
            if (now < *ready_at_) {
                work_cv_.wait_until(lock, *ready_at_);
                continue;
            }
        }
        ready_at_.reset();
        perform(operation, lock);
        if (events_pushed_)
            wake_event_waiters(lock);
    }
}

/* Until a request, a buffer or the end of a put-off decode's wait. */
void Device::wait_for_work(Lock &lock)
{
    worker_waiting_ = true;
    if (decode_put_off())
        work_cv_.wait_until(lock, *decode_not_before_);
    else
        work_cv_.wait(lock);
    worker_waiting_ = false;
}

/* Whether a decode is still put off for the client's pace; a wait that has ended is forgotten. */
bool Device::decode_put_off()
{
    if (decode_not_before_ && Clock::now() >= *decode_not_before_)
        decode_not_before_.reset();
    return decode_not_before_.has_value();
}

/* The host is woken, through the descriptor and the condition, once the lock is free, so that it does
 * not wake only to wait for it. */
void Device::wake_event_waiters(Lock &lock)
{
    events_pushed_ = false;
    lock.unlock();
    events_.publish();
    event_cv_.notify_all();
    lock.lock();
}

Device::Operation Device::next_operation()
{
    if (!session_active_ || hung_)
        return Operation::none;
    if (!requests_.empty())
        return Operation::request;
    if (hw_state_ != ZVX_BASE_HW_STATE_RUNNING)
        return Operation::none;
    StreamItem *item = engine_->front();
    if (item != nullptr && std::holds_alternative<Announcement>(*item))
        return Operation::announce;
    if (reject_stale_ && find_output(true))
        return Operation::reject_stale;
    if (item != nullptr && find_output(false))
        return Operation::output;
    /* A buffer back while the decode is put off: the client is ahead of its pace. A seeking GStreamer, for
     * one, gives the sink's buffer back while its streaming thread waits for an input buffer, and the
     * seek waits for that thread; one more input goes back at once. */
    if (item == nullptr && !copied_inputs_.empty() && copied_inputs_.size() < MAX_COPIED_INPUTS &&
        !queued_[INPUT_PORT].empty() && decode_put_off() && find_output(false))
        return Operation::copy_input;
    /* A ready picture waits for the client's next output buffer, whether the client is setting its buffers
     * up or showing them. A decode started meanwhile would keep the picture from that buffer for a whole
     * picture's time, and decoding ahead of the client only makes a flush wait for the decode. */
    if (item != nullptr && engine_->consume_takes_long()) {
        picture_waits_for_client_ = true;
        return Operation::none;
    }
    const size_t in_flight_limit = std::max(script_.max_pictures_in_flight, script_.reorder_depth + 1);
    if ((!copied_inputs_.empty() || !queued_[INPUT_PORT].empty()) && engine_->pictures_in_flight() < in_flight_limit &&
        !decode_put_off())
        return Operation::input;
    return Operation::none;
}

uint32_t Device::delay_of_request(const Request &request) const
{
    if (std::holds_alternative<StateRequest>(request))
        return script_.delays.state_change_us;
    if (std::holds_alternative<FlushRequest>(request))
        return script_.delays.flush_us;
    return 0;
}

uint32_t Device::delay_of(Operation operation) const
{
    switch (operation) {
    case Operation::request:
        return delay_of_request(requests_.front());
    case Operation::input:
        return script_.delays.input_us;
    case Operation::output:
    case Operation::reject_stale:
        return script_.delays.output_us;
    default:
        return 0;
    }
}

void Device::perform(Operation operation, Lock &lock)
{
    switch (operation) {
    case Operation::request: {
        const Request request = std::move(requests_.front());
        requests_.pop_front();
        answer_request(request);
        break;
    }
    case Operation::announce: {
        const Announcement announcement = std::get<Announcement>(*engine_->front());
        engine_->pop_front();
        announce(announcement);
        break;
    }
    case Operation::reject_stale:
        reject_output(*find_output(true));
        break;
    case Operation::output:
        produce_output(lock);
        break;
    case Operation::copy_input:
        give_next_input_back_early(lock);
        break;
    case Operation::input:
        consume_input(lock);
        break;
    case Operation::none:
        break;
    }
}

void Device::answer_request(const Request &request)
{
    if (const auto *state = std::get_if<StateRequest>(&request)) {
        answer_state_change(state->state);
    } else if (const auto *flush_request = std::get_if<FlushRequest>(&request)) {
        flush(flush_request->flags);
    } else if (const auto *release = std::get_if<RefReleaseRequest>(&request)) {
        /* No reference outlives its output here, so every release is confirmed at once. */
        send(ZVX_BASE_EVENT_REF_FRAME_RELEASED, &release->buffer_id, sizeof(release->buffer_id));
    } else {
        fire(std::get<zvx_dev_fault>(request));
    }
}

void Device::answer_state_change(int32_t state)
{
    if (state != ZVX_BASE_HW_STATE_STOPPED && state != ZVX_BASE_HW_STATE_RUNNING &&
        state != ZVX_BASE_HW_STATE_PENDING) {
        fire({zvx_dev_fault_kind::error_event, 0, 1, static_cast<uint32_t>(OMX_ErrorBadParameter),
              "Unknown hardware state requested."});
        return;
    }
    hw_state_ = state;
    send(ZVX_BASE_EVENT_STATE_CHANGED, &state, sizeof(state));
}

void Device::flush(uint32_t flags)
{
    if (is_quick_flush(flags)) {
        for (auto &[id, buffer] : registered_)
            buffer.stale = false;
        reject_stale_ = false;
        return;
    }
    release_shuffled();
    std::vector<uint32_t> ports;
    if ((flags & ZVX_BASE_FLUSH_INPUT_PORT) != 0)
        ports.push_back(INPUT_PORT);
    if ((flags & ZVX_BASE_FLUSH_OUTPUT_PORT) != 0)
        ports.push_back(OUTPUT_PORT);
    if (script_.shuffle_events && ports.size() == 2 && shuffle_random_() % 2 == 1)
        std::swap(ports[0], ports[1]);
    for (const uint32_t port : ports) {
        while (!queued_[port].empty()) {
            const zvx_base_buffer_details held = queued_[port].front();
            zvx_base_buffer_userspace returned = returned_descriptor(held);
            if (port == OUTPUT_PORT) {
                returned.filled_len = 0;
                returned.flags = 0;
            }
            return_buffer(port, held.buffer_id, returned);
        }
        if (port == INPUT_PORT) {
            copied_inputs_.clear();
            decode_not_before_.reset();
            picture_waits_for_client_ = false;
            inputs_consumed_ = inputs_queued_;
            deliver_records_set_before(inputs_consumed_);
            engine_->flush();
        } else {
            for (auto &[id, buffer] : registered_)
                buffer.stale = false;
            reject_stale_ = false;
        }
        send(port == INPUT_PORT ? ZVX_BASE_EVENT_INPUT_FLUSHED : ZVX_BASE_EVENT_OUTPUT_FLUSHED, nullptr, 0);
    }
}

void Device::fire(const zvx_dev_fault &fault)
{
    switch (fault.kind) {
    case zvx_dev_fault_kind::reject_outputs:
        rejects_pending_ += fault.count;
        break;
    case zvx_dev_fault_kind::session_hung:
        send(ZVX_BASE_EVENT_SESSION_HUNG, nullptr, 0);
        hung_ = true;
        break;
    case zvx_dev_fault_kind::error_event: {
        std::vector<uint8_t> payload(sizeof(fault.error_code) + fault.message.size() + 1, 0);
        std::memcpy(payload.data(), &fault.error_code, sizeof(fault.error_code));
        std::memcpy(payload.data() + sizeof(fault.error_code), fault.message.data(), fault.message.size());
        send(ZVX_BASE_EVENT_ERROR, payload.data(), zvxp_clamp16(static_cast<uint32_t>(payload.size())));
        break;
    }
    }
}

void Device::announce(const Announcement &announcement)
{
    announced_ = announcement;
    pace_.forget();
    const std::optional<zvx_dev_port_definition> output = parameters_.port_definition(OUTPUT_PORT);
    const uint32_t codec_needs =
        announcement.buffers_needed != 0 ? announcement.buffers_needed : script_.output_buffers_needed;
    buffers_needed_ = std::max(codec_needs, output ? output->nBufferCountMin : 0);

    zvx_base_fw_frame_alloc_parameters allocation{};
    allocation.planar_alloc_frame_width = zvxp_clamp16(announcement.frame.width);
    allocation.planar_alloc_frame_height = zvxp_clamp16(announcement.frame.height);
    allocation.cropx = zvxp_clamp16(announcement.geometry.width);
    allocation.cropy = zvxp_clamp16(announcement.geometry.height);
    switch (announcement.report) {
    case zvx_dev_report::sequence_params: {
        send(ZVX_BASE_EVENT_ALLOC_PARAMS, &allocation, sizeof(allocation));
        zvx_base_response_sequence_parameters sequence{};
        sequence.chroma_format = ZVXP_CHROMA_FORMAT_420;
        sequence.bitdepth_luma = announcement.bit_depth;
        sequence.bitdepth_chroma = announcement.bit_depth;
        sequence.num_buffers_planar = zvxp_clamp8(buffers_needed_);
        sequence.num_buffers_tcx = zvxp_clamp8(buffers_needed_);
        send(ZVX_BASE_EVENT_SEQUENCE_PARAMS, &sequence, sizeof(sequence));
        break;
    }
    case zvx_dev_report::port_definition: {
        const uint32_t notice[2] = {ZVX_DEV_GENERIC_PORT_DEFINITION_CHANGED, OUTPUT_PORT};
        send(ZVX_BASE_EVENT_GENERIC, notice, sizeof(notice));
        break;
    }
    case zvx_dev_report::vp9_allocation:
        send(ZVX_BASE_EVENT_ALLOC_PARAMS, &allocation, sizeof(allocation));
        break;
    }
    if (announcement.colour) {
        zvx_base_buffer_param colour{};
        colour.type = ZVXP_BUFFER_PARAM_COLOUR_DESCRIPTION;
        colour.data.colour_description.range = announcement.colour->range;
        colour.data.colour_description.colour_primaries = announcement.colour->primaries;
        colour.data.colour_description.transfer_characteristics = announcement.colour->transfer;
        colour.data.colour_description.matrix_coeff = announcement.colour->matrix;
        send(ZVX_BASE_EVENT_BUFFER_PARAM, &colour, sizeof(colour));
    }
    for (auto &[id, buffer] : registered_) {
        if (buffer.port == OUTPUT_PORT)
            buffer.stale = true;
    }
    reject_stale_ = announcement.report == zvx_dev_report::vp9_allocation;
}

/* The input stays queued while the engine reads it unlocked: the host can neither take it back nor
 * queue it again meanwhile. An input given back early is read from its copy. */
void Device::consume_input(Lock &lock)
{
    const bool copied = !copied_inputs_.empty();
    const zvx_base_buffer_details input = copied ? copied_inputs_.front().details : queued_[INPUT_PORT].front();
    const bool has_picture = input.filled_len > 0;
    EngineInput taken;
    if (copied) {
        taken.data = copied_inputs_.front().bytes;
    } else {
        const zvx_base_buffer_userspace &source = registered_.at(input.buffer_id).descriptor;
        taken.data = {reinterpret_cast<const uint8_t *>(source.handle), std::min(input.filled_len, source.size)};
    }
    taken.timestamp = input.timestamp;
    taken.flags = input.flags;
    taken.number = next_picture_;
    deliver_records_set_before(inputs_consumed_++);
    Clock::duration took{};
    {
        const EngineStep step(*this, lock);
        const Clock::time_point began = Clock::now();
        engine_->consume(taken);
        took = Clock::now() - began;
    }
    pace_.decoded_in(took);
    if (copied)
        copied_inputs_.pop_front();
    report_stream_errors();
    std::optional<uint32_t> number;
    if (has_picture)
        number = next_picture_++;
    if (!copied)
        give_input_back(input);

    if (!number)
        return;
    auto &faults = script_.faults;
    for (auto fault = faults.begin(); fault != faults.end();) {
        if (fault->at_frame == *number) {
            fire(*fault);
            fault = faults.erase(fault);
        } else {
            ++fault;
        }
    }
}

void Device::give_input_back(const zvx_base_buffer_details &input)
{
    zvx_base_buffer_userspace returned = returned_descriptor(input);
    returned.filled_len = 0;
    return_buffer(INPUT_PORT, input.buffer_id, returned);
}

/* After a picture went out: a client that took it the moment it gave its buffer back sets the pace, and
 * the next decode waits for the slack that leaves. Its input goes back at once all the same, as from
 * hardware that copies the bitstream in before decoding it: a client waiting for an input buffer, as a
 * seeking GStreamer's streaming thread does with its demuxer's lock held, must not wait for the pace. */
void Device::pace_next_decode(Lock &lock)
{
    if (!picture_waits_for_client_) {
        pace_.device_set_the_pace();
        return;
    }
    picture_waits_for_client_ = false;
    const Clock::time_point now = Clock::now();
    const Clock::duration slack = pace_.slack();
    pace_.client_took_waiting_picture(now);
    if (slack == Clock::duration::zero())
        return;
    decode_not_before_ = now + slack;
    give_next_input_back_early(lock);
}

void Device::give_next_input_back_early(Lock &lock)
{
    if (copied_inputs_.size() >= MAX_COPIED_INPUTS || queued_[INPUT_PORT].empty())
        return;
    const zvx_base_buffer_details input = queued_[INPUT_PORT].front();
    const zvx_base_buffer_userspace &source = registered_.at(input.buffer_id).descriptor;
    const auto *bytes = reinterpret_cast<const uint8_t *>(source.handle);
    CopiedInput &copy = copied_inputs_.emplace_back();
    copy.details = input;
    {
        const EngineStep step(*this, lock);
        copy.bytes.assign(bytes, bytes + std::min(input.filled_len, source.size));
    }
    give_input_back(input);
}

void Device::deliver_records_set_before(uint64_t input)
{
    while (!records_set_.empty() && records_set_.front().from_input <= input) {
        engine_->parameter_set(records_set_.front().index);
        records_set_.pop_front();
    }
}

void Device::report_stream_errors()
{
    while (std::optional<StreamError> error = engine_->take_error())
        fire({zvx_dev_fault_kind::error_event, 0, 1, error->error_code, error->message});
}

/* The engine's front item and the output buffer stay put while a write runs unlocked: only the
 * worker takes items, a flush is the worker's own, and unregistering or ending the session waits. */
void Device::produce_output(Lock &lock)
{
    const zvx_base_buffer_details output = *find_output(false);
    Picture &picture = std::get<Picture>(*engine_->front());
    if (rejects_pending_ > 0) {
        --rejects_pending_;
        reject_output(output);
        return;
    }
    if (picture.empty) {
        zvx_base_buffer_userspace returned = returned_descriptor(output);
        returned.filled_len = 0;
        returned.flags = OMX_BUFFERFLAG_EOS;
        returned.timestamp = picture.timestamp;
        engine_->pop_front();
        return_buffer(OUTPUT_PORT, output.buffer_id, returned);
        return;
    }
    if (decoder_)
        produce_picture(lock, output, picture);
    else
        produce_bitstream(lock, output, picture);
}

void Device::produce_picture(Lock &lock, const zvx_base_buffer_details &output, const Picture &picture)
{
    /* The host's own stride and slice height, not the ones the stream would ask for: each buffer's as
     * it was registered, which outlive a port definition the host changed without telling the session. */
    const zvx_dev_port_definition definition = answer_port_definition(parameters_, OUTPUT_PORT, StreamFacts{});
    const zvx_base_buffer_userspace &target = registered_.at(output.buffer_id).descriptor;
    PictureTarget layout;
    layout.memory = {reinterpret_cast<uint8_t *>(target.handle), target.size};
    layout.color_format = definition.eColorFormat;
    layout.stride = target.stride != 0 ? target.stride : definition.nStride;
    layout.slice_height = target.height != 0 ? target.height : definition.nSliceHeight;
    std::optional<WrittenPicture> written;
    {
        const EngineStep step(*this, lock);
        written = engine_->write_picture(picture, layout);
    }
    if (!written) {
        reject_output(output);
        return;
    }

    zvx_base_buffer_userspace returned = returned_descriptor(output);
    returned.timestamp = picture.timestamp;
    returned.filled_len = written->filled_bytes;
    returned.flags = OMX_BUFFERFLAG_ENDOFFRAME | (picture.eos ? OMX_BUFFERFLAG_EOS : 0);
    returned.width = written->frame.width;
    returned.height = written->frame.height;
    returned.stride = written->stride;
    returned.decoded_width = written->frame.width;
    returned.decoded_height = written->frame.height;
    returned.cropx = zvxp_clamp16(picture.geometry.width);
    returned.cropy = zvxp_clamp16(picture.geometry.height);
    returned.pic_index = picture.number;
    engine_->pop_front();
    ++pictures_output_;
    return_buffer(OUTPUT_PORT, output.buffer_id, returned);
    pace_next_decode(lock);
}

void Device::produce_bitstream(Lock &lock, const zvx_base_buffer_details &output, Picture &picture)
{
    const zvx_base_buffer_userspace &target = registered_.at(output.buffer_id).descriptor;
    const uint32_t length = engine_->bitstream_length(picture);
    const uint32_t chunk = std::min(length - picture.bytes_sent, target.size);
    const std::span<uint8_t> memory(reinterpret_cast<uint8_t *>(target.handle), chunk);
    {
        const EngineStep step(*this, lock);
        engine_->write_bitstream(picture, picture.bytes_sent, memory);
    }
    picture.bytes_sent += chunk;
    const bool complete = picture.bytes_sent == length;

    zvx_base_buffer_userspace returned = returned_descriptor(output);
    returned.timestamp = picture.timestamp;
    returned.filled_len = chunk;
    returned.flags = (picture.key ? OMX_BUFFERFLAG_SYNCFRAME : 0) | (complete ? OMX_BUFFERFLAG_ENDOFFRAME : 0) |
                     (complete && picture.eos ? OMX_BUFFERFLAG_EOS : 0) |
                     (picture.codec_config ? OMX_BUFFERFLAG_CODECCONFIG : 0);
    returned.pic_index = picture.number;
    if (complete) {
        if (!picture.codec_config)
            ++pictures_output_;
        engine_->pop_front();
    }
    return_buffer(OUTPUT_PORT, output.buffer_id, returned);
}

void Device::reject_output(const zvx_base_buffer_details &output)
{
    zvx_base_buffer_userspace returned = returned_descriptor(output);
    returned.filled_len = 0;
    returned.flags = 0;
    returned.zvx_flags |= ZVX_DEV_ZVX_FLAG_REJECTED;
    return_buffer(OUTPUT_PORT, output.buffer_id, returned);
}

zvx_base_buffer_userspace Device::returned_descriptor(const zvx_base_buffer_details &details) const
{
    zvx_base_buffer_userspace returned = registered_.at(details.buffer_id).descriptor;
    returned.timestamp = details.timestamp;
    returned.filled_len = details.filled_len;
    returned.offset = 0;
    returned.flags = details.flags;
    returned.zvx_flags = details.zvx_flags;
    return returned;
}

/* By id: a buffer the host queued meanwhile moved the others in the deque. */
void Device::return_buffer(uint32_t port, zvx_base_buffer_handle_t buffer_id, const zvx_base_buffer_userspace &returned)
{
    auto &queued = queued_[port];
    const auto held = std::find_if(queued.begin(), queued.end(), [buffer_id](const zvx_base_buffer_details &details) {
        return details.buffer_id == buffer_id;
    });
    if (held == queued.end())
        return;
    registered_.at(buffer_id).queued = false;
    queued.erase(held);
    send_buffer_return(port == INPUT_PORT ? ZVX_BASE_EVENT_INPUT : ZVX_BASE_EVENT_OUTPUT, returned);
}

std::optional<zvx_base_buffer_details> Device::find_output(bool stale) const
{
    const auto &outputs = queued_[OUTPUT_PORT];
    const auto found = std::find_if(outputs.begin(), outputs.end(), [&](const zvx_base_buffer_details &details) {
        return registered_.at(details.buffer_id).stale == stale;
    });
    if (found == outputs.end())
        return std::nullopt;
    return *found;
}

void Device::send(uint16_t code, const void *payload, uint16_t size)
{
    release_shuffled();
    push_event(make_event(code, payload, size));
}

/* Input returns may overtake each other and outputs: the host puts its input buffers back in
 * order itself. Everything else keeps its place. */
void Device::send_buffer_return(uint16_t code, const zvx_base_buffer_userspace &descriptor)
{
    EventPtr event = make_event(code, &descriptor, sizeof(descriptor));
    if (!script_.shuffle_events || code != ZVX_BASE_EVENT_INPUT) {
        push_event(std::move(event));
        return;
    }
    shuffled_.push_back(std::move(event));
    if (shuffled_.size() < ZVXP_SHUFFLE_WINDOW)
        return;
    const size_t pick = shuffle_random_() % shuffled_.size();
    push_event(std::move(shuffled_[pick]));
    shuffled_.erase(shuffled_.begin() + static_cast<std::ptrdiff_t>(pick));
}

void Device::release_shuffled()
{
    while (!shuffled_.empty()) {
        const size_t pick = shuffle_random_() % shuffled_.size();
        push_event(std::move(shuffled_[pick]));
        shuffled_.erase(shuffled_.begin() + static_cast<std::ptrdiff_t>(pick));
    }
}

void Device::push_event(EventPtr event)
{
    if (event == nullptr)
        return;
    const uint16_t code = event->code;
    events_.push(std::move(event));
    ++events_sent_[code];
    ++totals_.events_sent[code];
    events_pushed_ = true;
}

} // namespace zvx_dev
