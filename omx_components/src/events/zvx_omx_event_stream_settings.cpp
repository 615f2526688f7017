// The session learns the stream: frame size to allocate, buffers to keep, interlacing and bit depth,
// display size and colours. Each event updates the output port's settings and either tells the client
// (OMX_EventPortSettingsChanged) or lets the session carry on with the buffers it has.
#include <OMX_IVCommon.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <time.h>
#include <unistd.h>

#include "buffer_formats/zvx_omx_metadata_buffers.h"
#include "core/zvx_omx_client.h"
#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_config.h"
#include "zvx_omx_event.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_log.h"
#include "zvx_omx_parameters.h"
#include "zvx_omx_translate.h"
#include "zvx_session_interface.h"

namespace {

constexpr OMX_U32 ZVXP_INPUT = 0;
constexpr OMX_U32 ZVXP_OUTPUT = 1;
constexpr uint32_t ZVXP_SESSION_VERSION = 0x00000201; /* the session speaks OpenMAX 1.2 */
/* A session that is not ready is asked again for up to this long before the event is dropped. */
constexpr int ZVXP_NOT_READY_ATTEMPTS = 1000;
constexpr long ZVXP_NOT_READY_PAUSE_NS = 1000000;
constexpr OMX_U32 ZVXP_SIZE_ALIGNMENT = 32;
/* Hardware from this version on handles any larger frame buffer in the compressed layout. */
constexpr OMX_U32 ZVXP_HW_VERSION_ANY_LARGER_BUFFER = 0x5660FFFF;

enum zvxp_buffer_param_type : uint32_t {
    ZVXP_BUFFER_PARAM_DISPLAY_SIZE = 5,
    ZVXP_BUFFER_PARAM_COLOUR_DESCRIPTION = 15,
    ZVXP_BUFFER_PARAM_IGNORED = 17,
};
constexpr uint32_t ZVXP_COLOUR_MASTERING_DISPLAY = 1u << 0;
constexpr uint32_t ZVXP_COLOUR_CONTENT_LIGHT = 1u << 1;
/* Bit of the output port's pFlag: a colour description has arrived. */
constexpr int32_t ZVXP_PORT_FLAG_COLOUR_DESCRIBED = 1 << 1;
/* Luminance from the session comes in units of 0.0001 cd/m2; the maximum is reported in cd/m2. */
constexpr uint32_t ZVXP_LUMINANCE_UNITS_PER_NIT = 10000;

/* The session's own records: every word 32 bits wide, whatever the client's OMX_U32 is. */
struct zvxp_session_header {
    uint32_t nSize;
    uint32_t nVersion;
    uint32_t nPortIndex;
};

struct zvxp_session_port_format {
    zvxp_session_header header;
    uint32_t nIndex;
    uint32_t eCompressionFormat;
    uint32_t eColorFormat;
    uint32_t xFramerate;
};
static_assert(sizeof(zvxp_session_port_format) == 28);

struct zvxp_session_sequence_parameters {
    zvxp_session_header header;
    uint16_t fields[14]; /* nDisplayWidth to nChromaSampling, in the client record's order */
};
static_assert(sizeof(zvxp_session_sequence_parameters) == 40);

struct need_realloc_callback_data {
    const OMX_PARAM_PORTDEFINITIONTYPE *portdef;
    bool tcx_enabled;
    OMX_U32 hw_version;
    bool need_buffer_realloc;
};

/* Fills a session record for the port; the record starts with zvxp_session_header. */
OMX_ERRORTYPE zvxp_omx_get_param_generic(struct zvx_omx_common_component *comp, OMX_INDEXTYPE index, OMX_U32 port,
                                         OMX_U32 size, void *target)
{
    std::memset(target, 0, size);
    const zvxp_session_header header = {static_cast<uint32_t>(size), ZVXP_SESSION_VERSION, static_cast<uint32_t>(port)};
    std::memcpy(target, &header, sizeof(header));
    OMX_ERRORTYPE error = OMX_ErrorNotReady;
    for (int attempt = 0; attempt < ZVXP_NOT_READY_ATTEMPTS && error == OMX_ErrorNotReady; ++attempt) {
        if (attempt != 0) {
            const struct timespec pause = {0, ZVXP_NOT_READY_PAUSE_NS};
            clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
        }
        error = zvx_get_parameter(comp->driver_fd, index, size, target);
    }
    if (error != OMX_ErrorNone) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Session did not answer. index=0x%08x, port=%u, error=0x%x. (%s:%d)",
                static_cast<unsigned>(index), static_cast<unsigned>(port), error);
    }
    return error;
}

