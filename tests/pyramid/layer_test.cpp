#include <limits.h>
#include <math.h>

#include <algorithm>
#include <memory>
#include <type_traits>
#include <vector>

#include "pyramid/rates.h"
#include "qorcv/pyramid.h"
#include "support/support.h"

namespace {
using namespace qortest;
using Line = std::vector<double>;

// ---- the definition, in double

struct Step {
  Line taps;  // as the layer has them
  Qor32f rate;
  bool isUp;

  int reach() const { return static_cast<int>(taps.size() / 2); }

  Line operator()(const Line& source, int to) const {
    const auto at = [](const Line& line, int i) {
      return line[static_cast<size_t>(std::clamp(i, 0, int(line.size()) - 1))];
    };
    const auto filtered = [&](const auto& sample, int x) {
      double sum = 0;
      for (int k = 0; k < int(taps.size()); ++k) sum += taps[static_cast<size_t>(k)] * sample(x - reach() + k);
      return sum;
    };
    const int n = static_cast<int>(source.size());
    const auto sampled = [&](const auto& sample, int x) {
      if (x == to - 1) return sample(n - 1);
      const int64_t i = int64_t{x} * n / to;
      const double rest = static_cast<double>(int64_t{x} * n % to) / to;
      return (1 - rest) * sample(int(i)) + rest * sample(int(i) + 1);
    };
    Line result;
    if (!isUp) {
      const auto f = [&](int x) { return filtered([&](int i) { return at(source, i); }, x); };
      for (int x = 0; x < to; ++x) result.push_back(rate == 2 ? f(2 * x) : sampled(f, x));
    } else if (rate == 2) {
      const auto spread = [&](int i) { return i % 2 == 0 ? at(source, i / 2) : 0; };
      for (int x = 0; x < to; ++x) result.push_back(2 * filtered(spread, x));
    } else {
      Line enlarged;
      for (int x = 0; x < to; ++x) enlarged.push_back(sampled([&](int i) { return at(source, i); }, x));
      for (int x = 0; x < to; ++x) result.push_back(filtered([&](int i) { return at(enlarged, i); }, x));
    }
    return result;
  }
};

// One channel of an image, row by row; `of` makes a sample a number.
template <class T, class Of>
std::vector<Line> stepped(const Step& step, const Image<T>& source, int channel, QoriSize to, Of of) {
  std::vector<Line> rows, columns, result(static_cast<size_t>(to.height));
  for (int y = 0; y < source.size.height; ++y) {
    Line row;
    for (int x = 0; x < source.size.width; ++x) row.push_back(of(static_cast<double>(source.at(x, y, channel))));
    rows.push_back(step(row, to.width));
  }
  for (size_t x = 0; x < static_cast<size_t>(to.width); ++x) {
    Line column;
    for (const Line& row : rows) column.push_back(row[x]);
    const Line made = step(column, to.height);
    for (size_t y = 0; y < made.size(); ++y) result[y].push_back(made[y]);
  }
  return result;
}

// ---- layers under test

template <class Tap>
Line shares(const std::vector<Tap>& taps) {
  Line made;
  if constexpr (std::is_integral_v<Tap>) {
    int sum = 0;
    for (const Tap t : taps) sum += t;
    for (const Tap t : taps) made.push_back((static_cast<int>(trunc(2.0 * t / sum * 8192 + 0.5)) >> 1) / 8192.0);
  } else {
    Tap sum = 0;
    for (const Tap t : taps) sum += t;
    for (const Tap t : taps) made.push_back(double{t / sum});
  }
  return made;
}

// Smooth ones, one that ripples, crooked ones, of a negative sum, with negative taps, large ones too, and long ones.
template <class Tap>
std::vector<Tap> drawKernel(Call& c) {
  static const std::vector<std::vector<Tap>> kernels{
      {1, 4, 6, 4, 1}, {1, 2, 1},         {1, 1, 1},         {1, 5, 0},  {0, 1, 0},
      {-1, -2, -1},    {-1, 2, 10, 3, 1}, {-2, 1, 3, 1, -2}, {4, -7, 4}, {1, 3, 7, 11, 7, 3, 1}};
  if (c.c.usual) return kernels[0];
  if (!c.c.random.oneIn(8)) return kernels[static_cast<size_t>(c.c.random.below(int(kernels.size())))];
  std::vector<Tap> taps;
  for (int i = c.pick({9, 31, 33, 151}); i > 0; --i) taps.push_back(static_cast<Tap>(c.c.random.between(1, 9)));
  return taps;
}

struct Scene {
  Step step;
  QoriSize most;
  std::shared_ptr<void> state;
};
const Scene& sceneOf(const Arguments& a) { return *static_cast<const Scene*>(a.data.get()); }

template <class State, class T, class Tap, class Init, class Run, class Free>
void drawLayer(Call& c, Init init, Run run, Free free) {
  constexpr bool isUp = std::is_same_v<State, QoriPyramidUpState>;
  const auto scene = std::make_shared<Scene>();
  const auto taps = drawKernel<Tap>(c);
  const Qor32f rate = c.c.usual ? 2 : c.pick({2.0F, 2.0F, 1.3F, 1.5F, 2.7F, 3.2F, 5.0F, 10.0F, 1.0000001F});
  scene->step = {shares(taps), rate, isUp};
  QoriSize& other = c.at<QoriSize>('y');
  if constexpr (isUp) {
    QoriSize most;
    EXPECT_EQ(qoriGetPyramidUpROI(c.size(), &other, &most, rate), qorStsNoErr);
    other.width = c.c.random.between(other.width, most.width);
    other.height = c.c.random.between(other.height, most.height);
  } else {
    EXPECT_EQ(qoriGetPyramidDownROI(c.size(), &other, rate), qorStsNoErr);
  }
  scene->most = isUp ? other : c.size();
  scene->most.width += c.pick({0, 0, 1, 40}), scene->most.height += c.pick({0, 0, 2, 30});
  State* state = nullptr;
  EXPECT_EQ(init(&state, scene->most, rate, taps.data(), int(taps.size()), 2), qorStsNoErr);
  scene->state = std::shared_ptr<State>(state, free);
  if (c.c.random.oneIn(2)) {  // a step between other sizes leaves nothing behind
    const QoriSize finer{1 + scene->most.width / 2, 1 + scene->most.height / 2};
    QoriSize coarser;
    EXPECT_EQ(qoriGetPyramidDownROI(finer, &coarser, rate), qorStsNoErr);
    const QoriSize from = isUp ? coarser : finer, to = isUp ? finer : coarser;
    const int step = 3 * finer.width * int{sizeof(T)};
    std::vector<T> image(size_t(3 * finer.width * finer.height)), result(image);
    EXPECT_EQ(run(image.data(), step, from, result.data(), step, to, state), qorStsNoErr);
  }
  c.at<State*>('t') = state;
  c.data = scene;
}

// Sums of floats are off by a rounding of every product and sum (that of the smallest numbers grows by the weights of
// the other axis), integers by half a unit more; and those of bytes by what the weights of all taps are rounded by.
template <class T>
void expectStep(Call& c) {
  const Step& step = sceneOf(c).step;
  Step sizes = step;
  double gain = step.isUp && step.rate == 2 ? 2 : 1, sum = 0;
  for (double& tap : sizes.taps) tap = fabs(tap), sum += tap;
  gain *= sum;
  const auto count = static_cast<double>(step.taps.size() + 1);
  const Image<T>&source = c.before<T>('s'), got = c.after<T>('d');
  for (int k = 0; k < source.channels; ++k) {
    const auto want = stepped(step, source, k, got.size, [](double v) { return v; });
    const auto magnitude = stepped(sizes, source, k, got.size, [](double v) { return fabs(v); });
    for (int y = 0; y < got.size.height; ++y) {
      for (int x = 0; x < got.size.width; ++x) {
        double real = want[size_t(y)][size_t(x)],
               bound = (2 * count + 6) * (magnitude[size_t(y)][size_t(x)] * 0x1p-24 + gain * 0x1p-149);
        if constexpr (std::is_integral_v<T>) {
          real = std::clamp(real, 0.0, static_cast<double>(std::numeric_limits<T>::max()));
          bound += 0.5 + (sizeof(T) == 1 ? gain * (0.03 + count * 255 * 0x1p-14) : 0);
        }
        ASSERT_LE(fabs(static_cast<double>(got.at(x, y, k)) - real), bound)
            << x << ", " << y << ", channel " << k << " of " << got.size.width << " x " << got.size.height << ": "
            << +got.at(x, y, k) << ", not " << real << ", rate " << step.rate << ", " << step.taps.size() << " taps "
            << currentCase();
      }
    }
  }
}

// The size of the source first; behind the steps that it fits the other one, and the layer.
template <class State>
void checkSizes(DescribedContract& c, int number) {
  constexpr bool isUp = std::is_same_v<State, QoriPyramidUpState>;
  QoriSize &source = c.now.at<QoriSize>('z'), &other = c.now.at<QoriSize>('y');
  if (number == 1) {
    c.check(
        "source", qorStsSizeErr, [&source] { return source.width < 1 || source.height < 1; },
        [&source] { source.width = 0; }, [&source] { source.height = -3; });
    return;
  }
  const auto fails = [&] {
    const QoriSize finer = isUp ? other : source, most = sceneOf(c.now).most;
    QoriSize coarser = {};
    if (source.width < 1 || source.height < 1) return false;
    if (finer.width < 1 || finer.height < 1 || finer.width > most.width || finer.height > most.height) return true;
    qoriGetPyramidDownROI(finer, &coarser, 2);
    return coarser.width != (isUp ? source : other).width || coarser.height != (isUp ? source : other).height;
  };
  const auto both = [&](int width, int height) {
    return [&, width, height] {
      source.width += width, source.height += height, other.width += isUp ? 2 * width : width / 2,
          other.height += isUp ? 2 * height : height / 2;
    };
  };
  c.check(
      "sizes", qorStsSizeErr, fails, [&] { ++other.height; }, [&] { other.width -= 2; }, [&] { other.width = -1; },
      [&] { other.height = 0; }, [&] { source.height += 2; }, both(8, 0), both(0, 8));
}

template <class State, class T, class Tap, class Init, class Run, class Free>
void addLayer(Descriptions& d, const char* initName, Init init, const char* runName, Run run, Free free) {
  d.add(initName, init, "azfkne",
        {.checks = "null | size | own | odd n BadArgErr 3 | one e BadArgErr",
         .values = {{'e', {2}}},
         .draw =
             [](Call& c) {
               drawRate(c);
               const auto taps = drawKernel<Tap>(c);
               c.array('k', taps), c.set('n', static_cast<double>(taps.size())), c.set('e', 2);
             },
         .release = [free](Arguments& a) { EXPECT_EQ(free(*a.at<State**>('a')), qorStsNoErr); },
         .own = refuseRates,
         .read = "k",
         .sweep = {.widths = {1, 2, 33, 640}, .heights = {1, 480}}});
  d.add(runName, run, "s.zd.yt",
        {.checks = "null | own 1 | step | even | own 2",
         .draw = [=](Call& c) { drawLayer<State, T, Tap>(c, init, run, free); },
         .shape =
             [](const Arguments& a, char role, int, Shape& s) {
               const QoriSize size = a.at<QoriSize>('y');
               if (role == 'd') s.width = size.width, s.height = size.height;
             },
         .expect = expectStep<T>,
         .own = checkSizes<State>,
         .read = "t",
         .teamSizes = {{260, 260}},
         .sweep = {.widths = {1, 2, 3, 4, 7, 8, 9, 15, 17, 24, 33, 47, 64, 65, 129},
                   .heights = {1, 2, 3, 7, 20},
                   .repeats = 2,
                   .finite = true}});
  EXPECT_EQ(free(nullptr), qorStsNullPtrErr);
}

const Descriptions members([](Descriptions& d) {
#define QOR_LAYER(ending, T, Tap, channels)                                                        \
  addLayer<QoriPyramidDownState, T, Tap>(d, QORTEST_NAMED(qoriPyramidLayerDownInitAlloc_##ending), \
                                         QORTEST_NAMED(qoriPyramidLayerDown_##ending),             \
                                         qoriPyramidLayerDownFree_##ending);                       \
  addLayer<QoriPyramidUpState, T, Tap>(d, QORTEST_NAMED(qoriPyramidLayerUpInitAlloc_##ending),     \
                                       QORTEST_NAMED(qoriPyramidLayerUp_##ending), qoriPyramidLayerUpFree_##ending);
#include "../../src/pyramid/layer.def"
});

TEST(PyramidLayer, RefusedKernelsAndSizes) {
  auto* const untouched = noAccess<QoriPyramidDownState>();
  auto* state = untouched;
  const Qor16s taps[] = {1, 4, 6, 4, 1}, balanced[] = {1, -2, 1};
  const Qor32f tiny[] = {1, -2, 1.0F - 1e-39F};
  EXPECT_EQ(qoriPyramidLayerDownInitAlloc_16u_C3R(&state, {9, 9}, 2, balanced, 3, 2), qorStsBadArgErr);
  EXPECT_EQ(qoriPyramidLayerDownInitAlloc_32f_C1R(&state, {9, 9}, 2, tiny, 3, 2), qorStsBadArgErr);
  for (const QoriSize size : {QoriSize{INT_MAX, INT_MAX}, {INT_MAX, 1}, {0x15555556, 9}})
    EXPECT_EQ(qoriPyramidLayerDownInitAlloc_8u_C3R(&state, size, 1.2F, taps, 5, 2), qorStsMemAllocErr);
  EXPECT_EQ(state, untouched);
}

}  // namespace
