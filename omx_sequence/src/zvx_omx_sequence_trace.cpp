#include "zvx_omx_sequence_trace.h"

#include <cstdarg>
#include <thread>

zvx_seq_trace::zvx_seq_trace(bool live, FILE *out)
    : live_(live), out_(out), start_(std::chrono::steady_clock::now()), client_thread_(std::this_thread::get_id())
{
}

void zvx_seq_trace::add(const char *format, ...)
{
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start_).count();
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    char line[600];
    // A callback made inside one of the client's calls runs on the client's thread and is marked so.
    const char *origin = std::this_thread::get_id() == client_thread_ ? "client " : "comp   ";
    (void)std::snprintf(line, sizeof(line), "%4lld.%06lld %s %s", static_cast<long long>(elapsed / 1000000),
                        static_cast<long long>(elapsed % 1000000), origin, text);
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
    if (live_) {
        (void)std::fprintf(out_, "%s\n", line);
    }
}

void zvx_seq_trace::print(FILE *out) const
{
    std::lock_guard lock(mutex_);
    for (const std::string &line : lines_) {
        (void)std::fprintf(out, "%s\n", line.c_str());
    }
}

std::vector<std::string> zvx_seq_trace::lines() const
{
    std::lock_guard lock(mutex_);
    return lines_;
}
