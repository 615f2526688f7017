// Every fault the codec device can be scripted with, met by a whole decode through the handle.
#include <algorithm>

#include "zvx_omx_flow_expect.h"

namespace {

zvx_dev_fault zvx_fault(zvx_dev_fault_kind kind, uint32_t at_frame, uint32_t count = 1)
{
    return {kind, at_frame, count, 0, ""};
}

zvx_flow_run_options zvx_decode(uint32_t frames)
{
    zvx_flow_run_options options;
    options.plan.frames = frames;
    return options;
}

/* Which buffer each input call and return carried, in order. */
class input_order : public zvx_flow_observer {
public:
    void on_record(const zvx_flow_record &record) override
    {
        if (record.what == zvx_flow_what::empty_this_buffer) {
            queued.push_back(record.buffer);
        } else if (record.what == zvx_flow_what::empty_buffer_done) {
            returned.push_back(record.buffer);
        }
    }
    std::vector<uint32_t> queued;
    std::vector<uint32_t> returned;
};

class DeviceFault : public FlowTest {
protected:
    /* A decode the fault must not trouble: every picture out, the plain events, nothing left. */
    static zvx_flow_run_result decode(const zvx_flow_run_options &options, zvx_flow_observer *observer = nullptr)
    {
        zvx_flow_run_result result = zvx_flow_run(options, observer);
        expect_every_picture(result, options.plan.frames);
        EXPECT_EQ(result.events, zvx_events({{IDLE, EXECUTING}, zvx_reallocation(), {END_OF_STREAM, IDLE, LOADED}}));
        expect_nothing_left(result);
        return result;
    }
};

TEST_F(DeviceFault, ErrorEventsRejectedOutputsSlownessAndShuffledEventsTroubleNeitherClientNorStream)
{
    zvx_flow_run_options options = zvx_decode(20);
    zvx_dev_fault error = zvx_fault(zvx_dev_fault_kind::error_event, 5);
    error.error_code = 0x80001000u;
    error.message = "corrupt slice";
    options.script.faults = {error};
    decode(options);
    EXPECT_EQ(zvx_dev_get_totals().events_sent[ZVX_BASE_EVENT_ERROR], 1u) << "recorded, not passed on";

    // The totals add up over the decodes that follow: each must leave nothing behind.
    options = zvx_decode(20);
    options.script.faults = {zvx_fault(zvx_dev_fault_kind::reject_outputs, 12, 3)};
    const zvx_flow_run_result result = decode(options);
    // The rejected outputs come back empty and the pictures follow in order.
    const auto first_picture = std::find_if(result.outputs.begin(), result.outputs.end(),
                                            [](const zvx_flow_output &output) { return output.filled_len > 0; });
    const auto end = std::find_if(first_picture, result.outputs.end(),
                                  [](const zvx_flow_output &output) { return output.flags & OMX_BUFFERFLAG_EOS; });
    EXPECT_EQ(std::count_if(first_picture, end, [](const zvx_flow_output &output) { return output.filled_len == 0; }),
              3);

    options = zvx_decode(12);
    options.plan.reordered = true;
    options.script.reorder_depth = 2;
    options.script.delays = {1500, 1000, 2000, 2000};
    decode(options);
    options = zvx_decode(40);
    options.script.shuffle_events = true;
    options.script.shuffle_seed = 7;
    input_order order;
    decode(options, &order);
    EXPECT_EQ(order.returned, order.queued) << "inputs given back in the order they were queued";
}

TEST_F(FlowTest, Vp9AllocationChangeHandsTheOldOutputsBackForAReallocation)
{
    zvx_flow_run_options options = zvx_decode(20);
    options.codec = "vp9";
    options.script.resolution_changes = {{10, 640, 360, zvx_dev_report::vp9_allocation}};
    const zvx_flow_run_result result = zvx_flow_run(options);
    expect_every_picture(result, 20);
    EXPECT_EQ(result.reconfigurations, 2u);
    EXPECT_EQ(
        result.events,
        zvx_events(
            {{IDLE, EXECUTING}, zvx_reallocation(), zvx_reallocation(), {OUTPUT_CROP, END_OF_STREAM, IDLE, LOADED}}));
    expect_nothing_left(result);
}

TEST_F(FlowTest, HungSessionTurnsTheComponentInvalidAndItsDestructionLeavesNothingWithTheDevice)
{
    zvx_flow_run_options options = zvx_decode(20);
    options.script.faults = {zvx_fault(zvx_dev_fault_kind::session_hung, 12)};
    const zvx_flow_run_result result = zvx_flow_run(options);
    EXPECT_FALSE(result.completed);
    EXPECT_EQ(result.final_state, OMX_StateInvalid);
    const zvx_flow_event invalid = {OMX_EventError, static_cast<OMX_U32>(OMX_ErrorInvalidState), OMX_StateInvalid};
    EXPECT_EQ(result.events, zvx_events({{IDLE, EXECUTING}, zvx_reallocation(), {invalid}}));
    EXPECT_EQ(result.problems, std::vector<std::string>{"error event 0x8000100a (0)"})
        << "the client freed what it held in Invalid, and nothing came back twice";
    EXPECT_EQ(result.buffers_returned, result.buffers_lent)
        << "what the hung session held comes back to the client when the session is destroyed";
    const zvx_dev_totals totals = zvx_dev_get_totals();
    EXPECT_EQ(totals.buffers_left_registered, 0u);
    EXPECT_EQ(totals.sessions_destroyed, totals.sessions_created);
}

} // namespace
