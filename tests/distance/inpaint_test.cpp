#include <math.h>

#include <algorithm>

#include "qorcv/distance.h"
#include "support/support.h"

namespace {
using namespace qortest;

struct Hole {
  Image<Qor8u> mask{{0, 0}};
  Image<Qor32f> distance{{0, 0}};
  Qor32f radius = 0;
  int method = 0;
  std::function<void()> release = [] {};

  ~Hole() { release(); }
};

// The words of the header, pixel by pixel.
struct Reference {
  Reference(const Image<Qor8u>& src, const Hole& hole) : d_(src), hole_(hole), unknown_(hole.mask) {
    const int side = std::max(src.size.width, src.size.height);
    reach_ = hole.radius < side ? static_cast<int>(hole.radius) : side;
    int left = side, top = side, right = -1, bottom = -1;
    size_t count = 0;
    each({0, 0, src.size.width, src.size.height}, [&](int x, int y) {
      if (hole.mask.at(x, y) == 0) return;
      left = std::min(left, x), right = std::max(right, x), top = std::min(top, y), bottom = std::max(bottom, y);
      ++count;
    });
    if (count == 0) return;
    left = std::max(0, left - reach_ - 1), top = std::max(0, top - reach_ - 1);
    right = std::min(src.size.width, right + reach_ + 2), bottom = std::min(src.size.height, bottom + reach_ + 2);
    window_ = {left, top, right - left, bottom - top};
    for (Image<int>& g : gradients_) g = Image<int>(src.size, src.channels);
    each(window_, [&](int x, int y) {
      bool isNear = false;
      each({x - reach_, y - reach_, 2 * reach_ + 1, 2 * reach_ + 1},
           [&](int i, int j) { isNear = isNear || (isInside(i, j) && hole.mask.at(i, j) != 0); });
      if (isNear) form(x, y, 0), form(x, y, 1);
    });
    std::vector<QoriPoint> order;
    each(window_, [&](int x, int y) {
      if (hole.distance.at(x, y) > 0 && order.size() < count) order.push_back({x, y});
    });
    std::stable_sort(order.begin(), order.end(),
                     [&](QoriPoint a, QoriPoint b) { return hole.distance.at(a.x, a.y) < hole.distance.at(b.x, b.y); });
    for (const QoriPoint p : order) {
      for (int c = 0; c < src.channels; ++c) d_.at(p.x, p.y, c) = filled(p.x, p.y, c);
      unknown_.at(p.x, p.y) = 0;
      form(p.x, p.y, 0), form(p.x, p.y, 1);
      for (const int s : {-1, 1}) form(p.x + s, p.y, 0), form(p.x, p.y + s, 1);
    }
  }

  template <class F>
  static void each(QoriRect r, F f) {
    for (int y = r.y; y < r.y + r.height; ++y)
      for (int x = r.x; x < r.x + r.width; ++x) f(x, y);
  }
  bool isInside(int x, int y) const {
    return x >= window_.x && y >= window_.y && x < window_.x + window_.width && y < window_.y + window_.height;
  }
  bool knows(int x, int y) const { return isInside(x, y) && unknown_.at(x, y) == 0; }
  void form(int x, int y, int axis) {
    if (!knows(x, y)) return;
    const int dx = 1 - axis, dy = axis;
    const bool before = knows(x - dx, y - dy), after = knows(x + dx, y + dy);
    for (int c = 0; c < d_.channels; ++c) {
      const int own = d_.at(x, y, c);
      const int back = before ? own - d_.at(x - dx, y - dy, c) : 0, ahead = after ? d_.at(x + dx, y + dy, c) - own : 0;
      const bool isBoth = before && after;
      gradients_[axis].at(x, y, c) = hole_.method == qorInpaintGradient ? (back + ahead) * (isBoth ? 2 : 1)
                                                                        : (abs(back) + abs(ahead)) * (isBoth ? 1 : 2);
    }
  }

  int slope(int x, int y, int axis) const {
    const int dx = 1 - axis, dy = axis;
    const bool before = isInside(x - dx, y - dy), after = isInside(x + dx, y + dy);
    const float difference = (after ? hole_.distance.at(x + dx, y + dy) : hole_.distance.at(x, y)) -
                             (before ? hole_.distance.at(x - dx, y - dy) : hole_.distance.at(x, y));
    const double scaled = double{difference} * 4096 * (before && after ? 0.5 : 1);
    return static_cast<int>(std::clamp(scaled, -32768.0, 32767.0));
  }

