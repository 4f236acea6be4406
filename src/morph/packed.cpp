#include "morph/packed.h"

#include <string.h>

#include "morph/extremum.h"
#include "morph/runs.h"

namespace qor::inline QOR_LEVEL {
namespace {

using Word = uint64_t;
constexpr ptrdiff_t wordBits = 64, wordBytes = 8;
constexpr ptrdiff_t wordsFor(ptrdiff_t bits) { return (bits + wordBits - 1) / wordBits; }

// ---- bits anywhere

// A word, or as many as a vector has.
struct OneWord {
  static constexpr ptrdiff_t words = 1;
  Word v;

  static OneWord load(const Qor8u* p) {
    OneWord a;
    memcpy(&a.v, p, sizeof a.v);
    return a;
  }
  void store(Qor8u* p) const { memcpy(p, &v, sizeof v); }
};
struct ManyWords {
  static constexpr ptrdiff_t words = Vec<Word>::lanes;
  Vec<Word> v;

  static ManyWords load(const Qor8u* p) { return {as<Word>(qor::load(p))}; }
  void store(Qor8u* p) const { qor::store(p, as<Qor8u>(v)); }
};
// Words from a bit on: what eight bytes lack comes from the eight that begin a byte further.
template <class U>
QOR_FORCE_INLINE U loadBits(const Qor8u* p, int bit) {
  return {(U::load(p).v >> bit) | (U::load(p + 1).v << (8 - bit))};
}
Word wordAt(const Qor8u* row, ptrdiff_t bit) {
  return loadBits<OneWord>(row + (bit >> 3), static_cast<int>(bit & 7)).v;
}

// In a row of our own pixels begin at one of the first eight bits, which is called its phase.
constexpr int phaseOf(ptrdiff_t bit) { return static_cast<int>(bit & 7); }

// Copies the bytes that hold bits first to end - 1 of a row to where they stand behind bit `origin`.
void readBits(Qor8u* own, const Qor8u* row, ptrdiff_t origin, ptrdiff_t first, ptrdiff_t end) {
  const ptrdiff_t byte = first >> 3;
  memcpy(own + (byte - (origin >> 3)), row + byte, static_cast<size_t>(((end - 1) >> 3) + 1 - byte));
}

// Of a byte the bits of a mask.
void putBits(Qor8u* byte, unsigned mask, unsigned bits) { *byte = static_cast<Qor8u>((*byte & ~mask) | (bits & mask)); }

// Stores `count` pixels of a row of our own from a bit of an image on. Bits that are not theirs keep their values.
void writeBits(Qor8u* row, ptrdiff_t bit, const Qor8u* own, ptrdiff_t from, ptrdiff_t count) {
  Qor8u* byte = row + (bit >> 3);
  if (phaseOf(bit) != 0 || count < 8) {
    const ptrdiff_t room = 8 - phaseOf(bit), n = count < room ? count : room;
    const auto bits = static_cast<unsigned>(wordAt(own, from)) << phaseOf(bit);
    putBits(byte++, ((1U << n) - 1) << phaseOf(bit), bits);
    from += n;
    count -= n;
  }
  const Qor8u* next = own + (from >> 3);
  const int shift = phaseOf(from);
  const auto units = [&]<class U>(std::type_identity<U>) __attribute__((always_inline)) {
    for (; count >= wordBits * U::words; count -= wordBits * U::words) {
      loadBits<U>(next, shift).store(byte);
      byte += wordBytes * U::words;
      next += wordBytes * U::words;
    }
  };
  units(std::type_identity<ManyWords>());
  units(std::type_identity<OneWord>());
  const Word rest = wordAt(next, shift);
  const ptrdiff_t full = count >> 3;
  memcpy(byte, &rest, static_cast<size_t>(full));
  if ((count & 7) != 0) putBits(byte + full, (1U << (count & 7)) - 1, static_cast<unsigned>(rest >> (8 * full)));
}

// Bits first to end - 1 of a row of our own.
void fillBits(Qor8u* own, ptrdiff_t first, ptrdiff_t end, bool value) {
  while (first < end) {
    const ptrdiff_t in = first & (wordBits - 1), n = end - first < wordBits - in ? end - first : wordBits - in;
    const Word mask = (~Word{0} >> (wordBits - n)) << in;
    Qor8u* const at = own + ((first - in) >> 3);
    const Word word = OneWord::load(at).v;
    OneWord{value ? word | mask : word & ~mask}.store(at);
    first += n;
  }
}

bool bitAt(const Qor8u* own, ptrdiff_t bit) { return (own[bit >> 3] >> (bit & 7) & 1) != 0; }

// ---- rows of our own

// Calls kernel(i) for every vector of so many words, the last of which may reach beyond them.
template <class Kernel>
QOR_FORCE_INLINE void forOwnWords(ptrdiff_t words, const Kernel& kernel) {
  for (ptrdiff_t i = 0; i < words; i += ManyWords::words) kernel(wordBytes * i);
}

// Words from `count` places on, combined, with what stands in the result where `onto`; where they are aligned, from the
// bytes of these places on. The result may be at the first place.
template <class Op, int count, bool onto, bool aligned>
void combineWords(Qor8u* to, const Qor8u* own, const Place* taps, ptrdiff_t words) {
  const Qor8u* from[count];
  int shift[count];
  for (int t = 0; t < count; ++t) {
    from[t] = own + (taps[t] >> 3);
    shift[t] = phaseOf(taps[t]);
  }
  forOwnWords(
      words, [&](ptrdiff_t at) __attribute__((always_inline)) {
        const auto tap = [&](int t) __attribute__((always_inline)) {
          return aligned ? ManyWords::load(from[t] + at) : loadBits<ManyWords>(from[t] + at, shift[t]);
        };
        ManyWords result = onto ? ManyWords::load(to + at) : tap(0);
        for (int t = onto ? 0 : 1; t < count; ++t) result.v = Op::ofBits(result.v, tap(t).v);
        result.store(to + at);
      });
}

// One to four places.
template <class Op, bool onto, bool aligned>
void combineSome(Qor8u* to, const Qor8u* own, const Place* taps, ptrdiff_t count, ptrdiff_t words) {
  switch (count) {
    case 1:
      return combineWords<Op, 1, onto, aligned>(to, own, taps, words);
    case 2:
      return combineWords<Op, 2, onto, aligned>(to, own, taps, words);
    case 3:
      return combineWords<Op, 3, onto, aligned>(to, own, taps, words);
    default:
      return combineWords<Op, 4, onto, aligned>(to, own, taps, words);
  }
}

template <class Op, bool aligned>
void combineAll(Qor8u* to, const Qor8u* own, const Place* taps, ptrdiff_t count, ptrdiff_t words) {
  constexpr ptrdiff_t most = 4;
  combineSome<Op, false, aligned>(to, own, taps, count < most ? count : most, words);
  for (ptrdiff_t t = most; t < count; t += most) {
    combineSome<Op, true, aligned>(to, own, taps + t, count - t < most ? count - t : most, words);
  }
}

template <class Op>
class BitRows {
 public:
  static constexpr int mostRun = 4096;
  // A vector may be read that begins inside a row, and a byte behind it.
  static constexpr int64_t slack = 2 * ownRowAlignment;
  static constexpr ptrdiff_t placesOfByte = 8;

