#include "zvx_omx_sequence_client.h"

#include <OMX_Core.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr OMX_U32 ZVXP_VERSION = 0x00020101; /* 1.1.2.0 */

char ZVXP_DECODER[] = "OMX.DHQ.video.k7nn.decoder";
char ZVXP_ENCODER[] = "OMX.DHQ.video.k7nn.encoder";

const char *zvxp_error(OMX_ERRORTYPE error)
{
    static thread_local char text[16];
    if (error == OMX_ErrorNone) {
        return "ok";
    }
    (void)std::snprintf(text, sizeof(text), "0x%08x", static_cast<unsigned>(error));
    return text;
}

const char *zvxp_event_name(OMX_EVENTTYPE event)
{
    switch (event) {
    case OMX_EventCmdComplete:
        return "CmdComplete";
    case OMX_EventError:
        return "Error";
    case OMX_EventMark:
        return "Mark";
    case OMX_EventPortSettingsChanged:
        return "PortSettingsChanged";
    case OMX_EventBufferFlag:
        return "BufferFlag";
    default:
        return "Event";
    }
}

} // namespace

const char *zvx_seq_component_name(zvx_seq_kind kind)
{
    return kind == zvx_seq_kind::decoder ? ZVXP_DECODER : ZVXP_ENCODER;
}

zvx_seq_client::zvx_seq_client(zvx_seq_kind kind, zvx_seq_trace &trace) : kind_(kind), trace_(trace)
{
    foreign_.nSize = sizeof(foreign_);
    foreign_.nVersion.nVersion = ZVXP_VERSION;
    mark_.hMarkTargetComponent = nullptr;
    mark_.pMarkData = &mark_;
}

zvx_seq_client::~zvx_seq_client()
{
    if (handle_ != nullptr) {
        free_handle();
    }
}

OMX_ERRORTYPE zvx_seq_client::open(OMX_U32 width, OMX_U32 height)
{
    OMX_CALLBACKTYPE callbacks = {on_event, on_empty_done, on_fill_done};
    const char *name = zvx_seq_component_name(kind_);
    OMX_ERRORTYPE error = OMX_GetHandle(&handle_, const_cast<char *>(name), this, &callbacks);
    trace_.add("GetHandle(%s) -> %s", name, zvxp_error(error));
    if (error != OMX_ErrorNone) {
        handle_ = nullptr;
        return error;
    }
    OMX_PARAM_PORTDEFINITIONTYPE input;
    error = get_port(INPUT, &input);
    if (error != OMX_ErrorNone) {
        return error;
    }
    input.format.video.nFrameWidth = width;
    input.format.video.nFrameHeight = height;
    input.format.video.nStride = static_cast<OMX_S32>(width);
    input.format.video.nSliceHeight = height;
    return set_port(input);
}

OMX_ERRORTYPE zvx_seq_client::free_handle()
{
    {
        // A reaction already decided calls into the handle: it must be over before the handle goes.
        std::unique_lock lock(mutex_);
        model_.handle_freeing();
        quiet_ = true;
        changed_.wait(lock, [this] { return reacting_ == 0; });
    }
    const OMX_ERRORTYPE error = OMX_FreeHandle(handle_);
    trace_.add("FreeHandle -> %s", zvxp_error(error));
    std::lock_guard lock(mutex_);
    model_.handle_freed();
    report_new();
    handle_ = nullptr;
    buffers_.clear();
    stale_.clear();
    changed_.notify_all();
    return error;
}

void zvx_seq_client::set_reactions(zvx_seq_reactions reactions)
{
    std::lock_guard lock(mutex_);
    reaction_random_ = zvx_seq_random(reactions.seed);
    reactions_ = std::move(reactions);
    quiet_ = false;
}

void zvx_seq_client::quiet()
{
    std::lock_guard lock(mutex_);
    quiet_ = true;
}

