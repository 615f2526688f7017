// Parameters and configs through the handle: bad records, several threads, callbacks, what the session is told.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zvx_blackbox.h"
#include "zvx_omx_abi.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"
#include "zvx_omx_parameters.h"
#include "zvx_omx_session.h"
#include "zvx_omx_test_client.h"

namespace {

struct session_call {
    OMX_INDEXTYPE index;
    std::vector<uint8_t> bytes;
};

std::mutex session_mutex;
std::vector<session_call> session_calls;

void record_session_call(int, OMX_INDEXTYPE index, OMX_U32 size, void *param)
{
    const auto *bytes = static_cast<const uint8_t *>(param);
    std::lock_guard<std::mutex> lock(session_mutex);
    session_calls.push_back({index, std::vector<uint8_t>(bytes, bytes + size)});
}

std::vector<session_call> take_session_calls()
{
    std::lock_guard<std::mutex> lock(session_mutex);
    std::vector<session_call> taken;
    taken.swap(session_calls);
    return taken;
}

// A decoder or encoder with its command thread running, driven through its handle.
template <typename Base> class Parameters : public Base {
protected:
    void SetUp() override
    {
        take_session_calls();
        Base::SetUp();
    }

    OMX_ERRORTYPE get(OMX_INDEXTYPE index, void *record) { return this->omx_->GetParameter(this->omx_, index, record); }
    OMX_ERRORTYPE set(OMX_INDEXTYPE index, void *record) { return this->omx_->SetParameter(this->omx_, index, record); }

    OMX_ERRORTYPE set_role(const char *role)
    {
        auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
        std::strncpy(reinterpret_cast<char *>(record.cRole), role, sizeof(record.cRole) - 1);
        return set(OMX_IndexParamStandardComponentRole, &record);
    }

    std::string role()
    {
        auto record = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
        EXPECT_EQ(get(OMX_IndexParamStandardComponentRole, &record), OMX_ErrorNone);
        return reinterpret_cast<const char *>(record.cRole);
    }

    void enter_state(OMX_STATETYPE state) { zvxu_atomic_set(&this->comp_->omx_state, state); }
};

using DecoderParameters = Parameters<zvx_decoder_test>;
using EncoderParameters = Parameters<zvx_encoder_test>;

bool same_bytes(const OMX_PARAM_PORTDEFINITIONTYPE &a, const OMX_PARAM_PORTDEFINITIONTYPE &b)
{
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): records are copied whole
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

// A short record is exactly as long as its nSize says, so anything read past it is an out-of-bounds read.
TEST_F(DecoderParameters, BadRecordsAreRefusedUnreadALongerOneKeepsItsTailAndColourFormatsAreDescribed)
{
    const OMX_PARAM_PORTDEFINITIONTYPE before = definition(0);
    auto record = before;
    EXPECT_EQ(omx_->GetParameter(nullptr, OMX_IndexParamPortDefinition, &record), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->SetParameter(nullptr, OMX_IndexParamPortDefinition, &record), OMX_ErrorBadParameter);
    EXPECT_EQ(get(OMX_IndexParamPortDefinition, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, nullptr), OMX_ErrorBadParameter);
    EXPECT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigCommonOutputCrop, nullptr), OMX_ErrorBadParameter);

    auto short_record = std::make_unique<OMX_U32>(4);
    EXPECT_EQ(get(OMX_IndexParamPortDefinition, short_record.get()), OMX_ErrorBadParameter);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, short_record.get()), OMX_ErrorBadParameter);
    EXPECT_EQ(*short_record, 4u);
    auto role = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    role.nSize = sizeof(role) - 1;
    EXPECT_EQ(get(OMX_IndexParamStandardComponentRole, &role), OMX_ErrorBadParameter);

    record.nBufferCountActual = 9;
    record.nVersion.s.nVersionMajor = 2;
    EXPECT_EQ(get(OMX_IndexParamPortDefinition, &record), OMX_ErrorVersionMismatch);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorVersionMismatch);
    EXPECT_EQ(record.nBufferCountActual, 9u) << "a refused get writes nothing";

    record.nVersion.s.nVersionMajor = 1;
    record.nPortIndex = 7;
    EXPECT_EQ(get(OMX_IndexParamPortDefinition, &record), OMX_ErrorBadPortIndex);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorBadPortIndex);

    record.nPortIndex = 0;
    EXPECT_EQ(get(OMX_IndexParamAudioPcm, &record), OMX_ErrorUnsupportedIndex);
    EXPECT_EQ(set(static_cast<OMX_INDEXTYPE>(0x7f123456), &record), OMX_ErrorUnsupportedIndex);
    // Indices the component knows, but a decoder does not hold or a client may not set.
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(1);
    EXPECT_EQ(get(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorUnsupportedIndex);
    EXPECT_EQ(set(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorUnsupportedIndex);
    auto supported = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(0);
    EXPECT_EQ(set(OMX_IndexParamVideoProfileLevelQuerySupported, &supported), OMX_ErrorUnsupportedIndex);
    auto native = zvx_omx_stamped_record<UseAndroidNativeBufferParams>(1);
    EXPECT_EQ(set(OMX_IndexParamUseAndroidNativeBuffer2, &native), OMX_ErrorUnsupportedIndex)
        << "registering a native buffer is not a setting";
    EXPECT_TRUE(same_bytes(definition(0), before));

    // An LP64 client's records are longer than this build's: what lies past ours is theirs and stays.
    struct {
        OMX_PARAM_PORTDEFINITIONTYPE definition;
        uint8_t tail[64];
    } wide;
    std::memset(&wide, 0xA5, sizeof(wide));
    wide.definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(1);
    wide.definition.nSize = sizeof(wide);
    ASSERT_EQ(get(OMX_IndexParamPortDefinition, &wide), OMX_ErrorNone);
    EXPECT_EQ(wide.definition.nSize, sizeof(wide));
    EXPECT_EQ(wide.definition.format.video.nFrameWidth, 176u);
    EXPECT_EQ(wide.tail[0], 0xA5);
    EXPECT_EQ(wide.tail[63], 0xA5);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &wide), OMX_ErrorNone);

    auto describe = zvx_omx_stamped_record<DescribeColorFormatParams>(0);
    describe.nFrameWidth = 176;
    describe.nFrameHeight = 144;
    describe.nStride = 0;
    describe.eColorFormat = OMX_COLOR_FormatYUV420SemiPlanar;
    ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    const MediaImage &image = describe.sMediaImage;
    EXPECT_EQ(describe.nStride, 176u) << "a stride below the width is corrected";
    EXPECT_EQ(image.mType, MEDIA_IMAGE_TYPE_YUV);
    EXPECT_EQ(image.mNumPlanes, 3u);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_U].mOffset, 176u * 144);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_V].mOffset, 176u * 144 + 1);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_V].mColInc, 2u);

    describe.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_V].mOffset, 176u * 144 * 5 / 4);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_V].mRowInc, 88u);

    describe.eColorFormat = QURO_COLOR_FormatYV12;
    ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_V].mOffset, 176u * 144) << "YV12 puts V first";
    EXPECT_EQ(image.mPlane[MEDIA_IMAGE_U].mRowInc, 96u) << "with 16-byte aligned chroma rows";

    for (OMX_COLOR_FORMATTYPE opaque : {OMX_COLOR_Format32bitBGRA8888, QURO_COLOR_FormatYUV420TCX}) {
        describe.eColorFormat = opaque;
        ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
        EXPECT_EQ(image.mType, MEDIA_IMAGE_TYPE_UNKNOWN);
        EXPECT_EQ(image.mNumPlanes, 0u);
    }
    describe.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    describe.nStride = 0xFFFFFFF0u;
    ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    EXPECT_EQ(image.mType, MEDIA_IMAGE_TYPE_UNKNOWN) << "planes beyond 4 GiB cannot be described";

    // An enumeration field may hold any word: reading it as its enum type would be undefined (fuzzer find).
    const auto put = [](auto &field, OMX_U32 word) { std::memcpy(&field, &word, sizeof(word)); };
    const OMX_U32 top_bit = 0x80000000u;
    describe.nStride = 0;
    put(describe.eColorFormat, top_bit | OMX_COLOR_FormatYUV420Planar);
    put(describe.bUsingNativeBuffers, top_bit);
    ASSERT_EQ(get(OMX_IndexParamDescribeColorFormat, &describe), OMX_ErrorNone);
    EXPECT_EQ(image.mType, MEDIA_IMAGE_TYPE_UNKNOWN);
    const OMX_PARAM_PORTDEFINITIONTYPE output = definition(1);
    record = output;
    put(record.format.video.eColorFormat, top_bit);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorBadParameter);
    record = output;
    put(record.bEnabled, top_bit);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorBadParameter);
    EXPECT_TRUE(same_bytes(definition(1), output));

    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(1);
    put(format.eColorFormat, top_bit);
    EXPECT_EQ(set(OMX_IndexParamVideoPortFormat, &format), OMX_ErrorBadParameter);

    auto aspects = zvx_omx_stamped_record<DescribeColorAspectsParams>(1);
    put(aspects.sAspects.mTransfer, 0x100);
    EXPECT_EQ(set(OMX_IndexParamDescribeColorAspects, &aspects), OMX_ErrorBadParameter)
        << "the colour aspects end at eight bits";
    aspects.sAspects.mTransfer = TransferOther;
    EXPECT_EQ(set(OMX_IndexParamDescribeColorAspects, &aspects), OMX_ErrorNone);
}

