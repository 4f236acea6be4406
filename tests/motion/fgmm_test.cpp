#include <math.h>

#include "film.h"

namespace {
using namespace qortest;

// One pixel by the words of the header.
struct Pixel {
  struct Mode {
    float w = 0, m[3] = {}, v = 0;

    float distance(const Qor8u* c) const {
      return (m[0] - c[0]) * (m[0] - c[0]) + (m[1] - c[1]) * (m[1] - c[1]) + (m[2] - c[2]) * (m[2] - c[2]);
    }
  };

  std::vector<Mode> modes;
  int count = 0;

  Mode& at(int rank) { return modes[size_t(rank)]; }
  const Mode& at(int rank) const { return modes[size_t(rank)]; }
  // With a weight that is not a number it may be anything.
  bool isLost() const {
    return std::any_of(modes.begin(), modes.begin() + count, [](const Mode& m) { return isnan(m.w + m.v); });
  }

  Qor8u learn(const Qor8u* c, const QoriFGMMModel& model, double rate) {
    const float a = float(rate), prune = float(double(model.complexity) * -rate);
    bool fitted = false, background = false;
    float total = 0;
    int bound = count;
    for (int k = 0; k < bound; ++k) {
      Mode& m = at(k);
      const float w = m.w = m.w * (1 - a) + prune, d2 = m.distance(c);
      background |= !fitted && total < model.backgroundRatio && m.v * model.varThreshold > d2;
      const bool fits = !fitted && m.v * model.varThresholdGen > d2;
      const float raised = fits ? w + a : w;
      const bool isPruned = raised < -prune, moves = fits && k > 0 && raised >= at(k - 1).w;
      m.w = isPruned && !moves ? 0 : raised;
      total += isPruned ? 0 : raised;
      bound -= isPruned;
      if (!fits) continue;
      fitted = true;
      for (int i = 0; i < 3; ++i) m.m[i] -= (m.m[i] - c[i]) * (a / raised);
      m.v = std::min(std::max(m.v + a / raised * (d2 - m.v), model.varMin), model.varMax);
      for (int j = k; j > 0 && raised >= at(j - 1).w; --j) std::swap(at(j), at(j - 1));
    }
    for (int k = 0; k < bound; ++k) at(k).w /= total;
    if (!fitted) make(c, model, a);
    return background ? 0 : model.shadowDetect != 0 && isShadow(c, model) ? model.shadowValue : 255;
  }

  void make(const Qor8u* c, const QoriFGMMModel& model, float a) {
    if (count != model.numModes && count != std::min(int(modes.size()), 255)) ++count;
    for (int k = 0; k < count - 1; ++k) at(k).w *= 1 - a;
    at(count - 1) = {count == 1 ? 1 : a, {float(c[0]), float(c[1]), float(c[2])}, model.varInit};
    for (int j = count - 1; j > 0; --j)
      if (!(at(j - 1).w > a)) std::swap(at(j), at(j - 1));
  }

  bool isShadow(const Qor8u* c, const QoriFGMMModel& model) const {
    float sum = 0;
    for (int k = 0; k < count && !(sum > model.backgroundRatio); ++k) {
      const auto& [w, m, v] = at(k);
      const float along = c[0] * m[0] + c[1] * m[1] + c[2] * m[2], square = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
      if (square == 0) return false;
      const float p = along / square, d2 = Mode{0, {p * m[0], p * m[1], p * m[2]}, 0}.distance(c);
      if (square >= along && along >= model.tau * square && v * model.varThreshold * (p * p) > d2) return true;
      sum += w;
    }
    return false;
  }

  Qor8u background(int channel, float ratio) const {
    float sum = 0, total = 0;
    for (int k = 0; k < count && !(total > ratio); ++k) total += at(k).w, sum += at(k).w * at(k).m[channel];
    return Qor8u(lrintf(std::clamp(sum * (1 / total), 0.0F, 255.0F)));
  }
};

// A state and what it should hold.
struct Film : Palette {
  QoriFGMMModel model = {};
  int most = 0;
  Qor8u* state = nullptr;
  int64_t frames = 0;
  std::vector<Pixel> pixels = {};