/* The session's port definition in the client's terms, over a copy of the stored one. */
OMX_ERRORTYPE zvxp_read_port_definition(struct zvx_omx_common_component *comp, OMX_U32 port,
                                        OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    kern_omx120_param_portdefinitiontype session;
    const OMX_ERRORTYPE error =
        zvxp_omx_get_param_generic(comp, OMX_IndexParamPortDefinition, port, sizeof(session), &session);
    if (error != OMX_ErrorNone) {
        return error;
    }
    zvx_omx_mutex_guard guard(&comp->lock);
    const OMX_PARAM_PORTDEFINITIONTYPE *stored = zvx_omx_port_get_definition(&comp->ports[port]);
    if (stored == nullptr) {
        return OMX_ErrorUnsupportedIndex;
    }
    *definition = *stored;
    zvx_omx_translate_color_format_to_client(&session, &comp->ports[port].config_and_params,
                                             comp->ports[port].port_format_index);
    zvx_omx_translate_120_to_112_IndexParamPortDefinition(definition, &session);
    return OMX_ErrorNone;
}

void zvxp_store_sequence_parameters(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    zvxp_session_sequence_parameters session;
    if (zvxp_omx_get_param_generic(comp, static_cast<OMX_INDEXTYPE>(QURO_IndexParamSequenceParameters), port,
                                   sizeof(session), &session) != OMX_ErrorNone) {
        return;
    }
    zvx_omx_mutex_guard guard(&comp->lock);
    auto *stored = static_cast<QURO_PARAM_SEQUENECE_PARAMETERS *>(
        zvx_omx_config_find(&comp->ports[port].config_and_params, QURO_IndexParamSequenceParameters, 0));
    if (stored != nullptr) {
        static_assert(sizeof(session.fields) == offsetof(QURO_PARAM_SEQUENECE_PARAMETERS, nChromaSampling) +
                                                    sizeof(stored->nChromaSampling) -
                                                    offsetof(QURO_PARAM_SEQUENECE_PARAMETERS, nDisplayWidth));
        std::memcpy(&stored->nDisplayWidth, session.fields, sizeof(session.fields));
    }
}

void zvxp_store_port_format(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    zvxp_session_port_format session;
    if (zvxp_omx_get_param_generic(comp, OMX_IndexParamVideoPortFormat, port, sizeof(session), &session) !=
        OMX_ErrorNone) {
        return;
    }
    zvx_omx_mutex_guard guard(&comp->lock);
    zvx_omx_port &owner = comp->ports[port];
    auto *stored = static_cast<OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
        zvx_omx_config_find(&owner.config_and_params, OMX_IndexParamVideoPortFormat, owner.port_format_index));
    if (stored != nullptr) {
        stored->eCompressionFormat = static_cast<OMX_VIDEO_CODINGTYPE>(session.eCompressionFormat);
        stored->eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(session.eColorFormat);
        stored->xFramerate = session.xFramerate;
    }
}

bool zvxp_omx_is_y0l2_format(const OMX_PARAM_PORTDEFINITIONTYPE *port_def)
{
    const auto format = static_cast<OMX_U32>(port_def->format.video.eColorFormat);
    return format == QURO_COLOR_FormatYUYAAYVYAA_10b || format == QURO_COLOR_FormatAAYUYAAYVY_10b;
}

/* A buffer of the definition's size holds one of its frames. Caller holds the lock. */
bool zvxp_buffer_size_valid(struct zvx_omx_common_component *comp, OMX_U32 port,
                            const OMX_PARAM_PORTDEFINITIONTYPE &definition)
{
    if (port != zvx_omx_common_component_get_yuv_port_index(comp) ||
        zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, port)) {
        return true;
    }
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = definition.format.video;
    const bool tcx = zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr) != OMX_FALSE;
    return definition.nBufferSize >= common_component_cmd_calc_buffer_size_stride(video.nFrameWidth, video.nFrameHeight,
                                                                                  video.eColorFormat, tcx, nullptr);
}

