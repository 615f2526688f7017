// The core's reference count, its handles and the session side's lifetime, under one lock. Components
// are made and destroyed outside the lock, so one client's slow teardown (a command thread to join)
// never holds up another client's calls.
#include "zvx_omx_core_registry.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <mutex>

#include "zvx_mem.h"
#include "zvx_omx_core_session_side.h"
#include "zvx_util_map.h"

namespace {

/* What the core keeps for each handle it gives out. */
struct zvxp_instance {
    struct zvx_omx_component handle;
    const zvx_omx_core_kind *kind;
    void *record;
};

std::mutex zvxp_lock;
unsigned int zvxp_init_count;                                       /* zvxp_lock */
unsigned int zvxp_live_handles;                                     /* zvxp_lock; given out, or being made or unmade */
bool zvxp_session_side_up;                                          /* zvxp_lock */
struct zvx_map zvxp_handles;                                        /* zvxp_lock; handle -> zvxp_instance */
zvx_omx_core_role_list zvxp_enabled_roles[ZVX_OMX_CORE_KIND_COUNT]; /* zvxp_lock */

size_t zvxp_kind_index(const zvx_omx_core_kind *kind)
{
    return static_cast<size_t>(kind - zvx_omx_core_kinds().data());
}

/* With zvxp_lock held. A handle table that cannot be allocated now is allocated by the first insert. */
void zvxp_bring_up_session_side()
{
    zvx_omx_core_session_side_up();
    zvx_map_construct(&zvxp_handles, zvx_map_int_hash, zvx_map_int_equal, nullptr, nullptr);
    for (const zvx_omx_core_kind &kind : zvx_omx_core_kinds()) {
        zvx_omx_core_role_list &list = zvxp_enabled_roles[zvxp_kind_index(&kind)];
        int count = 0;
        const char **roles = kind.enabled_roles(&count);
        list.count = std::clamp(count, 0, static_cast<int>(std::size(list.roles)));
        std::copy_n(roles, list.count, list.roles);
    }
    zvxp_session_side_up = true;
}

/* With zvxp_lock held. */
void zvxp_take_down_session_side_when_unused()
{
    if (!zvxp_session_side_up || zvxp_init_count > 0 || zvxp_live_handles > 0)
        return;
    zvx_map_destruct(&zvxp_handles);
    zvx_omx_core_session_side_down();
    zvxp_session_side_up = false;
}

void zvxp_release_handle_slot()
{
    std::lock_guard guard(zvxp_lock);
    --zvxp_live_handles;
    zvxp_take_down_session_side_when_unused();
}

void zvxp_free_instance(zvxp_instance *instance)
{
    instance->kind->destroy(instance->record);
    zvx_mem_free(instance->record);
    zvx_mem_free(instance);
}

bool zvxp_publish(zvxp_instance *instance)
{
    std::lock_guard guard(zvxp_lock);
    return zvx_map_insert(&zvxp_handles, &instance->handle, instance);
}

} // namespace

OMX_ERRORTYPE zvx_omx_core_init(void)
{
    std::lock_guard guard(zvxp_lock);
    if (zvxp_init_count == UINT_MAX)
        return OMX_ErrorInsufficientResources;
    if (!zvxp_session_side_up)
        zvxp_bring_up_session_side();
    ++zvxp_init_count;
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_core_deinit(void)
{
    std::lock_guard guard(zvxp_lock);
    if (zvxp_init_count == 0)
        return OMX_ErrorNotReady;
    --zvxp_init_count;
    zvxp_take_down_session_side_when_unused();
    return OMX_ErrorNone;
}

bool zvx_omx_core_initialised(void)
{
    std::lock_guard guard(zvxp_lock);
    return zvxp_init_count > 0;
}

bool zvx_omx_core_enabled_roles(const zvx_omx_core_kind *kind, zvx_omx_core_role_list *list)
{
    std::lock_guard guard(zvxp_lock);
    if (zvxp_init_count == 0)
        return false;
    *list = zvxp_enabled_roles[zvxp_kind_index(kind)];
    return true;
}

OMX_ERRORTYPE zvx_omx_core_make_handle(const zvx_omx_core_kind *kind, OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks,
                                       OMX_HANDLETYPE *handle)
{
    {
        std::lock_guard guard(zvxp_lock);
        if (zvxp_init_count == 0)
            return OMX_ErrorNotReady;
        /* Keeps the session side up while the component is made outside the lock. */
        ++zvxp_live_handles;
    }
    auto *instance = static_cast<zvxp_instance *>(zvx_mem_calloc(1, sizeof(zvxp_instance)));
    void *record = zvx_mem_calloc(1, kind->record_size);
    if (instance == nullptr || record == nullptr) {
        zvx_mem_free(record);
        zvx_mem_free(instance);
        zvxp_release_handle_slot();
        return OMX_ErrorInsufficientResources;
    }
    instance->kind = kind;
    instance->record = record;
    OMX_ERRORTYPE error = kind->init(&instance->handle, record, app_data, callbacks);
    if (error == OMX_ErrorNone && !zvxp_publish(instance))
        error = OMX_ErrorInsufficientResources;
    if (error != OMX_ErrorNone) {
        zvxp_free_instance(instance);
        zvxp_release_handle_slot();
        return error;
    }
    *handle = &instance->handle;
    return OMX_ErrorNone;
}

OMX_ERRORTYPE zvx_omx_core_free_handle(OMX_HANDLETYPE handle)
{
    zvxp_instance *instance;
    {
        std::lock_guard guard(zvxp_lock);
        instance = static_cast<zvxp_instance *>(zvx_map_find(&zvxp_handles, handle));
        if (instance == nullptr)
            return OMX_ErrorInvalidComponent;
        /* From here on a second free of this handle, from any thread, is refused. */
        zvx_map_erase(&zvxp_handles, handle);
    }
    zvxp_free_instance(instance);
    zvxp_release_handle_slot();
    return OMX_ErrorNone;
}
