// The session gives buffers back: consumed inputs return to the client in the order it queued them,
// filled outputs with what the session wrote, refused outputs wait to be delivered again.
#include <atomic>

#include "buffer_formats/zvx_omx_metadata_buffers.h"
#include "buffers/zvx_omx_buffer_ownership.h"
#include "buffers/zvx_omx_buffer_returns.h"
#include "core/zvx_omx_client.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_log.h"

namespace {

constexpr OMX_U32 ZVXP_INPUT = 0;
constexpr OMX_U32 ZVXP_OUTPUT = 1;

int32_t zvxp_load(int32_t &field)
{
    return std::atomic_ref(field).load();
}

/* While the output port has produced nothing and no flush of it waits, consumed inputs go back only as
 * long as fewer have gone back than outputs were queued, unless the output port holds its minimum: a
 * client that waits for inputs before it queues outputs does not starve the decoder at the start. */
bool zvxp_may_return_input(struct zvx_omx_common_component *comp, OMX_U32 output_minimum, bool output_enabled)
{
    zvx_omx_port &input = comp->ports[ZVXP_INPUT];
    zvx_omx_port &output = comp->ports[ZVXP_OUTPUT];
    const int32_t outputs_queued = zvxp_load(output.nr_enqueue);
    // A disabled output port (a client that waits for the stream's settings to allocate it) queues
    // nothing: holding inputs back for it would starve a codec that needs several before its first picture.
    return !output_enabled || output.buffer_produced ||
           (zvxp_load(output.pFlag) & ZVX_OMX_PORT_FLAG_CLIENT_FLUSH) != 0 ||
           zvxp_load(input.nr_dequeue) < outputs_queued || outputs_queued >= static_cast<int32_t>(output_minimum);
}

bool zvxp_return_inputs_command(struct zvx_omx_common_component *comp, struct zvx_omx_common_cproc_command_data *)
{
    zvx_omx_return_input_buffers(comp);
    return true;
}

/* The crop the session reports for the picture, stored when it changed; true then. Caller holds the
 * lock. */
bool zvxp_take_crop(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace &desc)
{
    if (desc.cropx == 0 || desc.cropy == 0 || comp->type != ZVX_OMX_DECODER) {
        return false;
    }
    auto *crop = static_cast<OMX_CONFIG_RECTTYPE *>(
        zvx_omx_config_find(&comp->ports[ZVXP_OUTPUT].config_and_params, OMX_IndexConfigCommonOutputCrop, 0));
    if (crop == nullptr || (crop->nWidth == desc.cropx && crop->nHeight == desc.cropy)) {
        return false;
    }
    zvx_omx_common_component_update_crop_rect(comp, ZVXP_OUTPUT, desc.cropx, desc.cropy);
    return true;
}

/* What the session wrote, as the client reads it; a length past the buffer's end is cut at the end. */
void zvxp_describe_output(OMX_BUFFERHEADERTYPE &pub, const struct zvx_base_buffer_userspace &desc)
{
    pub.nOffset = desc.offset <= pub.nAllocLen ? desc.offset : pub.nAllocLen;
    pub.nFilledLen = desc.filled_len <= pub.nAllocLen - pub.nOffset ? desc.filled_len : pub.nAllocLen - pub.nOffset;
    if (pub.nFilledLen != desc.filled_len || pub.nOffset != desc.offset) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Output beyond the buffer. hdr=%p, offset=%u, length=%u. (%s:%d)",
                static_cast<void *>(&pub), desc.offset, desc.filled_len);
    }
    pub.nFlags = desc.flags;
    pub.nTimeStamp = static_cast<OMX_TICKS>(desc.timestamp);
}

