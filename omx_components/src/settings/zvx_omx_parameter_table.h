#ifndef ZVX_OMX_PARAMETER_TABLE_H
#define ZVX_OMX_PARAMETER_TABLE_H

/* Every index the parameter and configuration entries answer: the record it carries, whether it
 * belongs to a port or to the component, what a client may do with it and whether the session must
 * know it. */

#include <OMX_Index.h>
#include <OMX_Types.h>

#include <OMX_Component.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "zvx_omx_record_layout.h"

enum zvx_omx_parameter_access : uint8_t {
    ZVX_OMX_PARAMETER_GET = 1,
    ZVX_OMX_PARAMETER_SET = 2,
    ZVX_OMX_PARAMETER_GET_SET = 3,
};

enum class zvx_omx_parameter_scope : uint8_t { port, component };

/* Where every port record keeps its port: after the size and the version, as in the port definition. */
inline constexpr uint32_t ZVX_OMX_PORT_INDEX_OFFSET = offsetof(OMX_PARAM_PORTDEFINITIONTYPE, nPortIndex);

struct zvx_omx_parameter_entry {
    OMX_INDEXTYPE index;
    uint32_t size; /* of the record; a client's nSize may be larger, never smaller */
    const zvx_omx_record_layout &(*layout)();
    bool config; /* an OMX_IndexConfig* index: settable in every state but Invalid */
    zvx_omx_parameter_scope scope;
    uint8_t access;       /* zvx_omx_parameter_access */
    bool session;         /* a set is passed on to the session */
    uint32_t enumeration; /* offset of the record's enumeration index; 0 when it has none */
};

/* Null for an index the component does not answer. */
const zvx_omx_parameter_entry *zvx_omx_parameter_find(OMX_U32 index);
std::span<const zvx_omx_parameter_entry> zvx_omx_parameter_entries();

#endif
