// Films for models of the background, and what is the same for the records that hold them.
#pragma once

#include "qorcv/motion.h"
#include "support/support.h"

namespace qortest {

// Every pixel has three colours: some show one, some take turns, some show any, all with some noise; many are black.
struct Palette {
  QoriSize size;
  int channels;
  std::vector<Qor8u> colors = {};

  Palette(QoriSize s, int c, Random& random) : size(s), channels(c), colors(size_t(9) * size_t(s.width * s.height)) {
    for (Qor8u& color : colors) color = random.oneIn(4) ? 0 : Qor8u(random.below(250));
  }
  void paint(const GuardedImage<Qor8u>& image, Random& random) const {
    const int turn = random.below(3), noise = 1 + 5 * random.below(3), kinds = random.oneIn(4) ? 6 : 4;
    for (int at = 0; at < size.width * size.height; ++at) {
      const int kind = at % kinds, shown = kind < 2 ? 0 : kind < 4 ? turn : random.below(3);
      const int shade = at % 7 == turn ? 70 : 100;
      for (int c = 0; c < channels; ++c)
        image.at(at % size.width, at / size.width, c) =
            Qor8u(colors[size_t(9 * at + 3 * shown + c)] * shade / 100 + random.below(noise));
    }
  }
};

// An operation, or in every second case the same at the plain level.
template <class F>
F atSomeLevel(F function, const char* name, Random& random) {
  const Operation::Function plain = atPlainLevel(Descriptions::of(name).operation);
  return plain != nullptr && random.oneIn(2) ? reinterpret_cast<F>(plain) : function;
}

template <class State>
void addInit(Descriptions& d, const char* name, QorStatus (*init)(const Qor8u*, int, QoriSize, const void*, State**),
             QorStatus (*release)(State*)) {
  d.add(name, init, "s.zja",
        {.checks = "null | size | step",
         .draw = [](Call& c) { c.at<const void*>('j') = noAccess<char>(); },
         .release = [release](Arguments& a) { release(*a.at<State**>('a')); },
         .teamSizes = {{64, 16}}});
}

// No record for what needs more than 31 bits, and none to release.
template <class State>
void expectNoRecord(QorStatus (*init)(const Qor8u*, int, QoriSize, const void*, State**),
                    QorStatus (*release)(State*)) {
  State* state = noAccess<State>();
  EXPECT_EQ(init(noAccess<Qor8u>(), INT32_MAX, {INT32_MAX / 3, 4}, noAccess<char>(), &state), qorStsMemAllocErr);
  EXPECT_EQ(state, noAccess<State>());
  EXPECT_EQ(release(nullptr), qorStsNullPtrErr);
}

}  // namespace qortest
