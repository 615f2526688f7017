#ifndef ZVX_DEV_STREAM_H
#define ZVX_DEV_STREAM_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <variant>
#include <vector>

#include "zvx_codec_device.h"

namespace zvx_dev {

struct Geometry {
    uint32_t width = 0;
    uint32_t height = 0;
    bool operator==(const Geometry &) const = default;
};

/* Frame memory is allocated in whole macroblocks. */
Geometry allocation_geometry(const Geometry &picture);

/* The stream's colours as ITU-T H.273 code points; range 0 unknown, 1 limited, 2 full. */
struct ColourDescription {
    uint8_t range = 0;
    uint8_t primaries = 2;
    uint8_t transfer = 2;
    uint8_t matrix = 2;
    bool operator==(const ColourDescription &) const = default;
};

struct Picture {
    uint32_t number = 0; /* position among the session's input pictures, from 0 */
    uint64_t timestamp = 0;
    Geometry geometry;
    bool key = false;
    bool eos = false;
    bool empty = false;        /* an end of stream that carried no picture */
    bool codec_config = false; /* encode: the stream's configuration, ahead of its first picture */
    uint32_t bytes_sent = 0;   /* encode: bitstream bytes already written to earlier buffers */
};

/* The host must hear of a new resolution before the first picture that has it. */
struct Announcement {
    Geometry geometry; /* the visible picture */
    zvx_dev_report report = zvx_dev_report::sequence_params;
    Geometry frame; /* the memory one frame takes, at least the visible picture */
    uint8_t bit_depth = 8;
    uint32_t buffers_needed = 0; /* frames the codec holds at once; 0: as many as the script says */
    std::optional<ColourDescription> colour;
};

using StreamItem = std::variant<Announcement, Picture>;

/* The pattern engine's pipeline from consumed input to output order: pictures of one resolution sit
 * in a reorder window and leave it in timestamp order; a new resolution first drains the window.
 * Not locked: its device's lock guards it. */
class Stream {
public:
    void set_reorder_depth(uint32_t depth);

    void add_picture(const Picture &picture, zvx_dev_report report_if_new);
    /* Drains every picture; the last one (or an empty one with this timestamp) carries EOS. */
    void end_stream(uint64_t timestamp, bool ended_with_picture);

    /* Next item in output order, null when nothing is ready. */
    StreamItem *front();
    void pop_front();
    size_t pictures_in_flight() const;
    /* Drops the pictures; announcements stay, the host still has to hear of them. */
    void discard_pictures();

private:
    void release_window(size_t keep);

    uint32_t reorder_depth_ = 0;
    std::optional<Geometry> geometry_;
    std::vector<Picture> window_;
    std::deque<StreamItem> ready_;
};

} // namespace zvx_dev

#endif
