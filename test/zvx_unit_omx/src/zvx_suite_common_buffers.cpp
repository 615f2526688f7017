// The buffer tests of the "Common component" suite. Each builds a component without a command thread,
// reaches the state a client would through the handle where it can (a change to Idle is asked for and
// stays pending; Executing is set directly) and plays the session's returns as events.
#include "zvx_suite_common_buffers.h"

#include <atomic>
#include <cstdint>
#include <cstring>

#include "zvx_blackbox.h"
#include "zvx_component_suite_support.h"
#include "zvx_mem.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_event.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_session.h"

namespace {

constexpr unsigned ZVXP_MAX_SEEN = 32;

/* What the client and the session saw; the tests run on one thread. */
struct {
    OMX_BUFFERHEADERTYPE *returned[ZVXP_MAX_SEEN];
    unsigned returns;
    OMX_EVENTTYPE events[ZVXP_MAX_SEEN];
    OMX_U32 event_data[ZVXP_MAX_SEEN];
    unsigned event_count;
    struct zvx_base_buffer_details queued[ZVXP_MAX_SEEN];
    unsigned queued_count;
} zvxp_seen;

OMX_ERRORTYPE zvxp_on_event(OMX_HANDLETYPE, OMX_PTR, OMX_EVENTTYPE event, OMX_U32, OMX_U32 data2, OMX_PTR)
{
    if (zvxp_seen.event_count < ZVXP_MAX_SEEN) {
        zvxp_seen.events[zvxp_seen.event_count] = event;
        zvxp_seen.event_data[zvxp_seen.event_count++] = data2;
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_on_buffer(OMX_HANDLETYPE, OMX_PTR, OMX_BUFFERHEADERTYPE *header)
{
    if (zvxp_seen.returns < ZVXP_MAX_SEEN) {
        zvxp_seen.returned[zvxp_seen.returns++] = header;
    }
    return OMX_ErrorNone;
}

void zvxp_on_queued(int, struct zvx_base_buffer_details *details)
{
    if (zvxp_seen.queued_count < ZVXP_MAX_SEEN) {
        zvxp_seen.queued[zvxp_seen.queued_count++] = *details;
    }
}

/* A component with its defaults, the recording callbacks and the session watched. */
OMX_COMPONENTTYPE *zvxp_init(zvx_omx_common_component *component, zvx_omx_component *handle,
                             zvx_omx_component_type_t type)
{
    std::memset(&zvxp_seen, 0, sizeof(zvxp_seen));
    bb_cb.bbcb_empty_this_buffer = zvxp_on_queued;
    bb_cb.bbcb_fill_this_buffer = zvxp_on_queued;
    zvx_omx_common_component_set_type(component, type);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(handle, component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(component);
    auto build = type == ZVX_OMX_ENCODER ? zvx_omx_config_encoder : zvx_omx_config_decoder;
    ZVX_REQUIRE_EQ(build(&component->ports[0].config_and_params, &component->ports[1].config_and_params),
                   OMX_ErrorNone);
    OMX_COMPONENTTYPE *omx = &handle->omx;
    OMX_CALLBACKTYPE callbacks = {zvxp_on_event, zvxp_on_buffer, zvxp_on_buffer};
    ZVX_REQUIRE_EQ(omx->SetCallbacks(omx, &callbacks, nullptr), OMX_ErrorNone);
    return omx;
}

OMX_PARAM_PORTDEFINITIONTYPE zvxp_definition(OMX_COMPONENTTYPE *omx, OMX_U32 port)
{
    auto definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorNone);
    return definition;
}

/* The way to Idle is asked for; without a command thread it stays pending. */
void zvxp_ask_for_idle(OMX_COMPONENTTYPE *omx)
{
    ZVX_REQUIRE_EQ(omx->SendCommand(omx, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorNone);
}

/* The port's whole count of buffers of the size it asks for, allocated by the component. */
void zvxp_allocate_port(OMX_COMPONENTTYPE *omx, OMX_U32 port, OMX_BUFFERHEADERTYPE **headers)
{
    const OMX_PARAM_PORTDEFINITIONTYPE definition = zvxp_definition(omx, port);
    for (OMX_U32 i = 0; i < definition.nBufferCountActual; ++i) {
        ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &headers[i], port, nullptr, definition.nBufferSize), OMX_ErrorNone);
    }
}

void zvxp_set_state(zvx_omx_common_component *component, OMX_STATETYPE state)
{
    zvxu_atomic_set(&component->omx_state, state);
}

/* Both ports populated on the way to Idle. */
void zvxp_register(OMX_COMPONENTTYPE *omx, OMX_BUFFERHEADERTYPE **inputs, OMX_BUFFERHEADERTYPE **outputs)
{
    zvxp_ask_for_idle(omx);
    zvxp_allocate_port(omx, 0, inputs);
    zvxp_allocate_port(omx, 1, outputs);
}

/* Executing, every output with the session so that inputs come back at once. */
void zvxp_execute(zvx_omx_common_component *component, OMX_COMPONENTTYPE *omx, OMX_BUFFERHEADERTYPE **outputs)
{
    zvxp_set_state(component, OMX_StateExecuting);
    const OMX_U32 count = zvxp_definition(omx, 1).nBufferCountActual;
    for (OMX_U32 i = 0; i < count; ++i) {
        ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, outputs[i]), OMX_ErrorNone);
    }
    zvxp_seen.queued_count = 0;
}

