#include "morph/morph_state.h"

#include <string.h>

namespace qor::inline QOR_LEVEL {
namespace {

struct Header {
  QoriSize maskSize;
  QoriPoint anchor;
  int roiWidth;
  MaskShape shape;
  int memoryBytes;
};
static_assert(sizeof(Header) <= maskElementsAt);

// Working memory for runs that have `rows` rows for every row of the mask.
Qor32u ownMorphEllipseGetBufferSize(int roiWidth, QoriSize maskSize, int rows, int sampleBytes, int channels) {
  const auto height = static_cast<Qor32u>(maskSize.height);
  const Qor32u row = static_cast<Qor32u>(roiWidth) * static_cast<Qor32u>(sampleBytes * channels);
  return (height * static_cast<Qor32u>(rows) + 1) * (row + 32) + 40 * height + 40;
}

}  // namespace

MorphSizes morphSizes(const MorphForm& form, int roiWidth, QoriSize maskSize) {
  const auto height = static_cast<Qor32u>(maskSize.height);
  const Qor32u elements = (static_cast<Qor32u>(maskSize.width) * height + 15) & ~15U;
  // The runs' memory counts one channel in every form; the larger is that of the signed sizes.
  const auto rectangle = static_cast<Qor32s>(rectangleMemory<Qor32u>(form, roiWidth, maskSize));
  const auto runs =
      static_cast<Qor32s>(ownMorphEllipseGetBufferSize(roiWidth, maskSize, maskSize.height, form.sampleBytes, 1));
  const Qor32u buffer = static_cast<Qor32u>(rectangle > runs ? rectangle : runs) + ((24 * height + 15) & ~15U) +
                        elements + ((16 * height + 79) & ~15U);
  Qor32u record = form.packed ? 3 * elements + maskElementsAt : 33 * elements + 16 * height + 160;
  if (!form.packed && !form.isWord()) record += buffer;
  return {static_cast<int>(record), static_cast<int>(buffer)};
}

MorphRecord recordAt(const void* record) {
  Header header;
  memcpy(&header, record, sizeof header);
  auto* const elements = static_cast<const Qor8u*>(record) + maskElementsAt;
  // A record that has memory was made in a block that may be written.
  Qor8u* const behind = const_cast<Qor8u*>(elements) + (maskRecordBytes(header.maskSize) - maskElementsAt);
  return {header.roiWidth, {elements, header.maskSize, header.anchor}, header.shape, {behind, header.memoryBytes}};
}

void makeRecord(void* record, int roiWidth, const Qor8u* elements, QoriSize maskSize, QoriPoint anchor, int64_t bytes) {
  const int64_t used = maskRecordBytes(maskSize);
  // To tell row runs takes a number for every column.
  auto* const copy = static_cast<Qor8u*>(record) + maskElementsAt;
  auto* const starts = alignUp<Qor32s>(copy + (used - maskElementsAt), alignof(Qor32s));
  const bool hasRoom = bytes - used >= (int64_t{maskSize.width} + 1) * int64_t{sizeof(Qor32s)};
  const MaskShape shape = shapeOf({elements, maskSize, anchor}, hasRoom ? starts : nullptr);
  const bool writable = shape.kind == MaskKind::rectangle || shape.kind == MaskKind::rowRuns;
  const Header header = {maskSize, anchor, roiWidth, shape,
                         writable && bytes > used ? static_cast<int>(bytes - used) : 0};
  memcpy(record, &header, sizeof header);
  memmove(copy, elements, static_cast<size_t>(used - maskElementsAt));
}

}  // namespace qor
