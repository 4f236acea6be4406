// Points tracked from one pyramid to the next: Lucas-Kanade steps over a window, from the coarsest level to the finest.
#include <new>

#include "frame/bodies.h"
#include "frame/scratch.h"
#include "pyramid/flow_samples.h"

// What the public header leaves incomplete.
struct QoriOptFlowPyrLKState {
  int width, height;  // levels smaller than this have room for their gradients
  int slots;
  QorDataType dataType;
  int unused1;
  QorHintAlgorithm hint;
  int winSize;
  int unused2;
  Qor8u* pBuffer;
};
static_assert(sizeof(QoriOptFlowPyrLKState) == 40);

namespace qor::inline QOR_LEVEL {
namespace {

// ---- the record

// The block of a record: gradients of a level, patches of the previous image and its gradients, and of the next image
// what stands too near to its edge to be read where it is. Blocks reach beyond windows by less than `reach` samples.
template <class Kind>
struct FlowBlock {
  static constexpr int reach = 32;

  typename Kind::Gradient *levelX, *levelY;
  ptrdiff_t stride;
  typename Kind::Image* image;
  typename Kind::Gradient *gx, *gy;
  typename Kind::Sample* next;

  static auto layout(QoriSize size, int window) {
    return [=](ScratchParts& parts) {
      using Gradient = typename Kind::Gradient;
      const int64_t level = int64_t{size.width} * size.height + reach;
      FlowBlock b;
      b.stride = roundUpTo(window + 2, reach);
      const int64_t patch = b.stride * window + reach;
      b.levelX = parts.take<Gradient>(level, wideVectorBytes);
      b.levelY = parts.take<Gradient>(level, wideVectorBytes);
      b.image = parts.take<typename Kind::Image>(patch + 2 * b.stride, wideVectorBytes);
      b.gx = parts.take<Gradient>(patch, wideVectorBytes);
      b.gy = parts.take<Gradient>(patch, wideVectorBytes);
      b.next = parts.take<typename Kind::Sample>(patch + b.stride, wideVectorBytes);
      return b;
    };
  }
};

template <class T>
QorStatus initAlloc(QoriOptFlowPyrLKState** ppState, QoriSize roiSize, int winSize, QorHintAlgorithm hint,
                    QorDataType dataType) {
  const QorStatus status = firstFailure(nullCheck(ppState), lengthCheck(winSize), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  // Beyond these no block is within 31 bits, and nothing below overflows.
  constexpr int widest = 8000;
  if (winSize > widest || int64_t{roiSize.width} * roiSize.height > topOf<Qor32s>) return qorStsMemAllocErr;
  auto* const state = reinterpret_cast<QoriOptFlowPyrLKState*>(qorsMalloc_8u(sizeof(QoriOptFlowPyrLKState)));
  if (state == nullptr) return qorStsMemAllocErr;
  Qor8u* const block = allocateFor(FlowBlock<FlowKind<T>>::layout(roiSize, winSize));
  if (block == nullptr) {
    qorsFree(state);
    return qorStsMemAllocErr;
  }
  *ppState = new (state) QoriOptFlowPyrLKState{roiSize.width, roiSize.height, 1, dataType, 0, hint, winSize, 0, block};
  return qorStsNoErr;
}

QorStatus freeState(QoriOptFlowPyrLKState* pState) {
  if (const QorStatus status = nullCheck(pState); status != qorStsNoErr) return status;
  if (pState->pBuffer != nullptr) qorsFree(pState->pBuffer);
  qorsFree(pState);
  return qorStsNoErr;
}

// ---- windows

struct Span {
  int first, last;

  bool isEmpty() const { return last < first; }
  int length() const { return last - first + 1; }
  bool operator==(const Span&) const = default;
};
Span common(Span a, Span b) { return {a.first > b.first ? a.first : b.first, a.last < b.last ? a.last : b.last}; }

struct Area {
  Span x, y;

  bool isEmpty() const { return x.isEmpty() || y.isEmpty(); }
  QoriSize size() const { return {x.length(), y.length()}; }
  bool operator==(const Area&) const = default;
};

// A window and a sample more on every side, about a point. That the next image's window is placed with those samples
// too, which it does not need, makes it lie where the previous one's does, to the bit.
struct FramedWindow {
  WindowAxis x, y;

  FramedWindow(QoriPoint_32f centre, int window, QoriSize image)
      : x(centre.x, window + 2, image.width), y(centre.y, window + 2, image.height) {}

  // Samples of the window that lie between pixels of the image.
  Area inside(int window) const { return {inner(x, window), inner(y, window)}; }

 private:
  static Span inner(const WindowAxis& a, int window) { return common({0, window - 1}, {a.low - 1, a.high - 1}); }
};

struct Vector {
  Qor64f x, y;
};

QoriPoint_32f moved(QoriPoint_32f p, Vector by) {
  return {static_cast<Qor32f>(Qor64f{p.x} + by.x), static_cast<Qor32f>(Qor64f{p.y} + by.y)};
}
QoriPoint_32f scaledUp(QoriPoint_32f p, Qor64f s) {
  return {static_cast<Qor32f>(Qor64f{p.x} * s), static_cast<Qor32f>(Qor64f{p.y} * s)};
}
QoriPoint_32f scaledDown(QoriPoint_32f p, Qor64f s) {
  return {static_cast<Qor32f>(Qor64f{p.x} / s), static_cast<Qor32f>(Qor64f{p.y} / s)};
}

// ---- one point in one level

template <class T>
struct FlowLevel {
  Plane<const T> previous, next;
  QoriSize previousSize, nextSize;
  bool hasGradients;  // of the whole level, in the block
};

struct FlowLimits {
  int window, most;      // steps of a point
  Qor64f squaredLength;  // of a step that is the last
};

template <class T>
class PointTracker {
 public:
  enum class Outcome { found, outside, flat };

  PointTracker(const FlowLevel<T>& level, const FlowBlock<FlowKind<T>>& block, const FlowLimits& limits)
      : level_(level), block_(block), limits_(limits) {}

  // Takes the patches about a point of the previous image; false where nothing of its window is inside.
  bool takePrevious(QoriPoint_32f point) {
    const FramedWindow w(point, limits_.window, level_.previousSize);
    previous_ = w.inside(limits_.window);
    if (previous_.isEmpty()) return false;
    const int framed = limits_.window + 2;
    const Plane image{block_.image, static_cast<int>(rowBytes<typename Kind::Image>(block_.stride))};
    copyWindow(typename Kind::Blend(w.x.fraction, w.y.fraction), level_.previous, level_.previousSize, image,
               {framed, framed}, w.x, w.y);
    if (!level_.hasGradients) {
      Kind::patchGradients(block_.image, block_.gx, block_.gy, block_.stride, limits_.window);
      return true;
    }
    const int width = level_.previousSize.width;
    const ptrdiff_t at = (w.y.first + 1 + previous_.y.first) * width + w.x.first + 1 + previous_.x.first;
    const ptrdiff_t to = previous_.y.first * block_.stride + previous_.x.first;
    const auto take = [&](const Gradient* level, Gradient* patch) {
      Kind::blendGradients(Plane{level + at, static_cast<int>(rowBytes<Gradient>(width))}, patch + to, block_.stride,
                           previous_.size(), w.x.fraction, w.y.fraction);
    };
    take(block_.levelX, block_.gx);
    take(block_.levelY, block_.gy);
    return true;
  }

  // Moves the position in the next image to where it looks the same.
  Outcome follow(QoriPoint_32f& pos) {
    constexpr Qor64f singular = 2.220446049250313e-16, reversed = 0.0003452669770922512;
    const Qor64f far = Qor64f{static_cast<Qor64f>(level_.previousSize.width)} + level_.previousSize.height;
    Vector before{far, far};
    Area last{{0, -1}, {0, -1}};
    Totals<3> g{};
    for (int step = 0; step < limits_.most; ++step) {
      const FramedWindow w(pos, limits_.window, level_.nextSize);
      const Area area = both(w);
      if (area.isEmpty()) return Outcome::outside;
      const FlowWindow<Kind> window = windowOf(area);
      if (!(area == last)) g = Kind::matrix(window);
      last = area;
      const Totals<2> b = Kind::vector(window, nextOf(w, area));
      const Qor64f xx = g.of[0], xy = g.of[1], yy = g.of[2], det = xx * yy - xy * xy;
      if (det < singular) return Outcome::flat;
      const Vector d{(yy * b.of[0] - xy * b.of[1]) / det, (xx * b.of[1] - xy * b.of[0]) / det};
      pos = moved(pos, d);
      if (d.x * d.x + d.y * d.y < limits_.squaredLength) break;
      if (__builtin_fabs(d.x + before.x) < reversed && __builtin_fabs(d.y + before.y) < reversed) {
        pos = moved(pos, {-0.5 * d.x, -0.5 * d.y});
        break;
      }
      before = d;
    }
    return Outcome::found;
  }

  // Root of the mean squared difference at a position.
  Qor32f errorAt(QoriPoint_32f pos) {
    const FramedWindow w(pos, limits_.window, level_.nextSize);
    const Area area = both(w);
    if (area.isEmpty()) return 0;
    const Qor64f e = Kind::error(windowOf(area), nextOf(w, area));
    const Qor64f samples = Qor64f{static_cast<Qor64f>(area.x.length())} * area.y.length();
    return e > 0 ? static_cast<Qor32f>(__builtin_sqrt(e / samples) * Kind::unit) : 0;
  }

 private:
  using Kind = FlowKind<T>;
  using Gradient = typename Kind::Gradient;

  Area both(const FramedWindow& w) const {
    const Area next = w.inside(limits_.window);
    return {common(previous_.x, next.x), common(previous_.y, next.y)};
  }

  FlowWindow<Kind> windowOf(const Area& area) const {
    const ptrdiff_t at = area.y.first * block_.stride + area.x.first;
    return {block_.image + at + block_.stride + 1, block_.gx + at, block_.gy + at, block_.stride, area.size()};
  }

  // Copied, with a row and a column more, where a block would be read beyond the image's last column.
  NextSamples<Kind> nextOf(const FramedWindow& w, const Area& area) const {
    const int64_t x = w.x.first + 1 + area.x.first, y = w.y.first + 1 + area.y.first;
    const typename Kind::Blend blend(w.x.fraction, w.y.fraction);
    const Plane<const T> image = level_.next;
    const T* const first = image.row(static_cast<int>(y)) + x;
    if (x + roundUpTo(area.x.length(), Kind::block) < level_.nextSize.width) return {{first, image.step}, blend};
    const size_t bytes = static_cast<size_t>(area.x.length() + 1) * sizeof(T);
    for (int j = 0; j <= area.y.length(); ++j)
      __builtin_memcpy(block_.next + j * block_.stride, rowAt(first, image.step, j), bytes);
    return {{block_.next, static_cast<int>(rowBytes<T>(block_.stride))}, blend};
  }

  FlowLevel<T> level_;
  FlowBlock<Kind> block_;
  FlowLimits limits_;
  Area previous_{};
};

// ---- all points

struct FlowPoints {
  const QoriPoint_32f* previous;
  QoriPoint_32f* next;
  Qor8s* status;
  Qor32f* error;
  int count;
};

template <class T>
constexpr QorStatus levelCheck(Plane<const T> image, QoriSize size) {
  return firstFailure(nullCheck(image.first), sizeCheck(size), stepCheck<T>(size.width, image.step),
                      evenCheck<T>(image.step));
}

// A point is at level L + 1 as long as it was found there; lost, it keeps that number, which no finer level looks for.
template <class T>
QorStatus trackLevel(const FlowLevel<T>& level, int number, Qor64f scale, const FlowPoints& points,
                     PointTracker<T> tracker) {
  using Outcome = typename PointTracker<T>::Outcome;
  const QorStatus previousStatus = levelCheck(level.previous, level.previousSize);
  const QorStatus nextStatus = levelCheck(level.next, level.nextSize);
  const auto above = static_cast<Qor8s>(number + 1), here = static_cast<Qor8s>(number);
  for (int i = 0; i < points.count; ++i) {
    if (points.status[i] != above) continue;
    points.status[i] = here;
    if (previousStatus != qorStsNoErr) return previousStatus;
    QoriPoint_32f pos = scaledUp(points.next[i], scale);
    Outcome outcome = Outcome::outside;
    if (tracker.takePrevious(scaledUp(points.previous[i], scale))) {
      if (nextStatus != qorStsNoErr) return nextStatus;
      outcome = tracker.follow(pos);
    }
    if (outcome != Outcome::flat)
      points.next[i] = number == 0 && outcome == Outcome::found ? pos : scaledDown(pos, scale);
    if (outcome != Outcome::found) points.status[i] = above;
    // Of the points that are found only what the last level makes of them remains.
    points.error[i] = outcome == Outcome::found && number == 0 ? tracker.errorAt(pos) : 0;
  }
  return qorStsNoErr;
}

template <class T>
QorStatus track(const QoriPyramid* pPyr1, const QoriPyramid* pPyr2, const QoriPoint_32f* pPrev, QoriPoint_32f* pNext,
                Qor8s* pStatus, Qor32f* pError, int numFeat, int winSize, int maxLev, int maxIter, Qor32f threshold,
                QoriOptFlowPyrLKState* pState) {
  using Kind = FlowKind<T>;
  const QorStatus nulls = firstFailure(nullCheck(pPyr1, pPyr2), nullCheck(pState), nullCheck(pPrev, pNext),
                                       nullCheck(pStatus), nullCheck(pError));
  if (nulls != qorStsNoErr) return nulls;
  const QorStatus status =
      firstFailure(lengthCheck(numFeat), lengthCheck(winSize), winSize != pState->winSize ? qorStsSizeErr : qorStsNoErr,
                   maxLev < 0 || maxIter < 1 || threshold < 0 ? qorStsBadArgErr : qorStsNoErr);
  if (status != qorStsNoErr) return status;
  const QoriSize least{pState->width, pState->height};
  const auto layout = FlowBlock<Kind>::layout(least, winSize);
  const int64_t bytes = bytesOf(layout);
  ScratchParts parts(pState->pBuffer, bytes, bytes);
  const FlowBlock<Kind> block = layout(parts);
  for (int i = 0; i < numFeat; ++i) pStatus[i] = static_cast<Qor8s>(maxLev + 1);
  const FlowPoints points{pPrev, pNext, pStatus, pError, numFeat};
  const FlowLimits limits{winSize, maxIter, Qor64f{threshold} * threshold};
  bool areSmall = true;
  for (int number = maxLev; number >= 0; --number) {
    const auto image = [number](const QoriPyramid* pyramid) {
      return Plane{reinterpret_cast<const T*>(pyramid->pImage[number]), pyramid->pStep[number]};
    };
    const QoriSize size = pPyr1->pRoi[number];
    areSmall = areSmall && size.width < least.width && size.height < least.height;
    const FlowLevel<T> level{image(pPyr1), image(pPyr2), size, pPyr2->pRoi[number], areSmall};
    if (areSmall) {
      if (const QorStatus failed = levelCheck(level.previous, size); failed != qorStsNoErr) return failed;
      levelGradients<Kind>(level.previous, size, block.levelX, block.levelY);
    }
    const QorStatus failed =
        trackLevel(level, number, pPyr1->pRate[number], points, PointTracker<T>(level, block, limits));
    if (failed != qorStsNoErr) return failed;
  }
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_LUCAS_KANADE(initAllocName, name, freeName, T, type)                                                    \
  QOR_BODY(initAllocName)                                                                                           \
  (QoriOptFlowPyrLKState * *ppState, QoriSize roiSize, int winSize, QorHintAlgorithm hint) {                        \
    return qor::initAlloc<T>(ppState, roiSize, winSize, hint, type);                                                \
  }                                                                                                                 \
  QOR_BODY(name)                                                                                                    \
  (const QoriPyramid* pPyr1, const QoriPyramid* pPyr2, const QoriPoint_32f* pPrev, QoriPoint_32f* pNext,            \
   Qor8s* pStatus, Qor32f* pError, int numFeat, int winSize, int maxLev, int maxIter, Qor32f threshold,             \
   QoriOptFlowPyrLKState* pState) {                                                                                 \
    return qor::track<T>(pPyr1, pPyr2, pPrev, pNext, pStatus, pError, numFeat, winSize, maxLev, maxIter, threshold, \
                         pState);                                                                                   \
  }                                                                                                                 \
  QOR_BODY(freeName)(QoriOptFlowPyrLKState * pState) { return qor::freeState(pState); }
#include "pyramid/lucas_kanade.def"
