#include <math.h>

#include "qorcv/motion.h"
#include "support/support.h"

namespace {
using namespace qortest;

using Color = Qor8u[3];

// One pixel by the words of the header.
struct Pixel {
  struct Mode {
    float w = 0, m[3] = {}, v = 0;

    float distance(const Color& c) const {
      return (m[0] - c[0]) * (m[0] - c[0]) + (m[1] - c[1]) * (m[1] - c[1]) + (m[2] - c[2]) * (m[2] - c[2]);
    }
  };

  std::vector<Mode> modes;
  int count = 0;

  bool isLost() const {
    for (int k = 0; k < count; ++k)
      if (isnan(modes[size_t(k)].w + modes[size_t(k)].v)) return true;
    return false;
  }

  Qor8u learn(const Color& c, const QoriFGMMModel& model, double rate) {
    const float a = float(rate), kept = 1 - a, prune = float(double(model.complexity) * -rate);
    bool fitted = false, background = false;
    float total = 0;
    int bound = count;
    for (int k = 0; k < bound; ++k) {
      Mode& mode = modes[size_t(k)];
      mode.w = mode.w * kept + prune;
      int at = k;
      const float w = fit(k, c, model, a, total, fitted, background, at);
      if (w < -prune) {
        --bound;
        if (at == k) mode.w = 0;
      } else {
        total += w;
      }
    }
    for (int k = 0; k < bound; ++k) modes[size_t(k)].w /= total;
    if (!fitted) make(c, model, a);
    return background ? 0 : model.shadowDetect != 0 && isShadow(c, model) ? model.shadowValue : 255;
  }

  // The weight of mode k, which learns the color if it is the first one that fits, and then stands at another rank.
  float fit(int k, const Color& c, const QoriFGMMModel& model, float a, float total, bool& fitted, bool& background,
            int& at) {
    Mode& mode = modes[size_t(k)];
    const float d2 = mode.distance(c);
    if (!fitted && total < model.backgroundRatio && mode.v * model.varThreshold > d2) background = true;
    if (fitted || !(mode.v * model.varThresholdGen > d2)) return mode.w;
    fitted = true;
    mode.w += a;
    const float w = mode.w, r = a / w, v = mode.v + r * (d2 - mode.v);
    for (int i = 0; i < 3; ++i) mode.m[i] -= (mode.m[i] - c[i]) * r;
    mode.v = v > model.varMin ? v : model.varMin;
    mode.v = mode.v < model.varMax ? mode.v : model.varMax;
    for (; at > 0 && w >= modes[size_t(at) - 1].w; --at) std::swap(modes[size_t(at)], modes[size_t(at) - 1]);
    return w;
  }

  void make(const Color& c, const QoriFGMMModel& model, float a) {
    if (count != model.numModes && count != std::min(int(modes.size()), 255)) ++count;
    const size_t last = size_t(count) - 1;
    for (size_t k = 0; k < last; ++k) modes[k].w *= 1 - a;
    modes[last] = {count == 1 ? 1 : a, {float(c[0]), float(c[1]), float(c[2])}, model.varInit};
    for (size_t j = last; j > 0; --j)
      if (!(modes[j - 1].w > a)) std::swap(modes[j], modes[j - 1]);
  }

  bool isShadow(const Color& c, const QoriFGMMModel& model) const {
    float sum = 0;
    for (int k = 0; k < count && !(sum > model.backgroundRatio); ++k) {
      const auto& [w, m, v] = modes[size_t(k)];
      const float along = c[0] * m[0] + c[1] * m[1] + c[2] * m[2], square = m[0] * m[0] + m[1] * m[1] + m[2] * m[2];
      if (square == 0) return false;
      const float p = along / square;
      const Mode dark = {0, {p * m[0], p * m[1], p * m[2]}, 0};
      if (square >= along && along >= model.tau * square && v * model.varThreshold * (p * p) > dark.distance(c))
        return true;
      sum += w;
    }
    return false;
  }

