#ifndef ZVX_OMX_EVENT_H
#define ZVX_OMX_EVENT_H

/*
 * The session's events: one dispatcher by event code, and the handlers of the events whose handling
 * is short. Everything here runs on the command thread, one event at a time.
 */

#include <OMX_Types.h>
#include <stddef.h>
#include <stdint.h>

#include "zvx_session_interface.h"

struct zvx_omx_common_component;

/* Payload of ZVX_BASE_EVENT_ERROR: a code, then a text up to its NUL or the end of the payload. */
typedef struct zvxp_error_t {
    uint32_t code;
    char msg[];
} zvxp_error_t;

/* Payload of ZVX_BASE_EVENT_PROCESSED. */
struct zvx_frame_performance {
    uint32_t pic_format;
    uint32_t parse_start_time;
    uint32_t parse_end_time;
    uint32_t parse_idle_time;
    uint32_t pipe_start_time;
    uint32_t pipe_end_time;
    uint32_t pipe_idle_time;
    uint32_t parser_coreid;
    uint32_t pipe_coreid;
    uint32_t bitstream_bits;
    uint32_t intermediate_buffer_size;
    uint32_t total_memory_allocated;
    uint32_t bus_read_bytes;
    uint32_t bus_write_bytes;
    uint32_t tcx_bytes;
};
static_assert(sizeof(struct zvx_frame_performance) == 60);

/* Never reads past the event's payload; the event stays owned by the caller. */
void zvxp_omx_handle_event(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *desc);

/* error may be null; size is the bytes of the record, code included. */
void zvxp_omx_handle_event_error(struct zvx_omx_common_component *comp, const zvxp_error_t *error, size_t size);
void zvxp_omx_handle_event_performance(struct zvx_omx_common_component *comp,
                                       const struct zvx_frame_performance *performance);
void zvxp_omx_handle_event_state_changed(struct zvx_omx_common_component *comp, int32_t state);
/* str need not be terminated within length. */
void zvxp_omx_handle_rpc_print(struct zvx_omx_common_component *comp, const char *str, size_t length);
void zvxp_omx_handle_rpc_mem_alloc_resize(struct zvx_omx_common_component *comp,
                                          const struct zvx_base_rpc_memory *rpc_memory, bool resize);
void zvxp_omx_handle_ref_frame_released(struct zvx_omx_common_component *comp, zvx_base_buffer_handle_t buffer_id);

/* The session has given back everything of the port it was asked to flush. */
void zvxp_omx_handle_event_input_flushed(struct zvx_omx_common_component *comp);
void zvxp_omx_handle_event_output_flushed(struct zvx_omx_common_component *comp);

/* The stream-setting events. */
void zvxp_omx_handle_event_portdefinition_change(struct zvx_omx_common_component *comp, OMX_U32 port);
void zvxp_omx_handle_alloc_params(struct zvx_omx_common_component *comp,
                                  const struct zvx_base_fw_frame_alloc_parameters *alloc_param);
void zvxp_omx_handle_sequence_params(struct zvx_omx_common_component *comp,
                                     const struct zvx_base_response_sequence_parameters *seq_param);
void zvxp_omx_handle_buffer_param(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_param *buf_param);

#endif
