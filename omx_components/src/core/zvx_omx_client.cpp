// The client's callbacks and application data: SetCallbacks stores them as one pair, and every
// callback the component makes reads them as one pair.
#include "core/zvx_omx_client.h"

#include "diagnostics/zvx_omx_api_call_record.h"
#include "zvx_omx_common_component.h"

namespace {

OMX_COMPONENTTYPE *zvxp_handle(zvx_omx_common_component *comp)
{
    return reinterpret_cast<OMX_COMPONENTTYPE *>(comp->omx_component);
}

/* The header as the client receives it, then the call. */
void zvxp_record_buffer_done(uint32_t code, const zvx_omx_client &client, const OMX_BUFFERHEADERTYPE *header)
{
    zvx_instr_write_msg(ZVX_INSTR_API_PTR, sizeof(*header), header);
    zvx_omx_api_call_record record(code, 3);
    record.append_argument(client.handle);
    record.append_argument(client.app_data);
    record.append_argument(header);
    record.write();
}

} // namespace

void zvx_omx_client_set(struct zvx_omx_common_component *comp, const OMX_CALLBACKTYPE *callbacks, OMX_PTR app_data)
{
    zvx_omx_mutex_guard guard(&comp->callbacks_lock);
    if (callbacks != nullptr) {
        comp->omx_callbacks.EventHandler = callbacks->EventHandler;
        comp->omx_callbacks.EmptyBufferDone = callbacks->EmptyBufferDone;
        comp->omx_callbacks.FillBufferDone = callbacks->FillBufferDone;
    }
    if (OMX_COMPONENTTYPE *handle = zvxp_handle(comp); handle != nullptr) {
        handle->pApplicationPrivate = app_data;
    }
}

struct zvx_omx_client zvx_omx_client_get(struct zvx_omx_common_component *comp)
{
    zvx_omx_mutex_guard guard(&comp->callbacks_lock);
    OMX_COMPONENTTYPE *handle = zvxp_handle(comp);
    return {handle, handle != nullptr ? handle->pApplicationPrivate : nullptr, comp->omx_callbacks};
}

bool zvx_omx_client_event(const struct zvx_omx_client &client, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2)
{
    if (client.callbacks.EventHandler == nullptr) {
        return false;
    }
    if (event == OMX_EventCmdComplete || event == OMX_EventError) {
        zvx_omx_common_cproc_answering(zvx_omx_common_component_from_handle(client.handle));
    }
    client.callbacks.EventHandler(client.handle, client.app_data, event, data1, data2, nullptr);
    return true;
}

void zvx_omx_client_empty_buffer_done(const struct zvx_omx_client &client, OMX_BUFFERHEADERTYPE *header)
{
    zvxp_record_buffer_done(code_OMX_cbEmptyBufferDone, client, header);
    if (client.callbacks.EmptyBufferDone != nullptr) {
        client.callbacks.EmptyBufferDone(client.handle, client.app_data, header);
    }
}

void zvx_omx_client_fill_buffer_done(const struct zvx_omx_client &client, OMX_BUFFERHEADERTYPE *header)
{
    zvxp_record_buffer_done(code_OMX_cbFillBufferDone, client, header);
    if (client.callbacks.FillBufferDone != nullptr) {
        client.callbacks.FillBufferDone(client.handle, client.app_data, header);
    }
}
