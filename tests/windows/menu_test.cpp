// The main menu bar and its pop-ups, driven by synthetic events on the headless screen.
#include "windows/menu.h"

#include <stdlib.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>

#include "formats/formats.h"
#include "project/compose.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/actions.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/key_map.h"
#include "start/run_paths.h"
#include "windows_fixture.h"

namespace vela {

extern volatile std::sig_atomic_t SignalQuit;

namespace {

int g_newLayer = 0, g_newProject = 0;
const ActionRow kTestActions[] = {
    {"NewLayer", [] { ++g_newLayer; }},
    {"NewProject", [] { ++g_newProject; }},
    {"LayerDuplicate", nullptr},  // whoever else brings it, not built here
};

class MenuTest : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    // The bar keeps its style in the configuration: an open one in a home of the test's own.
    std::string home = (std::filesystem::temp_directory_path() / "vela-menu-XXXXXX").string();
    ASSERT_NE(mkdtemp(home.data()), nullptr);
    home_ = home;
    std::filesystem::create_directories(home_ / "configs");
    Paths().homeDir = home;
    ConfigOpen("menu");
    AddActions(kTestActions);
    ClearMap(&CurrentKeyMap());
    ApplyDefaultMap(&CurrentKeyMap());
    g_newLayer = g_newProject = 0;
    SetPageArea(0, 0, 0, 0);
    RecenterPage();
    MenuStyle = 0;
  }
  void TearDown() override {
    RemoveActions(kTestActions);
    SetPageArea(0, 0, 0, 0);
    ConfigOpen(nullptr);
    std::filesystem::remove_all(home_);
    WindowsTest::TearDown();
  }
  std::filesystem::path home_;

  static int Blanks() { return TextWidth("    "); }
  // Screen x of the middle of title i of a horizontal bar at bar x.
  static int TitleX(int i, int barX) {
    const char* titles[] = {"File", "Edit", "Layers", "Filters", "Help"};
    int x = 3;
    for (int k = 0; k < i; ++k) x += TextWidth(titles[k]) + Blanks() + 1;
    return barX + x + 6;
  }
  static int Windows() {
    int n = 0;
    for (Window* w = Ws.backWindow; w; w = w->next) ++n;
    return n;
  }
  std::string Click(int x, int y) {
    return "move " + std::to_string(x) + " " + std::to_string(y) + "\ndown left\nup left\n";
  }
};

TEST_F(MenuTest, TopBarGeometryAndPageRoom) {
  // A 200 by 150 page centred on 640 by 480: y (480 - 150) / 2 = 165; with the bar's 22 rows
  // taken, 22 + (458 - 150) / 2 = 176.
  EXPECT_EQ(Ws.pageY, 165);
  ASSERT_TRUE(BuildMainMenu());
  Window* bar = MainMenuWindow();
  ASSERT_NE(bar, nullptr);
  EXPECT_EQ(bar->left, -2);
  EXPECT_EQ(bar->top, -2);
  EXPECT_EQ(bar->height, 24);
  EXPECT_TRUE(bar->flags & kWinAtBack);
  const char* titles[] = {"File", "Edit", "Layers", "Filters", "Help"};
  int x = 3;
  for (int i = 0; i < 5; ++i) {
    Gadget* g = FindGadget(i + 1, bar->gadgets);
    ASSERT_NE(g, nullptr);
    int w = TextWidth(titles[i]) + Blanks();
    EXPECT_EQ(g->left, x) << titles[i];
    EXPECT_EQ(g->right, x + w) << titles[i];
    EXPECT_EQ(g->top, 2);
    EXPECT_EQ(g->bottom, 21);
    x += w + 1;
  }
  Gadget* filler = FindGadget(100, bar->gadgets);
  ASSERT_NE(filler, nullptr);
  EXPECT_EQ(filler->left, x);
  EXPECT_GE(bar->left + bar->width, kW);
  EXPECT_EQ(Ws.pageX, 220);
  EXPECT_EQ(Ws.pageY, 176);

  CloseMainMenu();
  EXPECT_EQ(MainMenuWindow(), nullptr);
  EXPECT_EQ(Ws.pageY, 165);
  EXPECT_EQ(ConfigGetInt("MainMenu", "Style", -1), 0);
}

