// Compile-time proof that the OpenMAX records have the sizes of the 32-bit-word ABI that clients
// and the component share. A wrong include order (the distribution's OMX_Types.h winning) fails here.
#include <OMX_Component.h>
#include <OMX_Core.h>
#include <OMX_Image.h>
#include <OMX_IVCommon.h>
#include <OMX_Video.h>

static_assert(sizeof(OMX_U32) == 4 && sizeof(OMX_S32) == 4, "OMX_U32/OMX_S32 must be 32 bits");
static_assert(sizeof(OMX_U64) == 8 && sizeof(OMX_TICKS) == 8, "OMX_U64/OMX_TICKS must be 64 bits");
static_assert(sizeof(OMX_BOOL) == 4, "OMX_BOOL must be 32 bits");
static_assert(sizeof(OMX_PARAM_PORTDEFINITIONTYPE) == 112);
static_assert(sizeof(OMX_COMPONENTTYPE) == 168);
static_assert(sizeof(OMX_BUFFERHEADERTYPE) == 112);
static_assert(sizeof(OMX_VIDEO_PARAM_AVCTYPE) == 108);
static_assert(sizeof(OMX_PARAM_COMPONENTROLETYPE) == 136);
static_assert(sizeof(OMX_VIDEO_PARAM_PORTFORMATTYPE) == 28);
static_assert(sizeof(OMX_VIDEO_PARAM_PROFILELEVELTYPE) == 24);
static_assert(sizeof(OMX_PORT_PARAM_TYPE) == 16);
