#include <pthread.h>

#include "zvx_log.h"

namespace {
// Plain zero-initialised records: usable by load-time constructors in any order.
struct zvx_log log_instance;
struct zvx_log_drain zvx_log_drain_printf;
struct zvx_log_drain zvx_log_drain_alog;
struct zvx_log_drain_file zvx_log_drain_ram0;
pthread_once_t log_once = PTHREAD_ONCE_INIT;
bool log_constructed; // written once under log_once; read by the unload destructor

void log_init()
{
    zvx_log_construct(&log_instance);
    zvx_log_drain_printf_construct(&zvx_log_drain_printf);
    zvx_log_drain_add(&log_instance, "printf", &zvx_log_drain_printf);
    zvx_log_drain_alog_construct(&zvx_log_drain_alog);
    zvx_log_drain_add(&log_instance, "alog", &zvx_log_drain_alog);
    zvx_log_drain_file_construct(&zvx_log_drain_ram0, ZVX_LOG_RAM0_PATH);
    zvx_log_drain_add(&log_instance, "ram0", &zvx_log_drain_ram0.base);
    log_constructed = true;
}

// A library holding the log can be unloaded and loaded again (an OpenMAX core is, by its clients), so
// the instance goes with the image. The lowest priority runs it after the image's other destructors,
// which may still log or drop their groups.
__attribute__((destructor(101))) void log_release()
{
    if (!log_constructed)
        return;
    zvx_log_destruct(&log_instance);
    zvx_log_drain_file_destruct(&zvx_log_drain_ram0);
    zvx_log_drain_alog_destruct(&zvx_log_drain_alog);
    zvx_log_drain_printf_destruct(&zvx_log_drain_printf);
}
} // namespace

struct zvx_log *zvx_log_get_instance(void)
{
    pthread_once(&log_once, log_init);
    return &log_instance;
}
