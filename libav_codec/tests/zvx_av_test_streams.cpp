#include "zvx_av_test_streams.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "zvx_av_picture_writer.h"
#include "zvx_av_raw_picture_reader.h"

namespace zvx_av_test {

namespace {

/* libav's notes on every stream (and on every fault the bad-stream tests cause) drown the results. */
// NOLINTNEXTLINE(cert-err58-cpp): setting libav's log level cannot throw
const bool QUIET_LIBAV = []() noexcept {
    av_log_set_level(AV_LOG_FATAL);
    return true;
}();

} // namespace

TempFolder::TempFolder()
{
    const char *base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/zvx_av_test_XXXXXX";
    if (mkdtemp(pattern.data()))
        path_ = pattern;
}

TempFolder::~TempFolder()
{
    if (!path_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
}

bool run_ffmpeg(const std::string &arguments)
{
    const std::string command = "ffmpeg -nostdin -y -v error " + arguments;
    return std::system(command.c_str()) == 0; // NOLINT(cert-env33-c): the tests drive the ffmpeg program
}

bool make_stream(const std::string &path, const std::string &size, int frames, const std::string &encode)
{
    return run_ffmpeg("-f lavfi -i testsrc2=size=" + size + ":rate=25 -frames:v " + std::to_string(frames) + " " +
                      encode + " " + path);
}

bool make_raw_pictures(const std::string &path, const std::string &size, int frames)
{
    return make_stream(path, size, frames, "-pix_fmt yuv420p");
}

std::vector<std::vector<uint8_t>> raw_pictures(const std::string &file, int width, int height, int count)
{
    TempFolder folder;
    const std::string path = folder.file(file);
    zvx_av::RawPictureReader reader;
    std::vector<std::vector<uint8_t>> pictures;
    if (!make_raw_pictures(path, std::to_string(width) + "x" + std::to_string(height), count) ||
        !reader.open(path, width, height).ok() || reader.width() != width || reader.height() != height)
        return pictures;
    const zvx_av::PictureLayout tight = {zvx_av::ColourFormat::i420, width, height};
    zvx_av::PictureWriter writer;
    zvx_av::FramePtr frame;
    while (reader.read(frame).ok()) {
        pictures.emplace_back(zvx_av::picture_bytes(tight, width, height));
        writer.write(*frame, tight, pictures.back());
    }
    return pictures;
}

std::vector<uint8_t> reference_decode(const TempFolder &folder, const std::string &path,
                                      const std::string &pixel_format)
{
    const std::string out = folder.file("reference.yuv");
    if (!run_ffmpeg("-i " + path + " -fps_mode passthrough -f rawvideo -pix_fmt " + pixel_format + " " + out))
        return {};
    return read_file(out);
}

JoinedStreams join_streams(const TempFolder &folder, const std::pair<std::string, std::string> &sizes, int frames,
                           const std::string &encode, const std::string &pixel_format)
{
    JoinedStreams joined;
    for (const std::string &size : {sizes.first, sizes.second}) {
        const std::string path = folder.file(size + ".h264");
        if (!make_stream(path, size, frames, encode))
            return {};
        const std::vector<uint8_t> bytes = read_file(path);
        joined.bytes.insert(joined.bytes.end(), bytes.begin(), bytes.end());
        if (!pixel_format.empty()) {
            const std::vector<uint8_t> reference = reference_decode(folder, path, pixel_format);
            joined.reference.insert(joined.reference.end(), reference.begin(), reference.end());
        }
    }
    joined.path = folder.file("joined.h264");
    return write_file(joined.path, joined.bytes) ? joined : JoinedStreams{};
}

std::vector<uint8_t> random_bytes(size_t size, unsigned seed)
{
    std::mt19937 random(seed); // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must repeat
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<uint8_t> bytes(size);
    for (uint8_t &b : bytes)
        b = static_cast<uint8_t>(byte(random));
    return bytes;
}

std::vector<uint8_t> read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool write_file(const std::string &path, const std::vector<uint8_t> &bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

std::vector<std::vector<uint8_t>> read_access_units(const std::string &path)
{
    zvx_av::MediaReader reader;
    std::vector<std::vector<uint8_t>> units;
    if (!reader.open(path).ok())
        return units;
    zvx_av::AccessUnit unit;
    while (reader.read(unit).ok())
        units.emplace_back(unit.data().begin(), unit.data().end());
    return units;
}

std::vector<std::vector<uint8_t>> split_into_chunks(const std::vector<uint8_t> &bytes, size_t max_piece)
{
    std::mt19937 random(1234); // NOLINT(cert-msc32-c,cert-msc51-cpp): a failure must repeat
    std::uniform_int_distribution<size_t> piece(1, max_piece);
    std::vector<std::vector<uint8_t>> chunks;
    for (size_t at = 0; at < bytes.size();) {
        const size_t size = std::min(piece(random), bytes.size() - at);
        chunks.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
        at += size;
    }
    return chunks;
}

void take_pictures(zvx_av::Decoder &decoder, zvx_av::ColourFormat format, DecodedPictures &pictures)
{
    zvx_av::PictureWriter writer;
    while (std::optional<zvx_av::DecodedPicture> picture = decoder.receive()) {
        const AVFrame &frame = *picture->frame;
        const int sample = format == zvx_av::ColourFormat::p010 || format == zvx_av::ColourFormat::i420_10 ? 2 : 1;
        const zvx_av::PictureLayout tight = {format, frame.width * sample, frame.height};
        const size_t at = pictures.bytes.size();
        pictures.bytes.resize(at + zvx_av::picture_bytes(tight, frame.width, frame.height));
        const size_t written = writer.write(frame, tight, std::span<uint8_t>(pictures.bytes).subspan(at));
        pictures.bytes.resize(at + written);
        pictures.formats.push_back(picture->format);
        pictures.timestamps_us.push_back(picture->timestamp_us);
        pictures.blocks.push_back(frame.buf[0]->data);
    }
}

DecodedPictures decode_all(zvx_av::Decoder &decoder, const std::vector<std::vector<uint8_t>> &inputs, bool end_of_frame,
                           zvx_av::ColourFormat format, bool first_is_config)
{
    DecodedPictures pictures;
    int64_t timestamp = 0;
    for (const std::vector<uint8_t> &input : inputs) {
        zvx_av::DecoderInput in;
        in.data = input;
        in.end_of_frame = end_of_frame;
        in.timestamp_us = end_of_frame ? timestamp : zvx_av::no_timestamp;
        in.codec_config = first_is_config && timestamp == 0;
        timestamp += 40000;
        if (!decoder.send(in).ok())
            ++pictures.errors;
        take_pictures(decoder, format, pictures);
    }
    if (!decoder.end_stream().ok())
        ++pictures.errors;
    take_pictures(decoder, format, pictures);
    return pictures;
}

} // namespace zvx_av_test
