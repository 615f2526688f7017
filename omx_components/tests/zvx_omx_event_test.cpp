// Session events handed to the dispatcher directly, on a component whose command thread is not running.
#include <gtest/gtest.h>

#include <memory>

#include "state/zvx_omx_state.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_config.h"
#include "zvx_omx_test_client.h"

namespace {

class Events : public zvx_dispatch_test {
protected:
    /* A buffer of the size the port asks for, registered on the way to Idle. */
    OMX_BUFFERHEADERTYPE *allocate(OMX_U32 port)
    {
        zvx_omx_state_request(&comp_, OMX_StateIdle);
        OMX_BUFFERHEADERTYPE *header = nullptr;
        EXPECT_EQ(handle_.omx.AllocateBuffer(&handle_, &header, port, nullptr,
                                             zvx_omx_port_get_definition(&comp_.ports[port])->nBufferSize),
                  OMX_ErrorNone);
        return header;
    }
};

TEST_F(Events, BadEventsAreDroppedReleasedFramesUnusedOnlyIfAskedAndFlushesReturnWhatTheSessionGaveBack)
{
    const int32_t running = ZVX_BASE_HW_STATE_RUNNING;
    dispatch(ZVX_BASE_EVENT_STATE_CHANGED, &running, 2);
    EXPECT_EQ(comp_.hw_state, ZVX_BASE_HW_STATE_STOPPED);
    const char text[] = {'\0', '\0', '\0', '\0', 'h', 'u', 'n', 'g'};
    dispatch(ZVX_BASE_EVENT_ERROR, text, sizeof(text));
    dispatch(ZVX_BASE_EVENT_RPC_PRINT, text + 4, 4);
    const uint32_t port_definition_changed = 3;
    dispatch(ZVX_BASE_EVENT_GENERIC, &port_definition_changed, sizeof(port_definition_changed));
    const unsigned char short_performance[59] = {};
    dispatch(ZVX_BASE_EVENT_PROCESSED, short_performance, sizeof(short_performance));
    const uint16_t dropped[] = {ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_REF_FRAME_RELEASED, ZVX_BASE_EVENT_JOB_DEQUEUED,
                                4660};
    for (uint16_t code : dropped) {
        dispatch(code, text, 1);
    }
    dispatch(ZVX_BASE_EVENT_STATE_CHANGED, &running, sizeof(running));
    EXPECT_EQ(comp_.hw_state, ZVX_BASE_HW_STATE_RUNNING);

    const struct {
        zvx_omx_buffer_ref_state_t state;
        uint32_t firmware_references;
        zvx_omx_buffer_ref_state_t after;
    } cases[] = {{ZVX_OMX_BUFFER_REF_STATE_QUERY, 0, ZVX_OMX_BUFFER_REF_STATE_UNUSED},
                 {ZVX_OMX_BUFFER_REF_STATE_USED, 0, ZVX_OMX_BUFFER_REF_STATE_USED},
                 {ZVX_OMX_BUFFER_REF_STATE_QUERY, 1, ZVX_OMX_BUFFER_REF_STATE_QUERY}};
    zvx_base_buffer_handle_t id = 0x40;
    for (const auto &released : cases) {
        auto *mapping =
            static_cast<zvx_omx_common_mapped_buffer *>(zvx_mem_calloc(1, sizeof(zvx_omx_common_mapped_buffer)));
        mapping->ref_state = released.state;
        mapping->refcnt_fw.val = released.firmware_references;
        ASSERT_TRUE(zvx_map_insert(&comp_.ports[1].mapped_buffers, reinterpret_cast<zvx_map_pointer>(++id), mapping));
        dispatch(ZVX_BASE_EVENT_REF_FRAME_RELEASED, &id, sizeof(id));
        EXPECT_EQ(mapping->ref_state, released.after);
    }
    ++id;
    dispatch(ZVX_BASE_EVENT_REF_FRAME_RELEASED, &id, sizeof(id));

    const zvx_omx_buffer_owner_t owners[] = {ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT, ZVX_OMX_BUFFER_OWNER_COMPONENT,
                                             ZVX_OMX_BUFFER_OWNER_COMP_TO_CLIENT};
    std::vector<OMX_BUFFERHEADERTYPE *> headers;
    for (zvx_omx_buffer_owner_t owner : owners) {
        OMX_BUFFERHEADERTYPE *header = allocate(0);
        ASSERT_NE(header, nullptr);
        zvx_omx_common_bufferheader_from_pub(header)->priv.owner = owner;
        zvx_list_push_back_value_port_buffers(&comp_.ports[0].buffer_list,
                                              zvx_omx_common_bufferheader_from_pub(header));
        headers.push_back(header);
    }
    comp_.ports[0].pFlag = ZVX_OMX_PORT_FLAG_CLIENT_FLUSH;
    comp_.ports[0].nr_pending_flushes = 1;
    dispatch(ZVX_BASE_EVENT_INPUT_FLUSHED, nullptr, 0);

    std::vector<zvx_test_client::returned_buffer> returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), 2u);
    EXPECT_EQ(returned[0].header, headers[0]);
    EXPECT_EQ(returned[1].header, headers[2]);
    EXPECT_EQ(zvx_list_size_port_buffers(&comp_.ports[0].buffer_list), 1u);
    EXPECT_EQ(comp_.ports[0].nr_dequeue, 0);
    EXPECT_EQ(comp_.ports[0].nr_pending_flushes, 0);

    OMX_BUFFERHEADERTYPE *header = allocate(1);
    ASSERT_NE(header, nullptr);
    header->nFilledLen = 64;
    header->nFlags = OMX_BUFFERFLAG_EOS;
    comp_.ports[1].hdr = header;
    comp_.ports[1].buffer_produced = true;
    dispatch(ZVX_BASE_EVENT_OUTPUT_FLUSHED, nullptr, 0);
    returned = client_.take_buffers();
    ASSERT_EQ(returned.size(), 1u);
    EXPECT_EQ(returned[0].header, header);
    EXPECT_EQ(returned[0].filled_len, 0u);
    EXPECT_EQ(returned[0].flags, 0u);
    EXPECT_EQ(comp_.ports[1].hdr, nullptr);
    EXPECT_FALSE(comp_.ports[1].buffer_produced);
}

TEST(CheckTimeout, CountsWholeMillisecondsAcrossSecondBoundaries)
{
    EXPECT_FALSE(check_timeout({5, 100'000'000}, {5, 299'999'999}, 200));
    EXPECT_TRUE(check_timeout({5, 100'000'000}, {5, 300'000'000}, 200));
    EXPECT_TRUE(check_timeout({5, 900'000'000}, {6, 100'000'000}, 200));
    EXPECT_FALSE(check_timeout({5, 900'000'000}, {6, 99'000'000}, 200));
    EXPECT_FALSE(check_timeout({6, 500'000'000}, {5, 100'000'000}, 0));
}

} // namespace
