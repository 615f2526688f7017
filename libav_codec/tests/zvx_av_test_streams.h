#ifndef ZVX_AV_TEST_STREAMS_H
#define ZVX_AV_TEST_STREAMS_H

/* Streams made at run time with the ffmpeg program, and its own decodes of them to compare with. */

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zvx_av_decoder.h"
#include "zvx_av_media_reader.h"
#include "zvx_av_picture_layout.h"

namespace zvx_av_test {

/* A folder of its own under $TMPDIR, removed with what is in it. */
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/* Runs `ffmpeg -y -v error <arguments>`; true when it succeeded. */
bool run_ffmpeg(const std::string &arguments);

/* `frames` pictures of a moving test pattern of `size` ("176x144") at 25 per second, encoded by
 * `encode` (e.g. "-c:v libx264 -bf 2") into `path`, whose extension picks the format. */
bool make_stream(const std::string &path, const std::string &size, int frames, const std::string &encode);

/* The same pattern as raw pictures (.yuv: I420; .y4m). */
bool make_raw_pictures(const std::string &path, const std::string &size, int frames);

/* `count` pictures of that pattern written to `file` (.yuv or .y4m) and read back as tight I420. */
std::vector<std::vector<uint8_t>> raw_pictures(const std::string &file, int width, int height, int count);

/* ffmpeg's decode of `path` as raw pictures of `pixel_format` (e.g. "yuv420p"), every one kept. */
std::vector<uint8_t> reference_decode(const TempFolder &folder, const std::string &path,
                                      const std::string &pixel_format);

/* Two H.264 streams of `frames` pictures each, at `sizes`, encoded alike and joined in one file; with ffmpeg's
 * decodes of the two, one after the other, when a pixel format is given. Empty when one could not be made. */
struct JoinedStreams {
    std::string path;
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> reference;
};
JoinedStreams join_streams(const TempFolder &folder, const std::pair<std::string, std::string> &sizes, int frames,
                           const std::string &encode, const std::string &pixel_format = "");

/* Bytes from a fixed seed, so that a failure repeats. */
std::vector<uint8_t> random_bytes(size_t size, unsigned seed);

std::vector<uint8_t> read_file(const std::string &path);
bool write_file(const std::string &path, const std::vector<uint8_t> &bytes);

/* A file's access units, as MediaReader gives them. */
std::vector<std::vector<uint8_t>> read_access_units(const std::string &path);

/* Pieces of 1 to `max_piece` bytes, sizes from a fixed seed so a failure repeats. */
std::vector<std::vector<uint8_t>> split_into_chunks(const std::vector<uint8_t> &bytes, size_t max_piece);

/* Pictures out of a decoder, each written tight (stride = width) in a layout, one after another. */
struct DecodedPictures {
    std::vector<uint8_t> bytes;
    std::vector<zvx_av::PictureFormat> formats;
    std::vector<int64_t> timestamps_us;
    std::vector<const uint8_t *> blocks; /* each picture's first buffer */
    int errors = 0;
};
void take_pictures(zvx_av::Decoder &decoder, zvx_av::ColourFormat format, DecodedPictures &pictures);

/* Sends each input as an access unit or a chunk, the first as configuration if asked, then ends the stream. */
DecodedPictures decode_all(zvx_av::Decoder &decoder, const std::vector<std::vector<uint8_t>> &inputs, bool end_of_frame,
                           zvx_av::ColourFormat format = zvx_av::ColourFormat::i420, bool first_is_config = false);

} // namespace zvx_av_test

#endif
