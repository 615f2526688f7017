// zvx_omx_run as a user runs it: what it prints and how it exits, and on files over the pattern device
// (ZVX_DEVICE_ENGINE=pattern) what is read, sent and written apart from any codec.
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

ProgramRun run_program(const std::string &arguments)
{
    return run_shell(std::string(ZVX_OMX_RUN_PATH) + " " + arguments);
}

void expect_line(const ProgramRun &run, const std::string &line)
{
    EXPECT_NE(run.output.find("\n" + line + "\n"), std::string::npos) << "no line \"" << line << "\" in\n"
                                                                      << run.output;
}

TEST(ZvxOmxRun, DecodeOf300FramesWithAResolutionChangeGoesThroughAndSaysSo)
{
    const ProgramRun run = run_program("--frames=300 --change=150:640x360");
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_EQ(run.output.rfind("decode avc 320x240, 300 frames; resolution changes: 1, faults: 0\n", 0), 0u)
        << run.output;
    expect_line(run, "frames:  300 sent, 300 out");
    expect_line(run, "events:  12: 8 command completions, 3 port settings changes, 1 buffer flags, 0 errors");
    expect_line(run, "result:  ok");
    EXPECT_NE(run.output.find("\nbuffers: "), std::string::npos);
    EXPECT_NE(run.output.find("; 2 output reallocations\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("\ntime:    "), std::string::npos);
    EXPECT_EQ(run.output.find("\r["), std::string::npos) << "no progress bar without a terminal";
}

TEST(ZvxOmxRun, EncodeAndFaultedDecodesThatRecoverExitZeroAndAHungSessionFailsNamingTheError)
{
    for (const char *arguments :
         {"--encode --codec=hevc --size=1280x720 --frames=40 --eos-on-last",
          "--frames=60 --reorder --output-at-start --fault=reject:20:3 --fault=error:30",
          "--codec=vp9 --frames=40 --fault=vp9-alloc:20:640x360 --fault=shuffle:3", "--frames=20 --fault=slow:500"}) {
        const ProgramRun run = run_program(arguments);
        EXPECT_EQ(run.exit_status, 0) << arguments << "\n" << run.output;
        EXPECT_NE(run.output.find("\nresult:  ok\n"), std::string::npos) << arguments << "\n" << run.output;
    }
    const ProgramRun hung = run_program("--frames=40 --fault=hang:20");
    EXPECT_EQ(hung.exit_status, 1) << hung.output;
    expect_line(hung, "result:  FAILED");
    expect_line(hung, "problem: error event 0x8000100a (0)");
}

TEST(ZvxOmxRun, HelpNamesEveryOptionAndExitsZeroAndBadOptionsAreRefusedWithTheReasonAndStatusTwo)
{
    const ProgramRun help = run_program("--help");
    EXPECT_EQ(help.exit_status, 0);
    for (const char *option :
         {"--encode",   "--codec=",          "--size=",       "--frames=",       "--change=",     "--reorder",
          "--fault=",   "reject:",           "hang:",         "error:",          "slow:",         "shuffle",
          "vp9-alloc:", "--output-at-start", "--eos-on-last", "--trace=",        "--no-progress", "--help",
          "--input=",   "--output=",         "--bitrate=",    "--rate-control=", "--fps=",        "--keyint=",
          "--profile=", "--level=",          "--key-at=",     "--bitrate-at=",   "Exit status"}) {
        EXPECT_NE(help.output.find(option), std::string::npos) << option;
    }
    const std::pair<const char *, const char *> refusals[] = {
        {"--speed=3", "zvx_omx_run: unknown option '--speed=3' (see --help)"},
        {"--size=320", "zvx_omx_run: bad value in '--size=320' (see --help)"},
        {"--frames=many", "zvx_omx_run: bad value in '--frames=many' (see --help)"},
        {"--fault=melt:3", "zvx_omx_run: bad value in '--fault=melt:3' (see --help)"},
        {"--codec=mpeg2 --encode", "zvx_omx_run: no encoder for codec 'mpeg2' (see --help)"},
        {"--fault=vp9-alloc:5:640x360", "zvx_omx_run: the vp9-alloc fault needs --codec=vp9"},
        {"--encode --change=5:640x360", "zvx_omx_run: --change, --reorder and vp9-alloc are for a decode"},
        {"--frames=10 --change=10:640x360",
         "zvx_omx_run: a resolution change must come after the first frame and before the last"},
        {"stray", "zvx_omx_run: unexpected argument 'stray' (see --help)"},
        {"--output=out.yuv", "zvx_omx_run: --output, --key-at and --bitrate-at need --input"},
        {"--encode --key-at=5", "zvx_omx_run: --output, --key-at and --bitrate-at need --input"},
        {"--input=/no/such/file.h264", "zvx_omx_run: cannot read /no/such/file.h264: No such file or directory"},
        {"--input=in.h264 --change=5:640x360",
         "zvx_omx_run: --change, --reorder, vp9-alloc and --eos-on-last shape the pattern stream, not a file"},
        {"--input=in.h264 --key-at=5",
         "zvx_omx_run: --size, --key-at and --bitrate-at are for an encode; a decode takes the file's"},
        {"--encode --input=in.yuv --profile=high10", "zvx_omx_run: no profile 'high10' for encoding avc (see --help)"},
        {"--encode --codec=vp9 --input=in.yuv --level=4.1",
         "zvx_omx_run: no level '4.1' for encoding vp9 (see --help)"},
        {"--encode --input=in.yuv --bitrate-at=5", "zvx_omx_run: bad value in '--bitrate-at=5' (see --help)"},
        {"--encode --input=in.yuv --rate-control=abr", "zvx_omx_run: bad value in '--rate-control=abr' (see --help)"},
    };
    for (const auto &[arguments, message] : refusals) {
        const ProgramRun run = run_program(arguments);
        EXPECT_EQ(run.exit_status, 2) << arguments;
        EXPECT_EQ(run.output, std::string(message) + "\n") << arguments;
    }
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

TEST_F(RunOnFiles, ContainerStreamIsSentWholeEveryPictureWrittenAtItsSizeAndRawPicturesSizedAsTold)
{
    const std::string stream = make("in.mp4", "176x144", "-c:v libx264 -bf 2");
    const std::string out = file("out.yuv");
    const ProgramRun run = run_on_pattern("--input=" + stream + " --output=" + out);
    EXPECT_EQ(run.exit_status, 0) << run.output;
    EXPECT_EQ(run.output.rfind("decode " + stream + ": h264 176x144 through video_decoder.avc; faults: 0\n", 0), 0u)
        << run.output;
    expect_line(run, "frames:  20 sent, 20 out");
    expect_line(run, "output:  20 pictures to " + out);
    EXPECT_EQ(read_file(out).size(), 20u * 176 * 144 * 3 / 2);

    // Raw pictures take their size from the command line, and --frames limits the run.
    const std::string raw = make("in.yuv", "176x144", "-pix_fmt yuv420p -f rawvideo");
    const ProgramRun sized = run_on_pattern("--encode --input=" + raw + " --size=176x144 --frames=12");
    EXPECT_EQ(sized.exit_status, 0) << sized.output;
    expect_line(sized, "frames:  12 sent, 12 out");
    const ProgramRun unsized = run_on_pattern("--encode --input=" + raw);
    EXPECT_EQ(unsized.exit_status, 2) << unsized.output;
    EXPECT_NE(unsized.output.find("(raw pictures need --size)"), std::string::npos) << unsized.output;
}

TEST_F(RunOnFiles, EncodeIsWrittenAsTheExtensionAsksWithItsRateInTheSummaryOrRefusedWithStatusTwo)
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

    // Files that do not suit the run are refused with status 2.
    const ProgramRun wrong_extension =
        run_on_pattern("--encode --codec=hevc --input=" + pictures + " --output=" + file("wrong.ivf"));
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
