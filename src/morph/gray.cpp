// Dilation and erosion by a gray structuring element, straight from the definition: for some vectors of a row, all
// elements one after the other. An element that is the same everywhere makes the extremum of a rectangle, which is
// separable and takes the logarithm of its width.
#include "frame/alloc.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/row.h"
#include "frame/scratch.h"
#include "morph/grow.h"

namespace qor::inline QOR_LEVEL {
namespace {

// ---- records

// Followed by the elements, row by row. A record may stand anywhere, so it is copied out and in.
struct GrayHeader {
  const void* mask;
  QoriSize maskSize;
  QoriPoint anchor;
  QoriSize roiSize;
};
static_assert(sizeof(GrayHeader) == 32);

int64_t recordBytes(QoriSize maskSize) {
  return static_cast<int64_t>(sizeof(GrayHeader)) +
         rowBytes<Qor32s>(1) * maskSize.width * static_cast<int64_t>(maskSize.height);
}

QorStatus reportSize(QoriSize roiSize, const void* pMask, QoriSize maskSize, int* pSize) {
  const QorStatus status =
      firstFailure(nullCheck(pMask, static_cast<const void*>(pSize)), sizeCheck(roiSize), sizeCheck(maskSize));
  if (status == qorStsNoErr) *pSize = wrapped(static_cast<uint64_t>(recordBytes(maskSize)));
  return status;
}

QorStatus recordCheck(const void* pState, QoriSize roiSize, const void* pMask, QoriSize maskSize, QoriPoint anchor) {
  const bool inside = anchor.x >= 0 && anchor.y >= 0 && anchor.x < maskSize.width && anchor.y < maskSize.height;
  return firstFailure(nullCheck(pState, pMask), sizeCheck(roiSize), sizeCheck(maskSize),
                      inside ? qorStsNoErr : qorStsAnchorErr);
}

void fillRecord(void* record, QoriSize roiSize, const void* mask, QoriSize maskSize, QoriPoint anchor) {
  char* const elements = static_cast<char*>(record) + sizeof(GrayHeader);
  const GrayHeader header{elements, maskSize, anchor, roiSize};
  __builtin_memcpy(record, &header, sizeof header);
  __builtin_memcpy(elements, mask, static_cast<size_t>(recordBytes(maskSize)) - sizeof header);
}

QorStatus init(QoriMorphGrayState* pState, QoriSize roiSize, const void* pMask, QoriSize maskSize, QoriPoint anchor) {
  const QorStatus status = recordCheck(pState, roiSize, pMask, maskSize, anchor);
  if (status == qorStsNoErr) fillRecord(pState, roiSize, pMask, maskSize, anchor);
  return status;
}

QorStatus initAlloc(QoriMorphGrayState** ppState, QoriSize roiSize, const void* pMask, QoriSize maskSize,
                    QoriPoint anchor) {
  const QorStatus status = recordCheck(ppState, roiSize, pMask, maskSize, anchor);
  if (status != qorStsNoErr) return status;
  const int64_t bytes = recordBytes(maskSize);
  Qor8u* const record = bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
  if (record == nullptr) return qorStsMemAllocErr;
  fillRecord(record, roiSize, pMask, maskSize, anchor);
  *ppState = reinterpret_cast<QoriMorphGrayState*>(record);
  return qorStsNoErr;
}

QorStatus release(QoriMorphGrayState* pState) {
  if (pState == nullptr) return qorStsNullPtrErr;
  qorsFree(pState);
  return qorStsNoErr;
}

// ---- elements

// What an element adds to a sample, as samples of the image can: 8u elements raise or lower by a byte, since sums are
// clamped and the extremum of clamped sums is the clamped extremum; beyond 255 nothing changes any more.
template <class T>
struct Added {
  T by;
  bool lowers;
};
constexpr Added<Qor8u> addedBy(Qor8u, Qor32s m) {
  const bool lowers = m < 0;
  const Qor32u size = lowers ? 0 - static_cast<Qor32u>(m) : static_cast<Qor32u>(m);
  return {static_cast<Qor8u>(size < 255 ? size : 255), lowers};
}
constexpr Added<Qor32f> addedBy(Qor32f, Qor32f m) { return {m, false}; }

template <bool lowers, class V>
QOR_FORCE_INLINE V sumOf(V a, V by) {
  if constexpr (std::is_floating_point_v<typename V::Sample>) {
    return a + by;
  } else if constexpr (lowers) {
    return subSat(a, by);
  } else {
    return addSat(a, by);
  }
}

// Dilation and erosion. No sum counts that does not pass the start.
template <class G, class T>
struct Extremum {
  using Growth = G;
  static constexpr bool up = std::is_same_v<Growth, Up>;
  static constexpr T start = up ? bottomOf<T> : topOf<T>;

