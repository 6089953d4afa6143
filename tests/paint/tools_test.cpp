// Drawing tools: each activation against its record, the wet responses, the undo-mode rule,
// stepping and sizing, the Oil's bristles, the presets and the "Pens" section.
#include "paint/tools.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "paint_fixture.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/main_loop.h"
#include "start/run_paths.h"

namespace vela {
namespace {

class ToolTest : public test::PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetStrokeContext();
    ResetAllToolRecords();
    Tools.current = ToolPen;
    Tools.lastActivated = -1;
    Ws.undoMode = 0;
    Wet = WetSettings{};
  }
  void TearDown() override {
    SetCurrentBrush(nullptr);
    Wet = WetSettings{};
    Ws.undoMode = 0;
    UndoMode = 0;
    PaintTest::TearDown();
  }
};

TEST_F(ToolTest, ActivationFollowsEachRecord) {
  struct Want {
    int tool;
    int side;  // of the brush
    int kind;
    int step;
    DabTexture texture;
    bool wet;
    int power;
  } wants[] = {
      {ToolPen, 7, BrushKindPen, 0, DabTextureNone, false, 255},
      {ToolPropellingPencil, 1, BrushKindDab, 0, DabTextureNone, false, 255},
      {ToolPencil, 11, BrushKindDab, 1, DabTexturePencil, false, 128},
      {ToolChalk, 11, BrushKindDab, 1, DabTextureChalk, false, 128},
      {ToolAirbrush, 25, BrushKindDab, 2, DabTextureNone, true, 128},
      {ToolWaterColor, 25, BrushKindDab, 0, DabTextureNone, true, 128},  // no auto step
      {ToolOil, 31, BrushKindDab, 0, DabTextureNone, true, 128},
      {ToolGouache, 31, BrushKindDab, 0, DabTextureNone, true, 128},
  };
  for (const Want& w : wants) {
    SelectDrawingTool(w.tool);
    Brush* b = CurrentBrush();
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(StrokeCtx.tool, w.tool);
    EXPECT_EQ(b->width, w.side) << w.tool;
    EXPECT_EQ(b->kind, w.kind) << w.tool;
    EXPECT_EQ(StrokeCtx.step, w.step) << w.tool;
    EXPECT_EQ(Draw.dabTexture, w.texture) << w.tool;
    EXPECT_EQ(Wet.on, w.wet) << w.tool;
    EXPECT_EQ(Draw.power, w.power) << w.tool;
    EXPECT_TRUE(StrokeCtx.pressureOn);
    // All read speed; only the Pen inverted, which has no Inversion of its own.
    EXPECT_TRUE(StrokeCtx.speedOn) << w.tool;
    EXPECT_EQ(StrokeCtx.speedInvert, w.tool == ToolPen) << w.tool;
    EXPECT_EQ(SpeedScale, 25);
  }
  // The dab's profile is the record's envelope. Radius 5 resamples to r = 4 entries; the centre's
  // share is bytes 47.25 to 63 of 4·i: (0.75·188 + 3300) / 15.75 = 218.48, times 128/255: 109.
  SelectDrawingTool(ToolChalk);
  EXPECT_EQ(StrokeCtx.profile[63], 252);
  EXPECT_EQ(CurrentBrush()->mask[5 * 11 + 5], 109);

  // Pen sizes: Size 1 the disc, Size 2 the pressure target.
  Tools.pen.size1 = 9;
  Tools.pen.size2 = 2;
  SelectDrawingTool(ToolPen);
  EXPECT_EQ(CurrentBrush()->width, 19);
  EXPECT_EQ(StrokeCtx.penRadius, 9);
  EXPECT_EQ(StrokeCtx.targetRadius, 2);
  Tools.pen.speed = 0;
  ActivateTool();
  EXPECT_TRUE(StrokeCtx.speedInvert) << "the Pen reads speed inverted, speed on or off";

  // The Propelling Pencil's single mask byte is its opacity, and so is the power.
  Tools.pointe.opacity = 90;
  SelectDrawingTool(ToolPropellingPencil);
  EXPECT_EQ(CurrentBrush()->mask[0], 90);
  EXPECT_EQ(Draw.power, 90);
  EXPECT_EQ(StrokeCtx.penRadius, 0);

  // Without a custom image the Brush tool stamps a transparent 4×4, step min(w, h) / 4.
  SelectDrawingTool(ToolCustomBrush);
  EXPECT_EQ(CurrentBrush()->width, 4);
  EXPECT_EQ(CurrentBrush()->kind, BrushKindImage);
  EXPECT_EQ(StrokeCtx.step, 1);
  EXPECT_FALSE(StrokeCtx.pressureOn);
  Tools.custom.opacity = 200;
  ActivateTool();
  EXPECT_EQ(CurrentBrush()->kind, BrushKindImageFaded);
}

