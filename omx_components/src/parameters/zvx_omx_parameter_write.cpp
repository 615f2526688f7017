// The set-parameter handler: stores a client's record, applies what follows from it (codec defaults for
// a role, sizes and strides for a port definition, the bit rate's other copies) and passes what the
// session must know to the session, now or when the next one is created.
#include <atomic>
#include <cstring>
#include <iterator>

#include "buffer_formats/zvx_omx_metadata_buffers.h"
#include "core/zvx_omx_settings_stores.h"
#include "parameters/zvx_omx_parameter_read.h"
#include "session/zvx_omx_session_settings.h"
#include "state/zvx_omx_state.h"
#include "settings/zvx_omx_parameter_table.h"
#include "zvx_omx_buffer_layout.h"
#include "zvx_omx_common_component.h"
#include "zvx_omx_common_component_role.h"
#include "zvx_omx_config.h"
#include "zvx_omx_extensions.h"
#include "zvx_omx_extra_data.h"
#include "zvx_omx_log.h"
#include "zvx_omx_parameters.h"
#include "zvx_omx_session.h"
#include "zvx_omx_strings.h"

namespace {

// The largest frame edge the hardware codes; it also keeps every size computation within 32 bits.
constexpr OMX_U32 zvxp_max_frame_dimension = 8192;

// Records to pass to the session once the lock is released: a stored one by index and port, or the
// client's own when nothing is stored (a one-off request). One set touches at most six.
struct zvxp_session_updates {
    struct update {
        OMX_INDEXTYPE index;
        OMX_U32 port;
        const void *record;
    };
    update items[6];
    int count = 0;

    void add(OMX_INDEXTYPE index, OMX_U32 port, const void *record = nullptr)
    {
        for (int i = 0; i < count; ++i)
            if (items[i].index == index && items[i].port == port)
                return;
        if (count < static_cast<int>(std::size(items)))
            items[count++] = {index, port, record};
    }
};

OMX_U32 zvxp_port_of(const void *record)
{
    OMX_U32 port;
    std::memcpy(&port, static_cast<const uint8_t *>(record) + ZVX_OMX_PORT_INDEX_OFFSET, sizeof(port));
    return port;
}

template <typename Record> Record *zvxp_stored(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_INDEXTYPE index)
{
    return static_cast<Record *>(zvx_omx_config_find(&comp->ports[port].config_and_params, index, 0));
}

// Overwrites the stored record in place, so that a reader holding the lock next sees all or nothing of it.
OMX_ERRORTYPE zvxp_store(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry, OMX_U32 port,
                         const void *record)
{
    void *stored = zvx_omx_config_find(zvx_omx_parameter_store(comp, entry.scope, port), entry.index, 0);
    if (stored == nullptr)
        return OMX_ErrorUnsupportedIndex;
    std::memcpy(stored, record, entry.size);
    zvx_omx_config_init_header(stored, entry.size);
    return OMX_ErrorNone;
}

// Stride, slice height, buffer size and the records that repeat them, from the frame size and format.
/* Sizes the frames port for its frame size and colour format, at least at the stride and slice height a
 * client asked for: a client that lays out its own pictures (an encoder's input) or reads them with its
 * own alignment gets buffers the session fills or reads at that layout. */
void zvxp_refresh_frame_port(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 asked_stride = 0,
                             OMX_U32 asked_slice_height = 0)
{
    OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    if (definition == nullptr)
        return;
    OMX_VIDEO_PORTDEFINITIONTYPE &video = definition->format.video;
    const bool tcx = zvx_omx_common_component_is_tcx_enabled(comp, port, nullptr, nullptr) != OMX_FALSE;
    OMX_U32 stride = 0;
    OMX_U32 size = common_component_cmd_calc_buffer_size_stride(video.nFrameWidth, video.nFrameHeight,
                                                                video.eColorFormat, tcx, &stride);
    const OMX_U32 slice_height = std::max(video.nFrameHeight, asked_slice_height);
    if (!tcx && stride != 0 && video.nFrameHeight != 0 &&
        (asked_stride > stride || slice_height > video.nFrameHeight) && asked_stride <= zvxp_max_frame_dimension * 4 &&
        slice_height <= zvxp_max_frame_dimension) {
        const OMX_U32 grown_stride = std::max(stride, asked_stride);
        // The same share of bytes per row as the format's own layout, over the grown rows.
        const uint64_t grown = uint64_t{size} * grown_stride / stride * slice_height / video.nFrameHeight;
        size = static_cast<OMX_U32>(std::min<uint64_t>(grown, UINT32_MAX / 2));
        stride = grown_stride;
    }
    video.nStride = static_cast<OMX_S32>(stride);
    video.nSliceHeight = stride != 0 && !tcx ? slice_height : video.nFrameHeight;
    // In store-metadata mode a buffer holds only the record that names the frame memory.
    definition->nBufferSize = zvx_omx_common_component_is_metadata_in_buffer_enabled(comp, port)
                                  ? zvx_omx_metadata_record_size()
                                  : size + zvx_omx_common_component_get_extra_data_size(comp, port);
    if (auto *buffer_size = zvxp_stored<QURO_PARAM_BUFFERSIZETYPE>(comp, port, OMX_IndexParamBufferSize)) {
        buffer_size->nWidth = video.nFrameWidth;
        buffer_size->nHeight = video.nFrameHeight;
        buffer_size->nStride = stride;
    }
    zvx_omx_common_component_update_crop_rect(comp, port, video.nFrameWidth, video.nFrameHeight);
}

// The port format entry that names the port's current colour format, for translation to the client.
void zvxp_select_port_format(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_COLOR_FORMATTYPE color)
{
    for (uint32_t sub_index = 0;; ++sub_index) {
        const auto *format = static_cast<const OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
            zvx_omx_config_find(&comp->ports[port].config_and_params, OMX_IndexParamVideoPortFormat, sub_index));
        if (format == nullptr)
            return;
        if (format->eColorFormat == color) {
            comp->ports[port].port_format_index = sub_index;
            return;
        }
    }
}

