// The standard OpenMAX core entry points: argument checks, the enumerations, and handles through the
// registry. Tunnelling is not supported.
#include <OMX_Core.h>

#include <cstring>

#include "zvx_omx_core_catalogue.h"
#include "zvx_omx_core_registry.h"
#include "zvx_omx_log.h"

namespace {

/* Names and roles are NUL-terminated within OMX_MAX_STRINGNAME_SIZE bytes. */
bool zvxp_valid_string(const char *text)
{
    return text != nullptr && strnlen(text, OMX_MAX_STRINGNAME_SIZE) < OMX_MAX_STRINGNAME_SIZE;
}

bool zvxp_role_listed(const zvx_omx_core_role_list &list, const char *role)
{
    for (int i = 0; i < list.count; ++i) {
        if (std::strcmp(list.roles[i], role) == 0)
            return true;
    }
    return false;
}

/* The client's array of OMX_MAX_STRINGNAME_SIZE-byte strings and its capacity, both in and out:
 * without an array only the count is asked for; an array too small, or with a null entry, gets
 * nothing but the count it needs. */
OMX_ERRORTYPE zvxp_copy_out(const char *const *texts, OMX_U32 count, OMX_U32 *capacity, OMX_U8 **out)
{
    if (out == nullptr) {
        *capacity = count;
        return OMX_ErrorNone;
    }
    const OMX_U32 room = *capacity;
    *capacity = count;
    if (room < count)
        return OMX_ErrorBadParameter;
    for (OMX_U32 i = 0; i < count; ++i) {
        if (out[i] == nullptr)
            return OMX_ErrorBadParameter;
    }
    for (OMX_U32 i = 0; i < count; ++i) {
        auto *slot = reinterpret_cast<char *>(out[i]);
        std::strncpy(slot, texts[i], OMX_MAX_STRINGNAME_SIZE - 1);
        slot[OMX_MAX_STRINGNAME_SIZE - 1] = '\0';
    }
    return OMX_ErrorNone;
}

} // namespace

OMX_ERRORTYPE OMX_Init(void)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_Init(). (%s:%d)");
    return zvx_omx_core_init();
}

OMX_ERRORTYPE OMX_Deinit(void)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_Deinit(). (%s:%d)");
    return zvx_omx_core_deinit();
}

OMX_ERRORTYPE OMX_ComponentNameEnum(OMX_STRING cComponentName, OMX_U32 nNameLength, OMX_U32 nIndex)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_ComponentNameEnum(name=%p, length=%u, index=%u). (%s:%d)",
            static_cast<void *>(cComponentName), static_cast<unsigned>(nNameLength), static_cast<unsigned>(nIndex));
    if (cComponentName == nullptr)
        return OMX_ErrorBadParameter;
    if (!zvx_omx_core_initialised())
        return OMX_ErrorNotReady;
    const auto kinds = zvx_omx_core_kinds();
    if (nIndex >= kinds.size())
        return OMX_ErrorNoMore;
    const char *name = kinds[nIndex].name;
    if (std::strlen(name) >= nNameLength)
        return OMX_ErrorBadParameter;
    std::strcpy(cComponentName, name);
    return OMX_ErrorNone;
}

OMX_ERRORTYPE OMX_GetHandle(OMX_HANDLETYPE *pHandle, OMX_STRING cComponentName, OMX_PTR pAppData,
                            OMX_CALLBACKTYPE *pCallBacks)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetHandle(handle=%p, name=%s, app_data=%p, callbacks=%p). (%s:%d)",
            static_cast<void *>(pHandle), zvxp_valid_string(cComponentName) ? cComponentName : "(invalid)", pAppData,
            static_cast<void *>(pCallBacks));
    if (pHandle == nullptr)
        return OMX_ErrorBadParameter;
    *pHandle = nullptr;
    /* Without callbacks a client would never hear of a completed command. */
    if (cComponentName == nullptr || pCallBacks == nullptr)
        return OMX_ErrorBadParameter;
    if (!zvxp_valid_string(cComponentName))
        return OMX_ErrorInvalidComponentName;
    const zvx_omx_core_kind *kind = zvx_omx_core_find_kind(cComponentName);
    if (kind == nullptr)
        return OMX_ErrorComponentNotFound;
    return zvx_omx_core_make_handle(kind, pAppData, pCallBacks, pHandle);
}

OMX_ERRORTYPE OMX_FreeHandle(OMX_HANDLETYPE hComponent)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_FreeHandle(handle=%p). (%s:%d)", hComponent);
    if (hComponent == nullptr)
        return OMX_ErrorBadParameter;
    return zvx_omx_core_free_handle(hComponent);
}

OMX_ERRORTYPE OMX_SetupTunnel(OMX_HANDLETYPE hOutput, OMX_U32 nPortOutput, OMX_HANDLETYPE hInput, OMX_U32 nPortInput)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_SetupTunnel(output=%p, port=%u, input=%p, port=%u). (%s:%d)", hOutput,
            static_cast<unsigned>(nPortOutput), hInput, static_cast<unsigned>(nPortInput));
    return OMX_ErrorNotImplemented;
}

OMX_ERRORTYPE OMX_GetComponentsOfRole(OMX_STRING role, OMX_U32 *pNumComps, OMX_U8 **compNames)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetComponentsOfRole(role=%s, count=%p, names=%p). (%s:%d)",
            zvxp_valid_string(role) ? role : "(invalid)", static_cast<void *>(pNumComps),
            static_cast<void *>(compNames));
    if (!zvxp_valid_string(role) || pNumComps == nullptr)
        return OMX_ErrorBadParameter;
    const char *names[ZVX_OMX_CORE_KIND_COUNT];
    OMX_U32 count = 0;
    for (const zvx_omx_core_kind &kind : zvx_omx_core_kinds()) {
        zvx_omx_core_role_list list;
        if (!zvx_omx_core_enabled_roles(&kind, &list))
            return OMX_ErrorNotReady;
        if (zvxp_role_listed(list, role))
            names[count++] = kind.name;
    }
    return zvxp_copy_out(names, count, pNumComps, compNames);
}

OMX_ERRORTYPE OMX_GetRolesOfComponent(OMX_STRING compName, OMX_U32 *pNumRoles, OMX_U8 **roles)
{
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_INFO, "OMX_GetRolesOfComponent(name=%s, count=%p, roles=%p). (%s:%d)",
            zvxp_valid_string(compName) ? compName : "(invalid)", static_cast<void *>(pNumRoles),
            static_cast<void *>(roles));
    if (compName == nullptr || pNumRoles == nullptr)
        return OMX_ErrorBadParameter;
    if (!zvxp_valid_string(compName))
        return OMX_ErrorInvalidComponentName;
    const zvx_omx_core_kind *kind = zvx_omx_core_find_kind(compName);
    if (kind == nullptr)
        return OMX_ErrorComponentNotFound;
    zvx_omx_core_role_list list;
    if (!zvx_omx_core_enabled_roles(kind, &list))
        return OMX_ErrorNotReady;
    return zvxp_copy_out(list.roles, static_cast<OMX_U32>(list.count), pNumRoles, roles);
}
