// The field layout of every record type the settings stores hold, for the structure printer.
#include "zvx_omx_record_layout.h"

#include <OMX_Component.h>
#include <OMX_Image.h>

#include "zvx_omx_extensions.h"

// The enumerations that end below 0x7FFFFFFF: eight bits for the colour aspects, one for the image type.
template <> inline constexpr uint32_t zvx_omx_enumeration_limit<ColorAspectsRange> = 0xFF;
template <> inline constexpr uint32_t zvx_omx_enumeration_limit<ColorAspectsPrimaries> = 0xFF;
template <> inline constexpr uint32_t zvx_omx_enumeration_limit<ColorAspectsTransfer> = 0xFF;
template <> inline constexpr uint32_t zvx_omx_enumeration_limit<ColorAspectsMatrixCoeffs> = 0xFF;
template <> inline constexpr uint32_t zvx_omx_enumeration_limit<MediaImageType> = 1;

// Only the video member of the port definition's format union applies to this component.
ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_PORTDEFINITIONTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(eDir), ZVX_OMX_FIELD(nBufferCountActual),
                      ZVX_OMX_FIELD(nBufferCountMin), ZVX_OMX_FIELD(nBufferSize), ZVX_OMX_FIELD(bEnabled),
                      ZVX_OMX_FIELD(bPopulated), ZVX_OMX_FIELD(eDomain), ZVX_OMX_FIELD(format.video.cMIMEType),
                      ZVX_OMX_FIELD(format.video.pNativeRender), ZVX_OMX_FIELD(format.video.nFrameWidth),
                      ZVX_OMX_FIELD(format.video.nFrameHeight), ZVX_OMX_FIELD(format.video.nStride),
                      ZVX_OMX_FIELD(format.video.nSliceHeight), ZVX_OMX_FIELD(format.video.nBitrate),
                      ZVX_OMX_FIELD(format.video.xFramerate), ZVX_OMX_FIELD(format.video.bFlagErrorConcealment),
                      ZVX_OMX_FIELD(format.video.eCompressionFormat), ZVX_OMX_FIELD(format.video.eColorFormat),
                      ZVX_OMX_FIELD(format.video.pNativeWindow), ZVX_OMX_FIELD(bBuffersContiguous),
                      ZVX_OMX_FIELD(nBufferAlignment))

#define ZVXP_PLANE(i)                                                                                                  \
    ZVX_OMX_FIELD(sMediaImage.mPlane[i].mOffset), ZVX_OMX_FIELD(sMediaImage.mPlane[i].mColInc),                        \
        ZVX_OMX_FIELD(sMediaImage.mPlane[i].mRowInc), ZVX_OMX_FIELD(sMediaImage.mPlane[i].mHorizSubsampling),          \
        ZVX_OMX_FIELD(sMediaImage.mPlane[i].mVertSubsampling)
ZVX_OMX_RECORD_LAYOUT(DescribeColorFormatParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(eColorFormat), ZVX_OMX_FIELD(nFrameWidth), ZVX_OMX_FIELD(nFrameHeight),
                      ZVX_OMX_FIELD(nStride), ZVX_OMX_FIELD(nSliceHeight), ZVX_OMX_FIELD(bUsingNativeBuffers),
                      ZVX_OMX_FIELD(sMediaImage.mType), ZVX_OMX_FIELD(sMediaImage.mNumPlanes),
                      ZVX_OMX_FIELD(sMediaImage.mWidth), ZVX_OMX_FIELD(sMediaImage.mHeight),
                      ZVX_OMX_FIELD(sMediaImage.mBitDepth), ZVXP_PLANE(0), ZVXP_PLANE(1), ZVXP_PLANE(2))
#undef ZVXP_PLANE

ZVX_OMX_RECORD_LAYOUT(DescribeColorAspectsParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(bRequestingDataSpace), ZVX_OMX_FIELD(bDataSpaceChanged),
                      ZVX_OMX_FIELD(nPixelFormat), ZVX_OMX_FIELD(nDataSpace), ZVX_OMX_FIELD(sAspects.mRange),
                      ZVX_OMX_FIELD(sAspects.mPrimaries), ZVX_OMX_FIELD(sAspects.mTransfer),
                      ZVX_OMX_FIELD(sAspects.mMatrixCoeffs))

ZVX_OMX_RECORD_LAYOUT(DescribeHDRStaticInfoParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(sInfo.mID), ZVX_OMX_FIELD(sInfo.sType1.mR.x),
                      ZVX_OMX_FIELD(sInfo.sType1.mR.y), ZVX_OMX_FIELD(sInfo.sType1.mG.x),
                      ZVX_OMX_FIELD(sInfo.sType1.mG.y), ZVX_OMX_FIELD(sInfo.sType1.mB.x),
                      ZVX_OMX_FIELD(sInfo.sType1.mB.y), ZVX_OMX_FIELD(sInfo.sType1.mW.x),
                      ZVX_OMX_FIELD(sInfo.sType1.mW.y), ZVX_OMX_FIELD(sInfo.sType1.mMaxDisplayLuminance),
                      ZVX_OMX_FIELD(sInfo.sType1.mMinDisplayLuminance),
                      ZVX_OMX_FIELD(sInfo.sType1.mMaxContentLightLevel),
                      ZVX_OMX_FIELD(sInfo.sType1.mMaxFrameAverageLightLevel))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_COMPONENTROLETYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(cRole))

