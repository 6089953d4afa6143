// Whole headless runs in this process: what the ini file, the options and the PATH give the run,
// and what of it is saved.
#include <unistd.h>

#include <vector>

#include "start/message.h"
#include "start/run.h"
#include "start/settings.h"
#include "start/tablet.h"
#include "start_fixture.h"

namespace vela {
namespace {

struct Seen {
  MainSettings main;
  TabletState tablet;
  int pageWidth = 0, pageHeight = 0;
  std::vector<std::string> messages;
} g_seen;

const SettingsStep kLoad[] = {{"Main", LoadMainSettings}};
const SettingsStep kSave[] = {{"Main", SaveMainSettings}};

class RunTest : public HomeTest {
 protected:
  void SetUp() override {
    HomeTest::SetUp();
    cwd_ = fs::current_path();
    fs::current_path(home_);  // a relative PATH names a file here
    g_seen = Seen{};
    old_ = SetMessageSink([](const char* text) { g_seen.messages.push_back(text); });
  }
  void TearDown() override {
    SetMessageSink(old_);
    fs::current_path(cwd_);
    HomeTest::TearDown();
  }
  int Run(std::vector<const char*> words) {
    const std::string home = home_.string(), ini = (home_ / "Vela.INI").string();
    std::vector<const char*> argv = {"vela",       "--headless", "--home",
                                     home.c_str(), "--ini",      ini.c_str()};
    argv.insert(argv.end(), words.begin(), words.end());
    ConfigOpen(nullptr);  // the run reads the files afresh
    RunHooks h;
    h.load = kLoad;
    h.save = kSave;
    h.makePage = [](int w, int hgt) {
      g_seen.pageWidth = w;
      g_seen.pageHeight = hgt;
      return true;
    };
    h.beforeLoop = [] {
      g_seen.main = MainSet;
      g_seen.tablet = Tablet();
    };
    return VelaMain(static_cast<int>(argv.size()), argv.data(), h);
  }
  // The configuration as the run left it on disk.
  static void Reopen() {
    ConfigOpen(nullptr);
    ConfigOpen("Standard");
  }
  fs::path cwd_;
  MessageSink old_ = nullptr;
};

TEST_F(RunTest, OptionsChangeTheRunAndNotTheSavedSettings) {
  Write(home_ / "Vela.INI", "[STARTUP]\nForceTablet=yesterday\nTablet=nowhere\nScreenOffsetX=7\n");
  Write(File("Standard"), "[Main]\nScreenOffsetType=2\nPageWidth=200\nPageHeight=100\n");
  ASSERT_EQ(Run({"ScreenOffsetY=9", "ScreenOffsetType=3", "PageWidth=50", "PageHeight=40"}), 0);
  EXPECT_EQ(g_seen.main.screenOffsetX, 7);
  EXPECT_EQ(g_seen.main.screenOffsetY, 9);
  EXPECT_EQ(g_seen.main.screenOffsetType, 3);
  EXPECT_EQ(g_seen.pageWidth, 50);
  EXPECT_EQ(g_seen.pageHeight, 40);
  // Only the words themselves count: "yesterday" is no yes, "nowhere" no no.
  EXPECT_FALSE(g_seen.tablet.forceMoved);
  EXPECT_TRUE(g_seen.tablet.open);
  Reopen();
  EXPECT_EQ(Get("Main", "ScreenOffsetType"), "2");
  EXPECT_EQ(Get("Main", "PageWidth"), "200");
  EXPECT_EQ(Get("Main", "PageHeight"), "100");

  Write(home_ / "Vela.INI", "[STARTUP]\nForceTablet=YES\nTablet=No\n");
  ASSERT_EQ(Run({}), 0);
  EXPECT_TRUE(g_seen.tablet.forceMoved);
  EXPECT_FALSE(g_seen.tablet.open);
  EXPECT_EQ(g_seen.pageWidth, 200);
}

TEST_F(RunTest, SaveConfigZeroLeavesTheLockedPageSizeAndAllModuleKeys) {
  const std::string text = "[Main]\nSaveConfig=0\nPageWidth=300\nPageHeight=30\nMouse=2\n";
  Write(File("Standard"), text);
  ASSERT_EQ(Run({"PageWidth=64", "PageHeight=48"}), 0);
  Reopen();
  for (auto [key, value] :
       {std::pair{"PageWidth", "300"}, {"PageHeight", "30"}, {"Mouse", "2"}, {"SaveConfig", "0"}})
    EXPECT_EQ(Get("Main", key), value) << key;
  EXPECT_EQ(Get("Main", "APen"), "<none>");  // no module wrote its section

  Write(File("Standard"), "[Main]\nLockPageSize=on\nPageWidth=300\nPageHeight=30\n");
  ASSERT_EQ(Run({"PageWidth=64", "PageHeight=48"}), 0);
  Reopen();
  EXPECT_EQ(Get("Main", "PageWidth"), "300");
  EXPECT_EQ(Get("Main", "APen"), "255 0 0");
}

TEST_F(RunTest, APathIsAPathWithItsQuotesTakenOffBeforeItIsResolved) {
  Write(home_ / "my file.vel", "not a project");
  ASSERT_EQ(Run({"\"my file.vel\""}), 0);
  ASSERT_EQ(g_seen.messages.size(), 1u);
  EXPECT_EQ(g_seen.messages[0], (home_ / "my file.vel").string() + "\nUnknown file format");

  // Names that begin with an option's name are files, not options.
  g_seen.messages.clear();
  ASSERT_EQ(Run({"Config.vel"}), 0);
  ASSERT_EQ(g_seen.messages.size(), 1u);
  EXPECT_EQ(g_seen.messages[0], (home_ / "Config.vel").string() + "\nFile not found!");
  EXPECT_EQ(Paths().configName, "Standard");
  EXPECT_FALSE(fs::exists(File(".vel")));
  g_seen.messages.clear();
  ASSERT_EQ(Run({"Image.png"}), 0);
  ASSERT_EQ(g_seen.messages.size(), 1u);
  EXPECT_EQ(g_seen.messages[0], (home_ / "Image.png").string() + "\nFile not found!");
}

}  // namespace
}  // namespace vela
