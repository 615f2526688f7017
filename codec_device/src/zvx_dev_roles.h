#ifndef ZVX_DEV_ROLES_H
#define ZVX_DEV_ROLES_H

#include <optional>

namespace zvx_dev {

struct RoleTraits {
    bool decoder;
    bool vp9;
};

/* Null for a role the devices do not offer. */
std::optional<RoleTraits> role_traits(const char *role);

} // namespace zvx_dev

#endif
