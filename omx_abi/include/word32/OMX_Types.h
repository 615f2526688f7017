/*
 * Base types of the OpenMAX IL 1.1.2 interface with their 32-bit ABI widths.
 *
 * The distribution's OMX_Types.h declares OMX_U32/OMX_S32 as long, which is 64 bits on LP64 and
 * changes the size of every record a client shares with the component. This header stands in front
 * of it on the include path, so the installed OMX_Core.h, OMX_Component.h, OMX_Video.h, ... pick up
 * fixed-width types instead. It defines every name of the standard header.
 */
#ifndef OMX_Types_h
#define OMX_Types_h

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __OMX_EXPORTS
#define OMX_API
#else
#define OMX_API extern
#endif

#ifndef OMX_APIENTRY
#define OMX_APIENTRY
#endif

#ifndef OMX_IN
#define OMX_IN
#endif

#ifndef OMX_OUT
#define OMX_OUT
#endif

#ifndef OMX_INOUT
#define OMX_INOUT
#endif

#define OMX_ALL 0xFFFFFFFF

typedef uint8_t OMX_U8;
typedef int8_t OMX_S8;
typedef uint16_t OMX_U16;
typedef int16_t OMX_S16;
typedef uint32_t OMX_U32;
typedef int32_t OMX_S32;
typedef uint64_t OMX_U64;
typedef int64_t OMX_S64;

typedef enum OMX_BOOL { OMX_FALSE = 0, OMX_TRUE = !OMX_FALSE, OMX_BOOL_MAX = 0x7FFFFFFF } OMX_BOOL;

typedef void *OMX_PTR;
typedef char *OMX_STRING;
typedef unsigned char *OMX_BYTE;
typedef unsigned char OMX_UUIDTYPE[128];

typedef enum OMX_DIRTYPE { OMX_DirInput, OMX_DirOutput, OMX_DirMax = 0x7FFFFFFF } OMX_DIRTYPE;

typedef enum OMX_ENDIANTYPE { OMX_EndianBig, OMX_EndianLittle, OMX_EndianMax = 0x7FFFFFFF } OMX_ENDIANTYPE;

typedef enum OMX_NUMERICALDATATYPE {
    OMX_NumericalDataSigned,
    OMX_NumericalDataUnsigned,
    OMX_NumercialDataMax = 0x7FFFFFFF
} OMX_NUMERICALDATATYPE;

typedef struct OMX_BU32 {
    OMX_U32 nValue;
    OMX_U32 nMin;
    OMX_U32 nMax;
} OMX_BU32;

typedef struct OMX_BS32 {
    OMX_S32 nValue;
    OMX_S32 nMin;
    OMX_S32 nMax;
} OMX_BS32;

typedef OMX_S64 OMX_TICKS;
#define OMX_TICKS_PER_SECOND 1000000

typedef void *OMX_HANDLETYPE;

typedef struct OMX_MARKTYPE {
    OMX_HANDLETYPE hMarkTargetComponent;
    OMX_PTR pMarkData;
} OMX_MARKTYPE;

typedef void *OMX_NATIVE_DEVICETYPE;
typedef void *OMX_NATIVE_WINDOWTYPE;

typedef union OMX_VERSIONTYPE {
    struct {
        OMX_U8 nVersionMajor;
        OMX_U8 nVersionMinor;
        OMX_U8 nRevision;
        OMX_U8 nStep;
    } s;
    OMX_U32 nVersion;
} OMX_VERSIONTYPE;

#ifdef __cplusplus
}
#endif

#endif