TEST_F(DecoderParameters, PortDefinitionChangesOnlyWhileLoadedOrDisabledWithinWhatThePortCanDoAndSizesFollow)
{
    const OMX_PARAM_PORTDEFINITIONTYPE before = definition(0);
    auto record = before;
    record.nBufferCountActual = 8;
    enter_state(OMX_StateExecuting);
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(set_role("video_decoder.hevc"), OMX_ErrorIncorrectStateOperation);
    EXPECT_TRUE(same_bytes(definition(0), before));
    EXPECT_EQ(role(), "video_decoder.avc");

    auto rotate = zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(1);
    rotate.nRotation = 90;
    EXPECT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorNone) << "configs change any time";

    zvx_omx_port_get_definition(&comp_->ports[0])->bEnabled = OMX_FALSE; // as the command thread disables it
    EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorNone);
    EXPECT_EQ(definition(0).nBufferCountActual, 8u);

    enter_state(OMX_StateInvalid);
    EXPECT_EQ(get(OMX_IndexParamPortDefinition, &record), OMX_ErrorInvalidState);
    EXPECT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorInvalidState);
    enter_state(OMX_StateLoaded);

    using change = void (*)(OMX_PARAM_PORTDEFINITIONTYPE &);
    const std::pair<change, OMX_ERRORTYPE> refusals[] = {
        {[](auto &r) { r.nBufferCountActual = r.nBufferCountMin - 1; }, OMX_ErrorBadParameter},
        {[](auto &r) { r.format.video.nFrameWidth = 0; }, OMX_ErrorUnsupportedSetting},
        {[](auto &r) { r.format.video.nFrameHeight = 100000; }, OMX_ErrorUnsupportedSetting},
        {[](auto &r) { r.format.video.eColorFormat = QURO_COLOR_FormatMBInfo; }, OMX_ErrorUnsupportedSetting},
    };
    const auto output = definition(1);
    for (const auto &[refused, error] : refusals) {
        auto refused_record = output;
        refused(refused_record);
        EXPECT_EQ(set(OMX_IndexParamPortDefinition, &refused_record), error);
    }
    EXPECT_TRUE(same_bytes(definition(1), output));

    record = output;
    record.eDir = OMX_DirInput;
    record.nBufferCountMin = 1;
    record.bEnabled = OMX_FALSE;
    record.format.video.cMIMEType = reinterpret_cast<OMX_STRING>(&record);
    record.format.video.nStride = 1;
    ASSERT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorNone);
    const auto after = definition(1);
    EXPECT_EQ(after.eDir, OMX_DirOutput) << "fields the component owns are not the client's to set";
    EXPECT_EQ(after.nBufferCountMin, output.nBufferCountMin);
    EXPECT_EQ(after.bEnabled, OMX_TRUE);
    EXPECT_EQ(after.format.video.cMIMEType, nullptr);
    EXPECT_EQ(after.format.video.nStride, 176);
    EXPECT_EQ(after.nBufferSize, 38016u) << "a frame port's buffers are sized by its frames";

    auto input = definition(0);
    input.format.video.nFrameWidth = 1920;
    input.format.video.nFrameHeight = 1080;
    input.nBufferSize = 1;
    ASSERT_EQ(set(OMX_IndexParamPortDefinition, &input), OMX_ErrorNone);
    const auto sized = definition(1);
    EXPECT_EQ(sized.format.video.nFrameWidth, 1920u);
    EXPECT_EQ(sized.format.video.nStride, 1920);
    EXPECT_EQ(sized.format.video.nSliceHeight, 1080u);
    EXPECT_EQ(sized.nBufferSize, 3110400u);
    EXPECT_EQ(definition(0).nBufferSize, 2073600u) << "a bitstream buffer holds at least a frame's pixels";

    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(1);
    format.eColorFormat = OMX_COLOR_FormatYUV420SemiPlanar;
    ASSERT_EQ(set(OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
    EXPECT_EQ(definition(1).format.video.eColorFormat, OMX_COLOR_FormatYUV420SemiPlanar);
    EXPECT_EQ(comp_->ports[1].port_format_index, 1u);
    format.eColorFormat = OMX_COLOR_Format32bitBGRA8888;
    EXPECT_EQ(set(OMX_IndexParamVideoPortFormat, &format), OMX_ErrorUnsupportedSetting) << "not offered by a decoder";
}

struct captured_log {
    std::mutex mutex;
    std::vector<std::string> lines;
} captured;

void capture_print(struct zvx_log_drain *, zvx_log_severity, const char *, const char *fmt, uint32_t n_args, ...)
{
    char line[512];
    va_list args;
    va_start(args, n_args);
    if (std::vsnprintf(line, sizeof(line), fmt, args) < 0)
        line[0] = '\0';
    va_end(args);
    std::lock_guard<std::mutex> lock(captured.mutex);
    captured.lines.emplace_back(line);
}

bool logged(const std::string &text)
{
    std::lock_guard<std::mutex> lock(captured.mutex);
    return std::ranges::any_of(captured.lines,
                               [&](const std::string &line) { return line.find(text) != std::string::npos; });
}

struct LogCapture {
    explicit LogCapture(zvx_log_severity severity) : saved(zvx_log_omx_if)
    {
        zvx_log_omx_if.drain = &drain;
        zvx_log_omx_if.severity = severity;
        std::lock_guard<std::mutex> lock(captured.mutex);
        captured.lines.clear();
    }
    ~LogCapture() { zvx_log_omx_if = saved; }

    zvx_log_group saved;
    zvx_log_drain drain = {capture_print, nullptr};
};

TEST_F(DecoderParameters, RoleLoadsItsCodecUnlessUnterminatedEnumerationsEndInNoMoreAndCallsArePrinted)
{
    auto unterminated = zvx_omx_stamped_record<OMX_PARAM_COMPONENTROLETYPE>(0);
    std::memset(unterminated.cRole, 'a', sizeof(unterminated.cRole));
    EXPECT_EQ(set(OMX_IndexParamStandardComponentRole, &unterminated), OMX_ErrorBadParameter);
    EXPECT_EQ(role(), "video_decoder.avc");
    EXPECT_EQ(comp_->role, ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED);

    EXPECT_EQ(set_role("video_encoder.hevc"), OMX_ErrorUndefined);
    ASSERT_EQ(set_role("video_decoder.hevc"), OMX_ErrorNone);
    EXPECT_EQ(role(), "video_decoder.hevc") << "the next session is created for the stored role";

    auto format = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PORTFORMATTYPE>(1);
    const OMX_COLOR_FORMATTYPE formats[] = {OMX_COLOR_FormatYUV420Planar, OMX_COLOR_FormatYUV420SemiPlanar,
                                            OMX_COLOR_FormatAndroidOpaque, OMX_COLOR_FormatYUV420Flexible};
    for (OMX_U32 i = 0; i < std::size(formats); ++i) {
        format.nIndex = i;
        ASSERT_EQ(get(OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNone);
        EXPECT_EQ(format.eColorFormat, formats[i]);
        EXPECT_EQ(format.nIndex, i);
    }
    format.nIndex = std::size(formats);
    EXPECT_EQ(get(OMX_IndexParamVideoPortFormat, &format), OMX_ErrorNoMore);

    ASSERT_EQ(set_role("video_decoder.avc"), OMX_ErrorNone);
    auto pair = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(0);
    pair.nProfileIndex = 47;
    ASSERT_EQ(get(OMX_IndexParamVideoProfileLevelQuerySupported, &pair), OMX_ErrorNone);
    EXPECT_EQ(pair.eProfile, static_cast<OMX_U32>(OMX_VIDEO_AVCProfileHigh));
    for (OMX_U32 far : {48u, 0x10000u, 0xFFFFFFFFu}) {
        pair.nProfileIndex = far;
        EXPECT_EQ(get(OMX_IndexParamVideoProfileLevelQuerySupported, &pair), OMX_ErrorNoMore);
    }

    {
        LogCapture log(ZVX_LOG_DEBUG);
        definition(1);
        ASSERT_EQ(set_role("video_decoder.vp9"), OMX_ErrorNone);
        EXPECT_TRUE(logged("GetParameter(handle="));
        EXPECT_TRUE(logged("index=OMX_IndexParamPortDefinition (0x02000001)): OMX_PARAM_PORTDEFINITIONTYPE"));
        EXPECT_TRUE(logged("OMX_PARAM_PORTDEFINITIONTYPE.nBufferCountActual = 5 (0x5)"));
        EXPECT_TRUE(logged("format.video.eColorFormat = OMX_COLOR_FormatYUV420Planar (0x13)"));
        EXPECT_TRUE(logged("OMX_PARAM_COMPONENTROLETYPE.cRole = \"video_decoder.vp9\""));
        EXPECT_TRUE(logged("nVersion = 1.1.2.0"));
    }
    LogCapture log(ZVX_LOG_INFO);
    definition(1);
    EXPECT_TRUE(logged("OMX_GetParameter(handle="));
    EXPECT_FALSE(logged("OMX_PARAM_PORTDEFINITIONTYPE.")) << "records are printed at debug only";
}

TEST_F(DecoderParameters, EightClientThreadsOrACallbackGetAndSetAtOnceWithoutWaiting)
{
    std::atomic<int> failures{0};
    zvx_on_threads(8, [&](int t) {
        for (int i = 0; i < 200; ++i) {
            auto definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(static_cast<OMX_U32>(t % 2));
            failures += get(OMX_IndexParamPortDefinition, &definition) != OMX_ErrorNone;
            if (t % 2 == 0) {
                definition.nBufferCountActual = 5 + static_cast<OMX_U32>(t);
                failures += set(OMX_IndexParamPortDefinition, &definition) != OMX_ErrorNone;
            } else {
                auto rotate = zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(1);
                rotate.nRotation = 90 * t;
                failures += omx_->SetConfig(omx_, OMX_IndexConfigCommonRotate, &rotate) != OMX_ErrorNone;
            }
        }
    });
    EXPECT_EQ(failures.load(), 0);
    const OMX_U32 count = definition(0).nBufferCountActual;
    EXPECT_TRUE(count == 5 || count == 7 || count == 9 || count == 11) << count;

    // A client answering an event on the command thread must not wait for that thread.
    client_.on_event = [this](const zvx_test_event &) {
        EXPECT_TRUE(zvx_omx_common_cproc_on_command_thread(comp_));
        auto record = definition(0);
        record.nBufferCountActual = 6;
        EXPECT_EQ(set(OMX_IndexParamPortDefinition, &record), OMX_ErrorNone);
    };
    send(OMX_CommandStateSet, OMX_StateLoaded);
    EXPECT_EQ(client_.take(1).size(), 1u);
    zvx_sync(comp_); // the callback has returned
    EXPECT_EQ(definition(0).nBufferCountActual, 6u);
}

TEST_F(DecoderParameters, SettingsGivenInAnyWayBeforeTheSessionReachItWhenItIsCreated)
{
    bb_cb.bbcb_set_parameter = record_session_call;
    // As a stream event on the command thread, in any state: a format no port format offers is taken.
    zvx_omx_common_cproc_invoker_exit(comp_);
    enter_state(OMX_StateExecuting);
    auto output = definition(1);
    output.format.video.eColorFormat = QURO_COLOR_FormatYUYAAYVYAA_10b;
    struct command_set_parameter_data command = {
        {common_component_cmd_set_parameter}, OMX_IndexParamPortDefinition, &output, OMX_ErrorUndefined, nullptr};
    ASSERT_TRUE(common_component_cmd_set_parameter(comp_, &command.command_data));
    EXPECT_EQ(command.error, OMX_ErrorNone);
    EXPECT_EQ(definition(1).nBufferSize, 176u * 144 * 2);
    enter_state(OMX_StateLoaded);

    auto rotate = zvx_omx_stamped_record<OMX_CONFIG_ROTATIONTYPE>(1);
    for (OMX_S32 degrees : {90, 180}) {
        rotate.nRotation = degrees;
        ASSERT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorNone);
    }
    auto input = definition(0);
    input.format.video.nFrameWidth = 1280;
    input.format.video.nFrameHeight = 720;
    ASSERT_EQ(set(OMX_IndexParamPortDefinition, &input), OMX_ErrorNone);
    EXPECT_TRUE(take_session_calls().empty()) << "no session to tell yet";

    ASSERT_TRUE(zvx_omx_common_component_create_session(comp_));
    std::vector<session_call> calls = take_session_calls();
    ASSERT_GE(calls.size(), 3u);
    for (int port = 0; port < 2; ++port) {
        ASSERT_EQ(calls[port].index, OMX_IndexParamPortDefinition);
        ASSERT_EQ(calls[port].bytes.size(), sizeof(kern_omx120_param_portdefinitiontype));
        kern_omx120_param_portdefinitiontype sent;
        std::memcpy(&sent, calls[port].bytes.data(), sizeof(sent));
        EXPECT_EQ(sent.format.video.nFrameWidth, 1280u);
    }
    int rotations = 0;
    for (const session_call &call : calls) {
        if (call.index != OMX_IndexConfigCommonRotate)
            continue;
        ++rotations;
        OMX_CONFIG_ROTATIONTYPE sent;
        std::memcpy(&sent, call.bytes.data(), sizeof(sent));
        EXPECT_EQ(sent.nRotation, 180) << "only the latest value";
    }
    EXPECT_EQ(rotations, 1);

    rotate.nRotation = 270;
    ASSERT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigCommonRotate, &rotate), OMX_ErrorNone);
    calls = take_session_calls();
    ASSERT_EQ(calls.size(), 1u) << "with a session, a change reaches it at once";
    EXPECT_EQ(calls[0].index, OMX_IndexConfigCommonRotate);
    zvx_omx_common_component_destroy_session(comp_);
}

