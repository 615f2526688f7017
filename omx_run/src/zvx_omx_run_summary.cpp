#include "zvx_omx_run_summary.h"

#include <algorithm>

namespace {

long zvxp_count(const zvx_flow_run_result &result, OMX_EVENTTYPE type)
{
    return std::count_if(result.events.begin(), result.events.end(),
                         [type](const zvx_flow_event &event) { return event.event == type; });
}

} // namespace

void zvx_run_print_summary(std::FILE *out, const zvx_run_options &options, const zvx_flow_run_result &result,
                           const zvx_run_media *media)
{
    const zvx_flow_run_options &flow = options.flow;
    if (media != nullptr) {
        media->print_header(out, options);
    } else {
        (void)std::fprintf(out, "%s %s %ux%u, %u frames; resolution changes: %zu, faults: %zu\n",
                           flow.kind == zvx_flow_kind::decoder ? "decode" : "encode", flow.codec.c_str(), flow.width,
                           flow.height, flow.plan.frames, flow.script.resolution_changes.size(),
                           flow.script.faults.size());
    }
    (void)std::fprintf(out, "frames:  %u sent, %u out\n", result.frames_sent, result.pictures_out);
    (void)std::fprintf(
        out, "events:  %zu: %ld command completions, %ld port settings changes, %ld buffer flags, %ld errors\n",
        result.events.size(), zvxp_count(result, OMX_EventCmdComplete),
        zvxp_count(result, OMX_EventPortSettingsChanged), zvxp_count(result, OMX_EventBufferFlag),
        zvxp_count(result, OMX_EventError));
    (void)std::fprintf(out, "buffers: %llu lent to the component, %llu back; %u output reallocations\n",
                       static_cast<unsigned long long>(result.buffers_lent),
                       static_cast<unsigned long long>(result.buffers_returned), result.reconfigurations);
    const double milliseconds = static_cast<double>(result.elapsed_ns) / 1e6;
    (void)std::fprintf(out, "time:    %.1f ms, %.0f frames/s\n", milliseconds,
                       milliseconds > 0 ? result.pictures_out * 1000.0 / milliseconds : 0.0);
    if (media != nullptr) {
        media->print_output(out, options);
    }
    (void)std::fprintf(out, "result:  %s\n", result.completed ? "ok" : "FAILED");
    for (const std::string &problem : result.problems) {
        (void)std::fprintf(out, "problem: %s\n", problem.c_str());
    }
}
