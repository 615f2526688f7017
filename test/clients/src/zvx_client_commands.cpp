#include "zvx_client_commands.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace zvx_client {

namespace {

/* Leak reports whose allocation stack passed through this project's code. */
std::vector<std::string> leaks_of_ours(const std::string &output)
{
    std::vector<std::string> ours;
    std::istringstream lines(output);
    std::string line;
    std::string block;
    bool in_block = false;
    while (std::getline(lines, line)) {
        if (line.find("leak of") != std::string::npos) {
            in_block = true;
            block.clear();
        }
        if (!in_block) {
            continue;
        }
        if (!line.empty()) {
            block += line + "\n";
            continue;
        }
        if (block.find("zvx") != std::string::npos) {
            ours.push_back(block);
        }
        in_block = false;
    }
    return ours;
}

} // namespace

TempFolder::TempFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "zvx_clients_XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) {
        path_ = pattern;
    }
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool program_exists(const std::string &name)
{
    // NOLINTNEXTLINE(cert-env33-c): the tests look programs up as a shell does
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

CommandResult run_command(const std::string &command, int seconds, const char *signal)
{
    const TempFolder folder;
    const std::string output = folder.file("output.txt");
    // The command's own status, also when the signal ended it. In the foreground the signal reaches the
    // command once, not a second time through its process group.
    const std::string line = "timeout --foreground --preserve-status -k 10 -s " + std::string(signal) + " " +
                             std::to_string(seconds) + " " + command + " >" + output + " 2>&1 </dev/null";
    const int status = std::system(line.c_str()); // NOLINT(cert-env33-c): clients run as programs
    std::ifstream file(output);
    std::stringstream text;
    text << file.rdbuf();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text.str()};
}

std::string client_command(const std::string &preload, const std::string &environment, const std::string &program)
{
    std::string prefix = "env " + environment;
    if (!preload.empty()) {
        prefix += " LD_PRELOAD=" + preload +
                  " ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=exitcode=0:suppressions=" + ZVX_LSAN_SUPPRESSIONS;
    }
    return prefix + " " + program;
}

void expect_clean(const CommandResult &result)
{
    EXPECT_EQ(result.output.find("ERROR: AddressSanitizer"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("runtime error:"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find(" E ZVX_OMX_IF:"), std::string::npos) << result.output;
    for (const std::string &leak : leaks_of_ours(result.output)) {
        ADD_FAILURE() << "leaked by the core:\n" << leak;
    }
}

std::vector<uint8_t> read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace zvx_client