/* Hands a filled output, already out of the tracked list, to the client. */
void zvxp_deliver_output(struct zvx_omx_common_component *comp, struct zvx_omx_common_bufferheadertype *header,
                         const struct zvx_base_buffer_userspace &desc)
{
    zvx_omx_port &port = comp->ports[ZVXP_OUTPUT];
    std::atomic_ref(port.nr_dequeue).fetch_add(1);
    OMX_BUFFERHEADERTYPE &pub = header->pub;
    zvxp_describe_output(pub, desc);
    bool crop_changed;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        crop_changed = zvxp_take_crop(comp, desc);
        if (pub.nFilledLen != 0 && !header->priv.metadata &&
            header->priv.desc.allocator == ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC) {
            zvx_omx_extra_data_append(comp, ZVXP_OUTPUT, &pub);
        }
    }
    const bool produced = pub.nFilledLen != 0;
    if (produced) {
        port.buffer_produced = true;
    }
    const OMX_U32 flags = pub.nFlags;
    const OMX_TICKS timestamp = pub.nTimeStamp;
    {
        zvx_omx_port_buffers_lock lock(&port);
        header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
        zvx_omx_buffer_mark_returning(comp, header);
    }
    const zvx_omx_client client = zvx_omx_client_get(comp);
    if (crop_changed) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventPortSettingsChanged, port=%u, "
                "data2=OMX_IndexConfigCommonOutputCrop). "
                "(%s:%d)",
                client.handle, static_cast<unsigned>(ZVXP_OUTPUT));
        zvx_omx_client_event(client, OMX_EventPortSettingsChanged, ZVXP_OUTPUT, OMX_IndexConfigCommonOutputCrop);
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "FillBufferDone(handle=%p, hdr=%p, timestamp=%ld). (%s:%d)", client.handle,
            static_cast<void *>(&pub), static_cast<long>(timestamp));
    zvx_omx_client_fill_buffer_done(client, &pub);
    zvx_omx_buffer_returned(comp);
    if ((flags & OMX_BUFFERFLAG_EOS) != 0) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventBufferFlag, port=%u, flags=0x%x). (%s:%d)", client.handle,
                static_cast<unsigned>(ZVXP_OUTPUT), static_cast<unsigned>(flags));
        zvx_omx_client_event(client, OMX_EventBufferFlag, ZVXP_OUTPUT, flags);
    }
    if (produced) {
        zvx_omx_return_input_buffers(comp);
    }
}

/* The session refused to fill the buffer while it waits for buffers of a new size: kept, as if still
 * with the session, until every output it owes has been refused. */
void zvxp_park_rejected(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace &desc)
{
    struct zvx_omx_common_bufferheadertype *header =
        zvxp_omx_remove_from_tracked_list(comp, desc.buffer_id, ZVXP_OUTPUT);
    if (header == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Rejected buffer not found. buffer_id=0x%lx. (%s:%d)",
                static_cast<unsigned long>(desc.buffer_id));
        return;
    }
    bool parked;
    {
        zvx_omx_port &port = comp->ports[ZVXP_OUTPUT];
        zvx_omx_port_buffers_lock lock(&port);
        header->priv.desc = desc;
        header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMP_REJECTED;
        header->priv.desc.zvx_flags &= ~ZVX_OMX_ZVX_FLAG_REJECTED;
        parked = zvx_omx_common_component_update_buffer_handle(&port, header, desc.buffer_id, desc.handle);
    }
    if (!parked) {
        // Without room to park it, it goes back at once, empty.
        struct zvx_base_buffer_userspace empty = desc;
        empty.filled_len = 0;
        empty.flags = 0;
        zvx_omx_metadata_release(comp, ZVXP_OUTPUT, desc.buffer_id);
        zvxp_deliver_output(comp, header, empty);
        return;
    }
    zvxp_omx_rejected_buffers_check_return(comp);
}

/* Unlinks the port's first parked header and copies its descriptor; null when none is parked. */
struct zvx_omx_common_bufferheadertype *zvxp_unpark(zvx_omx_port &port, struct zvx_base_buffer_userspace *desc)
{
    zvx_omx_port_buffers_lock lock(&port);
    for (auto *it = port.tracked_buffers.node.next; it != &port.tracked_buffers.node; it = it->next) {
        struct zvx_omx_common_bufferheadertype *header = it->data;
        if (header->priv.owner == ZVX_OMX_BUFFER_OWNER_COMP_REJECTED) {
            zvx_list_erase_omxbufferhdrptr(&port.tracked_buffers, it);
            *desc = header->priv.desc;
            return header;
        }
    }
    return nullptr;
}

/* Unlinks the first header of the port that the component holds, made the client's and marked as being
 * handed back; null when it holds none. */
struct zvx_omx_common_bufferheadertype *zvxp_take_orphan(struct zvx_omx_common_component *comp, zvx_omx_port &port)
{
    zvx_omx_port_buffers_lock lock(&port);
    struct zvx_omx_common_bufferheadertype *header = nullptr;
    for (auto *it = port.tracked_buffers.node.next; it != &port.tracked_buffers.node && header == nullptr;
         it = it->next) {
        header = it->data;
    }
    for (auto *it = port.buffer_list.node.next; it != &port.buffer_list.node && header == nullptr; it = it->next) {
        header = it->data;
    }
    if (header == nullptr) {
        return nullptr;
    }
    zvx_list_remove_value_omxbufferhdrptr(&port.tracked_buffers, header);
    zvx_list_remove_value_port_buffers(&port.buffer_list, header);
    header->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
    zvx_omx_buffer_mark_returning(comp, header);
    return header;
}

} // namespace

