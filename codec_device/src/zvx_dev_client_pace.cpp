#include "zvx_dev_client_pace.h"

#include <algorithm>
#include <span>

namespace zvx_dev {

void ClientPace::client_took_waiting_picture(Clock::time_point at)
{
    if (last_taken_)
        intervals_[intervals_seen_++ % SAMPLES] = at - *last_taken_;
    last_taken_ = at;
}

/* Whatever pace the client kept before, it did not hold the pictures back this time: a client that came
 * back sooner than it used to must not find its next picture put off. */
void ClientPace::device_set_the_pace()
{
    intervals_seen_ = 0;
    last_taken_.reset();
}

void ClientPace::decoded_in(Clock::duration took)
{
    decodes_[decodes_seen_++ % SAMPLES] = took;
}

ClientPace::Clock::duration ClientPace::slack() const
{
    if (intervals_seen_ < SAMPLES || decodes_seen_ == 0)
        return Clock::duration::zero();
    const Clock::duration pace = std::ranges::min(intervals_);
    const Clock::duration longest_decode =
        std::ranges::max(std::span(decodes_).first(std::min(decodes_seen_, SAMPLES)));
    if (pace < PACE_OVER_DECODE * longest_decode)
        return Clock::duration::zero();
    return pace / 2;
}

void ClientPace::forget()
{
    device_set_the_pace();
    decodes_seen_ = 0;
}

} // namespace zvx_dev
