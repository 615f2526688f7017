#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <random>
#include <thread>

#include "zvx_dev_host.h"
#include "zvx_dev_picture.h"
#include "zvx_omx_extensions.h"

namespace {

static_assert(ZVX_DEV_INDEX_SEQUENCE_PARAMETERS == static_cast<uint32_t>(QURO_IndexParamSequenceParameters),
              "the session answers the index the component asks with");

constexpr uint32_t YUV420_PLANAR = 19;

class DeviceSession : public EmulatorTest {};

std::vector<zvx_base_buffer_handle_t> add_buffers(DeviceHost &host, uint32_t port, uint32_t count, uint32_t size)
{
    std::vector<zvx_base_buffer_handle_t> ids;
    for (uint32_t i = 0; i < count; ++i)
        ids.push_back(host.add_buffer(port, size));
    return ids;
}

/* New buffers queued as soon as they are registered: inputs full, outputs empty. */
std::vector<zvx_base_buffer_handle_t> queue_new(DeviceHost &host, uint32_t port, uint32_t count, uint32_t size)
{
    std::vector<zvx_base_buffer_handle_t> ids = add_buffers(host, port, count, size);
    for (zvx_base_buffer_handle_t id : ids)
        EXPECT_EQ(host.queue(port, id, port == 0 ? size : 0), OMX_ErrorNone);
    return ids;
}

void expect_events(DeviceHost &host, std::initializer_list<uint16_t> codes)
{
    for (uint16_t code : codes)
        host.expect(code);
}

/* The states a run of requests asks for in turn, so that each answer tells which request it is for. */
zvx_base_hw_state alternating_state(int request)
{
    return request % 2 == 0 ? ZVX_BASE_HW_STATE_RUNNING : ZVX_BASE_HW_STATE_PENDING;
}

zvx_dev_script stream_of(uint32_t width, uint32_t height)
{
    zvx_dev_script script;
    script.stream_width = width;
    script.stream_height = height;
    return script;
}

TEST_F(DeviceSession, DescriptorIsReadableExactlyWhileEventsWaitHoweverHostAndWorkerInterleave)
{
    DeviceHost host("video_decoder.avc");
    ASSERT_TRUE(host.session);
    EXPECT_FALSE(host.readable(0));
    EXPECT_EQ(zvx_get_event(host.fd, 20), nullptr);

    zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_RUNNING);
    zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_PENDING);
    ASSERT_TRUE(host.readable(DeviceHost::WAIT_MS));
    while (host.stats().events_pending < 2)
        std::this_thread::yield();
    EXPECT_EQ(host.next().as<int32_t>(), ZVX_BASE_HW_STATE_RUNNING);
    EXPECT_TRUE(host.readable(0));
    EXPECT_EQ(host.next().as<int32_t>(), ZVX_BASE_HW_STATE_PENDING);
    EXPECT_FALSE(host.readable(0));
    EXPECT_EQ(host.stats().events_sent[ZVX_BASE_EVENT_STATE_CHANGED], 2u);

    // The host drains the queue at each wake-up while the worker publishes more.
    constexpr int CHANGES = 2000;
    std::thread requests([&] {
        for (int i = 0; i < CHANGES; ++i)
            zvx_enqueue_state_change(host.fd, alternating_state(i));
    });
    int taken = 0;
    int empty_wakes = 0;
    int out_of_order = 0;
    while (taken < CHANGES && empty_wakes < 100 && host.readable(DeviceHost::WAIT_MS)) {
        bool any = false;
        while (zvx_base_event_header *header = zvx_get_event(host.fd, 0)) {
            int32_t state = 0;
            std::memcpy(&state, header->data, sizeof(state));
            out_of_order += state != alternating_state(taken) ? 1 : 0;
            ++taken;
            any = true;
            zvx_mem_free(header);
        }
        empty_wakes += any ? 0 : 1;
    }
    requests.join();
    EXPECT_EQ(taken, CHANGES);
    EXPECT_EQ(empty_wakes, 0) << "the descriptor was readable with no event waiting";
    EXPECT_EQ(out_of_order, 0);
    EXPECT_FALSE(host.readable(50));

    // Taken without polling at a varied moment: sometimes after the worker marked the queue readable but
    // before it wrote the descriptor.
    std::minstd_rand jitter(std::random_device{}());
    int readable_when_empty = 0;
    for (int round = 0; round < 3000 && readable_when_empty == 0; ++round) {
        zvx_enqueue_state_change(host.fd, alternating_state(round));
        const auto give_up_at = std::chrono::steady_clock::now() + std::chrono::milliseconds(DeviceHost::WAIT_MS);
        zvx_base_event_header *header;
        while ((header = zvx_get_event(host.fd, 0)) == nullptr && std::chrono::steady_clock::now() < give_up_at) {
            std::atomic<uint32_t> spin{static_cast<uint32_t>(jitter() % 512)};
            while (spin.fetch_sub(1, std::memory_order_relaxed) > 0) {
            }
        }
        ASSERT_NE(header, nullptr) << "no answer to state change " << round;
        zvx_mem_free(header);
        std::this_thread::sleep_for(std::chrono::microseconds(50));
        readable_when_empty += host.readable(0) ? 1 : 0;
    }
    EXPECT_EQ(readable_when_empty, 0) << "the descriptor was written after the host took the last event";

    // Each request posted as soon as the last answer is out, while the worker goes back to waiting.
    constexpr int ROUNDS = 5000;
    int answered = 0;
    for (int round = 0; round < ROUNDS && answered == round; ++round) {
        zvx_enqueue_state_change(host.fd, alternating_state(round));
        answered += host.next(1000).code == ZVX_BASE_EVENT_STATE_CHANGED ? 1 : 0;
    }
    EXPECT_EQ(answered, ROUNDS) << "a request was left waiting";
}

