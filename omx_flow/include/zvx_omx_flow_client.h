#ifndef ZVX_OMX_FLOW_CLIENT_H
#define ZVX_OMX_FLOW_CLIENT_H

/*
 * An OpenMAX client of one decoder or encoder, reaching it only through its handle. It keeps a ledger
 * of who holds each buffer it allocated, notes every way the component breaks that ledger (a buffer
 * given back that the client already held, a header it never had), keeps every event in order, and
 * queues what the callbacks bring for the thread that drives the flow.
 */

#include <OMX_Component.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_flow_record.h"

enum class zvx_flow_kind : uint8_t { decoder, encoder };

struct zvx_flow_event {
    OMX_EVENTTYPE event;
    OMX_U32 data1;
    OMX_U32 data2;
    bool operator==(const zvx_flow_event &) const = default;
};

zvx_flow_event zvx_flow_complete(OMX_COMMANDTYPE command, OMX_U32 param);

/* A callback as the driving thread sees it; the header's fields are a copy from the callback's time. */
struct zvx_flow_notice {
    zvx_flow_what what; /* event, empty_buffer_done or fill_buffer_done */
    zvx_flow_event event;
    OMX_BUFFERHEADERTYPE *header;
};

class zvx_flow_client {
public:
    static constexpr OMX_U32 INPUT = 0;
    static constexpr OMX_U32 OUTPUT = 1;
    static constexpr std::chrono::milliseconds WAIT{10000};

    explicit zvx_flow_client(zvx_flow_kind kind, zvx_flow_observer *observer = nullptr);
    zvx_flow_client(const zvx_flow_client &) = delete;
    zvx_flow_client &operator=(const zvx_flow_client &) = delete;
    ~zvx_flow_client();

    OMX_ERRORTYPE open();
    /* Destroys the component; buffers it still has registered go with it. */
    void close();
    zvx_flow_kind kind() const { return kind_; }

    OMX_ERRORTYPE send_command(OMX_COMMANDTYPE command, OMX_U32 param);
    OMX_STATETYPE state();
    OMX_ERRORTYPE set_role(const std::string &role);
    OMX_ERRORTYPE get_port_definition(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE *definition);
    OMX_ERRORTYPE set_port_definition(const OMX_PARAM_PORTDEFINITIONTYPE &definition);
    /* Any record, stamped with its size and version by the caller (zvx_omx_stamped_record). */
    OMX_ERRORTYPE get_parameter(OMX_INDEXTYPE index, void *record);
    OMX_ERRORTYPE set_parameter(OMX_INDEXTYPE index, void *record);
    OMX_ERRORTYPE get_config(OMX_INDEXTYPE index, void *record);
    OMX_ERRORTYPE set_config(OMX_INDEXTYPE index, void *record);

    /* nBufferCountActual buffers of nBufferSize, as the port asks now. */
    OMX_ERRORTYPE allocate_buffers(OMX_U32 port);
    OMX_ERRORTYPE free_buffer(OMX_BUFFERHEADERTYPE *header);
    OMX_ERRORTYPE empty_buffer(OMX_BUFFERHEADERTYPE *header, uint32_t filled, uint32_t flags, OMX_TICKS timestamp);
    OMX_ERRORTYPE fill_buffer(OMX_BUFFERHEADERTYPE *header);

    /* Registered headers the client holds now and whose return the driving thread has taken. */
    std::vector<OMX_BUFFERHEADERTYPE *> held(OMX_U32 port);
    /* Buffers the component holds now. */
    size_t lent(OMX_U32 port);
    /* Buffers given to the component and returned, since the client was made. */
    uint64_t lends();
    uint64_t returns();

    std::optional<zvx_flow_notice> next_notice(std::chrono::milliseconds timeout);
    /* Hands each notice to react until done() holds; false when no notice came for WAIT. */
    bool pump_until(const std::function<bool()> &done, const std::function<void(const zvx_flow_notice &)> &react);
    /* Pumps until the event arrives (each arrival is waited for once). */
    bool await_event(const zvx_flow_event &event, const std::function<void(const zvx_flow_notice &)> &react = {});

    std::vector<zvx_flow_event> events();
    std::vector<std::string> problems();
    /* A problem the driver of the flow found. */
    void note_problem(std::string problem);

private:
    struct ledger_entry {
        OMX_U32 port;
        uint32_t number;
        bool with_client;
        /* Given back, and the driving thread has not taken the notice yet. */
        bool unnoticed;
    };

    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR);
    static OMX_ERRORTYPE on_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header);
    static OMX_ERRORTYPE on_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header);
    void buffer_done(zvx_flow_what what, OMX_BUFFERHEADERTYPE *header);

    /* Caller holds mutex_. */
    void record(zvx_flow_record record);
    zvx_flow_record buffer_record(zvx_flow_what what, OMX_BUFFERHEADERTYPE *header, bool on_component);
    OMX_ERRORTYPE refused(OMX_ERRORTYPE error);
    OMX_ERRORTYPE lend(OMX_BUFFERHEADERTYPE *header, zvx_flow_what what, const std::function<OMX_ERRORTYPE()> &call);

    const zvx_flow_kind kind_;
    zvx_flow_observer *const observer_;
    const std::chrono::steady_clock::time_point start_;
    zvx_omx_component handle_{};
    zvx_omx_decoder_component decoder_{};
    zvx_omx_encoder_component encoder_{};
    bool open_ = false;

    std::mutex mutex_; /* guards everything below; callbacks come on the component's thread */
    std::condition_variable noticed_;
    std::map<OMX_BUFFERHEADERTYPE *, ledger_entry> ledger_;
    std::vector<OMX_BUFFERHEADERTYPE *> order_;
    uint32_t next_number_[2] = {0, 0};
    uint64_t lends_ = 0;
    uint64_t returns_ = 0;
    std::deque<zvx_flow_notice> notices_;
    std::vector<zvx_flow_event> events_;
    std::vector<std::string> problems_;
};

#endif
