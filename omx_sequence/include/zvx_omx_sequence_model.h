#ifndef ZVX_OMX_SEQUENCE_MODEL_H
#define ZVX_OMX_SEQUENCE_MODEL_H

/*
 * What an OpenMAX client knows of its component, and every rule the component's answers must keep:
 * each accepted command answered once and in the order sent, each buffer with one holder, buffers back
 * before the command that needs them completes, only allowed state transitions, and port definitions
 * that agree with what the client did. The model only reasons; it makes no call. The client feeds it
 * each call just before and just after making it, and each callback as it arrives; it is not
 * thread-safe, so the client serialises those calls.
 */

#include <OMX_Component.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

enum class zvx_seq_fault : uint8_t {
    hang,            /* an accepted command never answered */
    lost_buffer,     /* a buffer not back when it had to be */
    doubled_buffer,  /* a callback for a header the component did not hold */
    forbidden_state, /* a state reached, or a state change answered, against the rules */
    other,           /* answers out of order or missing, wrong port definitions, callbacks after FreeHandle */
};

const char *zvx_seq_fault_name(zvx_seq_fault fault);

struct zvx_seq_violation {
    zvx_seq_fault fault;
    std::string text;
};

/* One answer a sent command is owed; OMX_ALL for a port command owes one per port, port 0 first. */
struct zvx_seq_expected {
    OMX_COMMANDTYPE command;
    OMX_U32 param;         /* target state or port */
    uint64_t id;           /* the SendCommand it belongs to */
    uint64_t sent_at;      /* model time when SendCommand was called */
    uint64_t confirmed_at; /* model time when it returned OMX_ErrorNone */
    bool confirmed;        /* SendCommand has returned OMX_ErrorNone */
    bool all_ports;        /* sent with OMX_ALL */
};

std::string zvx_seq_describe_command(OMX_COMMANDTYPE command, OMX_U32 param);
const char *zvx_seq_state_name(OMX_U32 state);
/* Transitions that may complete (any state but Invalid to Invalid included). */
bool zvx_seq_transition_allowed(OMX_STATETYPE from, OMX_U32 to);

class zvx_seq_model {
public:
    static constexpr OMX_U32 PORT_COUNT = 2;

    /* Commands. command_sending comes before SendCommand, since answers may arrive before it returns. */
    uint64_t command_sending(OMX_COMMANDTYPE command, OMX_U32 param);
    /* returned_at: stamp() taken as SendCommand returned, before the client's lock, which a callback may
     * hold while it sends commands of its own. */
    void command_sent(uint64_t id, OMX_ERRORTYPE result, uint64_t returned_at);
    void command_sent(uint64_t id, OMX_ERRORTYPE result) { command_sent(id, result, stamp()); }
    /* Model time; safe to take without the client's lock. */
    uint64_t stamp() { return tick(); }
    void on_event(OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2);

    /* Buffers, each call before (…_starting) and after (…_finished) the component's entry point. */
    void buffer_registered(const OMX_BUFFERHEADERTYPE *header, OMX_U32 port);
    void free_starting(const OMX_BUFFERHEADERTYPE *header);
    void free_finished(const OMX_BUFFERHEADERTYPE *header, OMX_ERRORTYPE result);
    /* well_formed: the header as the component gave it, filled within its buffer, on its own port. */
    /* Returns the give's serial (model time), which its give_finished passes back. */
    uint64_t give_starting(const OMX_BUFFERHEADERTYPE *header);
    void give_finished(const OMX_BUFFERHEADERTYPE *header, uint64_t serial, OMX_ERRORTYPE result, bool well_formed);
    /* callback_port: 0 for EmptyBufferDone, 1 for FillBufferDone. */
    void buffer_done_entered(const OMX_BUFFERHEADERTYPE *header, OMX_U32 callback_port);
    void buffer_done_left(const OMX_BUFFERHEADERTYPE *header);

    /* Reads, checked only when nothing that could change their answer happened while they were made:
     * epoch() before the call, passed back after it. */
    uint64_t epoch() const { return epoch_; }
    void check_port_definition(const OMX_PARAM_PORTDEFINITIONTYPE &definition, uint64_t epoch_before);
    void check_state(OMX_STATETYPE read, uint64_t epoch_before);
    /* well_formed: nSize and nVersion as the client must give them. */
    void check_set_port_definition(OMX_U32 port, bool well_formed, OMX_ERRORTYPE result, uint64_t epoch_before);
    /* A port definition the component accepted, read straight back. */
    void check_read_back(const OMX_PARAM_PORTDEFINITIONTYPE &set, const OMX_PARAM_PORTDEFINITIONTYPE &read,
                         uint64_t epoch_before);

    void handle_freeing() { handle_freeing_ = true; }
    void handle_freed();
    /* The settle phase gave up waiting: every command still owed an answer hangs. */
    void deadline_passed();
    /* Teardown reached Loaded: nothing may still be with the component. */
    void check_everything_back();
    /* Something the model itself cannot see, found by the client (a call that should have worked). */
    void note(zvx_seq_fault fault, std::string text);