TEST_F(DeviceSession, DecodeAnnouncesTheStreamThenOutputsPatternedPicturesInPresentationOrder)
{
    DeviceHost host("video_decoder.avc");
    ASSERT_TRUE(host.session);
    zvx_dev_script script = stream_of(60, 40);
    script.reorder_depth = 2;
    ASSERT_TRUE(zvx_dev_set_script(host.fd, script)) << "an open session takes a new stream before its first picture";
    host.set_port(1, 64, 48, YUV420_PLANAR, 6);
    const zvx_dev_picture_layout layout = zvx_dev_layout_picture(YUV420_PLANAR, 64, 48, 64, 48);
    const auto inputs = add_buffers(host, 0, 4, 16);
    queue_new(host, 1, 4, layout.total_bytes);
    host.run();

    const uint64_t decode_order[] = {0, 66, 33, 100};
    for (size_t i = 0; i < 4; ++i)
        host.queue(0, inputs[i], 16, i == 3 ? OMX_BUFFERFLAG_EOS : 0, decode_order[i]);
    EXPECT_EQ(host.expect(ZVX_BASE_EVENT_INPUT).buffer().buffer_id, inputs[0]);
    const auto allocation = host.expect(ZVX_BASE_EVENT_ALLOC_PARAMS).as<zvx_base_fw_frame_alloc_parameters>();
    EXPECT_EQ(allocation.planar_alloc_frame_width, 64);
    EXPECT_EQ(allocation.planar_alloc_frame_height, 48);
    EXPECT_EQ(allocation.cropx, 60);
    EXPECT_EQ(allocation.cropy, 40);
    const auto sequence = host.expect(ZVX_BASE_EVENT_SEQUENCE_PARAMS).as<zvx_base_response_sequence_parameters>();
    EXPECT_EQ(sequence.num_buffers_planar, 6) << "never fewer than the host keeps";
    for (size_t i = 1; i < 4; ++i) {
        const zvx_base_buffer_userspace returned = host.expect(ZVX_BASE_EVENT_INPUT).buffer();
        EXPECT_EQ(returned.buffer_id, inputs[i]);
        EXPECT_EQ(returned.timestamp, decode_order[i]);
    }

    const auto definition = host.parameter<zvx_dev_port_definition>(OMX_IndexParamPortDefinition);
    EXPECT_EQ(definition.nSize, sizeof(definition));
    EXPECT_EQ(definition.nFrameWidth, 64u);
    EXPECT_EQ(definition.nFrameHeight, 48u);
    EXPECT_EQ(definition.nBufferCountMin, 6u);
    EXPECT_GE(definition.nBufferSize, layout.total_bytes);
    const auto stream = host.parameter<zvx_dev_sequence_parameters>(ZVX_DEV_INDEX_SEQUENCE_PARAMETERS);
    EXPECT_EQ(stream.nDisplayWidth, 60);
    EXPECT_EQ(stream.bFrameReordering, 1);
    EXPECT_EQ(host.parameter<zvx_dev_port_format>(OMX_IndexParamVideoPortFormat).eColorFormat, YUV420_PLANAR);

    EXPECT_FALSE(host.readable(50)) << "outputs registered before the announcement wait for the host";
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_OUTPUT_PORT);
    const uint64_t presentation_order[] = {0, 33, 66, 100};
    const uint32_t picture_of[] = {0, 2, 1, 3};
    for (size_t i = 0; i < 4; ++i) {
        const zvx_base_buffer_userspace output = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
        EXPECT_EQ(output.timestamp, presentation_order[i]);
        EXPECT_EQ(output.pic_index, picture_of[i]);
        EXPECT_EQ(output.filled_len, layout.total_bytes);
        EXPECT_EQ(output.flags, OMX_BUFFERFLAG_ENDOFFRAME | (i == 3 ? OMX_BUFFERFLAG_EOS : 0u));
        EXPECT_EQ(output.cropx, 60);
        EXPECT_TRUE(zvx_dev_picture_matches(host.data(output.buffer_id), output.filled_len, layout, picture_of[i]));
    }
    EXPECT_EQ(host.stats().pictures_output, 4u);
}

