// Runs the built program as a user would and reads what it prints.
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
    const std::string command = std::string(ZVX_UNIT_OMX_PATH) + " " + arguments + " 2>&1";
    ProgramRun run{"", -1};
    FILE *pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): the shell merges the program's streams
    if (pipe == nullptr)
        return run;
    char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof(chunk), pipe)) > 0)
        run.output.append(chunk, got);
    const int status = pclose(pipe);
    run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

const char *const translate_tests[] = {
    "Translate 1.1.2 to 1.2.0",
    "Translate 1.2.0 to 1.1.2",
    "Color Translation - null array",
    "Color Translation - empty array",
    "Color Translation - disabled usage",
    "Color Translation - enabled usage",
    "Color Translation to host interface v1",
};

TEST(ZvxUnitOmx, FullRunShowsTheBannerAndPasses)
{
    const ProgramRun run = run_program("");
    EXPECT_EQ(run.output.rfind("=======================================================\n"
                               "  ZVX Unit Tests\n"
                               "=======================================================\n\n",
                               0),
              0u)
        << run.output;
    EXPECT_NE(run.output.find("All 5 suites passed"), std::string::npos) << run.output;
    EXPECT_LT(run.output.find("UTF: Running Config and params"), run.output.find("UTF: Running Data Translations"))
        << "the settings are checked before anything that relies on them";
    EXPECT_EQ(run.exit_status, 0);
}

TEST(ZvxUnitOmx, DataTranslationsRunsItsSevenTestsAndPasses)
{
    const ProgramRun run = run_program("--suite=\"Data Translations\" --pass --summary");
    for (unsigned id = 1; id <= 7; ++id) {
        char line[160];
        ASSERT_GT(std::snprintf(line, sizeof(line), "Pass: S:{Data Translations} T:{%s [0x%04x]}",
                                translate_tests[id - 1], id),
                  0);
        EXPECT_NE(run.output.find(line), std::string::npos) << line << "\n" << run.output;
    }
    EXPECT_NE(run.output.find("All 7 tests passed"), std::string::npos) << run.output;
    EXPECT_EQ(run.exit_status, 0);
}

TEST(ZvxUnitOmx, ListingNamesEachTranslateTestWithItsId)
{
    const ProgramRun run = run_program("--suite=\"Data Translations\" --list-tests");
    for (unsigned id = 1; id <= 7; ++id) {
        const std::string line = std::string(ZVX_UNIT_OMX_PATH) + " --suite=\"Data Translations\" --test=\"" +
                                 translate_tests[id - 1] + "\" --testid=" + std::to_string(id) + "\n";
        EXPECT_NE(run.output.find(line), std::string::npos) << line << run.output;
    }
    EXPECT_EQ(run.output.find("--testid=8"), std::string::npos);
    EXPECT_EQ(run.exit_status, 0);
}

TEST(ZvxUnitOmx, UnknownArgumentsAreIgnored)
{
    const ProgramRun run = run_program("--suite=\"Data Translations\" --no-such-option stray");
    EXPECT_NE(run.output.find("All 7 tests passed"), std::string::npos) << run.output;
    EXPECT_EQ(run.exit_status, 0);
}

} // namespace