OMX_ERRORTYPE zvx_seq_client::send_command(OMX_COMMANDTYPE command, OMX_U32 param)
{
    uint64_t id;
    {
        std::lock_guard lock(mutex_);
        id = model_.command_sending(command, param);
    }
    const OMX_ERRORTYPE error =
        OMX_SendCommand(handle_, command, param, command == OMX_CommandMarkBuffer ? &mark_ : nullptr);
    const uint64_t returned_at = model_.stamp();
    trace_.add("SendCommand %s -> %s", zvx_seq_describe_command(command, param).c_str(), zvxp_error(error));
    std::lock_guard lock(mutex_);
    model_.command_sent(id, error, returned_at);
    report_new();
    changed_.notify_all();
    return error;
}

OMX_ERRORTYPE zvx_seq_client::get_state(OMX_STATETYPE *state)
{
    uint64_t epoch;
    {
        std::lock_guard lock(mutex_);
        epoch = model_.epoch();
    }
    const OMX_ERRORTYPE error = OMX_GetState(handle_, state);
    trace_.add("GetState -> %s %s", zvxp_error(error), zvx_seq_state_name(*state));
    if (error == OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        model_.check_state(*state, epoch);
        report_new();
    }
    return error;
}

OMX_ERRORTYPE zvx_seq_client::get_port(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    std::memset(definition, 0, sizeof(*definition));
    definition->nSize = sizeof(*definition);
    definition->nVersion.nVersion = ZVXP_VERSION;
    definition->nPortIndex = port;
    uint64_t epoch;
    {
        std::lock_guard lock(mutex_);
        epoch = model_.epoch();
    }
    const OMX_ERRORTYPE error = OMX_GetParameter(handle_, OMX_IndexParamPortDefinition, definition);
    trace_.add("GetParameter(PortDefinition %u) -> %s enabled=%d populated=%d count=%u/min %u size=%u",
               static_cast<unsigned>(port), zvxp_error(error), static_cast<int>(definition->bEnabled),
               static_cast<int>(definition->bPopulated), static_cast<unsigned>(definition->nBufferCountActual),
               static_cast<unsigned>(definition->nBufferCountMin), static_cast<unsigned>(definition->nBufferSize));
    if (error == OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        model_.check_port_definition(*definition, epoch);
        report_new();
    }
    return error;
}

OMX_ERRORTYPE zvx_seq_client::set_port(const OMX_PARAM_PORTDEFINITIONTYPE &definition, bool wrong_size,
                                       bool wrong_version)
{
    OMX_PARAM_PORTDEFINITIONTYPE record = definition;
    record.nSize = wrong_size ? sizeof(record) - 8 : sizeof(record);
    record.nVersion.nVersion = wrong_version ? 0x00020102 /* 2.1.2.0 */ : ZVXP_VERSION;
    uint64_t epoch;
    {
        std::lock_guard lock(mutex_);
        epoch = model_.epoch();
    }
    const OMX_ERRORTYPE error = OMX_SetParameter(handle_, OMX_IndexParamPortDefinition, &record);
    trace_.add("SetParameter(PortDefinition %u count=%u%s%s) -> %s", static_cast<unsigned>(definition.nPortIndex),
               static_cast<unsigned>(definition.nBufferCountActual), wrong_size ? " short" : "",
               wrong_version ? " wrong version" : "", zvxp_error(error));
    {
        std::lock_guard lock(mutex_);
        model_.check_set_port_definition(definition.nPortIndex, !wrong_size && !wrong_version, error, epoch);
        report_new();
    }
    if (error != OMX_ErrorNone || wrong_size || wrong_version) {
        return error;
    }
    OMX_PARAM_PORTDEFINITIONTYPE read;
    if (get_port(definition.nPortIndex, &read) == OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        model_.check_read_back(definition, read, epoch);
        report_new();
    }
    return error;
}

