#include <pthread.h>

#include "zvx_log.h"

namespace {
// Plain zero-initialised records: usable by load-time constructors in any order.
struct zvx_log log_instance;
struct zvx_log_drain zvx_log_drain_printf;
struct zvx_log_drain zvx_log_drain_alog;
struct zvx_log_drain_file zvx_log_drain_ram0;
pthread_once_t log_once = PTHREAD_ONCE_INIT;

void log_init()
{
    zvx_log_construct(&log_instance);
    zvx_log_drain_printf_construct(&zvx_log_drain_printf);
    zvx_log_drain_add(&log_instance, "printf", &zvx_log_drain_printf);
    zvx_log_drain_alog_construct(&zvx_log_drain_alog);
    zvx_log_drain_add(&log_instance, "alog", &zvx_log_drain_alog);
    zvx_log_drain_file_construct(&zvx_log_drain_ram0, ZVX_LOG_RAM0_PATH);
    zvx_log_drain_add(&log_instance, "ram0", &zvx_log_drain_ram0.base);
}
} // namespace

struct zvx_log *zvx_log_get_instance(void)
{
    pthread_once(&log_once, log_init);
    return &log_instance;
}
