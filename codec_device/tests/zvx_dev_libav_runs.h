#ifndef ZVX_DEV_LIBAV_RUNS_H
#define ZVX_DEV_LIBAV_RUNS_H

/* Whole decodes and encodes through a libavcodec device, driven as the component drives it. */

#include <cstdint>
#include <vector>

#include "zvx_av_picture_layout.h"
#include "zvx_codec_device.h"
#include "zvx_dev_records.h"

namespace zvx_dev_test {

struct DeviceInput {
    std::vector<uint8_t> data;
    uint64_t timestamp = 0;
    uint32_t flags = 0;
};

struct DecodeOptions {
    uint32_t color_format = 21; /* OMX_COLOR_FormatYUV420SemiPlanar */
    zvx_av::ColourFormat written_as = zvx_av::ColourFormat::nv12;
    zvx_dev_script script;
    uint32_t output_buffer_bytes = 4 << 20;
    /* Flush both ports once this many pictures are out, then go on from input `resume_at`. */
    int flush_after_pictures = -1;
    size_t resume_at = 0;
};

struct DecodeResult {
    std::vector<uint8_t> pictures; /* each visible picture tight, one after another */
    std::vector<uint64_t> timestamps;
    std::vector<zvx_base_fw_frame_alloc_parameters> allocations;
    std::vector<zvx_base_response_sequence_parameters> sequences;
    std::vector<zvx_base_buffer_param> colours;
    uint32_t errors = 0;
    uint32_t inputs_back = 0;
    uint32_t inputs_sent = 0;
    uint32_t rejected = 0;
    size_t pictures_before_flush = 0; /* out when both flushes were answered */
    bool ended = false;               /* an output carried EOS */
    bool hung = false;
    zvx_dev_stats stats{};
    zvx_dev_port_definition output_definition{}; /* as the device answers at the end */
};

/* Sends every input (then an empty one flagged EOS) as buffers come back, takes the pictures out and
 * carries on after each announcement as the component does; stops at the EOS output, a hung session
 * or 20 s without an event. */
DecodeResult decode_through_device(const char *role, const std::vector<DeviceInput> &inputs,
                                   const DecodeOptions &options = {});

struct EncodeOptions {
    uint32_t width = 176;
    uint32_t height = 144;
    uint32_t output_buffer_size = 1 << 20;
    /* Records set before the first picture, each as {index, bytes}. */
    std::vector<std::pair<uint32_t, std::vector<uint8_t>>> settings;
    /* Records set just before the picture at that index is queued. */
    std::vector<std::pair<uint32_t, std::pair<uint32_t, std::vector<uint8_t>>>> changes;
};

struct EncodedOutput {
    std::vector<uint8_t> bytes; /* a whole packet, its chunks joined */
    uint32_t flags = 0;         /* of its last chunk, with SYNCFRAME and CODECCONFIG of any */
    uint64_t timestamp = 0;
};

struct EncodeResult {
    std::vector<EncodedOutput> outputs;
    uint32_t inputs_back = 0;
    uint32_t errors = 0;
    bool ended = false;
};

/* Encodes I420 pictures of the options' size, one a buffer, then an empty EOS buffer. */
EncodeResult encode_through_device(const char *role, const std::vector<std::vector<uint8_t>> &pictures,
                                   const EncodeOptions &options);

template <typename Record> std::vector<uint8_t> record_bytes(const Record &record)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    return {bytes, bytes + sizeof(record)};
}

} // namespace zvx_dev_test

#endif