  static constexpr bool counts(Qor32s m) { return up ? m > -255 : m < 255; }
  // False for a NaN too, whose sums are NaN.
  static constexpr bool counts(Qor32f m) { return Growth::beyond(m, Growth::template nothing<Qor32f>); }
};

template <class T>
using ElementOf = std::conditional_t<std::is_floating_point_v<T>, T, Qor32s>;

// A mask in its record, at any address: elements as they were given, row by row.
template <class T>
struct Mask {
  const char* elements;
  QoriSize size;
  QoriPoint anchor;

  int64_t count() const { return static_cast<int64_t>(size.width) * size.height; }
  ElementOf<T> at(int64_t i) const {
    ElementOf<T> element;
    __builtin_memcpy(&element, elements + i * static_cast<int64_t>(sizeof element), sizeof element);
    return element;
  }
};

// As many elements as one pass over the image takes: those that raise first, in the order of the mask, those that lower
// last.
template <class Ext, class T>
class Elements {
 public:
  static constexpr int most = 256;

  explicit Elements(const Mask<T>& mask) : mask_(mask) {}

  // The next ones. False when there are no more.
  bool next() {
    raising_ = 0;
    lowering_ = most;
    for (; row_ < mask_.size.height; ++row_, column_ = 0) {
      for (; column_ < mask_.size.width; ++column_) {
        const ElementOf<T> m = mask_.at(int64_t{row_} * mask_.size.width + column_);
        if (!Ext::counts(m)) continue;
        if (raising_ == lowering_) return true;
        const Added<T> added = addedBy(T{}, m);
        const int e = added.lowers ? --lowering_ : raising_++;
        by_[e] = splat(added.by);
        at_[e] = {column_ - mask_.anchor.x, row_ - mask_.anchor.y};
      }
    }
    return raising_ > 0 || lowering_ < most;
  }

  // Numbers of the elements: those that raise and those that lower.
  struct Range {
    int first, end;
  };
  template <bool lowers>
  Range range() const {
    return lowers ? Range{lowering_, most} : Range{0, raising_};
  }
  // Calls f(e, lowers) for the number of every element.
  template <class F>
  void forEach(const F& f) const {
    for (int e = 0; e < raising_; ++e) f(e, std::false_type());
    for (int e = lowering_; e < most; ++e) f(e, std::true_type());
  }
  Vec<T> by(int e) const { return by_[e]; }
  QoriPoint at(int e) const { return at_[e]; }  // from the anchor

 private:
  Vec<T> by_[most];
  QoriPoint at_[most];
  int raising_ = 0, lowering_ = most;
  const Mask<T>& mask_;
  int row_ = 0, column_ = 0;
};

// ---- the general way

// Numbers for lookUp that give each lane of 16 bytes the lane d further on, or the last one on that side: those from
// entry lanes + d on.
template <class T>
struct ClampedLanes {
  static constexpr int lanes = Short<T>::lanes, size = static_cast<int>(sizeof(T));
  Qor8u bytes[3 * lanes * size];
  constexpr ClampedLanes() : bytes() {
    for (int e = 0; e < 3 * lanes; ++e) {
      const int lane = e < lanes ? 0 : e < 2 * lanes ? e - lanes : lanes - 1;
      for (int b = 0; b < size; ++b) bytes[e * size + b] = static_cast<Qor8u>(lane * size + b);
    }
  }
  Short<Qor8u> numbers(ptrdiff_t d) const {
    const ptrdiff_t near = d < -lanes ? -lanes : d > lanes ? lanes : d;
    return load<Short<Qor8u>>(bytes + (lanes + near) * size);
  }
};
template <class T>
constexpr ClampedLanes<T> clampedLanes;

template <class T>
constexpr T clampTo(T x, T low, T high) {
  return x < low ? low : x > high ? high : x;
}

template <class Ext, class T>
class DirectScan {
 public:
  DirectScan(Plane<const T> src, Plane<T> dst, QoriSize size, const Mask<T>& mask)
      : src_(src), dst_(dst), width_(size.width), height_(size.height), mask_(mask), elements_(mask) {}