TEST_F(MenuTest, ABottomBarFollowsTheScreensNewSize) {
  MenuStyle = 1;
  ASSERT_TRUE(BuildMainMenu());
  EXPECT_EQ(MainMenuWindow()->top, kH - 24 + 2);
  EXPECT_EQ(Ws.pageY, (kH - 22 - 150) / 2);
  // The host's window grows to 800 by 600; the next idle call lays the bar out for it.
  HostClose();
  HostConfig hc;
  hc.headless = true;
  hc.width = 800;
  hc.height = 600;
  std::string err;
  ASSERT_TRUE(HostOpen(hc, &err)) << err;
  WindowsTick();
  Window* bar = MainMenuWindow();
  ASSERT_NE(bar, nullptr);
  EXPECT_EQ(bar->top, 600 - 24 + 2);
  EXPECT_EQ(bar->width, 800 + 4);
  EXPECT_EQ(Ws.pageX, (800 - 200) / 2);
  EXPECT_EQ(Ws.pageY, (600 - 22 - 150) / 2);
  CloseMainMenu();
}

TEST_F(MenuTest, PressOnTitleOpensAndReleaseOnRowRunsIt) {
  ASSERT_TRUE(BuildMainMenu());
  // Layers opens under the bar, from y 22; its first row is " New Layer".
  int tx = TitleX(2, -2), rowY = 22 + kMenuPad + kMenuRowHeight / 2;
  Drive("move " + std::to_string(tx) + " 10\ndown left\nmove " + std::to_string(tx + 20) + " " +
        std::to_string(rowY) + "\nup left\n");
  EXPECT_EQ(g_newLayer, 1);
  EXPECT_EQ(Windows(), 1);  // the bar alone
  EXPECT_FALSE(FindGadget(3, MainMenuWindow()->gadgets)->flags & kGadSelected);

  // Clicked open, the menu stays; a second click on the row picks it.
  Drive(Click(tx, 10) + Click(tx + 20, rowY));
  EXPECT_EQ(g_newLayer, 2);
}

TEST_F(MenuTest, DimmedRowsStayOpenEscapeOutsidePressAndSignalClose) {
  ASSERT_TRUE(BuildMainMenu());
  int tx = TitleX(2, -2), row0 = 22 + kMenuPad + kMenuRowHeight / 2;
  // " Duplicate Layer" has no handler, so it is dimmed: a click on it leaves the menu open
  // for the first row.
  Drive(Click(tx, 10) + Click(tx + 20, row0 + kMenuRowHeight) + Click(tx + 20, row0));
  EXPECT_EQ(LayersMenu[1].state, kMenuDimmed);
  EXPECT_EQ(g_newLayer, 1);
  EXPECT_EQ(Windows(), 1);
  // Escape, or a press outside, closes it: the next click falls on the page.
  Drive(Click(tx, 10) + "key Escape\n" + Click(tx + 20, row0));
  Drive(Click(tx, 10) + Click(600, 400) + Click(tx + 20, row0));
  // So does a stop signal, at once: the run is ending.
  SignalQuit = 1;
  Drive(Click(tx, 10) + Click(tx + 20, row0));
  SignalQuit = 0;
  EXPECT_EQ(g_newLayer, 1);
}

TEST_F(MenuTest, KeysWalkIntoASubMenuAndPick) {
  ASSERT_TRUE(BuildMainMenu());
  SystemSet.bulle = 0;
  // Help: Down lights " Inline Help", Right opens it on " None", two Downs reach " Full".
  Drive(Click(TitleX(4, -2), 10) + "key Down\nkey Right\nkey Down\nkey Down\nkey Return\n");
  EXPECT_EQ(SystemSet.bulle, 2);
  EXPECT_EQ(Windows(), 1);
}

TEST_F(MenuTest, FreeBarPulledBackOpensUpwardInTheLowerHalf) {
  ConfigPutInt("MainMenu", "Style", 4);
  ConfigPutInt("MainMenu", "WIN_X", 600);
  ConfigPutInt("MainMenu", "WIN_Y", 470);
  LoadMainMenuSettings();
  ASSERT_TRUE(BuildMainMenu());
  Window* bar = MainMenuWindow();
  ASSERT_NE(bar, nullptr);
  EXPECT_EQ(bar->flags, 0u);
  EXPECT_EQ(bar->left, kW - bar->width - 1);
  EXPECT_EQ(bar->top, kH - 24 - 1);
  EXPECT_EQ(Ws.pageY, 165);  // a free bar takes no room
  // File: ten rows and six separators end at the bar's top.
  int height = 2 * kMenuPad + 10 * kMenuRowHeight + 6 * kMenuSeparatorHeight;
  int row0 = bar->top - height + kMenuPad + kMenuRowHeight / 2;
  Drive(Click(TitleX(0, bar->left), bar->top + 12) + Click(TitleX(0, bar->left) + 10, row0));
  EXPECT_EQ(g_newProject, 1);
  CloseMainMenu();
}

