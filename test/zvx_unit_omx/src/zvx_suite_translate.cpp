// "Data Translations": the conversions between the client's 1.1.2 records and the session's 1.2.0
// records, checked byte for byte without a component.
#include "zvx_suite_translate.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#include "zvx_component_suite_support.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_translate.h"

namespace {

constexpr unsigned zvxp_record_112_size = 112;
constexpr unsigned zvxp_record_120_size = 92;
constexpr uint8_t zvxp_fill = 0xFD;

// Destinations start with a recognisable header so that a missed field shows up.
void zvxp_prefill_destination(uint8_t *dst, size_t size)
{
    std::memset(dst, 0, size);
    for (uint8_t i = 0; i < 12; ++i)
        dst[i] = i;
}

// Appends bytes first..last (inclusive) of the counting pattern 0, 1, 2, ...
uint8_t *zvxp_append_pattern(uint8_t *out, uint8_t first, uint8_t last)
{
    for (unsigned value = first; value <= last; ++value)
        *out++ = static_cast<uint8_t>(value);
    return out;
}

uint8_t *zvxp_append_zeros(uint8_t *out, size_t count)
{
    std::memset(out, 0, count);
    return out + count;
}

// The colour format of a 1.2.0 port definition, read where the layout puts it: the 20th word.
int zvxp_color_format_word(const uint8_t *record)
{
    int word;
    std::memcpy(&word, record + 19 * sizeof(word), sizeof(word));
    return word;
}

// The 1.2.0 record that the counting pattern 0..111 becomes: header rewritten, pointers cut to their
// low word, the MIME pointer and the 1.1.2 padding dropped.
void zvxp_expected_120(uint8_t *buffer120)
{
    static constexpr uint8_t header[] = {92, 0, 0, 0, 1, 2, 0, 0};
    std::memcpy(buffer120, header, sizeof(header));
    uint8_t *out = buffer120 + sizeof(header);
    out = zvxp_append_pattern(out, 8, 39);
    out = zvxp_append_pattern(out, 48, 51);
    out = zvxp_append_pattern(out, 56, 91);
    out = zvxp_append_pattern(out, 96, 99);
    zvxp_append_pattern(out, 104, 111);
}

void zvx_test_translate_112_to_120(quro_utf_suite *)
{
    // A real record filled through its bytes: a byte array read as the record would be misaligned.
    OMX_PARAM_PORTDEFINITIONTYPE source;
    uint8_t *source_bytes = reinterpret_cast<uint8_t *>(&source);
    for (unsigned i = 0; i < zvxp_record_112_size; ++i)
        source_bytes[i] = static_cast<uint8_t>(i);
    uint8_t buffer120[zvxp_record_120_size];
    zvxp_expected_120(buffer120);
    kern_omx120_param_portdefinitiontype destination;
    uint8_t *dst = reinterpret_cast<uint8_t *>(&destination);
    zvxp_prefill_destination(dst, sizeof(destination));

    zvx_omx_translate_112_to_120_IndexParamPortDefinition(&destination, &source, false);

    ZVX_REQUIRE_EQ(memcmp(dst, buffer120, sizeof(buffer120)), 0);
}

void zvx_test_translate_120_to_112(quro_utf_suite *)
{
    kern_omx120_param_portdefinitiontype source;
    zvxp_expected_120(reinterpret_cast<uint8_t *>(&source));

    uint8_t buffer112[zvxp_record_112_size];
    static constexpr uint8_t header[] = {112, 0, 0, 0, 1, 1, 0, 0};
    std::memcpy(buffer112, header, sizeof(header));
    uint8_t *out = buffer112 + sizeof(header);
    out = zvxp_append_pattern(out, 8, 39);
    out = zvxp_append_zeros(out, 8);
    out = zvxp_append_pattern(out, 0x30, 0x33);
    out = zvxp_append_zeros(out, 4);
    out = zvxp_append_pattern(out, 0x38, 0x5b);
    out = zvxp_append_zeros(out, 4);
    out = zvxp_append_pattern(out, 0x60, 0x63);
    out = zvxp_append_zeros(out, 4);
    zvxp_append_pattern(out, 0x68, 0x6f);

    OMX_PARAM_PORTDEFINITIONTYPE destination;
    uint8_t *dst = reinterpret_cast<uint8_t *>(&destination);
    zvxp_prefill_destination(dst, sizeof(destination));

    zvx_omx_translate_120_to_112_IndexParamPortDefinition(&destination, &source);

    ZVX_REQUIRE_EQ(memcmp(dst, buffer112, sizeof(buffer112)), 0);
}

void zvx_test_colfmt_null_array(quro_utf_suite *)
{
    kern_omx120_param_portdefinitiontype record;
    uint8_t *_120 = reinterpret_cast<uint8_t *>(&record);
    std::memset(_120, zvxp_fill, sizeof(record));

    zvx_omx_translate_color_format_to_client(&record, nullptr, 0xFDFDFDFD);

    ZVX_REQUIRE_EQ(zvxp_color_format_word(_120), (int)0xFDFDFDFD);
}

void zvx_test_colfmt_empty_array(quro_utf_suite *)
{
    struct zvx_map store;
    OMX_ERRORTYPE error = zvx_omx_config_construct(&store);
    ZVX_REQUIRE(error == OMX_ErrorNone);
    kern_omx120_param_portdefinitiontype record;
    uint8_t *_120 = reinterpret_cast<uint8_t *>(&record);
    std::memset(_120, zvxp_fill, sizeof(record));

    zvx_omx_translate_color_format_to_client(&record, &store, 0xFDFDFDFD);

    zvx_omx_config_destruct(&store);
    ZVX_REQUIRE_EQ(zvxp_color_format_word(_120), (int)0xFDFDFDFD);
}

OMX_ERRORTYPE zvxp_store_native_buffers(struct zvx_map *store, OMX_BOOL enable)
{
    EnableAndroidNativeBuffersParams native_buffers = {};
    native_buffers.nSize = sizeof(native_buffers);
    native_buffers.nVersion.nVersion = 0x00020101;
    native_buffers.nPortIndex = 1;
    native_buffers.enable = enable;
    return zvx_omx_config_insert(store, OMX_IndexParamEnableAndroidNativeBuffer, 0, &native_buffers,
                                 sizeof(native_buffers));
}

void zvx_test_colfmt_disabled_usage(quro_utf_suite *)
{
    struct zvx_map store;
    OMX_ERRORTYPE error = zvx_omx_config_construct(&store);
    ZVX_REQUIRE(error == OMX_ErrorNone);
    error = zvxp_store_native_buffers(&store, OMX_FALSE);
    kern_omx120_param_portdefinitiontype record;
    uint8_t *_120 = reinterpret_cast<uint8_t *>(&record);
    std::memset(_120, zvxp_fill, sizeof(record));

    zvx_omx_translate_color_format_to_client(&record, &store, 0xFDFDFDFD);

    zvx_omx_config_destruct(&store);
    ZVX_REQUIRE(error == OMX_ErrorNone);
    ZVX_REQUIRE_EQ(zvxp_color_format_word(_120), (int)0xFDFDFDFD);
}

void zvx_test_colfmt_enabled_usage(quro_utf_suite *)
{
    struct zvx_map store;
    OMX_ERRORTYPE error = zvx_omx_config_construct(&store);
    ZVX_REQUIRE(error == OMX_ErrorNone);
    error = zvxp_store_native_buffers(&store, OMX_TRUE);
    kern_omx120_param_portdefinitiontype record;
    uint8_t *_120 = reinterpret_cast<uint8_t *>(&record);

    std::memset(_120, zvxp_fill, sizeof(record));
    record.format.video.eColorFormat = 0x32315659;
    zvx_omx_translate_color_format_to_client(&record, &store, 0x32315659);
    const int yv12 = zvxp_color_format_word(_120);

    std::memset(_120, zvxp_fill, sizeof(record));
    record.format.video.eColorFormat = OMX_COLOR_FormatYUV420Planar;
    zvx_omx_translate_color_format_to_client(&record, &store, OMX_COLOR_FormatYUV420Planar);
    const int planar = zvxp_color_format_word(_120);

    zvx_omx_config_destruct(&store);
    ZVX_REQUIRE(error == OMX_ErrorNone);
    ZVX_REQUIRE_EQ(yv12, 0x32315659);
    ZVX_REQUIRE_EQ(planar, OMX_COLOR_FormatYUV420Planar);
}

void zvx_test_colfmt_translate_to_v1(quro_utf_suite *)
{
    OMX_COLOR_FORMATTYPE dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX_10B);
    ZVX_REQUIRE_EQ(dst_fmt, QURO_COLOR_FormatYUV420TCX_10b);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX);
    ZVX_REQUIRE_EQ(dst_fmt, QURO_COLOR_FormatYUV420TCX);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YV12);
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_FormatYUV420Planar);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR);
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_FormatYUV420SemiPlanar);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUV422_1P);
    ZVX_REQUIRE_EQ(dst_fmt, QURO_COLOR_FormatYUV422_1P);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YVU422_1P);
    ZVX_REQUIRE_EQ(dst_fmt, QURO_COLOR_FormatYVU422_1P);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_BGRA_8888);
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_Format32bitBGRA8888);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_ARGB_8888);
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_Format32bitARGB8888);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR);
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_FormatYUV420Planar);
    dst_fmt = zvx_omx_translate_color_format_to_v1(ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B);
    ZVX_REQUIRE_EQ(dst_fmt, QURO_COLOR_FormatYUYAAYVYAA_10b);
    dst_fmt = zvx_omx_translate_color_format_to_v1(static_cast<enum zvx_base_omx_buffer_format>(0));
    ZVX_REQUIRE_EQ(dst_fmt, OMX_COLOR_FormatUnused);
}

constexpr zvx_component_suite_test zvxp_tests[] = {
    {1, "Translate 1.1.2 to 1.2.0", zvx_test_translate_112_to_120},
    {2, "Translate 1.2.0 to 1.1.2", zvx_test_translate_120_to_112},
    {3, "Color Translation - null array", zvx_test_colfmt_null_array},
    {4, "Color Translation - empty array", zvx_test_colfmt_empty_array},
    {5, "Color Translation - disabled usage", zvx_test_colfmt_disabled_usage},
    {6, "Color Translation - enabled usage", zvx_test_colfmt_enabled_usage},
    {7, "Color Translation to host interface v1", zvx_test_colfmt_translate_to_v1},
};

} // namespace

quro_utf_suite *zvx_create_suite_translate(quro_utf_mempool *pool, quro_utf_result_set *results,
                                           quro_utf_suite *prev_suite)
{
    return zvx_component_suite_build(pool, results, prev_suite, "Data Translations", zvxp_tests, std::size(zvxp_tests));
}
