#ifndef ZVX_CLIENT_MEDIA_H
#define ZVX_CLIENT_MEDIA_H

/* Streams for the client tests, made with the ffmpeg program, and FFmpeg's view of what the core's
 * clients made of them. */

#include <cstdint>
#include <string>
#include <vector>

namespace zvx_client {

/* A file made by `ffmpeg -y <arguments> <file>` once and kept in the build's folder for every test and
 * run that asks for the same name and arguments; empty when ffmpeg failed. */
std::string made_with_ffmpeg(const std::string &name, const std::string &arguments);

/* `frames` pictures of a moving test pattern of `size` ("352x288") at 25 a second, as `encode` makes
 * them ("-c:v libx264 -bf 2"), into a file with that extension (".h264"). */
std::string test_stream(const std::string &size, int frames, const std::string &encode, const std::string &extension);
/* The same pictures raw (".y4m", or ".yuv" for I420). */
std::string test_pictures(const std::string &size, int frames, const std::string &extension);
/* Files joined end to end (elementary streams of two sizes make one that changes size). */
std::string joined(const std::string &name, const std::vector<std::string> &parts);

/* FFmpeg's own decode of a file: every picture, in `pixel_format` ("yuv420p"), one after another. */
std::vector<uint8_t> ffmpeg_decode(const std::string &path, const std::string &pixel_format);

/* An encoded stream as FFmpeg reads it: the size of each packet and which are key frames. */
struct EncodedFacts {
    std::vector<uint64_t> packet_bytes;
    std::vector<size_t> key_frames; /* packet numbers, from 0 */
    bool decodes = false;           /* FFmpeg decodes it without an error */
    size_t pictures_decoded = 0;
};
EncodedFacts probe_encoded(const std::string &path);

/* Bits per second of packets [first, last) at `frame_rate`. */
double bitrate_of(const EncodedFacts &facts, size_t first, size_t last, double frame_rate);

/* The average PSNR of a stream's luma against the raw pictures it was encoded from; 0 when FFmpeg
 * cannot compare them. */
double luma_psnr(const std::string &encoded, const std::string &raw_pictures);

} // namespace zvx_client

#endif
