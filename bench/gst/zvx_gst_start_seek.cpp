// Start and seek latency of one H.264 decoder in GStreamer, played in real time from an MP4 file:
//   start  from setting PLAYING on a new pipeline to the first decoded picture at the sink;
//   seek   from a flushing key-unit seek (gst_element_seek) to the first picture after the flush.
// Each run makes a new pipeline in this process, so the first run also pays for loading the decoder's
// libraries; its start is reported apart from the median of the others.
//
//   zvx_gst_start_seek --file=F.mp4 --decoder=omxh264dec [--runs=7] [--targets=3,1,4,2] [--dwell-ms=300]
#include "zvx_gst_measure.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <thread>

namespace {

constexpr int64_t ZVXP_WAIT_NS = 10'000'000'000;

/* The first picture at the sink after a mark, once the flush a seek sends has passed when one is due. */
struct zvxp_first_picture {
    std::mutex lock;
    std::condition_variable arrived;
    bool armed = false;
    bool need_flush = false;
    bool flushed = false;
    int64_t at_ns = -1;
    GstClockTime pts = GST_CLOCK_TIME_NONE;

    void arm(bool after_flush)
    {
        const std::lock_guard<std::mutex> held(lock);
        armed = true;
        need_flush = after_flush;
        flushed = false;
        at_ns = -1;
        pts = GST_CLOCK_TIME_NONE;
    }
};

GstPadProbeReturn zvxp_on_sink(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    const int64_t now = zvx_gst_now_ns();
    auto *first = static_cast<zvxp_first_picture *>(data);
    const std::lock_guard<std::mutex> held(first->lock);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        if (first->armed && (!first->need_flush || first->flushed)) {
            first->armed = false;
            first->at_ns = now;
            first->pts = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
            first->arrived.notify_all();
        }
    } else if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_FLUSH_STOP) {
        first->flushed = true;
    }
    return GST_PAD_PROBE_OK;
}

