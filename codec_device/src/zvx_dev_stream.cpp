#include "zvx_dev_stream.h"

#include <algorithm>

namespace zvx_dev {

namespace {

constexpr uint32_t ZVXP_MACROBLOCK = 16;

uint32_t zvxp_align(uint32_t value)
{
    return (value + ZVXP_MACROBLOCK - 1) / ZVXP_MACROBLOCK * ZVXP_MACROBLOCK;
}

} // namespace

Geometry allocation_geometry(const Geometry &picture)
{
    return {zvxp_align(picture.width), zvxp_align(picture.height)};
}

void Stream::set_reorder_depth(uint32_t depth)
{
    reorder_depth_ = depth;
    release_window(reorder_depth_);
}

void Stream::add_picture(const Picture &picture, zvx_dev_report report_if_new)
{
    if (geometry_ != picture.geometry) {
        release_window(0);
        Announcement announcement;
        announcement.geometry = picture.geometry;
        announcement.report = report_if_new;
        announcement.frame = allocation_geometry(picture.geometry);
        ready_.emplace_back(announcement);
        geometry_ = picture.geometry;
    }
    window_.push_back(picture);
    release_window(reorder_depth_);
}

void Stream::end_stream(uint64_t timestamp, bool ended_with_picture)
{
    release_window(0);
    if (ended_with_picture) {
        auto last = std::find_if(ready_.rbegin(), ready_.rend(),
                                 [](const StreamItem &item) { return std::holds_alternative<Picture>(item); });
        if (last != ready_.rend()) {
            std::get<Picture>(*last).eos = true;
            return;
        }
    }
    Picture end;
    end.timestamp = timestamp;
    end.geometry = geometry_.value_or(Geometry{});
    end.eos = true;
    end.empty = true;
    ready_.emplace_back(end);
}

StreamItem *Stream::front()
{
    return ready_.empty() ? nullptr : &ready_.front();
}

void Stream::pop_front()
{
    if (!ready_.empty())
        ready_.pop_front();
}

size_t Stream::pictures_in_flight() const
{
    const auto ready_pictures = std::count_if(
        ready_.begin(), ready_.end(), [](const StreamItem &item) { return std::holds_alternative<Picture>(item); });
    return window_.size() + static_cast<size_t>(ready_pictures);
}

void Stream::discard_pictures()
{
    window_.clear();
    std::erase_if(ready_, [](const StreamItem &item) { return std::holds_alternative<Picture>(item); });
}

/* Earliest timestamps leave first, until `keep` pictures remain. */
void Stream::release_window(size_t keep)
{
    while (window_.size() > keep) {
        auto earliest = std::min_element(window_.begin(), window_.end(),
                                         [](const Picture &a, const Picture &b) { return a.timestamp < b.timestamp; });
        ready_.emplace_back(*earliest);
        window_.erase(earliest);
    }
}

} // namespace zvx_dev