void zvxp_start(zvx_omx_common_component *component, OMX_COMPONENTTYPE *omx, OMX_BUFFERHEADERTYPE **inputs,
                OMX_BUFFERHEADERTYPE **outputs)
{
    zvxp_register(omx, inputs, outputs);
    zvxp_execute(component, omx, outputs);
}

struct zvx_base_buffer_userspace zvxp_descriptor(OMX_BUFFERHEADERTYPE *header)
{
    return zvx_omx_common_bufferheader_from_pub(header)->priv.desc;
}

/* The session's event with a descriptor, dispatched as the command thread would. */
void zvxp_session_returns(zvx_omx_common_component *component, uint16_t code,
                          const struct zvx_base_buffer_userspace &desc)
{
    alignas(struct zvx_base_event_header) unsigned char
        event[sizeof(struct zvx_base_event_header) + sizeof(struct zvx_base_buffer_userspace)];
    const struct zvx_base_event_header header = {code, sizeof(desc)};
    std::memcpy(event, &header, sizeof(header));
    std::memcpy(event + sizeof(header), &desc, sizeof(desc));
    zvxp_omx_handle_event(component, reinterpret_cast<const struct zvx_base_event_header *>(event));
}

template <typename Payload>
void zvxp_session_sends(zvx_omx_common_component *component, uint16_t code, const Payload &payload)
{
    alignas(struct zvx_base_event_header) unsigned char event[sizeof(struct zvx_base_event_header) + sizeof(Payload)];
    const struct zvx_base_event_header header = {code, sizeof(payload)};
    std::memcpy(event, &header, sizeof(header));
    std::memcpy(event + sizeof(header), &payload, sizeof(payload));
    zvxp_omx_handle_event(component, reinterpret_cast<const struct zvx_base_event_header *>(event));
}

template <typename T> void zvxp_set(OMX_COMPONENTTYPE *omx, OMX_INDEXTYPE index, T record)
{
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, index, &record), OMX_ErrorNone);
}

void zvxp_enable_metadata(OMX_COMPONENTTYPE *omx, OMX_U32 port)
{
    auto metadata = zvx_omx_stamped_record<StoreMetaDataInBuffersParams>(port);
    metadata.bStoreMetaData = OMX_TRUE;
    zvxp_set(omx, OMX_IndexParamEnableStoreMetaData, metadata);
}

struct zvx_omx_common_mapped_buffer *zvxp_mapping(zvx_omx_common_component *component, OMX_U32 port, const void *memory)
{
    return static_cast<struct zvx_omx_common_mapped_buffer *>(
        zvx_map_find(&component->ports[port].mapped_buffers, memory));
}

} // namespace