// The bitstream port's buffers grow with the other port's frames.
void zvxp_grow_bitstream_buffers(struct zvx_omx_common_component *comp, zvxp_session_updates &updates)
{
    const OMX_U32 bitstream = zvx_omx_common_component_get_bitstream_port_index(comp);
    zvx_omx_common_component_update_buffer_size(comp, bitstream);
    updates.add(OMX_IndexParamPortDefinition, bitstream);
}

// The input port names the frame size of the stream and the output follows it; a size the client
// leaves at 0 (a decoder that is to find it in the stream) is not passed on.
void zvxp_follow_frame_size(struct zvx_omx_common_component *comp, OMX_U32 port, zvxp_session_updates &updates)
{
    const OMX_U32 input = zvx_omx_common_component_get_input_port_index(comp);
    const OMX_U32 output = zvx_omx_common_component_get_output_port_index(comp);
    const OMX_PARAM_PORTDEFINITIONTYPE *input_definition = zvx_omx_port_get_definition(&comp->ports[input]);
    OMX_PARAM_PORTDEFINITIONTYPE *output_definition = zvx_omx_port_get_definition(&comp->ports[output]);
    if (port == input && input_definition != nullptr && output_definition != nullptr &&
        input_definition->format.video.nFrameWidth != 0 && input_definition->format.video.nFrameHeight != 0) {
        output_definition->format.video.nFrameWidth = input_definition->format.video.nFrameWidth;
        output_definition->format.video.nFrameHeight = input_definition->format.video.nFrameHeight;
        if (output == zvx_omx_common_component_get_yuv_port_index(comp))
            zvxp_refresh_frame_port(comp, output);
        updates.add(OMX_IndexParamPortDefinition, output);
    }
    zvxp_grow_bitstream_buffers(comp, updates);
}

// The target bit rate lives in three records; whichever the client sets, the others follow.
/* The codec records and the intra-period record say the same thing in their own terms: a client may set
 * any of them, and the session must not read an older value from another. */