TEST_F(DeviceSession, ResolutionChangeComesAfterTheOldPicturesAndOnlyNewBuffersAreFilledAtTheirOwnStride)
{
    zvx_dev_script script = stream_of(32, 32);
    script.resolution_changes.push_back({2, 48, 32});
    DeviceHost host("video_decoder.hevc", script);
    ASSERT_TRUE(host.session);
    host.set_port(1, 32, 32, YUV420_PLANAR);
    const zvx_dev_picture_layout small = zvx_dev_layout_picture(YUV420_PLANAR, 32, 32, 32, 32);
    const zvx_dev_picture_layout large = zvx_dev_layout_picture(YUV420_PLANAR, 48, 32, 32, 32);
    const zvx_dev_picture_layout padded = zvx_dev_layout_picture(YUV420_PLANAR, 48, 32, 64, 40);
    host.run();
    queue_new(host, 0, 4, 8);
    expect_events(host, {ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_ALLOC_PARAMS, ZVX_BASE_EVENT_SEQUENCE_PARAMS,
                         ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_INPUT});

    const auto old_buffers = queue_new(host, 1, 2, small.total_bytes);
    for (uint32_t picture = 0; picture < 2; ++picture)
        EXPECT_TRUE(zvx_dev_picture_matches(host.data(old_buffers[picture]),
                                            host.expect(ZVX_BASE_EVENT_OUTPUT).buffer().filled_len, small, picture));
    EXPECT_EQ(host.expect(ZVX_BASE_EVENT_ALLOC_PARAMS).as<zvx_base_fw_frame_alloc_parameters>().cropx, 48);
    host.expect(ZVX_BASE_EVENT_SEQUENCE_PARAMS);

    host.queue(1, old_buffers[0]);
    EXPECT_FALSE(host.readable(50)) << "a buffer from before the change is held";
    const zvx_base_buffer_handle_t fresh = host.add_buffer(1, large.total_bytes);
    host.queue(1, fresh);
    const zvx_base_buffer_userspace output = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
    EXPECT_EQ(output.buffer_id, fresh);
    EXPECT_EQ(output.width, 48u);
    EXPECT_TRUE(zvx_dev_picture_matches(host.data(fresh), output.filled_len, large, 2));
    const zvx_base_buffer_handle_t strided = host.add_buffer(1, padded.total_bytes, 64, 40);
    host.queue(1, strided);
    const zvx_base_buffer_userspace filled = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
    EXPECT_EQ(filled.filled_len, padded.total_bytes);
    EXPECT_EQ(filled.stride, 64u);
    EXPECT_TRUE(zvx_dev_picture_matches(host.data(strided), filled.filled_len, padded, 3));

    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_OUTPUT_PORT);
    const zvx_base_buffer_userspace flushed = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
    EXPECT_EQ(flushed.buffer_id, old_buffers[0]);
    EXPECT_EQ(flushed.filled_len, 0u);
    host.expect(ZVX_BASE_EVENT_OUTPUT_FLUSHED);
}

