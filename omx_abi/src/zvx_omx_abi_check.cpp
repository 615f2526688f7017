// Compile-time proof that the OpenMAX records have the sizes of the ABI this build speaks, the one its
// clients share with the component. In the 32-bit-word build a wrong include order (the
// distribution's OMX_Types.h winning) fails here.
#include <OMX_Component.h>
#include <OMX_Core.h>
#include <OMX_Image.h>
#include <OMX_IVCommon.h>
#include <OMX_Video.h>

#include "zvx_omx_abi.h"

static_assert(sizeof(OMX_U32) == ZVX_OMX_ABI_SIZE(4, 8) && sizeof(OMX_S32) == sizeof(OMX_U32),
              "OMX_U32/OMX_S32 must have the width of the ABI");
static_assert(sizeof(OMX_U64) == 8 && sizeof(OMX_TICKS) == 8, "OMX_U64/OMX_TICKS must be 64 bits");
static_assert(sizeof(OMX_BOOL) == 4, "OMX_BOOL must be 32 bits");
static_assert(sizeof(OMX_PARAM_PORTDEFINITIONTYPE) == ZVX_OMX_ABI_SIZE(112, 176));
static_assert(sizeof(OMX_COMPONENTTYPE) == ZVX_OMX_ABI_SIZE(168, 176));
static_assert(sizeof(OMX_BUFFERHEADERTYPE) == ZVX_OMX_ABI_SIZE(112, 136));
static_assert(sizeof(OMX_VIDEO_PARAM_AVCTYPE) == ZVX_OMX_ABI_SIZE(108, 168));
static_assert(sizeof(OMX_PARAM_COMPONENTROLETYPE) == ZVX_OMX_ABI_SIZE(136, 144));
static_assert(sizeof(OMX_VIDEO_PARAM_PORTFORMATTYPE) == ZVX_OMX_ABI_SIZE(28, 48));
static_assert(sizeof(OMX_VIDEO_PARAM_PROFILELEVELTYPE) == ZVX_OMX_ABI_SIZE(24, 48));
static_assert(sizeof(OMX_PORT_PARAM_TYPE) == ZVX_OMX_ABI_SIZE(16, 32));
static_assert(sizeof(OMX_VIDEO_PARAM_BITRATETYPE) == ZVX_OMX_ABI_SIZE(20, 40));
