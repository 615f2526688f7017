#include <atomic>
#include <cstring>
#include <iterator>

#include "zvx_blackbox.h"
#include "zvx_component_suite_support.h"
#include "zvx_component_suites.h"
#include "zvx_suite_common_buffers.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_component_role.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_event.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_port_commands.h"
#include "zvx_omx_session.h"
#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_config.h"
#include "zvx_omx_parameters.h"

namespace {

void zvx_test_get_type_null_component(quro_utf_suite *)
{
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_type(nullptr), ZVX_OMX_DECODER);
}

void zvx_test_get_type_valid_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    component.type = ZVX_OMX_DECODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_type(&component), ZVX_OMX_DECODER);
    component.type = ZVX_OMX_ENCODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_type(&component), ZVX_OMX_ENCODER);
}

void zvx_test_set_type_null_component(quro_utf_suite *)
{
    zvx_omx_common_component_set_type(nullptr, ZVX_OMX_DECODER);
}

void zvx_test_set_type_valid_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    component.type = static_cast<zvx_omx_component_type_t>(23);
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(component.type, ZVX_OMX_DECODER);
    component.type = static_cast<zvx_omx_component_type_t>(23);
    zvx_omx_common_component_set_type(&component, ZVX_OMX_ENCODER);
    ZVX_REQUIRE_EQ(component.type, ZVX_OMX_ENCODER);
}

/* Exercises the compressed-layout switch of a component whose YUV port is yuv_port. */
void zvxp_check_tcx_enable(zvx_omx_common_component *component, OMX_U32 yuv_port, OMX_U32 bitstream_port,
                           bool wideblk_too)
{
    OMX_BOOL tiles = OMX_TRUE;
    OMX_BOOL wideblk = OMX_TRUE;
    ZVX_REQUIRE(zvx_omx_common_component_tcx_enable(component, yuv_port, true, false, false));
    ZVX_REQUIRE(zvx_omx_common_component_is_tcx_enabled(component, yuv_port, nullptr, nullptr));

    ZVX_REQUIRE(!zvx_omx_common_component_tcx_enable(nullptr, yuv_port, true, false, false));
    ZVX_REQUIRE(!zvx_omx_common_component_tcx_enable(component, static_cast<OMX_U32>(-1), true, false, false));
    ZVX_REQUIRE(!zvx_omx_common_component_tcx_enable(component, 2, true, false, false));
    ZVX_REQUIRE(!zvx_omx_common_component_is_tcx_enabled(nullptr, yuv_port, nullptr, nullptr));
    ZVX_REQUIRE(!zvx_omx_common_component_is_tcx_enabled(component, static_cast<OMX_U32>(-1), nullptr, nullptr));
    ZVX_REQUIRE(!zvx_omx_common_component_is_tcx_enabled(component, bitstream_port, nullptr, nullptr));
    ZVX_REQUIRE(!zvx_omx_common_component_is_tcx_enabled(component, 2, nullptr, nullptr));

    ZVX_REQUIRE(zvx_omx_common_component_tcx_enable(component, yuv_port, true, true, wideblk_too));
    ZVX_REQUIRE(zvx_omx_common_component_is_tcx_enabled(component, yuv_port, &tiles, &wideblk));
    ZVX_REQUIRE_EQ(tiles, OMX_TRUE);
    ZVX_REQUIRE_EQ(wideblk, wideblk_too ? OMX_TRUE : OMX_FALSE);

    ZVX_REQUIRE(zvx_omx_common_component_tcx_enable(component, yuv_port, true, false, false));
    ZVX_REQUIRE(zvx_omx_common_component_is_tcx_enabled(component, yuv_port, &tiles, &wideblk));
    ZVX_REQUIRE_EQ(tiles, OMX_FALSE);
    ZVX_REQUIRE_EQ(wideblk, OMX_FALSE);
}

void zvx_test_decoder_set_tcx_enable(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);
    zvxp_check_tcx_enable(&decoder.common, 1, 0, false);
    zvx_component_suite_release();
}

void zvx_test_encoder_set_tcx_enable(quro_utf_suite *)
{
    zvx_omx_encoder_component encoder;
    zvx_omx_component handle;
    ZVX_REQUIRE_EQ(zvx_omx_encoder_component_init(&handle, &encoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_encoder_component_destroy>(&encoder);
    zvxp_check_tcx_enable(&encoder.common, 0, 1, true);
    zvx_component_suite_release();
}

void zvx_test_get_bitstream_port_null_component(quro_utf_suite *)
{
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_bitstream_port_index(nullptr), 0u);
}

void zvx_test_get_bitstream_port_valid_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    component.type = ZVX_OMX_DECODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_bitstream_port_index(&component), 0u);
    component.type = ZVX_OMX_ENCODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_bitstream_port_index(&component), 1u);
}

void zvx_test_get_yuv_port_null_component(quro_utf_suite *)
{
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_yuv_port_index(nullptr), 0u);
}

void zvx_test_get_yuv_port_valid_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    component.type = ZVX_OMX_DECODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_yuv_port_index(&component), 1u);
    component.type = ZVX_OMX_ENCODER;
    ZVX_REQUIRE_EQ(zvx_omx_common_component_get_yuv_port_index(&component), 0u);
}

void zvx_test_init_destroy_null_component_null_omx_component(quro_utf_suite *)
{
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(nullptr, nullptr, nullptr, nullptr), OMX_ErrorNone);
    zvx_omx_common_component_destroy(nullptr);
}

void zvx_test_init_destroy_valid_component_null_omx_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(nullptr, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_omx_common_component_destroy(&component);
}

void zvx_test_init_destroy_null_component_valid_omx_component(quro_utf_suite *)
{
    zvx_omx_component handle;
    zvx_omx_common_component_init(&handle, nullptr, nullptr, nullptr);
    zvx_omx_common_component_destroy(nullptr);
}

void zvx_test_init_destroy_valid_component_valid_omx_component(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_omx_common_component_destroy(&component);
}

int zvxp_destroyed_sessions;

void zvxp_count_destroyed_session(int fd)
{
    ZVX_REQUIRE_EQ(fd, 1);
    ++zvxp_destroyed_sessions;
}

