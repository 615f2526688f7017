#ifndef ZVX_OMX_TRANSLATE_H
#define ZVX_OMX_TRANSLATE_H

/* Conversions between the client's OpenMAX 1.1.2 records and the session's 1.2.0 records and buffer
 * formats. Stateless and allocation-free. */

#include <OMX_Component.h>
#include <OMX_IVCommon.h>
#include <stdint.h>

#include "zvx_omx_common_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_session_interface.h"

typedef void *zvxp_omx_gralloc_handle;

/* A decoder never tells the session a bit rate or frame rate this way: both are written as 0. */
void zvx_omx_translate_112_to_120_IndexParamPortDefinition(kern_omx120_param_portdefinitiontype *_120,
                                                           OMX_PARAM_PORTDEFINITIONTYPE *_112, bool decoder);
/* Leaves the padding word of the 1.1.2 record as the caller's buffer held it. */
void zvx_omx_translate_120_to_112_IndexParamPortDefinition(OMX_PARAM_PORTDEFINITIONTYPE *_112,
                                                           kern_omx120_param_portdefinitiontype *_120);

/* The last two arguments are accepted for callers that have them and are not used. */
OMX_ERRORTYPE zvx_omx_translate_color_format(zvx_omx_common_component *component, OMX_COLOR_FORMATTYPE src_fmt,
                                             enum zvx_base_omx_buffer_format *dst_fmt, uint32_t nPortIndex,
                                             zvxp_omx_gralloc_handle gralloc_handle,
                                             zvx_omx_common_bufferheadertype *header);
/* Formats without a client counterpart come back unchanged. */
OMX_COLOR_FORMATTYPE zvx_omx_translate_color_format_to_v1(enum zvx_base_omx_buffer_format src_fmt);
/* Takes the colour format from the stored port format at port_format_index, if there is one. */
void zvx_omx_translate_color_format_to_client(kern_omx120_param_portdefinitiontype *_120, struct zvx_map *array,
                                              uint32_t port_format_index);

#endif
