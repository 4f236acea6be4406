#include <algorithm>
#include <cmath>
#include <deque>

#include "qorcv/segment.h"
#include "segment/cost_lines.h"
#include "support/stand_in.h"

namespace {
using namespace qortest;

constexpr QoriPoint around[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};

// The flood, one pixel at a time.
template <class T>
Image<T> flooded(const Image<Qor8u>& relief, Image<T> marker, QoriNorm norm, int flag) {
  const T line = std::numeric_limits<T>::max();
  const bool lines4 = (flag & 64) != 0, lines = (flag & 192) != 0;
  const int w = marker.size.width, h = marker.size.height, ways = norm == qoriNormInf ? 8 : 4;
  const auto at = [&](int x, int y) { return x >= 0 && y >= 0 && x < w && y < h ? marker.at(x, y) : line; };
  const auto isOther = [&](T label, T own) { return label != 0 && label != line && label != own; };
  std::deque<QoriPoint> waiting[256];
  for (int i = 0; i < w * h; ++i) {
    const int x = i % w, y = i / w;
    const T own = marker.at(x, y);
    bool isSource = false, meets = false;
    for (int d = 0; d < 8 && own != 0; ++d) {
      const T label = at(x + around[d].x, y + around[d].y);
      isSource |= d < ways && label == 0;
      meets |= d < (lines4 ? 4 : lines ? 8 : 0) && own != line && isOther(label, own);
    }
    if (isSource) waiting[relief.at(x, y)].push_back({x, y});
    if (meets) marker.at(x, y) = line;
  }
  for (int level = 0; level < 256; ++level) {
    for (; !waiting[level].empty(); waiting[level].pop_front()) {
      const QoriPoint c = waiting[level].front();
      for (int d = 0; d < ways; ++d) {
        const int x = c.x + around[d].x, y = c.y + around[d].y;
        if (at(x, y) != 0) continue;
        waiting[std::max<int>(relief.at(x, y), level)].push_back({x, y});
        // Walks from the pixel beside, with four neighbours never over a corner.
        const QoriPoint from = lines4 && d >= 4 ? QoriPoint{x, c.y} : c;
        T label = at(from.x, from.y);
        bool several = false;
        for (int k = 0; k < 9 && lines && !several; ++k) {
          const int nx = x + k % 3 - 1, ny = y + k / 3 - 1;
          if (k == 4 || (lines4 && k % 2 == 0) || (nx == from.x && ny == from.y) || !isOther(at(nx, ny), label))
            continue;
          several = label != line;
          label = several ? line : at(nx, ny);
        }
        marker.at(x, y) = label;
      }
    }
  }
  return marker;
}

// The relaxation, one pixel at a time.
template <class T>
class Relaxed {
 public:
  Relaxed(const Image<Qor8u>& relief, const Image<T>& start, QoriNorm norm, int threads)
      : marker(start), cost(start.size), relief_(relief), origin_(start.size), touched_({w_ + 2, h_ + 2}) {
    if (w_ == 1) norm = qoriNormL1;
    isEight_ = norm % 2 == 0, isFront_ = norm == qoriNormFM;
    step_ = isFront_ ? 63 : norm == qoriNormL2 ? 10 : 0, diagonal_ = norm == qoriNormL2 ? 14 : 0;
    const int n = std::max(1, std::min({threads, 32, h_ / 8, w_ * h_ / 256}));
    for (int i = 0; i < n; ++i) edges_.push_back(int(float(i) * (1 + float(h_ - n - 1) / float(n)) + 0.5F));
    edges_.push_back(n == 1 ? h_ : h_ - 1);
    // One band ends behind the image, and nothing meets there.
    edgeRows(0, First), inner(true, First), edgeRows(1, First), inner(false, Set);
    for (int phase = 0; phase < 2 || changes_ != 0; ++phase) {
      changes_ = 0;
      if (n > 1) edgeRows(phase % 2, Check);
      inner(phase % 2 == 0, Check);
      if (changes_ == 0) break;
    }
  }

  Image<T> marker;
  Image<Qor32s> cost;

 private:
  using Rows = std::vector<int>;  // -1 above, 1 below
  enum Mode { First, Set, Check };
  enum { seed = 4, none = 9 };
  struct Best {
    int64_t cost = INT64_MAX / 2;
    int origin = none;  // dx + 1 + 3 * (dy + 1)
  };

  void edgeRows(int first, Mode mode) {
    for (size_t i = size_t(first); i < edges_.size() && edges_[i] < h_; i += 2) {
      const bool isLast = edges_[i] == h_ - 1, isSource = first == 0 && mode == First;
      const Rows rows = isSource ? Rows() : edges_[i] == 0 ? Rows{1} : isLast ? Rows{-1} : Rows{-1, 1};
      sweep(edges_[i], rows, mode, first == 0 || !isLast);
    }
  }
  // Rows between the edges, away from those where sweeps start, or back; the way back of one alone ends with row 0.
  void inner(bool away, Mode mode) {
    for (size_t b = 0; b + 1 < edges_.size(); ++b) {
      const bool down = (b % 2 == 0) == away, isWhole = edges_[b + 1] == h_ && !away;
      const int from = edges_[b] - isWhole, to = edges_[b + 1] - isWhole;
      for (int i = 1; i < to - from; ++i) sweep(down ? from + i : to - i, {down ? -1 : 1}, mode, true);
    }
  }

