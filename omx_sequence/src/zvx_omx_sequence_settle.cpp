#include "zvx_omx_sequence_settle.h"

#include <thread>

namespace {

constexpr int ZVXP_TEARDOWN_ROUNDS = 8;
constexpr std::chrono::milliseconds ZVXP_POLL{10};

/* Buffers up to the port's nBufferCountActual, as the port asks now; stops at the first refusal,
 * which the command's answer will explain. */
void zvxp_populate(zvx_seq_client &client, OMX_U32 port)
{
    OMX_PARAM_PORTDEFINITIONTYPE definition;
    if (client.get_port(port, &definition) != OMX_ErrorNone || definition.bEnabled == OMX_FALSE) {
        return;
    }
    for (size_t have = client.buffers(port).size(); have < definition.nBufferCountActual; ++have) {
        if (client.allocate(port, definition.nBufferSize, false) != OMX_ErrorNone) {
            return;
        }
    }
}

void zvxp_free_held(zvx_seq_client &client, OMX_U32 port)
{
    for (OMX_BUFFERHEADERTYPE *header : client.held(port)) {
        client.free_buffer(port, header);
    }
}

bool zvxp_same_entry(const std::optional<zvx_seq_expected> &a, const std::optional<zvx_seq_expected> &b)
{
    return a && b && a->id == b->id && a->param == b->param && a->command == b->command;
}

/* Sends the command and settles it. */
bool zvxp_command(zvx_seq_client &client, OMX_COMMANDTYPE command, OMX_U32 param, const zvx_seq_settle_options &options)
{
    client.send_command(command, param);
    return zvx_seq_settle(client, options);
}

/* Does what the command needs of the client to be answered. */
void zvxp_serve(zvx_seq_client &client, const zvx_seq_expected &head)
{
    const OMX_STATETYPE state = client.inspect<OMX_STATETYPE>([](const zvx_seq_model &model) { return model.state(); });
    const bool loaded = state == OMX_StateLoaded || state == OMX_StateWaitForResources;
    switch (head.command) {
    case OMX_CommandStateSet:
        if (head.param == OMX_StateIdle && loaded) {
            zvxp_populate(client, zvx_seq_client::INPUT);
            zvxp_populate(client, zvx_seq_client::OUTPUT);
        } else if (head.param == OMX_StateLoaded && (state == OMX_StateIdle || state == OMX_StateWaitForResources)) {
            // From WaitForResources too: what an Idle that failed left allocated is the client's to free.
            zvxp_free_held(client, zvx_seq_client::INPUT);
            zvxp_free_held(client, zvx_seq_client::OUTPUT);
        }
        break;
    case OMX_CommandPortEnable:
        if (!loaded && state != OMX_StateInvalid && head.param < zvx_seq_model::PORT_COUNT) {
            zvxp_populate(client, head.param);
        }
        break;
    case OMX_CommandPortDisable:
        if (head.param < zvx_seq_model::PORT_COUNT) {
            zvxp_free_held(client, head.param);
        }
        break;
    default:
        break;
    }
}

} // namespace

void zvx_seq_serve_head(zvx_seq_client &client)
{
    const auto heads =
        client.inspect<std::vector<zvx_seq_expected>>([](const zvx_seq_model &model) { return model.heads(); });
    for (const zvx_seq_expected &head : heads) {
        zvxp_serve(client, head);
    }
}

bool zvx_seq_settle(zvx_seq_client &client, const zvx_seq_settle_options &options)
{
    client.quiet();
    for (;;) {
        const auto head =
            client.inspect<std::optional<zvx_seq_expected>>([](const zvx_seq_model &model) { return model.head(); });
        if (!head) {
            return true;
        }
        const auto deadline = std::chrono::steady_clock::now() + options.step;
        bool answered = false;
        while (!answered && std::chrono::steady_clock::now() < deadline) {
            zvx_seq_serve_head(client);
            answered = client.wait_until(
                [&head](const zvx_seq_model &model) { return !zvxp_same_entry(model.head(), head); }, ZVXP_POLL);
        }
        if (!answered) {
            client.note_hang();
            return false;
        }
    }
}

bool zvx_seq_tear_down(zvx_seq_client &client, const zvx_seq_settle_options &options)
{
    bool settled = zvx_seq_settle(client, options);
    for (int round = 0; settled && round < ZVXP_TEARDOWN_ROUNDS; ++round) {
        const OMX_STATETYPE state =
            client.inspect<OMX_STATETYPE>([](const zvx_seq_model &model) { return model.state(); });
        if (state == OMX_StateLoaded || state == OMX_StateInvalid) {
            zvxp_free_held(client, zvx_seq_client::INPUT);
            zvxp_free_held(client, zvx_seq_client::OUTPUT);
            if (client.buffers(zvx_seq_client::INPUT).empty() && client.buffers(zvx_seq_client::OUTPUT).empty()) {
                break;
            }
            std::this_thread::sleep_for(ZVXP_POLL);
        } else if (state == OMX_StateExecuting || state == OMX_StatePause) {
            settled = zvxp_command(client, OMX_CommandStateSet, OMX_StateIdle, options);
        } else if (state == OMX_StateIdle &&
                   (!client.lent(zvx_seq_client::INPUT).empty() || !client.lent(zvx_seq_client::OUTPUT).empty())) {
            // Buffers given in Idle wait there until a flush gives them back.
            settled = zvxp_command(client, OMX_CommandFlush, OMX_ALL, options);
        } else {
            settled = zvxp_command(client, OMX_CommandStateSet, OMX_StateLoaded, options);
        }
    }
    if (settled) {
        const OMX_STATETYPE state =
            client.inspect<OMX_STATETYPE>([](const zvx_seq_model &model) { return model.state(); });
        client.check_everything_back();
        if (state != OMX_StateLoaded && state != OMX_StateInvalid && client.violations().empty()) {
            client.note(zvx_seq_fault::other, std::string("a well-behaved client could not take the component from ") +
                                                  zvx_seq_state_name(state) + " to Loaded");
        }
    }
    client.free_handle();
    return settled;
}
