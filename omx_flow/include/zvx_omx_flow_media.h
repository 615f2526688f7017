#ifndef ZVX_OMX_FLOW_MEDIA_H
#define ZVX_OMX_FLOW_MEDIA_H

/*
 * Real media through a flow instead of the emulated device's pattern: a source says what each input
 * buffer carries, a sink takes each filled output buffer. With a source, nothing that comes out is
 * checked against the pattern; what the media must look like is the sink's and its user's to judge.
 */

#include <OMX_Component.h>

#include <cstdint>
#include <string>

class zvx_flow_source {
public:
    virtual ~zvx_flow_source() = default;
    /* Fills the buffer with the next input (pBuffer, nFilledLen, nFlags, nTimeStamp) laid out as the
     * input port now says; false, with the buffer untouched, once the media has no more. A unit larger
     * than the buffer goes on in the next one, and only its last piece carries
     * OMX_BUFFERFLAG_ENDOFFRAME. False with *problem set when the media cannot be read. */
    virtual bool fill(OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &input,
                      std::string *problem) = 0;
};

class zvx_flow_sink {
public:
    virtual ~zvx_flow_sink() = default;
    /* A filled output buffer, with the output port as it is now and, for a decode, the visible part of
     * its pictures. False with *problem set when it cannot be taken. */
    virtual bool take(const OMX_BUFFERHEADERTYPE &header, const OMX_PARAM_PORTDEFINITIONTYPE &output,
                      const OMX_CONFIG_RECTTYPE &crop, std::string *problem) = 0;
};

/* Set through SetConfig just before the input picture `at_frame` (from 0) is sent. */
struct zvx_flow_encoder_change {
    enum class what : uint8_t { key_frame, bitrate };
    what change;
    uint32_t at_frame;
    uint32_t bitrate = 0; /* bits per second, for a bitrate change */
};

#endif