void zvx_test_empty_this_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_register(omx, inputs, outputs);
    OMX_BUFFERHEADERTYPE *header = inputs[0];
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, header), OMX_ErrorIncorrectStateOperation);

    zvxp_execute(&component, omx, outputs);
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(nullptr, header), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, nullptr), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, outputs[0]), OMX_ErrorBadPortIndex);
    OMX_BUFFERHEADERTYPE copy = *header;
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, &copy), OMX_ErrorBadParameter);

    header->nFilledLen = 10;
    header->nFlags = OMX_BUFFERFLAG_CODECCONFIG;
    header->nTimeStamp = 1234;
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, header), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, header), OMX_ErrorIncorrectStateOperation);
    ZVX_REQUIRE_EQ(zvxp_seen.queued_count, 1u);
    const struct zvx_base_buffer_details &queued = zvxp_seen.queued[0];
    ZVX_REQUIRE_EQ(queued.buffer_id, reinterpret_cast<zvx_base_buffer_handle_t>(header));
    ZVX_REQUIRE_EQ(queued.handle, reinterpret_cast<zvx_base_buffer_handle_t>(header->pBuffer));
    ZVX_REQUIRE_EQ(queued.filled_len, 10u);
    ZVX_REQUIRE_EQ(queued.flags, static_cast<uint32_t>(OMX_BUFFERFLAG_CODECCONFIG));
    ZVX_REQUIRE_EQ(queued.timestamp, 1234u);
    ZVX_REQUIRE_EQ(component.ports[0].conf_buffers_queued, 1);

    zvxp_session_returns(&component, ZVX_BASE_EVENT_INPUT, zvxp_descriptor(header));
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 1u);
    ZVX_REQUIRE(zvxp_seen.returned[0] == header);
    ZVX_REQUIRE_EQ(component.ports[0].conf_buffers_queued, 0);
    zvxp_session_returns(&component, ZVX_BASE_EVENT_INPUT, zvxp_descriptor(header));
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 1u);
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, header), OMX_ErrorNone);
    zvx_component_suite_release();
}

void zvx_test_fill_this_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_start(&component, omx, inputs, outputs);
    OMX_BUFFERHEADERTYPE *header = outputs[0];
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, header), OMX_ErrorIncorrectStateOperation);
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, inputs[0]), OMX_ErrorBadPortIndex);
    ZVX_REQUIRE_EQ(zvxp_seen.queued_count, 0u);

    struct zvx_base_buffer_userspace picture = zvxp_descriptor(header);
    picture.filled_len = 38016;
    picture.flags = OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS;
    picture.timestamp = 40000;
    zvxp_session_returns(&component, ZVX_BASE_EVENT_OUTPUT, picture);
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 1u);
    ZVX_REQUIRE(zvxp_seen.returned[0] == header);
    ZVX_REQUIRE_EQ(header->nFilledLen, 38016u);
    ZVX_REQUIRE_EQ(header->nOffset, 0u);
    ZVX_REQUIRE_EQ(header->nTimeStamp, 40000);
    ZVX_REQUIRE_EQ(header->nFlags, static_cast<OMX_U32>(OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS));
    ZVX_REQUIRE_EQ(zvxp_seen.event_count, 1u);
    ZVX_REQUIRE_EQ(zvxp_seen.events[0], OMX_EventBufferFlag);
    ZVX_REQUIRE(component.ports[1].buffer_produced);

    header->nFilledLen = 0;
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, header), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_seen.queued_count, 1u);
    ZVX_REQUIRE_EQ(zvxp_seen.queued[0].buffer_id, reinterpret_cast<zvx_base_buffer_handle_t>(header));
    zvx_component_suite_release();
}

namespace {

/* How the settings reached the stub's session. */
struct {
    int calls;
    int port_definitions_first;
    bool rotation;
} zvxp_sent;

void zvxp_count_sent(int, OMX_INDEXTYPE index, OMX_U32, void *)
{
    if (index == OMX_IndexParamPortDefinition && zvxp_sent.calls == zvxp_sent.port_definitions_first) {
        ++zvxp_sent.port_definitions_first;
    }
    zvxp_sent.rotation |= index == OMX_IndexConfigCommonRotate;
    ++zvxp_sent.calls;
}

} // namespace

