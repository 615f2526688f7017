#ifndef ZVX_OMX_ABI_H
#define ZVX_OMX_ABI_H

/*
 * The OpenMAX ABI this build speaks. Record sizes are always taken with sizeof; this only lets each
 * ABI pin its own sizes at compile time: static_assert(sizeof(R) == ZVX_OMX_ABI_SIZE(112, 176)).
 * word32: OMX_U32 is 32 bits (Android's ABI); lp64: OMX_U32 is unsigned long (the installed headers).
 */
#ifdef ZVX_OMX_ABI_LP64
#define ZVX_OMX_ABI_SIZE(word32, lp64) (lp64)
#else
#define ZVX_OMX_ABI_SIZE(word32, lp64) (word32)
#endif

#endif
