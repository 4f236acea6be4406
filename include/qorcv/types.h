/**
 * @file types.h
 * Sample types, shapes, statuses and enumerations shared by every header of the library.
 */
#ifndef QORCV_TYPES_H
#define QORCV_TYPES_H

#include <stdint.h>

/**
 * @defgroup types Sample types and shapes
 *
 * An image argument is always a triple: a pointer to the first pixel of the region of interest, a row step in
 * bytes, and a size in pixels. Pixel (x, y) of an image with c interleaved channels of type T stands at byte
 * `y * step + x * c * sizeof(T)` from the pointer. Image pointers are aligned to their sample; scratch blocks may
 * start at any byte.
 * @{
 */
typedef uint8_t Qor8u;   /**< 8-bit unsigned sample, tag `8u` */
typedef int8_t Qor8s;    /**< 8-bit signed sample, tag `8s` */
typedef uint16_t Qor16u; /**< 16-bit unsigned sample, tag `16u` */
typedef int16_t Qor16s;  /**< 16-bit signed sample, tag `16s` */
typedef int32_t Qor32s;  /**< 32-bit signed sample, tag `32s` */
typedef float Qor32f;    /**< 32-bit IEEE float sample, tag `32f` */
typedef double Qor64f;   /**< 64-bit IEEE float sample, tag `64f` */

/** Size of a region in pixels. */
typedef struct {
  int32_t width;  /**< pixels in a row */
  int32_t height; /**< rows */
} QoriSize;

/** Pixel position. */
typedef struct {
  int32_t x; /**< column */
  int32_t y; /**< row */
} QoriPoint;

/** Position between pixels. */
typedef struct {
  Qor32f x; /**< column */
  Qor32f y; /**< row */
} QoriPoint_32f;

/** Rectangle of pixels. */
typedef struct {
  int32_t x;      /**< first column */
  int32_t y;      /**< first row */
  int32_t width;  /**< columns */
  int32_t height; /**< rows */
} QoriRect;
/** @} */

/**
 * @defgroup status Statuses
 *
 * Every operation returns a QorStatus: negative values are errors, zero is success, positive values are warnings (the
 * operation finished and its outputs are valid, with the stated reservation). Checks run before anything is read or
 * written, in a fixed order, and the first that fails decides the status:
 *  -# pointers, qorStsNullPtrErr;
 *  -# width, then height, qorStsSizeErr: an empty region is an error, never a no-op;
 *  -# each step against its minimum in the order of the arguments, qorStsStepErr;
 *  -# for samples wider than a byte, each step against the sample size, qorStsNotEvenStepErr;
 *  -# a mask's step, qorStsStepErr;
 *  -# enumerated and numeric arguments.
 *
 * A family that differs says so in its own block.
 * @{
 */
typedef int32_t QorStatus; /**< result of an operation: one of the enumerators below */
enum {
  qorStsSizeWrn = 48,               /**< a region was cut to fit the image; results are for the part that remains */
  qorStsListFullWarn = 33,          /**< the output list is full, the scan stopped; what was listed is valid */
  qorStsOverflow = 12,              /**< a size sum went beyond 32 bits; the reported size is not usable */
  qorStsDivByZero = 6,              /**< zero denominator; the result holds NaN or an infinity */
  qorStsNoErr = 0,                  /**< success */
  qorStsErr = -2,                   /**< general failure */
  qorStsBadArgErr = -5,             /**< a mode argument or a numeric parameter outside its set */
  qorStsSizeErr = -6,               /**< width or height below 1, or a size that contradicts another */
  qorStsRangeErr = -7,              /**< an interval whose lower bound lies above its upper bound */
  qorStsNullPtrErr = -8,            /**< a null pointer among the required pointers */
  qorStsMemAllocErr = -9,           /**< an allocation failed */
  qorStsOutOfRangeErr = -11,        /**< a seed point, end point or count outside its range */
  qorStsDataTypeErr = -12,          /**< a data type that the family does not take */
  qorStsStepErr = -14,              /**< a row step below the minimum for the width */
  qorStsContextMatchErr = -17,      /**< a state record of another kind */
  qorStsThresholdErr = -18,         /**< a negative threshold */
  qorStsMaskSizeErr = -33,          /**< a mask size outside the family's set */
  qorStsAnchorErr = -34,            /**< an anchor outside the mask */
  qorStsNumChannelsErr = -47,       /**< a channel count other than 1 or 3 */
  qorStsCOIErr = -52,               /**< a channel of interest outside 1..3 */
  qorStsChannelErr = -53,           /**< a channel count that the family does not take */
  qorStsMetricErr = -56,            /**< a distance metric that is not positive or whose parts are out of order */
  qorStsNotEvenStepErr = -108,      /**< a row step that is not a multiple of the sample size */
  qorStsBorderErr = -225,           /**< a border rule that the family does not take */
  qorStsNormErr = -229,             /**< a norm that the family does not take */
  qorStsFilterTypeErr = -230,       /**< a gradient filter outside its set */
  qorStsInPlaceErr = -9997,         /**< source and destination are the same buffer where that is forbidden */
  qorStsNotSupportedModeErr = -9999 /**< a comparison that the operation does not take */
};
/** @} */

