// Drawing tools: each activation against its record, the wet responses, the undo-mode rule,
// stepping and sizing, the Oil's bristles, the presets and the "Pens" section.
#include "paint/tools.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <tuple>

#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint_fixture.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/main_loop.h"
#include "start/run_paths.h"

namespace vela::test {
namespace {

class ToolTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetAllToolRecords();
    Tools.current = ToolPen;
    Tools.lastActivated = -1;
    Ws.undoMode = 0;
  }
  void TearDown() override {
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
    // All read pressure and speed; only the Pen inverted, which has no Inversion of its own.
    EXPECT_EQ(std::tuple(StrokeCtx.tool, b->width, b->kind, StrokeCtx.step, Draw.dabTexture, Wet.on,
                         Draw.power, StrokeCtx.pressureOn, StrokeCtx.speedOn, StrokeCtx.speedInvert,
                         SpeedScale),
              std::tuple(w.tool, w.side, w.kind, w.step, w.texture, w.wet, w.power, true, true,
                         w.tool == ToolPen, 25));
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
  EXPECT_EQ(std::tuple(CurrentBrush()->width, StrokeCtx.penRadius, StrokeCtx.targetRadius),
            std::tuple(19, 9, 2));
  Tools.pen.speed = 0;
  ActivateTool();
  EXPECT_TRUE(StrokeCtx.speedInvert) << "the Pen reads speed inverted, speed on or off";

  // The Propelling Pencil's single mask byte is its opacity, and so is the power.
  Tools.pointe.opacity = 90;
  SelectDrawingTool(ToolPropellingPencil);
  EXPECT_EQ(std::tuple(CurrentBrush()->mask[0], Draw.power, StrokeCtx.penRadius),
            std::tuple(90, 90, 0));

  // Without a custom image the Brush tool stamps a transparent 4×4, step min(w, h) / 4.
  SelectDrawingTool(ToolCustomBrush);
  EXPECT_EQ(
      std::tuple(CurrentBrush()->width, CurrentBrush()->kind, StrokeCtx.step, StrokeCtx.pressureOn),
      std::tuple(4, BrushKindImage, 1, false));
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
  EXPECT_EQ(std::pair(Inputs.size, Inputs.opacity), std::pair(+SpeedCurve[255], +SpeedCurve[255]));
  StrokeLine(CurrentBrush(), F(5), F(10), F(30), F(10), Draw.APen, 0, 1, Inputs.size, Inputs.size,
             Inputs.opacity, Inputs.opacity);
  EXPECT_EQ(page->Row(10)[20], Draw.APen) << "fast: full paint";
}

TEST_F(ToolTest, AutoStepIsAFifthOfTheSize) {
  for (int tool : {ToolPencil, ToolChalk, ToolAirbrush}) {
    Tools.dab[tool].word[kWordSize] = 4;
    SelectDrawingTool(tool);
    EXPECT_EQ(StrokeCtx.step, 0);
    SetToolSize(5);
    EXPECT_EQ(StrokeCtx.step, 1);  // 5 / 5
    SetToolSize(14);
    EXPECT_EQ(StrokeCtx.step, 2);
    Tools.dab[tool].word[kWordAutoStep] = 0;
    Tools.dab[tool].word[kWordStep] = 7;
    ActivateTool();
    EXPECT_EQ(StrokeCtx.step, 7);
  }
}

TEST_F(ToolTest, WetResponsesOfTheFourWetTools) {
  auto at = [](std::vector<int> i) {
    for (int& v : i) v = WetResponse[v];
    return i;
  };
  SelectDrawingTool(ToolAirbrush);
  EXPECT_EQ(at({255, 254}), (std::vector<int>{255, 252}));  // i³ / 65025
  Tools.dab[ToolAirbrush].word[kWordResponse] = 50;
  ActivateTool();
  EXPECT_EQ(WetResponse[255], 127);
  Tools.dab[ToolAirbrush].word[kWordResponse] = 0;  // reads as 100
  ActivateTool();
  EXPECT_EQ(WetResponse[255], 255);
  SelectDrawingTool(ToolWaterColor);
  EXPECT_EQ(at({169, 170, 171, 255}), (std::vector<int>{127, 128, 127, 43}));  // 128·i/170 first
  SelectDrawingTool(ToolOil);
  EXPECT_EQ(at({10, 24, 25}), (std::vector<int>{102, 244, 255}));  // i·100·0.102 below 25
  EXPECT_EQ(Wet.tool, ToolOil);
  SelectDrawingTool(ToolGouache);
  EXPECT_EQ(at({85, 170, 255}), (std::vector<int>{100, 200, 115}));  // 200·i/170 first
  EXPECT_EQ(ReliefRamp[0], Draw.APen);  // the relief ramp starts from the A pen
}

TEST_F(ToolTest, ChangingToolMarksTheWetBaseStaleAndTheUndoModeFollowsDrying) {
  SelectDrawingTool(ToolWaterColor);
  EXPECT_TRUE(Wet.stale);
  Wet.stale = false;
  ActivateTool();
  EXPECT_FALSE(Wet.stale) << "the same tool again keeps the base";
  EXPECT_EQ(std::pair(Ws.undoMode, StrokeCtx.keepWet), std::pair(0, false));
  SetToolDrying(false);
  EXPECT_EQ(std::tuple(Wet.stale, StrokeCtx.keepWet, Ws.undoMode, UndoMode),
            std::tuple(true, true, 1, 1));
  SelectDrawingTool(ToolPen);
  EXPECT_EQ(std::pair(Ws.undoMode, Wet.on), std::pair(0, false));
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
  std::vector<int> seen;
  SelectDrawingTool(ToolPen);
  for (auto step : {PreviousTool, NextTool, NextTool, ResetTool}) {
    step();
    seen.push_back(Tools.current);
  }
  EXPECT_EQ(seen, (std::vector<int>{ToolGouache, ToolPen, ToolPropellingPencil, ToolPen}));

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
  EXPECT_EQ(std::pair(ToolSize(), CurrentBrush()->width), std::pair(2, 5));
  ChangeToolSize(3);  // the wheel, three notches
  EXPECT_EQ(ToolSize(), 5);

  // The custom Brush: 110% and 90% of both sides, at least a pixel, never under 1.
  Block* image = NewBlock(2, 1);
  image->data[0] = 0xFF0000FFu;
  image->data[1] = 0xFFFF0000u;
  SetCustomImage(image);
  SelectDrawingTool(ToolCustomBrush);
  IncreaseToolsSize();  // 2.2 and 1.1 both truncate back: one pixel more each
  ASSERT_EQ(std::pair(CurrentBrush()->width, CurrentBrush()->height), std::pair(3, 2));
  // Nearest pixels: columns 0, 0 and 1 of the old image.
  const Pixel* row = CurrentBrush()->pixels->Row(1);
  EXPECT_EQ(std::vector<Pixel>(row, row + 3),
            std::vector<Pixel>({0xFF0000FFu, 0xFF0000FFu, 0xFFFF0000u}));
  // A pixel a step up to 10, then 10%: 11, 12.1, 13.2 ... 19.8 and 20.9 truncate to 20.
  for (int i = 0; i < 17; ++i) IncreaseToolsSize();
  EXPECT_EQ(std::pair(CustomImage()->width, CustomImage()->height), std::pair(20, 19));
  ChangeToolSize(-1);  // 18 and 17.1
  EXPECT_EQ(std::pair(CustomImage()->width, CustomImage()->height), std::pair(18, 17));
  for (int i = 0; i < 40; ++i) DecreaseToolsSize();
  EXPECT_EQ(std::pair(CurrentBrush()->width, CurrentBrush()->height), std::pair(1, 1));
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
  const int points[][3] = {// preset, byte, value
                           {0, 0, 3},     {0, 1, 7},    {0, 63, 255}, {1, 0, 255},  {1, 63, 3},
                           {2, 0, 255},   {2, 1, 248},  {2, 2, 240},  {2, 3, 232},  {2, 63, 0},
                           {4, 0, 0},     {4, 1, 0},    {4, 2, 1},    {4, 3, 2},    {4, 4, 3},
                           {4, 5, 5},     {4, 63, 255}, {5, 31, 254}, {5, 63, 0},   {6, 0, 0},
                           {6, 30, 255},  {6, 31, 255}, {6, 32, 255}, {6, 63, 0},   {7, 0, 11},
                           {7, 31, 255},  {7, 63, 0},   {8, 15, 255}, {8, 47, 255}, {11, 0, 30},
                           {11, 11, 230}, {11, 30, 0},  {11, 51, 10}, {11, 63, 250}};
  for (auto [preset, i, v] : points) EXPECT_EQ(p(preset)[i], v) << preset << " byte " << i;
  EXPECT_GT(p(6)[15] - p(6)[13], p(6)[4] - p(6)[2]) << "steep around byte 14";
  EXPECT_LT(p(8)[31], 30);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(p(3)[i], p(2)[63 - i]);
    EXPECT_EQ(p(9)[i], 12 + 16 * (i % 16));
    EXPECT_TRUE(p(10)[i] >= 105 && p(10)[i] <= 245);
  }

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

