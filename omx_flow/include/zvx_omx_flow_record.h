#ifndef ZVX_OMX_FLOW_RECORD_H
#define ZVX_OMX_FLOW_RECORD_H

/*
 * What passes between a flow client and its component, one record per call or callback, for whoever
 * watches a flow (a trace, a progress bar). Client calls are recorded just before they are made, so
 * that a callback the call causes is never recorded ahead of it.
 */

#include <OMX_Core.h>

#include <cstdint>

enum class zvx_flow_what : uint8_t {
    send_command,      /* client: a = command, b = parameter */
    event,             /* callback: a = data1, b = data2, event */
    allocate_buffer,   /* client: port, header after the call */
    free_buffer,       /* client: port, header */
    empty_this_buffer, /* client: header, filled_len, flags, timestamp */
    fill_this_buffer,  /* client: header */
    empty_buffer_done, /* callback: header */
    fill_buffer_done,  /* callback: header, filled_len, flags, timestamp */
    refused,           /* client: the call just recorded failed with error */
};

struct zvx_flow_record {
    zvx_flow_what what;
    int64_t time_ns;     /* since the client was made, on a monotonic clock */
    bool on_component;   /* made on the component's thread (callbacks) */
    OMX_EVENTTYPE event; /* event */
    OMX_U32 a;           /* send_command: command; event: data1 */
    OMX_U32 b;           /* send_command: parameter; event: data2 */
    OMX_U32 port;        /* buffer records */
    uint32_t buffer;     /* buffer records: the buffer's number among its port's, from 0 */
    uint32_t filled_len; /* empty_this_buffer, fill_buffer_done */
    uint32_t flags;      /* empty_this_buffer, fill_buffer_done */
    int64_t timestamp;   /* empty_this_buffer, fill_buffer_done */
    OMX_ERRORTYPE error; /* refused */
};

/* Called under the client's record lock, so records arrive one at a time and in time order. */
class zvx_flow_observer {
public:
    virtual ~zvx_flow_observer() = default;
    virtual void on_record(const zvx_flow_record &record) = 0;
};

#endif