  Qor8u filled(int x, int y, int c) const {
    const bool isGradient = hole_.method == qorInpaintGradient, isInHole = hole_.mask.at(x, y) != 0;
    const int nx = isInHole ? slope(x, y, 0) : 0, ny = isInHole ? slope(x, y, 1) : 0;
    float weights = 1e-30F, sum = 0, jx = 0, jy = 0;
    each({-reach_, -reach_, 2 * reach_ + 1, 2 * reach_ + 1}, [&](int dx, int dy) {
      const auto d = static_cast<float>(dx * dx + dy * dy);
      if (d == 0 || d > hole_.radius * hole_.radius || !knows(x + dx, y + dy)) return;
      const int gx = gradients_[0].at(x + dx, y + dy, c), gy = gradients_[1].at(x + dx, y + dy, c);
      const float inverse = 1 / sqrtf(d), direction = nx * dx + ny * dy == 0 ? 2.5e-25F : float(nx * dx + ny * dy);
      const float apart = fabsf(hole_.distance.at(x + dx, y + dy) - hole_.distance.at(x, y));
      const int across = abs(dx * gy - dy * gx);
      const float along = across == 0 ? 1e-6F : float(across) * (1 / sqrtf(float(gx * gx + gy * gy)));
      const float w = isGradient ? fabsf(1 / 4096.0F / (apart + 1) * (inverse * inverse * inverse) * direction)
                                 : 1 / ((d * d + 1) * sqrtf(d)) * along;
      weights += w;
      sum += w * d_.at(x + dx, y + dy, c);
      jx -= w * float(gx) * float(dx);
      jy -= w * float(gy) * float(dy);
    });
    if (weights < 0.0001F) {
      float more = 0, count = 0;
      for (const QoriPoint q : {QoriPoint{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}})
        if (knows(q.x, q.y)) more += d_.at(q.x, q.y, c), count += 1;
      sum = isGradient ? 255 * more : sum + more;
      weights += isGradient ? 255 * count : count;
      jx = jy = 0;
    }
    const double length = sqrt(double{jx} * jx + double{jy} * jy);
    const double value = isGradient ? sum / weights + 0.5 + (double{jx} + jy) / (length + 1e-20) : sum / weights + 0.5F;
    return static_cast<Qor8u>(std::clamp(value, 0.0, 255.0));
  }

