#include "zvx_omx_run_trace.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "zvx_omx_strings.h"

namespace {

constexpr int ZVXP_CLIENT_THREAD = 1;
constexpr int ZVXP_COMPONENT_THREAD = 2;

std::string zvxp_format(const char *format, auto... values)
{
    char text[256];
    (void)std::snprintf(text, sizeof(text), format, values...);
    return text;
}

/* The diagnostic name without its family's prefix: "Idle" for OMX_StateIdle. */
std::string zvxp_short(const char *name, std::string_view prefix)
{
    const std::string_view full(name);
    return std::string(full.starts_with(prefix) ? full.substr(prefix.size()) : full);
}

std::string zvxp_command_name(OMX_U32 command, OMX_U32 param)
{
    const std::string name = zvxp_short(zvx_omx_command_name(command), "OMX_Command");
    if (command == OMX_CommandStateSet) {
        return name + " " + zvxp_short(zvx_omx_state_name(param), "OMX_State");
    }
    return name + " port " + std::to_string(param);
}

const char *zvxp_port_name(OMX_U32 port)
{
    return port == 0 ? "input" : "output";
}

std::string zvxp_buffer_args(const zvx_flow_record &record)
{
    return zvxp_format(R"("buffer":%u,"filled":%u,"flags":"0x%x","timestamp":%)" PRId64, record.buffer,
                       record.filled_len, record.flags, record.timestamp);
}

} // namespace

void zvx_run_trace::add(const std::string &name, const char *phase, const zvx_flow_record &record,
                        const std::string &extra)
{
    const int thread = record.on_component ? ZVXP_COMPONENT_THREAD : ZVXP_CLIENT_THREAD;
    events_.push_back(zvxp_format(R"({"name":"%s","ph":"%s","ts":%.3f,"pid":1,"tid":%d)", name.c_str(), phase,
                                  static_cast<double>(record.time_ns) / 1000.0, thread) +
                      extra + "}");
}

void zvx_run_trace::on_record(const zvx_flow_record &record)
{
    switch (record.what) {
    case zvx_flow_what::send_command:
        add("SendCommand", "i", record,
            R"(,"s":"t","args":{"command":")" + zvxp_command_name(record.a, record.b) + R"("})");
        open_command(record);
        break;
    case zvx_flow_what::event: {
        const std::string event = zvxp_short(zvx_omx_event_name(record.event), "OMX_Event");
        add("EventHandler " + event, "i", record,
            zvxp_format(R"(,"s":"t","args":{"data1":"0x%x","data2":"0x%x"})", record.a, record.b));
        if (record.event == OMX_EventCmdComplete) {
            close_command(record, record.a, record.b);
        } else if (record.event == OMX_EventError && record.a != static_cast<OMX_U32>(OMX_ErrorNone)) {
            /* A refused state change ends with an error that names the state asked for. */
            close_command(record, OMX_CommandStateSet, record.b);
        }
        break;
    }
    case zvx_flow_what::allocate_buffer:
    case zvx_flow_what::free_buffer:
        add(record.what == zvx_flow_what::allocate_buffer ? "AllocateBuffer" : "FreeBuffer", "i", record,
            zvxp_format(R"(,"s":"t","args":{"port":"%s","buffer":%u})", zvxp_port_name(record.port), record.buffer));
        break;
    case zvx_flow_what::empty_this_buffer:
    case zvx_flow_what::fill_this_buffer:
        add(record.what == zvx_flow_what::empty_this_buffer ? "EmptyThisBuffer" : "FillThisBuffer", "i", record,
            R"(,"s":"t","args":{)" + zvxp_buffer_args(record) + "}");
        add(zvxp_format("%s %u", zvxp_port_name(record.port), record.buffer), "b", record,
            zvxp_format(R"(,"cat":"buffer","id":"%s-%u")", zvxp_port_name(record.port), record.buffer));
        ++lent_[record.port];
        count_buffers(record);
        break;
    case zvx_flow_what::empty_buffer_done:
    case zvx_flow_what::fill_buffer_done:
        add(record.what == zvx_flow_what::empty_buffer_done ? "EmptyBufferDone" : "FillBufferDone", "i", record,
            R"(,"s":"t","args":{)" + zvxp_buffer_args(record) + "}");
        add(zvxp_format("%s %u", zvxp_port_name(record.port), record.buffer), "e", record,
            zvxp_format(R"(,"cat":"buffer","id":"%s-%u","args":{"filled":%u})", zvxp_port_name(record.port),
                        record.buffer, record.filled_len));
        --lent_[record.port];
        count_buffers(record);
        break;
    case zvx_flow_what::refused:
        add("refused", "i", record, zvxp_format(R"(,"s":"t","args":{"error":"%s"})", zvx_omx_error_name(record.error)));
        break;
    }
}

void zvx_run_trace::open_command(const zvx_flow_record &record)
{
    /* A command on both ports completes once per port. */
    const bool both_ports = record.a != OMX_CommandStateSet && record.b == OMX_ALL;
    for (OMX_U32 port = 0; port < 2; ++port) {
        const OMX_U32 param = both_ports ? port : record.b;
        const uint64_t id = next_command_id_++;
        open_commands_[{record.a, param}].push_back(id);
        add(zvxp_command_name(record.a, param), "b", record,
            zvxp_format(R"(,"cat":"command","id":"command-%)" PRIu64 R"(")", id));
        if (!both_ports) {
            return;
        }
    }
}

void zvx_run_trace::close_command(const zvx_flow_record &record, OMX_U32 command, OMX_U32 param)
{
    std::vector<uint64_t> &open = open_commands_[{command, param}];
    if (open.empty()) {
        return;
    }
    const uint64_t id = open.front();
    open.erase(open.begin());
    add(zvxp_command_name(command, param), "e", record,
        zvxp_format(R"(,"cat":"command","id":"command-%)" PRIu64 R"(")", id));
}

void zvx_run_trace::count_buffers(const zvx_flow_record &record)
{
    add("buffers with the component", "C", record,
        zvxp_format(R"(,"args":{"input":%)" PRId64 R"(,"output":%)" PRId64 "}", lent_[0], lent_[1]));
}

bool zvx_run_trace::write(const std::string &path) const
{
    std::ofstream out(path);
    out << R"({"displayTimeUnit":"ms","traceEvents":[)"
        << "\n";
    out << R"({"name":"process_name","ph":"M","ts":0,"pid":1,"tid":1,"args":{"name":"zvx_omx_run"}},)"
        << "\n";
    out << R"({"name":"thread_name","ph":"M","ts":0,"pid":1,"tid":1,"args":{"name":"client"}},)"
        << "\n";
    out << R"({"name":"thread_name","ph":"M","ts":0,"pid":1,"tid":2,"args":{"name":"component callbacks"}})";
    for (const std::string &event : events_) {
        out << ",\n" << event;
    }
    out << "\n]}\n";
    out.close();
    return !out.fail();
}