  auto get = [](const char* section, const char* key) {
    char text[512];
    ConfigGet(section, key, text, "", sizeof text);
    return std::string(text);
  };
  EXPECT_EQ(get("Pens", "Pen"), "0 1 30 8 2");
  EXPECT_EQ(get("Pens", "Wet"), "1 1 25 33 128 0 1 0 4 100 0 1");
  EXPECT_EQ(get("Pens", "Selected"), "Water");  // Gouache saves under "Water"
  EXPECT_EQ(get("Settings", "Circle"), "3 Points");
  EXPECT_EQ(get("Pens", "Oil_Curve").substr(0, 6), "0c1c2c");

  ResetAllToolRecords();
  Shapes = ShapeSettings{};
  LoadPensSettings();
  EXPECT_EQ(std::tuple(Shapes.dottedSingle, Shapes.circle3, Shapes.lineStart, Shapes.lineEnd),
            std::tuple(1, 1, 255, 64));
  Shapes = ShapeSettings{};
  const int32_t* water = Tools.dab[ToolWaterColor].word;
  EXPECT_EQ(std::tuple(Tools.pen.size1, Tools.pen.limit, water[kWordSize], water[kWordNoDrying],
                       Tools.dab[ToolGouache].word[kWordStiffness],
                       Tools.dab[ToolOil].word[kWordPreset], Tools.current),
            std::tuple(8, 30, 33, 1, 2, 9, ToolGouache));
  uint8_t env[64];
  GetEnvelope(Tools.dab[ToolOil], env);
  EXPECT_EQ(env[2], 44);
  EXPECT_EQ(ToolFromKey("wet"), ToolWaterColor);
  EXPECT_EQ(ToolFromKey("pointe"), ToolPropellingPencil);

  ConfigOpen(nullptr);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vela::test
