#include "zvx_dev_registry.h"

#include <algorithm>

namespace zvx_dev {

Registry &Registry::instance()
{
    static Registry registry;
    return registry;
}

void Registry::start()
{
    std::lock_guard guard(mutex_);
    if (running_)
        return;
    running_ = true;
    default_script_ = zvx_dev_script{};
    totals_.reset();
}

void Registry::stop()
{
    std::map<int, std::shared_ptr<Device>> closing;
    {
        std::lock_guard guard(mutex_);
        running_ = false;
        closing.swap(devices_);
        opening_order_.clear();
    }
    for (auto &[fd, device] : closing) {
        device->close();
        ++totals_.devices_closed;
    }
    decoders_ahead_.stop();
}

int Registry::open_device()
{
    int fd = -1;
    {
        std::lock_guard guard(mutex_);
        if (!running_ || default_script_.fail_open)
            return -1;
        auto device = std::make_shared<Device>(default_script_, totals_, decoders_ahead_);
        if (!device->open())
            return -1;
        fd = device->descriptor();
        devices_[fd] = std::move(device);
        opening_order_.push_back(fd);
        ++totals_.devices_opened;
    }
    decoders_ahead_.prepare();
    return fd;
}

void Registry::close_device(int fd)
{
    std::shared_ptr<Device> device;
    {
        std::lock_guard guard(mutex_);
        const auto found = devices_.find(fd);
        if (found == devices_.end())
            return;
        device = std::move(found->second);
        devices_.erase(found);
        std::erase(opening_order_, fd);
    }
    device->close();
    ++totals_.devices_closed;
}

std::shared_ptr<Device> Registry::find(int fd)
{
    std::lock_guard guard(mutex_);
    const auto found = devices_.find(fd);
    return found == devices_.end() ? nullptr : found->second;
}

std::vector<int> Registry::descriptors()
{
    std::lock_guard guard(mutex_);
    return opening_order_;
}

void Registry::set_default_script(const zvx_dev_script &script)
{
    std::lock_guard guard(mutex_);
    default_script_ = script;
}

} // namespace zvx_dev