void zvx_omx_return_orphaned_buffers(struct zvx_omx_common_component *comp)
{
    for (OMX_U32 index = ZVXP_INPUT; index <= ZVXP_OUTPUT; ++index) {
        zvx_omx_port &port = comp->ports[index];
        while (struct zvx_omx_common_bufferheadertype *header = zvxp_take_orphan(comp, port)) {
            if (header->priv.metadata) {
                zvx_omx_metadata_release(comp, index, header->priv.desc.buffer_id);
            }
            OMX_BUFFERHEADERTYPE &pub = header->pub;
            const zvx_omx_client client = zvx_omx_client_get(comp);
            if (index == ZVXP_INPUT) {
                ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "EmptyBufferDone(handle=%p, hdr=%p, orphaned). (%s:%d)",
                        client.handle, static_cast<void *>(&pub));
                zvx_omx_client_empty_buffer_done(client, &pub);
            } else {
                pub.nFilledLen = 0;
                pub.nFlags = 0;
                ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "FillBufferDone(handle=%p, hdr=%p, orphaned). (%s:%d)",
                        client.handle, static_cast<void *>(&pub));
                zvx_omx_client_fill_buffer_done(client, &pub);
            }
            zvx_omx_buffer_returned(comp);
        }
        std::atomic_ref(port.nr_enqueue).store(0);
        std::atomic_ref(port.nr_dequeue).store(0);
        std::atomic_ref(port.conf_buffers_queued).store(0);
    }
}

void zvx_omx_return_input_buffers(struct zvx_omx_common_component *comp)
{
    OMX_U32 output_minimum;
    bool output_enabled;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        const OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[ZVXP_OUTPUT]);
        if (definition == nullptr) {
            return;
        }
        output_minimum = definition->nBufferCountMin;
        output_enabled = definition->bEnabled != OMX_FALSE;
    }
    zvx_omx_port &input = comp->ports[ZVXP_INPUT];
    // Only the head of the queue goes back: a consumed input waits behind one queued before it. The
    // walk starts over after each callback, in which the client may queue the buffer again.
    for (;;) {
        struct zvx_omx_common_bufferheadertype *returned = nullptr;
        OMX_TICKS timestamp = 0;
        {
            zvx_omx_port_buffers_lock lock(&input);
            auto *head = input.buffer_list.node.next;
            if (head != &input.buffer_list.node && head->data->priv.owner == ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT &&
                zvxp_may_return_input(comp, output_minimum, output_enabled)) {
                returned = head->data;
                zvx_list_erase_port_buffers(&input.buffer_list, head);
                returned->priv.owner = ZVX_OMX_BUFFER_OWNER_CLIENT;
                zvx_omx_buffer_mark_returning(comp, returned);
                std::atomic_ref(input.nr_dequeue).fetch_add(1);
                timestamp = returned->pub.nTimeStamp;
            }
        }
        if (returned == nullptr) {
            return;
        }
        const zvx_omx_client client = zvx_omx_client_get(comp);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "EmptyBufferDone(handle=%p, name=%s, hdr=%p, timestamp=%ld). (%s:%d)",
                client.handle, comp->name, static_cast<void *>(&returned->pub), static_cast<long>(timestamp));
        zvx_omx_client_empty_buffer_done(client, &returned->pub);
        zvx_omx_buffer_returned(comp);
    }
}

bool zvx_omx_input_returns_waiting(struct zvx_omx_common_component *comp)
{
    zvx_omx_port &input = comp->ports[ZVXP_INPUT];
    zvx_omx_port_buffers_lock lock(&input);
    for (auto *it = input.buffer_list.node.next; it != &input.buffer_list.node; it = it->next) {
        if (it->data->priv.owner == ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT) {
            return true;
        }
    }
    return false;
}

void zvx_omx_queue_input_returns(struct zvx_omx_common_component *comp)
{
    auto *command = static_cast<struct zvx_omx_common_cproc_command_data *>(
        zvx_mem_malloc(sizeof(struct zvx_omx_common_cproc_command_data)));
    if (command == nullptr) {
        return;
    }
    command->function = zvxp_return_inputs_command;
    if (!zvx_omx_common_component_queue_command(comp, command)) {
        zvx_mem_free(command);
    }
}