// The Pen as it comes, under a mouse: at rest full paint at Size 1; fast, thin and faint.
TEST_F(ToolTest, AFreshPenLaysPaintByItsSpeed) {
  BlockPtr page(NewBlock(40, 20));
  Ws.page = page.get();
  Ws.drawMode = DrawColor;
  Ws.noPage = 1;
  SetSpeedCurve(0, 0, 35);
  SelectDrawingTool(ToolPen);
  ASSERT_TRUE(StrokeCtx.speedOn);
  Speed = SpeedState{};
  // Five pixels a second is next to rest: both inputs take the low reading.
  for (int x : {5, 10, 15}) UpdateStrokeInputs(-1, SpeedInput(1.0, x, 10));
  EXPECT_EQ(Inputs.size, Inputs.opacity);
  EXPECT_LT(Inputs.opacity, 8);
  // 600 pixels in a tenth of a centisecond at scale 35 caps the reading at the curve's end.
  UpdateStrokeInputs(-1, SpeedInput(1.001, 615, 10));
  EXPECT_EQ(Inputs.size, SpeedCurve[255]);
  EXPECT_EQ(Inputs.opacity, SpeedCurve[255]);
  StrokeLine(CurrentBrush(), (5 << 16) + 0x8000, (10 << 16) + 0x8000, (30 << 16) + 0x8000,
             (10 << 16) + 0x8000, Draw.APen, 0, 1, Inputs.size, Inputs.size, Inputs.opacity,
             Inputs.opacity);
  EXPECT_EQ(page->Row(10)[20], Draw.APen) << "fast: full paint";
  Ws.page = nullptr;
}

TEST_F(ToolTest, AutoStepIsAFifthOfTheSize) {
  for (int tool : {ToolPencil, ToolChalk, ToolAirbrush}) {
    Tools.dab[tool].word[kWordSize] = 4;
    SelectDrawingTool(tool);
    EXPECT_EQ(StrokeCtx.step, 0);
    SetToolSize(5);
    EXPECT_EQ(StrokeCtx.step, 1);
    SetToolSize(14);
    EXPECT_EQ(StrokeCtx.step, 2);
    Tools.dab[tool].word[kWordAutoStep] = 0;
    Tools.dab[tool].word[kWordStep] = 7;
    ActivateTool();
    EXPECT_EQ(StrokeCtx.step, 7);
  }
}

TEST_F(ToolTest, WetResponsesOfTheFourWetTools) {
  SelectDrawingTool(ToolAirbrush);
  EXPECT_EQ(WetResponse[255], 255);  // 255³ / 65025
  EXPECT_EQ(WetResponse[254], 252);  // 16387064 / 65025 = 252
  Tools.dab[ToolAirbrush].word[kWordResponse] = 50;
  ActivateTool();
  EXPECT_EQ(WetResponse[255], 127);
  Tools.dab[ToolAirbrush].word[kWordResponse] = 0;  // reads as 100
  ActivateTool();
  EXPECT_EQ(WetResponse[255], 255);

  SelectDrawingTool(ToolWaterColor);
  EXPECT_EQ(WetResponse[169], 127);  // 128·169/170
  EXPECT_EQ(WetResponse[170], 128);
  EXPECT_EQ(WetResponse[171], 127);
  EXPECT_EQ(WetResponse[255], 43);

  SelectDrawingTool(ToolOil);
  EXPECT_EQ(WetResponse[10], 102);  // 10·100·0.102
  EXPECT_EQ(WetResponse[24], 244);
  EXPECT_EQ(WetResponse[25], 255);
  EXPECT_EQ(Wet.tool, ToolOil);

  SelectDrawingTool(ToolGouache);
  EXPECT_EQ(WetResponse[85], 100);  // 200·85/170
  EXPECT_EQ(WetResponse[170], 200);
  EXPECT_EQ(WetResponse[255], 115);
  // The relief ramp starts from the A pen.
  EXPECT_EQ(ReliefRamp[0], Draw.APen);
}

