#include "start/settings.h"

#include <array>

#include "host/profile.h"
#include "start_fixture.h"

namespace vela {
namespace {

class SettingsTest : public HomeTest {
 protected:
  void SetUp() override {
    HomeTest::SetUp();
    MainSet = MainSettings();
    SystemSet = SystemSettings();
    Ws.screen = nullptr;
    ConfigOpen("test");
  }
  void TearDown() override {
    Ws.screen = nullptr;
    HomeTest::TearDown();
  }
  // Loads Main with one key set to the value.
  const MainSettings& MainWith(const char* key, const char* value) {
    ConfigPut("Main", key, value);
    LoadMainSettings();
    return MainSet;
  }
};

TEST_F(SettingsTest, WindowPositionsStayOnScreenAndDisplayIsOnOnlyForON) {
  EXPECT_EQ((std::array{ClampWindowCoord(-5, 100, 1280), ClampWindowCoord(1180, 100, 1280),
                        ClampWindowCoord(1181, 100, 1280)}),
            (std::array{0, 1180, 1180}));
  auto pos = [] {
    std::pair<int, int> p;
    ConfigGetWindowPos("Clock", 30, 40, 200, 100, &p.first, &p.second);
    return p;
  };
  EXPECT_EQ(pos(), std::pair(30, 40));
  ConfigPutWindowPos("Clock", -20, 5000);
  EXPECT_EQ(Get("Clock", "WIN_X"), "-20");
  EXPECT_EQ(pos(), std::pair(0, 700));  // the default screen is 1280 by 800
  ScreenRecord screen{};
  screen.width = 1920;
  screen.height = 1080;
  Ws.screen = &screen;
  EXPECT_EQ(pos(), std::pair(0, 980));

  // A window is shown only for "ON".
  EXPECT_TRUE(ConfigGetDisplay("Clock", true));
  EXPECT_FALSE(ConfigGetDisplay("Clock", false));
  ConfigPutDisplay("Clock", true);
  EXPECT_EQ(Get("Clock", "Display"), "ON");
  EXPECT_TRUE(ConfigGetDisplay("Clock", false));
  ConfigPut("Clock", "Display", "on");
  EXPECT_FALSE(ConfigGetDisplay("Clock", true));
  ConfigPutDisplay("Clock", false);
  EXPECT_EQ(Get("Clock", "Display"), "OFF");
}

TEST_F(SettingsTest, MainDefaultsAndWords) {
  LoadMainSettings();
  EXPECT_EQ(MainSet.winX, (1280 - 128) / 2);  // the toolbar starts centred
  EXPECT_EQ(MainSet.winY, (800 - 385) / 2);

  EXPECT_FALSE(MainWith("SysBar", "NOPE").sysBar);
  EXPECT_TRUE(MainWith("SysBar", "n").sysBar);
  EXPECT_TRUE(MainWith("FullScreen", "On please").fullScreen);
  EXPECT_FALSE(MainWith("FullScreen", "1").fullScreen);
  // DisplayBrushDraw is tested case-sensitively, Magnet in any case.
  EXPECT_TRUE(MainWith("DisplayBrushDraw", "on").displayBrushDraw);
  EXPECT_FALSE(MainWith("DisplayBrushDraw", "ON").displayBrushDraw);
  EXPECT_TRUE(MainWith("Magnet", "oN").magnet);
  EXPECT_FALSE(MainWith("Magnet", "o").magnet);
  EXPECT_EQ(MainWith("DisplayMode", "best").displayMode, DisplayMode::Best);
  EXPECT_EQ(MainWith("DisplayMode", "Tested").displayMode, DisplayMode::Fast);
}

TEST_F(SettingsTest, MainLimits) {
  EXPECT_EQ(MainWith("PreviewQuality", "99").previewQuality, 100);
  EXPECT_EQ(MainWith("PreviewQuality", "101").previewQuality, 101);
  EXPECT_EQ(MainWith("Mouse", "9").mouse, 3);
  EXPECT_EQ(MainWith("Mouse", "-1").mouse, 0);
  EXPECT_EQ(MainWith("APen", "300 -5 128").aPen, 0xFFFF0080u);
  EXPECT_EQ(MainWith("APen", "12").aPen, 0xFF0C0000u);
  EXPECT_EQ(MainWith("BPen", "junk").bPen, 0xFF000000u);
  EXPECT_EQ(MainWith("FrameRate", "25").frameRate, 25.0);
  EXPECT_EQ(MainWith("FrameRate", "0x10").frameRate, 0.0);
  EXPECT_EQ(MainWith("FrameRate", "inf").frameRate, 0.0);
  EXPECT_EQ(MainWith("FrameRate", "2.5e1fps").frameRate, 25.0);

  MainWith("WIN_X", "-3");
  EXPECT_EQ(MainWith("WIN_Y", "2000").winY, 800 - 385);
  EXPECT_EQ(MainSet.winX, 0);

  std::string longPath(250, 'p');
  EXPECT_EQ(MainWith("Spare", longPath.c_str()).spare.size(), 199u);
}

TEST_F(SettingsTest, ReadOnlyKeysDefaultToWhatStartUpRead) {
  MainSet.gauge = 0;
  MainSet.edmund = "mine.vec";
  MainSet.project = "/p/x.vel";
  LoadMainSettings();
  EXPECT_EQ(std::tie(MainSet.gauge, MainSet.edmund, MainSet.project),
            std::tuple(0, "mine.vec", "/p/x.vel"));
  EXPECT_EQ(MainWith("Gauge", "1").gauge, 1);
  EXPECT_EQ(MainWith("Project", "/q.vel").project, "/q.vel");

  SaveMainSettings();
  for (const char* key : {"Gauge", "Border", "Zorro", "Spare", "Edmund", "ZoomAutoCenter",
                          "ScreenOffsetX", "LockPageSize"})
    EXPECT_EQ(Get("Main", key), key == std::string("Gauge") ? "1" : "<none>") << key;
}

TEST_F(SettingsTest, TempAndZoomAutoCenterFallBackToTheIni) {
  LoadMainSettings();
  EXPECT_EQ(MainSet.zoomAutoCenter, 0);
  EXPECT_FALSE(MainSet.temp.empty());

  WritePrivateProfileString("STARTUP", "temp", "/scratch/", Paths().iniPath.c_str());
  WritePrivateProfileString("STARTUP", "ZoomAutoCenter", "1", Paths().iniPath.c_str());
  LoadMainSettings();
  EXPECT_EQ(std::tie(MainSet.temp, MainSet.zoomAutoCenter), std::tuple("/scratch/", 1));
  EXPECT_EQ(MainWith("temp", "/mine").temp, "/mine");
  EXPECT_EQ(MainWith("ZoomAutoCenter", "0").zoomAutoCenter, 0);

  ConfigOpen("fresh");
  LoadMainSettings();
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "temp"), "<none>");
  MainSet.tempChanged = true;
  MainSet.temp = "/chosen/";
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "temp"), "/chosen/");
}

