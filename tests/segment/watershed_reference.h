// The watershed as it is defined, one pixel at a time.
#pragma once

#include <algorithm>
#include <cmath>
#include <deque>

#include "qorcv/segment.h"
#include "segment/cost_lines.h"

namespace qortest {

template <class T>
Image<T> flooded(const Image<Qor8u>& relief, Image<T> marker, QoriNorm norm, int flag) {
  const T line = std::numeric_limits<T>::max();
  const bool lines4 = (flag & 64) != 0, lines = (flag & 192) != 0;
  const int w = marker.size.width, h = marker.size.height, ways = norm == qoriNormInf ? 8 : 4;
  const QoriPoint towards[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
  const auto isInside = [&](int x, int y) { return x >= 0 && y >= 0 && x < w && y < h; };
  const auto at = [&](int x, int y) { return isInside(x, y) ? marker.at(x, y) : line; };
  const auto isOther = [&](T label, T own) { return label != 0 && label != line && label != own; };
  std::deque<QoriPoint> waiting[256];

  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const T own = marker.at(x, y);
      if (own == 0) continue;
      bool isSource = false, meets = false;
      for (int d = 0; d < 8; ++d) {
        const T label = at(x + towards[d].x, y + towards[d].y);
        isSource |= d < ways && label == 0;
        meets |= d < (lines4 ? 4 : 8) && isOther(label, own);
      }
      if (isSource) waiting[relief.at(x, y)].push_back({x, y});
      if (lines && own != line && meets) marker.at(x, y) = line;
    }
  }
  for (int level = 0; level < 256;) {
    if (waiting[level].empty()) {
      ++level;
      continue;
    }
    const QoriPoint c = waiting[level].front();
    waiting[level].pop_front();
    for (int d = 0; d < ways; ++d) {
      const int x = c.x + towards[d].x, y = c.y + towards[d].y;
      if (at(x, y) != 0) continue;
      waiting[std::max<int>(relief.at(x, y), level)].push_back({x, y});
      // Walks from the pixel beside, in four directions never over a corner.
      const QoriPoint from = lines4 && d >= 4 ? QoriPoint{x, c.y} : c;
      T label = at(from.x, from.y);
      for (int i = 0; i < 9 && lines; ++i) {
        const int nx = x + i % 3 - 1, ny = y + i / 3 - 1;
        if (i == 4 || (lines4 && i % 2 == 0) || (nx == from.x && ny == from.y)) continue;
        if (!isOther(at(nx, ny), label)) continue;
        const bool several = label != line;
        label = several ? line : at(nx, ny);
        if (several) break;
      }
      marker.at(x, y) = label;
    }
  }
  return marker;
}

template <class T>
class Relaxed {
 public:
  Relaxed(const Image<Qor8u>& itsRelief, const Image<T>& itsMarker, QoriNorm norm, int threads)
      : marker(itsMarker), cost(itsMarker.size), relief_(itsRelief), w_(marker.size.width), h_(marker.size.height) {
    if (w_ == 1) norm = qoriNormL1;
    isEight_ = norm == qoriNormInf || norm == qoriNormL2;
    isFront_ = norm == qoriNormFM;
    step_ = isFront_ ? 63 : norm == qoriNormL2 ? 10 : 0;
    diagonal_ = norm == qoriNormL2 ? 14 : 0;
    origin_.assign(marker.samples.size(), none);
    touched_.assign(marker.samples.size(), false);
    touchedRows_.assign(size_t(h_), true);
    const int bands = std::min({threads, 32, h_ / 8, w_ * h_ / 256});
    bands > 1 ? inBands(bands) : alone();
  }

  Image<T> marker;
  Image<Qor32s> cost;

 private:
  using Rows = std::vector<int>;  // -1 above, 1 below
  static constexpr int none = -1, seed = 4;
  enum Mode { First, Set, Check };
  struct Best {
    int64_t cost;
    int origin;  // dx + 1 + 3 * (dy + 1)
  };

  size_t index(int x, int y) const { return size_t(y) * size_t(w_) + size_t(x); }

