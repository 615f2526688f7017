// The decode flow again and again in one process, so that a race between the client's thread, the
// command thread and the device's worker gets many chances to show.
#include "zvx_omx_flow_expect.h"

namespace {

constexpr int ZVX_DECODES = 1000;

TEST_F(FlowTest, ThousandDecodesEachEndCleanly)
{
    zvx_flow_run_options options;
    options.plan.frames = 8;
    options.script.resolution_changes = {{5, 352, 288}};
    for (int decode = 0; decode < ZVX_DECODES; ++decode) {
        const zvx_flow_run_result result = zvx_flow_run(options);
        ASSERT_TRUE(result.completed) << "decode " << decode << ": " << ::testing::PrintToString(result.problems);
        ASSERT_EQ(result.pictures_out, 8u) << "decode " << decode;
        ASSERT_EQ(result.buffers_returned, result.buffers_lent) << "decode " << decode;
    }
    const zvx_dev_totals totals = zvx_dev_get_totals();
    EXPECT_EQ(totals.sessions_created, static_cast<uint64_t>(ZVX_DECODES));
    EXPECT_EQ(totals.buffers_dropped, 0u);
    EXPECT_EQ(totals.buffers_left_registered, 0u);
    EXPECT_EQ(totals.events_discarded, 0u);
}

} // namespace