TEST_F(MenuTest, ModeListsTheSaveModesTicksTheCurrentAndAChoiceAsksAndSetsIt) {
  SaveSettings& s = CurrentSaveSettings();
  const SaveSettings saved = s;
  s.saveMode = kFormatSun32;
  RefreshMenu(FileMenu);
  const MenuItem& mode = FileMenu[7];
  ASSERT_STREQ(mode.label, " Mode");
  EXPECT_EQ(mode.state, kMenuPlain);
  MenuItem* rows = mode.subMenu;
  ASSERT_NE(rows, nullptr);
  // Five rows, the separator, then by name BMP, ILBM, JPEG, PCX, PNG, PSD, SGI, SOFTIMAGE, SUN,
  // TGA and TIFF; the modules are numbered 256 plus the place they were added at, 15 and 16.
  const int ids[] = {10025, 10000, 10026, 10013, 10030, -2,    10021, 10002, 10007,
                     10022, 10028, 10029, 10272, 10023, 10015, 10003, 10271};
  for (int i = 0; i < 17; ++i) {
    ASSERT_NE(rows[i].label, nullptr);
    EXPECT_EQ(rows[i].id, ids[i]) << i;
    EXPECT_EQ(rows[i].state, i == 14 ? kMenuTicked : kMenuPlain) << i;
  }
  EXPECT_STREQ(rows[12].label, " SGI Image ");
  EXPECT_EQ(rows[17].label, nullptr);

  // The Sun row asks for the depth, TGA for compression, JPEG for the quality.
  static int answer;
  AskHandlers ask;
  ask.ask = [](const char*, const char*, const char*) { return answer; };
  ask.askNumber = [](const char*, int* value, int, int) { return *value = 75, 0; };
  const AskHandlers* old = SetAskHandlers(&ask);
  answer = 1;
  RunMenuItem(&rows[14]);
  EXPECT_EQ(s.saveMode, kFormatSun24);
  answer = 0;
  RunMenuItem(&rows[14]);
  EXPECT_EQ(s.saveMode, kFormatSun32);
  RunMenuItem(&rows[15]);
  EXPECT_EQ(s.saveMode, kFormatTga);
  EXPECT_EQ(s.tgaCompression, 0);
  RunMenuItem(&rows[8]);
  EXPECT_EQ(s.saveMode, kFormatJpeg);
  EXPECT_EQ(s.jpegPower, 75);
  RunMenuItem(&rows[16]);
  EXPECT_EQ(s.saveMode, 271);
  SetAskHandlers(old);
  s.saveMode = kFormatIlbm8;
  RefreshMenu(FileMenu);
  EXPECT_EQ(rows[7].state, kMenuTicked);
  s = saved;
}

TEST_F(MenuTest, ShortcutsAndRowsRefreshedAtOpening) {
  EXPECT_EQ(MenuShortcut("Undo"), "u");  // before "Ctrl z" in the rows
  EXPECT_EQ(MenuShortcut("SaveProject"), "Shift S");
  EXPECT_EQ(MenuShortcut("refill"), "Shift U");
  EXPECT_EQ(MenuShortcut("DisplayAllLayer"), "=");
  EXPECT_EQ(MenuShortcut("About"), "");
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "F12", "HideShowWindows,  About"));
  EXPECT_EQ(MenuShortcut("About"), "F12");

  std::snprintf(Undo.label, sizeof Undo.label, "Undo Fetch");
  Timeline.showMode = 0;
  SetBackgroundMode(2);
  SystemSet.bulle = 1;
  RefreshMenu(EditMenu);
  RefreshMenu(LayersMenu);
  RefreshMenu(HelpMenu);
  EXPECT_STREQ(EditMenu[0].label, " Undo Fetch");
  EXPECT_EQ(EditMenu[1].state, RefillZone ? kMenuPlain : kMenuDimmed);
  EXPECT_EQ(LayersMenu[0].state, kMenuPlain);
  const MenuItem* all = &LayersMenu[0];
  while (std::strcmp(all->label, " Display All") != 0) ++all;
  EXPECT_EQ(all[0].state, kMenuPlain);
  EXPECT_EQ(all[1].state, kMenuTicked);
  MenuItem* background = LayersMenu[9].subMenu;
  ASSERT_NE(background, nullptr);
  EXPECT_EQ(background[0].state, kMenuPlain);
  EXPECT_EQ(background[2].state, kMenuTicked);
  MenuItem* help = HelpMenu[0].subMenu;
  EXPECT_EQ(help[0].state, kMenuPlain);
  EXPECT_EQ(help[1].state, kMenuTicked);

  RunMenuItem(&background[1]);
  EXPECT_EQ(BackgroundMode(), 1);
  std::snprintf(Undo.label, sizeof Undo.label, "Undo");
  Timeline.showMode = 1;
  SetBackgroundMode(0);
}

}  // namespace
}  // namespace vela
