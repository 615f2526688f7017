#ifndef ZVX_OMX_RUN_OPTIONS_H
#define ZVX_OMX_RUN_OPTIONS_H

#include <string>

#include "zvx_omx_flow_run.h"

struct zvx_run_options {
    zvx_flow_run_options flow;
    std::string trace_path; /* empty: no trace */
    bool progress = true;   /* drawn only on a terminal */
    bool help = false;
};

/* Fills options from the command line; false with *error set on bad input. */
bool zvx_run_parse_options(int argc, char **argv, zvx_run_options *options, std::string *error);

const char *zvx_run_usage();

#endif
