#include "zvx_client_media.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include "zvx_client_commands.h"

namespace zvx_client {

namespace {

constexpr int ZVXP_FFMPEG_SECONDS = 240;

std::string stream_folder()
{
    std::filesystem::create_directories(ZVX_CLIENT_STREAMS);
    return ZVX_CLIENT_STREAMS;
}

/* Made under a name of its own, then renamed, so that tests running at once never read half a file. */
template <typename Make> std::string made_once(const std::string &name, const std::string &recipe, const Make &make)
{
    std::ostringstream key;
    key << std::hex << std::hash<std::string>{}(recipe);
    const std::string path = stream_folder() + "/" + key.str() + "_" + name;
    if (std::filesystem::exists(path)) {
        return path;
    }
    const std::string partial = stream_folder() + "/" + key.str() + "." + std::to_string(getpid()) + "." + name;
    if (!make(partial)) {
        std::filesystem::remove(partial);
        return {};
    }
    std::filesystem::rename(partial, path);
    return path;
}

std::string size_name(const std::string &size)
{
    return std::regex_replace(size, std::regex("[^0-9a-z]"), "_");
}

} // namespace

std::string made_with_ffmpeg(const std::string &name, const std::string &arguments)
{
    return made_once(name, arguments, [&](const std::string &path) {
        const CommandResult made =
            run_command("ffmpeg -nostdin -y -v error " + arguments + " " + path, ZVXP_FFMPEG_SECONDS);
        return made.status == 0;
    });
}

std::string test_stream(const std::string &size, int frames, const std::string &encode, const std::string &extension)
{
    return made_with_ffmpeg("stream_" + size_name(size) + "_" + std::to_string(frames) + extension,
                            "-f lavfi -i testsrc2=size=" + size + ":rate=25 -frames:v " + std::to_string(frames) + " " +
                                encode);
}

std::string test_pictures(const std::string &size, int frames, const std::string &extension)
{
    return test_stream(size, frames, "-pix_fmt yuv420p", extension);
}

std::string joined(const std::string &name, const std::vector<std::string> &parts)
{
    std::string recipe;
    for (const std::string &part : parts) {
        recipe += part + "\n";
    }
    return made_once(name, recipe, [&](const std::string &path) {
        std::ofstream out(path, std::ios::binary);
        for (const std::string &part : parts) {
            const std::vector<uint8_t> bytes = read_file(part);
            if (part.empty() || bytes.empty()) {
                return false;
            }
            out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        }
        return static_cast<bool>(out);
    });
}

std::vector<uint8_t> ffmpeg_decode(const std::string &path, const std::string &pixel_format)
{
    const TempFolder folder;
    const std::string out = folder.file("reference.yuv");
    const CommandResult decoded =
        run_command("ffmpeg -nostdin -y -v error -i " + path + " -fps_mode passthrough -f rawvideo -pix_fmt " +
                    pixel_format + " " + out);
    return decoded.status == 0 ? read_file(out) : std::vector<uint8_t>{};
}

EncodedFacts probe_encoded(const std::string &path)
{
    EncodedFacts facts;
    const CommandResult probed = run_command("ffprobe -v error -select_streams v:0 -show_entries "
                                             "frame=key_frame,pkt_size -of csv=p=0 " +
                                             path);
    facts.decodes = probed.status == 0 && probed.output.find("rror") == std::string::npos;
    std::istringstream lines(probed.output);
    std::string line;
    /* A frame with side data ends its line with a comma. */
    static const std::regex frame(R"(^\s*(\d+),(\d+),?\s*$)");
    while (std::getline(lines, line)) {
        std::smatch match;
        if (!std::regex_match(line, match, frame)) {
            continue;
        }
        if (match[1] == "1") {
            facts.key_frames.push_back(facts.packet_bytes.size());
        }
        facts.packet_bytes.push_back(std::stoull(match[2]));
    }
    facts.pictures_decoded = facts.packet_bytes.size();
    return facts;
}

double bitrate_of(const EncodedFacts &facts, size_t first, size_t last, double frame_rate)
{
    if (last <= first || last > facts.packet_bytes.size()) {
        return 0.0;
    }
    uint64_t bytes = 0;
    for (size_t i = first; i < last; ++i) {
        bytes += facts.packet_bytes[i];
    }
    return static_cast<double>(bytes) * 8.0 * frame_rate / static_cast<double>(last - first);
}

double luma_psnr(const std::string &encoded, const std::string &raw_pictures)
{
    /* Picture by picture on one time base, whatever rate an elementary stream is read at. */
    const CommandResult compared = run_command(
        "ffmpeg -nostdin -nostats -v info -i " + encoded + " -i " + raw_pictures +
        " -lavfi \"[0:v]settb=1/25,setpts=N[encoded];[1:v]settb=1/25,setpts=N[raw];[encoded][raw]psnr\" -f null -");
    static const std::regex average(R"(PSNR y:([0-9.]+|inf))");
    std::smatch match;
    if (compared.status != 0 || !std::regex_search(compared.output, match, average)) {
        return 0.0;
    }
    return match[1] == "inf" ? 100.0 : std::stod(match[1]);
}

} // namespace zvx_client
