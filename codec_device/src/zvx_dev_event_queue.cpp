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
    waiting_.store(events_.size());
}

/* The count is read under descriptor_mutex_: a pop that empties the queue meanwhile clears what this
 * writes, or finds nothing to clear and this then finds nothing waiting. */
void EventQueue::publish()
{
    const std::lock_guard guard(descriptor_mutex_);
    if (fd_ == -1 || readable_ || waiting_.load() == 0)
        return;
    eventfd_write(fd_, 1);
    readable_ = true;
}

EventPtr EventQueue::pop()
{
    if (events_.empty())
        return nullptr;
    EventPtr event = std::move(events_.front());
    events_.pop_front();
    waiting_.store(events_.size());
    if (events_.empty())
        clear_readable();
    return event;
}

size_t EventQueue::discard_all()
{
    const size_t count = events_.size();
    events_.clear();
    waiting_.store(0);
    clear_readable();
    return count;
}

void EventQueue::clear_readable()
{
    const std::lock_guard guard(descriptor_mutex_);
    if (fd_ == -1 || !readable_)
        return;
    eventfd_t value;
    eventfd_read(fd_, &value);
    readable_ = false;
}

} // namespace zvx_dev
