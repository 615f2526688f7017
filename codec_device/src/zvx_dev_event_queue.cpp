#include "zvx_dev_event_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstring>

#include "zvx_mem.h"

namespace zvx_dev {

void EventFree::operator()(zvx_base_event_header *event) const
{
    zvx_mem_free(event);
}

EventPtr make_event(uint16_t code, const void *payload, uint16_t size)
{
    auto *event = static_cast<zvx_base_event_header *>(zvx_mem_malloc(sizeof(zvx_base_event_header) + size));
    if (event == nullptr)
        return nullptr;
    event->code = code;
    event->size = size;
    if (size > 0)
        std::memcpy(event->data, payload, size);
    return EventPtr(event);
}

EventQueue::~EventQueue()
{
    close();
}

bool EventQueue::open()
{
    fd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return fd_ != -1;
}

void EventQueue::close()
{
    discard_all();
    if (fd_ != -1) {
        ::close(fd_);
        fd_ = -1;
    }
}

void EventQueue::push(EventPtr event)
{
    if (event == nullptr)
        return;
    events_.push_back(std::move(event));
    if (events_.size() == 1)
        set_readable(true);
}

EventPtr EventQueue::pop()
{
    if (events_.empty())
        return nullptr;
    EventPtr event = std::move(events_.front());
    events_.pop_front();
    if (events_.empty())
        set_readable(false);
    return event;
}

size_t EventQueue::discard_all()
{
    const size_t count = events_.size();
    events_.clear();
    if (count > 0)
        set_readable(false);
    return count;
}

/* The counter is non-zero exactly while events wait: one write on the first, one read on the last. */
// NOLINTNEXTLINE(readability-make-member-function-const): it changes what the queue's descriptor reports
void EventQueue::set_readable(bool readable)
{
    if (fd_ == -1)
        return;
    eventfd_t value = 1;
    if (readable)
        eventfd_write(fd_, value);
    else
        eventfd_read(fd_, &value);
}

} // namespace zvx_dev
