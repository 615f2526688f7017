// Names of OpenMAX values for diagnostics, and the structure printer. The standard names come from the
// OpenMAX IL 1.1.2 enumerations; every extension value comes from the extension header's own lists.
#include "zvx_omx_strings.h"

#include <OMX_Component.h>
#include <OMX_Core.h>
#include <OMX_Index.h>
#include <OMX_IVCommon.h>
#include <OMX_Video.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <span>

#include "zvx_omx_extensions.h"
#include "zvx_omx_log.h"

namespace {

struct zvxp_name {
    OMX_U32 value;
    const char *name;
};

#define ZVXP_NAME(name, value) {static_cast<OMX_U32>(value), #name},

#define ZVXP_STANDARD_INDICES(X)                                                                                       \
    X(OMX_IndexParamPriorityMgmt, OMX_IndexParamPriorityMgmt)                                                          \
    X(OMX_IndexParamAudioInit, OMX_IndexParamAudioInit)                                                                \
    X(OMX_IndexParamImageInit, OMX_IndexParamImageInit)                                                                \
    X(OMX_IndexParamVideoInit, OMX_IndexParamVideoInit)                                                                \
    X(OMX_IndexParamOtherInit, OMX_IndexParamOtherInit)                                                                \
    X(OMX_IndexParamNumAvailableStreams, OMX_IndexParamNumAvailableStreams)                                            \
    X(OMX_IndexParamActiveStream, OMX_IndexParamActiveStream)                                                          \
    X(OMX_IndexParamSuspensionPolicy, OMX_IndexParamSuspensionPolicy)                                                  \
    X(OMX_IndexParamComponentSuspended, OMX_IndexParamComponentSuspended)                                              \
    X(OMX_IndexConfigCapturing, OMX_IndexConfigCapturing)                                                              \
    X(OMX_IndexConfigCaptureMode, OMX_IndexConfigCaptureMode)                                                          \
    X(OMX_IndexAutoPauseAfterCapture, OMX_IndexAutoPauseAfterCapture)                                                  \
    X(OMX_IndexParamContentURI, OMX_IndexParamContentURI)                                                              \
    X(OMX_IndexParamCustomContentPipe, OMX_IndexParamCustomContentPipe)                                                \
    X(OMX_IndexParamDisableResourceConcealment, OMX_IndexParamDisableResourceConcealment)                              \
    X(OMX_IndexConfigMetadataItemCount, OMX_IndexConfigMetadataItemCount)                                              \
    X(OMX_IndexConfigContainerNodeCount, OMX_IndexConfigContainerNodeCount)                                            \
    X(OMX_IndexConfigMetadataItem, OMX_IndexConfigMetadataItem)                                                        \
    X(OMX_IndexConfigCounterNodeID, OMX_IndexConfigCounterNodeID)                                                      \
    X(OMX_IndexParamMetadataFilterType, OMX_IndexParamMetadataFilterType)                                              \
    X(OMX_IndexParamMetadataKeyFilter, OMX_IndexParamMetadataKeyFilter)                                                \
    X(OMX_IndexConfigPriorityMgmt, OMX_IndexConfigPriorityMgmt)                                                        \
    X(OMX_IndexParamStandardComponentRole, OMX_IndexParamStandardComponentRole)                                        \
    X(OMX_IndexParamPortDefinition, OMX_IndexParamPortDefinition)                                                      \
    X(OMX_IndexParamCompBufferSupplier, OMX_IndexParamCompBufferSupplier)                                              \
    X(OMX_IndexParamAudioPortFormat, OMX_IndexParamAudioPortFormat)                                                    \
    X(OMX_IndexParamAudioPcm, OMX_IndexParamAudioPcm)                                                                  \
    X(OMX_IndexParamAudioAac, OMX_IndexParamAudioAac)                                                                  \
    X(OMX_IndexParamAudioRa, OMX_IndexParamAudioRa)                                                                    \
    X(OMX_IndexParamAudioMp3, OMX_IndexParamAudioMp3)                                                                  \
    X(OMX_IndexParamAudioAdpcm, OMX_IndexParamAudioAdpcm)                                                              \
    X(OMX_IndexParamAudioG723, OMX_IndexParamAudioG723)                                                                \
    X(OMX_IndexParamAudioG729, OMX_IndexParamAudioG729)                                                                \
    X(OMX_IndexParamAudioAmr, OMX_IndexParamAudioAmr)                                                                  \
    X(OMX_IndexParamAudioWma, OMX_IndexParamAudioWma)                                                                  \
    X(OMX_IndexParamAudioSbc, OMX_IndexParamAudioSbc)                                                                  \
    X(OMX_IndexParamAudioMidi, OMX_IndexParamAudioMidi)                                                                \
    X(OMX_IndexParamAudioGsm_FR, OMX_IndexParamAudioGsm_FR)                                                            \
    X(OMX_IndexParamAudioMidiLoadUserSound, OMX_IndexParamAudioMidiLoadUserSound)                                      \
    X(OMX_IndexParamAudioG726, OMX_IndexParamAudioG726)                                                                \
    X(OMX_IndexParamAudioGsm_EFR, OMX_IndexParamAudioGsm_EFR)                                                          \
    X(OMX_IndexParamAudioGsm_HR, OMX_IndexParamAudioGsm_HR)                                                            \
    X(OMX_IndexParamAudioPdc_FR, OMX_IndexParamAudioPdc_FR)                                                            \
    X(OMX_IndexParamAudioPdc_EFR, OMX_IndexParamAudioPdc_EFR)                                                          \
    X(OMX_IndexParamAudioPdc_HR, OMX_IndexParamAudioPdc_HR)                                                            \
    X(OMX_IndexParamAudioTdma_FR, OMX_IndexParamAudioTdma_FR)                                                          \
    X(OMX_IndexParamAudioTdma_EFR, OMX_IndexParamAudioTdma_EFR)                                                        \
    X(OMX_IndexParamAudioQcelp8, OMX_IndexParamAudioQcelp8)                                                            \
    X(OMX_IndexParamAudioQcelp13, OMX_IndexParamAudioQcelp13)                                                          \
    X(OMX_IndexParamAudioEvrc, OMX_IndexParamAudioEvrc)                                                                \
    X(OMX_IndexParamAudioSmv, OMX_IndexParamAudioSmv)                                                                  \
    X(OMX_IndexParamAudioVorbis, OMX_IndexParamAudioVorbis)                                                            \
    X(OMX_IndexConfigAudioMidiImmediateEvent, OMX_IndexConfigAudioMidiImmediateEvent)                                  \
    X(OMX_IndexConfigAudioMidiControl, OMX_IndexConfigAudioMidiControl)                                                \
    X(OMX_IndexConfigAudioMidiSoundBankProgram, OMX_IndexConfigAudioMidiSoundBankProgram)                              \
    X(OMX_IndexConfigAudioMidiStatus, OMX_IndexConfigAudioMidiStatus)                                                  \
    X(OMX_IndexConfigAudioMidiMetaEvent, OMX_IndexConfigAudioMidiMetaEvent)                                            \
    X(OMX_IndexConfigAudioMidiMetaEventData, OMX_IndexConfigAudioMidiMetaEventData)                                    \
    X(OMX_IndexConfigAudioVolume, OMX_IndexConfigAudioVolume)                                                          \
    X(OMX_IndexConfigAudioBalance, OMX_IndexConfigAudioBalance)                                                        \
    X(OMX_IndexConfigAudioChannelMute, OMX_IndexConfigAudioChannelMute)                                                \
    X(OMX_IndexConfigAudioMute, OMX_IndexConfigAudioMute)                                                              \
    X(OMX_IndexConfigAudioLoudness, OMX_IndexConfigAudioLoudness)                                                      \
    X(OMX_IndexConfigAudioEchoCancelation, OMX_IndexConfigAudioEchoCancelation)                                        \
    X(OMX_IndexConfigAudioNoiseReduction, OMX_IndexConfigAudioNoiseReduction)                                          \
    X(OMX_IndexConfigAudioBass, OMX_IndexConfigAudioBass)                                                              \
    X(OMX_IndexConfigAudioTreble, OMX_IndexConfigAudioTreble)                                                          \
    X(OMX_IndexConfigAudioStereoWidening, OMX_IndexConfigAudioStereoWidening)                                          \
    X(OMX_IndexConfigAudioChorus, OMX_IndexConfigAudioChorus)                                                          \
    X(OMX_IndexConfigAudioEqualizer, OMX_IndexConfigAudioEqualizer)                                                    \
    X(OMX_IndexConfigAudioReverberation, OMX_IndexConfigAudioReverberation)                                            \
    X(OMX_IndexConfigAudioChannelVolume, OMX_IndexConfigAudioChannelVolume)                                            \
    X(OMX_IndexParamImagePortFormat, OMX_IndexParamImagePortFormat)                                                    \
    X(OMX_IndexParamFlashControl, OMX_IndexParamFlashControl)                                                          \
    X(OMX_IndexConfigFocusControl, OMX_IndexConfigFocusControl)                                                        \
    X(OMX_IndexParamQFactor, OMX_IndexParamQFactor)                                                                    \
    X(OMX_IndexParamQuantizationTable, OMX_IndexParamQuantizationTable)                                                \
    X(OMX_IndexParamHuffmanTable, OMX_IndexParamHuffmanTable)                                                          \
    X(OMX_IndexConfigFlashControl, OMX_IndexConfigFlashControl)                                                        \
    X(OMX_IndexParamVideoPortFormat, OMX_IndexParamVideoPortFormat)                                                    \
    X(OMX_IndexParamVideoQuantization, OMX_IndexParamVideoQuantization)                                                \
    X(OMX_IndexParamVideoFastUpdate, OMX_IndexParamVideoFastUpdate)                                                    \
    X(OMX_IndexParamVideoBitrate, OMX_IndexParamVideoBitrate)                                                          \
    X(OMX_IndexParamVideoMotionVector, OMX_IndexParamVideoMotionVector)                                                \
    X(OMX_IndexParamVideoIntraRefresh, OMX_IndexParamVideoIntraRefresh)                                                \
    X(OMX_IndexParamVideoErrorCorrection, OMX_IndexParamVideoErrorCorrection)                                          \
    X(OMX_IndexParamVideoVBSMC, OMX_IndexParamVideoVBSMC)                                                              \
    X(OMX_IndexParamVideoMpeg2, OMX_IndexParamVideoMpeg2)                                                              \
    X(OMX_IndexParamVideoMpeg4, OMX_IndexParamVideoMpeg4)                                                              \
    X(OMX_IndexParamVideoWmv, OMX_IndexParamVideoWmv)                                                                  \
    X(OMX_IndexParamVideoRv, OMX_IndexParamVideoRv)                                                                    \
    X(OMX_IndexParamVideoAvc, OMX_IndexParamVideoAvc)                                                                  \
    X(OMX_IndexParamVideoH263, OMX_IndexParamVideoH263)                                                                \
    X(OMX_IndexParamVideoProfileLevelQuerySupported, OMX_IndexParamVideoProfileLevelQuerySupported)                    \
    X(OMX_IndexParamVideoProfileLevelCurrent, OMX_IndexParamVideoProfileLevelCurrent)                                  \
    X(OMX_IndexConfigVideoBitrate, OMX_IndexConfigVideoBitrate)                                                        \
    X(OMX_IndexConfigVideoFramerate, OMX_IndexConfigVideoFramerate)                                                    \
    X(OMX_IndexConfigVideoIntraVOPRefresh, OMX_IndexConfigVideoIntraVOPRefresh)                                        \
    X(OMX_IndexConfigVideoIntraMBRefresh, OMX_IndexConfigVideoIntraMBRefresh)                                          \
    X(OMX_IndexConfigVideoMBErrorReporting, OMX_IndexConfigVideoMBErrorReporting)                                      \
    X(OMX_IndexParamVideoMacroblocksPerFrame, OMX_IndexParamVideoMacroblocksPerFrame)                                  \
    X(OMX_IndexConfigVideoMacroBlockErrorMap, OMX_IndexConfigVideoMacroBlockErrorMap)                                  \
    X(OMX_IndexParamVideoSliceFMO, OMX_IndexParamVideoSliceFMO)                                                        \
    X(OMX_IndexConfigVideoAVCIntraPeriod, OMX_IndexConfigVideoAVCIntraPeriod)                                          \
    X(OMX_IndexConfigVideoNalSize, OMX_IndexConfigVideoNalSize)                                                        \
    X(OMX_IndexParamCommonDeblocking, OMX_IndexParamCommonDeblocking)                                                  \
    X(OMX_IndexParamCommonSensorMode, OMX_IndexParamCommonSensorMode)                                                  \
    X(OMX_IndexParamCommonInterleave, OMX_IndexParamCommonInterleave)                                                  \
    X(OMX_IndexConfigCommonColorFormatConversion, OMX_IndexConfigCommonColorFormatConversion)                          \
    X(OMX_IndexConfigCommonScale, OMX_IndexConfigCommonScale)                                                          \
    X(OMX_IndexConfigCommonImageFilter, OMX_IndexConfigCommonImageFilter)                                              \
    X(OMX_IndexConfigCommonColorEnhancement, OMX_IndexConfigCommonColorEnhancement)                                    \
    X(OMX_IndexConfigCommonColorKey, OMX_IndexConfigCommonColorKey)                                                    \
    X(OMX_IndexConfigCommonColorBlend, OMX_IndexConfigCommonColorBlend)                                                \
    X(OMX_IndexConfigCommonFrameStabilisation, OMX_IndexConfigCommonFrameStabilisation)                                \
    X(OMX_IndexConfigCommonRotate, OMX_IndexConfigCommonRotate)                                                        \
    X(OMX_IndexConfigCommonMirror, OMX_IndexConfigCommonMirror)                                                        \
    X(OMX_IndexConfigCommonOutputPosition, OMX_IndexConfigCommonOutputPosition)                                        \
    X(OMX_IndexConfigCommonInputCrop, OMX_IndexConfigCommonInputCrop)                                                  \
    X(OMX_IndexConfigCommonOutputCrop, OMX_IndexConfigCommonOutputCrop)                                                \
    X(OMX_IndexConfigCommonDigitalZoom, OMX_IndexConfigCommonDigitalZoom)                                              \
    X(OMX_IndexConfigCommonOpticalZoom, OMX_IndexConfigCommonOpticalZoom)                                              \
    X(OMX_IndexConfigCommonWhiteBalance, OMX_IndexConfigCommonWhiteBalance)                                            \
    X(OMX_IndexConfigCommonExposure, OMX_IndexConfigCommonExposure)                                                    \
    X(OMX_IndexConfigCommonContrast, OMX_IndexConfigCommonContrast)                                                    \
    X(OMX_IndexConfigCommonBrightness, OMX_IndexConfigCommonBrightness)                                                \
    X(OMX_IndexConfigCommonBacklight, OMX_IndexConfigCommonBacklight)                                                  \
    X(OMX_IndexConfigCommonGamma, OMX_IndexConfigCommonGamma)                                                          \
    X(OMX_IndexConfigCommonSaturation, OMX_IndexConfigCommonSaturation)                                                \
    X(OMX_IndexConfigCommonLightness, OMX_IndexConfigCommonLightness)                                                  \
    X(OMX_IndexConfigCommonExclusionRect, OMX_IndexConfigCommonExclusionRect)                                          \
    X(OMX_IndexConfigCommonDithering, OMX_IndexConfigCommonDithering)                                                  \
    X(OMX_IndexConfigCommonPlaneBlend, OMX_IndexConfigCommonPlaneBlend)                                                \
    X(OMX_IndexConfigCommonExposureValue, OMX_IndexConfigCommonExposureValue)                                          \
    X(OMX_IndexConfigCommonOutputSize, OMX_IndexConfigCommonOutputSize)                                                \
    X(OMX_IndexParamCommonExtraQuantData, OMX_IndexParamCommonExtraQuantData)                                          \
    X(OMX_IndexConfigCommonFocusRegion, OMX_IndexConfigCommonFocusRegion)                                              \
    X(OMX_IndexConfigCommonFocusStatus, OMX_IndexConfigCommonFocusStatus)                                              \
    X(OMX_IndexConfigCommonTransitionEffect, OMX_IndexConfigCommonTransitionEffect)                                    \
    X(OMX_IndexParamOtherPortFormat, OMX_IndexParamOtherPortFormat)                                                    \
    X(OMX_IndexConfigOtherPower, OMX_IndexConfigOtherPower)                                                            \
    X(OMX_IndexConfigOtherStats, OMX_IndexConfigOtherStats)                                                            \
    X(OMX_IndexConfigTimeScale, OMX_IndexConfigTimeScale)                                                              \
    X(OMX_IndexConfigTimeClockState, OMX_IndexConfigTimeClockState)                                                    \
    X(OMX_IndexConfigTimeActiveRefClock, OMX_IndexConfigTimeActiveRefClock)                                            \
    X(OMX_IndexConfigTimeCurrentMediaTime, OMX_IndexConfigTimeCurrentMediaTime)                                        \
    X(OMX_IndexConfigTimeCurrentWallTime, OMX_IndexConfigTimeCurrentWallTime)                                          \
    X(OMX_IndexConfigTimeCurrentAudioReference, OMX_IndexConfigTimeCurrentAudioReference)                              \
    X(OMX_IndexConfigTimeCurrentVideoReference, OMX_IndexConfigTimeCurrentVideoReference)                              \
    X(OMX_IndexConfigTimeMediaTimeRequest, OMX_IndexConfigTimeMediaTimeRequest)                                        \
    X(OMX_IndexConfigTimeClientStartTime, OMX_IndexConfigTimeClientStartTime)                                          \
    X(OMX_IndexConfigTimePosition, OMX_IndexConfigTimePosition)                                                        \
    X(OMX_IndexConfigTimeSeekMode, OMX_IndexConfigTimeSeekMode)

#define ZVXP_STANDARD_COLOR_FORMATS(X)                                                                                 \
    X(OMX_COLOR_FormatUnused, OMX_COLOR_FormatUnused)                                                                  \
    X(OMX_COLOR_FormatMonochrome, OMX_COLOR_FormatMonochrome)                                                          \
    X(OMX_COLOR_Format8bitRGB332, OMX_COLOR_Format8bitRGB332)                                                          \
    X(OMX_COLOR_Format12bitRGB444, OMX_COLOR_Format12bitRGB444)                                                        \
    X(OMX_COLOR_Format16bitARGB4444, OMX_COLOR_Format16bitARGB4444)                                                    \
    X(OMX_COLOR_Format16bitARGB1555, OMX_COLOR_Format16bitARGB1555)                                                    \
    X(OMX_COLOR_Format16bitRGB565, OMX_COLOR_Format16bitRGB565)                                                        \
    X(OMX_COLOR_Format16bitBGR565, OMX_COLOR_Format16bitBGR565)                                                        \
    X(OMX_COLOR_Format18bitRGB666, OMX_COLOR_Format18bitRGB666)                                                        \
    X(OMX_COLOR_Format18bitARGB1665, OMX_COLOR_Format18bitARGB1665)                                                    \
    X(OMX_COLOR_Format19bitARGB1666, OMX_COLOR_Format19bitARGB1666)                                                    \
    X(OMX_COLOR_Format24bitRGB888, OMX_COLOR_Format24bitRGB888)                                                        \
    X(OMX_COLOR_Format24bitBGR888, OMX_COLOR_Format24bitBGR888)                                                        \
    X(OMX_COLOR_Format24bitARGB1887, OMX_COLOR_Format24bitARGB1887)                                                    \
    X(OMX_COLOR_Format25bitARGB1888, OMX_COLOR_Format25bitARGB1888)                                                    \
    X(OMX_COLOR_Format32bitBGRA8888, OMX_COLOR_Format32bitBGRA8888)                                                    \
    X(OMX_COLOR_Format32bitARGB8888, OMX_COLOR_Format32bitARGB8888)                                                    \
    X(OMX_COLOR_FormatYUV411Planar, OMX_COLOR_FormatYUV411Planar)                                                      \
    X(OMX_COLOR_FormatYUV411PackedPlanar, OMX_COLOR_FormatYUV411PackedPlanar)                                          \
    X(OMX_COLOR_FormatYUV420Planar, OMX_COLOR_FormatYUV420Planar)                                                      \
    X(OMX_COLOR_FormatYUV420PackedPlanar, OMX_COLOR_FormatYUV420PackedPlanar)                                          \
    X(OMX_COLOR_FormatYUV420SemiPlanar, OMX_COLOR_FormatYUV420SemiPlanar)                                              \
    X(OMX_COLOR_FormatYUV422Planar, OMX_COLOR_FormatYUV422Planar)                                                      \
    X(OMX_COLOR_FormatYUV422PackedPlanar, OMX_COLOR_FormatYUV422PackedPlanar)                                          \
    X(OMX_COLOR_FormatYUV422SemiPlanar, OMX_COLOR_FormatYUV422SemiPlanar)                                              \
    X(OMX_COLOR_FormatYCbYCr, OMX_COLOR_FormatYCbYCr)                                                                  \
    X(OMX_COLOR_FormatYCrYCb, OMX_COLOR_FormatYCrYCb)                                                                  \
    X(OMX_COLOR_FormatCbYCrY, OMX_COLOR_FormatCbYCrY)                                                                  \
    X(OMX_COLOR_FormatCrYCbY, OMX_COLOR_FormatCrYCbY)                                                                  \
    X(OMX_COLOR_FormatYUV444Interleaved, OMX_COLOR_FormatYUV444Interleaved)                                            \
    X(OMX_COLOR_FormatRawBayer8bit, OMX_COLOR_FormatRawBayer8bit)                                                      \
    X(OMX_COLOR_FormatRawBayer10bit, OMX_COLOR_FormatRawBayer10bit)                                                    \
    X(OMX_COLOR_FormatRawBayer8bitcompressed, OMX_COLOR_FormatRawBayer8bitcompressed)                                  \
    X(OMX_COLOR_FormatL2, OMX_COLOR_FormatL2)                                                                          \
    X(OMX_COLOR_FormatL4, OMX_COLOR_FormatL4)                                                                          \
    X(OMX_COLOR_FormatL8, OMX_COLOR_FormatL8)                                                                          \
    X(OMX_COLOR_FormatL16, OMX_COLOR_FormatL16)                                                                        \
    X(OMX_COLOR_FormatL24, OMX_COLOR_FormatL24)                                                                        \
    X(OMX_COLOR_FormatL32, OMX_COLOR_FormatL32)                                                                        \
    X(OMX_COLOR_FormatYUV420PackedSemiPlanar, OMX_COLOR_FormatYUV420PackedSemiPlanar)                                  \
    X(OMX_COLOR_FormatYUV422PackedSemiPlanar, OMX_COLOR_FormatYUV422PackedSemiPlanar)                                  \
    X(OMX_COLOR_Format18BitBGR666, OMX_COLOR_Format18BitBGR666)                                                        \
    X(OMX_COLOR_Format24BitARGB6666, OMX_COLOR_Format24BitARGB6666)                                                    \
    X(OMX_COLOR_Format24BitABGR6666, OMX_COLOR_Format24BitABGR6666)

#define ZVXP_STANDARD_CODINGS(X)                                                                                       \
    X(OMX_VIDEO_CodingUnused, OMX_VIDEO_CodingUnused)                                                                  \
    X(OMX_VIDEO_CodingAutoDetect, OMX_VIDEO_CodingAutoDetect)                                                          \
    X(OMX_VIDEO_CodingMPEG2, OMX_VIDEO_CodingMPEG2)                                                                    \
    X(OMX_VIDEO_CodingH263, OMX_VIDEO_CodingH263)                                                                      \
    X(OMX_VIDEO_CodingMPEG4, OMX_VIDEO_CodingMPEG4)                                                                    \
    X(OMX_VIDEO_CodingWMV, OMX_VIDEO_CodingWMV)                                                                        \
    X(OMX_VIDEO_CodingRV, OMX_VIDEO_CodingRV)                                                                          \
    X(OMX_VIDEO_CodingAVC, OMX_VIDEO_CodingAVC)                                                                        \
    X(OMX_VIDEO_CodingMJPEG, OMX_VIDEO_CodingMJPEG)

#define ZVXP_STANDARD_ERRORS(X)                                                                                        \
    X(OMX_ErrorNone, OMX_ErrorNone)                                                                                    \
    X(OMX_ErrorInsufficientResources, OMX_ErrorInsufficientResources)                                                  \
    X(OMX_ErrorUndefined, OMX_ErrorUndefined)                                                                          \
    X(OMX_ErrorInvalidComponentName, OMX_ErrorInvalidComponentName)                                                    \
    X(OMX_ErrorComponentNotFound, OMX_ErrorComponentNotFound)                                                          \
    X(OMX_ErrorInvalidComponent, OMX_ErrorInvalidComponent)                                                            \
    X(OMX_ErrorBadParameter, OMX_ErrorBadParameter)                                                                    \
    X(OMX_ErrorNotImplemented, OMX_ErrorNotImplemented)                                                                \
    X(OMX_ErrorUnderflow, OMX_ErrorUnderflow)                                                                          \
    X(OMX_ErrorOverflow, OMX_ErrorOverflow)                                                                            \
    X(OMX_ErrorHardware, OMX_ErrorHardware)                                                                            \
    X(OMX_ErrorInvalidState, OMX_ErrorInvalidState)                                                                    \
    X(OMX_ErrorStreamCorrupt, OMX_ErrorStreamCorrupt)                                                                  \
    X(OMX_ErrorPortsNotCompatible, OMX_ErrorPortsNotCompatible)                                                        \
    X(OMX_ErrorResourcesLost, OMX_ErrorResourcesLost)                                                                  \
    X(OMX_ErrorNoMore, OMX_ErrorNoMore)                                                                                \
    X(OMX_ErrorVersionMismatch, OMX_ErrorVersionMismatch)                                                              \
    X(OMX_ErrorNotReady, OMX_ErrorNotReady)                                                                            \
    X(OMX_ErrorTimeout, OMX_ErrorTimeout)                                                                              \
    X(OMX_ErrorSameState, OMX_ErrorSameState)                                                                          \
    X(OMX_ErrorResourcesPreempted, OMX_ErrorResourcesPreempted)                                                        \
    X(OMX_ErrorPortUnresponsiveDuringAllocation, OMX_ErrorPortUnresponsiveDuringAllocation)                            \
    X(OMX_ErrorPortUnresponsiveDuringDeallocation, OMX_ErrorPortUnresponsiveDuringDeallocation)                        \
    X(OMX_ErrorPortUnresponsiveDuringStop, OMX_ErrorPortUnresponsiveDuringStop)                                        \
    X(OMX_ErrorIncorrectStateTransition, OMX_ErrorIncorrectStateTransition)                                            \
    X(OMX_ErrorIncorrectStateOperation, OMX_ErrorIncorrectStateOperation)                                              \
    X(OMX_ErrorUnsupportedSetting, OMX_ErrorUnsupportedSetting)                                                        \
    X(OMX_ErrorUnsupportedIndex, OMX_ErrorUnsupportedIndex)                                                            \
    X(OMX_ErrorBadPortIndex, OMX_ErrorBadPortIndex)                                                                    \
    X(OMX_ErrorPortUnpopulated, OMX_ErrorPortUnpopulated)                                                              \
    X(OMX_ErrorComponentSuspended, OMX_ErrorComponentSuspended)                                                        \
    X(OMX_ErrorDynamicResourcesUnavailable, OMX_ErrorDynamicResourcesUnavailable)                                      \
    X(OMX_ErrorMbErrorsInFrame, OMX_ErrorMbErrorsInFrame)                                                              \
    X(OMX_ErrorFormatNotDetected, OMX_ErrorFormatNotDetected)                                                          \
    X(OMX_ErrorContentPipeOpenFailed, OMX_ErrorContentPipeOpenFailed)                                                  \
    X(OMX_ErrorContentPipeCreationFailed, OMX_ErrorContentPipeCreationFailed)                                          \
    X(OMX_ErrorSeperateTablesUsed, OMX_ErrorSeperateTablesUsed)                                                        \
    X(OMX_ErrorTunnelingUnsupported, OMX_ErrorTunnelingUnsupported)

#define ZVXP_STANDARD_EVENTS(X)                                                                                        \
    X(OMX_EventCmdComplete, OMX_EventCmdComplete)                                                                      \
    X(OMX_EventError, OMX_EventError)                                                                                  \
    X(OMX_EventMark, OMX_EventMark)                                                                                    \
    X(OMX_EventPortSettingsChanged, OMX_EventPortSettingsChanged)                                                      \
    X(OMX_EventBufferFlag, OMX_EventBufferFlag)                                                                        \
    X(OMX_EventResourcesAcquired, OMX_EventResourcesAcquired)                                                          \
    X(OMX_EventComponentResumed, OMX_EventComponentResumed)                                                            \
    X(OMX_EventDynamicResourcesAvailable, OMX_EventDynamicResourcesAvailable)                                          \
    X(OMX_EventPortFormatDetected, OMX_EventPortFormatDetected)

#define ZVXP_STANDARD_STATES(X)                                                                                        \
    X(OMX_StateInvalid, OMX_StateInvalid)                                                                              \
    X(OMX_StateLoaded, OMX_StateLoaded)                                                                                \
    X(OMX_StateIdle, OMX_StateIdle)                                                                                    \
    X(OMX_StateExecuting, OMX_StateExecuting)                                                                          \
    X(OMX_StatePause, OMX_StatePause)                                                                                  \
    X(OMX_StateWaitForResources, OMX_StateWaitForResources)

#define ZVXP_STANDARD_COMMANDS(X)                                                                                      \
    X(OMX_CommandStateSet, OMX_CommandStateSet)                                                                        \
    X(OMX_CommandFlush, OMX_CommandFlush)                                                                              \
    X(OMX_CommandPortDisable, OMX_CommandPortDisable)                                                                  \
    X(OMX_CommandPortEnable, OMX_CommandPortEnable)                                                                    \
    X(OMX_CommandMarkBuffer, OMX_CommandMarkBuffer)

constexpr zvxp_name zvxp_index_names[] = {ZVXP_STANDARD_INDICES(ZVXP_NAME) ZVX_OMX_EXTENSION_INDICES(ZVXP_NAME)};
constexpr zvxp_name zvxp_color_format_names[] = {ZVXP_STANDARD_COLOR_FORMATS(ZVXP_NAME)
                                                     ZVX_OMX_EXTENSION_COLOR_FORMATS(ZVXP_NAME)};
constexpr zvxp_name zvxp_coding_names[] = {ZVXP_STANDARD_CODINGS(ZVXP_NAME) ZVX_OMX_EXTENSION_CODINGS(ZVXP_NAME)};
constexpr zvxp_name zvxp_event_names[] = {ZVXP_STANDARD_EVENTS(ZVXP_NAME) ZVX_OMX_EXTENSION_EVENTS(ZVXP_NAME)};
constexpr zvxp_name zvxp_error_names[] = {ZVXP_STANDARD_ERRORS(ZVXP_NAME)};
constexpr zvxp_name zvxp_state_names[] = {ZVXP_STANDARD_STATES(ZVXP_NAME)};
constexpr zvxp_name zvxp_command_names[] = {ZVXP_STANDARD_COMMANDS(ZVXP_NAME)};

#undef ZVXP_NAME

const char *zvxp_lookup(std::span<const zvxp_name> names, OMX_U32 value)
{
    const auto found =
        std::find_if(names.begin(), names.end(), [value](const zvxp_name &n) { return n.value == value; });
    return found != names.end() ? found->name : "Unknown";
}

uint64_t zvxp_read_unsigned(const uint8_t *at, uint32_t size)
{
    switch (size) {
    case 1:
        return *at;
    case 2: {
        uint16_t value;
        std::memcpy(&value, at, sizeof(value));
        return value;
    }
    case 4: {
        uint32_t value;
        std::memcpy(&value, at, sizeof(value));
        return value;
    }
    default: {
        uint64_t value;
        std::memcpy(&value, at, sizeof(value));
        return value;
    }
    }
}

int64_t zvxp_read_signed(const uint8_t *at, uint32_t size)
{
    const uint64_t raw = zvxp_read_unsigned(at, size);
    const unsigned unused_bits = 64 - 8 * size;
    return static_cast<int64_t>(raw << unused_bits) >> unused_bits;
}

void zvxp_format_value(char *text, size_t capacity, const zvx_omx_record_field &field, const uint8_t *at)
{
    const uint64_t raw = zvxp_read_unsigned(at, field.size);
    switch (field.kind) {
    case zvx_omx_field_kind::signed_int:
        (void)std::snprintf(text, capacity, "%" PRId64, zvxp_read_signed(at, field.size));
        break;
    case zvx_omx_field_kind::boolean:
        (void)std::snprintf(text, capacity, "%s",
                            raw == OMX_FALSE  ? "OMX_FALSE"
                            : raw == OMX_TRUE ? "OMX_TRUE"
                                              : "invalid");
        break;
    case zvx_omx_field_kind::version:
        (void)std::snprintf(text, capacity, "%u.%u.%u.%u", at[0], at[1], at[2], at[3]);
        break;
    case zvx_omx_field_kind::color_format:
        (void)std::snprintf(text, capacity, "%s (0x%" PRIx64 ")", zvx_omx_color_format_name(static_cast<OMX_U32>(raw)),
                            raw);
        break;
    case zvx_omx_field_kind::coding:
        (void)std::snprintf(text, capacity, "%s (0x%" PRIx64 ")", zvx_omx_coding_name(static_cast<OMX_U32>(raw)), raw);
        break;
    case zvx_omx_field_kind::text:
        (void)std::snprintf(text, capacity, "\"%.*s\"",
                            static_cast<int>(strnlen(reinterpret_cast<const char *>(at), field.size)),
                            reinterpret_cast<const char *>(at));
        break;
    case zvx_omx_field_kind::pointer:
        (void)std::snprintf(text, capacity, "0x%" PRIx64, raw);
        break;
    case zvx_omx_field_kind::unsigned_int:
        (void)std::snprintf(text, capacity, "%" PRIu64 " (0x%" PRIx64 ")", raw, raw);
        break;
    }
}

} // namespace