void zvx_test_send_current_settings(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_ENCODER);
    zvxp_sent = {};
    bb_cb.bbcb_set_parameter = zvxp_count_sent;
    auto rotation = zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(0);
    rotation.nRotation = 90;
    ZVX_REQUIRE_EQ(omx->SetConfig(omx, OMX_IndexConfigCommonRotate, &rotation), OMX_ErrorNone);
    zvx_omx_common_component_send_current_settings(&component);
    zvx_omx_common_component_send_current_settings(nullptr);
    ZVX_REQUIRE_EQ(zvxp_sent.calls, 0);

    ZVX_REQUIRE(zvx_omx_common_component_create_session(&component));
    const int first = zvxp_sent.calls;
    ZVX_REQUIRE(first > 2);
    ZVX_REQUIRE_EQ(zvxp_sent.port_definitions_first, 2);
    ZVX_REQUIRE(zvxp_sent.rotation);
    zvxp_sent = {};
    zvx_omx_common_component_send_current_settings(&component);
    ZVX_REQUIRE_EQ(zvxp_sent.calls, first);
    ZVX_REQUIRE_EQ(zvxp_sent.port_definitions_first, 2);
    zvx_component_suite_release();
}

void zvx_test_use_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    const OMX_PARAM_PORTDEFINITIONTYPE input = zvxp_definition(omx, 0);
    auto *memory = static_cast<OMX_U8 *>(zvx_mem_malloc(input.nBufferSize));
    ZVX_REQUIRE(memory != nullptr);
    OMX_BUFFERHEADERTYPE *header = nullptr;
    OMX_PTR app_private = zvx_marker<OMX_PTR>(0x5e1f);
    const OMX_ERRORTYPE early = omx->UseBuffer(omx, &header, 0, app_private, input.nBufferSize, memory);
    // Checked only once the client's memory is back: a failed check leaves the test at once.
    const OMX_ERRORTYPE asked = omx->SendCommand(omx, OMX_CommandStateSet, OMX_StateIdle, nullptr);
    const OMX_ERRORTYPE no_memory = omx->UseBuffer(omx, &header, 0, app_private, input.nBufferSize, nullptr);
    const OMX_ERRORTYPE small = omx->UseBuffer(omx, &header, 0, app_private, input.nBufferSize - 1, memory);
    const OMX_ERRORTYPE no_port = omx->UseBuffer(omx, &header, 2, app_private, input.nBufferSize, memory);
    const OMX_ERRORTYPE used = omx->UseBuffer(omx, &header, 0, app_private, input.nBufferSize, memory);
    const bool described = header != nullptr && header->pBuffer == memory && header->nAllocLen == input.nBufferSize &&
                           header->pAppPrivate == app_private && header->nSize == sizeof(OMX_BUFFERHEADERTYPE) &&
                           header->nInputPortIndex == 0 &&
                           zvxp_descriptor(header).handle == reinterpret_cast<uintptr_t>(memory) &&
                           zvxp_descriptor(header).allocator == ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC &&
                           zvxp_descriptor(header).size == input.nBufferSize;
    const OMX_ERRORTYPE freed = header != nullptr ? omx->FreeBuffer(omx, 0, header) : OMX_ErrorUndefined;
    zvx_mem_free(memory);
    ZVX_REQUIRE_EQ(early, OMX_ErrorIncorrectStateOperation);
    ZVX_REQUIRE_EQ(asked, OMX_ErrorNone);
    ZVX_REQUIRE_EQ(no_memory, OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(small, OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(no_port, OMX_ErrorBadPortIndex);
    ZVX_REQUIRE_EQ(used, OMX_ErrorNone);
    ZVX_REQUIRE(described);
    ZVX_REQUIRE_EQ(freed, OMX_ErrorNone);
    zvx_component_suite_release();
}

void zvx_test_free_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_start(&component, omx, inputs, outputs);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(nullptr, 0, inputs[0]), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 0, nullptr), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 2, inputs[0]), OMX_ErrorBadPortIndex);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, inputs[0]), OMX_ErrorBadPortIndex);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 0, inputs[0]), OMX_ErrorIncorrectStateOperation);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, outputs[0]), OMX_ErrorIncorrectStateOperation);

    // A disabled port gives its buffers up, but only those the session is no longer holding.
    zvx_omx_port_get_definition(&component.ports[1])->bEnabled = OMX_FALSE;
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, outputs[0]), OMX_ErrorIncorrectStateOperation);
    ZVX_REQUIRE(zvx_omx_port_get_definition(&component.ports[1])->bPopulated);
    zvxp_session_returns(&component, ZVX_BASE_EVENT_OUTPUT, zvxp_descriptor(outputs[0]));
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, outputs[0]), OMX_ErrorNone);
    ZVX_REQUIRE(!zvx_omx_port_get_definition(&component.ports[1])->bPopulated);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, outputs[0]), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, outputs[0]), OMX_ErrorBadParameter);

    // On the way back to Loaded every buffer the client holds may go.
    zvxp_set_state(&component, OMX_StateIdle);
    ZVX_REQUIRE_EQ(omx->SendCommand(omx, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
    const OMX_U32 count = zvxp_definition(omx, 0).nBufferCountActual;
    for (OMX_U32 i = 0; i < count; ++i) {
        ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 0, inputs[i]), OMX_ErrorNone);
    }
    ZVX_REQUIRE_EQ(zvx_map_size(&component.ports[0].registered_buffers), 0u);
    zvx_component_suite_release();
}

