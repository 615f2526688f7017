#ifndef ZVX_OMX_SEQUENCE_SETTLE_H
#define ZVX_OMX_SEQUENCE_SETTLE_H

/*
 * The client turned well-behaved at the end of a sequence: it sends no new command, does what the
 * oldest unanswered command needs (buffers for Idle or an enable, frees for Loaded or a disable) and
 * waits, a bounded time per command, for each to be answered; then it takes the component back to
 * Loaded with every buffer freed.
 */

#include <chrono>

#include "zvx_omx_sequence_client.h"

struct zvx_seq_settle_options {
    /* How long one command may stay unanswered while the client does what it needs. */
    std::chrono::milliseconds step = std::chrono::milliseconds(5000);
};

/* What the oldest unanswered command needs of the client, done once; the player uses it too. */
void zvx_seq_serve_head(zvx_seq_client &client);

/* Waits for every accepted command to be answered; false, with each unanswered one noted as a hang,
 * when one was not within the step. */
bool zvx_seq_settle(zvx_seq_client &client, const zvx_seq_settle_options &options = {});

/* From wherever the component is, back to Loaded with every buffer freed, then the handle freed.
 * Settles first; false when a command hung on the way. */
bool zvx_seq_tear_down(zvx_seq_client &client, const zvx_seq_settle_options &options = {});

#endif
