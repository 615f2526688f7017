#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "zvx_dev_host.h"
#include "zvx_dev_picture.h"

namespace {

constexpr uint32_t YUV420_PLANAR = 19;
constexpr auto HOLD_LIMIT = std::chrono::milliseconds(DeviceHost::WAIT_MS);

/* Holds the device's worker inside one engine step of one picture until the test releases it; a
 * device that makes the test wait for that step ends the hold itself, late, and is caught. */
class EngineGate {
public:
    EngineGate(zvx_dev_engine_step step, uint32_t picture) : step_(step), picture_(picture) {}

    zvx_dev_script script()
    {
        zvx_dev_script script;
        script.stream_width = 32;
        script.stream_height = 16;
        script.inside_engine = [this](zvx_dev_engine_step step, uint32_t picture) {
            std::unique_lock lock(mutex_);
            if (step != step_ || picture != picture_)
                return;
            held_ = true;
            changed_.notify_all();
            gave_up_ = !changed_.wait_for(lock, HOLD_LIMIT, [this] { return released_; });
        };
        return script;
    }
    bool wait_until_held()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, HOLD_LIMIT, [this] { return held_; });
    }
    void release()
    {
        std::lock_guard lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }
    bool gave_up()
    {
        std::lock_guard lock(mutex_);
        return gave_up_;
    }

private:
    const zvx_dev_engine_step step_;
    const uint32_t picture_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false, released_ = false, gave_up_ = false; /* mutex_ */
};

class DeviceWorker : public EmulatorTest {};

/* Every buffer event until `last` arrives, by buffer id. */
std::map<zvx_base_buffer_handle_t, std::vector<zvx_base_buffer_userspace>> returns_until(DeviceHost &host,
                                                                                         uint16_t last)
{
    std::map<zvx_base_buffer_handle_t, std::vector<zvx_base_buffer_userspace>> returns;
    for (DeviceEvent event = host.next(); event.code != 0xFFFF; event = host.next()) {
        if (event.code == ZVX_BASE_EVENT_INPUT || event.code == ZVX_BASE_EVENT_OUTPUT)
            returns[event.buffer().buffer_id].push_back(event.buffer());
        if (event.code == last)
            break;
    }
    return returns;
}

/* `count` inputs, the worker held decoding the first; none when the hold never came. */
std::vector<zvx_base_buffer_handle_t> hold_first_decode(DeviceHost &host, EngineGate &gate, size_t count)
{
    std::vector<zvx_base_buffer_handle_t> inputs;
    for (size_t i = 0; i < count; ++i)
        inputs.push_back(host.add_buffer(0, 8));
    host.run();
    host.queue(0, inputs[0], 8);
    if (!gate.wait_until_held())
        inputs.clear();
    return inputs;
}

TEST_F(DeviceWorker, HostCallsThatQueueOrReadGoThroughWhileTheEngineDecodes)
{
    EngineGate gate(zvx_dev_engine_step::consume, 0);
    DeviceHost host("video_decoder.avc", gate.script());
    ASSERT_TRUE(host.session);
    const std::vector<zvx_base_buffer_handle_t> inputs = hold_first_decode(host, gate, 2);
    ASSERT_EQ(inputs.size(), 2u);

    EXPECT_EQ(host.queue(0, inputs[1], 8), OMX_ErrorNone);
    EXPECT_EQ(host.queue(1, host.add_buffer(1, 32 * 16 * 2)), OMX_ErrorNone);
    zvx_notify_ref_frame_release(host.fd, 0xABCDEF0123ull);
    EXPECT_EQ(zvx_get_event(host.fd, 0), nullptr);
    host.parameter<zvx_dev_port_definition>(OMX_IndexParamPortDefinition);
    EXPECT_EQ(host.stats().held_buffers, (std::array<uint32_t, 2>{2, 1}));
    EXPECT_FALSE(gate.gave_up()) << "a host call waited for the decode";
    gate.release();

    host.expect(ZVX_BASE_EVENT_INPUT);
    EXPECT_EQ(host.expect(ZVX_BASE_EVENT_REF_FRAME_RELEASED).as<uint64_t>(), 0xABCDEF0123ull) << "confirmed by id";
    for (uint16_t code : {ZVX_BASE_EVENT_ALLOC_PARAMS, ZVX_BASE_EVENT_SEQUENCE_PARAMS, ZVX_BASE_EVENT_INPUT})
        host.expect(code);
}

