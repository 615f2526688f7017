#ifndef ZVX_OMX_STRINGS_H
#define ZVX_OMX_STRINGS_H

/* Diagnostic names of OpenMAX values, the component's own and the Android extensions included, and the
 * structure printer. Each name lookup answers "Unknown" for a value it has no name for. */

#include <OMX_Types.h>

#include "zvx_omx_record_layout.h"

const char *zvx_omx_index_name(OMX_U32 index);
const char *zvx_omx_state_name(OMX_U32 state);
const char *zvx_omx_command_name(OMX_U32 command);
const char *zvx_omx_event_name(OMX_U32 event);
const char *zvx_omx_error_name(OMX_U32 error);
const char *zvx_omx_color_format_name(OMX_U32 color_format);
const char *zvx_omx_coding_name(OMX_U32 coding);

/* True when the component's log group lets debug messages through; nothing is formatted otherwise. */
bool zvx_omx_strings_debug_enabled(void);

/* Logs `record`, laid out as `layout`, field by field at debug severity through the component's log
 * group, headed by the entry that handled it ("GetParameter", "SetParameter") and its index. Only the
 * layout's size is read from the record. */
void zvx_omx_strings_log_record(const char *entry, OMX_HANDLETYPE handle, OMX_U32 index,
                                const zvx_omx_record_layout &layout, const void *record);

#endif
