// Opening, closing, hats and gradient, from dilation and erosion.
//
// Both stages go through the image in bands of rows, so that what the first one makes is still in the cache when the
// second one reads it.
#include <string.h>

#include "frame/bodies.h"
#include "frame/checks.h"
#include "morph/mask_filter.h"
#include "morph/morph_state.h"
#include "morph/packed.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- records: a header, then those of the mask as given and of the turned one. They may start at any byte.

struct Header {
  QoriSize size;  // of the region that working memory is sized for
  QoriSize maskSize;
};
constexpr int64_t firstRecordAt = 32;
static_assert(sizeof(Header) <= firstRecordAt);

constexpr int64_t compoundRecordBytes(QoriSize maskSize) { return firstRecordAt + 2 * maskRecordBytes(maskSize); }

// What a record says.
struct CompoundRecord {
  QoriSize size;
  MorphRecord first, second;

  explicit CompoundRecord(const QoriMorphAdvState* record) {
    const auto* const bytes = reinterpret_cast<const Qor8u*>(record);
    Header header;
    memcpy(&header, bytes, sizeof header);
    size = header.size;
    first = recordAt(bytes + firstRecordAt);
    second = recordAt(bytes + firstRecordAt + maskRecordBytes(header.maskSize));
  }
};

void makeCompoundRecord(void* record, QoriSize size, const Qor8u* elements, QoriSize maskSize, QoriPoint anchor) {
  const Header header = {size, maskSize};
  memcpy(record, &header, sizeof header);
  Qor8u *const first = static_cast<Qor8u*>(record) + firstRecordAt, *const second = first + maskRecordBytes(maskSize);
  makeRecord(first, size.width, elements, maskSize, anchor);
  // Turned at its own place.
  Qor8u* const turned = second + maskElementsAt;
  const ptrdiff_t last = ptrdiff_t{maskSize.width} * maskSize.height - 1;
  for (ptrdiff_t i = 0; i <= last; ++i) turned[i] = elements[last - i];
  makeRecord(second, size.width, turned, maskSize, {maskSize.width - 1 - anchor.x, maskSize.height - 1 - anchor.y});
}

// Rows of the image between the stages, one of them in bytes.
template <class N>
constexpr N temporaryRow(const MorphForm& form, N pixels) {
  return (pixels * static_cast<N>(form.sampleBytes * form.channels) + 31) & ~N{31};
}
template <class N>
constexpr N temporaryBytes(const MorphForm& form, QoriSize size, QoriSize maskSize) {
  const N width = static_cast<N>(size.width) + static_cast<N>(maskSize.width) - 1;
  const N height = static_cast<N>(size.height) + static_cast<N>(maskSize.height) - 1;
  return temporaryRow(form, width) * height;
}

MorphSizes compoundSizes(const MorphForm& form, QoriSize size, QoriSize maskSize) {
  const MorphSizes one = morphSizes(form, size.width, maskSize);
  return {static_cast<int>(2 * static_cast<Qor32u>(one.record) + 32),
          static_cast<int>(2 * static_cast<Qor32u>(one.buffer) + temporaryBytes<Qor32u>(form, size, maskSize))};
}

QorStatus reportSizes(const MorphForm& form, QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize) {
  const QorStatus status = firstFailure(nullCheck(pSpecSize, pBufferSize), sizeCheck(roiSize), sizeCheck(maskSize));
  if (status != qorStsNoErr) return status;
  const MorphSizes sizes = compoundSizes(form, roiSize, maskSize);
  *pSpecSize = sizes.record;
  *pBufferSize = sizes.buffer;
  return qorStsNoErr;
}

QorStatus init(QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize, QoriMorphAdvState* pMorphSpec,
               const Qor8u* pBuffer) {
  const QorStatus status = firstFailure(nullCheck(pMask, pMorphSpec, pBuffer), sizeCheck(roiSize), sizeCheck(maskSize));
  if (status != qorStsNoErr) return status;
  makeCompoundRecord(pMorphSpec, roiSize, pMask, maskSize, centreOf(maskSize));
  return qorStsNoErr;
}

