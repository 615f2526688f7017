// zvx_omx_run as a user runs it: what it prints and how it exits.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace {

struct ProgramRun {
    std::string output;
    int exit_status;
};

ProgramRun run_program(const std::string &arguments)
{
    const std::string command = std::string(ZVX_OMX_RUN_PATH) + " " + arguments + " 2>&1";
    ProgramRun run{"", -1};
    // NOLINTNEXTLINE(cert-env33-c): the program runs as a person runs it, through a shell
    FILE *pipe = popen(command.c_str(), "r");
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

TEST(ZvxOmxRun, EncodeAndFaultedDecodesThatRecoverExitZero)
{
    for (const char *arguments :
         {"--encode --codec=hevc --size=1280x720 --frames=40 --eos-on-last",
          "--frames=60 --reorder --output-at-start --fault=reject:20:3 --fault=error:30",
          "--codec=vp9 --frames=40 --fault=vp9-alloc:20:640x360 --fault=shuffle:3", "--frames=20 --fault=slow:500"}) {
        const ProgramRun run = run_program(arguments);
        EXPECT_EQ(run.exit_status, 0) << arguments << "\n" << run.output;
        EXPECT_NE(run.output.find("\nresult:  ok\n"), std::string::npos) << arguments << "\n" << run.output;
    }
}

TEST(ZvxOmxRun, HungSessionFailsTheRunAndNamesTheError)
{
    const ProgramRun run = run_program("--frames=40 --fault=hang:20");
    EXPECT_EQ(run.exit_status, 1) << run.output;
    expect_line(run, "result:  FAILED");
    expect_line(run, "problem: error event 0x8000100a (0)");
}

TEST(ZvxOmxRun, BadOptionsAreRefusedWithTheReasonAndStatusTwo)
{
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

TEST(ZvxOmxRun, HelpNamesEveryOptionAndExitsZero)
{
    const ProgramRun run = run_program("--help");
    EXPECT_EQ(run.exit_status, 0);
    for (const char *option :
         {"--encode",   "--codec=",          "--size=",       "--frames=",       "--change=",     "--reorder",
          "--fault=",   "reject:",           "hang:",         "error:",          "slow:",         "shuffle",
          "vp9-alloc:", "--output-at-start", "--eos-on-last", "--trace=",        "--no-progress", "--help",
          "--input=",   "--output=",         "--bitrate=",    "--rate-control=", "--fps=",        "--keyint=",
          "--profile=", "--level=",          "--key-at=",     "--bitrate-at=",   "Exit status"}) {
        EXPECT_NE(run.output.find(option), std::string::npos) << option;
    }
}

} // namespace