  // One row, there and back.
  void sweep(int y, const Rows& rows, Mode mode, bool seeded) {
    if (mode == Check && !rows_[size_t(y) + 1]) return;
    const int before = changes_;
    for (int x = 0; x < w_; ++x) {
      if (mode == First) {
        const bool isSeed = seeded && marker.at(x, y) != 0;
        cost.at(x, y) = isSeed ? relief_.at(x, y) << 23 : 0x7FC00000;
        origin_.at(x, y) = isSeed ? seed : none;
      }
      visit(x, y, best(x, y, -1, rows, true), mode, mode == First);
    }
    for (int x = w_ - 2; x >= 0; --x) visit(x, y, best(x, y, 1, rows, isFront_), mode, false);
    if (mode == Check) rows_[size_t(y) + 1] = false;
    if (mode == Check && changes_ != before) rows_[size_t(y)] = rows_[size_t(y) + 2] = true;
  }

  // Over the pixel beside, and over the rows; in their order, in which the first of equals holds.
  Best best(int x, int y, int beside, const Rows& rows, bool overRows) const {
    Best found, across;
    const auto take = [&](Best& least, int dx, int dy, int step) {
      if (x + dx < 0 || x + dx >= w_ || (x == 0 && dx < 0)) return;
      const int64_t offered = int64_t{cost.at(x + dx, y + dy)} + step;
      if (offered < least.cost) least = {offered, dx + 1 + 3 * (dy + 1)};
    };
    take(found, beside, 0, step_);
    for (size_t i = 0; i < rows.size() && overRows; ++i) {
      Best& least = isFront_ ? across : found;
      if (isEight_ && x > 0) take(least, -1, rows[i], diagonal_);
      take(least, 0, rows[i], step_);
      if (isEight_ && x > 0) take(least, 1, rows[i], diagonal_);
    }
    const double d = std::abs(double(found.cost) - double(across.cost));
    if (across.cost < found.cost) found = across;
    if (d <= 63) found.cost -= std::lround(64 - (d + std::sqrt(2 * 64 * 64 - d * d)) / 2);
    return found;
  }

  Qor8u& touchedAt(int x, int y) { return touched_.at(x + 1, y + 1); }
  void visit(int x, int y, Best best, Mode mode, bool always) {
    int& origin = origin_.at(x, y);
    if (origin == seed || (mode == Check && touchedAt(x, y) == 0)) return;
    touchedAt(x, y) = 0;
    const int64_t value = std::max<int64_t>(relief_.at(x, y) << 23, best.cost + 1);
    const bool isTaken = best.origin != none && (always || value < cost.at(x, y));
    if (isTaken) cost.at(x, y) = Qor32s(value), origin = best.origin;
    if (origin == none || (mode == First && !isTaken)) return;
    const T label = marker.at(x + origin % 3 - 1, y + origin / 3 - 1);
    if (!isTaken && label == marker.at(x, y)) return;
    marker.at(x, y) = label;
    changes_ += mode != First;
    for (int d = 0; d < (isEight_ ? 8 : 4) && mode != First; ++d) touchedAt(x + around[d].x, y + around[d].y) = 1;
  }

