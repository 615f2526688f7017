#include "zvx_dev_libav_runs.h"

#include <OMX_Core.h>
#include <OMX_Index.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>

#include "zvx_dev_host.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace zvx_dev_test {

namespace {

constexpr int WAIT_MS = 20000;
constexpr int QUIET_MS = 200;
/* A device that refuses every buffer it is given would keep the run going for ever. */
constexpr uint32_t REJECTS_BEFORE_GIVING_UP = 1000;
constexpr uint32_t INPUT_BUFFERS = 4;
constexpr uint32_t OUTPUT_BUFFERS = 6;

/* The visible picture out of a buffer laid out at the returned stride and frame height. */
void take_visible(const uint8_t *buffer, const zvx_base_buffer_userspace &returned, zvx_av::ColourFormat format,
                  std::vector<uint8_t> &out)
{
    const int width = returned.cropx;
    const int height = returned.cropy;
    const int sample = format == zvx_av::ColourFormat::p010 || format == zvx_av::ColourFormat::i420_10 ? 2 : 1;
    const zvx_av::PictureLayout source{format, static_cast<int>(returned.stride), static_cast<int>(returned.height)};
    const zvx_av::PictureLayout tight{format, width * sample, height};
    const size_t at = out.size();
    out.resize(at + zvx_av::picture_bytes(tight, width, height));
    const zvx_av::PlanePointers from = zvx_av::lay_out_planes(source, width, height, const_cast<uint8_t *>(buffer));
    zvx_av::PlanePointers to = zvx_av::lay_out_planes(tight, width, height, out.data() + at);
    const uint8_t *from_data[4] = {from.data[0], from.data[1], from.data[2], from.data[3]};
    av_image_copy(to.data.data(), to.linesize.data(), from_data, from.linesize.data(), zvx_av::pixel_format_of(format),
                  width, height);
}

zvx_dev_script libav_script(zvx_dev_script script)
{
    script.engine = zvx_dev_engine::libav;
    return script;
}

} // namespace

DecodeResult decode_through_device(const char *role, const std::vector<DeviceInput> &inputs,
                                   const DecodeOptions &options)
{
    DecodeResult result;
    DeviceHost host(role, libav_script(options.script));
    if (!host.session)
        return result;
    host.set_port(1, 0, 0, options.color_format, OUTPUT_BUFFERS);
    size_t largest = 1;
    for (const DeviceInput &input : inputs)
        largest = std::max(largest, input.data.size());
    std::deque<zvx_base_buffer_handle_t> free_inputs;
    for (uint32_t i = 0; i < INPUT_BUFFERS; ++i)
        free_inputs.push_back(host.add_buffer(0, static_cast<uint32_t>(largest)));
    std::vector<zvx_base_buffer_handle_t> outputs;
    for (uint32_t i = 0; i < OUTPUT_BUFFERS; ++i)
        outputs.push_back(host.add_buffer(1, options.output_buffer_bytes));
    host.run();
    for (const zvx_base_buffer_handle_t id : outputs)
        host.queue(1, id);

    size_t next = 0;
    bool eos_sent = false;
    bool flushed = options.flush_after_pictures < 0;
    int flush_events_awaited = 0;
    size_t pictures = 0;
    while (!result.ended) {
        while (!free_inputs.empty() && !eos_sent && flush_events_awaited == 0) {
            const zvx_base_buffer_handle_t id = free_inputs.front();
            free_inputs.pop_front();
            if (next < inputs.size()) {
                const DeviceInput &input = inputs[next++];
                std::copy(input.data.begin(), input.data.end(), host.memory.at(id - 1)->begin());
                host.queue(0, id, static_cast<uint32_t>(input.data.size()), input.flags, input.timestamp);
            } else {
                host.queue(0, id, 0, OMX_BUFFERFLAG_EOS, inputs.empty() ? 0 : inputs.back().timestamp);
                eos_sent = true;
            }
            ++result.inputs_sent;
        }
        const DeviceEvent event = host.next(WAIT_MS);
        if (event.code == 0xFFFF)
            break;
        switch (event.code) {
        case ZVX_BASE_EVENT_INPUT:
            ++result.inputs_back;
            free_inputs.push_back(event.buffer().buffer_id);
            break;
        case ZVX_BASE_EVENT_OUTPUT: {
            const zvx_base_buffer_userspace returned = event.buffer();
            if ((returned.zvx_flags & ZVX_DEV_ZVX_FLAG_REJECTED) != 0 && ++result.rejected > REJECTS_BEFORE_GIVING_UP)
                return result;
            if (returned.filled_len > 0) {
                take_visible(host.data(returned.buffer_id), returned, options.written_as, result.pictures);
                result.timestamps.push_back(returned.timestamp);
                ++pictures;
            }
            result.ended = (returned.flags & OMX_BUFFERFLAG_EOS) != 0;
            if (!flushed && pictures == static_cast<size_t>(options.flush_after_pictures)) {
                zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_ALL_PORTS);
                flush_events_awaited = 2;
                flushed = true;
                next = options.resume_at;
            }
            host.queue(1, returned.buffer_id);
            break;
        }
        case ZVX_BASE_EVENT_INPUT_FLUSHED:
        case ZVX_BASE_EVENT_OUTPUT_FLUSHED:
            if (--flush_events_awaited == 0)
                result.pictures_before_flush = pictures;
            break;
        case ZVX_BASE_EVENT_ALLOC_PARAMS:
            result.allocations.push_back(event.as<zvx_base_fw_frame_alloc_parameters>());
            break;
        case ZVX_BASE_EVENT_SEQUENCE_PARAMS:
            result.sequences.push_back(event.as<zvx_base_response_sequence_parameters>());
            zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_OUTPUT_PORT);
            break;
        case ZVX_BASE_EVENT_BUFFER_PARAM:
            result.colours.push_back(event.as<zvx_base_buffer_param>());
            break;
        case ZVX_BASE_EVENT_ERROR:
            ++result.errors;
            break;
        case ZVX_BASE_EVENT_SESSION_HUNG:
            result.hung = true;
            result.stats = host.stats();
            return result;
        default:
            break;
        }
    }
    // Shuffled input returns may follow the end of stream.
    for (DeviceEvent late = host.next(QUIET_MS); late.code != 0xFFFF; late = host.next(QUIET_MS))
        result.inputs_back += late.code == ZVX_BASE_EVENT_INPUT ? 1 : 0;
    result.stats = host.stats();
    result.output_definition = host.parameter<zvx_dev_port_definition>(OMX_IndexParamPortDefinition);
    return result;
}

