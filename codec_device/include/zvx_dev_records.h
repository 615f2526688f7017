#ifndef ZVX_DEV_RECORDS_H
#define ZVX_DEV_RECORDS_H

/*
 * The session's own records, as a device reads and writes them: OpenMAX 1.2 layouts in which every
 * word is 32 bits wide, whatever width the host's OMX_U32 has.
 */

#include <cstdint>

/* Packed 1.2.0.0: major, minor, revision, step from the low byte up. */
inline constexpr uint32_t ZVX_DEV_VERSION_1_2 = 0x00000201;

/* Parameter indices the session answers beside the standard port definition and port format. */
inline constexpr uint32_t ZVX_DEV_INDEX_SEQUENCE_PARAMETERS = 0x7f460001;

/* Payload word 0 of ZVX_BASE_EVENT_GENERIC that announces a changed port definition (word 1: port). */
inline constexpr uint32_t ZVX_DEV_GENERIC_PORT_DEFINITION_CHANGED = 3;

/* zvx_flags bit of a returned output buffer that the session refused to fill. */
inline constexpr uint32_t ZVX_DEV_ZVX_FLAG_REJECTED = 0x1000;

struct zvx_dev_port_definition {
    uint32_t nSize;
    uint32_t nVersion;
    uint32_t nPortIndex;
    uint32_t eDir;
    uint32_t nBufferCountActual;
    uint32_t nBufferCountMin;
    uint32_t nBufferSize;
    uint32_t bEnabled;
    uint32_t bPopulated;
    uint32_t eDomain;
    uint32_t pNativeRender;
    uint32_t nFrameWidth;
    uint32_t nFrameHeight;
    uint32_t nStride;
    uint32_t nSliceHeight;
    uint32_t nBitrate;
    uint32_t xFramerate;
    uint32_t bFlagErrorConcealment;
    uint32_t eCompressionFormat;
    uint32_t eColorFormat;
    uint32_t pNativeWindow;
    uint32_t bBuffersContiguous;
    uint32_t nBufferAlignment;
};
static_assert(sizeof(zvx_dev_port_definition) == 92);

struct zvx_dev_port_format {
    uint32_t nSize;
    uint32_t nVersion;
    uint32_t nPortIndex;
    uint32_t nIndex;
    uint32_t eCompressionFormat;
    uint32_t eColorFormat;
    uint32_t xFramerate;
};
static_assert(sizeof(zvx_dev_port_format) == 28);

struct zvx_dev_sequence_parameters {
    uint32_t nSize;
    uint32_t nVersion;
    uint32_t nPortIndex;
    uint16_t nDisplayWidth;
    uint16_t nDisplayHeight;
    uint16_t nSampleAspectRatioWidth;
    uint16_t nSampleAspectRatioHeight;
    uint16_t bInterlace;
    uint16_t bFrameReordering;
    uint16_t nChromaSampleLocationTypeTopField;
    uint16_t nChromaSampleLocationTypeBottomField;
    uint16_t nColorMatrixCoefficients;
    uint16_t nProfile;
    uint16_t nLevel;
    uint16_t nBitDepthLumaMinus8;
    uint16_t nBitDepthChromaMinus8;
    uint16_t nChromaSampling;
};
static_assert(sizeof(zvx_dev_sequence_parameters) == 40);

#endif