  void run() {
    elements_.next();
    do {
      for (int y = 0; y < height_; ++y) scanRow(y);
      fresh_ = false;
    } while (elements_.next());
  }

 private:
  using Growth = typename Ext::Growth;
  using V = Vec<T>;
  static constexpr int lanes = V::lanes, shortLanes = Short<T>::lanes, atOnce = 8;

  void scanRow(int y) {
    elements_.forEach([&](int e, auto) {
      const QoriPoint at = elements_.at(e);
      const int64_t row = clampTo<int64_t>(int64_t{y} + at.y, 0, height_ - 1);
      rows_[e] = src_.row(static_cast<int>(row));
      from_[e] = rows_[e] + at.x;
    });
    T* const dst = dst_.row(y);
    // Where everything lies inside the row; without room for a vector there, all columns are ends.
    ptrdiff_t low = mask_.anchor.x, high = width_ - (mask_.size.width - 1 - mask_.anchor.x);
    if (high - low < lanes) low = high = width_;
    for (ptrdiff_t x = 0; x < low; x += shortLanes) scanEnd(dst, x);
    if (high - low >= atOnce * lanes) {
      scanInside<atOnce>(dst, low, high);
    } else if (high > low) {
      scanInside<1>(dst, low, high);
    }
    for (ptrdiff_t x = high; x < width_; x += shortLanes) scanEnd(dst, x);
  }

  // In blocks of so many vectors, of which the last may overlap its neighbour.
  template <int count>
  void scanInside(T* dst, ptrdiff_t x, ptrdiff_t end) const {
    const ptrdiff_t last = end - count * lanes;
    for (; x < last; x += count * lanes) scanBlock<count>(dst, x);
    scanBlock<count>(dst, last);
  }

  template <int count>
  QOR_FORCE_INLINE void scanBlock(T* dst, ptrdiff_t x) const {
    Block<T, count> best;
    if (fresh_) {
      for (V& v : best.v) v = splat(Ext::start);
    } else {
      best = loadBlock<count>(dst + x);
    }
    takeAll<false>(best, x);
    if constexpr (std::is_integral_v<T>) takeAll<true>(best, x);
    store(dst + x, best);
  }

  // Two elements at once share the loop's cost, and of floats the second's sum needs no register of its own.
  template <bool lowers, int count>
  QOR_FORCE_INLINE void takeAll(Block<T, count>& best, ptrdiff_t x) const {
    const auto [first, end] = elements_.template range<lowers>();
    int e = first;
    for (; e < end - 1; e += 2) take<lowers, 2>(best, e, x);
    if (e < end) take<lowers, 1>(best, e, x);
  }
  template <bool lowers, int together, int count>
  QOR_FORCE_INLINE void take(Block<T, count>& best, int e, ptrdiff_t x) const {
    for (int i = 0; i < count; ++i) {
      for (int j = 0; j < together; ++j) {
        const V there = load(from_[e + j] + x + i * lanes);
        best.v[i] = Growth::grown(sumOf<lowers>(there, elements_.by(e + j)), best.v[i]);
      }
    }
  }

  // A few columns from x on, or the row's last ones, wherever their elements lie.
  void scanEnd(T* dst, ptrdiff_t x) const {
    using S = Short<T>;
    const bool narrow = width_ < shortLanes;
    const ptrdiff_t columns = narrow ? width_ : shortLanes, lastBlock = width_ - columns;
    const ptrdiff_t first = x < lastBlock ? x : lastBlock;
    S best = fresh_ ? splat<S>(Ext::start) : loadFirst<S>(dst + first, columns);
    elements_.forEach([&]<bool lowers>(int e, std::bool_constant<lowers>) {
      const ptrdiff_t at = first + elements_.at(e).x, block = clampTo<ptrdiff_t>(at, 0, lastBlock);
      const S there = narrow ? repeatedRow(rows_[e]) : load<S>(rows_[e] + block);
      const S here = as<T>(lookUp(as<Qor8u>(there), clampedLanes<T>.numbers(at - block)));
      best = Growth::grown(sumOf<lowers>(here, firstShort(elements_.by(e))), best);
    });
    storeFirst(dst + first, columns, best);
  }

