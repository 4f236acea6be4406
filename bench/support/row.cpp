#include "support/row.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qor::bench {
namespace {

std::vector<RowData>& rows() {
  static std::vector<RowData> all;
  return all;
}

struct Tag {
  const char* text;
  double bytes;
};
constexpr Tag tags[] = {{"_8u", 1},  {"_8s", 1},  {"_16u", 2}, {"_16s", 2},   {"_32s", 4},
                        {"_32u", 4}, {"_32f", 4}, {"_64f", 8}, {"_1u", 0.125}};

}  // namespace

char* Setup::allocate(int64_t size) {
  // Fresh pages for every row, faulted in by the zeros. Blocks start at different lines of their page: buffers at one
  // distance modulo 4096 would make every load wait for an earlier store with the same low address bits.
  constexpr int64_t page = 4096, line = 64;
  const int64_t shift = static_cast<int64_t>(blocks_.size()) * 9 % 64 * line;
  const int64_t mapped = (size + shift + page - 1) / page * page;
  void* p = mmap(nullptr, static_cast<size_t>(mapped), PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (p == MAP_FAILED) {
    std::perror("benchmark buffer");
    std::exit(1);
  }
  blocks_.emplace_back(static_cast<char*>(p), Unmap{mapped});
  return static_cast<char*>(p) + shift;
}

void Setup::Unmap::operator()(char* p) const { munmap(p, static_cast<size_t>(size)); }

uint64_t Setup::nextRandom() {
  state_ ^= state_ << 13;
  state_ ^= state_ >> 7;
  state_ ^= state_ << 17;
  return state_ * 0x2545f4914f6cdd1dU;
}

Row::Row(std::string name) {
  size_t first = std::string::npos;
  for (const Tag& tag : tags) {
    const size_t at = name.find(tag.text);
    if (at < first) {
      first = at;
      data_.sampleBytes = tag.bytes;
    }
  }
  data_.channels = name.find("_C3") != std::string::npos ? 3 : name.find("_C4") != std::string::npos ? 4 : 1;
  data_.name = std::move(name);
}

Row& Row::sizes(std::vector<QoriSize> sizes) {
  data_.sizes = std::move(sizes);
  return *this;
}

Row& Row::alsoAt(QoriSize size) {
  data_.sizes.push_back(size);
  return *this;
}

Row& Row::pixel(double sampleBytes, int channels) {
  data_.sampleBytes = sampleBytes;
  data_.channels = channels;
  return *this;
}

Row& Row::contiguous() {
  data_.contiguous = true;
  return *this;
}

Row& Row::threads(int count, QoriSize size) {
  data_.threadRuns.push_back({count, size});
  return *this;
}

void Row::add() {
  if (data_.sampleBytes == 0) {
    std::fprintf(stderr, "%s: the name has no type tag, give pixel()\n", data_.name.c_str());
    std::exit(1);
  }
  rows().push_back(std::move(data_));
}

std::string sizeText(QoriSize size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

}  // namespace qor::bench

const std::vector<qor::bench::RowData>* qorBenchRows() { return &qor::bench::rows(); }
