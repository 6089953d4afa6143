// Whole headless runs in this process: what the ini file, the options and the PATH give the run,
// and what of it is saved.
#include <unistd.h>

#include <tuple>
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
  fs::path cwd_;
  MessageSink old_ = nullptr;
};

TEST_F(RunTest, OptionsChangeTheRunAndNotTheSavedSettings) {
  Write(home_ / "Vela.INI", "[STARTUP]\nForceTablet=yesterday\nTablet=nowhere\nScreenOffsetX=7\n");
  Write(File("Standard"), "[Main]\nScreenOffsetType=2\nPageWidth=200\nPageHeight=100\n");
  ASSERT_EQ(Run({"ScreenOffsetY=9", "ScreenOffsetType=3", "PageWidth=50", "PageHeight=40"}), 0);
  const MainSettings& m = g_seen.main;
  EXPECT_EQ(std::tie(m.screenOffsetX, m.screenOffsetY, m.screenOffsetType, g_seen.pageWidth,
                     g_seen.pageHeight),
            std::tuple(7, 9, 3, 50, 40));
  // Only the words themselves count: "yesterday" is no yes, "nowhere" no no.
  EXPECT_FALSE(g_seen.tablet.forceMoved);
  EXPECT_TRUE(g_seen.tablet.open);
  Reopen("Standard");
  for (auto [key, value] :
       {std::pair{"ScreenOffsetType", "2"}, {"PageWidth", "200"}, {"PageHeight", "100"}})
    EXPECT_EQ(Get("Main", key), value) << key;

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
  Reopen("Standard");
  for (auto [key, value] :
       {std::pair{"PageWidth", "300"}, {"PageHeight", "30"}, {"Mouse", "2"}, {"SaveConfig", "0"}})
    EXPECT_EQ(Get("Main", key), value) << key;
  EXPECT_EQ(Get("Main", "APen"), "<none>");  // no module wrote its section

  Write(File("Standard"), "[Main]\nLockPageSize=on\nPageWidth=300\nPageHeight=30\n");
  ASSERT_EQ(Run({"PageWidth=64", "PageHeight=48"}), 0);
  Reopen("Standard");
  EXPECT_EQ(Get("Main", "PageWidth"), "300");
  EXPECT_EQ(Get("Main", "APen"), "255 0 0");
}

TEST_F(RunTest, APathIsAPathWithItsQuotesTakenOffBeforeItIsResolved) {
  // The one message of a run on the path.
  auto said = [&](const char* path) {
    g_seen.messages.clear();
    EXPECT_EQ(Run({path}), 0);
    return g_seen.messages;
  };
  using Said = std::vector<std::string>;
  Write(home_ / "my file.vel", "not a project");
  EXPECT_EQ(said("\"my file.vel\""),
            Said{(home_ / "my file.vel").string() + "\nUnknown file format"});
  // Names that begin with an option's name are files, not options.
  EXPECT_EQ(said("Config.vel"), Said{(home_ / "Config.vel").string() + "\nFile not found!"});
  EXPECT_EQ(Paths().configName, "Standard");
  EXPECT_FALSE(fs::exists(File(".vel")));
  EXPECT_EQ(said("Image.png"), Said{(home_ / "Image.png").string() + "\nFile not found!"});
}

}  // namespace
}  // namespace vela
