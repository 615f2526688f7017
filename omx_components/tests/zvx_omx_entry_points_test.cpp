#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "zvx_blackbox.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"

namespace {

struct client_event {
    OMX_EVENTTYPE event;
    OMX_U32 data1;
    OMX_U32 data2;
};

std::mutex events_mutex;
std::condition_variable events_changed;
std::vector<client_event> events;

OMX_ERRORTYPE record_event(OMX_HANDLETYPE, OMX_PTR, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2, OMX_PTR)
{
    std::lock_guard<std::mutex> lock(events_mutex);
    events.push_back({event, data1, data2});
    events_changed.notify_all();
    return OMX_ErrorNone;
}

std::vector<zvx_base_buffer_details> queued_to_session;

void record_queued(int, struct zvx_base_buffer_details *details)
{
    queued_to_session.push_back(*details);
}

class EntryPoints : public ::testing::Test {
protected:
    void SetUp() override
    {
        bb_reset_cb();
        events.clear();
        queued_to_session.clear();
        OMX_CALLBACKTYPE callbacks = {record_event, nullptr, nullptr};
        ASSERT_EQ(zvx_omx_decoder_component_init(&handle_, &decoder_, nullptr, &callbacks), OMX_ErrorNone);
        omx_ = &handle_.omx;
        comp_ = &decoder_.common;
    }

    void TearDown() override
    {
        zvx_omx_decoder_component_destroy(&decoder_);
        bb_reset_cb();
    }

    std::vector<client_event> wait_for_events(size_t count)
    {
        std::unique_lock<std::mutex> lock(events_mutex);
        events_changed.wait_for(lock, std::chrono::seconds(10), [&] { return events.size() >= count; });
        return events;
    }

    OMX_PARAM_PORTDEFINITIONTYPE *port_definition(OMX_U32 port)
    {
        return static_cast<OMX_PARAM_PORTDEFINITIONTYPE *>(
            zvx_omx_config_find(&comp_->ports[port].config_and_params, OMX_IndexParamPortDefinition, 0));
    }

    zvx_omx_decoder_component decoder_;
    zvx_omx_component handle_;
    OMX_COMPONENTTYPE *omx_ = nullptr;
    zvx_omx_common_component *comp_ = nullptr;
};

TEST_F(EntryPoints, SendCommandRefusesWhatItCannotCarryOut)
{
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandFlush, 2, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandMarkBuffer, 0, nullptr), OMX_ErrorNotImplemented);
    EXPECT_EQ(omx_->SendCommand(nullptr, OMX_CommandFlush, 0, nullptr), OMX_ErrorBadParameter);
    zvxu_atomic_set(&comp_->omx_state, OMX_StateInvalid);
    EXPECT_EQ(omx_->SendCommand(omx_, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorInvalidState);
    zvxu_atomic_set(&comp_->omx_state, OMX_StateLoaded);
}

TEST_F(EntryPoints, FlushWithoutSessionCompletesEachFlushedPortInputFirst)
{
    ASSERT_EQ(omx_->SendCommand(omx_, OMX_CommandFlush, 1, nullptr), OMX_ErrorNone);
    ASSERT_EQ(omx_->SendCommand(omx_, OMX_CommandFlush, OMX_ALL, nullptr), OMX_ErrorNone);
    std::vector<client_event> seen = wait_for_events(3);
    ASSERT_EQ(seen.size(), 3u);
    for (const client_event &event : seen) {
        EXPECT_EQ(event.event, OMX_EventCmdComplete);
        EXPECT_EQ(event.data1, static_cast<OMX_U32>(OMX_CommandFlush));
    }
    EXPECT_EQ(seen[0].data2, 1u);
    EXPECT_EQ(seen[1].data2, 0u);
    EXPECT_EQ(seen[2].data2, 1u);
    EXPECT_EQ(comp_->ports[0].pFlag, 0);
}

TEST_F(EntryPoints, SetCallbacksWithoutTableKeepsTheOldOnesButStoresAppData)
{
    OMX_PTR app_data = &decoder_;
    EXPECT_EQ(omx_->SetCallbacks(omx_, nullptr, app_data), OMX_ErrorNone);
    EXPECT_EQ(omx_->pApplicationPrivate, app_data);
    EXPECT_EQ(comp_->omx_callbacks.EventHandler, record_event);
}