void zvx_test_allocate_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_ENCODER);
    const OMX_PARAM_PORTDEFINITIONTYPE input = zvxp_definition(omx, 0);
    OMX_BUFFERHEADERTYPE *headers[8] = {};
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &headers[0], 0, nullptr, input.nBufferSize),
                   OMX_ErrorIncorrectStateOperation);
    zvxp_ask_for_idle(omx);
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &headers[0], 0, nullptr, 0), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &headers[0], 0, nullptr, 0xFFFFFFF0u), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, nullptr, 0, nullptr, input.nBufferSize), OMX_ErrorBadParameter);
    ZVX_REQUIRE(headers[0] == nullptr);
    for (OMX_U32 i = 0; i < input.nBufferCountActual; ++i) {
        ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &headers[i], 0, nullptr, input.nBufferSize + i), OMX_ErrorNone);
        ZVX_REQUIRE(headers[i]->pBuffer != nullptr);
        ZVX_REQUIRE_EQ(headers[i]->nAllocLen, input.nBufferSize + i);
        // The whole buffer belongs to the client.
        headers[i]->pBuffer[0] = 1;
        headers[i]->pBuffer[headers[i]->nAllocLen - 1] = 1;
    }
    ZVX_REQUIRE(zvxp_definition(omx, 0).bPopulated);
    OMX_BUFFERHEADERTYPE *extra = nullptr;
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &extra, 0, nullptr, input.nBufferSize), OMX_ErrorInsufficientResources);

    // Dma-buf memory comes from the client, never from the component.
    auto dmabuf = zvx_omx_stamped_record<OMX_PARAM_ENABLEDMABUFTYPE>(1);
    dmabuf.bEnabled = OMX_TRUE;
    zvxp_set(omx, OMX_IndexParamEnableDmaBuf, dmabuf);
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &extra, 1, nullptr, zvxp_definition(omx, 1).nBufferSize),
                   OMX_ErrorUnsupportedSetting);
    zvx_component_suite_release();
}

void zvx_test_allocate_buffer_mb(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    OMX_PARAM_PORTDEFINITIONTYPE output = zvxp_definition(omx, 1);
    output.format.video.nFrameWidth = 3840;
    output.format.video.nFrameHeight = 2160;
    zvxp_set(omx, OMX_IndexParamPortDefinition, output);
    output = zvxp_definition(omx, 1);
    ZVX_REQUIRE_EQ(output.nBufferSize, 3840u * 2160u * 3u / 2u);
    zvxp_ask_for_idle(omx);
    OMX_BUFFERHEADERTYPE *header = nullptr;
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &header, 1, nullptr, output.nBufferSize - (1u << 20)),
                   OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &header, 1, nullptr, output.nBufferSize), OMX_ErrorNone);
    ZVX_REQUIRE(header->pBuffer != nullptr);
    std::memset(header->pBuffer, 0x80, header->nAllocLen);
    ZVX_REQUIRE_EQ(zvxp_descriptor(header).width, 3840u);
    ZVX_REQUIRE_EQ(zvxp_descriptor(header).size, output.nBufferSize);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 1, header), OMX_ErrorNone);
    zvx_component_suite_release();
}

