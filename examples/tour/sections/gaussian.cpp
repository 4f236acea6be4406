#include <string>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// A record and the working memory that goes with it, for one picture size.
struct Gaussian {
  std::vector<Qor8u> record, scratch;

  const QoriFilterGaussianSpec* spec() const { return reinterpret_cast<const QoriFilterGaussianSpec*>(record.data()); }
};

Gaussian prepare(Output& out, QoriSize size, int taps, float sigma, QorDataType type, int channels) {
  int recordBytes = 0, scratchBytes = 0;
  TOUR_CALL(out, qoriFilterGaussianGetBufferSize(size, taps, type, channels, &recordBytes, &scratchBytes));
  Gaussian g;
  g.record.resize(static_cast<size_t>(recordBytes));
  g.scratch.resize(static_cast<size_t>(scratchBytes));
  TOUR_CALL(out, qoriFilterGaussianInit(size, taps, sigma, qorBorderRepl, type, channels,
                                        reinterpret_cast<QoriFilterGaussianSpec*>(g.record.data()), g.scratch.data()));
  return g;
}

}  // namespace

void gaussian(const Input& in, Output& out) {
  out.text(
      "A Gaussian makes a picture smooth without preferring a direction; sigma says how far it reaches. The taps are "
      "made once and serve every picture; three sigmas on both sides hold nearly all of the bell, so a larger sigma "
      "needs more taps, and the time grows with their number.");
  const Picture& picture = in.frames[0];
  out.figure("The picture", picture);
  Picture smooth(picture.width(), picture.height(), 3);
  for (const int sigma : {1, 3, 8}) {
    const int taps = 6 * sigma + 1;
    Gaussian g = prepare(out, picture.size(), taps, static_cast<float>(sigma), qor8u, 3);
    const Qor8u noValue[3] = {0, 0, 0};
    TOUR_CALL_BEST(out, qoriFilterGaussianBorder_8u_C3R(picture.data(), picture.step(), smooth.data(), smooth.step(),
                                                        picture.size(), noValue, g.spec(), g.scratch.data()));
    out.figure("Sigma " + std::to_string(sigma) + ", " + std::to_string(taps) + " taps each way", smooth);
  }
}

}  // namespace tour
