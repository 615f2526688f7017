#ifndef ZVX_DEV_EVENT_QUEUE_H
#define ZVX_DEV_EVENT_QUEUE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "zvx_session_interface.h"

namespace zvx_dev {

struct EventFree {
    void operator()(zvx_base_event_header *event) const;
};
using EventPtr = std::unique_ptr<zvx_base_event_header, EventFree>;

/* Header and payload in one zvx_mem_malloc block, as the host frees it; null when memory runs out. */
EventPtr make_event(uint16_t code, const void *payload, uint16_t size);

/* Events waiting for the host, and the descriptor that is readable while there are any. The queue has a
 * lock of its own, so that the host takes an event without waiting for the device's lock, which the
 * worker takes again as soon as it has published. A push makes the descriptor readable only at
 * publish(), which the worker calls once it has dropped the device's lock, and which writes it outside
 * the queue's lock too. The last event taken makes it unreadable again. */
class EventQueue {
public:
    EventQueue() = default;
    EventQueue(const EventQueue &) = delete;
    EventQueue &operator=(const EventQueue &) = delete;
    ~EventQueue();

    /* False when the descriptor cannot be made. */
    bool open();
    void close();
    int descriptor() const { return fd_; }

    void push(EventPtr event);
    /* Makes the descriptor readable if events wait. */
    void publish();
    /* Null when empty. */
    EventPtr pop();
    size_t size() const;
    /* Frees every waiting event; returns how many there were. */
    size_t discard_all();

private:
    /* mutex_ held. */
    void clear_readable();

    int fd_ = -1;                 /* set by open() before the worker starts; closed under mutex_ once it ends */
    mutable std::mutex mutex_;    /* guards the fields below, and orders the descriptor's writes and reads */
    std::deque<EventPtr> events_; /* mutex_ */
    bool readable_ = false;       /* mutex_: the descriptor is written, or publish() is about to write it */
};

} // namespace zvx_dev

#endif
