// qorcv-tour: runs the sections on a picture and writes what they show.
#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames.h"
#include "page.h"
#include "picture.h"
#include "qorcore.h"

namespace {

constexpr int exitFailure = 1, exitUsage = 2;
constexpr int smallestSide = 16, longestShape = 8;

constexpr const char* usage =
    "Usage: qorcv-tour [OPTION]... [PICTURE]\n"
    "Runs the library's operations on a picture and writes what comes out: PNG files, a\n"
    "contact sheet and one page, index.html, that shows everything with captions, calls\n"
    "and times. PICTURE is a PNG or JPEG file; without one, the tour renders a scene.\n"
    "\n"
    "  -o, --out DIR       write to DIR, made when missing (default: tour-output)\n"
    "  -t, --threads N     let the library use N threads (default: one per processor)\n"
    "  -m, --max-side N    shrink the picture until its longer side is at most N pixels,\n"
    "                      128 to 8192 (default: 960)\n"
    "  -s, --only SECTION  run this section; may be given more than once\n"
    "  -l, --list          list the sections and stop\n"
    "  -h, --help          show this text and stop\n"
    "\n"
    "The exit status is 0 when all went well, 1 when the picture cannot be read, a\n"
    "section fails or a file cannot be written, 2 for a wrong command line.\n";

struct Options {
  std::string picture;
  std::string out = "tour-output";
  int threads = 0;
  int maxSide = 960;
  std::vector<const tour::Section*> sections;
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

int parseNumber(const char* option, const char* text, int low, int high) {
  char* end = nullptr;
  errno = 0;
  const long value = strtol(text, &end, 10);
  if (end == text || *end != '\0' || errno != 0 || value < low || value > high) {
    throw UsageError(std::string(option) + ": '" + text + "' is not a number from " + std::to_string(low) + " to " +
                     std::to_string(high));
  }
  return static_cast<int>(value);
}

const tour::Section* findSection(const char* name) {
  for (const tour::Section& section : tour::allSections()) {
    if (strcmp(section.name, name) == 0) return &section;
  }
  throw UsageError(std::string("--only: there is no section '") + name + "'; --list shows them");
}

// False when the command line only asked for information, which is then printed.
bool parse(int argc, char** argv, Options& options) {
  static const option longOptions[] = {{"out", required_argument, nullptr, 'o'},
                                       {"threads", required_argument, nullptr, 't'},
                                       {"max-side", required_argument, nullptr, 'm'},
                                       {"only", required_argument, nullptr, 's'},
                                       {"list", no_argument, nullptr, 'l'},
                                       {"help", no_argument, nullptr, 'h'},
                                       {nullptr, 0, nullptr, 0}};
  for (int c = 0; (c = getopt_long(argc, argv, "o:t:m:s:lh", longOptions, nullptr)) != -1;) {
    switch (c) {
      case 'o':
        options.out = optarg;
        break;
      case 't':
        options.threads = parseNumber("--threads", optarg, 1, 1024);
        break;
      case 'm':
        options.maxSide = parseNumber("--max-side", optarg, smallestSide * longestShape, 8192);
        break;
      case 's':
        options.sections.push_back(findSection(optarg));
        break;
      case 'l':
        for (const tour::Section& section : tour::allSections()) printf("%-16s %s\n", section.name, section.title);
        return false;
      case 'h':
        fputs(usage, stdout);
        return false;
      default:
        throw UsageError("");
    }
  }
  if (argc - optind > 1) throw UsageError("more than one picture");
  if (optind < argc) options.picture = argv[optind];
  if (options.sections.empty()) {
    for (const tour::Section& section : tour::allSections()) options.sections.push_back(&section);
  }
  return true;
}

tour::Input prepareInput(const Options& options) {
  if (options.picture.empty()) return tour::inputFromScene(options.maxSide);
  const tour::Picture picture = tour::readPicture(options.picture);
  const int shorter = std::min(picture.width(), picture.height()), longer = std::max(picture.width(), picture.height());
  const std::string size = std::to_string(picture.width()) + " x " + std::to_string(picture.height()) + " pixels";
  if (shorter < smallestSide) {
    throw tour::FileError(options.picture,
                          size + ", too small: the tour needs " + std::to_string(smallestSide) + " each way");
  }
  if (longer / longestShape > shorter) {
    throw tour::FileError(options.picture,
                          size + ", too narrow: the tour takes shapes up to 1 : " + std::to_string(longestShape));
  }
  const std::string name = std::filesystem::path(options.picture).filename().string();
  return tour::inputFromPicture(name, tour::shrink(picture, tour::fit(picture.size(), options.maxSide)));
}

// The first parallel call starts the threads; let no section's time show that.
void startThreads() {
  constexpr int side = 1024;
  tour::Picture a(side, side);
  qoriAbsDiff_8u_C1R(a.data(), a.step(), a.data(), a.step(), a.data(), a.step(), a.size());
}

tour::Result runSection(const tour::Section& section, const tour::Input& in) {
  using Clock = std::chrono::steady_clock;
  tour::Result result;
  result.section = &section;
  const Clock::time_point start = Clock::now();
  try {
    section.run(in, result.output);
  } catch (const std::exception& e) {
    result.error = e.what();
  }
  result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  return result;
}

// A section's pictures as NAME-1.png, NAME-2.png and on.
void writeFigures(const std::string& folder, tour::Result& result) {
  int n = 0;
  for (tour::Figure& figure : result.output.figures) {
    figure.png = tour::encodePng(figure.picture);
    const std::string name = std::string(result.section->name) + "-" + std::to_string(++n) + ".png";
    tour::writeFile(folder + "/" + name, figure.png.data(), figure.png.size());
  }
}

int runTour(const Options& options) {
  if (options.threads > 0) qorSetNumThreads(options.threads);
  int threads = 1;
  qorGetNumThreads(&threads);
  fprintf(stderr, "%s\n",
          options.picture.empty() ? "Rendering the scene ..." : ("Reading " + options.picture + " ...").c_str());
  const tour::Input in = prepareInput(options);
  std::error_code error;
  std::filesystem::create_directories(options.out, error);
  if (error) throw tour::FileError(options.out, error.message());
  startThreads();

  std::vector<tour::Result> results;
  bool failed = false;
  for (const tour::Section* section : options.sections) {
    fprintf(stderr, "[%zu/%zu] %s ...", results.size() + 1, options.sections.size(), section->title);
    fflush(stderr);
    results.push_back(runSection(*section, in));
    tour::Result& result = results.back();
    if (result.error.empty()) {
      fprintf(stderr, " %.0f ms\n", result.milliseconds);
    } else {
      fprintf(stderr, " failed: %s\n", result.error.c_str());
      failed = true;
    }
    writeFigures(options.out, result);
  }
  fprintf(stderr, "Writing the page ...\n");
  tour::writePng(options.out + "/contact-sheet.png", tour::makeContactSheet(results));
  const std::string html = tour::makePage(in, threads, results), page = options.out + "/index.html";
  tour::writeFile(page, html.data(), html.size());
  fprintf(stderr, "Done. Open this page in a browser:\n");
  printf("%s\n", std::filesystem::absolute(page).lexically_normal().c_str());
  return failed ? exitFailure : EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Options options;
    return parse(argc, argv, options) ? runTour(options) : EXIT_SUCCESS;
  } catch (const UsageError& e) {
    if (*e.what() != '\0') fprintf(stderr, "tour: %s\n", e.what());
    fprintf(stderr, "Try 'qorcv-tour --help'.\n");
    return exitUsage;
  } catch (const std::bad_alloc&) {
    fprintf(stderr, "tour: out of memory\n");
  } catch (const std::exception& e) {
    fprintf(stderr, "tour: %s\n", e.what());
  }
  return exitFailure;
}
