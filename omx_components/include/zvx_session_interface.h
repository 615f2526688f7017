#ifndef ZVX_SESSION_INTERFACE_H
#define ZVX_SESSION_INTERFACE_H

/*
 * The codec session: everything the component asks of the video hardware, keyed by the descriptor of
 * the driver's device node. The component links against these functions only; which implementation
 * stands behind them (a driver binding, or the test stub) is chosen at link time.
 */

#include <OMX_Core.h>
#include <OMX_Index.h>
#include <OMX_Types.h>
#include <stdint.h>

typedef uint64_t zvx_base_buffer_handle_t;

/* One region of interest, in macroblock units. */
struct zvx_base_roi_region {
    uint16_t mbx_left;
    uint16_t mbx_right;
    uint16_t mby_top;
    uint16_t mby_bottom;
    int16_t qp_delta;
};

#define ZVX_BASE_MAX_ROI_REGIONS 16

struct zvx_base_buffer_details {
    zvx_base_buffer_handle_t buffer_id;
    zvx_base_buffer_handle_t handle;
    uint32_t filled_len;
    uint32_t flags;
    uint32_t zvx_flags;
    uint32_t crc_offset;
    uint64_t timestamp;
    uint8_t nRegions;
    uint8_t reserved[3];
    struct zvx_base_roi_region regions[ZVX_BASE_MAX_ROI_REGIONS];
};

enum zvx_base_buffer_allocator {
    ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC = 0,
    ZVX_BASE_BUFFER_ALLOCATOR_ATTACHMENT = 1,
    ZVX_BASE_BUFFER_ALLOCATOR_DMABUF = 2,
    ZVX_BASE_BUFFER_ALLOCATOR_ASHMEM = 3,
};

enum zvx_base_omx_buffer_format {
    ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR = 0x7f000100,
    ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR = 0x7f000101,
    ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B = 0x7f000102,
    ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX = 0x7f000103,
    ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX_10B = 0x7f000104,
    ZVX_BASE_OMX_BUFFER_FORMAT_YUV422_1P = 0x7f000105,
    ZVX_BASE_OMX_BUFFER_FORMAT_YVU422_1P = 0x7f000106,
    ZVX_BASE_OMX_BUFFER_FORMAT_BITSTREAM = 0x7f000107,
    ZVX_BASE_OMX_BUFFER_FORMAT_CRC = 0x7f000108,
    ZVX_BASE_OMX_BUFFER_FORMAT_YV12 = 0x7f000109,
    ZVX_BASE_OMX_BUFFER_FORMAT_YVU420_SEMIPLANAR = 0x7f00010a,
    ZVX_BASE_OMX_BUFFER_FORMAT_RGBA_8888 = 0x7f00010b,
    ZVX_BASE_OMX_BUFFER_FORMAT_BGRA_8888 = 0x7f00010c,
    ZVX_BASE_OMX_BUFFER_FORMAT_ARGB_8888 = 0x7f00010d,
    ZVX_BASE_OMX_BUFFER_FORMAT_ABGR_8888 = 0x7f00010e,
};

/* Descriptor of a buffer registered with the session. */
struct zvx_base_buffer_userspace {
    uint64_t timestamp;
    zvx_base_buffer_handle_t buffer_id;
    zvx_base_buffer_handle_t handle;     /* address or file descriptor, by allocator */
    zvx_base_buffer_handle_t crc_handle; /* 0 without a CRC buffer */
    enum zvx_base_buffer_allocator allocator;
    uint32_t size;
    uint32_t width;
    uint32_t height;
    uint32_t stride;
    uint32_t stride_alignment;
    enum zvx_base_omx_buffer_format format;
    uint32_t decoded_width;
    uint32_t decoded_height;
    uint32_t tcx_width_in_superblocks;
    uint32_t tcx_alloc_bytes;
    uint32_t filled_len;
    uint32_t offset;
    uint32_t flags;
    uint32_t zvx_flags;
    uint32_t pic_index;
    uint16_t cropx;
    uint16_t cropy;
    uint8_t y_offset;
    enum zvx_base_buffer_allocator crc_allocator;
    uint32_t crc_size;
    uint32_t crc_offset;
};

/* zvx_flags bit of a returned output buffer that the session refused to fill. */
#define ZVX_OMX_ZVX_FLAG_REJECTED 0x1000u

