#ifndef ZVX_CLIENT_COMMANDS_H
#define ZVX_CLIENT_COMMANDS_H

/* Programs run as a person runs them, through a shell, with a time limit. */

#include <string>
#include <vector>

namespace zvx_client {

struct CommandResult {
    int status; /* the exit status; -1 when it did not exit */
    std::string output;
};

/* A folder of its own under the system's temporary folder, removed with what is in it. */
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;

    std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

bool program_exists(const std::string &name);

/* Runs a command line with standard output and error collected; `signal` ends it after `seconds` and
 * it is killed ten seconds later, so a hung client is reported with its output. */
CommandResult run_command(const std::string &command, int seconds = 240, const char *signal = "TERM");

/* A client program as it runs under test: with the sanitizer runtime the core needs preloaded, and
 * leaks reported without changing its exit status (the client's own are not ours to judge) and those
 * of the libraries the project's suppressions name left out;
 * `environment` is put in front ("NAME=value ..."). */
std::string client_command(const std::string &preload, const std::string &environment, const std::string &program);

/* What a run of the core must not show: sanitizer reports, the component's error lines, leaks whose
 * allocation passed through this project's code. Each is a test failure. */
void expect_clean(const CommandResult &result);

std::vector<uint8_t> read_file(const std::string &path);

} // namespace zvx_client

#endif
