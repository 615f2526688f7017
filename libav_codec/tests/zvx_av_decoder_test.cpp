#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_encoder.h"
#include "zvx_av_picture_wrapper.h"
#include "zvx_av_test_streams.h"

extern "C" {
#include <libavutil/cpu.h>
}

namespace {

using zvx_av::Codec;
using zvx_av::ColourFormat;
using zvx_av_test::decode_all;
using zvx_av_test::DecodedPictures;

struct StreamCase {
    const char *name;
    Codec codec;
    const char *file;
    const char *size;
    const char *encode;
    const char *reference_format;
    ColourFormat format;
    bool chunks; /* the codec's parser finds frames in arbitrary chunks */
};

constexpr int FRAMES = 30;

const StreamCase STREAM_CASES[] = {
    {"AvcWithBFrames", Codec::avc, "s.h264", "176x144", "-c:v libx264 -bf 3 -g 12", "yuv420p", ColourFormat::i420,
     true},
    {"AvcCropped", Codec::avc, "s.264", "170x102", "-c:v libx264 -bf 2", "yuv420p", ColourFormat::i420, true},
    {"AvcNv12", Codec::avc, "s.h264", "176x144", "-c:v libx264", "nv12", ColourFormat::nv12, true},
    {"Hevc", Codec::hevc, "s.hevc", "176x144", "-c:v libx265 -x265-params log-level=error:bframes=2", "yuv420p",
     ColourFormat::i420, true},
    {"Hevc10Planar", Codec::hevc, "s.h265", "176x144", "-pix_fmt yuv420p10le -c:v libx265 -x265-params log-level=error",
     "yuv420p10le", ColourFormat::i420_10, true},
    {"Vp8", Codec::vp8, "s.ivf", "176x144", "-c:v libvpx -b:v 300k", "yuv420p", ColourFormat::i420, false},
    {"Vp9", Codec::vp9, "s.ivf", "176x144", "-c:v libvpx-vp9 -b:v 300k -deadline realtime -cpu-used 8", "yuv420p",
     ColourFormat::i420, false},
    {"Mpeg2", Codec::mpeg2, "s.m2v", "176x144", "-c:v mpeg2video -bf 2 -g 12", "yuv420p", ColourFormat::i420, true},
    {"Mpeg4", Codec::mpeg4, "s.m4v", "176x144", "-c:v mpeg4 -bf 2 -f m4v", "yuv420p", ColourFormat::i420, true},
    {"H263", Codec::h263, "s.263", "176x144", "-c:v h263 -f h263", "yuv420p", ColourFormat::i420, true},
};

/* Every eighth access unit gets a few bytes past its headers overwritten. */
std::vector<std::vector<uint8_t>> corrupt(std::vector<std::vector<uint8_t>> units)
{
    std::mt19937 random(99); // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must repeat
    for (size_t i = 1; i < units.size(); i += 8) {
        std::vector<uint8_t> &unit = units[i];
        for (int n = 0; n < 6 && unit.size() > 32; ++n)
            unit[32 + random() % (unit.size() - 32)] = static_cast<uint8_t>(random());
    }
    return units;
}

class DecodeMatchesFfmpeg : public testing::TestWithParam<StreamCase> {};

TEST_P(DecodeMatchesFfmpeg, FramedAndChunked)
{
    const StreamCase &stream = GetParam();
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file(stream.file);
    ASSERT_TRUE(zvx_av_test::make_stream(path, stream.size, FRAMES, stream.encode));
    const std::vector<uint8_t> reference = zvx_av_test::reference_decode(folder, path, stream.reference_format);
    ASSERT_FALSE(reference.empty());

    zvx_av::MediaReader reader;
    ASSERT_TRUE(reader.open(path).ok());
    EXPECT_EQ(reader.codec(), stream.codec);

    for (const bool framed : {true, false}) {
        if (!framed && !stream.chunks)
            break;
        const char *how = framed ? "one access unit a buffer" : "arbitrary chunks";
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        const DecodedPictures pictures =
            framed ? decode_all(decoder, zvx_av_test::read_access_units(path), true, stream.format)
                   : decode_all(decoder, zvx_av_test::split_into_chunks(zvx_av_test::read_file(path), 700), false,
                                stream.format);
        EXPECT_EQ(pictures.errors, 0) << how;
        EXPECT_EQ(pictures.formats.size(), size_t{FRAMES}) << how;
        EXPECT_TRUE(pictures.bytes == reference) << how;
    }

    // A client may split an access unit over buffers, flagging only the last; told so, the decoder
    // does not take a first buffer without the flag for a sign of chunks.
    zvx_av::Decoder pieces;
    zvx_av::DecoderSettings framed_in_pieces;
    framed_in_pieces.framing = zvx_av::InputFraming::access_units;
    ASSERT_TRUE(pieces.open(stream.codec, framed_in_pieces).ok());
    DecodedPictures by_pieces;
    for (const std::vector<uint8_t> &unit : zvx_av_test::read_access_units(path)) {
        const std::span<const uint8_t> whole(unit);
        const size_t half = unit.size() / 2;
        EXPECT_TRUE(pieces.send({whole.first(half), 0, false, false}).ok());
        EXPECT_TRUE(pieces.send({whole.subspan(half), 0, true, false}).ok());
        zvx_av_test::take_pictures(pieces, stream.format, by_pieces);
    }
    ASSERT_TRUE(pieces.end_stream().ok());
    zvx_av_test::take_pictures(pieces, stream.format, by_pieces);
    EXPECT_TRUE(by_pieces.bytes == reference) << "access units in two pieces";

    // GStreamer flags a stream's first access unit, parameter sets and picture together, as configuration:
    // at the start, and again after a flush.
    const std::vector<std::vector<uint8_t>> units = zvx_av_test::read_access_units(path);
    if (stream.codec == Codec::avc || stream.codec == Codec::hevc) {
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        for (const char *when : {"at the start", "after a flush"}) {
            const DecodedPictures flagged = decode_all(decoder, units, true, stream.format, true);
            EXPECT_EQ(flagged.errors, 0) << when;
            ASSERT_EQ(flagged.timestamps_us.size(), size_t{FRAMES}) << when;
            EXPECT_EQ(flagged.timestamps_us.front(), 0) << when;
            decoder.flush();
        }
    }

    // Corrupt, cut mid-unit or under another role's decoder: errors or fewer pictures, never a crash.
    for (const bool framed : {true, false}) {
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        EXPECT_LE(decode_all(decoder, corrupt(units), framed).formats.size(), size_t{FRAMES});
        std::vector<std::vector<uint8_t>> truncated(units.begin(), units.begin() + FRAMES / 2);
        truncated.back().resize(truncated.back().size() / 2);
        ASSERT_TRUE(decoder.open(stream.codec).ok());
        const DecodedPictures cut = decode_all(decoder, truncated, framed);
        EXPECT_LE(cut.formats.size(), size_t{FRAMES / 2});
        EXPECT_GE(cut.formats.size(), size_t{FRAMES / 2 - 2}) << "the whole units before the cut";
    }
    // With three frame threads the last two units are still held at the end: end_stream reports their errors.
    zvx_av::DecoderSettings three_threads;
    three_threads.thread_count = 3;
    for (int other = 0; other <= static_cast<int>(Codec::rv); ++other) {
        const auto codec = static_cast<Codec>(other);
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(codec, three_threads).ok());
        const DecodedPictures pictures = decode_all(decoder, units, true);
        EXPECT_LE(pictures.formats.size(), size_t{FRAMES}) << zvx_av::role_name(codec);
        if (codec == Codec::vp8 && stream.codec != codec) {
            EXPECT_EQ(pictures.errors, FRAMES - 1) << "no key frame: every send but the first two, and end_stream";
            zvx_av::DecoderSettings two_threads;
            two_threads.thread_count = 2;
            zvx_av::Decoder one_held;
            ASSERT_TRUE(one_held.open(codec, two_threads).ok());
            EXPECT_EQ(decode_all(one_held, units, true).errors, FRAMES) << "the unit held at the end is the drain's";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, DecodeMatchesFfmpeg, testing::ValuesIn(STREAM_CASES),
                         [](const testing::TestParamInfo<StreamCase> &info) { return std::string(info.param.name); });

TEST(Decoder, ReportsCodedSizeCropDepthAndColour)
{
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file("s.hevc");
    ASSERT_TRUE(zvx_av_test::make_stream(path, "170x102", 4,
                                         "-pix_fmt yuv420p10le -color_primaries bt2020 -color_trc smpte2084 "
                                         "-colorspace bt2020nc -color_range tv -c:v libx265 "
                                         "-x265-params log-level=error:level-idc=2"));
    zvx_av::Decoder decoder;
    ASSERT_TRUE(decoder.open(Codec::hevc).ok());
    const DecodedPictures pictures = decode_all(decoder, zvx_av_test::read_access_units(path), true);
    ASSERT_EQ(pictures.formats.size(), 4u);
    const zvx_av::PictureFormat &format = pictures.formats[0];
    EXPECT_EQ(format.coded_width % 8, 0);
    EXPECT_GE(format.coded_width, 170);
    EXPECT_GE(format.coded_height, 102);
    EXPECT_EQ(format.crop, (zvx_av::CropRect{0, 0, 170, 102}));
    EXPECT_EQ(format.bit_depth, 10);
    EXPECT_EQ(format.chroma, zvx_av::ChromaFormat::yuv420);
    EXPECT_EQ(format.colour, (zvx_av::ColourAspects{zvx_av::ColourRange::limited, 9, 16, 9}));
    EXPECT_EQ(decoder.frames_held().references, 16) << "level 2's bound for a picture under a quarter of its largest";
}

TEST(Decoder, ResolutionChangeBetweenTwoPicturesLosesNone)
{
    zvx_av_test::TempFolder folder;
    const zvx_av_test::JoinedStreams joined =
        zvx_av_test::join_streams(folder, {"176x144", "128x96"}, 20, "-c:v libx264 -bf 3", "yuv420p");
    ASSERT_FALSE(joined.path.empty());

    for (const bool framed : {true, false}) {
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(Codec::avc).ok());
        const DecodedPictures pictures =
            framed ? decode_all(decoder, zvx_av_test::read_access_units(joined.path), true)
                   : decode_all(decoder, zvx_av_test::split_into_chunks(joined.bytes, 900), false);
        ASSERT_EQ(pictures.formats.size(), 40u) << (framed ? "framed" : "chunked");
        EXPECT_TRUE(pictures.bytes == joined.reference) << (framed ? "framed" : "chunked");
        for (size_t i = 1; i < pictures.formats.size(); ++i)
            EXPECT_EQ(pictures.formats[i] == pictures.formats[i - 1], i != 20)
                << "between pictures " << i - 1 << " and " << i;
        EXPECT_EQ(pictures.formats.back().crop, (zvx_av::CropRect{0, 0, 128, 96}));
    }
}

/* An in-process x264 or x265 stream with B-frames: packets in decode order with their pictures'
 * timestamps, and the configuration apart. */
struct EncodedStream {
    std::vector<uint8_t> config;
    std::vector<std::vector<uint8_t>> packets;
    std::vector<int64_t> timestamps;
};

EncodedStream encode_pattern(Codec codec, int frames, int width = 128, int height = 96)
{
    zvx_av::EncoderSettings settings;
    settings.codec = codec;
    settings.width = width;
    settings.height = height;
    settings.b_frames = 3;
    settings.speed = zvx_av::EncoderSpeed::fast;
    zvx_av::Encoder encoder;
    EncodedStream stream;
    if (!encoder.open(settings).ok())
        return stream;
    stream.config.assign(encoder.codec_config().begin(), encoder.codec_config().end());
    std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 3 / 2);
    auto take = [&] {
        while (std::optional<zvx_av::EncodedPacket> packet = encoder.receive()) {
            stream.packets.emplace_back(packet->data().begin(), packet->data().end());
            stream.timestamps.push_back(packet->timestamp_us);
        }
    };
    for (int i = 0; i < frames; ++i) {
        std::fill(picture.begin(), picture.end(), static_cast<uint8_t>(i * 7));
        std::fill_n(picture.begin() + static_cast<std::ptrdiff_t>(i % (height - 6)) * width, width * 6, uint8_t{250});
        const zvx_av::FramePtr frame =
            zvx_av::wrap_picture(picture, width, height, {ColourFormat::i420, width, height});
        // Timestamps with gaps, so that none can be taken for a count.
        if (!frame || !encoder.send(*frame, 1000000 + i * 33367 + (i % 3) * 11).ok())
            return {};
        take();
    }
    if (!encoder.end_stream().ok())
        return {};
    take();
    return stream;
}

