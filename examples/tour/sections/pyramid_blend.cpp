#include <algorithm>

#include "tour.h"

namespace tour {
namespace {

constexpr int levels = 8, channels = 3;

// One half of an image, or twice of it; of the double as much is kept as the finer level has.
FloatImage halfOf(Output& out, const FloatImage& image) {
  FloatImage half((image.width() + 1) / 2, (image.height() + 1) / 2, channels);
  int bytes = 0;
  TOUR_CALL(out, qoriPyrDownGetBufSize_Gauss5x5(image.width(), qor32f, channels, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriPyrDown_Gauss5x5_32f_C3R(image.data(), image.step(), half.data(), half.step(), image.size(),
                                              buffer.data()));
  return half;
}
FloatImage twice(Output& out, const FloatImage& image) {
  FloatImage whole(2 * image.width(), 2 * image.height(), channels);
  int bytes = 0;
  TOUR_CALL(out, qoriPyrUpGetBufSize_Gauss5x5(image.width(), qor32f, channels, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriPyrUp_Gauss5x5_32f_C3R(image.data(), image.step(), whole.data(), whole.step(), image.size(),
                                            buffer.data()));
  return whole;
}

// Every sample of the first image becomes what `of` makes of those in its place.
template <class Of, class... Others>
void combine(FloatImage& image, Of of, const Others&... others) {
  for (int y = 0; y < image.height(); ++y)
    for (int i = 0; i < image.width() * channels; ++i) image.row(y)[i] = of(image.row(y)[i], others.row(y)[i]...);
}

FloatImage floats(const Picture& picture) {
  FloatImage image(picture.width(), picture.height(), channels);
  for (int y = 0; y < image.height(); ++y) std::copy_n(picture.row(y), image.width() * channels, image.row(y));
  return image;
}

Picture picture(const FloatImage& image, float base = 0, float gain = 1) {
  Picture shown(image.width(), image.height(), channels);
  for (int y = 0; y < image.height(); ++y)
    for (int i = 0; i < image.width() * channels; ++i)
      shown.row(y)[i] = static_cast<Qor8u>(std::clamp(base + gain * image.row(y)[i] + 0.5F, 0.0F, 255.0F));
  return shown;
}

std::vector<FloatImage> coarserAndCoarser(Output& out, FloatImage image) {
  std::vector<FloatImage> pyramid{std::move(image)};
  while (pyramid.size() < levels) pyramid.push_back(halfOf(out, pyramid.back()));
  return pyramid;
}

// What each level has and the next coarser one has not; of the coarsest all.
std::vector<FloatImage> details(Output& out, FloatImage image) {
  std::vector<FloatImage> pyramid = coarserAndCoarser(out, std::move(image));
  for (size_t i = 0; i + 1 < pyramid.size(); ++i)
    combine(
        pyramid[i], [](float fine, float coarse) { return fine - coarse; }, twice(out, pyramid[i + 1]));
  return pyramid;
}

}  // namespace

void pyramidBlend(const Input& in, Output& out) {
  out.text(
      "Two pictures of one place, one taken by day and one at dusk by a camera that was moved. Cut together they show "
      "their seam. So each is taken apart into what every size of detail adds, a Laplacian pyramid; the two are mixed "
      "level by level, fine detail across a few pixels and coarse shade across half the picture, and put together "
      "again.");
  Picture dusk = in.turned;
  for (int y = 0; y < dusk.height(); ++y) {
    for (int x = 0; x < dusk.width(); ++x) {
      Qor8u* const p = dusk.at(x, y);
      p[0] = static_cast<Qor8u>(p[0] * 5 / 8), p[1] = static_cast<Qor8u>(p[1] / 2),
      p[2] = static_cast<Qor8u>(p[2] * 3 / 4);
    }
  }
  FloatImage mask(dusk.width(), dusk.height(), channels);
  Picture cut = in.frames[0];
  for (int y = 0; y < mask.height(); ++y) {
    const int seam = mask.width() / 2;
    std::fill(mask.row(y) + seam * channels, mask.row(y) + mask.width() * channels, 1.0F);
    std::copy_n(dusk.at(seam, y), (mask.width() - seam) * channels, cut.at(seam, y));
  }
  out.figure("Cut together", cut);

  std::vector<FloatImage> mixed = details(out, floats(in.frames[0]));
  const std::vector<FloatImage> other = details(out, floats(dusk)), share = coarserAndCoarser(out, std::move(mask));
  for (size_t i = 0; i < mixed.size(); ++i)
    combine(
        mixed[i], [](float a, float b, float part) { return a + part * (b - a); }, other[i], share[i]);
  out.figure("The finest details of both, mixed", picture(mixed[0], 128, 2));
  FloatImage result = mixed.back();
  for (size_t i = mixed.size() - 1; i-- > 0;) {
    const FloatImage coarse = twice(out, result);
    result = mixed[i];
    combine(
        result, [](float fine, float below) { return fine + below; }, coarse);
  }
  out.figure("Mixed level by level", picture(result));
}

}  // namespace tour
