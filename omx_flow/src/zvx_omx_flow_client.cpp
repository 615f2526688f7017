#include "zvx_omx_flow_client.h"
#include "zvx_omx_config.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace {

std::string zvxp_describe(const char *what, const OMX_BUFFERHEADERTYPE *header)
{
    std::ostringstream text;
    text << what << " " << static_cast<const void *>(header);
    return text.str();
}

} // namespace

zvx_flow_event zvx_flow_complete(OMX_COMMANDTYPE command, OMX_U32 param)
{
    return {OMX_EventCmdComplete, static_cast<OMX_U32>(command), param};
}

zvx_flow_client::zvx_flow_client(zvx_flow_kind kind, zvx_flow_observer *observer)
    : kind_(kind), observer_(observer), start_(std::chrono::steady_clock::now())
{
}

zvx_flow_client::~zvx_flow_client()
{
    close();
}

OMX_ERRORTYPE zvx_flow_client::open()
{
    OMX_CALLBACKTYPE callbacks = {on_event, on_empty_done, on_fill_done};
    const OMX_ERRORTYPE error = kind_ == zvx_flow_kind::decoder
                                    ? zvx_omx_decoder_component_init(&handle_, &decoder_, this, &callbacks)
                                    : zvx_omx_encoder_component_init(&handle_, &encoder_, this, &callbacks);
    open_ = error == OMX_ErrorNone;
    return error;
}

void zvx_flow_client::close()
{
    if (!open_) {
        return;
    }
    if (kind_ == zvx_flow_kind::decoder) {
        zvx_omx_decoder_component_destroy(&decoder_);
    } else {
        zvx_omx_encoder_component_destroy(&encoder_);
    }
    open_ = false;
    std::lock_guard lock(mutex_);
    ledger_.clear();
    order_.clear();
}

OMX_ERRORTYPE zvx_flow_client::send_command(OMX_COMMANDTYPE command, OMX_U32 param)
{
    {
        std::lock_guard lock(mutex_);
        zvx_flow_record sent{};
        sent.what = zvx_flow_what::send_command;
        sent.a = static_cast<OMX_U32>(command);
        sent.b = param;
        record(sent);
    }
    return refused(handle_.omx.SendCommand(&handle_.omx, command, param, nullptr));
}

OMX_STATETYPE zvx_flow_client::state()
{
    OMX_STATETYPE current = OMX_StateInvalid;
    handle_.omx.GetState(&handle_.omx, &current);
    return current;
}

OMX_ERRORTYPE zvx_flow_client::set_role(const std::string &role)
{
    auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strncpy(reinterpret_cast<char *>(record.cRole), role.c_str(), sizeof(record.cRole) - 1);
    return handle_.omx.SetParameter(&handle_.omx, OMX_IndexParamStandardComponentRole, &record);
}

OMX_ERRORTYPE zvx_flow_client::get_port_definition(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    *definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    return handle_.omx.GetParameter(&handle_.omx, OMX_IndexParamPortDefinition, definition);
}

OMX_ERRORTYPE zvx_flow_client::set_port_definition(const OMX_PARAM_PORTDEFINITIONTYPE &definition)
{
    OMX_PARAM_PORTDEFINITIONTYPE copy = definition;
    return handle_.omx.SetParameter(&handle_.omx, OMX_IndexParamPortDefinition, &copy);
}

OMX_ERRORTYPE zvx_flow_client::get_parameter(OMX_INDEXTYPE index, void *record)
{
    return handle_.omx.GetParameter(&handle_.omx, index, record);
}

OMX_ERRORTYPE zvx_flow_client::set_parameter(OMX_INDEXTYPE index, void *record)
{
    return handle_.omx.SetParameter(&handle_.omx, index, record);
}

OMX_ERRORTYPE zvx_flow_client::get_config(OMX_INDEXTYPE index, void *record)
{
    return handle_.omx.GetConfig(&handle_.omx, index, record);
}

OMX_ERRORTYPE zvx_flow_client::set_config(OMX_INDEXTYPE index, void *record)
{
    return handle_.omx.SetConfig(&handle_.omx, index, record);
}