void zvxp_share_key_frame_interval(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 p_frames,
                                   OMX_U32 b_frames, zvxp_session_updates &updates)
{
    if (auto *intra = zvxp_stored<QURO_CONFIG_INTRAPERIODTYPE>(comp, port, OMX_IndexConfigVideoIntraPeriod)) {
        intra->nPFrames = p_frames;
        intra->nBFrames = b_frames;
        updates.add(OMX_IndexConfigVideoIntraPeriod, port);
    }
    if (auto *avc = zvxp_stored<OMX_VIDEO_PARAM_AVCTYPE>(comp, port, OMX_IndexParamVideoAvc)) {
        avc->nPFrames = p_frames;
        avc->nBFrames = b_frames;
    }
}

/* The port's frame rate and the frame-rate configuration, likewise, on every port that keeps them. */
void zvxp_share_frame_rate(struct zvx_omx_common_component *comp, OMX_U32 frame_rate, zvxp_session_updates &updates)
{
    if (frame_rate == 0)
        return;
    for (OMX_U32 port = 0; port < ZVX_OMX_PORT_COUNT; ++port) {
        if (auto *config = zvxp_stored<OMX_CONFIG_FRAMERATETYPE>(comp, port, OMX_IndexConfigVideoFramerate)) {
            config->xEncodeFramerate = frame_rate;
            updates.add(OMX_IndexConfigVideoFramerate, port);
        }
        if (auto *definition = zvx_omx_port_get_definition(&comp->ports[port]))
            definition->format.video.xFramerate = frame_rate;
    }
}

void zvxp_share_bitrate(struct zvx_omx_common_component *comp, OMX_U32 port, OMX_U32 bitrate)
{
    if (auto *definition = zvx_omx_port_get_definition(&comp->ports[port]))
        definition->format.video.nBitrate = bitrate;
    if (auto *param = zvxp_stored<OMX_VIDEO_PARAM_BITRATETYPE>(comp, port, OMX_IndexParamVideoBitrate))
        param->nTargetBitrate = bitrate;
    if (auto *config = zvxp_stored<OMX_VIDEO_CONFIG_BITRATETYPE>(comp, port, OMX_IndexConfigVideoBitrate))
        config->nEncodeBitrate = bitrate;
}