TEST_F(ToolTest, ChangingToolMarksTheWetBaseStaleAndTheUndoModeFollowsDrying) {
  SelectDrawingTool(ToolWaterColor);
  EXPECT_TRUE(Wet.stale);
  Wet.stale = false;
  ActivateTool();
  EXPECT_FALSE(Wet.stale) << "the same tool again keeps the base";
  EXPECT_EQ(Ws.undoMode, 0);
  EXPECT_FALSE(StrokeCtx.keepWet);

  SetToolDrying(false);
  EXPECT_TRUE(Wet.stale);
  EXPECT_TRUE(StrokeCtx.keepWet);
  EXPECT_EQ(Ws.undoMode, 1);
  EXPECT_EQ(UndoMode, 1);
  SelectDrawingTool(ToolPen);
  EXPECT_EQ(Ws.undoMode, 0);
  EXPECT_FALSE(Wet.on);
  SelectDrawingTool(ToolWaterColor);
  EXPECT_EQ(Ws.undoMode, 1) << "a tool that builds up colour keeps its manual steps";
  SetToolDrying(true);
  EXPECT_EQ(Ws.undoMode, 0);

  Ws.undoMode = 2;
  SetToolDrying(false);
  SelectDrawingTool(ToolPen);
  EXPECT_EQ(Ws.undoMode, 2) << "no undo stays no undo";
}

TEST_F(ToolTest, StepsAndSizesStayInTheirLimits) {
  SelectDrawingTool(ToolPen);
  PreviousTool();
  EXPECT_EQ(Tools.current, ToolGouache);
  NextTool();
  EXPECT_EQ(Tools.current, ToolPen);
  NextTool();
  EXPECT_EQ(Tools.current, ToolPropellingPencil);
  ResetTool();
  EXPECT_EQ(Tools.current, ToolPen);

  EXPECT_EQ(SetToolSize(100), 3);
  IncreaseToolsSize();
  EXPECT_EQ(Tools.pen.size1, 100);
  SetToolSize(0);
  DecreaseToolsSize();
  EXPECT_EQ(Tools.pen.size1, 0);
  EXPECT_EQ(CurrentBrush()->width, 1);
  IncreaseToolsSize();
  EXPECT_EQ(CurrentBrush()->width, 3);

  SelectDrawingTool(ToolAirbrush);
  EXPECT_EQ(SetToolSize(-4), 12);
  EXPECT_EQ(ToolSize(), 1);
  IncreaseToolsSize();
  EXPECT_EQ(ToolSize(), 2);
  EXPECT_EQ(CurrentBrush()->width, 5);
  ChangeToolSize(3);  // the wheel, three notches
  EXPECT_EQ(ToolSize(), 5);

  // The custom Brush: 110% and 90% of both sides, at least a pixel, never under 1.
  Block* image = NewBlock(2, 1);
  image->data[0] = 0xFF0000FFu;
  image->data[1] = 0xFFFF0000u;
  SetCustomImage(image);
  SelectDrawingTool(ToolCustomBrush);
  IncreaseToolsSize();  // 2.2 and 1.1 both truncate back: one pixel more each
  ASSERT_EQ(CurrentBrush()->width, 3);
  EXPECT_EQ(CurrentBrush()->height, 2);
  // Nearest pixels: columns 0, 0 and 1 of the old image.
  const Pixel* row = CurrentBrush()->pixels->Row(1);
  EXPECT_EQ(std::vector<Pixel>(row, row + 3),
            std::vector<Pixel>({0xFF0000FFu, 0xFF0000FFu, 0xFFFF0000u}));
  // A pixel a step up to 10, then 10%: 11, 12.1, 13.2 ... 19.8 and 20.9 truncate to 20.
  for (int i = 0; i < 17; ++i) IncreaseToolsSize();
  EXPECT_EQ(CustomImage()->width, 20);
  EXPECT_EQ(CustomImage()->height, 19);
  ChangeToolSize(-1);  // 18 and 17.1
  EXPECT_EQ(CustomImage()->width, 18);
  EXPECT_EQ(CustomImage()->height, 17);
  for (int i = 0; i < 40; ++i) DecreaseToolsSize();
  EXPECT_EQ(CurrentBrush()->width, 1);
  EXPECT_EQ(CurrentBrush()->height, 1);
  SetCustomImage(nullptr);
}