class DecoderTimestamps : public testing::TestWithParam<Codec> {};

TEST_P(DecoderTimestamps, PresentationOrderWithConfigAsBufferOrExtradataAndEndOfStreamDrainsAll)
{
    const EncodedStream stream = encode_pattern(GetParam(), 24);
    ASSERT_EQ(stream.packets.size(), 24u);
    ASSERT_FALSE(stream.config.empty());
    std::vector<int64_t> expected = stream.timestamps;
    std::sort(expected.begin(), expected.end());
    ASSERT_FALSE(std::is_sorted(stream.timestamps.begin(), stream.timestamps.end())) << "no B-frames";

    for (const bool config_as_buffer : {true, false}) {
        zvx_av::DecoderSettings settings;
        settings.thread_count = 3;
        if (!config_as_buffer)
            settings.codec_config = stream.config;
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(GetParam(), settings).ok());
        if (config_as_buffer) {
            ASSERT_TRUE(decoder.send({stream.config, zvx_av::no_timestamp, true, true}).ok());
        }
        std::vector<int64_t> out;
        for (size_t i = 0; i < stream.packets.size(); ++i) {
            ASSERT_TRUE(decoder.send({stream.packets[i], stream.timestamps[i], true, false}).ok());
            while (std::optional<zvx_av::DecodedPicture> picture = decoder.receive())
                out.push_back(picture->timestamp_us);
        }
        EXPECT_LT(out.size(), expected.size()) << "reorder and frame threads hold pictures until the end";
        const zvx_av::FramesHeld held = decoder.frames_held();
        EXPECT_EQ(held.thread_delay, 2);
        EXPECT_GE(held.reorder, 1);
        ASSERT_TRUE(decoder.end_stream().ok());
        while (std::optional<zvx_av::DecodedPicture> picture = decoder.receive())
            out.push_back(picture->timestamp_us);
        EXPECT_EQ(out, expected) << (config_as_buffer ? "config as a buffer" : "config as extradata");
        ASSERT_TRUE(decoder.end_stream().ok());
        EXPECT_FALSE(decoder.receive()) << "a second end of stream has nothing left";
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecoderTimestamps, testing::Values(Codec::avc, Codec::hevc),
                         [](const testing::TestParamInfo<Codec> &info) {
                             return std::string(zvx_av::role_name(info.param));
                         });

