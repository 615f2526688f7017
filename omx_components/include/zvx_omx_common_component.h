#ifndef ZVX_OMX_COMMON_COMPONENT_H
#define ZVX_OMX_COMMON_COMPONENT_H

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <pthread.h>
#include <stdint.h>

#include "zvx_omx_common_cproc.h"
#include "zvx_omx_port.h"
#include "zvx_session_interface.h"
#include "zvx_util_atomic.h"
#include "zvx_util_circular_list.h"
#include "zvx_util_map.h"
#include "zvx_util_slist_ts.h"

#define ZVX_OMX_COMPONENT_NAME_SIZE 128
#define ZVX_OMX_MAX_PROT_BUFS 1024
#define ZVX_OMX_PORT_COUNT 2
#define ZVX_OMX_DEVICE_PATH "/dev/kdev0"

typedef enum zvx_omx_component_type_t {
    ZVX_OMX_DECODER = 0,
    ZVX_OMX_ENCODER = 1,
} zvx_omx_component_type_t;

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

typedef struct zvx_omx_common_component {
    char name[ZVX_OMX_COMPONENT_NAME_SIZE];
    struct zvx_omx_common_cproc_invoker cproc_invoker;
    zvx_omx_common_cproc_command_queue_lockfree_ts cproc_queue;
    zvxu_atomic omx_state; /* OMX_STATETYPE */
    struct zvx_map config_and_params;
    int driver_fd; /* -1 while the device is not open */
    bool secure;
    void *prot_bufs[ZVX_OMX_MAX_PROT_BUFS];
    int num_prot_bufs;
    pthread_mutex_t lock; /* protected buffers, buffer bookkeeping and the settings stores */
    bool session_created;
    bool hw_state_change_received;
    bool sw_state_trying_to_stop;
    zvx_omx_component_type_t type;
    zvx_omx_port ports[ZVX_OMX_PORT_COUNT]; /* 0 input, 1 output */
    OMX_CALLBACKTYPE omx_callbacks;
    struct zvx_omx_component *omx_component;
    zvx_omx_component_role_t role;
    int32_t hw_state; /* enum zvx_base_hw_state, as last reported */
    OMX_TICKS prev_ts;
    zvxu_circular_list *prev_fps; /* recent frame intervals */
    bool vp9_alloc_params_changed;
    struct zvx_base_fw_frame_alloc_parameters alloc_params;
    bool force_yuv;
    zvx_alloc_params_state_t alloc_params_state;
    bool android_client;
    struct zvx_base_buffer_param_colour_description prev_color_desc;
} zvx_omx_common_component;

/* The component record behind a client's handle; null for a null handle. */
inline zvx_omx_common_component *zvx_omx_common_component_from_handle(OMX_HANDLETYPE handle)
{
    if (handle == nullptr)
        return nullptr;
    return static_cast<zvx_omx_common_component *>(static_cast<OMX_COMPONENTTYPE *>(handle)->pComponentPrivate);
}

/* Leaves the component loaded, device open, no session, command thread not started. On failure the
 * caller destroys the component. */
OMX_ERRORTYPE zvx_omx_common_component_init(struct zvx_omx_component *handle, zvx_omx_common_component *comp,
                                            OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks);
/* The command thread must already be stopped. */
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
/* Switches the compressed layout on the YUV port; false for any other port. */
bool zvx_omx_common_component_tcx_enable(zvx_omx_common_component *comp, OMX_U32 port, bool enable, bool tiles_enable,
                                         bool wideblk_enable);
OMX_BOOL zvx_omx_common_component_is_dmabuf_enabled(zvx_omx_common_component *comp, OMX_U32 port);
OMX_BOOL zvx_omx_common_component_is_metadata_in_buffer_enabled(zvx_omx_common_component *comp, OMX_U32 port);

/* Bytes of extra data after the picture in an output buffer. */
OMX_U32 zvx_omx_common_component_get_extra_data_size(zvx_omx_common_component *comp, OMX_U32 port);
void zvx_omx_common_component_update_crop_rect(zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 width,
                                               OMX_U32 height);
/* Never lowers stride or slice height; does nothing once the parameters are marked updated. */
void zvx_omx_common_component_update_portdef_from_alloc_params(zvx_omx_common_component *comp);

#endif