OMX_ERRORTYPE zvx_seq_client::allocate(OMX_U32 port, OMX_U32 size, bool use_client_memory, OMX_BUFFERHEADERTYPE **out)
{
    std::unique_ptr<OMX_U8[]> memory;
    if (use_client_memory) {
        memory = std::make_unique<OMX_U8[]>(size == 0 ? 1 : size);
    }
    OMX_BUFFERHEADERTYPE *header = nullptr;
    const OMX_ERRORTYPE error = use_client_memory ? OMX_UseBuffer(handle_, &header, port, nullptr, size, memory.get())
                                                  : OMX_AllocateBuffer(handle_, &header, port, nullptr, size);
    std::lock_guard lock(mutex_);
    if (error != OMX_ErrorNone || header == nullptr) {
        trace_.add("%s(port %u, %u bytes) -> %s", use_client_memory ? "UseBuffer" : "AllocateBuffer",
                   static_cast<unsigned>(port), static_cast<unsigned>(size), zvxp_error(error));
        return error;
    }
    const uint32_t number = port < 2 ? next_number_[port]++ : 0;
    buffers_.push_back({header, port, number, std::move(memory)});
    std::erase(stale_, header);
    model_.buffer_registered(header, port);
    report_new();
    trace_.add("%s(port %u, %u bytes) -> ok %s=%p", use_client_memory ? "UseBuffer" : "AllocateBuffer",
               static_cast<unsigned>(port), static_cast<unsigned>(size), name_of(header), static_cast<void *>(header));
    if (out != nullptr) {
        *out = header;
    }
    return error;
}

OMX_ERRORTYPE zvx_seq_client::free_buffer(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    {
        std::lock_guard lock(mutex_);
        model_.free_starting(header);
    }
    const OMX_ERRORTYPE error = OMX_FreeBuffer(handle_, port, header);
    std::lock_guard lock(mutex_);
    trace_.add("FreeBuffer(port %u, %s) -> %s", static_cast<unsigned>(port), name_of(header), zvxp_error(error));
    model_.free_finished(header, error);
    report_new();
    if (error == OMX_ErrorNone) {
        const auto found = std::find_if(buffers_.begin(), buffers_.end(),
                                        [header](const zvx_seq_buffer &buffer) { return buffer.header == header; });
        if (found != buffers_.end()) {
            buffers_.erase(found);
            stale_.push_back(header);
        }
    }
    changed_.notify_all();
    return error;
}

OMX_ERRORTYPE zvx_seq_client::empty(OMX_BUFFERHEADERTYPE *header, const zvx_seq_input &input)
{
    header->nOffset = input.offset;
    header->nFilledLen = input.filled;
    header->nFlags = input.flags;
    header->nTimeStamp = input.timestamp;
    const uint64_t end = static_cast<uint64_t>(input.offset) + input.filled;
    const bool well_formed = end <= header->nAllocLen;
    if (well_formed && header->pBuffer != nullptr) {
        for (OMX_U32 i = 0; i < input.filled; ++i) {
            header->pBuffer[input.offset + i] = static_cast<OMX_U8>(static_cast<OMX_TICKS>(i) * 7 + input.timestamp);
        }
    }
    {
        std::lock_guard lock(mutex_);
        trace_.add("EmptyThisBuffer(%s, len=%u off=%u flags=0x%x ts=%lld)", name_of(header),
                   static_cast<unsigned>(input.filled), static_cast<unsigned>(input.offset),
                   static_cast<unsigned>(input.flags), static_cast<long long>(input.timestamp));
    }
    return give(INPUT, header, well_formed);
}

OMX_ERRORTYPE zvx_seq_client::fill(OMX_BUFFERHEADERTYPE *header)
{
    header->nFilledLen = 0;
    header->nOffset = 0;
    header->nFlags = 0;
    {
        std::lock_guard lock(mutex_);
        trace_.add("FillThisBuffer(%s)", name_of(header));
    }
    return give(OUTPUT, header, true);
}