/* Nanoseconds from `marked_at_ns` to the armed picture; -1, with the reason, when none came. */
int64_t zvxp_wait(zvxp_first_picture &first, GstElement *pipeline, int64_t marked_at_ns)
{
    std::unique_lock<std::mutex> held(first.lock);
    while (first.at_ns < 0) {
        if (zvx_gst_now_ns() - marked_at_ns > ZVXP_WAIT_NS) {
            (void)std::fprintf(stderr, "no picture within %lld s\n",
                               static_cast<long long>(ZVXP_WAIT_NS / 1'000'000'000));
            return -1;
        }
        first.arrived.wait_for(held, std::chrono::milliseconds(50));
        if (first.at_ns < 0) {
            held.unlock();
            const std::string trouble = zvx_gst_bus_trouble(pipeline);
            held.lock();
            if (!trouble.empty() && first.at_ns < 0) {
                (void)std::fprintf(stderr, "pipeline: %s\n", trouble.c_str());
                return -1;
            }
        }
    }
    return first.at_ns - marked_at_ns;
}

std::vector<int> zvxp_targets(const std::string &list)
{
    std::vector<int> targets;
    std::stringstream items(list);
    std::string item;
    while (std::getline(items, item, ','))
        targets.push_back(static_cast<int>(std::strtol(item.c_str(), nullptr, 10)));
    return targets;
}

struct zvxp_run {
    int64_t start_ns = -1;
    /* From building the pipeline: a first start then includes each decoder's library loading, which
     * GStreamer's own plugins do while the pipeline is built and a core loaded by the element does in
     * the move to READY. */
    int64_t launch_ns = -1;
    std::vector<int64_t> seeks_ns;
    /* The timestamp of the first picture after each seek: a decoder that drops the key frame shows here. */
    std::vector<GstClockTime> seek_pts;
};

/* One pipeline from NULL to PLAYING, through every seek, and back to NULL; false when a picture failed
 * to come. */
bool zvxp_play(const std::string &launch_line, const std::vector<int> &targets, int dwell_ms, zvxp_run &run)
{
    const int64_t launched_at = zvx_gst_now_ns();
    GstElement *pipeline = zvx_gst_pipeline(launch_line);
    if (pipeline == nullptr)
        return false;
    GstElement *sink = gst_bin_get_by_name(GST_BIN(pipeline), "zvx_sink");
    GstPad *pad = gst_element_get_static_pad(sink, "sink");
    zvxp_first_picture first;
    gst_pad_add_probe(pad, static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                      zvxp_on_sink, &first, nullptr);
    bool whole = true;
    first.arm(false);
    int64_t marked_at = zvx_gst_now_ns();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    run.start_ns = zvxp_wait(first, pipeline, marked_at);
    whole = run.start_ns >= 0;
    if (whole)
        run.launch_ns = marked_at - launched_at + run.start_ns;
    for (size_t i = 0; whole && i < targets.size(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(dwell_ms));
        first.arm(true);
        const auto target = static_cast<gint64>(targets[i]) * GST_SECOND;
        marked_at = zvx_gst_now_ns();
        if (!gst_element_seek(pipeline, 1.0, GST_FORMAT_TIME,
                              static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                              GST_SEEK_TYPE_SET, target, GST_SEEK_TYPE_NONE, GST_CLOCK_TIME_NONE)) {
            (void)std::fprintf(stderr, "the seek to %d s was refused\n", targets[i]);
            whole = false;
            break;
        }
        const int64_t seek_ns = zvxp_wait(first, pipeline, marked_at);
        whole = seek_ns >= 0;
        /* A picture from before the seek would make the seek look fast. */
        if (whole && first.pts != GST_CLOCK_TIME_NONE && static_cast<gint64>(first.pts) + GST_SECOND / 10 < target) {
            (void)std::fprintf(stderr, "the first picture after the seek to %d s is at %.3f s\n", targets[i],
                               static_cast<double>(first.pts) / GST_SECOND);
            whole = false;
        }
        if (whole) {
            run.seeks_ns.push_back(seek_ns);
            run.seek_pts.push_back(first.pts);
        }
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pad);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
    return whole;
}

double zvxp_ms(double ns)
{
    return ns / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    gst_init(&argc, &argv);
    const std::string file = zvx_gst_option(argc, argv, "file", "");
    const std::string decoder = zvx_gst_option(argc, argv, "decoder", "omxh264dec");
    const int runs = zvx_gst_int_option(argc, argv, "runs", 7);
    const int dwell_ms = zvx_gst_int_option(argc, argv, "dwell-ms", 300);
    const std::vector<int> targets = zvxp_targets(zvx_gst_option(argc, argv, "targets", "3,1,4,2"));
    if (file.empty() || runs < 1) {
        (void)std::fprintf(stderr,
                           "usage: %s --file=F.mp4 [--decoder=NAME] [--runs=N] [--targets=S,S,...] [--dwell-ms=MS]\n",
                           argv[0]);
        return 2;
    }
    const std::string launch_line =
        "filesrc location=\"" + file + "\" ! qtdemux ! h264parse ! " + decoder + " ! fakesink name=zvx_sink sync=true";

    std::vector<int64_t> warm_starts;
    std::vector<int64_t> seeks;
    std::vector<int64_t> warm_launches;
    int64_t first_start = -1;
    int64_t first_launch = -1;
    for (int i = 0; i < runs; ++i) {
        zvxp_run run;
        if (!zvxp_play(launch_line, targets, dwell_ms, run)) {
            (void)std::fprintf(stderr, "%s: run %d failed\n", decoder.c_str(), i + 1);
            return 1;
        }
        std::printf("%s run %d: start %.2f ms, seeks", decoder.c_str(), i + 1,
                    zvxp_ms(static_cast<double>(run.start_ns)));
        for (const int64_t seek : run.seeks_ns)
            std::printf(" %.2f", zvxp_ms(static_cast<double>(seek)));
        std::printf(" ms; first pictures at");
        for (const GstClockTime pts : run.seek_pts)
            std::printf(" %.3f", pts == GST_CLOCK_TIME_NONE ? -1.0 : static_cast<double>(pts) / GST_SECOND);
        std::printf(" s; from launch %.2f ms\n", zvxp_ms(static_cast<double>(run.launch_ns)));
        if (i == 0) {
            first_start = run.start_ns;
            first_launch = run.launch_ns;
        } else {
            warm_starts.push_back(run.start_ns);
            warm_launches.push_back(run.launch_ns);
        }
        seeks.insert(seeks.end(), run.seeks_ns.begin(), run.seeks_ns.end());
    }
    const size_t seek_count = seeks.size();
    std::printf("result decoder=%s runs=%d start_first_ms=%.2f start_median_ms=%.2f seek_median_ms=%.2f "
                "seek_p90_ms=%.2f seeks=%zu launch_first_ms=%.2f launch_median_ms=%.2f\n",
                decoder.c_str(), runs, zvxp_ms(static_cast<double>(first_start)),
                zvxp_ms(zvx_gst_order_statistic(warm_starts, 0.5)), zvxp_ms(zvx_gst_order_statistic(seeks, 0.5)),
                zvxp_ms(zvx_gst_order_statistic(seeks, 0.9)), seek_count, zvxp_ms(static_cast<double>(first_launch)),
                zvxp_ms(zvx_gst_order_statistic(warm_launches, 0.5)));
    return 0;
}
