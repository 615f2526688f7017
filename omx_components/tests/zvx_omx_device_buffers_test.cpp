// Buffers against the session emulator: a mid-stream teardown, and an encoder driven as FFmpeg drives it.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

#include "zvx_omx_config.h"
#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"
#include "zvx_codec_device.h"

namespace {

using namespace std::chrono_literals;

struct seen_event {
    OMX_EVENTTYPE event;
    OMX_U32 data1;
    OMX_U32 data2;
    bool operator==(const seen_event &) const = default;
};

/* What the client holds and what it was told, written on the command thread, read by the test. */
class client_log {
public:
    static OMX_ERRORTYPE on_event(OMX_HANDLETYPE, OMX_PTR app_data, OMX_EVENTTYPE event, OMX_U32 data1, OMX_U32 data2,
                                  OMX_PTR)
    {
        auto *log = static_cast<client_log *>(app_data);
        std::lock_guard<std::mutex> lock(log->mutex_);
        log->events_.push_back({event, data1, data2});
        log->changed_.notify_all();
        return OMX_ErrorNone;
    }

    static OMX_ERRORTYPE on_buffer(OMX_HANDLETYPE, OMX_PTR app_data, OMX_BUFFERHEADERTYPE *header)
    {
        auto *log = static_cast<client_log *>(app_data);
        std::lock_guard<std::mutex> lock(log->mutex_);
        EXPECT_FALSE(log->held_[header]) << "returned twice";
        log->held_[header] = true;
        log->fresh_.push_back(header);
        log->changed_.notify_all();
        return OMX_ErrorNone;
    }

    /* Waits for the event and takes it, so that the same event later is seen anew. */
    bool saw(const seen_event &event)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, 10s, [&] { return has(event); })) {
            return false;
        }
        events_.erase(std::find(events_.begin(), events_.end(), event));
        return true;
    }

    /* Caller holds mutex_. */
    bool has(const seen_event &event) { return std::find(events_.begin(), events_.end(), event) != events_.end(); }

    /* Waits a moment for a return or the event; true once the event was seen. */
    bool returns_until(const seen_event &event)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, 10ms, [&] { return has(event) || !fresh_.empty(); });
        return has(event);
    }

    void given(OMX_BUFFERHEADERTYPE *header)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        held_[header] = false;
    }

    /* Headers returned since the last call. */
    std::vector<OMX_BUFFERHEADERTYPE *> take_returned()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<OMX_BUFFERHEADERTYPE *> returned;
        returned.swap(fresh_);
        return returned;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<seen_event> events_;
    std::map<OMX_BUFFERHEADERTYPE *, bool> held_;
    std::vector<OMX_BUFFERHEADERTYPE *> fresh_;
};

/* A client of one component over the emulator. */
template <typename Component, auto init, auto destroy> class EmulatedClient : public ::testing::Test {
protected:
    void SetUp() override
    {
        zvx_init_emulator();
        OMX_CALLBACKTYPE callbacks = {client_log::on_event, client_log::on_buffer, client_log::on_buffer};
        ASSERT_EQ(init(&handle_, &component_, &log_, &callbacks), OMX_ErrorNone);
        omx_ = &handle_.omx;
    }
    void TearDown() override
    {
        destroy(&component_);
        zvx_destroy_emulator();
    }

    void send(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        ASSERT_EQ(omx_->SendCommand(omx_, command, param, nullptr), OMX_ErrorNone);
    }

    void complete(OMX_COMMANDTYPE command, OMX_U32 param)
    {
        EXPECT_TRUE(log_.saw({OMX_EventCmdComplete, static_cast<OMX_U32>(command), param}))
            << "command " << command << " " << param;
    }

    std::vector<OMX_BUFFERHEADERTYPE *> allocate(OMX_U32 port)
    {
        auto definition = zvx_omx_stamped_record<OMX_PARAM_PORTDEFINITIONTYPE>(port);
        EXPECT_EQ(omx_->GetParameter(omx_, OMX_IndexParamPortDefinition, &definition), OMX_ErrorNone);
        std::vector<OMX_BUFFERHEADERTYPE *> headers(definition.nBufferCountActual);
        for (OMX_BUFFERHEADERTYPE *&header : headers) {
            EXPECT_EQ(omx_->AllocateBuffer(omx_, &header, port, nullptr, definition.nBufferSize), OMX_ErrorNone);
        }
        return headers;
    }

    void empty(OMX_BUFFERHEADERTYPE *header, OMX_U32 length, OMX_U32 flags, OMX_TICKS timestamp)
    {
        header->nFilledLen = length;
        header->nFlags = flags;
        header->nTimeStamp = timestamp;
        log_.given(header);
        ASSERT_EQ(omx_->EmptyThisBuffer(omx_, header), OMX_ErrorNone);
    }

    void fill(OMX_BUFFERHEADERTYPE *header)
    {
        header->nFilledLen = 0;
        log_.given(header);
        ASSERT_EQ(omx_->FillThisBuffer(omx_, header), OMX_ErrorNone);
    }

    client_log log_;
    Component component_;
    zvx_omx_component handle_;
    OMX_COMPONENTTYPE *omx_ = nullptr;
};

