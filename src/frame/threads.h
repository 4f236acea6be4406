// Threads: the library's helpers, bands of rows, and when an operation is shared among a team.
#pragma once

#include "frame/base.h"

namespace qor::inline QOR_LEVEL {

int owncvGetMaxNumThreads();      // the thread count set for the whole library
int owncvGetNumThreads();         // size of the current team; 1 outside a parallel region
int owncvGetIdThreads();          // number within the current team, 0 for the master
int runomp();                     // number of cores, but 0 when there is only one
int runsepomp(int kernelLength);  // as runomp for kernels of 3 and 5; never 0 for others
int owncvGetCacheSize();          // bytes of the largest cache, 0 when unknown

// Contiguous rows of one thread.
struct Band {
  int thread;
  int first;
  int rows;
};

// Thread t of count takes height / count rows; the last one takes the remainder too.
constexpr Band bandOf(int thread, int count, int height) {
  const int rows = height / count;
  return {thread, thread * rows, thread == count - 1 ? height - thread * rows : rows};
}

// Thread t of count begins at the row nearest to t * height / count, a quotient of 32-bit floats. The quotient of the
// last bound may lie beside the height, which stands for it.
constexpr Band roundedBandOf(int thread, int count, int height) {
  const auto begin = [=](int t) {
    if (t == count) return height;
    const Qor32f quotient = static_cast<Qor32f>(int64_t{t} * height) / static_cast<Qor32f>(count);
    const Qor32f raised = quotient + 0.5F;
    const int row = static_cast<int>(raised);
    return row < height ? row : height;
  };
  const int first = begin(thread);
  return {thread, first, begin(thread + 1) - first};
}

// When a call is shared, and among how many threads: data that a family states and that tests read. n is the thread
// count of the library. A field that is left alone asks for nothing.
struct TeamRule {
  // The size that is worth a team. Pixels are counted in 32 bits that wrap.
  Qor32s pixels = 0;
  int width = 0, height = 0;
  int widthAndHeight = 0;         // their sum
  int pixelsOfThread = 0;         // times n
  int pixelsOfThreadOnCores = 0;  // times n, enough where there is more than one core
  int rowsOfThread = 0;           // times n
  bool cores = false;             // more than one core

  // The team is n, or less.
  bool ofCallersTeam = false;  // at most the team that the caller runs in, which counts as n above
  bool upToCores = false;      // at most as many as cores
  int mostThreads = 0;         // at most so many
  int pixelsAThread = 0;       // at most one for so many pixels
  int rowsAThread = 0;         // at most one for so many rows
  int leastThreads = 1;        // and if that leaves fewer, none
};

inline constexpr TeamRule never = {.leastThreads = INT32_MAX};

// Threads of the region to open; 0 for none, where the call stays on its thread.
int teamFor(const TeamRule& rule, QoriSize size);

// Partial results on the caller's stack up to this many threads, allocated beyond.
constexpr int stackSlots = 32;

}  // namespace qor