/* new_port keeps one buffer more than the session asks for, and the old buffer size unless that no longer
 * holds a frame. Caller holds the lock. */
bool is_port_setting_changed(struct zvx_omx_common_component *comp, const OMX_PARAM_PORTDEFINITIONTYPE *old_port,
                             OMX_PARAM_PORTDEFINITIONTYPE *new_port)
{
    new_port->nBufferCountActual = new_port->nBufferCountActual >= old_port->nBufferCountActual
                                       ? new_port->nBufferCountActual + 1
                                       : old_port->nBufferCountActual;
    new_port->nBufferCountMin = new_port->nBufferCountMin >= old_port->nBufferCountMin ? new_port->nBufferCountMin + 1
                                                                                       : old_port->nBufferCountMin;
    if (!zvxp_buffer_size_valid(comp, old_port->nPortIndex, *new_port)) {
        return true;
    }
    new_port->nBufferSize = old_port->nBufferSize;
    constexpr size_t from = offsetof(OMX_PARAM_PORTDEFINITIONTYPE, nBufferCountActual);
    return std::memcmp(reinterpret_cast<const char *>(old_port) + from, reinterpret_cast<const char *>(new_port) + from,
                       sizeof(*old_port) - from) != 0;
}

/* The buffers an enabled port holds already give the session what it asks for, and nothing but the
 * spare buffer above its count would change: a client that keeps the port as it is (as encoders'
 * clients do, reading the event as news) need not reallocate, so the session carries on with them.
 * Caller holds the lock. */
bool zvxp_registered_buffers_suffice(struct zvx_omx_common_component *comp, OMX_U32 port,
                                     const OMX_PARAM_PORTDEFINITIONTYPE &stored,
                                     const OMX_PARAM_PORTDEFINITIONTYPE &adjusted, OMX_U32 session_count)
{
    if (stored.bEnabled == OMX_FALSE || zvx_map_size(&comp->ports[port].registered_buffers) < session_count) {
        return false;
    }
    OMX_PARAM_PORTDEFINITIONTYPE same_counts = adjusted;
    same_counts.nBufferCountActual = stored.nBufferCountActual;
    same_counts.nBufferCountMin = stored.nBufferCountMin;
    constexpr size_t from = offsetof(OMX_PARAM_PORTDEFINITIONTYPE, nBufferCountActual);
    return std::memcmp(reinterpret_cast<const char *>(&stored) + from,
                       reinterpret_cast<const char *>(&same_counts) + from, sizeof(stored) - from) == 0;
}

/* Frame buffers are handed out in whole pages, with room for the extra data. Caller holds the lock. */
void zvxp_size_to_pages(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    if (zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, port)) {
        definition->nBufferSize = zvx_omx_metadata_record_size();
        return;
    }
    const long page = sysconf(_SC_PAGESIZE);
    const uint64_t page_size = page > 0 ? static_cast<uint64_t>(page) : 4096;
    const uint64_t size = definition->nBufferSize + uint64_t{zvx_omx_common_component_get_extra_data_size(comp, port)};
    definition->nBufferSize = static_cast<OMX_U32>(
        std::min<uint64_t>((size + page_size - 1) / page_size * page_size, UINT32_MAX / page_size * page_size));
}

/* The client is to reallocate the port: the stored definition, buffer size record and crop follow the
 * new one. Caller holds the lock. */