void zvx_test_destroy_session(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_destroyed_sessions = 0;
    bb_cb.bbcb_destroy_session = zvxp_count_destroyed_session;
    zvx_omx_common_component_destroy_session(nullptr);
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);
    const struct {
        bool created;
        int fd;
    } cases[] = {{false, -1}, {true, -1}, {false, 1}, {true, 1}};
    for (const auto &session : cases) {
        component.session_created = session.created;
        component.driver_fd = session.fd;
        zvx_omx_common_component_destroy_session(&component);
    }
    component.driver_fd = -1;
    zvx_component_suite_release();
    ZVX_REQUIRE_EQ(zvxp_destroyed_sessions, 1);
}

void zvx_test_get_version(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_VERSIONTYPE component_version = {};
    OMX_VERSIONTYPE spec_version = {};
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);
    ZVX_REQUIRE_EQ(handle.omx.GetComponentVersion(&handle, nullptr, &component_version, &spec_version, nullptr),
                   OMX_ErrorNone);
    ZVX_REQUIRE_EQ(component_version.nVersion, 1u);
    ZVX_REQUIRE_EQ(spec_version.nVersion, 0x00000101u);
    zvx_component_suite_release();
}

void zvx_test_get_state(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    OMX_STATETYPE state;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);

    component.omx_state.val = 17;
    ZVX_REQUIRE_EQ(handle.omx.GetState(&handle, &state), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(static_cast<int>(state), 17);
    component.omx_state.val = 96;
    ZVX_REQUIRE_EQ(handle.omx.GetState(&handle, &state), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(static_cast<int>(state), 96);

    state = static_cast<OMX_STATETYPE>(10);
    ZVX_REQUIRE_EQ(handle.omx.GetState(nullptr, &state), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(static_cast<int>(state), 10);
    ZVX_REQUIRE_EQ(handle.omx.GetState(&handle, nullptr), OMX_ErrorNone);

    state = static_cast<OMX_STATETYPE>(12);
    handle.omx.pComponentPrivate = nullptr;
    ZVX_REQUIRE_EQ(handle.omx.GetState(&handle, &state), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(static_cast<int>(state), 12);
    handle.omx.pComponentPrivate = &component;
    zvx_component_suite_release();
}

void zvx_test_get_extension_index(quro_utf_suite *)
{
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    OMX_INDEXTYPE index;
    char name[] = "OMX.DHQ.video.k7nn.tcx";
    char missing[] = "this won't exist";
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);

    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(nullptr, name, &index), OMX_ErrorBadParameter);
    handle.omx.pComponentPrivate = nullptr;
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, name, &index), OMX_ErrorBadParameter);
    handle.omx.pComponentPrivate = &decoder;
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, nullptr, &index), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, missing, &index), OMX_ErrorUnsupportedIndex);

    const struct {
        const char *name;
        OMX_INDEXTYPE index;
    } known[] = {
        {"OMX.DHQ.video.k7nn.tcx", OMX_IndexParamTCX},
        {"OMX.DHQ.video.k7nn.enable.tcx", OMX_IndexParamEnableTCX},
        {"OMX.DHQ.video.k7nn.enable.dmabuf", OMX_IndexParamEnableDmaBuf},
        {"OMX.google.android.index.storeMetaDataInBuffers", OMX_IndexParamEnableStoreMetaData},
    };
    for (const auto &entry : known) {
        index = OMX_IndexMax;
        ZVX_REQUIRE_EQ(handle.omx.GetExtensionIndex(&handle, const_cast<char *>(entry.name), &index), OMX_ErrorNone);
        ZVX_REQUIRE_EQ(index, entry.index);
    }
    zvx_component_suite_release();
}

void zvx_test_set_callbacks(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);
    handle.omx.pApplicationPrivate = nullptr;
    std::memset(&component.omx_callbacks, 0, sizeof(component.omx_callbacks));
    OMX_CALLBACKTYPE callbacks = {zvx_marker<decltype(callbacks.EventHandler)>(0x17),
                                  zvx_marker<decltype(callbacks.EmptyBufferDone)>(0x18),
                                  zvx_marker<decltype(callbacks.FillBufferDone)>(0x19)};
    OMX_PTR app_data = zvx_marker<OMX_PTR>(0x19);

    ZVX_REQUIRE_EQ(handle.omx.SetCallbacks(nullptr, &callbacks, app_data), OMX_ErrorBadParameter);
    ZVX_REQUIRE(handle.omx.pApplicationPrivate == nullptr);
    handle.omx.pComponentPrivate = nullptr;
    ZVX_REQUIRE_EQ(handle.omx.SetCallbacks(&handle, &callbacks, app_data), OMX_ErrorBadParameter);
    ZVX_REQUIRE(handle.omx.pApplicationPrivate == nullptr);
    ZVX_REQUIRE(component.omx_callbacks.EventHandler == nullptr);
    ZVX_REQUIRE(component.omx_callbacks.EmptyBufferDone == nullptr);
    ZVX_REQUIRE(component.omx_callbacks.FillBufferDone == nullptr);

    handle.omx.pComponentPrivate = &component;
    ZVX_REQUIRE_EQ(handle.omx.SetCallbacks(&handle, &callbacks, app_data), OMX_ErrorNone);
    callbacks = {};
    ZVX_REQUIRE_EQ(handle.omx.pApplicationPrivate, app_data);
    ZVX_REQUIRE(component.omx_callbacks.EventHandler == zvx_marker<decltype(callbacks.EventHandler)>(0x17));
    ZVX_REQUIRE(component.omx_callbacks.EmptyBufferDone == zvx_marker<decltype(callbacks.EmptyBufferDone)>(0x18));
    ZVX_REQUIRE(component.omx_callbacks.FillBufferDone == zvx_marker<decltype(callbacks.FillBufferDone)>(0x19));
    zvx_component_suite_release();
}

