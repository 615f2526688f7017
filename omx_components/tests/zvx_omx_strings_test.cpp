#include <gtest/gtest.h>

#include <string>

#include "zvx_omx_extensions.h"
#include "zvx_omx_strings.h"

namespace {

// Each extension list of the header names its values exactly once, so every lookup finds its own name.
#define EXPECT_NAMED(lookup)                                                                                           \
    [](const char *name, OMX_U32 value) { EXPECT_STREQ(lookup(value), name) << std::hex << value; }
#define ZVXT_CHECK(name, value) check(#name, static_cast<OMX_U32>(value));

TEST(Strings, EveryExtensionAndStandardValueFindsItsOwnNameAndOthersAreUnknown)
{
    {
        auto check = EXPECT_NAMED(zvx_omx_index_name);
        ZVX_OMX_EXTENSION_INDICES(ZVXT_CHECK)
    }
    {
        auto check = EXPECT_NAMED(zvx_omx_color_format_name);
        ZVX_OMX_EXTENSION_COLOR_FORMATS(ZVXT_CHECK)
    }
    {
        auto check = EXPECT_NAMED(zvx_omx_coding_name);
        ZVX_OMX_EXTENSION_CODINGS(ZVXT_CHECK)
    }
    {
        auto check = EXPECT_NAMED(zvx_omx_event_name);
        ZVX_OMX_EXTENSION_EVENTS(ZVXT_CHECK)
    }

    EXPECT_STREQ(zvx_omx_index_name(OMX_IndexConfigTimeSeekMode), "OMX_IndexConfigTimeSeekMode");
    EXPECT_STREQ(zvx_omx_state_name(OMX_StateWaitForResources), "OMX_StateWaitForResources");
    EXPECT_STREQ(zvx_omx_command_name(OMX_CommandMarkBuffer), "OMX_CommandMarkBuffer");
    EXPECT_STREQ(zvx_omx_event_name(OMX_EventPortSettingsChanged), "OMX_EventPortSettingsChanged");
    EXPECT_STREQ(zvx_omx_error_name(OMX_ErrorUnsupportedIndex), "OMX_ErrorUnsupportedIndex");
    EXPECT_STREQ(zvx_omx_color_format_name(OMX_COLOR_FormatYUV420SemiPlanar), "OMX_COLOR_FormatYUV420SemiPlanar");
    EXPECT_STREQ(zvx_omx_coding_name(OMX_VIDEO_CodingAVC), "OMX_VIDEO_CodingAVC");

    EXPECT_STREQ(zvx_omx_index_name(OMX_IndexMax), "Unknown");
    EXPECT_STREQ(zvx_omx_index_name(OMX_IndexVendorStartUnused), "Unknown");
    EXPECT_STREQ(zvx_omx_state_name(0x12345), "Unknown");
    EXPECT_STREQ(zvx_omx_error_name(0), "OMX_ErrorNone");
}

} // namespace
