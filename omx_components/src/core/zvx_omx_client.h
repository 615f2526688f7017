#ifndef ZVX_OMX_CLIENT_H
#define ZVX_OMX_CLIENT_H

#include <OMX_Core.h>

struct zvx_omx_common_component;

/* The client as a callback sees it: the handle, the application data and the callbacks that were
 * stored together by one SetCallbacks. */
struct zvx_omx_client {
    OMX_HANDLETYPE handle;
    OMX_PTR app_data;
    OMX_CALLBACKTYPE callbacks;
};

/* Callbacks is optional: without it only the application data changes. */
void zvx_omx_client_set(struct zvx_omx_common_component *comp, const OMX_CALLBACKTYPE *callbacks, OMX_PTR app_data);
struct zvx_omx_client zvx_omx_client_get(struct zvx_omx_common_component *comp);

/* Calls the client's EventHandler, if it has one; false when it has none. */
bool zvx_omx_client_event(const struct zvx_omx_client &client, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2);

/* Give a buffer back through EmptyBufferDone or FillBufferDone, if the client has it, recording the call
 * for the instrumentation sink. The caller has made the client the buffer's owner and holds no lock. */
void zvx_omx_client_empty_buffer_done(const struct zvx_omx_client &client, OMX_BUFFERHEADERTYPE *header);
void zvx_omx_client_fill_buffer_done(const struct zvx_omx_client &client, OMX_BUFFERHEADERTYPE *header);

#endif