  // A row that does not fill 16 bytes, with its last sample repeated.
  Short<T> repeatedRow(const T* row) const {
    T samples[shortLanes];
    for (ptrdiff_t x = 0; x < shortLanes; ++x) samples[x] = row[x < width_ ? x : width_ - 1];
    return load<Short<T>>(samples);
  }

  Plane<const T> src_;
  Plane<T> dst_;
  ptrdiff_t width_;
  int height_;
  const Mask<T>& mask_;
  Elements<Ext, T> elements_;
  // Of every element: the row that it meets, and the sample there that it adds to column 0.
  const T* rows_[Elements<Ext, T>::most];
  const T* from_[Elements<Ext, T>::most];
  bool fresh_ = true;
};

// ---- equal elements

// A rectangle of one element. Along the rows its extremum comes by doubling; down the columns a window is a tail of one
// block of rows and a head of the next, blocks being as high as the rectangle. All this on strips of columns whose rows
// fit local memory, and for pieces of a rectangle that is too large for that.
template <class Ext, class T>
class FlatScan {
 public:
  FlatScan(Plane<const T> src, Plane<T> dst, QoriSize size, const Mask<T>& mask)
      : src_(src), dst_(dst), width_(size.width), height_(size.height), added_(addedBy(T{}, mask.at(0))) {
    rows_ = within(mask.size.height, mask.anchor.y, height_);
    columns_ = within(mask.size.width, mask.anchor.x, width_);
  }

  void run() {
    for (int64_t top = rows_.first; top < rows_.end; top += mostRows) {
      for (int64_t left = columns_.first; left < columns_.end; left += mostColumns) {
        scanPiece({top, least(top + mostRows, rows_.end)}, {left, least(left + mostColumns, columns_.end)});
        fresh_ = false;
      }
    }
  }

 private:
  using Growth = typename Ext::Growth;
  static constexpr int lanes = Vec<T>::lanes, sample = static_cast<int>(sizeof(T));
  static constexpr int mostRows = 64, mostColumns = 128;
  static constexpr int blockSamples = 16384 / sample, widestStrip = 1024 / sample;

  // Rows or columns of the rectangle, counted from the anchor.
  struct Range {
    int64_t first, end;
  };
  static constexpr int64_t least(int64_t a, int64_t b) { return a < b ? a : b; }
  // Those that meet another pixel than the next one does, somewhere in the image.
  static constexpr Range within(int size, int anchor, int64_t n) {
    return {-least(anchor, n - 1), least(int64_t{size} - anchor, n)};
  }

  void scanPiece(Range rows, Range columns) {
    const int64_t height = rows.end - rows.first;
    strip_ = least(widestStrip, blockSamples / height / lanes * lanes);
    for (int64_t x = 0; x < width_; x += strip_) scanStrip(rows, columns, x, least(strip_, width_ - x));
  }

  void scanStrip(Range rows, Range columns, int64_t x, int64_t n) {
    const int64_t height = rows.end - rows.first;
    const auto blockRow = [&](int64_t k) { return block_ + k * strip_; };
    // Row k of the block at output y is source row y + rows.first + k. A block leaves all rows of the next but the
    // last.
    const auto extremum = [&](int64_t y, T* to) {
      alongRow(y + rows.first, {columns.first + x, columns.end + x}, n, to);
    };
    for (int64_t k = 0; k < height - 1; ++k) extremum(k, blockRow(k));
    for (int64_t y = 0; y < height_; y += height) {
      extremum(y + height - 1, blockRow(height - 1));
      for (int64_t k = height - 2; k >= 0; --k) take(blockRow(k), blockRow(k + 1), n);
      finish(y, x, n, block_, block_);
      for (int64_t k = 1; k < height && y + k < height_; ++k) {
        extremum(y + height + k - 1, blockRow(k - 1));
        if (k == 1) {
          __builtin_memcpy(head_, block_, static_cast<size_t>(n) * sizeof(T));
        } else {
          take(head_, blockRow(k - 1), n);
        }
        finish(y + k, x, n, blockRow(k), head_);
      }
    }
  }

