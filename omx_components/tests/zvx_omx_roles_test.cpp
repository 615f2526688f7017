#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "zvx_blackbox.h"
#include "zvx_omx_common_component_commands.h"
#include "zvx_omx_common_component_role.h"
#include "zvx_omx_common_cproc.h"
#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_omx_extensions.h"

namespace {

std::string enumerate_role(OMX_ERRORTYPE (*role_enum)(OMX_HANDLETYPE, OMX_U8 *, OMX_U32), OMX_U32 index)
{
    OMX_U8 role[OMX_MAX_STRINGNAME_SIZE] = {};
    if (role_enum(nullptr, role, index) != OMX_ErrorNone) {
        return "<none>";
    }
    return reinterpret_cast<const char *>(role);
}

OMX_BOOL reject_decoder_vp8(const char *role)
{
    return std::strcmp(role, "video_decoder.vp8") != 0 ? OMX_TRUE : OMX_FALSE;
}

class SetRole : public ::testing::Test {
protected:
    void SetUp() override
    {
        bb_reset_cb();
        ASSERT_EQ(zvx_omx_decoder_component_init(&decoder_handle_, &decoder_, nullptr, nullptr), OMX_ErrorNone);
        ASSERT_EQ(zvx_omx_encoder_component_init(&encoder_handle_, &encoder_, nullptr, nullptr), OMX_ErrorNone);
        // Roles are set on the command thread; with the threads stopped the test stands in for them.
        zvx_omx_common_cproc_invoker_exit(&decoder_.common);
        zvx_omx_common_cproc_invoker_exit(&encoder_.common);
    }

    void TearDown() override
    {
        zvx_omx_decoder_component_destroy(&decoder_);
        zvx_omx_encoder_component_destroy(&encoder_);
        bb_reset_cb();
    }

