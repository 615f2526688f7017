#ifndef ZVX_OMX_SEQUENCE_PLAYER_H
#define ZVX_OMX_SEQUENCE_PLAYER_H

/*
 * One seeded random sequence: every client call at right and wrong times (commands to every state and
 * port, buffers allocated, freed and queued whoever holds them, port definitions read and changed,
 * calls from inside callbacks, FreeHandle mid-stream, short waits), then the settle phase and the
 * teardown. The seed alone decides the client thread's choices; what happens inside callbacks has a
 * source of its own, since the component decides when they come.
 */

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zvx_omx_sequence_client.h"
#include "zvx_omx_sequence_settle.h"

struct zvx_seq_play_options {
    uint64_t seed = 1;
    zvx_seq_kind kind = zvx_seq_kind::decoder;
    /* Print each call and callback as it happens. */
    bool trace_live = false;
    zvx_seq_settle_options settle;
};

struct zvx_seq_outcome {
    uint64_t seed = 0;
    zvx_seq_kind kind = zvx_seq_kind::decoder;
    size_t steps = 0;
    std::vector<zvx_seq_violation> violations;
    /* The whole sequence, kept when it failed. */
    std::vector<std::string> trace;
    bool failed() const { return !violations.empty(); }
};

/* A command with a parameter, valid or not, as the random client sends it. */
std::pair<OMX_COMMANDTYPE, OMX_U32> zvx_seq_random_command(zvx_seq_random &random);

zvx_seq_outcome zvx_seq_play(const zvx_seq_play_options &options);

#endif