  static void take(T* to, const T* from, int64_t n) {
    for (int64_t i = 0; i < n; i += lanes) store(to + i, Growth::grown(load(from + i), load(to + i)));
  }

  // The extrema of n windows along a row, of which the first covers these columns. Samples behind the last are written
  // too, up to a vector.
  void alongRow(int64_t y, Range columns, int64_t n, T* to) {
    const int64_t width = columns.end - columns.first;
    copyColumns(src_.row(static_cast<int>(clampTo<int64_t>(y, 0, height_ - 1))), {columns.first, columns.end + n - 1});
    int64_t reach = 1;
    for (; 2 * reach <= width; reach *= 2) take(line_, line_ + reach, n + width - 2 * reach);
    for (int64_t i = 0; i < n; i += lanes) {
      store(to + i, Growth::grown(load(line_ + i), load(line_ + i + width - reach)));
    }
  }

  // NaN becomes what never counts.
  void copyColumns(const T* row, Range columns) {
    const auto cleaned = [](const T* p) {
      const Vec<T> a = load(p);
      return Block<T, 1>{std::is_integral_v<T> ? a : Growth::grown(a, splat(Growth::template nothing<T>))};
    };
    const Range inside{clampTo<int64_t>(columns.first, 0, width_), clampTo<int64_t>(columns.end, 0, width_)};
    T* to = line_ + (inside.first - columns.first);
    if (inside.first < inside.end) mapRow(to, inside.end - inside.first, cleaned, row + inside.first);
    T edge;
    if (columns.first < 0) {
      mapRow(&edge, 1, cleaned, row);
      for (T* p = line_; p < to; ++p) *p = edge;
    }
    if (columns.end > width_) {
      mapRow(&edge, 1, cleaned, row + width_ - 1);
      for (T *p = to + (inside.end - inside.first), *end = line_ + (columns.end - columns.first); p < end; ++p)
        *p = edge;
    }
  }

  // The extremum of two parts of a window, and the sum.
  void finish(int64_t y, int64_t x, int64_t n, const T* tail, const T* head) const {
    added_.lowers ? finishRow<true>(y, x, n, tail, head) : finishRow<false>(y, x, n, tail, head);
  }
  template <bool lowers>
  void finishRow(int64_t y, int64_t x, int64_t n, const T* tail, const T* head) const {
    T* const dst = dst_.row(static_cast<int>(y)) + x;
    const Vec<T> by = splat(added_.by), start = splat(Ext::start);
    const auto sum = [by](const T* a, const T* b) { return sumOf<lowers>(Growth::grown(load(a), load(b)), by); };
    if (fresh_) {
      const auto first = [=](const T* a, const T* b) { return Block<T, 1>{Growth::grown(sum(a, b), start)}; };
      mapRow(dst, n, first, tail, head);
    } else {
      const auto further = [=](const T* a, const T* b, const T* d) {
        return Block<T, 1>{Growth::grown(sum(a, b), load(d))};
      };
      mapRow(dst, n, further, tail, head, static_cast<const T*>(dst));
    }
  }

