// The session speaks OpenMAX 1.2.0 with 32-bit pointer fields and its own buffer formats; the client
// speaks 1.1.2. These conversions are the only place the two meet.
#include "zvx_omx_translate.h"

#include "zvx_omx_config.h"

namespace {

constexpr OMX_U32 zvxp_version_120 = 0x00000201;
constexpr OMX_U32 zvxp_version_110 = 0x00000101;

OMX_U32 zvxp_low_word(const void *pointer)
{
    return static_cast<OMX_U32>(reinterpret_cast<uintptr_t>(pointer));
}

void *zvxp_widen(OMX_U32 word)
{
    return reinterpret_cast<void *>(static_cast<uintptr_t>(word));
}

bool zvxp_is_10_bit(OMX_COLOR_FORMATTYPE format)
{
    return format == OMX_COLOR_FormatL4 || format == QURO_COLOR_FormatYUYAAYVYAA_10b ||
           format == QURO_COLOR_FormatAAYUYAAYVY_10b;
}

} // namespace

void zvx_omx_translate_112_to_120_IndexParamPortDefinition(kern_omx120_param_portdefinitiontype *_120,
                                                           OMX_PARAM_PORTDEFINITIONTYPE *_112, bool decoder)
{
    _120->nSize = sizeof(kern_omx120_param_portdefinitiontype);
    _120->nVersion = zvxp_version_120;
    _120->nPortIndex = _112->nPortIndex;
    _120->eDir = _112->eDir;
    _120->nBufferCountActual = _112->nBufferCountActual;
    _120->nBufferCountMin = _112->nBufferCountMin;
    _120->nBufferSize = _112->nBufferSize;
    _120->bEnabled = _112->bEnabled;
    _120->bPopulated = _112->bPopulated;
    _120->eDomain = _112->eDomain;

    const OMX_VIDEO_PORTDEFINITIONTYPE &src = _112->format.video;
    kern_omx120_video_portdefinitiontype &dst = _120->format.video;
    dst.pNativeRender = zvxp_low_word(src.pNativeRender);
    dst.nFrameWidth = src.nFrameWidth;
    dst.nFrameHeight = src.nFrameHeight;
    dst.nStride = static_cast<OMX_U32>(src.nStride);
    dst.nSliceHeight = src.nSliceHeight;
    dst.nBitrate = decoder ? 0 : src.nBitrate;
    dst.xFramerate = decoder ? 0 : src.xFramerate;
    dst.bFlagErrorConcealment = src.bFlagErrorConcealment;
    dst.eCompressionFormat = src.eCompressionFormat;
    dst.eColorFormat = src.eColorFormat;
    dst.pNativeWindow = zvxp_low_word(src.pNativeWindow);

    _120->bBuffersContiguous = _112->bBuffersContiguous;
    _120->nBufferAlignment = _112->nBufferAlignment;
}

void zvx_omx_translate_120_to_112_IndexParamPortDefinition(OMX_PARAM_PORTDEFINITIONTYPE *_112,
                                                           kern_omx120_param_portdefinitiontype *_120)
{
    _112->nSize = sizeof(OMX_PARAM_PORTDEFINITIONTYPE);
    _112->nVersion.nVersion = zvxp_version_110;
    _112->nPortIndex = _120->nPortIndex;
    _112->eDir = static_cast<OMX_DIRTYPE>(_120->eDir);
    _112->nBufferCountActual = _120->nBufferCountActual;
    _112->nBufferCountMin = _120->nBufferCountMin;
    _112->nBufferSize = _120->nBufferSize;
    _112->bEnabled = static_cast<OMX_BOOL>(_120->bEnabled);
    _112->bPopulated = static_cast<OMX_BOOL>(_120->bPopulated);
    _112->eDomain = static_cast<OMX_PORTDOMAINTYPE>(_120->eDomain);

    // Field by field, so that the padding before pNativeWindow keeps what the caller had there.
    const kern_omx120_video_portdefinitiontype &src = _120->format.video;
    OMX_VIDEO_PORTDEFINITIONTYPE &dst = _112->format.video;
    dst.cMIMEType = nullptr;
    dst.pNativeRender = zvxp_widen(src.pNativeRender);
    dst.nFrameWidth = src.nFrameWidth;
    dst.nFrameHeight = src.nFrameHeight;
    dst.nStride = static_cast<OMX_S32>(src.nStride);
    dst.nSliceHeight = src.nSliceHeight;
    dst.nBitrate = src.nBitrate;
    dst.xFramerate = src.xFramerate;
    dst.bFlagErrorConcealment = static_cast<OMX_BOOL>(src.bFlagErrorConcealment);
    dst.eCompressionFormat = static_cast<OMX_VIDEO_CODINGTYPE>(src.eCompressionFormat);
    dst.eColorFormat = static_cast<OMX_COLOR_FORMATTYPE>(src.eColorFormat);
    dst.pNativeWindow = zvxp_widen(src.pNativeWindow);

    _112->bBuffersContiguous = static_cast<OMX_BOOL>(_120->bBuffersContiguous);
    _112->nBufferAlignment = _120->nBufferAlignment;
}

