// Background of five Gaussians. The steps for one pixel are made for a vector of them. Most pixels use one rank or two:
// those behind are all alike, still as they were made, and are not touched.
#include "frame/bodies.h"
#include "motion/blocks.h"
#include "motion/strips.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr int ranks = 5, history = 200, modeTile = 16;
constexpr Qor64f firstVariance = 12.5, newVariance = 900, matching = 2.5 * 2.5, backgroundShare = 0.7;

}  // namespace
}  // namespace qor

struct QoriFgGaussianState {
  qor::Blocks<qor::ranks + 1> blocks;
  int64_t pixels;
  int calls;
  // By rank, in tiles of pixels: fields one behind the other, so much shorter in a last tile of fewer pixels.
  Qor64f* modes[qor::ranks];
  Qor8u* used;  // ranks that a pixel, or one in a vector with it, has ever used
};

namespace qor::inline QOR_LEVEL {
namespace {

using Record = QoriFgGaussianState;

template <int channels>
struct Mode {
  V64f count, weight, variance[channels], mean[channels];

  static constexpr int fields = 2 + 2 * channels;

  V64f variances() const { return sum(variance); }
  V64f distance(const V64f (&x)[channels]) const {
    V64f squares[channels];
    for (int c = 0; c < channels; ++c) squares[c] = (mean[c] - x[c]) * (mean[c] - x[c]);
    return sum(squares);
  }
  static V64f sum(const V64f (&a)[channels]) {
    V64f s = a[0];
    for (int c = 1; c < channels; ++c) s = s + a[c];
    return s;
  }
};

// Where the modes of a vector of pixels stand.
template <int channels, class Lanes>
struct Place {
  Record& record;
  int64_t tile;
  int x;
  Lanes lanes;

  using M = Mode<channels>;

  ptrdiff_t ofField() const {
    const int64_t rest = record.pixels - tile;
    return static_cast<ptrdiff_t>(rest < modeTile ? rest : modeTile);
  }
  Qor64f* first(int rank) const { return record.modes[rank] + tile * M::fields + x; }

  QOR_FORCE_INLINE M load(int rank) const {
    const Qor64f* p = first(rank);
    const ptrdiff_t step = ofField();
    M m;
    m.count = lanes.load(p);
    m.weight = lanes.load(p + step);
    for (int c = 0; c < channels; ++c) {
      m.variance[c] = lanes.load(p + (2 + c) * step);
      m.mean[c] = lanes.load(p + (2 + channels + c) * step);
    }
    return m;
  }
  QOR_FORCE_INLINE void store(int rank, const M& m) const {
    Qor64f* p = first(rank);
    const ptrdiff_t step = ofField();
    lanes.store(p, m.count);
    lanes.store(p + step, m.weight);
    for (int c = 0; c < channels; ++c) {
      lanes.store(p + (2 + c) * step, m.variance[c]);
      lanes.store(p + (2 + channels + c) * step, m.mean[c]);
    }
  }
};

bool any(V64f lanes) { return signBits(lanes) != 0; }

template <int channels>
void makeRecord(Record& r, Plane<const Qor8u> src, QoriSize size) {
  constexpr int fields = Mode<channels>::fields;
  r.pixels = int64_t{size.width} * size.height;
  for (auto& modes : r.modes) modes = r.blocks.take<Qor64f>(r.pixels * fields);
  r.used = r.blocks.take<Qor8u>(r.pixels);
  if (!r.blocks.complete()) return;
  memset(r.used, 1, static_cast<size_t>(r.pixels));
  Qor8u samples[channels * stripPixels];
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(samples, src, size.width, first, n);
    for (int tile = 0; tile < n; tile += modeTile) {
      const int pixels = n - tile < modeTile ? n - tile : modeTile;
      for (int rank = 0; rank < ranks; ++rank) {
        Qor64f* p = r.modes[rank] + (first + tile) * fields;
        for (int f = 0; f < fields; ++f) {
          for (int x = 0; x < pixels; ++x) {
            const bool isVariance = f >= 2 && f < 2 + channels;
            const Qor64f ofFirst = f < 2 ? 1 : samples[(tile + x) * channels + (f - 2) % channels];
            *p++ = isVariance ? firstVariance : rank == 0 ? ofFirst : 0;
          }
        }
      }
    }
  });
}

// What a vector of pixels gives: the background as integers, and the foreground as a mask of lanes.
template <int channels>
struct Seen {
  V64f background[channels], foreground;
};

template <int channels, class Lanes>
class Pixels {
 public:
  Pixels(const Place<channels, Lanes>& place, const V64f (&x)[channels]) : place_(place) {
    for (int c = 0; c < channels; ++c) x_[c] = x[c];
  }

