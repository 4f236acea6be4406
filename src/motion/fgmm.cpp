// Background of mixed Gaussians. The steps for one pixel are made for a vector of them: what they branch on becomes
// masks, ranks are visited for as long as any pixel has them, and rare steps are left out where no pixel takes them.
#include "frame/bodies.h"
#include "frame/checks.h"
#include "motion/fgmm_state.h"
#include "motion/strips.h"

namespace qor::inline QOR_LEVEL {
namespace {

using Mask = V32f;

bool any(Mask lanes) { return signBits(lanes) != 0; }
Mask below(int rank, V32s count) { return as<Qor32f>(count > splat(rank)); }

// What a frame is learned with.
struct Learning {
  V32f rate, kept, prune, pruned;  // a, 1 - a, -complexity * a, and that with the other sign
  V32f ratio, near, fitting, varInit, varMin, varMax, tau;
  V32s numModes, maxModes;
  bool shadows;
  V32s shadow;

  Learning(const FgmmState& state, Qor64f alpha) {
    const QoriFGMMModel& m = state.model;
    const Qor32f a = static_cast<Qor32f>(alpha), lost = static_cast<Qor32f>(Qor64f{m.complexity} * -alpha);
    rate = splat(a), kept = splat(1 - a), prune = splat(lost), pruned = splat(-lost);
    ratio = splat(m.backgroundRatio), near = splat(m.varThreshold), fitting = splat(m.varThresholdGen);
    varInit = splat(m.varInit), varMin = splat(m.varMin), varMax = splat(m.varMax), tau = splat(m.tau);
    numModes = splat(m.numModes);
    maxModes = splat(state.maxModes < fgmmMostModes ? state.maxModes : fgmmMostModes);
    shadows = m.shadowDetect != 0;
    shadow = splat(Qor32s{m.shadowValue});
  }
};

template <class Lanes>
class Pixels {
 public:
  Pixels(const Learning& learning, const FgmmModes& modes, Lanes lanes, Qor8u* counts,
         const Qor8u (&colors)[3][stripPixels], int x)
      : l_(learning), modes_(modes), lanes_(lanes), counts_(counts) {
    for (int i = 0; i < 3; ++i) color_[i] = loadAs<Qor32f>(colors[i] + x);
    Qor8u copy[V32s::lanes] = {};
    memcpy(copy, counts, static_cast<size_t>(lanes.n));
    count_ = loadAs<Qor32s>(copy);
  }

  // Learns the pixels, and returns what the mask has for them. The rare steps work on a copy, so that otherwise all of
  // this stays in registers.
  QOR_FORCE_INLINE V32s learn() {
    visitModes();
    const Mask fresh = andNot(fitted_, lanes_.all());
    if (any(fresh)) count_ = makeModes(*this, fresh);
    const V32s foreground = andNot(as<Qor32s>(background_), splat(255));
    if (!l_.shadows) return foreground;
    const Mask open = andNot(background_, lanes_.all());
    return any(open) ? select(as<Qor32s>(shadowed(*this, open)), l_.shadow, foreground) : foreground;
  }

 private:
  struct Mode {
    V32f mean[3], variance;
  };

  QOR_FORCE_INLINE V32f field(int rank, int f) const { return lanes_.load(modes_.at(rank, f)); }
  QOR_FORCE_INLINE void setField(int rank, int f, V32f a) const { lanes_.store(modes_.at(rank, f), a); }
  QOR_FORCE_INLINE V32f weight(int rank) const { return field(rank, FgmmModes::weight); }
  QOR_FORCE_INLINE void setWeight(int rank, V32f w) const { setField(rank, FgmmModes::weight, w); }
  QOR_FORCE_INLINE Mode mode(int rank) const {
    Mode m;
    for (int i = 0; i < 3; ++i) m.mean[i] = field(rank, FgmmModes::mean + i);
    m.variance = field(rank, FgmmModes::variance);
    return m;
  }
  QOR_FORCE_INLINE void setMode(int rank, Mask where, const Mode& now, const Mode& before) const {
    for (int i = 0; i < 3; ++i) setField(rank, FgmmModes::mean + i, select(where, now.mean[i], before.mean[i]));
    setField(rank, FgmmModes::variance, select(where, now.variance, before.variance));
  }

