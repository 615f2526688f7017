#include "zvx_gst_measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int64_t zvx_gst_now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double zvx_gst_order_statistic(std::vector<int64_t> &samples, double fraction)
{
    if (samples.empty())
        return -1;
    std::sort(samples.begin(), samples.end());
    return static_cast<double>(samples[static_cast<size_t>(fraction * static_cast<double>(samples.size() - 1))]);
}

std::string zvx_gst_option(int argc, char **argv, const char *name, const char *fallback)
{
    const std::string prefix = std::string("--") + name + "=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], prefix.c_str(), prefix.size()) == 0)
            return argv[i] + prefix.size();
    }
    return fallback;
}

int zvx_gst_int_option(int argc, char **argv, const char *name, int fallback)
{
    const std::string value = zvx_gst_option(argc, argv, name, "");
    return value.empty() ? fallback : static_cast<int>(std::strtol(value.c_str(), nullptr, 10));
}

GstElement *zvx_gst_pipeline(const std::string &launch_line)
{
    GError *error = nullptr;
    GstElement *pipeline = gst_parse_launch(launch_line.c_str(), &error);
    if (error != nullptr) {
        (void)std::fprintf(stderr, "cannot make '%s': %s\n", launch_line.c_str(), error->message);
        g_error_free(error);
        if (pipeline != nullptr)
            gst_object_unref(pipeline);
        return nullptr;
    }
    return pipeline;
}

std::string zvx_gst_bus_trouble(GstElement *pipeline)
{
    GstBus *bus = gst_element_get_bus(pipeline);
    std::string trouble;
    GstMessage *message = gst_bus_pop_filtered(bus, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    if (message != nullptr) {
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
            trouble = "end of stream";
        } else {
            GError *error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            trouble = error != nullptr ? error->message : "error";
            if (error != nullptr)
                g_error_free(error);
        }
        gst_message_unref(message);
    }
    gst_object_unref(bus);
    return trouble;
}