void zvxp_adopt_definition(struct zvx_omx_common_component *comp, OMX_U32 port,
                           const OMX_PARAM_PORTDEFINITIONTYPE &definition)
{
    OMX_PARAM_PORTDEFINITIONTYPE *stored = zvx_omx_port_get_definition(&comp->ports[port]);
    if (stored == nullptr) {
        return;
    }
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = definition.format.video;
    if (auto *buffer_size = static_cast<QURO_PARAM_BUFFERSIZETYPE *>(
            zvx_omx_config_find(&comp->ports[port].config_and_params, OMX_IndexParamBufferSize, 0))) {
        buffer_size->nWidth = video.nFrameWidth;
        buffer_size->nHeight = video.nFrameHeight;
        buffer_size->nStride = static_cast<OMX_U32>(video.nStride);
    }
    zvx_omx_common_component_update_crop_rect(comp, port, video.nFrameWidth, video.nFrameHeight);
    // Whether the port is enabled and populated is the client's to say, by its commands and buffers.
    const OMX_BOOL enabled = stored->bEnabled;
    *stored = definition;
    stored->bEnabled = enabled;
    zvx_omx_port_update_populated(&comp->ports[port]);
}

void zvxp_tell_settings_changed(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 index,
                                const char *index_name)
{
    const zvx_omx_client client = zvx_omx_client_get(comp);
    if (index == 0) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventPortSettingsChanged, port=%u). (%s:%d)", client.handle,
                static_cast<unsigned>(port));
    } else {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
                "EventHandler(handle=%p, event=OMX_EventPortSettingsChanged, port=%u, data2=%s). (%s:%d)",
                client.handle, static_cast<unsigned>(port), index_name);
    }
    zvx_omx_client_event(client, OMX_EventPortSettingsChanged, port, index);
}

/* A 10-bit Y0L2 layout the session chose is applied as if the client had set it. */
void zvxp_apply_y0l2(struct zvx_omx_common_component *comp, OMX_PARAM_PORTDEFINITIONTYPE *definition)
{
    struct command_set_parameter_data command = {
        {common_component_cmd_set_parameter}, OMX_IndexParamPortDefinition, definition, OMX_ErrorNone, nullptr};
    common_component_cmd_set_parameter(comp, &command.command_data);
    if (command.error != OMX_ErrorNone) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "common_component_cmd_set_parameter failed. (%s:%d)");
    }
}

bool need_realloc_callback(zvx_map_constpointer, zvx_map_pointer value, void *user_ptr)
{
    auto &data = *static_cast<need_realloc_callback_data *>(user_ptr);
    const auto *header = static_cast<const struct zvx_omx_common_bufferheadertype *>(value);
    const struct zvx_base_buffer_userspace &desc = header->priv.desc;
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = data.portdef->format.video;
    if (desc.width >= video.nFrameWidth && desc.height >= video.nFrameHeight &&
        (data.hw_version > ZVXP_HW_VERSION_ANY_LARGER_BUFFER || !data.tcx_enabled || desc.width == video.nFrameWidth ||
         desc.height == video.nFrameHeight)) {
        return true;
    }
    data.need_buffer_realloc = true;
    return false;
}

/* Source value -> aspect value; a missing source value keeps the aspect and is reported. */
struct zvxp_aspect_mapping {
    uint8_t from;
    uint32_t to;
};

constexpr zvxp_aspect_mapping ZVXP_RANGES[] = {{0, RangeUnspecified}, {1, RangeLimited}, {2, RangeFull}};
constexpr zvxp_aspect_mapping ZVXP_PRIMARIES[] = {{1, PrimariesBT709_5},     {4, PrimariesBT470_6M},
                                                  {5, PrimariesBT601_6_625}, {6, PrimariesBT601_6_525},
                                                  {8, PrimariesGenericFilm}, {9, PrimariesBT2020}};
constexpr zvxp_aspect_mapping ZVXP_TRANSFERS[] = {
    {1, TransferBT1361},    {4, TransferGamma22}, {5, TransferGamma28},    {6, TransferSMPTE170M},
    {7, TransferSMPTE240M}, {8, TransferLinear},  {9, TransferHLG},        {10, TransferHLG},
    {11, TransferXvYCC},    {13, TransferSRGB},   {14, TransferSMPTE170M}, {15, TransferSMPTE170M},
    {16, TransferST2084},   {17, TransferST428},  {18, TransferHLG}};
constexpr zvxp_aspect_mapping ZVXP_MATRICES[] = {{1, MatrixBT709_5},   {5, MatrixBT470_6M}, {6, MatrixBT601_6},
                                                 {7, MatrixSMPTE240M}, {9, MatrixBT2020},   {10, MatrixBT2020Constant}};

