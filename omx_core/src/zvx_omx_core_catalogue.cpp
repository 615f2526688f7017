// The components this core offers, by name.
#include "zvx_omx_core_catalogue.h"

#include <array>
#include <cstring>

#include "zvx_omx_decoder_component.h"
#include "zvx_omx_encoder_component.h"

namespace {

template <typename Record, OMX_ERRORTYPE (*Init)(struct zvx_omx_component *, Record *, OMX_PTR, OMX_CALLBACKTYPE *)>
OMX_ERRORTYPE zvxp_init(struct zvx_omx_component *handle, void *record, OMX_PTR app_data, OMX_CALLBACKTYPE *callbacks)
{
    return Init(handle, static_cast<Record *>(record), app_data, callbacks);
}

template <typename Record, void (*Destroy)(Record *)> void zvxp_destroy(void *record)
{
    Destroy(static_cast<Record *>(record));
}

/* The names are the ones each kind gives itself. */
constexpr std::array<zvx_omx_core_kind, ZVX_OMX_CORE_KIND_COUNT> zvxp_kinds = {{
    {"OMX.DHQ.video.k7nn.decoder", sizeof(zvx_omx_decoder_component),
     zvxp_init<zvx_omx_decoder_component, zvx_omx_decoder_component_init>,
     zvxp_destroy<zvx_omx_decoder_component, zvx_omx_decoder_component_destroy>, zvx_omx_decoder_get_enabled_roles},
    {"OMX.DHQ.video.k7nn.encoder", sizeof(zvx_omx_encoder_component),
     zvxp_init<zvx_omx_encoder_component, zvx_omx_encoder_component_init>,
     zvxp_destroy<zvx_omx_encoder_component, zvx_omx_encoder_component_destroy>, zvx_omx_encoder_get_enabled_roles},
}};

} // namespace

std::span<const zvx_omx_core_kind, ZVX_OMX_CORE_KIND_COUNT> zvx_omx_core_kinds()
{
    return zvxp_kinds;
}

const zvx_omx_core_kind *zvx_omx_core_find_kind(const char *name)
{
    for (const zvx_omx_core_kind &kind : zvxp_kinds) {
        if (std::strcmp(kind.name, name) == 0)
            return &kind;
    }
    return nullptr;
}
