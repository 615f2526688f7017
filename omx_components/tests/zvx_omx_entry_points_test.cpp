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

class EntryPoints : public ::testing::Test {
protected:
    void SetUp() override
    {
        bb_reset_cb();
        events.clear();
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

    static std::vector<client_event> wait_for_events(size_t count)
    {
        std::unique_lock<std::mutex> lock(events_mutex);
        events_changed.wait_for(lock, std::chrono::seconds(10), [&] { return events.size() >= count; });
        return events;
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
