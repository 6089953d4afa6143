// The Tools family and the shape commands as a script sees them: answers, old values, and
// figures on the page.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "paint/draw_modes.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "pixels/block.h"
#include "script/dispatcher.h"
#include "script/tool_commands.h"
#include "start/main_loop.h"
#include "start/workspace.h"

namespace vela {
namespace {

class ToolCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    BuildPixelTables();
    Ws = Workspace{};
    page_.reset(NewBlock(64, 64));
    Ws.page = page_.get();
    Ws.pageWidth = Ws.pageHeight = 64;
    Ws.noPage = 1;
    Draw = DrawContext{};
    ResetStrokeContext();
    ResetAllToolRecords();
    Tools.current = ToolPen;
    AntialiasOn = 0;
    Shapes = ShapeSettings{};
  }
  void TearDown() override {
    SetCurrentBrush(nullptr);
    Ws = Workspace{};
    AntialiasOn = 0;
  }
  std::string Run(const std::string& line) {
    CommandRecord r{};
    r.command = line.c_str();
    ExecuteCommand(&r);
    return r.result;
  }
  int Painted() const {
    return static_cast<int>(
        std::count_if(page_->data, page_->data + 64 * 64, [](Pixel p) { return p != 0; }));
  }
  BlockPtr page_;
};

TEST_F(ToolCommands, DrawModeAnswersTheOldWord) {
  EXPECT_EQ(Run("qd_setdrawmode"), "color");
  EXPECT_EQ(Run("qd_setdrawmode SHADE"), "color");
  EXPECT_EQ(Ws.drawMode, DrawShade);
  EXPECT_EQ(Run("[qd_setdrawmode hue]"), "[shade]");
  EXPECT_EQ(Ws.drawMode, DrawTint);
  // Merge needs a Spare; an unknown word is refused as well, the mode kept.
  EXPECT_EQ(Run("qd_setdrawmode merge"), "ERROR -1");
  EXPECT_EQ(Run("[qd_setdrawmode sparkle]"), "[ERROR -1]");
  EXPECT_EQ(Ws.drawMode, DrawTint);
}

TEST_F(ToolCommands, SwitchesAnswerTheirOldState) {
  EXPECT_EQ(Run("qd_aliason"), "off");
  EXPECT_EQ(Run("qd_aliason"), "on");
  EXPECT_EQ(Run("qd_aliasoff"), "on");
  EXPECT_EQ(AntialiasOn, 0);
  EXPECT_EQ(Run("qd_smoothedge 3"), "0");
  EXPECT_EQ(Run("qd_smoothedge 1"), "3");
  EXPECT_EQ(Run("qd_pen 5"), "3");
  EXPECT_EQ(Run("qd_inkpen 0"), "5");
  EXPECT_EQ(CurrentBrush()->width, 1);
  Run("qd_tension 40");
  EXPECT_EQ(Shapes.tension, 40);
}

TEST_F(ToolCommands, ToolsSelectAndSize) {
  EXPECT_EQ(Run("qd_airpen 20"), "");
  EXPECT_EQ(Tools.current, ToolAirbrush);
  EXPECT_EQ(CurrentBrush()->width, 41);
  Run("qd_airpower 64");
  EXPECT_EQ(Tools.dab[ToolAirbrush].word[kWordPower], 64);
  EXPECT_EQ(Draw.power, 64);
  Run("qd_chalk 7");
  EXPECT_EQ(Tools.current, ToolChalk);
  EXPECT_EQ(Draw.dabTexture, DabTextureChalk);
  Run("qd_chalkprofile 63 9");
  EXPECT_EQ(StrokeCtx.profile[63], 9);
  Run("qd_point");
  EXPECT_EQ(Tools.current, ToolPropellingPencil);
  Run("qd_pointpower 77");
  EXPECT_EQ(CurrentBrush()->mask[0], 77);
  Run("qd_pencil 6");
  EXPECT_EQ(Draw.dabTexture, DabTexturePencil);
  EXPECT_EQ(StrokeCtx.step, 1);
  // A tool's key word before the size: the wet tools have no command of their own.
  EXPECT_EQ(Run("qd_pen wet 20"), "12");
  EXPECT_EQ(Tools.current, ToolWaterColor);
  EXPECT_EQ(ToolSize(), 20);
  EXPECT_EQ(Run("qd_pen Oil"), "15");
  EXPECT_EQ(Tools.current, ToolOil);
  EXPECT_EQ(ToolSize(), 1) << "no size is 0, held at the slider's least";
  Run("qd_pen water 9");
  EXPECT_EQ(Tools.current, ToolGouache);
  EXPECT_EQ(Run("qd_pen sparkle 4"), "3") << "no tool word: the Pen, and the number is lost";
  EXPECT_EQ(Tools.current, ToolPen);
  EXPECT_EQ(ToolSize(), 0);
}

