// What the GStreamer latency programs share: a monotonic clock, order statistics of samples, the
// --name=value options and a pipeline made from a launch line.
#ifndef ZVX_GST_MEASURE_H
#define ZVX_GST_MEASURE_H

#include <gst/gst.h>

#include <cstdint>
#include <string>
#include <vector>

int64_t zvx_gst_now_ns();

/* The sample at `fraction` of the sorted samples (0.5 the median); -1 when there are none. The
 * samples are sorted in place. */
double zvx_gst_order_statistic(std::vector<int64_t> &samples, double fraction);

/* The value of --name=value among the arguments, or `fallback` when it is not given. */
std::string zvx_gst_option(int argc, char **argv, const char *name, const char *fallback);
int zvx_gst_int_option(int argc, char **argv, const char *name, int fallback);

/* A pipeline from a launch line; null, with the reason on standard error, when it cannot be made. */
GstElement *zvx_gst_pipeline(const std::string &launch_line);

/* The pipeline's first error message or end of stream posted so far, without waiting; "" when none. */
std::string zvx_gst_bus_trouble(GstElement *pipeline);

#endif