OMX_ERRORTYPE zvx_flow_client::allocate_buffers(OMX_U32 port)
{
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    if (const OMX_ERRORTYPE error = get_port_definition(port, &definition); error != OMX_ErrorNone) {
        return error;
    }
    for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
        OMX_BUFFERHEADERTYPE *header = nullptr;
        const OMX_ERRORTYPE error =
            handle_.omx.AllocateBuffer(&handle_.omx, &header, port, nullptr, definition.nBufferSize);
        std::lock_guard lock(mutex_);
        if (error != OMX_ErrorNone) {
            return error;
        }
        const uint32_t number = next_number_[port]++;
        ledger_[header] = {port, number, true, false};
        order_.push_back(header);
        zvx_flow_record allocated = buffer_record(zvx_flow_what::allocate_buffer, header, false);
        record(allocated);
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_flow_client::free_buffer(OMX_BUFFERHEADERTYPE *header)
{
    OMX_U32 port;
    {
        std::lock_guard lock(mutex_);
        const auto found = ledger_.find(header);
        if (found == ledger_.end()) {
            return OMX_ErrorBadParameter;
        }
        port = found->second.port;
        record(buffer_record(zvx_flow_what::free_buffer, header, false));
    }
    const OMX_ERRORTYPE error = refused(handle_.omx.FreeBuffer(&handle_.omx, port, header));
    if (error == OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        ledger_.erase(header);
        std::erase(order_, header);
    }
    return error;
}

OMX_ERRORTYPE zvx_flow_client::lend(OMX_BUFFERHEADERTYPE *header, zvx_flow_what what,
                                    const std::function<OMX_ERRORTYPE()> &call)
{
    {
        std::lock_guard lock(mutex_);
        const auto found = ledger_.find(header);
        if (found == ledger_.end() || !found->second.with_client) {
            problems_.push_back(zvxp_describe("the client lent a buffer it does not hold:", header));
            return OMX_ErrorBadParameter;
        }
        /* Marked lent first: the component may give it back before the call returns. */
        found->second.with_client = false;
        ++lends_;
        record(buffer_record(what, header, false));
    }
    const OMX_ERRORTYPE error = refused(call());
    if (error != OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        ledger_[header].with_client = true;
        --lends_;
    }
    return error;
}

OMX_ERRORTYPE zvx_flow_client::empty_buffer(OMX_BUFFERHEADERTYPE *header, uint32_t filled, uint32_t flags,
                                            OMX_TICKS timestamp)
{
    header->nOffset = 0;
    header->nFilledLen = filled;
    header->nFlags = flags;
    header->nTimeStamp = timestamp;
    return lend(header, zvx_flow_what::empty_this_buffer,
                [&] { return handle_.omx.EmptyThisBuffer(&handle_.omx, header); });
}

OMX_ERRORTYPE zvx_flow_client::fill_buffer(OMX_BUFFERHEADERTYPE *header)
{
    header->nOffset = 0;
    header->nFilledLen = 0;
    header->nFlags = 0;
    return lend(header, zvx_flow_what::fill_this_buffer,
                [&] { return handle_.omx.FillThisBuffer(&handle_.omx, header); });
}

std::vector<OMX_BUFFERHEADERTYPE *> zvx_flow_client::held(OMX_U32 port)
{
    std::lock_guard lock(mutex_);
    std::vector<OMX_BUFFERHEADERTYPE *> found;
    std::copy_if(order_.begin(), order_.end(), std::back_inserter(found), [&](OMX_BUFFERHEADERTYPE *header) {
        const ledger_entry &entry = ledger_[header];
        return entry.port == port && entry.with_client && !entry.unnoticed;
    });
    return found;
}

size_t zvx_flow_client::lent(OMX_U32 port)
{
    std::lock_guard lock(mutex_);
    return static_cast<size_t>(std::count_if(ledger_.begin(), ledger_.end(), [&](const auto &entry) {
        return entry.second.port == port && !entry.second.with_client;
    }));
}

uint64_t zvx_flow_client::lends()
{
    std::lock_guard lock(mutex_);
    return lends_;
}

uint64_t zvx_flow_client::returns()
{
    std::lock_guard lock(mutex_);
    return returns_;
}

std::optional<zvx_flow_notice> zvx_flow_client::next_notice(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex_);
    if (!noticed_.wait_for(lock, timeout, [&] { return !notices_.empty(); })) {
        return std::nullopt;
    }
    zvx_flow_notice notice = notices_.front();
    notices_.pop_front();
    if (const auto found = ledger_.find(notice.header); found != ledger_.end()) {
        found->second.unnoticed = false;
    }
    return notice;
}