ZVX_OMX_RECORD_LAYOUT(OMX_PORT_PARAM_TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPorts),
                      ZVX_OMX_FIELD(nStartPortNumber))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_BUFFERSUPPLIERTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(eBufferSupplier))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_PORTFORMATTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nIndex), ZVX_OMX_FIELD(eCompressionFormat),
                      ZVX_OMX_FIELD(eColorFormat), ZVX_OMX_FIELD(xFramerate))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_QUANTIZATIONTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nQpI), ZVX_OMX_FIELD(nQpP), ZVX_OMX_FIELD(nQpB))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_BITRATETYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(eControlRate), ZVX_OMX_FIELD(nTargetBitrate))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_MPEG2TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nPFrames), ZVX_OMX_FIELD(nBFrames),
                      ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_MPEG4TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nSliceHeaderSpacing), ZVX_OMX_FIELD(bSVH),
                      ZVX_OMX_FIELD(bGov), ZVX_OMX_FIELD(nPFrames), ZVX_OMX_FIELD(nBFrames),
                      ZVX_OMX_FIELD(nIDCVLCThreshold), ZVX_OMX_FIELD(bACPred), ZVX_OMX_FIELD(nMaxPacketSize),
                      ZVX_OMX_FIELD(nTimeIncRes), ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel),
                      ZVX_OMX_FIELD(nAllowedPictureTypes), ZVX_OMX_FIELD(nHeaderExtension),
                      ZVX_OMX_FIELD(bReversibleVLC))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_RVTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(eFormat), ZVX_OMX_FIELD(nBitsPerPixel), ZVX_OMX_FIELD(nPaddedWidth),
                      ZVX_OMX_FIELD(nPaddedHeight), ZVX_OMX_FIELD(nFrameRate), ZVX_OMX_FIELD(nBitstreamFlags),
                      ZVX_OMX_FIELD(nBitstreamVersion), ZVX_OMX_FIELD(nMaxEncodeFrameSize),
                      ZVX_OMX_FIELD(bEnablePostFilter), ZVX_OMX_FIELD(bEnableTemporalInterpolation),
                      ZVX_OMX_FIELD(bEnableLatencyMode))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_AVCTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(nSliceHeaderSpacing), ZVX_OMX_FIELD(nPFrames), ZVX_OMX_FIELD(nBFrames),
                      ZVX_OMX_FIELD(bUseHadamard), ZVX_OMX_FIELD(nRefFrames), ZVX_OMX_FIELD(nRefIdx10ActiveMinus1),
                      ZVX_OMX_FIELD(nRefIdx11ActiveMinus1), ZVX_OMX_FIELD(bEnableUEP), ZVX_OMX_FIELD(bEnableFMO),
                      ZVX_OMX_FIELD(bEnableASO), ZVX_OMX_FIELD(bEnableRS), ZVX_OMX_FIELD(eProfile),
                      ZVX_OMX_FIELD(eLevel), ZVX_OMX_FIELD(nAllowedPictureTypes), ZVX_OMX_FIELD(bFrameMBsOnly),
                      ZVX_OMX_FIELD(bMBAFF), ZVX_OMX_FIELD(bEntropyCodingCABAC), ZVX_OMX_FIELD(bWeightedPPrediction),
                      ZVX_OMX_FIELD(nWeightedBipredicitonMode), ZVX_OMX_FIELD(bconstIpred),
                      ZVX_OMX_FIELD(bDirect8x8Inference), ZVX_OMX_FIELD(bDirectSpatialTemporal),
                      ZVX_OMX_FIELD(nCabacInitIdc), ZVX_OMX_FIELD(eLoopFilterMode))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_H263TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nPFrames), ZVX_OMX_FIELD(nBFrames),
                      ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel), ZVX_OMX_FIELD(bPLUSPTYPEAllowed),
                      ZVX_OMX_FIELD(nAllowedPictureTypes), ZVX_OMX_FIELD(bForceRoundingTypeToZero),
                      ZVX_OMX_FIELD(nPictureHeaderRepetition), ZVX_OMX_FIELD(nGOBHeaderInterval))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_PROFILELEVELTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel),
                      ZVX_OMX_FIELD(nProfileIndex))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_CONFIG_BITRATETYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nEncodeBitrate))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_FRAMERATETYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(xEncodeFramerate))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_INTRAREFRESHVOPTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(IntraRefreshVOP))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_SCALEFACTORTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(xWidth), ZVX_OMX_FIELD(xHeight))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_ROTATIONTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(nRotation))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_MIRRORTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(eMirror))

