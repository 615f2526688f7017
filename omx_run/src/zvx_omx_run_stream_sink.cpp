#include "zvx_omx_run_stream_sink.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

struct zvxp_extension {
    std::string_view extension;
    zvx_av::Codec codec;
};

constexpr std::array<zvxp_extension, 7> ZVXP_EXTENSIONS = {{
    {".h264", zvx_av::Codec::avc},
    {".264", zvx_av::Codec::avc},
    {".h265", zvx_av::Codec::hevc},
    {".hevc", zvx_av::Codec::hevc},
    {".265", zvx_av::Codec::hevc},
    {".ivf", zvx_av::Codec::vp8},
    {".ivf", zvx_av::Codec::vp9},
}};

bool zvxp_suits(const std::string &path, zvx_av::Codec codec)
{
    return std::ranges::any_of(ZVXP_EXTENSIONS, [&](const zvxp_extension &entry) {
        return entry.codec == codec && path.ends_with(entry.extension);
    });
}

} // namespace

bool zvx_run_stream_sink::prepare(const std::string &path, const zvx_av::EncodedStreamInfo &info, std::string *error)
{
    if (!zvxp_suits(path, info.codec)) {
        *error = "an encoded " + std::string(zvx_av::role_name(info.codec)) +
                 " stream goes to .h264/.264 (avc), .h265/.hevc/.265 (hevc) or .ivf (vp8, vp9), not " + path;
        return false;
    }
    /* Made now, so that a file that cannot be written is refused before the run. */
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    static_cast<void>(std::fclose(file));
    path_ = path;
    info_ = info;
    return true;
}

bool zvx_run_stream_sink::close()
{
    return !opened_ || writer_.close().ok();
}

bool zvx_run_stream_sink::take(const OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &,
                               const OMX_CONFIG_RECTTYPE &, std::string *problem)
{
    const uint8_t *data = header.pBuffer + header.nOffset;
    bytes_ += header.nFilledLen;
    if ((header.nFlags & OMX_BUFFERFLAG_CODECCONFIG) != 0) {
        config_.insert(config_.end(), data, data + header.nFilledLen);
        return true;
    }
    picture_.insert(picture_.end(), data, data + header.nFilledLen);
    if ((header.nFlags & OMX_BUFFERFLAG_ENDOFFRAME) == 0) {
        return true;
    }
    const bool key = (header.nFlags & OMX_BUFFERFLAG_SYNCFRAME) != 0;
    ++pictures_;
    key_pictures_ += key ? 1 : 0;
    if (path_.empty()) {
        picture_.clear();
        return true;
    }
    if (!opened_) {
        info_.codec_config = config_;
        if (const zvx_av::Status status = writer_.open(path_, info_); !status.ok()) {
            *problem = "cannot write " + path_ + ": " + status.message();
            return false;
        }
        opened_ = true;
    }
    if (const zvx_av::Status status = writer_.write(picture_, header.nTimeStamp, key); !status.ok()) {
        *problem = "writing " + path_ + ": " + status.message();
        return false;
    }
    picture_.clear();
    return true;
}
