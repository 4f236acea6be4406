// What inpainting keeps of a hole: its window, in planes with a frame around them, and the pixels to be filled.
#pragma once

#include "frame/row.h"
#include "frame/scratch.h"

namespace qor::inline QOR_LEVEL {

enum class InpaintMethod { gradient = 0, isophote = 1 };

// A place whose value counts for the pixel that it lies beside.
struct InpaintNeighbour {
  int dx, dy;
  Qor32f weight;
  ptrdiff_t offset;  // in pixels of the planes
};

// A pixel to be filled, with the direction in which the distance grows there.
struct InpaintPixel {
  int at;  // in the planes
  Qor16s nx, ny;
};

// All planes have the frame: so many pixels that no neighbour lies outside them. Pixels of the frame are unknown.
struct InpaintPlanes {
  Qor8u *hole, *unknown;  // 255: not known; the first as it is before the fill
  Qor32f* distance;
  Qor8u* image;
  Qor16s* gradient;        // pairs of x and y for each channel
  Qor32f* inverseLengths;  // of the gradients, for isophotes
};

}  // namespace qor

// A call changes what the planes hold but for hole and distance, and begins by making it anew.
struct QoriInpaintState {
  QoriSize fullSize;
  int channels;
  qor::InpaintMethod method;
  int64_t pixelCount, neighbourCount, ringCount;
  QoriRect window;  // empty where nothing is to be done
  ptrdiff_t stride, frameX, frameY;
  qor::InpaintPlanes planes;
  qor::InpaintPixel* pixels;          // in the order of the fill
  qor::InpaintNeighbour* neighbours;  // row by row
  int* ring;                          // known pixels whose gradient may count
};

namespace qor::inline QOR_LEVEL {

struct InpaintHole {
  Plane<const Qor32f> distance;
  Plane<const Qor8u> mask;
  QoriSize size;
  Qor32f radius;
  InpaintMethod method;
  int channels;
};

// Null when there is no memory.
QoriInpaintState* makeInpaintState(const InpaintHole& hole);

}  // namespace qor
