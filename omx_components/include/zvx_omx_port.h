#ifndef ZVX_OMX_PORT_H
#define ZVX_OMX_PORT_H

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <pthread.h>
#include <stdint.h>

#include "zvx_session_interface.h"
#include "zvx_util_atomic.h"
#include "zvx_util_list.h"
#include "zvx_util_map.h"
#include "zvx_util_semaphore.h"

typedef enum zvx_omx_buffer_owner_t {
    ZVX_OMX_BUFFER_OWNER_CLIENT = 0,
    ZVX_OMX_BUFFER_OWNER_COMPONENT = 1,
    ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT = 2,
    ZVX_OMX_BUFFER_OWNER_COMP_REJECTED = 3,
} zvx_omx_buffer_owner_t;

/* What the component keeps about a buffer besides what the client sees. Fields without a guard are set
 * when the buffer is registered and stay. */
struct zvx_omx_common_bufferheadertype_priv {
    void *alloc_buffer; /* memory the component allocated; null for a client's buffer */
    bool secure;
    zvx_omx_buffer_owner_t owner; /* the port's buffer_sem */
    bool rgb_to_yuv;
    uint32_t buffer_size;
    void *yuv_buffer;
    /* As registered with the session; its identity and handle, those it is queued under, change under the
     * port's buffer_sem while the component holds the buffer. */
    struct zvx_base_buffer_userspace desc;
    uint32_t tcx_alloc_bytes;
    uint16_t tcx_width_in_superblocks;
    bool metadata;  /* the buffer holds a metadata record naming the frame memory, which is registered instead */
    uint32_t lends; /* the port's buffer_sem: times the client has queued it, so a call knows its own lend */
};

/* The client holds &pub; the component gets back to priv from that address. */
typedef struct zvx_omx_common_bufferheadertype {
    OMX_BUFFERHEADERTYPE pub;
    struct zvx_omx_common_bufferheadertype_priv priv;
} zvx_omx_common_bufferheadertype;

inline zvx_omx_common_bufferheadertype *zvx_omx_common_bufferheader_from_pub(OMX_BUFFERHEADERTYPE *pub)
{
    return reinterpret_cast<zvx_omx_common_bufferheadertype *>(pub);
}

typedef enum zvx_omx_buffer_type_t {
    ZVX_OMX_BUFFER_TYPE_VMALLOC = 0,
    ZVX_OMX_BUFFER_TYPE_GRALLOC = 1,
} zvx_omx_buffer_type_t;

typedef enum zvx_omx_buffer_ref_state_t {
    ZVX_OMX_BUFFER_REF_STATE_UNUSED = 0,
    ZVX_OMX_BUFFER_REF_STATE_USED = 1,
    ZVX_OMX_BUFFER_REF_STATE_QUERY = 2,
} zvx_omx_buffer_ref_state_t;

struct zvx_omx_common_mapped_buffer {
    zvx_base_buffer_handle_t buffer_id;
    zvx_base_buffer_handle_t handle;
    zvx_omx_buffer_type_t type;
    void *alloc_buffer;
    enum zvx_base_buffer_allocator allocator;
    uint32_t last_used;
    zvx_omx_buffer_ref_state_t ref_state;
    uint32_t width;
    uint32_t height;
    uint32_t size;
    zvxu_atomic refcnt_fw; /* references the firmware holds */
};

/* Headers the session currently holds, in the order they were sent. */
ZVX_LIST_DECLARE(omxbufferhdrptr, struct zvx_omx_common_bufferheadertype *)
/* Input headers in the order the client queued them; they go back to the client in that order. */
ZVX_LIST_DECLARE(port_buffers, struct zvx_omx_common_bufferheadertype *)

/* The client command a port is carrying out; STABLE when none is. */
typedef enum zvx_omx_port_transition {
    ZVX_OMX_PORT_STABLE = 0,
    ZVX_OMX_PORT_ENABLING = 1,
    ZVX_OMX_PORT_DISABLING = 2,
    ZVX_OMX_PORT_FLUSHING = 3,
} zvx_omx_port_transition;

/* Bit of pFlag: a client flush handed to the session waits for the session's flush event. */
#define ZVX_OMX_PORT_FLAG_CLIENT_FLUSH 0x1

/* Guards follow the rule in zvx_omx_common_component.h; "comp lock" is the component's `lock`. */
/* Freed buffer memory a port keeps for reuse; more is given back at once. */
#define ZVX_OMX_PORT_SPARE_BLOCKS 16