  template <bool inWindow>
  QOR_FORCE_INLINE Seen<channels> learn() {
    Qor8u* const used = place_.record.used + place_.tile + place_.x;
    for (ptrdiff_t i = 0; i < place_.lanes.n; ++i) used_ = used[i] > used_ ? used[i] : used_;
    match();
    learnModes<inWindow>();
    const V64f missed = andNot(matched_, place_.lanes.all());
    if (any(missed)) replaceLast<inWindow>(missed);
    if (used_ > 1) sort();
    for (int k = 0; k < used_; ++k) place_.store(k, modes_[k]);
    memset(used, used_, static_cast<size_t>(place_.lanes.n));
    Seen<channels> seen;
    for (int c = 0; c < channels; ++c) seen.background[c] = modes_[0].mean[c] + splat(0.5);
    seen.foreground = foreground();
    return seen;
  }

 private:
  using M = Mode<channels>;

  QOR_FORCE_INLINE void match() {
    const V64f lambda = splat(matching);
    for (int k = 0; k < ranks; ++k) {
      if (k >= used_) {
        const V64f open = andNot(matched_, place_.lanes.all());
        if (!any(open) || !any(open & (splat(channels * firstVariance * matching) > M{}.distance(x_)))) return;
        used_ = k + 1;
      }
      modes_[k] = place_.load(k);
      hit_[k] = andNot(matched_, place_.lanes.all() & (modes_[k].variances() * lambda > modes_[k].distance(x_)));
      matched_ = matched_ | hit_[k];
    }
  }

  template <bool inWindow>
  QOR_FORCE_INLINE void learnModes() {
    const V64f one = splat(1.0);
    const V64f a = inWindow ? splat(1.0 / history) : one / (counts() + one);
    for (int k = 0; k < used_; ++k) {
      M& m = modes_[k];
      const V64f h = hit_[k] & one;
      if (!inWindow) m.count = m.count + h;
      m.weight = m.weight + (h - m.weight) * a;
      if (!any(hit_[k])) continue;
      const V64f rho = one / (inWindow ? splat(Qor64f{history}) * m.weight : m.count);
      for (int c = 0; c < channels; ++c) {
        const V64f e = x_[c] - m.mean[c];
        m.mean[c] = select(hit_[k], m.mean[c] + e * rho, m.mean[c]);
        m.variance[c] = select(hit_[k], m.variance[c] + rho * (e * e - m.variance[c]), m.variance[c]);
      }
    }
  }

  // The new mode stands in the first rank that no pixel has used, if there is one: it moves there anyway.
  template <bool inWindow>
  QOR_FORCE_INLINE void replaceLast(V64f missed) {
    if (used_ < ranks) modes_[used_] = place_.load(used_), hit_[used_] = zero<Qor64f>(), ++used_;
    M& last = modes_[used_ - 1];
    last.count = select(missed, splat(1.0), last.count);
    for (int c = 0; c < channels; ++c) {
      last.variance[c] = select(missed, splat(newVariance), last.variance[c]);
      last.mean[c] = select(missed, x_[c], last.mean[c]);
    }
    const V64f n = counts();
    for (int k = 0; k < used_; ++k) {
      M& m = modes_[k];
      V64f weight = m.count / n;
      if (inWindow && k < used_ - 1) weight = m.weight * splat(1 - 1.0 / history);
      m.weight = select(missed, weight, m.weight);
    }
  }

  QOR_FORCE_INLINE void sort() {
    V64f key[ranks];
    for (int k = 0; k < used_; ++k) {
      const M& m = modes_[k];
      key[k] = (m.count > zero<Qor64f>()) & (m.weight / sqrt(m.variances()));
    }
    for (int i = 1; i < used_; ++i) {
      V64f moves = place_.lanes.all();
      for (int k = i; k > 0; --k) {
        moves = moves & (key[k] > key[k - 1]);
        if (!any(moves)) break;
        exchange(key[k], key[k - 1], moves);
        exchange(modes_[k].count, modes_[k - 1].count, moves);
        exchange(modes_[k].weight, modes_[k - 1].weight, moves);
        for (int c = 0; c < channels; ++c) {
          exchange(modes_[k].variance[c], modes_[k - 1].variance[c], moves);
          exchange(modes_[k].mean[c], modes_[k - 1].mean[c], moves);
        }
      }
    }
  }
  static void exchange(V64f& a, V64f& b, V64f lanes) {
    const V64f was = a;
    a = select(lanes, b, a);
    b = select(lanes, was, b);
  }