  Qor8u background(int channel, float ratio) const {
    float sum = 0, total = 0;
    for (int k = 0; k < count && !(total > ratio); ++k) {
      total += modes[size_t(k)].w;
      sum += modes[size_t(k)].w * modes[size_t(k)].m[channel];
    }
    return Qor8u(lrintf(std::clamp(sum * (1 / total), 0.0F, 255.0F)));
  }
};

// A state and what it should hold. Pixels have three colours that they take in turns, with some noise.
struct Film {
  QoriSize size;
  QoriFGMMModel model = {};
  int most = 0;
  Qor8u* state = nullptr;
  std::vector<Pixel> pixels = {};
  int64_t frames = 0;
  std::vector<Qor8u> palette = {};

  void paint(GuardedImage<Qor8u>& frame, Random& random) {
    const bool isStill = random.oneIn(3);
    frame.generate([&](int x, int y, int c) {
      const int at = y * size.width + x, shown = isStill ? 0 : (at + random.below(2)) % 3;
      const int shade = (at + int(frames)) % 7 == 0 ? 70 : 100;
      return Qor8u(palette[size_t(9 * at + 3 * shown + c)] * shade / 100 + random.below(6));
    });
  }

  void drawModel(Call& c) {
    const int history = c.pick({4, 1, 500, 0}), shadows = c.pick({0, 1, 2});
    model = {history,
             1 + c.c.random.below(most),
             c.pick({15.0F, 4.0F, 200.0F}),
             4,
             c.pick({75.0F, 40.0F, 2.0F}),
             c.pick({16.0F, 6.0F}),
             c.pick({0.9F, 0.5F, 1.0F}),
             c.pick({9.0F, 20.0F}),
             c.pick({0.0F, 0.05F, 0.1F, 0.3F}),
             127,
             Qor8u(shadows),
             c.pick({0.5F, 0.8F, 0.0F})};
  }

