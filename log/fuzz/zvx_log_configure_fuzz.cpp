// Fuzzes the ZVX_LOG_CONFIGURE parser: the input is the configuration string, applied to a log with
// the three drains and one group registered as at start-up. Whatever it says, the group must end
// with a known severity and one of the registered drains.
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "zvx_log.h"

namespace {
struct zvx_log_drain printf_drain;
struct zvx_log_drain alog_drain;
struct zvx_log_drain_file ram0_drain;
} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    zvx_log_drain_printf_construct(&printf_drain);
    zvx_log_drain_alog_construct(&alog_drain);
    zvx_log_drain_file_construct(&ram0_drain, "/nonexistent/zvx/ram0");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    struct zvx_log log;
    zvx_log_construct(&log);
    zvx_log_drain_add(&log, "printf", &printf_drain);
    zvx_log_drain_add(&log, "alog", &alog_drain);
    zvx_log_drain_add(&log, "ram0", &ram0_drain.base);
    struct zvx_log_group group;
    zvx_log_group_construct(&group, "ZVX_OMX_IF", ZVX_LOG_WARNING, &alog_drain);
    zvx_log_group_add(&log, "omx_if", &group);
    zvx_log_configure(&log, text.c_str());
    const bool known_drain =
        group.drain == &printf_drain || group.drain == &alog_drain || group.drain == &ram0_drain.base;
    if (group.severity > ZVX_LOG_VERBOSE || !known_drain) {
        abort();
    }
    zvx_log_destruct(&log);
    return 0;
}
