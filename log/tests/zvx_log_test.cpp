#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "zvx_log.h"
#include "zvx_omx_log.h"

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

namespace {
class LogConfig : public ::testing::Test {
protected:
    void SetUp() override
    {
        zvx_log_construct(&log);
        zvx_log_drain_printf_construct(&printf_drain);
        zvx_log_drain_alog_construct(&alog_drain);
        zvx_log_drain_add(&log, "printf", &printf_drain);
        zvx_log_drain_add(&log, "alog", &alog_drain);
        zvx_log_drain_add(&log, "ram0", &ram0_drain);
        zvx_log_group_construct(&group, "TAG", ZVX_LOG_WARNING, &alog_drain);
        zvx_log_group_add(&log, "g", &group);
    }
    void TearDown() override { zvx_log_destruct(&log); }
    void expect_state(zvx_log_severity severity, zvx_log_drain *drain) const
    {
        EXPECT_EQ(group.severity, severity);
        EXPECT_EQ(group.drain, drain);
    }
    zvx_log log;
    zvx_log_drain printf_drain{}, alog_drain{}, ram0_drain{};
    zvx_log_group group;
};
} // namespace

TEST_F(LogConfig, RejectsMalformedCommandsAndAcceptsBothFormsWithCaseInsensitiveLevels)
{
    for (const char *rejected :
         {"GROUP g severity debug", "group g severity 3", "group g severity max", "group g drain nosuch",
          "group nosuch severity debug", "group g colour printf", "group g severity", "", "group"}) {
        zvx_log_configure(&log, rejected);
        expect_state(ZVX_LOG_WARNING, &alog_drain);
    }
    zvx_log_configure(&log, "group nosuch drain printf;group g drain printf");
    expect_state(ZVX_LOG_WARNING, &printf_drain);
    EXPECT_EQ(string_to_severity("pAnIc"), ZVX_LOG_PANIC);
    EXPECT_EQ(string_to_severity("Verbos"), ZVX_LOG_MAX);

    zvx_log_configure(&log, "group g severity VERBOSE;group g drain printf");
    expect_state(ZVX_LOG_VERBOSE, &printf_drain);
    zvx_log_configure(&log, ";;group g drain ram0;;\ngroup\ng severity error extra words");
    expect_state(ZVX_LOG_ERROR, &ram0_drain);
    zvx_log_configure(&log, nullptr);
    expect_state(ZVX_LOG_ERROR, &ram0_drain);
}

TEST_F(LogConfig, SuppressedMessageEvaluatesNoArgumentAndAlogWritesAnAndroidStylePrefix)
{
    group.drain = &printf_drain;
    int evaluated = 0;
    CaptureStdout();
    ZVX_LOG(&group, ZVX_LOG_INFO, "count=%d. (%s:%d)", ++evaluated);
    ZVX_LOG(&group, ZVX_LOG_WARNING, "count=%d. (%s:%d)", ++evaluated);
    const int line = __LINE__ - 1;
    ZVX_LOG(&group, ZVX_LOG_PANIC, "no arguments. (%s:%d)");
    EXPECT_EQ(GetCapturedStdout(), "Warning TAG: count=1. (zvx_log_test.cpp:" + std::to_string(line) +
                                       ")\nPanic TAG: no arguments. (zvx_log_test.cpp:" + std::to_string(line + 2) +
                                       ")\n");
    EXPECT_EQ(evaluated, 1);

    // The alog drain writes an Android-style prefix.
    CaptureStdout();
    alog_drain.print(&alog_drain, ZVX_LOG_ERROR, "TAG", "value=%d", 1, 42);
    const std::string out = GetCapturedStdout();
    EXPECT_TRUE(
        std::regex_match(out, std::regex(R"(\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [ \d]{4}\d [ \d]{4}\d E TAG: value=42\n)")))
        << out;
}