OMX_ERRORTYPE zvx_seq_client::give_as_is(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    {
        std::lock_guard lock(mutex_);
        // A callback filling it in to queue it again is this client writing it: the component reading it
        // meanwhile would be the client's own race, not the component's.
        if (requeuing_.contains(header)) {
            return OMX_ErrorNone;
        }
        passing_as_is_.insert(header);
        trace_.add("%s(%s) as it is", port == INPUT ? "EmptyThisBuffer" : "FillThisBuffer", name_of(header));
    }
    // Its fields are not read here: the component may be writing them.
    const OMX_ERRORTYPE error = give(port, header, false);
    std::lock_guard lock(mutex_);
    passing_as_is_.erase(header);
    return error;
}

OMX_ERRORTYPE zvx_seq_client::give(OMX_U32 port, OMX_BUFFERHEADERTYPE *header, bool well_formed)
{
    uint64_t serial;
    {
        std::lock_guard lock(mutex_);
        serial = model_.give_starting(header);
    }
    const OMX_ERRORTYPE error =
        port == INPUT ? OMX_EmptyThisBuffer(handle_, header) : OMX_FillThisBuffer(handle_, header);
    std::lock_guard lock(mutex_);
    if (error != OMX_ErrorNone) {
        trace_.add("  %s refused: %s", name_of(header), zvxp_error(error));
    }
    model_.give_finished(header, serial, error, well_formed);
    report_new();
    changed_.notify_all();
    return error;
}

std::vector<OMX_BUFFERHEADERTYPE *> zvx_seq_client::buffers(OMX_U32 port)
{
    std::lock_guard lock(mutex_);
    std::vector<OMX_BUFFERHEADERTYPE *> found;
    for (const zvx_seq_buffer &buffer : buffers_) {
        if (buffer.port == port) {
            found.push_back(buffer.header);
        }
    }
    return found;
}

std::vector<OMX_BUFFERHEADERTYPE *> zvx_seq_client::held(OMX_U32 port)
{
    std::lock_guard lock(mutex_);
    std::vector<OMX_BUFFERHEADERTYPE *> found;
    for (const zvx_seq_buffer &buffer : buffers_) {
        if (buffer.port == port && !model_.held_by_component(buffer.header) && !requeuing_.contains(buffer.header)) {
            found.push_back(buffer.header);
        }
    }
    return found;
}

std::vector<OMX_BUFFERHEADERTYPE *> zvx_seq_client::lent(OMX_U32 port)
{
    std::lock_guard lock(mutex_);
    std::vector<OMX_BUFFERHEADERTYPE *> found;
    for (const zvx_seq_buffer &buffer : buffers_) {
        if (buffer.port == port && model_.held_by_component(buffer.header)) {
            found.push_back(buffer.header);
        }
    }
    return found;
}

std::vector<OMX_BUFFERHEADERTYPE *> zvx_seq_client::stale()
{
    std::lock_guard lock(mutex_);
    return stale_;
}

bool zvx_seq_client::wait_until(const std::function<bool(const zvx_seq_model &)> &done,
                                std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return done(model_); });
}

void zvx_seq_client::note(zvx_seq_fault fault, std::string text)
{
    std::lock_guard lock(mutex_);
    model_.note(fault, std::move(text));
    report_new();
}

void zvx_seq_client::note_hang()
{
    std::lock_guard lock(mutex_);
    model_.deadline_passed();
    report_new();
}

void zvx_seq_client::check_everything_back()
{
    std::lock_guard lock(mutex_);
    model_.check_everything_back();
    report_new();
}

void zvx_seq_client::report_new()
{
    const std::vector<zvx_seq_violation> &found = model_.violations();
    for (; reported_ < found.size(); ++reported_) {
        trace_.add("** %s: %s", zvx_seq_fault_name(found[reported_].fault), found[reported_].text.c_str());
    }
}

std::vector<zvx_seq_violation> zvx_seq_client::violations()
{
    std::lock_guard lock(mutex_);
    return model_.violations();
}

