// A project saved by one run of the program, opened by the next from its command line and
// loaded again by a command.
#include "app_fixture.h"

namespace apptest {

TEST_F(VelaRun, ProjectsSaveAndLoadThroughCommandsAndTheCommandLine) {
  const std::string project = (dir_ / "my film.vel").string();
  Write("save.vcmd",
        "qd_fastline 0 5 119 5 255 0 0 255\n"
        "qd_layercreate Sky\n"
        "qd_fastline 0 9 119 9 0 0 255 255\n"
        "qd_saveproject \"" +
            project +
            "\"\n"
            "qd_getprojectname\n"
            "[qd_saveproject]\n"
            "qd_saveproject " +
            (dir_ / "no" / "dir.vel").string() +
            "\n"
            "qd_loadproject " +
            (dir_ / "missing.vel").string() + "\n");
  ASSERT_EQ(Run("PageWidth=120 PageHeight=80 --script save.vcmd"), 0) << Err();
  const std::string out = Out();
  ASSERT_NE(out.find('\n', 1), std::string::npos);
  EXPECT_EQ(out.substr(out.find('\n', 1)),
            "\n\n\n" + project + "\n[ERROR -1]\nERROR -1\nERROR -1\n")
      << "the layer's id stands first";
  ASSERT_TRUE(fs::exists(project));

  // Another page size in the configuration: the project brings its own, and both layers.
  Write("open.vcmd", "qd_getwidth\nqd_getheight\nqd_getprojectname\nqd_layergetid 1\n");
  ASSERT_EQ(
      Run("PageWidth=64 PageHeight=48 --script open.vcmd --save-page p.png '" + project + "'"), 0)
      << Err();
  std::istringstream lines(Out());
  std::string w, h, name, second;
  std::getline(lines, w), std::getline(lines, h), std::getline(lines, name),
      std::getline(lines, second);
  EXPECT_EQ(w + " " + h, "120 80");
  EXPECT_EQ(name, project);
  EXPECT_NE(second, "none");
  Png page;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &page));
  ASSERT_EQ(page.width, 120);
  EXPECT_EQ(page.Argb(60, 9), 0xFF0000FFu) << "the saved current layer is open again";

  // A command loads it into a run of another size, which takes the file's size.
  Write("load.vcmd", "qd_loadproject \"" + project + "\"\nqd_getwidth\nqd_getprojectname\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script load.vcmd"), 0) << Err();
  EXPECT_EQ(Out(), "\n120\n" + project + "\n");
}

}  // namespace apptest

namespace apptest {

// A person saves with shift s and loads with shift l, typing the path into the prompt.
TEST_F(VelaRun, TheKeysSaveAndLoadAProjectByItsTypedPath) {
  SteadyPen(dir_ / "home");
  const std::string project = (dir_ / "keys.vel").string();
  std::string typed;
  for (char c : project) typed += std::string("char ") + c + "\n";
  Write("save.txt", "move 500 320\ndown left\nmove 560 320\nup left\nwait 40\nkey shift+s\n" +
                        typed + "key Return\nwait 40\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --events save.txt"), 0) << Err();
  ASSERT_TRUE(fs::exists(project));
  Write("load.txt", "key shift+l\n" + typed + "key Return\nwait 40\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --events load.txt --save-page p.png"), 0) << Err();
  Png page;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &page));
  EXPECT_EQ(page.Alpha(40, 20), 255) << "the stroke came back with the project";
  EXPECT_EQ(page.Alpha(40, 60), 0);
}

}  // namespace apptest
