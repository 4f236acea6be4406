// The program as a user runs it: what it writes is looked at.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "picture.h"
#include "scene.h"
#include "tour.h"

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

  // The exit status; what the program said of an error is in err_.
  int run(const std::string& arguments) {
    const fs::path err = folder_ / "stderr";
    const int status = std::system((QORCV_TOUR_PROGRAM " " + arguments + " >/dev/null 2>" + err.string()).c_str());
    err_ = contents(err);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // All files are there, and no picture is of one colour.
  void expectTour(const fs::path& folder) {
    const std::string page = contents(folder / "index.html");
    EXPECT_NE(page.find("</html>"), std::string::npos);
    EXPECT_EQ(page.find("://"), std::string::npos) << "the page refers to something outside";
    EXPECT_EQ(page.find("This section failed"), std::string::npos);
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().extension() != ".png") continue;
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
  }

  fs::path folder_;
  std::string err_;
};

TEST_F(Program, ShowsTheScene) {
  const fs::path result = folder_ / "a" / "b";
  ASSERT_EQ(run("--max-side 200 --threads 2 --out " + result.string()), 0) << err_;
  expectTour(result);
}

// A shape at the limits that the tour sets itself, which every section has to bear; then the same file damaged.
TEST_F(Program, ShowsANarrowPictureAndRefusesADamagedOne) {
  Picture picture(129, 17, 3);
  for (int y = 0; y < picture.height(); ++y)
    for (int i = 0; i < 3 * picture.width(); ++i)
      picture.row(y)[i] = static_cast<Qor8u>(i * 7 + y * 13 + (i / 9 & y / 5) * 40);
  const fs::path file = folder_ / "picture", result = folder_ / "out";
  tour::writePng(file, picture);
  ASSERT_EQ(run("-m 256 -o " + result.string() + " " + file.string()), 0) << err_;
  expectTour(result);
  fs::remove_all(result);
  fs::resize_file(file, fs::file_size(file) / 2);
  EXPECT_EQ(run("-o " + result.string() + " " + file.string()), 1);
  EXPECT_NE(err_.find("tour: " + file.string() + ": "), std::string::npos) << err_;
  EXPECT_FALSE(fs::exists(result));
}

// The pixels of the scene must not hang on the compiler or its level of optimisation: the checksum holds everywhere.
TEST(Scene, IsTheSameEverywhere) {
  const Picture frame = tour::Scene().frame(3);
  uint64_t sum = 14695981039346656037U;
  for (int y = 0; y < frame.height(); ++y)
    for (int i = 0; i < 3 * frame.width(); ++i) sum = (sum ^ frame.row(y)[i]) * 1099511628211U;
  EXPECT_EQ(sum, 17312453322338454617U);
}

}  // namespace