void zvx_test_queue_command_with_null(quro_utf_suite *)
{
    auto *bogus_component = zvx_marker<zvx_omx_common_component *>(0xdeadbeef);
    auto *bogus_command = zvx_marker<zvx_omx_common_cproc_command_data *>(0xdeadbeef);
    ZVX_REQUIRE(!zvx_omx_common_component_queue_command(nullptr, nullptr));
    ZVX_REQUIRE(!zvx_omx_common_component_queue_command(bogus_component, nullptr));
    ZVX_REQUIRE(!zvx_omx_common_component_queue_command(nullptr, bogus_command));
}

/* A common component whose command thread runs: stopped before the record goes. */
void zvxp_stop_and_destroy(zvx_omx_common_component *component)
{
    zvx_omx_common_cproc_invoker_exit(component);
    zvx_omx_common_component_destroy(component);
}

void zvxp_init_running(zvx_omx_common_component *component, zvx_omx_component *handle)
{
    zvx_omx_common_component_set_type(component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(handle, component, nullptr, nullptr), OMX_ErrorNone);
    zvx_omx_common_cproc_invoker_start(component);
    zvx_component_suite_hold<zvxp_stop_and_destroy>(component);
}

void zvxp_set_state(zvx_omx_common_component *component, OMX_STATETYPE state)
{
    zvxu_atomic_set(&component->omx_state, state);
}

void zvxp_set_hw_state(zvx_omx_common_component *component, int32_t hw_state)
{
    std::atomic_ref(component->hw_state).store(hw_state);
}

void zvx_test_send_command(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_running(&component, &handle);
    OMX_COMPONENTTYPE &omx = handle.omx;

    zvxp_set_state(&component, OMX_StateInvalid);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorInvalidState);
    zvxp_set_state(&component, OMX_StateIdle);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
    zvxp_set_state(&component, OMX_StateLoaded);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandStateSet, OMX_StateLoaded, nullptr), OMX_ErrorNone);
    zvxp_set_state(&component, OMX_StateIdle);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorNone);

    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandPortDisable, 0, nullptr), OMX_ErrorUnsupportedIndex);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandPortEnable, 0, nullptr), OMX_ErrorUnsupportedIndex);

    const struct {
        OMX_U32 port;
        OMX_ERRORTYPE result;
    } flushes[] = {{0, OMX_ErrorNone}, {1, OMX_ErrorNone}, {OMX_ALL, OMX_ErrorNone}, {0x1234, OMX_ErrorBadParameter}};
    for (const auto &flush : flushes) {
        ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandFlush, flush.port, nullptr), flush.result);
    }
    for (const auto &flush : flushes) {
        zvxp_set_hw_state(&component, ZVX_BASE_HW_STATE_RUNNING);
        ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandFlush, flush.port, nullptr), flush.result);
    }

    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, static_cast<OMX_COMMANDTYPE>(214645), 0, nullptr), OMX_ErrorNotImplemented);
    ZVX_REQUIRE_EQ(omx.SendCommand(&handle, OMX_CommandMarkBuffer, 0, nullptr), OMX_ErrorNotImplemented);
    zvx_component_suite_release();
}

