#ifndef ZVX_OMX_CONFIG_H
#define ZVX_OMX_CONFIG_H

/*
 * Settings stores: a map from (index, sub-index) to a heap copy of an OpenMAX record, one per port and
 * one for the component as a whole, filled with the defaults a port has before the client touches it.
 * Builders stop at the first failing insert and return its error; what was inserted stays.
 */

#include <OMX_Core.h>
#include <OMX_Types.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "zvx_util_map.h"

/* Every component has a video input port (0) and a video output port (1). */
#define ZVX_OMX_PORT_COUNT 2

typedef enum zvx_omx_component_type_t {
    ZVX_OMX_DECODER = 0,
    ZVX_OMX_ENCODER = 1,
} zvx_omx_component_type_t;

typedef struct zvx_omx_config_key {
    uint32_t index;       /* OMX_INDEXTYPE or an extension index */
    uint32_t array_index; /* 0 except for enumerated records */
} zvx_omx_config_key;

OMX_ERRORTYPE zvx_omx_config_construct(struct zvx_map *map);
void zvx_omx_config_destruct(struct zvx_map *map);
/* Stores a copy of size bytes of data, replacing any record under the same key. */
OMX_ERRORTYPE zvx_omx_config_insert(struct zvx_map *map, uint32_t index, uint32_t array_index, const void *data,
                                    size_t size);
void *zvx_omx_config_find(struct zvx_map *map, uint32_t index, uint32_t array_index);

/* Stamps nSize and version 1.1.2.0 on a record the caller is about to store. */
void zvx_omx_config_init_header(void *record, OMX_U32 size);

/* A record as the store keeps it and as a client fills it before a get or set: zeroed (padding too),
 * its header stamped and, where it has one, its port index set. */
template <typename T> T zvx_omx_stamped_record(OMX_U32 port = 0)
{
    T record;
    memset(&record, 0, sizeof(record));
    zvx_omx_config_init_header(&record, sizeof(record));
    if constexpr (requires { record.nPortIndex; })
        record.nPortIndex = port;
    return record;
}

OMX_ERRORTYPE zvx_omx_config_bitstream_port(struct zvx_map *map, OMX_U32 port);
OMX_ERRORTYPE zvx_omx_config_frame_port(struct zvx_map *map, OMX_U32 direction, bool is_encoder);
OMX_ERRORTYPE zvx_omx_config_common(struct zvx_map *map, OMX_U32 port);
OMX_ERRORTYPE zvx_omx_config_decoder_input(struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_config_decoder_output(struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_config_encoder_input(struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_config_encoder_output(struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_config_decoder(struct zvx_map *input_map, struct zvx_map *output_map);
OMX_ERRORTYPE zvx_omx_config_encoder(struct zvx_map *input_map, struct zvx_map *output_map);

/* Per-codec records of a port; type is a zvx_omx_component_type_t. */
OMX_ERRORTYPE zvx_omx_port_avc_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_h263_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_hevc_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_jpeg_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_mpeg2_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_mpeg4_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_rv_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_vc1_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_vp8_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);
OMX_ERRORTYPE zvx_omx_port_vp9_config(uint32_t type, OMX_U32 port_index, struct zvx_map *map);

/* Rewrites the frame port's format list for JPEG: only planar and semi-planar YUV remain. */
OMX_ERRORTYPE zvx_omx_frame_port_jpeg_config(struct zvx_map *map);

/* Builds the component-wide store of a component of this type: port counts and the standard role. */
OMX_ERRORTYPE zvx_omx_clone_default_settings(struct zvx_map *map, zvx_omx_component_type_t type);

#endif