enum zvx_base_event_code {
    ZVX_BASE_EVENT_RPC_PRINT = 0,
    ZVX_BASE_EVENT_SWITCHED_IN = 1,
    ZVX_BASE_EVENT_SWITCHED_OUT = 2,
    ZVX_BASE_EVENT_PONG = 3,
    ZVX_BASE_EVENT_STATE_CHANGED = 4,
    ZVX_BASE_EVENT_ERROR = 5,
    ZVX_BASE_EVENT_GENERIC = 6,
    ZVX_BASE_EVENT_PROCESSED = 7,
    ZVX_BASE_EVENT_INPUT = 8,
    ZVX_BASE_EVENT_OUTPUT = 9,
    ZVX_BASE_EVENT_GET_PARAMCONFIG = 10,
    ZVX_BASE_EVENT_SET_PARAMCONFIG = 11,
    ZVX_BASE_EVENT_INPUT_FLUSHED = 12,
    ZVX_BASE_EVENT_OUTPUT_FLUSHED = 13,
    ZVX_BASE_EVENT_CODE_DUMP = 14,
    ZVX_BASE_EVENT_SESSION_HUNG = 15,
    ZVX_BASE_EVENT_ALLOC_PARAMS = 16,
    ZVX_BASE_EVENT_SEQUENCE_PARAMS = 17,
    ZVX_BASE_EVENT_BUFFER_PARAM = 18,
    ZVX_BASE_EVENT_REF_FRAME_RELEASED = 19,
    ZVX_BASE_EVENT_RPC_MEM_ALLOC = 20,
    ZVX_BASE_EVENT_RPC_MEM_RESIZE = 21,
    ZVX_BASE_EVENT_JOB_DEQUEUED = 22,
    ZVX_BASE_EVENT_IDLE = 23,
    ZVX_BASE_EVENT_FW_TRACE_BUFFERS = 24,
};

/* Header and payload are one allocation; the receiver frees it with zvx_mem_free. */
struct zvx_base_event_header {
    uint16_t code; /* enum zvx_base_event_code */
    uint16_t size; /* bytes of payload */
    uint8_t data[];
};

struct zvx_base_fw_frame_alloc_parameters {
    uint16_t planar_alloc_frame_width;
    uint16_t planar_alloc_frame_height;
    uint32_t tcx_alloc_bytes;
    uint32_t tcx_alloc_bytes_downscaled;
    uint16_t tcx_width_in_superblocks;
    uint16_t tcx_width_in_superblocks_downscaled;
    uint16_t cropx;
    uint16_t cropy;
    uint32_t mbinfo_alloc_bytes;
};
static_assert(sizeof(struct zvx_base_fw_frame_alloc_parameters) == 24);

struct zvx_base_response_sequence_parameters {
    uint8_t interlace;
    uint8_t chroma_format;
    uint8_t bitdepth_luma;
    uint8_t bitdepth_chroma;
    uint8_t num_buffers_planar;
    uint8_t num_buffers_tcx;
    uint8_t range_mapping_enabled;
    uint8_t reserved0;
};

struct zvx_base_buffer_param_display_size {
    uint16_t display_width;
    uint16_t display_height;
};

struct zvx_base_buffer_param_colour_description {
    uint32_t flags;
    uint8_t range;
    uint8_t colour_primaries;
    uint8_t transfer_characteristics;
    uint8_t matrix_coeff;
    uint16_t mastering_display_primaries_x[3];
    uint16_t mastering_display_primaries_y[3];
    uint16_t mastering_white_point_x;
    uint16_t mastering_white_point_y;
    uint32_t max_display_mastering_luminance;
    uint32_t min_display_mastering_luminance;
    uint32_t max_content_light_level;
    uint32_t avg_content_light_level;
};
static_assert(sizeof(struct zvx_base_buffer_param_colour_description) == 40);

struct zvx_base_buffer_param {
    uint32_t type;
    union {
        struct zvx_base_buffer_param_display_size display_size;
        struct zvx_base_buffer_param_colour_description colour_description;
    } data;
};
static_assert(sizeof(struct zvx_base_buffer_param) == 44);

/* Both buffer regions share 1: the session treats them alike. */
enum zvx_base_memory_region {
    ZVX_BASE_MEMORY_REGION_PROTECTED = 0,
    ZVX_BASE_MEMORY_REGION_OUTBUF = 1,
    ZVX_BASE_MEMORY_REGION_FRAMEBUF = 1,
};

struct zvx_base_rpc_memory {
    enum zvx_base_memory_region region;
    uint32_t size;
};

enum zvx_base_hw_state {
    ZVX_BASE_HW_STATE_STOPPED = 0,
    ZVX_BASE_HW_STATE_RUNNING = 2,
    ZVX_BASE_HW_STATE_PENDING = 4,
};

enum zvx_base_flush {
    ZVX_BASE_FLUSH_INPUT_PORT = 1,
    ZVX_BASE_FLUSH_OUTPUT_PORT = 2,
    ZVX_BASE_FLUSH_ALL_PORTS = 3,
    ZVX_BASE_FLUSH_QUICK = 4,
    ZVX_BASE_FLUSH_QUICK_SET_INTERLACE = 8,
};

