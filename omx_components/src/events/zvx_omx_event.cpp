// Session events: the dispatch table by event code, and the events whose handling is short.
#include "zvx_omx_event.h"

#include <array>
#include <cstring>

#include "buffers/zvx_omx_buffer_returns.h"
#include "state/zvx_omx_state.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_log.h"
#include "zvx_omx_state_change.h"

namespace {

using zvxp_event_handler = void (*)(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event);

struct zvxp_event_row {
    uint16_t min_size;          /* payload bytes the handler reads */
    zvxp_event_handler handler; /* null: the event is ignored */
    bool quiet_when_short;      /* a shorter payload is a normal case, not a malformed event */
};

/* Event kind of a ZVX_BASE_EVENT_GENERIC that announces a changed port definition. */
constexpr uint32_t ZVXP_GENERIC_PORT_DEFINITION_CHANGED = 3;

template <typename T> T zvxp_payload_word(const struct zvx_base_event_header *event, size_t index)
{
    T word;
    std::memcpy(&word, event->data + index * sizeof(T), sizeof(T));
    return word;
}

/* The payload follows a 4-byte header, so a record with wider fields is read from an aligned copy. */
template <typename Payload, void (*Handler)(struct zvx_omx_common_component *, const Payload *)>
void zvxp_on_record(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    Payload payload;
    std::memcpy(&payload, event->data, sizeof(payload));
    Handler(comp, &payload);
}

void zvxp_on_rpc_print(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    zvxp_omx_handle_rpc_print(comp, reinterpret_cast<const char *>(event->data), event->size);
}

void zvxp_on_state_changed(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    zvxp_omx_handle_event_state_changed(comp, zvxp_payload_word<int32_t>(event, 0));
}

void zvxp_on_error(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    zvxp_omx_handle_event_error(comp, reinterpret_cast<const zvxp_error_t *>(event->data), event->size);
}

void zvxp_on_generic(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    if (zvxp_payload_word<uint32_t>(event, 0) != ZVXP_GENERIC_PORT_DEFINITION_CHANGED) {
        zvxp_omx_handle_event_error(comp, nullptr, 0);
    } else if (event->size < 2 * sizeof(uint32_t)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Dropped short session event. code=%u, size=%u. (%s:%d)", event->code,
                event->size);
    } else {
        zvxp_omx_handle_event_portdefinition_change(comp, zvxp_payload_word<uint32_t>(event, 1));
    }
}

void zvxp_on_processed(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    zvxp_omx_handle_event_performance(comp, reinterpret_cast<const struct zvx_frame_performance *>(event->data));
}

/* Not the client's SendCommand: its commands wait for one another, and the one ahead may be waiting
 * for this session. */
void zvxp_on_session_hung(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *)
{
    zvx_omx_state_queue_invalidation(comp);
}

void zvxp_on_ref_frame_released(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *event)
{
    zvxp_omx_handle_ref_frame_released(comp, zvxp_payload_word<zvx_base_buffer_handle_t>(event, 0));
}

void zvxp_on_rpc_mem_alloc(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *)
{
    zvxp_omx_handle_rpc_mem_alloc_resize(comp, nullptr, false);
}

void zvxp_on_rpc_mem_resize(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *)
{
    zvxp_omx_handle_rpc_mem_alloc_resize(comp, nullptr, true);
}

void zvxp_on_input_flushed(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *)
{
    zvxp_omx_handle_event_input_flushed(comp);
}

void zvxp_on_output_flushed(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *)
{
    zvxp_omx_handle_event_output_flushed(comp);
}

/* Codes above the last one dispatched are dropped without a word, as are the rows without a handler. */
constexpr size_t ZVXP_DISPATCHED_CODES = ZVX_BASE_EVENT_RPC_MEM_RESIZE + 1;

