#include "zvx_dev_component_decode.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "zvx_omx_flow_client.h"
#include "zvx_omx_flow_run.h"

namespace {

constexpr std::chrono::milliseconds ZVXP_POLL{50};

struct Feeder {
    zvx_flow_client &client;
    const uint8_t *data;
    size_t size;
    size_t at = 0;
    size_t piece;
    OMX_U32 flags;
    bool eos_sent = false;
    bool eos_out = false;
    bool reconfiguring = false;
    uint32_t pictures = 0;

    void feed()
    {
        for (OMX_BUFFERHEADERTYPE *header : client.held(zvx_flow_client::INPUT)) {
            if (eos_sent)
                break;
            const size_t length = std::min({size - at, piece, static_cast<size_t>(header->nAllocLen)});
            std::memcpy(header->pBuffer, data + at, length);
            at += length;
            eos_sent = at == size;
            client.empty_buffer(header, static_cast<uint32_t>(length), eos_sent ? flags | OMX_BUFFERFLAG_EOS : flags,
                                0);
        }
        if (reconfiguring)
            return;
        for (OMX_BUFFERHEADERTYPE *header : client.held(zvx_flow_client::OUTPUT))
            client.fill_buffer(header);
    }

    void react(const zvx_flow_notice &notice)
    {
        if (notice.what == zvx_flow_what::fill_buffer_done) {
            eos_out = eos_out || (notice.header->nFlags & OMX_BUFFERFLAG_EOS) != 0;
            pictures += notice.header->nFilledLen > 0 ? 1 : 0;
        }
        if (notice.what == zvx_flow_what::fill_buffer_done && reconfiguring)
            client.free_buffer(notice.header);
        if (notice.what != zvx_flow_what::event)
            return;
        const zvx_flow_event &event = notice.event;
        if (event.event == OMX_EventPortSettingsChanged && event.data1 == zvx_flow_client::OUTPUT &&
            (event.data2 == 0 || event.data2 == OMX_IndexParamPortDefinition) && !reconfiguring) {
            reconfiguring = true;
            client.send_command(OMX_CommandPortDisable, zvx_flow_client::OUTPUT);
            for (OMX_BUFFERHEADERTYPE *header : client.held(zvx_flow_client::OUTPUT))
                client.free_buffer(header);
        } else if (event.event == OMX_EventCmdComplete && event.data1 == OMX_CommandPortDisable) {
            client.send_command(OMX_CommandPortEnable, zvx_flow_client::OUTPUT);
            client.allocate_buffers(zvx_flow_client::OUTPUT);
        } else if (event.event == OMX_EventCmdComplete && event.data1 == OMX_CommandPortEnable) {
            reconfiguring = false;
        }
    }
};

bool zvxp_to_loaded(zvx_flow_client &client, Feeder &feeder)
{
    const auto react = [&](const zvx_flow_notice &notice) { feeder.react(notice); };
    feeder.eos_sent = true;
    if (client.send_command(OMX_CommandStateSet, OMX_StateIdle) != OMX_ErrorNone ||
        !client.await_event(zvx_flow_complete(OMX_CommandStateSet, OMX_StateIdle), react)) {
        client.note_problem("Idle never completed");
        return false;
    }
    if (client.lent(zvx_flow_client::INPUT) != 0 || client.lent(zvx_flow_client::OUTPUT) != 0)
        client.note_problem("buffers still with the component in Idle");
    if (client.send_command(OMX_CommandStateSet, OMX_StateLoaded) != OMX_ErrorNone) {
        client.note_problem("Loaded refused");
        return false;
    }
    for (const OMX_U32 port : {zvx_flow_client::INPUT, zvx_flow_client::OUTPUT})
        for (OMX_BUFFERHEADERTYPE *header : client.held(port))
            client.free_buffer(header);
    if (!client.await_event(zvx_flow_complete(OMX_CommandStateSet, OMX_StateLoaded))) {
        client.note_problem("Loaded never completed");
        return false;
    }
    return true;
}

} // namespace

zvx_dev_component_decode zvx_dev_decode_through_component(const std::string &codec, std::span<const uint8_t> bytes,
                                                          size_t piece, OMX_U32 flags, std::chrono::milliseconds limit)
{
    zvx_dev_component_decode result;
    zvx_flow_run_options options;
    options.codec = codec;
    zvx_flow_client client(zvx_flow_kind::decoder);
    if (client.open() != OMX_ErrorNone)
        return result;
    result.reached_executing = zvx_flow_start(client, options);
    if (result.reached_executing) {
        Feeder feeder{client, bytes.data(), bytes.size(), 0, std::max<size_t>(piece, 1), flags};
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!feeder.eos_out && std::chrono::steady_clock::now() < deadline) {
            feeder.feed();
            if (const std::optional<zvx_flow_notice> notice = client.next_notice(ZVXP_POLL))
                feeder.react(*notice);
        }
        result.ended = feeder.eos_out;
        result.pictures = feeder.pictures;
        client.get_port_definition(zvx_flow_client::OUTPUT, &result.output);
        result.stopped = zvxp_to_loaded(client, feeder);
    }
    result.problems = client.problems();
    client.close();
    return result;
}
