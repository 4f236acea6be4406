#include "page.h"

#include <algorithm>
#include <cstdio>

#include "picture.h"

namespace tour {
namespace {

constexpr const char* style = R"css(
:root { color-scheme: light dark; --paper: #fbfaf8; --ink: #22242a; --soft: #666a73; --line: #dedbd4; --card: #ffffff;
  --accent: #0b6e8a; --bad: #b3261e; --code: #f1efea; }
@media (prefers-color-scheme: dark) { :root { --paper: #15171b; --ink: #e4e3df; --soft: #9b9fa8; --line: #30343b;
  --card: #1d2025; --accent: #6cc5de; --bad: #ff8a80; --code: #24282e; } }
* { box-sizing: border-box; }
html { scroll-behavior: smooth; scroll-padding-top: 1rem; }
body { margin: 0; background: var(--paper); color: var(--ink); font: 17px/1.6 system-ui, "Segoe UI", Roboto,
  "DejaVu Sans", sans-serif; }
main, header, footer { max-width: 76rem; margin: 0 auto; padding: 0 1.5rem; }
header { padding-top: 3.5rem; }
h1 { font-size: 2.4rem; line-height: 1.15; margin: 0 0 .6rem; letter-spacing: -.02em; }
h2 { font-size: 1.5rem; line-height: 1.25; margin: 0 0 .5rem; letter-spacing: -.01em; }
h2 a { color: inherit; text-decoration: none; }
p { max-width: 44rem; margin: .4rem 0 1rem; }
a { color: var(--accent); }
.facts { color: var(--soft); font-size: .94rem; }
nav { display: flex; flex-wrap: wrap; gap: .5rem; margin: 1.4rem 0 0; }
nav a { border: 1px solid var(--line); border-radius: 99px; padding: .15rem .85rem; font-size: .92rem;
  text-decoration: none; background: var(--card); }
nav a:hover { border-color: var(--accent); }
section { border-top: 1px solid var(--line); margin-top: 2.8rem; padding-top: 2.2rem; }
.figures { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(21rem, 100%), 1fr)); gap: 1.3rem;
  margin: 1.2rem 0; align-items: start; }
figure { margin: 0; background: var(--card); border: 1px solid var(--line); border-radius: 10px; overflow: hidden; }
figure img { max-height: 24rem; }
figure.large { grid-column: 1 / -1; }
figure.large img { max-height: 94vh; }
figure button { all: unset; display: block; width: 100%; cursor: zoom-in; }
figure button:focus-visible { outline: 3px solid var(--accent); outline-offset: -3px; }
figure.large button { cursor: zoom-out; }
img { display: block; width: 100%; height: auto; object-fit: contain; background: var(--code); }
figcaption { padding: .6rem .9rem .75rem; font-size: .92rem; line-height: 1.45; color: var(--soft); }
.calls { overflow-x: auto; }
table { border-collapse: collapse; font-size: .88rem; width: 100%; }
th { text-align: left; font-weight: 600; color: var(--soft); }
th, td { padding: .4rem 1.2rem .4rem 0; border-bottom: 1px solid var(--line); vertical-align: baseline; }
td:nth-child(n+2), th:nth-child(n+2) { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
code, pre { font-family: ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; font-size: .92em; }
td code { overflow-wrap: anywhere; }
pre { background: var(--code); border-radius: 10px; padding: 1rem 1.2rem; overflow-x: auto; font-size: .8rem;
  line-height: 1.5; }
summary { cursor: pointer; margin-top: 1rem; color: var(--accent); }
.error { color: var(--bad); font-weight: 600; }
footer { color: var(--soft); font-size: .9rem; margin-top: 3rem; padding-bottom: 3rem; }
)css";

constexpr const char* script = R"js(
for (const b of document.querySelectorAll('figure button'))
  b.addEventListener('click', () => b.parentElement.classList.toggle('large'));
)js";

std::string escape(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string base64(const std::vector<Qor8u>& bytes) {
  static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    const unsigned b = bytes[i] << 16 | (left > 1 ? bytes[i + 1] << 8 : 0) | (left > 2 ? bytes[i + 2] : 0);
    out += digits[b >> 18];
    out += digits[b >> 12 & 63];
    out += left > 1 ? digits[b >> 6 & 63] : '=';
    out += left > 2 ? digits[b & 63] : '=';
  }
  return out;
}

// The page takes figures as PNG while they are small, else as fine JPEG: noise makes a PNG many times larger.
std::string dataUrl(const Figure& figure) {
  constexpr size_t small = 200'000;
  if (figure.png.size() > small) {
    const std::vector<Qor8u> jpeg = encodeJpeg(figure.picture, 90);
    if (jpeg.size() < figure.png.size()) return "data:image/jpeg;base64," + base64(jpeg);
  }
  return "data:image/png;base64," + base64(figure.png);
}

std::string number(double value, const char* format) {
  char text[64];
  snprintf(text, sizeof text, format, value);
  return text;
}

std::string figureHtml(const Figure& figure) {
  const std::string caption = escape(figure.caption);
  const Picture& p = figure.picture;
  return "<figure><button type=\"button\" aria-label=\"Enlarge\"><img width=\"" + std::to_string(p.width()) +
         "\" height=\"" + std::to_string(p.height()) + "\" alt=\"" + caption + "\" src=\"" + dataUrl(figure) +
         "\"></button><figcaption>" + caption + "</figcaption></figure>\n";
}

std::string callsHtml(const std::vector<Call>& calls) {
  if (calls.empty()) return {};
  std::string out = "<div class=\"calls\"><table><tr><th>Call</th><th>Times</th><th>Milliseconds</th></tr>\n";
  for (const Call& call : calls) {
    out += "<tr><td><code>" + escape(call.code) + "</code></td><td>" + std::to_string(call.count) + "</td><td>" +
           number(call.milliseconds, "%.3f") + "</td></tr>\n";
  }
  return out + "</table></div>\n";
}

std::string sectionHtml(const Result& result) {
  const Section& section = *result.section;
  const std::string name = section.name;
  std::string out =
      "<section id=\"" + name + "\"><h2><a href=\"#" + name + "\">" + escape(section.title) + "</a></h2>\n";
  for (const std::string& paragraph : result.output.paragraphs) out += "<p>" + escape(paragraph) + "</p>\n";
  if (!result.error.empty()) out += "<p class=\"error\">This section failed: " + escape(result.error) + "</p>\n";
  out += "<div class=\"figures\">\n";
  for (const Figure& figure : result.output.figures) out += figureHtml(figure);
  out += "</div>\n" + callsHtml(result.output.calls);
  if (section.source[0] != '\0') {
    out += "<details><summary>The whole source of this section</summary><pre>" + escape(section.source) +
           "</pre></details>\n";
  }
  return out + "</section>\n";
}

}  // namespace

std::string makePage(const Input& in, int threads, const std::vector<Result>& results) {
  const QorLibraryVersion& version = *qorcvGetLibVersion();
  const QoriSize size = in.frames[0].size();
  const std::string facts = "Library " + std::string(version.version) + " (" + version.name + "), " +
                            std::to_string(threads) + (threads == 1 ? " thread" : " threads") +
                            ". Picture: " + in.name + ", " + std::to_string(size.width) + " × " +
                            std::to_string(size.height) + " pixels. " + in.motion;
  std::string out =
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<title>qorCV tour: " +
      escape(in.name) + "</title>\n<style>" + style + "</style></head>\n<body><header><h1>A tour of qorCV</h1>\n" +
      "<p>Computer-vision primitives on buffers that you own. Every picture below was made by the calls that stand "
      "under it. The times are from this run: one call (its best, where it was repeated), or the sum over all where a "
      "section calls many times. Click "
      "a picture to enlarge it.</p>\n<p class=\"facts\">" +
      escape(facts) + "</p>\n<nav>";
  for (const Result& result : results) {
    out += "<a href=\"#" + std::string(result.section->name) + "\">" + escape(result.section->title) + "</a>";
  }
  out += "</nav></header>\n<main>\n";
  for (const Result& result : results) out += sectionHtml(result);
  return out +
         "</main>\n<footer>Pictures of full quality lie beside this page as PNG files; the page itself needs none "
         "of them.</footer>\n<script>" +
         script + "</script></body></html>\n";
}

Picture makeContactSheet(const std::vector<Result>& results) {
  constexpr int columns = 4, cellWidth = 300, cellHeight = 200, gap = 16, heading = 40;
  const Color paper{250, 249, 246}, ink{34, 36, 42};
  int height = gap;
  for (const Result& result : results) {
    const int count = static_cast<int>(result.output.figures.size());
    height += heading + (count + columns - 1) / columns * (cellHeight + gap);
  }
  Picture sheet(gap + columns * (cellWidth + gap), height, 3);
  fillRect(sheet, {0, 0, sheet.width(), sheet.height()}, paper);
  int y = gap;
  for (const Result& result : results) {
    const std::string title = result.section->title;
    drawText(sheet, gap, y + 8, result.error.empty() ? title : title + " (failed)", result.error.empty() ? ink : red,
             2);
    y += heading;
    int column = 0;
    for (const Figure& figure : result.output.figures) {
      if (column == columns) column = 0, y += cellHeight + gap;
      QoriSize size = fit(figure.picture.size(), cellWidth);
      if (size.height > cellHeight) size = fit(size, cellHeight);
      const Picture thumbnail = toColor(shrink(figure.picture, size));
      const int left = gap + column * (cellWidth + gap) + (cellWidth - size.width) / 2;
      for (int row = 0; row < size.height; ++row) {
        std::copy_n(thumbnail.row(row), 3 * size.width, sheet.at(left, y + (cellHeight - size.height) / 2 + row));
      }
      ++column;
    }
    if (column > 0) y += cellHeight + gap;
  }
  return sheet;
}

}  // namespace tour