QorStatus allocate(QoriMorphAdvState** ppState, QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize,
                   QoriPoint anchor) {
  const QorStatus status =
      firstFailure(nullCheck(ppState, pMask), sizeCheck(roiSize), sizeCheck(maskSize), anchorCheck(anchor, maskSize));
  if (status != qorStsNoErr) return status;
  const int64_t bytes = compoundRecordBytes(maskSize);
  void* const block = bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
  if (block == nullptr) return qorStsMemAllocErr;
  makeCompoundRecord(block, roiSize, pMask, maskSize, anchor);
  *ppState = static_cast<QoriMorphAdvState*>(block);
  return qorStsNoErr;
}

QorStatus freeRecord(QoriMorphAdvState* pState) {
  if (pState == nullptr) return qorStsNullPtrErr;
  qorsFree(pState);
  return qorStsNoErr;
}

// ---- images of samples and of bits

template <class T, int channelCount>
struct Samples {
  using Source = SampleSource<T>;
  using Results = Plane<T>;
  using Taken = Difference<T>;
  static constexpr int channels = channelCount;
  static constexpr MorphForm form = sampleForm<T, channels>;

  static Source source(const Results& plane, const Sides& sides) {
    return {{{plane.first, plane.step}, sides, nullptr}, channels};
  }
  static ptrdiff_t rowBytes(ptrdiff_t pixels) { return pixels * channels * ptrdiff_t{sizeof(T)}; }
  // The plane whose pixel (x, y) stands at p.
  static Results placed(Qor8u* p, int step, ptrdiff_t x, ptrdiff_t y) {
    return {reinterpret_cast<T*>(p - y * step - rowBytes(x)), step};
  }
  static Taken sourceMinus(const Source& source, const Results& results) {
    return {true, source.image.image, {results.first, results.step}, results};
  }
  static Taken minusSource(const Source& source, const Results& results) {
    return {true, {results.first, results.step}, source.image.image, results};
  }
  // Of the gradient: where dilation and erosion go to, and how one is taken from the other.
  static Results dilatedTo(const Results& results, const Results&) { return results; }
  static Results erodedTo(const Results&, const Results& band) { return band; }
  static Taken minus(const Results& dilated, const Results& eroded) {
    return {true, {dilated.first, dilated.step}, {eroded.first, eroded.step}, dilated};
  }
};

struct Bits {
  using Source = BitSource;
  using Results = BitPlane<Qor8u>;
  using Taken = BitDifference;
  static constexpr MorphForm form = packedForm;

  static Source source(const Results& plane, const Sides& sides) {
    return {{plane.first, plane.step, plane.bit}, sides};
  }
  static ptrdiff_t rowBytes(ptrdiff_t pixels) { return (pixels + 7) >> 3; }
  static Results placed(Qor8u* p, int step, ptrdiff_t x, ptrdiff_t y) { return {p - y * step, step, -x}; }
  static Taken sourceMinus(const Source& source, const Results&) { return {true, source.plane, true}; }
  static Taken minusSource(const Source& source, const Results&) { return {true, source.plane, false}; }
  // The difference is taken as the erosion is stored, which may come in several passes over the results.
  static Results dilatedTo(const Results&, const Results& band) { return band; }
  static Results erodedTo(const Results& results, const Results&) { return results; }
  static Taken minus(const Results& dilated, const Results&) {
    return {true, {dilated.first, dilated.step, dilated.bit}, true};
  }
};

// ---- stages

// An operation on its way: a source seen through its border, and what the checks have let pass.
template <class Images>
class Compound {
 public:
  using Source = typename Images::Source;
  using Results = typename Images::Results;
  using Taken = typename Images::Taken;