// A second press on a shape's key turns its filled form; OpenSettings asks for the current
// shape's settings, and an answer that is no choice, or a cancel, keeps them.
TEST_F(ToolTest, ShapeKeysToggleFilledFormsAndOpenSettings) {
  static const bool added = (AddActions(ToolActions()), true);
  ASSERT_TRUE(added);
  Shape = ShapeState{};
  Shapes = ShapeSettings{};
  SelectTool(kToolPoint);
  RunActions("SelectRectangle");
  EXPECT_EQ(CurrentTool, kToolRectangle);
  EXPECT_FALSE(ShapeFilled(kToolRectangle));
  RunActions("SelectRectangle");
  EXPECT_TRUE(ShapeFilled(kToolRectangle));
  RunActions("SelectCircle, SelectRectangle");
  EXPECT_TRUE(ShapeFilled(kToolRectangle)) << "another shape between is no second press";
  EXPECT_FALSE(ShapeFilled(kToolCircle));
  RunActions("SelectLine, SelectLine, SelectPoint, SelectPoint");
  EXPECT_FALSE(ShapeFilled(kToolLine) || ShapeFilled(kToolPoint)) << "they have no filled form";

  static std::vector<std::string> answers, asked;
  AskHandlers typed{};
  typed.askText = [](const char* title, char* text, int capacity) {
    asked.push_back(std::string(title) + "=" + text);
    if (answers.empty()) return false;
    std::snprintf(text, capacity, "%s", answers.front().c_str());
    answers.erase(answers.begin());
    return true;
  };
  const AskHandlers* old = SetAskHandlers(&typed);
  SelectTool(kToolCircle);
  answers = {"3points", "c"};  // blanks and case aside, first letters are enough
  RunActions("OpenSettings");
  EXPECT_EQ(Shapes.circle3, 1);
  RunActions("OpenSettings");
  EXPECT_EQ(Shapes.circle3, 0);
  answers = {"3"};
  RunActions("OpenSettings");
  EXPECT_EQ(Shapes.circle3, 1);
  SelectTool(kToolPoint);
  answers = {"Single"};
  RunActions("OpenSettings");
  answers = {"sideways"};
  RunActions("OpenSettings");
  RunActions("OpenSettings");  // cancelled
  EXPECT_EQ(Shapes.dottedSingle, 1);
  SelectTool(kToolSpline);
  answers = {"50 100"};
  RunActions("OpenSettings");
  EXPECT_EQ(Shapes.lineStart, 127);  // 50·255/100
  EXPECT_EQ(Shapes.lineEnd, 255);
  EXPECT_EQ(asked, (std::vector<std::string>{"Circle=Center", "Circle=3 Points", "Circle=Center",
                                             "Dotted freehand=Continue", "Dotted freehand=Single",
                                             "Dotted freehand=Single",
                                             "Line pressure: Start End=100 100"}));
  SetAskHandlers(old);
  SelectTool(kToolDraw);
  Shape = ShapeState{};
  Shapes = ShapeSettings{};
}