TEST_F(DeviceSession, FlushReturnsEveryHeldBufferOfEachPortBeforeItsFlushedEventAndDropsPicturesNotYetOutput)
{
    DeviceHost host("video_decoder.mpeg2");
    ASSERT_TRUE(host.session);
    const auto inputs = add_buffers(host, 0, 3, 64);
    for (uint32_t i = 0; i < 3; ++i)
        host.queue(0, inputs[i], 10 * (i + 1), 0, i);
    const auto outputs = queue_new(host, 1, 2, 64);
    EXPECT_EQ(host.stats().held_buffers, (std::array<uint32_t, 2>{3, 2})) << "a stopped device holds what it gets";

    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_QUICK);
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_ALL_PORTS);
    for (uint32_t i = 0; i < 3; ++i) {
        const zvx_base_buffer_userspace returned = host.expect(ZVX_BASE_EVENT_INPUT).buffer();
        EXPECT_EQ(returned.buffer_id, inputs[i]);
        EXPECT_EQ(returned.filled_len, 10 * (i + 1)) << "flushed input is returned unconsumed";
    }
    host.expect(ZVX_BASE_EVENT_INPUT_FLUSHED);
    for (zvx_base_buffer_handle_t id : outputs)
        EXPECT_EQ(host.expect(ZVX_BASE_EVENT_OUTPUT).buffer().buffer_id, id);
    host.expect(ZVX_BASE_EVENT_OUTPUT_FLUSHED);
    EXPECT_FALSE(host.readable(0));
    EXPECT_EQ(host.stats().held_buffers, (std::array<uint32_t, 2>{0, 0}));

    host.run();
    host.queue(0, inputs[0], 8);
    host.queue(0, inputs[1], 8);
    expect_events(host, {ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_ALLOC_PARAMS, ZVX_BASE_EVENT_SEQUENCE_PARAMS,
                         ZVX_BASE_EVENT_INPUT});
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_INPUT_PORT);
    host.expect(ZVX_BASE_EVENT_INPUT_FLUSHED);
    host.queue(1, host.add_buffer(1, 320 * 240 * 2));
    EXPECT_FALSE(host.readable(50)) << "the input flush dropped the decoded pictures";
    host.queue(0, inputs[0], 8, 0, 77);
    host.expect(ZVX_BASE_EVENT_INPUT);
    EXPECT_EQ(host.expect(ZVX_BASE_EVENT_OUTPUT).buffer().timestamp, 77u);
}