  Compound(const Source& source, const Results& results, QoriSize size, const CompoundRecord& record, Qor8u* pBuffer)
      : source_(source),
        results_(results),
        size_(size),
        record_(record),
        memory_(memoryOf(pBuffer, compoundSizes(Images::form, record.size, record.first.mask.size).buffer)) {}

  // By the mask as given, then by the turned one, with the difference taken from that.
  template <class First>
  QorStatus runTwoStages(const Taken& taken) {
    const MorphRecord &first = record_.first, &second = record_.second;
    const Area grown = grownArea(second.mask);
    if (!fits(grown) || !layBand(grown.width(), bandRows() + ptrdiff_t{second.mask.size.height} - 1)) {
      return qorStsSizeErr;
    }
    if (first.shape.kind == MaskKind::empty) {
      filter<First>(source_, first, whole(), results_, taken);
      return qorStsNoErr;
    }
    // The band begins with row `base`; rows before `made` are there.
    ptrdiff_t base = grown.top, made = grown.top;
    for (ptrdiff_t y = 0; y < size_.height; y += bandRows()) {
      const Area area = {0, y, size_.width, y + bandRows() < size_.height ? y + bandRows() : size_.height};
      const ptrdiff_t needed = y - second.mask.anchor.y;
      if (needed > base) {
        memmove(band_, band_ + (needed - base) * step_, static_cast<size_t>((made - needed) * step_));
        base = needed;
      }
      const Results between = Images::placed(band_, step_, grown.left, base);
      const ptrdiff_t reach = ptrdiff_t{second.mask.size.height} - 1 - second.mask.anchor.y;
      const ptrdiff_t end = area.bottom + reach < grown.bottom ? area.bottom + reach : grown.bottom;
      if (end > made) {
        filter<First>(source_, first, {grown.left, made, grown.right, end}, between, {});
        made = end;
      }
      filter<typename First::Dual>(Images::source(between, source_.sides()), second, area, results_, taken);
    }
    return qorStsNoErr;
  }

  QorStatus runGradient() {
    const MorphRecord& record = record_.first;
    if (!fits(whole()) || !layBand(size_.width, bandRows())) return qorStsSizeErr;
    for (ptrdiff_t y = 0; y < size_.height; y += bandRows()) {
      const Area area = {0, y, size_.width, y + bandRows() < size_.height ? y + bandRows() : size_.height};
      const Results band = Images::placed(band_, step_, 0, y);
      const Results dilated = Images::dilatedTo(results_, band), eroded = Images::erodedTo(results_, band);
      filter<Highest>(source_, record, area, dilated, {});
      filter<Lowest>(source_, record, area, eroded, Images::minus(dilated, eroded));
    }
    return qorStsNoErr;
  }

 private:
  template <class Op>
  void filter(const Source& source, const MorphRecord& record, const Area& area, const Results& results,
              const Taken& taken) const {
    filterMask<Op>(source, record.mask, record.shape, area, results, taken, rest_);
  }

  Area whole() const { return {0, 0, size_.width, size_.height}; }

  // What the second stage reads: pixels in memory beside the region have to be made too.
  Area grownArea(const Mask& mask) const {
    const Sides& sides = source_.sides();
    const auto reach = [](Edge edge, int pixels) { return ptrdiff_t{edge == Edge::memory ? pixels : 0}; };
    return {-reach(sides.columns.low, mask.anchor.x), -reach(sides.rows.low, mask.anchor.y),
            size_.width + reach(sides.columns.high, mask.size.width - 1 - mask.anchor.x),
            size_.height + reach(sides.rows.high, mask.size.height - 1 - mask.anchor.y)};
  }

  // Rows of results that are made at a time. Each time the rows of a mask less one are combined anew, so there are some
  // times as many; and whole heights of it, which rectangles are made by.
  ptrdiff_t bandRows() const {
    constexpr ptrdiff_t few = 64;
    const ptrdiff_t height = record_.first.mask.size.height, times = few / height + 1;
    const ptrdiff_t rows = (times > 4 ? times : 4) * height;
    return rows < size_.height ? rows : size_.height;
  }