enum zvx_instr_msg_code {
    ZVX_INSTR_SESSION_CREATED = 0,
    ZVX_INSTR_SESSION_DESTROYED = 1,
    ZVX_INSTR_FRAME_PROCESSED = 2,
    ZVX_INSTR_BUFFER_OUTPUT_RECV = 3,
    ZVX_INSTR_BUFFER_OUTPUT_SEND = 4,
    ZVX_INSTR_BUFFER_INPUT_RECV = 5,
    ZVX_INSTR_BUFFER_INPUT_SEND = 6,
    ZVX_INSTR_EVENT_ERROR = 7,
    ZVX_INSTR_FLUSHED_INPUT_RECV = 8,
    ZVX_INSTR_FLUSHED_OUTPUT_RECV = 9,
    ZVX_INSTR_FLUSHED_INPUT_SEND = 10,
    ZVX_INSTR_FLUSHED_OUTPUT_SEND = 11,
    ZVX_INSTR_API_CALL = 0x300,
    ZVX_INSTR_API_PTR = 0x301,
};

/* Which client call a ZVX_INSTR_API_CALL message records. */
enum zvx_instr_api_code {
    code_OMX_SendCommand = 0,
    code_OMX_EmptyThisBuffer = 1,
    code_OMX_FillThisBuffer = 2,
    code_OMX_SetParameter = 3,
    code_OMX_GetParameter = 4,
    code_OMX_UseBuffer = 5,
    code_OMX_AllocateBuffer = 6,
    code_OMX_FreeBuffer = 7,
    code_OMX_cbEventHandler = 8,
    code_OMX_cbFillBufferDone = 9,
    code_OMX_cbEmptyBufferDone = 10,
};

/* Returns -1 when the device cannot be opened. */
int zvx_init(const char *filename);
void zvx_close(int fd);
/* Error of the last configuration call. */
OMX_ERRORTYPE zvx_get_error_code(void);

OMX_BOOL zvx_create_session(int fd, const char *role);
void zvx_destroy_session(int fd);
/* p_prot_buf is null unless the session is secure; it then receives a protected buffer. */
OMX_BOOL zvx_activate_session(int fd, const char *role, void **p_prot_buf);
/* flush: OR of enum zvx_base_flush. */
void zvx_enqueue_flush_buffers(int fd, OMX_U32 flush);
void zvx_enqueue_state_change(int fd, enum zvx_base_hw_state state);
/* Null when no event is pending; the caller frees the event with zvx_mem_free. */
struct zvx_base_event_header *zvx_get_event(int fd, OMX_U32 timeout);

/* The get calls fill the caller's record. */
OMX_ERRORTYPE zvx_get_parameter(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param);
OMX_ERRORTYPE zvx_set_parameter(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param);
OMX_ERRORTYPE zvx_get_config(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param);
OMX_ERRORTYPE zvx_set_config(int fd, OMX_INDEXTYPE index, OMX_U32 size, void *param);

OMX_ERRORTYPE zvx_register_buffer(int fd, OMX_U32 port_index, const struct zvx_base_buffer_userspace *descriptor);
void zvx_unregister_buffer(int fd, zvx_base_buffer_handle_t buffer_id);
OMX_ERRORTYPE zvx_fill_this_buffer(int fd, struct zvx_base_buffer_details *param);
OMX_ERRORTYPE zvx_empty_this_buffer(int fd, struct zvx_base_buffer_details *param);
void zvx_notify_ref_frame_release(int fd, zvx_base_buffer_handle_t handle);

void zvx_request_max_frequency(int fd);
void zvx_read_hw_info(int fd);
void zvx_rpc_mem_alloc(int fd, int mem_fd);
void zvx_rpc_mem_resize(int fd, int mem_fd);
OMX_U32 zvx_get_cached_fuse(int fd);
OMX_U32 zvx_get_hw_version(int fd);
/* Host protocol version in bits 8 and up. */
OMX_U32 zvx_get_fw_version(int fd);
/* Non-zero when the hardware supports the compressed frame layout. */
OMX_U32 zvx_get_cached_tcx(void);
OMX_BOOL zvx_is_role_supported(const char *role);
OMX_BOOL zvx_is_rgb_input_supported(void);
void zvx_free_thread_error_container(void);

void zvx_instr_init(void);
void zvx_instr_release(void);
void zvx_instr_write_msg(uint32_t code, uint32_t size, const void *msg);
void zvx_instr_set_frequency(uint32_t frequency);

void zvx_init_emulator(void);
void zvx_destroy_emulator(void);

void zvx_mem_kernelspace_set_failure_range(uint64_t min, uint64_t max);
void zvx_mem_kernelspace_resfail_enable(void);
void zvx_mem_kernelspace_resfail_disable(void);
uint32_t zvx_mem_kernelspace_resfail_did_fail(void);

#endif