TEST_F(DeviceSession, EncodeKeepsItsParametersAnnouncesItsOutputPortAndSplitsAPictureOverSmallBuffers)
{
    zvx_dev_script script;
    script.key_interval = 2;
    DeviceHost host("video_encoder.avc", script);
    ASSERT_TRUE(host.session);
    const auto bitrate_index = static_cast<OMX_INDEXTYPE>(OMX_IndexParamVideoBitrate);
    uint32_t bitrate[5] = {20, ZVX_DEV_VERSION_1_2, 1, 2, 64000};
    uint32_t read[5] = {20, ZVX_DEV_VERSION_1_2, 1, 0, 0};
    EXPECT_EQ(zvx_get_parameter(host.fd, bitrate_index, sizeof(read), read), OMX_ErrorUnsupportedIndex);
    EXPECT_EQ(zvx_get_error_code(), OMX_ErrorUnsupportedIndex);
    EXPECT_EQ(zvx_set_parameter(host.fd, bitrate_index, sizeof(bitrate), bitrate), OMX_ErrorNone);
    EXPECT_EQ(zvx_get_parameter(host.fd, bitrate_index, sizeof(read), read), OMX_ErrorNone);
    EXPECT_EQ(read[4], 64000u);
    read[2] = 0;
    EXPECT_EQ(zvx_get_parameter(host.fd, bitrate_index, sizeof(read), read), OMX_ErrorUnsupportedIndex)
        << "records are kept per port";

    const auto intra_index = static_cast<OMX_INDEXTYPE>(OMX_IndexConfigVideoIntraVOPRefresh);
    EXPECT_EQ(zvx_set_config(host.fd, intra_index, sizeof(bitrate), bitrate), OMX_ErrorNone);
    EXPECT_EQ(zvx_get_error_code(), OMX_ErrorNone);
    zvx_dev_port_definition definition{};
    definition.nPortIndex = 5;
    EXPECT_EQ(zvx_set_parameter(host.fd, OMX_IndexParamPortDefinition, sizeof(definition), &definition),
              OMX_ErrorBadPortIndex);
    EXPECT_EQ(zvx_get_parameter(host.fd, OMX_IndexParamPortDefinition, 40, &definition), OMX_ErrorBadParameter);

    host.set_port(0, 64, 48, YUV420_PLANAR);
    queue_new(host, 1, 2, 100);
    host.run();
    const auto inputs = add_buffers(host, 0, 2, 4608);
    host.queue(0, inputs[0], 4608, 0, 10);
    host.queue(0, inputs[1], 0, OMX_BUFFERFLAG_EOS, 20);
    host.expect(ZVX_BASE_EVENT_INPUT);
    const auto notice = host.expect(ZVX_BASE_EVENT_GENERIC).as<std::array<uint32_t, 2>>();
    EXPECT_EQ(notice, (std::array<uint32_t, 2>{ZVX_DEV_GENERIC_PORT_DEFINITION_CHANGED, 1}));
    host.expect(ZVX_BASE_EVENT_INPUT);

    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_QUICK | ZVX_BASE_FLUSH_INPUT_PORT);
    const uint32_t length = zvx_dev_bitstream_length(64, 48, true);
    uint32_t written = 0;
    while (written < length) {
        const zvx_base_buffer_userspace output = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
        ASSERT_EQ(output.filled_len, std::min(100u, length - written));
        EXPECT_TRUE(zvx_dev_bitstream_matches(host.data(output.buffer_id), written, output.filled_len, 0));
        written += output.filled_len;
        EXPECT_EQ(output.flags, OMX_BUFFERFLAG_SYNCFRAME | (written == length ? OMX_BUFFERFLAG_ENDOFFRAME : 0u));
        EXPECT_EQ(output.timestamp, 10u);
        host.queue(1, output.buffer_id);
    }
    const zvx_base_buffer_userspace end = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
    EXPECT_EQ(end.filled_len, 0u);
    EXPECT_EQ(end.flags, static_cast<uint32_t>(OMX_BUFFERFLAG_EOS));
    EXPECT_EQ(end.timestamp, 20u);
    EXPECT_EQ(host.stats().pictures_output, 1u);
}

TEST_F(DeviceSession, Vp9AllocationChangeRejectsOutputsRegisteredBeforeIt)
{
    zvx_dev_script script;
    script.stream_report = zvx_dev_report::vp9_allocation;
    DeviceHost host("video_decoder.vp9", script);
    ASSERT_TRUE(host.session);
    const auto old_buffers = queue_new(host, 1, 2, 320 * 240 * 2);
    host.run();
    host.queue(0, host.add_buffer(0, 8), 8);
    expect_events(host, {ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_ALLOC_PARAMS});
    for (zvx_base_buffer_handle_t id : old_buffers) {
        const zvx_base_buffer_userspace rejected = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
        EXPECT_EQ(rejected.buffer_id, id);
        EXPECT_EQ(rejected.zvx_flags, ZVX_DEV_ZVX_FLAG_REJECTED);
    }
    const zvx_base_buffer_handle_t fresh = host.add_buffer(1, 320 * 240 * 2);
    host.queue(1, fresh);
    const zvx_base_buffer_userspace output = host.expect(ZVX_BASE_EVENT_OUTPUT).buffer();
    EXPECT_EQ(output.buffer_id, fresh);
    EXPECT_EQ(output.zvx_flags, 0u);
}