EncodeResult encode_through_device(const char *role, const std::vector<std::vector<uint8_t>> &pictures,
                                   const EncodeOptions &options)
{
    EncodeResult result;
    DeviceHost host(role, libav_script({}));
    if (!host.session)
        return result;
    host.set_port(0, options.width, options.height, 19 /* OMX_COLOR_FormatYUV420Planar */, 3, 25u << 16);
    auto set = [&](uint32_t index, const std::vector<uint8_t> &bytes) {
        std::vector<uint8_t> record = bytes;
        zvx_set_parameter(host.fd, static_cast<OMX_INDEXTYPE>(index), static_cast<OMX_U32>(record.size()),
                          record.data());
    };
    for (const auto &[index, bytes] : options.settings)
        set(index, bytes);

    const uint32_t picture_bytes = options.width * options.height * 3 / 2;
    std::deque<zvx_base_buffer_handle_t> free_inputs;
    for (int i = 0; i < 3; ++i)
        free_inputs.push_back(host.add_buffer(0, picture_bytes));
    for (int i = 0; i < 4; ++i)
        host.queue(1, host.add_buffer(1, options.output_buffer_size));
    host.run();

    size_t next = 0;
    bool eos_sent = false;
    EncodedOutput building;
    while (!result.ended) {
        while (!free_inputs.empty() && !eos_sent) {
            const zvx_base_buffer_handle_t id = free_inputs.front();
            free_inputs.pop_front();
            const uint64_t timestamp = next * 40000;
            if (next < pictures.size()) {
                for (const auto &[at, change] : options.changes)
                    if (at == next)
                        set(change.first, change.second);
                std::copy(pictures[next].begin(), pictures[next].end(), host.memory.at(id - 1)->begin());
                host.queue(0, id, picture_bytes, OMX_BUFFERFLAG_ENDOFFRAME, timestamp);
                ++next;
            } else {
                host.queue(0, id, 0, OMX_BUFFERFLAG_EOS, timestamp);
                eos_sent = true;
            }
        }
        const DeviceEvent event = host.next(WAIT_MS);
        if (event.code == 0xFFFF)
            break;
        if (event.code == ZVX_BASE_EVENT_INPUT) {
            ++result.inputs_back;
            free_inputs.push_back(event.buffer().buffer_id);
        } else if (event.code == ZVX_BASE_EVENT_GENERIC) {
            zvx_enqueue_flush_buffers(host.fd,
                                      ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_INPUT_PORT | ZVX_BASE_FLUSH_OUTPUT_PORT);
        } else if (event.code == ZVX_BASE_EVENT_ERROR) {
            ++result.errors;
        } else if (event.code == ZVX_BASE_EVENT_OUTPUT) {
            const zvx_base_buffer_userspace returned = event.buffer();
            result.ended = (returned.flags & OMX_BUFFERFLAG_EOS) != 0;
            const uint8_t *data = host.data(returned.buffer_id);
            building.bytes.insert(building.bytes.end(), data, data + returned.filled_len);
            host.queue(1, returned.buffer_id);
            if (returned.filled_len == 0)
                continue;
            building.flags |= returned.flags;
            building.timestamp = returned.timestamp;
            if ((returned.flags & (OMX_BUFFERFLAG_ENDOFFRAME | OMX_BUFFERFLAG_EOS)) != 0) {
                result.outputs.push_back(building);
                building = {};
            }
        }
    }
    return result;
}

} // namespace zvx_dev_test
