// Records of dilation and erosion: a mask, its shape, and in those that bring their own working memory, that.
#pragma once

#include "frame/scratch.h"
#include "morph/mask_shape.h"
#include "morph/sides.h"

namespace qor::inline QOR_LEVEL {

// What sizes depend on.
struct MorphForm {
  int sampleBytes;  // 1 where pixels are bits
  int channels;
  bool packed;

  constexpr bool isWord() const { return sampleBytes == 2; }
};
template <class T, int channels>
constexpr MorphForm sampleForm = {sizeof(T), channels, false};
constexpr MorphForm packedForm = {1, 1, true};

constexpr int maskElementsAt = 96;

// ---- sizes: reported ones are counted in 32 bits and wrap

// Working memory of an extremum over a rectangle; twice as much in 16 bits.
template <class N>
constexpr N rectangleMemory(const MorphForm& form, int roiWidth, QoriSize maskSize) {
  const N row = static_cast<N>(roiWidth) * static_cast<N>(form.sampleBytes * form.channels);
  const N height = static_cast<N>(maskSize.height), bytes = 2 * height * (row + 32) + 32 * height + 32;
  return form.isWord() ? 2 * bytes : bytes;
}

struct MorphSizes {
  int record;  // of the Border operations
  int buffer;
};
MorphSizes morphSizes(const MorphForm& form, int roiWidth, QoriSize maskSize);

// What the caller's scratch has, by what was reported for the record's width.
inline Memory memoryOf(Qor8u* pBuffer, int reported) { return {pBuffer, reported > 0 ? reported : 0}; }

// ---- records: a header, the mask's elements, and perhaps memory to work in. They may start at any byte and hold no
// addresses.

// What a record says.
struct MorphRecord {
  int roiWidth;  // the largest width of a region
  Mask mask;
  MaskShape shape;
  Memory memory;  // of its own, perhaps empty
};

// Bytes up to the end of the elements.
constexpr int64_t maskRecordBytes(QoriSize maskSize) {
  return maskElementsAt + int64_t{maskSize.width} * maskSize.height;
}

MorphRecord recordAt(const void* record);

// Makes a record. Where the bytes of the whole are given, what lies behind the elements becomes memory of its own,
// unless the shape of the mask forbids to write there.
void makeRecord(void* record, int roiWidth, const Qor8u* elements, QoriSize maskSize, QoriPoint anchor,
                int64_t bytes = 0);

constexpr QoriPoint centreOf(QoriSize maskSize) { return {(maskSize.width - 1) >> 1, (maskSize.height - 1) >> 1}; }

constexpr QorStatus anchorCheck(QoriPoint anchor, QoriSize maskSize) {
  const bool inside = anchor.x >= 0 && anchor.x < maskSize.width && anchor.y >= 0 && anchor.y < maskSize.height;
  return inside ? qorStsNoErr : qorStsAnchorErr;
}

// ---- checks that all operations with a border share, up to the border

template <class T, int channels>
QorStatus borderCallCheck(const T* pSrc, int srcStep, const T* pDst, int dstStep, QoriSize roiSize,
                          QoriBorderType borderType, const void* record, const Qor8u* pBuffer) {
  return firstFailure(nullCheck(pSrc, pDst, record, pBuffer), sizeCheck(roiSize),
                      stepCheck<T>(int64_t{roiSize.width} * channels, srcStep, dstStep), evenCheck<T>(srcStep, dstStep),
                      morphologyBorders.check(borderType));
}
inline QorStatus packedCallCheck(const Qor8u* pSrc, int srcStep, int srcBitOffset, const Qor8u* pDst, int dstStep,
                                 int dstBitOffset, QoriSize roiSize, QoriBorderType borderType, const void* record,
                                 const Qor8u* pBuffer) {
  return firstFailure(nullCheck(pSrc, pDst, record, pBuffer), sizeCheck(roiSize),
                      srcBitOffset < 0 || dstBitOffset < 0 ? qorStsSizeErr : qorStsNoErr,
                      stepCheck<Qor8u>((int64_t{roiSize.width} + 7) >> 3, srcStep, dstStep),
                      morphologyBorders.check(borderType));
}
constexpr QorStatus widthCheck(int width, int most) { return width > most ? qorStsSizeErr : qorStsNoErr; }

}  // namespace qor