  // Hits stand at the ranks at which they were made.
  QOR_FORCE_INLINE V64f foreground() const {
    V64f open = place_.lanes.all(), found = zero<Qor64f>(), total = zero<Qor64f>();
    for (int k = 0; k < used_; ++k) {
      total = total + modes_[k].weight;
      found = found | (open & hit_[k]);
      open = andNot(total > splat(backgroundShare), open);
    }
    return andNot(found, place_.lanes.all());
  }

  V64f counts() const {
    V64f n = modes_[0].count;
    for (int k = 1; k < used_; ++k) n = n + modes_[k].count;
    return n;
  }

  const Place<channels, Lanes> place_;
  V64f x_[channels], hit_[ranks], matched_ = zero<Qor64f>();
  M modes_[ranks];
  int used_ = 1;
};

template <int channels, bool inWindow>
[[gnu::noinline]] void learnFrame(Record& r, Plane<const Qor8u> src, Plane<Qor8u> ref, Plane<Qor8u> dst,
                                  QoriSize size) {
  Qor8u samples[channels * stripPixels], mask[stripPixels];
  Qor32s x[channels][stripPixels] = {};
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<channels>(samples, src, size.width, first, n);
    for (int i = 0; i < n; ++i)
      for (int c = 0; c < channels; ++c) x[c][i] = samples[i * channels + c];
    for (int tile = 0; tile < n; tile += modeTile) {
      forVectors<V64f>(n - tile < modeTile ? n - tile : modeTile, [&](int at, auto lanes) {
        const Place<channels, decltype(lanes)> place{r, first + tile, at, lanes};
        V64f color[channels];
        for (int c = 0; c < channels; ++c) color[c] = loadAs<Qor64f>(x[c] + tile + at);
        const Seen<channels> seen = Pixels(place, color).template learn<inWindow>();
        Qor64f background[channels][V64f::lanes];
        for (int c = 0; c < channels; ++c) store(background[c], seen.background[c]);
        const Qor32u foreground = signBits(seen.foreground);
        for (int i = 0; i < V64f::lanes; ++i) {
          const int pixel = tile + at + i;
          mask[pixel] = (foreground >> i & 1) != 0 ? 255 : 0;
          for (int c = 0; c < channels; ++c)
            samples[pixel * channels + c] = static_cast<Qor8u>(static_cast<int>(background[c][i]));
        }
      });
    }
    scatterStrip<channels>(ref, samples, size.width, first, n);
    scatterStrip<1>(dst, mask, size.width, first, n);
  });
}

// ---- operations

template <int channels>
QorStatus initGaussian(const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pModel, Record** ppState) {
  const QorStatus status = firstFailure(nullCheck(pSrc), nullCheck(pModel), nullCheck(ppState), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep));
  if (status != qorStsNoErr) return status;
  Record* const record = allocateRecord<Record>([=](Record& r) {
    makeRecord<channels>(r, Plane{pSrc, srcStep}, roiSize);
  });
  if (record == nullptr) return qorStsMemAllocErr;
  *ppState = record;
  return qorStsNoErr;
}

template <int channels>
QorStatus gaussianForeground(const Qor8u* pSrc, int srcStep, Qor8u* pRef, int refStep, Qor8u* pDst, int dstStep,
                             QoriSize roiSize, Record* pState) {
  const QorStatus status = firstFailure(nullCheck(pSrc, pRef, pDst), nullCheck(pState), sizeCheck(roiSize),
                                        stepCheck<Qor8u>(int64_t{roiSize.width} * channels, srcStep));
  if (status != qorStsNoErr) return status;
  if (pState->calls <= history) ++pState->calls;
  const auto learn = pState->calls == history ? learnFrame<channels, true> : learnFrame<channels, false>;
  learn(*pState, Plane{pSrc, srcStep}, Plane{pRef, refStep}, Plane{pDst, dstStep}, roiSize);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

#define QOR_FOREGROUND_GAUSSIAN(init, foreground, release, channels)                                        \
  QOR_BODY(init)                                                                                            \
  (const Qor8u* pSrc, int srcStep, QoriSize roiSize, const void* pModel, QoriFgGaussianState** ppState) {   \
    return qor::initGaussian<channels>(pSrc, srcStep, roiSize, pModel, ppState);                            \
  }                                                                                                         \
  QOR_BODY(foreground)                                                                                      \
  (const Qor8u* pSrc, int srcStep, Qor8u* pRef, int refStep, Qor8u* pDst, int dstStep, QoriSize roiSize,    \
   QoriFgGaussianState* pState) {                                                                           \
    return qor::gaussianForeground<channels>(pSrc, srcStep, pRef, refStep, pDst, dstStep, roiSize, pState); \
  }                                                                                                         \
  QOR_BODY(release)(QoriFgGaussianState * pState) { return qor::freeRecord(pState); }
#include "motion/foreground_gaussian.def"