void zvx_test_is_metadata_enabled(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_ENCODER);
    ZVX_REQUIRE(!zvx_omx_common_component_is_metadata_in_buffer_enabled(nullptr, 0));
    ZVX_REQUIRE(!zvx_omx_common_component_is_metadata_in_buffer_enabled(&component, 2));
    ZVX_REQUIRE(!zvx_omx_common_component_is_metadata_in_buffer_enabled(&component, 0));
    const OMX_U32 bitstream_size = zvxp_definition(omx, 1).nBufferSize;
    zvxp_enable_metadata(omx, 0);
    ZVX_REQUIRE(zvx_omx_common_component_is_metadata_in_buffer_enabled(&component, 0));
    ZVX_REQUIRE(!zvx_omx_common_component_is_metadata_in_buffer_enabled(&component, 1));
    // A buffer then holds only the record that names the frame.
    ZVX_REQUIRE_EQ(zvxp_definition(omx, 0).nBufferSize, static_cast<OMX_U32>(sizeof(VideoNativeMetadata)));
    ZVX_REQUIRE_EQ(zvxp_definition(omx, 1).nBufferSize, bitstream_size);
    auto off = zvx_omx_stamped_record<StoreMetaDataInBuffersParams>(0);
    zvxp_set(omx, OMX_IndexParamEnableStoreMetaData, off);
    ZVX_REQUIRE(!zvx_omx_common_component_is_metadata_in_buffer_enabled(&component, 0));
    ZVX_REQUIRE(zvxp_definition(omx, 0).nBufferSize > sizeof(VideoNativeMetadata));
    zvx_component_suite_release();
}

void zvx_test_is_dmabuf_enabled(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    ZVX_REQUIRE(!zvx_omx_common_component_is_dmabuf_enabled(nullptr, 0));
    ZVX_REQUIRE(!zvx_omx_common_component_is_dmabuf_enabled(&component, 2));
    ZVX_REQUIRE(!zvx_omx_common_component_is_dmabuf_enabled(&component, 0));
    auto dmabuf = zvx_omx_stamped_record<OMX_PARAM_ENABLEDMABUFTYPE>(0);
    dmabuf.bEnabled = OMX_TRUE;
    zvxp_set(omx, OMX_IndexParamEnableDmaBuf, dmabuf);
    ZVX_REQUIRE(zvx_omx_common_component_is_dmabuf_enabled(&component, 0));
    ZVX_REQUIRE(!zvx_omx_common_component_is_dmabuf_enabled(&component, 1));

    // The client's buffer on a dma-buf port is a descriptor, told to the session as such.
    zvxp_ask_for_idle(omx);
    OMX_BUFFERHEADERTYPE *header = nullptr;
    OMX_U8 *descriptor = zvx_marker<OMX_U8 *>(17);
    ZVX_REQUIRE_EQ(omx->UseBuffer(omx, &header, 0, nullptr, zvxp_definition(omx, 0).nBufferSize, descriptor),
                   OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_descriptor(header).allocator, ZVX_BASE_BUFFER_ALLOCATOR_DMABUF);
    ZVX_REQUIRE_EQ(zvxp_descriptor(header).handle, 17u);
    ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 0, header), OMX_ErrorNone);
    zvx_component_suite_release();
}

void zvx_test_get_extra_data_size(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_extra_data_size(&component, 1), 0u);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_extra_data_size(nullptr, 1), 0u);
    auto tcx = zvx_omx_stamped_record<OMX_PARAM_ENABLETCXTYPE>(1);
    tcx.bEnabled = OMX_TRUE;
    zvxp_set(omx, OMX_IndexParamEnableTCX, tcx);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_extra_data_size(&component, 1), 64u);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_extra_data_size(&component, 0), 0u);
    auto *sequence = static_cast<QURO_PARAM_SEQUENECE_PARAMETERS *>(
        zvx_omx_config_find(&component.ports[1].config_and_params, QURO_IndexParamSequenceParameters, 0));
    ZVX_REQUIRE(sequence != nullptr);
    sequence->bInterlace = 1;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_extra_data_size(&component, 1), 96u);
    sequence->bInterlace = 0;

    // A compressed picture comes back with its crop and the closing record after it.
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_start(&component, omx, inputs, outputs);
    OMX_BUFFERHEADERTYPE *header = outputs[0];
    struct zvx_base_buffer_userspace picture = zvxp_descriptor(header);
    picture.filled_len = 1001;
    zvxp_session_returns(&component, ZVX_BASE_EVENT_OUTPUT, picture);
    ZVX_REQUIRE((header->nFlags & OMX_BUFFERFLAG_EXTRADATA) != 0);
    OMX_OTHER_EXTRADATATYPE record;
    std::memcpy(&record, header->pBuffer + 1004, sizeof(record));
    ZVX_REQUIRE_EQ(record.eType, ZVX_OMX_EXTRADATA_CROP);
    ZVX_REQUIRE_EQ(record.nSize, ZVX_OMX_EXTRADATA_CROP_SIZE);
    zvx_omx_extradata_crop crop;
    std::memcpy(&crop, header->pBuffer + 1004 + ZVX_OMX_EXTRADATA_HEADER_SIZE, sizeof(crop));
    ZVX_REQUIRE_EQ(crop.nWidth, 176u);
    std::memcpy(&record, header->pBuffer + 1004 + ZVX_OMX_EXTRADATA_CROP_SIZE, sizeof(record));
    ZVX_REQUIRE_EQ(record.eType, OMX_ExtraDataNone);
    zvx_component_suite_release();
}

