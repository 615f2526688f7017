#include <gtest/gtest.h>

#include "zvx_omx_test_client.h"

namespace {

using EntryPoints = zvx_decoder_test;

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
    send(OMX_CommandFlush, 1);
    send(OMX_CommandFlush, OMX_ALL);
    expect_events(
        {zvx_complete(OMX_CommandFlush, 1), zvx_complete(OMX_CommandFlush, 0), zvx_complete(OMX_CommandFlush, 1)});
    EXPECT_EQ(comp_->ports[0].pFlag, 0);
}

TEST_F(EntryPoints, SetCallbacksWithoutTableKeepsTheOldOnesButStoresAppData)
{
    OMX_PTR app_data = &decoder_;
    EXPECT_EQ(omx_->SetCallbacks(omx_, nullptr, app_data), OMX_ErrorNone);
    EXPECT_EQ(omx_->pApplicationPrivate, app_data);
    EXPECT_EQ(comp_->omx_callbacks.EventHandler, zvx_test_client::event_handler);
    EXPECT_EQ(omx_->SetCallbacks(omx_, nullptr, &client_), OMX_ErrorNone);
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
