#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tour.h"

namespace tour {
namespace {

constexpr QoriPoint_32f delta{1, 0.0174533F};  // a pixel, a degree

// Pixels where the gradient is strong, and not weaker than on either side of the edge.
Picture thinEdges(const Picture& gray, Output& out) {
  const QoriSize size = gray.size();
  Image<Qor16s> gx(gray.width(), gray.height()), gy(gray.width(), gray.height());
  int bytes = 0;
  TOUR_CALL(out, qoriFilterScharrVertGetBufferSize_8u16s_C1R(size, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriFilterScharrVertBorder_8u16s_C1R(gray.data(), gray.step(), gx.data(), gx.step(), size,
                                                      qorBorderRepl, 0, buffer.data()));
  TOUR_CALL(out, qoriFilterScharrHorizGetBufferSize_8u16s_C1R(size, &bytes));
  buffer.resize(static_cast<size_t>(bytes));
  TOUR_CALL(out, qoriFilterScharrHorizBorder_8u16s_C1R(gray.data(), gray.step(), gy.data(), gy.step(), size,
                                                       qorBorderRepl, 0, buffer.data()));
  constexpr int strong = 1000;
  const auto strength = [&](int x, int y) { return std::abs(*gx.at(x, y)) + std::abs(*gy.at(x, y)); };
  Picture edges(gray.width(), gray.height());
  for (int y = 1; y + 1 < gray.height(); ++y) {
    for (int x = 1; x + 1 < gray.width(); ++x) {
      const int dx = std::abs(*gx.at(x, y)) >= std::abs(*gy.at(x, y)) ? 1 : 0, dy = 1 - dx, here = strength(x, y);
      const bool isEdge = here > strong && here > strength(x - dx, y - dy) && here >= strength(x + dx, y + dy);
      *edges.at(x, y) = isEdge ? 255 : 0;
    }
  }
  return edges;
}

// The strongest lines; of all directions, or of those that are upright but for ten degrees.
std::vector<QoriPoint_32f> findLines(const Picture& edges, int threshold, int most, bool upright, Output& out) {
  const QoriSize size = edges.size();
  int bytes = 0, count = 0;
  TOUR_CALL(out, qoriHoughLineGetSize_8u_C1R(size, delta, most, &bytes));
  std::vector<Qor8u> buffer(static_cast<size_t>(bytes));
  std::vector<QoriPoint_32f> lines(static_cast<size_t>(most));
  if (upright) {
    QoriPoint_32f bounds[] = {{0, 0}, {static_cast<float>(size.width), 10 * delta.y}};
    TOUR_CALL_BEST(out, qoriHoughLine_Region_8u32f_C1R(edges.data(), edges.step(), size, lines.data(), bounds, most,
                                                       &count, delta, threshold, buffer.data()));
  } else {
    TOUR_CALL_BEST(out, qoriHoughLine_8u32f_C1R(edges.data(), edges.step(), size, delta, threshold, lines.data(), most,
                                                &count, buffer.data()));
  }
  lines.resize(static_cast<size_t>(count));
  return lines;
}

void drawLines(Picture& picture, const std::vector<QoriPoint_32f>& lines, bool upright) {
  const auto reach = static_cast<float>(picture.width() + picture.height());
  for (size_t i = lines.size(); i-- > 0;) {
    const float c = std::cos(lines[i].y), s = std::sin(lines[i].y), x = lines[i].x * c, y = lines[i].x * s;
    const auto rank = static_cast<float>(i) / static_cast<float>(lines.size());
    drawLine(picture, x + reach * s, y - reach * c, x - reach * s, y + reach * c,
             hue(upright ? 190 : 45, 0.8F, 1 - 0.6F * rank), 1.5F);
  }
}

struct Segment {
  Qor32s x0, y0, x1, y1;
};

std::vector<Segment> findSegments(const Picture& edges, int threshold, int length, int gap, Output& out) {
  constexpr int most = 1000;
  int specBytes = 0, bytes = 0, count = 0;
  TOUR_CALL(out, qoriHoughProbLineGetSize_8u_C1R(edges.size(), delta, &specBytes, &bytes));
  std::vector<Qor8u> record(static_cast<size_t>(specBytes)), buffer(static_cast<size_t>(bytes));
  auto* const spec = reinterpret_cast<QoriHoughProbSpec*>(record.data());
  TOUR_CALL(out, qoriHoughProbLineInit_8u32f_C1R(edges.size(), delta, qorHintNone, spec));
  std::vector<Segment> segments(most);
  TOUR_CALL_BEST(out, qoriHoughProbLine_8u32f_C1R(edges.data(), edges.step(), edges.size(), threshold, length, gap,
                                                  &segments[0].x0, most, &count, buffer.data(), spec));
  segments.resize(static_cast<size_t>(count));
  return segments;
}

// Theta from left to right, rho from top to bottom, with the lines that were found.
Picture showVotes(const Picture& edges, const std::vector<QoriPoint_32f>& lines) {
  constexpr int turn = 180, wide = 4, height = 480;
  const auto most = static_cast<float>(std::hypot(edges.width(), edges.height()));
  const auto rowOf = [=](float rho) { return (rho / most + 1) * (height - 1) / 2; };
  FloatImage votes(turn * wide, height);
  float highest = 1;
  for (int y = 0; y < edges.height(); ++y) {
    for (int x = 0; x < edges.width(); ++x) {
      for (int t = 0; *edges.at(x, y) != 0 && t < turn * wide; ++t) {
        const float theta = static_cast<float>(t) * delta.y / wide;
        const float rho = static_cast<float>(x) * std::cos(theta) + static_cast<float>(y) * std::sin(theta);
        float& cell = *votes.at(t, static_cast<int>(std::lround(rowOf(rho))));
        highest = std::max(highest, ++cell);
      }
    }
  }
  Picture picture = mapColors(votes, 0, 0.7F * highest, heat);
  for (const QoriPoint_32f& l : lines) drawCircle(picture, l.y / delta.y * wide, rowOf(l.x), 6, cyan, 1);
  return picture;
}

Picture darkened(const Picture& picture) {
  Picture dark = picture;
  for (int y = 0; y < dark.height(); ++y)
    for (int i = 0; i < 3 * dark.width(); ++i) dark.row(y)[i] /= 2;
  return dark;
}

}  // namespace

void houghLines(const Input& in, Output& out) {
  out.text(
      "Every point of an edge votes for all lines through it, each told by its direction and its distance from the "
      "corner of the picture. Where many votes meet there is a line: the standard transform lists these peaks, the "
      "strongest first. The probabilistic transform draws points at random and, as soon as a line has votes enough, "
      "walks along it through the picture; so it finds where lines begin and end, and sees less of the points that "
      "belong to none.");
  const Picture edges = thinEdges(in.grays[0], out);
  const int side = std::min(edges.width(), edges.height());
  out.figure("The points: edges one pixel wide", edges);

  const auto lines = findLines(edges, side / 5 + 1, 16, false, out),
             uprights = findLines(edges, side / 10 + 1, 16, true, out);
  Picture crossed = darkened(in.frames[0]);
  drawLines(crossed, lines, false);
  drawLines(crossed, uprights, true);
  out.figure("The " + std::to_string(lines.size()) + " lines with the most votes, and in blue " +
                 std::to_string(uprights.size()) + " of a search bounded to upright ones; stronger is brighter",
             crossed);
  auto all = lines;
  all.insert(all.end(), uprights.begin(), uprights.end());
  out.figure("The votes: directions from left to right, distances from top to bottom; the lines circled",
             showVotes(edges, all));

  const auto segments = findSegments(edges, side / 32 + 4, side / 32, 4, out);
  Picture found = darkened(in.frames[0]);
  for (const Segment& s : segments) {
    const auto x0 = static_cast<float>(s.x0), y0 = static_cast<float>(s.y0), x1 = static_cast<float>(s.x1),
               y1 = static_cast<float>(s.y1);
    drawLine(found, x0, y0, x1, y1, yellow, 1.5F);
    fillCircle(found, x0, y0, 2, cyan);
    fillCircle(found, x1, y1, 2, cyan);
  }
  out.figure(std::to_string(segments.size()) + " segments with their ends", found);
}

}  // namespace tour