TEST_F(DeviceSession, SlowDeviceTakesItsDelayAndAHungSessionReportsOnceAndThenAnswersNothing)
{
    zvx_dev_script script;
    script.faults.push_back({zvx_dev_fault_kind::session_hung, 1, 1, 0, ""});
    script.delays.state_change_us = 30000;
    DeviceHost host("video_decoder.avc", script);
    ASSERT_TRUE(host.session);
    for (int run = 0; run < 2; ++run) {
        // The second request finds the worker idle, where a request without delay is answered at once.
        std::this_thread::sleep_for(std::chrono::milliseconds(run));
        const auto start = std::chrono::steady_clock::now();
        host.run();
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(30000));
    }
    queue_new(host, 0, 3, 8);
    expect_events(host, {ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_ALLOC_PARAMS, ZVX_BASE_EVENT_SEQUENCE_PARAMS,
                         ZVX_BASE_EVENT_INPUT, ZVX_BASE_EVENT_SESSION_HUNG});
    std::this_thread::sleep_for(std::chrono::milliseconds(1)); // the hung worker goes idle
    zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_STOPPED);
    zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_INPUT_PORT);
    EXPECT_FALSE(host.readable(50));
    EXPECT_TRUE(host.stats().hung);
    EXPECT_EQ(host.stats().held_buffers[0], 1u);

    zvx_destroy_session(host.fd);
    EXPECT_FALSE(host.stats().hung);
    EXPECT_EQ(host.stats().buffers_dropped, 1u);
}

TEST_F(DeviceSession, ShuffledInputReturnsStillReturnEveryBufferOnce)
{
    zvx_dev_script script;
    script.shuffle_events = true;
    script.max_pictures_in_flight = 16;
    DeviceHost host("video_decoder.avc", script);
    ASSERT_TRUE(host.session);
    const auto inputs = queue_new(host, 0, 8, 8);
    zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_RUNNING);
    std::vector<zvx_base_buffer_handle_t> returned;
    while (returned.size() < inputs.size()) {
        const DeviceEvent event = host.next();
        ASSERT_NE(event.code, 0xFFFF);
        if (event.code == ZVX_BASE_EVENT_INPUT)
            returned.push_back(event.buffer().buffer_id);
    }
    EXPECT_NE(returned, inputs) << "seed 1 reorders these returns";
    std::sort(returned.begin(), returned.end());
    EXPECT_EQ(returned, inputs);
}

TEST_F(DeviceSession, TeardownDropsWhatDevicesHoldAndEachOpenWhileTheEmulatorRunsIsItsOwnDevice)
{
    {
        DeviceHost host("video_decoder.avc");
        ASSERT_TRUE(host.session);
        queue_new(host, 0, 3, 64);
        queue_new(host, 1, 2, 64);
        zvx_enqueue_state_change(host.fd, ZVX_BASE_HW_STATE_STOPPED);
        ASSERT_TRUE(host.readable(DeviceHost::WAIT_MS));
    }
    const zvx_dev_totals totals = zvx_dev_get_totals();
    EXPECT_EQ(totals.buffers_dropped, 5u);
    EXPECT_EQ(totals.events_discarded, 1u);
    EXPECT_EQ(totals.buffers_left_registered, 5u);
    EXPECT_EQ(totals.devices_closed, 1u);

    DeviceHost left_open("video_encoder.vp8");
    left_open.queue(0, left_open.add_buffer(0, 64), 64);
    zvx_destroy_emulator();
    EXPECT_EQ(zvx_dev_get_totals().devices_closed, 2u);
    EXPECT_TRUE(zvx_dev_open_devices().empty());
    left_open.fd = -1;
    EXPECT_EQ(zvx_init("/dev/kdev0"), -1);
    zvx_init_emulator();
    EXPECT_EQ(zvx_init(nullptr), -1);

    const int first = zvx_init("/dev/kdev0");
    const int second = zvx_init("/dev/kdev0");
    ASSERT_NE(first, -1);
    ASSERT_NE(second, -1);
    EXPECT_NE(first, second);
    EXPECT_EQ(zvx_dev_open_devices(), (std::vector<int>{first, second}));

    zvx_dev_script refusing;
    refusing.fail_open = true;
    zvx_dev_set_default_script(refusing);
    EXPECT_EQ(zvx_init("/dev/kdev0"), -1);

    zvx_close(first);
    EXPECT_EQ(zvx_dev_open_devices(), std::vector<int>{second});
    zvx_close(second);
}

