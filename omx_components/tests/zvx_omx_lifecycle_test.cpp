// Init and destroy on their failure paths, against the session emulator so that devices left open show.
#include <gtest/gtest.h>

#include <cstring>

#include "zvx_mem_faults.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_codec_device.h"

namespace {

template <typename Record, auto Init, auto Destroy> struct Kind {
    using record = Record;
    static OMX_ERRORTYPE init(zvx_omx_component *handle, Record *comp) { return Init(handle, comp, nullptr, nullptr); }
    static void destroy(Record *comp) { Destroy(comp); }
};
/* Structs, not aliases, so that the test names carry a short type. */
struct Decoder : Kind<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy> {};
struct Encoder : Kind<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy> {};

template <typename K> class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override
    {
        zvx_init_emulator();
        std::memset(&handle, 0, sizeof(handle));
        std::memset(&comp, 0, sizeof(comp));
    }
    void TearDown() override
    {
        zvx_mem_faults_disarm();
        const zvx_dev_totals totals = zvx_dev_get_totals();
        EXPECT_EQ(totals.devices_closed, totals.devices_opened) << "devices left open";
        zvx_destroy_emulator();
    }

    // Whatever init left, destroying twice is safe and every call through the handle fails cleanly.
    void destroy_and_call_through_handle()
    {
        K::destroy(&comp);
        K::destroy(&comp);
        EXPECT_EQ(handle.omx.pComponentPrivate, nullptr);
        OMX_COMPONENTTYPE *omx = &handle.omx;
        if (omx->SendCommand == nullptr)
            return; // init failed before it filled the handle
        OMX_BUFFERHEADERTYPE *header = nullptr;
        OMX_U8 memory[16];
        OMX_BUFFERHEADERTYPE foreign = {};
        OMX_PARAM_PORTDEFINITIONTYPE definition = {};
        definition.nSize = sizeof(definition);
        definition.nVersion.s.nVersionMajor = 1;
        OMX_STATETYPE state = OMX_StateMax;
        OMX_CALLBACKTYPE callbacks = {};
        EXPECT_EQ(omx->SendCommand(omx, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->AllocateBuffer(omx, &header, 0, nullptr, 1024), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->UseBuffer(omx, &header, 1, nullptr, sizeof(memory), memory), OMX_ErrorBadParameter);
        EXPECT_EQ(header, nullptr);
        EXPECT_EQ(omx->FreeBuffer(omx, 0, &foreign), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->EmptyThisBuffer(omx, &foreign), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->FillThisBuffer(omx, &foreign), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->SetConfig(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->SetCallbacks(omx, &callbacks, nullptr), OMX_ErrorBadParameter);
        EXPECT_EQ(omx->GetState(omx, &state), OMX_ErrorNone);
        EXPECT_EQ(state, OMX_StateMax);
    }

    zvx_omx_component handle;
    typename K::record comp;
};

using Kinds = ::testing::Types<Decoder, Encoder>;
TYPED_TEST_SUITE(Lifecycle, Kinds);

TYPED_TEST(Lifecycle, DestroyDetachesTheHandleAndADeviceThatDoesNotOpenIsAHardwareError)
{
    ASSERT_EQ(TypeParam::init(&this->handle, &this->comp), OMX_ErrorNone);
    this->destroy_and_call_through_handle();

    zvx_dev_script script;
    script.fail_open = true;
    zvx_dev_set_default_script(script);
    std::memset(&this->handle, 0, sizeof(this->handle));
    EXPECT_EQ(TypeParam::init(&this->handle, &this->comp), OMX_ErrorHardware);
    this->destroy_and_call_through_handle();
}

// Each allocation of init in turn fails: init reports it and releases everything, the device included.
TYPED_TEST(Lifecycle, EveryAllocationFailureOfInitIsReportedAndUndone)
{
    if (!zvx_mem_faults_arm(0, 0))
        GTEST_SKIP() << "allocation failures are injected only in the fault-injection build";
    zvx_mem_faults_disarm();
    for (uint64_t point = 0;; ++point) {
        SCOPED_TRACE(point);
        std::memset(&this->handle, 0, sizeof(this->handle));
        zvx_mem_faults_arm(point, point);
        const OMX_ERRORTYPE error = TypeParam::init(&this->handle, &this->comp);
        const bool failed = zvx_mem_faults_counted() > point;
        zvx_mem_faults_disarm();
        if (!failed) {
            ASSERT_EQ(error, OMX_ErrorNone);
            TypeParam::destroy(&this->comp);
            ASSERT_GT(point, 0u);
            return;
        }
        EXPECT_EQ(error, OMX_ErrorInsufficientResources);
        EXPECT_EQ(this->comp.common.built, false);
        this->destroy_and_call_through_handle();
    }
}

// Both the command record and its queue node can fail; neither leaves a record behind.
TYPED_TEST(Lifecycle, CommandThatCannotBeQueuedIsRefusedForWantOfMemory)
{
    ASSERT_EQ(TypeParam::init(&this->handle, &this->comp), OMX_ErrorNone);
    OMX_COMPONENTTYPE *omx = &this->handle.omx;
    for (uint64_t point : {0u, 1u}) {
        if (!zvx_mem_faults_arm(point, point)) {
            TypeParam::destroy(&this->comp);
            GTEST_SKIP() << "allocation failures are injected only in the fault-injection build";
        }
        EXPECT_EQ(omx->SendCommand(omx, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorInsufficientResources);
        zvx_mem_faults_disarm();
    }
    TypeParam::destroy(&this->comp);
}

} // namespace
