#ifndef ZVX_EMU_ROLES_H
#define ZVX_EMU_ROLES_H

#include <optional>

namespace zvx_emu {

struct RoleTraits {
    bool decoder;
    bool vp9;
};

/* Null for a role the emulated hardware does not offer. */
std::optional<RoleTraits> role_traits(const char *role);

} // namespace zvx_emu

#endif
