#include <math.h>

#include "qorcv/motion.h"
#include "support/support.h"

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
  const char *foregroundName, *updateName;

  // At the plain level, where that is not this one.
  Operations plain() const {
    Operations o = *this;
    const auto replace = [](auto& function, const char* name) {
      const Operation::Function f = atPlainLevel(Descriptions::of(name).operation);
      if (f != nullptr) function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(f);
    };
    replace(o.foreground, foregroundName), replace(o.update, updateName);
    return o;
  }
};

const Operations members[] = {
#define QOR_FOREGROUND_HISTOGRAM(init, foreground, update, release, channels) \
  {init, foreground, update, release, #foreground, #update},
#include "../../src/motion/foreground_histogram.def"
#undef QOR_FOREGROUND_HISTOGRAM
};

// A record and what it should hold. Some pixels stand still, some flicker, some show anything, all with some noise.
struct Film {
  QoriSize size;
  int channels;
  Operations operations;
  QoriFgHistogramState* state = nullptr;
  std::vector<Pixel> pixels = {};
  Image<Qor8u> previous{{0, 0}}, background{{0, 0}};
  Samples palette = {};

  Film(QoriSize s, int c, Random& random) : size(s), channels(c), operations(members[c / 2]) {
    const size_t count = size_t(s.width) * size_t(s.height);
    pixels.resize(count);
    for (size_t i = 0; i < 9 * count; ++i) palette.push_back(random.oneIn(3) ? Qor8u(i % 3) : Qor8u(random.below(250)));
    const auto first = frame(random);
    previous = background = inner(first.pixels(true));
    EXPECT_EQ(operations.init(first.data(), first.step(), s, noAccess<char>(), &state), qorStsNoErr);
    if (random.oneIn(2)) operations = operations.plain();
  }
  Film(const Film&) = delete;
  ~Film() { EXPECT_EQ(operations.release(state), qorStsNoErr); }

  // What may be read behind a row.
  Margin margin() const { return {0, 0, channels == 1 ? 2 : 0, 0}; }

  void paint(GuardedImage<Qor8u>& image, Random& random) const {
    const int flicker = random.below(3), noise = random.oneIn(2) ? 1 : 6, kinds = random.oneIn(4) ? 6 : 4;
    image.generate([&](int x, int y, int c) {
      if (x >= size.width) return Qor8u(random.below(4));
      const int at = y * size.width + x, kind = at % kinds;
      const int shown = kind < 2 ? 0 : kind < 4 ? flicker : random.below(3);
      return Qor8u(palette[size_t(9 * at + 3 * shown + c)] + random.below(noise));
    });
  }
  GuardedImage<Qor8u> frame(Random& random) const {
    GuardedImage<Qor8u> image(size, {.channels = channels, .margin = margin()});
    paint(image, random);
    return image;
  }
  Image<Qor8u> inner(const Image<Qor8u>& image) const {
    Image<Qor8u> in(size, channels);
    for (int y = 0; y < size.height; ++y)
      for (int i = 0; i < size.width * channels; ++i) in.at(0, y, i) = image.at(0, y, i);
    return in;
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
    previous = inner(image);
    return background;
  }
};

Film& filmOf(const Arguments& a) { return *static_cast<Film*>(a.data.get()); }

// A record that has seen some frames, all of them foreground for a while in some cases, so that this is learned as
// background; twice in a row the foreground was found or learned now and then.
void drawFilm(Call& c) {
  Random& random = c.c.random;
  const auto film = std::make_shared<Film>(c.size(), c.description.channels, random);
  c.data = film;
  c.at<QoriFgHistogramState*>('t') = film->state;
  const int marked = random.oneIn(3) ? random.below(40) : 40;
  for (int n = c.c.usual ? 0 : c.pick({0, 1, 4, 25, 45}); n > 0; --n) {
    const auto frame = film->frame(random);
    GuardedImage<Qor8u> mask(c.size()), background(c.size(), {.channels = film->channels});
    const auto image = frame.pixels(true);
    for (int times = random.oneIn(9) ? 2 : 1; times > 0; --times) {
      EXPECT_EQ(
          film->operations.foreground(frame.data(), frame.step(), mask.data(), mask.step(), c.size(), film->state),
          qorStsNoErr);
      expectSame(mask, film->foreground(image));
    }
    if (random.oneIn(9)) mask.generate(MaskMaker(Mask(random.below(6)), random.bits()));
    if (n > marked) mask.generate([](int, int, int) { return Qor8u{3}; });
    if (random.oneIn(9)) continue;
    EXPECT_EQ(film->operations.update(frame.data(), frame.step(), mask.data(), mask.step(), background.data(),
                                      background.step(), c.size(), film->state),
              qorStsNoErr);
    expectSame(background, film->update(image, mask.pixels()));
  }
}

void addMember(Descriptions& d, const Operations& o, const char* initName) {
  const auto paint = [](Call& c) {
    if (!c.c.random.oneIn(4)) filmOf(c).paint(c.image<Qor8u>('s'), c.c.random);
  };
  const Sweep sweep = {
      .widths = {1, 2, 3, 5, 16, 17, 33, 64, 129}, .heights = {1, 2, 5}, .thresholds = {{257, 1}, {86, 3}}};
  const auto shape = [](const Arguments& a, char role, int, Shape& s) {
    s.channels = role == 'm' || (role == 'd' && !a.has('m')) ? 1 : a.description.channels;
    if (role == 's') s.margin = filmOf(a).margin();
  };
  d.add(o.foregroundName, o.foreground, "s.d.zt",
        {.checks = "null | size | step s",
         .draw = drawFilm,
         .shape = shape,
         .fill = paint,
         .expect = [](Call& c) { c.expect('d', filmOf(c).foreground(c.before<Qor8u>('s'))); },
         .teamSizes = {{64, 16}},
         .sweep = sweep});
  d.add(o.updateName, o.update, "s.m.d.zt",
        {.checks = "null | size | step s | step m | step d",
         .draw = drawFilm,
         .shape = shape,
         .fill = paint,
         .expect = [](Call& c) { c.expect('d', filmOf(c).update(c.before<Qor8u>('s'), c.before<Qor8u>('m'))); },
         .teamSizes = {{64, 16}},
         .sweep = sweep});
  d.add(initName, o.init, "s.zja",
        {.checks = "null | size | step",
         .draw = [](Call& c) { c.at<const void*>('j') = noAccess<char>(); },
         .release = [release = o.release](Arguments& a) { release(*a.at<QoriFgHistogramState**>('a')); },
         .teamSizes = {{64, 16}}});
}

const Descriptions described([](Descriptions& d) {
#define QOR_FOREGROUND_HISTOGRAM(init, foreground, update, release, channels) \
  addMember(d, members[channels / 2], #init);
#include "../../src/motion/foreground_histogram.def"
});

// A whole deviation that occurs as a difference: 64-bit floats find it a little below 2, so that the twos are marked.
TEST(ForegroundHistogram, OnPaper) {
  for (const Operations& o : members) {
    QoriFgHistogramState* state = noAccess<QoriFgHistogramState>();
    EXPECT_EQ(o.init(noAccess<Qor8u>(), INT32_MAX, {INT32_MAX / 3, 4}, noAccess<char>(), &state), qorStsMemAllocErr);
    EXPECT_EQ(state, noAccess<QoriFgHistogramState>());
    EXPECT_EQ(o.release(nullptr), qorStsNullPtrErr);
  }
  const Qor8u first[11] = {}, next[11] = {0, 0, 1, 1, 2, 2, 5, 5, 5}, want[9] = {0, 0, 0, 0, 255, 255, 255, 255, 255};
  const QoriSize size = {9, 1};
  QoriFgHistogramState* state = nullptr;
  ASSERT_EQ(qoriForegroundHistogramInitAlloc_8u_C1R(first, 9, size, first, &state), qorStsNoErr);
  Qor8u mask[9];
  EXPECT_EQ(qoriForegroundHistogram_8u_C1R(next, 9, mask, -1000, size, state), qorStsNoErr);
  EXPECT_EQ(memcmp(mask, want, sizeof mask), 0);
  EXPECT_EQ(qoriForegroundHistogramFree_8u_C1R(state), qorStsNoErr);
}

}  // namespace
