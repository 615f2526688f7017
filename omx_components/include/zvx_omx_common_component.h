#ifndef ZVX_OMX_COMMON_COMPONENT_H
#define ZVX_OMX_COMMON_COMPONENT_H

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <pthread.h>
#include <stdint.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_port.h"
#include "zvx_session_interface.h"
#include "zvx_util_atomic.h"
#include "zvx_util_circular_list.h"
#include "zvx_util_map.h"
#include "zvx_util_slist_ts.h"

#define ZVX_OMX_COMPONENT_NAME_SIZE 128
#define ZVX_OMX_MAX_PROT_BUFS 1024
#define ZVX_OMX_DEVICE_PATH "/dev/kdev0"
/* hw_state holds a requested state plus this while the session has not confirmed it. */
#define ZVX_OMX_HW_STATE_REQUESTED 10

typedef enum zvx_omx_component_role_t {
    ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED = 0,
    ZVX_OMX_COMPONENT_ROLE_H263 = 1,
    ZVX_OMX_COMPONENT_ROLE_AVC = 2,
    ZVX_OMX_COMPONENT_ROLE_HEVC = 3,
    ZVX_OMX_COMPONENT_ROLE_MPEG2 = 4,
    ZVX_OMX_COMPONENT_ROLE_MPEG4 = 5,
    ZVX_OMX_COMPONENT_ROLE_VP8 = 6,
    ZVX_OMX_COMPONENT_ROLE_VP9 = 7,
    ZVX_OMX_COMPONENT_ROLE_RV = 8,
    ZVX_OMX_COMPONENT_ROLE_VC1 = 9,
    ZVX_OMX_COMPONENT_ROLE_JPEG = 10,
} zvx_omx_component_role_t;

typedef enum zvx_alloc_params_state_t {
    ZVX_ALLOC_PARAMS_INIT = 0,
    ZVX_ALLOC_PARAMS_CHANGED = 1,
    ZVX_ALLOC_PARAMS_UPDATED = 2,
} zvx_alloc_params_state_t;

/* The client's handle: exactly an OpenMAX component. */
struct zvx_omx_component {
    OMX_COMPONENTTYPE omx;
};

/*
 * Shared state. Client threads run the entry points; the component's command thread runs every
 * command, every session event and the client callbacks they make; init and destroy run while no
 * command thread does. Each field below names its guard:
 * - "command thread": only the command thread reads or writes it. An entry point that needs it
 *   changed queues a command instead.
 * - "command thread writes": only the command thread writes it; any thread reads it, every access
 *   (the command thread's too) through zvxu_atomic or std::atomic_ref.
 * - "atomic_ref": any thread changes it, every access through std::atomic_ref.
 * - "lock": every access from any thread holds `lock`, the command thread's too; the record's setting
 *   queries below expect their caller to hold it. Nobody holds it across a client callback, so a
 *   client may call any entry point from inside a callback.
 * - "callbacks_lock": written by SetCallbacks; the command thread reads the callbacks and the
 *   application data as one pair (zvx_omx_client_get) before each callback, never holding it across one.
 * - "init": set by init, constant until destroy.
 */
typedef struct zvx_omx_common_component {
    char name[ZVX_OMX_COMPONENT_NAME_SIZE];                     /* init */
    struct zvx_omx_common_cproc_invoker cproc_invoker;          /* zvx_omx_common_cproc.h */
    zvx_omx_common_cproc_command_queue_lockfree_ts cproc_queue; /* lock-free: any producer, command thread consumes */
    /* The client's commands, in the order SendCommand accepted them: enqueued under commands_lock, taken
     * off by the command thread one at a time, each once the one before it has been answered. */
    zvx_omx_common_cproc_command_queue_lockfree_ts client_commands;
    pthread_mutex_t commands_lock;
    uint32_t commands_pending;        /* commands_lock: client commands accepted and not yet answered */
    uint32_t commands_unfinished;     /* commands_lock: accepted and not yet done, their answer's callback included */
    bool inline_command;              /* commands_lock: SendCommand carries one out on the client's thread */
    zvxu_atomic omx_state;            /* command thread writes; OMX_STATETYPE */
    struct zvx_map config_and_params; /* lock */
    int driver_fd;                    /* init; -1 while the device is not open */
    bool secure;                      /* lock */
    void *prot_bufs[ZVX_OMX_MAX_PROT_BUFS]; /* lock */
    int num_prot_bufs;                      /* lock */
    pthread_mutex_t lock;
    bool session_created;                    /* command thread writes */
    bool hw_state_change_received;           /* command thread */
    bool sw_state_trying_to_stop;            /* atomic_ref: set by SendCommand, cleared by the command */
    zvx_omx_component_type_t type;           /* init */
    zvx_omx_port ports[ZVX_OMX_PORT_COUNT];  /* 0 input, 1 output; guards in zvx_omx_port.h */
    OMX_CALLBACKTYPE omx_callbacks;          /* callbacks_lock */
    struct zvx_omx_component *omx_component; /* init */
    zvx_omx_component_role_t role;           /* lock */
    int32_t hw_state;              /* command thread writes; enum zvx_base_hw_state as last reported, or a requested
                                      state + ZVX_OMX_HW_STATE_REQUESTED while the request is outstanding */
    OMX_TICKS prev_ts;             /* lock */
    zvxu_circular_list *prev_fps;  /* lock; recent frame intervals */
    bool vp9_alloc_params_changed; /* command thread writes */
    bool vp9_realloc_announced;    /* command thread; the client was told of the reallocation above */
    struct zvx_base_fw_frame_alloc_parameters alloc_params;          /* lock */
    bool force_yuv;                                                  /* command thread */
    zvx_alloc_params_state_t alloc_params_state;                     /* lock */
    bool android_client;                                             /* lock */
    struct zvx_base_buffer_param_colour_description prev_color_desc; /* command thread */
    pthread_mutex_t callbacks_lock;
    /* atomic_ref: the state the client's last accepted OMX_CommandStateSet aims at, until that change
     * completes or is refused; OMX_StateMax when none is under way. Buffers may be registered on the way
     * to Idle and freed on the way to Loaded, before the command thread has run the change. */
    int32_t requested_state;
    /* atomic_ref: the header a callback is handing back to the client right now, null between callbacks.
     * The command thread sets it under the port's buffer_sem; another thread that finds its header here
     * waits for the callback to end before it queues or frees the header. */
    OMX_BUFFERHEADERTYPE *returning_buffer;
    /* atomic_ref: set when a session is destroyed, cleared by the command thread once it has given back
     * to the client what that session still held. */
    bool session_ended;
    bool built; /* init: set by init, cleared once destroy (or a failed init) has released the record */
} zvx_omx_common_component;