ZVX_OMX_RECORD_LAYOUT(OMX_CONFIG_RECTTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(nLeft), ZVX_OMX_FIELD(nTop), ZVX_OMX_FIELD(nWidth), ZVX_OMX_FIELD(nHeight))

ZVX_OMX_RECORD_LAYOUT(OMX_IMAGE_PARAM_QFACTORTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nQFactor))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_U32TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(nU32))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_TCXTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(bSupported))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_ENABLETCXTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(bEnabled), ZVX_OMX_FIELD(bTilesEnabled), ZVX_OMX_FIELD(bWideblkEnabled))

ZVX_OMX_RECORD_LAYOUT(OMX_PARAM_ENABLEDMABUFTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(bEnabled))

ZVX_OMX_RECORD_LAYOUT(QURO_PARAM_SEQUENECE_PARAMETERS, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nDisplayWidth), ZVX_OMX_FIELD(nDisplayHeight),
                      ZVX_OMX_FIELD(nSampleAspectRatioWidth), ZVX_OMX_FIELD(nSampleAspectRatioHeight),
                      ZVX_OMX_FIELD(bInterlace), ZVX_OMX_FIELD(bFrameReordering),
                      ZVX_OMX_FIELD(nChromaSampleLocationTypeTopField),
                      ZVX_OMX_FIELD(nChromaSampleLocationTypeBottomField), ZVX_OMX_FIELD(nColorMatrixCoefficients),
                      ZVX_OMX_FIELD(nProfile), ZVX_OMX_FIELD(nLevel), ZVX_OMX_FIELD(nBitDepthLumaMinus8),
                      ZVX_OMX_FIELD(nBitDepthChromaMinus8), ZVX_OMX_FIELD(nChromaSampling))

ZVX_OMX_RECORD_LAYOUT(QURO_VIDEO_PARAM_RATECONTROLTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nHRDBufsize), ZVX_OMX_FIELD(nQpMin),
                      ZVX_OMX_FIELD(nQpMax), ZVX_OMX_FIELD(nIBoost), ZVX_OMX_FIELD(nBBoost), ZVX_OMX_FIELD(nMaxCores))

ZVX_OMX_RECORD_LAYOUT(QURO_VIDEO_PARAM_HEVCTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(bWavefrontEnabled), ZVX_OMX_FIELD(nTileRows),
                      ZVX_OMX_FIELD(nTileColumns))

ZVX_OMX_RECORD_LAYOUT(QURO_PARAM_BUFFERSIZETYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nWidth), ZVX_OMX_FIELD(nHeight), ZVX_OMX_FIELD(nStride))

ZVX_OMX_RECORD_LAYOUT(QURO_CONFIG_INTRAPERIODTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nIDRPeriod), ZVX_OMX_FIELD(nPFrames),
                      ZVX_OMX_FIELD(nBFrames))

ZVX_OMX_RECORD_LAYOUT(QURO_CONFIG_DYNAMICFPSTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(bEnabled), ZVX_OMX_FIELD(nWindow),
                      ZVX_OMX_FIELD(bTrackChanges))

ZVX_OMX_RECORD_LAYOUT(EnableAndroidNativeBuffersParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(enable))

ZVX_OMX_RECORD_LAYOUT(GetAndroidNativeBufferUsageParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nUsage))

ZVX_OMX_RECORD_LAYOUT(StoreMetaDataInBuffersParams, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(bStoreMetaData))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_VP8TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel), ZVX_OMX_FIELD(nDCTPartitions),
                      ZVX_OMX_FIELD(bErrorResilientMode))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_ANDROID_VP8ENCODERTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nKeyFrameInterval), ZVX_OMX_FIELD(eTemporalPattern),
                      ZVX_OMX_FIELD(nTemporalLayerCount), ZVX_OMX_FIELD(nTemporalLayerBitrateRatio),
                      ZVX_OMX_FIELD(nMinQuantizer), ZVX_OMX_FIELD(nMaxQuantizer))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_VP9TYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel), ZVX_OMX_FIELD(bErrorResilientMode),
                      ZVX_OMX_FIELD(nTileRows), ZVX_OMX_FIELD(nTileColumns),
                      ZVX_OMX_FIELD(bEnableFrameParallelDecoding))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_PARAM_HEVCTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(eProfile), ZVX_OMX_FIELD(eLevel),
                      ZVX_OMX_FIELD(nKeyFrameInterval))

ZVX_OMX_RECORD_LAYOUT(OMX_NALSTREAMFORMATTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion), ZVX_OMX_FIELD(nPortIndex),
                      ZVX_OMX_FIELD(eNaluFormat))

ZVX_OMX_RECORD_LAYOUT(OMX_VIDEO_CONFIG_ANDROID_INTRAREFRESHTYPE, ZVX_OMX_FIELD(nSize), ZVX_OMX_FIELD(nVersion),
                      ZVX_OMX_FIELD(nPortIndex), ZVX_OMX_FIELD(nRefreshPeriod))