void zvx_test_validate_buffer_size(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_ENCODER);
    OMX_PARAM_PORTDEFINITIONTYPE input = zvxp_definition(omx, 0);
    input.format.video.nFrameWidth = 1920;
    input.format.video.nFrameHeight = 1080;
    zvxp_set(omx, OMX_IndexParamPortDefinition, input);
    input = zvxp_definition(omx, 0);
    const OMX_PARAM_PORTDEFINITIONTYPE output = zvxp_definition(omx, 1);
    ZVX_REQUIRE_EQ(input.nBufferSize, 3110400u);
    ZVX_REQUIRE_EQ(output.nBufferSize, 4665600u);

    zvxp_ask_for_idle(omx);
    const struct {
        OMX_U32 port;
        OMX_U32 size;
        OMX_ERRORTYPE result;
    } cases[] = {
        {0, 176 * 144 * 3 / 2, OMX_ErrorBadParameter}, {0, input.nBufferSize - 1, OMX_ErrorBadParameter},
        {0, input.nBufferSize, OMX_ErrorNone},         {1, output.nBufferSize - 32, OMX_ErrorBadParameter},
        {1, output.nBufferSize, OMX_ErrorNone},        {1, output.nBufferSize * 2, OMX_ErrorNone},
    };
    for (const auto &attempt : cases) {
        OMX_BUFFERHEADERTYPE *header = nullptr;
        ZVX_REQUIRE_EQ(omx->AllocateBuffer(omx, &header, attempt.port, nullptr, attempt.size), attempt.result);
    }
    zvx_component_suite_release();
}

void zvx_test_decoder_use_metadata_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_DECODER);
    zvxp_enable_metadata(omx, 1);
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_register(omx, inputs, outputs);
    zvxp_set_state(&component, OMX_StateExecuting);
    ZVX_REQUIRE_EQ(zvx_map_size(&component.ports[1].mapped_buffers), 0u);

    // The client names a frame of its own in the buffer; the session registers that frame.
    static uint8_t frame[176 * 144 * 3 / 2];
    OMX_BUFFERHEADERTYPE *header = outputs[0];
    VideoNativeMetadata metadata = {kMetadataBufferTypeANWBuffer, frame, -1};
    std::memcpy(header->pBuffer, &metadata, sizeof(metadata));
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, header), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_seen.queued_count, 1u);
    ZVX_REQUIRE_EQ(zvxp_seen.queued[0].buffer_id, reinterpret_cast<zvx_base_buffer_handle_t>(frame));
    struct zvx_omx_common_mapped_buffer *mapping = zvxp_mapping(&component, 1, frame);
    ZVX_REQUIRE(mapping != nullptr);
    ZVX_REQUIRE_EQ(mapping->size, static_cast<uint32_t>(sizeof(frame)));
    ZVX_REQUIRE_EQ(zvxu_atomic_get(&mapping->refcnt_fw), 1u);

    struct zvx_base_buffer_userspace picture = {};
    picture.buffer_id = reinterpret_cast<zvx_base_buffer_handle_t>(frame);
    picture.filled_len = sizeof(frame);
    zvxp_session_returns(&component, ZVX_BASE_EVENT_OUTPUT, picture);
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 1u);
    ZVX_REQUIRE(zvxp_seen.returned[0] == header);
    // The decoder may still read the frame as a reference until the session says it does not.
    ZVX_REQUIRE_EQ(zvxu_atomic_get(&mapping->refcnt_fw), 0u);
    ZVX_REQUIRE_EQ(mapping->ref_state, ZVX_OMX_BUFFER_REF_STATE_QUERY);
    const zvx_base_buffer_handle_t released = picture.buffer_id;
    zvxp_session_sends(&component, ZVX_BASE_EVENT_REF_FRAME_RELEASED, released);
    ZVX_REQUIRE_EQ(mapping->ref_state, ZVX_OMX_BUFFER_REF_STATE_UNUSED);

    // The same frame through another buffer is the same registration; an unknown record is refused.
    std::memcpy(outputs[1]->pBuffer, &metadata, sizeof(metadata));
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, outputs[1]), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvx_map_size(&component.ports[1].mapped_buffers), 1u);
    metadata.eType = kMetadataBufferTypeCameraSource;
    std::memcpy(outputs[2]->pBuffer, &metadata, sizeof(metadata));
    ZVX_REQUIRE_EQ(omx->FillThisBuffer(omx, outputs[2]), OMX_ErrorBadParameter);
    zvx_component_suite_release();
}

