// Taps of a Gaussian, and the record that holds them.
#include <string.h>

#include "filter/gaussian.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"

namespace qor::inline QOR_LEVEL {
namespace {

// exp(t) for t <= 0. The C library's expf has other last bits from one processor to the next; these are the same
// everywhere. The result of the polynomial is good to 1e-14, so all but one float in ten million is the nearest one.
Qor32f exponential(Qor32f t) {
  // e^-104 is less than half of the smallest float.
  if (t < -104.0F) return 0.0F;
  const Qor64f x = static_cast<Qor64f>(t);
  const Qor32s power = nearestInt(x * 0x1.71547652b82fep+0);
  // ln 2 in two parts; the products of the first are exact, as power has less than 10 bits.
  const Qor64f r = (x - power * 0x1.62e42fefa0000p-1) - power * 0x1.cf79abc9e3b3ap-40;
  // |r| is at most ln(2) / 2, the twelfth power's term below 1e-14.
  Qor64f series = 1.0;
  for (int i = 11; i > 0; --i) series = 1.0 + series * r / i;
  return static_cast<Qor32f>(series * __builtin_bit_cast(Qor64f, static_cast<uint64_t>(1023 + power) << 52));
}

// Gaussian of distances from the middle, not yet divided by the sum. With a d of 0 all but the middle is 0; with an
// infinite one all are 1.
struct Bell {
  Qor32f d;

  explicit Bell(Qor32f sigma) : d((sigma + sigma) * sigma) {}

  Qor32f operator()(int distance) const {
    const auto x = static_cast<Qor32f>(distance);
    const Qor32f t = -(x * x) / d;
    if (distance == 0) return 1.0F;
    return t <= 0.0F ? exponential(t) : t;
  }
};

// Calls put(i, tap i) for every tap.
template <class Put>
void forEachTap(Qor32f sigma, int kernelSize, const Put& put) {
  const Bell bell(sigma);
  const int middle = kernelSize / 2;
  Qor32f sum = 0;
  for (int i = 0; i < kernelSize; ++i) sum += bell(i - middle);
  for (int i = 0; i < kernelSize; ++i) put(i, bell(i - middle) / sum);
}

// The middle tap of 16s is 32768 for a very small sigma, and wraps.
template <class Tap>
Tap integerTap(Qor32f tap, int shift) {
  constexpr Qor64f half = 0.5;
  const Qor32f scaled = tap * static_cast<Qor32f>(1 << shift);
  return static_cast<Tap>(static_cast<Qor32s>(static_cast<Qor64f>(scaled) + half));
}

QorStatus initialise(QoriSize roiSize, int kernelSize, Qor32f sigma, QoriBorderType borderType, QorDataType dataType,
                     int numChannels, QoriFilterGaussianSpec* pSpec, const Qor8u* pBuffer) {
  const QorStatus status =
      firstFailure(nullCheck(pSpec), nullCheck(pBuffer), sizeCheck(roiSize), gaussianLengthCheck(kernelSize),
                   gaussianTypeCheck(dataType), gaussianChannelsCheck(numChannels),
                   sigma > 0.0F ? qorStsNoErr : qorStsBadArgErr, gaussianBorders.check(borderType));
  if (status != qorStsNoErr) return status;
  // The record may start at any byte.
  const int shift = dataType == qor32f ? 0 : dataType == qor8u ? 12 : 15;
  const QoriFilterGaussianSpec header{kernelSize, gaussianTapOffset, dataType, borderType, shift};
  char* const record = reinterpret_cast<char*>(pSpec);
  memcpy(record, &header, sizeof header);
  forEachTap(sigma, kernelSize, [=](ptrdiff_t i, Qor32f tap) {
    if (dataType == qor32f) {
      for (ptrdiff_t lane = 0; lane < gaussianLanes; ++lane)
        memcpy(record + gaussianTapBytes + (gaussianLanes * i + lane) * ptrdiff_t{sizeof tap}, &tap, sizeof tap);
    } else {
      // The two types of taps have the same bits.
      const auto integer = integerTap<Qor16u>(tap, shift);
      memcpy(record + gaussianTapBytes + i * ptrdiff_t{sizeof integer}, &integer, sizeof integer);
    }
  });
  return qorStsNoErr;
}

}  // namespace

void gaussianTaps(Qor32f sigma, int kernelSize, Qor32f* taps) {
  forEachTap(sigma, kernelSize, [taps](int i, Qor32f tap) { taps[i] = tap; });
}

}  // namespace qor

QOR_BODY(qoriFilterGaussianInit)
(QoriSize roiSize, int kernelSize, Qor32f sigma, QoriBorderType borderType, QorDataType dataType, int numChannels,
 QoriFilterGaussianSpec* pSpec, Qor8u* pBuffer) {
  return qor::initialise(roiSize, kernelSize, sigma, borderType, dataType, numChannels, pSpec, pBuffer);
}
