#include "zvx_dev_event_queue.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
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
    const std::lock_guard guard(mutex_);
    if (fd_ != -1) {
        ::close(fd_);
        fd_ = -1;
    }
}

void EventQueue::push(EventPtr event)
{
    if (event == nullptr)
        return;
    const std::lock_guard guard(mutex_);
    events_.push_back(std::move(event));
}

/* The descriptor is written after the lock is dropped: the host it wakes would otherwise preempt the
 * worker, on a shared CPU, only to wait for the lock the worker still holds. */
void EventQueue::publish()
{
    int fd;
    {
        const std::lock_guard guard(mutex_);
        if (fd_ == -1 || readable_ || events_.empty())
            return;
        readable_ = true;
        fd = fd_;
    }
    eventfd_write(fd, 1);
}

EventPtr EventQueue::pop()
{
    const std::lock_guard guard(mutex_);
    if (events_.empty())
        return nullptr;
    EventPtr event = std::move(events_.front());
    events_.pop_front();
    if (events_.empty())
        clear_readable();
    return event;
}

size_t EventQueue::size() const
{
    const std::lock_guard guard(mutex_);
    return events_.size();
}

size_t EventQueue::discard_all()
{
    const std::lock_guard guard(mutex_);
    const size_t count = events_.size();
    events_.clear();
    clear_readable();
    return count;
}

/* A publish that has marked the queue readable may not have written the descriptor yet. Its write is
 * waited for, so that it cannot land after this read and wake the host to an empty queue; the worker
 * takes no lock between the two. */
void EventQueue::clear_readable()
{
    if (fd_ == -1 || !readable_)
        return;
    eventfd_t value;
    while (eventfd_read(fd_, &value) != 0) {
        if (errno != EAGAIN && errno != EINTR)
            break;
        struct pollfd written = {fd_, POLLIN, 0};
        poll(&written, 1, -1);
    }
    readable_ = false;
}

} // namespace zvx_dev
