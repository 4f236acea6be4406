#include <math.h>

#include "film.h"

namespace {
using namespace qortest;

using Samples = std::vector<Qor8u>;

// A table by the words of the header.
struct Table {
  struct Entry {
    float p = 0, pb = 0;
    Samples v = {};
  };
  int capacity, used, tolerance;
  bool isPair;
  std::vector<Entry> entries = std::vector<Entry>(size_t(capacity));
  float prior = 0;
  bool isSettled = false;

  static int apart(const Samples& v, const Samples& s, size_t i) { return abs(int(i < v.size() ? v[i] : 0) - s[i]); }

  bool showsForeground(const Samples& three) const {
    float sum = 0, background = 0;
    for (int i = 0; i < used && entries[size_t(i)].p > 0.005F; ++i) {
      const Entry& e = entries[size_t(i)];
      if (apart(e.v, three, 0) > tolerance || apart(e.v, three, 1) > tolerance || apart(e.v, three, 2) > tolerance)
        continue;
      sum += e.p, background += e.pb;
    }
    return 2 * background * prior <= sum;
  }

  // In one channel nothing matches.
  void learn(const Samples& s, bool isBackground, float a, bool matches) {
    prior = prior * (1 - a) + (isBackground ? a : 0);
    Entry* best = nullptr;
    int least = 1000;
    if (entries[0].p != 0) {
      for (Entry& e : entries) {
        if (isPair && e.p == 0) break;
        e.p *= 1 - a, e.pb *= 1 - a;
        if (double{e.p} < 1e-10) {
          e.p = e.pb = 0;
          continue;
        }
        int sum = 0, most = 0;
        for (size_t i = 0; i < s.size(); ++i) sum += apart(e.v, s, i), most = std::max(most, apart(e.v, s, i));
        if (most > tolerance && !matches) break;
        if (most <= tolerance && matches && sum < least) best = &e, least = sum;
      }
    }
    if (best != nullptr) {
      best->p += a;
      if (isBackground) best->pb += a;
    } else {
      best = &entries.back();
      *best = {a, a, s};
    }
    const Entry moved = *best;
    size_t to = 0;
    while (&entries[to] != best && entries[to].p > moved.p) ++to;
    const auto first = entries.begin(), at = first + (best - &entries[0]);
    std::rotate(first + ptrdiff_t(to), at, at + 1);
    settle();
  }

