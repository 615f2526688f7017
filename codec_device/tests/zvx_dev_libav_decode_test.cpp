// Decodes through a device with the libavcodec engine match the ffmpeg program's byte for byte.
#include <gtest/gtest.h>

#include <OMX_Core.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "zvx_av_media_reader.h"
#include "zvx_av_test_streams.h"
#include "zvx_dev_host.h"
#include "zvx_dev_libav_runs.h"

namespace {

using zvx_av::ColourFormat;
using zvx_dev_test::decode_through_device;
using zvx_dev_test::DecodeOptions;
using zvx_dev_test::DecodeResult;
using zvx_dev_test::DeviceInput;

constexpr int FRAMES = 24;
constexpr uint32_t NV12 = 21;
constexpr uint32_t I420 = 19;
constexpr uint32_t P010 = 0x7f000009; /* QURO_COLOR_FormatYUV420_10b_MS */

class LibavDecode : public EmulatorTest {};

/* Access units with their container's timestamps (or counted ones), each flagged end of frame. */
std::vector<DeviceInput> access_units(const std::string &path, bool config_buffer = false)
{
    std::vector<DeviceInput> inputs;
    zvx_av::MediaReader reader;
    if (!reader.open(path).ok())
        return inputs;
    if (config_buffer && !reader.codec_config().empty())
        inputs.push_back({{reader.codec_config().begin(), reader.codec_config().end()}, 0, OMX_BUFFERFLAG_CODECCONFIG});
    zvx_av::AccessUnit unit;
    for (uint64_t counted = 0; reader.read(unit).ok(); counted += 40000) {
        const uint64_t timestamp =
            unit.timestamp_us != zvx_av::no_timestamp ? static_cast<uint64_t>(unit.timestamp_us) : counted;
        inputs.push_back({{unit.data().begin(), unit.data().end()}, timestamp, OMX_BUFFERFLAG_ENDOFFRAME});
    }
    return inputs;
}

std::vector<DeviceInput> chunks_of(const std::vector<uint8_t> &bytes, size_t max_piece)
{
    std::vector<DeviceInput> inputs;
    for (std::vector<uint8_t> &chunk : zvx_av_test::split_into_chunks(bytes, max_piece))
        inputs.push_back({std::move(chunk), 0, 0});
    return inputs;
}

struct StreamCase {
    const char *name;
    const char *role;
    const char *file;
    const char *size;
    const char *encode;
    const char *reference_format;
    uint32_t color_format;
    ColourFormat written_as;
    bool chunks; /* the codec's parser finds frames in arbitrary chunks */
};

const StreamCase STREAM_CASES[] = {
    {"AvcBFramesOddSize", "video_decoder.avc", "s.h264", "180x100", "-c:v libx264 -bf 2", "nv12", NV12,
     ColourFormat::nv12, true},
    {"AvcPlanar", "video_decoder.avc", "s.h264", "176x144", "-c:v libx264", "yuv420p", I420, ColourFormat::i420, true},
    {"Hevc", "video_decoder.hevc", "s.hevc", "176x144", "-c:v libx265 -x265-params log-level=error:bframes=2", "nv12",
     NV12, ColourFormat::nv12, true},
    {"Hevc10", "video_decoder.hevc", "s.h265", "176x144",
     "-pix_fmt yuv420p10le -c:v libx265 -x265-params log-level=error", "p010le", P010, ColourFormat::p010, true},
    {"Vp8", "video_decoder.vp8", "s.ivf", "176x144", "-c:v libvpx -b:v 300k", "nv12", NV12, ColourFormat::nv12, false},
    {"Vp9", "video_decoder.vp9", "s.ivf", "176x144", "-c:v libvpx-vp9 -b:v 300k -deadline realtime -cpu-used 8",
     "yuv420p", I420, ColourFormat::i420, false},
    {"Mpeg2", "video_decoder.mpeg2", "s.m2v", "176x144", "-c:v mpeg2video -bf 2 -g 12", "nv12", NV12,
     ColourFormat::nv12, true},
    {"Mpeg4", "video_decoder.mpeg4", "s.m4v", "176x144", "-c:v mpeg4 -bf 2 -f m4v", "nv12", NV12, ColourFormat::nv12,
     true},
    {"H263", "video_decoder.h263", "s.263", "176x144", "-c:v h263 -f h263", "yuv420p", I420, ColourFormat::i420, true},
};

class LibavDecodeMatchesFfmpeg : public LibavDecode, public testing::WithParamInterface<StreamCase> {};

TEST_P(LibavDecodeMatchesFfmpeg, AccessUnitsAndChunks)
{
    const StreamCase &stream = GetParam();
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file(stream.file);
    ASSERT_TRUE(zvx_av_test::make_stream(path, stream.size, FRAMES, stream.encode));
    const std::vector<uint8_t> reference = zvx_av_test::reference_decode(folder, path, stream.reference_format);
    ASSERT_FALSE(reference.empty());
    DecodeOptions options;
    options.color_format = stream.color_format;
    options.written_as = stream.written_as;

    for (const bool framed : {true, false}) {
        if (!framed && !stream.chunks)
            break;
        const char *how = framed ? "one access unit a buffer" : "arbitrary chunks";
        const DecodeResult result = decode_through_device(
            stream.role, framed ? access_units(path) : chunks_of(zvx_av_test::read_file(path), 700), options);
        EXPECT_TRUE(result.ended) << how;
        EXPECT_EQ(result.timestamps.size(), size_t{FRAMES}) << how;
        EXPECT_TRUE(result.pictures == reference) << how;
        EXPECT_EQ(result.inputs_back, result.inputs_sent) << how;
        EXPECT_EQ(result.errors, 0u) << how;
        ASSERT_FALSE(result.sequences.empty()) << how;
        EXPECT_EQ(result.sequences[0].bitdepth_luma, stream.written_as == ColourFormat::p010 ? 10 : 8) << how;
        EXPECT_EQ(result.stats.held_buffers[0], 0u) << how;
    }
    if (stream.written_as != ColourFormat::p010)
        return;
    // Buffers labelled packed 10-bit, sized two bytes a pixel, are too small for 16-bit samples: 8-bit ones come.
    options.color_format = 0x7f000005; /* QURO_COLOR_FormatYUYAAYVYAA_10b */
    options.written_as = ColourFormat::nv12;
    options.output_buffer_bytes = 176 * 144 * 2;
    const DecodeResult deep = decode_through_device(stream.role, access_units(path), options);
    EXPECT_TRUE(deep.ended);
    EXPECT_EQ(deep.timestamps.size(), size_t{FRAMES});
    EXPECT_EQ(deep.rejected, 0u);
    ASSERT_FALSE(deep.sequences.empty());
    EXPECT_EQ(deep.sequences[0].bitdepth_luma, 10);
    EXPECT_GE(deep.output_definition.nBufferSize, 176u * 2 * 144 * 3 / 2) << "what the device asks for";
}

INSTANTIATE_TEST_SUITE_P(Streams, LibavDecodeMatchesFfmpeg, testing::ValuesIn(STREAM_CASES),
                         [](const testing::TestParamInfo<StreamCase> &info) { return std::string(info.param.name); });

TEST_F(LibavDecode, ConfigurationBufferFirstThenPicturesInPresentationOrderWithSizeCropAndColourThroughScriptedFaults)
{
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file("s.mkv");
    ASSERT_TRUE(zvx_av_test::make_stream(path, "180x100", FRAMES,
                                         "-c:v libx264 -bf 3 -color_primaries bt709 -color_trc bt709 "
                                         "-colorspace bt709 -color_range tv"));
    const std::vector<uint8_t> reference = zvx_av_test::reference_decode(folder, path, "nv12");
    const std::vector<DeviceInput> inputs = access_units(path, true);
    ASSERT_EQ(inputs.front().flags, uint32_t{OMX_BUFFERFLAG_CODECCONFIG})
        << "a container keeps the configuration apart";

    const DecodeResult result = decode_through_device("video_decoder.avc", inputs);
    EXPECT_TRUE(result.pictures == reference);
    std::vector<uint64_t> presentation;
    for (size_t i = 1; i < inputs.size(); ++i)
        presentation.push_back(inputs[i].timestamp);
    std::sort(presentation.begin(), presentation.end());
    EXPECT_EQ(result.timestamps, presentation);

    // The frame is the visible picture, as it is written: the coded 192x112 stays inside the decoder.
    ASSERT_EQ(result.allocations.size(), 1u);
    EXPECT_EQ(result.allocations[0].planar_alloc_frame_width, 180);
    EXPECT_EQ(result.allocations[0].planar_alloc_frame_height, 100);
    EXPECT_EQ(result.allocations[0].cropx, 180);
    EXPECT_EQ(result.allocations[0].cropy, 100);
    ASSERT_EQ(result.sequences.size(), 1u);
    EXPECT_GE(result.sequences[0].num_buffers_planar, 4) << "references and reorder of a stream with B-frames";
    ASSERT_EQ(result.colours.size(), 1u);
    const zvx_base_buffer_param_colour_description &colour = result.colours[0].data.colour_description;
    EXPECT_EQ(result.colours[0].type, 15u);
    EXPECT_EQ(colour.range, 1);
    EXPECT_EQ(colour.colour_primaries, 1);
    EXPECT_EQ(colour.transfer_characteristics, 1);
    EXPECT_EQ(colour.matrix_coeff, 1);
    EXPECT_EQ(result.output_definition.nFrameWidth, 180u);
    EXPECT_EQ(result.output_definition.nFrameHeight, 100u);
    EXPECT_GE(result.output_definition.nStride, 180u);
    EXPECT_GE(result.output_definition.nBufferCountMin, result.sequences[0].num_buffers_planar);

    // The device's scripted faults act the same whichever engine decodes.
    DecodeOptions options;
    options.script.faults = {{zvx_dev_fault_kind::reject_outputs, 3, 2, 0, ""},
                             {zvx_dev_fault_kind::error_event, 5, 1, 0x80001020, "scripted"}};
    options.script.delays.input_us = 2000;
    options.script.delays.output_us = 1000;
    options.script.shuffle_events = true;
    options.script.shuffle_seed = 7;
    const DecodeResult faulted = decode_through_device("video_decoder.avc", inputs, options);
    EXPECT_TRUE(faulted.ended);
    EXPECT_TRUE(faulted.pictures == reference);
    EXPECT_EQ(faulted.rejected, 2u);
    EXPECT_EQ(faulted.errors, 1u);
    EXPECT_EQ(faulted.inputs_back, faulted.inputs_sent);

    options.script = {};
    options.script.faults = {{zvx_dev_fault_kind::session_hung, 4, 1, 0, ""}};
    const DecodeResult hung = decode_through_device("video_decoder.avc", inputs, options);
    EXPECT_TRUE(hung.hung);
    EXPECT_FALSE(hung.ended);
}

void queue_input(DeviceHost &host, const DeviceInput &input)
{
    const zvx_base_buffer_handle_t id = host.add_buffer(0, static_cast<uint32_t>(input.data.size()));
    std::copy(input.data.begin(), input.data.end(), const_cast<uint8_t *>(host.data(id)));
    host.queue(0, id, static_cast<uint32_t>(input.data.size()), input.flags, input.timestamp);
}

/* A running libavcodec decoder given `inputs` before the host has registered an output buffer. */
std::unique_ptr<DeviceHost> avc_decoder_given(const std::vector<DeviceInput> &inputs)
{
    zvx_dev_script script;
    script.engine = zvx_dev_engine::libav;
    auto host = std::make_unique<DeviceHost>("video_decoder.avc", script);
    host->set_port(1, 0, 0, NV12);
    host->run();
    for (const DeviceInput &input : inputs)
        queue_input(*host, input);
    return host;
}

/* Every input back until the device has been quiet for a while. */
uint32_t inputs_back_until_quiet(DeviceHost &host, std::vector<zvx_base_buffer_handle_t> *outputs)
{
    uint32_t inputs_back = 0;
    for (DeviceEvent event = host.next(); event.code != 0xFFFF; event = host.next(200)) {
        inputs_back += event.code == ZVX_BASE_EVENT_INPUT ? 1 : 0;
        if (event.code == ZVX_BASE_EVENT_OUTPUT)
            outputs->push_back(event.buffer().buffer_id);
    }
    return inputs_back;
}

/* A decode started while a picture waits for a buffer would keep it a picture's time from that buffer, yet
 * each buffer given back lets an input go back: a streaming thread may wait for one holding a seek's lock. */
TEST_F(LibavDecode, ReadyPictureWaitingForAnOutputBufferHoldsTheNextDecodeAndIsAnnouncedAheadOfItself)
{
    // More access units than a decoder with a frame thread a core holds back on most machines.
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file("s.h264");
    ASSERT_TRUE(zvx_av_test::make_stream(path, "176x144", 40, "-c:v libx264 -bf 2"));
    const std::vector<DeviceInput> inputs = access_units(path);
    std::unique_ptr<DeviceHost> host = avc_decoder_given(inputs);
    ASSERT_TRUE(host->session);
    std::vector<zvx_base_buffer_handle_t> filled;
    uint32_t inputs_back = inputs_back_until_quiet(*host, &filled);
    EXPECT_LT(inputs_back, inputs.size()) << "decoded ahead while the client set its buffers up";

    const zvx_base_buffer_handle_t outputs[] = {host->add_buffer(1, 1 << 20), host->add_buffer(1, 1 << 20)};
    host->queue(1, outputs[0]);
    const uint32_t back_for_the_buffer = inputs_back_until_quiet(*host, &filled);
    EXPECT_GT(back_for_the_buffer, 0u) << "the buffer given back let no input go back";
    inputs_back += back_for_the_buffer;
    EXPECT_EQ(filled, std::vector<zvx_base_buffer_handle_t>{outputs[0]});
    EXPECT_LT(inputs_back, inputs.size()) << "decoded ahead while the client held every buffer";
    EXPECT_EQ(host->stats().held_buffers[0], inputs.size() - inputs_back);

    host->queue(1, outputs[1]);
    EXPECT_EQ(host->expect(ZVX_BASE_EVENT_OUTPUT).buffer().buffer_id, outputs[1]) << "a decode came first";

    host = avc_decoder_given({});
    ASSERT_TRUE(host->session);
    // Fed one at a time: an input not taken back means a picture is out, waiting for an output buffer.
    size_t announced_at = inputs.size();
    size_t picture_out_at = inputs.size();
    for (size_t i = 0; i < inputs.size() && picture_out_at == inputs.size(); ++i) {
        queue_input(*host, inputs[i]);
        bool taken = false;
        for (DeviceEvent event = host->next(200); event.code != 0xFFFF; event = host->next(200)) {
            taken = taken || event.code == ZVX_BASE_EVENT_INPUT;
            if (event.code == ZVX_BASE_EVENT_SEQUENCE_PARAMS && announced_at == inputs.size())
                announced_at = i;
        }
        if (!taken)
            picture_out_at = i - 1;
    }
    ASSERT_LT(picture_out_at, inputs.size()) << "no picture came out";
    EXPECT_LT(announced_at, picture_out_at) << "announced with the first picture, not ahead of it";

    const zvx_base_buffer_handle_t output = host->add_buffer(1, 1 << 20);
    host->queue(1, output);
    EXPECT_EQ(host->expect(ZVX_BASE_EVENT_OUTPUT).buffer().buffer_id, output) << "announced again";
}

/* A real-time client's next decode waits half its pace, decoding from a copy of the input it gave back at
 * once; a seek's flush in that wait drops the copy undecoded and loses no buffer. */
TEST_F(LibavDecode, PacedClientsNextDecodeWaitsOnACopyOfItsInputAndAFlushMeanwhileOrMidStreamDropsWhatIsHeld)
{
    constexpr auto PACE = std::chrono::milliseconds(150);
    constexpr int SHOWN = 9; // the last three decoded from inputs given back before their decode
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file("s.h264");
    ASSERT_TRUE(zvx_av_test::make_stream(path, "176x144", 30, "-c:v libx264 -bf 0 -g 10 -x264-params scenecut=0"));
    const std::vector<uint8_t> reference = zvx_av_test::reference_decode(folder, path, "nv12");
    const size_t picture_bytes = reference.size() / 30;
    const std::vector<DeviceInput> inputs = access_units(path);
    std::unique_ptr<DeviceHost> host = avc_decoder_given(inputs);
    ASSERT_TRUE(host->session);
    std::vector<zvx_base_buffer_handle_t> filled;
    uint32_t inputs_back = inputs_back_until_quiet(*host, &filled);

    const zvx_base_buffer_handle_t output = host->add_buffer(1, 1 << 20);
    uint64_t decoded = 0;
    for (int shown = 0; shown < SHOWN; ++shown) {
        if (shown > 0)
            std::this_thread::sleep_for(PACE);
        decoded = host->stats().pictures_consumed;
        host->queue(1, output);
        DeviceEvent event = host->next();
        for (; event.code == ZVX_BASE_EVENT_INPUT; event = host->next())
            ++inputs_back;
        ASSERT_EQ(event.code, ZVX_BASE_EVENT_OUTPUT);
        ASSERT_GE(event.buffer().filled_len, picture_bytes);
        EXPECT_TRUE(std::equal(host->data(output), host->data(output) + picture_bytes,
                               reference.begin() + static_cast<std::ptrdiff_t>(shown * picture_bytes)))
            << "picture " << shown;
    }
    host->expect(ZVX_BASE_EVENT_INPUT); // the input to decode next, before its decode
    ++inputs_back;
    std::this_thread::sleep_for(PACE / 8);
    EXPECT_EQ(host->stats().pictures_consumed, decoded) << "decoded at once for a paced client";

    // A seeking player's sink gives its buffer back early while its streaming thread waits for an input
    // buffer: one more input goes back at once, still undecoded.
    host->queue(1, host->add_buffer(1, 1 << 20));
    host->expect(ZVX_BASE_EVENT_INPUT);
    ++inputs_back;
    EXPECT_EQ(host->stats().pictures_consumed, decoded) << "decoded when the client came back early";

    zvx_enqueue_flush_buffers(host->fd, ZVX_BASE_FLUSH_ALL_PORTS);
    int flushes = 0;
    while (flushes < 2) {
        const DeviceEvent event = host->next();
        ASSERT_NE(event.code, 0xFFFF) << "the flush was not answered";
        inputs_back += event.code == ZVX_BASE_EVENT_INPUT ? 1 : 0;
        flushes += event.code == ZVX_BASE_EVENT_INPUT_FLUSHED || event.code == ZVX_BASE_EVENT_OUTPUT_FLUSHED ? 1 : 0;
    }
    std::this_thread::sleep_for(PACE);
    EXPECT_EQ(host->stats().pictures_consumed, decoded) << "the input given back early was decoded after the flush";
    EXPECT_EQ(inputs_back, inputs.size());

    // Flushed mid-stream, going on from a key frame: a picture under way at the flush must not come out. The
    // paced device goes first, so that this decoder has the cores' threads and pictures under way.
    host.reset();
    DecodeOptions options;
    options.flush_after_pictures = 5;
    options.resume_at = 20;
    const DecodeResult result = decode_through_device("video_decoder.avc", access_units(path), options);
    EXPECT_TRUE(result.ended);
    ASSERT_EQ(result.timestamps.size(), result.pictures_before_flush + 10);
    ASSERT_GE(result.pictures_before_flush, 5u);
    EXPECT_TRUE(std::equal(result.pictures.begin(),
                           result.pictures.begin() + result.pictures_before_flush * picture_bytes, reference.begin()))
        << "pictures before the flush";
    EXPECT_TRUE(std::equal(result.pictures.end() - 10 * picture_bytes, result.pictures.end(),
                           reference.end() - 10 * picture_bytes))
        << "pictures from the key frame after it";
    EXPECT_EQ(result.inputs_back, result.inputs_sent) << "the flush returns the inputs it dropped";
}

TEST_F(LibavDecode, TwoStreamsOfDifferentSizesJoinedLoseNoPictureAcrossTheChange)
{
    zvx_av_test::TempFolder folder;
    const zvx_av_test::JoinedStreams joined =
        zvx_av_test::join_streams(folder, {"176x144", "128x96"}, 20, "-c:v libx264 -bf 3", "nv12");
    ASSERT_FALSE(joined.path.empty());

    for (const bool framed : {true, false}) {
        const DecodeResult result = decode_through_device("video_decoder.avc", framed ? access_units(joined.path)
                                                                                      : chunks_of(joined.bytes, 900));
        EXPECT_EQ(result.timestamps.size(), 40u) << (framed ? "framed" : "chunked");
        EXPECT_TRUE(result.pictures == joined.reference) << (framed ? "framed" : "chunked");
        ASSERT_EQ(result.allocations.size(), 2u);
        EXPECT_EQ(result.allocations[1].cropx, 128);
        EXPECT_EQ(result.allocations[1].cropy, 96);
        EXPECT_EQ(result.sequences.size(), 2u);
        EXPECT_EQ(result.inputs_back, result.inputs_sent);
    }
}

/* Streams that are not what their role says, cut short or noise still end with every input back. */
TEST_F(LibavDecode, CorruptTruncatedAndMislabelledStreamsEndWithEveryInputBack)
{
    zvx_av_test::TempFolder folder;
    const std::string avc = folder.file("s.h264");
    const std::string vp9 = folder.file("s.ivf");
    ASSERT_TRUE(zvx_av_test::make_stream(avc, "176x144", 12, "-c:v libx264 -bf 2"));
    ASSERT_TRUE(zvx_av_test::make_stream(vp9, "176x144", 12, "-c:v libvpx-vp9 -deadline realtime -cpu-used 8"));
    const std::vector<DeviceInput> avc_units = access_units(avc);
    const std::vector<DeviceInput> vp9_units = access_units(vp9);

    std::vector<DeviceInput> flipped = avc_units;
    for (size_t i = 0; i < flipped.size(); ++i)
        for (size_t at = 7 + i; at < flipped[i].data.size(); at += 13)
            flipped[i].data[at] ^= static_cast<uint8_t>(0x5a + at);
    std::vector<DeviceInput> truncated = avc_units;
    for (DeviceInput &unit : truncated)
        unit.data.resize(unit.data.size() / 3);
    std::vector<DeviceInput> noise;
    for (unsigned i = 0; i < 12; ++i)
        noise.push_back({zvx_av_test::random_bytes(300 + i * 97, i), 0, i % 2 == 0 ? OMX_BUFFERFLAG_ENDOFFRAME : 0u});

    struct Case {
        const char *role;
        const std::vector<DeviceInput> &inputs;
    };
    const Case cases[] = {
        {"video_decoder.avc", flipped},   {"video_decoder.avc", truncated}, {"video_decoder.avc", vp9_units},
        {"video_decoder.vp9", avc_units}, {"video_decoder.vp8", vp9_units}, {"video_decoder.hevc", flipped},
        {"video_decoder.mpeg2", noise},   {"video_decoder.mpeg4", noise},   {"video_decoder.h263", noise},
        {"video_decoder.vc1", noise},     {"video_decoder.vc1", avc_units}, {"video_decoder.rv", noise},
        {"video_decoder.rv", vp9_units},  {"video_decoder.vp9", noise},     {"video_decoder.hevc", noise},
    };
    for (const Case &stream : cases) {
        const DecodeResult result = decode_through_device(stream.role, stream.inputs);
        EXPECT_TRUE(result.ended) << stream.role;
        EXPECT_EQ(result.inputs_back, result.inputs_sent) << stream.role;
        EXPECT_LE(result.timestamps.size(), stream.inputs.size()) << stream.role;
        EXPECT_EQ(result.stats.held_buffers[0], 0u) << stream.role;
    }
}

} // namespace
