#ifndef ZVX_OMX_COMMON_COMPONENT_BUFFERS_H
#define ZVX_OMX_COMMON_COMPONENT_BUFFERS_H

#include <OMX_Component.h>

/* Buffer registration and flow entry points of the component handle. */
OMX_ERRORTYPE zvx_omx_common_component_use_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                  OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes,
                                                  OMX_U8 *pBuffer);
OMX_ERRORTYPE zvx_omx_common_component_allocate_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE **ppBufferHdr,
                                                       OMX_U32 nPortIndex, OMX_PTR pAppPrivate, OMX_U32 nSizeBytes);
OMX_ERRORTYPE zvx_omx_common_component_free_buffer(OMX_HANDLETYPE hComponent, OMX_U32 nPortIndex,
                                                   OMX_BUFFERHEADERTYPE *pBufferHdr);
OMX_ERRORTYPE zvx_omx_common_component_empty_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer);
OMX_ERRORTYPE zvx_omx_common_component_fill_this_buffer(OMX_HANDLETYPE hComponent, OMX_BUFFERHEADERTYPE *pBuffer);

#endif