const char *zvx_seq_client::name_of(const OMX_BUFFERHEADERTYPE *header)
{
    const zvx_seq_buffer *buffer = find(header);
    if (buffer != nullptr) {
        (void)std::snprintf(name_, sizeof(name_), "%s%u", buffer->port == INPUT ? "in" : "out",
                            static_cast<unsigned>(buffer->number));
    } else if (header == &foreign_) {
        (void)std::snprintf(name_, sizeof(name_), "foreign");
    } else {
        (void)std::snprintf(name_, sizeof(name_), "%p", static_cast<const void *>(header));
    }
    return name_;
}

zvx_seq_buffer *zvx_seq_client::find(const OMX_BUFFERHEADERTYPE *header)
{
    const auto found = std::find_if(buffers_.begin(), buffers_.end(),
                                    [header](const zvx_seq_buffer &buffer) { return buffer.header == header; });
    return found != buffers_.end() ? &*found : nullptr;
}

OMX_ERRORTYPE zvx_seq_client::on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1,
                                       OMX_U32 data2, OMX_PTR)
{
    static_cast<zvx_seq_client *>(app_data)->event(event, data1, data2);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_seq_client::on_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    static_cast<zvx_seq_client *>(app_data)->buffer_done(INPUT, header);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_seq_client::on_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    static_cast<zvx_seq_client *>(app_data)->buffer_done(OUTPUT, header);
    return OMX_ErrorNone;
}

void zvx_seq_client::event(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2)
{
    std::optional<std::pair<OMX_COMMANDTYPE, OMX_U32>> next;
    {
        std::lock_guard lock(mutex_);
        if (event == OMX_EventCmdComplete) {
            trace_.add("<- CmdComplete %s",
                       zvx_seq_describe_command(static_cast<OMX_COMMANDTYPE>(data1), data2).c_str());
        } else {
            trace_.add("<- %s(0x%x, 0x%x)", zvxp_event_name(event), static_cast<unsigned>(data1),
                       static_cast<unsigned>(data2));
        }
        model_.on_event(event, data1, data2);
        report_new();
        if (!quiet_ && event == OMX_EventCmdComplete && reactions_.next_command &&
            reaction_random_.chance(reactions_.command_percent)) {
            next = reactions_.next_command(reaction_random_);
            ++reacting_;
        }
        changed_.notify_all();
    }
    if (next) {
        send_command(next->first, next->second);
        std::lock_guard lock(mutex_);
        --reacting_;
        changed_.notify_all();
    }
}

void zvx_seq_client::buffer_done(OMX_U32 port, OMX_BUFFERHEADERTYPE *header)
{
    bool requeue = false;
    {
        std::lock_guard lock(mutex_);
        const bool known = find(header) != nullptr;
        if (known && port == OUTPUT) {
            trace_.add("<- FillBufferDone(%s len=%u flags=0x%x ts=%lld)", name_of(header),
                       static_cast<unsigned>(header->nFilledLen), static_cast<unsigned>(header->nFlags),
                       static_cast<long long>(header->nTimeStamp));
        } else {
            trace_.add("<- %s(%s)", port == INPUT ? "EmptyBufferDone" : "FillBufferDone", name_of(header));
        }
        const size_t before = model_.violations().size();
        model_.buffer_done_entered(header, port);
        report_new();
        const uint32_t percent = port == INPUT ? reactions_.requeue_input_percent : reactions_.requeue_output_percent;
        requeue = !quiet_ && known && model_.violations().size() == before && !passing_as_is_.contains(header) &&
                  reaction_random_.chance(percent);
        if (requeue) {
            ++reacting_;
            requeuing_.insert(header);
        }
        changed_.notify_all();
    }
    if (requeue) {
        if (port == INPUT) {
            zvx_seq_input input;
            input.filled = std::min<OMX_U32>(header->nAllocLen, 64);
            input.timestamp = header->nTimeStamp + 33333;
            empty(header, input);
        } else {
            fill(header);
        }
    }
    std::lock_guard lock(mutex_);
    model_.buffer_done_left(header);
    if (requeue) {
        requeuing_.erase(header);
        --reacting_;
        changed_.notify_all();
    }
}