/* One device fed from one thread while another takes its events, as the component drives it. */
void decode_on_two_threads(uint32_t frames, std::atomic<int> *failures)
{
    DeviceHost host("video_decoder.avc", stream_of(32, 16));
    if (!host.session) {
        ++*failures;
        return;
    }
    host.set_port(1, 32, 16, YUV420_PLANAR);
    const zvx_dev_picture_layout layout = zvx_dev_layout_picture(YUV420_PLANAR, 32, 16, 32, 16);
    std::mutex lock;
    std::condition_variable freed;
    std::deque<zvx_base_buffer_handle_t> free_inputs; /* lock */
    bool stopped = false;                             /* lock */
    for (zvx_base_buffer_handle_t id : add_buffers(host, 0, 3, 16))
        free_inputs.push_back(id);
    host.run();

    std::thread feeder([&] {
        for (uint32_t frame = 0; frame < frames; ++frame) {
            std::unique_lock guard(lock);
            freed.wait(guard, [&] { return stopped || !free_inputs.empty(); });
            if (stopped)
                return;
            const zvx_base_buffer_handle_t id = free_inputs.front();
            free_inputs.pop_front();
            guard.unlock();
            host.queue(0, id, 16, frame + 1 == frames ? OMX_BUFFERFLAG_EOS : 0, uint64_t{frame} * 10);
        }
    });
    uint32_t outputs = 0;
    bool ended = false;
    while (!ended) {
        const DeviceEvent event = host.next();
        if (event.code == ZVX_BASE_EVENT_INPUT) {
            std::lock_guard guard(lock);
            free_inputs.push_back(event.buffer().buffer_id);
            freed.notify_one();
        } else if (event.code == ZVX_BASE_EVENT_SEQUENCE_PARAMS) {
            queue_new(host, 1, 2, layout.total_bytes);
        } else if (event.code == ZVX_BASE_EVENT_OUTPUT) {
            const zvx_base_buffer_userspace output = event.buffer();
            if (output.timestamp != outputs * 10ull ||
                !zvx_dev_picture_matches(host.data(output.buffer_id), output.filled_len, layout, outputs))
                ++*failures;
            ++outputs;
            ended = (output.flags & OMX_BUFFERFLAG_EOS) != 0;
            host.queue(1, output.buffer_id);
        } else if (event.code != ZVX_BASE_EVENT_ALLOC_PARAMS) {
            ++*failures;
            ended = true;
        }
    }
    {
        std::lock_guard guard(lock);
        stopped = true;
        freed.notify_one();
    }
    feeder.join();
    if (outputs != frames)
        ++*failures;
}

TEST_F(DeviceSession, SeveralDevicesDecodeAtOnceFromSeveralThreadsEach)
{
    std::atomic<int> failures{0};
    std::vector<std::thread> devices;
    devices.reserve(3);
    for (int i = 0; i < 3; ++i)
        devices.emplace_back(decode_on_two_threads, 40, &failures);
    for (std::thread &device : devices)
        device.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(zvx_dev_get_totals().devices_opened, 3u);
}

