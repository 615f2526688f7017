#include "zvx_omx_sequence_player.h"

#include <algorithm>
#include <thread>

namespace {

/* Small pictures keep every buffer small and every sequence fast. */
constexpr OMX_U32 ZVXP_WIDTH = 176;
constexpr OMX_U32 ZVXP_HEIGHT = 144;
constexpr OMX_TICKS ZVXP_FRAME_TICKS = 33333;

enum class zvxp_action : uint8_t {
    command,
    serve_head,
    allocate,
    free_buffer,
    empty,
    fill,
    feed_all,
    read_ports,
    read_state,
    set_port,
    wait,
    free_handle,
};

struct zvxp_weighted {
    zvxp_action action;
    uint32_t weight;
};

constexpr zvxp_weighted ZVXP_ACTIONS[] = {
    {zvxp_action::command, 14},    {zvxp_action::serve_head, 10}, {zvxp_action::allocate, 8},
    {zvxp_action::free_buffer, 6}, {zvxp_action::empty, 14},      {zvxp_action::fill, 10},
    {zvxp_action::feed_all, 5},    {zvxp_action::read_ports, 6},  {zvxp_action::read_state, 3},
    {zvxp_action::set_port, 4},    {zvxp_action::wait, 8},        {zvxp_action::free_handle, 1},
};

/* The client's half of the sequence: every choice comes from random_. */
class zvxp_player {
public:
    zvxp_player(zvx_seq_client &client, uint64_t seed) : client_(client), random_(seed) {}

    /* false once the handle is gone. */
    bool step()
    {
        switch (choose()) {
        case zvxp_action::command: {
            const auto [command, param] = zvx_seq_random_command(random_);
            client_.send_command(command, param);
            break;
        }
        case zvxp_action::serve_head:
            zvx_seq_serve_head(client_);
            break;
        case zvxp_action::allocate:
            allocate();
            break;
        case zvxp_action::free_buffer:
            free_buffer();
            break;
        case zvxp_action::empty:
            give(zvx_seq_client::INPUT);
            break;
        case zvxp_action::fill:
            give(zvx_seq_client::OUTPUT);
            break;
        case zvxp_action::feed_all:
            feed_all();
            break;
        case zvxp_action::read_ports: {
            OMX_PARAM_PORTDEFINITIONTYPE definition;
            client_.get_port(zvx_seq_client::INPUT, &definition);
            client_.get_port(zvx_seq_client::OUTPUT, &definition);
            break;
        }
        case zvxp_action::read_state: {
            OMX_STATETYPE state = OMX_StateInvalid;
            client_.get_state(&state);
            break;
        }
        case zvxp_action::set_port:
            set_port();
            break;
        case zvxp_action::wait:
            std::this_thread::sleep_for(std::chrono::microseconds(random_.below(3000)));
            break;
        case zvxp_action::free_handle:
            client_.free_handle();
            return false;
        }
        return true;
    }

private:
    zvxp_action choose()
    {
        uint32_t total = 0;
        for (const zvxp_weighted &entry : ZVXP_ACTIONS) {
            total += entry.weight;
        }
        uint32_t pick = random_.below(total);
        for (const zvxp_weighted &entry : ZVXP_ACTIONS) {
            if (pick < entry.weight) {
                return entry.action;
            }
            pick -= entry.weight;
        }
        return zvxp_action::wait;
    }

    OMX_U32 port() { return random_.below(2); }

    template <typename T> T *any(const std::vector<T *> &items)
    {
        return items.empty() ? nullptr : items[random_.below(static_cast<uint32_t>(items.size()))];
    }

    void allocate()
    {
        const OMX_U32 target = port();
        OMX_PARAM_PORTDEFINITIONTYPE definition;
        if (client_.get_port(target, &definition) != OMX_ErrorNone) {
            return;
        }
        // Now and then one too small, which must be refused.
        const OMX_U32 size = random_.chance(10) ? definition.nBufferSize / 2 : definition.nBufferSize;
        const uint32_t count = random_.chance(50) ? definition.nBufferCountActual : 1;
        const bool client_memory = random_.chance(50);
        for (uint32_t i = 0; i < count; ++i) {
            if (client_.allocate(target, size, client_memory) != OMX_ErrorNone) {
                break;
            }
        }
    }

    /* A header of one of the kinds the client may wrongly pass, or one it holds. */
    OMX_BUFFERHEADERTYPE *some_header(OMX_U32 target, bool prefer_held)
    {
        const uint32_t roll = random_.below(100);
        if (roll < 5) {
            return client_.foreign();
        }
        if (roll < 10) {
            return any(client_.stale());
        }
        if (roll < (prefer_held ? 20u : 40u)) {
            return any(client_.lent(target));
        }
        return any(client_.held(target));
    }

    void free_buffer()
    {
        const OMX_U32 target = port();
        OMX_BUFFERHEADERTYPE *header = some_header(target, false);
        if (header != nullptr) {
            client_.free_buffer(random_.chance(5) ? 1 - target : target, header);
        }
    }