TEST_F(ToolCommands, FiguresDrawWithTheCurrentTool) {
  Run("qd_pen 0");
  Run("qd_rect 50 50 10 10");
  BlockPtr reversed(NewBlock(64, 64));
  std::copy(page_->data, page_->data + 64 * 64, reversed->data);
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_rect 10 10 50 50");
  EXPECT_TRUE(std::equal(page_->data, page_->data + 64 * 64, reversed->data));
  EXPECT_EQ(Painted(), 4 * 40);

  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_circle 30 30 0");
  EXPECT_EQ(Painted(), 1);
  EXPECT_EQ(page_->Row(30)[30], Draw.APen);

  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_areainit");
  Run("qd_areamove 5 5");
  Run("qd_areamove 25 5");
  Run("qd_polyspline 1");
  EXPECT_EQ(Painted(), 21);
  EXPECT_EQ(page_->Row(5)[15], Draw.BPen);
  Run("qd_initarea");
  Run("qd_polyspline");
  EXPECT_EQ(Painted(), 21);

  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_spline 5 40 30 20 55 40");
  EXPECT_EQ(page_->Row(20)[30], Draw.APen);
  EXPECT_EQ(page_->Row(40)[5], Draw.APen);
  EXPECT_EQ(page_->Row(40)[55], Draw.APen);

  // Filled forms: corners in any order, negative radii as sizes, the area list as a polygon.
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_rectfill 50 40 10 20 0 0");
  EXPECT_EQ(Painted(), 41 * 21);
  EXPECT_EQ(page_->Row(30)[30], Draw.APen);
  Run("qd_rectfill 0 0 63 30 0 0 1");
  EXPECT_EQ(page_->Row(30)[30], Draw.BPen);
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_circlefill 30 30 -1 0 0");  // the plus of the radius-1 rim, filled
  EXPECT_EQ(Painted(), 5);
  EXPECT_EQ(page_->Row(29)[30], Draw.APen);
  Run("qd_areaellipse 10 10 0 2 0 0");  // a flat ellipse fills its run
  EXPECT_EQ(Painted(), 5 + 5);
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_areainit");
  Run("qd_areamove 10 10");
  Run("qd_areamove 20 10");
  Run("qd_areamove 20 20");
  Run("qd_areamove 10 20");
  Run("qd_areadraw 0 0 0");
  EXPECT_EQ(Painted(), 100);  // the centres of pixels 10 to 19 lie within
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_areainit");
  Run("qd_areamove 7 9");
  Run("qd_areadraw 0 0 0");  // a polygon of one point marks its pixel
  EXPECT_EQ(Painted(), 1);
  EXPECT_EQ(page_->Row(9)[7], Draw.APen);

  // Figures far larger than the page still cover it: every row of the circle, and of the
  // flat ellipse the rows within 4 of the centre whole and the two tips a pixel each.
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_circlefill 30 30 100000000 0 0");
  EXPECT_EQ(Painted(), 64 * 64);
  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_ellipsefill 30 30 2000000 5 0 0");
  EXPECT_EQ(Painted(), 9 * 64 + 2);
  EXPECT_EQ(page_->Row(25)[30], Draw.APen);

  std::fill(page_->data, page_->data + 64 * 64, 0);
  Run("qd_ghostline 0 0 63 63");
  EXPECT_EQ(Painted(), 0);
  EXPECT_FALSE(OverlayPixels().empty());
  RemoveOverlay();
}

}  // namespace
}  // namespace vela
