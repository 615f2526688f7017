#ifndef ZVX_OMX_RUN_SUMMARY_H
#define ZVX_OMX_RUN_SUMMARY_H

#include <cstdio>

#include "zvx_omx_run_media.h"
#include "zvx_omx_run_options.h"

/* What the run did and whether it went through: frames, events, buffers, time, what was written (a run
 * on media, else null), and every problem. */
void zvx_run_print_summary(std::FILE *out, const zvx_run_options &options, const zvx_flow_run_result &result,
                           const zvx_run_media *media);

#endif
