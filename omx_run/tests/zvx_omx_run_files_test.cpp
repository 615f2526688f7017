// zvx_omx_run on files over the pattern device (ZVX_DEVICE_ENGINE=pattern): what is read from the
// input, sent and written, apart from any codec. A container's length-prefixed H.264 must reach the
// component as a start-code stream, pictures must be written cropped to their visible size, an encode
// must be written as the extension asks, and a file that cannot be used must be refused with status 2.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct ProgramRun {
    std::string output;
    int exit_status;
};

ProgramRun run_shell(const std::string &command)
{
    ProgramRun run{"", -1};
    // NOLINTNEXTLINE(cert-env33-c): programs run as a person runs them, through a shell
    FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        return run;
    }
    char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof(chunk), pipe)) > 0) {
        run.output.append(chunk, got);
    }
    const int status = pclose(pipe);
    run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

ProgramRun run_on_pattern(const std::string &arguments)
{
    return run_shell("ZVX_DEVICE_ENGINE=pattern " + std::string(ZVX_OMX_RUN_PATH) + " " + arguments);
}

std::vector<uint8_t> read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class RunOnFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "zvx_run_files_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    /* 20 pictures of a test pattern encoded by ffmpeg with `encode`, into a file named `name`. */
    std::string make(const std::string &name, const std::string &size, const std::string &encode)
    {
        std::string path = file(name);
        const ProgramRun made = run_shell("ffmpeg -nostdin -y -v error -f lavfi -i testsrc2=size=" + size +
                                          ":rate=25 -frames:v 20 " + encode + " " + path);
        EXPECT_EQ(made.exit_status, 0) << made.output;
        return path;
    }

    std::string file(const std::string &name) const { return (dir_ / name).string(); }

    std::filesystem::path dir_;
};

TEST_F(RunOnFiles, ContainerStreamIsSentWholeAndEveryPictureWrittenAtItsSize)
{
    const std::string stream = make("in.mp4", "176x144", "-c:v libx264 -bf 2");
    const std::string out = file("out.yuv");
    const ProgramRun run = run_on_pattern("--input=" + stream + " --output=" + out);
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_EQ(run.output.rfind("decode " + stream + ": h264 176x144 through video_decoder.avc; faults: 0\n", 0), 0u)
        << run.output;
    EXPECT_NE(run.output.find("\nframes:  20 sent, 20 out\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("\noutput:  20 pictures to " + out + "\n"), std::string::npos) << run.output;
    EXPECT_EQ(read_file(out).size(), 20u * 176 * 144 * 3 / 2);
}

TEST_F(RunOnFiles, EncodeIsWrittenAsTheExtensionAsksWithItsRateInTheSummary)
{
    const std::string pictures = make("in.y4m", "176x144", "-pix_fmt yuv420p");
    const std::string out = file("out.ivf");
    const ProgramRun run = run_on_pattern("--encode --codec=vp8 --input=" + pictures + " --output=" + out +
                                          " --bitrate=200000 --rate-control=cbr --keyint=10 --key-at=5");
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_EQ(run.output.rfind("encode " + pictures +
                                   ": 176x144 at 25/s through video_encoder.vp8, 200000 bit/s cbr; faults: 0\n",
                               0),
              0u)
        << run.output;
    EXPECT_NE(run.output.find("\noutput:  20 pictures, "), std::string::npos) << run.output;
    const std::vector<uint8_t> written = read_file(out);
    ASSERT_GE(written.size(), 32u);
    EXPECT_EQ(std::string(written.begin(), written.begin() + 4), "DKIF");
}

TEST_F(RunOnFiles, RawPicturesTakeTheirSizeFromTheCommandLineAndFramesLimitTheRun)
{
    const std::string pictures = make("in.yuv", "176x144", "-pix_fmt yuv420p -f rawvideo");
    const ProgramRun sized = run_on_pattern("--encode --input=" + pictures + " --size=176x144 --frames=12");
    EXPECT_EQ(sized.exit_status, 0) << sized.output;
    EXPECT_NE(sized.output.find("\nframes:  12 sent, 12 out\n"), std::string::npos) << sized.output;

    const ProgramRun unsized = run_on_pattern("--encode --input=" + pictures);
    EXPECT_EQ(unsized.exit_status, 2) << unsized.output;
    EXPECT_NE(unsized.output.find("(raw pictures need --size)"), std::string::npos) << unsized.output;
}

TEST_F(RunOnFiles, FilesThatDoNotSuitTheRunAreRefusedWithStatusTwo)
{
    const std::string pictures = make("in.y4m", "176x144", "-pix_fmt yuv420p");
    const ProgramRun wrong_extension =
        run_on_pattern("--encode --codec=hevc --input=" + pictures + " --output=" + file("out.ivf"));
    EXPECT_EQ(wrong_extension.exit_status, 2) << wrong_extension.output;
    EXPECT_NE(wrong_extension.output.find("an encoded hevc stream goes to"), std::string::npos);

    const std::string audio_only = file("tone.wav");
    ASSERT_EQ(run_shell("ffmpeg -nostdin -y -v error -f lavfi -i sine -t 0.2 " + audio_only).exit_status, 0);
    const ProgramRun no_video = run_on_pattern("--input=" + audio_only);
    EXPECT_EQ(no_video.exit_status, 2) << no_video.output;
    EXPECT_EQ(no_video.output.rfind("zvx_omx_run: cannot read " + audio_only, 0), 0u) << no_video.output;

    const ProgramRun unwritable =
        run_on_pattern("--input=" + pictures + " --encode --output=" + file("no/such/folder/out.h264"));
    EXPECT_EQ(unwritable.exit_status, 2) << unwritable.output;
    EXPECT_EQ(unwritable.output.rfind("zvx_omx_run: cannot write " + file("no/such/folder/out.h264"), 0), 0u)
        << unwritable.output;
}

} // namespace
