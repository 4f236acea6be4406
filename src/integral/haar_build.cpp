// Haar stages: building, size of the window, freeing.
#include <new>

#include "frame/alloc.h"
#include "frame/bodies.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "integral/haar.h"

namespace qor::inline QOR_LEVEL {
namespace {

// What a builder is given: one rectangle and weight after the other over all features, one of the others a feature.
template <class V>
struct HaarInput {
  const QoriRect* rects;
  const V* weights;
  const V *thresholds, *val1, *val2;
  const int* counts;
  int length;
};

template <class V>
struct Upright {
  using Record = UprightHaarRecord<V>;
  static constexpr bool tilted = false;

  static bool valid(const QoriRect& r) { return r.x >= 0 && r.y >= 0 && r.width >= 1 && r.height >= 1; }
  static QoriRect boundStart(const QoriRect& r) { return r; }
  static HaarRectangle<V> rectangle(const QoriRect& r, V weight) {
    const Qor32s right = wrappedSum(r.x, r.width), bottom = wrappedSum(r.y, r.height);
    return {{right, bottom}, {r.x, bottom}, {right, r.y}, {r.x, r.y}, weight};
  }
};

template <class V>
struct Tilted {
  using Record = HaarRecord<V>;
  static constexpr bool tilted = true;

  // The left corner may stand one column left of the table's origin, which apply places at column 1.
  static bool valid(const QoriRect& r) { return Upright<V>::valid(r) && r.height - 1 <= r.x; }
  static QoriRect boundStart(const QoriRect& r) {
    return {r.x, r.y, wrappedDifference(r.width, r.height), wrappedSum(r.width, r.height)};
  }
  static HaarRectangle<V> rectangle(const QoriRect& r, V weight) {
    const Qor32s left = wrappedDifference(r.x, r.height);
    return {{wrappedSum(left, r.width), wrappedSum(r.y, r.width, r.height)},
            {left, wrappedSum(r.y, r.height)},
            {wrappedSum(r.x, r.width), wrappedSum(r.y, r.width)},
            {r.x, r.y},
            weight};
  }
};

// Copies the input into a block that has room for all of it.
template <class V, class Form>
class Builder {
 public:
  Builder(const HaarInput<V>& in, typename Form::Record* record)
      : in_(in),
        record_(record),
        feature_(reinterpret_cast<HaarFeature<V>*>(record + 1)),
        rect_(reinterpret_cast<HaarRectangle<V>*>(feature_ + in.length)) {
    record->features = feature_;
    if (in.length > 0) startBound(Form::boundStart(in.rects[0]));
  }

  // Copies, in input order, the features whose number of rectangles is chosen. False at a rectangle that is not valid.
  template <class Chosen>
  bool copy(Chosen chosen) {
    ptrdiff_t next = 0;
    for (int i = 0; i < in_.length; ++i) {
      const ptrdiff_t first = next;
      next += in_.counts[i];
      if (chosen(in_.counts[i]) && !copyFeature(i, first)) return false;
    }
    return true;
  }

  Qor32s copied() const { return static_cast<Qor32s>(feature_ - record_->features); }

  void finishBound() {
    record_->boundWidth = wrappedDifference(record_->boundWidth, record_->boundX);
    record_->boundHeight = wrappedDifference(record_->boundHeight, record_->boundY);
  }

 private:
  bool copyFeature(int i, ptrdiff_t first) {
    const Qor32u id = static_cast<Qor32u>(i) << 8 | (Form::tilted ? 1 : 0);
    new (feature_++) HaarFeature<V>{in_.counts[i], rect_, in_.thresholds[i], in_.val1[i], in_.val2[i], id};
    for (ptrdiff_t k = first; k < first + in_.counts[i]; ++k) {
      const QoriRect& r = in_.rects[k];
      if (!Form::valid(r)) return false;
      new (rect_++) HaarRectangle<V>(Form::rectangle(r, in_.weights[k]));
      extendBound(r);
    }
    return true;
  }

