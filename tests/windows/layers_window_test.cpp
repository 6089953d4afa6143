// The Layers window driven by synthetic presses: rows, switches, cells, buttons, and that it
// follows the model by itself.
#include "windows/layers_window.h"

#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "pixels/disk_cache.h"
#include "project/layer_ops.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/actions.h"
#include "start/ask.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "windows/windows_fixture.h"

namespace vela {
namespace {

bool AskRenamed(const char*, char* text, int capacity) {
  std::snprintf(text, static_cast<size_t>(capacity), "Renamed");
  return true;
}

class LayersWindow : public ProjectWindowsTest {
 protected:
  void SetUp() override {
    ProjectWindowsTest::SetUp();
    static const bool once = (AddActions(LayerOpsActions()), true);
    (void)once;
    handlers_.askText = AskRenamed;
    old_ask_ = SetAskHandlers(&handlers_);
    // Three layers front to back: A, B, C; A current.
    RenameLayer(0, "A");
    NewLayer("B", false, true, 0, true);
    NewLayer("C", false, true, 0, true);
    SelectLayer(0, 0, true);
    mixer_ = OpenMixer();
    ASSERT_NE(mixer_, nullptr);
    MoveWindow(mixer_, 20, 240);
  }
  void TearDown() override {
    CloseMixer();
    SetAskHandlers(old_ask_);
    FreeLayerClipboard();
    ProjectWindowsTest::TearDown();
  }

  // The gadget whose bubble starts with title, on the screen line y when y is given; its middle.
  bool Find(const char* title, int* x, int* y, int line = -1) {
    for (Gadget* g = mixer_->gadgets; g->id; ++g) {
      if (!g->help || std::strncmp(g->help, title, std::strlen(title)) != 0) continue;
      if (line >= 0 && (line < mixer_->top + g->top || line > mixer_->top + g->bottom)) continue;
      *x = mixer_->left + (g->left + g->right + 1) / 2;
      *y = mixer_->top + (g->top + g->bottom + 1) / 2;
      return true;
    }
    return false;
  }
  static std::string At(int x, int y) {
    return "move " + std::to_string(x) + " " + std::to_string(y) + "\n";
  }
  static std::string Click(int x, int y) { return At(x, y) + "down left\nup left\nwait 40\n"; }
  void ClickHelp(const char* title, int line = -1) {
    int x = 0, y = 0;
    ASSERT_TRUE(Find(title, &x, &y, line)) << title;
    Drive(Click(x, y));
  }
  std::string Row(int index) {
    int x = 0, y = 0;
    EXPECT_TRUE(MixerLayerPoint(index, &x, &y));
    return At(x, y);
  }
  std::string Cell(int position) {
    int x = 0, y = 0;
    EXPECT_TRUE(MixerCellPoint(position, &x, &y));
    return At(x, y);
  }
  // Press, move and release by the host's own events, which carry held keys as the event file
  // cannot for buttons.
  void HostDrag(int x0, int y, int x1, uint32_t qualifiers) {
    const std::pair<HostEventType, int> steps[] = {{HostEventType::Move, x0},
                                                   {HostEventType::ButtonDown, x0},
                                                   {HostEventType::Move, x1},
                                                   {HostEventType::ButtonUp, x1}};
    for (auto [type, x] : steps) {
      HostEvent e;
      e.type = type, e.x = x, e.y = y, e.button = kButtonLeft, e.qualifiers = qualifiers;
      HostPushEvent(e);
    }
    Drive("wait 40");
  }
  // A drag of the gadget whose bubble starts with what, by a number of cells.
  void DragBy(const char* what, int cells) {
    int x = 0, y = 0;
    ASSERT_TRUE(Find(what, &x, &y)) << what;
    Drive(At(x, y) + "down left\n" + At(x + cells * 19, y) + At(x + cells * 38, y) +
          "up left\nwait 40\n");
  }
  static std::vector<int> Span() { return {CurrentLayer()->first, CurrentLayer()->last}; }
  std::vector<std::string> Names() {
    std::vector<std::string> out;
    for (int i = 0; i < LayerCount(); ++i) out.emplace_back(LayerAt(i)->name);
    return out;
  }

