#include <algorithm>
#include <cstring>
#include <vector>

#include "tour.h"

namespace tour {
namespace {

// Hands out a picture a row at a time, as a decoder or a line camera does. The row stays valid until the next call.
class RowReader {
 public:
  explicit RowReader(const Picture& picture) : picture_(picture), row_(static_cast<size_t>(picture.width())) {}

  const Qor8u* next() {
    std::memcpy(row_.data(), picture_.row(y_++), row_.size());
    return row_.data();
  }

 private:
  const Picture& picture_;
  std::vector<Qor8u> row_;
  int y_ = 0;
};

}  // namespace

void rowPipelines(const Input& in, Output& out) {
  out.text(
      "A picture that is too large to hold, or that is still arriving, can be smoothed all the same. Each row is "
      "filtered along itself as it comes in, into one of 15 intermediate rows; whenever the rows around an output row "
      "are there, they are filtered down the columns. The column pass takes the rows by their addresses, so the 15 "
      "rows "
      "are a ring, and the first and last row repeat beyond the picture by repeating their address.");
  const Picture& picture = in.grays[0];
  const int width = picture.width(), height = picture.height();

  // Binomial taps: close to a Gaussian of sigma 1.9. They add up to 2^14.
  constexpr int taps = 15, half = taps / 2;
  const Qor16s kernel[taps] = {1, 14, 91, 364, 1001, 2002, 3003, 3432, 3003, 2002, 1001, 364, 91, 14, 1};
  // Intermediate rows keep seven bits behind the point: 255 * 2^7 fits 16 bits.
  constexpr int rowDivisor = 1 << 7, columnDivisor = 1 << 21;

  int rowBytes = 0, columnBytes = 0;
  TOUR_CALL(out, qoriFilterRowBorderPipelineGetBufferSize_8u16s_C1R({width, 1}, taps, &rowBytes));
  TOUR_CALL(out, qoriFilterColumnPipelineGetBufferSize_16s8u_C1R({width, 1}, taps, &columnBytes));
  std::vector<Qor8u> scratch(static_cast<size_t>(std::max(rowBytes, columnBytes)));

  RowReader reader(picture);
  std::vector<Qor16s> ring(static_cast<size_t>(taps) * static_cast<size_t>(width));
  const auto ringRow = [&](int y) { return ring.data() + static_cast<size_t>(y % taps) * static_cast<size_t>(width); };
  const QoriSize oneRow = {width, 1};
  Picture smooth(width, height);
  int arrived = 0;
  for (int y = 0; y < height; ++y) {
    for (; arrived < std::min(y + half + 1, height); ++arrived) {
      const Qor8u* row = reader.next();
      Qor16s* filtered = ringRow(arrived);
      TOUR_CALL(out, qoriFilterRowBorderPipeline_8u16s_C1R(row, width, &filtered, oneRow, kernel, taps, half,
                                                           qorBorderRepl, 0, rowDivisor, scratch.data()));
    }
    const Qor16s* around[taps];
    for (int i = 0; i < taps; ++i) around[i] = ringRow(std::clamp(y - half + i, 0, height - 1));
    TOUR_CALL(out, qoriFilterColumnPipeline_16s8u_C1R(around, smooth.row(y), smooth.step(), oneRow, kernel, taps,
                                                      columnDivisor, scratch.data()));
  }
  out.figure("The picture, of which no more than one row was ever at hand", picture);
  out.figure("Smoothed by 15 x 15 taps from a ring of 15 rows", smooth);
}

}  // namespace tour
