/*
 * The absolute difference of two images in buffers of our own. The rows of one image lie further apart than they are
 * long, and only a part of the images is worked on: a call takes the first pixel of the part, the step between rows in
 * bytes, and the size of the part.
 *
 *     cc difference.c $(pkg-config --cflags --libs qorcv) -o difference
 */
#include <stdio.h>
#include <string.h>

#include "qorcv.h"

enum { width = 12, height = 5, step = 16 };

static void print(const char* title, const Qor8u* image, int imageStep, QoriSize size) {
  printf("%s\n", title);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) printf("%4d", image[y * imageStep + x]);
    printf("\n");
  }
}

int main(void) {
  Qor8u before[step * height], after[width * height], difference[width * height];
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      before[y * step + x] = (Qor8u)(10 * x + y);
      after[y * width + x] = (Qor8u)(10 * x + y + (x > 5 && y > 1 ? 40 : 0));
    }
  }
  memset(difference, 0, sizeof difference);

  /* All columns but the first two, all rows but the first. */
  const QoriSize part = {width - 2, height - 1};
  const QorStatus status =
      qoriAbsDiff_8u_C1R(before + step + 2, step, after + width + 2, width, difference + width + 2, width, part);
  if (status != qorStsNoErr) {
    fprintf(stderr, "qoriAbsDiff_8u_C1R returned status %d\n", (int)status);
    return 1;
  }
  const QoriSize whole = {width, height};
  print("before", before, step, whole);
  print("after", after, width, whole);
  print("difference (first row and first two columns untouched)", difference, width, whole);
  return 0;
}
