// Memory that a caller gives: scratch and records, laid out in parts of any type from a block of any alignment.
//
// An operation writes its layout once, as a function that takes parts from a ScratchParts. Walked with one that only
// counts, it tells the bytes; walked with the block, it places them:
//
//     struct Parts { Qor16s* rows; Qor8u* pieces; };
//     const auto lay = [&](ScratchParts& parts) {
//       return Parts{parts.take<Qor16s>(count, 32), parts.take<Qor8u>(team * pieceBytes, 64)};
//     };
//     ScratchParts parts(pBuffer, reported, bytesOf(lay));
//     const Parts p = lay(parts);
#pragma once

#include <assert.h>

#include "frame/alloc.h"
#include "frame/round.h"

#if defined(__SANITIZE_ADDRESS__)
  #define QOR_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
  #if __has_feature(address_sanitizer)
    #define QOR_ADDRESS_SANITIZER 1
  #endif
#endif
#ifdef QOR_ADDRESS_SANITIZER
  #include <sanitizer/asan_interface.h>
#else
  #define QOR_ADDRESS_SANITIZER 0
#endif

namespace qor::inline QOR_LEVEL {

constexpr int64_t roundUpTo(int64_t n, int64_t multiple) { return (n + multiple - 1) / multiple * multiple; }

// The first address from p on with that alignment, a power of two.
template <class T>
T* alignUp(void* p, uintptr_t alignment) {
  return reinterpret_cast<T*>(static_cast<Qor8u*>(p) + (-reinterpret_cast<uintptr_t>(p) & (alignment - 1)));
}

// Alignment of parts that vectors are loaded from: that of the wide level at every level, so that sizes do not differ.
constexpr int wideVectorBytes = 32;

// Hands out the parts of a block, one behind the other. Under the address sanitizer what the block has to spare goes
// between the parts and may not be touched for as long as this lives.
class ScratchParts {
 public:
  // Counts: parts are null.
  ScratchParts() = default;

  // A block of `bytes`, of which the parts to be taken need `needed`.
  ScratchParts(Qor8u* block, int64_t bytes, int64_t needed)
      : block_(block), next_(block), bytes_(bytes), spare_(bytes - needed) {
    assert(needed <= bytes);
    forbid(block, bytes);
  }
  ScratchParts(const ScratchParts&) = delete;
  ScratchParts& operator=(const ScratchParts&) = delete;
  ~ScratchParts() { allow(block_, bytes_); }

  template <class T>
  T* take(int64_t count, uintptr_t alignment = alignof(T)) {
    const int64_t bytes = count * static_cast<int64_t>(sizeof(T));
    advance(static_cast<int64_t>(alignment), bytes);
    if (block_ == nullptr) return nullptr;
    if constexpr (QOR_ADDRESS_SANITIZER != 0) {
      // Whole gaps alone: they leave every alignment as it was counted.
      const int64_t gap = spare_ < widestGap ? 0 : widestGap;
      next_ += gap;
      spare_ -= gap;
    }
    T* const first = alignUp<T>(next_, alignment);
    next_ = reinterpret_cast<Qor8u*>(first) + bytes;
    assert(next_ <= block_ + bytes_);
    allow(first, bytes);
    return first;
  }

  // Bytes of the parts taken, in a block that begins at the worst address.
  int64_t bytes() const { return total_; }

 private:
  static constexpr int64_t widestGap = 64;

  // The end of the parts is `offset_` behind a multiple of `alignment_`; which one is not known.
  void advance(int64_t alignment, int64_t bytes) {
    if (alignment > alignment_) {
      total_ += alignment - (offset_ != 0 ? offset_ : alignment_);
      alignment_ = alignment;
      offset_ = 0;
    }
    const int64_t padding = -offset_ & (alignment - 1);
    total_ += padding + bytes;
    offset_ = (offset_ + padding + bytes) & (alignment_ - 1);
  }

  static void forbid([[maybe_unused]] void* p, [[maybe_unused]] int64_t bytes) {
#if QOR_ADDRESS_SANITIZER
    if (bytes > 0) ASAN_POISON_MEMORY_REGION(p, static_cast<size_t>(bytes));
#endif
  }
  static void allow([[maybe_unused]] void* p, [[maybe_unused]] int64_t bytes) {
#if QOR_ADDRESS_SANITIZER
    if (p != nullptr && bytes > 0) ASAN_UNPOISON_MEMORY_REGION(p, static_cast<size_t>(bytes));
#endif
  }

  Qor8u *block_ = nullptr, *next_ = nullptr;
  int64_t bytes_ = 0, spare_ = 0, total_ = 0, alignment_ = 1, offset_ = 0;
};

// Bytes that a layout needs, wherever the block begins.
template <class Lay>
int64_t bytesOf(const Lay& lay) {
  ScratchParts counted;
  lay(counted);
  return counted.bytes();
}

// Library memory for a layout, to be freed by qorsFree; null when there is none, or beyond 31 bits.
template <class Lay>
Qor8u* allocateFor(const Lay& lay) {
  const int64_t bytes = bytesOf(lay);
  return bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
}

// ---- what size queries report, and what may be taken of it

// A stated size as it is reported: its low 32 bits, which survive every overflow of 64 unsigned ones.
constexpr int wrapped(uint64_t bytes) { return static_cast<int>(static_cast<Qor32u>(bytes)); }

// The stated size, count times each; where it leaves 31 bits what is needed, if that does not; else the stated one,
// wrapped.
constexpr int reportedSize(uint64_t each, int count, int64_t needed) {
  if (each <= static_cast<uint64_t>(topOf<Qor32s> / count) || needed > topOf<Qor32s>) {
    return wrapped(static_cast<uint64_t>(count) * each);
  }
  return static_cast<int>(needed);
}

// As many threads, up to team, as have room in a reported size, bytes(threads) being what so many need: an operation
// never writes behind what its query reports for the same arguments. 0 where not even one has: qorStsSizeErr.
template <class Bytes>
int teamWithin(int reported, int team, const Bytes& bytes) {
  while (team > 0 && bytes(team) > reported) --team;
  return team;
}

}  // namespace qor
