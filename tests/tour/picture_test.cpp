// Reading pictures: every variety gives the right pixels, every broken file a message that names it.
#include "picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

#include "odd_files.h"

namespace {

using tour::Picture;
using tour_test::Bytes;
using tour_test::JpegShape;
using tour_test::makeJpeg;
using tour_test::makePng;
using tour_test::PngShape;

constexpr int width = 13, height = 7;

// A sample for every place and channel, all different from their neighbours and without pattern.
Qor8u sample(int x, int y, int c) { return static_cast<Qor8u>(x * 37 + y * 91 + c * 53 + x * y * 5); }

Bytes sampleRows(int channels) {
  Bytes rows;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) rows.push_back(sample(x, y, c));
    }
  }
  return rows;
}

using Expected = std::function<int(int x, int y, int c)>;

void expectPicture(const Picture& picture, const Expected& expected, int tolerance = 0) {
  ASSERT_EQ(picture.width(), width);
  ASSERT_EQ(picture.height(), height);
  ASSERT_EQ(picture.channels(), 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) {
        ASSERT_NEAR(picture.at(x, y)[c], expected(x, y, c), tolerance) << "at " << x << ", " << y << ", channel " << c;
      }
    }
  }
}

// The message must begin with the file and go on with words that hold the reason.
template <class F>
void expectError(const std::string& file, const std::string& reason, F read) {
  try {
    read();
    FAIL() << file << " was read";
  } catch (const tour::FileError& e) {
    const std::string message = e.what();
    EXPECT_EQ(message.substr(0, file.size() + 2), file + ": ");
    EXPECT_NE(message.find(reason, file.size()), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
}

// A folder that goes away with the test.
class Files : public testing::Test {
 protected:
  Files() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qorcv-tour-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Files() override { std::filesystem::remove_all(folder_); }

  std::string write(const std::string& name, const Bytes& bytes) const {
    tour::writeFile(path(name), bytes.data(), bytes.size());
    return path(name);
  }
  std::string path(const std::string& name) const { return folder_ + "/" + name; }

  static void expectRefused(const std::string& file, const std::string& reason) {
    expectError(file, reason, [&] { tour::readPicture(file); });
  }

  std::string folder_;
};

TEST(Png, EightBitColorAndInterlaced) {
  for (const bool interlaced : {false, true}) {
    const Bytes png = makePng({width, height, 8, PNG_COLOR_TYPE_RGB, interlaced}, sampleRows(3), 3 * width);
    expectPicture(tour::decodePng(png, "f"), sample);
  }
}

TEST(Png, GrayOfEveryDepth) {
  for (const int depth : {1, 2, 4, 8, 16}) {
    SCOPED_TRACE(depth);
    const int top = (1 << std::min(depth, 8)) - 1;
    const size_t rowBytes = static_cast<size_t>((width * depth + 7) / 8);
    Bytes rows(rowBytes * height);
    for (int y = 0; y < height; ++y) {
      Qor8u* row = rows.data() + static_cast<size_t>(y) * rowBytes;
      for (int x = 0; x < width; ++x) {
        const int value = sample(x, y, 0) & top, bit = x * depth;
        // 16 bits: the byte twice is exactly the 8-bit value.
        if (depth == 16) row[2 * x] = row[2 * x + 1] = static_cast<Qor8u>(value);
        if (depth <= 8) row[bit / 8] = static_cast<Qor8u>(row[bit / 8] | value << (8 - depth - bit % 8));
      }
    }
    const Bytes png = makePng({width, height, depth, PNG_COLOR_TYPE_GRAY}, rows, rowBytes);
    expectPicture(tour::decodePng(png, "f"), [&](int x, int y, int) { return (sample(x, y, 0) & top) * 255 / top; });
  }
}

TEST(Png, SixteenBitColorKeepsItsBrightness) {
  Bytes rows;
  for (const Qor8u value : sampleRows(3)) {
    rows.push_back(value);
    rows.push_back(value);
  }
  const Bytes png = makePng({width, height, 16, PNG_COLOR_TYPE_RGB}, rows, 6 * width);
  // One level for the two roundings through linear light.
  expectPicture(tour::decodePng(png, "f"), sample, 1);
}

TEST(Png, AlphaIsLaidOnWhite) {
  // Opaque, clear and half clear columns in turn. The mix is made in linear light, within 3 levels, since the decoder's
  // curves are approximations; mixed without the curves, the half clear columns would be off by up to 60.
  const auto alphaOf = [](int x) { return x % 3 == 0 ? 255 : x % 3 == 1 ? 0 : 128; };
  const auto toLinear = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
  const auto fromLinear = [](double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; };
  const auto onWhite = [&](int value, int x) {
    const double a = alphaOf(x) / 255.0;
    return static_cast<int>(std::lround(255 * fromLinear(a * toLinear(value / 255.0) + 1 - a)));
  };
  for (const int colors : {1, 3}) {
    SCOPED_TRACE(colors);
    Bytes rows = sampleRows(colors + 1);
    for (size_t i = 0; i < rows.size() / static_cast<size_t>(colors + 1); ++i) {
      rows[(i + 1) * static_cast<size_t>(colors + 1) - 1] = static_cast<Qor8u>(alphaOf(static_cast<int>(i) % width));
    }
    const int type = colors == 1 ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_RGB_ALPHA;
    const Bytes png = makePng({width, height, 8, type}, rows, static_cast<size_t>(width * (colors + 1)));
    expectPicture(
        tour::decodePng(png, "f"), [&](int x, int y, int c) { return onWhite(sample(x, y, colors == 1 ? 0 : c), x); },
        3);
  }
}

TEST(Png, PaletteWithAndWithoutTransparency) {
  const png_color palette[4] = {{10, 20, 30}, {200, 100, 50}, {0, 255, 128}, {77, 77, 200}};
  for (const bool clear : {false, true}) {
    Bytes rows;
    for (const Qor8u value : sampleRows(1)) rows.push_back(value % 4);
    const PngShape shape = {width, height, 8, PNG_COLOR_TYPE_PALETTE, false, [&](png_structp png, png_infop info) {
                              png_set_PLTE(png, info, palette, 4);
                              const png_byte alpha[2] = {255, 0};
                              if (clear) png_set_tRNS(png, info, alpha, 2, nullptr);
                            }};
    expectPicture(tour::decodePng(makePng(shape, rows, width), "f"), [&](int x, int y, int c) {
      const int index = sample(x, y, 0) % 4;
      if (clear && index == 1) return 255;
      const png_color& p = palette[index];
      return static_cast<int>(c == 0 ? p.red : c == 1 ? p.green : p.blue);
    });
  }
}

TEST(Png, OneTransparentColor) {
  const PngShape shape = {width, height, 8, PNG_COLOR_TYPE_RGB, false, [](png_structp png, png_infop info) {
                            const png_color_16 clear = {0, sample(4, 2, 0), sample(4, 2, 1), sample(4, 2, 2), 0};
                            png_set_tRNS(png, info, nullptr, 0, &clear);
                          }};
  expectPicture(tour::decodePng(makePng(shape, sampleRows(3), 3 * width), "f"),
                [](int x, int y, int c) { return sample(x, y, 0) == sample(4, 2, 0) ? 255 : sample(x, y, c); });
}

// Smooth data: full quality then keeps every sample within a few levels.
Bytes smoothRows(int channels) {
  Bytes rows;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) rows.push_back(static_cast<Qor8u>(20 + 9 * x + 4 * y * (c + 1)));
    }
  }
  return rows;
}