    zvx_omx_decoder_component decoder_;
    zvx_omx_component decoder_handle_;
    zvx_omx_encoder_component encoder_;
    zvx_omx_component encoder_handle_;
};

TEST_F(SetRole, EveryCodecWordLoadsItsDefaultsAndClosesTheSessionAndDecoderNamesLieOverTheCommonLookup)
{
    const struct {
        const char *word;
        zvx_omx_component_role_t role;
        OMX_VIDEO_CODINGTYPE coding;
    } codecs[] = {
        {"avc", ZVX_OMX_COMPONENT_ROLE_AVC, OMX_VIDEO_CodingAVC},
        {"h263", ZVX_OMX_COMPONENT_ROLE_H263, OMX_VIDEO_CodingH263},
        {"hevc", ZVX_OMX_COMPONENT_ROLE_HEVC, OMX_VIDEO_CodingHEVC},
        {"jpeg", ZVX_OMX_COMPONENT_ROLE_JPEG, OMX_VIDEO_CodingMJPEG},
        {"mpeg2", ZVX_OMX_COMPONENT_ROLE_MPEG2, OMX_VIDEO_CodingMPEG2},
        {"mpeg4", ZVX_OMX_COMPONENT_ROLE_MPEG4, OMX_VIDEO_CodingMPEG4},
        {"rv", ZVX_OMX_COMPONENT_ROLE_RV, OMX_VIDEO_CodingRV},
        {"vc1", ZVX_OMX_COMPONENT_ROLE_VC1, OMX_VIDEO_CodingWMV},
        {"vp8", ZVX_OMX_COMPONENT_ROLE_VP8, OMX_VIDEO_CodingVP8},
        {"vp9", ZVX_OMX_COMPONENT_ROLE_VP9, OMX_VIDEO_CodingVP9},
    };
    // Every codec word is accepted by both kinds; only the role tables differ.
    for (zvx_omx_common_component *comp : {&decoder_.common, &encoder_.common}) {
        const std::string prefix = comp == &decoder_.common ? "video_decoder." : "video_encoder.";
        for (const auto &codec : codecs) {
            SCOPED_TRACE(prefix + codec.word);
            comp->session_created = true;
            EXPECT_EQ(zvx_omx_common_component_set_role(comp, (prefix + codec.word).c_str()), OMX_ErrorNone);
            EXPECT_EQ(comp->role, codec.role);
            const OMX_U32 port = zvx_omx_common_component_get_bitstream_port_index(comp);
            auto *defaults = &comp->ports[port].config_and_params;
            const auto *definition = static_cast<const OMX_PARAM_PORTDEFINITIONTYPE *>(
                zvx_omx_config_find(defaults, OMX_IndexParamPortDefinition, 0));
            ASSERT_NE(definition, nullptr);
            EXPECT_EQ(definition->format.video.eCompressionFormat, codec.coding);
            EXPECT_EQ(definition->nPortIndex, port);
            EXPECT_EQ(zvx_omx_config_find(defaults, OMX_IndexParamVideoProfileLevelQuerySupported, 0) != nullptr,
                      codec.coding != OMX_VIDEO_CodingMJPEG);
            EXPECT_FALSE(comp->session_created);
        }
    }

    OMX_COMPONENTTYPE *omx = &decoder_handle_.omx;
    OMX_INDEXTYPE metadata = OMX_IndexMax;
    OMX_INDEXTYPE anw = OMX_IndexMax;
    char store_metadata[] = "OMX.google.android.index.storeMetaDataInBuffers";
    char store_anw[] = "OMX.google.android.index.storeANWBufferInMetadata";
    ASSERT_EQ(decoder_.InheritedGetExtensionIndex(omx, store_metadata, &metadata), OMX_ErrorNone);
    ASSERT_EQ(decoder_.InheritedGetExtensionIndex(omx, store_anw, &anw), OMX_ErrorNone);
    EXPECT_EQ(metadata, anw);
    char native_buffer2[] = "OMX.google.android.index.useAndroidNativeBuffer2";
    EXPECT_EQ(decoder_.InheritedGetExtensionIndex(omx, native_buffer2, &anw), OMX_ErrorUnsupportedIndex);

    EXPECT_NE(decoder_handle_.omx.GetExtensionIndex, decoder_.InheritedGetExtensionIndex);
    zvx_omx_decoder_component_destroy(&decoder_);
    EXPECT_EQ(decoder_handle_.omx.GetExtensionIndex, decoder_.InheritedGetExtensionIndex);
    ASSERT_EQ(zvx_omx_decoder_component_init(&decoder_handle_, &decoder_, nullptr, nullptr), OMX_ErrorNone);
}

TEST_F(SetRole, WrongOrUnknownRoleIsRefusedAndOneTheSessionRejectsShiftsTheEnumeration)
{
    ASSERT_EQ(zvx_omx_common_component_set_role(&encoder_.common, "video_encoder.vp8"), OMX_ErrorNone);
    EXPECT_EQ(zvx_omx_common_component_set_role(&encoder_.common, "video_decoder.avc"), OMX_ErrorUndefined);
    EXPECT_EQ(zvx_omx_common_component_set_role(&encoder_.common, "video_encoder"), OMX_ErrorUndefined);
    EXPECT_EQ(encoder_.common.role, ZVX_OMX_COMPONENT_ROLE_VP8);

    ASSERT_EQ(zvx_omx_common_component_set_role(&decoder_.common, "video_decoder.avc"), OMX_ErrorNone);
    EXPECT_EQ(zvx_omx_common_component_set_role(&decoder_.common, "video_decoder.xyz"), OMX_ErrorBadParameter);
    EXPECT_EQ(decoder_.common.role, ZVX_OMX_COMPONENT_ROLE_UNCLASSIFIED);
    // The word must match exactly, not merely start the same.
    EXPECT_EQ(zvx_omx_common_component_set_role(&decoder_.common, "video_decoder.avc1"), OMX_ErrorBadParameter);

    // A role the session rejects shifts the enumeration; the copy stays inside the client's buffer.
    bb_cb.bbcb_role_enabled = reject_decoder_vp8;
    EXPECT_EQ(enumerate_role(zvx_omx_decoder_component_role_enum, 3), "video_decoder.vp9");
    EXPECT_EQ(enumerate_role(zvx_omx_decoder_component_role_enum, 7), "video_decoder.hevc");
    EXPECT_EQ(enumerate_role(zvx_omx_decoder_component_role_enum, 8), "<none>");

    OMX_U8 buffer[OMX_MAX_STRINGNAME_SIZE + 1];
    std::memset(buffer, 0xAB, sizeof(buffer));
    ASSERT_EQ(zvx_omx_decoder_component_role_enum(nullptr, buffer, 0), OMX_ErrorNone);
    EXPECT_STREQ(reinterpret_cast<const char *>(buffer), "video_decoder.avc");
    EXPECT_EQ(buffer[OMX_MAX_STRINGNAME_SIZE - 1], 0);
    EXPECT_EQ(buffer[OMX_MAX_STRINGNAME_SIZE], 0xAB);
}

} // namespace
