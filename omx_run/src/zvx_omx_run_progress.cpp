#include "zvx_omx_run_progress.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr int ZVXP_BAR_WIDTH = 40;
constexpr std::chrono::milliseconds ZVXP_REDRAW{100};

} // namespace

zvx_run_progress::zvx_run_progress(uint32_t frames, bool shown) : frames_(frames)
{
    if (!shown) {
        done_ = true;
        return;
    }
    painter_ = std::thread([this] {
        std::unique_lock lock(mutex_);
        while (!finished_.wait_for(lock, ZVXP_REDRAW, [this] { return done_; })) {
            draw();
        }
    });
}

zvx_run_progress::~zvx_run_progress()
{
    finish();
}

void zvx_run_progress::on_record(const zvx_flow_record &record)
{
    /* A picture is out with the buffer that ends its frame. */
    if (record.what == zvx_flow_what::fill_buffer_done && record.filled_len > 0 &&
        (record.flags & OMX_BUFFERFLAG_ENDOFFRAME) != 0) {
        frames_out_.fetch_add(1, std::memory_order_relaxed);
    }
}

void zvx_run_progress::finish()
{
    if (!painter_.joinable()) {
        return;
    }
    {
        std::lock_guard lock(mutex_);
        done_ = true;
    }
    finished_.notify_all();
    painter_.join();
    draw();
    (void)std::fputc('\n', stderr);
}

void zvx_run_progress::draw()
{
    const uint32_t out = frames_out_.load(std::memory_order_relaxed);
    const int filled =
        frames_ == 0 ? ZVXP_BAR_WIDTH
                     : static_cast<int>(std::min<uint64_t>(uint64_t{out} * ZVXP_BAR_WIDTH / frames_, ZVXP_BAR_WIDTH));
    char bar[ZVXP_BAR_WIDTH + 1];
    for (int i = 0; i < ZVXP_BAR_WIDTH; ++i) {
        bar[i] = i < filled ? '#' : '.';
    }
    bar[ZVXP_BAR_WIDTH] = '\0';
    (void)std::fprintf(stderr, "\r[%s] %u/%u frames", bar, out, frames_);
    (void)std::fflush(stderr);
}