typedef struct zvx_omx_port {
    struct zvx_map config_and_params;  /* comp lock */
    int32_t nr_pending_flushes;        /* command thread: session flushes not yet reported done */
    bool flush_without_stop;           /* command thread */
    bool buffer_produced;              /* command thread */
    int32_t pFlag;                     /* command thread; ZVX_OMX_PORT_FLAG_CLIENT_FLUSH and event bits */
    struct zvx_map registered_buffers; /* comp lock; buffer identity -> header; erasing frees the buffer */
    struct zvx_map mapped_buffers;     /* comp lock; memory handle -> zvx_omx_common_mapped_buffer */
    struct zvx_list_omxbufferhdrptr tracked_buffers; /* buffer_sem */
    struct zvx_list_port_buffers buffer_list;        /* buffer_sem */
    struct zvx_util_semaphore_t buffer_sem;          /* released around every client callback */
    int32_t conf_buffers_queued;                     /* atomic_ref: codec-configuration inputs with the session */
    int32_t nr_enqueue;             /* atomic_ref: buffers passed to the session since the last flush */
    int32_t nr_dequeue;             /* atomic_ref: buffers the session returned since the last flush */
    uint32_t port_format_index;     /* comp lock */
    OMX_BUFFERHEADERTYPE *hdr;      /* command thread: a buffer the port holds back */
    uint32_t zvx_flags;             /* comp lock */
    int32_t transition;             /* zvx_omx_port_transition; command thread writes, atomic_ref */
    uint32_t registrations_pending; /* comp lock: registrations counted against nBufferCountActual, not yet entered */
    uint32_t frees_pending;         /* comp lock: buffers a FreeBuffer has taken, not yet erased; they no longer
                                       count towards bPopulated */
    bool had_buffers;               /* comp lock: a buffer was registered once, so a freed header may come back */
    /* comp lock: memory of buffers the component allocated and the client freed, all of spare_size bytes,
     * kept for the next AllocateBuffer of that size: a cycle through Loaded then maps and unmaps nothing. */
    void *spare_blocks[ZVX_OMX_PORT_SPARE_BLOCKS];
    uint32_t spare_count;
    uint32_t spare_size;
    /* Held from taking a client's buffer to handing it to the session, and around a flush request of the
     * port: a flush never overtakes a buffer already taken. Taken before the comp lock. */
    pthread_mutex_t send_lock;
} zvx_omx_port;

/* Value destructors of the two buffer maps: free the header (with the memory the component
 * allocated for it) and the mapping record. */
void zvx_omx_port_free_registered_buffer(zvx_map_pointer header);
void zvx_omx_port_free_mapped_buffer(zvx_map_pointer mapped_buffer);

/* Empty settings store, empty buffer tables and lists, open semaphore. */
OMX_ERRORTYPE zvx_omx_port_init(zvx_omx_port *port);
/* Frees whatever the tables still hold. */
void zvx_omx_port_destroy(zvx_omx_port *port);
/* bPopulated as the client sees the port: true once it holds the nBufferCountActual in force, from the
 * first buffer registered to the last one freed and whenever that count changes. True when a command
 * waiting for the port may now go on: bPopulated changed, the port holds its minimum count, or it is
 * empty. Caller holds the component's lock. */
bool zvx_omx_port_update_populated(zvx_omx_port *port);
/* A kept block of exactly size bytes, else one of the process's store, or null; kept blocks of another
 * size go to the store. Caller holds the component's lock. */
void *zvx_omx_port_take_spare_block(zvx_omx_port *port, uint32_t size);
/* Keeps a block the component allocated with zvx_mem_valloc; false when the port keeps no more (blocks
 * of another size go to the store first), and the caller gives it to the store, best after dropping the
 * lock. Caller holds the component's lock. */
bool zvx_omx_port_keep_spare_block(zvx_omx_port *port, void *block, uint32_t size);
/* Whether any buffer is registered on the port. Caller holds the component's lock. */
bool zvxp_omx_port_has_buffers(zvx_omx_port *port);
/* The port's OMX_IndexParamPortDefinition setting; null if the store has none. */
OMX_PARAM_PORTDEFINITIONTYPE *zvx_omx_port_get_definition(zvx_omx_port *port);

#endif