  const Image<Qor8u>& relief_;
  const int w_ = marker.size.width, h_ = marker.size.height;
  Image<int> origin_;
  Image<Qor8u> touched_;  // with a frame
  bool isEight_, isFront_;
  int step_, diagonal_, changes_ = 0;
  std::vector<bool> rows_ = std::vector<bool>(size_t(h_) + 2, true);  // a spare one at each end
  std::vector<int> edges_;
};

template <class T>
void expectSegments(Call& c) {
  const Image<Qor8u>& relief = c.before<Qor8u>('s');
  const int norm = c.number('n'), flag = c.number('f');
  if ((flag & 1) != 0) return c.expect('i', flooded(relief, c.before<T>('i'), norm, flag));
  const Relaxed<T> relaxed(relief, c.before<T>('i'), norm, c.data ? *static_cast<int*>(c.data.get()) : 1);
  CostLines<T> lines{relaxed.marker, relaxed.cost, std::numeric_limits<T>::max()};
  if ((flag & 192) != 0) lines.draw((flag & 64) == 0);
  c.expect('i', lines.image);
}

// A relief as it comes or of few heights, and few seeds or many, in blobs or alone, some of them boundary.
template <class T>
void makeTerrain(Call& c) {
  Random& random = c.c.random;
  const int sparse = 1 << random.below(9), labels = 1 << random.below(12), heights = random.between(0, 6);
  appendCase(" heights %d seeds 1 in %d", heights, sparse);
  if (heights > 0) c.image<Qor8u>('s').generate([&](int, int, int) { return Qor8u(random.below(heights)); });
  GuardedImage<T>& marker = c.image<T>('i');
  marker.generate([&](int x, int y, int) {
    if (sparse > 1 && x > 0 && random.oneIn(3)) return marker.at(x - 1, y);
    return !random.oneIn(sparse) ? T(0)
                                 : T(random.oneIn(16) ? std::numeric_limits<T>::max() : 1 + random.below(labels));
  });
}

// One check of both: the forms take different norms.
void modeCheck(DescribedContract& c, int) {
  Arguments& a = c.now;
  const auto fails = [&a] {
    return (a.number('f') & 3) == 0 || a.number('n') < 0 || a.number('n') > ((a.number('f') & 1) != 0 ? 1 : 3);
  };
  const auto set = [&a](int flag, int norm) { return [&a, flag, norm] { a.set('f', flag), a.set('n', norm); }; };
  c.check("flag, norm", qorStsBadArgErr, fails, set(0, 0), set(~3, 1), set(1, 2), set(3, 3), set(1, -1), set(2, 4),
          set(66, -1), set(2, INT_MIN));
}

// In 32 bits, of which the larger number with its sign counts.
template <class T>
void expectBytes(Call& c) {
  const uint64_t w = uint64_t(c.size().width), h = uint64_t(c.size().height), b = sizeof(T);
  const uint64_t s = (b * w + 31) / 32 * 32;
  const auto low = [](uint64_t n) { return static_cast<int>(static_cast<uint32_t>(n)); };
  c.expectResult(1, std::max(low(6 * s * h + 2 * s + h + 66), low(16 * w * h + b * (w + 2) * (h + 2) + 48)));
}

template <class T>
Traits watershed(QorStatus (*query)(QoriSize, int*)) {
  return {.checks = "null | size | step | even | own",
          .values = {{'n', {0, 1, 2, 3}}, {'f', {2, 1, 66, 65, 130, 129, 3, 194, -1}}},
          .draw = [](Call& c) { c.set('n', c.number('n') & ((c.number('f') & 1) != 0 ? 1 : 3)); },
          .fill = makeTerrain<T>,
          .scratch = reported(query),
          .expect = expectSegments<T>,
          .own = modeCheck,
          .sweep = {.thresholds = {{200, 70}, {96, 130}}, .repeats = 3}};
}
const Descriptions members([](Descriptions& d) {
  const Sweep sizes{.widths = {1, 31, 32, 33, 641, 40000}, .heights = {1, 7, 5000, INT_MAX}};
#define QOR_WATERSHED(name, query, T)                          \
  d.add(QORTEST_NAMED(name), "s.i.znfw", watershed<T>(query)); \
  d.add(QORTEST_NAMED(query), "zr", {.checks = "null | size", .expect = expectBytes<T>, .sweep = sizes})
  QOR_WATERSHED(qoriSegmentWatershed_8u_C1IR, qoriSegmentWatershedGetBufferSize_8u_C1R, Qor8u);
  QOR_WATERSHED(qoriSegmentWatershed_8u16u_C1IR, qoriSegmentWatershedGetBufferSize_8u16u_C1R, Qor16u);
});

// Inside a team the relaxation has bands, whose number is part of the result.
TEST(Watershed, Bands) {
  const int teams[] = {1, 2, 3, 4, 5, 34}, flags[] = {1, 2, 66, 130};
  const QoriSize sizes[] = {{40, 15}, {31, 16}, {32, 16}, {133, 24}, {17, 70}, {70, 270}, {1, 600}};
  for (int i = 0; i < 6 * 7 * 4; ++i) {
    const auto draw = [&](Call& c) {
      c.set('f', flags[i / 42]), c.set('n', (i / 6 + i / 42) & (flags[i / 42] == 1 ? 1 : 3));
      c.data = std::make_shared<int>(teams[i % 6]);
    };
    const char* const names[] = {"qoriSegmentWatershed_8u_C1IR", "qoriSegmentWatershed_8u16u_C1IR"};
    openRegion(teams[i % 6], [&] { runOwn(names[i / 3 % 2], sizes[i / 6 % 7], {.draw = draw}, 1 + i % 5); });
  }
}

// The flood comes to the ridge from the lower side first; the relaxation finds both ways as high, and was there from
// the left.
TEST(Watershed, OnPaper) {
  const Qor8u relief[] = {0, 1, 2, 9, 3, 1, 0};
  for (const int flag : {1, 65, 2, 130}) {
    Qor8u marker[] = {1, 0, 0, 0, 0, 0, 2}, scratch[600];
    EXPECT_EQ(qoriSegmentWatershed_8u_C1IR(relief, 7, marker, 7, {7, 1}, qoriNormL1, flag, scratch), qorStsNoErr);
    const Qor8u ridge = flag < 64 ? 1 : 255, wanted[] = {1, 1, 1, ridge, 2, 2, 2};
    EXPECT_EQ(memcmp(marker, wanted, sizeof marker), 0) << flag;
  }
}

}  // namespace
