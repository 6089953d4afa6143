// The toolbar, the Tools window and the Grid window driven by synthetic presses and keys.
#include "windows/toolbar.h"

#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "paint/grid.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "pixels/disk_cache.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/actions.h"
#include "start/ask.h"
#include "start/key_map.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "windows/pressure_grid_windows.h"
#include "windows/tools_window.h"
#include "windows/windows_fixture.h"

namespace vela {
namespace {

std::vector<std::string> g_asked;
bool AskRecord(const char* title, char*, int) {
  g_asked.emplace_back(title);
  return false;
}

class Toolbar : public ProjectWindowsTest {
 protected:
  void SetUp() override {
    // The key map must stand behind the Windows before they take the keys.
    Input().keyMap = KeyMapEvent;
    ProjectWindowsTest::SetUp();
    static const bool once = (AddActions(UndoActions()), AddActions(ToolActions()),
                              AddActions(PressureGridActions()), true);
    (void)once;
    BuildActionTable();
    ResetStrokeContext();
    ResetAllToolRecords();
    SelectDrawingTool(ToolPen);
    SelectTool(kToolDraw);
    Shape = ShapeState{};
    Grid = GridSettings{};
    GridOn = 0;
    InstallToolbar();
    handlers_.askText = AskRecord;
    old_ask_ = SetAskHandlers(&handlers_);
    g_asked.clear();
    OpenToolsLarge(false);  // the small form, whatever an earlier case left
    CloseTools();
    MainSet.winX = 500, MainSet.winY = 40;
    bar_ = OpenToolbar();
    ASSERT_NE(bar_, nullptr);
  }
  void TearDown() override {
    CloseToolbar();
    CloseTools();
    CloseGrid();
    SetToolHook(nullptr);
    SetAskHandlers(old_ask_);
    UndoLabelChanged = nullptr;
    ProjectWindowsTest::TearDown();
  }

  static std::string Click(int x, int y, const char* button = "left") {
    return "move " + std::to_string(x) + " " + std::to_string(y) + "\ndown " + button + "\nup " +
           button + "\nwait 40\n";
  }
  // The middle of a gadget of a Window, found by its id or by the start of its bubble.
  static Gadget* Find(Window* w, int id, const char* help = nullptr) {
    for (Gadget* g = w->gadgets; g->id; ++g)
      if (help ? g->help && std::strncmp(g->help, help, std::strlen(help)) == 0 : g->id == id)
        return g;
    return nullptr;
  }
  void Press(Window* w, int id, const char* button = "left", const char* help = nullptr) {
    Gadget* g = Find(w, id, help);
    ASSERT_NE(g, nullptr) << id << (help ? help : "");
    Drive(Click(w->left + (g->left + g->right + 1) / 2, w->top + (g->top + g->bottom + 1) / 2,
                button));
  }
  bool Selected(int id) { return (Find(bar_, id)->flags & kGadSelected) != 0; }

