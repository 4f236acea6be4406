// The state of a mixture background, in memory of the caller's.
//
// Behind the header stand the counts of modes, a byte a pixel, and then the modes by rank. In a rank pixels stand in
// tiles; a tile has five fields of floats, one behind the other: weight, the three means, variance. So what is read
// together stands together, and a tile of a rank that no pixel uses is never touched. Only the last tile may have fewer
// pixels; its fields are so much shorter.
#pragma once

#include "frame/scratch.h"
#include "qorcv/motion.h"

namespace qor::inline QOR_LEVEL {

struct FgmmState {
  Qor64s frames;  // learned from so far
  int64_t pixels;
  int maxModes;
  QoriFGMMModel model;

  static constexpr int alignment = 32, headerBytes = 128;

  static FgmmState* in(Qor8u* pState) { return alignUp<FgmmState>(pState, alignment); }

  Qor8u* counts() { return reinterpret_cast<Qor8u*>(this) + headerBytes; }
  Qor32f* modes() { return reinterpret_cast<Qor32f*>(counts() + roundUpTo(pixels, alignment)); }
};
static_assert(sizeof(QoriFGMMModel) == 44 && sizeof(FgmmState) <= FgmmState::headerBytes);

constexpr int fgmmFields = 5, fgmmTile = 16;
// A count is a byte.
constexpr int fgmmMostModes = topOf<Qor8u>;

// The modes of a tile, or of what stands behind some pixels of it, by rank and field.
struct FgmmModes {
  enum Field { weight, mean, variance = mean + 3 };

  Qor32f* first;
  ptrdiff_t ofRank, ofField;

  FgmmModes(FgmmState& state, int64_t tile)
      : first(state.modes() + tile * fgmmFields),
        ofRank(static_cast<ptrdiff_t>(state.pixels) * fgmmFields),
        ofField(static_cast<ptrdiff_t>(state.pixels - tile < fgmmTile ? state.pixels - tile : fgmmTile)) {}

  FgmmModes from(int pixel) const {
    FgmmModes m = *this;
    m.first += pixel;
    return m;
  }
  Qor32f* at(int rank, int field) const { return first + rank * ofRank + field * ofField; }
};

// What a state takes by its stated layout, in 32 bits that wrap. This one needs less: no tables of ranks and no numbers
// of modes.
constexpr Qor32u fgmmBytes(QoriSize size, int maxModes) {
  const auto rounded = [](Qor32u n) { return (n + 31) & ~Qor32u{31}; };
  const Qor32u pixels = static_cast<Qor32u>(size.width) * static_cast<Qor32u>(size.height);
  const Qor32u modes = static_cast<Qor32u>(maxModes);
  return 3 * rounded(8 * modes) + rounded(pixels) + 2 * rounded(4 * pixels * modes) + rounded(16 * pixels * modes) +
         416;
}

}  // namespace qor