TEST_F(SettingsTest, MainSavesWhatItLoads) {
  MainSet.sysBar = false;
  MainSet.mouse = 2;
  MainSet.displayMode = DisplayMode::Best;
  MainSet.screenOffsetType = 3;
  MainSet.frameRate = 12.5;
  MainSet.winX = 10;
  MainSet.winY = 20;
  MainSet.aPen = 0xFF102030;
  MainSet.bPen = 0xFFFFFFFF;
  MainSet.displayBrushDraw = true;
  MainSet.magnet = false;
  MainSet.previewQuality = 4096;
  MainSet.pageWidth = 800;
  MainSet.pageHeight = 600;
  MainSet.saveConfig = 0;
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "FrameRate"), "12.500000");
  EXPECT_EQ(Get("Main", "APen"), "16 32 48");
  ASSERT_EQ(ConfigFlush(), 1);

  // What was loaded back saves to the same file: no key is lost or read under another name.
  MainSet = MainSettings();
  Reopen("test");
  LoadMainSettings();
  ConfigOpen("again");
  SaveMainSettings();
  ASSERT_EQ(ConfigFlush(), 1);
  EXPECT_EQ(Read(File("again")), Read(File("test")));
}

TEST_F(SettingsTest, ScreenStateIsWhatGetsSaved) {
  ScreenRecord screen{};
  screen.width = 1024;
  screen.height = 768;
  screen.fullScreen = 2;
  Ws.screen = &screen;
  MainSet.displayMode = DisplayMode::Best;
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "FullScreen") + " " + Get("Main", "DisplayMode"), "on Fast");
}

TEST_F(SettingsTest, LockPageSizeKeepsThePageSizeUnwritten) {
  ConfigPut("Main", "LockPageSize", "oN");
  MainSet.pageWidth = 1000;
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "PageWidth") + Get("Main", "PageHeight"), "<none><none>");
  ConfigPut("Main", "LockPageSize", "Only");
  SaveMainSettings();
  EXPECT_EQ(Get("Main", "PageWidth"), "1000");
}

TEST_F(SettingsTest, SystemSection) {
  auto load = [](const char* key, const char* value) {
    ConfigPut("System", key, value);
    LoadSystemSettings();
    return SystemSet;
  };
  EXPECT_EQ(load("Bulle", "-1").bulle, 0);
  EXPECT_EQ(load("Bulle", "7").bulle, 2);
  EXPECT_EQ(load("Bulle", "1").bulle, 1);
  EXPECT_EQ(load("BrushMode", "NEVERMORE").brushMode, kBrushModeNever);
  EXPECT_EQ(load("BrushMode", "alway").brushMode, kBrushModeAlways);
  EXPECT_EQ(load("BrushMode", "Alw").brushMode, kBrushModeCustom);
  EXPECT_TRUE(load("Browser", "system").systemBrowser);
  EXPECT_FALSE(load("Browser", "Systems").systemBrowser);
  EXPECT_EQ(load("CustomBrush", "5000").customBrush, 5000);

  SystemSet.brushMode = kBrushModeNever;
  SystemSet.systemBrowser = true;
  SaveSystemSettings();
  for (auto [key, value] : {std::pair{"BrushMode", "Never"},
                            {"Browser", "System"},
                            {"CustomBrush", "5000"},
                            {"Bulle", "1"}})
    EXPECT_EQ(Get("System", key), value) << key;
}

}  // namespace
}  // namespace vela
