#include "zvx_av_status.h"

extern "C" {
#include <libavutil/error.h>
}

namespace zvx_av {

std::string Status::message() const
{
    if (ok())
        return "ok";
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code_, text, sizeof text);
    return text;
}

} // namespace zvx_av
