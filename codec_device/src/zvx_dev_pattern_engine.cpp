#include "zvx_dev_pattern_engine.h"

#include <OMX_Core.h>

#include <algorithm>

#include "zvx_dev_picture.h"

namespace zvx_dev {

PatternEngine::PatternEngine(const EngineSetting &setting)
    : setting_(setting), decode_geometry_{setting.script.stream_width, setting.script.stream_height}
{
    stream_.set_reorder_depth(setting_.script.reorder_depth);
}

void PatternEngine::script_changed()
{
    stream_.set_reorder_depth(setting_.script.reorder_depth);
    if (!started_)
        decode_geometry_ = {setting_.script.stream_width, setting_.script.stream_height};
}

void PatternEngine::step(zvx_dev_engine_step where, uint32_t picture) const
{
    if (setting_.script.inside_engine)
        setting_.script.inside_engine(where, picture);
}

Geometry PatternEngine::geometry_of_next_picture(uint32_t number, zvx_dev_report *report)
{
    const zvx_dev_script &script = setting_.script;
    if (!setting_.decoder) {
        *report = zvx_dev_report::port_definition;
        const std::optional<zvx_dev_port_definition> input = setting_.parameters.port_definition(INPUT_PORT);
        if (input && input->nFrameWidth != 0 && input->nFrameHeight != 0)
            return {input->nFrameWidth, input->nFrameHeight};
        return {script.stream_width, script.stream_height};
    }
    *report = script.stream_report;
    if (script.stream_size_from_input_port) {
        const std::optional<zvx_dev_port_definition> input = setting_.parameters.port_definition(INPUT_PORT);
        if (input && input->nFrameWidth != 0 && input->nFrameHeight != 0)
            return {input->nFrameWidth, input->nFrameHeight};
    }
    for (const zvx_dev_resolution_change &change : script.resolution_changes) {
        if (change.at_frame == number) {
            decode_geometry_ = {change.width, change.height};
            *report = change.report;
        }
    }
    return decode_geometry_;
}

void PatternEngine::consume(const EngineInput &input)
{
    const bool has_picture = !input.data.empty();
    if (has_picture) {
        step(zvx_dev_engine_step::consume, input.number);
        Picture picture;
        picture.number = input.number;
        picture.timestamp = input.timestamp;
        zvx_dev_report report;
        picture.geometry = geometry_of_next_picture(input.number, &report);
        picture.key = !setting_.decoder && picture.number % std::max<uint32_t>(setting_.script.key_interval, 1) == 0;
        stream_.add_picture(picture, report);
        started_ = true;
    }
    if ((input.flags & OMX_BUFFERFLAG_EOS) != 0)
        stream_.end_stream(input.timestamp, has_picture);
}

std::optional<WrittenPicture> PatternEngine::write_picture(const Picture &picture, const PictureTarget &target)
{
    const Geometry frame = allocation_geometry(picture.geometry);
    const zvx_dev_picture_layout layout =
        zvx_dev_layout_picture(target.color_format, frame.width, frame.height, target.stride, target.slice_height);
    if (layout.total_bytes > target.memory.size())
        return std::nullopt;
    step(zvx_dev_engine_step::write, picture.number);
    zvx_dev_write_picture(target.memory.data(), layout, picture.number);
    return WrittenPicture{layout.total_bytes, layout.planes[0].stride, frame};
}

uint32_t PatternEngine::bitstream_length(const Picture &picture) const
{
    return zvx_dev_bitstream_length(picture.geometry.width, picture.geometry.height, picture.key);
}

void PatternEngine::write_bitstream(const Picture &picture, uint32_t position, std::span<uint8_t> memory) const
{
    step(zvx_dev_engine_step::write, picture.number);
    zvx_dev_write_bitstream(memory.data(), position, static_cast<uint32_t>(memory.size()), picture.number);
}

} // namespace zvx_dev
