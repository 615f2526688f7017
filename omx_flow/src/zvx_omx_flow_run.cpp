#include "zvx_omx_flow_run.h"

#include <chrono>

namespace {

bool zvxp_step(zvx_flow_client &client, bool done, const char *what)
{
    if (!done) {
        client.note_problem(what);
    }
    return done;
}

bool zvxp_change_state(zvx_flow_client &client, OMX_STATETYPE state,
                       const std::function<void(const zvx_flow_notice &)> &react = {})
{
    return zvxp_step(client, client.send_command(OMX_CommandStateSet, state) == OMX_ErrorNone, "StateSet refused") &&
           zvxp_step(client, client.await_event(zvx_flow_complete(OMX_CommandStateSet, state), react),
                     "a state change never completed");
}

bool zvxp_configure(zvx_flow_client &client, const zvx_flow_run_options &options)
{
    if (!zvxp_step(client, client.set_role(zvx_flow_role(options)) == OMX_ErrorNone, "the role was refused")) {
        return false;
    }
    OMX_PARAM_PORTDEFINITIONTYPE input;
    client.get_port_definition(zvx_flow_client::INPUT, &input);
    input.format.video.nFrameWidth = options.width;
    input.format.video.nFrameHeight = options.height;
    input.format.video.nStride = static_cast<OMX_S32>(options.width);
    input.format.video.nSliceHeight = options.height;
    if (!zvxp_step(client, client.set_port_definition(input) == OMX_ErrorNone,
                   "the input port definition was refused")) {
        return false;
    }
    if (options.configure && !options.configure(client)) {
        return false;
    }
    if (!options.output_disabled_at_start) {
        return true;
    }
    return zvxp_step(client, client.send_command(OMX_CommandPortDisable, zvx_flow_client::OUTPUT) == OMX_ErrorNone,
                     "PortDisable refused") &&
           zvxp_step(client, client.await_event(zvx_flow_complete(OMX_CommandPortDisable, zvx_flow_client::OUTPUT)),
                     "the output port was never disabled");
}

bool zvxp_to_idle_with_buffers(zvx_flow_client &client, const zvx_flow_run_options &options)
{
    if (!zvxp_step(client, client.send_command(OMX_CommandStateSet, OMX_StateIdle) == OMX_ErrorNone,
                   "StateSet refused") ||
        !zvxp_step(client, client.allocate_buffers(zvx_flow_client::INPUT) == OMX_ErrorNone, "input buffers refused")) {
        return false;
    }
    if (!options.output_disabled_at_start &&
        !zvxp_step(client, client.allocate_buffers(zvx_flow_client::OUTPUT) == OMX_ErrorNone,
                   "output buffers refused")) {
        return false;
    }
    return zvxp_step(client, client.await_event(zvx_flow_complete(OMX_CommandStateSet, OMX_StateIdle)),
                     "Idle never completed");
}

void zvxp_free_held(zvx_flow_client &client)
{
    for (const OMX_U32 port : {zvx_flow_client::INPUT, zvx_flow_client::OUTPUT}) {
        for (OMX_BUFFERHEADERTYPE *header : client.held(port)) {
            zvxp_step(client, client.free_buffer(header) == OMX_ErrorNone, "FreeBuffer refused");
        }
    }
}

bool zvxp_to_loaded(zvx_flow_client &client)
{
    if (!zvxp_step(client, client.send_command(OMX_CommandStateSet, OMX_StateLoaded) == OMX_ErrorNone,
                   "StateSet refused")) {
        return false;
    }
    zvxp_free_held(client);
    return zvxp_step(client, client.await_event(zvx_flow_complete(OMX_CommandStateSet, OMX_StateLoaded)),
                     "Loaded never completed");
}

} // namespace

zvx_dev_script zvx_flow_script(const zvx_flow_run_options &options)
{
    zvx_dev_script script = options.script;
    if (options.kind == zvx_flow_kind::decoder) {
        script.stream_width = options.width;
        script.stream_height = options.height;
    }
    script.key_interval = options.plan.key_interval;
    return script;
}

bool zvx_flow_start(zvx_flow_client &client, const zvx_flow_run_options &options)
{
    return zvxp_configure(client, options) && zvxp_to_idle_with_buffers(client, options) &&
           zvxp_change_state(client, OMX_StateExecuting);
}

bool zvx_flow_stop(zvx_flow_client &client, zvx_flow_stream &stream)
{
    stream.hold(true);
    const auto react = [&](const zvx_flow_notice &notice) { stream.react(notice); };
    return zvxp_change_state(client, OMX_StateIdle, react) &&
           zvxp_step(client, client.lent(zvx_flow_client::INPUT) == 0 && client.lent(zvx_flow_client::OUTPUT) == 0,
                     "buffers still with the component in Idle") &&
           zvxp_to_loaded(client);
}

std::string zvx_flow_role(const zvx_flow_run_options &options)
{
    return (options.kind == zvx_flow_kind::decoder ? "video_decoder." : "video_encoder.") + options.codec;
}

zvx_flow_run_result zvx_flow_run(const zvx_flow_run_options &options, zvx_flow_observer *observer)
{
    const auto start = std::chrono::steady_clock::now();
    zvx_flow_run_result result;
    zvx_dev_set_default_script(zvx_flow_script(options));
    zvx_flow_client client(options.kind, observer);
    if (client.open() != OMX_ErrorNone) {
        result.problems.push_back("the component could not be made");
        return result;
    }
    if (zvx_flow_start(client, options)) {
        zvx_flow_stream stream(client, options.plan, options.source, options.sink);
        const bool ended = stream.run_to_end();
        zvxp_step(client, ended || stream.failed(), "the stream never ended");
        result.completed = ended && zvx_flow_stop(client, stream);
        if (ended && !stream.missing_pictures().empty()) {
            client.note_problem("pictures sent never came out");
        }
        /* An encoder makes one picture of every one it takes; a decoder's count is the media's. */
        if (ended && options.source != nullptr && options.kind == zvx_flow_kind::encoder &&
            stream.pictures_out() != stream.frames_sent()) {
            client.note_problem(std::to_string(stream.frames_sent()) + " pictures sent, " +
                                std::to_string(stream.pictures_out()) + " came out encoded");
        }
        result.frames_sent = stream.frames_sent();
        result.pictures_out = stream.pictures_out();
        result.reconfigurations = stream.reconfigurations();
        result.outputs = stream.outputs();
    }
    if (!result.completed) {
        zvxp_free_held(client);
    }
    result.final_state = client.state();
    client.close();
    result.buffers_lent = client.lends();
    result.buffers_returned = client.returns();
    result.events = client.events();
    result.problems = client.problems();
    result.completed = result.completed && result.problems.empty();
    result.elapsed_ns =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - start).count();
    return result;
}
