#ifndef ZVX_OMX_RUN_PROGRESS_H
#define ZVX_OMX_RUN_PROGRESS_H

/* A progress bar on standard error while a flow runs: frames out of frames asked for, redrawn a few
 * times a second by a thread of its own, so that drawing never holds up the flow. */

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "zvx_omx_flow_record.h"

class zvx_run_progress : public zvx_flow_observer {
public:
    zvx_run_progress(uint32_t frames, bool shown);
    zvx_run_progress(const zvx_run_progress &) = delete;
    zvx_run_progress &operator=(const zvx_run_progress &) = delete;
    ~zvx_run_progress() override;

    void on_record(const zvx_flow_record &record) override;
    /* Draws the last state and leaves the line. */
    void finish();

private:
    void draw();

    const uint32_t frames_;
    std::atomic<uint32_t> frames_out_{0};
    std::mutex mutex_;
    std::condition_variable finished_;
    bool done_ = false;
    std::thread painter_;
};

#endif