  void drawModel(Call& c) {
    const int history = c.pick({4, 1, 500, 0}), shadows = c.pick({0, 1, 2});
    model = {history,
             1 + c.c.random.below(most),
             c.pick({15.0F, 4.0F, 200.0F}),
             4,
             c.pick({75.0F, 40.0F, 2.0F}),
             c.pick({16.0F, 6.0F}),
             c.pick({0.9F, 0.4F, 1.0F}),
             c.pick({9.0F, 20.0F}),
             c.pick({0.0F, 0.05F, 0.1F, 0.3F}),
             127,
             Qor8u(shadows),
             c.pick({0.5F, 0.8F, 0.0F})};
  }

  void expectMask(const Image<Qor8u>& frame, double rate, const Image<Qor8u>& mask) {
    if (rate < 0 || frames == 0) rate = 1 / double(std::min(2 * frames + 2, int64_t{model.history}));
    ++frames;
    Image<Qor8u> want = mask;
    for (size_t i = 0; i < pixels.size(); ++i) {
      const Qor8u shown = pixels[i].learn(&frame.samples[3 * i], model, rate);
      if (!pixels[i].isLost()) want.samples[i] = shown;
    }
    expectSame(mask, want);
  }
  void expectBackground(const Image<Qor8u>& background) const {
    Image<Qor8u> want = background;
    for (size_t i = 0; i < want.samples.size(); ++i)
      if (!pixels[i / 3].isLost()) want.samples[i] = pixels[i / 3].background(int(i % 3), model.backgroundRatio);
    expectSame(background, want);
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

const double rates[] = {-1, 0.02, 0.5, 0, 1};

// A state that has seen some frames. The first model's number of modes does not count.
void drawFilm(Call& c) {
  Random& random = c.c.random;
  const auto film = std::make_shared<Film>(Film{Palette(c.size(), 3, random)});
  c.data = film;
  film->most = c.pick({1, 2, 3, 5});
  film->drawModel(c);
  film->model.numModes = -7;
  int bytes = 0;
  EXPECT_EQ(qoriFGMMGetBufferSize_8u_C3R(c.size(), film->most, &bytes), qorStsNoErr);
  film->state = c.block('t', bytes);
  EXPECT_EQ(qoriFGMMInit_8u_C3R(c.size(), film->most, &film->model, film->state), qorStsNoErr);
  film->model.numModes = film->most;
  film->pixels.assign(size_t(c.size().width * c.size().height), {std::vector<Pixel::Mode>(size_t(film->most))});
  const auto foreground = atSomeLevel(qoriFGMMForeground_8u_C3R, "qoriFGMMForeground_8u_C3R", random);
  for (int n = c.c.usual ? 0 : random.below(9); n > 0; --n) {
    const GuardedImage<Qor8u> frame(c.size(), {.channels = 3}), mask(c.size());
    film->paint(frame, random);
    const double rate = random.oneIn(2) ? -1 : rates[random.below(5)];
    EXPECT_EQ(foreground(frame.data(), frame.step(), mask.data(), mask.step(), c.size(), film->state, nullptr, rate),
              qorStsNoErr);
    film->expectMask(frame.pixels(), rate, mask.pixels());
  }
}

void drawModel(Call& c) {
  drawFilm(c);
  Film& film = filmOf(c);
  if (c.has('n')) c.set('n', film.most);
  if (c.has('k') && c.c.random.oneIn(2)) return;
  film.drawModel(c);
  c.array('j', std::vector<QoriFGMMModel>{film.model});
}

void expectForeground(Call& c) {
  Film& film = filmOf(c);
  film.expectMask(c.before<Qor8u>('s'), c.real('k'), c.after<Qor8u>('d'));
  const GuardedImage<Qor8u> background(c.size(), {.channels = 3});
  EXPECT_EQ(qoriFGMMBackground_8u_C3R(background.data(), background.step(), c.size(), film.state), qorStsNoErr);
  film.expectBackground(background.pixels());
}

// Numbers of modes that are refused, in a model beside a state that can be read.
void modelChecks(DescribedContract& c, int) {
  static QoriFGMMModel refused[4];
  Film& film = filmOf(c.now);
  const int numbers[] = {0, -1, film.most + 1, INT32_MIN};
  for (int i = 0; i < 4; ++i) refused[i].numModes = numbers[i];
  const auto isRefused = [&c] {
    return std::any_of(refused, refused + 4,
                       [&](auto& model) { return c.now.at<const QoriFGMMModel*>('j') == &model; });
  };
  const auto passing = [&](int i) {
    return [&c, &film, i] { c.now.at<Qor8u*>('t') = film.state, c.now.at<const QoriFGMMModel*>('j') = refused + i; };
  };
  c.check("modes", qorStsBadArgErr, isRefused, passing(0), passing(1), passing(2), passing(3));
}

const Descriptions members([](Descriptions& d) {
  const std::vector<QoriSize> teamSizes = {{256, 128}};
  d.add(QORTEST_NAMED(qoriFGMMForeground_8u_C3R), "s.d.ztjk",
        {.checks = "null sdt | positive . StepErr | size | own",
         .values = {{'k', {std::begin(rates), std::end(rates)}}},
         .draw = drawModel,
         .shape = [](const Arguments&, char role, int, Shape& s) { s.channels = role == 's' ? 3 : 1; },
         .fill = [](Call& c) { filmOf(c).paint(c.image<Qor8u>('s'), c.c.random); },
         .expect = expectForeground,
         .own = modelChecks,
         .teamSizes = teamSizes,
         .sweep = {.thresholds = {{255, 1}, {256, 1}, {257, 1}, {33, 16}}, .repeats = 3}});
  const auto expectBackground = [](Call& c) { filmOf(c).expectBackground(c.after<Qor8u>('d')); };
  d.add(QORTEST_NAMED(qoriFGMMBackground_8u_C3R), "d.zt",
        {.checks = "null | positive . StepErr | size",
         .draw = drawFilm,
         .expect = expectBackground,
         .teamSizes = teamSizes});
  d.add(QORTEST_NAMED(qoriFGMMInit_8u_C3R), "znjt",
        {.checks = "null | size | positive n BadArgErr", .draw = drawModel, .teamSizes = teamSizes});
  const auto expectBytes = [](Call& c) {
    const auto rounded = [](uint64_t n) { return (n + 31) / 32 * 32; };
    const uint64_t m = uint64_t(c.number('n')), n = uint64_t(c.size().width) * uint64_t(c.size().height);
    const uint64_t planes = rounded(n) + 2 * rounded(4 * n * m) + rounded(16 * n * m);
    c.expectResult(1, int(uint32_t(3 * rounded(8 * m) + planes + 416)));
  };
  d.add(QORTEST_NAMED(qoriFGMMGetBufferSize_8u_C3R), "znr",
        {.checks = "null | size | positive n BadArgErr",
         .values = {{'n', {1, 2, 5, 255, 300, INT32_MAX}}},
         .expect = expectBytes,
         .sweep = {.widths = {1, 2, 31, 33, 641, 1920, INT32_MAX}, .heights = {1, 1080}}});
});

// A count is a byte: the mode of rank 254 is the last one, however many there might be.
TEST(Fgmm, ManyModes) {
  Random random(1);
  Film film{Palette({1, 1}, 3, random), {1000, 300, 1, 1, 1, 1, 0.9F, 1, 0, 0, 0, 0}};
  film.pixels.assign(1, {std::vector<Pixel::Mode>(300)});
  int bytes = 0;
  ASSERT_EQ(qoriFGMMGetBufferSize_8u_C3R({1, 1}, 300, &bytes), qorStsNoErr);
  const GuardedBytes state(bytes, 5);
  ASSERT_EQ(qoriFGMMInit_8u_C3R({1, 1}, 300, &film.model, state.data()), qorStsNoErr);
  Image<Qor8u> frame({1, 1}, 3), mask({1, 1}), background({1, 1}, 3);
  for (int i = 0; i < 600; ++i) {
    frame.samples = {Qor8u(10 * (i % 25)), Qor8u(10 * (i / 25)), 9};
    EXPECT_EQ(qoriFGMMForeground_8u_C3R(&frame.at(0, 0), 1, &mask.at(0, 0), 1, {1, 1}, state.data(), nullptr, -1), 0);
    film.expectMask(frame, -1, mask);
    EXPECT_EQ(qoriFGMMBackground_8u_C3R(&background.at(0, 0), 1, {1, 1}, state.data()), 0);
    film.expectBackground(background);
  }
  EXPECT_EQ(film.pixels[0].count, 255);
}

}  // namespace
