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
    zvx_flow_run_result result;
    for (int decode = 0; decode < ZVX_DECODES; ++decode) {
        result = zvx_flow_run(options);
        ASSERT_TRUE(result.completed) << "decode " << decode << ": " << ::testing::PrintToString(result.problems);
        ASSERT_EQ(result.pictures_out, 8u) << "decode " << decode;
        ASSERT_EQ(result.buffers_returned, result.buffers_lent) << "decode " << decode;
    }
    EXPECT_EQ(zvx_dev_get_totals().sessions_created, static_cast<uint64_t>(ZVX_DECODES));
    expect_nothing_left(result);
}

} // namespace
