#include <gtest/gtest.h>

#include "zvx_dev_client_pace.h"

namespace {

using zvx_dev::ClientPace;
using Clock = ClientPace::Clock;
using std::chrono::milliseconds;

/* The client takes `count` waiting pictures `interval` apart, from `at` on; returns the last time. */
Clock::time_point take_pictures(ClientPace &pace, Clock::time_point at, int count, milliseconds interval)
{
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            at += interval;
        pace.client_took_waiting_picture(at);
    }
    return at;
}

TEST(ClientPace, SlackIsHalfTheShortestOfTheLastFourIntervalsOnceTheyAreSeen)
{
    ClientPace pace;
    pace.decoded_in(milliseconds(2));
    Clock::time_point at = take_pictures(pace, Clock::now(), 4, milliseconds(40));
    EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "three intervals are not yet a pace";
    at += milliseconds(34);
    pace.client_took_waiting_picture(at);
    EXPECT_EQ(pace.slack(), milliseconds(17));
    // The short interval ages out after four more.
    take_pictures(pace, at + milliseconds(40), 4, milliseconds(40));
    EXPECT_EQ(pace.slack(), milliseconds(20));
}

TEST(ClientPace, NoSlackWhileADecodeIsLongAndAPictureTheDeviceHeldBackOrANewStreamStartsThePaceAfresh)
{
    ClientPace pace;
    Clock::time_point at = take_pictures(pace, Clock::now(), 5, milliseconds(40));
    EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "no decode measured yet";
    pace.decoded_in(milliseconds(11));
    EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "over a quarter of the pace";
    for (int i = 0; i < 3; ++i) {
        pace.decoded_in(milliseconds(1));
        EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "the long decode is one of the last four";
    }
    pace.decoded_in(milliseconds(10));
    ASSERT_EQ(pace.slack(), milliseconds(20));

    pace.device_set_the_pace();
    EXPECT_EQ(pace.slack(), Clock::duration::zero());
    at = take_pictures(pace, at + milliseconds(400), 4, milliseconds(40));
    EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "the interval across the break counted";
    pace.client_took_waiting_picture(at + milliseconds(40));
    EXPECT_EQ(pace.slack(), milliseconds(20)) << "the decodes' lengths were forgotten with the pace";

    pace.forget();
    take_pictures(pace, at + milliseconds(400), 5, milliseconds(40));
    EXPECT_EQ(pace.slack(), Clock::duration::zero()) << "a new stream's decodes are still to be measured";
}

} // namespace