template <typename Aspect, size_t N>
void zvxp_map_aspect(const zvxp_aspect_mapping (&table)[N], uint8_t value, Aspect *aspect, const char *format)
{
    for (const zvxp_aspect_mapping &mapping : table) {
        if (mapping.from == value) {
            *aspect = static_cast<Aspect>(mapping.to);
            return;
        }
    }
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, format, value);
}

uint16_t zvxp_clamp16(uint32_t value)
{
    return static_cast<uint16_t>(std::min<uint32_t>(value, UINT16_MAX));
}

/* Mastering display and content light of a colour description; primaries come green, blue, red. */
void zvxp_describe_hdr(HDRStaticInfoType1 &hdr, const struct zvx_base_buffer_param_colour_description &colour)
{
    if ((colour.flags & ZVXP_COLOUR_MASTERING_DISPLAY) != 0) {
        hdr.mG = {colour.mastering_display_primaries_x[0], colour.mastering_display_primaries_y[0]};
        hdr.mB = {colour.mastering_display_primaries_x[1], colour.mastering_display_primaries_y[1]};
        hdr.mR = {colour.mastering_display_primaries_x[2], colour.mastering_display_primaries_y[2]};
        hdr.mW = {colour.mastering_white_point_x, colour.mastering_white_point_y};
        hdr.mMaxDisplayLuminance = zvxp_clamp16(colour.max_display_mastering_luminance / ZVXP_LUMINANCE_UNITS_PER_NIT);
        hdr.mMinDisplayLuminance = zvxp_clamp16(colour.min_display_mastering_luminance);
    }
    if ((colour.flags & ZVXP_COLOUR_CONTENT_LIGHT) != 0) {
        hdr.mMaxContentLightLevel = zvxp_clamp16(colour.max_content_light_level);
        hdr.mMaxFrameAverageLightLevel = zvxp_clamp16(colour.avg_content_light_level);
    }
}

void zvxp_describe_aspects(ColorAspects &aspects, const struct zvx_base_buffer_param_colour_description &colour)
{
    zvxp_map_aspect(ZVXP_RANGES, colour.range, &aspects.mRange,
                    "Received buffer parameter color info with illegal range. range=%u. (%s:%d)");
    zvxp_map_aspect(ZVXP_PRIMARIES, colour.colour_primaries, &aspects.mPrimaries,
                    "Received buffer parameter color info with unsupported primaries. primaries=%u. (%s:%d)");
    zvxp_map_aspect(
        ZVXP_TRANSFERS, colour.transfer_characteristics, &aspects.mTransfer,
        "Received buffer parameter color info with unsupported transfer characteristics. transfer=%u. (%s:%d)");
    zvxp_map_aspect(ZVXP_MATRICES, colour.matrix_coeff, &aspects.mMatrixCoeffs,
                    "Received buffer parameter color info with unsupported matrix coeff. matrix_coeff=%u. (%s:%d)");
}

void zvxp_handle_colour_description(struct zvx_omx_common_component *comp,
                                    const struct zvx_base_buffer_param_colour_description &colour)
{
    bool hdr_changed;
    bool aspects_changed;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        struct zvx_map *store = &comp->ports[ZVXP_OUTPUT].config_and_params;
        auto *hdr = static_cast<DescribeHDRStaticInfoParams *>(
            zvx_omx_config_find(store, OMX_IndexConfigDescribeHDRColorInfo, 0));
        auto *aspects = static_cast<DescribeColorAspectsParams *>(
            zvx_omx_config_find(store, OMX_IndexParamDescribeColorAspects, 0));
        if (hdr == nullptr || aspects == nullptr) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR,
                    "Could not find HDR info and/or Color Aspects in configuration database. hdr_info=%p, "
                    "color_aspects=. (%s:%d)",
                    static_cast<void *>(hdr));
            return;
        }
        const DescribeHDRStaticInfoParams hdr_before = *hdr;
        const ColorAspects aspects_before = aspects->sAspects;
        zvxp_describe_aspects(aspects->sAspects, colour);
        zvxp_describe_hdr(hdr->sInfo.sType1, colour);
        // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): a whole copy, padding too
        hdr_changed = std::memcmp(&hdr_before, hdr, sizeof(hdr_before)) != 0;
        aspects_changed = std::memcmp(&aspects_before, &aspects->sAspects, sizeof(aspects_before)) != 0;
        if (aspects_changed) {
            comp->prev_color_desc = colour;
        }
    }
    if (hdr_changed) {
        zvxp_tell_settings_changed(comp, ZVXP_OUTPUT, OMX_IndexConfigDescribeHDRColorInfo,
                                   "OMX_IndexConfigDescribeHDRColorInfo");
    }
    if (aspects_changed) {
        zvxp_tell_settings_changed(comp, ZVXP_OUTPUT, OMX_IndexParamDescribeColorAspects,
                                   "OMX_IndexParamDescribeColorAspects");
    }
}

} // namespace