TEST_F(EntryPoints, BuffersPopulateTheirPortAndLeaveIt)
{
    const OMX_U32 needed = port_definition(0)->nBufferCountActual;
    std::vector<OMX_BUFFERHEADERTYPE *> headers(needed);
    for (OMX_U32 i = 0; i < needed; ++i) {
        EXPECT_EQ(port_definition(0)->bPopulated, OMX_FALSE);
        ASSERT_EQ(omx_->AllocateBuffer(omx_, &headers[i], 0, nullptr, 4096), OMX_ErrorNone);
        EXPECT_NE(headers[i]->pBuffer, nullptr);
        EXPECT_EQ(headers[i]->nAllocLen, 4096u);
    }
    EXPECT_EQ(port_definition(0)->bPopulated, OMX_TRUE);
    EXPECT_EQ(omx_->FreeBuffer(omx_, 1, headers[0]), OMX_ErrorBadParameter);
    ASSERT_EQ(omx_->FreeBuffer(omx_, 0, headers[0]), OMX_ErrorNone);
    EXPECT_EQ(port_definition(0)->bPopulated, OMX_FALSE);
    // The rest is released with the component.
}

TEST_F(EntryPoints, QueuedBufferReachesTheSessionOnceUntilItComesBack)
{
    bb_cb.bbcb_fill_this_buffer = record_queued;
    OMX_U8 memory[64];
    OMX_BUFFERHEADERTYPE *header = nullptr;
    ASSERT_EQ(omx_->UseBuffer(omx_, &header, 1, nullptr, sizeof(memory), memory), OMX_ErrorNone);
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorBadPortIndex);

    header->nFilledLen = 0;
    header->nFlags = OMX_BUFFERFLAG_EOS;
    ASSERT_EQ(omx_->FillThisBuffer(omx_, header), OMX_ErrorNone);
    EXPECT_EQ(omx_->FillThisBuffer(omx_, header), OMX_ErrorIncorrectStateOperation);
    ASSERT_EQ(queued_to_session.size(), 1u);
    EXPECT_EQ(queued_to_session[0].handle, reinterpret_cast<zvx_base_buffer_handle_t>(memory));
    EXPECT_EQ(queued_to_session[0].flags, static_cast<uint32_t>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(comp_->ports[1].nr_enqueue, 1);
}

template <typename List> std::vector<OMX_BUFFERHEADERTYPE *> headers_in(List &list)
{
    std::vector<OMX_BUFFERHEADERTYPE *> headers;
    for (auto *it = list.node.next; it != &list.node; it = it->next) {
        headers.push_back(&it->data->pub);
    }
    return headers;
}

TEST_F(EntryPoints, InputBuffersKeepTheClientsQueueOrderUntilFreed)
{
    std::vector<OMX_BUFFERHEADERTYPE *> headers(3);
    for (auto &header : headers) {
        ASSERT_EQ(omx_->AllocateBuffer(omx_, &header, 0, nullptr, 1024), OMX_ErrorNone);
    }
    zvx_omx_port &input = comp_->ports[0];
    EXPECT_TRUE(headers_in(input.buffer_list).empty()) << "registering a buffer does not queue it";

    for (int i : {2, 0, 1}) {
        ASSERT_EQ(omx_->EmptyThisBuffer(omx_, headers[i]), OMX_ErrorNone);
    }
    const std::vector<OMX_BUFFERHEADERTYPE *> queued = {headers[2], headers[0], headers[1]};
    EXPECT_EQ(headers_in(input.buffer_list), queued);
    EXPECT_EQ(headers_in(input.tracked_buffers), queued);

    ASSERT_EQ(omx_->FreeBuffer(omx_, 0, headers[0]), OMX_ErrorNone);
    const std::vector<OMX_BUFFERHEADERTYPE *> left = {headers[2], headers[1]};
    EXPECT_EQ(headers_in(input.buffer_list), left);
    EXPECT_EQ(headers_in(input.tracked_buffers), left);
}

TEST_F(EntryPoints, DisabledPortRefusesBuffers)
{
    zvx_omx_common_bufferheadertype header = {};
    port_definition(0)->bEnabled = OMX_FALSE;
    EXPECT_EQ(omx_->EmptyThisBuffer(omx_, &header.pub), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(header.priv.owner, ZVX_OMX_BUFFER_OWNER_CLIENT);
}

TEST_F(EntryPoints, CommonTableSharesIndicesButNotTheDecoderNames)
{
    OMX_INDEXTYPE metadata = OMX_IndexMax;
    OMX_INDEXTYPE anw = OMX_IndexMax;
    char store_metadata[] = "OMX.google.android.index.storeMetaDataInBuffers";
    char store_anw[] = "OMX.google.android.index.storeANWBufferInMetadata";
    ASSERT_EQ(decoder_.InheritedGetExtensionIndex(omx_, store_metadata, &metadata), OMX_ErrorNone);
    ASSERT_EQ(decoder_.InheritedGetExtensionIndex(omx_, store_anw, &anw), OMX_ErrorNone);
    EXPECT_EQ(metadata, anw);
    // The common table never answers the decoder's own names.
    char native_buffer2[] = "OMX.google.android.index.useAndroidNativeBuffer2";
    EXPECT_EQ(decoder_.InheritedGetExtensionIndex(omx_, native_buffer2, &anw), OMX_ErrorUnsupportedIndex);
}

} // namespace