/**
 * @defgroup enums Enumerated arguments
 *
 * Enumerated arguments are 32-bit integers, so any value may be passed and flags may be combined in C++ too
 * (`qorBorderRepl | qorBorderInMemTop`); a value that an operation does not take gives a status.
 * @{
 */
typedef int32_t QoriBorderType; /**< border rule: a rule in the low four bits, flags in the high four of the low byte */
enum {
  qorBorderConst = 0,        /**< pixels outside the image take a given value */
  qorBorderRepl = 1,         /**< pixels outside take the value of the nearest edge pixel */
  qorBorderWrap = 2,         /**< the image repeats beyond its edges */
  qorBorderMirror = 3,       /**< reflection about the edge pixel, which is not repeated */
  qorBorderMirrorR = 4,      /**< reflection with the edge pixel repeated */
  qorBorderInMem = 6,        /**< all pixels around the region exist in memory and are read */
  qorBorderInMemTop = 16,    /**< flag: rows above the region exist in memory */
  qorBorderInMemBottom = 32, /**< flag: rows below the region exist in memory */
  qorBorderInMemLeft = 64,   /**< flag: columns left of the region exist in memory */
  qorBorderInMemRight = 128  /**< flag: columns right of the region exist in memory */
};

typedef int32_t QoriMaskSize; /**< mask size: a two-digit decimal of width, then height */
enum {
  qorMskSize3x3 = 33, /**< 3 columns by 3 rows */
  qorMskSize5x5 = 55  /**< 5 columns by 5 rows */
};

typedef int32_t QoriNorm; /**< norm */
enum {
  qoriNormInf = 0, /**< maximum of absolute values */
  qoriNormL1 = 1,  /**< sum of absolute values */
  qoriNormL2 = 2,  /**< square root of the sum of squares */
  qoriNormFM = 3   /**< fast-marching step */
};

typedef int32_t QorNormType; /**< norm of a gradient vector; not the values of QoriNorm */
enum {
  qorNormL1 = 2, /**< sum of absolute values */
  qorNormL2 = 4  /**< square root of the sum of squares */
};

typedef int32_t QorGradientFilter; /**< gradient filter */
enum {
  qorFilterSobel = 2,      /**< Sobel */
  qorFilterScharr = 5,     /**< Scharr */
  qorFilterCentralDiff = 8 /**< central differences */
};

typedef int32_t QoriKernelType; /**< kernel of the corner operations */
enum {
  qorKernelSobel = 0, /**< Sobel, mask 3 or 5 */
  qorKernelScharr = 1 /**< Scharr, mask 3 */
};

typedef int32_t QorCmpOp; /**< comparison of a threshold */
enum {
  qorCmpLess = 0,   /**< below the threshold */
  qorCmpGreater = 4 /**< above the threshold */
};

typedef int32_t QorDataType; /**< sample type argument of a size query */
enum {
  qor8u = 1,   /**< Qor8u */
  qor8s = 3,   /**< Qor8s */
  qor16u = 5,  /**< Qor16u */
  qor16s = 7,  /**< Qor16s */
  qor32f = 13, /**< Qor32f */
  qor64f = 19  /**< Qor64f */
};

typedef int32_t QorHintAlgorithm; /**< preference between speed and accuracy; stored, and not used */
enum {
  qorHintNone = 0,    /**< no preference */
  qorHintFast = 1,    /**< prefer speed */
  qorHintAccurate = 2 /**< prefer accuracy */
};
/** @} */

#endif