  void alone() {
    sweep(0, {}, First, true);
    for (int y = 1; y < h_; ++y) sweep(y, {-1}, First, true);
    for (int y = h_ - 2; y >= 0; --y) sweep(y, {1}, Set);
    for (bool changed = h_ > 1; changed;) {
      changed = false;
      for (int y = 1; y < h_; ++y) changed |= sweep(y, {-1}, Check);
      if (!changed) break;
      changed = false;
      for (int y = h_ - 2; y >= 0; --y) changed |= sweep(y, {1}, Check);
    }
  }

  void inBands(int n) {
    Rows edge;
    for (int i = 0; i < n; ++i) {
      edge.push_back(int(float(i) * (1.0F + float(h_ - n - 1) / float(n)) + 0.5F));
    }
    edge.push_back(h_ - 1);
    // Inner rows of all bands, away from the edges they start at or back.
    const auto inner = [&](bool away, Mode mode) {
      bool changed = false;
      for (int b = 0; b < n; ++b) {
        const bool down = (b % 2 == 0) == away;
        const int from = edge[size_t(b)], to = edge[size_t(b) + 1];
        for (int i = 1; i < to - from; ++i) changed |= sweep(down ? from + i : to - i, {down ? -1 : 1}, mode, true);
      }
      return changed;
    };
    const auto edges = [&](int first, Mode mode) {
      bool changed = false;
      for (int i = first; i <= n; i += 2) {
        const int y = edge[size_t(i)];
        Rows rows;
        if (y > 0) rows.push_back(-1);
        if (y < h_ - 1) rows.push_back(1);
        if (mode == First && first == 0) rows.clear();
        changed |= sweep(y, rows, mode, first == 0 || y < h_ - 1);
      }
      return changed;
    };
    edges(0, First);
    inner(true, First);
    edges(1, First);
    inner(false, Set);
    for (;;) {
      bool changed = edges(0, Check);
      changed |= inner(true, Check);
      if (!changed) break;
      changed = edges(1, Check);
      changed |= inner(false, Check);
      if (!changed) break;
    }
  }

  // One row, there and back. Whether anything changed.
  bool sweep(int y, const Rows& rows, Mode mode, bool seeded = false) {
    if (mode == Check && !touchedRows_[size_t(y)]) return false;
    for (int x = 0; mode == First && x < w_; ++x) {
      const bool isSeed = seeded && marker.at(x, y) != 0;
      cost.at(x, y) = isSeed ? relief_.at(x, y) << 23 : 0x7FC00000;
      origin_[index(x, y)] = isSeed ? seed : none;
    }
    bool changed = false;
    for (int x = 0; x < w_; ++x) {
      if (x > 0 || !rows.empty()) changed |= visit(x, y, bestThere(x, y, rows), mode, mode == First);
    }
    for (int x = w_ - 2; x >= 0; --x) changed |= visit(x, y, bestBack(x, y, rows, mode), mode, false);
    if (mode == Check) {
      touchedRows_[size_t(y)] = false;
      for (const int n : {y - 1, y + 1})
        if (changed && n >= 0 && n < h_) touchedRows_[size_t(n)] = true;
    }
    return changed;
  }