void zvx_test_encoder_use_metadata_buffer(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_COMPONENTTYPE *omx = zvxp_init(&component, &handle, ZVX_OMX_ENCODER);
    zvxp_enable_metadata(omx, 0);
    OMX_BUFFERHEADERTYPE *inputs[8] = {};
    OMX_BUFFERHEADERTYPE *outputs[8] = {};
    zvxp_start(&component, omx, inputs, outputs);

    static uint8_t frames[2][176 * 144 * 3 / 2];
    for (int i = 0; i < 2; ++i) {
        VideoGrallocMetadata metadata = {kMetadataBufferTypeGrallocSource, frames[i]};
        std::memcpy(inputs[i]->pBuffer, &metadata, sizeof(metadata));
        inputs[i]->nFilledLen = sizeof(metadata);
        ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, inputs[i]), OMX_ErrorNone);
        ZVX_REQUIRE_EQ(zvxp_seen.queued[i].buffer_id, reinterpret_cast<zvx_base_buffer_handle_t>(frames[i]));
    }
    ZVX_REQUIRE_EQ(zvx_map_size(&component.ports[0].mapped_buffers), 2u);

    struct zvx_base_buffer_userspace consumed = {};
    consumed.buffer_id = reinterpret_cast<zvx_base_buffer_handle_t>(frames[1]);
    zvxp_session_returns(&component, ZVX_BASE_EVENT_INPUT, consumed);
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 0u);
    consumed.buffer_id = reinterpret_cast<zvx_base_buffer_handle_t>(frames[0]);
    zvxp_session_returns(&component, ZVX_BASE_EVENT_INPUT, consumed);
    ZVX_REQUIRE_EQ(zvxp_seen.returns, 2u);
    ZVX_REQUIRE(zvxp_seen.returned[0] == inputs[0]);
    ZVX_REQUIRE(zvxp_seen.returned[1] == inputs[1]);
    struct zvx_omx_common_mapped_buffer *mapping = zvxp_mapping(&component, 0, frames[0]);
    ZVX_REQUIRE(mapping != nullptr);
    ZVX_REQUIRE_EQ(mapping->ref_state, ZVX_OMX_BUFFER_REF_STATE_UNUSED);

    // A record too short for its type names nothing.
    inputs[0]->nAllocLen = sizeof(VideoGrallocMetadata) - 1;
    inputs[0]->nFilledLen = 0;
    ZVX_REQUIRE_EQ(omx->EmptyThisBuffer(omx, inputs[0]), OMX_ErrorBadParameter);
    inputs[0]->nAllocLen = sizeof(VideoNativeMetadata);

    // When the port's last buffer goes, the frames it named are forgotten.
    zvx_omx_port_get_definition(&component.ports[0])->bEnabled = OMX_FALSE;
    const OMX_U32 count = zvxp_definition(omx, 0).nBufferCountActual;
    for (OMX_U32 i = 0; i < count; ++i) {
        ZVX_REQUIRE_EQ(omx->FreeBuffer(omx, 0, inputs[i]), OMX_ErrorNone);
    }
    ZVX_REQUIRE_EQ(zvx_map_size(&component.ports[0].mapped_buffers), 0u);
    zvx_component_suite_release();
}
