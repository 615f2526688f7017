#include "zvx_dev_totals.h"

namespace zvx_dev {

void Totals::reset()
{
    devices_opened = 0;
    devices_closed = 0;
    sessions_created = 0;
    sessions_destroyed = 0;
    for (auto &count : events_sent)
        count = 0;
    events_discarded = 0;
    buffers_dropped = 0;
    buffers_left_registered = 0;
}

zvx_dev_totals Totals::snapshot() const
{
    zvx_dev_totals totals{};
    totals.devices_opened = devices_opened;
    totals.devices_closed = devices_closed;
    totals.sessions_created = sessions_created;
    totals.sessions_destroyed = sessions_destroyed;
    for (size_t code = 0; code < events_sent.size(); ++code)
        totals.events_sent[code] = events_sent[code];
    totals.events_discarded = events_discarded;
    totals.buffers_dropped = buffers_dropped;
    totals.buffers_left_registered = buffers_left_registered;
    return totals;
}

} // namespace zvx_dev