  Best over(int x, int y, int dx, int dy, int64_t step) const {
    return {cost.at(x + dx, y + dy) + step, dx + 1 + 3 * (dy + 1)};
  }
  static void takeLess(Best& best, Best other) {
    if (other.cost < best.cost) best = other;
  }
  Best straight(int x, int y, const Rows& rows) const {
    Best best = over(x, y, 0, rows[0], step_);
    if (rows.size() > 1) takeLess(best, over(x, y, 0, rows[1], step_));
    return best;
  }
  Best front(int x, int y, int dx, const Rows& rows) const {
    Best best = over(x, y, dx, 0, step_);
    if (rows.empty()) return best;
    const Best other = straight(x, y, rows);
    const double d = double(std::abs(best.cost - other.cost));
    takeLess(best, other);
    if (d <= 63) best.cost -= std::lround(64 - (d + std::sqrt(2 * 64 * 64 - d * d)) / 2);
    return best;
  }
  Best bestThere(int x, int y, const Rows& rows) const {
    if (x == 0) return straight(x, y, rows);
    if (isFront_) return front(x, y, -1, rows);
    Best best = over(x, y, -1, 0, step_);
    for (const int dy : rows) {
      if (isEight_) takeLess(best, over(x, y, -1, dy, diagonal_));
      takeLess(best, over(x, y, 0, dy, step_));
      if (isEight_ && x < w_ - 1) takeLess(best, over(x, y, 1, dy, diagonal_));
    }
    return best;
  }
  Best bestBack(int x, int y, const Rows& rows, Mode mode) const {
    if (isFront_) return front(x, y, 1, rows);
    Best best = over(x, y, 1, 0, step_);
    if (isEight_ && mode == First && rows.size() == 1) takeLess(best, over(x, y, 0, rows[0], step_));
    return best;
  }

  bool visit(int x, int y, Best best, Mode mode, bool always) {
    int& origin = origin_[index(x, y)];
    if (origin == seed || (mode == Check && !touched_[index(x, y)])) return false;
    const int64_t value = std::max<int64_t>(relief_.at(x, y) << 23, best.cost + 1);
    const bool taken = always || value < cost.at(x, y);
    if (taken) {
      cost.at(x, y) = static_cast<Qor32s>(value);
      origin = best.origin;
    }
    if (!taken && (mode == First || origin == none)) return touched_[index(x, y)] = false;
    const T label = marker.at(x + origin % 3 - 1, y + origin / 3 - 1);
    if (mode != First) {
      if (!taken && label == marker.at(x, y)) return touched_[index(x, y)] = false;
      for (int i = 0; i < 9; ++i) {
        const int nx = x + i % 3 - 1, ny = y + i / 3 - 1;
        if (nx < 0 || ny < 0 || nx >= w_ || ny >= h_ || (!isEight_ && i % 2 == 0)) continue;
        touched_[index(nx, ny)] = true;
      }
      touched_[index(x, y)] = false;
    }
    marker.at(x, y) = label;
    return mode != First;
  }

  const Image<Qor8u>& relief_;
  int w_, h_;
  bool isEight_, isFront_;
  int step_, diagonal_;
  std::vector<int> origin_;
  std::vector<bool> touched_, touchedRows_;
};

template <class T>
Image<T> watershed(const Image<Qor8u>& relief, const Image<T>& marker, QoriNorm norm, int flag, int threads = 1) {
  if ((flag & 1) != 0) return flooded(relief, marker, norm, flag);
  const Relaxed<T> relaxed(relief, marker, norm, threads);
  CostLines<T> lines{relaxed.marker, relaxed.cost, std::numeric_limits<T>::max()};
  if ((flag & 192) != 0) lines.draw((flag & 64) == 0);
  return lines.image;
}

// Hills and plains, and few seeds or many, in blobs or alone, some of them boundary.
template <class T>
void makeTerrain(Random& random, GuardedImage<Qor8u>& relief, GuardedImage<T>& marker) {
  const int kind = random.below(4), scale = 1 << random.below(6), sparse = 1 << random.below(9);
  const int labels = 1 << random.below(9), height = random.between(0, 6);
  appendCase(" relief %d seeds 1 in %d", kind, sparse);
  relief.generate([&](int x, int y, int) {
    const int hills = (x + y * (x & 8)) / scale * 37 ^ y / scale * 91;
    return Qor8u(kind == 0 ? relief.at(x, y) : kind == 1 ? height : kind == 2 ? hills : random.below(height + 1));
  });
  marker.generate([&](int x, int y, int) {
    if (sparse > 1 && x > 0 && random.oneIn(3)) return marker.at(x - 1, y);
    if (!random.oneIn(sparse)) return T(0);
    return random.oneIn(16) ? std::numeric_limits<T>::max() : T(1 + random.below(labels));
  });
}

}  // namespace qortest