void zvxp_omx_handle_event_portdefinition_change(struct zvx_omx_common_component *comp, OMX_U32 port)
{
    if (port >= ZVX_OMX_PORT_COUNT) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Port definition change of an unknown port. port=%u. (%s:%d)",
                static_cast<unsigned>(port));
        return;
    }
    zvxp_store_sequence_parameters(comp, port);
    zvxp_store_port_format(comp, port);
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    if (zvxp_read_port_definition(comp, port, &definition) != OMX_ErrorNone) {
        return;
    }
    if (zvxp_omx_is_y0l2_format(&definition)) {
        zvxp_apply_y0l2(comp, &definition);
        if (zvxp_read_port_definition(comp, port, &definition) != OMX_ErrorNone) {
            return;
        }
    }
    bool changed;
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        const OMX_PARAM_PORTDEFINITIONTYPE *stored = zvx_omx_port_get_definition(&comp->ports[port]);
        if (stored == nullptr) {
            return;
        }
        const OMX_U32 session_count = definition.nBufferCountActual;
        zvxp_size_to_pages(comp, port, &definition);
        changed = is_port_setting_changed(comp, stored, &definition) &&
                  !zvxp_registered_buffers_suffice(comp, port, *stored, definition, session_count);
        if (changed) {
            zvxp_adopt_definition(comp, port, definition);
        }
    }
    if (!changed) {
        zvx_enqueue_flush_buffers(comp->driver_fd,
                                  ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_INPUT_PORT | ZVX_BASE_FLUSH_OUTPUT_PORT);
        return;
    }
    zvx_instr_write_msg(ZVX_INSTR_API_PTR, sizeof(definition), &definition);
    zvxp_tell_settings_changed(comp, port, 0, nullptr);
}

void zvxp_omx_handle_alloc_params(struct zvx_omx_common_component *comp,
                                  const struct zvx_base_fw_frame_alloc_parameters *alloc_param)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvxp_omx_handle_alloc_params(width=%u, height=%u). (%s:%d)",
            alloc_param->planar_alloc_frame_width, alloc_param->planar_alloc_frame_height);
    zvx_omx_mutex_guard guard(&comp->lock);
    if (comp->alloc_params_state == ZVX_ALLOC_PARAMS_INIT) {
        comp->alloc_params = *alloc_param;
    } else if (std::memcmp(&comp->alloc_params, alloc_param, sizeof(*alloc_param)) != 0) {
        comp->alloc_params = *alloc_param;
        comp->alloc_params_state = ZVX_ALLOC_PARAMS_CHANGED;
    }
    if (OMX_PARAM_PORTDEFINITIONTYPE *input = zvx_omx_port_get_definition(&comp->ports[ZVXP_INPUT])) {
        input->format.video.nFrameWidth = alloc_param->planar_alloc_frame_width;
        input->format.video.nFrameHeight = alloc_param->planar_alloc_frame_height;
    }
    OMX_PARAM_PORTDEFINITIONTYPE *output = zvx_omx_port_get_definition(&comp->ports[ZVXP_OUTPUT]);
    if (output == nullptr) {
        return;
    }
    OMX_VIDEO_PORTDEFINITIONTYPE &video = output->format.video;
    if (!comp->ports[ZVXP_OUTPUT].buffer_produced) {
        zvx_omx_common_component_update_portdef_from_alloc_params(comp);
        zvx_omx_common_component_update_crop_rect(comp, ZVXP_OUTPUT, video.nFrameWidth, video.nFrameHeight);
    }
    std::atomic_ref vp9_reallocation(comp->vp9_alloc_params_changed);
    const bool vp9 = comp->type == ZVX_OMX_DECODER && comp->role == ZVX_OMX_COMPONENT_ROLE_VP9;
    if (vp9 && (static_cast<OMX_U32>(video.nStride) < alloc_param->planar_alloc_frame_width ||
                video.nSliceHeight < alloc_param->planar_alloc_frame_height)) {
        zvx_omx_common_component_update_portdef_from_alloc_params(comp);
        if (!vp9_reallocation.exchange(true)) {
            comp->vp9_realloc_announced = false;
        }
    }
    if ((vp9 && !vp9_reallocation.load()) ||
        zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, ZVXP_OUTPUT)) {
        return;
    }
    const uint64_t frame = zvx_omx_common_component_is_tcx_enabled(comp, ZVXP_OUTPUT, nullptr, nullptr)
                               ? uint64_t{comp->alloc_params.tcx_alloc_bytes}
                               : uint64_t{static_cast<OMX_U32>(video.nStride)} * video.nSliceHeight * 2;
    const uint64_t required =
        (frame + zvx_omx_common_component_get_extra_data_size(comp, ZVXP_OUTPUT) + ZVXP_SIZE_ALIGNMENT - 1) /
        ZVXP_SIZE_ALIGNMENT * ZVXP_SIZE_ALIGNMENT;
    output->nBufferSize = static_cast<OMX_U32>(
        std::min<uint64_t>(std::max<uint64_t>(output->nBufferSize, required), UINT32_MAX - ZVXP_SIZE_ALIGNMENT + 1));
}

