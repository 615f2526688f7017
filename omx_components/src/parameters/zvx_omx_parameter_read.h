#ifndef ZVX_OMX_PARAMETER_READ_H
#define ZVX_OMX_PARAMETER_READ_H

#include <OMX_Core.h>

#include "settings/zvx_omx_parameter_table.h"

struct zvx_omx_common_component;
struct zvx_map;

/* Fills the client's record, already checked against the entry, from the settings stores. The
 * client's nSize is kept. Caller holds the component lock. */
OMX_ERRORTYPE zvx_omx_parameter_read(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry,
                                     void *record);

#endif