const char *zvx_omx_index_name(OMX_U32 index)
{
    return zvxp_lookup(zvxp_index_names, index);
}

const char *zvx_omx_state_name(OMX_U32 state)
{
    return zvxp_lookup(zvxp_state_names, state);
}

const char *zvx_omx_command_name(OMX_U32 command)
{
    return zvxp_lookup(zvxp_command_names, command);
}

const char *zvx_omx_event_name(OMX_U32 event)
{
    return zvxp_lookup(zvxp_event_names, event);
}

const char *zvx_omx_error_name(OMX_U32 error)
{
    return zvxp_lookup(zvxp_error_names, error);
}

const char *zvx_omx_color_format_name(OMX_U32 color_format)
{
    return zvxp_lookup(zvxp_color_format_names, color_format);
}

const char *zvx_omx_coding_name(OMX_U32 coding)
{
    return zvxp_lookup(zvxp_coding_names, coding);
}

bool zvx_omx_strings_debug_enabled(void)
{
    return zvx_log_omx_if.severity >= ZVX_LOG_DEBUG;
}

void zvx_omx_strings_log_record(const char *entry, OMX_HANDLETYPE handle, OMX_U32 index,
                                const zvx_omx_record_layout &layout, const void *record)
{
    if (!zvx_omx_strings_debug_enabled() || record == nullptr)
        return;
    ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "%s(handle=%p, index=%s (0x%08x)): %s, %u bytes. (%s:%d)", entry, handle,
            zvx_omx_index_name(index), static_cast<unsigned>(index), layout.type_name, layout.size);
    const auto *bytes = static_cast<const uint8_t *>(record);
    for (const zvx_omx_record_field &field : std::span(layout.fields, layout.field_count)) {
        for (uint32_t element = 0; element < field.count; ++element) {
            char value[160];
            zvxp_format_value(value, sizeof(value), field,
                              bytes + field.offset + static_cast<size_t>(element) * field.size);
            if (field.count == 1)
                ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "  %s.%s = %s (%s:%d)", layout.type_name, field.name, value);
            else
                ZVX_LOG(&zvx_log_omx_if, ZVX_LOG_DEBUG, "  %s.%s[%u] = %s (%s:%d)", layout.type_name, field.name,
                        element, value);
        }
    }
}