/* A context opened ahead has no extradata: a stream configured before its data needs its own. Eight 720p
 * streams on two cores, a thread a core each, lost a tenth of their pictures to hand-offs. */
TEST(Decoder, FlushConfigurationAfterItContextsOpenedAheadAndCoresSharedByStreamsUnderWay)
{
    zvx_av_test::TempFolder folder;
    const std::string path = folder.file("s.h264");
    ASSERT_TRUE(zvx_av_test::make_stream(path, "176x144", FRAMES, "-c:v libx264 -bf 2 -g 10 -x264-params scenecut=0"));
    const std::vector<uint8_t> reference = zvx_av_test::reference_decode(folder, path, "yuv420p");
    const std::vector<std::vector<uint8_t>> units = zvx_av_test::read_access_units(path);
    ASSERT_EQ(units.size(), size_t{FRAMES});
    const size_t picture_size = 176 * 144 * 3 / 2;
    const EncodedStream first = encode_pattern(Codec::avc, 6);
    const EncodedStream second = encode_pattern(Codec::avc, 6, 96, 64);
    ASSERT_EQ(first.packets.size(), 6u);
    ASSERT_EQ(second.packets.size(), 6u);
    std::vector<uint8_t> second_bytes;
    for (const std::vector<uint8_t> &packet : second.packets)
        second_bytes.insert(second_bytes.end(), packet.begin(), packet.end());

    for (const bool framed : {true, false}) {
        const char *how = framed ? "framed" : "chunked";
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(Codec::avc).ok());
        for (size_t i = 0; i < 15; ++i)
            ASSERT_TRUE(decoder.send({units[i], static_cast<int64_t>(i), framed, false}).ok());
        decoder.flush();
        EXPECT_FALSE(decoder.receive());
        const std::vector<std::vector<uint8_t>> rest(units.begin() + 20, units.end());
        const DecodedPictures from_key = decode_all(decoder, rest, framed);
        ASSERT_EQ(from_key.formats.size(), 10u) << how;
        EXPECT_TRUE(std::equal(from_key.bytes.begin(), from_key.bytes.end(),
                               reference.begin() + static_cast<std::ptrdiff_t>(20 * picture_size), reference.end()));

        zvx_av::Decoder configured;
        ASSERT_TRUE(configured.open(Codec::avc).ok());
        ASSERT_TRUE(configured.send({first.config, zvx_av::no_timestamp, true, true}).ok());
        ASSERT_EQ(decode_all(configured, first.packets, true).formats.size(), 6u);
        configured.flush();
        ASSERT_TRUE(configured.send({second.config, zvx_av::no_timestamp, true, true}).ok());
        const DecodedPictures pictures =
            framed ? decode_all(configured, second.packets, true)
                   : decode_all(configured, zvx_av_test::split_into_chunks(second_bytes, 300), false);
        EXPECT_EQ(pictures.errors, 0) << how;
        ASSERT_EQ(pictures.formats.size(), 6u) << how;
        EXPECT_EQ(pictures.formats.back().crop, (zvx_av::CropRect{0, 0, 96, 64}));
    }

    for (const Codec ahead_codec : {Codec::avc, Codec::hevc}) {
        const std::string ahead_name(zvx_av::role_name(ahead_codec));
        zvx_av::Decoder decoder;
        ASSERT_TRUE(decoder.open(Codec::avc).ok());
        zvx_av::CodecContextPtr ahead = zvx_av::open_decoder_ahead(ahead_codec);
        ASSERT_NE(ahead, nullptr) << ahead_name;
        decoder.use_opened_ahead(std::move(ahead));
        const DecodedPictures pictures = decode_all(decoder, units, true);
        EXPECT_EQ(pictures.errors, 0) << ahead_name;
        EXPECT_TRUE(pictures.bytes == reference) << "opened ahead for " << ahead_name;

        zvx_av::Decoder configured_first;
        ASSERT_TRUE(configured_first.open(Codec::avc).ok());
        configured_first.use_opened_ahead(zvx_av::open_decoder_ahead(ahead_codec));
        ASSERT_TRUE(configured_first.send({first.config, zvx_av::no_timestamp, true, true}).ok());
        const DecodedPictures from_config = decode_all(configured_first, first.packets, true);
        EXPECT_EQ(from_config.errors, 0) << "configured before its data, opened ahead for " << ahead_name;
        EXPECT_EQ(from_config.formats.size(), 6u) << "configured before its data, opened ahead for " << ahead_name;
    }

    const auto blocks_of_a_decode = [&units] {
        zvx_av::Decoder decoder;
        EXPECT_TRUE(decoder.open(Codec::avc).ok());
        const DecodedPictures pictures = decode_all(decoder, units, true);
        EXPECT_EQ(pictures.errors, 0);
        return std::set<const uint8_t *>(pictures.blocks.begin(), pictures.blocks.end());
    };
    const std::set<const uint8_t *> before = blocks_of_a_decode();
    const std::set<const uint8_t *> after = blocks_of_a_decode();
    ASSERT_FALSE(after.empty());
    const auto reused =
        std::count_if(after.begin(), after.end(), [&before](const uint8_t *block) { return before.contains(block); });
    EXPECT_EQ(static_cast<size_t>(reused), after.size());

    const int cores = av_cpu_count();
    const auto start = [&units](zvx_av::Decoder &decoder) {
        EXPECT_TRUE(decoder.open(Codec::avc).ok());
        EXPECT_EQ(decoder.threads(), 0);
        EXPECT_TRUE(decoder.send({units[0], 0, true}).ok());
        return decoder.threads();
    };
    zvx_av::Decoder under_way;
    EXPECT_EQ(start(under_way), cores);
    {
        zvx_av::Decoder another;
        EXPECT_EQ(start(another), std::max(1, cores / 2));
        EXPECT_EQ(under_way.threads(), cores) << "a stream under way keeps its threads";
    }
    ASSERT_TRUE(under_way.open(Codec::avc).ok());
    zvx_av::Decoder third;
    EXPECT_EQ(start(third), cores) << "neither a decoder gone nor one opened again has a stream under way";
}

} // namespace