    zvx_seq_input next_input(const OMX_BUFFERHEADERTYPE *header)
    {
        zvx_seq_input input;
        const OMX_U32 room = header->nAllocLen;
        input.filled = random_.chance(5) ? room + 16 : random_.below(std::min<OMX_U32>(room, 4096) + 1);
        input.offset = random_.chance(5) ? random_.below(64) : 0;
        if (input.offset + static_cast<uint64_t>(input.filled) > room && random_.chance(50)) {
            input.offset = 0;
        }
        input.flags =
            random_.pick<OMX_U32>({0, 0, OMX_BUFFERFLAG_ENDOFFRAME, OMX_BUFFERFLAG_EOS, OMX_BUFFERFLAG_CODECCONFIG,
                                   OMX_BUFFERFLAG_EOS | OMX_BUFFERFLAG_ENDOFFRAME});
        timestamp_ += random_.chance(5) ? -2 * ZVXP_FRAME_TICKS : ZVXP_FRAME_TICKS;
        input.timestamp = timestamp_;
        return input;
    }

    void give(OMX_U32 target)
    {
        const uint32_t roll = random_.below(100);
        if (roll < 15) {
            // Wrong headers, or one the component may hold, passed as they are.
            OMX_BUFFERHEADERTYPE *header = some_header(target, true);
            if (header != nullptr) {
                client_.give_as_is(target, header);
            }
            return;
        }
        OMX_BUFFERHEADERTYPE *header = any(client_.held(target));
        if (header == nullptr) {
            return;
        }
        if (target == zvx_seq_client::INPUT) {
            client_.empty(header, next_input(header));
        } else {
            client_.fill(header);
        }
    }

    void feed_all()
    {
        for (OMX_BUFFERHEADERTYPE *header : client_.held(zvx_seq_client::OUTPUT)) {
            client_.fill(header);
        }
        for (OMX_BUFFERHEADERTYPE *header : client_.held(zvx_seq_client::INPUT)) {
            zvx_seq_input input;
            input.filled = std::min<OMX_U32>(header->nAllocLen, 512);
            timestamp_ += ZVXP_FRAME_TICKS;
            input.timestamp = timestamp_;
            client_.empty(header, input);
        }
    }

    void set_port()
    {
        const OMX_U32 target = port();
        OMX_PARAM_PORTDEFINITIONTYPE definition;
        if (client_.get_port(target, &definition) != OMX_ErrorNone) {
            return;
        }
        definition.nBufferCountActual =
            random_.chance(20) ? definition.nBufferCountMin : definition.nBufferCountActual + random_.below(4);
        client_.set_port(definition, random_.chance(8), random_.chance(8));
    }

    zvx_seq_client &client_;
    zvx_seq_random random_;
    OMX_TICKS timestamp_ = 0;
};

} // namespace

std::pair<OMX_COMMANDTYPE, OMX_U32> zvx_seq_random_command(zvx_seq_random &random)
{
    const uint32_t roll = random.below(100);
    if (roll < 45) {
        const uint32_t odd = random.below(100);
        OMX_U32 target;
        if (odd < 2) {
            target = OMX_StateInvalid;
        } else if (odd < 4) {
            target = random.pick<OMX_U32>({OMX_StateWaitForResources + 1, 0x7ffffff0});
        } else if (odd < 9) {
            target = OMX_StateWaitForResources;
        } else {
            target = random.pick<OMX_U32>({OMX_StateLoaded, OMX_StateIdle, OMX_StateExecuting, OMX_StatePause});
        }
        return {OMX_CommandStateSet, target};
    }
    const OMX_U32 port = random.chance(4) ? 2 : random.pick<OMX_U32>({0, 1, OMX_ALL});
    if (roll < 65) {
        return {OMX_CommandFlush, port};
    }
    if (roll < 80) {
        return {OMX_CommandPortDisable, port};
    }
    if (roll < 95) {
        return {OMX_CommandPortEnable, port};
    }
    return {OMX_CommandMarkBuffer, random.below(2)};
}

zvx_seq_outcome zvx_seq_play(const zvx_seq_play_options &options)
{
    zvx_seq_outcome outcome;
    outcome.seed = options.seed;
    outcome.kind = options.kind;
    zvx_seq_random random(options.seed);
    zvx_seq_trace trace(options.trace_live);
    trace.add("sequence seed=%llu %s", static_cast<unsigned long long>(options.seed),
              zvx_seq_component_name(options.kind));
    {
        zvx_seq_client client(options.kind, trace);
        if (client.open(ZVXP_WIDTH, ZVXP_HEIGHT) != OMX_ErrorNone) {
            client.note(zvx_seq_fault::other, "the component could not be made and configured");
        } else {
            zvx_seq_reactions reactions;
            reactions.requeue_input_percent = random.pick<uint32_t>({0, 50, 100});
            reactions.requeue_output_percent = random.pick<uint32_t>({0, 50, 100});
            reactions.command_percent = random.pick<uint32_t>({0, 0, 10, 30});
            reactions.next_command = zvx_seq_random_command;
            reactions.seed = random.next();
            client.set_reactions(std::move(reactions));
            const size_t steps = random.between(8, 60);
            const bool free_at_once = random.chance(10);
            zvxp_player player(client, random.next());
            bool open = true;
            while (open && outcome.steps < steps) {
                open = player.step();
                ++outcome.steps;
            }
            if (open && free_at_once) {
                trace.add("settle, then FreeHandle at once");
                zvx_seq_settle(client, options.settle);
                client.free_handle();
            } else if (open) {
                trace.add("settle");
                zvx_seq_tear_down(client, options.settle);
            }
        }
        outcome.violations = client.violations();
    }
    if (outcome.failed()) {
        outcome.trace = trace.lines();
    }
    return outcome;
}
