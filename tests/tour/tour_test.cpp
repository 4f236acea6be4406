// The program as a user runs it, and the built-in scene.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "frames.h"
#include "picture.h"
#include "scene.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using tour::Picture;

std::string contents(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

class Program : public testing::Test {
 protected:
  Program() {
    std::string pattern = (fs::temp_directory_path() / "qorcv-tour-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Program() override { fs::remove_all(folder_); }

  // The exit status; -1 when the program died of a signal. What it printed is in out_ and err_.
  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), QORCV_TOUR_PROGRAM);
    std::vector<char*> argv;
    for (std::string& a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    const std::string out = folder_ / "stdout", err = folder_ / "stderr";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = 0;
    const int failed = posix_spawn(&child, QORCV_TOUR_PROGRAM, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return -1;
    int status = 0;
    waitpid(child, &status, 0);
    out_ = contents(out);
    err_ = contents(err);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // All files are there, and no picture is of one colour.
  void expectTour(const fs::path& folder) {
    const std::string page = contents(folder / "index.html");
    EXPECT_NE(page.find("</html>"), std::string::npos);
    EXPECT_EQ(page.find("http"), std::string::npos) << "the page refers to something outside";
    EXPECT_EQ(page.find("This section failed"), std::string::npos);
    size_t pictures = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().extension() != ".png") continue;
      ++pictures;
      const Picture picture = tour::readPicture(entry.path());
      std::set<int> colors;
      for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
          const Qor8u* p = picture.at(x, y);
          colors.insert(p[0] << 16 | p[1] << 8 | p[2]);
        }
      }
      EXPECT_GT(colors.size(), 1U) << entry.path();
    }
    EXPECT_TRUE(fs::exists(folder / "contact-sheet.png"));
    for (const tour::Section& section : tour::allSections()) {
      EXPECT_TRUE(fs::exists(folder / (std::string(section.name) + "-1.png"))) << section.name;
      EXPECT_STRNE(section.source, "") << section.name << ": no source file of that name";
    }
    EXPECT_GT(pictures, tour::allSections().size());
  }

  fs::path folder_;
  std::string out_, err_;
};

TEST_F(Program, ShowsTheSceneAtASmallSize) {
  const fs::path result = folder_ / "a" / "b";
  ASSERT_EQ(run({"--out", result, "--max-side", "200", "--threads", "2"}), 0) << err_;
  EXPECT_EQ(out_, (result / "index.html").string() + "\n");
  expectTour(result);
}

// Shapes and sizes at the limits that the tour sets itself; every section has to bear them.
TEST_F(Program, ShowsPicturesOfAnyShape) {
  const std::pair<int, int> sizes[] = {{16, 16}, {16, 128}, {129, 17}, {333, 250}};
  for (const auto& [width, height] : sizes) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    Picture picture(width, height, 3);
    for (int y = 0; y < height; ++y) {
      for (int i = 0; i < 3 * width; ++i) picture.row(y)[i] = static_cast<Qor8u>(i * 7 + y * 13 + (i / 9 & y / 5) * 40);
    }
    const fs::path file = folder_ / "picture", result = folder_ / "out";
    tour::writePng(file, picture);
    ASSERT_EQ(run({"-o", result, "-m", "256", file}), 0) << err_;
    expectTour(result);
    fs::remove_all(result);
  }
}

TEST_F(Program, NamesTheFileThatItCannotUse) {
  const fs::path result = folder_ / "out";
  const auto refuse = [&](const fs::path& file, const std::string& reason) {
    EXPECT_EQ(run({"--out", result, file}), 1);
    EXPECT_NE(err_.find("tour: " + file.string() + ": " + reason), std::string::npos) << err_;
    EXPECT_EQ(out_, "");
    EXPECT_FALSE(fs::exists(result));
  };
  refuse(folder_ / "missing.jpg", "No such file");
  refuse(folder_, "Is a directory");
  const fs::path tiny = folder_ / "tiny.png", narrow = folder_ / "narrow.png";
  tour::writePng(tiny, Picture(3, 200));
  refuse(tiny, "3 x 200 pixels, too small");
  tour::writePng(narrow, Picture(20, 400));
  refuse(narrow, "20 x 400 pixels, too narrow");
  // A folder that cannot be made, because a file is in its place.
  EXPECT_EQ(run({"--out", tiny / "out", "--max-side", "128"}), 1);
  EXPECT_NE(err_.find("tour: " + (tiny / "out").string() + ": "), std::string::npos) << err_;
}

TEST_F(Program, ExplainsAWrongCommandLine) {
  const std::vector<std::vector<std::string>> wrong = {{"--threads", "0"},
                                                       {"--threads", "two"},
                                                       {"--max-side", "1"},
                                                       {"--only", "nothing"},
                                                       {"--no-such-option"},
                                                       {"a.png", "b.png"},
                                                       {"--max-side", "99999999999999"}};
  for (const auto& arguments : wrong) {
    EXPECT_EQ(run(arguments), 2) << arguments[0];
    EXPECT_NE(err_.find("--help"), std::string::npos) << err_;
  }
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_NE(out_.find("Usage:"), std::string::npos);
  EXPECT_EQ(run({"--list"}), 0);
  for (const tour::Section& section : tour::allSections()) EXPECT_NE(out_.find(section.name), std::string::npos);
}

