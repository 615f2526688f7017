#ifndef ZVX_DEV_CLIENT_PACE_H
#define ZVX_DEV_CLIENT_PACE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace zvx_dev {

/* How long a decoder's next decode can wait without keeping the client waiting. A client that shows its
 * pictures in real time gives each output buffer back a picture's time after the last, and the device,
 * ahead of it, has the next picture ready long before. A decode started as soon as a buffer comes back
 * then runs at the very moment a seek is likeliest to find it (the buffers a player gives back as it
 * flushes), and the seek waits for the work it throws away. Put off by half the client's pace, the
 * decode still ends well before the client's next buffer. */
class ClientPace {
public:
    using Clock = std::chrono::steady_clock;

    /* A picture went into a buffer the client gave back while the picture waited for one. */
    void client_took_waiting_picture(Clock::time_point at);
    /* A picture went out as soon as it was decoded: the device, not the client, set the pace. */
    void device_set_the_pace();
    /* One input's decode took this long. */
    void decoded_in(Clock::duration took);
    /* How long the next decode can wait: zero until the client has taken a few waiting pictures in a
     * row, or when the shortest of their intervals is not ample beside the device's longest decode. */
    Clock::duration slack() const;
    /* A new stream: the decodes' length and the client's pace are both to be learnt again. */
    void forget();

private:
    static constexpr size_t SAMPLES = 4;
    /* The slack is half the pace; the decode then still has twice its own time before the next buffer. */
    static constexpr int PACE_OVER_DECODE = 4;

    std::array<Clock::duration, SAMPLES> intervals_{};
    size_t intervals_seen_ = 0;
    std::optional<Clock::time_point> last_taken_;
    std::array<Clock::duration, SAMPLES> decodes_{};
    size_t decodes_seen_ = 0;
};

} // namespace zvx_dev

#endif
