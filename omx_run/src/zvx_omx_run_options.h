#ifndef ZVX_OMX_RUN_OPTIONS_H
#define ZVX_OMX_RUN_OPTIONS_H

#include <string>

#include "zvx_omx_flow_run.h"
#include "zvx_omx_run_encoder_settings.h"

struct zvx_run_options {
    zvx_flow_run_options flow;
    /* Real media: a stream to decode or pictures to encode; empty: the emulated device's pattern. */
    std::string input_path;
    std::string output_path;   /* empty: nothing written */
    bool codec_given = false;  /* else a decode takes the input's */
    bool size_given = false;   /* else an encode takes the input's (.y4m) */
    bool frames_given = false; /* else the whole input */
    bool frame_rate_given = false;
    zvx_run_encoder_settings encoder;
    std::string trace_path; /* empty: no trace */
    bool progress = true;   /* drawn only on a terminal */
    bool help = false;
};

/* Fills options from the command line; false with *error set on bad input. */
bool zvx_run_parse_options(int argc, char **argv, zvx_run_options *options, std::string *error);

const char *zvx_run_usage();

#endif