/* Holds a mutex of the component for one scope. */
class zvx_omx_mutex_guard {
public:
    explicit zvx_omx_mutex_guard(pthread_mutex_t *mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
    ~zvx_omx_mutex_guard() { pthread_mutex_unlock(mutex_); }
    zvx_omx_mutex_guard(const zvx_omx_mutex_guard &) = delete;
    zvx_omx_mutex_guard &operator=(const zvx_omx_mutex_guard &) = delete;

private:
    pthread_mutex_t *mutex_;
};

/* The component record behind a client's handle; null for a null handle. */
inline zvx_omx_common_component *zvx_omx_common_component_from_handle(OMX_HANDLETYPE handle)
{
    if (handle == nullptr)
        return nullptr;
    return static_cast<zvx_omx_common_component *>(static_cast<OMX_COMPONENTTYPE *>(handle)->pComponentPrivate);
}

/* Leaves the component loaded, device open, no session, command thread not started. A failed init
 * releases whatever it built; a destroy after it does nothing. */
OMX_ERRORTYPE zvx_omx_common_component_init(struct zvx_omx_component *handle, zvx_omx_common_component *comp,
                                            OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks);
/* The command thread must already be stopped. Clears the handle's record pointer, so that later calls
 * through the handle fail; a second destroy does nothing. */
void zvx_omx_common_component_destroy(zvx_omx_common_component *comp);

zvx_omx_component_type_t zvx_omx_common_component_get_type(const zvx_omx_common_component *comp);
void zvx_omx_common_component_set_type(zvx_omx_common_component *comp, zvx_omx_component_type_t type);

OMX_U32 zvx_omx_common_component_get_input_port_index(const zvx_omx_common_component *comp);
OMX_U32 zvx_omx_common_component_get_output_port_index(const zvx_omx_common_component *comp);
OMX_U32 zvx_omx_common_component_get_bitstream_port_index(const zvx_omx_common_component *comp);
OMX_U32 zvx_omx_common_component_get_yuv_port_index(const zvx_omx_common_component *comp);

/* tiles and wideblk are optional outputs, written only when the setting exists. */
OMX_BOOL zvx_omx_common_component_is_tcx_enabled(zvx_omx_common_component *comp, OMX_U32 port, OMX_BOOL *tiles,
                                                 OMX_BOOL *wideblk);
/* Switches the compressed layout on the YUV port; false for any other port. Takes the lock itself. */
bool zvx_omx_common_component_tcx_enable(zvx_omx_common_component *comp, OMX_U32 port, bool enable, bool tiles_enable,
                                         bool wideblk_enable);
OMX_BOOL zvx_omx_common_component_is_dmabuf_enabled(zvx_omx_common_component *comp, OMX_U32 port);
OMX_BOOL zvx_omx_common_component_is_metadata_in_buffer_enabled(zvx_omx_common_component *comp, OMX_U32 port);

/* The two below change settings stores: the caller holds the lock. */
void zvx_omx_common_component_update_crop_rect(zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 width,
                                               OMX_U32 height);
/* Never lowers stride or slice height; does nothing once the parameters are marked updated. */
void zvx_omx_common_component_update_portdef_from_alloc_params(zvx_omx_common_component *comp);

#endif