OMX_ERRORTYPE zvxp_set_port_definition(struct zvx_omx_common_component *comp, OMX_U32 port,
                                       const OMX_PARAM_PORTDEFINITIONTYPE &given, zvxp_session_updates &updates)
{
    OMX_PARAM_PORTDEFINITIONTYPE *stored = zvx_omx_port_get_definition(&comp->ports[port]);
    if (stored == nullptr)
        return OMX_ErrorUnsupportedIndex;
    const OMX_VIDEO_PORTDEFINITIONTYPE &video = given.format.video;
    const bool frames = port == zvx_omx_common_component_get_yuv_port_index(comp);
    if (given.nBufferCountActual < stored->nBufferCountMin) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Too few buffers. port=%u, count=%u, minimum=%u. (%s:%d)",
                static_cast<unsigned>(port), static_cast<unsigned>(given.nBufferCountActual),
                static_cast<unsigned>(stored->nBufferCountMin));
        return OMX_ErrorBadParameter;
    }
    // Outside Loaded a port still holding buffers is being disabled: its count stays what they were
    // allocated for. And no port may hold more buffers than its count, or bPopulated could no longer say
    // what the client has.
    const size_t held = zvx_map_size(&comp->ports[port].registered_buffers);
    const OMX_STATETYPE state = zvx_omx_state_get(comp);
    if (held != 0 && given.nBufferCountActual != stored->nBufferCountActual && state != OMX_StateLoaded &&
        state != OMX_StateWaitForResources) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Buffer count of a port holding buffers. port=%u. (%s:%d)",
                static_cast<unsigned>(port));
        return OMX_ErrorIncorrectStateOperation;
    }
    if (given.nBufferCountActual < held) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Fewer buffers than the port holds. port=%u, count=%u. (%s:%d)",
                static_cast<unsigned>(port), static_cast<unsigned>(given.nBufferCountActual));
        return OMX_ErrorBadParameter;
    }
    if (video.nFrameWidth > zvxp_max_frame_dimension || video.nFrameHeight > zvxp_max_frame_dimension ||
        (frames && (video.nFrameWidth == 0 || video.nFrameHeight == 0))) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Unsupported frame size. port=%u, width=%u, height=%u. (%s:%d)",
                static_cast<unsigned>(port), static_cast<unsigned>(video.nFrameWidth),
                static_cast<unsigned>(video.nFrameHeight));
        return OMX_ErrorUnsupportedSetting;
    }
    if (frames && !zvx_omx_is_known_frame_format(video.eColorFormat)) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Unsupported colour format. port=%u, format=0x%08x. (%s:%d)",
                static_cast<unsigned>(port), static_cast<unsigned>(video.eColorFormat));
        return OMX_ErrorUnsupportedSetting;
    }
    // Only what a client may choose is taken; direction, domain, minimum count, population, the
    // coding (the role's) and the client's pointers stay as the component has them.
    stored->nBufferCountActual = given.nBufferCountActual;
    if (zvx_omx_port_update_populated(&comp->ports[port])) {
        zvx_omx_common_cproc_invoker_signal(&comp->cproc_invoker);
    }
    OMX_VIDEO_PORTDEFINITIONTYPE &kept = stored->format.video;
    kept.nFrameWidth = video.nFrameWidth;
    kept.nFrameHeight = video.nFrameHeight;
    if (video.xFramerate != kept.xFramerate)
        zvxp_share_frame_rate(comp, video.xFramerate, updates);
    kept.xFramerate = video.xFramerate;
    kept.bFlagErrorConcealment = video.bFlagErrorConcealment;
    if (frames) {
        kept.eColorFormat = video.eColorFormat;
        zvxp_select_port_format(comp, port, video.eColorFormat);
        zvxp_refresh_frame_port(comp, port, video.nStride > 0 ? static_cast<OMX_U32>(video.nStride) : 0,
                                video.nSliceHeight);
    } else {
        // A larger bitstream buffer is the client's to ask for; the lower bound follows below.
        stored->nBufferSize = given.nBufferSize;
        if (video.nBitrate != kept.nBitrate) {
            zvxp_share_bitrate(comp, port, video.nBitrate);
            updates.add(OMX_IndexParamVideoBitrate, port);
        }
    }
    updates.add(OMX_IndexParamPortDefinition, port);
    zvxp_follow_frame_size(comp, port, updates);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_set_port_format(struct zvx_omx_common_component *comp, OMX_U32 port,
                                   const OMX_VIDEO_PARAM_PORTFORMATTYPE &given, zvxp_session_updates &updates)
{
    OMX_PARAM_PORTDEFINITIONTYPE *definition = zvx_omx_port_get_definition(&comp->ports[port]);
    if (definition == nullptr)
        return OMX_ErrorUnsupportedIndex;
    const bool frames = port == zvx_omx_common_component_get_yuv_port_index(comp);
    for (uint32_t sub_index = 0;; ++sub_index) {
        const auto *format = static_cast<const OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
            zvx_omx_config_find(&comp->ports[port].config_and_params, OMX_IndexParamVideoPortFormat, sub_index));
        if (format == nullptr)
            return OMX_ErrorUnsupportedSetting;
        if (frames && format->eColorFormat == given.eColorFormat) {
            definition->format.video.eColorFormat = format->eColorFormat;
            comp->ports[port].port_format_index = sub_index;
            zvxp_refresh_frame_port(comp, port);
            break;
        }
        if (!frames && format->eCompressionFormat == given.eCompressionFormat) {
            definition->format.video.eCompressionFormat = format->eCompressionFormat;
            break;
        }
    }
    updates.add(OMX_IndexParamPortDefinition, port);
    zvxp_follow_frame_size(comp, port, updates);
    return OMX_ErrorNone;
}