TEST_F(DeviceSession, BadRequestsAndFailedAllocationsAreRefusedWithClearErrors)
{
    DeviceHost host("video_decoder.avc");
    ASSERT_TRUE(host.session);
    zvx_base_buffer_userspace foreign{};
    foreign.buffer_id = 99;
    foreign.handle = 3;
    foreign.size = 64;
    foreign.allocator = ZVX_BASE_BUFFER_ALLOCATOR_DMABUF;
    EXPECT_EQ(zvx_register_buffer(host.fd, 0, &foreign), OMX_ErrorUnsupportedSetting);
    foreign.allocator = ZVX_BASE_BUFFER_ALLOCATOR_VMALLOC;
    EXPECT_EQ(zvx_register_buffer(host.fd, 2, &foreign), OMX_ErrorBadPortIndex);

    const zvx_base_buffer_handle_t input = host.add_buffer(0, 64);
    EXPECT_EQ(host.queue(1, input), OMX_ErrorBadPortIndex);
    EXPECT_EQ(host.queue(0, 42), OMX_ErrorBadParameter);
    EXPECT_EQ(host.queue(0, input, 64), OMX_ErrorNone);
    EXPECT_EQ(host.queue(0, input, 64), OMX_ErrorIncorrectStateOperation);
    zvx_unregister_buffer(host.fd, input);
    EXPECT_EQ(host.stats().held_buffers[0], 0u);
    EXPECT_EQ(host.stats().buffers_dropped, 1u);

    EXPECT_EQ(zvx_create_session(host.fd, "video_decoder.avc"), OMX_FALSE) << "one session per device";
    DeviceHost unsupported("video_encoder.mpeg2");
    EXPECT_FALSE(unsupported.session);
    EXPECT_EQ(unsupported.queue(0, unsupported.add_buffer(0, 64), 64), OMX_ErrorIncorrectStateOperation);
    EXPECT_EQ(zvx_create_session(unsupported.fd, "video_encoder.vp9"), OMX_TRUE);
    EXPECT_EQ(zvx_activate_session(unsupported.fd, "video_encoder.avc", nullptr), OMX_FALSE);
    EXPECT_EQ(zvx_is_role_supported("video_decoder.rv"), OMX_TRUE);
    EXPECT_EQ(zvx_is_role_supported("video_decoder.jpeg"), OMX_FALSE);
    EXPECT_EQ(zvx_get_fw_version(host.fd) >> 8, 2u);

    zvx_mem_kernelspace_set_failure_range(1, 1);
    zvx_mem_kernelspace_resfail_enable();
    host.add_buffer(0, 64);
    EXPECT_EQ(host.last_error, OMX_ErrorNone);
    EXPECT_EQ(zvx_mem_kernelspace_resfail_did_fail(), 0u);
    host.add_buffer(0, 64);
    EXPECT_EQ(host.last_error, OMX_ErrorInsufficientResources) << "the second kernel allocation failed";
    zvx_mem_kernelspace_resfail_disable();
    EXPECT_EQ(zvx_mem_kernelspace_resfail_did_fail(), 1u);
    host.add_buffer(0, 64);
    EXPECT_EQ(host.last_error, OMX_ErrorNone);

    ASSERT_TRUE(zvx_dev_inject_fault(host.fd, {zvx_dev_fault_kind::error_event, 0, 1, 0x1234, "firmware fault"}));
    const DeviceEvent error = host.expect(ZVX_BASE_EVENT_ERROR);
    ASSERT_EQ(error.payload.size(), 4u + sizeof("firmware fault"));
    EXPECT_EQ(error.as<uint32_t>(), 0x1234u);
    EXPECT_STREQ(reinterpret_cast<const char *>(error.payload.data() + 4), "firmware fault");
    // A flush the caller may answer itself still comes after the request before it, which the worker answers.
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        ASSERT_TRUE(zvx_dev_inject_fault(host.fd, {zvx_dev_fault_kind::error_event, 0, 1, 0x1234, "firmware fault"}));
        zvx_enqueue_flush_buffers(host.fd, ZVX_BASE_FLUSH_INPUT_PORT);
        host.expect(ZVX_BASE_EVENT_ERROR);
        host.expect(ZVX_BASE_EVENT_INPUT_FLUSHED);
    }
    zvx_destroy_session(host.fd);
    EXPECT_FALSE(zvx_dev_inject_fault(host.fd, {zvx_dev_fault_kind::error_event, 0, 1, 0x1234, "firmware fault"}))
        << "faults need a session";
}

} // namespace