void zvx_test_port_enable_disable(quro_utf_suite *)
{
    ZVX_REQUIRE_EQ(common_component_cmd_port_enable_disable(nullptr, static_cast<OMX_U32>(-1), true),
                   OMX_ErrorBadParameter);
    zvx_omx_decoder_component decoder;
    zvx_omx_component handle;
    ZVX_REQUIRE_EQ(zvx_omx_decoder_component_init(&handle, &decoder, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_decoder_component_destroy>(&decoder);
    ZVX_REQUIRE_EQ(common_component_cmd_port_enable_disable(&decoder.common, static_cast<OMX_U32>(-1), true),
                   OMX_ErrorNone);
    ZVX_REQUIRE_EQ(common_component_cmd_port_enable_disable(&decoder.common, 0, true), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(common_component_cmd_port_enable_disable(&decoder.common, 3, true), OMX_ErrorBadParameter);
    zvx_component_suite_release();
}

/* The last nData1 that StateTransitionTest_EventHandler received; written on whichever thread calls back. */
std::atomic<OMX_U32> cbError;

OMX_ERRORTYPE StateTransitionTest_EventHandler(OMX_HANDLETYPE, OMX_PTR, OMX_EVENTTYPE, OMX_U32 nData1, OMX_U32, OMX_PTR)
{
    cbError = nData1;
    return OMX_ErrorNone;
}

void zvx_test_state_change(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_running(&component, &handle);
    OMX_CALLBACKTYPE callbacks = {StateTransitionTest_EventHandler, nullptr, nullptr};
    ZVX_REQUIRE_EQ(handle.omx.SetCallbacks(&handle, &callbacks, nullptr), OMX_ErrorNone);
    std::atomic_ref trying_to_stop(component.sw_state_trying_to_stop);

    trying_to_stop.store(true);
    ZVX_REQUIRE(common_component_cmd_state_change(&component, nullptr));
    ZVX_REQUIRE(!trying_to_stop.load());
    trying_to_stop.store(true);
    ZVX_REQUIRE(common_component_cmd_state_change(nullptr, nullptr));
    ZVX_REQUIRE(trying_to_stop.load());

    struct command_state_change_data command = {{common_component_cmd_state_change}, OMX_StateIdle, 5000};
    const struct {
        OMX_STATETYPE from;
        OMX_STATETYPE to;
        OMX_ERRORTYPE error;
    } refused[] = {
        {OMX_StateInvalid, OMX_StateIdle, OMX_ErrorInvalidState},
        {OMX_StateIdle, OMX_StateIdle, OMX_ErrorSameState},
        {OMX_StateIdle, OMX_StateWaitForResources, OMX_ErrorIncorrectStateTransition},
        {OMX_StateIdle, OMX_StateInvalid, OMX_ErrorInvalidState},
    };
    for (const auto &refusal : refused) {
        cbError = 0;
        zvxp_set_state(&component, refusal.from);
        command.state = refusal.to;
        common_component_cmd_state_change(&component, &command.command_data);
        ZVX_REQUIRE_EQ(cbError.load(), static_cast<OMX_U32>(refusal.error));
    }
    cbError = 0;
    zvxp_set_state(&component, OMX_StateIdle);
    command.state = OMX_StateLoaded;
    ZVX_REQUIRE(common_component_cmd_state_change(&component, &command.command_data));

    const struct {
        OMX_STATETYPE from;
        OMX_STATETYPE to;
    } stopping[] = {
        {OMX_StateLoaded, OMX_StateIdle}, {OMX_StateExecuting, OMX_StateIdle}, {OMX_StateExecuting, OMX_StatePause}};
    for (const auto &change : stopping) {
        trying_to_stop.store(true);
        zvxp_set_state(&component, change.from);
        command.state = change.to;
        common_component_cmd_state_change(&component, &command.command_data);
        ZVX_REQUIRE(!trying_to_stop.load());
    }
    zvx_component_suite_release();
}

void zvx_test_cproc(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);
    zvx_omx_common_cproc_command_queue_lockfree_ts &queue = component.cproc_queue;
    zvx_omx_common_cproc_command_queue_destroy(&queue);

    struct zvx_omx_common_cproc_invoker invoker;
    invoker.exit = 1;
    zvx_omx_common_cproc_invoker_init(nullptr);
    ZVX_REQUIRE_EQ(invoker.exit, 1);
    zvx_omx_common_cproc_invoker_init(&invoker);
    ZVX_REQUIRE_EQ(invoker.exit, 0);

    ZVX_REQUIRE(queue.head == nullptr);
    zvx_omx_common_cproc_command_queue_init(nullptr);
    ZVX_REQUIRE(queue.head == nullptr);
    zvx_omx_common_cproc_command_queue_init(&queue);
    ZVX_REQUIRE(queue.head != nullptr);
    zvx_omx_common_cproc_command_queue_destroy(nullptr);
    ZVX_REQUIRE(queue.head != nullptr);
    zvxu_slist_data *const saved_head = queue.head;
    queue.head = nullptr;
    zvx_omx_common_cproc_command_queue_destroy(&queue);
    ZVX_REQUIRE(queue.head == nullptr);
    ZVX_REQUIRE(!zvx_omx_common_cproc_command_queue_enqueue(&queue, nullptr));
    ZVX_REQUIRE(zvx_omx_common_cproc_command_queue_dequeue(&queue) == nullptr);
    queue.head = saved_head;
    zvx_component_suite_release();
}

/* One event record, large enough for every payload the test sends. */
struct zvxp_event_record {
    alignas(struct zvx_base_event_header) unsigned char bytes[sizeof(struct zvx_base_event_header) +
                                                              sizeof(struct zvx_base_buffer_userspace)];

    struct zvx_base_event_header *header() { return reinterpret_cast<struct zvx_base_event_header *>(bytes); }
    unsigned char *payload() { return bytes + sizeof(struct zvx_base_event_header); }
};

void zvxp_dispatch(zvx_omx_common_component *component, zvxp_event_record &record, uint16_t code, uint16_t size)
{
    record.header()->code = code;
    record.header()->size = size;
    zvxp_omx_handle_event(component, record.header());
}

void zvx_test_handle_event(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_set_role(&component, "video_decoder.hevc"), OMX_ErrorNone);

    zvxp_event_record record = {};
    for (uint32_t kind : {1u, 4u}) {
        std::memcpy(record.payload(), &kind, sizeof(kind));
        zvxp_dispatch(&component, record, ZVX_BASE_EVENT_GENERIC, 2 * sizeof(uint32_t));
    }
    std::memset(record.payload(), 0, sizeof(struct zvx_base_buffer_userspace));
    for (uint16_t code : {14, 10, 11, 3}) {
        zvxp_dispatch(&component, record, code, 0);
    }
    zvxp_dispatch(&component, record, ZVX_BASE_EVENT_PROCESSED, 60);
    zvxp_dispatch(&component, record, ZVX_BASE_EVENT_SESSION_HUNG, 0);
    zvxp_dispatch(&component, record, 4660, 0);
    zvxp_dispatch(&component, record, ZVX_BASE_EVENT_PROCESSED, 60);
    zvxp_dispatch(&component, record, ZVX_BASE_EVENT_ERROR, sizeof(uint32_t) + 1);
    zvxp_dispatch(&component, record, ZVX_BASE_EVENT_OUTPUT, sizeof(struct zvx_base_buffer_userspace));

    // A buffer is registered on the way to Idle, at the size its port asks for.
    ZVX_REQUIRE_EQ(handle.omx.SendCommand(&handle, OMX_CommandStateSet, OMX_StateIdle, nullptr), OMX_ErrorNone);
    const OMX_U32 size = zvx_omx_port_get_definition(&component.ports[0])->nBufferSize;
    OMX_BUFFERHEADERTYPE *header = nullptr;
    ZVX_REQUIRE_EQ(handle.omx.UseBuffer(&handle, &header, 0, nullptr, size, zvx_marker<OMX_U8 *>(1)), OMX_ErrorNone);
    if (header != nullptr) {
        struct zvx_base_buffer_userspace desc = zvx_omx_common_bufferheader_from_pub(header)->priv.desc;
        desc.format = ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR;
        desc.flags |= 1u << 4;
        std::memcpy(record.payload(), &desc, sizeof(desc));
        zvxp_dispatch(&component, record, ZVX_BASE_EVENT_OUTPUT, sizeof(desc));
        handle.omx.FreeBuffer(&handle, 0, header);
    }
    zvx_component_suite_release();
}

void zvx_test_flush_buffers_in_executing_state(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvx_omx_common_component_set_type(&component, ZVX_OMX_DECODER);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(&handle, &component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(&component);

    struct command_flush_buffers_in_executing_state flush = {};
    flush.command_data.function = common_component_cmd_flush_buffers_in_executing_state;
    ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(nullptr, &flush.command_data));
    ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(&component, nullptr));

    flush.state = CHANGING_STATE_TO_STOPPED;
    flush.hw_state = ZVX_BASE_HW_STATE_STOPPED;
    component.hw_state = ZVX_BASE_HW_STATE_RUNNING;
    ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(&component, &flush.command_data));
    component.hw_state = ZVX_BASE_HW_STATE_STOPPED;
    for (OMX_U32 port : {0u, 1u, static_cast<OMX_U32>(OMX_ALL)}) {
        flush.state = CHANGING_STATE_TO_STOPPED;
        flush.nParam = port;
        ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(&component, &flush.command_data));
    }

    const struct {
        int32_t input;
        int32_t output;
    } pending[] = {{1, 0}, {0, 1}, {0, 0}};
    for (const auto &flushes : pending) {
        flush.state = FLUSHING;
        component.ports[0].nr_pending_flushes = flushes.input;
        component.ports[1].nr_pending_flushes = flushes.output;
        ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(&component, &flush.command_data));
    }

    flush.state = CHANGING_STATE_TO_RUNNING;
    flush.hw_state = ZVX_BASE_HW_STATE_RUNNING;
    component.hw_state = ZVX_BASE_HW_STATE_STOPPED;
    ZVX_REQUIRE(!common_component_cmd_flush_buffers_in_executing_state(&component, &flush.command_data));
    component.hw_state = ZVX_BASE_HW_STATE_RUNNING;
    ZVX_REQUIRE(common_component_cmd_flush_buffers_in_executing_state(&component, &flush.command_data));
    zvx_component_suite_release();
}