  void startBound(const QoriRect& r) {
    record_->boundX = r.x;
    record_->boundY = r.y;
    record_->boundWidth = r.width;
    record_->boundHeight = r.height;
  }

  // Until the end, width and height hold the right and lower edge of what extended them, or the size they started as.
  void extendBound(const QoriRect& r) {
    HaarRecord<V>& b = *record_;
    if (r.x < b.boundX) b.boundX = r.x;
    if (r.y < b.boundY) b.boundY = r.y;
    const Qor32s right = wrappedSum(r.x, r.width), bottom = wrappedSum(r.y, r.height);
    if (right > wrappedSum(b.boundX, b.boundWidth)) b.boundWidth = right;
    if (bottom > wrappedSum(b.boundY, b.boundHeight)) b.boundHeight = bottom;
  }

  const HaarInput<V>& in_;
  typename Form::Record* record_;
  HaarFeature<V>* feature_;
  HaarRectangle<V>* rect_;
};

// Features in input order.
template <class V>
bool fill(const HaarInput<V>& in, HaarRecord<V>* record) {
  Builder<V, Tilted<V>> build(in, record);
  if (!build.copy([](int) { return true; })) return false;
  build.finishBound();
  record->tiltFlag = 1;
  record->counts[0] = record->rectCount;
  record->counts[1] = record->counts[2] = 0;
  return true;
}

bool allMinusOne(const HaarInput<Qor32f>& in) {
  ptrdiff_t first = 0;
  for (int i = 0; i < in.length; first += in.counts[i++]) {
    if (!(in.weights[first] > -2 && in.weights[first] <= -1)) return false;
  }
  return true;
}

// Features of 2 rectangles first, then those of 3, then the others.
template <class V>
bool fill(const HaarInput<V>& in, UprightHaarRecord<V>* record) {
  Builder<V, Upright<V>> build(in, record);
  if (!build.copy([](int n) { return n == 2; })) return false;
  const Qor32s twos = build.copied();
  if (!build.copy([](int n) { return n == 3; })) return false;
  const Qor32s twosAndThrees = build.copied();
  if (!build.copy([](int n) { return n != 2 && n != 3; })) return false;
  build.finishBound();
  record->tiltFlag = 0;
  constexpr int total = uprightTotal<V>, shares = total == 0 ? 1 : 0;
  record->counts[total] = record->rectCount;
  record->counts[shares] = twos;
  record->counts[shares + 1] = twosAndThrees;
  if constexpr (std::is_same_v<V, Qor32f>) record->allMinusOne = allMinusOne(in);
  return true;
}

// Sum of the counts, or -1 when one of them is below 1.
template <class V>
int64_t rectanglesOf(const HaarInput<V>& in) {
  int64_t sum = 0;
  for (int i = 0; i < in.length; ++i) {
    if (in.counts[i] < 1) return -1;
    sum += in.counts[i];
  }
  return sum;
}

// The upright form in float refuses a rectangle before it allocates and leaves the caller's pointer as it is; the
// others find it while they copy and store a null pointer.
template <class Form, class V, class State>
QorStatus initAlloc(State** ppState, const HaarInput<V>& in) {
  const QorStatus status =
      firstFailure(nullCheck(ppState, in.rects, in.weights, in.thresholds, in.val1, in.val2, in.counts),
                   in.length < 0 ? qorStsSizeErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const int64_t rects = rectanglesOf(in);
  if (rects < 0) return qorStsSizeErr;
  using Record = typename Form::Record;
  // At most 2^31 counts of 2^31 each, which 64 bits hold before they are turned into bytes but not always after.
  if (rects > topOf<int>) return qorStsMemAllocErr;
  const int64_t bytes = rowBytes<Record>(1) + rowBytes<HaarFeature<V>>(in.length) + rowBytes<HaarRectangle<V>>(rects);
  // Before the rectangles are read: no array of theirs need exist for a count that no block can hold.
  if (bytes > topOf<int>) return qorStsMemAllocErr;
  constexpr bool testedFirst = std::is_same_v<Form, Upright<Qor32f>>;
  if constexpr (testedFirst) {
    for (int64_t i = 0; i < rects; ++i) {
      if (!Form::valid(in.rects[i])) return qorStsBadArgErr;
    }
  }
  Qor8u* block = qorsMalloc_8u(static_cast<int>(bytes));
  if (block == nullptr) return qorStsMemAllocErr;
  Record* record = new (block) Record{};
  record->featureCount = in.length;
  record->rectCount = static_cast<Qor32s>(rects);
  if (!fill(in, record)) {
    qorsFree(block);
    *ppState = nullptr;
    return qorStsBadArgErr;
  }
  *ppState = static_cast<State*>(static_cast<HaarRecord<V>*>(record));
  return qorStsNoErr;
}

template <class State>
QorStatus freeRecord(State* pState) {
  if (pState == nullptr) return qorStsNullPtrErr;
  qorsFree(pState);
  return qorStsNoErr;
}

// The table's columns and rows that a window needs to the right of and below its pixel.
template <class State>
QorStatus windowSize(const State* pState, QoriSize* pSize) {
  if (const QorStatus status = nullCheck(pState, pSize); status != qorStsNoErr) return status;
  QoriSize size{0, 0};
  for (int f = 0; f < pState->featureCount; ++f) {
    const auto& feature = pState->features[f];
    for (int k = 0; k < feature.rectCount; ++k) {
      const auto& r = feature.rects[k];
      if (r.third.x > size.width) size.width = r.third.x;
      if (r.first.y > size.height) size.height = r.first.y;
    }
  }
  *pSize = size;
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriHaarClassifierInitAlloc_32f)
(QoriHaarClassifier_32f** ppState, const QoriRect* pFeature, const Qor32f* pWeight, const Qor32f* pThreshold,
 const Qor32f* pVal1, const Qor32f* pVal2, const int* pNum, int length) {
  return qor::initAlloc<qor::Upright<Qor32f>>(
      ppState, qor::HaarInput<Qor32f>{pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length});
}
QOR_BODY(qoriHaarClassifierInitAlloc_32s)
(QoriHaarClassifier_32s** ppState, const QoriRect* pFeature, const Qor32s* pWeight, const Qor32s* pThreshold,
 const Qor32s* pVal1, const Qor32s* pVal2, const int* pNum, int length) {
  return qor::initAlloc<qor::Upright<Qor32s>>(
      ppState, qor::HaarInput<Qor32s>{pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length});
}
QOR_BODY(qoriTiltedHaarClassifierInitAlloc_32f)
(QoriHaarClassifier_32f** ppState, const QoriRect* pFeature, const Qor32f* pWeight, const Qor32f* pThreshold,
 const Qor32f* pVal1, const Qor32f* pVal2, const int* pNum, int length) {
  return qor::initAlloc<qor::Tilted<Qor32f>>(
      ppState, qor::HaarInput<Qor32f>{pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length});
}
QOR_BODY(qoriTiltedHaarClassifierInitAlloc_32s)
(QoriHaarClassifier_32s** ppState, const QoriRect* pFeature, const Qor32s* pWeight, const Qor32s* pThreshold,
 const Qor32s* pVal1, const Qor32s* pVal2, const int* pNum, int length) {
  return qor::initAlloc<qor::Tilted<Qor32s>>(
      ppState, qor::HaarInput<Qor32s>{pFeature, pWeight, pThreshold, pVal1, pVal2, pNum, length});
}
QOR_BODY(qoriHaarClassifierFree_32f)(QoriHaarClassifier_32f* pState) { return qor::freeRecord(pState); }
QOR_BODY(qoriHaarClassifierFree_32s)(QoriHaarClassifier_32s* pState) { return qor::freeRecord(pState); }
QOR_BODY(qoriGetHaarClassifierSize_32f)(const QoriHaarClassifier_32f* pState, QoriSize* pSize) {
  return qor::windowSize(pState, pSize);
}
QOR_BODY(qoriGetHaarClassifierSize_32s)(const QoriHaarClassifier_32s* pState, QoriSize* pSize) {
  return qor::windowSize(pState, pSize);
}