  Window* mixer_ = nullptr;
  AskHandlers handlers_;
  const AskHandlers* old_ask_ = nullptr;
};

TEST_F(LayersWindow, RowsSelectHideRenameAndMoveLayers) {
  Drive(Row(2) + "down left\nup left\nwait 40\n");
  EXPECT_EQ(Timeline.current, 2);

  int x, y, rowX, rowY;
  ASSERT_TRUE(MixerLayerPoint(1, &rowX, &rowY));
  ClickHelp("Show or hide", rowY);
  EXPECT_TRUE(LayerAt(1)->flags & kLayerHidden);
  ClickHelp("Show or hide", rowY);
  EXPECT_FALSE(LayerAt(1)->flags & kLayerHidden);

  // 100% less one step of 5 is 95%, stored as (95 * 255 + 50) / 100.
  ClickHelp("Less opacity", rowY);
  EXPECT_EQ(LayerAt(1)->opacity, 242);

  // Two presses in quick succession rename; two far apart only select.
  Drive(Row(1) + "down left\nup left\nwait 900\ndown left\nup left\nwait 40\n");
  EXPECT_EQ(Names(), (std::vector<std::string>{"A", "B", "C"}));
  Drive(Row(1) + "down left\nup left\nwait 100\ndown left\nup left\nwait 40\n");
  EXPECT_EQ(Names(), (std::vector<std::string>{"A", "Renamed", "C"}));

  // A drag from the front row to the back one moves that layer, which stays current.
  ASSERT_TRUE(MixerLayerPoint(0, &x, &y));
  Drive(Row(0) + "down left\n" + At(x, y + 20) + Row(1) + Row(2) + "up left\nwait 40\n");
  EXPECT_EQ(Names(), (std::vector<std::string>{"Renamed", "C", "A"}));
  EXPECT_EQ(Timeline.current, 2);
  EXPECT_EQ(Undo.label, std::string("Undo Move Layer"));
}

TEST_F(LayersWindow, CellsGoToImagesAndSelectRanges) {
  ASSERT_EQ(MakeAnim(4), 1);  // images 0..4
  RefreshMixer();
  struct Case {
    const char* name;
    int start;
    std::vector<int> path;  // cells the pointer visits while held
    bool shift;
    int position, lo, hi;  // lo > hi: no range
  };
  const Case cases[] = {
      {"press", 0, {3}, false, 3, 1, 0},
      {"drag forward", 0, {1, 2, 3}, false, 1, 1, 3},
      {"drag backward", 4, {4, 3, 2}, false, 4, 2, 4},
      {"shift press", 3, {1}, true, 3, 1, 3},
      {"shift press forward", 1, {4}, true, 1, 1, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetRange(0, 0);
    GotoPosition(c.start, 0);
    RefreshMixer();
    int x, y;
    ASSERT_TRUE(MixerCellPoint(c.path[0], &x, &y));
    if (c.shift) {
      HostDrag(x, y, x, kQualShift);
    } else {
      std::string events = Cell(c.path[0]) + "down left\n";
      for (size_t i = 1; i < c.path.size(); ++i) events += Cell(c.path[i]);
      Drive(events + "up left\nwait 40\n");
    }
    EXPECT_EQ(Timeline.position, c.position);
    int lo = 1, hi = 0;
    EXPECT_EQ(RangeBounds(&lo, &hi), c.lo <= c.hi);
    if (c.lo <= c.hi) {
      EXPECT_EQ(std::vector<int>({lo, hi}), std::vector<int>({c.lo, c.hi}));
    }
  }
}

TEST_F(LayersWindow, ButtonsRunTheirActions) {
  struct Case {
    const char* help;
    const char* label;
    int layers;
  };
  const Case cases[] = {
      {"New layer", "Undo New Layer", 4},
      {"Make Anim", "Undo Make Anim", 4},
      {"Add image", "Undo Insert Image", 4},
      {"Delete layer", "Undo Delete Layer \"Renamed\"", 3},  // the new layer asked its name
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.help);
    ClickHelp(c.help);
    EXPECT_EQ(Undo.label, std::string(c.label));
    EXPECT_EQ(LayerCount(), c.layers);
  }
  ClickHelp("Show all / current");
  EXPECT_EQ(Timeline.showMode, 0);
}

TEST_F(LayersWindow, FollowsPaintAndUndo) {
  Drive("wait 40");
  const std::vector<Pixel> before = Picture(mixer_);
  In.pageX = In.pageY = 0;
  SaveUndo();
  FillRect(Ws.page, 0, 0, 95, 63, 0xFFFF0000);
  MarkChanged(0, 0, 95, 63);
  Drive("wait 40");
  const std::vector<Pixel> painted = Picture(mixer_);
  EXPECT_NE(painted, before);
  UndoStep();
  Drive("wait 40");
  EXPECT_EQ(Picture(mixer_), before);
  // A layer made elsewhere gets its row without any call to the Window.
  NewLayer("D", false, true, 0, true);
  Drive("wait 40");
  EXPECT_NE(Picture(mixer_), before);
}

// Cells are 38 pixels apart; the bar lies over the layer's cells, the handle on its last one.
TEST_F(LayersWindow, TheBarMovesTheLayerInTimeAndItsEndSetsTheCount) {
  ASSERT_EQ(MakeAnim(2), 1);  // images 0..2, image 1 open
  GotoPosition(1, 0);
  RefreshMixer();
  DragBy("Layer in time", 3);
  EXPECT_EQ(Span(), (std::vector<int>{3, 5}));
  EXPECT_EQ(Timeline.position, 4);  // the open image went along
  EXPECT_EQ(Undo.label, std::string("Undo Move Layer"));
  // The time-line starts at 0: five cells back stop three cells back. One undo puts it back.
  DragBy("Layer in time", -5);
  EXPECT_EQ(Span(), (std::vector<int>{0, 2}));
  UndoStep();
  EXPECT_EQ(Span(), (std::vector<int>{3, 5}));
  RefreshMixer();

  // Cells beside the layer are no images: a press there changes nothing.
  int x, y;
  ASSERT_TRUE(MixerCellPoint(3, &x, &y));
  Drive(Click(x - 2 * 38, y));
  EXPECT_EQ(Timeline.position, 4);

  DragBy("Layer length", 2);
  EXPECT_EQ(Span(), (std::vector<int>{3, 7}));
  EXPECT_EQ(CurrentLayer()->sequence->count, 5);
  EXPECT_EQ(Undo.label, std::string("Undo Resize Layer \"A\""));
  DragBy("Layer length", -6);  // never fewer than one image
  EXPECT_EQ(Span(), (std::vector<int>{3, 3}));
  UndoStep();
  EXPECT_EQ(Span(), (std::vector<int>{3, 7}));
  RefreshMixer();

  // Ctrl and a drag move one image; it stays open at its new place.
  int x5, y5;
  ASSERT_TRUE(MixerCellPoint(3, &x, &y));
  ASSERT_TRUE(MixerCellPoint(5, &x5, &y5));
  HostDrag(x, y, x5, kQualControl);
  EXPECT_EQ(Undo.kind, 10);
  EXPECT_EQ(Timeline.position, 5);
  int lo, hi;
  EXPECT_FALSE(RangeBounds(&lo, &hi));
}

// A drag that does not end by its release leaves the layers where they were.
TEST_F(LayersWindow, AnInterruptedDragChangesNothing) {
  ASSERT_EQ(MakeAnim(2), 1);
  static int interrupt;  // 1 closes the Window, 2 deletes the dragged layer
  Input().screenGrab = [] {
    if (interrupt == 1) CloseMixer();
    if (interrupt == 2) DeleteLayer(Timeline.current);
  };
  struct Case {
    const char* name;
    const char* gadget;
    int interrupt;
    const char* end;
  };
  const Case cases[] = {
      {"held when the input ends", "Layer in time", 0, ""},
      {"held when the input ends", "Layer length", 0, ""},
      {"Window closed", "Layer in time", 1, "up left\n"},
      {"Window closed", "Layer length", 1, "up left\n"},
      {"layer deleted", "Layer length", 2, "up left\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + ", " + c.gadget);
    mixer_ = OpenMixer();
    RefreshMixer();
    std::vector<std::vector<int>> before;
    for (int i = 0; i < LayerCount(); ++i) before.push_back({LayerAt(i)->first, LayerAt(i)->last});
    interrupt = c.interrupt;
    int x = 0, y = 0;
    ASSERT_TRUE(Find(c.gadget, &x, &y));
    Drive(At(x, y) + "down left\n" + At(x + 80, y) + "key ctrl+F9\n" + At(x + 120, y) + c.end);
    Drive("up left\nwait 40\n");
    if (c.interrupt == 2) before.erase(before.begin());
    std::vector<std::vector<int>> after;
    for (int i = 0; i < LayerCount(); ++i) after.push_back({LayerAt(i)->first, LayerAt(i)->last});
    EXPECT_EQ(after, before);
    EXPECT_EQ(MixerOpen(), c.interrupt != 1);
  }
}

}  // namespace
}  // namespace vela