  BitRows(const BitSource& source, const BitPlane<Qor8u>& results, const BitDifference& difference)
      : source_(source), results_(results), difference_(difference) {}

  // With room for any phase.
  static int64_t rowBytes(ptrdiff_t pixels) { return roundUpTo((pixels + 7 + 7) >> 3, ownRowAlignment); }
  static constexpr ptrdiff_t offset(ptrdiff_t pixels) { return pixels; }
  Place origin(ptrdiff_t x) const { return phaseOf(source_.plane.bit + x); }
  static constexpr ptrdiff_t stripUnit() { return 1024; }
  static constexpr ptrdiff_t leastStrip = 2, mostStrip = 8;
  static constexpr ptrdiff_t mostPixels = mostStrip * stripUnit();

  // They would have to be changed beyond the image.
  static const Qor8u* find(ptrdiff_t, ptrdiff_t, ptrdiff_t) { return nullptr; }

  void stage(Qor8u* own, ptrdiff_t y, ptrdiff_t x, ptrdiff_t pixels) const {
    const Columns columns = Columns::existing(source_.sides().columns, x, x + pixels);
    const Qor8u* const row = source_.row(y);
    const ptrdiff_t bit = source_.plane.bit, first = phaseOf(bit + x), end = first + pixels;
    if (columns.first >= x + pixels || columns.end <= x) {
      fillBits(own, first, end, bitAt(row, bit + columns.first));
      return;
    }
    readBits(own, row, bit + x, bit + columns.first, bit + columns.end);
    const ptrdiff_t firstInside = first + columns.first - x, endInside = first + columns.end - x;
    fillBits(own, first, firstInside, bitAt(own, firstInside));
    fillBits(own, endInside, end, bitAt(own, endInside - 1));
  }

