// Drawing on colour pictures: what the sections put over their results. Everything is clipped to the
// picture; whole coordinates and sizes may reach a thousand million, others are free.
#ifndef QORCV_TOUR_DRAW_H
#define QORCV_TOUR_DRAW_H

#include <string>
#include <string_view>

#include "image.h"

namespace tour {

struct Color {
  Qor8u r = 0, g = 0, b = 0;
};

inline constexpr Color red{230, 57, 70}, yellow{255, 209, 62}, cyan{46, 196, 229}, green{82, 200, 110},
    white{255, 255, 255}, black{0, 0, 0};

// Smooth lines, circles and arrows; coordinates are pixel centres and may lie between them.
void drawLine(Picture& picture, float x0, float y0, float x1, float y1, Color color, float thickness = 2);
void drawArrow(Picture& picture, float x0, float y0, float x1, float y1, Color color, float thickness = 2);
void drawCircle(Picture& picture, float x, float y, float radius, Color color, float thickness = 2);
void fillCircle(Picture& picture, float x, float y, float radius, Color color);
void drawCross(Picture& picture, float x, float y, float radius, Color color, float thickness = 2);

// The frame lies within the rectangle.
void drawRect(Picture& picture, QoriRect rect, Color color, int thickness = 2);
void fillRect(Picture& picture, QoriRect rect, Color color);

// Printable ASCII in a 5 x 8 letter, scale times enlarged, its top left corner at (x, y). Other characters show as a
// question mark.
void drawText(Picture& picture, int x, int y, std::string_view text, Color color, int scale = 2);
QoriSize textSize(std::string_view text, int scale = 2);

// Text on a dark plate, for labels on pictures.
void drawLabel(Picture& picture, int x, int y, std::string_view text, Color color = white, int scale = 2);

// Colours for values: viridis runs evenly from dark blue over green to yellow, heat from black over red to white,
// hue goes around the colour circle, labelColor gives neighbouring numbers well separated colours (0 is black).
Color viridis(int value);
Color heat(int value);
Color hue(float degrees, float saturation = 1, float brightness = 1);
Color labelColor(int label);

// A gray picture through viridis() or heat().
Picture mapColors(const Picture& gray, Color (*map)(int));

// Values from low to high through a colour map; NaN shows gray.
Picture mapColors(const FloatImage& values, float low, float high, Color (*map)(int));

}  // namespace tour

#endif