/* A common component of `type` holding its kind's port defaults, without a command thread: sets run
 * on the test's own thread. The test ends with zvx_component_suite_release. */
void zvxp_init_with_defaults(zvx_omx_common_component *component, zvx_omx_component *handle,
                             zvx_omx_component_type_t type)
{
    zvx_omx_common_component_set_type(component, type);
    ZVX_REQUIRE_EQ(zvx_omx_common_component_init(handle, component, nullptr, nullptr), OMX_ErrorNone);
    zvx_component_suite_hold<zvx_omx_common_component_destroy>(component);
    auto build = type == ZVX_OMX_ENCODER ? zvx_omx_config_encoder : zvx_omx_config_decoder;
    ZVX_REQUIRE_EQ(build(&component->ports[0].config_and_params, &component->ports[1].config_and_params),
                   OMX_ErrorNone);
}

OMX_PARAM_PORTDEFINITIONTYPE zvxp_port_definition(OMX_COMPONENTTYPE *omx, OMX_U32 port)
{
    auto definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &definition), OMX_ErrorNone);
    return definition;
}

void zvx_test_get_parameter(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_DECODER);
    OMX_COMPONENTTYPE *omx = &handle.omx;

    const OMX_PARAM_PORTDEFINITIONTYPE input = zvxp_port_definition(omx, 0);
    ZVX_REQUIRE_EQ(input.eDir, OMX_DirInput);
    ZVX_REQUIRE_EQ(input.nBufferCountActual, 5u);
    ZVX_REQUIRE_EQ(input.nBufferSize, 1048576u);
    ZVX_REQUIRE_EQ(input.format.video.nFrameWidth, 176u);
    const OMX_PARAM_PORTDEFINITIONTYPE output = zvxp_port_definition(omx, 1);
    ZVX_REQUIRE_EQ(output.eDir, OMX_DirOutput);
    ZVX_REQUIRE_EQ(output.format.video.eColorFormat, OMX_COLOR_FormatYUV420Planar);
    ZVX_REQUIRE_EQ(output.format.video.nStride, 176);
    ZVX_REQUIRE_EQ(output.nBufferAlignment, 4096u);

    auto crop = zvx_omx_stamped_record<OMX_CONFIG_RECTTYPE>(1);
    ZVX_REQUIRE_EQ(omx->GetConfig(omx, OMX_IndexConfigCommonOutputCrop, &crop), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(crop.nHeight, 144u);
    auto role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamStandardComponentRole, &role), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(std::strcmp(reinterpret_cast<char *>(role.cRole), "video_decoder.avc"), 0);
    auto ports = zvx_omx_stamped_record<OMX_PORT_PARAM_TYPE>(0);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoInit, &ports), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(ports.nPorts, 2u);

    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(1);
    for (format.nIndex = 0; format.nIndex < 4; ++format.nIndex)
        ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNoMore);

    auto bad = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(0);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, nullptr), OMX_ErrorBadParameter);
    bad.nSize = 4;
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &bad), OMX_ErrorBadParameter);
    bad = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(0);
    bad.nVersion.s.nVersionMajor = 2;
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &bad), OMX_ErrorVersionMismatch);
    bad = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(7);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamPortDefinition, &bad), OMX_ErrorBadPortIndex);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamAudioPcm, &bad), OMX_ErrorUnsupportedIndex);
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(1);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorUnsupportedIndex);
    zvxu_atomic_set(&component.omx_state, OMX_StateInvalid);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamVideoInit, &ports), OMX_ErrorInvalidState);
    zvx_component_suite_release();
}

void zvx_test_set_parameter(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_DECODER);
    OMX_COMPONENTTYPE *omx = &handle.omx;

    OMX_PARAM_PORTDEFINITIONTYPE input = zvxp_port_definition(omx, 0);
    input.format.video.nFrameWidth = 640;
    input.format.video.nFrameHeight = 480;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &input), OMX_ErrorNone);
    const OMX_PARAM_PORTDEFINITIONTYPE output = zvxp_port_definition(omx, 1);
    ZVX_REQUIRE_EQ(output.format.video.nFrameWidth, 640u);
    ZVX_REQUIRE_EQ(output.format.video.nStride, 640);
    ZVX_REQUIRE_EQ(output.nBufferSize, 460800u);

    input.nBufferCountActual = input.nBufferCountMin - 1;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &input), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(zvxp_port_definition(omx, 0).nBufferCountActual, 5u);

    input.nBufferCountActual = 6;
    zvxu_atomic_set(&component.omx_state, OMX_StateExecuting);
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &input), OMX_ErrorIncorrectStateOperation);
    auto mirror = zvx_omx_stamped_record<OMX_CONFIG_MIRRORTYPE>(1);
    mirror.eMirror = OMX_MirrorHorizontal;
    ZVX_REQUIRE_EQ(omx->SetConfig(omx, OMX_IndexConfigCommonMirror, &mirror), OMX_ErrorNone);
    zvx_omx_port_get_definition(&component.ports[0])->bEnabled = OMX_FALSE;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamPortDefinition, &input), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_port_definition(omx, 0).nBufferCountActual, 6u);

    // The command function itself trusts the entry point's size checks, but no other check.
    struct command_set_parameter_data command = {
        {common_component_cmd_set_parameter}, OMX_IndexParamAudioPcm, &mirror, OMX_ErrorNone, nullptr};
    ZVX_REQUIRE(common_component_cmd_set_parameter(&component, &command.command_data));
    ZVX_REQUIRE_EQ(command.error, OMX_ErrorUnsupportedIndex);
    command.index = OMX_IndexConfigCommonMirror;
    command.param = nullptr;
    ZVX_REQUIRE(common_component_cmd_set_parameter(&component, &command.command_data));
    ZVX_REQUIRE_EQ(command.error, OMX_ErrorBadParameter);
    mirror.nPortIndex = 5;
    command.param = &mirror;
    ZVX_REQUIRE(common_component_cmd_set_parameter(&component, &command.command_data));
    ZVX_REQUIRE_EQ(command.error, OMX_ErrorBadPortIndex);
    zvxu_atomic_set(&component.omx_state, OMX_StateLoaded);
    zvx_component_suite_release();
}