  // Whether an image of that area could stand in the memory that the reported size means for it.
  bool fits(const Area& area) const {
    const auto row = static_cast<uint64_t>(temporaryRow<int64_t>(Images::form, area.width()));
    const auto all =
        static_cast<uint64_t>(temporaryBytes<int64_t>(Images::form, record_.size, record_.first.mask.size));
    return static_cast<uint64_t>(area.bottom - area.top) <= all / row;
  }

  // A band between the stages, and behind it what the stages work with. False where the reported size has wrapped.
  bool layBand(ptrdiff_t width, ptrdiff_t rows) {
    const int64_t step = roundUpTo(Images::rowBytes(width), ownRowAlignment);
    int64_t restBytes = 0;
    const auto lay = [&](ScratchParts& parts) {
      band_ = parts.take<Qor8u>(rows * step, ownRowAlignment);
      rest_ = {parts.take<Qor8u>(restBytes), restBytes};
    };
    const int64_t bandBytes = bytesOf(lay);
    if (step > topOf<Qor32s> || bandBytes > memory_.bytes) return false;
    restBytes = memory_.bytes - bandBytes;
    step_ = static_cast<int>(step);
    ScratchParts parts(memory_.block, memory_.bytes, memory_.bytes);
    lay(parts);
    return true;
  }

  const Source& source_;
  Results results_;
  QoriSize size_;
  const CompoundRecord& record_;
  Memory memory_, rest_ = {};
  Qor8u* band_ = nullptr;
  int step_ = 0;
};

enum class Operation { open, close, tophat, blackhat, gradient };

template <Operation operation, class Images>
QorStatus run(const typename Images::Source& source, const typename Images::Results& results, QoriSize size,
              const QoriMorphAdvState* record, Qor8u* pBuffer) {
  const CompoundRecord said(record);
  if (size.width > said.size.width) return qorStsSizeErr;
  Compound<Images> compound(source, results, size, said, pBuffer);
  switch (operation) {
    case Operation::open:
      return compound.template runTwoStages<Lowest>({});
    case Operation::close:
      return compound.template runTwoStages<Highest>({});
    case Operation::tophat:
      return compound.template runTwoStages<Lowest>(Images::sourceMinus(source, results));
    case Operation::blackhat:
      return compound.template runTwoStages<Highest>(Images::minusSource(source, results));
    default:
      return compound.runGradient();
  }
}

template <Operation operation, int channels, class T>
QorStatus runSamples(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,
                     const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer) {
  const QorStatus status =
      borderCallCheck<T, channels>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pMorphSpec, pBuffer);
  if (status != qorStsNoErr) return status;
  const SampleSource<T> source = {{{pSrc, srcStep}, morphologyBorders.sides(borderType, roiSize), nullptr}, channels};
  return run<operation, Samples<T, channels>>(source, {pDst, dstStep}, roiSize, pMorphSpec, pBuffer);
}

template <Operation operation>
QorStatus runBits(const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep, int dstBitOffset,
                  QoriSize roiSize, QoriBorderType borderType, const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer) {
  const QorStatus status = packedCallCheck(pSrc, srcStep, srcBitOffset, pDst, dstStep, dstBitOffset, roiSize,
                                           borderType, pMorphSpec, pBuffer);
  if (status != qorStsNoErr) return status;
  const BitSource source = {{pSrc, srcStep, srcBitOffset}, morphologyBorders.sides(borderType, roiSize)};
  return run<operation, Bits>(source, {pDst, dstStep, dstBitOffset}, roiSize, pMorphSpec, pBuffer);
}

}  // namespace
}  // namespace qor

// ---- bodies

