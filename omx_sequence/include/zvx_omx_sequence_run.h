#ifndef ZVX_OMX_SEQUENCE_RUN_H
#define ZVX_OMX_SEQUENCE_RUN_H

/*
 * Many sequences, seed after seed, under one OMX_Init: the counts of each kind of failure and every
 * failing seed. A sequence that makes no progress for a long time (a call into the component that
 * never returns) ends the process with its seed and trace printed, since nothing else can stop it.
 */

#include <cstdint>
#include <cstdio>
#include <vector>

#include "zvx_omx_sequence_player.h"

enum class zvx_seq_kinds : uint8_t { decoder, encoder, both };

struct zvx_seq_run_options {
    uint64_t seed = 1;
    /* 0: no bound on the count. */
    uint64_t sequences = 0;
    /* 0: no bound on the time; one of the two bounds must be set. */
    double seconds = 0;
    zvx_seq_kinds kinds = zvx_seq_kinds::both;
    bool trace_live = false;
    zvx_seq_settle_options settle;
};

struct zvx_seq_run_summary {
    uint64_t sequences = 0;
    uint64_t hung = 0;
    uint64_t lost_or_doubled = 0;
    uint64_t forbidden = 0;
    uint64_t other = 0;
    std::vector<uint64_t> failing_seeds;
};

/* Decoder for even seeds and encoder for odd ones when both run, so a seed alone replays a sequence. */
zvx_seq_kind zvx_seq_kind_of(zvx_seq_kinds kinds, uint64_t seed);

zvx_seq_run_summary zvx_seq_run(const zvx_seq_run_options &options, FILE *out);
void zvx_seq_print_summary(const zvx_seq_run_summary &summary, FILE *out);

#endif