// A port without a supported list takes any pair; the current pair may always be written back.
bool zvxp_profile_level_supported(struct zvx_omx_common_component *comp, OMX_U32 port,
                                  const OMX_VIDEO_PARAM_PROFILELEVELTYPE &given)
{
    const auto *current =
        zvxp_stored<OMX_VIDEO_PARAM_PROFILELEVELTYPE>(comp, port, OMX_IndexParamVideoProfileLevelCurrent);
    if (current != nullptr && current->eProfile == given.eProfile && current->eLevel == given.eLevel)
        return true;
    for (uint32_t sub_index = 0;; ++sub_index) {
        const auto *pair = static_cast<const OMX_VIDEO_PARAM_PROFILELEVELTYPE *>(zvx_omx_config_find(
            &comp->ports[port].config_and_params, OMX_IndexParamVideoProfileLevelQuerySupported, sub_index));
        if (pair == nullptr)
            return sub_index == 0;
        if (pair->eProfile == given.eProfile && pair->eLevel == given.eLevel)
            return true;
    }
}

// Caller holds the component lock.
OMX_ERRORTYPE zvxp_apply(struct zvx_omx_common_component *comp, const zvx_omx_parameter_entry &entry, OMX_U32 port,
                         const void *record, zvxp_session_updates &updates)
{
    switch (static_cast<OMX_U32>(entry.index)) {
    case OMX_IndexParamPortDefinition:
        return zvxp_set_port_definition(comp, port, *static_cast<const OMX_PARAM_PORTDEFINITIONTYPE *>(record),
                                        updates);
    case OMX_IndexParamVideoPortFormat:
        return zvxp_set_port_format(comp, port, *static_cast<const OMX_VIDEO_PARAM_PORTFORMATTYPE *>(record), updates);
    case OMX_IndexConfigVideoIntraVOPRefresh:
        // A request for the next frame, kept nowhere: only an encoder's running session can honour it.
        if (comp->type != ZVX_OMX_ENCODER || port != zvx_omx_common_component_get_bitstream_port_index(comp))
            return OMX_ErrorUnsupportedIndex;
        updates.add(entry.index, port, record);
        return OMX_ErrorNone;
    case OMX_IndexParamVideoProfileLevelCurrent:
        if (!zvxp_profile_level_supported(comp, port, *static_cast<const OMX_VIDEO_PARAM_PROFILELEVELTYPE *>(record)))
            return OMX_ErrorUnsupportedSetting;
        break;
    default:
        break;
    }
    const OMX_ERRORTYPE error = zvxp_store(comp, entry, port, record);
    if (error != OMX_ErrorNone)
        return error;
    if (entry.session)
        updates.add(entry.index, port);

    switch (static_cast<OMX_U32>(entry.index)) {
    case OMX_IndexParamVideoBitrate:
        zvxp_share_bitrate(comp, port, static_cast<const OMX_VIDEO_PARAM_BITRATETYPE *>(record)->nTargetBitrate);
        break;
    case OMX_IndexConfigVideoBitrate:
        zvxp_share_bitrate(comp, port, static_cast<const OMX_VIDEO_CONFIG_BITRATETYPE *>(record)->nEncodeBitrate);
        break;
    case OMX_IndexParamVideoAvc: {
        const auto &avc = *static_cast<const OMX_VIDEO_PARAM_AVCTYPE *>(record);
        zvxp_share_key_frame_interval(comp, port, avc.nPFrames, avc.nBFrames, updates);
        break;
    }
    case OMX_IndexParamVideoHevc: {
        const OMX_U32 interval = static_cast<const OMX_VIDEO_PARAM_HEVCTYPE *>(record)->nKeyFrameInterval;
        zvxp_share_key_frame_interval(comp, port, interval > 0 ? interval - 1 : 0, 0, updates);
        break;
    }
    case OMX_IndexParamVideoAndroidVp8Encoder: {
        const OMX_U32 interval = static_cast<const OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE *>(record)->nKeyFrameInterval;
        zvxp_share_key_frame_interval(comp, port, interval > 0 ? interval - 1 : 0, 0, updates);
        break;
    }
    case OMX_IndexConfigVideoIntraPeriod: {
        const auto &intra = *static_cast<const QURO_CONFIG_INTRAPERIODTYPE *>(record);
        if (auto *avc = zvxp_stored<OMX_VIDEO_PARAM_AVCTYPE>(comp, port, OMX_IndexParamVideoAvc)) {
            avc->nPFrames = intra.nPFrames;
            avc->nBFrames = intra.nBFrames;
        }
        break;
    }
    case OMX_IndexConfigVideoFramerate:
        zvxp_share_frame_rate(comp, static_cast<const OMX_CONFIG_FRAMERATETYPE *>(record)->xEncodeFramerate, updates);
        updates.add(OMX_IndexParamPortDefinition, zvx_omx_common_component_get_input_port_index(comp));
        break;
    case OMX_IndexParamEnableTCX:
        zvxp_refresh_frame_port(comp, port);
        updates.add(OMX_IndexParamPortDefinition, port);
        break;
    case OMX_IndexParamEnableStoreMetaData:
        if (port == zvx_omx_common_component_get_yuv_port_index(comp)) {
            zvxp_refresh_frame_port(comp, port);
            updates.add(OMX_IndexParamPortDefinition, port);
        }
        zvxp_grow_bitstream_buffers(comp, updates);
        break;
    default:
        break;
    }
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvxp_set_role(struct zvx_omx_common_component *comp, const OMX_PARAM_COMPONENTROLETYPE &given)
{
    const char *role = reinterpret_cast<const char *>(given.cRole);
    if (std::memchr(role, '\0', sizeof(given.cRole)) == nullptr) {
        ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_ERROR, "Role is not terminated within %zu bytes. (%s:%d)",
                sizeof(given.cRole));
        return OMX_ErrorBadParameter;
    }
    return zvx_omx_common_component_set_role(comp, role);
}