#define QOR_COMPOUND_RECORD(form, description)                                                                  \
  QOR_BODY(qoriMorphAdvGetSize_##form)(QoriSize roiSize, QoriSize maskSize, int* pSpecSize, int* pBufferSize) { \
    return qor::reportSizes(description, roiSize, maskSize, pSpecSize, pBufferSize);                            \
  }                                                                                                             \
  QOR_BODY(qoriMorphAdvInit_##form)                                                                             \
  (QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize, QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer) {    \
    return qor::init(roiSize, pMask, maskSize, pMorphSpec, pBuffer);                                            \
  }
#define QOR_COMPOUND_BODY(name, operation, T, channels)                                                            \
  QOR_BODY(name)                                                                                                   \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType, T,               \
   const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer) {                                                          \
    return qor::runSamples<qor::Operation::operation, channels>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, \
                                                                pMorphSpec, pBuffer);                              \
  }
#define QOR_COMPOUND_PACKED_BODY(name, operation)                                                                     \
  QOR_BODY(name)                                                                                                      \
  (const Qor8u* pSrc, int srcStep, int srcBitOffset, Qor8u* pDst, int dstStep, int dstBitOffset, QoriSize roiSize,    \
   QoriBorderType borderType, Qor8u, const QoriMorphAdvState* pMorphSpec, Qor8u* pBuffer) {                           \
    return qor::runBits<qor::Operation::operation>(pSrc, srcStep, srcBitOffset, pDst, dstStep, dstBitOffset, roiSize, \
                                                   borderType, pMorphSpec, pBuffer);                                  \
  }

#define QOR_MORPH_BORDER(form, T, channels)                                \
  QOR_COMPOUND_RECORD(form, (qor::sampleForm<T, channels>))                \
  QOR_COMPOUND_BODY(qoriMorphOpenBorder_##form, open, T, channels)         \
  QOR_COMPOUND_BODY(qoriMorphCloseBorder_##form, close, T, channels)       \
  QOR_COMPOUND_BODY(qoriMorphTophatBorder_##form, tophat, T, channels)     \
  QOR_COMPOUND_BODY(qoriMorphBlackhatBorder_##form, blackhat, T, channels) \
  QOR_COMPOUND_BODY(qoriMorphGradientBorder_##form, gradient, T, channels)
#define QOR_MORPH_PACKED(form)                                       \
  QOR_COMPOUND_RECORD(form, qor::packedForm)                         \
  QOR_COMPOUND_PACKED_BODY(qoriMorphOpenBorder_##form, open)         \
  QOR_COMPOUND_PACKED_BODY(qoriMorphCloseBorder_##form, close)       \
  QOR_COMPOUND_PACKED_BODY(qoriMorphTophatBorder_##form, tophat)     \
  QOR_COMPOUND_PACKED_BODY(qoriMorphBlackhatBorder_##form, blackhat) \
  QOR_COMPOUND_PACKED_BODY(qoriMorphGradientBorder_##form, gradient)
#define QOR_MORPH_REPLICATE(form, T, channels)                                                                \
  QOR_COMPOUND_RECORD(form, (qor::sampleForm<T, channels>))                                                   \
  QOR_COMPOUND_BODY(qoriMorphOpenBorder_##form, open, T, channels)                                            \
  QOR_COMPOUND_BODY(qoriMorphCloseBorder_##form, close, T, channels)                                          \
  QOR_COMPOUND_BODY(qoriMorphTophatBorder_##form, tophat, T, channels)                                        \
  QOR_COMPOUND_BODY(qoriMorphBlackhatBorder_##form, blackhat, T, channels)                                    \
  QOR_COMPOUND_BODY(qoriMorphGradientBorder_##form, gradient, T, channels)                                    \
  QOR_BODY(qoriMorphAdvInitAlloc_##form)                                                                      \
  (QoriMorphAdvState * *ppState, QoriSize roiSize, const Qor8u* pMask, QoriSize maskSize, QoriPoint anchor) { \
    return qor::allocate(ppState, roiSize, pMask, maskSize, anchor);                                          \
  }
#include "morph/forms.def"

QOR_BODY(qoriMorphAdvFree)(QoriMorphAdvState* pState) { return qor::freeRecord(pState); }