  void settle() {
    float sum = 0, background = 0;
    int count = 0;
    for (; count < used && entries[size_t(count)].p != 0; ++count)
      sum += entries[size_t(count)].p, background += entries[size_t(count)].pb;
    if (sum > 0.9F) isSettled = true;
    if (!(sum - background * prior > 0.9F) || count == 0) return;
    for (int i = 0; i < count; ++i) {
      Entry& e = entries[size_t(i)];
      e.pb = (e.p - e.pb * prior) / (1 - prior);
    }
    if (!isPair) prior = 1 - prior;
  }
};

struct Pixel {
  Table values{25, 15, 4, false}, pairs{40, 25, 8, true};
  bool isChanged = false, isDifferent = false;
};

double threshold(const std::vector<int>& differences) {
  double most = 0;
  for (int d = 0; d < 255; ++d) {
    double n = 0, sum = 0, squares = 0;
    for (const int k : differences)
      if (k >= d) ++n, sum += k, squares += k * k;
    n = std::max(n, 1.0);
    most = std::max(most, sqrt(squares / n - sum / n * (sum / n)));
  }
  return most;
}

struct Operations {
  decltype(&qoriForegroundHistogramInitAlloc_8u_C1R) init;
  decltype(&qoriForegroundHistogram_8u_C1R) foreground;
  decltype(&qoriForegroundHistogramUpdate_8u_C1R) update;
  decltype(&qoriForegroundHistogramFree_8u_C1R) release;
  const char *initName, *name, *updateName;
};

const Operations members[] = {
#define QOR_FOREGROUND_HISTOGRAM(init, foreground, update, release, channels) \
  {init, foreground, update, release, #init, #foreground, #update},
#include "../../src/motion/foreground_histogram.def"
};

// A record and what it should hold. Two samples may be read behind a row.
struct Film : Palette {
  Operations operations;
  QoriFgHistogramState* state = nullptr;
  std::vector<Pixel> pixels;
  Image<Qor8u> previous, background;

  Film(QoriSize s, int c, Random& random)
      : Palette(s, c, random),
        operations(members[c / 2]),
        pixels(size_t(s.width * s.height)),
        previous(s, c, margin(c)),
        background(s, c) {
    const auto first = frame(random);
    previous = first.pixels(true), background = first.pixels();
    EXPECT_EQ(operations.init(first.data(), first.step(), s, noAccess<char>(), &state), qorStsNoErr);
  }
  Film(const Film&) = delete;
  ~Film() { EXPECT_EQ(operations.release(state), qorStsNoErr); }

  static Margin margin(int c) { return {0, 0, c == 1 ? 2 : 0, 0}; }
  GuardedImage<Qor8u> frame(Random& random) const {
    GuardedImage<Qor8u> image(size, {.channels = channels, .margin = margin(channels)});
    image.generate([&](int, int, int) { return Qor8u(random.below(4)); });
    paint(image, random);
    return image;
  }
  static Samples samples(const Image<Qor8u>& image, int x, int y, int count) {
    const Qor8u* const first = &image.at(x, y);
    return {first, first + count};
  }

  Image<Qor8u> foreground(const Image<Qor8u>& image) {
    for (Pixel& p : pixels) p.isChanged = p.isDifferent = false;
    for (int c = 0; c < channels; ++c) {
      std::vector<int> changes, differences;
      for (size_t i = 0; i < pixels.size(); ++i) {
        const int x = int(i) % size.width, y = int(i) / size.width;
        changes.push_back(abs(image.at(x, y, c) - previous.at(x, y, c)));
        differences.push_back(abs(image.at(x, y, c) - background.at(x, y, c)));
      }
      const double change = threshold(changes), difference = threshold(differences);
      for (size_t i = 0; i < pixels.size(); ++i) {
        pixels[i].isChanged |= changes[i] > change;
        pixels[i].isDifferent |= differences[i] > difference;
      }
    }
    Image<Qor8u> mask(size);
    for (size_t i = 0; i < pixels.size(); ++i) {
      const Pixel& p = pixels[i];
      const Samples three = samples(image, int(i) % size.width, int(i) / size.width, 3);
      const bool shows = p.isChanged     ? !p.pairs.isSettled || p.pairs.showsForeground(three)
                         : p.isDifferent ? p.values.isSettled && p.values.showsForeground(three)
                                         : false;
      mask.samples[i] = shows ? 255 : 0;
    }
    return mask;
  }

  Image<Qor8u> update(const Image<Qor8u>& image, const Image<Qor8u>& mask) {
    for (size_t i = 0; i < pixels.size(); ++i) {
      const int x = int(i) % size.width, y = int(i) / size.width;
      Pixel& p = pixels[i];
      const bool isBackground = mask.at(x, y) == 0, matches = channels == 3;
      const Samples now = samples(image, x, y, channels);
      if (p.isChanged || !p.pairs.isSettled) {
        Samples pair = samples(previous, x, y, channels);
        pair.insert(pair.end(), now.begin(), now.end());
        p.pairs.learn(pair, isBackground, p.isChanged && p.pairs.isSettled ? 0.005F : 0.1F, matches);
      }
      if (!p.isChanged) p.values.learn(now, isBackground, p.values.isSettled ? 0.005F : 0.1F, matches);
      for (int c = 0; isBackground && c < channels; ++c) {
        Qor8u& b = background.at(x, y, c);
        const float blended = float(image.at(x, y, c)) * 0.1F + float(b) * (1 - 0.1F);
        b = p.isChanged || p.isDifferent ? image.at(x, y, c) : Qor8u(int(blended));
      }
    }
    previous = image;
    return background;
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

// A record that has seen some frames, all of them foreground for a while in some cases, so that this is learned as
// background; the foreground was found twice now and then, or not learned.
void drawFilm(Call& c) {
  Random& random = c.c.random;
  const auto film = std::make_shared<Film>(c.size(), c.description.channels, random);
  c.data = film;
  c.at<QoriFgHistogramState*>('t') = film->state;
  const auto foreground = atSomeLevel(film->operations.foreground, film->operations.name, random);
  const auto update = atSomeLevel(film->operations.update, film->operations.updateName, random);
  const int marked = random.oneIn(3) ? random.below(40) : 40;
  for (int n = c.c.usual ? 0 : c.pick({0, 1, 4, 25, 45}); n > 0; --n) {
    const auto frame = film->frame(random);
    GuardedImage<Qor8u> mask(c.size()), background(c.size(), {.channels = film->channels});
    for (int times = random.oneIn(9) ? 2 : 1; times > 0; --times) {
      EXPECT_EQ(foreground(frame.data(), frame.step(), mask.data(), mask.step(), c.size(), film->state), qorStsNoErr);
      expectSame(mask, film->foreground(frame.pixels(true)));
    }
    if (random.oneIn(9)) mask.generate(MaskMaker(Mask(random.below(6)), random.bits()));
    if (n > marked) mask.generate([](int, int, int) { return Qor8u{3}; });
    if (random.oneIn(9)) continue;
    EXPECT_EQ(update(frame.data(), frame.step(), mask.data(), mask.step(), background.data(), background.step(),
                     c.size(), film->state),
              qorStsNoErr);
    expectSame(background, film->update(frame.pixels(true), mask.pixels()));
  }
}

const Descriptions described([](Descriptions& d) {
  Traits traits = {
      .checks = "null | size | step s",
      .draw = drawFilm,
      .shape =
          [](const Arguments& a, char role, int, Shape& s) {
            s.channels = role == 'm' || (role == 'd' && !a.has('m')) ? 1 : a.description.channels;
            if (role == 's') s.margin = Film::margin(s.channels);
          },
      .fill = [](Call& c) { filmOf(c).paint(c.image<Qor8u>('s'), c.c.random); },
      .expect = [](Call& c) { c.expect('d', filmOf(c).foreground(c.before<Qor8u>('s'))); },
      .teamSizes = {{64, 16}},
      .sweep = {.widths = {1, 2, 3, 5, 16, 17, 33, 64, 129}, .heights = {1, 2, 5}, .thresholds = {{257, 1}}}};
  for (const Operations& o : members) d.add(o.name, o.foreground, "s.d.zt", traits);
  traits.checks = "null | size | step s | step m | step d";
  traits.expect = [](Call& c) { c.expect('d', filmOf(c).update(c.before<Qor8u>('s'), c.before<Qor8u>('m'))); };
  for (const Operations& o : members) {
    d.add(o.updateName, o.update, "s.m.d.zt", traits);
    addInit(d, o.initName, o.init, o.release);
  }
});

// A whole deviation that occurs as a difference: 64-bit floats find it a little below 2, so that the twos are marked.
TEST(ForegroundHistogram, OnPaper) {
  const Qor8u first[11] = {}, next[11] = {0, 0, 1, 1, 2, 2, 5, 5, 5}, want[9] = {0, 0, 0, 0, 255, 255, 255, 255, 255};
  QoriFgHistogramState* state = nullptr;
  ASSERT_EQ(qoriForegroundHistogramInitAlloc_8u_C1R(first, 9, {9, 1}, first, &state), qorStsNoErr);
  Qor8u mask[9];
  EXPECT_EQ(qoriForegroundHistogram_8u_C1R(next, 9, mask, -1000, {9, 1}, state), qorStsNoErr);
  EXPECT_EQ(memcmp(mask, want, sizeof mask), 0);
  EXPECT_EQ(qoriForegroundHistogramFree_8u_C1R(state), qorStsNoErr);
  for (const Operations& o : members) expectNoRecord(o.init, o.release);
}

}  // namespace