// Without a session the stores keep the records; the session's creation passes them on.
void zvxp_update_session(struct zvx_omx_common_component *comp, const zvxp_session_updates &updates)
{
    if (!zvx_omx_session_is_open(comp))
        return;
    for (int i = 0; i < updates.count; ++i) {
        const zvxp_session_updates::update &update = updates.items[i];
        const zvx_omx_parameter_entry *entry = zvx_omx_parameter_find(update.index);
        if (update.record != nullptr)
            zvx_omx_session_pass_record(comp, update.index, update.record, entry->size);
        else
            zvx_omx_session_pass_stored(comp, *entry, update.port);
    }
}

OMX_ERRORTYPE zvxp_set_parameter(struct zvx_omx_common_component *comp, OMX_INDEXTYPE index, const void *record)
{
    if (comp == nullptr || record == nullptr)
        return OMX_ErrorBadParameter;
    const zvx_omx_parameter_entry *entry = zvx_omx_parameter_find(index);
    if (entry == nullptr || (entry->access & ZVX_OMX_PARAMETER_SET) == 0)
        return OMX_ErrorUnsupportedIndex;
    zvx_omx_strings_log_record("SetParameter", comp->omx_component, index, entry->layout(), record);
    if (index == OMX_IndexParamStandardComponentRole)
        return zvxp_set_role(comp, *static_cast<const OMX_PARAM_COMPONENTROLETYPE *>(record));
    const OMX_U32 port = entry->scope == zvx_omx_parameter_scope::port ? zvxp_port_of(record) : 0;
    if (port >= ZVX_OMX_PORT_COUNT)
        return OMX_ErrorBadPortIndex;

    zvxp_session_updates updates;
    OMX_ERRORTYPE error;
    {
        zvx_omx_mutex_guard lock(&comp->lock);
        error = zvxp_apply(comp, *entry, port, record, updates);
    }
    if (error == OMX_ErrorNone)
        zvxp_update_session(comp, updates);
    return error;
}

} // namespace

bool common_component_cmd_set_parameter(struct zvx_omx_common_component *comp,
                                        struct zvx_omx_common_cproc_command_data *command)
{
    if (command == nullptr)
        return true;
    auto *set = reinterpret_cast<struct command_set_parameter_data *>(command);
    set->error = zvxp_set_parameter(comp, set->index, set->param);
    if (set->waiter != nullptr) {
        // The waiter lives on the client's stack: after the post it may be gone.
        set->waiter->error = set->error;
        zvxu_semaphore_post(&set->waiter->done);
    }
    return true;
}