TEST_F(Program, RunsOnlyTheSectionsAskedFor) {
  const fs::path result = folder_ / "out";
  ASSERT_EQ(run({"--out", result, "--max-side", "128", "--only", "fast-arctan"}), 0) << err_;
  EXPECT_TRUE(fs::exists(result / "fast-arctan-1.png"));
  EXPECT_FALSE(fs::exists(result / "abs-diff-1.png"));
}

TEST(Call, NotesTextCountAndTimeAndStopsAtAnError) {
  tour::Output out;
  Picture a(32, 8), b(32, 8), difference(32, 8);
  *a.at(31, 7) = 9;
  for (int i = 0; i < 3; ++i) {
    TOUR_CALL(out, qoriAbsDiff_8u_C1R(a.data(), a.step(), b.data(), b.step(), difference.data(), difference.step(),
                                      difference.size()));
  }
  EXPECT_EQ(*difference.at(31, 7), 9);
  ASSERT_EQ(out.calls.size(), 1U);
  EXPECT_EQ(out.calls[0].count, 3);
  EXPECT_GT(out.calls[0].milliseconds, 0);
  EXPECT_EQ(out.calls[0].code.find("qoriAbsDiff_8u_C1R(a.data(), "), 0U);
  try {
    TOUR_CALL_BEST(out, qoriAbsDiffC_8u_C1R(a.data(), 31, b.data(), b.step(), b.size(), 7));
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "qoriAbsDiffC_8u_C1R returned status -14");
  }
}

TEST(Draw, StaysInsideThePicture) {
  const float wild[] = {-1e30F, -1000, -3.5F, 0, 7.25F, 40, 1000, 1e30F, INFINITY, NAN};
  Picture picture(40, 21, 3);
  const int padding = picture.step() - 3 * picture.width();
  ASSERT_GT(padding, 0);
  for (const float x : wild) {
    for (const float y : wild) {
      tour::drawArrow(picture, x, y, y, x, tour::red);
      tour::drawCircle(picture, x, y, 9, tour::green);
      tour::fillCircle(picture, x, y, 5, tour::cyan);
      tour::drawCross(picture, x, y, 6, tour::yellow);
    }
  }
  for (const int at : {-1'000'000'000, -30, -1, 0, 19, 39, 41, 1'000'000'000}) {
    tour::drawRect(picture, {at, at / 2, 12, 9}, tour::white, 3);
    tour::fillRect(picture, {-5, at, 1'000'000'000, 2}, tour::black);
    tour::drawLabel(picture, at, 18, "Label \xff");
  }
  for (int y = 0; y < picture.height(); ++y) {
    for (int i = 3 * picture.width(); i < picture.step(); ++i) ASSERT_EQ(picture.row(y)[i], 0) << "row " << y;
  }
}

TEST(Draw, PutsMarksWhereTheyBelong) {
  Picture picture(41, 41, 3);
  tour::drawCircle(picture, 20, 20, 15, {255, 255, 255}, 2);
  tour::drawLine(picture, 0, 20, 8, 20, {255, 0, 0}, 1);
  EXPECT_EQ(picture.at(35, 20)[1], 255);
  EXPECT_EQ(picture.at(20, 5)[1], 255);
  EXPECT_EQ(picture.at(20, 20)[1], 0);
  EXPECT_EQ(picture.at(31, 31)[1] > 128, true) << "the circle's diagonal";
  EXPECT_EQ(picture.at(3, 20)[0], 255);
  EXPECT_EQ(picture.at(3, 22)[0], 0);
  // An exclamation mark: the stroke and the dot of the middle column, twice as large.
  Picture text(20, 20, 3);
  tour::drawText(text, 0, 0, "!", tour::white, 2);
  std::string column;
  for (int y = 0; y < 16; y += 2) column += text.at(4, y)[0] != 0 ? '#' : '.';
  EXPECT_EQ(column, "#####.#.");
}

// The share of pixels whose gray differs by more than 20 levels.
double changed(const Picture& a, const Picture& b) {
  int count = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) count += std::abs(*a.at(x, y) - *b.at(x, y)) > 20 ? 1 : 0;
  }
  return static_cast<double>(count) / (static_cast<double>(a.width()) * a.height());
}

void expectMotion(const tour::Input& in) {
  ASSERT_EQ(in.frames.size(), 8U);
  ASSERT_EQ(in.grays.size(), 8U);
  for (size_t i = 1; i < in.grays.size(); ++i) {
    const double share = changed(in.grays[i - 1], in.grays[i]);
    EXPECT_GT(share, 0.001) << "frame " << i << " does not move";
    EXPECT_LT(share, 0.2) << "frame " << i << " is another picture";
  }
  EXPECT_GT(changed(in.grays[0], in.turnedGray), 0.02);
}

TEST(Frames, ThingsMoveBeforeAStandingCamera) {
  const tour::Input scene = tour::inputFromScene(480);
  expectMotion(scene);
  expectMotion(tour::inputFromPicture("picture", scene.frames[0]));
}

// The pixels of the scene must not hang on the compiler or its level of optimisation: the checksum holds everywhere.
TEST(Scene, IsTheSameEverywhere) {
  const Picture frame = tour::Scene().frame(3);
  uint64_t sum = 14695981039346656037U;
  for (int y = 0; y < frame.height(); ++y) {
    for (int i = 0; i < 3 * frame.width(); ++i) sum = (sum ^ frame.row(y)[i]) * 1099511628211U;
  }
  EXPECT_EQ(sum, 17312453322338454617U);
}

}  // namespace