  // Both rows have the phase of the source.
  void cover(Qor8u* to, const Qor8u* from, ptrdiff_t made, ptrdiff_t length, ptrdiff_t pixels) const {
    const ptrdiff_t count = (length + made - 1) / made;
    Place taps[] = {0, made, 2 * made, 3 * made};
    taps[count - 1] = length - made;
    combineSome<Op, false, false>(to, from, taps, count, wordsFor(pixels + 7));
  }

  void combine(const Qor8u* own, Qor8u* spare, const Place* taps, int count, ptrdiff_t x, int y, ptrdiff_t pixels,
               bool first, bool last) const {
    alignas(ownRowAlignment) Qor8u result[mostPixels / 8 + slack];
    // Where all places have one phase, so has the result.
    const int phase = phaseOf(taps[0]);
    bool aligned = true;
    for (int t = 1; t < count; ++t) aligned = aligned && phaseOf(taps[t]) == phase;
    const ptrdiff_t words = wordsFor(pixels + 7);
    if (aligned) {
      combineAll<Op, true>(result, own, taps, count, words);
    } else {
      combineAll<Op, false>(result, own, taps, count, words);
    }
    const int from = aligned ? phase : 0;
    if (!first) {
      joinRow(result, from, spare, results_.row(y), results_.bit + x, pixels,
              [](Vec<Word> a, Vec<Word> b) { return Op::ofBits(a, b); });
    }
    store(result, from, spare, x, y, pixels, last);
  }

  // Results that are the source.
  void copy(const Area& area) const {
    for (ptrdiff_t y = area.top; y < area.bottom; ++y) {
      for (ptrdiff_t x = area.left; x < area.right; x += mostPixels) {
        const ptrdiff_t pixels = area.right - x < mostPixels ? area.right - x : mostPixels;
        alignas(ownRowAlignment) Qor8u result[mostPixels / 8 + slack], spare[mostPixels / 8 + 2 * slack];
        const ptrdiff_t bit = source_.plane.bit + x;
        readBits(result, source_.row(y), bit, bit, bit + pixels);
        store(result, phaseOf(bit), spare + slack, x, static_cast<int>(y), pixels, true);
      }
    }
  }

 private:
  // Pixels of a row in memory from a bit on, joined to those of a result that begin at bit `from`. The byte in front of
  // spare may be read.
  template <class Join>
  static void joinRow(Qor8u* result, int from, Qor8u* spare, const Qor8u* row, ptrdiff_t bit, ptrdiff_t pixels,
                      const Join& join) {
    readBits(spare, row, bit, bit, bit + pixels);
    const ptrdiff_t distance = phaseOf(bit) - from;
    const Qor8u* const other = spare + (distance >> 3);
    const int shift = phaseOf(distance);
    forOwnWords(
        wordsFor(pixels + 7), [&](ptrdiff_t at) __attribute__((always_inline)) {
          ManyWords{join(ManyWords::load(result + at).v, loadBits<ManyWords>(other + at, shift).v)}.store(result + at);
        });
  }

  // A row of results that begins at bit `from`, or what is made of it.
  void store(Qor8u* result, int from, Qor8u* spare, ptrdiff_t x, int y, ptrdiff_t pixels, bool last) const {
    if (last && difference_.wanted) {
      const bool otherFirst = difference_.otherFirst;
      joinRow(result, from, spare, difference_.other.row(y), difference_.other.bit + x, pixels,
              [=](Vec<Word> a, Vec<Word> b) { return otherFirst ? andNot(a, b) : andNot(b, a); });
    }
    writeBits(results_.row(y), results_.bit + x, result, from, pixels);
  }

  const BitSource& source_;
  const BitPlane<Qor8u>& results_;
  const BitDifference& difference_;
};

}  // namespace

template <class Op>
void filterMask(const BitSource& source, const Mask& mask, const MaskShape& shape, const Area& area,
                const BitPlane<Qor8u>& results, const BitDifference& difference, const Memory& memory) {
  const BitRows<Op> rows(source, results, difference);
  if (shape.kind == MaskKind::empty) {
    rows.copy(area);
  } else {
    sweepRuns(rows, mask, source.sides(), area, memory);
  }
}

template void filterMask<Highest>(const BitSource&, const Mask&, const MaskShape&, const Area&, const BitPlane<Qor8u>&,
                                  const BitDifference&, const Memory&);
template void filterMask<Lowest>(const BitSource&, const Mask&, const MaskShape&, const Area&, const BitPlane<Qor8u>&,
                                 const BitDifference&, const Memory&);

}  // namespace qor
