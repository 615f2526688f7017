#ifndef ZVX_DEV_PATTERN_ENGINE_H
#define ZVX_DEV_PATTERN_ENGINE_H

#include "zvx_dev_engine.h"

namespace zvx_dev {

/* A codec of the pattern in zvx_dev_picture.h: every input with data is one picture, of the size the
 * script (or the host's input port) gives and in the order of its reorder window; what it writes is
 * known to the byte in advance. */
class PatternEngine final : public Engine {
public:
    explicit PatternEngine(const EngineSetting &setting);

    void consume(const EngineInput &input) override;
    StreamItem *front() override { return stream_.front(); }
    void pop_front() override { stream_.pop_front(); }
    size_t pictures_in_flight() const override { return stream_.pictures_in_flight(); }
    void flush() override { stream_.discard_pictures(); }
    std::optional<WrittenPicture> write_picture(const Picture &picture, const PictureTarget &target) override;
    uint32_t bitstream_length(const Picture &picture) const override;
    void write_bitstream(const Picture &picture, uint32_t position, std::span<uint8_t> memory) const override;
    void script_changed() override;

private:
    void step(zvx_dev_engine_step where, uint32_t picture) const;
    Geometry geometry_of_next_picture(uint32_t number, zvx_dev_report *report);

    EngineSetting setting_;
    Stream stream_;
    Geometry decode_geometry_;
    bool started_ = false; /* a picture has been consumed */
};

} // namespace zvx_dev

#endif