  Image<Qor8u> learn(const Image<Qor8u>& frame, double rate) {
    if (rate < 0 || frames == 0) rate = 1 / double(std::min(2 * frames + 2, int64_t{model.history}));
    ++frames;
    Image<Qor8u> mask(size);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const Color color = {frame.at(x, y, 0), frame.at(x, y, 1), frame.at(x, y, 2)};
        mask.at(x, y) = pixels[size_t(y * size.width + x)].learn(color, model, rate);
      }
    }
    return mask;
  }

  // A pixel with a weight that is not a number may be anything.
  void forgive(Image<Qor8u>& want, const Image<Qor8u>& got) const {
    for (size_t i = 0; i < want.samples.size(); ++i)
      if (pixels[i / size_t(want.channels)].isLost()) want.samples[i] = got.samples[i];
  }
  void expectBackground(const Image<Qor8u>& got) const {
    Image<Qor8u> want(size, 3);
    for (size_t i = 0; i < want.samples.size(); ++i)
      want.samples[i] = pixels[i / 3].isLost() ? 0 : pixels[i / 3].background(int(i % 3), model.backgroundRatio);
    forgive(want, got);
    expectSame(got, want);
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

const double rates[] = {-1, 0.02, 0.3, 0, 1};

// A state that has seen some frames, at one level or the other. The first model's number of modes does not count.
void drawFilm(Call& c) {
  const auto film = std::make_shared<Film>(Film{c.size()});
  c.data = film;
  film->most = c.pick({1, 2, 3, 5});
  film->drawModel(c);
  film->model.numModes = -7;
  int bytes = 0;
  EXPECT_EQ(qoriFGMMGetBufferSize_8u_C3R(c.size(), film->most, &bytes), qorStsNoErr);
  film->state = c.block('t', bytes);
  EXPECT_EQ(qoriFGMMInit_8u_C3R(c.size(), film->most, &film->model, film->state), qorStsNoErr);
  film->model.numModes = film->most;
  const size_t count = size_t(c.size().width) * size_t(c.size().height);
  film->pixels.assign(count, {std::vector<Pixel::Mode>(size_t(film->most))});
  for (size_t i = 0; i < 9 * count; ++i)
    film->palette.push_back(c.c.random.oneIn(30) ? 0 : Qor8u(c.c.random.below(250)));
  const Operation& operation = Descriptions::of("qoriFGMMForeground_8u_C3R").operation;
  const Operation::Function plain = c.c.random.oneIn(2) ? atPlainLevel(operation) : nullptr;
  const auto foreground =
      plain != nullptr ? reinterpret_cast<decltype(&qoriFGMMForeground_8u_C3R)>(plain) : qoriFGMMForeground_8u_C3R;
  for (int n = c.c.usual ? 0 : c.c.random.below(9); n > 0; --n) {
    GuardedImage<Qor8u> frame(c.size(), {.channels = 3}), mask(c.size());
    film->paint(frame, c.c.random);
    const double rate = c.c.random.oneIn(2) ? -1 : rates[c.c.random.below(5)];
    EXPECT_EQ(foreground(frame.data(), frame.step(), mask.data(), mask.step(), c.size(), film->state, nullptr, rate),
              qorStsNoErr);
    film->learn(frame.pixels(), rate);
  }
}

void drawNextFrame(Call& c) {
  drawFilm(c);
  Film& film = filmOf(c);
  c.at<const QoriFGMMModel*>('j') = nullptr;
  if (c.c.random.oneIn(2)) return;
  film.drawModel(c);
  c.array('j', std::vector<QoriFGMMModel>{film.model});
}

void expectForeground(Call& c) {
  Film& film = filmOf(c);
  Image<Qor8u> want = film.learn(c.before<Qor8u>('s'), c.real('k'));
  film.forgive(want, c.after<Qor8u>('d'));
  c.expect('d', want);
  GuardedImage<Qor8u> background(c.size(), {.channels = 3});
  EXPECT_EQ(qoriFGMMBackground_8u_C3R(background.data(), background.step(), c.size(), film.state), qorStsNoErr);
  film.expectBackground(background.pixels());
}

// Numbers of modes that are refused, in a model beside a state that can be read.
void modelChecks(DescribedContract& c, int) {
  static QoriFGMMModel refused[4];
  Film& film = filmOf(c.now);
  const int numbers[] = {0, -1, film.most + 1, INT32_MIN};
  const auto isRefused = [&c] {
    const auto* const model = c.now.at<const QoriFGMMModel*>('j');
    return model >= refused && model < refused + 4;
  };
  const auto passing = [&](int i) {
    return [&c, &film, i] { c.now.at<Qor8u*>('t') = film.state, c.now.at<const QoriFGMMModel*>('j') = refused + i; };
  };
  for (int i = 0; i < 4; ++i) refused[i].numModes = numbers[i];
  c.check("modes", qorStsBadArgErr, isRefused, passing(0), passing(1), passing(2), passing(3));
}

const Descriptions members([](Descriptions& d) {
  d.add(QORTEST_NAMED(qoriFGMMForeground_8u_C3R), "s.d.ztjk",
        {.checks = "null sdt | positive . StepErr | size | own",
         .values = {{'k', {std::begin(rates), std::end(rates)}}},
         .draw = drawNextFrame,
         .shape = [](const Arguments&, char role, int, Shape& s) { s.channels = role == 's' ? 3 : 1; },
         .fill =
             [](Call& c) {
               if (!c.c.random.oneIn(4)) filmOf(c).paint(c.image<Qor8u>('s'), c.c.random);
             },
         .expect = expectForeground,
         .own = modelChecks,
         .teamSizes = {{256, 128}},
         .sweep = {.thresholds = {{255, 1}, {256, 1}, {257, 1}, {33, 16}}, .repeats = 3}});
  d.add(QORTEST_NAMED(qoriFGMMBackground_8u_C3R), "d.zt",
        {.checks = "null | positive . StepErr | size",
         .draw = drawFilm,
         .expect = [](Call& c) { filmOf(c).expectBackground(c.after<Qor8u>('d')); },
         .teamSizes = {{256, 128}}});
  d.add(QORTEST_NAMED(qoriFGMMInit_8u_C3R), "znjt",
        {.checks = "null | size | positive n BadArgErr", .draw = [](Call& c) {
           int bytes = 0;
           const int modes = c.pick({5, 1, 40});
           c.set('n', modes);
           c.array('j', std::vector<QoriFGMMModel>(1));
           EXPECT_EQ(qoriFGMMGetBufferSize_8u_C3R(c.size(), modes, &bytes), qorStsNoErr);
           c.block('t', bytes);
         }});
  d.add(QORTEST_NAMED(qoriFGMMGetBufferSize_8u_C3R), "znr",
        {.checks = "null | size | positive n BadArgErr",
         .values = {{'n', {1, 2, 5, 255, 300, INT32_MAX}}},
         .expect =
             [](Call& c) {
               const auto rounded = [](uint64_t n) { return (n + 31) / 32 * 32; };
               const uint64_t pixels = uint64_t(c.size().width) * uint64_t(c.size().height),
                              m = uint64_t(c.number('n'));
               const uint64_t modes = pixels * m;
               const uint64_t bytes =
                   3 * rounded(8 * m) + rounded(pixels) + 2 * rounded(4 * modes) + rounded(16 * modes) + 416;
               c.expectResult(1, int(uint32_t(bytes)));
             },
         .sweep = {.widths = {1, 2, 31, 33, 641, 1920, INT32_MAX}, .heights = {1, 1080}}});
});

// A count is a byte: the mode of rank 254 is the last one, however many there might be. Rows of a step of 1 overlap.
TEST(Fgmm, ManyModes) {
  Film film{{1, 1}, {1000, 300, 1, 1, 1, 1, 0.9F, 1, 0, 0, 0, 0}, 300};
  film.pixels.assign(1, {std::vector<Pixel::Mode>(300)});
  int bytes = 0;
  ASSERT_EQ(qoriFGMMGetBufferSize_8u_C3R(film.size, 300, &bytes), qorStsNoErr);
  const GuardedBytes state(bytes, 5);
  ASSERT_EQ(qoriFGMMInit_8u_C3R(film.size, 300, &film.model, state.data()), qorStsNoErr);
  Image<Qor8u> frame(film.size, 3), background(film.size, 3);
  for (int i = 0; i < 600; ++i) {
    frame.samples = {Qor8u(10 * (i % 25)), Qor8u(10 * (i / 25)), 9};
    Qor8u mask = 1;
    EXPECT_EQ(qoriFGMMForeground_8u_C3R(frame.samples.data(), 1, &mask, 1, film.size, state.data(), nullptr, -1), 0);
    EXPECT_EQ(mask, film.learn(frame, -1).samples[0]) << i;
    EXPECT_EQ(qoriFGMMBackground_8u_C3R(background.samples.data(), 1, film.size, state.data()), 0);
    film.expectBackground(background);
  }
  EXPECT_EQ(film.pixels[0].count, 255);
}

// Two modes of one weight: the one that is seen, at a rate of 0, changes places with the other.
TEST(Fgmm, TiesMoveUp) {
  const QoriFGMMModel model = {1, 2, 1, 1, 1, 1, 0.4F, 1, 0, 0, 0, 0};
  alignas(32) Qor8u state[1024];
  int bytes = 0;
  ASSERT_EQ(qoriFGMMGetBufferSize_8u_C3R({1, 1}, 2, &bytes), qorStsNoErr);
  ASSERT_LE(bytes, int{sizeof state});
  ASSERT_EQ(qoriFGMMInit_8u_C3R({1, 1}, 2, &model, state), qorStsNoErr);
  const Color red = {200, 0, 0}, blue = {0, 0, 200};
  const auto expectFirst = [&](const Color& shown, double rate, const Color& first) {
    Color mask, got;
    EXPECT_EQ(qoriFGMMForeground_8u_C3R(shown, 3, mask, 1, {1, 1}, state, nullptr, rate), qorStsNoErr);
    EXPECT_EQ(qoriFGMMBackground_8u_C3R(got, 3, {1, 1}, state), qorStsNoErr);
    EXPECT_EQ(memcmp(got, first, 3), 0);
  };
  expectFirst(red, -1, red);
  expectFirst(blue, 0.5, blue);
  expectFirst(red, 0, red);
  expectFirst(blue, 0, blue);
}

}  // namespace