int smooth(int x, int y, int c) { return 20 + 9 * x + 4 * y * (c + 1); }

TEST(Jpeg, ColorGrayAndProgressive) {
  expectPicture(tour::decodeJpeg(makeJpeg({width, height}, smoothRows(3)), "f"), smooth, 4);
  expectPicture(tour::decodeJpeg(makeJpeg({width, height, 3, JCS_RGB, false, true}, smoothRows(3)), "f"), smooth, 4);
  expectPicture(
      tour::decodeJpeg(makeJpeg({width, height, 1, JCS_GRAYSCALE}, smoothRows(1)), "f"),
      [](int x, int y, int) { return smooth(x, y, 0); }, 4);
}

TEST(Jpeg, InksBecomeLight) {
  for (const bool inverted : {false, true}) {
    SCOPED_TRACE(inverted);
    const auto expected = [&](int x, int y, int c) {
      const int ink = smooth(x, y, c), black = smooth(x, y, 3);
      return inverted ? ink * black / 255 : (255 - ink) * (255 - black) / 255;
    };
    expectPicture(tour::decodeJpeg(makeJpeg({width, height, 4, JCS_CMYK, inverted}, smoothRows(4)), "f"), expected, 5);
  }
}

TEST(Jpeg, CamerasRotationIsUndone) {
  // Where pixel (0, 0) of the stored picture must come to lie, and whether the sides change places.
  struct Case {
    int held;
    bool right, bottom, swapped;
  };
  const Case cases[] = {{1, false, false, false}, {2, true, false, false}, {3, true, true, false},
                        {4, false, true, false},  {5, false, false, true}, {6, true, false, true},
                        {7, true, true, true},    {8, false, true, true}};
  for (const Case& k : cases) {
    for (const bool bigEndian : {false, true}) {
      SCOPED_TRACE(k.held);
      const Bytes jpeg = makeJpeg({width, height, 3, JCS_RGB, false, false, k.held, bigEndian}, smoothRows(3));
      const Picture picture = tour::decodeJpeg(jpeg, "f");
      ASSERT_EQ(picture.width(), k.swapped ? height : width);
      ASSERT_EQ(picture.height(), k.swapped ? width : height);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const int along = k.swapped ? y : x, down = k.swapped ? x : y;
          const int px = k.right ? picture.width() - 1 - along : along;
          const int py = k.bottom ? picture.height() - 1 - down : down;
          ASSERT_NEAR(picture.at(px, py)[2], smooth(x, y, 2), 4) << x << ", " << y;
        }
      }
    }
  }
}