bool zvx_flow_client::pump_until(const std::function<bool()> &done,
                                 const std::function<void(const zvx_flow_notice &)> &react)
{
    while (!done()) {
        const std::optional<zvx_flow_notice> notice = next_notice(WAIT);
        if (!notice) {
            return false;
        }
        if (react) {
            react(*notice);
        }
    }
    return true;
}

bool zvx_flow_client::await_event(const zvx_flow_event &event,
                                  const std::function<void(const zvx_flow_notice &)> &react)
{
    bool arrived = false;
    return pump_until([&] { return arrived; },
                      [&](const zvx_flow_notice &notice) {
                          arrived = notice.what == zvx_flow_what::event && notice.event == event;
                          if (react) {
                              react(notice);
                          }
                      });
}

std::vector<zvx_flow_event> zvx_flow_client::events()
{
    std::lock_guard lock(mutex_);
    return events_;
}

std::vector<std::string> zvx_flow_client::problems()
{
    std::lock_guard lock(mutex_);
    return problems_;
}

void zvx_flow_client::note_problem(std::string problem)
{
    std::lock_guard lock(mutex_);
    problems_.push_back(std::move(problem));
}

OMX_ERRORTYPE zvx_flow_client::on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1,
                                        OMX_U32 data2, OMX_PTR)
{
    auto *client = static_cast<zvx_flow_client *>(app_data);
    std::lock_guard lock(client->mutex_);
    const zvx_flow_event seen = {event, data1, data2};
    client->events_.push_back(seen);
    client->notices_.push_back({zvx_flow_what::event, seen, nullptr});
    zvx_flow_record noticed{};
    noticed.what = zvx_flow_what::event;
    noticed.on_component = true;
    noticed.event = event;
    noticed.a = data1;
    noticed.b = data2;
    client->record(noticed);
    client->noticed_.notify_all();
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_flow_client::on_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    static_cast<zvx_flow_client *>(app_data)->buffer_done(zvx_flow_what::empty_buffer_done, header);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_flow_client::on_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
{
    static_cast<zvx_flow_client *>(app_data)->buffer_done(zvx_flow_what::fill_buffer_done, header);
    return OMX_ErrorNone;
}

void zvx_flow_client::buffer_done(zvx_flow_what what, OMX_BUFFERHEADERTYPE *header)
{
    std::lock_guard lock(mutex_);
    const auto found = ledger_.find(header);
    if (found == ledger_.end()) {
        problems_.push_back(zvxp_describe("a header the client never had came back:", header));
        return;
    }
    const OMX_U32 expected_port = what == zvx_flow_what::empty_buffer_done ? INPUT : OUTPUT;
    if (found->second.port != expected_port) {
        problems_.push_back(zvxp_describe("a buffer came back through the other port's callback:", header));
    }
    if (found->second.with_client) {
        problems_.push_back(zvxp_describe("a buffer the client held came back again:", header));
        return;
    }
    found->second.with_client = true;
    found->second.unnoticed = true;
    ++returns_;
    notices_.push_back({what, {}, header});
    record(buffer_record(what, header, true));
    noticed_.notify_all();
}

void zvx_flow_client::record(zvx_flow_record record)
{
    if (observer_ == nullptr) {
        return;
    }
    record.time_ns =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - start_).count();
    observer_->on_record(record);
}

zvx_flow_record zvx_flow_client::buffer_record(zvx_flow_what what, OMX_BUFFERHEADERTYPE *header, bool on_component)
{
    const ledger_entry &entry = ledger_[header];
    zvx_flow_record moved{};
    moved.what = what;
    moved.on_component = on_component;
    moved.port = entry.port;
    moved.buffer = entry.number;
    moved.filled_len = header->nFilledLen;
    moved.flags = header->nFlags;
    moved.timestamp = header->nTimeStamp;
    return moved;
}

OMX_ERRORTYPE zvx_flow_client::refused(OMX_ERRORTYPE error)
{
    if (error != OMX_ErrorNone) {
        std::lock_guard lock(mutex_);
        zvx_flow_record failed{};
        failed.what = zvx_flow_what::refused;
        failed.error = error;
        record(failed);
    }
    return error;
}