  Window* bar_ = nullptr;
  AskHandlers handlers_;
  const AskHandlers* old_ask_ = nullptr;
};

TEST_F(Toolbar, ShapeGadgetsSelectTheirToolAndRightPressesOpenSettings) {
  for (int id : {3, 7, 21, 24, 29, 30, 46, 51}) {
    SCOPED_TRACE(id);
    Press(bar_, id);
    EXPECT_EQ(CurrentTool, id);
    EXPECT_TRUE(Selected(id));
    EXPECT_FALSE(ShapeFilled(id));
  }
  // Only the current shape shows selected; a second click turns a shape with a fill to it.
  EXPECT_FALSE(Selected(3));
  Press(bar_, 46);
  EXPECT_FALSE(ShapeFilled(46));
  Press(bar_, 46);
  EXPECT_TRUE(ShapeFilled(46));
  Press(bar_, 51);
  EXPECT_FALSE(ShapeFilled(51));
  Press(bar_, 51);
  EXPECT_FALSE(ShapeFilled(51));

  struct Case {
    int id;
    const char* asked;
  };
  const Case cases[] = {{3, "Dotted freehand"}, {24, "Circle"}, {21, "Line pressure: Start End"}};
  for (const Case& c : cases) {
    g_asked.clear();
    Press(bar_, c.id, "right");
    EXPECT_EQ(g_asked, std::vector<std::string>{c.asked});
  }
  EXPECT_EQ(CurrentTool, 51);  // a right press asks, it does not choose

  // A dimmed gadget does nothing; flood fill has no tool behind it yet.
  Press(bar_, 33);
  EXPECT_EQ(CurrentTool, 51);
}

TEST_F(Toolbar, DrawingToolsAndKeysMoveTheSelectedLook) {
  struct Case {
    int id;
    int tool;
  };
  const Case cases[] = {{15, ToolPropellingPencil},
                        {16, ToolChalk},
                        {55, ToolAirbrush},
                        {56, ToolWaterColor},
                        {14, ToolPen}};
  for (const Case& c : cases) {
    Press(bar_, c.id);
    EXPECT_EQ(Tools.current, c.tool);
    EXPECT_TRUE(Selected(c.id));
  }
  EXPECT_FALSE(Selected(56));

  // The key of the Line shape: the loop's idle call moves the look.
  Press(bar_, 7);
  Drive("key v\nwait 40\n");
  EXPECT_EQ(CurrentTool, kToolLine);
  EXPECT_TRUE(Selected(kToolLine));
  EXPECT_FALSE(Selected(kToolDraw));

  // A right press on a drawing tool chooses it and opens its settings, 368 high for Airbrush.
  Press(bar_, 55, "right");
  EXPECT_EQ(Tools.current, ToolAirbrush);
  ASSERT_TRUE(ToolsOpen());
  EXPECT_EQ(ToolsWindow()->height, 368);
  EXPECT_TRUE(ToolsLarge());
}

TEST_F(Toolbar, UndoGadgetFollowsTheLabelAndUndoes) {
  const Gadget* undo = Find(bar_, 6);
  EXPECT_STREQ(undo->label, Undo.label);
  const std::vector<Pixel> before = Picture(bar_);
  SaveUndo();
  FillRect(Ws.page, 0, 0, 20, 20, 0xFFFF0000);
  MarkChanged(0, 0, 20, 20);
  MarkUndo(0, "Line");
  EXPECT_STREQ(undo->label, "Undo Line");
  EXPECT_NE(Picture(bar_), before);
  Press(bar_, 6);
  EXPECT_STREQ(Undo.label, "Redo Line");
  EXPECT_STREQ(undo->label, "Redo Line");
  EXPECT_NE(GetPixel(Ws.page, 5, 5), 0xFFFF0000u);
  // A name too wide for the gadget is cut with dots, never past its edge.
  MarkUndo(0, "Delete Layer \"A rather long layer name\"");
  EXPECT_LE(TextWidth(undo->label), undo->right - undo->left);
  EXPECT_NE(std::strstr(undo->label, "..."), nullptr);
}

TEST_F(Toolbar, MiddleButtonTogglesItWhereItWas) {
  MoveWindow(bar_, 420, 60);
  Drive("move 50 50\ndown middle\nup middle\nwait 40\n");
  EXPECT_FALSE(ToolbarOpen());
  EXPECT_EQ(MainSet.winX, 420);
  Drive("down middle\nup middle\nwait 40\n");
  ASSERT_TRUE(ToolbarOpen());
  EXPECT_EQ(ToolbarWindow()->left, 420);
  EXPECT_EQ(ToolbarWindow()->top, 60);
  // A position off the screen comes back onto it: 640 - 128 and 480 - 385.
  CloseToolbar();
  MainSet.winX = 2000, MainSet.winY = 900;
  bar_ = OpenToolbar();
  EXPECT_EQ(bar_->left, 512);
  EXPECT_EQ(bar_->top, 95);
}

TEST_F(Toolbar, ToolsWindowSetsSizeAndOpacityInTheRecord) {
  Press(bar_, 22);
  ASSERT_TRUE(ToolsOpen());
  Window* tools = ToolsWindow();
  EXPECT_EQ(tools->width, 162);
  EXPECT_EQ(tools->height, 90);
  // Choosing Chalk there; its settings are in the large form.
  Press(tools, 103);
  EXPECT_EQ(Tools.current, ToolChalk);
  tools = OpenToolsLarge(true);
  EXPECT_EQ(tools->height, 349);
  int32_t* w = Tools.dab[ToolChalk].word;
  ASSERT_EQ(w[kWordSize], 5);
  ASSERT_EQ(w[kWordPower], 128);
  Gadget* size = Find(tools, 0, "Size");
  Press(tools, size->id + 2);  // its "+"
  EXPECT_EQ(w[kWordSize], 6);
  EXPECT_EQ(ToolSize(), 6);
  Press(tools, size->id);  // its "-", twice
  Press(tools, size->id);
  EXPECT_EQ(w[kWordSize], 4);

  // Power is shown in percent: 128 shows 50; 51 % stores 130 which shows 50 again, so "+" goes
  // to 52 %, stored 52 * 255 / 100 = 132.
  Gadget* power = Find(tools, 0, "Power");
  Press(tools, power->id + 2);
  EXPECT_EQ(w[kWordPower], 132);
  // The ends of the track are 0 % and 100 %.
  Gadget* track = power + 1;
  Drive(Click(tools->left + track->right - 2, tools->top + track->top + 8));
  EXPECT_EQ(w[kWordPower], 255);
  Drive(Click(tools->left + track->left + 2, tools->top + track->top + 8));
  EXPECT_EQ(w[kWordPower], 0);

  // Moving the step by hand ends Auto Step; Reset brings the defaults back.
  Gadget* step = Find(tools, 0, "Step");
  Press(tools, step->id + 2);
  EXPECT_EQ(w[kWordStep], 1);
  EXPECT_EQ(w[kWordAutoStep], 0);
  Press(tools, 0, "left", "Reset");
  EXPECT_EQ(w[kWordSize], 5);
  EXPECT_EQ(w[kWordPower], 128);
  EXPECT_EQ(w[kWordAutoStep], 1);

  // The Pen's rows move the Pen's own fields.
  Press(tools, 100);
  ASSERT_EQ(Tools.current, ToolPen);
  tools = ToolsWindow();
  const PenRecord pen = Tools.pen;
  Press(tools, 0, "left", "Speed");
  Press(tools, Find(tools, 0, "Limit")->id + 2);
  Press(tools, Find(tools, 0, "Maximum size")->id + 2);
  EXPECT_EQ(Tools.pen.speed, !pen.speed);
  EXPECT_EQ(Tools.pen.limit, pen.limit + 1);
  EXPECT_EQ(Tools.pen.size2, pen.size2 + 1);
  EXPECT_EQ(Tools.pen.size1, pen.size1);
  Press(tools, 103);
  tools = ToolsWindow();

  // A size changed by a key shows in the window at the next idle call.
  IncreaseToolsSize();
  Drive("wait 40\n");
  Gadget* value = Find(tools, size->id + 3);
  EXPECT_STREQ(value->label, "6");
}

TEST_F(Toolbar, GridWindowAndKeysSwitchTheGrid) {
  RunActions("OpenGrid");
  Window* grid = GridWindow();
  ASSERT_NE(grid, nullptr);
  EXPECT_STREQ(grid->title, "Gridding");
  Press(grid, 0, "left", "Grid on");
  EXPECT_EQ(GridOn, 1);
  Drive("wait 40\n");
  EXPECT_TRUE(Selected(48));
  RunActions("ActiveGrid");
  EXPECT_EQ(GridOn, 0);
  Press(bar_, 48);
  EXPECT_EQ(GridOn, 1);

  Gadget* width = Find(grid, 0, "Width");
  Press(grid, width->id + 2);
  Press(grid, width->id + 2);
  EXPECT_EQ(Grid.width, 3);
  // The start can go up to width - 1 only.
  Gadget* x = Find(grid, 0, "Start X");
  for (int i = 0; i < 4; ++i) Press(grid, x->id + 2);
  EXPECT_EQ(Grid.x, 2);
}

}  // namespace
}  // namespace vela
