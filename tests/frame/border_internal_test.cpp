// Internal operations that put a border around an image.
#include "frame/border.h"

#include <algorithm>

#include "support/support.h"

namespace {
using namespace qortest;

QoriSize outerSize(const Arguments& a) { return a.at<QoriSize>('z', 2); }

// The source stands inside the destination already, in some cases.
bool isInside(const Arguments& a) { return a.data != nullptr; }

void drawBorder(Call& call, bool mayBeInside) {
  Random& random = call.c.random;
  const auto some = [&] { return random.oneIn(3) ? 0 : random.between(1, 9); };
  const int top = some(), left = some();
  call.set('t', top), call.set('e', left);
  call.at<QoriSize>('z', 2) = {call.size().width + left + some(), call.size().height + top + some()};
  if (mayBeInside && !call.c.usual && random.oneIn(2)) call.data = std::make_shared<int>();
}

template <class T>
void fillInside(Call& c, char outer) {
  if (outer == 'd' && !isInside(c)) return;
  auto& image = c.image<T>(outer);
  Maker<T> maker(Data::Random, c.c.random.bits());
  for (int y = 0; y < c.size().height; ++y)
    for (int x = 0; x < c.size().width; ++x)
      for (int k = 0; k < image.channels(); ++k)
        image.at(x + c.number('e'), y + c.number('t'), k) = outer == 'd' ? c.image<T>('s').at(x, y, k) : maker(x, y, k);
}

template <class T>
void expectBorder(Call& c, char outer, bool isConstant) {
  const bool hasSource = c.has('s');
  const Image<T>& from = c.before<T>(hasSource ? 's' : outer);
  const int top = c.number('t'), left = c.number('e');
  Image<T> want(outerSize(c), from.channels);
  for (int y = 0; y < want.size.height; ++y) {
    for (int x = 0; x < want.size.width; ++x) {
      const int u = std::clamp(x - left, 0, c.size().width - 1), v = std::clamp(y - top, 0, c.size().height - 1);
      const bool isOutside = isConstant && (u != x - left || v != y - top);
      for (int k = 0; k < from.channels; ++k)
        want.at(x, y, k) = isOutside ? c.at<T>('v') : hasSource ? from.at(u, v, k) : from.at(u + left, v + top, k);
    }
  }
  c.expect(outer, want, Equal::Bits);
}

void checkSizes(DescribedContract& c, int) {
  QoriSize &s = c.now.at<QoriSize>('z'), &d = c.now.at<QoriSize>('z', 2);
  int &top = c.now.at<int>('t'), &left = c.now.at<int>('e');
  c.check(
      "sizes", qorStsSizeErr,
      [&] {
        return s.width < 1 || s.height < 1 || d.width < 1 || d.height < 1 || top < 0 || left < 0 ||
               d.width < int64_t{s.width} + left || d.height < int64_t{s.height} + top;
      },
      [&] { s.width = 0; }, [&] { s.height = -1; }, [&] { d.width = INT_MIN; }, [&] { d.height = 0; },
      [&] { top = -1; }, [&] { left = INT_MIN; }, [&] { left = INT_MAX; }, [&] { top = INT_MAX; },
      [&] { left = d.width - s.width + 1; }, [&] { top = d.height - s.height + 1; });
}

template <class T>
void add(Descriptions& d, const char* name, auto* operation, const char* roles) {
  const bool isConstant = strchr(roles, 'v') != nullptr, isInPlace = strchr(roles, 'i') != nullptr;
  const char outer = isInPlace ? 'i' : 'd';
  d.add(name, operation, roles,
        {.checks = "null | positive . StepErr | own",
         .draw = [=](Call& c) { drawBorder(c, !isInPlace); },
         .shape =
             [=](const Arguments& a, char role, int, Shape& s) {
               if (role == outer) s.width = outerSize(a).width, s.height = outerSize(a).height;
             },
         .fill = [=](Call& c) { fillInside<T>(c, outer); },
         .arrange =
             [=](Call& c) {
               const uintptr_t inner = reinterpret_cast<uintptr_t>(&c.image<T>(outer).at(c.number('e'), c.number('t')));
               if (isInPlace) c.at<uintptr_t>('i') = inner;
               if (!isInside(c)) return;
               // Replicated borders know it by the same pointer twice, and look at no other step then.
               c.at<uintptr_t>('s') = inner;
               c.at<int>('.') = c.at<int>('.', 2);
               if (!isConstant) c.at<uintptr_t>('d') = inner, c.at<int>('.', 2) = -1;
             },
         .expect = [=](Call& c) { expectBorder<T>(c, outer, isConstant); },
         .own = checkSizes,
         .sweep = {.repeats = 2}});
}

const Descriptions members([](Descriptions& d) {
#define NAMED(name) QORTEST_NAMED(qor::name)
#define REPLICATE(name, T) add<T>(d, NAMED(qoriCopyReplicateBorder_##name), "s.zd.zte");
  REPLICATE(8u_C1R, Qor8u)
  REPLICATE(8u_C3R, Qor8u)
  REPLICATE(8u_C4R, Qor8u)
  REPLICATE(16s_C1R, Qor16s)
  REPLICATE(16u_C1R, Qor16u)
  REPLICATE(32s_C1R, Qor32s)
  REPLICATE(32s_C3R, Qor32s)
  REPLICATE(32s_C4R, Qor32s)
  REPLICATE(32f_C1R, Qor32f)
  REPLICATE(32f_C3R, Qor32f)
  REPLICATE(32f_C4R, Qor32f)
#define IN_PLACE(name, T) add<T>(d, NAMED(qoriCopyReplicateBorder_##name), "i.zzte");
  IN_PLACE(8u_C1IR, Qor8u)
  IN_PLACE(16s_C1IR, Qor16s)
  IN_PLACE(32s_C1IR, Qor32s)
#define CONSTANT(name, T) add<T>(d, NAMED(qoriCopyConstBorder_##name), "s.zd.ztev");
  CONSTANT(8u_C1R, Qor8u)
  CONSTANT(16s_C1R, Qor16s)
  CONSTANT(16u_C1R, Qor16u)
  CONSTANT(32s_C1R, Qor32s)
  CONSTANT(32f_C1R, Qor32f)
});

// Two null pointers are the same, but no image.
TEST(Border, NullTwice) {
  EXPECT_EQ(qor::qoriCopyReplicateBorder_8u_C1R(nullptr, 0, {0, 0}, nullptr, 0, {0, 0}, -1, -1), qorStsNullPtrErr);
}

}  // namespace
