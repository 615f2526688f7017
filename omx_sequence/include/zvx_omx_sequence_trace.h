#ifndef ZVX_OMX_SEQUENCE_TRACE_H
#define ZVX_OMX_SEQUENCE_TRACE_H

/*
 * One sequence's calls and callbacks, one line each with the time since the sequence began, kept for
 * printing when the sequence fails, or printed as they happen. Lines come from the client's thread and
 * from whichever thread the component calls back on.
 */

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class zvx_seq_trace {
public:
    /* live: each line is also printed to out when it is added. */
    explicit zvx_seq_trace(bool live = false, FILE *out = stdout);

    /* printf-style; the line is marked with the thread it came from. */
    void add(const char *format, ...) __attribute__((format(printf, 2, 3)));
    void print(FILE *out) const;
    std::vector<std::string> lines() const;

private:
    const bool live_;
    FILE *const out_;
    const std::chrono::steady_clock::time_point start_;
    const std::thread::id client_thread_;

    mutable std::mutex mutex_;
    std::vector<std::string> lines_; /* mutex_ */
};

#endif
