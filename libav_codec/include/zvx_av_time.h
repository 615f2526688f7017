#ifndef ZVX_AV_TIME_H
#define ZVX_AV_TIME_H

#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
}

namespace zvx_av {

/* Timestamps cross this library as microseconds, as clients give them. */
inline constexpr AVRational microseconds = {1, 1000000};
inline constexpr int64_t no_timestamp = AV_NOPTS_VALUE;

} // namespace zvx_av

#endif
