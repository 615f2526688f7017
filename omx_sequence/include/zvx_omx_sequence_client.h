#ifndef ZVX_OMX_SEQUENCE_CLIENT_H
#define ZVX_OMX_SEQUENCE_CLIENT_H

/*
 * An OpenMAX client of one component made through the core (OMX_GetHandle), reaching it only through
 * its handle. Every call and callback goes to the model of the client's side (before and after the
 * call) and to the trace. It owns the memory of the buffers it uses, and can react inside callbacks:
 * hand a returned buffer straight back, or send a command from the event handler.
 */

#include <OMX_Component.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "zvx_omx_sequence_model.h"
#include "zvx_omx_sequence_random.h"
#include "zvx_omx_sequence_trace.h"

enum class zvx_seq_kind : uint8_t { decoder, encoder };

const char *zvx_seq_component_name(zvx_seq_kind kind);

/* What the client does inside callbacks; chances in percent. */
struct zvx_seq_reactions {
    uint32_t requeue_input_percent = 0;
    uint32_t requeue_output_percent = 0;
    uint32_t command_percent = 0; /* after an OMX_EventCmdComplete */
    /* The command sent from the event handler. */
    std::function<std::pair<OMX_COMMANDTYPE, OMX_U32>(zvx_seq_random &)> next_command;
    uint64_t seed = 0;
};

/* How EmptyThisBuffer fills a header the client holds. */
struct zvx_seq_input {
    OMX_U32 filled = 0;
    OMX_U32 offset = 0;
    OMX_U32 flags = 0;
    OMX_TICKS timestamp = 0;
};

struct zvx_seq_buffer {
    OMX_BUFFERHEADERTYPE *header;
    OMX_U32 port;
    uint32_t number;                  /* among the port's buffers of this client, from 0 */
    std::unique_ptr<OMX_U8[]> memory; /* the client's memory of a UseBuffer, null for AllocateBuffer */
};

class zvx_seq_client {
public:
    static constexpr OMX_U32 INPUT = 0;
    static constexpr OMX_U32 OUTPUT = 1;

    zvx_seq_client(zvx_seq_kind kind, zvx_seq_trace &trace);
    zvx_seq_client(const zvx_seq_client &) = delete;
    zvx_seq_client &operator=(const zvx_seq_client &) = delete;
    ~zvx_seq_client();

    /* OMX_GetHandle; then the input port's frame size, as a client that parsed its stream sets it. */
    OMX_ERRORTYPE open(OMX_U32 width, OMX_U32 height);
    /* OMX_FreeHandle: afterwards no callback may come. */
    OMX_ERRORTYPE free_handle();
    bool is_open() const { return handle_ != nullptr; }
    zvx_seq_kind kind() const { return kind_; }
    void set_reactions(zvx_seq_reactions reactions);
    /* Stops every reaction inside callbacks. */
    void quiet();

    OMX_ERRORTYPE send_command(OMX_COMMANDTYPE command, OMX_U32 param);
    OMX_ERRORTYPE get_state(OMX_STATETYPE *state);
    /* Checked against the model when well_formed is true. */
    OMX_ERRORTYPE get_port(OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE *definition);
    /* SetParameter, then, when accepted, the definition read back. wrong_size/wrong_version spoil it. */
    OMX_ERRORTYPE set_port(const OMX_PARAM_PORTDEFINITIONTYPE &definition, bool wrong_size = false,
                           bool wrong_version = false);
    /* AllocateBuffer, or UseBuffer with memory of the client's when use_client_memory. */
    OMX_ERRORTYPE allocate(OMX_U32 port, OMX_U32 size, bool use_client_memory, OMX_BUFFERHEADERTYPE **out = nullptr);
    OMX_ERRORTYPE free_buffer(OMX_U32 port, OMX_BUFFERHEADERTYPE *header);
    OMX_ERRORTYPE empty(OMX_BUFFERHEADERTYPE *header, const zvx_seq_input &input);
    OMX_ERRORTYPE fill(OMX_BUFFERHEADERTYPE *header);
    /* EmptyThisBuffer or FillThisBuffer of a header as it is, fields untouched (one the component may hold). */
    OMX_ERRORTYPE give_as_is(OMX_U32 port, OMX_BUFFERHEADERTYPE *header);

    /* Buffers of the client's (allocated and not freed) on the port, and of them those it holds. */
    std::vector<OMX_BUFFERHEADERTYPE *> buffers(OMX_U32 port);
    std::vector<OMX_BUFFERHEADERTYPE *> held(OMX_U32 port);
    std::vector<OMX_BUFFERHEADERTYPE *> lent(OMX_U32 port);
    /* Headers the component freed: never read, only passed back to see them refused. */
    std::vector<OMX_BUFFERHEADERTYPE *> stale();
    /* A header no component made, valid in shape, for either port. */
    OMX_BUFFERHEADERTYPE *foreign() { return &foreign_; }

    /* Waits until done (called with the lock held) holds, or timeout passes; true when it held. */
    bool wait_until(const std::function<bool(const zvx_seq_model &)> &done, std::chrono::milliseconds timeout);
    /* Reads the model under the lock. */
    template <typename Result> Result inspect(const std::function<Result(const zvx_seq_model &)> &read)
    {
        std::lock_guard lock(mutex_);
        return read(model_);
    }
    void note(zvx_seq_fault fault, std::string text);
    /* Every command still unanswered is a hang. */
    void note_hang();
    /* Nothing may still be with the component. */
    void check_everything_back();
    std::vector<zvx_seq_violation> violations();
    zvx_seq_trace &trace() { return trace_; }

private:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR);
    static OMX_ERRORTYPE on_empty_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header);
    static OMX_ERRORTYPE on_fill_done(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header);
    void buffer_done(OMX_U32 port, OMX_BUFFERHEADERTYPE *header);
    void event(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2);

    OMX_ERRORTYPE give(OMX_U32 port, OMX_BUFFERHEADERTYPE *header, bool well_formed);
    /* Caller holds mutex_. */
    void report_new();
    const char *name_of(const OMX_BUFFERHEADERTYPE *header);
    zvx_seq_buffer *find(const OMX_BUFFERHEADERTYPE *header);

    const zvx_seq_kind kind_;
    zvx_seq_trace &trace_;
    /* Set and cleared on the client's thread, while no callback can come. */
    OMX_HANDLETYPE handle_ = nullptr;
    OMX_BUFFERHEADERTYPE foreign_{};
    OMX_MARKTYPE mark_{};

    std::mutex mutex_; /* guards everything below; callbacks come on the component's threads */
    std::condition_variable changed_;
    zvx_seq_model model_;
    std::vector<zvx_seq_buffer> buffers_;
    std::vector<OMX_BUFFERHEADERTYPE *> stale_;
    uint32_t next_number_[2] = {0, 0};
    zvx_seq_reactions reactions_;
    zvx_seq_random reaction_random_{0};
    bool quiet_ = true;
    size_t reported_ = 0; /* violations already in the trace */
    int reacting_ = 0;    /* callbacks calling into the handle now */
    /* Returned headers that their callback queues again itself: not the player's to use meanwhile. */
    std::set<OMX_BUFFERHEADERTYPE *> requeuing_;
    /* Headers the player is passing as they are, perhaps held by the component: no callback fills them in. */
    std::set<OMX_BUFFERHEADERTYPE *> passing_as_is_;
    char name_[32] = {};
};

#endif