/* What the session stub was told; checked by the test after the call, never inside the component. */
struct {
    int port_definitions;
    int rotations;
    OMX_S32 last_rotation;
    bool definitions_after_others;
} zvxp_posted;

void zvxp_count_posted(int, OMX_INDEXTYPE index, OMX_U32, void *param)
{
    if (index == OMX_IndexParamPortDefinition) {
        zvxp_posted.definitions_after_others |= zvxp_posted.rotations != 0;
        ++zvxp_posted.port_definitions;
    } else if (index == OMX_IndexConfigCommonRotate) {
        ++zvxp_posted.rotations;
        zvxp_posted.last_rotation = static_cast<OMX_CONFIG_ROTATIONTYPE *>(param)->nRotation;
    }
}

void zvx_test_purge_and_post(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_DECODER);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    zvxp_posted = {};
    bb_cb.bbcb_set_parameter = zvxp_count_posted;

    auto rotate = zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(1);
    for (OMX_S32 degrees : {90, 180}) {
        rotate.nRotation = degrees;
        ZVX_REQUIRE_EQ(omx->SetConfig(omx, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorNone);
    }
    ZVX_REQUIRE_EQ(zvxp_posted.rotations, 0);

    ZVX_REQUIRE(zvx_omx_common_component_create_session(&component));
    ZVX_REQUIRE_EQ(zvxp_posted.port_definitions, 2);
    ZVX_REQUIRE(!zvxp_posted.definitions_after_others);
    ZVX_REQUIRE_EQ(zvxp_posted.rotations, 1);
    ZVX_REQUIRE_EQ(zvxp_posted.last_rotation, 180);

    rotate.nRotation = 270;
    ZVX_REQUIRE_EQ(omx->SetConfig(omx, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_posted.rotations, 2);
    ZVX_REQUIRE_EQ(zvxp_posted.last_rotation, 270);

    // A session created again, after a role change or a way back to Loaded, learns everything anew.
    zvx_omx_common_component_destroy_session(&component);
    zvxp_posted = {};
    ZVX_REQUIRE(zvx_omx_common_component_create_session(&component));
    ZVX_REQUIRE_EQ(zvxp_posted.rotations, 1);
    ZVX_REQUIRE_EQ(zvxp_posted.last_rotation, 270);
    zvx_component_suite_release();
}

OMX_ERRORTYPE zvxp_set_role(OMX_COMPONENTTYPE *omx, const char *role)
{
    auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::strncpy(reinterpret_cast<char *>(record.cRole), role, sizeof(record.cRole) - 1);
    return omx->SetParameter(omx, OMX_IndexParamStandardComponentRole, &record);
}

void zvxp_require_stored_role(OMX_COMPONENTTYPE *omx, const char *expected)
{
    auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamStandardComponentRole, &record), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(std::strcmp(reinterpret_cast<char *>(record.cRole), expected), 0);
}

struct zvxp_role_case {
    const char *role;
    OMX_VIDEO_CODINGTYPE coding;
    zvx_omx_component_role_t value;
};

void zvxp_check_roles(zvx_omx_component_type_t type, const zvxp_role_case *cases, size_t count)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, type);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    const OMX_U32 bitstream = zvx_omx_common_component_get_bitstream_port_index(&component);
    for (size_t i = 0; i < count; ++i) {
        ZVX_REQUIRE_EQ(zvxp_set_role(omx, cases[i].role), OMX_ErrorNone);
        zvxp_require_stored_role(omx, cases[i].role);
        ZVX_REQUIRE_EQ(component.role, cases[i].value);
        ZVX_REQUIRE_EQ(zvxp_port_definition(omx, bitstream).format.video.eCompressionFormat, cases[i].coding);
    }
    zvx_component_suite_release();
}

