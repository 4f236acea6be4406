#include <math.h>

#include "qorcv/motion.h"
#include "support/support.h"

namespace {
using namespace qortest;

// One pixel by the words of the header.
struct Pixel {
  struct Mode {
    double count = 0, weight = 0, variance[3] = {12.5, 12.5, 12.5}, mean[3] = {};

    double variances(int channels) const {
      return channels == 1 ? variance[0] : variance[0] + variance[1] + variance[2];
    }
    double distance(const Qor8u* x, int channels) const {
      double d2 = (mean[0] - x[0]) * (mean[0] - x[0]);
      for (int c = 1; c < channels; ++c) d2 += (mean[c] - x[c]) * (mean[c] - x[c]);
      return d2;
    }
    double key(int channels) const { return count > 0 ? weight / sqrt(variances(channels)) : 0; }
  };
  Mode modes[5];

  double counts() const {
    double n = 0;
    for (const Mode& m : modes) n += m.count;
    return n;
  }

  Qor8u learn(const Qor8u* x, int channels, bool isWindow) {
    int hit = 0;
    while (hit < 5 && !(modes[hit].variances(channels) * 6.25 > modes[hit].distance(x, channels))) ++hit;
    const double a = isWindow ? 1.0 / 200 : 1 / (counts() + 1);
    for (int k = 0; k < 5; ++k) {
      Mode& m = modes[k];
      const int h = k == hit;
      if (!isWindow) m.count += h;
      m.weight += (h - m.weight) * a;
      if (h == 0) continue;
      const double rho = 1 / (isWindow ? 200 * m.weight : m.count);
      for (int c = 0; c < channels; ++c) {
        const double e = x[c] - m.mean[c];
        m.mean[c] += e * rho;
        m.variance[c] += rho * (e * e - m.variance[c]);
      }
    }
    if (hit == 5) replaceLast(x, channels, isWindow);
    std::stable_sort(modes, modes + 5, [=](const Mode& b, const Mode& c) { return b.key(channels) > c.key(channels); });
    double total = 0;
    for (int k = 0; k < 5; ++k) {
      total += modes[k].weight;
      if (k == hit) return 0;
      if (total > 0.7) break;
    }
    return 255;
  }

  void replaceLast(const Qor8u* x, int channels, bool isWindow) {
    const double weight = modes[4].weight;
    modes[4] = {1, weight, {900, 900, 900}, {}};
    for (int c = 0; c < channels; ++c) modes[4].mean[c] = x[c];
    const double n = counts();
    for (int k = 0; k < 5; ++k) {
      Mode& m = modes[k];
      m.weight = !isWindow || k == 4 ? m.count / n : m.weight * (1 - 1.0 / 200);
    }
  }
};

struct Operations {
  decltype(&qoriForegroundGaussianInitAlloc_8u_C1R) init;
  decltype(&qoriForegroundGaussian_8u_C1R) foreground;
  decltype(&qoriForegroundGaussianFree_8u_C1R) release;
  const char* foregroundName;
};

const Operations members[] = {
#define QOR_FOREGROUND_GAUSSIAN(init, foreground, release, channels) {init, foreground, release, #foreground},
#include "../../src/motion/foreground_gaussian.def"
#undef QOR_FOREGROUND_GAUSSIAN
};

// A record and what it should hold. A pixel has some colours that it takes in turns; dark ones fit a mode not in use.
struct Film {
  QoriSize size;
  int channels;
  Operations operations;
  QoriFgGaussianState* state = nullptr;
  int calls = 0;
  std::vector<Pixel> pixels = {};
  std::vector<Qor8u> palette = {};

  Film(QoriSize s, int c, Random& random) : size(s), channels(c), operations(members[c / 2]) {
    const size_t count = size_t(s.width) * size_t(s.height);
    for (size_t i = 0; i < 24 * count; ++i) palette.push_back(random.oneIn(3) ? 0 : Qor8u(random.below(250)));
    const GuardedImage<Qor8u> first(s, {.channels = channels});
    paint(first, random);
    for (size_t i = 0; i < count; ++i) {
      Pixel pixel;
      pixel.modes[0].count = pixel.modes[0].weight = 1;
      for (int k = 0; k < channels; ++k) pixel.modes[0].mean[k] = first.at(int(i) % s.width, int(i) / s.width, k);
      pixels.push_back(pixel);
    }
    EXPECT_EQ(operations.init(first.data(), first.step(), s, noAccess<char>(), &state), qorStsNoErr);
    const Operation::Function plain = atPlainLevel(Descriptions::of(operations.foregroundName).operation);
    if (plain != nullptr && random.oneIn(2))
      operations.foreground = reinterpret_cast<decltype(operations.foreground)>(plain);
  }
  Film(const Film&) = delete;
  ~Film() { EXPECT_EQ(operations.release(state), qorStsNoErr); }