OMX_ERRORTYPE zvx_omx_translate_color_format(zvx_omx_common_component *component, OMX_COLOR_FORMATTYPE src_fmt,
                                             enum zvx_base_omx_buffer_format *dst_fmt, uint32_t nPortIndex,
                                             zvxp_omx_gralloc_handle, zvx_omx_common_bufferheadertype *)
{
    if (component == nullptr)
        return OMX_ErrorBadParameter;

    if (zvx_omx_common_component_is_tcx_enabled(component, nPortIndex, nullptr, nullptr)) {
        *dst_fmt =
            zvxp_is_10_bit(src_fmt) ? ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX_10B : ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX;
        return OMX_ErrorNone;
    }

    switch (static_cast<uint32_t>(src_fmt)) {
    case OMX_COLOR_FormatYUV420SemiPlanar:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR;
        break;
    case QURO_COLOR_FormatYVU420SemiPlanar:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YVU420_SEMIPLANAR;
        break;
    case QURO_COLOR_FormatYUYAAYVYAA_10b:
    case QURO_COLOR_FormatAAYUYAAYVY_10b:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B;
        break;
    case QURO_COLOR_FormatYUV422_1P:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YUV422_1P;
        break;
    case QURO_COLOR_FormatYVU422_1P:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YVU422_1P;
        break;
    case OMX_COLOR_Format32bitBGRA8888:
        if (!zvx_is_rgb_input_supported())
            return OMX_ErrorBadParameter;
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_BGRA_8888;
        break;
    case OMX_COLOR_Format32bitARGB8888:
        if (!zvx_is_rgb_input_supported())
            return OMX_ErrorBadParameter;
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_ARGB_8888;
        break;
    default:
        *dst_fmt = ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR;
        break;
    }
    return OMX_ErrorNone;
}

OMX_COLOR_FORMATTYPE zvx_omx_translate_color_format_to_v1(enum zvx_base_omx_buffer_format src_fmt)
{
    switch (src_fmt) {
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_PLANAR:
    case ZVX_BASE_OMX_BUFFER_FORMAT_YV12:
        return OMX_COLOR_FormatYUV420Planar;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_SEMIPLANAR:
        return OMX_COLOR_FormatYUV420SemiPlanar;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUYYVY_10B:
        return QURO_COLOR_FormatYUYAAYVYAA_10b;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX:
        return QURO_COLOR_FormatYUV420TCX;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUV420_TCX_10B:
        return QURO_COLOR_FormatYUV420TCX_10b;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YUV422_1P:
        return QURO_COLOR_FormatYUV422_1P;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YVU422_1P:
        return QURO_COLOR_FormatYVU422_1P;
    case ZVX_BASE_OMX_BUFFER_FORMAT_YVU420_SEMIPLANAR:
        return QURO_COLOR_FormatYVU420SemiPlanar;
    case ZVX_BASE_OMX_BUFFER_FORMAT_BGRA_8888:
        return OMX_COLOR_Format32bitBGRA8888;
    case ZVX_BASE_OMX_BUFFER_FORMAT_ARGB_8888:
        return OMX_COLOR_Format32bitARGB8888;
    default:
        return static_cast<OMX_COLOR_FORMATTYPE>(src_fmt);
    }
}

void zvx_omx_translate_color_format_to_client(kern_omx120_param_portdefinitiontype *_120, struct zvx_map *array,
                                              uint32_t port_format_index)
{
    if (array == nullptr)
        return;
    const auto *port_format = static_cast<const OMX_VIDEO_PARAM_PORTFORMATTYPE *>(
        zvx_omx_config_find(array, OMX_IndexParamVideoPortFormat, port_format_index));
    if (port_format == nullptr)
        return;
    _120->format.video.eColorFormat = port_format->eColorFormat;
}
