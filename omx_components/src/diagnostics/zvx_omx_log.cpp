#include "zvx_omx_log.h"

#include <cstdlib>

// Every component source logs through this group, so referencing it pulls this object, and the
// constructor below, out of the static library.
struct zvx_log_group zvx_log_omx_if;

__attribute__((constructor)) void zvx_omx_log_init(void)
{
    struct zvx_log *log = zvx_log_get_instance();
    auto *alog = static_cast<struct zvx_log_drain *>(zvx_map_find(&log->drain, "alog"));
    zvx_log_group_construct(&zvx_log_omx_if, "ZVX_OMX_IF", ZVX_LOG_WARNING, alog);
    zvx_log_group_add(log, "omx_if", &zvx_log_omx_if);
    zvx_log_configure(log, getenv("ZVX_LOG_CONFIGURE"));
}

__attribute__((destructor)) void zvx_omx_log_destroy(void)
{
    zvx_log_group_destruct(&zvx_log_omx_if);
}
