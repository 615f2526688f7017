#ifndef ZVX_OMX_RUN_MEDIA_H
#define ZVX_OMX_RUN_MEDIA_H

#include <cstdio>
#include <string>

#include "zvx_omx_run_options.h"
#include "zvx_omx_run_picture_sink.h"
#include "zvx_omx_run_picture_source.h"
#include "zvx_omx_run_stream_sink.h"
#include "zvx_omx_run_stream_source.h"

/* The files of a run on real media: a stream to decode or pictures to encode, and what comes out. */
class zvx_run_media {
public:
    /* Opens the input and the output the options name and points the flow at them: the codec and the
     * size from the input unless given, the device's real engine, an encoder's settings. With
     * count_frames, the frames to send are counted first (for the progress bar). False with *error
     * set when a file cannot be read or written or does not suit the run. */
    bool open(zvx_run_options *options, bool count_frames, std::string *error);
    /* Ends the output file; false when it could not be written to the end. */
    bool close();
    /* The run's first summary line, and one about the output. */
    void print_header(std::FILE *out, const zvx_run_options &options) const;
    void print_output(std::FILE *out, const zvx_run_options &options) const;

private:
    bool open_decode(zvx_run_options *options, bool count_frames, std::string *error);
    bool open_encode(zvx_run_options *options, bool count_frames, std::string *error);

    zvx_run_stream_source stream_in_;
    zvx_run_picture_source pictures_in_;
    zvx_run_picture_sink pictures_out_;
    zvx_run_stream_sink stream_out_;
    std::string input_codec_;
    bool decode_ = true;
    bool writes_ = false;
};

#endif
