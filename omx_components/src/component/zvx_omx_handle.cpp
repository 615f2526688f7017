// The client's handle: the OpenMAX function table that leads every client call into the component.
#include "component/zvx_omx_handle.h"

#include <cstring>

#include "buffers/zvx_omx_common_component_buffers.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_parameters.h"

void zvx_omx_handle_fill(struct zvx_omx_component *handle, zvx_omx_common_component *comp, OMX_PTR app_data)
{
    OMX_COMPONENTTYPE *omx = &handle->omx;
    std::memset(omx, 0, sizeof(*omx));
    omx->nSize = sizeof(OMX_COMPONENTTYPE);
    omx->nVersion.s.nVersionMajor = 1;
    omx->nVersion.s.nVersionMinor = 1;
    omx->nVersion.s.nRevision = 0;
    omx->nVersion.s.nStep = 0;
    omx->pComponentPrivate = comp;
    omx->pApplicationPrivate = app_data;
    omx->GetComponentVersion = zvx_omx_common_component_get_component_version;
    omx->SendCommand = zvx_omx_common_component_send_command;
    omx->GetExtensionIndex = zvx_omx_common_component_get_extension_index;
    omx->GetState = zvx_omx_common_component_get_state;
    omx->UseBuffer = zvx_omx_common_component_use_buffer;
    omx->AllocateBuffer = zvx_omx_common_component_allocate_buffer;
    omx->FreeBuffer = zvx_omx_common_component_free_buffer;
    omx->EmptyThisBuffer = zvx_omx_common_component_empty_this_buffer;
    omx->FillThisBuffer = zvx_omx_common_component_fill_this_buffer;
    omx->SetCallbacks = zvx_omx_common_component_set_callbacks;
    omx->GetParameter = zvx_omx_common_component_get_parameter;
    omx->GetConfig = zvx_omx_common_component_get_parameter;
    omx->SetParameter = zvx_omx_common_component_set_parameter;
    omx->SetConfig = zvx_omx_common_component_set_parameter;
}
