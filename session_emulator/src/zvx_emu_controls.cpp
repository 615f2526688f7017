// The emulator's own controls: process-wide start and stop, scripts, faults and observation.
#include "zvx_emu_registry.h"
#include "zvx_session_emulator.h"

using zvx_emu::Registry;

void zvx_init_emulator(void)
{
    Registry::instance().start();
}

void zvx_destroy_emulator(void)
{
    Registry::instance().stop();
}

void zvx_emu_set_default_script(const zvx_emu_script &script)
{
    Registry::instance().set_default_script(script);
}

bool zvx_emu_set_script(int fd, const zvx_emu_script &script)
{
    const auto device = Registry::instance().find(fd);
    if (device == nullptr)
        return false;
    device->set_script(script);
    return true;
}

bool zvx_emu_inject_fault(int fd, const zvx_emu_fault &fault)
{
    const auto device = Registry::instance().find(fd);
    return device != nullptr && device->inject_fault(fault);
}

std::vector<int> zvx_emu_open_devices(void)
{
    return Registry::instance().descriptors();
}

bool zvx_emu_get_stats(int fd, zvx_emu_stats *stats)
{
    const auto device = Registry::instance().find(fd);
    if (device == nullptr || stats == nullptr)
        return false;
    *stats = device->stats();
    return true;
}

zvx_emu_totals zvx_emu_get_totals(void)
{
    return Registry::instance().totals().snapshot();
}