TEST_F(ToolTest, QuickSquareRootIsOneNewtonStep) {
  EXPECT_EQ(QuickSqrt(0), 0u);
  EXPECT_EQ(QuickSqrt(1), 1u);
  EXPECT_EQ(QuickSqrt(2), 1u);            // top bit 1, s 1: (1 + 2) >> 1
  EXPECT_EQ(QuickSqrt(100), 10u);         // top bit 6, s 3: (12 + 8) >> 1
  EXPECT_EQ(QuickSqrt(1024), 32u);        // exact on even powers of two
  EXPECT_EQ(QuickSqrt(200 * 256), 228u);  // top bit 15, s 8: (200 + 256) >> 1; exactly 226.3
  EXPECT_EQ(QuickSqrt(0xFFFFFFFFu), 65535u);
}

TEST_F(ToolTest, HardOilBristlesSitAtTheCentreOfASmallDab) {
  // Radius 1: side 3, r = max(3/2 - 1, 1) = 1, so q = min(2, 1) = r and t is always 0.
  uint8_t profile[64];
  for (int i = 0; i < 64; ++i) profile[i] = 255;
  uint8_t mask[9];
  FillBristleDab(mask, 3, profile, 255, 2);
  // d = 0: v = B[0]·15 = 3825, (3825 >> 4)·A[0] >> 8 = 239·255 >> 8.
  EXPECT_EQ(mask[4], 238);
  for (int i : {0, 1, 2, 3, 5, 6, 7, 8}) EXPECT_EQ(mask[i], 0) << i;

  Tools.dab[ToolOil].word[kWordStiffness] = 1;
  Tools.dab[ToolOil].word[kWordSize] = 1;
  SelectDrawingTool(ToolOil);
  Brush* b = CurrentBrush();
  ASSERT_EQ(b->width, 3);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(b->mask[i] != 0, i == 4) << i;

  // A large soft dab: bristles stay inside the dab's circle.
  std::vector<uint8_t> big(41 * 41);
  FillBristleDab(big.data(), 41, profile, 255, 6);
  int lit = 0;
  for (int y = 0; y < 41; ++y)
    for (int x = 0; x < 41; ++x) {
      if (!big[y * 41 + x]) continue;
      ++lit;
      EXPECT_LE((x - 20) * (x - 20) + (y - 20) * (y - 20), 26 * 26);
    }
  EXPECT_GT(lit, 100);
}

TEST_F(ToolTest, PresetsAreTheDescribedCurves) {
  auto p = [](int i) { return EnvelopePreset(i); };
  EXPECT_EQ(p(0)[0], 3);
  EXPECT_EQ(p(0)[1], 7);
  EXPECT_EQ(p(0)[63], 255);
  EXPECT_EQ(p(1)[0], 255);
  EXPECT_EQ(p(1)[63], 3);
  EXPECT_EQ((std::vector<int>{p(2)[0], p(2)[1], p(2)[2], p(2)[3], p(2)[63]}),
            (std::vector<int>{255, 248, 240, 232, 0}));
  for (int i = 0; i < 64; ++i) EXPECT_EQ(p(3)[i], p(2)[63 - i]);
  EXPECT_EQ((std::vector<int>{p(4)[0], p(4)[1], p(4)[2], p(4)[3], p(4)[4], p(4)[5], p(4)[63]}),
            (std::vector<int>{0, 0, 1, 2, 3, 5, 255}));
  EXPECT_EQ(p(5)[31], 254);
  EXPECT_EQ(p(5)[63], 0);
  EXPECT_EQ((std::vector<int>{p(6)[0], p(6)[30], p(6)[31], p(6)[32], p(6)[63]}),
            (std::vector<int>{0, 255, 255, 255, 0}));
  EXPECT_GT(p(6)[15] - p(6)[13], p(6)[4] - p(6)[2]) << "steep around byte 14";
  EXPECT_EQ(p(7)[0], 11);
  EXPECT_EQ(p(7)[63], 0);
  EXPECT_EQ(p(7)[31], 255);
  EXPECT_EQ(p(8)[15], 255);
  EXPECT_EQ(p(8)[47], 255);
  EXPECT_LT(p(8)[31], 30);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(p(9)[i], 12 + 16 * (i % 16));
    EXPECT_TRUE(p(10)[i] >= 105 && p(10)[i] <= 245);
  }
  EXPECT_EQ(p(11)[0], 30);
  EXPECT_EQ(p(11)[11], 230);
  EXPECT_EQ(p(11)[30], 0);
  EXPECT_EQ(p(11)[51], 10);
  EXPECT_EQ(p(11)[63], 250);

  ApplyEnvelopePreset(ToolChalk, -1);
  EXPECT_EQ(Tools.dab[ToolChalk].word[kWordPreset], 11);
  ApplyEnvelopePreset(ToolChalk, 12);
  EXPECT_EQ(Tools.dab[ToolChalk].word[kWordPreset], 0);
  uint8_t env[64];
  GetEnvelope(Tools.dab[ToolChalk], env);
  EXPECT_EQ(env[1], 7);
  ResetToolRecord(ToolChalk);
  GetEnvelope(Tools.dab[ToolChalk], env);
  EXPECT_EQ(env[1], 4);
  EXPECT_EQ(Tools.dab[ToolChalk].word[kWordPreset], 4);
}