  void paint(const GuardedImage<Qor8u>& image, Random& random) const {
    const int noise = 1 + 5 * random.below(3), colors = random.between(1, 8), alike = random.oneIn(3) ? 1 : 64;
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) {
        const int at = y * size.width + x, shown = random.below(alike) != 0 ? 0 : random.below(colors);
        for (int c = 0; c < channels; ++c)
          image.at(x, y, c) = Qor8u(palette[size_t(24 * at + 3 * shown + c)] + random.below(noise));
      }
    }
  }

  void learn(const Image<Qor8u>& image, Image<Qor8u>& background, Image<Qor8u>& mask) {
    ++calls;
    for (size_t i = 0; i < pixels.size(); ++i) {
      const int x = int(i) % size.width, y = int(i) / size.width;
      if (y >= mask.size.height) break;
      mask.at(x, y) = pixels[i].learn(&image.at(x, y), channels, calls == 200);
      for (int c = 0; c < channels; ++c) background.at(x, y, c) = Qor8u(int(pixels[i].modes[0].mean[c] + 0.5));
    }
  }
  void expectFrame(const Image<Qor8u>& image, const Image<Qor8u>& background, const Image<Qor8u>& mask) {
    Image<Qor8u> wantBackground = background, wantMask = mask;
    learn(image, wantBackground, wantMask);
    expectSame(background, wantBackground);
    expectSame(mask, wantMask);
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

// A record that has seen some frames, now and then as many as lie around the one that learns in another way. Frames may
// have fewer rows than the first.
void drawFilm(Call& c) {
  Random& random = c.c.random;
  const auto film = std::make_shared<Film>(c.size(), c.description.channels, random);
  c.data = film;
  c.at<QoriFgGaussianState*>('t') = film->state;
  const bool isLong = random.oneIn(4) && c.size().width * c.size().height < 150;
  for (int n = c.c.usual ? 0 : isLong ? 196 + random.below(6) : random.below(25); n > 0; --n) {
    const int rows = random.oneIn(8) ? 1 + random.below(c.size().height) : c.size().height;
    const GuardedImage<Qor8u> frame(c.size(), {.channels = film->channels});
    GuardedImage<Qor8u> background({c.size().width, rows}, {.channels = film->channels}), mask({c.size().width, rows});
    film->paint(frame, random);
    EXPECT_EQ(film->operations.foreground(frame.data(), frame.step(), background.data(), background.step(), mask.data(),
                                          mask.step(), mask.size(), film->state),
              qorStsNoErr);
    film->expectFrame(frame.pixels(), background.pixels(), mask.pixels());
  }
}

void addMember(Descriptions& d, const Operations& o, const char* initName) {
  d.add(o.foregroundName, o.foreground, "s.d.d.zt",
        {.checks = "null | size | step s",
         .draw = drawFilm,
         .shape =
             [](const Arguments&, char role, int which, Shape& s) {
               if (role == 'd' && which == 2) s.channels = 1;
             },
         .fill =
             [](Call& c) {
               if (!c.c.random.oneIn(4)) filmOf(c).paint(c.image<Qor8u>('s'), c.c.random);
             },
         .expect =
             [](Call& c) { filmOf(c).expectFrame(c.before<Qor8u>('s'), c.after<Qor8u>('d'), c.after<Qor8u>('d', 2)); },
         .teamSizes = {{64, 16}},
         .sweep = {.widths = {1, 2, 3, 4, 5, 15, 16, 17, 33, 64, 129},
                   .heights = {1, 2, 5},
                   .thresholds = {{257, 1}, {86, 3}},
                   .repeats = 2}});
  d.add(initName, o.init, "s.zja",
        {.checks = "null | size | step",
         .draw = [](Call& c) { c.at<const void*>('j') = noAccess<char>(); },
         .release = [release = o.release](Arguments& a) { release(*a.at<QoriFgGaussianState**>('a')); },
         .teamSizes = {{64, 16}}});
}

const Descriptions described([](Descriptions& d) {
#define QOR_FOREGROUND_GAUSSIAN(init, foreground, release, channels) addMember(d, members[channels / 2], #init);
#include "../../src/motion/foreground_gaussian.def"
});

TEST(ForegroundGaussian, TooLargeAndNull) {
  for (const Operations& o : members) {
    QoriFgGaussianState* state = noAccess<QoriFgGaussianState>();
    EXPECT_EQ(o.init(noAccess<Qor8u>(), INT32_MAX, {INT32_MAX / 3, 4}, noAccess<char>(), &state), qorStsMemAllocErr);
    EXPECT_EQ(state, noAccess<QoriFgGaussianState>());
    EXPECT_EQ(o.release(nullptr), qorStsNullPtrErr);
  }
}

}  // namespace