constexpr std::array<zvxp_event_row, ZVXP_DISPATCHED_CODES> ZVXP_EVENTS = [] {
    std::array<zvxp_event_row, ZVXP_DISPATCHED_CODES> rows{};
    rows[ZVX_BASE_EVENT_RPC_PRINT] = {0, zvxp_on_rpc_print, false};
    rows[ZVX_BASE_EVENT_STATE_CHANGED] = {sizeof(int32_t), zvxp_on_state_changed, false};
    rows[ZVX_BASE_EVENT_ERROR] = {sizeof(zvxp_error_t), zvxp_on_error, false};
    rows[ZVX_BASE_EVENT_GENERIC] = {sizeof(uint32_t), zvxp_on_generic, false};
    rows[ZVX_BASE_EVENT_PROCESSED] = {sizeof(struct zvx_frame_performance), zvxp_on_processed, true};
    rows[ZVX_BASE_EVENT_INPUT] = {sizeof(struct zvx_base_buffer_userspace),
                                  zvxp_on_record<struct zvx_base_buffer_userspace, zvxp_omx_handle_event_input>, false};
    rows[ZVX_BASE_EVENT_OUTPUT] = {sizeof(struct zvx_base_buffer_userspace),
                                   zvxp_on_record<struct zvx_base_buffer_userspace, zvxp_omx_handle_event_output>,
                                   false};
    rows[ZVX_BASE_EVENT_INPUT_FLUSHED] = {0, zvxp_on_input_flushed, false};
    rows[ZVX_BASE_EVENT_OUTPUT_FLUSHED] = {0, zvxp_on_output_flushed, false};
    rows[ZVX_BASE_EVENT_SESSION_HUNG] = {0, zvxp_on_session_hung, false};
    rows[ZVX_BASE_EVENT_ALLOC_PARAMS] = {
        sizeof(struct zvx_base_fw_frame_alloc_parameters),
        zvxp_on_record<struct zvx_base_fw_frame_alloc_parameters, zvxp_omx_handle_alloc_params>, false};
    rows[ZVX_BASE_EVENT_SEQUENCE_PARAMS] = {
        sizeof(struct zvx_base_response_sequence_parameters),
        zvxp_on_record<struct zvx_base_response_sequence_parameters, zvxp_omx_handle_sequence_params>, false};
    rows[ZVX_BASE_EVENT_BUFFER_PARAM] = {sizeof(struct zvx_base_buffer_param),
                                         zvxp_on_record<struct zvx_base_buffer_param, zvxp_omx_handle_buffer_param>,
                                         false};
    rows[ZVX_BASE_EVENT_REF_FRAME_RELEASED] = {sizeof(zvx_base_buffer_handle_t), zvxp_on_ref_frame_released, false};
    rows[ZVX_BASE_EVENT_RPC_MEM_ALLOC] = {0, zvxp_on_rpc_mem_alloc, false};
    rows[ZVX_BASE_EVENT_RPC_MEM_RESIZE] = {0, zvxp_on_rpc_mem_resize, false};
    return rows;
}();

} // namespace

void zvxp_omx_handle_event(struct zvx_omx_common_component *comp, const struct zvx_base_event_header *desc)
{
    if (comp == nullptr || desc == nullptr || desc->code >= ZVXP_EVENTS.size()) {
        return;
    }
    const zvxp_event_row &row = ZVXP_EVENTS[desc->code];
    if (row.handler == nullptr) {
        return;
    }
    if (desc->size < row.min_size) {
        if (!row.quiet_when_short) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Dropped short session event. code=%u, size=%u. (%s:%d)",
                    desc->code, desc->size);
        }
        return;
    }
    row.handler(comp, desc);
}

void zvxp_omx_handle_event_error(struct zvx_omx_common_component *, const zvxp_error_t *error, size_t size)
{
    if (error == nullptr) {
        zvx_instr_write_msg(ZVX_INSTR_EVENT_ERROR, 0, nullptr);
        return;
    }
    const size_t text_room = size - sizeof(error->code);
    const size_t text_length = strnlen(error->msg, text_room);
    zvx_instr_write_msg(ZVX_INSTR_EVENT_ERROR, static_cast<uint32_t>(sizeof(error->code) + text_length), error);
}

void zvxp_omx_handle_event_performance(struct zvx_omx_common_component *,
                                       const struct zvx_frame_performance *performance)
{
    zvx_instr_write_msg(ZVX_INSTR_FRAME_PROCESSED, sizeof(*performance), performance);
}

void zvxp_omx_handle_event_state_changed(struct zvx_omx_common_component *comp, int32_t state)
{
    zvx_omx_state_set_hw(comp, state);
}

void zvxp_omx_handle_rpc_print(struct zvx_omx_common_component *comp, const char *str, size_t length)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "RpcPrint(handle=%p): %.*s (%s:%d)",
            static_cast<void *>(comp->omx_component), static_cast<int>(strnlen(str, length)), str);
}

void zvxp_omx_handle_rpc_mem_alloc_resize(struct zvx_omx_common_component *comp, const struct zvx_base_rpc_memory *,
                                          bool resize)
{
    /* No firmware memory is provided: -1 answers the request. */
    if (resize) {
        zvx_rpc_mem_resize(comp->driver_fd, -1);
    } else {
        zvx_rpc_mem_alloc(comp->driver_fd, -1);
    }
}

void zvxp_omx_handle_ref_frame_released(struct zvx_omx_common_component *comp, zvx_base_buffer_handle_t buffer_id)
{
    zvx_omx_port &output = comp->ports[zvx_omx_common_component_get_output_port_index(comp)];
    zvx_omx_mutex_guard guard(&comp->lock);
    auto *mapping = static_cast<struct zvx_omx_common_mapped_buffer *>(
        zvx_map_find(&output.mapped_buffers, reinterpret_cast<zvx_map_constpointer>(buffer_id)));
    if (mapping == nullptr || zvxu_atomic_get(&mapping->refcnt_fw) != 0 ||
        mapping->ref_state != ZVX_OMX_BUFFER_REF_STATE_QUERY) {
        return;
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvxp_omx_handle_ref_frame_released(buf=%p buffer_id=0x%lx). (%s:%d)",
            static_cast<void *>(mapping), static_cast<unsigned long>(buffer_id));
    mapping->ref_state = ZVX_OMX_BUFFER_REF_STATE_UNUSED;
}
