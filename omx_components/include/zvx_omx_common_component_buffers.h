#ifndef ZVX_OMX_COMMON_COMPONENT_BUFFERS_H
#define ZVX_OMX_COMMON_COMPONENT_BUFFERS_H

#include <OMX_Component.h>

/* Buffer flow entry points of the component handle. */
OMX_ERRORTYPE zvx_omx_common_component_empty_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer);
OMX_ERRORTYPE zvx_omx_common_component_fill_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer);

#endif
