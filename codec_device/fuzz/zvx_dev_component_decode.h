#ifndef ZVX_DEV_COMPONENT_DECODE_H
#define ZVX_DEV_COMPONENT_DECODE_H

/* A decode through the component's handle as a client runs one: the role, Idle, Executing, the bytes
 * cut into input buffers and an end of stream, every output given back and a new output setting
 * answered by disabling, reallocating and enabling the port; then Idle and Loaded with every buffer
 * freed. The devices must be running. */

#include <OMX_Component.h>

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct zvx_dev_component_decode {
    bool reached_executing = false;
    bool ended = false;   /* an output carried EOS */
    bool stopped = false; /* back in Loaded with every buffer freed */
    uint32_t pictures = 0;
    OMX_PARAM_PORTDEFINITIONTYPE output{}; /* the output port as the client read it at the end */
    std::vector<std::string> problems;
};

/* Buffers of at most `piece` bytes, each with `flags`; the last one adds OMX_BUFFERFLAG_EOS. */
zvx_dev_component_decode zvx_dev_decode_through_component(const std::string &codec, std::span<const uint8_t> bytes,
                                                          size_t piece, OMX_U32 flags, std::chrono::milliseconds limit);

#endif