TEST_F(Files, KindIsToldByContentNotByName) {
  const Bytes png = makePng({width, height}, sampleRows(3), 3 * width);
  expectPicture(tour::readPicture(write("photo.jpg", png)), sample);
  expectPicture(tour::readPicture(write("drawing.png", makeJpeg({width, height}, smoothRows(3)))), smooth, 4);
}

TEST_F(Files, NotAPicture) {
  expectRefused(path("missing.png"), "No such file");
  expectRefused(folder_, "Is a directory");
  expectRefused(write("empty.png", {}), "empty");
  expectRefused(write("text.png", {'h', 'e', 'l', 'l', 'o'}), "neither a PNG nor a JPEG");
  expectRefused(write("short.png", {0x89, 'P', 'N', 'G'}), "neither a PNG nor a JPEG");
}

TEST(Damage, EveryTruncationIsRefused) {
  const auto start = [](const Bytes& whole, size_t count) {
    return Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(count));
  };
  // The last chunk of a PNG (12 bytes) says nothing but that it ended, so only what lies before it must be there. The
  // end marker of a JPEG is missed as soon as it is gone.
  const Bytes png = makePng({width, height}, sampleRows(3), 3 * width);
  for (size_t n = 8; n + 12 < png.size(); ++n) {
    SCOPED_TRACE(n);
    expectError("cut", "not a usable PNG", [&] { tour::decodePng(start(png, n), "cut"); });
  }
  for (const bool progressive : {false, true}) {
    const Bytes jpeg = makeJpeg({width, height, 3, JCS_RGB, false, progressive}, smoothRows(3));
    for (size_t n = 3; n < jpeg.size(); ++n) {
      SCOPED_TRACE(n);
      expectError("cut", "not a usable JPEG", [&] { tour::decodeJpeg(start(jpeg, n), "cut"); });
    }
  }
}

TEST_F(Files, ClaimedSizesAreCheckedBeforeMemoryIsTaken) {
  const Bytes png = makePng({width, height}, sampleRows(3), 3 * width);
  struct Claim {
    uint32_t width, height;
    const char* reason;
  };
  const Claim claims[] = {{1'000'000'000, 1'000'000'000, "claims 1000000000 x 1000000000 pixels"},
                          {0xffffffff, 0xffffffff, "claims 4294967295 x 4294967295 pixels"},
                          {0x80000001, 2, "claims 2147483649 x 2 pixels"},
                          {30'000, 30'000, "limit"},
                          {0, 5, "without pixels"},
                          {5, 0, "without pixels"}};
  for (const Claim& claim : claims) {
    Bytes bytes = png;
    for (size_t i = 0; i < 4; ++i) {
      bytes[16 + i] = static_cast<Qor8u>(claim.width >> (24 - 8 * i));
      bytes[20 + i] = static_cast<Qor8u>(claim.height >> (24 - 8 * i));
    }
    expectRefused(write("huge.png", bytes), claim.reason);
  }
  Bytes jpeg = makeJpeg({width, height}, smoothRows(3));
  // The frame header: marker, length, precision, height, width.
  const Qor8u frame[] = {0xff, 0xc0};
  const auto at = std::search(jpeg.begin(), jpeg.end(), std::begin(frame), std::end(frame));
  ASSERT_NE(at, jpeg.end());
  for (int i = 5; i < 9; ++i) at[i] = 0xfd;
  expectRefused(write("huge.jpg", jpeg), "claims 65021 x 65021 pixels");
}