// Printf dumps rows of 32 bytes; alog dumps one message cut at its buffer.
TEST(LogDrains, DataDumps)
{
    zvx_log_drain drain;
    zvx_log_drain_printf_construct(&drain);
    unsigned char bytes[400];
    memset(bytes, 0xab, sizeof bytes);
    const iovec ranges[2] = {{bytes, 33}, {bytes, 0}};
    CaptureStdout();
    drain.data(&drain, ZVX_LOG_INFO, ranges, 2);
    std::string full_row = "   ";
    for (int i = 0; i < 32; ++i)
        full_row += " ab";
    EXPECT_EQ(GetCapturedStdout(), "Info: count=2\n  length=33\n" + full_row + "\n    ab\n  length=0\n");

    zvx_log_drain_alog_construct(&drain);
    const iovec range = {bytes, sizeof bytes};
    CaptureStdout();
    drain.data(&drain, ZVX_LOG_INFO, &range, 1);
    const std::string out = GetCapturedStdout();
    const size_t text = out.find(" I ZVX: ") + 8;
    EXPECT_EQ(out.compare(text, 30, "count=1\n  length=400\n    ab ab"), 0) << out;
    EXPECT_EQ(out.size() - text, 999u + 1u);
}

TEST(LogDrains, FileDrainWritesHeaderAndTheWholeText)
{
    char path[] = "/tmp/zvx_log_ram0_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    zvx_log_drain_file drain;
    zvx_log_drain_file_construct(&drain, "/nonexistent/zvx/msg");
    EXPECT_EQ(drain.fd, -1);
    zvx_log_drain_file_construct(&drain, path);
    ASSERT_GE(drain.fd, 0);
    const std::string long_text(70000, 'x');
    drain.base.print(&drain.base, ZVX_LOG_DEBUG, "TAG", "%s!", 1, "hi");
    drain.base.print(&drain.base, ZVX_LOG_ERROR, "TAG", "%s", 1, long_text.c_str());
    zvx_log_drain_file_destruct(&drain);
    EXPECT_EQ(drain.fd, -1);

    std::vector<unsigned char> file(24 + 3 + 24 + 70000 + 1);
    EXPECT_EQ(read(fd, file.data(), file.size()), static_cast<ssize_t>(file.size() - 1));
    close(fd);
    unlink(path);
    const unsigned char expected_head[8] = {0x4c, 0x58, 0x56, 0x5a, 3, 0, 0, ZVX_LOG_DEBUG};
    EXPECT_EQ(memcmp(file.data(), expected_head, 8), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(&file[24]), 3), "hi!");
    const unsigned char *second = &file[27];
    const unsigned length_field = second[4] | second[5] << 8;
    EXPECT_EQ(length_field, 70000u % 65536u);
    EXPECT_EQ(second[7], ZVX_LOG_ERROR);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(second + 24), 70000), long_text);
}

TEST(LogFormatting, ScnprintfReportsWhatWasPlacedAndBaseNameStripsDirectories)
{
    char buffer[4];
    EXPECT_EQ(scnprintf(buffer, sizeof buffer, "%s", "abcdef"), 4);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(scnprintf(buffer, sizeof buffer, "%d", 12), 2);
    EXPECT_STREQ(zvx_log_strrchr("a/b/c.cpp"), "c.cpp");
    EXPECT_STREQ(zvx_log_strrchr("c.cpp"), "c.cpp");
}

TEST(OmxLogBinding, GroupIsRegisteredAtLoad)
{
    zvx_log *log = zvx_log_get_instance();
    EXPECT_EQ(zvx_map_find(&log->group, "omx_if"), &zvx_log_omx_if);
    EXPECT_STREQ(zvx_log_omx_if.tag, "ZVX_OMX_IF");
    if (getenv("ZVX_LOG_CONFIGURE") != nullptr)
        GTEST_SKIP() << "ZVX_LOG_CONFIGURE is set";
    EXPECT_EQ(zvx_log_omx_if.severity, ZVX_LOG_WARNING);
    EXPECT_EQ(zvx_log_omx_if.drain, zvx_map_find(&log->drain, "alog"));
}
