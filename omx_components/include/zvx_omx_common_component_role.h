#ifndef ZVX_OMX_COMMON_COMPONENT_ROLE_H
#define ZVX_OMX_COMMON_COMPONENT_ROLE_H

#include <OMX_Core.h>
#include <stddef.h>

struct zvx_omx_common_component;

/* Most roles a component kind can report as enabled. */
#define ZVX_OMX_MAX_ENABLED_ROLES 32

/* "video_decoder.<codec>" or "video_encoder.<codec>", matching the component's kind. Loads the
 * codec's port defaults and closes the session so that the next one opens with the new role. */
OMX_ERRORTYPE zvx_omx_common_component_set_role(struct zvx_omx_common_component *comp, const char *role);

/* Fills `enabled` with the roles of `table` that the session supports; returns their count. */
int zvx_omx_common_component_collect_enabled_roles(const char *const *table, size_t table_size, const char **enabled);

/* ComponentRoleEnum over a role table: the index-th role that the session supports. */
OMX_ERRORTYPE zvx_omx_common_component_role_enum(const char *const *table, size_t table_size, OMX_U8 *role,
                                                 OMX_U32 index);

#endif
