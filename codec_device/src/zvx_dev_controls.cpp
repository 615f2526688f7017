// The devices' own controls: process-wide start and stop, scripts, faults and observation.
#include "zvx_dev_registry.h"
#include "zvx_codec_device.h"

using zvx_dev::Registry;

void zvx_init_emulator(void)
{
    Registry::instance().start();
}

void zvx_destroy_emulator(void)
{
    Registry::instance().stop();
}

void zvx_dev_set_default_script(const zvx_dev_script &script)
{
    Registry::instance().set_default_script(script);
}

bool zvx_dev_set_script(int fd, const zvx_dev_script &script)
{
    const auto device = Registry::instance().find(fd);
    if (device == nullptr)
        return false;
    device->set_script(script);
    return true;
}

bool zvx_dev_inject_fault(int fd, const zvx_dev_fault &fault)
{
    const auto device = Registry::instance().find(fd);
    return device != nullptr && device->inject_fault(fault);
}

std::vector<int> zvx_dev_open_devices(void)
{
    return Registry::instance().descriptors();
}

bool zvx_dev_get_stats(int fd, zvx_dev_stats *stats)
{
    const auto device = Registry::instance().find(fd);
    if (device == nullptr || stats == nullptr)
        return false;
    *stats = device->stats();
    return true;
}

zvx_dev_totals zvx_dev_get_totals(void)
{
    return Registry::instance().totals().snapshot();
}
