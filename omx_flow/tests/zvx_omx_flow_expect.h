// What every whole flow must leave behind, and the events the flows expect, by name.
#ifndef ZVX_OMX_FLOW_EXPECT_H
#define ZVX_OMX_FLOW_EXPECT_H

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "zvx_omx_flow_run.h"

inline void PrintTo(const zvx_flow_event &event, std::ostream *out)
{
    *out << "{event " << event.event << ", " << event.data1 << ", 0x" << std::hex << event.data2 << std::dec << "}";
}

inline const zvx_flow_event IDLE = zvx_flow_complete(OMX_CommandStateSet, OMX_StateIdle);
inline const zvx_flow_event EXECUTING = zvx_flow_complete(OMX_CommandStateSet, OMX_StateExecuting);
inline const zvx_flow_event PAUSED = zvx_flow_complete(OMX_CommandStateSet, OMX_StatePause);
inline const zvx_flow_event LOADED = zvx_flow_complete(OMX_CommandStateSet, OMX_StateLoaded);
inline const zvx_flow_event OUTPUT_SETTINGS = {OMX_EventPortSettingsChanged, 1, 0};
inline const zvx_flow_event OUTPUT_CROP = {OMX_EventPortSettingsChanged, 1, OMX_IndexConfigCommonOutputCrop};
inline const zvx_flow_event OUTPUT_DISABLED = zvx_flow_complete(OMX_CommandPortDisable, 1);
inline const zvx_flow_event OUTPUT_ENABLED = zvx_flow_complete(OMX_CommandPortEnable, 1);
inline const zvx_flow_event END_OF_STREAM = {OMX_EventBufferFlag, 1, OMX_BUFFERFLAG_EOS};

/* A new output setting and the client's answer to it: disable, reallocate, enable. */
inline std::vector<zvx_flow_event> zvx_reallocation()
{
    return {OUTPUT_SETTINGS, OUTPUT_DISABLED, OUTPUT_ENABLED};
}

inline std::vector<zvx_flow_event> zvx_events(std::initializer_list<std::vector<zvx_flow_event>> parts)
{
    std::vector<zvx_flow_event> joined;
    for (const std::vector<zvx_flow_event> &part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

/* The devices run for each test, so its totals are the test's. */
class FlowTest : public ::testing::Test {
protected:
    void SetUp() override { zvx_init_emulator(); }
    void TearDown() override { zvx_destroy_emulator(); }

    /* Every buffer lent came back once, nothing stayed with the device, every session ended. */
    static void expect_nothing_left(const zvx_flow_run_result &result)
    {
        EXPECT_EQ(result.buffers_returned, result.buffers_lent);
        const zvx_dev_totals totals = zvx_dev_get_totals();
        EXPECT_EQ(totals.buffers_dropped, 0u);
        EXPECT_EQ(totals.buffers_left_registered, 0u);
        EXPECT_EQ(totals.events_discarded, 0u);
        EXPECT_EQ(totals.sessions_destroyed, totals.sessions_created);
        EXPECT_EQ(totals.devices_closed, totals.devices_opened);
    }

    /* Every frame sent came out once, in presentation order: the stream checks each against its pattern. */
    static void expect_every_picture(const zvx_flow_run_result &result, uint32_t frames)
    {
        EXPECT_TRUE(result.completed);
        EXPECT_EQ(result.problems, std::vector<std::string>{});
        EXPECT_EQ(result.frames_sent, frames);
        EXPECT_EQ(result.pictures_out, frames);
    }
};

#endif
