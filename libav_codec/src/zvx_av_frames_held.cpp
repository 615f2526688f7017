#include "zvx_av_frames_held.h"

#include <algorithm>
#include <array>

namespace zvx_av {

namespace {

constexpr int HEVC_MAX_DPB = 16;

/* HEVC's largest luma picture per level (general_level_idc, 30 x level). */
struct HevcLevelLimit {
    int level_idc;
    int64_t max_luma_samples;
};
constexpr std::array<HevcLevelLimit, 13> HEVC_LEVEL_LIMITS = {{
    {30, 36864},
    {60, 122880},
    {63, 245760},
    {90, 552960},
    {93, 983040},
    {120, 2228224},
    {123, 2228224},
    {150, 8912896},
    {153, 8912896},
    {156, 8912896},
    {180, 35651584},
    {183, 35651584},
    {186, 35651584},
}};

/* libavcodec does not export the SPS's picture buffering for HEVC: take the level's bound, which
 * grows as the picture shrinks against the level's largest. */
int hevc_dpb_bound(int level_idc, int width, int height)
{
    const auto *const limit = std::find_if(HEVC_LEVEL_LIMITS.begin(), HEVC_LEVEL_LIMITS.end(),
                                           [level_idc](const HevcLevelLimit &l) { return l.level_idc == level_idc; });
    if (limit == HEVC_LEVEL_LIMITS.end() || width <= 0 || height <= 0)
        return HEVC_MAX_DPB;
    const int64_t picture = static_cast<int64_t>(width) * height;
    const int64_t max = limit->max_luma_samples;
    if (picture <= max >> 2)
        return HEVC_MAX_DPB;
    if (picture <= max >> 1)
        return 12;
    if (picture <= (3 * max) >> 2)
        return 8;
    return 6;
}

int references_of(Codec codec, const AVCodecContext &context)
{
    switch (codec) {
    case Codec::avc:
        // Set from the SPS once one has been decoded.
        return std::max(context.refs, 1);
    case Codec::hevc:
        return hevc_dpb_bound(context.level, context.coded_width, context.coded_height);
    case Codec::vp8:
        return 3; // last, golden, alt-ref
    case Codec::vp9:
        return 8; // reference slots
    default:
        return 2; // forward and backward anchors
    }
}

} // namespace

FramesHeld frames_held(Codec codec, const AVCodecContext &context)
{
    FramesHeld held;
    held.references = references_of(codec, context);
    held.reorder = std::max(context.has_b_frames, 0);
    if (context.active_thread_type & FF_THREAD_FRAME)
        held.thread_delay = std::max(context.thread_count - 1, 0);
    return held;
}

} // namespace zvx_av
