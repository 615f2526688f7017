#include "zvx_dev_parameters.h"

#include <OMX_Index.h>

#include <algorithm>
#include <cstring>

#include "zvx_dev_picture.h"

namespace zvx_dev {

namespace {

constexpr uint32_t ZVXP_PORT_WORD_OFFSET = 8;
constexpr uint32_t ZVXP_DOMAIN_VIDEO = 2;
constexpr uint32_t ZVXP_COLOR_YUV420_PLANAR = 19;
constexpr uint32_t ZVXP_DEFAULT_BUFFER_COUNT = 4;

uint32_t zvxp_port_of(uint32_t size, const void *record)
{
    uint32_t port = 0;
    if (size >= ZVXP_PORT_WORD_OFFSET + sizeof(port))
        std::memcpy(&port, static_cast<const uint8_t *>(record) + ZVXP_PORT_WORD_OFFSET, sizeof(port));
    return port;
}

zvx_dev_port_definition zvxp_default_definition(uint32_t port, const StreamFacts &facts)
{
    zvx_dev_port_definition definition{};
    definition.nPortIndex = port;
    definition.eDir = port;
    definition.nBufferCountActual = ZVXP_DEFAULT_BUFFER_COUNT;
    definition.nBufferCountMin = ZVXP_DEFAULT_BUFFER_COUNT;
    definition.bEnabled = 1;
    definition.eDomain = ZVXP_DOMAIN_VIDEO;
    const bool picture_port = (port == OUTPUT_PORT) == facts.decoder;
    definition.eColorFormat = picture_port ? ZVXP_COLOR_YUV420_PLANAR : 0;
    return definition;
}

} // namespace

OMX_ERRORTYPE ParameterStore::set(uint32_t index, uint32_t size, const void *record)
{
    if (record == nullptr || size == 0)
        return OMX_ErrorBadParameter;
    const uint32_t port = zvxp_port_of(size, record);
    if (index == OMX_IndexParamPortDefinition) {
        if (size < sizeof(zvx_dev_port_definition))
            return OMX_ErrorBadParameter;
        if (port > OUTPUT_PORT)
            return OMX_ErrorBadPortIndex;
    }
    const auto *bytes = static_cast<const uint8_t *>(record);
    records_[{index, port}].assign(bytes, bytes + size);
    latest_[index].assign(bytes, bytes + size);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE ParameterStore::get(uint32_t index, uint32_t size, void *record) const
{
    if (record == nullptr || size == 0)
        return OMX_ErrorBadParameter;
    const auto found = records_.find({index, zvxp_port_of(size, record)});
    if (found == records_.end())
        return OMX_ErrorUnsupportedIndex;
    std::memcpy(record, found->second.data(), std::min<size_t>(size, found->second.size()));
    return OMX_ErrorNone;
}

std::optional<zvx_dev_port_definition> ParameterStore::port_definition(uint32_t port) const
{
    const auto found = records_.find({static_cast<uint32_t>(OMX_IndexParamPortDefinition), port});
    if (found == records_.end())
        return std::nullopt;
    zvx_dev_port_definition definition;
    std::memcpy(&definition, found->second.data(), sizeof(definition));
    return definition;
}

zvx_dev_port_definition answer_port_definition(const ParameterStore &store, uint32_t port, const StreamFacts &facts)
{
    zvx_dev_port_definition definition = store.port_definition(port).value_or(zvxp_default_definition(port, facts));
    definition.nSize = sizeof(definition);
    definition.nVersion = ZVX_DEV_VERSION_1_2;
    definition.nPortIndex = port;
    if (!facts.decoder || !facts.announced)
        return definition;
    const Geometry &picture = facts.announced->geometry;
    if (port == INPUT_PORT) {
        definition.nFrameWidth = picture.width;
        definition.nFrameHeight = picture.height;
        return definition;
    }
    const Geometry &frame = facts.announced->frame;
    definition.nFrameWidth = frame.width;
    definition.nFrameHeight = frame.height;
    definition.nStride = std::max(definition.nStride, frame.width);
    definition.nSliceHeight = std::max(definition.nSliceHeight, frame.height);
    definition.nBufferCountMin = std::max(definition.nBufferCountMin, facts.buffers_needed);
    definition.nBufferCountActual = std::max(definition.nBufferCountActual, definition.nBufferCountMin);
    const zvx_dev_picture_layout layout = zvx_dev_layout_picture(definition.eColorFormat, frame.width, frame.height,
                                                                 definition.nStride, definition.nSliceHeight);
    // Samples deeper than 8 bits take two bytes each.
    const uint32_t sample_bytes = facts.announced->bit_depth > 8 ? 2 : 1;
    definition.nBufferSize = std::max(definition.nBufferSize, layout.total_bytes * sample_bytes);
    return definition;
}

zvx_dev_sequence_parameters answer_sequence_parameters(uint32_t port, const StreamFacts &facts)
{
    zvx_dev_sequence_parameters sequence{};
    sequence.nSize = sizeof(sequence);
    sequence.nVersion = ZVX_DEV_VERSION_1_2;
    sequence.nPortIndex = port;
    if (facts.announced) {
        sequence.nDisplayWidth = static_cast<uint16_t>(facts.announced->geometry.width);
        sequence.nDisplayHeight = static_cast<uint16_t>(facts.announced->geometry.height);
        sequence.nBitDepthLumaMinus8 = static_cast<uint16_t>(std::max<int>(facts.announced->bit_depth - 8, 0));
        sequence.nBitDepthChromaMinus8 = sequence.nBitDepthLumaMinus8;
        if (facts.announced->colour)
            sequence.nColorMatrixCoefficients = facts.announced->colour->matrix;
    }
    sequence.nSampleAspectRatioWidth = 1;
    sequence.nSampleAspectRatioHeight = 1;
    sequence.bFrameReordering = facts.reordering ? 1 : 0;
    sequence.nChromaSampling = 1; /* 4:2:0 */
    return sequence;
}

zvx_dev_port_format answer_port_format(const ParameterStore &store, uint32_t port, uint32_t format_index,
                                       const StreamFacts &facts)
{
    const zvx_dev_port_definition definition = answer_port_definition(store, port, facts);
    zvx_dev_port_format format{};
    format.nSize = sizeof(format);
    format.nVersion = ZVX_DEV_VERSION_1_2;
    format.nPortIndex = port;
    format.nIndex = format_index;
    format.eCompressionFormat = definition.eCompressionFormat;
    format.eColorFormat = definition.eColorFormat;
    format.xFramerate = definition.xFramerate;
    return format;
}

} // namespace zvx_dev