TEST_F(EncoderParameters, BitrateHasOneValueWhicheverRecordSetsItAndTheInputFrameSizesTheBuffers)
{
    EXPECT_STREQ(comp_->name, "OMX.DHQ.video.k7nn.encoder");
    auto bitrate = zvx_omx_stamped_record<OMX_VIDEO_PARAM_BITRATETYPE>(1);
    ASSERT_EQ(get(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorNone);
    EXPECT_EQ(bitrate.nTargetBitrate, 64000u);
    bitrate.eControlRate = OMX_Video_ControlRateVariable;
    bitrate.nTargetBitrate = 2000000;
    ASSERT_EQ(set(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorNone);
    EXPECT_EQ(definition(1).format.video.nBitrate, 2000000u);
    auto config = zvx_omx_stamped_record<OMX_VIDEO_CONFIG_BITRATETYPE>(1);
    ASSERT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigVideoBitrate, &config), OMX_ErrorNone);
    EXPECT_EQ(config.nEncodeBitrate, 2000000u);

    enter_state(OMX_StateExecuting);
    EXPECT_EQ(set(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorIncorrectStateOperation);
    config.nEncodeBitrate = 500000;
    ASSERT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigVideoBitrate, &config), OMX_ErrorNone);
    ASSERT_EQ(get(OMX_IndexParamVideoBitrate, &bitrate), OMX_ErrorNone);
    EXPECT_EQ(bitrate.nTargetBitrate, 500000u);
    EXPECT_EQ(bitrate.eControlRate, OMX_Video_ControlRateVariable);
    enter_state(OMX_StateLoaded);

    auto input = definition(0);
    input.format.video.nFrameWidth = 1920;
    input.format.video.nFrameHeight = 1080;
    input.format.video.eColorFormat = OMX_COLOR_FormatYUV420SemiPlanar;
    ASSERT_EQ(set(OMX_IndexParamPortDefinition, &input), OMX_ErrorNone);
    input = definition(0);
    EXPECT_EQ(input.nBufferSize, 3110400u);
    EXPECT_EQ(input.format.video.nStride, 1920);
    const auto output = definition(1);
    EXPECT_EQ(output.format.video.nFrameWidth, 1920u);
    EXPECT_EQ(output.nBufferSize, 4665600u);

    auto tcx = zvx_omx_stamped_record<OMX_PARAM_ENABLETCXTYPE>(0);
    tcx.bEnabled = OMX_TRUE;
    ASSERT_EQ(set(OMX_IndexParamEnableTCX, &tcx), OMX_ErrorNone);
    EXPECT_EQ(definition(0).nBufferSize, (68u + 1) * 120 * 400 + ZVX_OMX_ABI_SIZE(64, 128))
        << "compressed frames and their extra data";
    tcx.nPortIndex = 1;
    EXPECT_EQ(set(OMX_IndexParamEnableTCX, &tcx), OMX_ErrorUnsupportedIndex) << "a bitstream has no frame layout";
    auto support = zvx_omx_stamped_record<OMX_PARAM_TCXTYPE>(0);
    ASSERT_EQ(get(OMX_IndexParamTCX, &support), OMX_ErrorNone);
    EXPECT_EQ(support.bSupported, OMX_FALSE) << "the session stub offers no compressed layout";
}