  static V32f dot(const V32f (&a)[3], const V32f (&b)[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

  // Every rank decays; the first one that the pixel fits learns it.
  QOR_FORCE_INLINE void visitModes() {
    V32f total = zero<Qor32f>();
    V32s bound = count_;
    int ranks = 0;
    for (;; ++ranks) {
      const Mask live = below(ranks, bound);
      if (!any(live)) break;
      const V32f before = weight(ranks);
      V32f w = before * l_.kept + l_.prune;
      const Mask open = andNot(fitted_, live);
      const Mask fit = any(open) ? fitMode(ranks, open, total, w) : zero<Qor32f>();
      const Mask moves = ranks > 0 && any(fit) ? fit & (w >= weight(ranks - 1)) : zero<Qor32f>();
      const Mask pruned = live & (w < l_.pruned);
      setWeight(ranks, select(live, andNot(andNot(moves, pruned), w), before));
      if (any(moves)) moveUp(*this, ranks, moves, w);
      bound = bound + as<Qor32s>(pruned);
      total = total + andNot(pruned, live & w);
    }
    for (int k = 0; k < ranks; ++k) {
      const V32f w = weight(k);
      setWeight(k, select(below(k, bound), w / total, w));
    }
  }

  // Of the open lanes those that mode k fits, with the mode learned and the weight raised.
  QOR_FORCE_INLINE Mask fitMode(int k, Mask open, V32f total, V32f& w) {
    const Mode m = mode(k);
    V32f away[3];
    for (int i = 0; i < 3; ++i) away[i] = m.mean[i] - color_[i];
    const V32f d2 = dot(away, away);
    background_ = background_ | (open & (total < l_.ratio) & (m.variance * l_.near > d2));
    const Mask fit = open & (m.variance * l_.fitting > d2);
    if (!any(fit)) return fit;
    fitted_ = fitted_ | fit;
    w = select(fit, w + l_.rate, w);
    const V32f r = l_.rate / w;
    Mode learned;
    for (int i = 0; i < 3; ++i) learned.mean[i] = m.mean[i] - away[i] * r;
    // Where the bounds are crossed the upper one holds.
    learned.variance = min(max(m.variance + r * (d2 - m.variance), l_.varMin), l_.varMax);
    setMode(k, fit, learned, m);
    return fit;
  }

  // The modes of weight w at rank k change places upwards as long as they are not lighter.
  [[gnu::noinline]] static void moveUp(Pixels p, int k, Mask lanes, V32f w) {
    for (; k > 0; --k) {
      lanes = lanes & (w >= p.weight(k - 1));
      if (!any(lanes)) return;
      p.exchange(k, lanes);
    }
  }
  // Ranks k and k - 1.
  void exchange(int k, Mask lanes) const {
    for (int f = 0; f < fgmmFields; ++f) {
      const V32f here = field(k, f), above = field(k - 1, f);
      setField(k, f, select(lanes, above, here));
      setField(k - 1, f, select(lanes, here, above));
    }
  }

  // A mode for each of the lanes: the last one in use where there may be no more of them, else one more. Returns the
  // counts.
  [[gnu::noinline]] static V32s makeModes(Pixels p, Mask fresh) {
    const V32s isFresh = as<Qor32s>(fresh), isFull = (p.count_ == p.l_.numModes) | (p.count_ == p.l_.maxModes);
    const V32s count = p.count_ - andNot(isFull, isFresh);
    const V32s rank = select(isFresh, count, zero<Qor32s>()) - splat(1);
    const V32f own = select(as<Qor32f>(count == splat(1)), splat(1.0F), p.l_.rate);
    const Mode made{{p.color_[0], p.color_[1], p.color_[2]}, p.l_.varInit};
    const int last = largest(rank);
    for (int k = 0; k <= last; ++k) {
      const Mask here = as<Qor32f>(rank == splat(k));
      const V32f w = p.weight(k);
      p.setWeight(k, select(here, own, select(below(k, rank), w * p.l_.kept, w)));
      if (any(here)) p.setMode(k, here, made, p.mode(k));
    }
    for (int k = last; k > 0; --k) {
      const Mask moves = andNot(p.weight(k - 1) > p.l_.rate, below(k - 1, rank));
      if (any(moves)) p.exchange(k, moves);
    }
    storeFirst(p.counts_, p.lanes_.n, narrowToU(count, count, count, count));
    return count;
  }

  // The lanes that are a darker background.
  [[gnu::noinline]] static Mask shadowed(Pixels p, Mask open) {
    Mask found = zero<Qor32f>();
    V32f sum = zero<Qor32f>();
    for (int k = 0;; ++k) {
      open = open & below(k, p.count_);
      if (!any(open)) return found;
      const Mode m = p.mode(k);
      const V32f along = dot(p.color_, m.mean), square = dot(m.mean, m.mean), part = along / square;
      V32f away[3];
      for (int i = 0; i < 3; ++i) away[i] = part * m.mean[i] - p.color_[i];
      open = andNot(square == zero<Qor32f>(), open);
      found = found | (open & (square >= along) & (along >= p.l_.tau * square) &
                       (m.variance * p.l_.near * (part * part) > dot(away, away)));
      sum = sum + p.weight(k);
      open = andNot(found | (sum > p.l_.ratio), open);
    }
  }

  const Learning& l_;
  const FgmmModes modes_;
  const Lanes lanes_;
  Qor8u* const counts_;
  V32f color_[3];
  V32s count_;
  Mask fitted_ = zero<Qor32f>(), background_ = zero<Qor32f>();
};

// Calls work(pixel of the strip, modes, lanes) for a strip, a vector at a time.
template <class Work>
QOR_FORCE_INLINE void forModes(FgmmState& state, int64_t first, int pixels, const Work& work) {
  static_assert(stripPixels % fgmmTile == 0 && fgmmTile % V32f::lanes == 0);
  for (int tile = 0; tile < pixels; tile += fgmmTile) {
    const FgmmModes modes(state, first + tile);
    const int n = pixels - tile < fgmmTile ? pixels - tile : fgmmTile;
    forVectors<V32f>(n, [&](int x, auto lanes) { work(tile + x, modes.from(x), lanes); });
  }
}

void learnFrame(FgmmState& state, const Learning& learning, Plane<const Qor8u> src, Plane<Qor8u> dst, QoriSize size) {
  Qor8u pixels[3 * stripPixels] = {}, colors[3][stripPixels], mask[stripPixels];
  Qor32s wideMask[stripPixels] = {};
  forStrips(size, [&](int64_t first, int n) {
    gatherStrip<3>(pixels, src, size.width, first, n);
    splitThree(pixels, colors);
    forModes(state, first, n, [&](int x, const FgmmModes& modes, auto lanes) {
      store(wideMask + x, Pixels(learning, modes, lanes, state.counts() + first + x, colors, x).learn());
    });
    for (int x = 0; x < stripPixels; x += V8u::lanes) {
      const auto b = loadBlock<V8u::lanes / V32s::lanes>(wideMask + x);
      store(mask + x, narrowToU(b.v[0], b.v[1], b.v[2], b.v[3]));
    }
    scatterStrip<1>(dst, mask, size.width, first, n);
  });
}

// ---- the background image

template <class Lanes>
QOR_FORCE_INLINE void backgroundColors(Qor8u* rgb, const FgmmModes& modes, Lanes lanes, V32s count, V32f ratio) {
  V32f sum[3] = {}, total = zero<Qor32f>();
  for (int k = 0;; ++k) {
    const Mask open = andNot(total > ratio, below(k, count));
    if (!any(open)) break;
    const V32f w = lanes.load(modes.at(k, FgmmModes::weight));
    total = select(open, total + w, total);
    for (int i = 0; i < 3; ++i) {
      const V32f m = lanes.load(modes.at(k, FgmmModes::mean + i));
      sum[i] = select(open, sum[i] + w * m, sum[i]);
    }
  }
  const V32f inverse = splat(1.0F) / total, top = splat(255.0F);
  V32s color = zero<Qor32s>();
  for (int i = 0; i < 3; ++i) color = color | nearest(min(max(sum[i] * inverse, zero<Qor32f>()), top)) << (8 * i);
  // Three of four bytes; what is stored too much is overwritten by what follows.
  const V8u packed = lookUp(as<Qor8u>(color), bytes(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
  store(rgb, firstShort(packed));
  constexpr int half = V32s::lanes - Short<Qor32s>::lanes;
  store(rgb + 3 * half, lastShort(packed));
}

void writeBackground(FgmmState& state, Plane<Qor8u> dst, QoriSize size) {
  const V32f ratio = splat(state.model.backgroundRatio);
  Qor8u pixels[3 * stripPixels + V8u::lanes], counts[stripPixels] = {};
  forStrips(size, [&](int64_t first, int n) {
    memcpy(counts, state.counts() + first, static_cast<size_t>(n));
    forModes(state, first, n, [&](int x, const FgmmModes& modes, auto lanes) {
      backgroundColors(pixels + 3 * x, modes, lanes, loadAs<Qor32s>(counts + x), ratio);
    });
    scatterStrip<3>(dst, pixels, size.width, first, n);
  });
}

// ---- operations

QorStatus modesCheck(int maxNumModes) { return maxNumModes < 1 ? qorStsBadArgErr : qorStsNoErr; }

QorStatus reportFgmmSize(QoriSize roiSize, int maxNumModes, int* pSize) {
  const QorStatus status = firstFailure(nullCheck(pSize), sizeCheck(roiSize), modesCheck(maxNumModes));
  if (status == qorStsNoErr) *pSize = static_cast<int>(fgmmBytes(roiSize, maxNumModes));
  return status;
}

QorStatus initFgmm(QoriSize roiSize, int maxNumModes, const QoriFGMMModel* pModel, Qor8u* pState) {
  const QorStatus status = firstFailure(nullCheck(pModel, pState), sizeCheck(roiSize), modesCheck(maxNumModes));
  if (status != qorStsNoErr) return status;
  memset(pState, 0, fgmmBytes(roiSize, maxNumModes));
  FgmmState& state = *FgmmState::in(pState);
  state = {0, int64_t{roiSize.width} * roiSize.height, maxNumModes, *pModel};
  state.model.numModes = maxNumModes;
  return qorStsNoErr;
}

QorStatus modelCheck(Qor8u* pState, const QoriFGMMModel* pModel) {
  if (pModel == nullptr) return qorStsNoErr;
  const Qor32u modes = static_cast<Qor32u>(pModel->numModes);
  return modes < 1 || modes > static_cast<Qor32u>(FgmmState::in(pState)->maxModes) ? qorStsBadArgErr : qorStsNoErr;
}

QorStatus fgmmForeground(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, Qor8u* pState,
                         const QoriFGMMModel* pModel, Qor64f learningRate) {
  QorStatus status =
      firstFailure(nullCheck(pSrc, pDst, pState), positiveStepCheck(srcStep, dstStep), sizeCheck(roiSize));
  if (status == qorStsNoErr) status = modelCheck(pState, pModel);
  if (status != qorStsNoErr) return status;
  FgmmState& state = *FgmmState::in(pState);
  if (pModel != nullptr) state.model = *pModel;
  const Qor64s twice = 2 * state.frames + 2, history = state.model.history;
  const bool automatic = learningRate < 0 || state.frames == 0;
  ++state.frames;
  const Qor64f alpha = automatic ? 1 / static_cast<Qor64f>(twice < history ? twice : history) : learningRate;
  learnFrame(state, Learning(state, alpha), Plane{pSrc, srcStep}, Plane{pDst, dstStep}, roiSize);
  return qorStsNoErr;
}

QorStatus fgmmBackground(Qor8u* pDst, int dstStep, QoriSize roiSize, Qor8u* pState) {
  const QorStatus status = firstFailure(nullCheck(pDst, pState), positiveStepCheck(dstStep), sizeCheck(roiSize));
  if (status != qorStsNoErr) return status;
  writeBackground(*FgmmState::in(pState), Plane{pDst, dstStep}, roiSize);
  return qorStsNoErr;
}

}  // namespace
}  // namespace qor

QOR_BODY(qoriFGMMGetBufferSize_8u_C3R)(QoriSize roiSize, int maxNumModes, int* pSize) {
  return qor::reportFgmmSize(roiSize, maxNumModes, pSize);
}
QOR_BODY(qoriFGMMInit_8u_C3R)(QoriSize roiSize, int maxNumModes, const QoriFGMMModel* pModel, Qor8u* pState) {
  return qor::initFgmm(roiSize, maxNumModes, pModel, pState);
}
QOR_BODY(qoriFGMMForeground_8u_C3R)
(const Qor8u* pSrc, int srcStep, Qor8u* pDst, int dstStep, QoriSize roiSize, Qor8u* pState, const QoriFGMMModel* pModel,
 Qor64f learningRate) {
  return qor::fgmmForeground(pSrc, srcStep, pDst, dstStep, roiSize, pState, pModel, learningRate);
}
QOR_BODY(qoriFGMMBackground_8u_C3R)(Qor8u* pDst, int dstStep, QoriSize roiSize, Qor8u* pState) {
  return qor::fgmmBackground(pDst, dstStep, roiSize, pState);
}
