#include <math.h>

#include "film.h"

namespace {
using namespace qortest;

// One pixel by the words of the header.
struct Pixel {
  struct Mode {
    double count = 0, weight = 0, variance[3] = {12.5, 12.5, 12.5}, mean[3] = {};

    double variances(int channels) const {
      return channels == 1 ? variance[0] : variance[0] + variance[1] + variance[2];
    }
    double key(int channels) const { return count > 0 ? weight / sqrt(variances(channels)) : 0; }
    bool fits(const Qor8u* x, int channels) const {
      double d2 = 0;
      for (int c = 0; c < channels; ++c) d2 += (mean[c] - x[c]) * (mean[c] - x[c]);
      return variances(channels) * 6.25 > d2;
    }
  };
  Mode modes[5] = {};

  Qor8u learn(const Qor8u* x, int channels, bool isWindow) {
    const auto counts = [&] {
      return modes[0].count + modes[1].count + modes[2].count + modes[3].count + modes[4].count;
    };
    int hit = 0;
    while (hit < 5 && !modes[hit].fits(x, channels)) ++hit;
    const double a = isWindow ? 1.0 / 200 : 1 / (counts() + 1);
    for (Mode& m : modes) {
      const int h = &m == modes + hit;
      if (!isWindow) m.count += h;
      m.weight += (h - m.weight) * a;
      const double rho = 1 / (isWindow ? 200 * m.weight : m.count);
      for (int c = 0; c < h * channels; ++c) {
        const double e = x[c] - m.mean[c];
        m.mean[c] += e * rho;
        m.variance[c] += rho * (e * e - m.variance[c]);
      }
    }
    if (hit == 5) {
      modes[4] = {1, 0, {900, 900, 900}, {}};
      for (int c = 0; c < channels; ++c) modes[4].mean[c] = x[c];
      for (Mode& m : modes) m.weight = !isWindow || &m == modes + 4 ? m.count / counts() : m.weight * (1 - 1.0 / 200);
    }
    std::stable_sort(modes, modes + 5, [=](const Mode& b, const Mode& c) { return b.key(channels) > c.key(channels); });
    double total = 0;
    for (int k = 0; k < 5 && !(total > 0.7); total += modes[k++].weight)
      if (k == hit) return 0;
    return 255;
  }
};

struct Operations {
  decltype(&qoriForegroundGaussianInitAlloc_8u_C1R) init;
  decltype(&qoriForegroundGaussian_8u_C1R) foreground;
  decltype(&qoriForegroundGaussianFree_8u_C1R) release;
  const char *initName, *name;
};

const Operations members[] = {
#define QOR_FOREGROUND_GAUSSIAN(init, foreground, release, channels) {init, foreground, release, #init, #foreground},
#include "../../src/motion/foreground_gaussian.def"
};

// A record and what it should hold. Frames may have fewer rows than the first one.
struct Film : Palette {
  Operations operations;
  QoriFgGaussianState* state = nullptr;
  int calls = 0;
  std::vector<Pixel> pixels;

  Film(QoriSize s, int c, Random& random)
      : Palette(s, c, random), operations(members[c / 2]), pixels(size_t(s.width * s.height)) {
    const GuardedImage<Qor8u> first(s, {.channels = channels});
    paint(first, random);
    for (size_t i = 0; i < pixels.size(); ++i) {
      Pixel::Mode& m = pixels[i].modes[0];
      m.count = m.weight = 1;
      for (int k = 0; k < channels; ++k) m.mean[k] = first.at(int(i) % s.width, int(i) / s.width, k);
    }
    EXPECT_EQ(operations.init(first.data(), first.step(), s, noAccess<char>(), &state), qorStsNoErr);
  }
  Film(const Film&) = delete;
  ~Film() { EXPECT_EQ(operations.release(state), qorStsNoErr); }

  void expectFrame(const Image<Qor8u>& image, const Image<Qor8u>& background, const Image<Qor8u>& mask) {
    Image<Qor8u> wantBackground = background, wantMask = mask;
    ++calls;
    for (size_t i = 0; i < mask.samples.size(); ++i) {
      wantMask.samples[i] = pixels[i].learn(&image.samples[i * size_t(channels)], channels, calls == 200);
      for (int c = 0; c < channels; ++c)
        wantBackground.samples[i * size_t(channels) + size_t(c)] = Qor8u(int(pixels[i].modes[0].mean[c] + 0.5));
    }
    expectSame(background, wantBackground);
    expectSame(mask, wantMask);
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

// A record that has seen some frames, now and then as many as lie around the one that learns in another way.
void drawFilm(Call& c) {
  Random& random = c.c.random;
  const auto film = std::make_shared<Film>(c.size(), c.description.channels, random);
  c.data = film;
  c.at<QoriFgGaussianState*>('t') = film->state;
  const auto foreground = atSomeLevel(film->operations.foreground, film->operations.name, random);
  const bool isLong = random.oneIn(4) && c.size().width * c.size().height < 150;
  for (int n = c.c.usual ? 0 : isLong ? 196 + random.below(6) : random.below(25); n > 0; --n) {
    const QoriSize part = {c.size().width, random.oneIn(8) ? 1 + random.below(c.size().height) : c.size().height};
    const GuardedImage<Qor8u> frame(c.size(), {.channels = film->channels}), mask(part);
    const GuardedImage<Qor8u> background(part, {.channels = film->channels});
    film->paint(frame, random);
    EXPECT_EQ(foreground(frame.data(), frame.step(), background.data(), background.step(), mask.data(), mask.step(),
                         part, film->state),
              qorStsNoErr);
    film->expectFrame(frame.pixels(), background.pixels(), mask.pixels());
  }
}

const Descriptions described([](Descriptions& d) {
  for (const Operations& o : members) {
    d.add(
        o.name, o.foreground, "s.d.d.zt",
        {.checks = "null | size | step s",
         .draw = drawFilm,
         .shape = [](const Arguments&, char role, int i,
                     Shape& s) { s.channels = role == 'd' && i == 2 ? 1 : s.channels; },
         .fill = [](Call& c) { filmOf(c).paint(c.image<Qor8u>('s'), c.c.random); },
         .expect =
             [](Call& c) { filmOf(c).expectFrame(c.before<Qor8u>('s'), c.after<Qor8u>('d'), c.after<Qor8u>('d', 2)); },
         .teamSizes = {{64, 16}},
         .sweep = {.widths = {1, 2, 3, 4, 5, 15, 16, 17, 33, 64, 129},
                   .heights = {1, 2, 5},
                   .thresholds = {{257, 1}},
                   .repeats = 2}});
    addInit(d, o.initName, o.init, o.release);
  }
});

TEST(ForegroundGaussian, NoRecord) {
  for (const Operations& o : members) expectNoRecord(o.init, o.release);
}

}  // namespace