void zvx_test_set_role(quro_utf_suite *)
{
    static constexpr zvxp_role_case decoder_roles[] = {
        {"video_decoder.avc", OMX_VIDEO_CodingAVC, ZVX_OMX_COMPONENT_ROLE_AVC},
        {"video_decoder.h263", OMX_VIDEO_CodingH263, ZVX_OMX_COMPONENT_ROLE_H263},
        {"video_decoder.mpeg4", OMX_VIDEO_CodingMPEG4, ZVX_OMX_COMPONENT_ROLE_MPEG4},
        {"video_decoder.vp8", OMX_VIDEO_CodingVP8, ZVX_OMX_COMPONENT_ROLE_VP8},
        {"video_decoder.vp9", OMX_VIDEO_CodingVP9, ZVX_OMX_COMPONENT_ROLE_VP9},
        {"video_decoder.rv", OMX_VIDEO_CodingRV, ZVX_OMX_COMPONENT_ROLE_RV},
        {"video_decoder.vc1", OMX_VIDEO_CodingWMV, ZVX_OMX_COMPONENT_ROLE_VC1},
        {"video_decoder.mpeg2", OMX_VIDEO_CodingMPEG2, ZVX_OMX_COMPONENT_ROLE_MPEG2},
        {"video_decoder.hevc", OMX_VIDEO_CodingHEVC, ZVX_OMX_COMPONENT_ROLE_HEVC},
    };
    static constexpr zvxp_role_case encoder_roles[] = {
        {"video_encoder.avc", OMX_VIDEO_CodingAVC, ZVX_OMX_COMPONENT_ROLE_AVC},
        {"video_encoder.vp8", OMX_VIDEO_CodingVP8, ZVX_OMX_COMPONENT_ROLE_VP8},
        {"video_encoder.vp9", OMX_VIDEO_CodingVP9, ZVX_OMX_COMPONENT_ROLE_VP9},
        {"video_encoder.hevc", OMX_VIDEO_CodingHEVC, ZVX_OMX_COMPONENT_ROLE_HEVC},
    };
    zvxp_check_roles(ZVX_OMX_DECODER, decoder_roles, std::size(decoder_roles));
    zvxp_check_roles(ZVX_OMX_ENCODER, encoder_roles, std::size(encoder_roles));

    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_DECODER);
    OMX_COMPONENTTYPE *omx = &handle.omx;
    ZVX_REQUIRE_EQ(zvxp_set_role(omx, "video_decoder.hevc"), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_set_role(omx, "video_encoder.avc"), OMX_ErrorUndefined);
    ZVX_REQUIRE_EQ(component.role, ZVX_OMX_COMPONENT_ROLE_HEVC);
    ZVX_REQUIRE_EQ(zvxp_set_role(omx, "video_decoder.xyz"), OMX_ErrorBadParameter);
    ZVX_REQUIRE_EQ(component.role, ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED);
    zvxp_require_stored_role(omx, "video_decoder.hevc");
    auto unterminated = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::memset(unterminated.cRole, 'x', sizeof(unterminated.cRole));
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamStandardComponentRole, &unterminated), OMX_ErrorBadParameter);
    zvxp_require_stored_role(omx, "video_decoder.hevc");
    zvx_component_suite_release();
}

template <typename T> void zvxp_require_round_trip(OMX_COMPONENTTYPE *omx, OMX_INDEXTYPE index, const T &given)
{
    T copy = given;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, index, &copy), OMX_ErrorNone);
    T got = zvx_omx_stamped_record<T>(given.nPortIndex);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, index, &got), OMX_ErrorNone);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): records are copied whole
    ZVX_REQUIRE_EQ(std::memcmp(&got, &given, sizeof(got)), 0);
}

void zvx_test_set_misc(quro_utf_suite *)
{
    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_DECODER);
    OMX_COMPONENTTYPE *omx = &handle.omx;

    auto tcx = zvx_omx_stamped_record<OMX_PARAM_ENABLETCXTYPE>(1);
    tcx.bEnabled = OMX_TRUE;
    tcx.bTilesEnabled = OMX_TRUE;
    zvxp_require_round_trip(omx, OMX_IndexParamEnableTCX, tcx);
    ZVX_REQUIRE(zvx_omx_common_component_is_tcx_enabled(&component, 1, nullptr, nullptr));
    ZVX_REQUIRE_EQ(zvxp_port_definition(omx, 1).nBufferSize, 44000u + 64u);
    tcx.nPortIndex = 0;
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamEnableTCX, &tcx), OMX_ErrorUnsupportedIndex);

    auto metadata = zvx_omx_stamped_record<StoreMetaDataInBuffersParams>(1);
    metadata.bStoreMetaData = OMX_TRUE;
    zvxp_require_round_trip(omx, OMX_IndexParamEnableStoreMetaData, metadata);
    ZVX_REQUIRE_EQ(zvxp_port_definition(omx, 0).nBufferSize, 2073600u);

    auto dmabuf = zvx_omx_stamped_record<OMX_PARAM_ENABLEDMABUFTYPE>(0);
    dmabuf.bEnabled = OMX_TRUE;
    zvxp_require_round_trip(omx, OMX_IndexParamEnableDmaBuf, dmabuf);
    ZVX_REQUIRE(zvx_omx_common_component_is_dmabuf_enabled(&component, 0));

    auto native = zvx_omx_stamped_record<EnableAndroidNativeBuffersParams>(1);
    native.enable = OMX_TRUE;
    zvxp_require_round_trip(omx, OMX_IndexParamEnableAndroidNativeBuffer, native);
    auto usage = zvx_omx_stamped_record<GetAndroidNativeBufferUsageParams>(1);
    ZVX_REQUIRE_EQ(omx->SetParameter(omx, OMX_IndexParamGetAndroidNativeBufferUsage, &usage),
                   OMX_ErrorUnsupportedIndex);

    auto aspects = zvx_omx_stamped_record<DescribeColorAspectsParams>(1);
    aspects.sAspects = {RangeLimited, PrimariesBT709_5, TransferSMPTE170M, MatrixBT709_5};
    zvxp_require_round_trip(omx, OMX_IndexParamDescribeColorAspects, aspects);
    auto hdr = zvx_omx_stamped_record<DescribeHDRStaticInfoParams>(1);
    hdr.sInfo.sType1.mMaxDisplayLuminance = 1000;
    zvxp_require_round_trip(omx, OMX_IndexConfigDescribeHDRColorInfo, hdr);
    auto rate = zvx_omx_stamped_record<OMX_PARAM_U32TYPE>(1);
    rate.nU32 = 60 << 16;
    zvxp_require_round_trip(omx, OMX_IndexConfigOperatingRate, rate);

    auto describe = zvx_omx_stamped_record<DescribeColorFormatParams>(0);
    describe.eColorFormat = OMX_COLOR_FormatYUV420SemiPlanar;
    describe.nFrameWidth = 176;
    describe.nFrameHeight = 144;
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(describe.sMediaImage.mNumPlanes, 3u);
    ZVX_REQUIRE_EQ(describe.sMediaImage.mPlane[MEDIA_IMAGE_U].mOffset, 176u * 144u);
    auto support = zvx_omx_stamped_record<OMX_PARAM_TCXTYPE>(1);
    ZVX_REQUIRE_EQ(omx->GetParameter(omx, OMX_IndexParamTCX, &support), OMX_ErrorNone);
    ZVX_REQUIRE_EQ(support.bSupported, OMX_FALSE);
    zvx_component_suite_release();
}

