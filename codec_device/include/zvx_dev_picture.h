#ifndef ZVX_DEV_PICTURE_H
#define ZVX_DEV_PICTURE_H

/*
 * What the pattern engine writes into output buffers, so that a test can check every byte: a
 * decoded picture is a pattern of frame number, plane and position laid out by colour format,
 * stride and slice height; an encoded picture is a run of the same pattern in plane 0, row 0.
 */

#include <cstddef>
#include <cstdint>

struct zvx_dev_plane {
    uint32_t offset;    /* first byte of the plane in the buffer */
    uint32_t row_bytes; /* bytes of picture in one row */
    uint32_t rows;
    uint32_t stride; /* bytes from one row to the next */
};

struct zvx_dev_picture_layout {
    zvx_dev_plane planes[3];
    uint32_t plane_count;
    uint32_t total_bytes; /* what the picture occupies, padding rows included: the filled length */
};

/* color_format is an OMX_COLOR_FORMATTYPE value as the 1.2 port definition carries it; unknown
 * formats are laid out as 4:2:0 planar. A stride or slice height smaller than the picture is raised
 * to it. */
zvx_dev_picture_layout zvx_dev_layout_picture(uint32_t color_format, uint32_t width, uint32_t height, uint32_t stride,
                                              uint32_t slice_height);

/* Bytes a picture becomes when encoded; key pictures are larger. */
uint32_t zvx_dev_bitstream_length(uint32_t width, uint32_t height, bool key);

uint8_t zvx_dev_pattern_byte(uint32_t frame, uint32_t plane, uint32_t row, uint32_t column);

/* Writes the picture's rows; bytes between rows (stride padding) are left as they were. */
void zvx_dev_write_picture(uint8_t *buffer, const zvx_dev_picture_layout &layout, uint32_t frame);
/* Writes length bytes of frame's bitstream starting at its byte `position`. */
void zvx_dev_write_bitstream(uint8_t *buffer, uint32_t position, uint32_t length, uint32_t frame);

bool zvx_dev_picture_matches(const uint8_t *buffer, size_t filled, const zvx_dev_picture_layout &layout,
                             uint32_t frame);
bool zvx_dev_bitstream_matches(const uint8_t *buffer, uint32_t position, uint32_t length, uint32_t frame);

#endif