void zvxp_omx_handle_sequence_params(struct zvx_omx_common_component *comp,
                                     const struct zvx_base_response_sequence_parameters *seq_param)
{
    std::atomic_ref(comp->vp9_alloc_params_changed).store(false);
    comp->force_yuv = false;
    bool changed = false;
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO,
            "zvxp_omx_handle_sequence_params(interlace=%u, num_buffers_planar=%u, num_buffers_tcx=%u). (%s:%d)",
            seq_param->interlace, seq_param->num_buffers_planar, seq_param->num_buffers_tcx);
    const OMX_U32 hw_version = zvx_get_hw_version(comp->driver_fd);
    {
        zvx_omx_mutex_guard guard(&comp->lock);
        zvx_omx_port &port = comp->ports[ZVXP_OUTPUT];
        OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&port);
        if (definition == nullptr) {
            ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Could not find port definition. (%s:%d)");
            return;
        }
        zvx_omx_common_component_update_portdef_from_alloc_params(comp);
        const bool tcx = zvx_omx_common_component_is_tcx_enabled(comp, ZVXP_OUTPUT, nullptr, nullptr) != OMX_FALSE;
        // Without compressed allocation sizes the stream can only be laid out planar.
        comp->force_yuv = tcx && comp->alloc_params.tcx_alloc_bytes == 0;
        const bool metadata = zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, ZVXP_OUTPUT) != OMX_FALSE;
        OMX_U32 needed = seq_param->num_buffers_planar;
        if (tcx && !comp->force_yuv) {
            needed = seq_param->num_buffers_tcx;
            if (seq_param->interlace != 0 && !metadata) {
                definition->nBufferSize =
                    static_cast<OMX_U32>(std::min<uint64_t>(uint64_t{definition->nBufferSize} * 2, UINT32_MAX));
            }
        }
        if (needed >= definition->nBufferCountMin) {
            definition->nBufferCountMin = needed + 1;
            changed = true;
        }
        if (auto *sequence = static_cast<QURO_PARAM_SEQUENECE_PARAMETERS *>(
                zvx_omx_config_find(&port.config_and_params, QURO_IndexParamSequenceParameters, 0))) {
            changed = changed || sequence->bInterlace != seq_param->interlace;
            sequence->bInterlace = seq_param->interlace;
            // A depth under 8 is not one the hardware decodes; it counts as 8.
            sequence->nBitDepthLumaMinus8 = static_cast<OMX_U16>(std::max(seq_param->bitdepth_luma, uint8_t{8}) - 8);
            sequence->nBitDepthChromaMinus8 =
                static_cast<OMX_U16>(std::max(seq_param->bitdepth_chroma, uint8_t{8}) - 8);
            if (sequence->nBitDepthLumaMinus8 != 0 || sequence->nBitDepthChromaMinus8 != 0) {
                definition->format.video.eColorFormat =
                    static_cast<OMX_COLOR_FORMATTYPE>(QURO_COLOR_FormatYUYAAYVYAA_10b);
            }
        }
        need_realloc_callback_data realloc = {definition, tcx, hw_version, false};
        zvx_map_foreach(&port.registered_buffers, need_realloc_callback, &realloc);
        const bool told =
            realloc.need_buffer_realloc || changed || comp->alloc_params_state == ZVX_ALLOC_PARAMS_CHANGED;
        // Never below the buffers the port holds: its count would then say it holds more than it may. The
        // count follows the minimum down only when the client hears of it: lowered quietly, it would refuse
        // the buffers of a client allocating the count it chose.
        const auto floor = std::max<OMX_U32>(definition->nBufferCountMin,
                                             static_cast<OMX_U32>(zvx_map_size(&port.registered_buffers)));
        definition->nBufferCountActual = told ? floor : std::max(definition->nBufferCountActual, floor);
        zvx_omx_port_update_populated(&port);
        if (!told) {
            // The session carries on with the buffers it has.
            OMX_U32 flush = ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_OUTPUT_PORT;
            if (seq_param->interlace != 0) {
                flush |= ZVX_BASE_FLUSH_QUICK_SET_INTERLACE;
            }
            zvx_enqueue_flush_buffers(comp->driver_fd, flush);
            return;
        }
        OMX_VIDEO_PORTDEFINITIONTYPE &video = definition->format.video;
        zvx_omx_common_component_update_crop_rect(comp, ZVXP_OUTPUT, video.nFrameWidth, video.nFrameHeight);
        if (!tcx && !metadata) {
            definition->nBufferSize = static_cast<OMX_U32>(
                std::min<uint64_t>(uint64_t{video.nFrameWidth} * video.nFrameHeight * 2, UINT32_MAX));
        }
        comp->alloc_params_state = ZVX_ALLOC_PARAMS_UPDATED;
        port.flush_without_stop = true;
        video.nStride = static_cast<OMX_S32>(video.nFrameWidth);
        video.nSliceHeight = video.nFrameHeight;
    }
    zvxp_tell_settings_changed(comp, ZVXP_OUTPUT, 0, nullptr);
}