void zvx_test_calc_buffer_size_stride(quro_utf_suite *)
{
    OMX_U32 stride = 0;
    ZVX_REQUIRE_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_FormatYUV420Planar, false, &stride),
                   38016u);
    ZVX_REQUIRE_EQ(stride, 176u);
    ZVX_REQUIRE_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_FormatYUV420Planar, true, &stride),
                   44000u);
    ZVX_REQUIRE_EQ(calc_buffer_size_tcx(176, 144, false), 44000u);
    ZVX_REQUIRE_EQ(
        common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_Format32bitBGRA8888, false, &stride), 101376u);
    ZVX_REQUIRE_EQ(stride, 704u);
    ZVX_REQUIRE_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, OMX_COLOR_FormatAndroidOpaque, true, &stride),
                   38016u);
    ZVX_REQUIRE_EQ(
        common_component_cmd_calc_buffer_size_stride(176, 144, QURO_COLOR_FormatAAYUYAAYVY_10b, true, &stride),
        calc_buffer_size_tcx(176, 144, true));
    ZVX_REQUIRE_EQ(common_component_cmd_calc_buffer_size_stride(176, 144, QURO_COLOR_FormatYUV422_1P, true, &stride),
                   50688u);
    ZVX_REQUIRE_EQ(align(1, 32), 32);
    ZVX_REQUIRE_EQ(saturate_u32(16, 64, 100), 64u);

    zvx_omx_common_component component;
    zvx_omx_component handle;
    zvxp_init_with_defaults(&component, &handle, ZVX_OMX_ENCODER);
    OMX_PARAM_PORTDEFINITIONTYPE *input = zvx_omx_port_get_definition(&component.ports[0]);
    input->format.video.nFrameWidth = 1920;
    input->format.video.nFrameHeight = 1080;
    zvx_omx_common_component_update_buffer_size(&component, 1);
    ZVX_REQUIRE_EQ(zvx_omx_port_get_definition(&component.ports[1])->nBufferSize, 4665600u);
    zvx_component_suite_release();
}

const zvx_component_suite_test ZVXP_TESTS[] = {
    {1, "Get type - null component", zvx_test_get_type_null_component},
    {2, "Get type - valid component", zvx_test_get_type_valid_component},
    {3, "Set type - null component", zvx_test_set_type_null_component},
    {4, "Set type - valid component", zvx_test_set_type_valid_component},
    {5, "Decoder set tcx enable", zvx_test_decoder_set_tcx_enable},
    {6, "Encoder set tcx enable", zvx_test_encoder_set_tcx_enable},
    {7, "Get bitstream port - null component", zvx_test_get_bitstream_port_null_component},
    {8, "Get bitstream port - valid component", zvx_test_get_bitstream_port_valid_component},
    {9, "Get yuv port - null component", zvx_test_get_yuv_port_null_component},
    {10, "Get yuv port - valid component", zvx_test_get_yuv_port_valid_component},
    {11, "Init n Destroy - null/null", zvx_test_init_destroy_null_component_null_omx_component},
    {12, "Init n Destroy - valid/null", zvx_test_init_destroy_valid_component_null_omx_component},
    {13, "Init n Destroy - null/valid", zvx_test_init_destroy_null_component_valid_omx_component},
    {14, "Init n Destroy - valid/valid", zvx_test_init_destroy_valid_component_valid_omx_component},
    {15, "Destroy session", zvx_test_destroy_session},
    {16, "Get version", zvx_test_get_version},
    {17, "Get state", zvx_test_get_state},
    {18, "Get extension index", zvx_test_get_extension_index},
    {19, "Set callbacks", zvx_test_set_callbacks},
    {20, "Empty this buffer", zvx_test_empty_this_buffer},
    {21, "Fill this buffer", zvx_test_fill_this_buffer},
    {22, "Queue command - null params", zvx_test_queue_command_with_null},
    {23, "Send current settings", zvx_test_send_current_settings},
    {24, "Use Buffer", zvx_test_use_buffer},
    {25, "Free Buffer", zvx_test_free_buffer},
    {26, "Allocate Buffer", zvx_test_allocate_buffer},
    {27, "Allocate Buffer MB", zvx_test_allocate_buffer_mb},
    {28, "Get parameter", zvx_test_get_parameter},
    {29, "Set parameter", zvx_test_set_parameter},
    {30, "Purge and Post set param", zvx_test_purge_and_post},
    {31, "Set role", zvx_test_set_role},
    {32, "Set misc", zvx_test_set_misc},
    {33, "Send command", zvx_test_send_command},
    {34, "Port enable disable", zvx_test_port_enable_disable},
    {35, "State change", zvx_test_state_change},
    {36, "Cproc", zvx_test_cproc},
    {37, "Handle event", zvx_test_handle_event},
    {38, "Is metadata enabled", zvx_test_is_metadata_enabled},
    {39, "Is dmabuf enabled", zvx_test_is_dmabuf_enabled},
    {40, "Get extra data size", zvx_test_get_extra_data_size},
    {41, "Validate buffer size", zvx_test_validate_buffer_size},
    {42, "Decoder use metadata buffer", zvx_test_decoder_use_metadata_buffer},
    {43, "Encoder use metadata buffer", zvx_test_encoder_use_metadata_buffer},
    {44, "Flush buffers in executing state", zvx_test_flush_buffers_in_executing_state},
    {45, "Calc buffer size & Stride", zvx_test_calc_buffer_size_stride},
};

} // namespace

quro_utf_suite *zvx_create_suite_common_component(quro_utf_mempool *pool, quro_utf_result_set *results,
                                                  quro_utf_suite *prev_suite)
{
    return zvx_component_suite_build(pool, results, prev_suite, "Common component", ZVXP_TESTS,
                                     static_cast<unsigned>(std::size(ZVXP_TESTS)));
}
