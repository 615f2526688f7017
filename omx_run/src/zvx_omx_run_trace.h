#ifndef ZVX_OMX_RUN_TRACE_H
#define ZVX_OMX_RUN_TRACE_H

/*
 * A flow as Chrome trace-event JSON: the client's calls on one thread, the component's callbacks on
 * another, each command as a span from SendCommand to its completion, each buffer as a span from the
 * call that lends it to the callback that gives it back, and counters of the buffers the component
 * holds per port.
 */

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "zvx_omx_flow_record.h"

class zvx_run_trace : public zvx_flow_observer {
public:
    void on_record(const zvx_flow_record &record) override;
    /* False when the file cannot be written. */
    bool write(const std::string &path) const;

private:
    void add(const std::string &name, const char *phase, const zvx_flow_record &record, const std::string &extra);
    void open_command(const zvx_flow_record &record);
    void close_command(const zvx_flow_record &record, OMX_U32 command, OMX_U32 param);
    void count_buffers(const zvx_flow_record &record);

    std::vector<std::string> events_;
    uint64_t next_command_id_ = 1;
    /* Commands sent and not complete, by command and port or state. */
    std::map<std::pair<OMX_U32, OMX_U32>, std::vector<uint64_t>> open_commands_;
    int64_t lent_[2] = {0, 0};
};

#endif