void zvxp_omx_handle_buffer_param(struct zvx_omx_common_component *comp, const struct zvx_base_buffer_param *buf_param)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "zvxp_omx_handle_buffer_param(type=%u). (%s:%d)", buf_param->type);
    switch (buf_param->type) {
    case ZVXP_BUFFER_PARAM_DISPLAY_SIZE: {
        const struct zvx_base_buffer_param_display_size &size = buf_param->data.display_size;
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "ZVX_BUFFER_PARAM_TYPE_DISPLAY_SIZE(width=%u, height=%u). (%s:%d)",
                size.display_width, size.display_height);
        zvx_omx_mutex_guard guard(&comp->lock);
        if (auto *sequence = static_cast<QURO_PARAM_SEQUENECE_PARAMETERS *>(zvx_omx_config_find(
                &comp->ports[ZVXP_OUTPUT].config_and_params, QURO_IndexParamSequenceParameters, 0))) {
            sequence->nDisplayWidth = size.display_width;
            sequence->nDisplayHeight = size.display_height;
        }
        break;
    }
    case ZVXP_BUFFER_PARAM_COLOUR_DESCRIPTION:
        zvxp_handle_colour_description(comp, buf_param->data.colour_description);
        std::atomic_ref(comp->ports[ZVXP_OUTPUT].pFlag).fetch_or(ZVXP_PORT_FLAG_COLOUR_DESCRIBED);
        break;
    case ZVXP_BUFFER_PARAM_IGNORED:
        break;
    default:
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_WARNING, "Unsupported buffer param type. type=%u. (%s:%d)", buf_param->type);
        break;
    }
}