void zvxp_omx_handle_event_input(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace *desc)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "zvxp_omx_handle_event_input(comp=%p, desc=%p). (%s:%d)",
            static_cast<void *>(comp), static_cast<const void *>(desc));
    zvx_omx_metadata_release(comp, ZVXP_INPUT, desc->buffer_id);
    struct zvx_omx_common_bufferheadertype *header =
        zvxp_omx_remove_from_tracked_list(comp, desc->buffer_id, ZVXP_INPUT);
    bool output_defined;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        output_defined = zvx_omx_port_get_definition(&comp->ports[ZVXP_OUTPUT]) != nullptr;
    }
    if (header == nullptr || !output_defined) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR,
                "OMX buffer header or port definition not found. Skipping callback. (%s:%d)");
    } else {
        zvx_omx_port &input = comp->ports[ZVXP_INPUT];
        {
            zvx_omx_port_buffers_lock lock(&input);
            if ((header->pub.nFlags & OMX_BUFFERFLAG_CODECCONFIG) != 0) {
                std::atomic_ref(input.conf_buffers_queued).fetch_sub(1);
            }
            header->priv.owner = ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT;
        }
        zvx_omx_return_input_buffers(comp);
    }
    zvx_instr_write_msg(ZVX_INSTR_BUFFER_INPUT_RECV, sizeof(*desc), desc);
}

void zvxp_omx_handle_event_output(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_userspace *desc)
{
    if ((desc->zvx_flags & ZVX_OMX_ZVX_FLAG_REJECTED) != 0) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "zvxp_omx_handle_event_output REJECTED. (%s:%d)");
        if (std::atomic_ref(comp->vp9_alloc_params_changed).load()) {
            zvxp_park_rejected(comp, *desc);
            return;
        }
    }
    zvx_omx_metadata_release(comp, ZVXP_OUTPUT, desc->buffer_id);
    struct zvx_omx_common_bufferheadertype *header =
        zvxp_omx_remove_from_tracked_list(comp, desc->buffer_id, ZVXP_OUTPUT);
    zvx_instr_write_msg(ZVX_INSTR_BUFFER_OUTPUT_RECV, sizeof(*desc), desc);
    if (header == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Output buffer not found. buffer_id=0x%lx. (%s:%d)",
                static_cast<unsigned long>(desc->buffer_id));
        return;
    }
    zvxp_deliver_output(comp, header, *desc);
}

int32_t zvxp_omx_rejected_buffers_count(struct zvx_omx_common_component *comp)
{
    zvx_omx_port &port = comp->ports[ZVXP_OUTPUT];
    zvx_omx_port_buffers_lock lock(&port);
    int32_t count = 0;
    for (auto *it = port.tracked_buffers.node.next; it != &port.tracked_buffers.node; it = it->next) {
        if (it->data->priv.owner == ZVX_OMX_BUFFER_OWNER_COMP_REJECTED) {
            ++count;
        }
    }
    return count;
}

void zvxp_omx_rejected_buffers_check_return(struct zvx_omx_common_component *comp)
{
    zvx_omx_port &port = comp->ports[ZVXP_OUTPUT];
    if (zvxp_omx_rejected_buffers_count(comp) != zvxp_load(port.nr_enqueue) - zvxp_load(port.nr_dequeue)) {
        return;
    }
    // Outputs the client queued before it acted on the change are refused too; it hears of it once.
    if (!comp->vp9_realloc_announced) {
        comp->vp9_realloc_announced = true;
        const zvx_omx_client client = zvx_omx_client_get(comp);
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG,
                "EventHandler(handle=%p, event=OMX_EventPortSettingsChanged, port=%u). (%s:%d)", client.handle,
                static_cast<unsigned>(ZVXP_OUTPUT));
        zvx_omx_client_event(client, OMX_EventPortSettingsChanged, ZVXP_OUTPUT, 0);
    }
    zvxp_omx_rejected_buffers_return_all(comp, ZVXP_OUTPUT);
}

void zvxp_omx_rejected_buffers_return_all(struct zvx_omx_common_component *comp, OMX_U32 index)
{
    if (index != ZVXP_OUTPUT) {
        return;
    }
    struct zvx_base_buffer_userspace desc;
    while (struct zvx_omx_common_bufferheadertype *header = zvxp_unpark(comp->ports[index], &desc)) {
        zvx_omx_metadata_release(comp, index, desc.buffer_id);
        zvxp_deliver_output(comp, header, desc);
    }
}

void zvx_omx_rejected_buffers_flush(struct zvx_omx_common_component *comp)
{
    struct zvx_base_buffer_userspace desc;
    while (struct zvx_omx_common_bufferheadertype *header = zvxp_unpark(comp->ports[ZVXP_OUTPUT], &desc)) {
        zvx_omx_metadata_release(comp, ZVXP_OUTPUT, desc.buffer_id);
        desc.filled_len = 0;
        desc.flags = 0;
        zvxp_deliver_output(comp, header, desc);
    }
}