TEST_F(DeviceWorker, FlushAskedDuringADecodeReturnsEveryBufferOnce)
{
    EngineGate gate(zvx_dev_engine_step::consume, 0);
    DeviceHost host("video_decoder.avc", gate.script());
    ASSERT_TRUE(host.session);
    const std::vector<zvx_base_buffer_handle_t> inputs = hold_first_decode(host, gate, 3);
    ASSERT_EQ(inputs.size(), 3u);
    const zvx_base_buffer_handle_t outputs[] = {host.add_buffer(1, 32 * 16 * 2), host.add_buffer(1, 32 * 16 * 2)};
    host.queue(0, inputs[1], 8);
    host.queue(1, outputs[0]);
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_ALL_PORTS);
    host.queue(0, inputs[2], 8);
    host.queue(1, outputs[1]);
    gate.release();

    auto returns = returns_until(host, ZVX_BASE_EVENT_OUTPUT_FLUSHED);
    ASSERT_EQ(returns.size(), 5u);
    for (const auto &[id, events] : returns)
        EXPECT_EQ(events.size(), 1u) << "buffer " << id;
    EXPECT_EQ(returns[inputs[0]].at(0).filled_len, 0u) << "the input being decoded is consumed";
    EXPECT_EQ(returns[inputs[2]].at(0).filled_len, 8u) << "one queued during the decode is flushed";
    EXPECT_EQ(host.stats().held_buffers, (std::array<uint32_t, 2>{0, 0}));
    EXPECT_FALSE(gate.gave_up());
}

TEST_F(DeviceWorker, OutputBeingWrittenWhenAFlushComesReturnsOnceWithItsPicture)
{
    EngineGate gate(zvx_dev_engine_step::write, 0);
    DeviceHost host("video_decoder.avc", gate.script());
    ASSERT_TRUE(host.session);
    host.set_port(1, 32, 16, YUV420_PLANAR);
    const zvx_dev_picture_layout layout = zvx_dev_layout_picture(YUV420_PLANAR, 32, 16, 32, 16);
    host.run();
    host.queue(0, host.add_buffer(0, 8), 8);
    returns_until(host, ZVX_BASE_EVENT_SEQUENCE_PARAMS);
    const zvx_base_buffer_handle_t outputs[] = {host.add_buffer(1, layout.total_bytes),
                                                host.add_buffer(1, layout.total_bytes)};
    host.queue(1, outputs[0]);
    ASSERT_TRUE(gate.wait_until_held());
    host.queue(1, outputs[1]);
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_OUTPUT_PORT);
    gate.release();

    auto returns = returns_until(host, ZVX_BASE_EVENT_OUTPUT_FLUSHED);
    ASSERT_EQ(returns[outputs[0]].size(), 1u);
    ASSERT_EQ(returns[outputs[1]].size(), 1u);
    const zvx_base_buffer_userspace written = returns[outputs[0]][0];
    EXPECT_TRUE(zvx_dev_picture_matches(host.data(outputs[0]), written.filled_len, layout, 0));
    EXPECT_EQ(returns[outputs[1]][0].filled_len, 0u);
    EXPECT_EQ(host.stats().pictures_output, 1u);
    EXPECT_FALSE(gate.gave_up());
}

/* The calls may come before the decode ends or after it: either way no buffer is lost or counted twice. */
TEST_F(DeviceWorker, UnregisterAndDestroyDuringADecodeAccountForEveryBufferOnce)
{
    EngineGate gate(zvx_dev_engine_step::consume, 0);
    DeviceHost host("video_decoder.avc", gate.script());
    ASSERT_TRUE(host.session);
    const std::vector<zvx_base_buffer_handle_t> inputs = hold_first_decode(host, gate, 2);
    ASSERT_EQ(inputs.size(), 2u);
    host.queue(0, inputs[1], 8);
    host.queue(1, host.add_buffer(1, 32 * 16 * 2));
    zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_PENDING);
    std::thread host_calls([&] {
        zvx_unregister_buffer(host.fd, inputs[0]);
        zvx_destroy_session(host.fd);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    gate.release();
    host_calls.join();

    const zvx_dev_stats stats = host.stats();
    EXPECT_EQ(stats.events_sent[ZVX_BASE_EVENT_INPUT], 1u) << "the input being decoded comes back";
    EXPECT_EQ(stats.buffers_dropped, 2u) << "the held ones go with the session";
    EXPECT_EQ(stats.held_buffers, (std::array<uint32_t, 2>{0, 0}));
    EXPECT_EQ(stats.registered_buffers, (std::array<uint32_t, 2>{1, 1}));
}

} // namespace