    std::optional<zvx_seq_expected> head() const;
    /* The head and every command sent while its SendCommand was under way: the component may take any of
     * them first, as calls from two threads that overlap have no order. */
    std::vector<zvx_seq_expected> heads() const;
    const std::deque<zvx_seq_expected> &unanswered() const { return expected_; }
    OMX_STATETYPE state() const { return state_; }
    bool state_change_pending() const;
    bool port_command_pending(OMX_U32 port) const;
    bool port_enabled(OMX_U32 port) const { return port < PORT_COUNT && enabled_[port]; }
    /* A FreeBuffer of one of the port's buffers is under way. */
    bool freeing_on(OMX_U32 port) const;
    /* Headers registered on the port and not being freed. */
    size_t client_count(OMX_U32 port) const;
    /* The same, less buffers registered after a command sent later that lets the port take them (a
     * StateSet(Idle) after a StateSet(Loaded), a PortEnable after a PortDisable): a command takes effect
     * as it starts, which may be before the client has heard the answer to the one ahead. */
    size_t client_count_owed(OMX_U32 port, const zvx_seq_expected &command) const;
    /* Buffers on the port the component holds or is being given. */
    size_t with_component(OMX_U32 port) const;
    bool held_by_component(const OMX_BUFFERHEADERTYPE *header) const;
    bool registered(const OMX_BUFFERHEADERTYPE *header) const { return buffers_.contains(header); }
    /* Every answer and buffer return bumps it: what waiters wait on. */
    uint64_t progress() const { return progress_; }
    const std::vector<zvx_seq_violation> &violations() const { return violations_; }
    bool counts(zvx_seq_fault fault) const;

private:
    struct buffer {
        OMX_U32 port;
        int outstanding;              /* accepted gives not yet returned */
        std::vector<uint64_t> giving; /* serials of the give calls in progress */
        int early_returns;            /* returns that came before the give call they belong to returned */
        uint64_t early_owner_up_to;   /* the last early return is a give's started no later than this */
        int in_callback;              /* callbacks with this header in progress */
        bool freeing;                 /* FreeBuffer in progress */
        uint64_t accepted_at;         /* model time of the last accepted give */
        uint64_t give_epoch;          /* epoch when the outermost give call under way started */
        uint64_t registered_at;       /* model time when AllocateBuffer or UseBuffer returned it */
    };

    void violate(zvx_seq_fault fault, std::string text);
    uint64_t tick() { return ++clock_; }
    /* The matching unanswered entry, searched from the head; answered out of order when not the first. */
    std::deque<zvx_seq_expected>::iterator take(const std::deque<zvx_seq_expected>::iterator &found,
                                                const std::string &answer);
    void on_complete(OMX_U32 command, OMX_U32 param);
    void on_refusal(OMX_ERRORTYPE error, OMX_U32 data2);
    /* A completion of the command the last refusal went to: when the refusal could as well have answered
     * another command, sent so that the two overlapped, it was that one's, which now takes it. */
    bool refusal_was_another_commands(OMX_U32 command, OMX_U32 param);
    void completed_state(OMX_U32 target, const zvx_seq_expected &command);
    void refused_state(OMX_ERRORTYPE error, OMX_U32 target);
    void completed_port_command(const zvx_seq_expected &command);
    /* Buffers on the port given before the command was sent that are still with the component. */
    void require_back(OMX_U32 port, uint64_t given_before, const std::string &command);
    void forget_requirement(OMX_U32 port) { requires_populated_[port] = false; }
    /* The component changed the port's settings: its definition may now differ from the client's. */
    void component_changed_settings(OMX_U32 port)
    {
        settings_changed_[port] = true;
        forget_requirement(port);
    }

    std::atomic<uint64_t> clock_{0};
    uint64_t epoch_ = 0;
    uint64_t progress_ = 0;
    uint64_t next_command_ = 0;
    std::deque<zvx_seq_expected> expected_;
    /* Answers already taken for commands whose SendCommand has not returned yet. */
    std::map<uint64_t, int> answered_early_;
    /* The last refusal, until the next answer: where two matching commands overlapped, only a later
     * answer shows which of them it was. */
    struct refusal {
        zvx_seq_expected taken;
        OMX_ERRORTYPE error;
        OMX_U32 data2;
    };
    std::optional<refusal> last_refusal_;
    OMX_STATETYPE state_ = OMX_StateLoaded;
    bool enabled_[PORT_COUNT] = {true, true};
    /* An OMX_EventPortSettingsChanged not yet followed by a disable of the port: its count may move. */
    bool settings_changed_[PORT_COUNT] = {false, false};
    /* nBufferCountMin as last read; 0 before the first read and after the client sets the definition. */
    OMX_U32 last_min_[PORT_COUNT] = {0, 0};
    /* The port read enabled otherwise than the client's view: a refusal may follow from that fault. */
    bool diverged_[PORT_COUNT] = {false, false};
    /* Idle or an enable completed: the port must read populated with the count in force. */
    bool requires_populated_[PORT_COUNT] = {false, false};
    std::map<const OMX_BUFFERHEADERTYPE *, buffer> buffers_;
    /* Headers the component freed, and whether it held them when it did. */
    std::map<const OMX_BUFFERHEADERTYPE *, bool> freed_;
    bool handle_freeing_ = false;
    bool handle_freed_ = false;
    std::vector<zvx_seq_violation> violations_;
};

#endif