  Image<Qor8u> d_;
  const Hole& hole_;
  Image<Qor8u> unknown_;
  Image<int> gradients_[2] = {Image<int>({0, 0}), Image<int>({0, 0})};
  QoriRect window_ = {0, 0, 0, 0};
  int reach_ = 0;
};

// Discs, scratches, single pixels or nothing; distances that grow inwards, or any with ties, some of them not above 0
// and some above 0 outside the hole.
std::shared_ptr<Hole> anyHole(Case& c) {
  auto hole = std::make_shared<Hole>();
  hole->mask = Image<Qor8u>(c.size), hole->distance = Image<Qor32f>(c.size);
  const auto [w, h] = c.size;
  Random& random = c.random;
  const int kind = c.usual ? 3 : random.below(4), x0 = random.below(w), y0 = random.below(h),
            size = random.between(1, 6);
  const bool grows = random.below(3) != 0;
  const float radii[] = {1, 1.41421354F, 1.4142136F, 2.5F, 3, 5, 1e9F, INFINITY};
  hole->radius = radii[random.below(8)], hole->method = random.below(2);
  appendCase(" hole %d grows %d radius %g method %d", kind, grows, double(hole->radius), hole->method);
  for (int i = 0; i < w * h; ++i) {
    const int dx = i % w - x0, dy = i / w - y0;
    const bool isIn[] = {hypot(dx, dy) <= size, abs(dx - dy) <= 1 && abs(dx) < 3 * size, random.oneIn(20), false};
    if (isIn[kind]) hole->mask.samples[size_t(i)] = static_cast<Qor8u>(random.between(1, 255));
    const float inwards = isIn[kind] ? std::max(0.5F, float(size + 1 - hypot(dx, dy))) : 0;
    const float any =
        isIn[kind] || random.oneIn(9) ? float(random.below(8) - 1) * (random.oneIn(40) ? 9e3F : 0.75F) : 0;
    hole->distance.samples[size_t(i)] = grows ? inwards : any;
  }
  return hole;
}

// What a record of a hole without pixels begins with; more of it is not looked at.
constexpr ptrdiff_t headBytes = 128;

template <class InitAlloc, class Free, class Inpaint>
void describe(Descriptions& d, const char* const (&names)[2], InitAlloc initAlloc, Free free, Inpaint inpaint) {
  const Sweep small{.widths = {1, 2, 3, 8, 17, 31}, .heights = {1, 2, 9, 20}, .repeats = 6};
  d.add(names[0], initAlloc, "as.m.zkn",
        {.checks = "null | size | step | step m | even | one n BadArgErr | least k BadArgErr 1",
         .values = {{'n', {qorInpaintGradient, qorInpaintIsophote}}},
         .draw =
             [](Call& c) {
               c.set('k', c.pick({1.0, 3.7, 1e30}));
             },
         .shape = [](const Arguments&, char, int, Shape& s) { s.channels = 1; },
         .release = [=](Arguments& a) { EXPECT_EQ(free(*a.at<QoriInpaintState**>('a')), qorStsNoErr); },
         .sweep = small});
  d.add(names[1], inpaint, "s.d.zt",
        {.checks = "null | own | step",
         .draw =
             [=](Call& c) {
               const auto hole = anyHole(c.c);
               c.data = hole;
               QoriInpaintState* state = nullptr;
               EXPECT_EQ(initAlloc(&state, hole->distance.samples.data(), 4 * c.size().width, hole->mask.samples.data(),
                                   c.size().width, c.size(), hole->radius, hole->method),
                         qorStsNoErr);
               hole->release = [=] { EXPECT_EQ(free(state), qorStsNoErr); };
               if (c.c.usual) {
                 memcpy(c.block('t', headBytes), state, headBytes);
                 return;
               }
               c.at<QoriInpaintState*>('t') = state;
               // A call begins anew, whatever the record has served for.
               Image<Qor8u> other(c.size(), 3), filled = other;
               for (Qor8u& s : other.samples) s = static_cast<Qor8u>(c.c.random.below(256));
               const int step = 3 * c.size().width;
               EXPECT_EQ(inpaint(other.samples.data(), step, filled.samples.data(), step, c.size(), state),
                         qorStsNoErr);
             },
         .expect =
             [](Call& c) {
               const Hole& hole = *std::static_pointer_cast<Hole>(c.data);
               const Image<Qor8u> src = c.before<Qor8u>('s');
               c.expect('d', Reference(src, hole).d_);
             },
         .own =
             [](DescribedContract& c, int) {
               const auto size = [&c]() -> QoriSize& { return c.now.at<QoriSize>('z'); };
               const auto differs = [&c, size] {
                 const auto* record = c.now.at<const QoriSize*>('t');
                 return record != nullptr && (record->width != size().width || record->height != size().height);
               };
               c.check(
                   "size", qorStsSizeErr, differs, [=] { ++size().width; },
                   [=] {
                     size() = {0, -1};
                   });
             },
         .read = "t",
         .sweep = small});
}

const Descriptions members([](Descriptions& d) {
#define QOR_INPAINT(tag)                                                                                              \
  describe(d, {"qoriInpaintInitAlloc_" #tag, "qoriInpaint_" #tag}, qoriInpaintInitAlloc_##tag, qoriInpaintFree_##tag, \
           qoriInpaint_##tag)
  QOR_INPAINT(8u_C1R);
  QOR_INPAINT(8u_C3R);
});

TEST(Inpaint, Nothing) {
  QoriInpaintState* state = nullptr;
  EXPECT_EQ(qoriInpaintInitAlloc_8u_C1R(&state, noAccess<Qor32f>(), 4, noAccess<Qor8u>(), 1, {1, 1}, NAN, 0), -5);
  EXPECT_EQ(qoriInpaintFree_8u_C1R(nullptr), qorStsNullPtrErr);
  EXPECT_EQ(qoriInpaintFree_8u_C3R(nullptr), qorStsNullPtrErr);
}

}  // namespace
