// Whole decodes and encodes through the handle, as a media framework drives them, against the pattern
// device: from Loaded to Loaded with the stream's own setting changes, a flush and a pause midway.
#include <thread>

#include "zvx_omx_flow_expect.h"

namespace {

using namespace std::chrono_literals;

TEST_F(FlowTest, DecodeReallocatesForEachNewResolutionAndDecodeAndEncodeEndWithEveryPictureInOrder)
{
    // A stream in decode order unlike presentation order, growing then shrinking midway; each new
    // resolution starts at an anchor picture, which nothing before it is shown after.
    zvx_flow_run_options decode;
    decode.plan.frames = 24;
    decode.plan.reordered = true;
    decode.script.reorder_depth = 2;
    decode.script.resolution_changes = {{7, 640, 360}, {16, 176, 144}};
    const zvx_flow_run_result result = zvx_flow_run(decode);
    expect_every_picture(result, 24);
    EXPECT_EQ(result.reconfigurations, 3u);
    EXPECT_EQ(result.events, zvx_events({{IDLE, EXECUTING},
                                         zvx_reallocation(),
                                         zvx_reallocation(),
                                         {OUTPUT_CROP},
                                         zvx_reallocation(),
                                         {END_OF_STREAM, IDLE, LOADED}}));
    expect_nothing_left(result);

    // An encode ends with the last picture flagged end of stream.
    zvx_flow_run_options options;
    options.kind = zvx_flow_kind::encoder;
    options.width = 1280;
    options.height = 720;
    options.plan.frames = 40;
    options.plan.eos_on_last_frame = true;
    const zvx_flow_run_result encoded = zvx_flow_run(options);
    expect_every_picture(encoded, 40);
    const zvx_flow_event last_picture = {OMX_EventBufferFlag, 1, OMX_BUFFERFLAG_EOS | OMX_BUFFERFLAG_ENDOFFRAME};
    // The output buffers the client gave before Idle already hold what the session asks for: no reallocation.
    EXPECT_EQ(encoded.events, zvx_events({{IDLE, EXECUTING, last_picture, IDLE, LOADED}}));
    const auto end = std::find_if(encoded.outputs.begin(), encoded.outputs.end(),
                                  [](const zvx_flow_output &output) { return output.flags & OMX_BUFFERFLAG_EOS; });
    ASSERT_NE(end, encoded.outputs.end());
    EXPECT_EQ(end->picture, 39u) << "the end of stream rides on the last picture";
    expect_nothing_left(encoded);
}

uint64_t zvx_pictures_consumed()
{
    zvx_dev_stats stats{};
    const std::vector<int> devices = zvx_dev_open_devices();
    EXPECT_EQ(devices.size(), 1u);
    EXPECT_TRUE(zvx_dev_get_stats(devices.at(0), &stats));
    return stats.pictures_consumed;
}

/* A decode of 30 frames that stops its stream midway for something of its own. */
class MidStream : public FlowTest {
protected:
    void start()
    {
        zvx_flow_run_options options;
        options.plan.frames = 30;
        zvx_dev_set_default_script(zvx_flow_script(options));
        ASSERT_EQ(client_.open(), OMX_ErrorNone);
        ASSERT_TRUE(zvx_flow_start(client_, options));
        stream_.emplace(client_, options.plan);
        stream_->feed();
        ASSERT_TRUE(stream_->run_until([&] { return stream_->pictures_out() >= 6 && !stream_->reconfiguring(); }));
    }

    std::function<void(const zvx_flow_notice &)> react()
    {
        return [this](const zvx_flow_notice &notice) { stream_->react(notice); };
    }

    void finish()
    {
        EXPECT_TRUE(stream_->run_to_end());
        EXPECT_TRUE(zvx_flow_stop(client_, *stream_));
        EXPECT_EQ(stream_->missing_pictures(), std::vector<uint32_t>{});
        client_.close();
        result_.pictures_out = stream_->pictures_out();
        result_.buffers_lent = client_.lends();
        result_.buffers_returned = client_.returns();
        result_.events = client_.events();
        EXPECT_EQ(client_.problems(), std::vector<std::string>{});
        expect_nothing_left(result_);
    }

    zvx_flow_client client_{zvx_flow_kind::decoder};
    std::optional<zvx_flow_stream> stream_;
    zvx_flow_run_result result_;
};

TEST_F(MidStream, FlushGivesEveryBufferBackAndTheStreamGoesOnWithTheFramesAfterIt)
{
    start();
    stream_->hold(true);
    ASSERT_EQ(client_.send_command(OMX_CommandFlush, OMX_ALL), OMX_ErrorNone);
    ASSERT_TRUE(client_.await_event(zvx_flow_complete(OMX_CommandFlush, 1), react()));
    EXPECT_EQ(client_.lent(zvx_flow_client::INPUT), 0u);
    EXPECT_EQ(client_.lent(zvx_flow_client::OUTPUT), 0u);
    const uint32_t out_before = stream_->pictures_out();
    stream_->input_flushed(static_cast<uint32_t>(zvx_pictures_consumed()));
    const uint32_t sent_before = stream_->frames_sent();
    stream_->hold(false);
    stream_->feed();
    finish();
    EXPECT_EQ(result_.pictures_out, out_before + 30 - sent_before) << "every frame after the flush comes out";
    EXPECT_EQ(result_.events, zvx_events({{IDLE, EXECUTING},
                                          zvx_reallocation(),
                                          {zvx_flow_complete(OMX_CommandFlush, 0),
                                           zvx_flow_complete(OMX_CommandFlush, 1), END_OF_STREAM, IDLE, LOADED}}));
}

TEST_F(MidStream, PauseStopsTheDeviceWhereItIsAndExecutingCarriesTheStreamOn)
{
    start();
    ASSERT_EQ(client_.send_command(OMX_CommandStateSet, OMX_StatePause), OMX_ErrorNone);
    ASSERT_TRUE(client_.await_event(PAUSED, react()));

    /* Returned buffers are queued again while paused; the device takes none of them. */
    const uint64_t consumed = zvx_pictures_consumed();
    const auto until = std::chrono::steady_clock::now() + 50ms;
    while (const auto notice = client_.next_notice(
               std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now()))) {
        react()(*notice);
    }
    EXPECT_EQ(zvx_pictures_consumed(), consumed);
    EXPECT_EQ(client_.problems(), std::vector<std::string>{}) << "buffers are taken in Pause";

    ASSERT_EQ(client_.send_command(OMX_CommandStateSet, OMX_StateExecuting), OMX_ErrorNone);
    finish();
    EXPECT_EQ(result_.pictures_out, 30u);
    EXPECT_EQ(result_.events,
              zvx_events({{IDLE, EXECUTING}, zvx_reallocation(), {PAUSED, EXECUTING, END_OF_STREAM, IDLE, LOADED}}));
}

} // namespace