TEST_F(ToolTest, PensSectionKeepsEveryRecord) {
  namespace fs = std::filesystem;
  std::string dir = (fs::temp_directory_path() / "vela-tools-XXXXXX").string();
  ASSERT_NE(mkdtemp(dir.data()), nullptr);
  fs::create_directories(fs::path(dir) / "configs");
  Paths().homeDir = dir;
  ConfigOpen("tools");

  Tools.pen = {0, 1, 30, 8, 2};
  Tools.dab[ToolWaterColor].word[kWordSize] = 33;
  Tools.dab[ToolWaterColor].word[kWordNoDrying] = 1;
  Tools.dab[ToolGouache].word[kWordStiffness] = 2;
  ApplyEnvelopePreset(ToolOil, 9);
  Tools.current = ToolGouache;
  Shapes.dottedSingle = 1;
  Shapes.circle3 = 1;
  Shapes.lineEnd = 64;
  SavePensSettings();

  char text[512];
  ConfigGet("Pens", "Pen", text, "", sizeof text);
  EXPECT_STREQ(text, "0 1 30 8 2");
  ConfigGet("Pens", "Wet", text, "", sizeof text);
  EXPECT_STREQ(text, "1 1 25 33 128 0 1 0 4 100 0 1");
  ConfigGet("Pens", "Selected", text, "", sizeof text);
  EXPECT_STREQ(text, "Water");  // Gouache saves under "Water"
  ConfigGet("Settings", "Circle", text, "", sizeof text);
  EXPECT_STREQ(text, "3 Points");
  ConfigGet("Pens", "Oil_Curve", text, "", sizeof text);
  EXPECT_EQ(std::string(text).substr(0, 6), "0c1c2c");

  ResetAllToolRecords();
  Shapes = ShapeSettings{};
  LoadPensSettings();
  EXPECT_EQ(Shapes.dottedSingle, 1);
  EXPECT_EQ(Shapes.circle3, 1);
  EXPECT_EQ(Shapes.lineStart, 255);
  EXPECT_EQ(Shapes.lineEnd, 64);
  Shapes = ShapeSettings{};
  EXPECT_EQ(Tools.pen.size1, 8);
  EXPECT_EQ(Tools.pen.limit, 30);
  EXPECT_EQ(Tools.dab[ToolWaterColor].word[kWordSize], 33);
  EXPECT_EQ(Tools.dab[ToolWaterColor].word[kWordNoDrying], 1);
  EXPECT_EQ(Tools.dab[ToolGouache].word[kWordStiffness], 2);
  EXPECT_EQ(Tools.dab[ToolOil].word[kWordPreset], 9);
  uint8_t env[64];
  GetEnvelope(Tools.dab[ToolOil], env);
  EXPECT_EQ(env[2], 44);
  EXPECT_EQ(Tools.current, ToolGouache);
  EXPECT_EQ(ToolFromKey("wet"), ToolWaterColor);
  EXPECT_EQ(ToolFromKey("pointe"), ToolPropellingPencil);

  ConfigOpen(nullptr);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vela
