#include <gtest/gtest.h>

#include <tuple>

#include "start/command_line.h"
#include "start/message.h"
#include "start/options.h"
#include "start/run_paths.h"

namespace vela {
namespace {

TEST(FindOption, MatchesOnlyTheWholeWordInAnyCase) {
  const char* argv[] = {"CONFIG=skipped", "pagewidth=800", "NOGAUGE",         "CONFIGREXX=cmds.vec",
                        "Config.vel",     "Image.png",     "ScreenOffsetX=5", "config=mine"};
  EXPECT_STREQ(FindOption(8, argv, "PageWidth"), "800");
  EXPECT_STREQ(FindOption(8, argv, "NOGAUGE"), "");
  // argv[0] is the program, never an option; a longer name or a file is not the option.
  EXPECT_STREQ(FindOption(8, argv, "CONFIG"), "mine");
  EXPECT_EQ(FindOption(8, argv, "Image"), nullptr);
  EXPECT_EQ(FindOption(8, argv, "Screen"), nullptr);
  EXPECT_STREQ(FindOption(8, argv, "CONFIGREXX"), "cmds.vec");
  EXPECT_EQ(std::pair(IsOptionWord("Image.png"), IsOptionWord("image=a.png")),
            std::pair(false, true));
}

TEST(ParseOptions, SetsPathsAndSwitches) {
  Options() = RunOptions{};
  Paths() = RunPaths{};
  const char* argv[] = {"vela",           "CONFIG=studio", "UNDO=no",
                        "Image=/p/a.vel", "Swap=/p/b.png", "PageWidth=320",
                        "PageHeight=200", "NOERASEALERT",  "CustomBrush=0"};
  ParseOptions(9, argv);
  EXPECT_EQ(std::tie(Paths().configName, Paths().projectPath, Paths().sparePath),
            std::tuple("studio", "/p/a.vel", "/p/b.png"));
  const RunOptions& o = Options();
  // CustomBrush=0 leaves the limit alone.
  EXPECT_EQ(std::tie(o.undoMode, o.pageWidth, o.pageHeight, o.noEraseAlert, o.customBrush),
            std::tuple(2, 320, 200, 1, 0));

  const char* argv2[] = {"vela", "UNDO=Auto", "PageWidth=abc", "PageHeight=-5"};
  static int reports;
  reports = 0;
  MessageSink old = SetMessageSink([](const char*) { ++reports; });
  ParseOptions(4, argv2);
  SetMessageSink(old);
  // A bad size is reported and left to the configuration.
  EXPECT_EQ(std::tie(o.undoMode, o.pageWidth, o.pageHeight, reports), std::tuple(0, 0, 0, 2));
}

TEST(CommandLine, AcceptsFlagsOptionsAndOnePath) {
  const char* argv[] = {"vela",         "--headless", "--size", "320x200", "CONFIG=x",
                        "--screenshot", "s.png",      "--home", "/h",      "Config.vel"};
  CommandLine cl;
  std::string err;
  ASSERT_TRUE(ParseCommandLine(10, argv, {}, &cl, &err)) << err;
  EXPECT_EQ(std::tie(cl.headless, cl.width, cl.height, cl.screenshot, cl.home, cl.path),
            std::tuple(true, 320, 200, "s.png", "/h", "Config.vel"));
  EXPECT_EQ(cl.options, std::vector<std::string>{"CONFIG=x"});
}

TEST(CommandLine, RefusesWhatItCannotUse) {
  const std::vector<std::vector<const char*>> bad = {
      {"vela", "--bogus"},        {"vela", "--size", "0x5"},      {"vela", "--size", "12"},
      {"vela", "--size", "9x9x"}, {"vela", "--screenshot"},       {"vela", "a", "b"},
      {"vela", "Colour=red"},     {"vela", "--script", "f.vcmd"}, {"vela", "--ini", ""}};
  for (const auto& words : bad) {
    CommandLine cl;
    std::string err;
    EXPECT_FALSE(ParseCommandLine(static_cast<int>(words.size()), words.data(), {}, &cl, &err))
        << words[1];
    EXPECT_FALSE(err.empty());
  }
  // A flag exists only where its machinery does.
  const char* argv[] = {"vela", "--script", "-"};
  CommandLine cl;
  std::string err;
  EXPECT_TRUE(ParseCommandLine(3, argv, {.script = true}, &cl, &err));
  EXPECT_EQ(cl.script, "-");
  // The program's own build has them all: a serving run with a command file.
  const CommandLineFeatures all{true, true, true};
  const char* serve[] = {"vela", "--serve", "--script", "f.vcmd", "--headless"};
  EXPECT_TRUE(ParseCommandLine(5, serve, all, &cl, &err)) << err;
  EXPECT_TRUE(cl.serve);
  EXPECT_EQ(cl.script, "f.vcmd");
  EXPECT_NE(UsageText(all).find("[--serve]"), std::string::npos);
  const char* noFile[] = {"vela", "--script"};
  EXPECT_FALSE(ParseCommandLine(2, noFile, all, &cl, &err));
}

}  // namespace
}  // namespace vela