using EmulatedBuffers =
    EmulatedClient<zvx_omx_decoder_component, zvx_omx_decoder_component_init, zvx_omx_decoder_component_destroy>;
using EmulatedEncoder =
    EmulatedClient<zvx_omx_encoder_component, zvx_omx_encoder_component_init, zvx_omx_encoder_component_destroy>;

TEST_F(EmulatedBuffers, TeardownInTheMiddleOfAStreamLeavesNothingRegistered)
{
    send(OMX_CommandPortDisable, 1);
    complete(OMX_CommandPortDisable, 1);
    send(OMX_CommandStateSet, OMX_StateIdle);
    const std::vector<OMX_BUFFERHEADERTYPE *> inputs = allocate(0);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateExecuting);
    complete(OMX_CommandStateSet, OMX_StateExecuting);
    for (OMX_BUFFERHEADERTYPE *header : inputs) {
        empty(header, 100, OMX_BUFFERFLAG_ENDOFFRAME, 0);
    }
    ASSERT_TRUE(log_.saw({OMX_EventPortSettingsChanged, 1, 0}));
    zvx_omx_decoder_component_destroy(&component_);
    EXPECT_EQ(zvx_dev_get_totals().buffers_left_registered, 0u);
}

// FFmpeg keeps its output buffers through the settings event: the encoder must go on filling them.
TEST_F(EmulatedEncoder, OutputBuffersKeptThroughTheSettingsEventAreFilledToTheEnd)
{
    constexpr int pictures = 12;
    constexpr OMX_TICKS interval = 33333;
    send(OMX_CommandStateSet, OMX_StateIdle);
    const std::vector<OMX_BUFFERHEADERTYPE *> inputs = allocate(0);
    const std::vector<OMX_BUFFERHEADERTYPE *> outputs = allocate(1);
    complete(OMX_CommandStateSet, OMX_StateIdle);
    send(OMX_CommandStateSet, OMX_StateExecuting);
    complete(OMX_CommandStateSet, OMX_StateExecuting);
    for (OMX_BUFFERHEADERTYPE *header : outputs) {
        fill(header);
    }
    int queued = 0;
    for (OMX_BUFFERHEADERTYPE *header : inputs) {
        empty(header, header->nAllocLen, 0, queued++ * interval);
    }
    // Refills outputs and gives inputs back as they return, then the end of stream; until the output ends.
    bool ended = false;
    int pictures_out = 0;
    const auto check_picture = [&](const OMX_BUFFERHEADERTYPE *output) {
        if (output->nFilledLen != 0 && (output->nFlags & OMX_BUFFERFLAG_CODECCONFIG) == 0 &&
            (output->nFlags & OMX_BUFFERFLAG_ENDOFFRAME) != 0) {
            EXPECT_EQ(output->nTimeStamp, pictures_out++ * interval);
        }
    };
    const seen_event end_of_stream = {OMX_EventBufferFlag, 1, OMX_BUFFERFLAG_EOS};
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!log_.returns_until(end_of_stream)) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the encoder stopped filling the kept buffers";
        for (OMX_BUFFERHEADERTYPE *header : log_.take_returned()) {
            if (header->nInputPortIndex == 1) {
                check_picture(header);
                fill(header);
            } else if (queued < pictures) {
                empty(header, header->nAllocLen, 0, queued++ * interval);
            } else if (!ended) {
                empty(header, 0, OMX_BUFFERFLAG_EOS, queued * interval);
                ended = true;
            }
        }
    }
    for (OMX_BUFFERHEADERTYPE *header : log_.take_returned()) {
        if (header->nInputPortIndex == 1) {
            check_picture(header);
        }
    }
    EXPECT_EQ(pictures_out, pictures);
}

} // namespace
