#include "support/guarded.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <utility>

#ifdef __SANITIZE_ADDRESS__
  #include <sanitizer/asan_interface.h>
#else
  #define ASAN_POISON_MEMORY_REGION(address, size) static_cast<void>(0)
  #define ASAN_UNPOISON_MEMORY_REGION(address, size) static_cast<void>(0)
#endif

namespace qortest {
namespace {

ptrdiff_t pageBytes() {
  static const ptrdiff_t bytes = sysconf(_SC_PAGESIZE);
  return bytes;
}

uint8_t* inaccessible(ptrdiff_t bytes) {
  void* p = mmap(nullptr, static_cast<size_t>(bytes), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (p == MAP_FAILED) {
    perror("mmap");
    abort();
  }
  return static_cast<uint8_t*>(p);
}

void setAccess(uint8_t* p, ptrdiff_t bytes, int access) {
  if (mprotect(p, static_cast<size_t>(bytes), access) != 0) {
    perror("mprotect");
    abort();
  }
}

// A page of canaries. They differ from byte to byte, so that a shifted copy of them shows too; the upper two bytes of a
// float make it a NaN.
const uint8_t* canaries(int floatBytes) {
  static uint8_t pages[3][1 << 14] = {};
  uint8_t* const page = pages[floatBytes / 4];
  if (page[1] == 0) {
    for (ptrdiff_t i = 0; i < pageBytes(); ++i) {
      page[i] = static_cast<uint8_t>((static_cast<uint64_t>(i) * 0x9e3779b97f4a7c15U) >> 56);
      if (floatBytes != 0 && i % floatBytes >= floatBytes - 2) page[i] = 0xff;
    }
  }
  return page;
}

// Blocks of pages between two inaccessible ones, kept when they are given back: new ones cost the system more time than
// most tests their work. By the number of inner pages.
std::map<ptrdiff_t, std::vector<uint8_t*>>& spareBlocks() {
  static std::map<ptrdiff_t, std::vector<uint8_t*>> blocks;
  return blocks;
}

uint8_t* takeBlock(ptrdiff_t pages) {
  auto& spare = spareBlocks()[pages];
  if (!spare.empty()) {
    uint8_t* const block = spare.back();
    spare.pop_back();
    return block;
  }
  uint8_t* const block = inaccessible((pages + 2) * pageBytes());
  setAccess(block + pageBytes(), pages * pageBytes(), PROT_READ | PROT_WRITE);
  return block;
}

void giveBlock(uint8_t* block, ptrdiff_t pages) {
  constexpr ptrdiff_t kept = 1 << 15;  // pages of one size
  auto& spare = spareBlocks()[pages];
  if (static_cast<ptrdiff_t>(spare.size() + 1) * pages <= kept)
    spare.push_back(block);
  else
    munmap(block, static_cast<size_t>((pages + 2) * pageBytes()));
}

// Large numbers of pages are rounded up, to be found again.
ptrdiff_t pagesFor(ptrdiff_t bytes) {
  const ptrdiff_t pages = bytes / pageBytes() + 1;
  ptrdiff_t unit = 1;
  while (pages > 32 * unit) unit *= 2;
  return (pages + unit - 1) / unit * unit;
}

}  // namespace

GuardedRows::GuardedRows(const Shape& shape, SourceLocation where) : shape_(shape), where_(where) {
  const ptrdiff_t page = pageBytes();
  const ptrdiff_t span = (shape.rows - 1) * shape.step + shape.rowBytes;
  const ptrdiff_t pages = pagesFor(span + shape.offset), inner = pages * page;
  blockBytes_ = inner + 2 * page;
  block_ = takeBlock(pages);
  first_ = block_ + page + (shape.guard == Guard::Before ? shape.offset : inner - shape.offset - span);
  for (ptrdiff_t i = page; i < page + inner; i += page)
    memcpy(block_ + i, canaries(shape.floatBytes), static_cast<size_t>(page));
  poison(true);
}

GuardedRows::GuardedRows(GuardedRows&& other) noexcept
    : shape_(other.shape_),
      where_(other.where_),
      block_(std::exchange(other.block_, nullptr)),
      blockBytes_(other.blockBytes_),
      isProtected_(other.isProtected_),
      first_(other.first_) {}

GuardedRows::~GuardedRows() {
  if (block_ == nullptr) return;
  verify();
  poison(false);
  const ptrdiff_t inner = blockBytes_ - 2 * pageBytes();
  if (isProtected_) setAccess(block_ + pageBytes(), inner, PROT_READ | PROT_WRITE);
  giveBlock(block_, inner / pageBytes());
}

// f(first byte, end, row behind which it lies, -1 for the bytes before the first row).
template <class F>
void GuardedRows::forEachGap(F f) const {
  f(block_ + pageBytes(), row(0), ptrdiff_t{-1});
  for (ptrdiff_t y = 0; y + 1 < shape_.rows; ++y) f(row(y) + shape_.rowBytes, row(y + 1), y);
  f(row(shape_.rows - 1) + shape_.rowBytes, block_ + blockBytes_ - pageBytes(), shape_.rows - 1);
}

void GuardedRows::poison([[maybe_unused]] bool on) const {
  forEachGap([&]([[maybe_unused]] uint8_t* begin, [[maybe_unused]] uint8_t* end, ptrdiff_t) {
    if (on)
      ASAN_POISON_MEMORY_REGION(begin, static_cast<size_t>(end - begin));
    else
      ASAN_UNPOISON_MEMORY_REGION(begin, static_cast<size_t>(end - begin));
  });
}

void GuardedRows::protect() {
  setAccess(block_ + pageBytes(), blockBytes_ - 2 * pageBytes(), PROT_READ);
  isProtected_ = true;
}

void GuardedRows::verify() const {
  poison(false);
  int changed = 0;
  char text[160] = "";
  forEachGap([&](const uint8_t* begin, const uint8_t* end, ptrdiff_t y) {
    const uint8_t* const page = canaries(shape_.floatBytes);
    for (const uint8_t* p = begin; p < end; ++p) {
      // Page by page, as long as nothing is wrong.
      const ptrdiff_t at = (p - block_) & (pageBytes() - 1), rest = std::min(end - p, pageBytes() - at);
      if (memcmp(p, page + at, static_cast<size_t>(rest)) == 0) {
        p += rest - 1;
        continue;
      }
      if (*p == page[(p - block_) & (pageBytes() - 1)]) continue;
      if (changed++ != 0) continue;
      if (y < 0)
        snprintf(text, sizeof text, "byte %td before the first row (now 0x%02x)", first_ - p, *p);
      else
        snprintf(text, sizeof text, "byte %td behind the end of row %td (now 0x%02x)", p - begin, y, *p);
    }
  });
  poison(true);
  if (changed != 0) {
    ADD_FAILURE_AT(where_.file_name(), static_cast<int>(where_.line()))
        << "memory outside the image was overwritten: " << text << ", " << changed
        << " bytes in all\n  case: " << currentCase();
  }
}

void* noAccessAddress(int place) {
  constexpr ptrdiff_t places = 32, apart = ptrdiff_t{64} << 20;
  static uint8_t* const block = inaccessible(places * apart);
  if (place < 0 || place >= places - 1) abort();
  return block + (place + 1) * apart;
}

}  // namespace qortest
