#ifndef ZVX_DEV_TOTALS_H
#define ZVX_DEV_TOTALS_H

#include <atomic>
#include <cstdint>

#include "zvx_codec_device.h"

namespace zvx_dev {

/* Process-wide counts; every device adds to them from its own threads. */
struct Totals {
    std::atomic<uint64_t> devices_opened{0};
    std::atomic<uint64_t> devices_closed{0};
    std::atomic<uint64_t> sessions_created{0};
    std::atomic<uint64_t> sessions_destroyed{0};
    std::array<std::atomic<uint64_t>, ZVX_DEV_EVENT_CODES> events_sent{};
    std::atomic<uint64_t> events_discarded{0};
    std::atomic<uint64_t> buffers_dropped{0};
    std::atomic<uint64_t> buffers_left_registered{0};

    void reset();
    zvx_dev_totals snapshot() const;
};

} // namespace zvx_dev

#endif