// Clients describe the coming stream by the current pair: never the 0/0 a decoder keeps.
TEST_F(EncoderParameters, CurrentProfileLevelIsASupportedPairAndAnIntraRefreshGoesOnlyToARunningSession)
{
    for (const char *role : {"video_encoder.avc", "video_encoder.hevc", "video_encoder.vp8", "video_encoder.avc"}) {
        SCOPED_TRACE(role);
        ASSERT_EQ(set_role(role), OMX_ErrorNone);
        auto current = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(1);
        ASSERT_EQ(get(OMX_IndexParamVideoProfileLevelCurrent, &current), OMX_ErrorNone);
        auto first = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(1);
        ASSERT_EQ(get(OMX_IndexParamVideoProfileLevelQuerySupported, &first), OMX_ErrorNone);
        EXPECT_NE(current.eProfile, 0u);
        EXPECT_EQ(current.eProfile, first.eProfile);
        EXPECT_EQ(current.eLevel, first.eLevel);
    }
    auto high = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(1);
    high.eProfile = OMX_VIDEO_AVCProfileHigh;
    high.eLevel = OMX_VIDEO_AVCLevel4;
    ASSERT_EQ(set(OMX_IndexParamVideoProfileLevelCurrent, &high), OMX_ErrorNone);
    auto current = zvx_omx_stamped_record<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(1);
    ASSERT_EQ(get(OMX_IndexParamVideoProfileLevelCurrent, &current), OMX_ErrorNone);
    EXPECT_EQ(current.eProfile, static_cast<OMX_U32>(OMX_VIDEO_AVCProfileHigh));

    bb_cb.bbcb_set_parameter = record_session_call;
    auto refresh = zvx_omx_stamped_record<OMX_CONFIG_INTRAREFRESHVOPTYPE>(1);
    refresh.IntraRefreshVOP = OMX_TRUE;
    EXPECT_EQ(omx_->GetConfig(omx_, OMX_IndexConfigVideoIntraVOPRefresh, &refresh), OMX_ErrorUnsupportedIndex);
    refresh.nPortIndex = 0;
    EXPECT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigVideoIntraVOPRefresh, &refresh), OMX_ErrorUnsupportedIndex);
    refresh.nPortIndex = 1;
    EXPECT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigVideoIntraVOPRefresh, &refresh), OMX_ErrorNone);
    EXPECT_TRUE(take_session_calls().empty());

    zvx_omx_common_cproc_invoker_exit(comp_);
    ASSERT_TRUE(zvx_omx_common_component_create_session(comp_));
    for (const session_call &call : take_session_calls())
        EXPECT_NE(call.index, OMX_IndexConfigVideoIntraVOPRefresh) << "a past request is not kept";
    enter_state(OMX_StateExecuting);
    ASSERT_EQ(omx_->SetConfig(omx_, OMX_IndexConfigVideoIntraVOPRefresh, &refresh), OMX_ErrorNone);
    const std::vector<session_call> calls = take_session_calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].index, OMX_IndexConfigVideoIntraVOPRefresh);
    enter_state(OMX_StateLoaded);
    zvx_omx_common_component_destroy_session(comp_);
}

} // namespace
