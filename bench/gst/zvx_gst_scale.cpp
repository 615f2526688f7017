// COUNT decodes of one H.264 file at once in this process, each its own GStreamer pipeline with the
// same decoder, as fast as they go (fakesink sync=false): the aggregate pictures per second from setting
// PLAYING to the last picture, and each picture's latency from its entry into the decoder to its arrival
// at the sink, matched by timestamp. Under full load that latency is the depth of the decoder's queues
// times the time a picture takes.
//
//   zvx_gst_scale --file=F.mp4 --decoder=omxh264dec --count=N
#include "zvx_gst_measure.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace {

constexpr GstClockTime ZVXP_WAIT = 300 * GST_SECOND;

struct zvxp_decode {
    GstElement *pipeline = nullptr;
    std::mutex lock;
    std::unordered_map<GstClockTime, int64_t> entered_at_ns;
    std::vector<int64_t> latencies_ns;
    int64_t last_at_ns = -1;
    int frames = 0;
    int unmatched = 0;
};

GstPadProbeReturn zvxp_on_decoder_input(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    const int64_t now = zvx_gst_now_ns();
    auto *decode = static_cast<zvxp_decode *>(data);
    const GstClockTime pts = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
    const std::lock_guard<std::mutex> held(decode->lock);
    decode->entered_at_ns.emplace(pts, now);
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn zvxp_on_sink(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    const int64_t now = zvx_gst_now_ns();
    auto *decode = static_cast<zvxp_decode *>(data);
    const GstClockTime pts = GST_BUFFER_PTS(GST_PAD_PROBE_INFO_BUFFER(info));
    const std::lock_guard<std::mutex> held(decode->lock);
    ++decode->frames;
    decode->last_at_ns = now;
    const auto entered = decode->entered_at_ns.find(pts);
    if (entered == decode->entered_at_ns.end()) {
        ++decode->unmatched;
    } else {
        decode->latencies_ns.push_back(now - entered->second);
        decode->entered_at_ns.erase(entered);
    }
    return GST_PAD_PROBE_OK;
}

void zvxp_probe(GstElement *pipeline, const char *element_name, const char *pad_name, GstPadProbeCallback callback,
                zvxp_decode *decode)
{
    GstElement *element = gst_bin_get_by_name(GST_BIN(pipeline), element_name);
    GstPad *pad = gst_element_get_static_pad(element, pad_name);
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, callback, decode, nullptr);
    gst_object_unref(pad);
    gst_object_unref(element);
}

/* Waits for the pipeline's end of stream; false, with the reason, on an error or after the limit. */
bool zvxp_finish(GstElement *pipeline)
{
    GstBus *bus = gst_element_get_bus(pipeline);
    GstMessage *message =
        gst_bus_timed_pop_filtered(bus, ZVXP_WAIT, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    gst_object_unref(bus);
    if (message == nullptr) {
        (void)std::fprintf(stderr, "no end of stream within %llu s\n",
                           static_cast<unsigned long long>(ZVXP_WAIT / GST_SECOND));
        return false;
    }
    const bool ended = GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
    if (!ended) {
        GError *error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        (void)std::fprintf(stderr, "pipeline: %s\n", error != nullptr ? error->message : "error");
        if (error != nullptr)
            g_error_free(error);
    }
    gst_message_unref(message);
    return ended;
}

} // namespace

int main(int argc, char **argv)
{
    gst_init(&argc, &argv);
    const std::string file = zvx_gst_option(argc, argv, "file", "");
    const std::string decoder = zvx_gst_option(argc, argv, "decoder", "omxh264dec");
    const int count = zvx_gst_int_option(argc, argv, "count", 1);
    if (file.empty() || count < 1) {
        (void)std::fprintf(stderr, "usage: %s --file=F.mp4 [--decoder=NAME] [--count=N]\n", argv[0]);
        return 2;
    }
    const std::string launch_line = "filesrc location=\"" + file + "\" ! qtdemux ! h264parse ! " + decoder +
                                    " name=zvx_decoder ! fakesink name=zvx_sink sync=false";

    std::vector<std::unique_ptr<zvxp_decode>> decodes;
    for (int i = 0; i < count; ++i) {
        auto decode = std::make_unique<zvxp_decode>();
        decode->pipeline = zvx_gst_pipeline(launch_line);
        if (decode->pipeline == nullptr)
            return 1;
        zvxp_probe(decode->pipeline, "zvx_decoder", "sink", zvxp_on_decoder_input, decode.get());
        zvxp_probe(decode->pipeline, "zvx_sink", "sink", zvxp_on_sink, decode.get());
        decodes.push_back(std::move(decode));
    }

    const int64_t started_at = zvx_gst_now_ns();
    for (const auto &decode : decodes)
        gst_element_set_state(decode->pipeline, GST_STATE_PLAYING);
    bool whole = true;
    for (const auto &decode : decodes)
        whole = zvxp_finish(decode->pipeline) && whole;
    for (const auto &decode : decodes)
        gst_element_set_state(decode->pipeline, GST_STATE_NULL);

    int64_t last_at = started_at;
    int total = 0;
    int fewest = -1;
    int unmatched = 0;
    std::vector<int64_t> latencies;
    for (const auto &decode : decodes) {
        last_at = std::max(last_at, decode->last_at_ns);
        total += decode->frames;
        fewest = fewest < 0 ? decode->frames : std::min(fewest, decode->frames);
        unmatched += decode->unmatched;
        latencies.insert(latencies.end(), decode->latencies_ns.begin(), decode->latencies_ns.end());
        gst_object_unref(decode->pipeline);
    }
    const double seconds = static_cast<double>(last_at - started_at) / 1e9;
    std::printf("result decoder=%s count=%d frames=%d fewest=%d seconds=%.3f fps=%.1f latency_median_ms=%.2f "
                "latency_p99_ms=%.2f unmatched=%d\n",
                decoder.c_str(), count, total, fewest, seconds, seconds > 0 ? total / seconds : 0.0,
                zvx_gst_order_statistic(latencies, 0.5) / 1e6, zvx_gst_order_statistic(latencies, 0.99) / 1e6,
                unmatched);
    return whole ? 0 : 1;
}