TEST(Damage, RandomBytesChangedNeverCrash) {
  const std::vector<Bytes> pictures = {
      makePng({width, height}, sampleRows(3), 3 * width),
      makePng({width, height, 8, PNG_COLOR_TYPE_RGB_ALPHA, true}, sampleRows(4), 4 * width),
      makeJpeg({width, height, 3, JCS_RGB, false, false, 6}, smoothRows(3)),
      makeJpeg({width, height, 3, JCS_RGB, false, true, 8, true}, smoothRows(3)),
      makeJpeg({width, height, 4, JCS_CMYK, true}, smoothRows(4))};
  std::mt19937 random(7);
  int read = 0, refused = 0;
  for (int i = 0; i < 4000; ++i) {
    Bytes bytes = pictures[static_cast<size_t>(i) % pictures.size()];
    for (unsigned n = 1 + random() % 3; n > 0; --n) {
      // Mostly in the headers, where lengths, sizes and offsets stand.
      const size_t place = random() % (random() % 2 == 0 ? std::min<size_t>(bytes.size(), 200) : bytes.size());
      bytes[place] = static_cast<Qor8u>(random());
    }
    try {
      const Picture picture = i % 5 < 2 ? tour::decodePng(bytes, "f") : tour::decodeJpeg(bytes, "f");
      EXPECT_EQ(picture.channels(), 3);
      ++read;
    } catch (const tour::FileError&) {
      ++refused;
    }
  }
  EXPECT_GT(read, 100);
  EXPECT_GT(refused, 1000);
}

TEST(Writing, PngKeepsEveryPixel) {
  Picture color(width, height, 3), gray(width, height, 1);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) color.at(x, y)[c] = sample(x, y, c);
      *gray.at(x, y) = sample(x, y, 0);
    }
  }
  expectPicture(tour::decodePng(tour::encodePng(color), "f"), sample);
  expectPicture(tour::decodePng(tour::encodePng(gray), "f"), [](int x, int y, int) { return sample(x, y, 0); });
}

TEST_F(Files, UnwritableFileIsNamed) {
  const std::pair<std::string, const char*> files[] = {{path("no-such-folder/out.png"), "No such file or directory"},
                                                       {folder_, "Is a directory"},
                                                       {"/dev/full", "No space left on device"}};
  for (const auto& [file, reason] : files) {
    expectError(file, reason, [&file = file] { tour::writePng(file, Picture(4, 4)); });
  }
}

TEST(Shrink, IsTheMeanOfTheCoveredArea) {
  // 5 x 3 to 2 x 2: every target pixel covers 2.5 x 1.5 source pixels, counted here in quarters.
  Picture picture(5, 3, 1);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 5; ++x) *picture.at(x, y) = sample(x, y, 0);
  }
  const Picture small = tour::shrink(picture, {2, 2});
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 2; ++x) {
      int sum = 0;
      for (int half = 0; half < 5; ++half) {
        for (int third = 0; third < 3; ++third) sum += *picture.at((5 * x + half) / 2, (3 * y + third) / 2);
      }
      EXPECT_EQ(*small.at(x, y), (2 * sum + 15) / 30) << x << ", " << y;
    }
  }
  const Picture same = tour::shrink(picture, {5, 3});
  for (int y = 0; y < 3; ++y) EXPECT_EQ(memcmp(same.row(y), picture.row(y), 5), 0);
}

TEST(Fit, KeepsTheShape) {
  const auto fitted = [](int w, int h, int side) {
    const QoriSize s = tour::fit({w, h}, side);
    return std::pair(s.width, s.height);
  };
  EXPECT_EQ(fitted(4000, 3000, 960), std::pair(960, 720));
  EXPECT_EQ(fitted(3000, 4000, 960), std::pair(720, 960));
  EXPECT_EQ(fitted(640, 480, 960), std::pair(640, 480));
  EXPECT_EQ(fitted(100000, 3, 100), std::pair(100, 1));
}

}  // namespace
