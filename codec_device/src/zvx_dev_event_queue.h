#ifndef ZVX_DEV_EVENT_QUEUE_H
#define ZVX_DEV_EVENT_QUEUE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "zvx_session_interface.h"

namespace zvx_dev {

struct EventFree {
    void operator()(zvx_base_event_header *event) const;
};
using EventPtr = std::unique_ptr<zvx_base_event_header, EventFree>;

/* Header and payload in one zvx_mem_malloc block, as the host frees it; null when memory runs out. */
EventPtr make_event(uint16_t code, const void *payload, uint16_t size);

/* Events waiting for the host, and the descriptor that is readable exactly while there are any.
 * Not locked: its device's lock guards it. */
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
    /* Null when empty. */
    EventPtr pop();
    size_t size() const { return events_.size(); }
    /* Frees every waiting event; returns how many there were. */
    size_t discard_all();

private:
    void set_readable(bool readable);

    int fd_ = -1;
    std::deque<EventPtr> events_;
};

} // namespace zvx_dev

#endif
