// Blocks of library memory of one record, given back together.
#pragma once

#include <string.h>

#include <new>

#include "frame/alloc.h"
#include "frame/checks.h"
#include "frame/round.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

template <int most>
class Blocks {
 public:
  // Null when memory is short, or beyond 31 bits: then the blocks are not complete.
  template <class T>
  T* take(int64_t count) {
    const int64_t bytes = rowBytes<T>(count);
    void* const block = complete_ && bytes <= topOf<Qor32s> ? qorsMalloc_8u(static_cast<int>(bytes)) : nullptr;
    complete_ = block != nullptr;
    if (complete_) blocks_[count_++] = block;
    return static_cast<T*>(block);
  }
  template <class T>
  T* takeZeros(int64_t count) {
    T* const block = take<T>(count);
    if (block != nullptr) memset(block, 0, static_cast<size_t>(rowBytes<T>(count)));
    return block;
  }
  bool complete() const { return complete_; }
  void free() {
    while (count_ > 0) qorsFree(blocks_[--count_]);
  }

 private:
  void* blocks_[most];
  int count_ = 0;
  bool complete_ = true;
};

// A record made by make(record), whose blocks are complete or not; null then, with nothing left of it.
template <class Record, class Make>
Record* allocateRecord(const Make& make) {
  Qor8u* const memory = qorsMalloc_8u(static_cast<int>(sizeof(Record)));
  if (memory == nullptr) return nullptr;
  Record* const record = new (memory) Record();
  make(*record);
  if (record->blocks.complete()) return record;
  record->blocks.free();
  qorsFree(memory);
  return nullptr;
}

template <class Record>
QorStatus freeRecord(Record* record) {
  const QorStatus status = nullCheck(record);
  if (status != qorStsNoErr) return status;
  record->blocks.free();
  qorsFree(record);
  return qorStsNoErr;
}

}  // namespace qor
