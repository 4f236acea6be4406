/*
 * What moves in front of the background, in a folder of numbered PNG frames from a camera that stands still: writes a
 * mask for every frame, white for what moves, gray for its shadow, and the background that was learned.
 *
 *     cc background.c $(pkg-config --cflags --libs qorcv libpng) -o background
 *     ./background frames masks
 */
#define _GNU_SOURCE /* versionsort: frame2 stands before frame10 */
#include <dirent.h>
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qorcv.h"

enum { modes = 5 };

static int isPng(const struct dirent* entry) {
  const char* const dot = strrchr(entry->d_name, '.');
  return dot != NULL && strcmp(dot, ".png") == 0;
}

/* Three channels a pixel, without gaps between the rows; NULL when the file cannot be read. */
static Qor8u* readFrame(const char* folder, const char* name, QoriSize* size) {
  char path[4096];
  png_image image;
  memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  snprintf(path, sizeof path, "%s/%s", folder, name);
  if (!png_image_begin_read_from_file(&image, path)) {
    fprintf(stderr, "%s: %s\n", path, image.message);
    return NULL;
  }
  image.format = PNG_FORMAT_RGB;
  size->width = (int)image.width;
  size->height = (int)image.height;
  Qor8u* const pixels = malloc(PNG_IMAGE_SIZE(image));
  if (pixels == NULL || !png_image_finish_read(&image, NULL, pixels, 0, NULL)) {
    fprintf(stderr, "%s: %s\n", path, pixels == NULL ? "no memory" : image.message);
    png_image_free(&image);
    free(pixels);
    return NULL;
  }
  return pixels;
}

static int writeImage(const char* folder, const char* name, const Qor8u* pixels, QoriSize size, int isColor) {
  char path[4096];
  png_image image;
  memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  image.width = (png_uint_32)size.width;
  image.height = (png_uint_32)size.height;
  image.format = isColor ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  snprintf(path, sizeof path, "%s/%s", folder, name);
  if (png_image_write_to_file(&image, path, 0, pixels, 0, NULL)) return 1;
  fprintf(stderr, "%s: %s\n", path, image.message);
  return 0;
}

/* The model, a mask and a background image for frames of one size. */
struct Watcher {
  QoriSize size;
  Qor8u *state, *mask, *background;
};

static int start(struct Watcher* w, QoriSize size) {
  /* frames looked back, modes, variances (new, least, largest), distances (background, fit), ..., shadows */
  const QoriFGMMModel model = {500, modes, 15, 4, 75, 16, 0.9F, 9, 0.05F, 127, 1, 0.5F};
  int bytes = 0;
  if (qoriFGMMGetBufferSize_8u_C3R(size, modes, &bytes) != qorStsNoErr || bytes <= 0) return 0;
  const size_t pixels = (size_t)size.width * (size_t)size.height;
  w->size = size;
  w->state = malloc((size_t)bytes);
  w->mask = malloc(pixels);
  w->background = malloc(3 * pixels);
  return w->state != NULL && w->mask != NULL && w->background != NULL &&
         qoriFGMMInit_8u_C3R(size, modes, &model, w->state) == qorStsNoErr;
}

static int watch(struct Watcher* w, const char* folder, const char* name, const char* results) {
  QoriSize size;
  Qor8u* const frame = readFrame(folder, name, &size);
  if (frame == NULL) return 0;
  int isRight = w->state != NULL || start(w, size);
  if (!isRight) fprintf(stderr, "no memory for a model of %d x %d pixels\n", size.width, size.height);
  if (isRight && (size.width != w->size.width || size.height != w->size.height)) {
    fprintf(stderr, "%s/%s: not of the size of the first frame\n", folder, name);
    isRight = 0;
  }
  if (isRight) {
    /* A rate below 0: the model learns fast at first, and slower with every frame. */
    const QorStatus status =
        qoriFGMMForeground_8u_C3R(frame, 3 * size.width, w->mask, size.width, size, w->state, NULL, -1);
    if (status != qorStsNoErr) fprintf(stderr, "qoriFGMMForeground_8u_C3R returned status %d\n", (int)status);
    isRight = status == qorStsNoErr && writeImage(results, name, w->mask, size, 0);
  }
  free(frame);
  return isRight;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s FOLDER-OF-FRAMES FOLDER-FOR-MASKS\n", argv[0]);
    return 2;
  }
  struct dirent** files = NULL;
  const int count = scandir(argv[1], &files, isPng, versionsort);
  if (count < 1) {
    fprintf(stderr, "%s: no PNG files\n", argv[1]);
    return 1;
  }
  struct Watcher watcher = {{0, 0}, NULL, NULL, NULL};
  int isRight = 1;
  for (int i = 0; i < count; ++i) {
    isRight = isRight && watch(&watcher, argv[1], files[i]->d_name, argv[2]);
    free(files[i]);
  }
  free(files);
  if (isRight) {
    const QoriSize size = watcher.size;
    isRight = qoriFGMMBackground_8u_C3R(watcher.background, 3 * size.width, size, watcher.state) == qorStsNoErr &&
              writeImage(argv[2], "background.png", watcher.background, size, 1);
  }
  if (isRight) printf("%d masks and background.png in %s\n", count, argv[2]);
  free(watcher.state);
  free(watcher.mask);
  free(watcher.background);
  return isRight ? 0 : 1;
}
