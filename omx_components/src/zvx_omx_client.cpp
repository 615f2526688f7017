// The client's callbacks and application data: SetCallbacks stores them as one pair, and every
// callback the component makes reads them as one pair.
#include "zvx_omx_client.h"

#include "zvx_omx_common_component.h"

namespace {

OMX_COMPONENTTYPE *zvxp_handle(zvx_omx_common_component *comp)
{
    return reinterpret_cast<OMX_COMPONENTTYPE *>(comp->omx_component);
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
    client.callbacks.EventHandler(client.handle, client.app_data, event, data1, data2, nullptr);
    return true;
}