  Plane<const T> src_;
  Plane<T> dst_;
  int64_t width_, height_;
  Added<T> added_;
  Range rows_, columns_;
  int64_t strip_ = 0;
  bool fresh_ = true;
  // Rows have room for a vector behind their last sample, the line for that behind the widest reach.
  T block_[blockSamples + lanes];
  T head_[widestStrip + lanes];
  T line_[widestStrip + 2 * mostColumns + 2 * lanes] = {};
};

// ---- the operation

// Whether one sum of the extremum is the extremum of sums: all elements are the same, and more than a direct scan takes
// in the same time. A sum of zeros has a sign of its own only when -0 is added.
template <class Ext, class T>
bool isFlat(const Mask<T>& mask) {
  constexpr int64_t few = 9;
  const auto bitsOf = [](ElementOf<T> m) { return __builtin_bit_cast(Qor32u, m); };
  const ElementOf<T> first = mask.at(0);
  if (mask.count() <= few || !Ext::counts(first)) return false;
  if (std::is_floating_point_v<T> && bitsOf(first) == __builtin_bit_cast(Qor32u, -0.0F)) return false;
  for (int64_t i = 1; i < mask.count(); ++i) {
    if (bitsOf(mask.at(i)) != bitsOf(first)) return false;
  }
  return true;
}

template <class Growth, class T>
QorStatus grayMorphology(const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,
                         const QoriMorphGrayState* pState) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pDst, static_cast<const void*>(pState)), sizeCheck(roiSize),
                                        stepCheck<T>(roiSize.width, srcStep, dstStep), evenCheck<T>(srcStep, dstStep),
                                        borderType == qorBorderRepl ? qorStsNoErr : qorStsBadArgErr);
  if (status != qorStsNoErr) return status;
  GrayHeader header;
  __builtin_memcpy(&header, pState, sizeof header);
  if (roiSize.width > header.roiSize.width || roiSize.height > header.roiSize.height) return qorStsSizeErr;
  using Ext = Extremum<Growth, T>;
  const Mask<T> mask{static_cast<const char*>(header.mask), header.maskSize, header.anchor};
  const Plane src{pSrc, srcStep};
  const Plane dst{pDst, dstStep};
  if (isFlat<Ext>(mask)) {
    FlatScan<Ext, T>(src, dst, roiSize, mask).run();
  } else {
    DirectScan<Ext, T>(src, dst, roiSize, mask).run();
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_GRAY(T, Element, getSize, init_, initAlloc_, free_, dilate, erode)                                   \
  QOR_BODY(getSize)(QoriSize roiSize, const Element* pMask, QoriSize maskSize, int* pSize) {                     \
    return qor::reportSize(roiSize, pMask, maskSize, pSize);                                                     \
  }                                                                                                              \
  QOR_BODY(init_)                                                                                                \
  (QoriMorphGrayState * pState, QoriSize roiSize, const Element* pMask, QoriSize maskSize, QoriPoint anchor) {   \
    return qor::init(pState, roiSize, pMask, maskSize, anchor);                                                  \
  }                                                                                                              \
  QOR_BODY(initAlloc_)                                                                                           \
  (QoriMorphGrayState * *ppState, QoriSize roiSize, const Element* pMask, QoriSize maskSize, QoriPoint anchor) { \
    return qor::initAlloc(ppState, roiSize, pMask, maskSize, anchor);                                            \
  }                                                                                                              \
  QOR_BODY(free_)(QoriMorphGrayState * pState) { return qor::release(pState); }                                  \
  QOR_BODY(dilate)                                                                                               \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,                \
   const QoriMorphGrayState* pState) {                                                                           \
    return qor::grayMorphology<qor::Up>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pState);              \
  }                                                                                                              \
  QOR_BODY(erode)                                                                                                \
  (const T* pSrc, int srcStep, T* pDst, int dstStep, QoriSize roiSize, QoriBorderType borderType,                \
   const QoriMorphGrayState* pState) {                                                                           \
    return qor::grayMorphology<qor::Down>(pSrc, srcStep, pDst, dstStep, roiSize, borderType, pState);            \
  }
QOR_GRAY(Qor8u, Qor32s, qoriMorphGrayGetSize_8u_C1R, qoriMorphGrayInit_8u_C1R, qoriMorphGrayInitAlloc_8u_C1R,
         qoriMorphGrayFree_8u_C1R, qoriGrayDilateBorder_8u_C1R, qoriGrayErodeBorder_8u_C1R)
QOR_GRAY(Qor32f, Qor32f, qoriMorphGrayGetSize_32f_C1R, qoriMorphGrayInit_32f_C1R, qoriMorphGrayInitAlloc_32f_C1R,
         qoriMorphGrayFree_32f_C1R, qoriGrayDilateBorder_32f_C1R, qoriGrayErodeBorder_32f_C1R)
